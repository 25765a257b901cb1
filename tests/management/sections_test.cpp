/* The table of the sections against the settings that people write. */
#include "management/store/sections.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

namespace management {
namespace {

using settings::Settings;

Settings defaults() {
  Settings result;
  for (const Section& section : sections()) {
    if (section.set_default != nullptr) {
      section.set_default(result);
    }
  }
  return result;
}

TEST(Sections, HaveARowForEveryKeyOfASettingsText) {
  std::set<std::string> rows;
  for (const Section& section : sections()) {
    rows.insert(section.name);
  }
  std::set<std::string> keys(settings::section_names().begin(), settings::section_names().end());
  keys.insert("security_level");
  EXPECT_EQ(rows, keys);
  for (const std::string& key : keys) {
    EXPECT_EQ(section_named(key).name, key);
  }
}

TEST(Sections, HaveKeysOfTheirOwn) {
  std::set<std::string> keys;
  for (const Section& section : sections()) {
    EXPECT_TRUE(keys.insert(section.key).second) << section.key;
  }
}

TEST(Sections, DefaultsAreWrittenAsAWholeSettingsText) {
  const std::string text = settings::write(defaults());
  const settings::Reading reading = settings::read(text);
  EXPECT_TRUE(reading.errors.empty());
  EXPECT_TRUE(*reading.settings.ipsec_pass_through);
  EXPECT_FALSE(*reading.settings.firewall);
  for (const Section& section : sections()) {
    if (section.image != nullptr) {
      EXPECT_EQ(section.image(reading.settings), section.image(defaults())) << section.key;
    }
  }
}

TEST(Sections, AnImageComesBackAndNoOtherSizeIsTaken) {
  const Settings full = defaults();
  for (const Section& section : sections()) {
    if (section.image == nullptr) {
      continue;
    }
    Bytes image = section.image(full);
    Settings back;
    EXPECT_FALSE(section.is_wanted(back)) << section.key;
    image.back() = image.size() > 1 ? 1 : image.back();
    ASSERT_TRUE(section.set_image(back, image)) << section.key;
    EXPECT_TRUE(section.is_wanted(back)) << section.key;
    EXPECT_EQ(section.image(back), image) << section.key;
    EXPECT_EQ(section.differs(back, full), image.size() > 1) << section.key;
    Settings replaced = full;
    section.overlay(replaced, back);
    EXPECT_FALSE(section.differs(back, replaced)) << section.key;
    section.leave_out(back);
    EXPECT_FALSE(section.is_wanted(back)) << section.key;
    image.push_back(0);
    EXPECT_FALSE(section.set_image(back, image)) << section.key;
  }
}

TEST(Sections, ListsAreSwitchedAndCounted) {
  Settings settings = defaults();
  size_t lists = 0;
  for (const Section& section : sections()) {
    if (section.list == nullptr) {
      continue;
    }
    ++lists;
    for (const bool on : {true, false, true}) {
      section.list->enable(settings, on);
      EXPECT_EQ(section.list->is_on(settings), on) << section.name;
    }
    EXPECT_EQ(section.list->used(settings), 0U) << section.name;
  }
  EXPECT_EQ(lists, 8U);
  settings.acl->count = 400;
  EXPECT_EQ(section_named("acl").list->used(settings), section_named("acl").list->capacity);
}

TEST(Sections, TheListInMemoryIsReplacedAndComesBack) {
  for (const Section& section : sections()) {
    if (section.list == nullptr) {
      continue;
    }
    const Bytes before = section.list->memory();
    section.list->close();
    EXPECT_EQ(section.list->used_in_memory(), section.name == std::string("acl") ? 2U : 0U);
    section.list->keep_only(0);
    EXPECT_EQ(section.list->used_in_memory(), 1U) << section.name;
    section.list->set_memory(before);
    EXPECT_EQ(section.list->memory(), before) << section.name;
  }
}

TEST(Sections, ALevelIsToldByItsSwitches) {
  Settings wanted;
  wanted.security_level = settings::SecurityLevel::high;
  Settings stored = defaults();
  EXPECT_TRUE(section_named("security_level").differs(wanted, stored));
  section_named("security_level").overlay(stored, wanted);
  EXPECT_TRUE(*stored.firewall && *stored.port_scan_protection);
  EXPECT_STREQ(level_of(stored), "high");
  EXPECT_FALSE(stored.security_level);
}

}  // namespace
}  // namespace management
