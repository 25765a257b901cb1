/* Whether a request is meant for us and comes from a page of ours. */
#pragma once

#include <string>
#include <vector>

#include "console/server/http.hpp"

namespace console {

/* Under which names clients may ask for us. The address that they have connected to is always one.
 */
struct OurNames {
  std::vector<std::string> names; /* host names in lower case */
  int port = 443;
  bool is_encrypted = true;
};

/* The Host header has one of our names and our port: a foreign name that leads here is DNS
 rebinding. */
bool is_our_host(const Request& request, const OurNames& ours);

/* The browser says that a page of ours asks. `is_needed`: a request that says nothing does not. */
bool is_same_origin(const Request& request, const OurNames& ours, bool is_needed);

}  // namespace console
