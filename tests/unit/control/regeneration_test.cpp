/* Regeneration: which filters are generated, in which order, by their switches. */
#include <cstdio>

#include "harness.hpp"
#include "sample_config.hpp"

using namespace harness;
using namespace sample_config;

TEST(Regeneration, WithTheSwitchOffNothingIsGenerated) {
  load(file('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }),
            lines({debug("\n==[fw_enable=0,url_filter_ctrl=1,urlTable=1]\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw6(), 0); }),
            lines({debug("\n==[fw_enable=0,url_filter_ctrl=2,urlTable=3]\n")}));
}

TEST(Regeneration, EveryFilterOfTheSampleConfigIsGeneratedInOrder) {
  load(file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }), lines({rules()}));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw6(), 0); }), lines({rules6()}));
}

TEST(Regeneration, EachIpv4FilterHasASwitchOfItsOwn) {
  std::string quiet = with(fresh_config_file(), switch_value, "1");
  quiet = with_word(quiet, ip_filter_ctrl, 1);
  put(quiet, fw + 2404, word(1));  // an IP white list: its catch-all shows that it is generated

  const Lines white_list = ran("iptables -A forward_ext_us_ip -j DROP");
  const Lines trace = debug("\n==[fw_enable=1,url_filter_ctrl=0,urlTable=0]\n");
  load(quiet);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }), lines({trace}));

  load(with_word(quiet, ip_filter_ctrl, 0));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }), lines({white_list, trace}));
  load(with_word(quiet, ip_filter_ctrl, 2));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }), lines({trace}));

  for (const uint32_t on : {1U, 2U, 0x80000000U}) {
    char hex[16];
    snprintf(hex, sizeof(hex), "%x", on);
    load(with_word(quiet, fw + 4624, on));
    EXPECT_EQ(
        record([] { EXPECT_EQ(config_fw(), 0); }),
        lines({debug("\n==[fw_enable=1,url_filter_ctrl=" + std::string(hex) + ",urlTable=0]\n"),
               debug("[url_black_white=0]\n")}));
    load(with_word(quiet, anti_port_scan, on));
    EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }), lines({trace, bad_tcp()}));
    load(with_word(quiet, fw + 4844, on));
    EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }),
              lines({trace, debug("[mac_black_white=0]\n")}));
    load(with_word(quiet, caporl_filter_ctrl, on));
    EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }),
              lines({trace, ran("iptables -A forward_ext_captiveportal -j DROP")}));
  }
}

TEST(Regeneration, TheAccessListIsGeneratedByItsSwitchAlone) {
  const std::string sample = file('1');
  std::string only_acl = with(fresh_config_file(), switch_value, "1");
  put(only_acl, fw + 5060, sample.substr(fw + 5060, 328));
  const Lines trace = debug("\n==[fw_enable=1,url_filter_ctrl=0,urlTable=0]\n");
  const Lines list =
      together({debug("\n==iptables -A input_ext_us_acl -p tcp --dport 23 -j ACCEPT==\n"),
                ran("iptables -A input_ext_us_acl -p tcp --dport 23 -j ACCEPT"),
                ran("iptables -A input_ext_us_acl -j DROP")});
  load(only_acl);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }), lines({trace, list}));
  load(with_word(only_acl, fw + 5384, 2));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }), lines({trace, list}));
  load(with_word(only_acl, fw + 5384, 0));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }), lines({trace}));
}

TEST(Regeneration, EachIpv6FilterHasASwitchOfItsOwn) {
  std::string quiet = with(fresh_config_file(), switch_value, "1");
  put(quiet, ip6_filter_ctrl, word(1));
  put(quiet, fw6 + 4808, word(1));
  const Lines trace = debug("\n==[fw_enable=1,url_filter_ctrl=0,urlTable=0]\n");
  load(quiet);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw6(), 0); }), lines({trace}));
  load(with_word(quiet, ip6_filter_ctrl, 0));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw6(), 0); }),
            lines({ran("ip6tables -A forward_ext_ds_ip -j DROP"), trace}));
  load(with_word(quiet, fw6 + 7244, 2));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw6(), 0); }),
            lines({trace, debug("[mac_black_white=0]\n")}));
  // The URL words and the unused regions of the IPv6 record make no rule.
  std::string others = with_word(with_word(quiet, fw6 + 4816, 0xffffffff), fw6 + 7024, 1);
  others = with_word(with_word(others, fw6 + 7028, 1), fw6 + 7456, 1);
  others = with_word(with_word(others, fw6 + 7784, 1), fw6 + 8560, 1);
  load(others);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw6(), 0); }),
            lines({debug("\n==[fw_enable=1,url_filter_ctrl=1,urlTable=ffffffff]\n")}));
}

TEST(Regeneration, AStoredDhcpFilterMakesNoRules) {
  std::string only_dhcp = with(fresh_config_file(), switch_value, "1");
  put(only_dhcp, fw + 4848, file('1').substr(fw + 4848, 212));
  load(only_dhcp);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }), lines({no_rules(1)}));
}

TEST(Regeneration, AGeneratorThatFailsDoesNotStopTheOthers) {
  load(with_word(file('1'), anti_port_scan, 0));
  world.system = [](const std::string& line) {
    return line.find(" -A ") != std::string::npos ? exited(1) : 0;
  };
  const auto refused = [](const std::string& command) {
    return together({debug("\n==" + command + "==\n"), ran_and_failed(command)});
  };
  const std::string ip =
      "iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10 --dport 80:88 -j DROP";
  const std::string url =
      "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string \"\3abc\2de\" "
      "--algo bm -m time --timestart 8:5 --timestop 23:59 -j DROP";
  const std::string mac =
      "iptables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e -m time "
      "--timestart 8:5 --timestop 21:30 -j DROP";
  const std::string acl = "iptables -A input_ext_us_acl -p tcp --dport 23 -j ACCEPT";
  const std::string portal = "iptables -A forward_ext_captiveportal  -d 203.0.113.80 -j ACCEPT";
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw(), 0); }),
            lines({refused(ip),
                   ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   error("config_fw_ip::str_system(" + ip + ") is err!\n"),
                   debug("\n==[fw_enable=1,url_filter_ctrl=1,urlTable=1]\n"),
                   debug("xxx.xxx.xx\n"),
                   debug("url=abc.de\n"),
                   debug("resolve_url=\3abc\2de\n"),
                   refused(url),
                   ran("iptables -t filter -F forward_ext_url"),
                   error("config_fw_url::str_system(" + url + ") is err!\n"),
                   debug("gl3_web_mac_bin_to_str::mac_bin=00:1a:2b:3c:4d:5e\n"),
                   refused(mac),
                   ran("iptables -t filter -F forward_ext_mac"),
                   error("config_fw_mac::str_system(" + mac + ") is err!\n"),
                   refused(acl),
                   ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"),
                   error("config_fw_acl::str_system(" + acl + ") is err!\n"),
                   refused(portal),
                   ran("iptables -t filter -F forward_ext_captiveportal"),
                   error("flush_fw_ip::str_system(" + portal + ") is err!\n")}));

  const std::string ip6 =
      "ip6tables -A forward_ext_us_ip -p udp -s fd00:1::10 -d 2001:db8:1::2 --dport 53:53 -j DROP";
  const std::string mac6 =
      "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e -m time "
      "--timestart 8:5 --timestop 21:30 -j DROP";
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw6(), 0); }),
            lines({refused(ip6), ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran("ip6tables -t filter -F forward_ext_ds_ip"),
                   error("config_fw_ip6::str_system(" + ip6 + ") is err!\n"),
                   debug("\n==[fw_enable=1,url_filter_ctrl=2,urlTable=3]\n"),
                   debug("gl3_web_mac_bin_to_str::mac_bin=00:1a:2b:3c:4d:5e\n"), refused(mac6),
                   ran("ip6tables -t filter -F forward_ext_mac"),
                   error("config_fw6_mac::str_system(" + mac6 + ") is err!\n")}));
}
