/* The layout of the three records and the exported globals. */
#include <cstddef>
#include <cstring>

#include "harness.hpp"

using namespace harness;

namespace {

template <typename Record, typename Member>
ptrdiff_t offset(const Record& record, const Member& member) {
  return reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&record);
}

}  // namespace

TEST(Records, SizesAreThoseOfTheFile) {
  EXPECT_EQ(sizeof(fw_rules_table), 6168U);
  EXPECT_EQ(sizeof(fw6_rules_table), 8572U);
  EXPECT_EQ(sizeof(RtQoSRulesTable), 248U);
  EXPECT_EQ(sizeof(arp_tbl), 45104U);
}

TEST(Records, RegionsAndEntriesHaveTheirSizes) {
  EXPECT_EQ(sizeof(fw_rules_table.ip_filter), 2416U);
  EXPECT_EQ(sizeof(fw_rules_table.ip_filter.entries), 50U * 48U);
  EXPECT_EQ(sizeof(fw_rules_table.url_filter), 2212U);
  EXPECT_EQ(sizeof(fw_rules_table.url_filter.entries), 50U * 44U);
  EXPECT_EQ(sizeof(fw_rules_table.mac_filter), 212U);
  EXPECT_EQ(sizeof(fw_rules_table.mac_filter.entries), 10U * 20U);
  EXPECT_EQ(sizeof(fw_rules_table.dhcp_filter), 212U);
  EXPECT_EQ(sizeof(fw_rules_table.dhcp_filter.entries), 10U * 20U);
  EXPECT_EQ(sizeof(fw_rules_table.acl), 328U);
  EXPECT_EQ(sizeof(fw_rules_table.acl.entries), 16U * 20U);
  EXPECT_EQ(sizeof(fw_rules_table.caporl), 776U);
  EXPECT_EQ(sizeof(fw_rules_table.caporl.entries), 32U * 24U);
  EXPECT_EQ(sizeof(fw6_rules_table.ip_filter), 4816U);
  EXPECT_EQ(sizeof(fw6_rules_table.ip_filter.entries), 50U * 96U);
  EXPECT_EQ(sizeof(RtQoSRulesTable.rules), 244U);
}

TEST(Records, EveryIpv4WordLiesAtItsOffset) {
  const l3_fw_rules& fw = fw_rules_table;
  EXPECT_EQ(offset(fw, fw.ip_filter.count), 0);
  EXPECT_EQ(offset(fw, fw.ip_filter.entries), 4);
  EXPECT_EQ(offset(fw, fw.ip_filter.us_black_white), 2404);
  EXPECT_EQ(offset(fw, fw.ip_filter.ds_black_white), 2408);
  EXPECT_EQ(offset(fw, fw.ip_filter.ip_filter_ctrl), 2412);
  EXPECT_EQ(offset(fw, fw.url_filter.count), 2416);
  EXPECT_EQ(offset(fw, fw.url_filter.entries), 2420);
  EXPECT_EQ(offset(fw, fw.url_filter.url_black_white), 4620);
  EXPECT_EQ(offset(fw, fw.url_filter.url_filter_ctrl), 4624);
  EXPECT_EQ(offset(fw, fw.anti_port_scan), 4628);
  EXPECT_EQ(offset(fw, fw.ipsec_pass_ctrl), 4632);
  EXPECT_EQ(offset(fw, fw.mac_filter.count), 4636);
  EXPECT_EQ(offset(fw, fw.mac_filter.entries), 4640);
  EXPECT_EQ(offset(fw, fw.mac_filter.mac_black_white), 4840);
  EXPECT_EQ(offset(fw, fw.mac_filter.mac_filter_ctrl), 4844);
  EXPECT_EQ(offset(fw, fw.dhcp_filter.count), 4848);
  EXPECT_EQ(offset(fw, fw.dhcp_filter.entries), 4852);
  EXPECT_EQ(offset(fw, fw.dhcp_filter.dhcp_black_white), 5052);
  EXPECT_EQ(offset(fw, fw.dhcp_filter.dhcp_mac_filter_ctrl), 5056);
  EXPECT_EQ(offset(fw, fw.acl.count), 5060);
  EXPECT_EQ(offset(fw, fw.acl.entries), 5064);
  EXPECT_EQ(offset(fw, fw.acl.acl_filter_ctrl), 5384);
  EXPECT_EQ(offset(fw, fw.caporl.count), 5388);
  EXPECT_EQ(offset(fw, fw.caporl.entries), 5392);
  EXPECT_EQ(offset(fw, fw.caporl.caporl_filter_ctrl), 6160);
  EXPECT_EQ(offset(fw, fw.security_level), 6164);
}

TEST(Records, EveryIpv6WordLiesAtItsOffset) {
  const l3_fw6_rules& fw6 = fw6_rules_table;
  EXPECT_EQ(offset(fw6, fw6.ip_filter.count), 0);
  EXPECT_EQ(offset(fw6, fw6.ip_filter.entries), 4);
  EXPECT_EQ(offset(fw6, fw6.ip_filter.us_black_white), 4804);
  EXPECT_EQ(offset(fw6, fw6.ip_filter.ds_black_white), 4808);
  EXPECT_EQ(offset(fw6, fw6.ip_filter.ip_filter_ctrl), 4812);
  EXPECT_EQ(offset(fw6, fw6.url_filter.count), 4816);
  EXPECT_EQ(offset(fw6, fw6.url_filter.entries), 4820);
  EXPECT_EQ(offset(fw6, fw6.url_filter.url_black_white), 7020);
  EXPECT_EQ(offset(fw6, fw6.url_filter.url_filter_ctrl), 7024);
  EXPECT_EQ(offset(fw6, fw6.anti_port_scan), 7028);
  EXPECT_EQ(offset(fw6, fw6.ipsec_pass_ctrl), 7032);
  EXPECT_EQ(offset(fw6, fw6.mac_filter.count), 7036);
  EXPECT_EQ(offset(fw6, fw6.mac_filter.entries), 7040);
  EXPECT_EQ(offset(fw6, fw6.mac_filter.mac_black_white), 7240);
  EXPECT_EQ(offset(fw6, fw6.mac_filter.mac_filter_ctrl), 7244);
  EXPECT_EQ(offset(fw6, fw6.dhcp_filter), 7248);
  EXPECT_EQ(offset(fw6, fw6.acl), 7460);
  EXPECT_EQ(offset(fw6, fw6.caporl), 7788);
  EXPECT_EQ(offset(fw6, fw6.security_level), 8564);
  EXPECT_EQ(offset(fw6, fw6.reserved), 8568);
}

TEST(Records, EveryRouteQosWordLiesAtItsOffset) {
  const l3_route_qos& qos = RtQoSRulesTable;
  EXPECT_EQ(offset(qos, qos.control), 0);
  EXPECT_EQ(offset(qos, qos.rules), 4);
  EXPECT_EQ(offset(qos.rules, qos.rules.RulesNum), 0);
  EXPECT_EQ(offset(qos.rules, qos.rules.control), 4);
  EXPECT_EQ(offset(qos.rules, qos.rules.QoSType), 8);
  EXPECT_EQ(offset(qos.rules, qos.rules.Protocol), 16);
  EXPECT_EQ(offset(qos.rules, qos.rules.SrcIp), 20);
  EXPECT_EQ(offset(qos.rules, qos.rules.DstIp), 32);
}

TEST(Records, EveryMemberOfAnEntryLiesAtItsOffset) {
  const l3_ip_filter_entry ip = {};
  EXPECT_EQ(offset(ip, ip.index), 4);
  EXPECT_EQ(offset(ip, ip.protocol), 8);
  EXPECT_EQ(offset(ip, ip.dst_ip), 12);
  EXPECT_EQ(offset(ip, ip.dst_ip_2), 16);
  EXPECT_EQ(offset(ip, ip.dst_port_s), 20);
  EXPECT_EQ(offset(ip, ip.dst_port_e), 24);
  EXPECT_EQ(offset(ip, ip.src_ip), 28);
  EXPECT_EQ(offset(ip, ip.src_ip_2), 32);
  EXPECT_EQ(offset(ip, ip.src_port_s), 36);
  EXPECT_EQ(offset(ip, ip.src_port_e), 40);
  EXPECT_EQ(offset(ip, ip.direction), 44);

  const l3_ip6_filter_entry ip6 = {};
  EXPECT_EQ(offset(ip6, ip6.index), 4);
  EXPECT_EQ(offset(ip6, ip6.protocol), 8);
  EXPECT_EQ(offset(ip6, ip6.dst_ip), 12);
  EXPECT_EQ(offset(ip6, ip6.dst_ip_2), 28);
  EXPECT_EQ(offset(ip6, ip6.dst_port_s), 44);
  EXPECT_EQ(offset(ip6, ip6.dst_port_e), 48);
  EXPECT_EQ(offset(ip6, ip6.src_ip), 52);
  EXPECT_EQ(offset(ip6, ip6.src_ip_2), 68);
  EXPECT_EQ(offset(ip6, ip6.src_port_s), 84);
  EXPECT_EQ(offset(ip6, ip6.src_port_e), 88);
  EXPECT_EQ(offset(ip6, ip6.direction), 92);

  const l3_url_entry url = {};
  EXPECT_EQ(offset(url, url.url_enable), 0);
  EXPECT_EQ(offset(url, url.url_reserved), 4);
  EXPECT_EQ(offset(url, url.url), 8);
  EXPECT_EQ(offset(url, url.start_hour), 40);
  EXPECT_EQ(offset(url, url.stop_hour), 41);
  EXPECT_EQ(offset(url, url.start_minute), 42);
  EXPECT_EQ(offset(url, url.stop_minute), 43);

  const l3_mac_entry mac = {};
  EXPECT_EQ(offset(mac, mac.mac_enable), 0);
  EXPECT_EQ(offset(mac, mac.mac), 4);
  EXPECT_EQ(offset(mac, mac.mac_reserved), 10);
  EXPECT_EQ(offset(mac, mac.start_hour), 16);
  EXPECT_EQ(offset(mac, mac.stop_hour), 17);
  EXPECT_EQ(offset(mac, mac.start_minute), 18);
  EXPECT_EQ(offset(mac, mac.stop_minute), 19);

  const l3_dhcp_entry dhcp = {};
  EXPECT_EQ(offset(dhcp, dhcp.dhcp_entry_flag), 0);
  EXPECT_EQ(offset(dhcp, dhcp.mac), 4);
  EXPECT_EQ(offset(dhcp, dhcp.reserved), 10);

  const l3_acl_entry acl = {};
  EXPECT_EQ(offset(acl, acl.allocated), 0);
  EXPECT_EQ(offset(acl, acl.app_type), 4);
  EXPECT_EQ(offset(acl, acl.direction), 8);
  EXPECT_EQ(offset(acl, acl.src_ip0), 12);
  EXPECT_EQ(offset(acl, acl.src_ip1), 16);

  const l3_caporl_entry caporl = {};
  EXPECT_EQ(offset(caporl, caporl.caporl_enable), 0);
  EXPECT_EQ(offset(caporl, caporl.caporl_ip), 4);
}

TEST(Records, AreZeroAtLoad) {
  EXPECT_EQ(bytes_of(fw_rules_table), std::string(6168, '\0'));
  EXPECT_EQ(bytes_of(fw6_rules_table), std::string(8572, '\0'));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), std::string(248, '\0'));
  EXPECT_EQ(bytes_of(arp_tbl), std::string(45104, '\0'));
}

TEST(Records, TheAddressTableIsNobodysBusinessHere) {
  memset(arp_tbl, 0x5a, sizeof(arp_tbl));
  static_cast<void>(record([] {
    init_cfgfile();
    get_firewall_rules_from_cfgfile();
    set_firewall_rules_to_cfgfile();
    get_qos_cfg_from_cfgfile();
    flush_fw();
    save_fw();
    gl3_web_set_ip_table_default();
  }));
  EXPECT_EQ(bytes_of(arp_tbl), std::string(45104, '\x5a'));
}

TEST(Records, UnusedIpv6RegionsComeThroughTheFileUnchanged) {
  static_cast<void>(record([] { init_cfgfile(); }));
  fw6_rules_table.security_level = 2;
  memset(fw6_rules_table.url_filter.entries, 0x55, sizeof(fw6_rules_table.url_filter.entries));
  memset(&fw6_rules_table.dhcp_filter, 0x11, sizeof(fw6_rules_table.dhcp_filter));
  memset(&fw6_rules_table.acl, 0x22, sizeof(fw6_rules_table.acl));
  memset(&fw6_rules_table.caporl, 0x33, sizeof(fw6_rules_table.caporl));
  fw6_rules_table.reserved = 0x44444444;
  std::string expected(8572, '\0');
  expected.replace(4820, 2200, 2200, '\x55');
  expected.replace(7032, 4, word(1));
  expected.replace(7248, 212, 212, '\x11');
  expected.replace(7460, 328, 328, '\x22');
  expected.replace(7788, 776, 776, '\x33');
  expected.replace(8564, 4, word(2));
  expected.replace(8568, 4, 4, '\x44');

  EXPECT_EQ(record([] { EXPECT_EQ(set_firewall6_rules_to_cfgfile(), 0); }), "");
  EXPECT_EQ(read_file(config_path).substr(6447), expected);
  memset(&fw6_rules_table, 0xee, sizeof(fw6_rules_table));
  EXPECT_EQ(record([] { EXPECT_EQ(get_firewall6_rules_from_cfgfile(), 0); }), "");
  EXPECT_EQ(bytes_of(fw6_rules_table), expected);
}

TEST(Records, UnusedIpv6RegionsStayZeroThroughAWriteAndARead) {
  std::string expected(8572, '\0');
  expected.replace(7032, 4, word(1));
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(record([] {
                EXPECT_EQ(set_firewall_rules_to_cfgfile(), 0);
                EXPECT_EQ(get_firewall_rules_from_cfgfile(), 0);
              }),
              "");
    EXPECT_EQ(bytes_of(fw6_rules_table), expected);
    EXPECT_EQ(read_file(config_path).substr(6447), expected);
  }
}

TEST(Records, RemovingAllEntriesKeepsListModesAndSwitch) {
  static_cast<void>(record([] { init_cfgfile(); }));
  memset(&fw_rules_table.ip_filter, 0x5a, sizeof(fw_rules_table.ip_filter));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_firewall_rule(), 0); }),
            lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  std::string expected(2404, '\0');
  expected.append(12, '\x5a');
  EXPECT_EQ(bytes_of(fw_rules_table.ip_filter), expected);
  EXPECT_EQ(read_file(config_path).substr(31, 2416), expected);
}
