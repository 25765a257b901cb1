/* The section "captive_portal". */
#include <cstring>

#include "settings/sections.hpp"

namespace settings {

namespace {

/* A destination is its text alone, or an object where it is switched off. */
void read_destination(l3_caporl_entry& entry, const Source& source) {
  bool enabled = true;
  std::string destination;
  if (source.node.kind == Node::Kind::object) {
    Object object(source.node, source.path, source.problems);
    object.flag("enabled", enabled);
    object.text("destination", parse_destination, destination, Need::required);
    object.end();
  } else if (auto parsed = parse_destination(source.node.text);
             source.node.kind == Node::Kind::text && parsed.value) {
    destination = *std::move(parsed.value);
  } else {
    source.problems.refuse(source.node.line, source.path,
                           not_allowed(source.node, parse_destination("").allowed));
  }
  entry.caporl_enable = enabled ? 1 : 0;
  std::memcpy(entry.caporl_ip, destination.data(), destination.size());
}

Json write_destination(const l3_caporl_entry& entry) {
  std::string destination(entry.caporl_ip, strnlen(entry.caporl_ip, sizeof entry.caporl_ip));
  if (entry.caporl_enable != 0) {
    return destination;
  }
  return {{"enabled", false}, {"destination", destination}};
}

}  // namespace

void read_captive_portal(const Source& source, Settings& settings) {
  Object object(source.node, source.path, source.problems);
  l3_caporl portal{};
  bool enabled = false;
  object.flag("enabled", enabled, Need::required);
  portal.caporl_filter_ctrl = enabled ? 1 : 0;
  read_entries(object, "destinations", portal,
               [&](l3_caporl_entry& entry, const Node& node, const std::string& path) {
                 read_destination(entry, {node, path, source.problems});
               });
  object.end();
  settings.captive_portal = portal;
}

Json write_captive_portal(const Settings& settings) {
  if (!settings.captive_portal) {
    return nullptr;
  }
  Json object;
  object["enabled"] = settings.captive_portal->caporl_filter_ctrl != 0;
  object["destinations"] = Json::array();
  for (const l3_caporl_entry& entry : used_entries(*settings.captive_portal)) {
    object["destinations"].push_back(write_destination(entry));
  }
  return object;
}

}  // namespace settings
