/* The socket that clients connect to. */
#pragma once

#include <string>

namespace console {

struct Listener {
  int fd = -1;
  std::string address; /* "" where it is any */
  int port = 0;
};

/* The socket that was handed over by LISTEN_FDS, or a new one at `place`. Throws
 std::runtime_error. */
Listener open_listener(const std::string& place);

/* An address as text, with IPv4 in IPv6 as IPv4. `address` is a sockaddr. */
std::string text_of_address(const void* address);

/* The same for counting: an IPv6 network of 64 bits is one client. */
std::string client_of_address(const void* address);

}  // namespace console
