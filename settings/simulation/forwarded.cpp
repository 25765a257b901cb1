/* The features that forwarded packets meet. */
#include <arpa/inet.h>

#include <cstring>

#include "settings/local_span.hpp"
#include "settings/simulation/filters.hpp"

namespace settings {

namespace {

/* One end of a range that is 0 leaves the ports open. */
bool ports_match(uint32_t port, uint32_t first, uint32_t last) {
  return first == 0 || last == 0 || (port >= first && port <= last);
}

bool addresses_match(const Packet& packet, const l3_ip_filter_entry& entry) {
  return (entry.src_ip == 0 || entry.src_ip == packet.source) &&
         (entry.dst_ip == 0 || entry.dst_ip == packet.destination);
}

/* An open IPv6 address stands for "::" itself, which no forwarded packet carries. */
bool addresses_match(const Packet& packet, const l3_ip6_filter_entry& entry) {
  return std::equal(packet.source6.begin(), packet.source6.end(), entry.src_ip) &&
         std::equal(packet.destination6.begin(), packet.destination6.end(), entry.dst_ip);
}

bool protocol_matches(const Packet& packet, uint32_t protocol) {
  switch (protocol) {
    case 0:
      return true;
    case 1:
      return packet.protocol == Protocol::icmp && !packet.is_ipv6;  // ICMPv6 is another protocol.
    case 6:
      return packet.protocol == Protocol::tcp;
    default:
      return packet.protocol == Protocol::udp;
  }
}

template <typename Entry>
bool rule_matches(const Packet& packet, const Entry& entry) {
  const bool has_ports = entry.protocol == 6 || entry.protocol == 17;
  return protocol_matches(packet, entry.protocol) && addresses_match(packet, entry) &&
         (!has_ports || (ports_match(packet.source_port, entry.src_port_s, entry.src_port_e) &&
                         ports_match(packet.destination_port, entry.dst_port_s, entry.dst_port_e)));
}

template <typename Region>
Finding simulate_rules(const Packet& packet, const Region& filter, const std::string& section) {
  if (filter.ip_filter_ctrl != 0) {
    return {{}, section, "off"};
  }
  if (packet.from == Side::elsewhere) {
    return {{}, section, "comes neither from the home network nor from the Internet WAN"};
  }
  const Bindings& bindings = packet.bindings;
  if (std::string why = unbound(packet, packet.is_ipv6 ? bindings.ip6_filter : bindings.ip_filter);
      !why.empty()) {
    return {{}, section, std::move(why)};
  }
  const bool upstream = packet.from == Side::lan;
  const bool white_list = (upstream ? filter.us_black_white : filter.ds_black_white) != 0;
  const auto entries = used_entries(filter);
  for (size_t i = 0; i < entries.size(); ++i) {
    if ((entries[i].direction == 0) == upstream && rule_matches(packet, entries[i])) {
      return match_of(white_list, item_path(section + ".rules", i));
    }
  }
  return no_match_of(white_list, section, upstream ? "upstream" : "downstream");
}

using Labels = std::vector<std::string_view>;

/* The labels of a name; an outer dot makes none. */
Labels labels_of(std::string_view name) {
  Labels labels;
  while (!name.empty()) {
    const std::string_view label = name.substr(0, name.find('.'));
    if (!label.empty()) {
      labels.push_back(label);
    }
    name.remove_prefix(std::min(name.size(), label.size() + 1));
  }
  return labels;
}

/* Whether the listed name's labels stand side by side in the other, at its end or not. Letter case
 * counts. */
bool name_matches(std::string_view asked, std::string_view listed) {
  const Labels all = labels_of(asked);
  const Labels wanted = labels_of(listed);
  return std::search(all.begin(), all.end(), wanted.begin(), wanted.end()) != all.end();
}

std::string clock_text(uint32_t second) {
  const auto two = [](uint32_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
  };
  return two(second / 3600) + ":" + two(second / 60 % 60);
}

/* Why an entry does not count, though it names the packet; empty where it does. */
template <typename Entry>
std::string why_resting(const Entry& entry, bool is_enabled, uint32_t second,
                        std::optional<int> offset) {
  if (!is_enabled) {
    return "is disabled";
  }
  const TimeSpan span = span_of(entry);
  if (is_active(span, second)) {
    return "";
  }
  const uint32_t shown = local_second(second, offset.value_or(0));
  return "rests at " + clock_text(shown) + (offset ? "" : " UTC") + " (active " +
         time_span_text(offset ? to_local(span, *offset) : span) + ")";
}

/* Only the first is told of. */
void note_resting(std::string& resting, const std::string& path, const std::string& why) {
  if (resting.empty()) {
    resting = path + " is listed, but " + why;
  }
}

std::string_view text_of(const l3_caporl_entry& entry) {
  return {entry.caporl_ip, strnlen(entry.caporl_ip, sizeof entry.caporl_ip)};
}

/* "203.0.113.2" or "198.51.100.0/24"; bits beyond the prefix do not count. */
bool is_inside(uint32_t address, std::string_view destination) {
  const size_t slash = destination.find('/');
  const auto network = parse_ipv4(destination.substr(0, slash)).value.value_or(0);
  const int length =
      slash == std::string_view::npos ? 32 : std::stoi(std::string(destination.substr(slash + 1)));
  const uint32_t mask = length == 0 ? 0 : ~uint32_t{0} << (32 - length);
  return (address & mask) == (network & mask);
}

}  // namespace

Finding simulate_ip_filter(const Packet& packet, const Settings& settings) {
  return packet.is_ipv6 ? simulate_rules(packet, *settings.ip6_filter, "ip6_filter")
                        : simulate_rules(packet, *settings.ip_filter, "ip_filter");
}

Finding simulate_url_filter(const Packet& packet, const Settings& settings) {
  const l3_url_filter& filter = *settings.url_filter;
  const std::string section = "url_filter";
  if (filter.url_filter_ctrl == 0) {
    return {{}, section, "off"};
  }
  if (packet.from != Side::lan || !is_to_port(packet, Protocol::udp, 53)) {
    return {{}, section, "looks at DNS queries from the home network alone"};
  }
  const bool white_list = filter.url_black_white != 0;
  std::string resting;
  const auto entries = used_entries(filter);
  for (size_t i = 0; i < entries.size(); ++i) {
    const l3_url_entry& entry = entries[i];
    const std::string_view name(entry.url, strnlen(entry.url, sizeof entry.url));
    if (!name_matches(packet.dns_name, name)) {
      continue;
    }
    const std::string why =
        why_resting(entry, entry.url_enable != 0, packet.second, span_offset(settings));
    if (why.empty()) {
      return match_of(white_list, item_path("url_filter.entries", i));
    }
    note_resting(resting, item_path("entries", i), why);
  }
  return no_match_of(white_list, section, "mode", resting);
}

Finding simulate_mac_filter(const Packet& packet, const Settings& settings) {
  const std::string section = packet.is_ipv6 ? "mac6_filter" : "mac_filter";
  const l3_mac_filter& filter = packet.is_ipv6 ? *settings.mac6_filter : *settings.mac_filter;
  if (filter.mac_filter_ctrl == 0) {
    return {{}, section, "off"};
  }
  if (packet.from != Side::lan) {
    return {{}, section, "looks at devices of the home network alone"};
  }
  const bool white_list = filter.mac_black_white == 1;
  std::string resting;
  const auto entries = used_entries(filter);
  for (size_t i = 0; i < entries.size(); ++i) {
    const l3_mac_entry& entry = entries[i];
    if (!is_from(packet, entry.mac)) {
      continue;
    }
    const std::string why =
        why_resting(entry, entry.mac_enable != 0, packet.second, span_offset(settings));
    if (why.empty()) {
      return match_of(white_list, item_path(section + ".devices", i));
    }
    note_resting(resting, item_path("devices", i), why);
  }
  return no_match_of(white_list, section, "mode", resting);
}

Finding simulate_captive_portal(const Packet& packet, const Settings& settings) {
  const l3_caporl& portal = *settings.captive_portal;
  const std::string section = "captive_portal";
  if (portal.caporl_filter_ctrl == 0) {
    return {{}, section, "off"};
  }
  if (packet.from != Side::lan || !is_to_port(packet, Protocol::tcp, 80)) {
    return {{}, section, "looks at web requests (TCP port 80) from the home network alone"};
  }
  const auto entries = used_entries(portal);
  for (size_t i = 0; i < entries.size(); ++i) {
    // One that some other program stored: its rule is refused, and all the portal's rules with it.
    if (entries[i].caporl_enable != 0 && !parse_destination(text_of(entries[i])).value) {
      return {{}, item_path("captive_portal.destinations", i), "no address, so the portal fails"};
    }
  }
  for (size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].caporl_enable != 0 && is_inside(packet.destination, text_of(entries[i]))) {
      return {Outcome::accepted, item_path("captive_portal.destinations", i),
              "a destination of the portal"};
    }
  }
  return {Outcome::dropped, "captive_portal.destinations", "no destination of the portal"};
}

/* Key exchange and NAT traversal, recognised by both of their ports. */
Finding simulate_ipsec(const Packet& packet, const Settings& settings) {
  const std::string setting = "ipsec_pass_through";
  if (*settings.ipsec_pass_through) {
    return {{}, setting, "on, so IPsec passes"};
  }
  if (packet.source_port == packet.destination_port &&
      (is_to_port(packet, Protocol::udp, 500) || is_to_port(packet, Protocol::udp, 4500))) {
    return {Outcome::dropped, setting, "IPsec does not pass"};
  }
  return {{}, setting, "no IPsec: that is UDP from port 500 to 500, or from 4500 to 4500"};
}

}  // namespace settings
