/* The DHCP client MAC filter: its management calls. */
#include <cerrno>

#include "dhcp_image.hpp"

using namespace harness;
using namespace harness::dhcp;

TEST(DhcpFilter, AFailedRuleDoesNotFailTheSetCall) {
  load_firewall_switch(true);
  fail_command(first_drop);
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_devices(0, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=2"),
                   failed_rule(first_drop), ran(flush),
                   error("config_fw_dhcp::str_system(" + std::string(first_drop) + ") is err!\n"),
                   ran(save)}));
  EXPECT_EQ(read_file(config_path), file_with('1', two_devices(0, 1)));
}

TEST(DhcpFilter, WithTheFirewallOffTheSettingIsStoredOnly) {
  load_firewall_switch(false);
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_devices(1, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=0,dhcp_mac_filter_ctrl=1,dhcpTable=2"),
                   ran(save)}));
  EXPECT_EQ(read_file(config_path), file_with('0', two_devices(1, 1)));
}

TEST(DhcpFilter, WithTheFilterOffTheSettingIsStoredOnly) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_devices(1, 0)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=0,dhcpTable=2"),
                   ran(save)}));
  EXPECT_EQ(read_file(config_path), file_with('1', two_devices(1, 0)));
}

TEST(DhcpFilter, AnIdenticalImageChangesNothing) {
  load_firewall_switch(true);
  static_cast<void>(record([] { set(two_devices(0, 1)); }));
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_devices(0, 1)), 0); }), lines({refresh()}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(DhcpFilter, AnImageThatDiffersInItsLastByteIsApplied) {
  load_firewall_switch(false);
  static_cast<void>(record([] { set(two_devices(0, 1)); }));
  std::string other = two_devices(0, 1);
  other[211] = static_cast<char>(other[211] ^ 0x40);
  static_cast<void>(record([&] { EXPECT_EQ(set(other), 0); }));
  EXPECT_EQ(read_file(config_path), file_with('0', other));
}

TEST(DhcpFilter, AnImageThatDiffersInItsCountAloneIsApplied) {
  load_firewall_switch(true);
  const std::string entries = entry(1, first_mac) + entry(1, third_mac);
  static_cast<void>(record([&] { set(region(2, entries, 0, 1)); }));
  EXPECT_EQ(record([&] { EXPECT_EQ(set(region(1, entries, 0, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=1"),
                   rule(first_drop), generated("1"), ran(save)}));
}

TEST(DhcpFilter, SettingNothingIsRefused) {
  load_firewall_switch(true);
  store(two_devices(0, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_dhcp_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_set_dhcp_cfg::xi_pDhcpMacTableInfo NULLP err\r\n")}));
  EXPECT_EQ(stored(), two_devices(0, 1));
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(DhcpFilter, AFailedWriteStopsTheSetCallBeforeTheRules) {
  load_firewall_switch(true);
  for (const WriteFault& one : write_faults) {
    store(region(0, "", 0, 0));
    world.file_faults = {one.fault};
    EXPECT_EQ(record([] { EXPECT_EQ(set(two_devices(0, 1)), -1); }),
              lines({refresh(), out(one.message),
                     error("gl3_web_set_dhcp_cfg::set_firewall_rules_to_cfgfile err!\n")}));
    EXPECT_EQ(stored(), two_devices(0, 1));
  }
}

TEST(DhcpFilter, AFileThatCannotBeMadeStopsTheSetCall) {
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_devices(0, 1)), -1); }),
            lines({refresh(), out("set_firewall_rules_to_cfgfile::init_cfgfile err!\n"),
                   error("gl3_web_set_dhcp_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(DhcpFilter, AFailedFlushStopsTheSetCallWithoutAWord) {
  load_firewall_switch(true);
  fail_command(flush);
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_devices(0, 1)), -1); }),
            lines({refresh(), ran_and_failed(flush)}));
  EXPECT_EQ(read_file(config_path), file_with('1', two_devices(0, 1)));
}

TEST(DhcpFilter, AFailedSaveIsTheResultOfTheSetCall) {
  load_firewall_switch(true);
  fail_command(save);
  EXPECT_EQ(record([] { EXPECT_EQ(set(region(0, "", 0, 1)), -1); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=0"),
                   generated("1"), ran_and_failed(save)}));
}

TEST(DhcpFilter, GettingReadsTheFile) {
  write_file(config_path, file_with('1', two_devices(1, 7)));
  l3_dhcp_filter got = image_of(std::string(212, '\x5a'));
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_dhcp_cfg(&got), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(got), two_devices(1, 7));
  EXPECT_EQ(stored(), two_devices(1, 7));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_TRUE(switch_in_memory());
}

TEST(DhcpFilter, GettingIntoNothingIsRefused) {
  write_file(config_path, file_with('1', two_devices(1, 7)));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_dhcp_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_dhcp_cfg::xo_pDhcpMacTableInfo NULLP err\r\n")}));
  EXPECT_EQ(stored(), std::string(212, '\0'));
}

TEST(DhcpFilter, GettingFromAFileThatCannotBeReadFails) {
  write_file(config_path, file_with('1', two_devices(1, 7)));
  for (const FileFault& fault :
       {FileFault{FileCall::read, 1, EIO}, FileFault{FileCall::read, 2, EIO}}) {
    world.file_faults = {fault};
    l3_dhcp_filter got = image_of(std::string(212, '\x5a'));
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_dhcp_cfg(&got), -1); }),
              lines({refresh(),
                     out("get_firewall_rules_from_cfgfile::read /ztcfg/l3_advance.dat error!\n"),
                     error("gl3_web_get_dhcp_cfg::get_firewall_rules_from_cfgfile err!\n")}));
    EXPECT_EQ(bytes_of(got), std::string(212, '\x5a'));
  }
}

TEST(DhcpFilter, ASwitchThatCannotBeReadFailsTheGetCallAfterTheCopy) {
  load_firewall_switch(true);
  write_file(config_path, file_with('0', two_devices(1, 7)));
  for (const FileFault& fault :
       {FileFault{FileCall::open, 2, EIO}, FileFault{FileCall::lseek, 3, EIO},
        FileFault{FileCall::read, 3, EIO}}) {
    world.file_faults = {fault};
    l3_dhcp_filter got = image_of(std::string(212, '\x5a'));
    EXPECT_EQ(
        record([&] { EXPECT_EQ(gl3_web_get_dhcp_cfg(&got), -1); }),
        lines({refresh(), error("gl3_web_get_dhcp_cfg::get_firewall_state_from_cfgfile err!\n")}));
    EXPECT_EQ(bytes_of(got), two_devices(1, 7));
  }
  world.file_faults.clear();
  EXPECT_TRUE(switch_in_memory());
}

TEST(DhcpFilter, RemovingAllKeepsModeAndSwitchAndAddsNoCatchAll) {
  load_firewall_switch(true);
  store(two_devices(1, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_dhcp_rule(), 0); }),
            lines({refresh(), ran(flush), ran(save)}));
  EXPECT_EQ(stored(), region(0, "", 1, 1));
  EXPECT_EQ(read_file(config_path), file_with('1', region(0, "", 1, 1)));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(DhcpFilter, RemovingAllStopsAtAFailedFlush) {
  load_firewall_switch(true);
  store(two_devices(1, 1));
  fail_command(flush);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_dhcp_rule(), -1); }),
            lines({refresh(), ran_and_failed(flush),
                   error("gl3_web_remove_all_dhcp_rule::flush_fw_mac err!\n")}));
  EXPECT_EQ(stored(), two_devices(1, 1));
}

TEST(DhcpFilter, RemovingAllStopsAtAFailedSave) {
  load_firewall_switch(true);
  store(two_devices(1, 1));
  fail_command(save);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_dhcp_rule(), -1); }),
            lines({refresh(), ran(flush), ran_and_failed(save),
                   error("gl3_web_remove_all_dhcp_rule::save_fw err!\n")}));
  EXPECT_EQ(stored(), two_devices(1, 1));
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(DhcpFilter, RemovingAllReportsAFailedWrite) {
  load_firewall_switch(true);
  for (const WriteFault& one : write_faults) {
    store(two_devices(1, 1));
    world.file_faults = {one.fault};
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_dhcp_rule(), -1); }),
              lines({refresh(), ran(flush), ran(save), out(one.message),
                     error("gl3_web_remove_all_dhcp_rule::set_firewall_rules_to_cfgfile err!\n")}));
    EXPECT_EQ(stored(), region(0, "", 1, 1));
  }
}

TEST(DhcpFilter, TheDefaultIsAnAllZeroRegion) {
  load_firewall_switch(true);
  store(two_devices(1, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_dhcp_table_default(), 0); }),
            lines({refresh(), ran(flush), ran(save)}));
  EXPECT_EQ(stored(), std::string(212, '\0'));
  EXPECT_EQ(read_file(config_path), file_with('1', std::string(212, '\0')));
}

TEST(DhcpFilter, TheDefaultLeavesTheNeighbourRegionsAlone) {
  load_firewall_switch(true);
  store(two_devices(1, 1));
  fw_rules_table.mac_filter.mac_filter_ctrl = 0x01020304;
  fw_rules_table.acl.count = 0x05060708;
  static_cast<void>(record([] { EXPECT_EQ(gl3_web_set_dhcp_table_default(), 0); }));
  EXPECT_EQ(fw_rules_table.mac_filter.mac_filter_ctrl, 0x01020304U);
  EXPECT_EQ(fw_rules_table.acl.count, 0x05060708);
}

TEST(DhcpFilter, TheDefaultStopsAtAFailedFlush) {
  load_firewall_switch(true);
  store(two_devices(1, 1));
  fail_command(flush);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_dhcp_table_default(), -1); }),
            lines({refresh(), ran_and_failed(flush),
                   error("gl3_web_set_dhcp_table_default::flush_fw_mac err!\n")}));
  EXPECT_EQ(stored(), two_devices(1, 1));
}

TEST(DhcpFilter, TheDefaultStopsAtAFailedSave) {
  load_firewall_switch(true);
  store(two_devices(1, 1));
  fail_command(save);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_dhcp_table_default(), -1); }),
            lines({refresh(), ran(flush), ran_and_failed(save),
                   error("gl3_web_set_dhcp_table_default::save_fw err!\n")}));
  EXPECT_EQ(stored(), two_devices(1, 1));
}

TEST(DhcpFilter, TheDefaultReportsAFailedWrite) {
  load_firewall_switch(true);
  for (const WriteFault& one : write_faults) {
    store(two_devices(1, 1));
    world.file_faults = {one.fault};
    EXPECT_EQ(
        record([] { EXPECT_EQ(gl3_web_set_dhcp_table_default(), -1); }),
        lines({refresh(), ran(flush), ran(save), out(one.message),
               error("gl3_web_set_dhcp_table_default::set_firewall_rules_to_cfgfile err!\n")}));
    EXPECT_EQ(stored(), std::string(212, '\0'));
  }
}
