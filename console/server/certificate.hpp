/* The server's key and certificate, as PEM. */
#pragma once

#include <string>
#include <vector>

namespace console {

struct Certificate {
  std::string key;
  std::string certificate;
};

/* Those of the directory, or new ones of our own: where there are none, and where ours run out
 * within a month or lack one of the names. A certificate that the administrator put there stays. Throws
 * std::runtime_error. */
Certificate load_or_make_certificate(const std::string& directory,
                                     const std::vector<std::string>& names);

}  // namespace console
