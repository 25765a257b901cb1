/* The section "dhcp_filter". */
#include <algorithm>

#include "settings/sections.hpp"

namespace settings {

namespace {

/* A device is its address alone, or an object where its spare members are in use. */
void read_device(l3_dhcp_entry& entry, const Source& source) {
  MacAddress mac{};
  const auto parse = source.problems.mac_parser();
  if (source.node.kind == Node::Kind::object) {
    Object object(source.node, source.path, source.problems);
    object.text("mac", parse, mac, Need::required);
    object.number("flag", entry.dhcp_entry_flag);
    object.bytes("reserved", entry.reserved);
    object.end();
  } else {
    // Whatever is no text is as wrong as an empty text.
    const auto parsed =
        parse(source.node.kind == Node::Kind::text ? std::string_view(source.node.text) : "");
    if (!parsed.value) {
      source.problems.refuse(source.node.line, source.path,
                             not_allowed(source.node, parsed.allowed));
      return;
    }
    mac = *parsed.value;
  }
  std::copy(mac.begin(), mac.end(), entry.mac);
}

Json write_device(const l3_dhcp_entry& entry) {
  Json object;
  object["mac"] = mac_text(entry.mac);
  write_unless_zero(object, "flag", entry.dhcp_entry_flag);
  write_unless_zero(object, "reserved", entry.reserved);
  return object.size() == 1 ? object["mac"] : object;
}

}  // namespace

void read_dhcp_filter(const Source& source, Settings& settings) {
  Object object(source.node, source.path, source.problems);
  l3_dhcp_filter filter{};
  bool enabled = false;
  object.flag("enabled", enabled, Need::required);
  filter.dhcp_mac_filter_ctrl = enabled ? 1 : 0;
  object.word("mode", list_modes, filter.dhcp_black_white);
  read_entries(object, "devices", filter,
               [&](l3_dhcp_entry& entry, const Node& node, const std::string& path) {
                 read_device(entry, {node, path, source.problems});
               });
  object.end();
  settings.dhcp_filter = filter;
}

Json write_dhcp_filter(const Settings& settings) {
  if (!settings.dhcp_filter) {
    return nullptr;
  }
  const l3_dhcp_filter& filter = *settings.dhcp_filter;
  Json object;
  object["enabled"] = filter.dhcp_mac_filter_ctrl != 0;
  // Only the value 1 makes a white list here.
  object["mode"] = filter.dhcp_black_white == 1 ? "white-list" : "black-list";
  object["devices"] = Json::array();
  for (const l3_dhcp_entry& entry : used_entries(filter)) {
    object["devices"].push_back(write_device(entry));
  }
  return object;
}

}  // namespace settings
