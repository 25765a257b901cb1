#include "harness.hpp"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "mishap.hpp"

namespace harness {

World world;
bool tests_leave_no_state = false;

namespace {

bool recording = false;
Lines events;
int capture_fd = -1;
off_t capture_seen = 0;
std::map<FileCall, int> calls;
std::set<int> opened;
std::string qos_record;

/* One event a line, whatever bytes it holds. */
std::string printable(std::string_view text) {
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte == '\n') {
      result += "\\n";
    } else if (byte == '\r') {
      result += "\\r";
    } else if (byte < 0x20 || byte >= 0x7f) {
      char escaped[5];
      snprintf(escaped, sizeof(escaped), "\\x%02x", byte);
      result += escaped;
    } else {
      result += character;
    }
  }
  return result;
}

/* Turns what has reached standard output since the last look into events, a line an event. */
void drain_output() {
  fflush(stdout);
  std::string text;
  char buffer[4096];
  for (;;) {
    const ssize_t got = pread(capture_fd, buffer, sizeof(buffer), capture_seen);
    if (got <= 0) {
      break;
    }
    text.append(buffer, static_cast<size_t>(got));
    capture_seen += got;
  }
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const size_t length = end == std::string::npos ? text.size() : end + 1;
    events.push_back("out " + printable(text.substr(0, length)));
    text.erase(0, length);
  }
}

void add_event(const std::string& event) {
  if (!recording) {
    return;
  }
  drain_output();
  events.push_back(event);
}

const FileFault* next_fault(FileCall call) {
  if (!recording) {
    return nullptr;
  }
  const int nth = ++calls[call];
  for (const FileFault& fault : world.file_faults) {
    if (fault.call == call && fault.nth == nth) {
      return &fault;
    }
  }
  return nullptr;
}

/* Whether the call is to fail now; errno says how. */
bool fails(const FileFault* fault) {
  if (fault == nullptr || fault->error == 0) {
    return false;
  }
  errno = fault->error;
  return true;
}

size_t allowed(const FileFault* fault, size_t wanted) {
  return fault == nullptr ? wanted : static_cast<size_t>(fault->count);
}

std::string join(const Lines& all) {
  std::string text;
  for (const std::string& line : all) {
    text += line;
    text += '\n';
  }
  return text;
}

Lines after_status(std::string_view command, int exit_code) {
  char status[64];
  snprintf(status, sizeof(status), "exit status value = [0x%x]\n", exit_code << 8);
  Lines result = harness::command(command);
  for (const Lines& more :
       {debug(status), error("run [" + std::string(command) +
                             "] fail, script exit code: " + std::to_string(exit_code) + "\n")}) {
    result.insert(result.end(), more.begin(), more.end());
  }
  return result;
}

}  // namespace

Lines error(std::string_view text) {
  return {"error line[#], " + printable(text)};
}
Lines debug(std::string_view text) {
  return {"debug line[#], " + printable(text)};
}
Lines out(std::string_view text) {
  return {"out " + printable(text)};
}
Lines platform(std::string_view call) {
  return {"platform " + std::string(call)};
}
Lines refresh() {
  return platform("grm_all_refresh_log_mod_level");
}
Lines command(std::string_view command) {
  return {"run " + printable(command)};
}

Lines ran(std::string_view command) {
  return {"run " + printable(command), "debug line[#], exit status value = [0x0]\\n",
          "debug line[#], run shell script successfully.\\n"};
}

Lines ran_and_failed(std::string_view command, int exit_code) {
  return after_status(command, exit_code);
}

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

std::string lines(std::initializer_list<Lines> parts) {
  std::string text;
  for (const Lines& part : parts) {
    text += join(part);
  }
  return text;
}

std::string record(const std::function<void()>& action) {
  fflush(stdout);
  const int real_stdout = dup(STDOUT_FILENO);
  capture_fd = memfd_create("stdout", 0);
  capture_seen = 0;
  dup2(capture_fd, STDOUT_FILENO);
  events.clear();
  calls.clear();
  opened.clear();
  start_counting_operations();
  recording = true;
  action();
  drain_output();
  recording = false;
  stop_counting_operations();
  dup2(real_stdout, STDOUT_FILENO);
  syscall(SYS_close, real_stdout);
  syscall(SYS_close, capture_fd);
  return join(events);
}

void in_a_new_process(const std::function<void()>& action) {
  fflush(nullptr);
  const pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    action();
    fflush(nullptr);
    // Without the exit handlers of the test program, which are the parent's to run.
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
      << "the process failed or ended early, wait status " << status;
}

const std::vector<WriteFault> write_faults = {
    {{FileCall::open, 1, EIO},
     "set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"},
    {{FileCall::lseek, 1, EIO},
     "set_firewall_rules_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"},
    {{FileCall::write, 1, ENOSPC},
     "set_firewall_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"},
    {{FileCall::lseek, 2, EIO},
     "set_firewall_rules_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"},
    {{FileCall::write, 2, ENOSPC},
     "set_firewall_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"},
};

void fail_command(std::string command, int exit_code) {
  world.system = [command = std::move(command), exit_code,
                  before = world.system](const std::string& line) {
    return line == command ? exited(exit_code) : before(line);
  };
}

int file_calls(FileCall call) {
  return calls[call];
}
int open_descriptors() {
  return static_cast<int>(opened.size());
}
const std::string& last_qos_record() {
  return qos_record;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.good()) << path << " cannot be read";
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write_file(const std::string& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  ASSERT_TRUE(file.good()) << path << " cannot be written";
}

bool file_exists(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0;
}

unsigned file_mode(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

std::string word(uint32_t value) {
  return bytes_of(value);
}

uint32_t word_at(std::string_view bytes, size_t offset) {
  uint32_t value = 0;
  EXPECT_LE(offset + sizeof(value), bytes.size());
  memcpy(&value, bytes.data() + offset, sizeof(value));
  return value;
}

std::string fresh_config_file() {
  std::string file = "vpn_pass_through=0\nfire_wall=0\n";
  file.append(15019 - file.size(), '\0');
  file.replace(4663, 4, word(1));
  file.replace(13479, 4, word(1));
  return file;
}

void load_firewall_switch(bool on) {
  std::string file = fresh_config_file();
  file[29] = on ? '1' : '0';
  write_file(config_path, file);
  static_cast<void>(record([] {
    static l3_ip_filter ignored;
    get_firewall_rules_from_cfgfile();
    gl3_web_get_firewall_cfg(&ignored);
  }));
}

bool switch_in_memory() {
  const std::string seen = record([] { config_fw6(); });
  const bool on = seen.find("[fw_enable=1,") != std::string::npos;
  EXPECT_NE(on, seen.find("[fw_enable=0,") != std::string::npos) << seen;
  return on;
}

std::string wan_in_memory() {
  const std::string seen = record([] { gl3_update_firewall(); });
  const std::string before = "out [gl3_update_firewall]begin to update firewall interface ";
  EXPECT_EQ(seen.substr(0, before.size()), before);
  return seen.substr(before.size(), seen.find(".\\n\n") - before.size());
}

namespace {

/* A test that ran the host's shell, or wrote to the host's /ztcfg, would be an accident. */
void insist_on_safe_ground() {
  constexpr long tmpfs_magic = 0x01021994;
  for (const char* path : {"/ztcfg", "/lib/modules"}) {
    struct statfs status = {};
    if (statfs(path, &status) != 0 || static_cast<long>(status.f_type) != tmpfs_magic) {
      fprintf(stderr, "%s is not an empty place of this test's own: run it in tests/sandbox\n",
              path);
      exit(2);
    }
  }
  const std::string canary = record([] { str_system("exit 86 # canary"); });
  if (canary != lines({ran("exit 86 # canary")})) {
    fprintf(stderr, "the library does not run this program's system():\n%s", canary.c_str());
    exit(2);
  }
}

class OneTestAProcess : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& test) override {
    if (++started_ > 1 && !tests_leave_no_state) {
      fprintf(stderr, "%s.%s would meet the state of the test before it: run one a process\n",
              test.test_suite_name(), test.name());
      exit(2);
    }
  }
  int started_ = 0;
};

}  // namespace
}  // namespace harness

/* ---- what the library calls ---- */

using namespace harness;

extern "C" {

int system(const char* command) {
  if (recording) {
    add_event("run " + printable(command));
  }
  return goes_wrong("run " + std::string(command), ways_of_command(command)) ? run_badly(command)
                                                                             : answer(command);
}

int access(const char* path, int mode) {
  return breaks("access", EIO) || fails(next_fault(FileCall::access))
             ? -1
             : static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (breaks("open", EMFILE) || fails(next_fault(FileCall::open))) {
    return -1;
  }
  const int fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  if (recording && fd != -1) {
    opened.insert(fd);
  }
  return fd;
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return breaks("lseek", EINVAL) || fails(next_fault(FileCall::lseek))
             ? -1
             : static_cast<off_t>(syscall(SYS_lseek, fd, offset, whence));
}

ssize_t read(int fd, void* buffer, size_t size) {
  if (goes_wrong("read " + std::to_string(size), ways_of_read())) {
    return read_badly(fd, buffer);
  }
  const FileFault* fault = next_fault(FileCall::read);
  return fails(fault) ? -1 : syscall(SYS_read, fd, buffer, allowed(fault, size));
}

ssize_t write(int fd, const void* buffer, size_t size) {
  if (goes_wrong("write " + std::to_string(size), ways_of_write(fd, size))) {
    return write_badly(fd, buffer, size);
  }
  const FileFault* fault = next_fault(FileCall::write);
  return fails(fault) ? -1 : syscall(SYS_write, fd, buffer, allowed(fault, size));
}

int close(int fd) {
  if (breaks("close", EIO) || fails(next_fault(FileCall::close))) {
    return -1;
  }
  opened.erase(fd);
  return static_cast<int>(syscall(SYS_close, fd));
}

int inet_pton(int family, const char* text, void* address) noexcept {
  if (recording && !world.inet_pton_results.empty()) {
    const int result = world.inet_pton_results.front();
    world.inet_pton_results.erase(world.inet_pton_results.begin());
    return result;
  }
  using Real = int (*)(int, const char*, void*);
  static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "inet_pton"));
  return real(family, text, address);
}

const char* inet_ntop(int family, const void* address, char* text, socklen_t size) noexcept {
  if (recording && world.inet_ntop_fails) {
    return nullptr;
  }
  using Real = const char* (*)(int, const void*, char*, socklen_t);
  static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "inet_ntop"));
  return real(family, address, text, size);
}

void l3_log_print(int32_t level, int32_t module, const char* format, ...) {
  if (!recording) {
    return;
  }
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);

  int line = 0;
  int behind = 0;
  std::string shown = text;
  if (sscanf(text, "line[%d]%n", &line, &behind) == 1 && behind > 0 && line > 0) {
    shown = "line[#]" + shown.substr(static_cast<size_t>(behind));
  }
  std::string name = level == 2 ? "error" : level == 4 ? "debug" : "level " + std::to_string(level);
  if (module != 2) {
    name += " module " + std::to_string(module);
  }
  // The number is the format's first argument and no part of its text.
  if (strncmp(format, "line[%d], ", 10) != 0) {
    name += " of a wrong format";
  }
  add_event(name + " " + printable(shown));
}

void grm_all_refresh_log_mod_level(void) {
  add_event("platform grm_all_refresh_log_mod_level");
}

int32_t zt_bsp_version_export(const char* file, const char* version, const char* date,
                              const char* time, const char* banner, int32_t flag) {
  add_event("platform zt_bsp_version_export(\"" + std::string(file) + "\", \"" + version +
            "\", \"" + date + "\", \"" + time + "\", \"" + banner + "\", " + std::to_string(flag) +
            ")");
  return breaks("platform", 0) ? -1 : world.version_export_result;
}

int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state) {
  add_event("platform grm_l3_advance_get_vpn_pass_through");
  if (breaks("platform", 0)) {
    return -1;
  }
  if (world.vpn_get_result != -1) {
    *state = world.vpn_state;
  }
  return world.vpn_get_result;
}

int32_t grm_l3_advance_set_vpn_pass_through(uint8_t state) {
  add_event("platform grm_l3_advance_set_vpn_pass_through(" + std::to_string(state) + ")");
  if (breaks("platform", 0)) {
    return -1;
  }
  if (world.vpn_set_result != -1) {
    world.vpn_state = state;
  }
  return world.vpn_set_result;
}

int32_t gpon_l3_control_vpn_pass_through(int32_t protocol, uint8_t state) {
  add_event("platform gpon_l3_control_vpn_pass_through(" + std::to_string(protocol) + ", " +
            std::to_string(state) + ")");
  return breaks("platform", 0) ? -1 : world.vpn_driver_result;
}

int32_t gpon_l3_set_qos_cfg(const void* route_qos_record) {
  qos_record.assign(static_cast<const char*>(route_qos_record), 248);
  const bool is_global = route_qos_record == &RtQoSRulesTable;
  add_event(std::string("platform gpon_l3_set_qos_cfg(") +
            (is_global ? "RtQoSRulesTable" : "another record") + ")");
  return breaks("platform", 0) ? -1 : world.qos_result;
}

int32_t grm_gl3_get_internet_index(void) {
  add_event("platform grm_gl3_get_internet_index");
  return breaks("platform", 0) ? -1 : world.internet_index;
}

int32_t getIfName(int32_t index, char* name) {
  const bool zeroed = std::string(name, 6) == std::string(6, '\0');
  add_event("platform getIfName(" + std::to_string(index) +
            (zeroed ? ")" : ", buffer not zeroed)"));
  if (breaks("platform", 0)) {
    return -1;
  }
  memcpy(name, world.if_name.c_str(), std::min<size_t>(world.if_name.size() + 1, 6));
  return world.if_name_result;
}

int32_t DhcpsParaServerGet(int32_t index, void* buffer) {
  const bool zeroed = std::string(static_cast<char*>(buffer), 48) == std::string(48, '\0');
  add_event("platform DhcpsParaServerGet(" + std::to_string(index) +
            (zeroed ? ")" : ", buffer not zeroed)"));
  if (breaks("platform", 0)) {
    return -1;
  }
  memcpy(buffer, world.dhcp_server_buffer.data(),
         std::min<size_t>(world.dhcp_server_buffer.size(), 48));
  return world.dhcp_server_result;
}

}  // extern "C"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!testing::GTEST_FLAG(list_tests)) {
    insist_on_safe_ground();
    testing::UnitTest::GetInstance()->listeners().Append(new OneTestAProcess);
  }
  return RUN_ALL_TESTS();
}
