#include "settings/sections.hpp"

namespace settings {

Json word_of(std::span<const Word> words, uint32_t value) {
  for (const Word& word : words) {
    if (word.value == value) {
      return word.text;
    }
  }
  return value;
}

void write_unless_zero(Json& object, const char* key, uint32_t value) {
  if (value != 0) {
    object[key] = value;
  }
}

void write_unless_zero(Json& object, const char* key, std::span<const uint8_t> bytes) {
  for (const uint8_t byte : bytes) {
    if (byte != 0) {
      object[key] = hex_text(bytes);
      return;
    }
  }
}

}  // namespace settings
