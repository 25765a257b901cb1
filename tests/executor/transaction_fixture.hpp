/* A transaction with tests/tools/fake-iptables in PATH. */
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "executor/system.hpp"
#include "l3_advance/shell_command.h"

inline executor::Executor& ours = executor::system_executor();

inline std::string content(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

inline void write(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

/* The tool of tests/tools fails on this line: a command line, or a line of a restore as the command that it is. */
inline void refuse(const std::string& lines) {
  write("/tmp/refused", lines);
}

/* The tool runs this first. */
inline void hook(const std::string& tool, const std::string& script) {
  write("/tmp/hook." + tool, script);
}

inline constexpr char killed_restore[] = "[ \"$1\" = -c ] || { cat >/dev/null; kill -9 $$; }\n";

class Transaction : public testing::Test {
 protected:
  void SetUp() override {
    mkdir("/tmp/tools", 0755);
    for (const char* name : {"iptables", "ip6tables", "iptables-save", "ip6tables-save",
                             "iptables-restore", "ip6tables-restore"}) {
      ASSERT_EQ(symlink(FAKE_IPTABLES, (std::string("/tmp/tools/") + name).c_str()), 0);
    }
    write("/tmp/chains", ":FORWARD\n:IN\n:OUT\n");
    write("/tmp/stateless", "");
    setenv("PATH", "/tmp/tools:/usr/bin:/bin", 1);
    ours.set_mode(executor::Mode::transaction);
  }

  /* What the tools were told since the last call, but for reads of all rules. */
  static std::string told() {
    std::istringstream lines(content("/tmp/calls"));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
      if (!line.ends_with(" -c")) {
        text += line + '\n';
      }
    }
    unlink("/tmp/calls");
    return text;
  }

  /* What the rules of a family are from now on, in a table with the chains of the others. */
  static void live(const std::string& tool, const std::string& rules,
                   const std::string& name = "filter") {
    write("/tmp/saved-" + tool + "-save",
          "# read\n*" + name + "\n:FORWARD ACCEPT [0:0]\n:IN - [0:0]\n:OUT - [0:0]\n" + rules +
              "COMMIT\n");
  }

  static std::string only_failure() {
    return ours.failed_lines().size() == 1 ? ours.failed_lines()[0].line : "";
  }
};
