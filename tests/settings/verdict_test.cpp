/* What the settings mean for a packet, told without a packet filter. */
#include "settings/simulation/verdict.hpp"

#include <cstring>

#include "reading.hpp"

namespace {

using settings::Outcome;
using settings::Packet;
using settings::Protocol;
using settings::Side;

/* A gateway on which nothing is set but the firewall, with the sections of the text on top. */
settings::Settings with(const std::string& sections) {
  settings::Settings all = settings_of(R"({
    "firewall": {"enabled": true}, "port_scan_protection": false, "ipsec_pass_through": true,
    "ip_filter": {"enabled": true}, "ip6_filter": {"enabled": true}, "url_filter": {"enabled": false},
    "mac_filter": {"enabled": false}, "mac6_filter": {"enabled": false}, "dhcp_filter": {"enabled": false},
    "acl": {"enabled": false}, "captive_portal": {"enabled": false}})");
  const settings::Settings wanted = settings_of("{" + sections + "}");
  const auto take = [](auto& into, const auto& from) {
    if (from) {
      into = from;
    }
  };
  take(all.firewall, wanted.firewall);
  take(all.port_scan_protection, wanted.port_scan_protection);
  take(all.ipsec_pass_through, wanted.ipsec_pass_through);
  take(all.ip_filter, wanted.ip_filter);
  take(all.ip6_filter, wanted.ip6_filter);
  take(all.url_filter, wanted.url_filter);
  take(all.mac_filter, wanted.mac_filter);
  take(all.mac6_filter, wanted.mac6_filter);
  take(all.dhcp_filter, wanted.dhcp_filter);
  take(all.acl, wanted.acl);
  take(all.captive_portal, wanted.captive_portal);
  return all;
}

/* "dropped ip_filter.rules[0]" */
std::string told(const Packet& packet, const settings::Settings& settings) {
  const settings::Verdict verdict = settings::verdict_on(packet, settings);
  const char* outcome = verdict.outcome == Outcome::accepted  ? "accepted "
                        : verdict.outcome == Outcome::dropped ? "dropped "
                                                              : "accepted at first ";
  return outcome + verdict.decided_by;
}

Packet tcp(uint32_t port, Side from = Side::lan) {
  Packet packet;
  packet.from = from;
  packet.source = from == Side::lan ? 0xC0A8010A : 0xCB007102;
  packet.destination = from == Side::lan ? 0xCB007102 : 0xC0A8010A;
  packet.protocol = Protocol::tcp;
  packet.source_port = 40000;
  packet.destination_port = port;
  return packet;
}

Packet query(const std::string& name) {
  Packet packet = tcp(53);
  packet.protocol = Protocol::udp;
  packet.dns_name = name;
  return packet;
}

Packet to_gateway(Packet packet) {
  packet.to_gateway = true;
  return packet;
}

constexpr uint32_t at(uint32_t hour, uint32_t minute, uint32_t second) {
  return hour * 3600 + minute * 60 + second;
}

}  // namespace

TEST(SettingsVerdict, NothingSetMeansNothingStopped) {
  const settings::Settings open = with("");
  EXPECT_EQ(told(tcp(80), open), "accepted ");
  EXPECT_EQ(told(to_gateway(tcp(80, Side::wan)), open), "accepted ");
  EXPECT_EQ(settings::verdict_on(tcp(80), open).passed.size(), 6U);
}

TEST(SettingsVerdict, ASpanHoldsItsStartAndOnlyTheFirstSecondOfItsStopMinute) {
  const settings::TimeSpan span = {8, 0, 21, 30};
  EXPECT_FALSE(settings::is_active(span, at(7, 59, 59)));
  EXPECT_TRUE(settings::is_active(span, at(8, 0, 0)));
  EXPECT_TRUE(settings::is_active(span, at(21, 29, 59)));
  EXPECT_TRUE(settings::is_active(span, at(21, 30, 0)));
  EXPECT_FALSE(settings::is_active(span, at(21, 30, 1)));
}

TEST(SettingsVerdict, ASpanThatPassesMidnightHoldsBothSides) {
  const settings::TimeSpan span = {23, 0, 1, 0};
  EXPECT_FALSE(settings::is_active(span, at(22, 59, 59)));
  EXPECT_TRUE(settings::is_active(span, at(23, 0, 0)));
  EXPECT_TRUE(settings::is_active(span, at(0, 59, 59)));
  EXPECT_FALSE(settings::is_active(span, at(12, 0, 0)));
}

TEST(SettingsVerdict, AllDayLeavesTheLastMinuteOpen) {
  const settings::TimeSpan all_day = {0, 0, 24, 0};
  EXPECT_TRUE(settings::is_active(all_day, at(23, 58, 59)));
  EXPECT_FALSE(settings::is_active(all_day, at(23, 59, 1)));
}

TEST(SettingsVerdict, ASpanThatEndsWhereItStartsIsTheWholeDay) {
  EXPECT_TRUE(settings::is_active({8, 0, 8, 0}, at(20, 0, 0)));
  EXPECT_TRUE(settings::is_active({23, 59, 24, 0}, at(12, 0, 0)));
}

TEST(SettingsVerdict, TheFirstMatchOfAListDecides) {
  const settings::Settings listed = with(R"("ip_filter": {"enabled": true, "rules": [
    {"direction": "downstream", "protocol": "tcp"},
    {"direction": "upstream", "protocol": "tcp", "destination_ports": "81"},
    {"direction": "upstream", "protocol": "tcp", "destination_ports": "80-88"},
    {"direction": "upstream", "protocol": "all"}]})");
  EXPECT_EQ(told(tcp(80), listed), "dropped ip_filter.rules[2]");
  EXPECT_EQ(told(tcp(88), listed), "dropped ip_filter.rules[2]");
  EXPECT_EQ(told(tcp(89), listed), "dropped ip_filter.rules[3]");
  EXPECT_EQ(told(tcp(80, Side::wan), listed), "dropped ip_filter.rules[0]");
  EXPECT_EQ(told(tcp(80, Side::elsewhere), listed), "accepted ");
}

TEST(SettingsVerdict, AWhiteListShutsItsDirectionAndAlsoEstablishedConnections) {
  const settings::Settings listed =
      with(R"("ip_filter": {"enabled": true, "downstream": "white-list"})");
  Packet answer = tcp(40000, Side::wan);
  answer.established = true;
  EXPECT_EQ(told(answer, listed), "dropped ip_filter.downstream");
  EXPECT_EQ(told(tcp(80), listed), "accepted ");
}

TEST(SettingsVerdict, AnAcceptanceIsFinal) {
  const std::string url =
      R"("url_filter": {"enabled": true, "entries": [{"host": "example.com"}]})";
  const std::string dns = R"("ip_filter": {"enabled": true, "upstream": "white-list", "rules": [
    {"direction": "upstream", "protocol": "udp", "destination_ports": "53"}]})";
  Packet asked = query("example.com");
  asked.second = at(12, 0, 0);
  EXPECT_EQ(told(asked, with(url)), "dropped url_filter.entries[0]");
  EXPECT_EQ(told(asked, with(url + ", " + dns)), "accepted ip_filter.rules[0]");
}

TEST(SettingsVerdict, NamesMatchByWholeLabelsAndLetterCase) {
  const settings::Settings listed =
      with(R"("url_filter": {"enabled": true, "entries": [{"host": ".example.com"}]})");
  const auto asked = [&](const std::string& name) {
    Packet packet = query(name);
    packet.second = at(12, 0, 0);
    return told(packet, listed);
  };
  EXPECT_EQ(asked("example.com"), "dropped url_filter.entries[0]");
  EXPECT_EQ(asked("www.example.com"), "dropped url_filter.entries[0]");
  EXPECT_EQ(asked("example.com.evil.org"), "dropped url_filter.entries[0]");
  EXPECT_EQ(asked("myexample.com"), "accepted ");
  EXPECT_EQ(asked("Example.com"), "accepted ");
  EXPECT_EQ(asked("com"), "accepted ");
}

TEST(SettingsVerdict, AnOpenIpv6AddressMatchesNothing) {
  const settings::Settings listed = with(R"("ip6_filter": {"enabled": true, "rules": [
    {"direction": "upstream", "protocol": "all"},
    {"direction": "upstream", "protocol": "icmp", "source": "fd00:1::10", "destination": "2001:db8::1"},
    {"direction": "upstream", "protocol": "all", "source": "fd00:1::10", "destination": "2001:db8::1"}]})");
  Packet packet;
  packet.is_ipv6 = true;
  packet.protocol = Protocol::icmp;
  packet.source6 = *settings::parse_ipv6("fd00:1::10").value;
  packet.destination6 = *settings::parse_ipv6("2001:db8::1").value;
  EXPECT_EQ(told(packet, listed), "dropped ip6_filter.rules[2]");
  packet.destination6 = *settings::parse_ipv6("2001:db8::2").value;
  EXPECT_EQ(told(packet, listed), "accepted ");
}

TEST(SettingsVerdict, PortScanProtectionDropsALoneAckButNoEstablishedOne) {
  const settings::Settings on = with(R"("port_scan_protection": true)");
  Packet segment = tcp(80);
  EXPECT_EQ(told(segment, on), "accepted ");
  segment.tcp_flags = settings::tcp_ack;
  EXPECT_EQ(told(segment, on), "dropped port_scan_protection");
  segment.established = true;
  EXPECT_EQ(told(segment, on), "accepted ");
  segment.tcp_flags = settings::tcp_rst;
  EXPECT_EQ(told(segment, on), "accepted at first port_scan_protection");
  EXPECT_EQ(told(to_gateway(tcp(22, Side::wan)), on), "dropped port_scan_protection");
  EXPECT_EQ(told(to_gateway(tcp(22, Side::elsewhere)), on), "accepted ");
}

TEST(SettingsVerdict, TheAccessListShutsASideThatHasAnEntry) {
  const settings::Settings listed = with(R"("acl": {"enabled": true, "entries": [
    {"service": "web", "from": "lan", "sources": "192.168.1.10-192.168.1.20"},
    {"service": "ping", "from": "wan", "sources": "any", "enabled": false}]})");
  EXPECT_EQ(told(to_gateway(tcp(80)), listed), "accepted acl.entries[0]");
  EXPECT_EQ(told(to_gateway(tcp(23)), listed), "dropped acl.entries");
  EXPECT_EQ(told(to_gateway(tcp(443)), listed), "accepted ");
  EXPECT_EQ(told(to_gateway(tcp(80, Side::wan)), listed), "accepted ");
  Packet stranger = to_gateway(tcp(80));
  stranger.source = 0xC0A80115;
  EXPECT_EQ(told(stranger, listed), "dropped acl.entries");
}

TEST(SettingsVerdict, ThePortalLooksAtWebRequestsAndPrefixes) {
  const settings::Settings portal =
      with(R"("captive_portal": {"enabled": true, "destinations": ["198.51.100.77/24"]})");
  Packet request = tcp(80);
  EXPECT_EQ(told(request, portal), "dropped captive_portal.destinations");
  request.destination = 0xC6336401;
  EXPECT_EQ(told(request, portal), "accepted captive_portal.destinations[0]");
  EXPECT_EQ(told(tcp(443), portal), "accepted ");
  EXPECT_EQ(told(tcp(80, Side::wan), portal), "accepted ");
}

TEST(SettingsVerdict, APortalDestinationThatIsNoAddressEndsThePortal) {
  settings::Settings portal = with(
      R"("captive_portal": {"enabled": true, "destinations": ["203.0.113.2", "198.51.100.0/24"]})");
  Packet request = tcp(80);
  request.destination = 0xCB007103;
  for (const char* text :
       {"", "/", "1.2.3.4/", "1.2.3.4/x", "1.2.3.4/99999999999", "198.51.100.0/24xxxxx"}) {
    strncpy(portal.captive_portal->entries[1].caporl_ip, text, 20);
    EXPECT_EQ(told(request, portal), "accepted ") << text;
  }
  portal.captive_portal->entries[1].caporl_enable = 0;
  EXPECT_EQ(told(request, portal), "dropped captive_portal.destinations");
}

TEST(SettingsVerdict, RulesThatAreBoundToNoWanOrToAnotherDecideNothing) {
  const settings::Settings listed = with(R"("port_scan_protection": true,
    "ip_filter": {"enabled": true, "upstream": "white-list", "downstream": "white-list"},
    "acl": {"enabled": true, "entries": [{"service": "web", "from": "lan", "sources": "any"},
                                         {"service": "web", "from": "wan", "sources": "any"}]})");
  const auto bound = [](Packet packet, const settings::Binding& binding) {
    packet.bindings = {binding, binding, binding, binding};
    return packet;
  };
  const settings::Binding none = {false, {}};
  const settings::Binding other = {true, "wan9"};
  EXPECT_EQ(told(bound(tcp(25), none), listed), "accepted ");
  EXPECT_EQ(told(bound(tcp(25), other), listed), "dropped ip_filter.upstream");
  EXPECT_EQ(told(bound(tcp(25, Side::wan), other), listed), "accepted ");
  EXPECT_EQ(told(to_gateway(bound(tcp(23), none)), listed), "accepted ");
  EXPECT_EQ(told(to_gateway(bound(tcp(23), other)), listed), "dropped acl.entries");
  EXPECT_EQ(told(to_gateway(bound(tcp(23, Side::wan), other)), listed), "accepted ");
  Packet segment = to_gateway(bound(tcp(23, Side::wan), none));
  segment.tcp_flags = settings::tcp_ack;
  EXPECT_EQ(told(segment, listed), "dropped port_scan_protection");
}

TEST(SettingsVerdict, AnEntryThatDoesNotCountNowIsToldOf) {
  const settings::Settings listed = with(R"(
    "url_filter": {"enabled": true, "entries": [{"host": "example.com", "enabled": false}]},
    "mac_filter": {"enabled": true, "mode": "white-list", "devices": [
      {"mac": "02:00:00:00:00:02"}, {"mac": "02:00:00:00:00:01", "active": "20:30-21:00"}]})");
  Packet packet = query("www.example.com");
  packet.mac = {2, 0, 0, 0, 0, 1};
  packet.second = at(8, 5, 0);
  const settings::Verdict verdict = settings::verdict_on(packet, listed);
  EXPECT_EQ(verdict.passed[2].what, "entries[0] is listed, but is disabled");
  EXPECT_EQ(verdict.decided_by, "mac_filter.mode");
  EXPECT_EQ(verdict.reason, "devices[1] is listed, but rests at 08:05 UTC (active 20:30-21:00)");
  packet.second = at(20, 45, 0);
  EXPECT_EQ(told(packet, listed), "accepted mac_filter.devices[1]");
}

TEST(SettingsVerdict, DevicesAreKnownByTheirAddress) {
  const settings::Settings listed = with(R"(
    "mac_filter": {"enabled": true, "mode": "white-list", "devices": [{"mac": "02:00:00:00:00:01"}]},
    "dhcp_filter": {"enabled": true, "devices": ["02:00:00:00:00:01"]})");
  Packet packet = tcp(443);
  packet.second = at(12, 0, 0);
  EXPECT_EQ(told(packet, listed), "dropped mac_filter.mode");
  packet.mac = {2, 0, 0, 0, 0, 1};
  EXPECT_EQ(told(packet, listed), "accepted mac_filter.devices[0]");
  packet.second = at(23, 59, 30);
  EXPECT_EQ(told(packet, listed), "dropped mac_filter.mode");
  packet = to_gateway(packet);
  packet.protocol = Protocol::udp;
  packet.destination_port = 67;
  EXPECT_EQ(told(packet, listed), "dropped dhcp_filter.devices[0]");
}

TEST(SettingsVerdict, WithTheFirewallOffOnlyIpsecIsStopped) {
  const settings::Settings off =
      with(R"("firewall": {"enabled": false}, "ipsec_pass_through": false,
    "ip_filter": {"enabled": true, "upstream": "white-list"})");
  EXPECT_EQ(told(tcp(80), off), "accepted ");
  Packet exchange = tcp(500);
  exchange.protocol = Protocol::udp;
  EXPECT_EQ(told(exchange, off), "accepted ");
  exchange.source_port = 500;
  EXPECT_EQ(told(exchange, off), "dropped ipsec_pass_through");
  EXPECT_EQ(told(to_gateway(exchange), off), "accepted ");
}
