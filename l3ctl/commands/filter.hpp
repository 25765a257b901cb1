/* What tells the filters' commands apart. */
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

#include "settings/settings.hpp"

namespace l3ctl {

/* One list of a filter; a filter that exists per address family has two. */
struct FilterList {
  const char* section; /* its section of the settings */
  int32_t (*remove_all)();
  /* Takes out the entries where remove_all leaves rules for none; null where it leaves no rule. */
  void (*clear)(settings::Settings&) = nullptr;
};

struct Filter {
  const char* command;
  const char* help;
  const char* main_key; /* what names an entry, such as "host"; null where no key does */
  const char* example;  /* words of an entry, for the help of add */
  std::span<const FilterList> lists; /* IPv4 first */
  int32_t (*reset)();                /* all lists of the filter */
  const char* on_note = nullptr;     /* what to know about a filter that is switched on */
  /* What to know once the lists are cleared; null where there is nothing. */
  const char* (*clear_note)(const settings::Settings& before) = nullptr;
  /* The keys of its modes; none where it has no mode. */
  std::vector<std::string> modes = {};
  /* Puts what people may write besides into an entry as settings have it. */
  void (*complete)(nlohmann::ordered_json& entry) = nullptr;
};

using Lists = std::span<const FilterList>;

}  // namespace l3ctl
