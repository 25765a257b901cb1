#include "management/system/find_tool.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "executor/process.hpp"
#include "management/error.hpp"
#include "management/system/text.hpp"

namespace management {

namespace {

std::vector<std::string> directories_of_path() {
  const char* path = std::getenv("PATH");
  std::istringstream words(path == nullptr ? "" : path);
  std::vector<std::string> directories;
  for (std::string word; std::getline(words, word, ':');) {
    directories.push_back(word.empty() ? "." : word);
  }
  return directories;
}

bool is_program(const std::string& file) {
  struct stat about = {};
  return stat(file.c_str(), &about) == 0 && S_ISREG(about.st_mode) &&
         access(file.c_str(), X_OK) == 0;
}

}  // namespace

void extend_path() {
  setenv("PATH", executor::extended_path().c_str(), 1);
}

std::string tool_path(const std::string& name) {
  for (const std::string& directory : directories_of_path()) {
    std::string file = directory + '/' + name;
    if (is_program(file)) {
      return file;
    }
  }
  return {};
}

std::vector<std::string> missing_tools() {
  std::vector<std::string> missing;
  std::copy_if(iptables_tools.begin(), iptables_tools.end(), std::back_inserter(missing),
               [](const char* name) { return tool_path(name).empty(); });
  return missing;
}

std::string not_in_path(const std::vector<std::string>& names) {
  return joined(names) + (names.size() == 1 ? " is" : " are") + " not in " +
         joined(directories_of_path());
}

std::string how_to_supply(const std::vector<std::string>& names) {
  return not_in_path(names) + ": install iptables, or add the directory of its tools to PATH";
}

void require_tools() {
  if (const std::vector<std::string> missing = missing_tools(); !missing.empty()) {
    throw Error(how_to_supply(missing) + "; nothing was changed");
  }
}

}  // namespace management
