#include "management/health/metrics.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <ctime>

#include "management/change/confirmation.hpp"
#include "management/health/health.hpp"
#include "management/health/list_status.hpp"
#include "management/rules/chain_map.hpp"
#include "management/rules/drift.hpp"
#include "management/store/paths.hpp"
#include "management/store/stored_settings.hpp"
#include "management/system/escape.hpp"
#include "management/system/lock.hpp"

namespace management {

namespace {

using settings::Settings;
using enum Metric::Kind;
using Metrics = std::vector<Metric>;

uint64_t number(bool is_so) {
  return is_so ? 1 : 0;
}

std::string lower_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

void add_switches(Metrics& metrics, const Settings& stored) {
  metrics.push_back({gauge,
                     "l3_switch_enabled",
                     "Whether a switch of the settings is on.",
                     {{{{"switch", "firewall"}}, number(*stored.firewall)},
                      {{{"switch", "port_scan_protection"}}, number(*stored.port_scan_protection)},
                      {{{"switch", "ipsec_pass_through"}}, number(*stored.ipsec_pass_through)},
                      {{{"switch", "vpn_pass_through"}}, number(*stored.vpn_pass_through)},
                      {{{"switch", "route_qos"}}, number(*stored.route_qos_enabled)}}});
}

void add_lists(Metrics& metrics, const std::vector<ListStatus>& lists) {
  Metric enabled{gauge, "l3_list_enabled", "Whether a list is switched on.", {}};
  Metric entries{gauge, "l3_list_entries", "Entries that a list holds.", {}};
  Metric capacity{gauge, "l3_list_entries_max", "Entries that a list can hold.", {}};
  Metric active{
      gauge,
      "l3_entry_active",
      "Whether an entry makes a difference now: it, its list and the firewall are on, and its time "
      "span runs.",
      {}};
  for (const ListStatus& list : lists) {
    const Labels labels = {{"section", list.section}};
    enabled.samples[labels] = number(list.is_enabled);
    entries.samples[labels] = list.entries.size();
    capacity.samples[labels] = list.capacity;
    for (const EntryStatus& entry : list.entries) {
      // A name may be listed with several time spans.
      uint64_t& sample =
          active.samples[{{"section", list.section}, {"entry", escape(entry.identity)}}];
      sample = std::max(sample, number(entry.is_active));
    }
  }
  metrics.insert(metrics.end(), {enabled, entries, capacity, active});
}

/* The identity of the entry that a rule comes from; null for a rule of no entry. */
const std::string* identity_of(const Origin& origin, const std::vector<ListStatus>& lists) {
  const auto list = std::find_if(lists.begin(), lists.end(), [&](const ListStatus& one) {
    return one.section == origin.section;
  });
  const bool is_known = list != lists.end() && origin.entry >= 0 &&
                        static_cast<size_t>(origin.entry) < list->entries.size();
  return is_known ? &list->entries[static_cast<size_t>(origin.entry)].identity : nullptr;
}

struct Traffic {
  Metric entry_packets{
      counter, "l3_entry_packets", "Packets that the rules of an entry have met.", {}};
  Metric entry_bytes{counter, "l3_entry_bytes", "Bytes of these packets.", {}};
  Metric section_packets{counter,
                         "l3_section_packets",
                         "Packets that rules of a section have met which belong to no entry.",
                         {}};
  Metric section_bytes{counter, "l3_section_bytes", "Bytes of these packets.", {}};
};

/* A jump to a chain of ours is left out: the rules of that chain count its packets once more. */
void add_rule(Traffic& traffic, Family family, const ComparedRule& rule,
              const std::vector<ListStatus>& lists) {
  if (rule.origin.section.empty() || is_own_chain(family, rule.rule.target)) {
    return;
  }
  const std::string* identity = identity_of(rule.origin, lists);
  Labels labels = {{"section", rule.origin.section}};
  if (identity != nullptr) {
    labels.emplace_back("entry", escape(*identity));
  }
  labels.emplace_back("family", lower_case(family_name(family)));
  labels.emplace_back("action", lower_case(rule.rule.target));
  // The rules of one entry may be many.
  (identity != nullptr ? traffic.entry_packets : traffic.section_packets).samples[labels] +=
      rule.counters.packets;
  (identity != nullptr ? traffic.entry_bytes : traffic.section_bytes).samples[labels] +=
      rule.counters.bytes;
}

void add_traffic(Metrics& metrics, const RuleComparison& comparison,
                 const std::vector<ListStatus>& lists) {
  Traffic traffic;
  for (const ComparedTable& table : comparison.tables) {
    for (const ComparedChain& chain : table.chains) {
      for (const ComparedRule& rule : chain.rules) {
        add_rule(traffic, table.family, rule, lists);
      }
    }
  }
  metrics.insert(metrics.end(), {traffic.entry_packets, traffic.entry_bytes,
                                 traffic.section_packets, traffic.section_bytes});
}

void add_health(Metrics& metrics, const RuleComparison& comparison, const Findings& findings) {
  Metric drift{gauge, "l3_rules_drift", "Rules that are not as the settings have them.", {}};
  for (const RuleState state : {RuleState::missing, RuleState::unexpected, RuleState::moved}) {
    drift.samples[{{"kind", state_name(state)}}] = 0;
  }
  for (const Drift& one : drifts(comparison)) {
    ++drift.samples[{{"kind", state_name(one.state)}}];
  }
  Metric found{gauge, "l3_doctor_findings", "What doctor finds to be wrong.", {}};
  const auto count_of = [&](Finding::State state) {
    return static_cast<uint64_t>(
        std::count_if(findings.begin(), findings.end(),
                      [&](const Finding& finding) { return finding.state == state; }));
  };
  found.samples[{{"severity", "warning"}}] = count_of(Finding::State::warning);
  found.samples[{{"severity", "problem"}}] = count_of(Finding::State::problem);
  metrics.insert(metrics.end(), {drift, found});
}

void add_change(Metrics& metrics, std::time_t now) {
  struct stat file = {};
  if (stat(configuration_path, &file) == 0) {
    metrics.push_back({gauge,
                       "l3_settings_changed_timestamp_seconds",
                       "When the stored settings were last written.",
                       {{{}, static_cast<uint64_t>(file.st_mtime)}}});
  }
  const auto pending = confirmation_status();
  metrics.push_back({gauge,
                     "l3_confirmation_pending",
                     "Whether a change waits for its confirmation.",
                     {{{}, number(pending.has_value())}}});
  if (pending) {
    metrics.push_back({gauge,
                       "l3_confirmation_deadline_timestamp_seconds",
                       "When that change is rolled back unless it is confirmed.",
                       {{{}, static_cast<uint64_t>(now + pending->seconds_left)}}});
  }
}

}  // namespace

std::vector<Metric> read_metrics(const Options& options, const std::string& version) {
  // The places of entries and the rules that name them are those of one moment.
  const Lock lock = Lock::shared(options);
  const std::time_t now = std::time(nullptr);
  const Settings stored = stored_or_defaults();
  const auto lists = list_statuses(stored, static_cast<uint32_t>(now % (24 * 60 * 60)));
  const RuleComparison comparison = compare_rules(options);
  Metrics metrics = {{info, "l3_build", "The program that tells.", {{{{"version", version}}, 1}}}};
  add_switches(metrics, stored);
  add_lists(metrics, lists);
  add_traffic(metrics, comparison, lists);
  add_health(metrics, comparison, examine(options));
  add_change(metrics, now);
  return metrics;
}

}  // namespace management
