#include "one_by_one.hpp"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "harness.hpp"

namespace harness {

namespace {

constexpr char output[] = "/run/output";

std::vector<std::string> all_names() {
  std::vector<std::string> names;
  const testing::UnitTest& program = *testing::UnitTest::GetInstance();
  for (int i = 0; i < program.total_test_suite_count(); ++i) {
    const testing::TestSuite& suite = *program.GetTestSuite(i);
    for (int j = 0; j < suite.total_test_count(); ++j) {
      names.push_back(std::string(suite.name()) + "." + suite.GetTestInfo(j)->name());
    }
  }
  return names;
}

void empty(const char* folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::filesystem::remove_all(entry.path());
  }
}

bool passes(const std::string& name) {
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    // What a test mounts vanishes with it.
    if (unshare(CLONE_NEWNS) != 0 || freopen(output, "w", stdout) == nullptr) {
      perror("one_by_one");
      _exit(2);
    }
    testing::GTEST_FLAG(filter) = name;
    exit(RUN_ALL_TESTS());
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

int run_one_by_one(int part, int parts) {
  const std::vector<std::string> names = all_names();
  int passed = 0;
  int failed = 0;
  for (size_t i = static_cast<size_t>(part) - 1; i < names.size();
       i += static_cast<size_t>(parts)) {
    for (const char* folder : {"/ztcfg", "/lib/modules", "/tmp"}) {
      empty(folder);
    }
    if (passes(names[i]) && read_file(output).find("[  PASSED  ] 1 test.") != std::string::npos) {
      ++passed;
    } else {
      ++failed;
      printf("FAILED %s\n%s\n", names[i].c_str(), read_file(output).c_str());
    }
  }
  printf("%d cases passed, %d failed\n", passed, failed);
  return failed == 0 && passed > 0 ? 0 : 1;
}

}  // namespace harness
