/*
 * What the tests of the configuration file share: the record calls by name, and the records in
 * memory filled and looked at as bytes.
 */
#pragma once

#include <cstring>

#include "harness.hpp"

namespace configuration_file {

struct RecordCall {
  const char* name;
  int32_t (*call)();
};

inline constexpr RecordCall record_getters[] = {
    {"get_firewall_rules_from_cfgfile", get_firewall_rules_from_cfgfile},
    {"get_firewall4_rules_from_cfgfile", get_firewall4_rules_from_cfgfile},
    {"get_firewall6_rules_from_cfgfile", get_firewall6_rules_from_cfgfile},
    {"get_qos_cfg_from_cfgfile", get_qos_cfg_from_cfgfile},
};
inline constexpr RecordCall record_setters[] = {
    {"set_firewall_rules_to_cfgfile", set_firewall_rules_to_cfgfile},
    {"set_firewall4_rules_to_cfgfile", set_firewall4_rules_to_cfgfile},
    {"set_firewall6_rules_to_cfgfile", set_firewall6_rules_to_cfgfile},
    {"set_qos_cfg_to_cfgfile", set_qos_cfg_to_cfgfile},
};

inline void fill_records(int byte) {
  memset(&fw_rules_table, byte, sizeof(fw_rules_table));
  memset(&RtQoSRulesTable, byte, sizeof(RtQoSRulesTable));
  memset(&fw6_rules_table, byte, sizeof(fw6_rules_table));
}

/* The three records as they would lie in the file. */
inline std::string records() {
  return harness::bytes_of(fw_rules_table) + harness::bytes_of(RtQoSRulesTable) +
         harness::bytes_of(fw6_rules_table);
}

/* A file of the right length whose every byte differs from its neighbours. */
inline std::string counting_file(size_t size = 15019) {
  std::string file;
  for (size_t i = 0; i < size; ++i) {
    file += static_cast<char>(i * 7 + i / 251);
  }
  return file;
}

struct Outcome {
  int32_t result;
  std::string transcript;
};

/* Runs one call and returns what it returned and what it did outside the library. */
template <typename Call>
Outcome run(Call call) {
  Outcome outcome = {99, ""};
  outcome.transcript = harness::record([&] { outcome.result = call(); });
  return outcome;
}

}  // namespace configuration_file
