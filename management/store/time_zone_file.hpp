/*
 * The zone of the stored time spans, and the offset from UTC with which they were converted. The file lies beside the
 * configuration file and is replaced atomically; without it spans are in UTC.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "settings/time_zone.hpp"

namespace management {

/* A shift of all spans that was begun. The configuration file is replaced as a whole, so the spans have the new offset
 * as soon as its lists are those of the digest, and the old one before. */
struct BegunShift {
  int offset_minutes = 0;
  uint64_t lists = 0;
};

struct ZoneFile {
  settings::TimeZone zone;
  std::optional<BegunShift> shift; /* ended before all was done */
};

/* What the file says; nothing where there is none. A damaged one is an error that names a way out. */
std::optional<ZoneFile> read_zone_file();

/* Durably. UTC is written too, since a rollback cannot always remove a file. */
void write_zone_file(const ZoneFile& file);

/* A backup of the configuration file has its zone and offset in a file of this name beside it. */
std::string zone_file_of(const std::string& backup);

/* The same for another file than the stored one. */
std::optional<ZoneFile> read_zone_file(const std::string& path);
void write_zone_file(const ZoneFile& file, const std::string& path);

/* The digest of the lists with spans in the bytes of a configuration file; 0 where these are too few. */
uint64_t digest_of_lists(std::string_view image);

/* The zone and offset of the stored spans; UTC where none is set. Throws as read_zone_file() does. */
settings::TimeZone stored_time_zone();

/* The same for commands that only show: UTC for a damaged file, with a notice. */
settings::TimeZone time_zone_to_show();

}  // namespace management
