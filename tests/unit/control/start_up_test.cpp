/* Start-up: what a boot runs, by the files that it finds. */
#include <sys/stat.h>

#include <cerrno>

#include "harness.hpp"
#include "sample_config.hpp"

using namespace harness;
using namespace sample_config;

namespace {

/* What every boot begins with. */
Lines boot_begins() {
  return together({refresh(), modules_list(), tree()});
}

Lines ipsec_asked(uint32_t value) {
  return together({refresh(), debug("get ipsec_pass_ctrl=" + std::to_string(value) + "\n")});
}

/* A third start with the sample configuration, its switch on. */
Lines sample_config_boot() {
  return together({boot_begins(), rules(), saved(), restored6(), ipsec_asked(1), qos_pushed()});
}

/* A third start with the switch off. */
Lines boot_with_switch_off() {
  return together({boot_begins(), ipsec_asked(1), qos_pushed()});
}

std::string bytes_of_file(const char* path) {
  return file_exists(path) ? read_file(path) : "(none)";
}

}  // namespace

TEST(StartUp, AFirstStartRecordsTheEmptyTreeAlone) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), saved(), qos_pushed()}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
  EXPECT_EQ(last_qos_record(), std::string(248, '\0'));
  expect_records_as_in_file();
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(StartUp, AFirstStartDoesNotReadTheSwitchOrGenerateRules) {
  const std::string before = with_word(file('1'), ipsec_pass_ctrl, 0);
  write_file(config_path, before);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), saved(), qos_pushed()}));
  EXPECT_EQ(last_qos_record(), before.substr(qos, 248));
  EXPECT_EQ(read_file(config_path), before);
  EXPECT_EQ(bytes_of(fw_rules_table), std::string(6168, '\0'));
  EXPECT_FALSE(switch_in_memory());
}

TEST(StartUp, WithoutTheIpv4SaveFileTheIpv6OneIsNotLookedAt) {
  write_file(config_path, file('1'));
  write_file(save6_path, saved_rules);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), saved(), qos_pushed()}));
}

TEST(StartUp, ASecondStartRecordsTheIpv6TreeAlone) {
  write_file(config_path, file('1'));
  write_file(save_path, saved_rules);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), saved6(), qos_pushed()}));
  EXPECT_EQ(read_file(config_path), file('1'));
  EXPECT_FALSE(switch_in_memory());
}

TEST(StartUp, AThirdStartGeneratesIpv4FromTheRecordsAndRestoresIpv6) {
  write_file(config_path, file('1'));
  put_save_files();
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }), lines({sample_config_boot()}));
  EXPECT_EQ(read_file(config_path), file('1'));
  EXPECT_EQ(last_qos_record(), file('1').substr(qos, 248));
  expect_records_as_in_file();
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_TRUE(switch_in_memory());
}

TEST(StartUp, AThirdStartWithTheSwitchOffGeneratesNothing) {
  write_file(config_path, file('0'));
  put_save_files();
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }), lines({boot_with_switch_off()}));
  EXPECT_EQ(read_file(config_path), file('0'));
  EXPECT_FALSE(switch_in_memory());
}

TEST(StartUp, IpsecIsDroppedWhateverTheSwitchSays) {
  put_save_files();
  write_file(config_path, with_word(file('0'), ipsec_pass_ctrl, 0));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), ipsec_asked(0), ipsec_dropped(), qos_pushed()}));
  write_file(config_path, with_word(file('1'), ipsec_pass_ctrl, 0));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), rules(), saved(), restored6(), ipsec_asked(0), ipsec_dropped(),
                   qos_pushed()}));
}

TEST(StartUp, AnyIpsecWordButZeroPasses) {
  put_save_files();
  write_file(config_path, with_word(file('0'), ipsec_pass_ctrl, 2));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), ipsec_asked(2), qos_pushed()}));
}

TEST(StartUp, AnIpsecSettingThatCannotBeReadDropsIpsec) {
  put_save_files();
  write_file(config_path, file('0'));
  // The switch is the first open, the setting the second.
  world.file_faults = {{FileCall::open, 2, EACCES}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), refresh(),
                   out("get_firewall_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_get_ipsec_pass_ctrl::get_firewall_rules_from_cfgfile err!\n"),
                   ipsec_dropped(), qos_pushed()}));
}

TEST(StartUp, ASwitchThatCannotBeReadEndsItBeforeRouteQos) {
  put_save_files();
  write_file(config_path, file('1'));
  for (const FileFault& fault :
       {FileFault{FileCall::open, 1, EACCES}, FileFault{FileCall::lseek, 1, EIO},
        FileFault{FileCall::read, 1, EIO}}) {
    world.file_faults = {fault};
    EXPECT_EQ(
        record([] { EXPECT_EQ(gl3_web_init_fw(), -1); }),
        lines({boot_begins(), error("gl3_web_init_fw::get_firewall_state_from_cfgfile err!\n")}));
  }
  world.file_faults.clear();
  EXPECT_FALSE(switch_in_memory());
}

TEST(StartUp, AFolderInPlaceOfTheConfigurationFileEndsIt) {
  put_save_files();
  ASSERT_EQ(mkdir(config_path, 0700), 0);
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_init_fw(), -1); }),
      lines({boot_begins(), error("gl3_web_init_fw::get_firewall_state_from_cfgfile err!\n")}));
}

TEST(StartUp, AConfigurationFileThatCannotBeCreatedEndsIt) {
  put_save_files();
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), -1); }),
            lines({boot_begins(), out("get_firewall_state_from_cfgfile::init_cfgfile err!\n"),
                   error("gl3_web_init_fw::get_firewall_state_from_cfgfile err!\n")}));
}

TEST(StartUp, RecordsThatCannotBeReadGenerateWhatMemoryHolds) {
  put_save_files();
  write_file(config_path, file('1'));
  world.file_faults = {{FileCall::open, 2, EACCES}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(),
                   out("get_firewall_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   no_rules(1), saved(), restored6(), ipsec_asked(1), qos_pushed()}));
}

TEST(StartUp, QosThatCannotBeReadIsOnlyLogged) {
  put_save_files();
  write_file(config_path, file('0'));
  world.file_faults = {{FileCall::open, 3, EACCES}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), ipsec_asked(1),
                   out("get_qos_cfg_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_init_qos::get_qos_rules_from_cfgfile err!\n")}));
}

TEST(StartUp, QosThatThePlatformRefusesIsOnlyLogged) {
  world.qos_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), saved(), qos_pushed(),
                   error("gl3_init_qos::gpon_l3_set_qos_rules err!\n")}));
  world.qos_result = 6;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), saved(), qos_pushed()}));
}

TEST(StartUp, AMissingConfigurationFileIsCreatedOnTheThirdStart) {
  put_save_files();
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }), lines({boot_with_switch_off()}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(StartUp, AnEmptyConfigurationFileIsOffAndDropsIpsec) {
  put_save_files();
  write_file(config_path, "");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), ipsec_asked(0), ipsec_dropped(), qos_pushed()}));
  EXPECT_EQ(read_file(config_path), "");
}

TEST(StartUp, AConfigurationFileThatEndsBehindItsSwitchHasNoRules) {
  put_save_files();
  write_file(config_path, "vpn_pass_through=1\nfire_wall=1\n");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), no_rules(1), saved(), restored6(), ipsec_asked(0),
                   ipsec_dropped(), qos_pushed()}));
  EXPECT_EQ(last_qos_record(), std::string(248, '\0'));
}

TEST(StartUp, AConfigurationFileThatEndsInsideTheSwitchIsOff) {
  put_save_files();
  write_file(config_path, "vpn_pass_through=1\nfire_wall=1");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), ipsec_asked(0), ipsec_dropped(), qos_pushed()}));
}

TEST(StartUp, AConfigurationFileThatEndsInsideTheIpv6RecordKeepsItsIpv4Rules) {
  put_save_files();
  write_file(config_path, file('1').substr(0, fw6 + 100));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }), lines({sample_config_boot()}));
  EXPECT_EQ(bytes_of(fw6_rules_table), file('1').substr(fw6, 100) + std::string(8572 - 100, '\0'));
}

TEST(StartUp, EmptyAndUnreadableSaveFilesCountAsThere) {
  write_file(config_path, file('1'));
  write_file(save_path, "");
  ASSERT_EQ(chmod(save_path, 0), 0);
  ASSERT_EQ(mkdir(save6_path, 0), 0);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }), lines({sample_config_boot()}));
}

TEST(StartUp, ASaveThatFailsIsTheResultOfTheFirstTwoStarts) {
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  fail_command("ip6tables-save -t filter >/ztcfg/firewall6.conf", 4);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), -1); }),
            lines({boot_begins(), ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                   qos_pushed()}));
  write_file(save_path, saved_rules);
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_init_fw(), -1); }),
      lines({boot_begins(), ran_and_failed("ip6tables-save -t filter >/ztcfg/firewall6.conf", 4),
             qos_pushed()}));
}

TEST(StartUp, NoFailedCommandEndsTheThirdStart) {
  put_save_files();
  write_file(config_path,
             with(with_word(fresh_config_file(), ipsec_pass_ctrl, 0), switch_value, "1"));
  world.system = [](const std::string&) { return exited(1); };
  Lines failed_tree;
  for (const std::string& command : tree_commands()) {
    failed_tree = together({failed_tree, ran_and_failed(command)});
  }
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
      lines(
          {refresh(),
           ran_and_failed("mkdir -p /lib/modules/$(uname -r);"
                          "touch /lib/modules/$(uname -r)/modules.dep"),
           failed_tree, no_rules(1),
           ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
           ran_and_failed("ip6tables-restore </ztcfg/firewall6.conf"), ipsec_asked(0),
           ran_and_failed("iptables -t filter -A FORWARD -p udp --sport 500 --dport 500 -j DROP"),
           ran_and_failed("iptables -t filter -A FORWARD -p udp --sport 4500 --dport 4500 -j DROP"),
           qos_pushed()}));
}

TEST(StartUp, WhereTheChainsStandEveryHookIsAppendedOnceMore) {
  put_save_files();
  write_file(config_path, file('0'));
  world.system = [](const std::string& line) {
    return line.find(" -N ") != std::string::npos ? exited(1) : 0;
  };
  Lines tree_over_tree;
  for (const std::string& command : tree_commands()) {
    const bool creates = command.find(" -N ") != std::string::npos;
    tree_over_tree = tree_over_tree + (creates ? ran_and_failed(command) : ran(command));
  }
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({refresh(), modules_list(), tree_over_tree, ipsec_asked(1), qos_pushed()}));
}

TEST(StartUp, ASecondCallRepeatsEveryCommand) {
  write_file(config_path, file('1'));
  put_save_files();
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }), lines({sample_config_boot()}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }), lines({sample_config_boot()}));
}

TEST(StartUp, TheFlagMigratesBeforeAnyChainIsCreated) {
  write_file(flag_path, "");
  write_file(config_path, "replaced by the old file");
  std::string old = with_word(fresh_config_file(), ipsec_pass_ctrl, 0);
  old = with(old, switch_value, "1");
  put(old, fw + 2416, word(1));
  put(old, fw + 2420, word(6) + std::string("old.test") + std::string(24, '\0'));
  put(old, fw + 2416 + 1808, word(1));
  write_file(old_path, old);
  put_save_files();
  shell_writes_files();

  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
      lines({refresh(), command("mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat"), modules_list(),
             tree(), debug("\n==[fw_enable=1,url_filter_ctrl=1,urlTable=1]\n"),
             debug("xxx.xxx.xx\n"), debug("url=old.test\n"), debug("resolve_url=\x03old\x04test\n"),
             debug("\n==iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string "
                   "\"\x03old\x04test\" --algo bm -m time --timestart 0:0 --timestop 23:59 -j "
                   "DROP==\n"),
             ran("iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string "
                 "\"\x03old\x04test\" --algo bm -m time --timestart 0:0 --timestop 23:59 -j DROP"),
             debug("[url_black_white=0]\n"), saved(), restored6(), ipsec_asked(1), qos_pushed()}));
  EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 1);
  EXPECT_FALSE(file_exists(old_path));
  EXPECT_TRUE(file_exists(flag_path));

  std::string expected = with_word(old, ipsec_pass_ctrl, 1);
  put(expected, fw + 2420,
      word(1) + word(6) + std::string("old.test") + std::string(24, '\0') +
          std::string("\0\x18\0\0", 4));
  put(expected, fw + 4624, word(1));
  EXPECT_EQ(read_file(config_path), expected);
}

TEST(StartUp, WithoutTheFlagAnOldFileStays) {
  write_file(old_path, file('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), saved(), qos_pushed()}));
  EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 0);
  EXPECT_TRUE(file_exists(old_path));
}

TEST(StartUp, TheFlagMigratesOnceInAProcessAndOnAFirstStartToo) {
  write_file(flag_path, "");
  write_file(old_path, with_word(fresh_config_file(), ipsec_pass_ctrl, 0));
  shell_writes_files();
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({refresh(), command("mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat"),
                   modules_list(), tree(), saved(), qos_pushed()}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({boot_begins(), saved6(), qos_pushed()}));
  EXPECT_EQ(g_porting_firewall_cfg_v1_to_v2_called_count, 1);
}

TEST(StartUp, TheFlagWithoutAnyFileCreatesTheDefaults) {
  write_file(flag_path, "");
  shell_writes_files();
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
            lines({refresh(), command("mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat"),
                   modules_list(), tree(), saved(), qos_pushed()}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(StartUp, TheFlagWithAShortOldFileFillsTheRecordsWithZeros) {
  write_file(flag_path, "");
  write_file(old_path, "vpn_pass_through=1\nfire_wall=1\n");
  put_save_files();
  shell_writes_files();
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
      lines({refresh(), command("mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat"), modules_list(),
             tree(), no_rules(1), saved(), restored6(), ipsec_asked(1), qos_pushed()}));
  std::string expected = with(fresh_config_file(), vpn_value, "1");
  expected = with(expected, switch_value, "1");
  EXPECT_EQ(read_file(config_path), with_word(expected, fw6 + 7032, 0));
}

TEST(StartUp, AStartTouchesNoOtherFile) {
  put_save_files();
  write_file(config_path, file('1'));
  static_cast<void>(record([] { gl3_web_init_fw(); }));
  EXPECT_EQ(bytes_of_file(save_path), saved_rules);
  EXPECT_EQ(bytes_of_file(save6_path), saved_rules);
  EXPECT_EQ(bytes_of_file(flag_path), "(none)");
  EXPECT_EQ(bytes_of_file(old_path), "(none)");
}
