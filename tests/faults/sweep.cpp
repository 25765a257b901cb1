#include "sweep.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "checks.hpp"
#include "run.hpp"
#include "subprocess.hpp"

namespace scenarios {

using namespace harness;

namespace {

/* One scenario, with what a run without a fault has shown. */
class ScenarioSweep {
 public:
  ScenarioSweep(const Scenario& scenario, Tally& tally)
      : scenario_(scenario),
        tally_(tally),
        start_(scenario.start()),
        expectation_(expectation_of(scenario.name)) {
    clean_ = play(scenario_, start_, {});
    EXPECT_EQ(clean_.status, 0);
    EXPECT_EQ(clean_.result, 0);
    EXPECT_EQ(clean_.left_open, 0);
    EXPECT_EQ(clean_.operations.size(), expectation_.size()) << "another number of operations";
    clean_files_ = device::files();
    expect_only_own_changes(changes_beyond_its_own(scenario_, start_, clean_), "");
    clean_after_restart_ = restart_after(scenario_, clean_.kernel);
    if (scenario_.repeatable) {
      EXPECT_EQ(clean_after_restart_.result, 0);
      EXPECT_TRUE(settings_of(clean_after_restart_.files) == settings_of(clean_files_))
          << "a second time changes more";
    }
  }

  void sweep() {
    const int operations =
        static_cast<int>(std::min(clean_.operations.size(), expectation_.size()));
    for (int nth = 1; nth <= operations; nth += sample()) {
      const std::vector<Way>& ways = faults_of(clean_.operations[static_cast<size_t>(nth) - 1]);
      const size_t only = static_cast<size_t>(nth) % ways.size();
      for (size_t way = 0; way < ways.size() && !testing::Test::HasFailure(); ++way) {
        if (in_full() || way == only) {
          let_go_wrong(nth, ways[way]);
        }
      }
    }
    EXPECT_EQ(play(scenario_, start_, {operations + 1}).met, "");
  }

 private:
  void let_go_wrong(int nth, Way way) {
    const Outcome outcome = play(scenario_, start_, {nth, way});
    SCOPED_TRACE("operation " + std::to_string(nth) + " (" + outcome.met + "), way " +
                 std::to_string(static_cast<int>(way)));
    ++tally_.faults;
    tally_.refused += outcome.result == -1 ? 1 : 0;
    expect_as_promised(outcome, expectation_[static_cast<size_t>(nth) - 1], way);
    const Changes changes = changes_beyond_its_own(scenario_, start_, outcome);
    expect_only_own_changes(changes, outcome.met);
    if (changes.empty()) {
      check_after_restart(outcome.met, what_follows(outcome));
    } else {
      ++tally_.lost;
    }
  }

  void expect_as_promised(const Outcome& outcome, const Step& step, Way way) const {
    EXPECT_EQ(outcome.status, 0) << "the process crashed";
    EXPECT_EQ(first_word(outcome.met), step.kind) << "another order of operations";
    const bool is_fault = step.kind == "run" || way == Way::fails;
    EXPECT_EQ(outcome.result, is_fault && step.counts ? -1 : 0);
    EXPECT_LE(outcome.left_open, 1);
    EXPECT_LE(commands_in(outcome.transcript),
              commands_in(clean_.transcript) + scenario_.more_commands);
    if (step.kind == "run") {
      expect_logged(outcome, way);
      expect_words_somewhere(step, outcome, clean_);
    } else {
      expect_words_next(is_fault ? step.says : Lines{}, outcome, clean_);
    }
  }

  void expect_only_own_changes(const Changes& changes, const std::string& met) const {
    for (const Change& change : changes) {
      if (!is_loss(scenario_, change, met)) {
        ADD_FAILURE() << change.file << ", byte " << change.offset << " has changed";
        return;
      }
    }
    for (const auto& [name, bytes] : start_.files) {
      const bool is_renamed = !scenario_.repeatable && name == "l3_advance.conf";
      EXPECT_TRUE(device::files().count(name) == 1 || is_renamed) << name << " is gone";
    }
  }

  /* What a device in the same state does next is known already. */
  const AfterRestart& what_follows(const Outcome& outcome) {
    std::string state = outcome.kernel;
    for (const auto& [name, bytes] : device::files()) {
      state += name + "\n" + bytes;
    }
    const auto known = followed_.find(state);
    return known != followed_.end()
               ? known->second
               : followed_.emplace(state, restart_after(scenario_, outcome.kernel)).first->second;
  }

  AfterRestart repaired(const AfterRestart& torn) const {
    device::put(torn.files);
    EXPECT_EQ(in_subprocess([&] {
                device::plug_in();
                static_cast<void>(record([&] { EXPECT_EQ(scenario_.repair(), 0); }));
                return Lines{};
              }).status,
              0);
    return restart_after(scenario_, clean_.kernel);
  }

  void check_after_restart(const std::string& met, const AfterRestart& first) {
    if (!scenario_.repeatable) {
      return;
    }
    const bool needs_repair = scenario_.repair && first_word(met) == "write" &&
                              settings_of(first.files) != settings_of(clean_after_restart_.files);
    tally_.repaired += needs_repair ? 1 : 0;
    const AfterRestart now = needs_repair ? repaired(first) : first;
    EXPECT_EQ(now.result, clean_after_restart_.result);
    EXPECT_TRUE(settings_of(now.files) == settings_of(clean_after_restart_.files))
        << "doing it again does not bring the file right";
    EXPECT_EQ(now.switched_on, clean_after_restart_.switched_on);
    EXPECT_EQ(now.started, clean_after_restart_.started);
    EXPECT_EQ(now.all_restored, clean_after_restart_.all_restored);
    if (now.rules6 != clean_after_restart_.rules6) {
      EXPECT_TRUE(scenario_.makes_rules6_last && met.rfind("run ip6tables", 0) == 0) << now.rules6;
      ++tally_.stale6;
    }
  }

  const Scenario& scenario_;
  Tally& tally_;
  Start start_;
  const Expectation& expectation_;
  Outcome clean_;
  device::Files clean_files_;
  AfterRestart clean_after_restart_;
  std::map<std::string, AfterRestart> followed_;
};

}  // namespace

bool in_full() {
  const char* full = getenv("L3_TEST_FULL");
  return full != nullptr && full[0] != '\0';
}

int sample() {
  const char* every = getenv("L3_TEST_SAMPLE");
  return every != nullptr ? std::max(atoi(every), 1) : 1;
}

Tally sweep(const List& list) {
  Tally tally;
  for (const Scenario& scenario : list) {
    SCOPED_TRACE(scenario.name);
    const int before = tally.faults;
    ScenarioSweep(scenario, tally).sweep();
    printf("%-60s %4d faults\n", scenario.name.c_str(), tally.faults - before);
    ++tally.scenarios;
    if (testing::Test::HasFailure()) {
      break;
    }
  }
  return tally;
}

}  // namespace scenarios
