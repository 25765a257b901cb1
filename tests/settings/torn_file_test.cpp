/*
 * Findings about an interrupted write. A section of the sample file is replaced by another one up to
 * a place, and every place inside what changes is tried. docs/reliability.md has the figures.
 */
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>

#include "settings/stored_file/stored_file.hpp"

using settings::StoredSection;

namespace {

std::string text_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string sample() {
  const bool is_big = settings::host_byte_order() == settings::ByteOrder::big;
  return text_of(std::string(TEST_DATA "/golden-sample-") + (is_big ? "big" : "little") +
                 "-endian.dat");
}

void put_count(std::string& bytes, const StoredSection& section, uint32_t count) {
  std::memcpy(bytes.data() + section.offset, &count, sizeof count);
}

void empty(std::string& bytes, const StoredSection& section) {
  put_count(bytes, section, 0);
  bytes.replace(section.entry_offset(0), section.capacity * section.entry_size,
                section.capacity * section.entry_size, '\0');
}

/* The first entry once more behind the last. */
void add_one(std::string& bytes, const StoredSection& section) {
  const size_t used = settings::used_entries(section, bytes);
  bytes.replace(section.entry_offset(used), section.entry_size, bytes, section.entry_offset(0),
                section.entry_size);
  put_count(bytes, section, static_cast<uint32_t>(used + 1));
}

/* The last entry becomes the first. */
void turn_round(std::string& bytes, const StoredSection& section) {
  const size_t used = settings::used_entries(section, bytes);
  const std::string entries = bytes.substr(section.entry_offset(0), used * section.entry_size);
  const size_t cut = entries.size() - section.entry_size;
  bytes.replace(section.entry_offset(0), entries.size(),
                entries.substr(cut) + entries.substr(0, cut));
}

struct Seen {
  size_t cuts = 0;
  size_t torn = 0; /* told as torn or implausible */
  size_t note = 0; /* told as a note alone */
};

void try_cuts(const std::string& before, const std::string& after, Seen& seen) {
  ASSERT_EQ(before.size(), after.size());
  for (size_t place = 1; place < before.size(); ++place) {
    // Only where what is written so far, and what is not, differ from what was there.
    if (before.compare(0, place, after, 0, place) == 0 ||
        before.compare(place, std::string::npos, after, place, std::string::npos) == 0) {
      continue;
    }
    const auto file = settings::read_stored_file(after.substr(0, place) + before.substr(place));
    ++seen.cuts;
    const bool is_torn = !settings::is_plausible(file);
    seen.torn += is_torn ? 1 : 0;
    seen.note += !is_torn && !file.findings.empty() ? 1 : 0;
  }
}

/* Each list of the sample that has entries, from `before` to `after`. */
std::string row(const std::string& name,
                const std::function<void(std::string&, const StoredSection&)>& before,
                const std::function<void(std::string&, const StoredSection&)>& after) {
  Seen seen;
  for (const StoredSection& section : settings::stored_sections()) {
    if (settings::used_entries(section, sample()) == 0) {
      continue;
    }
    std::string old_file = sample();
    std::string new_file = sample();
    before(old_file, section);
    after(new_file, section);
    EXPECT_TRUE(settings::is_plausible(settings::read_stored_file(old_file))) << section.name;
    EXPECT_TRUE(settings::is_plausible(settings::read_stored_file(new_file))) << section.name;
    try_cuts(old_file, new_file, seen);
  }
  return "| " + name + " | " + std::to_string(seen.cuts) + " | " + std::to_string(seen.torn) +
         " | " + std::to_string(seen.note) + " |";
}

void stay(std::string&, const StoredSection&) {}

void expect_documented(const std::string& found) {
  const std::string page = text_of(RELIABILITY_PAGE);
  // The counts are those of this byte order: on the other, other bytes of a word differ.
  if (settings::host_byte_order() == settings::ByteOrder::little) {
    EXPECT_NE(page.find("\n" + found + "\n"), std::string::npos)
        << "docs/reliability.md says otherwise; it should be\n"
        << found;
  }
}

}  // namespace

TEST(TornFile, AListThatIsEmptied) {
  expect_documented(row("emptied", stay, empty));
}

TEST(TornFile, AListThatIsFilled) {
  expect_documented(row("filled", empty, stay));
}

TEST(TornFile, AnEntryThatIsAdded) {
  expect_documented(row("an entry added", stay, add_one));
}

TEST(TornFile, AnEntryThatIsRemoved) {
  expect_documented(row("the last entry removed", add_one, stay));
}

TEST(TornFile, EntriesThatChangePlaces) {
  expect_documented(row("as many entries, others", stay, turn_round));
}
