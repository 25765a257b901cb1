#include "management/store/time_zone_file.hpp"

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "management/error.hpp"
#include "management/store/paths.hpp"
#include "management/system/atomic_file.hpp"
#include "settings/stored_file/layout.hpp"
#include "settings/stored_file/span_lists.hpp"
#include "settings/zone_name.hpp"

namespace management {

namespace {

using Json = nlohmann::ordered_json;
using settings::TimeZone;

constexpr size_t largest_file = 1024;
/* Beyond what a TZ string can say. */
constexpr int largest_offset = 25 * 60;

int offset_of(const Json& json) {
  return json.at("offset_minutes").get<int>();
}

ZoneFile parse(const std::string& text) {
  const Json json = Json::parse(text);
  ZoneFile file{{json.at("time_zone").get<std::string>(), offset_of(json)}, std::nullopt};
  if (json.contains("shift")) {
    file.shift = {offset_of(json["shift"]), json["shift"].at("lists").get<uint64_t>()};
  }
  return file;
}

bool is_plausible(const ZoneFile& file) {
  const bool has_name =
      settings::is_zone_name(file.zone.name) || settings::is_posix_zone(file.zone.name);
  return has_name && std::abs(file.zone.offset_minutes) <= largest_offset &&
         (!file.shift || std::abs(file.shift->offset_minutes) <= largest_offset);
}

/* FNV-1a */
uint64_t digest(std::string_view bytes) {
  uint64_t value = 0xcbf29ce484222325;
  for (const char c : bytes) {
    value = (value ^ static_cast<uint8_t>(c)) * 0x100000001b3;
  }
  return value;
}

}  // namespace

std::string zone_file_of(const std::string& backup) {
  return backup + ".time_zone";
}

std::optional<ZoneFile> read_zone_file() {
  return read_zone_file(time_zone_path);
}

std::optional<ZoneFile> read_zone_file(const std::string& path) {
  const auto text = read_start_if_exists(path, largest_file);
  if (!text) {
    return std::nullopt;
  }
  std::optional<ZoneFile> file;
  try {
    file = parse(*text);
  } catch (const Json::exception&) {
    file.reset();
  }
  if (!file || !is_plausible(*file)) {
    throw Error(path +
                " is damaged, it names no time zone and offset: remove it, then set time_zone "
                "again; without it time spans are in UTC");
  }
  return file;
}

void write_zone_file(const ZoneFile& file) {
  write_zone_file(file, time_zone_path);
}

void write_zone_file(const ZoneFile& file, const std::string& path) {
  const std::string name = file.zone.is_utc() ? "UTC" : file.zone.name;
  Json json = {{"time_zone", name}, {"offset_minutes", file.zone.offset_minutes}};
  if (file.shift) {
    json["shift"] = {{"offset_minutes", file.shift->offset_minutes}, {"lists", file.shift->lists}};
  }
  write_atomically(path, json.dump() + "\n");
}

uint64_t digest_of_lists(std::string_view image) {
  if (image.size() < settings::stored_size) {
    return 0;
  }
  return digest(settings::span_lists_of(image));
}

TimeZone stored_time_zone() {
  const auto file = read_zone_file();
  if (!file || file->zone.is_utc()) {
    return {};
  }
  TimeZone zone = file->zone;
  if (file->shift &&
      digest_of_lists(
          read_start_if_exists(configuration_path, settings::stored_size).value_or("")) ==
          file->shift->lists) {
    zone.offset_minutes = file->shift->offset_minutes;
  }
  return zone;
}

TimeZone time_zone_to_show() {
  static bool is_told = false;
  try {
    return stored_time_zone();
  } catch (const Error& error) {
    if (!is_told) {
      notify(std::string("warning: ") + error.what());
    }
    is_told = true;
    return {};
  }
}

}  // namespace management
