#include "images.hpp"

#include <iterator>

namespace fuzz {

namespace {

void fill_entry(Input& input, l3_ip_filter_entry& entry) {
  for (uint32_t* word : {&entry.protocol, &entry.direction, &entry.src_ip, &entry.dst_ip,
                         &entry.src_port_s, &entry.src_port_e, &entry.dst_port_s, &entry.dst_port_e,
                         &entry.reserved, &entry.index, &entry.dst_ip_2, &entry.src_ip_2}) {
    *word = input.word();
  }
}

void fill_entry(Input& input, l3_ip6_filter_entry& entry) {
  entry.protocol = input.word();
  entry.direction = input.word();
  input.bytes(entry.src_ip);
  input.bytes(entry.dst_ip);
  for (uint32_t* word : {&entry.src_port_s, &entry.src_port_e, &entry.dst_port_s, &entry.dst_port_e,
                         &entry.reserved, &entry.index}) {
    *word = input.word();
  }
  input.bytes(entry.dst_ip_2);
  input.bytes(entry.src_ip_2);
}

void fill_entry(Input& input, l3_url_entry& entry) {
  entry.url_enable = input.word();
  entry.url_reserved = input.word();
  input.bytes(entry.url);
  for (uint8_t* byte :
       {&entry.start_hour, &entry.start_minute, &entry.stop_hour, &entry.stop_minute}) {
    *byte = input.byte();
  }
}

void fill_entry(Input& input, l3_mac_entry& entry) {
  entry.mac_enable = input.word();
  input.bytes(entry.mac);
  for (uint8_t* byte :
       {&entry.start_hour, &entry.start_minute, &entry.stop_hour, &entry.stop_minute}) {
    *byte = input.byte();
  }
  input.bytes(entry.mac_reserved);
}

void fill_entry(Input& input, l3_dhcp_entry& entry) {
  entry.dhcp_entry_flag = input.word();
  input.bytes(entry.mac);
  input.bytes(entry.reserved);
}

void fill_entry(Input& input, l3_acl_entry& entry) {
  for (uint32_t* word :
       {&entry.allocated, &entry.app_type, &entry.direction, &entry.src_ip0, &entry.src_ip1}) {
    *word = input.word();
  }
}

void fill_entry(Input& input, l3_caporl_entry& entry) {
  entry.caporl_enable = input.word();
  input.bytes(entry.caporl_ip);
}

template <typename Region>
void fill_list(Input& input, Region& image) {
  image.count = static_cast<int32_t>(input.word());
  const size_t given = input.byte() % (std::size(image.entries) + 1);
  for (size_t i = 0; i < given; ++i) {
    fill_entry(input, image.entries[i]);
  }
}

template <typename IpFilter>
void fill_ip_filter(Input& input, IpFilter& image) {
  image.us_black_white = input.word();
  image.ds_black_white = input.word();
  image.ip_filter_ctrl = input.word();
  fill_list(input, image);
}

}  // namespace

void fill(Input& input, l3_ip_filter& image) {
  fill_ip_filter(input, image);
}

void fill(Input& input, l3_ip6_filter& image) {
  fill_ip_filter(input, image);
}

void fill(Input& input, l3_url_filter& image) {
  image.url_black_white = input.word();
  image.url_filter_ctrl = input.word();
  fill_list(input, image);
}

void fill(Input& input, l3_mac_filter& image) {
  image.mac_black_white = input.word();
  image.mac_filter_ctrl = input.word();
  fill_list(input, image);
}

void fill(Input& input, l3_dhcp_filter& image) {
  image.dhcp_black_white = input.word();
  image.dhcp_mac_filter_ctrl = input.word();
  fill_list(input, image);
}

void fill(Input& input, l3_acl& image) {
  image.acl_filter_ctrl = input.word();
  fill_list(input, image);
}

void fill(Input& input, l3_caporl& image) {
  image.caporl_filter_ctrl = input.word();
  fill_list(input, image);
}

void fill(Input& input, l3_qos_rules& image) {
  image.RulesNum = static_cast<int32_t>(input.word());
  for (uint32_t* word :
       {&image.control, &image.QoSType, &image.Protocol, &image.SrcIp, &image.DstIp}) {
    *word = input.word();
  }
  input.bytes(image.reserved2);
}

}  // namespace fuzz
