/* l3ctl rules: the chains as they stand in the kernel. l3ctl check: whether they follow the settings. */
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "executor/process.hpp"
#include "l3ctl/commands.hpp"
#include "l3ctl/views/colour.hpp"
#include "l3ctl/views/hits_view.hpp"
#include "l3ctl/views/json_output.hpp"
#include "l3ctl/views/rules_view.hpp"
#include "management/store/stored_check.hpp"
#include "management/system/atomic_file.hpp"
#include "management/system/escape.hpp"
#include "management/system/find_tool.hpp"
#include "management/system/journal.hpp"

namespace l3ctl {

namespace {

struct Look {
  bool has_counters = false;
  bool is_watching = false;
  int seconds = 2;
  std::optional<std::string> picture; /* a file */
  size_t top = 0;                     /* 0 for all settings */
  bool since_last = false;
  bool is_by_setting = false;
};

std::string drawn(const std::string& picture) {
  if (tool_path("dot").empty()) {
    throw Error("cannot draw the picture: " + not_in_path({"dot"}) + " (Debian package graphviz)");
  }
  const executor::ProcessResult run = executor::run({"dot", "-Tsvg"}, picture);
  if (!run.is_started) {
    throw Error("cannot draw the picture: cannot start " + run.errors);
  }
  if (run.status != 0) {
    throw Error("dot ended with " + std::to_string(run.exit_status()) + ": " +
                run.errors.substr(0, run.errors.find('\n')));
  }
  return run.output;
}

int draw(const Context& context, const std::string& file) {
  const std::string svg = drawn(rules_dot(compare_rules(context)));
  if (file == "-") {
    std::cout << svg;
  } else {
    write_world_readable(file, svg);
  }
  return exit_done;
}

sigset_t endings() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  return signals;
}

/* Until the next redraw is due: whether it still is wanted. */
bool wait_for_redraw(int seconds) {
  const sigset_t signals = endings();
  const timespec pause{seconds, 0};
  return sigtimedwait(&signals, nullptr, &pause) == -1;
}

/* A tool may hang, so the signals that end a watch are let in while it works; they wait while a drawing
 * is written, which is never cut. */
RuleComparison compare_interruptibly(const Context& context) {
  const sigset_t signals = endings();
  sigprocmask(SIG_UNBLOCK, &signals, nullptr);
  RuleComparison comparison = compare_rules(context);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return comparison;
}

std::string heading() {
  const std::time_t now = std::time(nullptr);
  char text[32] = {};
  std::strftime(text, sizeof text, "%H:%M:%S UTC", std::gmtime(&now));
  return painted(Paint::faint, std::string(text) + "; end with Ctrl-C") + "\n";
}

int watch(const Context& context, const Look& look) {
  // Until the first drawing is done too, an end that is asked for is no failure.
  for (const int ending : {SIGINT, SIGTERM}) {
    std::signal(ending, [](int) { _exit(exit_done); });
  }
  const bool clears = isatty(STDOUT_FILENO) == 1;
  Counted before;
  do {
    const RuleComparison comparison = compare_interruptibly(context);
    if (context.json) {
      std::cout << json_text(rules_json(comparison), -1);
    } else {
      std::cout << (clears ? "\033[H\033[J" : "") << heading()
                << rules_tree(comparison, {true, before.empty() ? nullptr : &before});
    }
    std::cout.flush();
    before = counted(comparison);
  } while (std::cout && wait_for_redraw(look.seconds));
  return exit_done;
}

int show_rules(const Context& context, const Look& look) {
  warn_of_stored_damage();
  if (look.picture) {
    if (look.picture->empty()) {
      throw Error("--svg: the name of the file is empty", ErrorKind::invalid_input);
    }
    if (context.json) {
      throw Error("--svg draws a picture, which --json cannot be asked of",
                  ErrorKind::invalid_input);
    }
    return draw(context, *look.picture);
  }
  if (look.is_watching) {
    return watch(context, look);
  }
  const RuleComparison comparison = compare_rules(context);
  if (look.is_by_setting) {
    std::vector<Hits> hits = hits_by_setting(comparison);
    if (look.since_last) {
      hits = hits_since_last(std::move(hits));
    }
    hits.resize(look.top == 0 ? hits.size() : std::min(look.top, hits.size()));
    print_hits(context, hits);
    return exit_done;
  }
  std::cout << (context.json ? json_text(rules_json(comparison))
                             : rules_tree(comparison, {look.has_counters, nullptr}));
  return exit_done;
}

void tell_journal_of(const std::vector<Drift>& found) {
  if (!found.empty()) {
    tell_journal(Event::drift_found, "rules are not as set: " + in_words(found.front()),
                 {{"L3_DRIFT", std::to_string(found.size())},
                  {"L3_SECTION", found.front().origin.section},
                  {"L3_ENTRY", found.front().origin.path}});
  }
}

int check(const Context& context) {
  warn_of_stored_damage();
  const RuleComparison comparison = compare_rules(context);
  const std::vector<Drift> found = drifts(comparison);
  tell_journal_of(found);
  if (context.json) {
    print_json(
        {{"follows", found.empty()}, {"drift", drifts_json(found)}, {"notes", comparison.notes}});
  } else {
    for (const std::string& note : comparison.notes) {
      inform("note: " + note);
    }
    for (const Drift& drift : found) {
      std::cout << painted(Paint::warning, escape(in_words(drift))) << '\n';
    }
  }
  return found.empty() ? exit_done : exit_rules_differ;
}

}  // namespace

void add_rules_command(CLI::App& app, Context& context) {
  CLI::App* command = app.add_subcommand(
      "rules", "Draw the chains as they stand in the kernel, each rule with its setting");
  auto look = std::make_shared<Look>();
  command->add_flag("--counters", look->has_counters, "Packets and bytes that each rule has met");
  auto* watching =
      command
          ->add_option("--watch", look->seconds,
                       "Redraw every SECONDS (2) until interrupted, with counters that "
                       "moved marked")
          ->expected(0, 1)
          ->type_name("[SECONDS]")
          ->check(CLI::Range(1, 3600));
  auto* top = command
                  ->add_option("--top", look->top,
                               "No chains, but the N (10) settings whose rules met most packets")
                  ->expected(0, 1)
                  ->type_name("[N]")
                  ->check(CLI::Range(1, 1000))
                  ->excludes(watching);
  auto* since_last = command
                         ->add_flag("--since-last", look->since_last,
                                    "The same, of the packets since --since-last was given last")
                         ->excludes(watching);
  command
      ->add_option("--svg", look->picture,
                   "Draw a picture into FILE instead, by dot of Debian's graphviz; - is standard "
                   "output")
      ->type_name("FILE")
      ->excludes(watching)
      ->excludes(top)
      ->excludes(since_last);
  command->callback([&context, look, watching, top] {
    look->is_by_setting = top->count() > 0 || look->since_last;
    look->top = top->count() > 0 && look->top == 0 ? 10 : look->top;
    look->is_watching = watching->count() > 0;
    context.action = [&context, look] { return show_rules(context, *look); };
  });
}

void add_check_command(CLI::App& app, Context& context) {
  app.add_subcommand("check",
                     "Compare the kernel's rules with the settings: a line a difference, and exit "
                     "status 3")
      ->callback([&context] { context.action = [&context] { return check(context); }; });
}

}  // namespace l3ctl
