#include "world.hpp"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "oracle.hpp"

namespace fuzz {

// NOLINTNEXTLINE(cert-err58-cpp): a target that lacks the memory for this may end here.
World world;

namespace {

struct OpenFile {
  std::string path;
  size_t position = 0;
};

/* Descriptors of the files in memory begin where no real one is. */
constexpr int first_descriptor = 100000;
std::map<int, OpenFile> opened;

bool is_ours(const char* path) {
  return strncmp(path, "/ztcfg/", 7) == 0;
}

OpenFile* find_open(int fd) {
  const auto found = opened.find(fd);
  return found == opened.end() ? nullptr : &found->second;
}

size_t moved_at_most(size_t wanted) {
  return world.transfer == 0 ? wanted : std::min(wanted, world.transfer);
}

/* What the few commands do that touch a file. */
int run(const std::string& line) {
  if (line.find("iptables-save ") == 0) {
    world.files[save_path] = "saved";
  } else if (line.find("ip6tables-save ") == 0) {
    world.files[save6_path] = "saved";
  } else if (line.find("mv ") == 0) {
    const auto old = world.files.find(old_path);
    if (old == world.files.end()) {
      return 0x100;
    }
    world.files[config_path] = old->second;
    world.files.erase(old_path);
  }
  return 0;
}

}  // namespace

size_t open_files() {
  return opened.size();
}

void restart_process() {
  auto files = std::move(world.files);
  world = {};
  opened.clear();
  uint8_t state = 0;
  gl3_web_get_vpn_pass_through(&state);
  gl3_web_get_fw_status(&state);
  gl3_l3ctl_clear_firewall();
  memset(&fw_rules_table, 0, sizeof(fw_rules_table));
  memset(&fw6_rules_table, 0, sizeof(fw6_rules_table));
  memset(&RtQoSRulesTable, 0, sizeof(RtQoSRulesTable));
  g_porting_firewall_cfg_v1_to_v2_called_count = 0;
  world = {};
  world.files = std::move(files);
}

void start_process() {
  world.files.clear();
  restart_process();
}

}  // namespace fuzz

using namespace fuzz;

extern "C" {

/* ---- what the library calls; libc names the parameters with reserved names ---- */
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

int system(const char* command) {
  world.commands.emplace_back(command);
  check_command(world.commands.back());
  if (world.failing != 0 && world.commands.size() % world.failing == 0) {
    return world.failure;
  }
  return run(world.commands.back());
}

int access(const char* path, int mode) {
  if (!is_ours(path)) {
    return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
  }
  errno = ENOENT;
  return world.files.contains(path) ? 0 : -1;
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (!is_ours(path)) {
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  }
  if ((flags & O_CREAT) == 0 && !world.files.contains(path)) {
    errno = ENOENT;
    return -1;
  }
  world.files[path];
  const int fd = opened.empty() ? first_descriptor : opened.rbegin()->first + 1;
  opened[fd] = {path, 0};
  return fd;
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  OpenFile* file = find_open(fd);
  if (file == nullptr) {
    return static_cast<off_t>(syscall(SYS_lseek, fd, offset, whence));
  }
  file->position = static_cast<size_t>(offset) + (whence == SEEK_CUR ? file->position : 0);
  return static_cast<off_t>(file->position);
}

ssize_t read(int fd, void* buffer, size_t size) {
  OpenFile* file = find_open(fd);
  if (file == nullptr) {
    return syscall(SYS_read, fd, buffer, size);
  }
  const std::string& bytes = world.files[file->path];
  const size_t left = bytes.size() - std::min(bytes.size(), file->position);
  const size_t count = moved_at_most(std::min(size, left));
  memcpy(buffer, bytes.data() + (left == 0 ? 0 : file->position), count);
  file->position += count;
  return static_cast<ssize_t>(count);
}

ssize_t write(int fd, const void* buffer, size_t size) {
  OpenFile* file = find_open(fd);
  if (file == nullptr) {
    return syscall(SYS_write, fd, buffer, size);
  }
  std::string& bytes = world.files[file->path];
  const size_t count = moved_at_most(size);
  bytes.resize(std::max(bytes.size(), file->position + count));
  memcpy(bytes.data() + file->position, buffer, count);
  file->position += count;
  return static_cast<ssize_t>(count);
}

int close(int fd) {
  return opened.erase(fd) != 0 ? 0 : static_cast<int>(syscall(SYS_close, fd));
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

/* ---- the platform ---- */

/* Nothing is shown, but every argument is read as it would be. */
void l3_log_print(int32_t, int32_t, const char* format, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
}

void grm_all_refresh_log_mod_level(void) {}

int32_t zt_bsp_version_export(const char*, const char*, const char*, const char*, const char*,
                              int32_t) {
  return world.platform_fails ? -1 : 0;
}

int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state) {
  *state = world.vpn;
  return world.platform_fails ? -1 : 0;
}

int32_t grm_l3_advance_set_vpn_pass_through(uint8_t state) {
  world.vpn = state;
  return world.platform_fails ? -1 : 0;
}

int32_t gpon_l3_control_vpn_pass_through(int32_t, uint8_t) {
  return world.platform_fails ? -1 : 0;
}

int32_t gpon_l3_set_qos_cfg(const void* route_qos_record) {
  check(route_qos_record == &RtQoSRulesTable, "the platform gets the record itself");
  return world.platform_fails ? -1 : 0;
}

int32_t grm_gl3_get_internet_index(void) {
  return world.platform_fails ? -1 : 3;
}

int32_t getIfName(int32_t, char* name) {
  memcpy(name, world.wan.data(), std::min<size_t>(world.wan.size(), 6));
  return 0;
}

int32_t DhcpsParaServerGet(int32_t, void* buffer) {
  memcpy(buffer, world.dhcp_server.data(), std::min<size_t>(world.dhcp_server.size(), 48));
  return 0;
}

/* ---- the target's start ---- */

/* The library's own lines are of no interest; and nothing begins before it is shown that the library's
 * commands and files end up here, and not on this machine. */
int LLVMFuzzerInitialize(int*, char***) {
  if (freopen("/dev/null", "w", stdout) == nullptr) {
    return 1;
  }
  save_fw();
  check(world.commands.size() == 1, "the library runs this program's system()");
  init_cfgfile();
  check(world.files[config_path].size() == 15019, "the library's files are this program's");
  start_process();
  return 0;
}

}  // extern "C"
