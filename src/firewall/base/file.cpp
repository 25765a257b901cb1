#include "firewall/base/file.hpp"

#include <unistd.h>

#include <cerrno>

namespace l3 {

bool is_missing(const char* path) {
  errno = 0;
  if (access(path, F_OK) != -1) {
    return false;
  }
  switch (errno) {
    case 0:
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
    case ENAMETOOLONG:
      return true;
    default:
      return false;
  }
}

}  // namespace l3
