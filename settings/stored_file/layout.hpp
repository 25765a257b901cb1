/*
 * The configuration file field by field: where each lies, what it is called and what its value means.
 * For reading a file without the library: one of the other byte order, or a torn one.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "settings/values.hpp"

namespace settings {

/* The two switches as text, then the records; records.h has their layout. */
inline constexpr size_t vpn_line_offset = 0;
inline constexpr size_t firewall_line_offset = 19;
inline constexpr size_t fw_offset = 31;
inline constexpr size_t qos_offset = 6199;
inline constexpr size_t fw6_offset = 6447;
inline constexpr size_t stored_size = 15019;

enum class FieldKind : uint8_t {
  // Words, in the byte order of the host that wrote them.
  number,
  count,
  on_if_set,    /* 0 off, else on */
  off_if_set,   /* 0 on, else off */
  white_if_set, /* 0 black list, else white list */
  white_if_one, /* 1 white list, else black list */
  down_if_set,  /* 0 upstream, else downstream */
  wan_if_set,   /* 0 LAN, else WAN */
  protocol,
  service,
  level,
  port,
  ipv4,
  // Bytes, the same on every host.
  ipv6,
  mac,
  text,
  hour_or_minute,
  bytes,
};

inline bool is_word(FieldKind kind) {
  return kind <= FieldKind::ipv4;
}

/* The words for the values that a field of this kind may have; none where any value may stand. */
std::span<const Word> words_of(FieldKind kind);

struct Member {
  const char* name;
  size_t offset; /* in its entry, or in its section */
  size_t size;
  FieldKind kind;
};

/* A region, or words of a record that belong to no region. */
struct StoredSection {
  const char* name;
  const char* setting; /* its name in settings; null where they have none */
  size_t record;       /* where its record begins in the file */
  size_t offset;       /* where it begins itself; loose words count from their record */
  std::span<const Member> words;
  std::span<const Member> entry = {};
  size_t entry_size = 0;
  size_t capacity = 0;

  /* Entries follow the count. */
  [[nodiscard]] size_t entry_offset(size_t index) const {
    return offset + sizeof(uint32_t) + index * entry_size;
  }
};

/* All of them, in the order of the file. */
std::span<const StoredSection> stored_sections();

struct StoredField {
  const StoredSection* section;
  const Member* member;
  int entry;     /* -1 beside the entries */
  size_t offset; /* in the file */
};

/* Every field of the records, in the order of the file. */
std::vector<StoredField> stored_fields();
std::string name_of(const StoredField& field);

/* The value in words, from an image whose words are in this host's order. Plain ASCII on one line. */
std::string meaning_of(const StoredField& field, std::string_view image);

uint32_t word_at(std::string_view image, size_t offset);

/* Entries in use as the library walks them: none for a negative count, at most the whole area. */
size_t used_entries(const StoredSection& section, std::string_view image);

}  // namespace settings
