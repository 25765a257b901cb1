#include "process_per_test.hpp"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
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

/* The folders that tests write to become this process's own, and vanish with it. */
bool empty_folders() {
  bool done = unshare(CLONE_NEWNS) == 0;
  for (const char* folder : {"/ztcfg", "/lib/modules", "/run"}) {
    done = done && mount("tmpfs", folder, "tmpfs", 0, nullptr) == 0;
  }
  return done;
}

bool passes(const std::string& name) {
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    if (freopen(output, "w", stdout) == nullptr || !empty_folders()) {
      perror("process_per_test");
      _exit(2);
    }
    testing::GTEST_FLAG(filter) = name;
    exit(RUN_ALL_TESTS());
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

int run_process_per_test(int part, int parts) {
  const std::vector<std::string> names = all_names();
  int passed = 0;
  int failed = 0;
  for (size_t i = static_cast<size_t>(part) - 1; i < names.size();
       i += static_cast<size_t>(parts)) {
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
