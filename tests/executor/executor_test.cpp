/* Our own system(): under the library that ships, with a real shell behind it. */
#include <gtest/gtest.h>
#include <unistd.h>

#include "executor/system.hpp"
#include "l3_advance/shell_command.h"

namespace {

executor::Executor& ours = executor::system_executor();

int32_t run_nothing(const char*) {
  return 0;
}

}  // namespace

TEST(Executor, TheLibrarysLinesEndInThisProgramsSystem) {
  EXPECT_TRUE(ours.is_interposed(str_system));
  EXPECT_EQ(ours.lines_run(), 0U);
}

TEST(Executor, ARunnerThatEndsElsewhereIsNoticed) {
  EXPECT_FALSE(ours.is_interposed(run_nothing));
}

TEST(Executor, ALineRunsInTheShellAndItsStatusReachesTheLibrary) {
  EXPECT_EQ(str_system("test -d /ztcfg"), 0);
  EXPECT_EQ(str_system("exit 3"), -1);
  EXPECT_EQ(ours.lines_run(), 2U);
}

TEST(Executor, FailedLinesAreKeptWithTheirStatusAndWords) {
  str_system("true");
  str_system("echo no such chain >&2; exit 2");
  str_system("kill -9 $$");
  ASSERT_EQ(ours.failed_lines().size(), 2U);
  EXPECT_EQ(ours.failed_lines()[0].line, "echo no such chain >&2; exit 2");
  EXPECT_EQ(ours.failed_lines()[0].status, 2 << 8);
  EXPECT_EQ(ours.failed_lines()[0].message, "no such chain\n");
  EXPECT_EQ(ours.failed_lines()[1].line, "kill -9 $$");
  EXPECT_EQ(ours.failed_lines()[1].status, 9);

  ours.forget_failed_lines();
  EXPECT_TRUE(ours.failed_lines().empty());
}

TEST(Executor, ALineThatMayFailSucceedsAndIsNotKept) {
  ours.allow_failure("test -d /no");
  EXPECT_EQ(str_system("test -d /nowhere"), 0);
  EXPECT_EQ(str_system("test -e /nowhere"), -1);
  ASSERT_EQ(ours.failed_lines().size(), 1U);
  EXPECT_EQ(ours.failed_lines()[0].line, "test -e /nowhere");
}

TEST(Executor, ALineThatMayFailStillMayNotDie) {
  for (const char* line : {"exit 2", "exit 127", "kill -9 $$"}) {
    ours.allow_failure(line);
    EXPECT_EQ(str_system(line), -1);
  }
  EXPECT_EQ(ours.failed_lines().size(), 3U);
}

TEST(Executor, RecordedLinesAreKeptInOrderAndNoneRuns) {
  ours.set_mode(executor::Mode::record);
  EXPECT_EQ(str_system("touch /tmp/was_run"), 0);
  EXPECT_EQ(str_system("exit 3"), 0);
  ours.set_mode(executor::Mode::execute);
  EXPECT_EQ(ours.recorded_lines(), (std::vector<std::string>{"touch /tmp/was_run", "exit 3"}));
  EXPECT_TRUE(ours.failed_lines().empty());
  EXPECT_EQ(ours.lines_run(), 0U);
  EXPECT_EQ(access("/tmp/was_run", F_OK), -1);
}
