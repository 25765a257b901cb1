/* A packet, where it meets the gateway, and what can become of it. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

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

/* The Internet WAN that the rules for one direction are bound to; it is not part of the settings. */
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
  accepted_at_first, /* a few at once and one a second are accepted, others continue */
};

}  // namespace settings
