#include "sweep.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "apart.hpp"
#include "trial.hpp"

namespace scenarios {

using namespace harness;

namespace {

Tally all_sweeps;

bool is_save_file(const std::string& name) {
  return name == device::save || name == device::save6;
}

int commands_in(const std::string& transcript) {
  int commands = 0;
  for (size_t at = 0; at != std::string::npos; at = transcript.find('\n', at + 1)) {
    commands += transcript.compare(at == 0 ? 0 : at + 1, 4, "run ") == 0 ? 1 : 0;
  }
  return commands;
}

bool inside(size_t offset, const std::vector<Range>& ranges) {
  return std::any_of(ranges.begin(), ranges.end(), [&](const Range& range) {
    return offset >= range.begin && offset < range.end;
  });
}

bool touches_file(const std::string& operation) {
  return operation == "open" || operation == "lseek" || operation.rfind("read ", 0) == 0;
}

/* One scenario, with what a run without a fault has shown. */
class Judge {
 public:
  explicit Judge(const Scenario& scenario) : scenario_(scenario), start_(scenario.start()) {
    clean_ = play(scenario_, start_, {});
    EXPECT_EQ(clean_.status, 0);
    EXPECT_EQ(clean_.result, 0);
    EXPECT_EQ(clean_.left_open, 0);
    clean_files_ = device::files();
    expect_only_owned_bytes_changed(clean_files_, "");
    clean_aftermath_ = aftermath_of(scenario_, clean_.kernel);
    if (scenario_.repeatable) {
      EXPECT_EQ(clean_aftermath_.result, 0);
      EXPECT_TRUE(settings_of(clean_aftermath_.files) == settings_of(clean_files_))
          << "a second time changes more";
    }
  }

  /* Sweeps, and returns how many faults were met. */
  int sweep() {
    int faults = 0;
    const int operations = static_cast<int>(clean_.ways.size());
    for (int nth = 1; nth <= operations; nth += sample()) {
      const int ways = clean_.ways[static_cast<size_t>(nth) - 1];
      const int first = in_full() ? 0 : nth % ways;
      const int last = in_full() ? ways - 1 : first;
      for (int way = first; way <= last && !testing::Test::HasFailure(); ++way) {
        const Account account = play(scenario_, start_, {nth, way});
        SCOPED_TRACE("operation " + std::to_string(nth) + " (" + account.met + "), way " +
                     std::to_string(way));
        EXPECT_NE(account.met, "");
        judge(account, way);
        ++faults;
      }
    }
    EXPECT_EQ(play(scenario_, start_, {operations + 1, 0}).met, "");
    return faults;
  }

 private:
  void judge(const Account& account, int way) {
    const device::Files left = device::files();
    EXPECT_EQ(account.status, 0) << "the process crashed";
    EXPECT_TRUE(account.result == 0 || account.result == -1) << account.result;
    all_sweeps.refused += account.result == -1 ? 1 : 0;
    EXPECT_LE(account.left_open, 1);
    EXPECT_LE(commands_in(account.transcript),
              commands_in(clean_.transcript) + scenario_.more_commands);
    expect_logged(account, way);
    const bool lost = expect_only_owned_bytes_changed(left, account.met);
    all_sweeps.lost += lost ? 1 : 0;

    std::string state = account.kernel;
    for (const auto& [name, bytes] : left) {
      state += name + "\n" + bytes;
    }
    // What a device in the same state does next is known already.
    if (seen_.insert(state).second && !lost) {
      judge_aftermath(account.met, aftermath_of(scenario_, account.kernel));
    }
  }

  /* str_system() says so when a command line fails. */
  void expect_logged(const Account& account, int way) const {
    if (account.met.rfind("run ", 0) != 0 ||
        account.met == "run mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat") {
      return;
    }
    const std::string line = account.met.substr(4);
    const std::string expected =
        way == 0   ? lines({ran_and_failed(line)})
        : way == 1 ? lines({command(line), error("run [" + line + "], system error!")})
                   : lines({command(line), debug("exit status value = [0x9]\n"),
                            error("run [" + line + "], exit status = [0]\n")});
    EXPECT_NE(account.transcript.find(expected), std::string::npos) << account.transcript;
  }

  /* Returns whether a failed reload has turned settings into zeros that this call does not own. */
  bool expect_only_owned_bytes_changed(const device::Files& left, const std::string& operation) {
    bool lost = false;
    for (const auto& [name, bytes] : left) {
      if (is_save_file(name) || name == scenario_.other_file) {
        continue;
      }
      const std::vector<Range>& owned = scenario_.owns;
      const auto old = start_.files.find(name);
      const std::string before = old == start_.files.end() ? "" : old->second;
      for (size_t i = 0; i < std::max(before.size(), bytes.size()); ++i) {
        const bool kept = i < before.size() && i < bytes.size() && before[i] == bytes[i];
        if (kept || (name == device::config && inside(i, owned))) {
          continue;
        }
        lost = i < bytes.size() && bytes[i] == '\0' && inside(i, scenario_.lost_unread) &&
               touches_file(operation);
        EXPECT_TRUE(lost) << name << ", byte " << i << " has changed";
        if (!lost) {
          return false;
        }
      }
    }
    for (const auto& [name, bytes] : start_.files) {
      EXPECT_TRUE(left.count(name) == 1 || !scenario_.repeatable) << name << " is gone";
    }
    return lost;
  }

  void judge_aftermath(const std::string& met, const Aftermath& first) {
    if (!scenario_.repeatable) {
      return;
    }
    Aftermath now = first;
    if (scenario_.repair && met.rfind(scenario_.repair_after, 0) == 0 &&
        settings_of(now.files) != settings_of(clean_aftermath_.files)) {
      ++all_sweeps.repaired;
      device::put(now.files);
      EXPECT_EQ(apart([&] {
                  device::plug_in();
                  static_cast<void>(record([&] { EXPECT_EQ(scenario_.repair(), 0); }));
                  return Lines{};
                }).status,
                0);
      now = aftermath_of(scenario_, clean_.kernel);
    }
    EXPECT_EQ(now.result, clean_aftermath_.result);
    EXPECT_TRUE(settings_of(now.files) == settings_of(clean_aftermath_.files))
        << "doing it again does not bring the file right";
    EXPECT_EQ(now.switched_on, clean_aftermath_.switched_on);
    EXPECT_EQ(now.started, clean_aftermath_.started);
    EXPECT_EQ(now.all_restored, clean_aftermath_.all_restored);
    all_sweeps.stale6 += now.rules6 != clean_aftermath_.rules6 ? 1 : 0;
  }

  const Scenario& scenario_;
  Start start_;
  Account clean_;
  device::Files clean_files_;
  Aftermath clean_aftermath_;
  std::set<std::string> seen_;
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

void sweep(const List& list, int floor) {
  int faults = 0;
  for (const Scenario& scenario : list) {
    SCOPED_TRACE(scenario.name);
    const int met = Judge(scenario).sweep();
    printf("%-60s %4d faults\n", scenario.name.c_str(), met);
    faults += met;
    ++all_sweeps.scenarios;
    if (testing::Test::HasFailure()) {
      return;
    }
  }
  all_sweeps.faults += faults;
  EXPECT_GE(faults, floor / sample());
}

const Tally& tally() {
  return all_sweeps;
}

}  // namespace scenarios
