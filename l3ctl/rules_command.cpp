/* l3ctl rules: the chains as they stand in the kernel. l3ctl check: whether they follow the settings. */
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "l3ctl/colour.hpp"
#include "l3ctl/commands.hpp"
#include "l3ctl/rules_view.hpp"
#include "l3ctl/stored_damage.hpp"
#include "l3ctl/tool.hpp"
#include "l3ctl/whole_file.hpp"

namespace l3ctl {

namespace {

constexpr auto replace_bad_bytes = nlohmann::ordered_json::error_handler_t::replace;

struct Look {
  bool has_counters = false;
  bool is_watching = false;
  int seconds = 2;
  std::optional<std::string> picture; /* a file */
};

std::string json_text(const nlohmann::ordered_json& json, int indent) {
  return json.dump(indent, ' ', true, replace_bad_bytes) + "\n";
}

std::string drawn(const std::string& picture) {
  const ToolRun run = run_tool({"dot", "-Tsvg"}, picture);
  if (run.status == -1) {
    throw Failure("cannot start dot, which draws the picture (Debian package graphviz): " +
                  run.errors);
  }
  if (run.status != 0) {
    throw Failure("dot ended with " + std::to_string(run.status) + ": " + run.errors);
  }
  return run.output;
}

int draw(const Context& context, const std::string& file) {
  const std::string svg = drawn(rules_picture(judge_live_rules(context)));
  if (file == "-") {
    std::cout << svg;
  } else {
    write_for_all(file, svg);
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
Judgement judge_interruptibly(const Context& context) {
  const sigset_t signals = endings();
  sigprocmask(SIG_UNBLOCK, &signals, nullptr);
  Judgement judgement = judge_live_rules(context);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return judgement;
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
    const Judgement judgement = judge_interruptibly(context);
    if (context.json) {
      std::cout << json_text(rules_json(judgement), -1);
    } else {
      std::cout << (clears ? "\033[H\033[J" : "") << heading()
                << rules_tree(judgement, {true, before.empty() ? nullptr : &before});
    }
    std::cout.flush();
    before = counted(judgement);
  } while (std::cout && wait_for_redraw(look.seconds));
  return exit_done;
}

int show_rules(const Context& context, const Look& look) {
  warn_of_stored_damage();
  if (look.picture) {
    if (look.picture->empty()) {
      throw Failure("--svg: the name of the file is empty", exit_wrong_input);
    }
    if (context.json) {
      throw Failure("--svg draws a picture, which --json cannot be asked of", exit_wrong_input);
    }
    return draw(context, *look.picture);
  }
  if (look.is_watching) {
    return watch(context, look);
  }
  const Judgement judgement = judge_live_rules(context);
  std::cout << (context.json ? json_text(rules_json(judgement), 2)
                             : rules_tree(judgement, {look.has_counters, nullptr}));
  return exit_done;
}

int check(const Context& context) {
  warn_of_stored_damage();
  const Judgement judgement = judge_live_rules(context);
  const std::vector<Drift> found = drifts(judgement);
  if (context.json) {
    std::cout << json_text(
        {{"follows", found.empty()}, {"drift", drifts_json(found)}, {"notes", judgement.notes}}, 2);
  } else {
    for (const std::string& note : judgement.notes) {
      complain("note: " + note);
    }
    for (const Drift& drift : found) {
      std::cout << painted(Paint::warning, in_words(drift)) << '\n';
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
  command
      ->add_option("--svg", look->picture,
                   "Draw a picture into FILE instead, by dot of Debian's graphviz; - is standard "
                   "output")
      ->type_name("FILE")
      ->excludes(watching);
  command->callback([&context, look, watching] {
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
