#include "l3ctl/before.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "l3_advance/platform.h"

namespace l3ctl {

namespace {

constexpr const char* stored_paths[] = {"/ztcfg/l3_advance.dat", "/ztcfg/firewall.conf",
                                        "/ztcfg/firewall6.conf"};
constexpr int32_t gre = 47;

/* Nothing where there is no file. */
std::optional<std::string> bytes_of(const char* path) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file == -1) {
    return std::nullopt;
  }
  std::string bytes;
  char buffer[16384];
  for (ssize_t got = 0; (got = read(file, buffer, sizeof buffer)) > 0;) {
    bytes.append(buffer, static_cast<size_t>(got));
  }
  close(file);
  return bytes;
}

bool write_bytes(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return fsync(file) == 0;
}

bool write_to(const std::string& path, int flags, mode_t mode, std::string_view bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC | flags, mode);
  if (file == -1) {
    return false;
  }
  const bool is_written = write_bytes(file, bytes) &&
                          ftruncate(file, static_cast<off_t>(bytes.size())) == 0 &&
                          fchmod(file, mode) == 0;
  close(file);
  return is_written;
}

/* By a new file in its place, so that a sudden end leaves one or the other. A full disk has no room
 * for that, but for the old bytes where they were. */
bool replace(const char* path, std::string_view bytes) {
  struct stat now = {};
  const mode_t mode = stat(path, &now) == 0 ? now.st_mode & 07777 : 0600;
  const std::string next = std::string(path) + ".next";
  if (write_to(next, O_CREAT | O_TRUNC | O_NOFOLLOW, mode, bytes) &&
      rename(next.c_str(), path) == 0) {
    return true;
  }
  unlink(next.c_str());
  return write_to(path, O_CREAT, mode, bytes);
}

std::optional<uint8_t> vpn_state() {
  uint8_t state = 0;
  return grm_l3_advance_get_vpn_pass_through(&state) == 0 ? std::optional(state) : std::nullopt;
}

}  // namespace

Before::Before() : vpn_(vpn_state()) {
  for (const char* path : stored_paths) {
    files_.push_back({path, bytes_of(path)});
  }
}

void Before::keep_loaded() {
  qos_ = RtQoSRulesTable;
}

std::vector<std::string> Before::put_back() const {
  std::vector<std::string> problems;
  for (const File& file : files_) {
    if (bytes_of(file.path) == file.bytes) {
      continue;
    }
    if (file.bytes ? !replace(file.path, *file.bytes) : unlink(file.path) != 0) {
      problems.push_back(std::string(file.path) + ": " + std::strerror(errno));
    }
  }
  if (vpn_ && vpn_state() != vpn_ &&
      (gpon_l3_control_vpn_pass_through(gre, *vpn_) != 0 ||
       grm_l3_advance_set_vpn_pass_through(*vpn_) != 0)) {
    problems.emplace_back("VPN pass-through: the platform refuses its state of before");
  }
  if (std::memcmp(&RtQoSRulesTable, &qos_, sizeof qos_) != 0 && gpon_l3_set_qos_cfg(&qos_) != 0) {
    problems.emplace_back("route QoS: the platform refuses its state of before");
  }
  return problems;
}

}  // namespace l3ctl
