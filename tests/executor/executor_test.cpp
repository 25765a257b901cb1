/* Our own system(): under the library that ships, with a real shell behind it. */
#include "executor/executor.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include "l3_advance/shell_command.h"

namespace {

int32_t run_nothing(const char*) {
  return 0;
}

}  // namespace

TEST(Executor, TheLibrarysLinesEndInThisProgramsSystem) {
  EXPECT_TRUE(executor::in_place(str_system));
  EXPECT_EQ(executor::lines_run(), 0U);
}

TEST(Executor, ARunnerThatEndsElsewhereIsNoticed) {
  EXPECT_FALSE(executor::in_place(run_nothing));
}

TEST(Executor, ALineRunsInTheShellAndItsStatusReachesTheLibrary) {
  EXPECT_EQ(str_system("test -d /ztcfg"), 0);
  EXPECT_EQ(str_system("exit 3"), -1);
  EXPECT_EQ(executor::lines_run(), 2U);
}

TEST(Executor, FailedLinesAreKeptWithTheirStatusAndWords) {
  str_system("true");
  str_system("echo no such chain >&2; exit 2");
  str_system("kill -9 $$");
  ASSERT_EQ(executor::failed_lines().size(), 2U);
  EXPECT_EQ(executor::failed_lines()[0].line, "echo no such chain >&2; exit 2");
  EXPECT_EQ(executor::failed_lines()[0].status, 2 << 8);
  EXPECT_EQ(executor::failed_lines()[0].message, "no such chain\n");
  EXPECT_EQ(executor::failed_lines()[1].line, "kill -9 $$");
  EXPECT_EQ(executor::failed_lines()[1].status, 9);

  executor::forget_failed_lines();
  EXPECT_TRUE(executor::failed_lines().empty());
}

TEST(Executor, ALineThatMayFailSucceedsAndIsNotKept) {
  executor::may_fail("test -d /no");
  EXPECT_EQ(str_system("test -d /nowhere"), 0);
  EXPECT_EQ(str_system("test -e /nowhere"), -1);
  ASSERT_EQ(executor::failed_lines().size(), 1U);
  EXPECT_EQ(executor::failed_lines()[0].line, "test -e /nowhere");
}

TEST(Executor, ALineThatMayFailStillMayNotDie) {
  for (const char* line : {"exit 2", "exit 127", "kill -9 $$"}) {
    executor::may_fail(line);
    EXPECT_EQ(str_system(line), -1);
  }
  EXPECT_EQ(executor::failed_lines().size(), 3U);
}

TEST(Executor, RecordedLinesAreKeptInOrderAndNoneRuns) {
  executor::work(executor::Way::record);
  EXPECT_EQ(str_system("touch /tmp/was_run"), 0);
  EXPECT_EQ(str_system("exit 3"), 0);
  executor::work(executor::Way::direct);
  EXPECT_EQ(executor::recorded_lines(), (std::vector<std::string>{"touch /tmp/was_run", "exit 3"}));
  EXPECT_TRUE(executor::failed_lines().empty());
  EXPECT_EQ(executor::lines_run(), 0U);
  EXPECT_EQ(access("/tmp/was_run", F_OK), -1);
}
