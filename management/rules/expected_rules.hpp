/*
 * The rules that the stored settings ask for, made by the library itself: its generators run while
 * system() only records, so that no second opinion on a rule can differ from the first.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "management/rules/rule.hpp"
#include "settings/settings.hpp"

namespace management {

/* The setting that a rule comes from. */
struct Origin {
  std::string section; /* empty for a rule that no setting asks for */
  std::string path;    /* such as "url_filter.entries[3]" or "url_filter.mode" */
  int entry = -1;      /* its place in the section's list, where it is one of a list */
};

struct ExpectedRule {
  Family family = Family::ipv4;
  Rule rule;
  Origin origin;
};

struct ExpectedRules {
  std::vector<ExpectedRule> rules;
  std::string internet_wan; /* whose name the rules bear; empty where there is none now */
};

/* `stored` as the library has it loaded. Where the platform knows no Internet WAN, the rules that name
 * one name `bound_to`. Writes nothing and runs no command. */
ExpectedRules expected_rules(const settings::Settings& stored, const std::string& bound_to);

/* The settings that command lines of the library serve, by what the library has in memory; without a
 * section where no setting is known. Runs no command. */
std::vector<Origin> origins_of(const std::vector<std::string>& lines);

}  // namespace management
