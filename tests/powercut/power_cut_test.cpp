/*
 * The power fails at every operation of every call that writes: the process is killed where the
 * operation would have begun, and a write also when half of it is done, and in the middle of the
 * bytes that it changes in each section. The device that starts then reads what is stored with every
 * get call, boots, and works: the same call brings everything right.
 *
 * Records are written in place, so torn files exist. How many there are of which kind stands in
 * docs/reliability.md, and each row there is what was found here.
 */
#include <algorithm>
#include <bit>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include "apart.hpp"
#include "household.hpp"
#include "trial.hpp"

using namespace harness;
using namespace scenarios;

namespace {

const bool no_state_is_left = (tests_leave_no_state = true);

/* What a get call hands out, beside where it lies in the file. */
template <typename Object>
void expect_stored(const std::string& file, size_t offset, int32_t (*get)(Object*)) {
  static Object object;
  memset(static_cast<void*>(&object), 0xee, sizeof(object));
  int32_t result = 99;
  static_cast<void>(record([&] { result = get(&object); }));
  EXPECT_EQ(result, 0) << "byte " << offset;
  EXPECT_TRUE(bytes_of(object) == file.substr(offset, sizeof(object))) << "byte " << offset;
}

void expect_switch(bool on, int32_t (*get)(uint8_t*)) {
  uint8_t state = 9;
  static_cast<void>(record([&] { EXPECT_EQ(get(&state), 0); }));
  EXPECT_EQ(state, on ? 1 : 0);
}

/* Every get call returns 0 and what the file holds; zeros where it ends early. */
void expect_readable(const device::Files& left) {
  const auto found = left.find(device::config);
  // A missing file is created by the first that reads.
  std::string file = found == left.end() ? fresh_config_file() : found->second;
  file.resize(15019);
  expect_stored(file, ip_filter.begin, gl3_web_get_firewall_cfg);
  expect_stored(file, url_filter.begin, gl3_web_get_url_cfg);
  expect_stored(file, ipsec_pass.begin, gl3_web_get_ipsec_pass_ctrl);
  expect_stored(file, mac_filter.begin, gl3_web_get_mac_cfg);
  expect_stored(file, dhcp_filter.begin, gl3_web_get_dhcp_cfg);
  expect_stored(file, acl.begin, gl3_web_get_acl_cfg);
  expect_stored(file, caporl.begin, gl3_web_get_caporl_cfg);
  expect_stored(file, route_qos.begin, gl3_web_get_route_qos_control);
  expect_stored(file, route_qos.begin + 4, gl3_web_get_route_qos);
  expect_stored(file, ip6_filter.begin, gl3_web_get_firewall6_cfg);
  expect_stored(file, mac6_filter.begin, gl3_web_get_mac6_cfg);
  expect_switch(word_at(file, anti_port_scan.begin) != 0, gl3_web_get_anti_port_scan);
  expect_switch(file.substr(17, 2) == "1\n", gl3_web_get_vpn_pass_through);
  expect_switch(file.substr(29, 2) == "1\n", gl3_web_get_fw_status);
  int32_t seen = 9;
  static_cast<void>(record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), 0); }));
  EXPECT_TRUE(seen >= 0 && seen <= 2) << seen;
}

/* What stands on a device that starts, does what the scenario says, and is switched on. */
struct Works {
  int32_t result = 99;
  device::Files stored;
  std::string rules;
};

Works works(const Scenario& scenario) {
  start_until_saved();
  const Reply reply = apart([&] {
    device::plug_in();
    static_cast<void>(start());
    device::load_stored();
    int32_t result = 99;
    static_cast<void>(record([&] { result = scenario.repeatable ? scenario.act() : 0; }));
    const device::Files stored = device::files();
    static_cast<void>(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }));
    device::put(stored);
    return Lines{std::to_string(result), device::kernel.text()};
  });
  EXPECT_EQ(reply.status, 0) << "the device does not work";
  if (reply.lines.size() != 2) {
    return {};
  }
  return {std::stoi(reply.lines[0]), settings_of(device::files()), reply.lines[1]};
}

/* The file that a scenario is about: its own, or the configuration file. */
std::string file_of(const Scenario& scenario, const device::Files& files) {
  const auto found = files.find(scenario.other_file.empty() ? device::config : scenario.other_file);
  return found == files.end() ? "" : found->second;
}

struct Found {
  int cuts = 0;
  std::set<std::string> short_files;  /* shorter than before and after */
  std::set<std::string> cut_sections; /* a section neither old nor new */
  std::set<std::string> some_new;     /* whole sections, some old, some new */
};

class PowerCut {
 public:
  explicit PowerCut(const Scenario& scenario) : scenario_(scenario), start_(scenario.start()) {
    const Account clean = play(scenario_, start_, {});
    EXPECT_EQ(clean.result, 0);
    operations_ = static_cast<int>(clean.ways.size());
    before_ = file_of(scenario_, start_.files);
    after_ = file_of(scenario_, device::files());
    // A write is what can go wrong in four ways.
    writes_ = std::count(clean.ways.begin(), clean.ways.end(), 4) > 0 ||
              clean.transcript.find("-save -t") != std::string::npos;
    if (writes_) {
      clean_ = works(scenario_);
      EXPECT_EQ(clean_.result, 0);
    }
  }

  bool writes() const { return writes_; }

  Found run() {
    const std::vector<off_t> places = places_of_change();
    for (int nth = 1; nth <= operations_; ++nth) {
      EXPECT_TRUE(cut(nth, 0, -1)) << "operation " << nth << " was not met";
      cut(nth, 1, -1);
      for (const off_t place : places) {
        cut(nth, 2, place);
      }
      if (testing::Test::HasFailure()) {
        break;
      }
    }
    EXPECT_FALSE(cut(operations_ + 1, 0, -1));
    return found_;
  }

 private:
  /* The middle of what changes in each section. */
  std::vector<off_t> places_of_change() const {
    std::vector<off_t> places;
    const std::vector<Range> whole = {{0, after_.size()}};
    for (const Range& range : scenario_.owns.empty() ? whole : scenario_.owns) {
      size_t first = range.end;
      size_t last = range.begin;
      for (size_t i = range.begin; i < range.end && i < after_.size(); ++i) {
        if (i >= before_.size() || before_[i] != after_[i]) {
          first = std::min(first, i);
          last = i + 1;
        }
      }
      if (last > first + 1) {
        places.push_back(static_cast<off_t>((first + last) / 2));
      }
    }
    return places;
  }

  /* Returns whether the power failed: an operation has to know the way. */
  bool cut(int nth, int way, off_t place) {
    const Account account = play(scenario_, start_, {nth, way, true, place});
    if (account.status == 0) {
      return false;
    }
    EXPECT_TRUE(WIFSIGNALED(account.status) && WTERMSIG(account.status) == SIGKILL)
        << "wait status " << account.status;
    ++found_.cuts;
    const device::Files left = device::files();
    if (seen_.insert(left).second) {
      SCOPED_TRACE("cut at operation " + std::to_string(nth) + ", way " + std::to_string(way));
      judge(left);
    }
    return true;
  }

  void judge(const device::Files& left) {
    sort_in(file_of(scenario_, left));
    EXPECT_EQ(apart([&] {
                device::plug_in();
                expect_readable(left);
                return Lines{};
              }).status,
              0)
        << "it cannot be read";
    device::put(left);
    Works now = works(scenario_);
    if (scenario_.repair) {
      if (now.stored != clean_.stored) {
        const Reply reply = apart([&] {
          device::plug_in();
          static_cast<void>(record([&] { EXPECT_EQ(scenario_.repair(), 0); }));
          return Lines{};
        });
        EXPECT_EQ(reply.status, 0) << "it cannot be repaired";
      }
      // Until the next start the rules are those of the torn file.
      now = works(scenario_);
    }
    EXPECT_EQ(now.result, 0);
    if (scenario_.repeatable) {
      EXPECT_TRUE(now.stored == clean_.stored) << "doing it again does not bring the files right";
      EXPECT_EQ(now.rules, clean_.rules);
    }
  }

  void sort_in(const std::string& file) {
    if (file == before_ || file == after_) {
      return;
    }
    if (file.size() < std::max(before_.size(), after_.size())) {
      found_.short_files.insert(file);
      return;
    }
    for (const Range& range : scenario_.owns) {
      const std::string section = file.substr(range.begin, range.end - range.begin);
      if (section != before_.substr(range.begin, section.size()) &&
          section != after_.substr(range.begin, section.size())) {
        found_.cut_sections.insert(file);
        return;
      }
    }
    (scenario_.owns.empty() ? found_.cut_sections : found_.some_new).insert(file);
  }

  const Scenario& scenario_;
  Start start_;
  int operations_ = 0;
  bool writes_ = false;
  std::string before_;
  std::string after_;
  Works clean_;
  std::set<device::Files> seen_;
  Found found_;
};

const std::string& documented() {
  static const std::string page = [] {
    std::ifstream file(RELIABILITY_PAGE);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    // The rows of the other byte order stand last and count there alone.
    const bool big_endian = std::endian::native == std::endian::big;
    return big_endian ? text : text.substr(0, text.find("\nOn a big-endian host"));
  }();
  return page;
}

/* Cuts through all of them that write, and holds what was found against the page's table. */
void cut_power(const List& list) {
  Lines rows;
  for (const Scenario& scenario : list) {
    SCOPED_TRACE(scenario.name);
    PowerCut power_cut(scenario);
    if (!power_cut.writes()) {
      continue;
    }
    const Found found = power_cut.run();
    rows.push_back("| " + scenario.name + " | " + std::to_string(found.cuts) + " | " +
                   std::to_string(found.some_new.size()) + " | " +
                   std::to_string(found.cut_sections.size()) + " | " +
                   std::to_string(found.short_files.size()) + " |");
    printf("%s\n", rows.back().c_str());
  }
  EXPECT_FALSE(rows.empty());
  for (const std::string& row : rows) {
    EXPECT_NE(documented().find("\n" + row + "\n"), std::string::npos)
        << "docs/reliability.md says otherwise; it should be\n"
        << row;
  }
}

}  // namespace

TEST(PowerCut, ConfigurationFile) {
  cut_power(configuration_file());
}
TEST(PowerCut, RecordFiles) {
  cut_power(record_files());
}
TEST(PowerCut, Migration) {
  cut_power(migration());
}
TEST(PowerCut, VpnPassThrough) {
  cut_power(vpn_pass_through());
}
TEST(PowerCut, RouteQos) {
  cut_power(route_qos_calls());
}
TEST(PowerCut, SavedRules) {
  cut_power(shell_and_rule_set());
}
TEST(PowerCut, IpFilter) {
  cut_power(ip_filters());
}
TEST(PowerCut, UrlFilter) {
  cut_power(url_filters());
}
TEST(PowerCut, MacFilter) {
  cut_power(mac_filters());
}
TEST(PowerCut, DhcpFilter) {
  cut_power(dhcp_filters());
}
TEST(PowerCut, AccessList) {
  cut_power(access_lists());
}
TEST(PowerCut, CaptivePortal) {
  cut_power(captive_portals());
}
TEST(PowerCut, AttackProtection) {
  cut_power(attack_protection());
}
TEST(PowerCut, StartUp) {
  cut_power(start_up());
}
TEST(PowerCut, MasterSwitch) {
  cut_power(master_switch());
}
TEST(PowerCut, SecurityLevel) {
  cut_power(security_level());
}
TEST(PowerCut, FactoryReset) {
  cut_power(factory_reset());
}
