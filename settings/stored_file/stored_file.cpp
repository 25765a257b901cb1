#include "settings/stored_file/stored_file.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "settings/stored_file/findings.hpp"

namespace settings {

namespace {

uint32_t swapped(uint32_t value) {
  return value << 24 | (value & 0xFF00) << 8 | (value >> 8 & 0xFF00) | value >> 24;
}

void swap_words(std::string& image) {
  for (const StoredField& field : stored_fields()) {
    if (is_word(field.member->kind)) {
      const uint32_t value = swapped(word_at(image, field.offset));
      std::memcpy(image.data() + field.offset, &value, sizeof value);
    }
  }
}

/* Whether a word of few values may have this one; zero and free words speak for neither order. */
bool speaks_for_order(const StoredField& field, uint32_t value) {
  const FieldKind kind = field.member->kind;
  if (kind == FieldKind::count) {
    return value <= field.section->capacity;
  }
  if (kind == FieldKind::port) {
    return value <= 65535;
  }
  const auto words = words_of(kind);
  return std::any_of(words.begin(), words.end(),
                     [value](const Word& word) { return word.value == value; });
}

}  // namespace

ByteOrder host_byte_order() {
  return std::endian::native == std::endian::big ? ByteOrder::big : ByteOrder::little;
}

ByteOrder byte_order_of(std::string_view bytes) {
  size_t as_is = 0;
  size_t other_way = 0;
  for (const StoredField& field : stored_fields()) {
    if (!is_word(field.member->kind) || field.offset + sizeof(uint32_t) > bytes.size()) {
      continue;
    }
    if (const uint32_t value = word_at(bytes, field.offset); value != 0) {
      as_is += speaks_for_order(field, value) ? 1 : 0;
      other_way += speaks_for_order(field, swapped(value)) ? 1 : 0;
    }
  }
  if (as_is == other_way) {
    return ByteOrder::unknown;
  }
  const bool is_little = (as_is > other_way) == (host_byte_order() == ByteOrder::little);
  return is_little ? ByteOrder::little : ByteOrder::big;
}

StoredFile read_stored_file(std::string_view bytes) {
  return read_stored_file(bytes, byte_order_of(bytes));
}

StoredFile read_stored_file(std::string_view bytes, ByteOrder order) {
  StoredFile file{order, bytes.size(), std::string(bytes.substr(0, stored_size)), {}};
  file.image.resize(stored_size, '\0');
  if (order != ByteOrder::unknown && order != host_byte_order()) {
    swap_words(file.image);
  }
  file.findings = findings_of(file.image, bytes);
  return file;
}

bool is_plausible(const StoredFile& file) {
  return std::all_of(file.findings.begin(), file.findings.end(), [](const StoredFinding& finding) {
    return finding.kind == StoredFinding::Kind::note;
  });
}

bool begins_as_stored_file(std::string_view bytes) {
  return bytes.starts_with("vpn_pass_through=");
}

}  // namespace settings
