/* A gateway for one test case: fake tools in PATH, an empty /ztcfg, in a root of its own (tests/sandbox). */
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>

#include "l3_advance/l3_advance.h"
#include "l3_advance/transaction.h"

constexpr char configuration[] = "/ztcfg/l3_advance.dat";

std::string content(const std::string& path);
void write(const std::string& path, const std::string& text);

class Gateway : public testing::Test {
 protected:
  void SetUp() override;

  /* The tools refuse these lines from now on. */
  static void refuse(const std::string& lines) { write("/tmp/refused", lines); }
  /* The tool runs this first. */
  static void hook(const std::string& tool, const std::string& script) {
    write("/tmp/hook." + tool, script);
  }

  /* What the gateway is: files, rules, platform state and records in memory, by name. */
  using State = std::map<std::string, std::string>;
  static State state();

  /* The names of what is not as it was. */
  static std::string changed_since(const State& before);

  /* Restores so far, "TOOL: EDITS" a line. */
  static std::string restores() { return content("/tmp/restores"); }
};

/* Settings with one entry more or less, so that each differs from the one before. */
l3_mac_filter mac_filter(int entries);
l3_url_filter url_filter(int entries);

/* Switches the firewall on and sets three filters. Returns how many calls failed. */
int set_filters(int entries);

/* Runs in a child process. Returns its wait status. */
int in_child(const std::function<int()>& work);
