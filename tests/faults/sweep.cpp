#include "sweep.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "apart.hpp"
#include "judged.hpp"
#include "trial.hpp"

namespace scenarios {

using namespace harness;

namespace {

/* One scenario, with what a run without a fault has shown. */
class Judge {
 public:
  Judge(const Scenario& scenario, Tally& tally)
      : scenario_(scenario),
        tally_(tally),
        start_(scenario.start()),
        course_(course_of(scenario.name)) {
    clean_ = play(scenario_, start_, {});
    EXPECT_EQ(clean_.status, 0);
    EXPECT_EQ(clean_.result, 0);
    EXPECT_EQ(clean_.left_open, 0);
    EXPECT_EQ(clean_.operations.size(), course_.size()) << "another number of operations";
    clean_files_ = device::files();
    expect_only_own_changes(changes_beyond_its_own(scenario_, start_, clean_), "");
    clean_aftermath_ = aftermath_of(scenario_, clean_.kernel);
    if (scenario_.repeatable) {
      EXPECT_EQ(clean_aftermath_.result, 0);
      EXPECT_TRUE(settings_of(clean_aftermath_.files) == settings_of(clean_files_))
          << "a second time changes more";
    }
  }

  void sweep() {
    const int operations = static_cast<int>(std::min(clean_.operations.size(), course_.size()));
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
    const Account account = play(scenario_, start_, {nth, way});
    SCOPED_TRACE("operation " + std::to_string(nth) + " (" + account.met + "), way " +
                 std::to_string(static_cast<int>(way)));
    ++tally_.faults;
    tally_.refused += account.result == -1 ? 1 : 0;
    expect_as_promised(account, course_[static_cast<size_t>(nth) - 1], way);
    const Changes changes = changes_beyond_its_own(scenario_, start_, account);
    expect_only_own_changes(changes, account.met);
    if (changes.empty()) {
      judge_aftermath(account.met, what_follows(account));
    } else {
      ++tally_.lost;
    }
  }

  void expect_as_promised(const Account& account, const Step& step, Way way) const {
    EXPECT_EQ(account.status, 0) << "the process crashed";
    EXPECT_EQ(first_word(account.met), step.kind) << "another order of operations";
    const bool is_fault = step.kind == "run" || way == Way::fails;
    EXPECT_EQ(account.result, is_fault && step.counts ? -1 : 0);
    EXPECT_LE(account.left_open, 1);
    EXPECT_LE(commands_in(account.transcript),
              commands_in(clean_.transcript) + scenario_.more_commands);
    if (step.kind == "run") {
      expect_logged(account, way);
      expect_words_somewhere(step, account, clean_);
    } else {
      expect_words_next(is_fault ? step.says : Lines{}, account, clean_);
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
  const Aftermath& what_follows(const Account& account) {
    std::string state = account.kernel;
    for (const auto& [name, bytes] : device::files()) {
      state += name + "\n" + bytes;
    }
    const auto known = followed_.find(state);
    return known != followed_.end()
               ? known->second
               : followed_.emplace(state, aftermath_of(scenario_, account.kernel)).first->second;
  }

  Aftermath repaired(const Aftermath& torn) const {
    device::put(torn.files);
    EXPECT_EQ(apart([&] {
                device::plug_in();
                static_cast<void>(record([&] { EXPECT_EQ(scenario_.repair(), 0); }));
                return Lines{};
              }).status,
              0);
    return aftermath_of(scenario_, clean_.kernel);
  }

  void judge_aftermath(const std::string& met, const Aftermath& first) {
    if (!scenario_.repeatable) {
      return;
    }
    const bool needs_repair = scenario_.repair && first_word(met) == "write" &&
                              settings_of(first.files) != settings_of(clean_aftermath_.files);
    tally_.repaired += needs_repair ? 1 : 0;
    const Aftermath now = needs_repair ? repaired(first) : first;
    EXPECT_EQ(now.result, clean_aftermath_.result);
    EXPECT_TRUE(settings_of(now.files) == settings_of(clean_aftermath_.files))
        << "doing it again does not bring the file right";
    EXPECT_EQ(now.switched_on, clean_aftermath_.switched_on);
    EXPECT_EQ(now.started, clean_aftermath_.started);
    EXPECT_EQ(now.all_restored, clean_aftermath_.all_restored);
    if (now.rules6 != clean_aftermath_.rules6) {
      EXPECT_TRUE(scenario_.makes_rules6_last && met.rfind("run ip6tables", 0) == 0) << now.rules6;
      ++tally_.stale6;
    }
  }

  const Scenario& scenario_;
  Tally& tally_;
  Start start_;
  const Course& course_;
  Account clean_;
  device::Files clean_files_;
  Aftermath clean_aftermath_;
  std::map<std::string, Aftermath> followed_;
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
    Judge(scenario, tally).sweep();
    printf("%-60s %4d faults\n", scenario.name.c_str(), tally.faults - before);
    ++tally.scenarios;
    if (testing::Test::HasFailure()) {
      break;
    }
  }
  return tally;
}

}  // namespace scenarios
