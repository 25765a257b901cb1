#include "management/store/store_snapshot.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <iterator>
#include <string_view>

#include "executor/process.hpp"
#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/system/atomic_file.hpp"

namespace management {

namespace {

constexpr const char* stored_paths[] = {configuration_path, saved_rules_path, saved_rules6_path,
                                        time_zone_path};
constexpr int32_t gre = 47;

/* A file that is there but cannot be read would come back empty, or not at all. */
std::optional<std::string> read_bytes(const std::string& path) {
  try {
    return read_if_exists(path);
  } catch (const Error& failure) {
    throw Error(std::string(failure.what()) + "; nothing was changed");
  }
}

/* A file that cannot be read is not what it was. */
bool holds(const std::string& path, const std::optional<std::string>& bytes) {
  try {
    return read_if_exists(path) == bytes;
  } catch (const Error&) {
    return false;
  }
}

bool write_over(const std::string& path, std::string_view bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (file == -1) {
    return false;
  }
  const bool is_written = executor::write_all(file, bytes) &&
                          ftruncate(file, std::ssize(bytes)) == 0 && fsync(file) == 0;
  close(file);
  return is_written;
}

/* By a new file in its place, so that a sudden end leaves one or the other. A full disk has no room
 * for that, but for the old bytes where they were. Returns what went wrong. */
std::string write_back(const std::string& path, const std::string& bytes) {
  struct stat now = {};
  const mode_t mode = stat(path.c_str(), &now) == 0 ? now.st_mode & 07777 : 0600;
  try {
    write_atomically(path, bytes, mode);
    return "";
  } catch (const Error& failure) {
    return write_over(path, bytes) ? "" : failure.what();
  }
}

std::string remove_again(const std::string& path) {
  try {
    remove_durably(path);
    return "";
  } catch (const Error& failure) {
    return failure.what();
  }
}

}  // namespace

void remove_stale_temporaries() {
  for (const char* path : stored_paths) {
    remove_stale_temporaries_of(path);
  }
  for (const char* path : {pending_path, history_path, time_zone_path}) {
    remove_stale_temporaries_of(path);
  }
}

StoreSnapshot::StoreSnapshot(const PlatformCalls& platform)
    : platform_(platform), vpn_(vpn_state()) {
  for (const char* path : stored_paths) {
    add(path);
  }
}

std::optional<uint8_t> StoreSnapshot::vpn_state() const {
  uint8_t state = 0;
  return platform_.get_vpn(&state) == 0 ? std::optional(state) : std::nullopt;
}

void StoreSnapshot::add(const std::string& path) {
  files_.push_back({path, read_bytes(path)});
}

void StoreSnapshot::add_loaded() {
  qos_ = RtQoSRulesTable;
}

std::vector<std::string> StoreSnapshot::restore() const {
  std::vector<std::string> problems;
  for (const File& file : files_) {
    if (holds(file.path, file.bytes)) {
      continue;
    }
    const std::string problem =
        file.bytes ? write_back(file.path, *file.bytes) : remove_again(file.path);
    if (!problem.empty()) {
      problems.push_back(problem);
    }
  }
  if (vpn_ && vpn_state() != vpn_ &&
      (platform_.control_vpn(gre, *vpn_) != 0 || platform_.set_vpn(*vpn_) != 0)) {
    problems.emplace_back("VPN pass-through: the platform refuses its previous state");
  }
  if (std::memcmp(&RtQoSRulesTable, &qos_, sizeof qos_) != 0 && platform_.set_qos(&qos_) != 0) {
    problems.emplace_back("route QoS: the platform refuses its previous state");
  }
  return problems;
}

}  // namespace management
