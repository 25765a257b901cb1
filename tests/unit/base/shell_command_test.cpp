/* Running one command line, and the version banner. */
#include <dlfcn.h>

#include <climits>
#include <csignal>

#include "harness.hpp"

using namespace harness;

namespace {

/* What str_system() does with a wait status, and what it returns. */
std::string with_status(int status, int32_t expected) {
  world.system = [status](const std::string&) { return status; };
  int32_t result = 99;
  std::string transcript = record([&] { result = str_system("do it"); });
  EXPECT_EQ(result, expected);
  return transcript;
}

/* From here on command lines run in the shell. */
void use_the_shell() {
  using System = int (*)(const char*);
  static const auto real = reinterpret_cast<System>(dlsym(RTLD_NEXT, "system"));
  world.system = [](const std::string& line) { return real(line.c_str()); };
}

}  // namespace

TEST(ShellCommand, ANullCommandRunsNothing) {
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = str_system(nullptr); }),
            lines({error("str_system::pcmdstring is NULLP\n")}));
  EXPECT_EQ(result, -1);
}

TEST(ShellCommand, SuccessLogsTheRawStatusAndThenTheSuccess) {
  EXPECT_EQ(with_status(0, 0), lines({command("do it"), debug("exit status value = [0x0]\n"),
                                      debug("run shell script successfully.\n")}));
}

TEST(ShellCommand, AShellThatCannotBeStartedIsLoggedWithoutALineFeed) {
  EXPECT_EQ(with_status(-1, -1), lines({command("do it"), error("run [do it], system error!")}));
}

TEST(ShellCommand, AnExitCodeIsLoggedAndFails) {
  EXPECT_EQ(with_status(3 << 8, -1),
            lines({command("do it"), debug("exit status value = [0x300]\n"),
                   error("run [do it] fail, script exit code: 3\n")}));
}

TEST(ShellCommand, TheShellsOwnExitCodesFailToo) {
  EXPECT_EQ(with_status(32512, -1),
            lines({command("do it"), debug("exit status value = [0x7f00]\n"),
                   error("run [do it] fail, script exit code: 127\n")}));
  EXPECT_EQ(with_status(255 << 8, -1),
            lines({command("do it"), debug("exit status value = [0xff00]\n"),
                   error("run [do it] fail, script exit code: 255\n")}));
}

TEST(ShellCommand, ASignalIsLoggedWithTheExitCodeByteNotItsNumber) {
  EXPECT_EQ(with_status(9, -1), lines({command("do it"), debug("exit status value = [0x9]\n"),
                                       error("run [do it], exit status = [0]\n")}));
}

TEST(ShellCommand, ASignalWithACoreDumpIsASignal) {
  EXPECT_EQ(with_status(0x8b, -1), lines({command("do it"), debug("exit status value = [0x8b]\n"),
                                          error("run [do it], exit status = [0]\n")}));
}

TEST(ShellCommand, ASignalWinsOverAnExitCode) {
  EXPECT_EQ(with_status(0x137f, -1),
            lines({command("do it"), debug("exit status value = [0x137f]\n"),
                   error("run [do it], exit status = [19]\n")}));
}

TEST(ShellCommand, OnlyTheLowSevenBitsTellASignal) {
  EXPECT_EQ(with_status(0x80, 0), lines({command("do it"), debug("exit status value = [0x80]\n"),
                                         debug("run shell script successfully.\n")}));
}

TEST(ShellCommand, BitsAboveTheExitCodeDoNotCount) {
  EXPECT_EQ(with_status(0x10000, 0),
            lines({command("do it"), debug("exit status value = [0x10000]\n"),
                   debug("run shell script successfully.\n")}));
  EXPECT_EQ(with_status(0x10200, -1),
            lines({command("do it"), debug("exit status value = [0x10200]\n"),
                   error("run [do it] fail, script exit code: 2\n")}));
}

TEST(ShellCommand, OnlyMinusOneMeansThatTheShellCouldNotBeStarted) {
  EXPECT_EQ(with_status(-2, -1),
            lines({command("do it"), debug("exit status value = [0xfffffffe]\n"),
                   error("run [do it], exit status = [255]\n")}));
}

TEST(ShellCommand, AnEmptyCommandIsTheShellsBusiness) {
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = str_system(""); }),
            lines({command(""), debug("exit status value = [0x0]\n"),
                   debug("run shell script successfully.\n")}));
  EXPECT_EQ(result, 0);
}

TEST(ShellCommand, PercentSignsInACommandAreText) {
  world.system = [](const std::string&) { return 1 << 8; };
  EXPECT_EQ(record([] { str_system("printf %s%n%d"); }),
            lines({command("printf %s%n%d"), debug("exit status value = [0x100]\n"),
                   error("run [printf %s%n%d] fail, script exit code: 1\n")}));
  world.system = [](const std::string&) { return -1; };
  EXPECT_EQ(record([] { str_system("printf %s%n%d"); }),
            lines({command("printf %s%n%d"), error("run [printf %s%n%d], system error!")}));
  world.system = [](const std::string&) { return 15; };
  EXPECT_EQ(record([] { str_system("printf %s%n%d"); }),
            lines({command("printf %s%n%d"), debug("exit status value = [0xf]\n"),
                   error("run [printf %s%n%d], exit status = [0]\n")}));
}

TEST(ShellCommand, AWholeLineOfAnyLengthReachesTheShell) {
  const std::string line = "echo " + std::string(1000, 'x');
  EXPECT_EQ(record([&] { EXPECT_EQ(str_system(line.c_str()), 0); }), lines({ran(line)}));
}

TEST(ShellCommand, AFailedCommandIsNotTriedAgainAndLeavesNoTrace) {
  fail_command("first", 4);
  int32_t first = 99;
  int32_t second = 99;
  EXPECT_EQ(record([&] {
              first = str_system("first");
              second = str_system("second");
            }),
            lines({ran_and_failed("first", 4), ran("second")}));
  EXPECT_EQ(first, -1);
  EXPECT_EQ(second, 0);
}

// The check that platform.h recommends to integrators.
TEST(ShellCommand, WhereSigchldIsIgnoredACommandThatWorksCountsAsFailed) {
  use_the_shell();
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = str_system("true"); }), lines({ran("true")}));
  EXPECT_EQ(result, 0);

  signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(record([&] { result = str_system("true"); }),
            lines({command("true"), error("run [true], system error!")}));
  EXPECT_EQ(result, -1);

  signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(record([&] { result = str_system("true"); }), lines({ran("true")}));
  EXPECT_EQ(result, 0);
}

TEST(VersionBanner, IsRegisteredOnceWithItsSixArguments) {
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = libonu_bsp_version_export(); }),
            "platform zt_bsp_version_export(\"libl3_advance.so\", \"10.0.0.1\", \"Mar  6 2015\", "
            "\"10:26:46\", \"Flibreilaf for Web \", 1)\n");
  EXPECT_EQ(result, 0);
}

TEST(VersionBanner, ThePlatformsResultIsPassedThrough) {
  for (const int32_t answer : {-1, 1, 7, INT32_MAX, INT32_MIN}) {
    world.version_export_result = answer;
    int32_t result = 99;
    const std::string transcript = record([&] { result = libonu_bsp_version_export(); });
    EXPECT_EQ(result, answer);
    EXPECT_EQ(transcript,
              "platform zt_bsp_version_export(\"libl3_advance.so\", \"10.0.0.1\", \"Mar  6 2015\", "
              "\"10:26:46\", \"Flibreilaf for Web \", 1)\n");
  }
}
