#include "management/store/staged_store.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/system/atomic_file.hpp"

namespace management {

namespace {

/* The files that setting a section writes. */
constexpr const char* staged_paths[] = {configuration_path, saved_rules_path, saved_rules6_path,
                                        time_zone_path};

/* Far more than any of them holds, rules of other programs included. */
constexpr size_t largest_file = size_t{16} << 20;

struct StagedFile {
  std::string path;
  std::string bytes;
  mode_t mode;
};

/* A file that is there but cannot be read is an error: its other sections would be lost. Saved rules are made anew. */
std::optional<StagedFile> copy_of(const char* path) {
  struct stat status = {};
  if (stat(path, &status) != 0) {
    if (errno != ENOENT && path == configuration_path) {
      throw Error(std::string(path) + ": cannot be read: " + std::strerror(errno));
    }
    return std::nullopt;
  }
  if (!S_ISREG(status.st_mode) && path != configuration_path) {
    return std::nullopt;
  }
  if (static_cast<uintmax_t>(status.st_size) > largest_file) {
    throw Error(std::string(path) + ": is too large");
  }
  return StagedFile{path, read_up_to(path, largest_file), status.st_mode & 07777};
}

std::vector<StagedFile> copies() {
  std::vector<StagedFile> files;
  for (const char* path : staged_paths) {
    if (auto file = copy_of(path)) {
      files.push_back(std::move(*file));
    }
  }
  return files;
}

bool mount_staging() {
  return unshare(CLONE_NEWNS) == 0 &&
         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("l3ctl", settings_folder, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=0700") ==
             0;
}

/* Over the old bytes, where no more room is needed: a full disk has none for a second file. */
bool overwrite(const std::string& path, std::string_view bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status = {};
  const bool is_written =
      file != -1 && fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
      static_cast<size_t>(status.st_size) >= bytes.size() &&
      pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()) &&
      ftruncate(file, static_cast<off_t>(bytes.size())) == 0 && fsync(file) == 0;
  if (file != -1) {
    close(file);
  }
  return is_written;
}

bool holds(const std::string& path, const std::string& bytes) {
  try {
    return read_if_exists(path) == bytes;
  } catch (const Error&) {
    return false;
  }
}

/* Returns what went wrong, empty for nothing. */
std::string write_back(const StagedFile& file) {
  if (holds(file.path, file.bytes)) {
    return "";
  }
  try {
    write_atomically(file.path, file.bytes, file.mode);
    return "";
  } catch (const Error& error) {
    return overwrite(file.path, file.bytes) ? "" : error.what();
  }
}

}  // namespace

StagedStore::StagedStore() {
  const std::vector<StagedFile> files = copies();
  if (!mount_staging()) {
    return;
  }
  is_staged_ = true;
  for (const StagedFile& file : files) {
    write_atomically(file.path, file.bytes, file.mode);
  }
}

StagedStore::~StagedStore() {
  leave();
}

void StagedStore::leave() {
  if (is_staged_) {
    umount2(settings_folder, MNT_DETACH);
    is_staged_ = false;
  }
}

std::vector<std::string> StagedStore::commit() {
  std::vector<std::string> problems;
  if (!is_staged_) {
    return problems;
  }
  const std::vector<StagedFile> files = copies();
  leave();
  for (const StagedFile& file : files) {
    if (std::string problem = write_back(file); !problem.empty()) {
      problems.push_back(std::move(problem));
    }
  }
  return problems;
}

}  // namespace management
