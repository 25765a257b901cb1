#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/linux/platform_linux.hpp"

namespace platform_linux {
namespace {

std::string path_of(const char* name) {
  return std::string(state_directory) + "/" + name;
}

bool write_all(int fd, const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t written = write(fd, bytes.data() + done, bytes.size() - done);
    if (written <= 0) {
      return false;
    }
    done += static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace

std::string read_state(const char* name) {
  const int fd = open(path_of(name).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (fd == -1) {
    return {};
  }
  std::string bytes;
  char buffer[512];
  for (ssize_t got = 0; (got = read(fd, buffer, sizeof(buffer))) > 0;) {
    bytes.append(buffer, static_cast<std::size_t>(got));
  }
  close(fd);
  return bytes;
}

bool write_state(const char* name, const std::string& bytes) {
  mkdir(state_directory, 0755);
  const std::string path = path_of(name);
  const std::string next = path + ".next";
  const int fd = open(next.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
  if (fd == -1) {
    return false;
  }
  const bool written = write_all(fd, bytes);
  if (close(fd) == -1 || !written || rename(next.c_str(), path.c_str()) == -1) {
    unlink(next.c_str());
    return false;
  }
  return true;
}

}  // namespace platform_linux
