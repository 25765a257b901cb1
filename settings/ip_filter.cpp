/* The sections "ip_filter" and "ip6_filter". */
#include <algorithm>

#include "settings/sections.hpp"

namespace settings {

namespace {

bool parse_address(Object& rule, const char* key, uint32_t& out) {
  return rule.text(key, parse_ipv4, out);
}

bool parse_address(Object& rule, const char* key, uint8_t (&out)[16]) {
  Ipv6Address address{};
  if (!rule.text(key, parse_ipv6, address)) {
    return false;
  }
  std::copy(address.begin(), address.end(), out);
  return true;
}

/* 4 or 6; 0 for "any" and for what is no address. */
int family_of(const Node& node) {
  if (node.kind != Node::Kind::text || node.text == "any") {
    return 0;
  }
  return parse_ipv4(node.text).value ? 4 : parse_ipv6(node.text).value ? 6 : 0;
}

constexpr int family_of(const l3_ip_filter_entry&) {
  return 4;
}

constexpr int family_of(const l3_ip6_filter_entry&) {
  return 6;
}

/* Refuses a rule with addresses of both families; its fields alone would not show why. */
bool mixes_families(const Source& source) {
  const char* ipv4 = nullptr;
  const char* ipv6 = nullptr;
  for (const char* key : {"source", "destination", "second_source", "second_destination"}) {
    const auto& members = source.node.children;
    const auto member = std::find_if(members.begin(), members.end(),
                                     [key](const Node& node) { return node.key == key; });
    const int family = member == members.end() ? 0 : family_of(*member);
    ipv4 = ipv4 == nullptr && family == 4 ? key : ipv4;
    ipv6 = ipv6 == nullptr && family == 6 ? key : ipv6;
  }
  if (ipv4 == nullptr || ipv6 == nullptr) {
    return false;
  }
  source.problems.refuse(source.node.line, source.path,
                         std::string("mixes address families: ") + ipv4 + " is IPv4, " + ipv6 +
                             " is IPv6; a rule is for one of them");
  return true;
}

/* The addresses of one rule. */
template <typename Entry>
class Addresses {
 public:
  Addresses(Object& rule, const Source& source) : rule_(rule), is_mixed_(mixes_families(source)) {}

  /* Whether the address is good, or left out. One of the other family is refused as such. */
  template <typename Address>
  bool read(const char* key, Address& out) {
    constexpr int family = family_of(Entry{});
    const Node* node = rule_.find(key);
    if (node == nullptr) {
      return true;
    }
    if (is_mixed_) {
      return false;
    }
    const int other = family_of(*node);
    if (other == 0 || other == family) {
      return parse_address(rule_, key, out);
    }
    rule_.refuse(key, shown(*node) + " is an IPv" + std::to_string(other) +
                          " address, and this list is for IPv" + std::to_string(family) + "; " +
                          (other == 6 ? "ip6_filter" : "ip_filter") + " is the one for IPv" +
                          std::to_string(other));
    return false;
  }

 private:
  Object& rule_;
  bool is_mixed_;
};

std::string address_text(uint32_t address) {
  return ipv4_text(address);
}

std::string address_text(const uint8_t (&address)[16]) {
  return ipv6_text(address);
}

void read_ports(Object& rule, const char* key, bool protocol_has_ports, uint32_t& first,
                uint32_t& last) {
  Ports ports;
  if (!rule.text(key, parse_ports, ports)) {
    return;
  }
  first = ports.first;
  last = ports.last;
  if (!protocol_has_ports && (first != 0 || last != 0)) {
    rule.warn(key, "has no effect: only tcp and udp rules look at ports");
  } else if ((first == 0) != (last == 0)) {
    rule.warn(key, "has no effect: a range of which one end is 0 matches every port");
  }
}

/* Of the addresses that are good alone: one that is refused is not open. */
void warn_of_open_address(Object& rule, const l3_ip6_filter_entry& entry, bool source_is_good,
                          bool destination_is_good) {
  const bool source_is_open = source_is_good && address_text(entry.src_ip) == "any";
  const bool destination_is_open = destination_is_good && address_text(entry.dst_ip) == "any";
  if (source_is_open || destination_is_open) {
    rule.warn(source_is_open ? "source" : "destination",
              "is open, so this rule matches no packet: an IPv6 rule needs both addresses");
  }
}

void warn_of_open_address(Object&, const l3_ip_filter_entry&, bool, bool) {}

template <typename Entry>
void read_rule(Entry& entry, const Source& source) {
  Object rule(source.node, source.path, source.problems);
  Addresses<Entry> addresses(rule, source);
  rule.word("direction", directions, entry.direction, Need::required);
  const bool protocol_is_good = rule.word("protocol", protocols, entry.protocol, Need::required);
  const bool has_ports = !protocol_is_good || entry.protocol == 6 || entry.protocol == 17;
  const bool source_is_good = addresses.read("source", entry.src_ip);
  const bool destination_is_good = addresses.read("destination", entry.dst_ip);
  read_ports(rule, "source_ports", has_ports, entry.src_port_s, entry.src_port_e);
  read_ports(rule, "destination_ports", has_ports, entry.dst_port_s, entry.dst_port_e);
  rule.number("index", entry.index);
  addresses.read("second_source", entry.src_ip_2);
  addresses.read("second_destination", entry.dst_ip_2);
  rule.number("reserved", entry.reserved);
  warn_of_open_address(rule, entry, source_is_good, destination_is_good);
  rule.end();
}

template <typename Entry>
Json write_rule(const Entry& entry) {
  Json rule;
  rule["direction"] = entry.direction == 0 ? "upstream" : "downstream";
  rule["protocol"] = word_of(protocols, entry.protocol);
  const auto unless_any = [&rule](const char* key, const std::string& text) {
    if (text != "any") {
      rule[key] = text;
    }
  };
  unless_any("source", address_text(entry.src_ip));
  unless_any("destination", address_text(entry.dst_ip));
  unless_any("source_ports", ports_text({entry.src_port_s, entry.src_port_e}));
  unless_any("destination_ports", ports_text({entry.dst_port_s, entry.dst_port_e}));
  write_unless_zero(rule, "index", entry.index);
  unless_any("second_source", address_text(entry.src_ip_2));
  unless_any("second_destination", address_text(entry.dst_ip_2));
  write_unless_zero(rule, "reserved", entry.reserved);
  return rule;
}

template <typename Region>
void read_filter(const Source& source, std::optional<Region>& out) {
  Object object(source.node, source.path, source.problems);
  Region filter{};
  bool enabled = true;
  object.flag("enabled", enabled, Need::required);
  filter.ip_filter_ctrl = enabled ? 0 : 1;  // The record's switch is the other way round.
  object.word("upstream", list_modes, filter.us_black_white);
  object.word("downstream", list_modes, filter.ds_black_white);
  read_entries(object, "rules", filter,
               [&](auto& entry, const Node& node, const std::string& path) {
                 read_rule(entry, {node, path, source.problems});
               });
  object.end();
  out = filter;
}

template <typename Region>
Json write_filter(const std::optional<Region>& filter) {
  if (!filter) {
    return nullptr;
  }
  Json object;
  object["enabled"] = filter->ip_filter_ctrl == 0;
  object["upstream"] = filter->us_black_white == 0 ? "black-list" : "white-list";
  object["downstream"] = filter->ds_black_white == 0 ? "black-list" : "white-list";
  object["rules"] = Json::array();
  for (const auto& entry : used_entries(*filter)) {
    object["rules"].push_back(write_rule(entry));
  }
  return object;
}

}  // namespace

void read_ip_filter(const Source& source, Settings& settings) {
  read_filter(source, settings.ip_filter);
}

Json write_ip_filter(const Settings& settings) {
  return write_filter(settings.ip_filter);
}

void read_ip6_filter(const Source& source, Settings& settings) {
  read_filter(source, settings.ip6_filter);
}

Json write_ip6_filter(const Settings& settings) {
  return write_filter(settings.ip6_filter);
}

}  // namespace settings
