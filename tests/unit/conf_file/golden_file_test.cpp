/* The golden configuration files, made without the library, against what it reads and writes. */
#include <bit>

#include "configuration_file_calls.hpp"

using namespace harness;
using namespace configuration_file;

namespace {

enum class Order { native, foreign };

std::string golden(const std::string& name, Order order = Order::native) {
  const bool big = (std::endian::native == std::endian::big) == (order == Order::native);
  return read_file(TEST_DATA "/golden-" + name + (big ? "-big" : "-little") + "-endian.dat");
}

/*
 * Visits every member of the records in file order, a word or bytes at a time. Names, not offsets:
 * offsets are those of the golden files.
 */
template <typename Visitor>
void visit(l3_ip_filter_entry& entry, Visitor& visitor) {
  for (uint32_t* word : {&entry.reserved, &entry.index, &entry.protocol, &entry.dst_ip,
                         &entry.dst_ip_2, &entry.dst_port_s, &entry.dst_port_e, &entry.src_ip,
                         &entry.src_ip_2, &entry.src_port_s, &entry.src_port_e, &entry.direction}) {
    visitor.word(*word);
  }
}

template <typename Visitor>
void visit(l3_ip6_filter_entry& entry, Visitor& visitor) {
  visitor.word(entry.reserved);
  visitor.word(entry.index);
  visitor.word(entry.protocol);
  visitor.bytes(entry.dst_ip);
  visitor.bytes(entry.dst_ip_2);
  visitor.word(entry.dst_port_s);
  visitor.word(entry.dst_port_e);
  visitor.bytes(entry.src_ip);
  visitor.bytes(entry.src_ip_2);
  visitor.word(entry.src_port_s);
  visitor.word(entry.src_port_e);
  visitor.word(entry.direction);
}

template <typename Entry, typename Visitor>
void visit_span(Entry& entry, Visitor& visitor) {
  visitor.byte(entry.start_hour);
  visitor.byte(entry.stop_hour);
  visitor.byte(entry.start_minute);
  visitor.byte(entry.stop_minute);
}

template <typename Record, typename Visitor>
void visit_firewall(Record& record, Visitor& visitor) {
  visitor.word(record.ip_filter.count);
  for (auto& entry : record.ip_filter.entries) {
    visit(entry, visitor);
  }
  visitor.word(record.ip_filter.us_black_white);
  visitor.word(record.ip_filter.ds_black_white);
  visitor.word(record.ip_filter.ip_filter_ctrl);
  visitor.word(record.url_filter.count);
  for (l3_url_entry& entry : record.url_filter.entries) {
    visitor.word(entry.url_enable);
    visitor.word(entry.url_reserved);
    visitor.bytes(entry.url);
    visit_span(entry, visitor);
  }
  visitor.word(record.url_filter.url_black_white);
  visitor.word(record.url_filter.url_filter_ctrl);
  visitor.word(record.anti_port_scan);
  visitor.word(record.ipsec_pass_ctrl);
  visitor.word(record.mac_filter.count);
  for (l3_mac_entry& entry : record.mac_filter.entries) {
    visitor.word(entry.mac_enable);
    visitor.bytes(entry.mac);
    visitor.bytes(entry.mac_reserved);
    visit_span(entry, visitor);
  }
  visitor.word(record.mac_filter.mac_black_white);
  visitor.word(record.mac_filter.mac_filter_ctrl);
  visitor.word(record.dhcp_filter.count);
  for (l3_dhcp_entry& entry : record.dhcp_filter.entries) {
    visitor.word(entry.dhcp_entry_flag);
    visitor.bytes(entry.mac);
    visitor.bytes(entry.reserved);
  }
  visitor.word(record.dhcp_filter.dhcp_black_white);
  visitor.word(record.dhcp_filter.dhcp_mac_filter_ctrl);
  visitor.word(record.acl.count);
  for (l3_acl_entry& entry : record.acl.entries) {
    visitor.word(entry.allocated);
    visitor.word(entry.app_type);
    visitor.word(entry.direction);
    visitor.word(entry.src_ip0);
    visitor.word(entry.src_ip1);
  }
  visitor.word(record.acl.acl_filter_ctrl);
  visitor.word(record.caporl.count);
  for (l3_caporl_entry& entry : record.caporl.entries) {
    visitor.word(entry.caporl_enable);
    visitor.bytes(entry.caporl_ip);
  }
  visitor.word(record.caporl.caporl_filter_ctrl);
  visitor.word(record.security_level);
}

template <typename Visitor>
void visit_all(Visitor& visitor) {
  visit_firewall(fw_rules_table, visitor);
  l3_qos_rules& rules = RtQoSRulesTable.rules;
  visitor.word(RtQoSRulesTable.control);
  visitor.word(rules.RulesNum);
  for (uint32_t* word : {&rules.control, &rules.QoSType, &rules.reserved0, &rules.Protocol,
                         &rules.SrcIp, &rules.reserved1[0], &rules.reserved1[1], &rules.DstIp}) {
    visitor.word(*word);
  }
  visitor.bytes(rules.reserved2);
  visit_firewall(fw6_rules_table, visitor);
  visitor.word(fw6_rules_table.reserved);
}

/* Gives every member the value that its place in the file asks for. */
struct Distinct {
  uint32_t offset = 31;

  uint32_t next(uint32_t size) {
    const uint32_t value = offset * 0x9E3779B1U;
    offset += size;
    return value;
  }
  template <typename Word>
  void word(Word& word) {
    word = static_cast<Word>(next(4));
  }
  template <typename Byte>
  void byte(Byte& byte) {
    byte = static_cast<Byte>(next(1) >> 24);
  }
  template <typename Byte, size_t size>
  void bytes(Byte (&bytes)[size]) {
    for (Byte& one : bytes) {
      byte(one);
    }
  }
};

/* Turns every word round. */
struct Swap {
  template <typename Word>
  static void word(Word& word) {
    word = static_cast<Word>(__builtin_bswap32(static_cast<uint32_t>(word)));
  }
  template <typename Byte>
  static void byte(Byte& /*byte*/) {}
  template <typename Byte, size_t size>
  static void bytes(Byte (&/*bytes*/)[size]) {}
};

/* Writes both switches and all three records into a missing file. */
void write_whole_file(uint32_t vpn, uint32_t firewall) {
  const std::string image = records();
  static_cast<void>(record([&] {
    EXPECT_EQ(init_cfgfile(), 0);
    memcpy(&fw_rules_table, image.data(), 6168);
    memcpy(&RtQoSRulesTable, image.data() + 6168, 248);
    memcpy(&fw6_rules_table, image.data() + 6416, 8572);
    EXPECT_EQ(set_vpn_pass_through_state_to_cfgfile(vpn), 0);
    EXPECT_EQ(set_firewall_state_to_cfgfile(firewall), 0);
    EXPECT_EQ(set_firewall_rules_to_cfgfile(), 0);
    EXPECT_EQ(set_qos_cfg_to_cfgfile(), 0);
  }));
}

void read_whole_file() {
  EXPECT_EQ(record([] {
              EXPECT_EQ(get_firewall_rules_from_cfgfile(), 0);
              EXPECT_EQ(get_qos_cfg_from_cfgfile(), 0);
            }),
            "");
}

void set_sample_ip_filters() {
  l3_ip_filter& ip = fw_rules_table.ip_filter;
  ip.count = 2;
  ip.entries[0] = {0, 1, 6, 0xCB007150, 0, 80, 88, 0xC0A8010A, 0, 0, 0, 0};
  ip.entries[1] = {0, 2, 17, 0, 0, 0, 0, 0xC6336407, 0, 5060, 5061, 1};
  ip.ds_black_white = 1;
  l3_ip6_filter& ip6 = fw6_rules_table.ip_filter;
  ip6.count = 1;
  ip6.entries[0].index = 1;
  ip6.entries[0].protocol = 6;
  memcpy(ip6.entries[0].src_ip, "\xfd\0\0\1\0\0\0\0\0\0\0\0\0\0\0\x10", 16);
  memcpy(ip6.entries[0].dst_ip, "\x20\1\x0d\xb8\0\1\0\0\0\0\0\0\0\0\0\2", 16);
  ip6.entries[0].dst_port_s = 443;
  ip6.entries[0].dst_port_e = 443;
}

void set_sample_lists() {
  fw_rules_table.url_filter.count = 2;
  fw_rules_table.url_filter.entries[0] = {1, 0, "ads.example.com", 0, 24, 0, 0};
  fw_rules_table.url_filter.entries[1] = {1, 0, "games.example.net", 16, 21, 0, 30};
  fw_rules_table.url_filter.url_filter_ctrl = 1;
  fw_rules_table.mac_filter.count = 1;
  fw_rules_table.mac_filter.entries[0] = {1, {0x02, 0, 0x5e, 0x10, 0, 1}, {}, 21, 6, 5, 45};
  fw_rules_table.mac_filter.mac_filter_ctrl = 1;
  fw6_rules_table.mac_filter.count = 1;
  fw6_rules_table.mac_filter.entries[0] = {1, {0x02, 0, 0x5e, 0x10, 0, 1}, {}, 0, 24, 0, 0};
  fw6_rules_table.mac_filter.mac_filter_ctrl = 1;
  fw_rules_table.dhcp_filter.count = 2;
  fw_rules_table.dhcp_filter.entries[0] = {1, {0x02, 0, 0x5e, 0x10, 0, 2}, {}};
  fw_rules_table.dhcp_filter.entries[1] = {1, {0x02, 0, 0x5e, 0x10, 0, 3}, {}};
  fw_rules_table.dhcp_filter.dhcp_black_white = 1;
  fw_rules_table.dhcp_filter.dhcp_mac_filter_ctrl = 1;
  fw_rules_table.acl.count = 2;
  fw_rules_table.acl.entries[0] = {1, 1, 0, 0xC0A80102, 0xC0A80109};
  fw_rules_table.acl.entries[1] = {1, 4, 1, 0xCB007102, 0xCB007102};
  fw_rules_table.acl.acl_filter_ctrl = 1;
  fw_rules_table.caporl.count = 1;
  fw_rules_table.caporl.entries[0] = {1, "192.168.1.1"};
  fw_rules_table.caporl.caporl_filter_ctrl = 1;
}

/* Settings as a home has them, member by member. */
void set_sample_config() {
  fill_records(0);
  set_sample_ip_filters();
  set_sample_lists();
  fw_rules_table.anti_port_scan = 1;
  fw_rules_table.ipsec_pass_ctrl = 1;
  fw_rules_table.security_level = 2;
  fw6_rules_table.ipsec_pass_ctrl = 1;
  fw6_rules_table.security_level = 2;
  RtQoSRulesTable.control = 1;
  RtQoSRulesTable.rules.RulesNum = 1;
  RtQoSRulesTable.rules.control = 1;
  RtQoSRulesTable.rules.QoSType = 0x2a;
  RtQoSRulesTable.rules.Protocol = 17;
  RtQoSRulesTable.rules.SrcIp = 0xC0A8010A;
  RtQoSRulesTable.rules.DstIp = 0xCB007102;
  memcpy(RtQoSRulesTable.rules.reserved2, "\x05\x00\x2e", 3);
}

}  // namespace

TEST(GoldenFile, AMissingFileBecomesTheFreshOne) {
  EXPECT_EQ(record([] { EXPECT_EQ(get_firewall_rules_from_cfgfile(), 0); }), "");
  EXPECT_EQ(read_file(config_path), golden("fresh"));
}

TEST(GoldenFile, BigEndianWordsHaveTheirOneInTheLastByte) {
  const Order order = std::endian::native == std::endian::big ? Order::native : Order::foreign;
  const std::string big = golden("fresh", order);
  EXPECT_EQ(big.substr(4663, 4), std::string("\0\0\0\1", 4));
  EXPECT_EQ(big.substr(13479, 4), std::string("\0\0\0\1", 4));
}

TEST(GoldenFile, EveryMemberIsWrittenWhereTheDistinctFileHasIt) {
  Distinct distinct;
  visit_all(distinct);
  EXPECT_EQ(distinct.offset, 15019U);
  write_whole_file(1, 1);
  EXPECT_EQ(read_file(config_path), golden("distinct"));
}

TEST(GoldenFile, EveryMemberIsReadFromWhereTheDistinctFileHasIt) {
  Distinct distinct;
  visit_all(distinct);
  const std::string expected = records();
  write_file(config_path, golden("distinct"));
  fill_records(0xee);
  read_whole_file();
  EXPECT_EQ(records(), expected);
}

TEST(GoldenFile, TheSampleSettingsAreWrittenAsTheGoldenFileHasThem) {
  set_sample_config();
  write_whole_file(1, 1);
  EXPECT_EQ(read_file(config_path), golden("sample"));
}

TEST(GoldenFile, TheSampleSettingsAreReadAsTheGoldenFileHasThem) {
  set_sample_config();
  const std::string expected = records();
  write_file(config_path, golden("sample"));
  fill_records(0xee);
  read_whole_file();
  EXPECT_EQ(records(), expected);
  uint8_t vpn = 7;
  uint8_t firewall = 7;
  static_cast<void>(record([&] {
    get_vpn_pass_through_state_from_cfgfile(&vpn);
    get_firewall_state_from_cfgfile(&firewall);
  }));
  EXPECT_EQ(vpn, 1);
  EXPECT_EQ(firewall, 1);
}

TEST(GoldenFile, TheOtherByteOrderDiffersInTheOrderOfItsWordsAlone) {
  for (const char* name : {"fresh", "distinct", "sample"}) {
    SCOPED_TRACE(name);
    const std::string foreign = golden(name, Order::foreign);
    EXPECT_NE(foreign, golden(name));
    write_file(config_path, foreign);
    read_whole_file();
    Swap swap;
    visit_all(swap);
    EXPECT_EQ(foreign.substr(0, 31) + records(), golden(name));
  }
}
