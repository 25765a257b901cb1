/* The sections "mac_filter" and "mac6_filter". */
#include <algorithm>

#include "settings/sections.hpp"
#include "settings/time_span.hpp"

namespace settings {

namespace {

void read_device(l3_mac_entry& entry, const Source& source) {
  Object object(source.node, source.path, source.problems);
  bool enabled = true;
  object.flag("enabled", enabled);
  entry.mac_enable = enabled ? 1 : 0;
  MacAddress mac{};
  if (object.text("mac", source.problems.mac_parser(), mac, Need::required)) {
    std::copy(mac.begin(), mac.end(), entry.mac);
  }
  read_time_span(object, entry, source.problems.span_offset);
  object.bytes("reserved", entry.mac_reserved);
  object.end();
}

Json write_device(const l3_mac_entry& entry, std::optional<int> offset_minutes) {
  Json object;
  if (entry.mac_enable == 0) {
    object["enabled"] = false;
  }
  object["mac"] = mac_text(entry.mac);
  object["active"] = written_time_span(entry, offset_minutes);
  write_unless_zero(object, "reserved", entry.mac_reserved);
  return object;
}

void read_filter(const Source& source, std::optional<l3_mac_filter>& out) {
  Object object(source.node, source.path, source.problems);
  l3_mac_filter filter{};
  bool enabled = false;
  object.flag("enabled", enabled, Need::required);
  filter.mac_filter_ctrl = enabled ? 1 : 0;
  object.word("mode", list_modes, filter.mac_black_white);
  read_entries(object, "devices", filter,
               [&](l3_mac_entry& entry, const Node& node, const std::string& path) {
                 read_device(entry, {node, path, source.problems});
               });
  object.end();
  out = filter;
}

Json write_filter(const std::optional<l3_mac_filter>& filter, std::optional<int> offset_minutes) {
  if (!filter) {
    return nullptr;
  }
  Json object;
  object["enabled"] = filter->mac_filter_ctrl != 0;
  // Only the value 1 makes a white list here.
  object["mode"] = filter->mac_black_white == 1 ? "white-list" : "black-list";
  object["devices"] = Json::array();
  for (const l3_mac_entry& entry : used_entries(*filter)) {
    object["devices"].push_back(write_device(entry, offset_minutes));
  }
  return object;
}

}  // namespace

void read_mac_filter(const Source& source, Settings& settings) {
  read_filter(source, settings.mac_filter);
}

Json write_mac_filter(const Settings& settings) {
  return write_filter(settings.mac_filter, span_offset(settings));
}

void read_mac6_filter(const Source& source, Settings& settings) {
  read_filter(source, settings.mac6_filter);
}

Json write_mac6_filter(const Settings& settings) {
  return write_filter(settings.mac6_filter, span_offset(settings));
}

}  // namespace settings
