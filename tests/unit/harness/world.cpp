#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

#include "harness.hpp"

namespace harness {

World world;

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

}  // namespace harness
