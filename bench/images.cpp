#include "images.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace bench {

namespace {

template <typename Region>
int32_t at_most(const Region& region, int32_t entries) {
  return std::min(entries, static_cast<int32_t>(std::size(region.entries)));
}

uint8_t byte(int32_t number) {
  return static_cast<uint8_t>(number);
}

uint32_t word(int32_t number) {
  return static_cast<uint32_t>(number);
}

/* 2001:db8::<last>, or fd00:1::<last> of the LAN. */
void write_address(uint8_t (&address)[16], bool lan, int32_t last) {
  const uint8_t prefix[] = {0x20, 0x01, 0x0d, 0xb8};
  const uint8_t lan_prefix[] = {0xfd, 0x00, 0x00, 0x01};
  memcpy(address, lan ? lan_prefix : prefix, sizeof(prefix));
  address[15] = byte(last);
}

/* 02:00:00:00:02:<last> */
void write_mac(uint8_t (&mac)[6], int32_t last) {
  const uint8_t prefix[] = {0x02, 0x00, 0x00, 0x00, 0x02};
  memcpy(mac, prefix, sizeof(prefix));
  mac[5] = byte(last);
}

template <typename Entry>
void set_span(Entry& entry) {
  entry.start_hour = 8;
  entry.start_minute = 30;
  entry.stop_hour = 13;
  entry.stop_minute = 45;
}

}  // namespace

l3_ip_filter ip_filter(int32_t entries) {
  l3_ip_filter region = {};
  region.count = at_most(region, entries);
  for (int32_t i = 0; i < region.count; ++i) {
    l3_ip_filter_entry& entry = region.entries[i];
    entry.index = word(i);
    entry.protocol = 6;
    entry.src_ip = 0xc0a80164 + word(i);
    entry.dst_ip = 0xcb007102;
    entry.dst_port_s = 8000;
    entry.dst_port_e = 8080;
  }
  return region;
}

l3_ip6_filter ip6_filter(int32_t entries) {
  l3_ip6_filter region = {};
  region.count = at_most(region, entries);
  for (int32_t i = 0; i < region.count; ++i) {
    l3_ip6_filter_entry& entry = region.entries[i];
    entry.index = word(i);
    entry.protocol = 6;
    write_address(entry.src_ip, true, 100 + i);
    write_address(entry.dst_ip, false, 2);
    entry.dst_port_s = 8000;
    entry.dst_port_e = 8080;
  }
  return region;
}

l3_url_filter url_filter(int32_t entries) {
  l3_url_filter region = {};
  region.url_filter_ctrl = 1;
  region.count = at_most(region, entries);
  for (int32_t i = 0; i < region.count; ++i) {
    l3_url_entry& entry = region.entries[i];
    entry.url_enable = 1;
    snprintf(entry.url, sizeof(entry.url), "site%02d.example.org", i);
    set_span(entry);
  }
  return region;
}

l3_mac_filter mac_filter(int32_t entries) {
  l3_mac_filter region = {};
  region.mac_filter_ctrl = 1;
  region.count = at_most(region, entries);
  for (int32_t i = 0; i < region.count; ++i) {
    region.entries[i].mac_enable = 1;
    write_mac(region.entries[i].mac, i);
    set_span(region.entries[i]);
  }
  return region;
}

l3_dhcp_filter dhcp_filter(int32_t entries) {
  l3_dhcp_filter region = {};
  region.dhcp_mac_filter_ctrl = 1;
  region.count = at_most(region, entries);
  for (int32_t i = 0; i < region.count; ++i) {
    region.entries[i].dhcp_entry_flag = 1;
    write_mac(region.entries[i].mac, i);
  }
  return region;
}

l3_acl acl(int32_t entries) {
  l3_acl region = {};
  region.acl_filter_ctrl = 1;
  region.count = at_most(region, entries);
  for (int32_t i = 0; i < region.count; ++i) {
    region.entries[i] = {1, 1, 0, 0xc0a80164 + word(i), 0xc0a80164 + word(i)};
  }
  return region;
}

l3_acl acl_ranges(int32_t entries) {
  l3_acl region = acl(entries);
  for (int32_t i = 0; i < region.count; ++i) {
    const uint32_t network = 0xc0a80200 + (word(i) << 8);
    region.entries[i].src_ip0 = network + 10;
    region.entries[i].src_ip1 = network + 20;
  }
  return region;
}

l3_caporl captive_portal(int32_t entries) {
  l3_caporl region = {};
  region.caporl_filter_ctrl = 1;
  region.count = at_most(region, entries);
  for (int32_t i = 0; i < region.count; ++i) {
    region.entries[i].caporl_enable = 1;
    snprintf(region.entries[i].caporl_ip, sizeof(region.entries[i].caporl_ip), "203.0.113.%d",
             100 + i);
  }
  return region;
}

void fill_records(int32_t entries) {
  fw_rules_table = {};
  fw_rules_table.ip_filter = ip_filter(entries);
  fw_rules_table.url_filter = url_filter(entries);
  fw_rules_table.anti_port_scan = 1;
  fw_rules_table.ipsec_pass_ctrl = 1;
  fw_rules_table.mac_filter = mac_filter(entries);
  fw_rules_table.dhcp_filter = dhcp_filter(entries);
  fw_rules_table.acl = acl(entries);
  fw_rules_table.caporl = captive_portal(entries);
  fw6_rules_table = {};
  fw6_rules_table.ip_filter = ip6_filter(entries);
  fw6_rules_table.ipsec_pass_ctrl = 1;
  fw6_rules_table.mac_filter = mac_filter(entries);
}

}  // namespace bench
