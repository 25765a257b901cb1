/* The local-service access control list: its management calls. */
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "access_list_image.hpp"

using namespace harness;
using namespace harness::access_list;

namespace {

std::string set(const l3_acl& list, int32_t result = 0) {
  return record([&] { EXPECT_EQ(gl3_web_set_acl_cfg(&list), result); });
}

/* The region that web_from_host() is, byte for byte. */
std::string web_from_host_bytes() {
  std::string bytes = word(1) + word(1) + word(1) + word(0) + word(host) + word(host);
  bytes.resize(324, '\0');
  return bytes + word(1);
}

/* A fresh file with the switch as given and the region's 328 bytes in place. */
std::string file_with(bool on, const std::string& region) {
  std::string file = fresh_config_file();
  file[29] = on ? '1' : '0';
  return file.replace(5091, 328, region);
}

Lines set_trace_of_web_from_host() {
  return {refresh()[0], debug("\n------SET------[acl_filter_ctrl=1]\n")[0],
          debug("==========[set]index=0, allocated=1, src_ip0=c0a80102, "
                "src_ip1=c0a80102========\n")[0]};
}

Lines saved() {
  return ran("iptables-save -t filter >/ztcfg/firewall.conf");
}

/* Loads a stored list of one entry with the switch on. */
void load_web_from_host() {
  load_firewall_switch(true);
  static_cast<void>(set(web_from_host()));
}

/* The master switch in memory is on: a changed list reaches the chains. */
void expect_that_a_set_applies() {
  EXPECT_EQ(set(list_of({{1, 5, 0, 0, 0}})),
            lines({refresh(), debug("\n------SET------[acl_filter_ctrl=1]\n"),
                   debug("==========[set]index=0, allocated=1, src_ip0=0, src_ip1=0========\n"),
                   ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"),
                   debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                   ran("iptables -A input_ext_us_acl -j DROP"), saved()}));
}

}  // namespace

/* ---- set ---- */

TEST(AccessList, SettingStoresFlushesAppliesAndSaves) {
  load_firewall_switch(true);
  EXPECT_EQ(set(web_from_host()),
            lines({set_trace_of_web_from_host(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl")}) +
                rules_of_web_from_host() + lines({saved()}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), web_from_host_bytes());
  EXPECT_EQ(read_file(config_path), file_with(true, web_from_host_bytes()));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(AccessList, TheFileIsWrittenBeforeTheChainsAreTouched) {
  load_firewall_switch(true);
  std::string at_first_command;
  world.system = [&](const std::string&) {
    if (at_first_command.empty()) {
      at_first_command = read_file(config_path);
    }
    return 0;
  };
  set(web_from_host());
  EXPECT_EQ(at_first_command, file_with(true, web_from_host_bytes()));
}

TEST(AccessList, SettingWithTheMasterSwitchOffOnlyStoresAndFlushes) {
  load_firewall_switch(false);
  EXPECT_EQ(set(web_from_host()),
            lines({set_trace_of_web_from_host(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"), saved()}));
  EXPECT_EQ(read_file(config_path), file_with(false, web_from_host_bytes()));
}

TEST(AccessList, SettingWithTheListOffOnlyStoresAndFlushes) {
  load_firewall_switch(true);
  l3_acl list = web_from_host();
  list.acl_filter_ctrl = 0;
  EXPECT_EQ(set(list), lines({refresh(), debug("\n------SET------[acl_filter_ctrl=0]\n"),
                              debug("==========[set]index=0, allocated=1, src_ip0=c0a80102, "
                                    "src_ip1=c0a80102========\n"),
                              ran("iptables -t filter -F input_ext_us_acl"),
                              ran("iptables -t filter -F input_ext_ds_acl"), saved()}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), web_from_host_bytes().replace(324, 4, word(0)));
}

TEST(AccessList, AnySwitchValueButZeroAppliesTheList) {
  load_firewall_switch(true);
  EXPECT_EQ(set(list_of({{1, 5, 0, 0, 0}}, 2)),
            lines({refresh(), debug("\n------SET------[acl_filter_ctrl=2]\n"),
                   debug("==========[set]index=0, allocated=1, src_ip0=0, src_ip1=0========\n"),
                   ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"),
                   debug("\n==iptables -A input_ext_us_acl -p icmp -j ACCEPT==\n"),
                   ran("iptables -A input_ext_us_acl -p icmp -j ACCEPT"),
                   ran("iptables -A input_ext_us_acl -j DROP"), saved()}));
}

TEST(AccessList, SettingWithoutAnImageIsRefused) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_acl_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_set_acl_cfg::xi_pFirewallTableInfo NULLP err\r\n")}));
  EXPECT_EQ(file_calls(FileCall::access), 0);
}

TEST(AccessList, AnUnchangedImageIsOnlyLogged) {
  load_firewall_switch(true);
  set(web_from_host());
  // Exactly as large as the region, so that a look behind it would show.
  const auto image = std::make_unique<l3_acl>(web_from_host());
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_acl_cfg(image.get()), 0); }),
            lines({set_trace_of_web_from_host()}));
  EXPECT_EQ(file_calls(FileCall::access), 0);
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(AccessList, WhatStandsBehindTheRegionDoesNotMakeAnImageNew) {
  load_firewall_switch(true);
  set(web_from_host());
  fw_rules_table.caporl.count = 1;
  fw_rules_table.security_level = 2;
  EXPECT_EQ(set(web_from_host()), lines({set_trace_of_web_from_host()}));
}

TEST(AccessList, AnyByteOfTheRegionMakesAnImageNew) {
  for (const size_t byte : {size_t{0}, size_t{3}, size_t{4}, size_t{323}, size_t{327}}) {
    load_firewall_switch(false);
    l3_acl image = {};
    reinterpret_cast<unsigned char*>(&image)[byte] = 0x10;
    set(image);
    EXPECT_EQ(read_file(config_path), file_with(false, bytes_of(image))) << byte;
  }
}

TEST(AccessList, TheTracesShowAtMostTheSixteenEntries) {
  load_firewall_switch(false);
  l3_acl image = {};
  for (uint32_t i = 0; i < 16; ++i) {
    image.entries[i].allocated = i;
  }
  const auto traces = [](const std::string& which) {
    std::string text;
    for (int i = 0; i < 16; ++i) {
      const std::string number = std::to_string(i);
      text += lines({debug("==========[" + which + "]index=" + number + ", allocated=" + number +
                           ", src_ip0=0, src_ip1=0========\n")});
    }
    return text;
  };
  for (const int32_t count : {16, 17, INT32_MAX}) {
    image.count = count;
    const auto exact = std::make_unique<l3_acl>(image);
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_acl_cfg(exact.get()), 0); }),
              lines({refresh(), debug("\n------SET------[acl_filter_ctrl=0]\n")}) + traces("set") +
                  lines({ran("iptables -t filter -F input_ext_us_acl"),
                         ran("iptables -t filter -F input_ext_ds_acl"), saved()}));
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_acl_cfg(exact.get()), 0); }),
              lines({refresh(), debug("\n------GET------[acl_filter_ctrl=0]\n")}) + traces("get"));
  }
}

TEST(AccessList, ANegativeCountShowsNoEntryAndMakesNoRule) {
  load_firewall_switch(true);
  l3_acl image = web_from_host();
  image.count = -1;
  EXPECT_EQ(set(image), lines({refresh(), debug("\n------SET------[acl_filter_ctrl=1]\n"),
                               ran("iptables -t filter -F input_ext_us_acl"),
                               ran("iptables -t filter -F input_ext_ds_acl"), saved()}));
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_acl_cfg(&image), 0); }),
            lines({refresh(), debug("\n------GET------[acl_filter_ctrl=1]\n")}));
}

TEST(AccessList, AFailedWriteLeavesTheChainsAlone) {
  load_firewall_switch(true);
  world.file_faults = {{FileCall::write, 1, ENOSPC}};
  EXPECT_EQ(set(web_from_host(), -1),
            lines({set_trace_of_web_from_host(),
                   out("set_firewall_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_acl_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), web_from_host_bytes());
  EXPECT_EQ(read_file(config_path), file_with(true, std::string(328, '\0')));
}

TEST(AccessList, AMissingFileIsCreatedWithItsDefaultsAndTheListIsLost) {
  EXPECT_EQ(set(web_from_host()),
            lines({set_trace_of_web_from_host(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"), saved()}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
  EXPECT_EQ(bytes_of(fw_rules_table.acl), std::string(328, '\0'));
}

TEST(AccessList, OnlyTheSecondFlushDecides) {
  load_firewall_switch(true);
  fail_command("iptables -t filter -F input_ext_us_acl");
  EXPECT_EQ(set(web_from_host()), lines({set_trace_of_web_from_host(),
                                         ran_and_failed("iptables -t filter -F input_ext_us_acl"),
                                         ran("iptables -t filter -F input_ext_ds_acl")}) +
                                      rules_of_web_from_host() + lines({saved()}));
}

TEST(AccessList, AFailedSecondFlushFailsTheSet) {
  load_firewall_switch(true);
  fail_command("iptables -t filter -F input_ext_ds_acl");
  EXPECT_EQ(set(web_from_host(), -1),
            lines({set_trace_of_web_from_host(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran_and_failed("iptables -t filter -F input_ext_ds_acl"),
                   error("gl3_web_set_acl_cfg::flush_fw_ip err!\n")}));
  EXPECT_EQ(read_file(config_path), file_with(true, web_from_host_bytes()));
}

TEST(AccessList, AFailedGeneratorFailsTheSetBeforeTheSave) {
  load_firewall_switch(true);
  EXPECT_EQ(set(list_of({{1, 6, 0, 0, 0}}), -1),
            lines({refresh(), debug("\n------SET------[acl_filter_ctrl=1]\n"),
                   debug("==========[set]index=0, allocated=1, src_ip0=0, src_ip1=0========\n"),
                   ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"),
                   error("config_fw_acl::app_type=6 is err!\n"),
                   error("gl3_web_set_acl_cfg::config_fw_acl err!\n")}));
}

TEST(AccessList, AFailedSaveFailsTheSet) {
  load_firewall_switch(false);
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(set(web_from_host(), -1),
            lines({set_trace_of_web_from_host(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"),
                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                   error("gl3_web_set_acl_cfg::save_fw err!\n")}));
  EXPECT_EQ(read_file(config_path), file_with(false, web_from_host_bytes()));
}

/* ---- get ---- */

TEST(AccessList, GettingReadsTheFileAndTakesTheSwitchOver) {
  load_firewall_switch(false);
  write_file(config_path, file_with(true, web_from_host_bytes()));
  l3_acl list = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_acl_cfg(&list), 0); }),
            lines({refresh(), debug("\n------GET------[acl_filter_ctrl=1]\n"),
                   debug("==========[get]index=0, allocated=1, src_ip0=c0a80102, "
                         "src_ip1=c0a80102========\n")}));
  EXPECT_EQ(bytes_of(list), web_from_host_bytes());
  EXPECT_EQ(bytes_of(fw_rules_table.acl), web_from_host_bytes());
  EXPECT_EQ(open_descriptors(), 0);

  expect_that_a_set_applies();
}

TEST(AccessList, GettingTakesASwitchThatIsOffOverToo) {
  load_firewall_switch(true);
  write_file(config_path, file_with(false, web_from_host_bytes()));
  l3_acl list = {};
  static_cast<void>(record([&] { EXPECT_EQ(gl3_web_get_acl_cfg(&list), 0); }));
  EXPECT_EQ(set(list_of({})), lines({refresh(), debug("\n------SET------[acl_filter_ctrl=1]\n"),
                                     ran("iptables -t filter -F input_ext_us_acl"),
                                     ran("iptables -t filter -F input_ext_ds_acl"), saved()}));
  EXPECT_EQ(set(web_from_host()),
            lines({set_trace_of_web_from_host(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"), saved()}));
}

TEST(AccessList, GettingFromAMissingFileGivesTheDefaults) {
  l3_acl list = web_from_host();
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_acl_cfg(&list), 0); }),
            lines({refresh(), debug("\n------GET------[acl_filter_ctrl=0]\n")}));
  EXPECT_EQ(bytes_of(list), std::string(328, '\0'));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(AccessList, GettingWithoutAPlaceIsRefused) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_acl_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_acl_cfg::xo_pAclTableInfo NULLP err\r\n")}));
  EXPECT_EQ(file_calls(FileCall::access), 0);
}

TEST(AccessList, AFailedReadLeavesTheCallersListAlone) {
  load_firewall_switch(true);
  world.file_faults = {{FileCall::read, 1, EIO}};
  l3_acl list = web_from_host();
  EXPECT_EQ(
      record([&] { EXPECT_EQ(gl3_web_get_acl_cfg(&list), -1); }),
      lines({refresh(), out("get_firewall_rules_from_cfgfile::read /ztcfg/l3_advance.dat error!\n"),
             error("gl3_web_get_acl_cfg::get_firewall_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(list), web_from_host_bytes());
}

TEST(AccessList, ASwitchThatCannotBeReadStaysAsItWasAndTheListIsOut) {
  load_firewall_switch(true);
  write_file(config_path, file_with(false, web_from_host_bytes()));
  world.file_faults = {{FileCall::open, 2, EMFILE}};
  l3_acl list = {};
  EXPECT_EQ(
      record([&] { EXPECT_EQ(gl3_web_get_acl_cfg(&list), -1); }),
      lines({refresh(), error("gl3_web_get_acl_cfg::get_firewall_state_from_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(list), web_from_host_bytes());

  world.file_faults.clear();
  expect_that_a_set_applies();
}

/* ---- remove all, defaults ---- */

TEST(AccessList, RemovingAllKeepsTheSwitchAndAddsNoCatchAll) {
  load_web_from_host();
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_acl_rule(), 0); }),
            lines({refresh(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"), saved()}));
  const std::string emptied = std::string(324, '\0') + word(1);
  EXPECT_EQ(bytes_of(fw_rules_table.acl), emptied);
  EXPECT_EQ(read_file(config_path), file_with(true, emptied));
}

TEST(AccessList, RemovingAllGoesOnAfterFailedFlushes) {
  load_web_from_host();
  fail_command("iptables -t filter -F input_ext_us_acl");
  fail_command("iptables -t filter -F input_ext_ds_acl");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_acl_rule(), 0); }),
            lines({refresh(), ran_and_failed("iptables -t filter -F input_ext_us_acl"),
                   ran_and_failed("iptables -t filter -F input_ext_ds_acl"), saved()}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), std::string(324, '\0') + word(1));
}

TEST(AccessList, RemovingAllKeepsTheListWhenTheSaveFails) {
  load_web_from_host();
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_acl_rule(), -1); }),
            lines({refresh(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"),
                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                   error("gl3_web_remove_all_acl_rule::save_fw err!\n")}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), web_from_host_bytes());
  EXPECT_EQ(read_file(config_path), file_with(true, web_from_host_bytes()));
}

TEST(AccessList, RemovingAllReportsAFailedWrite) {
  load_web_from_host();
  world.file_faults = {{FileCall::lseek, 1, EIO}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_acl_rule(), -1); }),
            lines({refresh(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"), saved(),
                   out("set_firewall_rules_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_remove_all_acl_rule::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), std::string(324, '\0') + word(1));
  EXPECT_EQ(read_file(config_path), file_with(true, web_from_host_bytes()));
}

TEST(AccessList, DefaultsZeroTheSwitchToo) {
  load_web_from_host();
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_acl_table_default(), 0); }),
            lines({refresh(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"), saved()}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), std::string(328, '\0'));
  EXPECT_EQ(read_file(config_path), file_with(true, std::string(328, '\0')));
}

TEST(AccessList, DefaultsGoOnAfterFailedFlushes) {
  load_web_from_host();
  fail_command("iptables -t filter -F input_ext_us_acl");
  fail_command("iptables -t filter -F input_ext_ds_acl");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_acl_table_default(), 0); }),
            lines({refresh(), ran_and_failed("iptables -t filter -F input_ext_us_acl"),
                   ran_and_failed("iptables -t filter -F input_ext_ds_acl"), saved()}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), std::string(328, '\0'));
}

TEST(AccessList, DefaultsKeepTheListWhenTheSaveFails) {
  load_web_from_host();
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_acl_table_default(), -1); }),
            lines({refresh(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"),
                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                   error("gl3_web_set_acl_table_default::save_fw err!\n")}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), web_from_host_bytes());
  EXPECT_EQ(read_file(config_path), file_with(true, web_from_host_bytes()));
}

TEST(AccessList, DefaultsReportAFailedWrite) {
  load_web_from_host();
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_acl_table_default(), -1); }),
            lines({refresh(), ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"), saved(),
                   out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_acl_table_default::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(fw_rules_table.acl), std::string(328, '\0'));
  EXPECT_EQ(read_file(config_path), file_with(true, web_from_host_bytes()));
}

TEST(AccessList, TheOtherRegionsOfTheRecordStayAsTheyAre) {
  load_firewall_switch(false);
  fw_rules_table.dhcp_filter.dhcp_mac_filter_ctrl = 0x11111111;
  fw_rules_table.caporl.count = 0x22222222;
  static_cast<void>(set(web_from_host()));
  static_cast<void>(record([] {
    gl3_web_remove_all_acl_rule();
    gl3_web_set_acl_table_default();
  }));
  EXPECT_EQ(fw_rules_table.dhcp_filter.dhcp_mac_filter_ctrl, 0x11111111U);
  EXPECT_EQ(fw_rules_table.caporl.count, 0x22222222);
}
