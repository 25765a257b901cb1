/* The security level. */
#include <cerrno>

#include "harness.hpp"
#include "sample_config.hpp"

using namespace harness;
using namespace sample_config;

TEST(SecurityLevel, LevelZeroTurnsTheFirewallOff) {
  load(file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_security_level(0), 0); }),
            lines({refresh(), switched_off()}));
  std::string expected = with_word(file('0'), level, 0);
  EXPECT_EQ(read_file(config_path), with_word(expected, level6, 0));
  expect_records_as_in_file();
  EXPECT_FALSE(switch_in_memory());
}

TEST(SecurityLevel, LevelOneTurnsTheFirewallOnAndAntiPortScanOff) {
  load(file('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_security_level(1), 0); }),
            lines({refresh(), switched_on(), scan_off()}));
  std::string expected = with_word(file('1'), level, 1);
  expected = with_word(expected, level6, 1);
  EXPECT_EQ(read_file(config_path), with_word(expected, anti_port_scan, 0));
  expect_records_as_in_file();
  EXPECT_TRUE(switch_in_memory());
}

TEST(SecurityLevel, LevelTwoTurnsBothOn) {
  load(with_word(fresh_config_file(), anti_port_scan, 0));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_security_level(2), 0); }),
            lines({refresh(), switched_on_without_rules(), scan_on()}));
  std::string expected = with(fresh_config_file(), switch_value, "1");
  expected = with_word(expected, level, 2);
  expected = with_word(expected, level6, 2);
  EXPECT_EQ(read_file(config_path), with_word(expected, anti_port_scan, 1));
  expect_records_as_in_file();
}

TEST(SecurityLevel, BothLevelsThatAreOnGenerateEveryFilterAgain) {
  const std::string before = with_word(file('0'), anti_port_scan, 0);
  const Lines on_without_scan = refresh() + flushed() + flushed6() + ip_rules() + url_rules() +
                                mac_rules() + acl_rules() + portal_rules() + rules6() +
                                wan_bound() + saved() + saved6();
  for (const uint32_t one : {1U, 2U}) {
    load(before);
    EXPECT_EQ(
        record([=] { EXPECT_EQ(gl3_web_set_fw_security_level(static_cast<int32_t>(one)), 0); }),
        lines({refresh(), on_without_scan, one == 1 ? scan_off() : scan_on()}));
    std::string expected = with(before, switch_value, "1");
    expected = with_word(with_word(expected, level, one), level6, one);
    EXPECT_EQ(read_file(config_path), with_word(expected, anti_port_scan, one - 1));
    expect_records_as_in_file();
  }
}

TEST(SecurityLevel, AnyOtherLevelIsRefusedAndChangesNothing) {
  load(file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_security_level(3), -1); }),
            lines({refresh(), error("gl3_web_set_fw_security_level::fw_level =3 err\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_security_level(-1), -1); }),
            lines({refresh(), error("gl3_web_set_fw_security_level::fw_level =-1 err\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_security_level(256), -1); }),
            lines({refresh(), error("gl3_web_set_fw_security_level::fw_level =256 err\n")}));
  EXPECT_EQ(read_file(config_path), file('1'));
  expect_records_as_in_file();
}

TEST(SecurityLevel, ALevelThatCannotBeStoredSwitchesNothing) {
  load(file('1'));
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_fw_security_level(0), -1); }),
      lines({refresh(), out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
             error("gl3_web_set_fw_security_level::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(read_file(config_path), file('1'));
  EXPECT_EQ(fw_rules_table.security_level, 0U);
  EXPECT_EQ(fw6_rules_table.security_level, 0U);
  EXPECT_TRUE(switch_in_memory());
}

TEST(SecurityLevel, AStoredLevelIsASuccessWhateverTheSwitchesAnswer) {
  load(fresh_config_file());
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_security_level(1), 0); }),
            lines({refresh(), refresh(), flushed(), flushed6(), no_rules(1), no_rules(1),
                   wan_bound(), ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                   refresh(), ran("iptables -t filter -F forward_ext_bad_tcp"),
                   ran("iptables -t filter -F input_ext_local_access"),
                   ran("iptables -t filter -F input_ext_local_access_ex"),
                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(read_file(config_path), with_word(with_word(fresh_config_file(), level, 1), level6, 1));
}

TEST(SecurityLevel, ALevelWithoutAFileIsLostInTheDefaults) {
  // Creating the file sets the records to their defaults before they are written.
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_security_level(2), 0); }),
            lines({refresh(), switched_on_without_rules(), scan_on()}));
  std::string expected = with(fresh_config_file(), switch_value, "1");
  EXPECT_EQ(read_file(config_path), with_word(expected, anti_port_scan, 1));
}

TEST(SecurityLevel, ReadingDerivesTheLevelAndStoresIt) {
  struct Case {
    char fire_wall;
    uint32_t scan;
    uint32_t stored;
    int32_t expected;
  };
  for (const Case& one : {Case{'0', 0, 2, 0}, Case{'0', 1, 2, 0}, Case{'0', 3, 1, 0},
                          Case{'1', 0, 2, 1}, Case{'1', 1, 0, 2}, Case{'1', 1, 7, 2}}) {
    const std::string before =
        with_word(with_word(file(one.fire_wall), anti_port_scan, one.scan), level, one.stored);
    load(before);
    int32_t seen = 9;
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), 0); }),
              lines({refresh()}));
    EXPECT_EQ(seen, one.expected);
    const auto word_now = static_cast<uint32_t>(one.expected);
    EXPECT_EQ(read_file(config_path),
              with_word(with_word(before, level, word_now), level6, word_now));
    expect_records_as_in_file();
  }
}

TEST(SecurityLevel, AnyOtherScanWordLeavesTheStoredLevel) {
  for (const uint32_t scan : {2U, 3U, 0x100U, 0xffffffffU}) {
    std::string before = with_word(file('1'), anti_port_scan, scan);
    before = with_word(before, level, 1);
    before = with_word(before, level6, 2);
    load(before);
    int32_t seen = 9;
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), 0); }),
              lines({refresh()}));
    EXPECT_EQ(seen, 1);
    EXPECT_EQ(read_file(config_path), before);
  }
}

TEST(SecurityLevel, ReadingGoesByTheSwitchInMemory) {
  load(file('0'));
  write_file(config_path, file('1'));
  int32_t seen = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), 0); }),
            lines({refresh()}));
  EXPECT_EQ(seen, 0);
  EXPECT_EQ(read_file(config_path), with_word(with_word(file('1'), level, 0), level6, 0));
}

TEST(SecurityLevel, ReadingWithoutAWordIsRefused) {
  load(file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_fw_security_level(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_fw_security_level::xo_fw_level NULLP err\r\n")}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(SecurityLevel, ReadingFailsWithTheRecords) {
  load(file('1'));
  world.file_faults = {{FileCall::read, 1, EIO}};
  int32_t seen = 9;
  EXPECT_EQ(
      record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), -1); }),
      lines({refresh(), out("get_firewall_rules_from_cfgfile::read /ztcfg/l3_advance.dat error!\n"),
             error("gl3_web_get_fw_security_level::get_firewall_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(seen, 9);
  EXPECT_EQ(read_file(config_path), file('1'));
}

TEST(SecurityLevel, ReadingFailsWhenTheLevelCannotBeWrittenBack) {
  load(with_word(file('1'), level, 1));
  world.file_faults = {{FileCall::open, 2, EROFS}};
  int32_t seen = 9;
  EXPECT_EQ(
      record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), -1); }),
      lines({refresh(), out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
             error("gl3_web_get_fw_security_level::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(seen, 9);
  EXPECT_EQ(fw_rules_table.security_level, 2U);
  EXPECT_EQ(fw6_rules_table.security_level, 2U);
  EXPECT_EQ(read_file(config_path), with_word(file('1'), level, 1));
}
