/* The sections that are one switch each, and the security level that stands for two of them. */
#include "settings/sections.hpp"

namespace settings {

namespace {

void read_switch(const Source& source, std::optional<bool>& out) {
  if (source.node.kind != Node::Kind::boolean) {
    source.problems.refuse(source.node.line, source.path,
                           not_allowed(source.node, "true or false"));
    return;
  }
  out = source.node.boolean;
}

Json write_switch(const std::optional<bool>& value) {
  return value ? Json(*value) : Json();
}

}  // namespace

void read_firewall(const Source& source, Settings& settings) {
  Object object(source.node, source.path, source.problems);
  bool enabled = false;
  if (object.flag("enabled", enabled, Need::required)) {
    settings.firewall = enabled;
  }
  object.end();
}

Json write_firewall(const Settings& settings) {
  return settings.firewall ? Json{{"enabled", *settings.firewall}} : Json();
}

void read_security_level(const Source& source, Settings& settings) {
  for (const Word& word : security_levels) {
    if (source.node.kind == Node::Kind::text && source.node.text == word.text) {
      settings.security_level = static_cast<SecurityLevel>(word.value);
      return;
    }
  }
  source.problems.refuse(source.node.line, source.path,
                         not_allowed(source.node, "\"off\", \"low\" or \"high\""));
}

void check_security_level(const Source& source, const Settings& settings) {
  if (!settings.security_level) {
    return;
  }
  const bool on = *settings.security_level != SecurityLevel::off;
  const bool scan = *settings.security_level == SecurityLevel::high;
  if (settings.firewall && *settings.firewall != on) {
    source.problems.refuse(source.node.line, source.path,
                           shown(source.node) + " contradicts firewall.enabled");
  }
  if (on && settings.port_scan_protection && *settings.port_scan_protection != scan) {
    source.problems.refuse(source.node.line, source.path,
                           shown(source.node) + " contradicts port_scan_protection");
  }
}

void read_port_scan_protection(const Source& source, Settings& settings) {
  read_switch(source, settings.port_scan_protection);
}

Json write_port_scan_protection(const Settings& settings) {
  return write_switch(settings.port_scan_protection);
}

void read_ipsec_pass_through(const Source& source, Settings& settings) {
  read_switch(source, settings.ipsec_pass_through);
}

Json write_ipsec_pass_through(const Settings& settings) {
  return write_switch(settings.ipsec_pass_through);
}

void read_vpn_pass_through(const Source& source, Settings& settings) {
  read_switch(source, settings.vpn_pass_through);
}

Json write_vpn_pass_through(const Settings& settings) {
  return write_switch(settings.vpn_pass_through);
}

}  // namespace settings
