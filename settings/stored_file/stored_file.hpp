/*
 * A configuration file taken apart without the library: bytes of either byte order in, values in this
 * host's order out, with everything that is torn or implausible. Nothing is refused, and nothing opened.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "settings/settings.hpp"
#include "settings/stored_file/layout.hpp"

namespace settings {

/* A file of zeros, or one that speaks for both orders alike, has none. */
enum class ByteOrder : uint8_t { little, big, unknown };

ByteOrder host_byte_order();

struct StoredFinding {
  /* Torn: a write was cut. Implausible: no settings file can say this. Note: as it should be, maybe. */
  enum class Kind : uint8_t { torn, implausible, note };
  Kind kind;
  size_t offset; /* in the file */
  std::string where;
  std::string what;
  std::string advice;
};

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

/* Every section, as the library's get calls return it. */
Settings settings_of(const StoredFile& file);

/* The two switches, as the library reads them: everything but "1\n" is off. */
bool vpn_of(std::string_view image);
bool firewall_of(std::string_view image);

/* The image with both lines as they are written, whatever they were. */
std::string with_clean_lines(std::string_view image);

}  // namespace settings
