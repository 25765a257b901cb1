#include "management/store/temporary_root.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/store/stored_check.hpp"
#include "management/system/atomic_file.hpp"
#include "platform/linux/platform_linux.hpp"

namespace management {

namespace {

namespace fs = std::filesystem;

/* Far more than the library keeps; a larger file of /ztcfg is somebody else's. */
constexpr uintmax_t largest_copy = 1 << 20;

struct CopiedFile {
  std::string path;
  std::string bytes;
  mode_t mode;
};

[[noreturn]] void fail(const std::string& what, int error) {
  throw Error(what + ": " + std::strerror(error));
}

std::string bytes_of(const fs::path& path) {
  try {
    // More of the configuration than this is damage, which its start shows.
    return path == configuration_path ? read_up_to(path, largest_stored_file)
                                      : read_if_exists(path, largest_copy).value_or("");
  } catch (const Error& error) {
    throw Error(std::string("a plan needs to read every file: ") + error.what());
  }
}

/* Whether nothing can be told about the library's calls without this file. */
bool is_needed(const fs::path& path) {
  return path == configuration_path || path.parent_path() == platform_linux::state_directory;
}

/* The files that lie right in a folder: neither the library nor the platform makes others. */
void collect(const char* folder, std::vector<CopiedFile>& files) {
  std::error_code error;
  fs::directory_iterator entries(folder, error);
  if (error && error != std::errc::no_such_file_or_directory) {
    fail(std::string("a plan needs to read ") + folder, error.value());
  }
  for (; entries != fs::directory_iterator(); entries.increment(error)) {
    const fs::path path = entries->path();
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
      continue;
    }
    const bool is_ours = static_cast<uintmax_t>(status.st_size) <= largest_copy;
    if (is_needed(path) || (is_ours && access(path.c_str(), R_OK) == 0)) {
      files.push_back({path.string(), bytes_of(path), status.st_mode & 0777});
    }
  }
}

bool write_text(const char* path, const std::string& text) {
  const int fd = open(path, O_WRONLY | O_CLOEXEC);
  const bool is_written =
      fd != -1 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  if (fd != -1) {
    close(fd);
  }
  return is_written;
}

/* Mounts of one's own: as root, or as the root of a user namespace of one's own. */
void unshare_mounts() {
  if (unshare(CLONE_NEWNS) == 0) {
    return;
  }
  const std::string user = "0 " + std::to_string(geteuid()) + " 1";
  const std::string group = "0 " + std::to_string(getegid()) + " 1";
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || !write_text("/proc/self/setgroups", "deny") ||
      !write_text("/proc/self/uid_map", user) || !write_text("/proc/self/gid_map", group)) {
    fail("a plan needs a private mount, which takes root or user namespaces", errno);
  }
}

void mount_empty(const char* folder) {
  if (mount("l3ctl", folder, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=0755") != 0) {
    fail(std::string("a plan needs a private mount on ") + folder, errno);
  }
}

void put(const CopiedFile& file) {
  std::ofstream stream(file.path, std::ios::binary);
  stream << file.bytes;
  stream.close();
  if (!stream || chmod(file.path.c_str(), file.mode) != 0) {
    fail("a plan cannot copy " + file.path, errno);
  }
}

}  // namespace

void enter_temporary_root() {
  std::vector<CopiedFile> files;
  collect("/ztcfg", files);
  collect(platform_linux::state_directory, files);
  unshare_mounts();
  // What is mounted here stays here.
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    fail("a plan needs a private mount", errno);
  }
  mount_empty("/ztcfg");
  // Tools may lie in /run, so it is covered only where the folder in it has to be made.
  if (access(platform_linux::state_directory, F_OK) == 0) {
    mount_empty(platform_linux::state_directory);
  } else {
    mount_empty("/run");
    mkdir(platform_linux::state_directory, 0755);
  }
  for (const CopiedFile& file : files) {
    put(file);
  }
}

}  // namespace management
