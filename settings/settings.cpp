#include "settings/settings.hpp"

#include <algorithm>

#include "settings/lint.hpp"
#include "settings/sections.hpp"

namespace settings {

namespace {

struct Section {
  const char* name;
  void (*read)(const Source& source, Settings& settings); /* null for the time zone */
  Json (*write)(const Settings& settings);                /* none for a section that others imply */
};

constexpr Section known_sections[] = {
    // The zone is read first, since the spans of lists are in it.
    {"time_zone", nullptr, write_time_zone},
    {"firewall", read_firewall, write_firewall},
    {"security_level", read_security_level, nullptr},
    {"port_scan_protection", read_port_scan_protection, write_port_scan_protection},
    {"ipsec_pass_through", read_ipsec_pass_through, write_ipsec_pass_through},
    {"vpn_pass_through", read_vpn_pass_through, write_vpn_pass_through},
    {"ip_filter", read_ip_filter, write_ip_filter},
    {"ip6_filter", read_ip6_filter, write_ip6_filter},
    {"url_filter", read_url_filter, write_url_filter},
    {"mac_filter", read_mac_filter, write_mac_filter},
    {"mac6_filter", read_mac6_filter, write_mac6_filter},
    {"dhcp_filter", read_dhcp_filter, write_dhcp_filter},
    {"acl", read_acl, write_acl},
    {"captive_portal", read_captive_portal, write_captive_portal},
    {"route_qos", read_route_qos, write_route_qos},
};

/* {"a": 1, "b": [2]} on one line; stored bytes that are no text come out as replacement marks. */
std::string on_one_line(const Json& value) {
  if (!value.is_structured()) {
    return value.dump(-1, ' ', true, Json::error_handler_t::replace);
  }
  std::string members;
  for (const auto& [key, member] : value.items()) {
    members += members.empty() ? "" : ", ";
    members += value.is_object() ? Json(key).dump() + ": " : "";
    members += on_one_line(member);
  }
  return value.is_object() ? "{" + members + "}" : "[" + members + "]";
}

/* A line a member, and a line an entry of a list. */
std::string on_many_lines(const Json& value, const std::string& indent) {
  const bool is_entry = value.is_object() && indent.size() > 2;
  if (!value.is_structured() || value.empty() || is_entry) {
    return on_one_line(value);
  }
  const std::string deeper = indent + "  ";
  std::string members;
  for (const auto& [key, member] : value.items()) {
    members += members.empty() ? "\n" : ",\n";
    members += deeper + (value.is_object() ? Json(key).dump() + ": " : "");
    members += on_many_lines(member, deeper);
  }
  return value.is_object() ? "{" + members + "\n" + indent + "}"
                           : "[" + members + "\n" + indent + "]";
}

void find_time_zone(Object& object, const TimeZone& stored, Problems& problems,
                    Settings& settings) {
  if (const Node* node = object.find("time_zone")) {
    read_time_zone({*node, "time_zone", problems}, stored, settings);
  }
  Settings words;
  words.time_zone = settings.time_zone.value_or(stored);
  problems.span_offset = span_offset(words);
}

}  // namespace

Reading read(std::string_view text, Origin origin, const TimeZone& stored, ParseMac parse_mac) {
  Problems problems(origin, parse_mac);
  Reading reading;
  if (const auto document = parse_document(text, problems)) {
    Object object(*document, "", problems);
    find_time_zone(object, stored, problems, reading.settings);
    for (const Section& section : known_sections) {
      if (const Node* node = object.find(section.name);
          node != nullptr && section.read != nullptr) {
        section.read({*node, section.name, problems}, reading.settings);
      }
    }
    if (const Node* level = object.find("security_level")) {
      check_security_level({*level, "security_level", problems}, reading.settings);
    }
    object.end();
    if (problems.errors.empty()) {
      for (Problem& warning : warn_ineffective(reading.settings, problems.span_offset)) {
        warning.line = line_of_path(*document, warning.path);
        problems.warnings.push_back(std::move(warning));
      }
    }
  }
  reading.errors = std::move(problems.errors);
  reading.warnings = std::move(problems.warnings);
  return reading;
}

std::string write(const Settings& settings, const std::vector<std::string>& only) {
  Json document = Json::object();
  for (const Section& section : known_sections) {
    const bool is_wanted =
        only.empty() || std::find(only.begin(), only.end(), section.name) != only.end();
    if (section.write == nullptr || !is_wanted) {
      continue;
    }
    if (Json value = section.write(settings); !value.is_null()) {
      document[section.name] = std::move(value);
    }
  }
  return on_many_lines(document, "") + "\n";
}

const std::vector<std::string>& section_names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> result;
    for (const Section& section : known_sections) {
      if (section.write != nullptr) {
        result.emplace_back(section.name);
      }
    }
    return result;
  }();
  return names;
}

}  // namespace settings
