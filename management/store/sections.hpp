/* The sections of the settings, one row each: whatever treats all of them walks this table. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "settings/settings.hpp"

namespace management {

using Bytes = std::vector<uint8_t>;

/* What a section that holds a list has besides. */
struct SectionList {
  const char* entries; /* the key of its entries */
  size_t capacity;
  size_t (*used)(const settings::Settings& stored);
  bool (*is_on)(const settings::Settings& stored);
  void (*enable)(settings::Settings& settings, bool on);
  /* The library's generator makes the rules of the list that the library has in memory. */
  int32_t (*generate)();
  /* The list in memory: its entries in use, its bytes, and those back. */
  size_t (*used_in_memory)();
  Bytes (*memory)();
  void (*set_memory)(const Bytes& image);
  /* Leaves nothing but one entry of the list in memory. */
  void (*keep_only)(size_t entry);
  /* Puts the smallest list that the generator closes into memory; returns how many rules its entries make. */
  size_t (*close)();
};

struct Section {
  const char* name; /* its key in a settings text; the two members of route QoS share one */
  const char* key;  /* names the member in files of our own */
  /* Whether the wanted settings hold this section, and say other than what is stored. */
  bool (*is_wanted)(const settings::Settings& wanted);
  bool (*differs)(const settings::Settings& wanted, const settings::Settings& stored);
  int32_t (*set)(const settings::Settings& wanted);
  /* Takes this section out of the wanted settings. */
  void (*leave_out)(settings::Settings& wanted);
  /* Puts the wanted section in place of the stored one. */
  void (*overlay)(settings::Settings& stored, const settings::Settings& wanted);
  /* Null for the security level, which is stored as its two switches. */
  int32_t (*load)(settings::Settings& stored);
  void (*set_default)(settings::Settings& settings);
  /* Null also for the time zone, which is stored beside the records. */
  Bytes (*image)(const settings::Settings& settings);
  bool (*set_image)(settings::Settings& settings, const Bytes& image);
  const SectionList* list; /* null where the section holds none */
};

/* In the order in which a whole set of settings reaches the library, the only one that works. */
std::span<const Section> sections();

/* The section of that name; of route QoS the first member. */
const Section& section_named(std::string_view name);

/* The settings with a security level told by the two switches that it stands for. */
settings::Settings level_as_switches(settings::Settings settings);

/* The level that the two switches stand for: "off", "low" or "high". */
const char* level_of(const settings::Settings& stored);

}  // namespace management
