#include "settings/stored_file/stored_file.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "settings/stored_file/findings.hpp"

namespace settings {

namespace {

constexpr std::string_view vpn_key = "vpn_pass_through=";
constexpr std::string_view firewall_key = "fire_wall=";

uint32_t swapped(uint32_t value) {
  return value << 24 | (value & 0xFF00) << 8 | (value >> 8 & 0xFF00) | value >> 24;
}

void swap_words(std::string& image) {
  for (const StoredField& field : stored_fields()) {
    if (is_word(field.member->kind)) {
      const uint32_t value = swapped(word_at(image, field.offset));
      std::memcpy(image.data() + field.offset, &value, sizeof value);
    }
  }
}

/* Whether a word of few values may have this one; zero and free words speak for neither order. */
bool speaks_for_order(const StoredField& field, uint32_t value) {
  const FieldKind kind = field.member->kind;
  if (kind == FieldKind::count) {
    return value <= field.section->capacity;
  }
  if (kind == FieldKind::port) {
    return value <= 65535;
  }
  const auto words = words_of(kind);
  return std::any_of(words.begin(), words.end(),
                     [value](const Word& word) { return word.value == value; });
}

/* Whether the two value bytes behind `offset` are those of a switch that is on. */
bool is_on(std::string_view image, size_t offset) {
  return image.substr(offset, 2) == "1\n";
}

template <typename Region>
Region region_at(std::string_view image, size_t offset) {
  Region region;
  std::memcpy(&region, image.data() + offset, sizeof region);
  return region;
}

}  // namespace

ByteOrder host_byte_order() {
  return std::endian::native == std::endian::big ? ByteOrder::big : ByteOrder::little;
}

ByteOrder byte_order_of(std::string_view bytes) {
  size_t as_is = 0;
  size_t other_way = 0;
  for (const StoredField& field : stored_fields()) {
    if (!is_word(field.member->kind) || field.offset + sizeof(uint32_t) > bytes.size()) {
      continue;
    }
    if (const uint32_t value = word_at(bytes, field.offset); value != 0) {
      as_is += speaks_for_order(field, value) ? 1 : 0;
      other_way += speaks_for_order(field, swapped(value)) ? 1 : 0;
    }
  }
  if (as_is == other_way) {
    return ByteOrder::unknown;
  }
  const bool is_little = (as_is > other_way) == (host_byte_order() == ByteOrder::little);
  return is_little ? ByteOrder::little : ByteOrder::big;
}

StoredFile read_stored_file(std::string_view bytes) {
  return read_stored_file(bytes, byte_order_of(bytes));
}

StoredFile read_stored_file(std::string_view bytes, ByteOrder order) {
  StoredFile file{order, bytes.size(), std::string(bytes.substr(0, stored_size)), {}};
  file.image.resize(stored_size, '\0');
  if (order != ByteOrder::unknown && order != host_byte_order()) {
    swap_words(file.image);
  }
  file.findings = findings_of(file, bytes);
  return file;
}

bool is_plausible(const StoredFile& file) {
  return std::all_of(file.findings.begin(), file.findings.end(), [](const StoredFinding& finding) {
    return finding.kind == StoredFinding::Kind::note;
  });
}

Settings settings_of(const StoredFile& file) {
  const auto fw = region_at<l3_fw_rules>(file.image, fw_offset);
  const auto qos = region_at<l3_route_qos>(file.image, qos_offset);
  const auto fw6 = region_at<l3_fw6_rules>(file.image, fw6_offset);
  Settings settings;
  settings.firewall = firewall_of(file.image);
  settings.port_scan_protection = fw.anti_port_scan != 0;
  settings.ipsec_pass_through = fw.ipsec_pass_ctrl != 0;
  settings.vpn_pass_through = vpn_of(file.image);
  settings.ip_filter = fw.ip_filter;
  settings.ip6_filter = fw6.ip_filter;
  settings.url_filter = fw.url_filter;
  settings.mac_filter = fw.mac_filter;
  settings.mac6_filter = fw6.mac_filter;
  settings.dhcp_filter = fw.dhcp_filter;
  settings.acl = fw.acl;
  settings.captive_portal = fw.caporl;
  settings.route_qos_enabled = qos.control != 0;
  settings.route_qos_rules = qos.rules;
  return settings;
}

bool vpn_of(std::string_view image) {
  return is_on(image, vpn_line_offset + vpn_key.size());
}

bool firewall_of(std::string_view image) {
  return is_on(image, firewall_line_offset + firewall_key.size());
}

std::string with_clean_lines(std::string_view image) {
  std::string lines(vpn_key);
  lines += vpn_of(image) ? "1\n" : "0\n";
  lines += firewall_key;
  lines += firewall_of(image) ? "1\n" : "0\n";
  return lines.append(image.substr(lines.size()));
}

}  // namespace settings
