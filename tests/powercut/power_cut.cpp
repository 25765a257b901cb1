#include "power_cut.hpp"

#include <algorithm>
#include <csignal>

#include "inspected.hpp"
#include "run.hpp"
#include "sample_config.hpp"
#include "subprocess.hpp"

using namespace harness;
using namespace scenarios;

namespace {

/* Where the power fails: at which operation, in which way it goes wrong, and at which byte. */
struct Cut {
  int nth;
  Way way;
  off_t place = -1;
};

/* What was seen of one scenario so far. */
struct Seen {
  std::set<device::Files> left;
  Found found;
};

/* The file that a scenario is about: its own, or the configuration file. */
std::string file_of(const Scenario& scenario, const device::Files& files) {
  const auto found = files.find(scenario.other_file.empty() ? device::config : scenario.other_file);
  return found == files.end() ? "" : found->second;
}

/* From the first byte of a section that changes to behind the last; ends before it begins where none
 * does. */
Range changed_part(const Whole& whole, const Range& section) {
  Range part = {section.end, section.begin};
  for (size_t i = section.begin; i < section.end && i < whole.after.size(); ++i) {
    if (i >= whole.before.size() || whole.before[i] != whole.after[i]) {
      part = {std::min(part.begin, i), i + 1};
    }
  }
  return part;
}

/* The middle of what changes in each section. */
std::vector<off_t> places_of_change(const Whole& whole) {
  std::vector<off_t> places;
  const std::vector<Range> all = {{0, whole.after.size()}};
  for (const Range& section : whole.scenario.owns.empty() ? all : whole.scenario.owns) {
    const Range part = changed_part(whole, section);
    if (part.end > part.begin + 1) {
      places.push_back(static_cast<off_t>((part.begin + part.end) / 2));
    }
  }
  return places;
}

/* Whether a section is neither the old nor the new one. */
bool is_cut(const Whole& whole, const std::string& file, const Range& section) {
  const std::string part = file.substr(section.begin, section.end - section.begin);
  return part != whole.before.substr(section.begin, part.size()) &&
         part != whole.after.substr(section.begin, part.size());
}

void sort_in(const Whole& whole, const std::string& file, Found& found) {
  if (file == whole.before || file == whole.after) {
    return;
  }
  if (file.size() < std::max(whole.before.size(), whole.after.size())) {
    found.short_files.insert(file);
    return;
  }
  const std::vector<Range>& owns = whole.scenario.owns;
  const bool has_cut_section = std::any_of(
      owns.begin(), owns.end(), [&](const Range& section) { return is_cut(whole, file, section); });
  (owns.empty() || has_cut_section ? found.cut_sections : found.some_new).insert(file);
}

void expect_readable_by_another(const device::Files& left) {
  const Reply reply = in_subprocess([&] {
    device::plug_in();
    expect_readable(left);
    return Lines{};
  });
  EXPECT_EQ(reply.status, 0) << "it cannot be read";
}

void repair(const Scenario& scenario) {
  const Reply reply = in_subprocess([&] {
    device::plug_in();
    static_cast<void>(record([&] { EXPECT_EQ(scenario.repair(), 0); }));
    return Lines{};
  });
  EXPECT_EQ(reply.status, 0) << "it cannot be repaired";
}

/* The device as it works with what was left, repaired where the scenario takes that. */
Works works_again(const Whole& whole) {
  const Works now = works(whole.scenario);
  if (!whole.scenario.repair) {
    return now;
  }
  if (now.stored != whole.works.stored) {
    repair(whole.scenario);
  }
  // Until the next start the rules are those of the torn file.
  return works(whole.scenario);
}

void check(const Whole& whole, const device::Files& left) {
  expect_readable_by_another(left);
  device::put(left);
  const Works now = works_again(whole);
  EXPECT_EQ(now.result, 0);
  if (whole.scenario.repeatable) {
    EXPECT_TRUE(now.stored == whole.works.stored)
        << "doing it again does not bring the files right";
    EXPECT_EQ(now.rules, whole.works.rules);
  }
}

/* Returns whether the power failed: an operation has to know the way. */
bool fails(const Whole& whole, const Cut& cut, Seen& seen) {
  const Outcome outcome = play(whole.scenario, whole.start, {cut.nth, cut.way, cut.place});
  if (outcome.status == 0) {
    return false;
  }
  EXPECT_TRUE(WIFSIGNALED(outcome.status) && WTERMSIG(outcome.status) == SIGKILL)
      << "wait status " << outcome.status;
  ++seen.found.cuts;
  const device::Files left = device::files();
  if (seen.left.insert(left).second) {
    SCOPED_TRACE("cut at operation " + std::to_string(cut.nth) + ", way " +
                 std::to_string(static_cast<int>(cut.way)));
    sort_in(whole, file_of(whole.scenario, left), seen.found);
    check(whole, left);
  }
  return true;
}

}  // namespace

Whole played_through(const Scenario& scenario) {
  Whole whole = {.scenario = scenario, .start = scenario.start()};
  const Outcome clean = play(scenario, whole.start, {});
  EXPECT_EQ(clean.result, 0);
  whole.operations = static_cast<int>(clean.operations.size());
  whole.before = file_of(scenario, whole.start.files);
  whole.after = file_of(scenario, device::files());
  whole.writes = std::count(clean.operations.begin(), clean.operations.end(), Kind::write) > 0 ||
                 clean.transcript.find("-save -t") != std::string::npos;
  if (whole.writes) {
    whole.works = works(scenario);
    EXPECT_EQ(whole.works.result, 0);
  }
  return whole;
}

Found cut_everywhere(const Whole& whole) {
  Seen seen;
  const std::vector<off_t> places = places_of_change(whole);
  for (int nth = 1; nth <= whole.operations; ++nth) {
    EXPECT_TRUE(fails(whole, {nth, Way::power_fails_before}, seen))
        << "operation " << nth << " was not met";
    fails(whole, {nth, Way::power_fails_half_way}, seen);
    for (const off_t place : places) {
      fails(whole, {nth, Way::power_fails_at_a_place, place}, seen);
    }
    if (testing::Test::HasFailure()) {
      break;
    }
  }
  EXPECT_FALSE(fails(whole, {whole.operations + 1, Way::power_fails_before}, seen));
  return seen.found;
}

void check_inspection(const Whole& whole, const Found& found) {
  if (!whole.scenario.other_file.empty()) {
    return;  // no configuration file
  }
  const std::vector<std::string> whole_files = {whole.before, whole.after};
  for (const std::string& file : found.some_new) {
    inspect(file, Torn::some_sections, whole_files);
  }
  for (const std::string& file : found.cut_sections) {
    inspect(file, Torn::cut_section, whole_files);
  }
  for (const std::string& file : found.short_files) {
    inspect(file, Torn::short_file, whole_files);
  }
}
