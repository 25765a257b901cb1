#include "management/rules/hits.hpp"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "management/rules/chain_map.hpp"
#include "management/system/atomic_file.hpp"

namespace management {

namespace {

using Json = nlohmann::ordered_json;

/* Gone after a restart, as the counters are. */
constexpr char noted_path[] = "/run/l3ctl.counters";
constexpr size_t largest_note = size_t{1} << 20;

void sort(std::vector<Hits>& hits) {
  std::stable_sort(hits.begin(), hits.end(), [](const Hits& one, const Hits& other) {
    return one.counters.packets > other.counters.packets;
  });
}

/* A note that cannot be read is none. */
Json noted_counters() {
  const auto text = read_start_if_exists(noted_path, largest_note);
  Json noted = text ? Json::parse(*text, nullptr, false) : Json();
  return noted.is_object() ? noted : Json::object();
}

uint64_t added(uint64_t now, const Json& before) {
  const uint64_t noted = before.is_number_unsigned() ? before.get<uint64_t>() : 0;
  return now >= noted ? now - noted : now;
}

}  // namespace

std::vector<Hits> hits_by_setting(const RuleComparison& comparison) {
  std::map<std::string, Hits> by_setting;
  for (const ComparedTable& table : comparison.tables) {
    for (const ComparedChain& chain : table.chains) {
      for (const ComparedRule& rule : chain.rules) {
        if (rule.origin.section.empty() || rule.origin.path == "start-up" ||
            rule.state == RuleState::missing || is_own_chain(table.family, rule.rule.target)) {
          continue;
        }
        Hits& hits = by_setting[rule.origin.path];
        hits.section = rule.origin.section;
        hits.setting = rule.origin.path;
        hits.counters.packets += rule.counters.packets;
        hits.counters.bytes += rule.counters.bytes;
      }
    }
  }
  std::vector<Hits> result;
  for (auto& [setting, hits] : by_setting) {
    result.push_back(std::move(hits));
  }
  sort(result);
  return result;
}

std::vector<Hits> hits_since_last(std::vector<Hits> hits) {
  const Json before = noted_counters();
  Json now = Json::object();
  for (Hits& one : hits) {
    now[one.setting] = {one.counters.packets, one.counters.bytes};
    if (const auto found = before.find(one.setting);
        found != before.end() && found->is_array() && found->size() == 2) {
      one.counters = {added(one.counters.packets, (*found)[0]),
                      added(one.counters.bytes, (*found)[1])};
    }
  }
  write_atomically(noted_path, now.dump());
  std::erase_if(hits, [](const Hits& one) { return one.counters.packets == 0; });
  sort(hits);
  return hits;
}

}  // namespace management
