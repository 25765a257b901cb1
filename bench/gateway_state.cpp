#include "gateway_state.hpp"

#include <dlfcn.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "l3_advance/l3_advance.h"

extern char** environ;

namespace bench {

namespace {

namespace fs = std::filesystem;

const fs::path store = "/ztcfg";
bool recording = false;
std::vector<std::string> recorded;

std::string read_file(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

template <typename Record>
void write_record(const fs::path& path, const Record& record) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(&record), sizeof(record));
}

template <typename Record>
void read_record(const fs::path& path, Record& record) {
  std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(&record), sizeof(record));
}

/* Empties `to`, which stays, and copies every file of `from` there. */
void copy_files(const fs::path& from, const fs::path& to) {
  for (const auto& old : fs::directory_iterator(to)) {
    fs::remove_all(old);
  }
  fs::copy(from, to, fs::copy_options::recursive);
}

}  // namespace

void record_lines(bool on) {
  recording = on;
}

void run(const std::vector<std::string>& arguments) {
  std::vector<char*> words;
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  pid_t child = -1;
  int status = -1;
  if (posix_spawnp(&child, words[0], nullptr, nullptr, words.data(), environ) != 0 ||
      waitpid(child, &status, 0) != child || status != 0) {
    fprintf(stderr, "%s failed, wait status %d\n", words[0], status);
    exit(1);
  }
}

void prepare(const Case& one, const std::string& folder) {
  fs::create_directories(fs::path(folder) / "store");
  one.before();
  system(("iptables-save -t filter >" + folder + "/before4").c_str());
  system(("ip6tables-save -t filter >" + folder + "/before6").c_str());
  copy_files(store, fs::path(folder) / "store");
  write_record(folder + "/fw", fw_rules_table);
  write_record(folder + "/fw6", fw6_rules_table);

  recorded.clear();
  record_lines(true);
  const int32_t result = one.call();
  record_lines(false);
  if (result != 0) {
    fprintf(stderr, "%s: the call returned %d\n", one.name.c_str(), result);
    exit(1);
  }
  std::ofstream lines(folder + "/lines", std::ios::binary);
  for (const std::string& line : recorded) {
    lines << line << '\0';
  }
}

GatewayState::GatewayState(const std::string& folder) : folder_(folder) {
  read_record(folder + "/fw", fw_);
  read_record(folder + "/fw6", fw6_);
  const std::string text = read_file(folder + "/lines");
  for (size_t at = 0; at < text.size(); at += lines_.back().size() + 1) {
    lines_.emplace_back(text.c_str() + at);
  }
}

void GatewayState::restore() const {
  run({"iptables-restore", folder_ + "/before4"});
  run({"ip6tables-restore", folder_ + "/before6"});
  copy_files(folder_ + "/store", store);
  uint8_t state = 0;
  gl3_web_get_fw_status(&state);
  fw_rules_table = fw_;
  fw6_rules_table = fw6_;
}

}  // namespace bench

extern "C" int system(const char* command) {
  if (bench::recording) {
    bench::recorded.emplace_back(command);
    return 0;
  }
  using System = int (*)(const char*);
  static const auto of_libc = reinterpret_cast<System>(dlsym(RTLD_NEXT, "system"));
  return of_libc(command);
}
