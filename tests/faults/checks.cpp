#include "checks.hpp"

#include <algorithm>
#include <set>
#include <sstream>

namespace scenarios {

using namespace harness;

namespace {

/* Where a transcript begins to differ from another, by whole lines. */
size_t parting(const std::string& one, const std::string& other) {
  const auto place = std::mismatch(one.begin(), one.end(), other.begin(), other.end()).first;
  const auto same = static_cast<size_t>(place - one.begin());
  return same == 0 ? 0 : one.rfind('\n', same - 1) + 1;
}

Lines lines_of(const std::string& transcript) {
  Lines all;
  std::istringstream text(transcript);
  for (std::string line; std::getline(text, line);) {
    all.push_back(line);
  }
  return all;
}

void expect_nothing_new(const Outcome& outcome, const Outcome& clean) {
  const Lines usual = lines_of(clean.transcript);
  const std::set<std::string> known(usual.begin(), usual.end());
  for (const std::string& line : lines_of(outcome.transcript)) {
    const bool is_error = line.rfind("error ", 0) == 0;
    EXPECT_TRUE(!is_error || known.count(line) == 1) << "it says more: " << line;
  }
}

/* The bytes of a file that a scenario may change. */
std::vector<Range> owned_bytes(const Scenario& scenario, const std::string& file,
                               const Outcome& outcome) {
  if (file == device::config) {
    return scenario.owns;
  }
  if (file == scenario.other_file) {
    return scenario.other_owns;
  }
  const bool is_saved = (file == device::save || file == device::save6) &&
                        outcome.transcript.find(">/ztcfg/" + file) != std::string::npos;
  return is_saved ? std::vector<Range>{{0, std::string::npos}} : std::vector<Range>{};
}

bool inside(size_t offset, const std::vector<Range>& ranges) {
  return std::any_of(ranges.begin(), ranges.end(), [&](const Range& range) {
    return offset >= range.begin && offset < range.end;
  });
}

void add_changes(const std::string& file, const std::string& before, const std::string& now,
                 const std::vector<Range>& owned, Changes& changes) {
  for (size_t i = 0; i < std::max(before.size(), now.size()); ++i) {
    const bool is_kept = i < before.size() && i < now.size() && before[i] == now[i];
    if (!is_kept && !inside(i, owned)) {
      changes.push_back({file, i, i < now.size() && now[i] == '\0'});
    }
  }
}

}  // namespace

std::string first_word(const std::string& text) {
  return text.substr(0, text.find(' '));
}

int commands_in(const std::string& transcript) {
  const Lines all = lines_of(transcript);
  return static_cast<int>(std::count_if(
      all.begin(), all.end(), [](const std::string& line) { return first_word(line) == "run"; }));
}

void expect_logged(const Outcome& outcome, Way way) {
  if (outcome.met == "run mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat") {
    return;  // The migration runs it beside str_system().
  }
  const std::string line = outcome.met.substr(4);
  const std::string expected =
      way == Way::fails      ? lines({ran_and_failed(line)})
      : way == Way::no_shell ? lines({command(line), error("run [" + line + "], system error!")})
                             : lines({command(line), debug("exit status value = [0x9]\n"),
                                      error("run [" + line + "], exit status = [0]\n")});
  EXPECT_NE(outcome.transcript.find(expected), std::string::npos) << outcome.transcript;
}

void expect_words_next(const Lines& words, const Outcome& outcome, const Outcome& clean) {
  if (words.empty()) {
    expect_nothing_new(outcome, clean);
    return;
  }
  const std::string expected = lines({words});
  const size_t place = parting(outcome.transcript, clean.transcript);
  EXPECT_EQ(outcome.transcript.substr(place, expected.size()), expected);
}

void expect_words_somewhere(const Step& step, const Outcome& outcome, const Outcome& clean) {
  const size_t place = parting(outcome.transcript, clean.transcript);
  EXPECT_NE(outcome.transcript.find(lines({step.says}), place), std::string::npos)
      << outcome.transcript;
}

Changes changes_beyond_its_own(const Scenario& scenario, const Start& start,
                               const Outcome& outcome) {
  Changes changes;
  for (const auto& [name, bytes] : device::files()) {
    const auto old = start.files.find(name);
    const std::string before = old == start.files.end() ? "" : old->second;
    add_changes(name, before, bytes, owned_bytes(scenario, name, outcome), changes);
  }
  return changes;
}

bool is_loss(const Scenario& scenario, const Change& change, const std::string& met) {
  const std::string kind = first_word(met);
  return change.file == device::config && change.is_zero &&
         inside(change.offset, scenario.lost_unread) &&
         (kind == "open" || kind == "lseek" || kind == "read");
}

}  // namespace scenarios
