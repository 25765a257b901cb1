/* Typed tests over the two families: expected lines are written for IPv4, and a family names what differs. */
#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "harness.hpp"

namespace families {

using Renames = std::vector<std::pair<std::string, std::string>>;

/* The text with every first name replaced by its second one. */
inline std::string renamed(std::string text, const Renames& renames) {
  for (const auto& [old_name, new_name] : renames) {
    for (size_t at = 0; (at = text.find(old_name, at)) != std::string::npos;
         at += new_name.size()) {
      text.replace(at, old_name.size(), new_name);
    }
  }
  return text;
}

/* Expected lines as the family's calls leave them. */
template <typename Family>
std::string in_family(std::initializer_list<harness::Lines> parts) {
  return renamed(harness::lines(parts), Family::renames());
}

template <typename Family>
void fail_command(const std::string& command, int exit_code = 1) {
  harness::fail_command(renamed(command, Family::renames()), exit_code);
}

struct Name {
  template <typename Family>
  static std::string GetName(int) {
    return Family::name;
  }
};

}  // namespace families
