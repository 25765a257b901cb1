#include "settings/stored_file/layout.hpp"

#include <algorithm>
#include <cstring>

#include "l3_advance/records.h"
#include "settings/document.hpp"

namespace settings {

namespace {

using enum FieldKind;

#define MEMBER(type, name, kind)                          \
  Member {                                                \
#name, offsetof(type, name), sizeof(type::name), kind \
  }

constexpr Member ip_entry[] = {MEMBER(l3_ip_filter_entry, reserved, number),
                               MEMBER(l3_ip_filter_entry, index, number),
                               MEMBER(l3_ip_filter_entry, protocol, protocol),
                               MEMBER(l3_ip_filter_entry, dst_ip, ipv4),
                               MEMBER(l3_ip_filter_entry, dst_ip_2, ipv4),
                               MEMBER(l3_ip_filter_entry, dst_port_s, port),
                               MEMBER(l3_ip_filter_entry, dst_port_e, port),
                               MEMBER(l3_ip_filter_entry, src_ip, ipv4),
                               MEMBER(l3_ip_filter_entry, src_ip_2, ipv4),
                               MEMBER(l3_ip_filter_entry, src_port_s, port),
                               MEMBER(l3_ip_filter_entry, src_port_e, port),
                               MEMBER(l3_ip_filter_entry, direction, down_if_set)};
constexpr Member ip6_entry[] = {MEMBER(l3_ip6_filter_entry, reserved, number),
                                MEMBER(l3_ip6_filter_entry, index, number),
                                MEMBER(l3_ip6_filter_entry, protocol, protocol),
                                MEMBER(l3_ip6_filter_entry, dst_ip, ipv6),
                                MEMBER(l3_ip6_filter_entry, dst_ip_2, ipv6),
                                MEMBER(l3_ip6_filter_entry, dst_port_s, port),
                                MEMBER(l3_ip6_filter_entry, dst_port_e, port),
                                MEMBER(l3_ip6_filter_entry, src_ip, ipv6),
                                MEMBER(l3_ip6_filter_entry, src_ip_2, ipv6),
                                MEMBER(l3_ip6_filter_entry, src_port_s, port),
                                MEMBER(l3_ip6_filter_entry, src_port_e, port),
                                MEMBER(l3_ip6_filter_entry, direction, down_if_set)};
constexpr Member url_entry[] = {MEMBER(l3_url_entry, url_enable, on_if_set),
                                MEMBER(l3_url_entry, url_reserved, number),
                                MEMBER(l3_url_entry, url, text),
                                MEMBER(l3_url_entry, start_hour, hour_or_minute),
                                MEMBER(l3_url_entry, stop_hour, hour_or_minute),
                                MEMBER(l3_url_entry, start_minute, hour_or_minute),
                                MEMBER(l3_url_entry, stop_minute, hour_or_minute)};
constexpr Member mac_entry[] = {MEMBER(l3_mac_entry, mac_enable, on_if_set),
                                MEMBER(l3_mac_entry, mac, mac),
                                MEMBER(l3_mac_entry, mac_reserved, bytes),
                                MEMBER(l3_mac_entry, start_hour, hour_or_minute),
                                MEMBER(l3_mac_entry, stop_hour, hour_or_minute),
                                MEMBER(l3_mac_entry, start_minute, hour_or_minute),
                                MEMBER(l3_mac_entry, stop_minute, hour_or_minute)};
constexpr Member dhcp_entry[] = {MEMBER(l3_dhcp_entry, dhcp_entry_flag, number),
                                 MEMBER(l3_dhcp_entry, mac, mac),
                                 MEMBER(l3_dhcp_entry, reserved, bytes)};
constexpr Member acl_entry[] = {
    MEMBER(l3_acl_entry, allocated, on_if_set), MEMBER(l3_acl_entry, app_type, service),
    MEMBER(l3_acl_entry, direction, wan_if_set), MEMBER(l3_acl_entry, src_ip0, ipv4),
    MEMBER(l3_acl_entry, src_ip1, ipv4)};
constexpr Member portal_entry[] = {MEMBER(l3_caporl_entry, caporl_enable, on_if_set),
                                   MEMBER(l3_caporl_entry, caporl_ip, text)};

constexpr Member ip_words[] = {MEMBER(l3_ip_filter, count, count),
                               MEMBER(l3_ip_filter, us_black_white, white_if_set),
                               MEMBER(l3_ip_filter, ds_black_white, white_if_set),
                               MEMBER(l3_ip_filter, ip_filter_ctrl, off_if_set)};
constexpr Member ip6_words[] = {MEMBER(l3_ip6_filter, count, count),
                                MEMBER(l3_ip6_filter, us_black_white, white_if_set),
                                MEMBER(l3_ip6_filter, ds_black_white, white_if_set),
                                MEMBER(l3_ip6_filter, ip_filter_ctrl, off_if_set)};
constexpr Member url_words[] = {MEMBER(l3_url_filter, count, count),
                                MEMBER(l3_url_filter, url_black_white, white_if_set),
                                MEMBER(l3_url_filter, url_filter_ctrl, on_if_set)};
constexpr Member mac_words[] = {MEMBER(l3_mac_filter, count, count),
                                MEMBER(l3_mac_filter, mac_black_white, white_if_one),
                                MEMBER(l3_mac_filter, mac_filter_ctrl, on_if_set)};
constexpr Member dhcp_words[] = {MEMBER(l3_dhcp_filter, count, count),
                                 MEMBER(l3_dhcp_filter, dhcp_black_white, white_if_one),
                                 MEMBER(l3_dhcp_filter, dhcp_mac_filter_ctrl, on_if_set)};
constexpr Member acl_words[] = {MEMBER(l3_acl, count, count),
                                MEMBER(l3_acl, acl_filter_ctrl, on_if_set)};
constexpr Member portal_words[] = {MEMBER(l3_caporl, count, count),
                                   MEMBER(l3_caporl, caporl_filter_ctrl, on_if_set)};

/* Words between the regions; their section begins where their record does. */
constexpr Member fw_switches[] = {MEMBER(l3_fw_rules, anti_port_scan, on_if_set),
                                  MEMBER(l3_fw_rules, ipsec_pass_ctrl, on_if_set)};
constexpr Member fw_level[] = {MEMBER(l3_fw_rules, security_level, level)};
constexpr Member fw6_switches[] = {MEMBER(l3_fw6_rules, anti_port_scan, on_if_set),
                                   MEMBER(l3_fw6_rules, ipsec_pass_ctrl, on_if_set)};
constexpr Member fw6_level[] = {MEMBER(l3_fw6_rules, security_level, level),
                                MEMBER(l3_fw6_rules, reserved, number)};
constexpr Member qos_switch[] = {MEMBER(l3_route_qos, control, on_if_set)};
constexpr Member qos_rules[] = {
    MEMBER(l3_qos_rules, RulesNum, number),
    MEMBER(l3_qos_rules, control, number),
    MEMBER(l3_qos_rules, QoSType, number),
    MEMBER(l3_qos_rules, reserved0, number),
    MEMBER(l3_qos_rules, Protocol, number),
    MEMBER(l3_qos_rules, SrcIp, ipv4),
    {"reserved1[0]", offsetof(l3_qos_rules, reserved1), sizeof(uint32_t), number},
    {"reserved1[1]", offsetof(l3_qos_rules, reserved1) + sizeof(uint32_t), sizeof(uint32_t),
     number},
    MEMBER(l3_qos_rules, DstIp, ipv4),
    MEMBER(l3_qos_rules, reserved2, bytes)};

#undef MEMBER

#define IN_FW(region) fw_offset, fw_offset + offsetof(l3_fw_rules, region)
#define IN_FW6(region) fw6_offset, fw6_offset + offsetof(l3_fw6_rules, region)
#define ENTRIES(region, members) \
  members, sizeof(region::entries[0]), std::size(decltype(region::entries){})

constexpr StoredSection section_table[] = {
    {"fw_rules_table.ip_filter", "ip_filter", IN_FW(ip_filter), ip_words,
     ENTRIES(l3_ip_filter, ip_entry)},
    {"fw_rules_table.url_filter", "url_filter", IN_FW(url_filter), url_words,
     ENTRIES(l3_url_filter, url_entry)},
    {"fw_rules_table", nullptr, fw_offset, fw_offset, fw_switches},
    {"fw_rules_table.mac_filter", "mac_filter", IN_FW(mac_filter), mac_words,
     ENTRIES(l3_mac_filter, mac_entry)},
    {"fw_rules_table.dhcp_filter", "dhcp_filter", IN_FW(dhcp_filter), dhcp_words,
     ENTRIES(l3_dhcp_filter, dhcp_entry)},
    {"fw_rules_table.acl", "acl", IN_FW(acl), acl_words, ENTRIES(l3_acl, acl_entry)},
    {"fw_rules_table.caporl", "captive_portal", IN_FW(caporl), portal_words,
     ENTRIES(l3_caporl, portal_entry)},
    {"fw_rules_table", nullptr, fw_offset, fw_offset, fw_level},
    {"RtQoSRulesTable", "route_qos", qos_offset, qos_offset, qos_switch},
    {"RtQoSRulesTable.rules", "route_qos", qos_offset, qos_offset + offsetof(l3_route_qos, rules),
     qos_rules},
    {"fw6_rules_table.ip_filter", "ip6_filter", IN_FW6(ip_filter), ip6_words,
     ENTRIES(l3_ip6_filter, ip6_entry)},
    {"fw6_rules_table.url_filter", nullptr, IN_FW6(url_filter), url_words,
     ENTRIES(l3_url_filter, url_entry)},
    {"fw6_rules_table", nullptr, fw6_offset, fw6_offset, fw6_switches},
    {"fw6_rules_table.mac_filter", "mac6_filter", IN_FW6(mac_filter), mac_words,
     ENTRIES(l3_mac_filter, mac_entry)},
    {"fw6_rules_table.dhcp_filter", nullptr, IN_FW6(dhcp_filter), dhcp_words,
     ENTRIES(l3_dhcp_filter, dhcp_entry)},
    {"fw6_rules_table.acl", nullptr, IN_FW6(acl), acl_words, ENTRIES(l3_acl, acl_entry)},
    {"fw6_rules_table.caporl", nullptr, IN_FW6(caporl), portal_words,
     ENTRIES(l3_caporl, portal_entry)},
    {"fw6_rules_table", nullptr, fw6_offset, fw6_offset, fw6_level},
};

#undef IN_FW
#undef IN_FW6
#undef ENTRIES

static_assert(qos_offset == fw_offset + sizeof(l3_fw_rules));
static_assert(fw6_offset == qos_offset + sizeof(l3_route_qos));
static_assert(stored_size == fw6_offset + sizeof(l3_fw6_rules));

constexpr Word on_if_set_words[] = {{"off", 0}, {"on", 1}};
constexpr Word off_if_set_words[] = {{"on", 0}, {"off", 1}};

void add_fields(std::vector<StoredField>& fields, const StoredSection& section,
                std::span<const Member> members) {
  for (const Member& member : members) {
    fields.push_back({&section, &member, -1, section.offset + member.offset});
  }
}

std::string word_in_words(FieldKind kind, uint32_t value) {
  const std::span<const Word> words = words_of(kind);
  for (const Word& word : words) {
    if (word.value == value) {
      return word.text;
    }
  }
  const std::string number = std::to_string(value);
  switch (kind) {
    case count:
      return std::to_string(static_cast<int32_t>(value));
    case ipv4:
      return ipv4_text(value);
    case protocol:
    case service:
    case level:
      return number + ", which has no meaning";
    default:
      // Of the switches and modes every other value counts as one of the two.
      return words.empty() ? number
                           : number + ", taken as " + words[kind == white_if_one ? 0 : 1].text;
  }
}

}  // namespace

std::span<const Word> words_of(FieldKind kind) {
  switch (kind) {
    case on_if_set:
      return on_if_set_words;
    case off_if_set:
      return off_if_set_words;
    case white_if_set:
    case white_if_one:
      return list_modes;
    case down_if_set:
      return directions;
    case wan_if_set:
      return sides;
    case protocol:
      return protocols;
    case service:
      return services;
    case level:
      return security_levels;
    default:
      return {};
  }
}

std::span<const StoredSection> stored_sections() {
  return section_table;
}

std::vector<StoredField> stored_fields() {
  std::vector<StoredField> fields;
  for (const StoredSection& section : section_table) {
    const bool has_entries = section.capacity != 0;
    add_fields(fields, section, section.words.first(has_entries ? 1 : section.words.size()));
    for (size_t i = 0; i < section.capacity; ++i) {
      for (const Member& member : section.entry) {
        fields.push_back(
            {&section, &member, static_cast<int>(i), section.entry_offset(i) + member.offset});
      }
    }
    add_fields(fields, section, section.words.subspan(has_entries ? 1 : section.words.size()));
  }
  return fields;
}

std::string name_of(const StoredField& field) {
  const std::string entry = field.entry < 0 ? "" : ".entries[" + std::to_string(field.entry) + "]";
  return field.section->name + entry + "." + field.member->name;
}

std::string meaning_of(const StoredField& field, std::string_view image) {
  const Member& member = *field.member;
  const std::string_view value = image.substr(field.offset, member.size);
  const auto* bytes = reinterpret_cast<const uint8_t*>(value.data());
  switch (member.kind) {
    case ipv6:
      return ipv6_text(std::span<const uint8_t, 16>(bytes, 16));
    case mac:
      return mac_text(std::span<const uint8_t, 6>(bytes, 6));
    case text:
      // A quoted text of printable characters; other bytes are escaped.
      return shown(
          {.kind = Node::Kind::text, .text = std::string(value.substr(0, value.find('\0')))});
    case hour_or_minute:
      return std::to_string(*bytes);
    case FieldKind::bytes:
      return hex_text(std::span(bytes, member.size));
    default:
      return word_in_words(member.kind, word_at(image, field.offset));
  }
}

uint32_t word_at(std::string_view image, size_t offset) {
  uint32_t value = 0;
  std::memcpy(&value, image.data() + offset, sizeof value);
  return value;
}

size_t used_entries(const StoredSection& section, std::string_view image) {
  const auto count = static_cast<int32_t>(word_at(image, section.offset));
  return section.capacity == 0 || count <= 0
             ? 0
             : std::min(static_cast<size_t>(count), section.capacity);
}

}  // namespace settings
