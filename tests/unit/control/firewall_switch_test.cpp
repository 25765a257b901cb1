/* The master switch, and the two switch calls of the captive portal. */
#include <cerrno>

#include "harness.hpp"
#include "sample_config.hpp"

using namespace harness;
using namespace sample_config;

namespace {

const Lines state_write_failed =
    error("gl3_web_set_fw_status::set_firewall_state_to_cfgfile err!\n");

/* A fresh file with the switch on, loaded. */
void load_empty_firewall_that_is_on() {
  load(with(fresh_config_file(), switch_value, "1"));
}

}  // namespace

TEST(FirewallSwitch, TurningOnRebuildsEverythingAndSavesIt) {
  load(file('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }), lines({switched_on()}));
  EXPECT_EQ(read_file(config_path), file('1'));
  expect_records_as_in_file();
  EXPECT_TRUE(switch_in_memory());
  EXPECT_EQ(wan_in_memory(), "wan3");
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(FirewallSwitch, TurningOnAgainRebuildsEverythingAgain) {
  load(file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }), lines({switched_on()}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }), lines({switched_on()}));
  EXPECT_EQ(read_file(config_path), file('1'));
}

TEST(FirewallSwitch, TurningOnReloadsTheRecords) {
  load(fresh_config_file());
  write_file(config_path, file('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }), lines({switched_on()}));
  expect_records_as_in_file();
}

TEST(FirewallSwitch, TurningOnBindsTheNameThatThePlatformKnowsNow) {
  load(file('0'));
  world.if_name = "ppp0";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }), lines({switched_on("ppp0")}));
  EXPECT_EQ(wan_in_memory(), "ppp0");
}

TEST(FirewallSwitch, TurningOffFlushesOnlyAndKeepsTheSaveFiles) {
  load(file('1'));
  put_save_files();
  shell_writes_files();
  write_file(save_path, "the rules of the last time");
  write_file(save6_path, "and those of IPv6");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(0), 0); }), lines({switched_off()}));
  EXPECT_EQ(read_file(config_path), file('0'));
  EXPECT_EQ(read_file(save_path), "the rules of the last time");
  EXPECT_EQ(read_file(save6_path), "and those of IPv6");
  EXPECT_FALSE(switch_in_memory());
}

TEST(FirewallSwitch, OnlyTheLowByteOfTheValueCounts) {
  load(file('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(0x101), 0); }), lines({switched_on()}));
  EXPECT_EQ(read_file(config_path), file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(0xffffff00), 0); }),
            lines({switched_off()}));
  EXPECT_EQ(read_file(config_path), file('0'));
}

TEST(FirewallSwitch, AnyOtherLowByteIsRefusedAndChangesNothing) {
  load(file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(2), -1); }),
            lines({refresh(), error("gl3_web_set_fw_status::control =2 err\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(255), -1); }),
            lines({refresh(), error("gl3_web_set_fw_status::control =255 err\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(0x1f3), -1); }),
            lines({refresh(), error("gl3_web_set_fw_status::control =243 err\n")}));
  EXPECT_EQ(read_file(config_path), file('1'));
  EXPECT_TRUE(switch_in_memory());
}

TEST(FirewallSwitch, AnUnknownWanLeavesTheDispatchAsItIs) {
  load(file('0'));
  world.internet_index = -1;
  const Lines unknown = together({platform("grm_gl3_get_internet_index"),
                                  out("[gl3_update_internet_wan]get a illegal wanindex -1.\n")});
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }),
            lines({refresh(), flushed(), flushed6(), ip_rules(), url_rules(),
                   ran("iptables -A input_ext_local_access -j input_ext_local_access_ex"), unknown,
                   out("[config_fw_bad_tcp]update Internet wan failed.save cfg first.\n"),
                   bad_tcp_drops(), mac_rules(), acl_rules(), portal_rules(), rules6(), unknown,
                   out("[gl3_web_set_fw_status]update Internet wan failed.save cfg first.\n"),
                   saved(), saved6()}));
  EXPECT_EQ(read_file(config_path), file('1'));
  EXPECT_EQ(wan_in_memory(), "wan3");
}

TEST(FirewallSwitch, AWanWithoutANameLeavesTheDispatchAsItIs) {
  load_empty_firewall_that_is_on();
  world.if_name = "eth9";
  world.if_name_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }),
            lines({refresh(), flushed(), flushed6(), no_rules(1), no_rules(1),
                   platform("grm_gl3_get_internet_index"), platform("getIfName(3)"),
                   out("[gl3_update_internet_wan]get a illegal wanifname eth9.\n"),
                   out("[gl3_web_set_fw_status]update Internet wan failed.save cfg first.\n"),
                   saved(), saved6()}));
  EXPECT_EQ(wan_in_memory(), "wan3");
}

TEST(FirewallSwitch, FailedFlushesAndDispatchRulesAreOnlyLogged) {
  load_empty_firewall_that_is_on();
  world.system = [](const std::string& line) {
    return line.find("-save") == std::string::npos ? exited(1) : 0;
  };
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }),
            lines({refresh(),
                   ran_and_failed("iptables -t filter -F input_ext_local_access"),
                   ran_and_failed("iptables -t filter -F input_ext_us_acl"),
                   ran_and_failed("iptables -t filter -F input_ext_ds_acl"),
                   ran_and_failed("iptables -t filter -F input_ext_dhcp"),
                   ran_and_failed("iptables -t filter -F forward_ext_bad_tcp"),
                   ran_and_failed("iptables -t filter -F forward_ext_us_ip"),
                   ran_and_failed("iptables -t filter -F forward_ext_ds_ip"),
                   ran_and_failed("iptables -t filter -F forward_ext_url"),
                   ran_and_failed("iptables -t filter -F forward_ext_mac"),
                   ran_and_failed("iptables -t filter -F forward_ext_captiveportal"),
                   ran_and_failed("iptables -t filter -F input_ext_local_access_ex"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_us_ip"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_ds_ip"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_mac"),
                   no_rules(1),
                   no_rules(1),
                   wan_found(),
                   out("[gl3_web_set_fw_status]ok update Internet wan to: wan3.\n"),
                   ran_and_failed("iptables -F forward_ext_ip"),
                   ran_and_failed("iptables -F input_ext_acl"),
                   ran_and_failed("iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip"),
                   ran_and_failed("iptables -A input_ext_acl -i br0 -j input_ext_us_acl"),
                   ran_and_failed("iptables -A forward_ext_ip -i wan3 -j forward_ext_ds_ip"),
                   ran_and_failed("iptables -A input_ext_acl -i wan3 -j input_ext_ds_acl"),
                   saved(),
                   saved6()}));
  EXPECT_EQ(read_file(config_path), with(fresh_config_file(), switch_value, "1"));
}

TEST(FirewallSwitch, AFailedRuleDoesNotStopTurningOn) {
  load(file('0'));
  const std::string failed =
      "iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10 --dport 80:88 -j DROP";
  fail_command(failed);
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }),
      lines({refresh(), flushed(), flushed6(), debug("\n==" + failed + "==\n"),
             ran_and_failed(failed), ran("iptables -t filter -F forward_ext_us_ip"),
             ran("iptables -t filter -F forward_ext_ds_ip"),
             error("config_fw_ip::str_system(" + failed + ") is err!\n"), url_rules(), bad_tcp(),
             mac_rules(), acl_rules(), portal_rules(), rules6(), wan_bound(), saved(), saved6()}));
  EXPECT_EQ(read_file(config_path), file('1'));
}

TEST(FirewallSwitch, RecordsThatCannotBeReadStopTurningOnWithTheSwitchOnInMemory) {
  load(file('0'));
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), -1); }),
            lines({refresh(), flushed(), flushed6(),
                   out("get_firewall_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_fw_status::get_firewall_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(read_file(config_path), file('0'));
  world.file_faults.clear();
  EXPECT_TRUE(switch_in_memory());
}

TEST(FirewallSwitch, ASaveThatFailsStopsTurningOnAtThatSave) {
  load_empty_firewall_that_is_on();
  write_file(config_path, fresh_config_file());
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf", 2);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), -1); }),
            lines({refresh(), flushed(), flushed6(), no_rules(1), no_rules(1), wan_bound(),
                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf", 2)}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
  EXPECT_TRUE(switch_in_memory());
}

TEST(FirewallSwitch, AnIpv6SaveThatFailsStopsTurningOnAtThatSave) {
  load(fresh_config_file());
  fail_command("ip6tables-save -t filter >/ztcfg/firewall6.conf");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), -1); }),
            lines({refresh(), flushed(), flushed6(), no_rules(1), no_rules(1), wan_bound(), saved(),
                   ran_and_failed("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
  EXPECT_TRUE(switch_in_memory());
}

TEST(FirewallSwitch, ASwitchThatCannotBeStoredStandsInMemoryAlone) {
  load(file('0'));
  // The first open is that of the records.
  for (const FileFault& fault :
       {FileFault{FileCall::open, 2, EROFS}, FileFault{FileCall::write, 1, ENOSPC},
        FileFault{FileCall::write, 2, ENOSPC}}) {
    world.file_faults = {fault};
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), -1); }),
              lines({switched_on(), state_write_failed}));
    EXPECT_EQ(read_file(config_path), file('0'));
    EXPECT_TRUE(switch_in_memory());
  }
}

TEST(FirewallSwitch, ASwitchOffThatCannotBeStoredStandsInMemoryAlone) {
  load(file('1'));
  world.file_faults = {{FileCall::lseek, 1, EIO}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(0), -1); }),
            lines({switched_off(), state_write_failed}));
  EXPECT_EQ(read_file(config_path), file('1'));
  EXPECT_FALSE(switch_in_memory());
}

TEST(FirewallSwitch, TurningOnWithoutAFileCreatesOne) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }),
            lines({switched_on_without_rules()}));
  EXPECT_EQ(read_file(config_path), with(fresh_config_file(), switch_value, "1"));
  expect_records_as_in_file();
}

TEST(FirewallSwitch, TurningOffWithoutAFileLeavesALineBehindAHole) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(0), 0); }), lines({switched_off()}));
  EXPECT_EQ(read_file(config_path), std::string(19, '\0') + "fire_wall=0\n");
}

TEST(FirewallSwitch, ReadingBringsMemoryInLineWithTheFile) {
  load(file('0'));
  write_file(config_path, file('1'));
  uint8_t state[2] = {9, 9};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_fw_status(state), 0); }), lines({refresh()}));
  EXPECT_EQ(state[0], 1);
  EXPECT_EQ(state[1], 9);
  EXPECT_TRUE(switch_in_memory());

  write_file(config_path, file('0'));
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_fw_status(state), 0); }), lines({refresh()}));
  EXPECT_EQ(state[0], 0);
  EXPECT_FALSE(switch_in_memory());
}

TEST(FirewallSwitch, ReadingWithoutAByteIsRefused) {
  load(file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_fw_status(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_fw_status::xo_control NULLP err\r\n")}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(FirewallSwitch, AFailedReadLeavesMemoryAndTheByteAlone) {
  load(file('1'));
  write_file(config_path, file('0'));
  for (const FileFault& fault :
       {FileFault{FileCall::open, 1, EACCES}, FileFault{FileCall::lseek, 1, EIO},
        FileFault{FileCall::read, 1, EIO}}) {
    world.file_faults = {fault};
    uint8_t state = 9;
    EXPECT_EQ(
        record([&] { EXPECT_EQ(gl3_web_get_fw_status(&state), -1); }),
        lines({refresh(), error("gl3_web_get_fw_status::get_firewall_state_from_cfgfile err!\n")}));
    EXPECT_EQ(state, 9);
    EXPECT_TRUE(switch_in_memory());
  }
}

TEST(CaptivePortalSwitch, ThePortalIsActiveWhenItsSwitchAndTheFirewallAreOn) {
  struct Case {
    char fire_wall;
    uint32_t portal;
    uint32_t expected;
  };
  for (const Case& one :
       {Case{'1', 1, 1}, Case{'1', 2, 1}, Case{'1', 0, 0}, Case{'0', 1, 0}, Case{'0', 0, 0}}) {
    const std::string before = with_word(file(one.fire_wall), caporl_filter_ctrl, one.portal);
    write_file(config_path, before);
    uint32_t status = 9;
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_caporl_status(&status), 0); }),
              lines({refresh(), refresh()}));
    EXPECT_EQ(status, one.expected);
    EXPECT_EQ(read_file(config_path), before);
    expect_records_as_in_file();
    EXPECT_EQ(switch_in_memory(), one.fire_wall == '1');
  }
}

TEST(CaptivePortalSwitch, AFirewallThatCannotBeReadCountsAsOff) {
  write_file(config_path, file('1'));
  world.file_faults = {{FileCall::open, 1, EACCES}};
  uint32_t status = 9;
  EXPECT_EQ(
      record([&] { EXPECT_EQ(gl3_web_get_caporl_status(&status), 0); }),
      lines({refresh(), error("gl3_web_get_fw_status::get_firewall_state_from_cfgfile err!\n"),
             refresh()}));
  EXPECT_EQ(status, 0U);
}

TEST(CaptivePortalSwitch, APortalThatCannotBeReadCountsAsOff) {
  write_file(config_path, file('1'));
  world.file_faults = {{FileCall::open, 2, EACCES}};
  uint32_t status = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_caporl_status(&status), 0); }),
            lines({refresh(), refresh(),
                   out("get_firewall_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_get_caporl_cfg::get_firewall_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(status, 0U);
}

TEST(CaptivePortalSwitch, APortalThatWasReadCountsThoughTheSecondLookAtTheSwitchFails) {
  write_file(config_path, file('1'));
  world.file_faults = {{FileCall::open, 3, EACCES}};
  uint32_t status = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_caporl_status(&status), 0); }),
            lines({refresh(), refresh(),
                   error("gl3_web_get_caporl_cfg::get_firewall_state_from_cfgfile err!\n")}));
  EXPECT_EQ(status, 1U);
}

TEST(CaptivePortalSwitch, EnablingTurnsTheWholeFirewallOn) {
  load(with_word(file('0'), caporl_filter_ctrl, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_caporl_enable(1), 0); }), lines({switched_on()}));
  EXPECT_EQ(read_file(config_path), file('1'));
}

TEST(CaptivePortalSwitch, DisablingTurnsTheWholeFirewallOffAndLeavesThePortalsOwnSwitch) {
  load(file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_caporl_enable(0), 0); }), lines({switched_off()}));
  EXPECT_EQ(read_file(config_path), file('0'));
  EXPECT_EQ(fw_rules_table.caporl.caporl_filter_ctrl, 1U);
}

TEST(CaptivePortalSwitch, OnlyTheLowByteReachesTheMasterSwitch) {
  load(file('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_caporl_enable(257), 0); }), lines({switched_on()}));
  EXPECT_EQ(read_file(config_path), file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_caporl_enable(256), 0); }), lines({switched_off()}));
}

TEST(CaptivePortalSwitch, ARefusalOfTheMasterSwitchIsStillASuccess) {
  load(file('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_caporl_enable(2), 0); }),
            lines({refresh(), error("gl3_web_set_fw_status::control =2 err\n")}));
  EXPECT_EQ(read_file(config_path), file('0'));
}
