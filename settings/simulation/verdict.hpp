/*
 * What the settings mean for one packet: which of them decides, and what happens. Worked out from what
 * the features promise and where they stand in a packet's way, never from the command lines that
 * bring it about, so that the two can be held against each other.
 *
 * The way of a forwarded packet, IPv4:  port_scan_protection, ip_filter, url_filter, mac_filter,
 *                                       captive_portal, ipsec_pass_through
 *                                IPv6:  ip6_filter, mac6_filter
 * The way of a packet to the gateway, IPv4:  port_scan_protection, acl, dhcp_filter
 *                                     IPv6:  none
 *
 * The first that accepts or drops the packet decides: an acceptance is final, too.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "settings/settings.hpp"
#include "settings/values.hpp"

namespace settings {

/* Where a packet comes in: from the home network (br0), from the Internet WAN, or from anywhere else. */
enum class Side : uint8_t { lan, wan, elsewhere };

/* icmp is ICMPv6 in an IPv6 packet. */
enum class Protocol : uint8_t { tcp, udp, icmp, other };

inline constexpr uint8_t tcp_fin = 1;
inline constexpr uint8_t tcp_syn = 2;
inline constexpr uint8_t tcp_rst = 4;
inline constexpr uint8_t tcp_ack = 16;

/* Which Internet WAN the rules that tell directions apart are bound to, apart from all settings. */
struct Binding {
  bool is_bound = true;    /* otherwise no direction is judged */
  std::string another_wan; /* where it is not the Internet WAN, from which nothing is judged then */
};

struct Bindings {
  Binding ip_filter;
  Binding ip6_filter;
  Binding acl;
  Binding wan_drop; /* of port-scan protection */
};

struct Packet {
  Side from = Side::lan;
  bool to_gateway = false; /* otherwise forwarded */
  bool is_ipv6 = false;
  uint32_t source = 0; /* IPv4 */
  uint32_t destination = 0;
  Ipv6Address source6 = {};
  Ipv6Address destination6 = {};
  Protocol protocol = Protocol::other;
  uint32_t source_port = 0; /* tcp and udp */
  uint32_t destination_port = 0;
  uint8_t tcp_flags = tcp_syn;
  bool established = false;      /* belongs to a connection that the gateway has seen open */
  std::optional<MacAddress> mac; /* of the sender; without one, a device that is on no list */
  std::string dns_name;          /* the name that a DNS query asks for */
  uint32_t second = 0;           /* of the day, in UTC */
  Bindings bindings;             /* that it meets */
};

enum class Outcome : uint8_t {
  accepted,
  dropped,
  accepted_at_first, /* a few at once and one a second are accepted, others go on their way */
};

/* A setting that the packet met, and what that came to. */
struct Step {
  std::string setting; /* a path, as messages about settings files show it */
  std::string what;
};

struct Verdict {
  Outcome outcome = Outcome::accepted;
  std::string decided_by; /* empty when no setting decides */
  std::string reason;
  std::vector<Step> passed; /* what it met before, in order */
};

/* Every section must be there. */
Verdict verdict_on(const Packet& packet, const Settings& settings);

/* Whether a daily span holds this second. Its stop minute is outside but for its first second, and an
 * end at 24:00 counts as 23:59. A span that ends before it starts passes midnight; one that ends
 * where it starts is the whole day. */
bool is_active(TimeSpan span, uint32_t second);

}  // namespace settings
