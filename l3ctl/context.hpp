/* What every command of l3ctl is given, and how it ends. */
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "management/error.hpp"
#include "management/options.hpp"

namespace l3ctl {

/* Exit statuses; --help lists them. */
enum ExitStatus {
  exit_done = 0,
  exit_failed = 1,       /* the system or the library refused */
  exit_wrong_input = 2,  /* nothing was changed */
  exit_implausible = 3,  /* a configuration file is torn or implausible */
  exit_rule_refused = 3, /* by the packet filter; everything is as it was before */
  exit_rules_differ = 3, /* check: the kernel's rules are not those of the settings */
  exit_unhealthy = 3,    /* doctor: something is wrong with the gateway */
  exit_changes = 2,      /* plan and diff: there is something to change; wrong input is 1 there */
  exit_unanswered = 4,   /* the change was made, but its answer could not be written */
  exit_busy = 5,         /* another change holds the lock, or waits for its confirmation */
};

/* The commands word what the management layer does, and use its names throughout. */
using namespace management;

struct Context : Options {
  bool json = false;
  bool quiet = false;   /* errors only on standard error, and no report of a change */
  bool verbose = false; /* the library's lines also when the command succeeds */
  /* What the command line asked for; set while it is parsed, run afterwards. */
  std::function<int()> action;
};

/* For commands whose result is a text of its own kind. */
inline void refuse_json(const Context& context, const std::string& command) {
  if (context.json) {
    throw Error(command + ": there is no result as JSON", ErrorKind::invalid_input);
  }
}

/* "l3ctl: message" on standard error: an error, or what explains it. */
void complain(const std::string& message);

/* All of these so far, those that --quiet leaves out too. */
const std::vector<std::string>& reported_messages();

/* The same for a warning, a note or progress: not with --quiet. */
void inform(const std::string& message);

}  // namespace l3ctl
