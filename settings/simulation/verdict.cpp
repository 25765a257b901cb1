#include "settings/simulation/verdict.hpp"

#include "settings/simulation/filters.hpp"

namespace settings {

namespace {

constexpr Feature forwarded[] = {simulate_port_scan_protection, simulate_ip_filter,
                                 simulate_url_filter,           simulate_mac_filter,
                                 simulate_captive_portal,       simulate_ipsec};
constexpr Feature forwarded6[] = {simulate_ip_filter, simulate_mac_filter};
constexpr Feature to_gateway[] = {simulate_port_scan_protection, simulate_acl,
                                  simulate_dhcp_filter};
/* With the firewall off, the filter that ignores the switch. */
constexpr Feature while_off[] = {simulate_ipsec};

/* What is met by whom; nothing by IPv6 packets to the gateway. */
std::span<const Feature> way_of(const Packet& packet, bool firewall) {
  if (packet.is_ipv6) {
    return packet.to_gateway || !firewall ? std::span<const Feature>() : forwarded6;
  }
  if (!firewall) {
    return packet.to_gateway ? std::span<const Feature>() : while_off;
  }
  return packet.to_gateway ? std::span<const Feature>(to_gateway) : forwarded;
}

}  // namespace

Verdict verdict_on(const Packet& packet, const Settings& settings) {
  Verdict verdict;
  if (!*settings.firewall) {
    verdict.passed.push_back({"firewall.enabled", "off, so no list makes rules"});
  }
  for (const Feature judge : way_of(packet, *settings.firewall)) {
    Finding finding = judge(packet, settings);
    if (finding.outcome) {
      verdict.outcome = *finding.outcome;
      verdict.decided_by = std::move(finding.setting);
      verdict.reason = std::move(finding.what);
      return verdict;
    }
    verdict.passed.push_back({std::move(finding.setting), std::move(finding.what)});
  }
  verdict.reason = "nothing stops it";
  return verdict;
}

/*
 * Two things in one: TCP segments that claim a connection that was never opened are dropped, and the
 * Internet is shut out of the gateway itself.
 */
Finding simulate_port_scan_protection(const Packet& packet, const Settings& settings) {
  const std::string setting = "port_scan_protection";
  if (!*settings.port_scan_protection) {
    return {{}, setting, "off"};
  }
  std::string why_not_shut;
  if (packet.to_gateway && packet.from == Side::wan) {
    why_not_shut = unbound(packet, packet.bindings.wan_drop);
    if (why_not_shut.empty()) {
      return {Outcome::dropped, setting, "the Internet does not reach the gateway itself"};
    }
  }
  if (packet.protocol != Protocol::tcp) {
    return {{}, setting, why_not_shut.empty() ? "looks at TCP alone" : why_not_shut};
  }
  const uint8_t flags = packet.tcp_flags & (tcp_syn | tcp_ack | tcp_fin | tcp_rst);
  // A lone ACK may be the middle of a connection, so it counts as one; every other segment that
  // opens nothing is invalid to connection tracking, not new.
  if (!packet.established && flags == tcp_ack) {
    return {Outcome::dropped, setting, "claims a connection that nobody opened"};
  }
  if (flags == tcp_rst) {
    return {Outcome::accepted_at_first, setting,
            "resets are accepted at one a second, beyond that they go on their way"};
  }
  return {
      {}, setting, why_not_shut.empty() ? "no segment out of nowhere that it knows" : why_not_shut};
}

}  // namespace settings
