/*
 * The section "route_qos": the switch, and the rules as the platform takes them, bytes in hexadecimal in
 * the gateway's byte order; zero bytes at the end may be left out.
 */
#include "settings/route_qos.hpp"

#include <cstring>

#include "settings/sections.hpp"

namespace settings {

void read_route_qos(const Source& source, Settings& settings) {
  Object object(source.node, source.path, source.problems);
  bool enabled = false;
  if (object.flag("enabled", enabled, Need::required)) {
    settings.route_qos_enabled = enabled;
  }
  uint8_t bytes[sizeof(l3_qos_rules)] = {};
  if (object.bytes("rules", bytes)) {
    l3_qos_rules rules;
    std::memcpy(&rules, bytes, sizeof rules);
    settings.route_qos_rules = rules;
  }
  object.end();
}

Json write_route_qos(const Settings& settings) {
  if (!settings.route_qos_enabled) {
    return nullptr;
  }
  Json object;
  object["enabled"] = *settings.route_qos_enabled;
  if (settings.route_qos_rules) {
    object["rules"] = qos_rules_text(*settings.route_qos_rules);
  }
  return object;
}

std::string qos_rules_text(const l3_qos_rules& rules) {
  uint8_t bytes[sizeof rules];
  std::memcpy(bytes, &rules, sizeof bytes);
  size_t used = sizeof bytes;
  while (used > 0 && bytes[used - 1] == 0) {
    --used;
  }
  return hex_text(std::span(bytes).first(used));
}

}  // namespace settings
