/*
 * A configuration file taken apart without the library: bytes of either byte order in, values in this
 * host's order out, with everything that is torn or implausible. Nothing is refused, and nothing opened.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "settings/stored_file/finding.hpp"
#include "settings/stored_file/image.hpp"
#include "settings/stored_file/layout.hpp"

namespace settings {

/* A file of zeros, or one that speaks for both orders alike, has none. */
enum class ByteOrder : uint8_t { little, big, unknown };

ByteOrder host_byte_order();

struct StoredFile {
  ByteOrder order;
  size_t size;
  /* The whole file as this host would have written it: zeros where it is short, nothing behind its end. */
  std::string image;
  std::vector<StoredFinding> findings;
};

/* The order that more of the words speak for that have few allowed values. */
ByteOrder byte_order_of(std::string_view bytes);

/* An unknown order is taken for this host's. */
StoredFile read_stored_file(std::string_view bytes);
StoredFile read_stored_file(std::string_view bytes, ByteOrder order);

/* Whether anything is torn or implausible. */
bool is_plausible(const StoredFile& file);

inline Settings settings_of(const StoredFile& file) {
  return settings_of(file.image);
}

/* Whether bytes begin as a configuration file does. */
bool begins_as_stored_file(std::string_view bytes);

}  // namespace settings
