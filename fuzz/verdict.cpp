/*
 * What the settings mean for a packet: an answer for every packet and all records, the same as for the
 * settings written out and read in again, where they can be.
 */
#include "settings/simulation/verdict.hpp"

#include <cstring>

#include "images.hpp"
#include "input.hpp"
#include "oracle.hpp"
#include "settings/settings.hpp"
#include "world.hpp"

using namespace fuzz;

namespace {

settings::Packet packet_from(Input& input) {
  settings::Packet packet;
  packet.from = static_cast<settings::Side>(input.byte() % 3);
  const uint8_t kind = input.byte();
  packet.to_gateway = (kind & 1) != 0;
  packet.is_ipv6 = (kind & 2) != 0;
  packet.established = (kind & 4) != 0;
  packet.protocol = static_cast<settings::Protocol>(input.byte() % 4);
  packet.source = input.word();
  packet.destination = input.word();
  packet.source_port = input.word() & 0xffff;
  packet.destination_port = input.word() & 0xffff;
  packet.tcp_flags = input.byte();
  for (uint8_t& byte : packet.source6) {
    byte = input.byte();
  }
  for (uint8_t& byte : packet.destination6) {
    byte = input.byte();
  }
  if ((kind & 8) != 0) {
    packet.mac.emplace();
    for (uint8_t& byte : *packet.mac) {
      byte = input.byte();
    }
  }
  packet.second = input.word() % 86400;
  packet.dns_name = input.text();
  return packet;
}

settings::Settings settings_from(Input& input) {
  settings::Settings all;
  const uint8_t switches = input.byte();
  all.firewall = (switches & 1) != 0;
  all.port_scan_protection = (switches & 2) != 0;
  all.ipsec_pass_through = (switches & 4) != 0;
  all.vpn_pass_through = (switches & 8) != 0;
  all.route_qos_enabled = (switches & 16) != 0;
  fill(input, all.ip_filter.emplace());
  fill(input, all.ip6_filter.emplace());
  fill(input, all.url_filter.emplace());
  fill(input, all.mac_filter.emplace());
  fill(input, all.mac6_filter.emplace());
  fill(input, all.dhcp_filter.emplace());
  fill(input, all.acl.emplace());
  fill(input, all.captive_portal.emplace());
  all.route_qos_rules.emplace();
  return all;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const settings::Packet packet = packet_from(input);
  const settings::Settings all = settings_from(input);
  const settings::Verdict verdict = settings::verdict_on(packet, all);
  check(!verdict.decided_by.empty() || verdict.outcome == settings::Outcome::accepted,
        "what no setting decides is accepted");

  const settings::Reading reading = settings::read(settings::write(all));
  if (reading.errors.empty()) {
    const settings::Verdict again = settings::verdict_on(packet, reading.settings);
    check(again.outcome == verdict.outcome && again.decided_by == verdict.decided_by,
          "settings in words mean the same", verdict.decided_by + " " + again.decided_by);
  }
  return 0;
}
