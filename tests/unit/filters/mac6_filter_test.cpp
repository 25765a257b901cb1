/* The management calls of the IPv6 MAC filter. */
#include <cerrno>

#include "mac_image.hpp"

using namespace harness;

namespace {

constexpr char rule[] =
    "ip6tables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e "
    "-m time --timestart 8:5 --timestop 12:30 -j DROP";

std::string one_tablet(uint32_t mode, uint32_t control) {
  return mac_image(1,
                   {mac_entry(std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6),
                              std::string("\x08\x0c\x05\x1e", 4), 1, "abcdef")},
                   mode, control);
}

/* The configuration file with the switch as given and this MAC region in it. */
std::string file_with(bool on, const std::string& image) {
  std::string file = fresh_config_file();
  file[29] = on ? '1' : '0';
  return file.replace(13483, image.size(), image);
}

std::string set(const std::string& image, int32_t expected_result) {
  const l3_mac_filter region = mac_region(image);
  return record([&] { EXPECT_EQ(gl3_web_set_mac6_cfg(&region), expected_result); });
}

std::string remove_all(int32_t expected_result) {
  return record([&] { EXPECT_EQ(gl3_web_remove_all_mac6_rule(), expected_result); });
}

void store(bool on, const std::string& image) {
  load_firewall_switch(on);
  static_cast<void>(set(image, 0));
}

std::string stored() {
  return bytes_of(fw6_rules_table.mac_filter);
}

const std::string empty_region(212, '\0');

}  // namespace

TEST(Mac6Filter, SetWritesTheFileThenFlushesGeneratesAndSaves) {
  load_firewall_switch(true);
  EXPECT_EQ(set(one_tablet(0, 1), 0),
            lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                   debug("\n==[fw_enable=1,mac_filter_ctrl=1,macTable=1]\n"),
                   mac_rule("00:1a:2b:3c:4d:5e", rule), debug("[mac_black_white=0]\n"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  EXPECT_EQ(stored(), one_tablet(0, 1));
  EXPECT_EQ(read_file(config_path), file_with(true, one_tablet(0, 1)));
}

TEST(Mac6Filter, SetWritesTheIpv6RecordAloneBeforeTheRulesAreTouched) {
  load_firewall_switch(true);
  fw_rules_table.mac_filter = mac_region(one_tablet(3, 0));
  std::string at_first_command;
  world.system = [&](const std::string&) {
    if (at_first_command.empty()) {
      at_first_command = read_file(config_path);
    }
    return exited(0);
  };
  static_cast<void>(set(one_tablet(1, 1), 0));
  EXPECT_EQ(at_first_command, file_with(true, one_tablet(1, 1)));
}

TEST(Mac6Filter, SetGeneratesNothingWhileEitherSwitchIsOff) {
  load_firewall_switch(false);
  EXPECT_EQ(set(one_tablet(1, 1), 0),
            lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                   debug("\n==[fw_enable=0,mac_filter_ctrl=1,macTable=1]\n"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  load_firewall_switch(true);
  EXPECT_EQ(set(one_tablet(1, 0), 0),
            lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                   debug("\n==[fw_enable=1,mac_filter_ctrl=0,macTable=1]\n"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
}

TEST(Mac6Filter, EverySwitchValueButZeroIsOn) {
  load_firewall_switch(true);
  EXPECT_EQ(
      set(mac_image(-1, {}, 1, 0x80000000), 0),
      lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
             debug("\n==[fw_enable=1,mac_filter_ctrl=80000000,macTable=ffffffff]\n"),
             debug("[mac_black_white=1]\n"), ran("ip6tables -A forward_ext_mac -i br0 -j DROP"),
             ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
}

TEST(Mac6Filter, AnEqualImageChangesNothing) {
  store(true, one_tablet(0, 1));
  EXPECT_EQ(set(one_tablet(0, 1), 0), lines({refresh()}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(read_file(config_path), file_with(true, one_tablet(0, 1)));
}

TEST(Mac6Filter, AnyOtherByteMakesAnImageDifferent) {
  store(false, one_tablet(0, 0));
  std::string image = one_tablet(0, 0);
  for (const size_t byte : {size_t{3}, size_t{8}, size_t{14}, size_t{203}, size_t{211}}) {
    image[byte] = static_cast<char>(image[byte] + 1);
    EXPECT_NE(set(image, 0), lines({refresh()})) << byte;
    EXPECT_EQ(stored(), image) << byte;
    EXPECT_EQ(read_file(config_path), file_with(false, image)) << byte;
  }
}

TEST(Mac6Filter, SetNeedsAPointer) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_mac6_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_set_mac_cfg::xi_pMacTableInfo NULLP err\r\n")}));
}

TEST(Mac6Filter, AFailedWriteKeepsTheNewValuesInMemoryAndTheRulesAlone) {
  load_firewall_switch(true);
  const std::string before = read_file(config_path);
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(
      set(one_tablet(0, 1), -1),
      lines({refresh(), out("set_firewall6_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
             error("gl3_web_set_mac_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(stored(), one_tablet(0, 1));
  EXPECT_EQ(read_file(config_path), before);
}

TEST(Mac6Filter, AFailedFlushEndsTheSetWithoutAMessage) {
  load_firewall_switch(true);
  fail_command("ip6tables -t filter -F forward_ext_mac");
  EXPECT_EQ(set(one_tablet(0, 1), -1),
            lines({refresh(), ran_and_failed("ip6tables -t filter -F forward_ext_mac")}));
  EXPECT_EQ(read_file(config_path), file_with(true, one_tablet(0, 1)));
}

TEST(Mac6Filter, SetIgnoresAFailedRule) {
  load_firewall_switch(true);
  fail_command(rule);
  EXPECT_EQ(set(one_tablet(0, 1), 0),
            lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                   debug("\n==[fw_enable=1,mac_filter_ctrl=1,macTable=1]\n"),
                   mac_traced("00:1a:2b:3c:4d:5e", rule), ran_and_failed(rule),
                   ran("ip6tables -t filter -F forward_ext_mac"),
                   error("config_fw6_mac::str_system(" + std::string(rule) + ") is err!\n"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
}

TEST(Mac6Filter, SetReturnsTheResultOfTheSave) {
  load_firewall_switch(false);
  fail_command("ip6tables-save -t filter >/ztcfg/firewall6.conf");
  EXPECT_EQ(set(one_tablet(0, 1), -1),
            lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                   debug("\n==[fw_enable=0,mac_filter_ctrl=1,macTable=1]\n"),
                   ran_and_failed("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
}

TEST(Mac6Filter, GetReloadsTheIpv6RecordAloneAndCopiesTheRegionOut) {
  const std::string file = file_with(false, one_tablet(2, 3));
  write_file(config_path, file);
  fw_rules_table.mac_filter.mac_black_white = 5;
  const std::string before = bytes_of(fw_rules_table);
  fw6_rules_table.mac_filter.mac_black_white = 5;
  l3_mac_filter region = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_mac6_cfg(&region), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(region), one_tablet(2, 3));
  EXPECT_EQ(bytes_of(fw_rules_table) + bytes_of(fw6_rules_table), before + file.substr(6447, 8572));
}

TEST(Mac6Filter, GetBringsTheMasterSwitchInLineWithTheFile) {
  l3_mac_filter region = {};
  for (const bool on : {true, false}) {
    write_file(config_path, file_with(on, empty_region));
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_mac6_cfg(&region), 0); }), lines({refresh()}));
    EXPECT_EQ(set(mac_image(0, {}, 0, 1), 0),
              lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                     on ? debug("\n==[fw_enable=1,mac_filter_ctrl=1,macTable=0]\n") +
                              debug("[mac_black_white=0]\n")
                        : debug("\n==[fw_enable=0,mac_filter_ctrl=1,macTable=0]\n"),
                     ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  }
}

TEST(Mac6Filter, GetNeedsAPointer) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_mac6_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_mac6_cfg::xo_pMacTableInfo NULLP err\r\n")}));
}

TEST(Mac6Filter, AFailedReadOfTheRecordsLeavesTheCallersBufferAlone) {
  write_file(config_path, file_with(true, one_tablet(0, 1)));
  l3_mac_filter region = {};
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_mac6_cfg(&region), -1); }),
            lines({refresh(),
                   out("get_firewall6_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_get_mac6_cfg::get_firewall6_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(region), empty_region);
}

TEST(Mac6Filter, AFailedReadOfTheSwitchComesAfterTheCopy) {
  load_firewall_switch(true);
  write_file(config_path, file_with(false, one_tablet(0, 1)));
  for (const FileFault& fault :
       {FileFault{FileCall::open, 2, EACCES}, FileFault{FileCall::lseek, 2, EIO},
        FileFault{FileCall::read, 2, EIO}}) {
    world.file_faults = {fault};
    l3_mac_filter region = {};
    EXPECT_EQ(
        record([&] { EXPECT_EQ(gl3_web_get_mac6_cfg(&region), -1); }),
        lines({refresh(), error("gl3_web_get_mac6_cfg::get_firewall_state_from_cfgfile err!\n")}));
    EXPECT_EQ(bytes_of(region), one_tablet(0, 1));
    EXPECT_TRUE(switch_in_memory());
  }
}

TEST(Mac6Filter, RemoveAllAddsTheCatchAllInEveryModeButZero) {
  for (const uint32_t mode : {1U, 2U}) {
    store(true, one_tablet(mode, 3));
    EXPECT_EQ(remove_all(0), lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                                    ran("ip6tables -A forward_ext_mac -i br0 -j DROP"),
                                    ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
    EXPECT_EQ(stored(), mac_image(0, {}, mode, 3));
    EXPECT_EQ(read_file(config_path), file_with(true, mac_image(0, {}, mode, 3)));
  }
}

TEST(Mac6Filter, RemoveAllAddsNoCatchAllToABlackListOrWhileASwitchIsOff) {
  struct Case {
    bool on;
    uint32_t mode, control;
  };
  for (const Case& the : {Case{true, 0, 1}, Case{true, 1, 0}, Case{false, 1, 1}}) {
    store(the.on, one_tablet(the.mode, the.control));
    EXPECT_EQ(remove_all(0), lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                                    ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
    EXPECT_EQ(stored(), mac_image(0, {}, the.mode, the.control));
    EXPECT_EQ(read_file(config_path), file_with(the.on, mac_image(0, {}, the.mode, the.control)));
  }
}

TEST(Mac6Filter, RemoveAllIgnoresTheResultOfTheCatchAll) {
  store(true, one_tablet(1, 1));
  fail_command("ip6tables -A forward_ext_mac -i br0 -j DROP");
  EXPECT_EQ(remove_all(0), lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                                  ran_and_failed("ip6tables -A forward_ext_mac -i br0 -j DROP"),
                                  ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  EXPECT_EQ(stored(), mac_image(0, {}, 1, 1));
}

TEST(Mac6Filter, RemoveAllEndsAtAFailedFlush) {
  store(true, one_tablet(1, 1));
  fail_command("ip6tables -t filter -F forward_ext_mac");
  EXPECT_EQ(remove_all(-1),
            lines({refresh(), ran_and_failed("ip6tables -t filter -F forward_ext_mac"),
                   error("gl3_web_remove_all_mac_rule::flush_fw_mac err!\n")}));
  EXPECT_EQ(stored(), one_tablet(1, 1));
}

TEST(Mac6Filter, RemoveAllEndsAtAFailedSave) {
  store(true, one_tablet(1, 1));
  fail_command("ip6tables-save -t filter >/ztcfg/firewall6.conf");
  EXPECT_EQ(remove_all(-1),
            lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                   ran("ip6tables -A forward_ext_mac -i br0 -j DROP"),
                   ran_and_failed("ip6tables-save -t filter >/ztcfg/firewall6.conf"),
                   error("gl3_web_remove_all_mac6_rule::save_fw6 err!\n")}));
  EXPECT_EQ(stored(), one_tablet(1, 1));
  EXPECT_EQ(read_file(config_path), file_with(true, one_tablet(1, 1)));
}

TEST(Mac6Filter, RemoveAllReportsAFailedWrite) {
  store(true, one_tablet(0, 1));
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(remove_all(-1),
            lines({refresh(), ran("ip6tables -t filter -F forward_ext_mac"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf"),
                   out("set_firewall6_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_remove_all_mac6_rule::set_firewall6_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(stored(), mac_image(0, {}, 0, 1));
  EXPECT_EQ(read_file(config_path), file_with(true, one_tablet(0, 1)));
}
