#include "sample_config.hpp"

#include <cstdio>
#include <utility>

namespace sample_config {

using namespace harness;

namespace {

/* Zeros behind a text, up to a field's size. */
std::string field(const std::string& text, size_t size) {
  return text + std::string(size - text.size(), '\0');
}

const std::string mac("\x00\x1a\x2b\x3c\x4d\x5e", 6);

std::string mac_entry() {
  // From 8:05 to 21:30; both hours stand before both minutes.
  return word(1) + mac + std::string(6, '\0') + std::string("\x08\x15\x05\x1e", 4);
}

void put_ipv4_filters(std::string& file) {
  put(file, fw, word(1));
  put(file, fw + 4,
      word(0) + word(1) + word(6) + word(0) + word(0) + word(80) + word(88) + word(0xc0a8010a) +
          word(0) + word(0) + word(0) + word(0));

  put(file, fw + 2416, word(1));
  put(file, fw + 2420,
      word(1) + word(0) + field("abc.de", 32) + std::string("\x08\x18\x05\x00", 4));
  put(file, fw + 4624, word(1));

  put(file, anti_port_scan, word(1));

  put(file, fw + 4636, word(1));
  put(file, fw + 4640, mac_entry());
  put(file, fw + 4844, word(1));

  put(file, fw + 4848, word(1));
  put(file, fw + 4852, word(1) + mac + std::string(10, '\0'));
  put(file, fw + 5056, word(1));

  // Telnet from the LAN, from anywhere.
  put(file, fw + 5060, word(1));
  put(file, fw + 5064, word(1) + word(4) + word(0) + word(0) + word(0));
  put(file, fw + 5384, word(1));

  put(file, fw + 5388, word(1));
  put(file, fw + 5392, word(1) + field("203.0.113.80", 20));
  put(file, caporl_filter_ctrl, word(1));
}

void put_ipv6_filters(std::string& file) {
  const std::string source("\xfd\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x10", 16);
  const std::string target("\x20\x01\x0d\xb8\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02", 16);
  const std::string unused(16, '\0');
  put(file, fw6, word(1));
  put(file, fw6 + 4,
      word(0) + word(1) + word(17) + target + unused + word(53) + word(53) + source + unused +
          word(0) + word(0) + word(0));

  // Words without rules: only the trace shows them.
  put(file, fw6 + 4816, word(3));
  put(file, fw6 + 7024, word(2));

  put(file, fw6 + 7036, word(1));
  put(file, fw6 + 7040, mac_entry());
  put(file, fw6 + 7244, word(1));
}

Lines rule(const std::string& command) {
  return together({debug("\n==" + command + "==\n"), ran(command)});
}

}  // namespace

Lines together(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

void put(std::string& file, size_t offset, const std::string& bytes) {
  ASSERT_LE(offset + bytes.size(), file.size());
  file.replace(offset, bytes.size(), bytes);
}

std::string with(std::string file, size_t offset, const std::string& bytes) {
  put(file, offset, bytes);
  return file;
}

std::string with_word(std::string file, size_t offset, uint32_t value) {
  return with(std::move(file), offset, word(value));
}

std::string file(char fire_wall) {
  std::string bytes = fresh_config_file();
  bytes[vpn_value] = '1';
  bytes[switch_value] = fire_wall;
  put_ipv4_filters(bytes);
  put(bytes, level, word(2));
  put(bytes, qos, word(1) + word(7) + std::string(240, '\x2a'));
  put_ipv6_filters(bytes);
  put(bytes, level6, word(2));
  return bytes;
}

std::string file_after_reset() {
  std::string bytes = fresh_config_file();
  bytes[vpn_value] = '1';
  put(bytes, level, word(2));
  put(bytes, level6, word(2));
  // The URL words of the IPv6 record belong to no filter, so no reset reaches them.
  put(bytes, fw6 + 4816, word(3));
  put(bytes, fw6 + 7024, word(2));
  return bytes;
}

void load(const std::string& file) {
  write_file(config_path, file);
  static_cast<void>(record([] {
    uint8_t state = 0;
    EXPECT_EQ(get_firewall_rules_from_cfgfile(), 0);
    EXPECT_EQ(get_qos_cfg_from_cfgfile(), 0);
    EXPECT_EQ(gl3_web_get_fw_status(&state), 0);
  }));
}

void expect_records_as_in_file() {
  const std::string file = read_file(config_path);
  ASSERT_EQ(file.size(), 15019U);
  EXPECT_TRUE(bytes_of(fw_rules_table) == file.substr(fw, 6168)) << "fw_rules_table differs";
  EXPECT_TRUE(bytes_of(fw6_rules_table) == file.substr(fw6, 8572)) << "fw6_rules_table differs";
}

Lines modules_list() {
  return ran("mkdir -p /lib/modules/$(uname -r);touch /lib/modules/$(uname -r)/modules.dep");
}

std::vector<std::string> tree_commands() {
  return {
      "iptables -N forward_ext_bad_tcp",
      "iptables -N forward_ext_ip",
      "iptables -N forward_ext_us_ip",
      "iptables -N forward_ext_ds_ip",
      "iptables -N forward_ext_url",
      "iptables -N forward_ext_mac",
      "iptables -A FORWARD -p tcp -j forward_ext_bad_tcp",
      "iptables -A FORWARD -j forward_ext_ip",
      "iptables -A FORWARD -j forward_ext_url",
      "iptables -A FORWARD -j forward_ext_mac",
      "iptables -N forward_ext_captiveportal",
      "iptables -A FORWARD -i br0 -p tcp --dport 80 -j forward_ext_captiveportal",
      "iptables -N input_ext_local_access",
      "iptables -N input_ext_local_access_ex",
      "iptables -A input_ext_local_access -j input_ext_local_access_ex",
      "iptables -I INPUT -j input_ext_local_access",
      "iptables -N input_ext_acl",
      "iptables -N input_ext_us_acl",
      "iptables -N input_ext_ds_acl",
      "iptables -A INPUT -p tcp --dport 80 -j input_ext_acl",
      "iptables -A INPUT -p tcp --dport 21 -j input_ext_acl",
      "iptables -A INPUT -p udp --dport 161 -j input_ext_acl",
      "iptables -A INPUT -p tcp --dport 23 -j input_ext_acl",
      "iptables -A INPUT -p icmp -j input_ext_acl",
      "iptables -N input_ext_dhcp",
      "iptables -A INPUT -i br0 -p udp --dport 67 -j input_ext_dhcp",
      "iptables -N input_ext_access_ctrl",
      "ip6tables -N forward_ext_ip",
      "ip6tables -N forward_ext_us_ip",
      "ip6tables -N forward_ext_ds_ip",
      "ip6tables -N forward_ext_mac",
      "ip6tables -A FORWARD -j forward_ext_ip",
      "ip6tables -A FORWARD -j forward_ext_mac",
  };
}

Lines tree() {
  Lines all;
  for (const std::string& command : tree_commands()) {
    all = together({all, ran(command)});
  }
  return all;
}

Lines flushed() {
  return together({
      ran("iptables -t filter -F input_ext_local_access"),
      ran("iptables -t filter -F input_ext_us_acl"),
      ran("iptables -t filter -F input_ext_ds_acl"),
      ran("iptables -t filter -F input_ext_dhcp"),
      ran("iptables -t filter -F forward_ext_bad_tcp"),
      ran("iptables -t filter -F forward_ext_us_ip"),
      ran("iptables -t filter -F forward_ext_ds_ip"),
      ran("iptables -t filter -F forward_ext_url"),
      ran("iptables -t filter -F forward_ext_mac"),
      ran("iptables -t filter -F forward_ext_captiveportal"),
      ran("iptables -t filter -F input_ext_local_access_ex"),
  });
}

Lines flushed6() {
  return together({
      ran("ip6tables -t filter -F forward_ext_us_ip"),
      ran("ip6tables -t filter -F forward_ext_ds_ip"),
      ran("ip6tables -t filter -F forward_ext_mac"),
  });
}

Lines saved() {
  return ran("iptables-save -t filter >/ztcfg/firewall.conf");
}

Lines saved6() {
  return ran("ip6tables-save -t filter >/ztcfg/firewall6.conf");
}

Lines restored6() {
  return ran("ip6tables-restore </ztcfg/firewall6.conf");
}

Lines wan_found(const std::string& wan) {
  return together({platform("grm_gl3_get_internet_index"), platform("getIfName(3)"),
                   out("[gl3_update_internet_wan]get a legal wanifname " + wan + ".\n")});
}

Lines ip_rules() {
  return rule("iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10 --dport 80:88 -j DROP");
}

Lines url_rules() {
  return together({
      debug("\n==[fw_enable=1,url_filter_ctrl=1,urlTable=1]\n"),
      debug("xxx.xxx.xx\n"),
      debug("url=abc.de\n"),
      debug("resolve_url=\3abc\2de\n"),
      rule("iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string "
           "\"\3abc\2de\" --algo bm -m time --timestart 8:5 --timestop 23:59 -j DROP"),
      debug("[url_black_white=0]\n"),
  });
}

Lines bad_tcp(const std::string& wan) {
  return together({ran("iptables -A input_ext_local_access -j input_ext_local_access_ex"),
                   wan_found(wan), out("[config_fw_bad_tcp]update Internet wan to: " + wan + ".\n"),
                   ran("iptables -I input_ext_local_access_ex -i " + wan + " -j DROP"),
                   bad_tcp_drops()});
}

Lines bad_tcp_drops() {
  return together({
      ran("iptables -A input_ext_local_access -p tcp --tcp-flags SYN,ACK SYN,ACK -m state --state "
          "NEW -j DROP"),
      ran("iptables -A input_ext_local_access -p tcp ! --syn -m state --state NEW -j LOG "
          "--log-prefix \"New not syn:\""),
      ran("iptables -A input_ext_local_access -p tcp ! --syn -m state --state NEW -j DROP"),
      ran("iptables -A forward_ext_bad_tcp -p tcp --tcp-flags SYN,ACK SYN,ACK -m state --state NEW "
          "-j DROP"),
      ran("iptables -A forward_ext_bad_tcp -p tcp ! --syn -m state --state NEW -j LOG "
          "--log-prefix \"New not syn:\""),
      ran("iptables -A forward_ext_bad_tcp -p tcp ! --syn -m state --state NEW -j DROP"),
      ran("iptables -A input_ext_local_access -p tcp --tcp-flags SYN,ACK,FIN,RST RST -m limit "
          "--limit 1/s -j ACCEPT"),
      ran("iptables -A forward_ext_bad_tcp -p tcp --tcp-flags SYN,ACK,FIN,RST RST -m limit "
          "--limit 1/s -j ACCEPT"),
  });
}

Lines mac_rules() {
  return together({
      debug("gl3_web_mac_bin_to_str::mac_bin=00:1a:2b:3c:4d:5e\n"),
      rule("iptables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e -m time "
           "--timestart 8:5 --timestop 21:30 -j DROP"),
      debug("[mac_black_white=0]\n"),
  });
}

Lines acl_rules() {
  return together({rule("iptables -A input_ext_us_acl -p tcp --dport 23 -j ACCEPT"),
                   ran("iptables -A input_ext_us_acl -j DROP")});
}

Lines portal_rules() {
  return together({rule("iptables -A forward_ext_captiveportal  -d 203.0.113.80 -j ACCEPT"),
                   ran("iptables -A forward_ext_captiveportal -j DROP")});
}

Lines rules(const std::string& wan) {
  return together(
      {ip_rules(), url_rules(), bad_tcp(wan), mac_rules(), acl_rules(), portal_rules()});
}

Lines rules6() {
  return together({
      rule("ip6tables -A forward_ext_us_ip -p udp -s fd00:1::10 -d 2001:db8:1::2 --dport 53:53 "
           "-j DROP"),
      debug("\n==[fw_enable=1,url_filter_ctrl=2,urlTable=3]\n"),
      debug("gl3_web_mac_bin_to_str::mac_bin=00:1a:2b:3c:4d:5e\n"),
      rule("ip6tables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e -m time "
           "--timestart 8:5 --timestop 21:30 -j DROP"),
      debug("[mac_black_white=0]\n"),
  });
}

Lines no_rules(int fire_wall) {
  return debug("\n==[fw_enable=" + std::to_string(fire_wall) + ",url_filter_ctrl=0,urlTable=0]\n");
}

Lines wan_bound(const std::string& wan) {
  return together({
      wan_found(wan),
      out("[gl3_web_set_fw_status]ok update Internet wan to: " + wan + ".\n"),
      ran("iptables -F forward_ext_ip"),
      ran("iptables -F input_ext_acl"),
      ran("iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip"),
      ran("iptables -A input_ext_acl -i br0 -j input_ext_us_acl"),
      ran("iptables -A forward_ext_ip -i " + wan + " -j forward_ext_ds_ip"),
      ran("iptables -A input_ext_acl -i " + wan + " -j input_ext_ds_acl"),
  });
}

Lines switched_on(const std::string& wan) {
  return together(
      {refresh(), flushed(), flushed6(), rules(wan), rules6(), wan_bound(wan), saved(), saved6()});
}

Lines switched_off() {
  return together({refresh(), flushed(), flushed6()});
}

Lines switched_on_without_rules() {
  return together(
      {refresh(), flushed(), flushed6(), no_rules(1), no_rules(1), wan_bound(), saved(), saved6()});
}

Lines scan_off() {
  return together({refresh(), ran("iptables -t filter -F forward_ext_bad_tcp"),
                   ran("iptables -t filter -F input_ext_local_access"),
                   ran("iptables -t filter -F input_ext_local_access_ex"), saved()});
}

Lines scan_on(const std::string& wan) {
  return together({refresh(), ran("iptables -t filter -F forward_ext_bad_tcp"),
                   ran("iptables -t filter -F input_ext_local_access"),
                   ran("iptables -t filter -F input_ext_local_access_ex"), bad_tcp(wan), saved()});
}

Lines ipsec_dropped() {
  return together({ran("iptables -t filter -A FORWARD -p udp --sport 500 --dport 500 -j DROP"),
                   ran("iptables -t filter -A FORWARD -p udp --sport 4500 --dport 4500 -j DROP")});
}

Lines qos_pushed() {
  return platform("gpon_l3_set_qos_cfg(RtQoSRulesTable)");
}

void shell_writes_files() {
  world.system = [](const std::string& line) {
    if (line == "iptables-save -t filter >/ztcfg/firewall.conf") {
      write_file(save_path, saved_rules);
    } else if (line == "ip6tables-save -t filter >/ztcfg/firewall6.conf") {
      write_file(save6_path, saved_rules);
    } else if (line == "mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat") {
      return rename(old_path, config_path) == 0 ? 0 : exited(1);
    }
    return 0;
  };
}

void put_save_files() {
  write_file(save_path, saved_rules);
  write_file(save6_path, saved_rules);
}

}  // namespace sample_config
