/* Judged rules as JSON. */
#include <nlohmann/json.hpp>

#include "l3ctl/views/rules_view.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

Json origin_json(const Origin& origin) {
  if (origin.section.empty()) {
    return nullptr;
  }
  Json json{{"section", origin.section}, {"path", origin.path}};
  if (origin.entry >= 0) {
    json["entry"] = origin.entry;
  }
  return json;
}

Json rule_json(const ComparedRule& rule) {
  return {{"words", rule.words},
          {"target", rule.rule.target},
          {"state", state_name(rule.state)},
          {"packets", rule.counters.packets},
          {"bytes", rule.counters.bytes},
          {"origin", origin_json(rule.origin)}};
}

Json chain_json(const ComparedChain& chain) {
  Json json{{"name", chain.name},
            {"policy", chain.policy.empty() ? Json() : Json(chain.policy)},
            {"own", chain.is_own},
            {"missing", chain.is_missing},
            {"packets", chain.counters.packets},
            {"bytes", chain.counters.bytes},
            {"rules", Json::array()}};
  for (const ComparedRule& rule : chain.rules) {
    json["rules"].push_back(rule_json(rule));
  }
  return json;
}

}  // namespace

Json drifts_json(const std::vector<Drift>& drifts) {
  Json json = Json::array();
  for (const Drift& drift : drifts) {
    json.push_back({{"family", family_name(drift.family)},
                    {"chain", drift.chain.empty() ? Json() : Json(drift.chain)},
                    {"state", state_name(drift.state)},
                    {"rule", drift.words.empty() ? Json() : Json(drift.words)},
                    {"origin", origin_json(drift.origin)}});
  }
  return json;
}

Json rules_json(const RuleComparison& comparison) {
  Json json{{"tables", Json::array()},
            {"drift", drifts_json(drifts(comparison))},
            {"notes", comparison.notes}};
  for (const ComparedTable& table : comparison.tables) {
    Json chains = Json::array();
    for (const ComparedChain& chain : table.chains) {
      chains.push_back(chain_json(chain));
    }
    json["tables"].push_back({{"family", family_name(table.family)}, {"chains", chains}});
  }
  return json;
}

}  // namespace l3ctl
