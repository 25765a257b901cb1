#include "harness.hpp"

#include <sys/vfs.h>

#include <cstdio>
#include <cstdlib>

#include "process_per_test.hpp"

namespace harness {

bool tests_leave_no_state = false;

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

using namespace harness;

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!testing::GTEST_FLAG(list_tests)) {
    insist_on_safe_ground();
    testing::UnitTest::GetInstance()->listeners().Append(new OneTestAProcess);
  }
  int part = 0;
  int parts = 0;
  if (argc == 2 && sscanf(argv[1], "--part=%d/%d", &part, &parts) == 2) {
    return run_process_per_test(part, parts);
  }
  return RUN_ALL_TESTS();
}
