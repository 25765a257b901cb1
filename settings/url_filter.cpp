/* The section "url_filter". */
#include <cstring>

#include "settings/sections.hpp"
#include "settings/time_span.hpp"

namespace settings {

namespace {

void read_host(Object& object, l3_url_entry& entry) {
  std::string host;
  if (!object.text("host", parse_host_name, host, Need::required)) {
    return;
  }
  std::memcpy(entry.url, host.data(), host.size());
  if (host.starts_with('.') || host.ends_with('.')) {
    object.warn("host", "the outer dot has no effect: a name always matches its subdomains too");
  }
  if (host.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") != std::string::npos) {
    object.warn("host", "capital letters match only queries that are written with them too");
  }
}

void read_entry(l3_url_entry& entry, const Source& source) {
  Object object(source.node, source.path, source.problems);
  bool enabled = true;
  object.flag("enabled", enabled);
  entry.url_enable = enabled ? 1 : 0;
  read_host(object, entry);
  read_time_span(object, entry, source.problems.span_offset);
  object.number("reserved", entry.url_reserved);
  object.end();
}

Json write_entry(const l3_url_entry& entry, std::optional<int> offset_minutes) {
  Json object;
  if (entry.url_enable == 0) {
    object["enabled"] = false;
  }
  object["host"] = std::string(entry.url, strnlen(entry.url, sizeof entry.url));
  object["active"] = written_time_span(entry, offset_minutes);
  write_unless_zero(object, "reserved", entry.url_reserved);
  return object;
}

}  // namespace

void read_url_filter(const Source& source, Settings& settings) {
  Object object(source.node, source.path, source.problems);
  l3_url_filter filter{};
  bool enabled = false;
  object.flag("enabled", enabled, Need::required);
  filter.url_filter_ctrl = enabled ? 1 : 0;
  object.word("mode", list_modes, filter.url_black_white);
  read_entries(object, "entries", filter,
               [&](l3_url_entry& entry, const Node& node, const std::string& path) {
                 read_entry(entry, {node, path, source.problems});
               });
  object.end();
  settings.url_filter = filter;
}

Json write_url_filter(const Settings& settings) {
  if (!settings.url_filter) {
    return nullptr;
  }
  const l3_url_filter& filter = *settings.url_filter;
  Json object;
  object["enabled"] = filter.url_filter_ctrl != 0;
  object["mode"] = filter.url_black_white == 0 ? "black-list" : "white-list";
  object["entries"] = Json::array();
  for (const l3_url_entry& entry : used_entries(filter)) {
    object["entries"].push_back(write_entry(entry, span_offset(settings)));
  }
  return object;
}

}  // namespace settings
