#include "management/rules/drift.hpp"

#include <algorithm>

#include "executor/sequence_diff.hpp"
#include "management/remedy.hpp"
#include "management/rules/chain_map.hpp"
#include "management/rules/live_bindings.hpp"
#include "management/store/stored_settings.hpp"
#include "management/system/lock.hpp"

namespace management {

namespace {

using ExpectedList = std::vector<ExpectedRule>;
using LiveRules = std::vector<LiveRule>;

constexpr char local_access_chain[] = "input_ext_local_access";
constexpr char wan_drop_chain[] = "input_ext_local_access_ex";
constexpr char dhcp_chain[] = "input_ext_dhcp";

bool is_dispatch(const std::string& chain) {
  return chain == "forward_ext_ip" || chain == "input_ext_acl";
}

ExpectedList of_chain(const ExpectedList& rules, Family family, const std::string& chain) {
  ExpectedList result;
  std::copy_if(
      rules.begin(), rules.end(), std::back_inserter(result),
      [&](const ExpectedRule& one) { return one.family == family && one.rule.chain == chain; });
  return result;
}

size_t jumps_to(const LiveRules& rules, const char* target) {
  return static_cast<size_t>(std::count_if(rules.begin(), rules.end(), [&](const LiveRule& live) {
    return live.rule.target == target && live.rule.options.empty();
  }));
}

ExpectedList repeated(const ExpectedList& rules, size_t times) {
  ExpectedList result;
  for (size_t i = 0; i < times; ++i) {
    result.insert(result.end(), rules.begin(), rules.end());
  }
  return result;
}

/* Every binding adds the rules once more, so they may stand several times, but whole. */
ExpectedList bindings(const ExpectedList& once, const LiveRules& live) {
  if (once.empty() || live.empty()) {
    return {};
  }
  const bool is_whole = live.size() % once.size() == 0;
  return repeated(once, is_whole ? live.size() / once.size() : 1);
}

/* Start-up hooks the WAN's chain in, every flush takes it out, and the protection's rules put it back:
 * once or twice while the protection is on, and all the same while it is off. */
ExpectedList with_live_jumps(ExpectedList wanted, const LiveRules& live) {
  const size_t jumps = jumps_to(live, wan_drop_chain);
  if (wanted.empty()) {
    ExpectedRule jump;
    jump.rule.chain = local_access_chain;
    jump.rule.target = wan_drop_chain;
    jump.origin = {"start-up", "start-up", -1};
    return repeated({jump}, jumps);
  }
  for (size_t i = 1; i < jumps; ++i) {
    wanted.insert(wanted.begin(), wanted.front());
  }
  return wanted;
}

/* Several contents of a chain are legal; returns the legal one that is closest to the live rules. */
ExpectedList acceptable(const ExpectedList& wanted, const LiveChain& chain, bool is_bound) {
  if (is_dispatch(chain.name)) {
    return bindings(wanted, chain.rules);
  }
  if (chain.name == wan_drop_chain && !wanted.empty()) {
    return chain.rules.empty() && !is_bound
               ? ExpectedList()
               : repeated(wanted, std::max<size_t>(1, chain.rules.size()));
  }
  if (chain.name == local_access_chain) {
    return with_live_jumps(wanted, chain.rules);
  }
  return chain.name == dhcp_chain && chain.rules.empty() ? ExpectedList() : wanted;
}

/* Live rules and missing ones in one order; live ones that are not compared stay where they are. */
std::vector<ComparedRule> merged(const ExpectedList& wanted,
                                 const std::vector<ComparedRule>& live) {
  std::vector<ComparedRule> result;
  const auto is_compared = [](const ComparedRule& rule) {
    return rule.state != RuleState::foreign && rule.state != RuleState::runtime;
  };
  for (const executor::DiffStep& step : executor::sequence_diff(
           wanted.size(), live.size(), executor::DiffOrder::added_first, [&](size_t i, size_t k) {
             return is_compared(live[k]) && wanted[i].rule == live[k].rule;
           })) {
    if (step.kind == executor::DiffStep::Kind::removed) {
      const ExpectedRule& missing = wanted[step.before];
      result.push_back({RuleState::missing, missing.rule, {}, missing.origin, {}});
      continue;
    }
    ComparedRule rule = live[step.after];
    if (step.kind == executor::DiffStep::Kind::kept) {
      rule.state = RuleState::expected;
      rule.origin = wanted[step.before].origin;
    } else if (is_compared(rule)) {
      rule.state = RuleState::unexpected;
      rule.origin = {};
    }
    result.push_back(rule);
  }
  return result;
}

/* A rule that is missing in one place and extra in another was moved. */
void join_moved(std::vector<ComparedRule>& rules) {
  for (size_t i = 0; i < rules.size(); ++i) {
    if (rules[i].state != RuleState::missing) {
      continue;
    }
    const auto twin = std::find_if(rules.begin(), rules.end(), [&](const ComparedRule& other) {
      return other.state == RuleState::unexpected && other.rule == rules[i].rule;
    });
    if (twin != rules.end()) {
      twin->state = RuleState::moved;
      twin->origin = rules[i].origin;
      rules.erase(rules.begin() + static_cast<std::ptrdiff_t>(i));
      --i;
    }
  }
}

/* Before it is compared: whose rule this is. */
RuleState first_state(Family family, const LiveChain& chain, const Rule& rule) {
  if (chain.name == access_chain || (chain.name == "INPUT" && rule.target == access_chain)) {
    return RuleState::runtime;
  }
  const std::vector<Rule> ipsec = ipsec_rules();
  const bool is_ipsec =
      family == Family::ipv4 && std::find(ipsec.begin(), ipsec.end(), rule) != ipsec.end();
  const bool is_ours =
      is_own_chain(family, chain.name) || is_own_chain(family, rule.target) || is_ipsec;
  return is_ours ? RuleState::unexpected : RuleState::foreign;
}

ComparedChain compare_chain(Family family, const LiveChain& chain, const ExpectedList& wanted) {
  ComparedChain compared{
      chain.name, chain.policy, chain.counters, is_own_chain(family, chain.name), false, {}};
  std::vector<ComparedRule> live;
  for (const LiveRule& one : chain.rules) {
    const RuleState state = first_state(family, chain, one.rule);
    Origin origin;
    if (state == RuleState::runtime) {
      origin = {"access", "access", -1};
    }
    live.push_back({state, one.rule, one.counters, origin, {}});
  }
  compared.rules = merged(wanted, live);
  join_moved(compared.rules);
  return compared;
}

ComparedTable compare_table(const LiveTable& live, const ExpectedRules& wanted, bool is_bound) {
  ComparedTable table{live.family, {}, true};
  for (const LiveChain& chain : live.chains) {
    table.is_bare = table.is_bare && !is_own_chain(live.family, chain.name);
  }
  for (const LiveChain& chain : live.chains) {
    const ExpectedList rules = of_chain(wanted.rules, live.family, chain.name);
    table.chains.push_back(compare_chain(
        live.family, chain, table.is_bare ? ExpectedList() : acceptable(rules, chain, is_bound)));
  }
  for (const std::string& own : own_chains(live.family)) {
    if (!table.is_bare && live.find(own) == nullptr) {
      ComparedChain missing{own, {}, {}, true, true, {}};
      for (const ExpectedRule& rule : of_chain(wanted.rules, live.family, own)) {
        missing.rules.push_back({RuleState::missing, rule.rule, {}, rule.origin, {}});
      }
      table.chains.push_back(missing);
    }
  }
  return table;
}

void add_words(RuleComparison& comparison, std::optional<int> span_offset) {
  for (ComparedTable& table : comparison.tables) {
    for (ComparedChain& chain : table.chains) {
      for (ComparedRule& rule : chain.rules) {
        rule.words = in_words(rule.rule, span_offset);
      }
    }
  }
}

bool has_rules(const LiveTable& table, const char* chain) {
  const LiveChain* found = table.find(chain);
  return found != nullptr && !found->rules.empty();
}

void add_notes(RuleComparison& comparison, const ExpectedRules& wanted, const LiveTable& ipv4) {
  const LiveChain* dhcp = ipv4.find(dhcp_chain);
  const bool wants_dhcp = !of_chain(wanted.rules, Family::ipv4, dhcp_chain).empty();
  if (wants_dhcp && dhcp != nullptr && dhcp->rules.empty()) {
    comparison.notes.emplace_back(
        "the DHCP filter's rules are not there: neither a start nor turning the firewall on brings "
        "them back" +
        and_remedy(Remedy::Kind::dhcp_filter_off_on));
  }
  if (!comparison.tables.front().is_bare && !has_rules(ipv4, "forward_ext_ip")) {
    comparison.notes.emplace_back(
        "the rules are bound to no Internet WAN, so the IP filter and the access list do nothing" +
        and_remedy(Remedy::Kind::bind_rules));
  }
}

}  // namespace

const char* state_name(RuleState state) {
  switch (state) {
    case RuleState::expected:
      return "as set";
    case RuleState::unexpected:
      return "extra";
    case RuleState::missing:
      return "missing";
    case RuleState::moved:
      return "moved";
    case RuleState::runtime:
      return "not stored";
    case RuleState::foreign:
      break;
  }
  return "foreign";
}

RuleComparison compare_rules(const Options& options) {
  const Lock no_change = Lock::shared(options);
  const LiveTable ipv4 = read_live(Family::ipv4);
  const LiveTable ipv6 = read_live(Family::ipv6);
  const std::vector<std::string> bound = bindings_in(ipv4, ipv6).ip_filter;
  const settings::Settings stored = stored_or_defaults();
  const ExpectedRules wanted = expected_rules(stored, bound.empty() ? "wan3" : bound.front());
  const bool is_bound = has_rules(ipv4, "forward_ext_ip");
  RuleComparison comparison;
  comparison.tables = {compare_table(ipv4, wanted, is_bound),
                       compare_table(ipv6, wanted, is_bound)};
  add_words(comparison, settings::span_offset(stored));
  add_notes(comparison, wanted, ipv4);
  return comparison;
}

std::vector<Drift> drifts(const RuleComparison& comparison) {
  std::vector<Drift> result;
  for (const ComparedTable& table : comparison.tables) {
    if (table.is_bare) {
      result.push_back({table.family, {}, RuleState::missing, {}, {"start-up", "start-up", -1}});
    }
    for (const ComparedChain& chain : table.chains) {
      if (chain.is_missing) {
        result.push_back(
            {table.family, chain.name, RuleState::missing, {}, {"start-up", "start-up", -1}});
      }
      for (const ComparedRule& rule : chain.rules) {
        if (rule.state == RuleState::unexpected || rule.state == RuleState::missing ||
            rule.state == RuleState::moved) {
          result.push_back({table.family, chain.name, rule.state, rule.words, rule.origin});
        }
      }
    }
  }
  return result;
}

std::string in_words(const Drift& drift) {
  const std::string family = family_name(drift.family);
  if (drift.chain.empty()) {
    return family + ": none of the gateway's chains is there" + and_remedy(Remedy::Kind::start_up);
  }
  const std::string place = family + " " + drift.chain + ": ";
  if (drift.words.empty()) {
    return place + "the chain is missing";
  }
  return place + state_name(drift.state) + ": " + drift.words +
         (drift.origin.path.empty() ? "" : " (" + drift.origin.path + ")");
}

}  // namespace management
