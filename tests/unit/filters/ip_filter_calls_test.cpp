/* Getting the IP filter and removing all its rules, IPv4. */
#include <unistd.h>

#include <cerrno>

#include "ip_filter_images.hpp"

using namespace ip_filter;

namespace {

l3_ip_filter& filter = fw_rules_table.ip_filter;

std::string get(l3_ip_filter* image, int32_t expected_result) {
  return record([=] { EXPECT_EQ(gl3_web_get_firewall_cfg(image), expected_result); });
}

std::string remove_all(int32_t expected_result) {
  return record([=] { EXPECT_EQ(gl3_web_remove_all_firewall_rule(), expected_result); });
}

}  // namespace

TEST(IpFilterGet, ReloadsTheRecordCopiesTheFilterOutAndRefreshesTheSwitch) {
  l3_ip_filter stored = web_white_list();
  stored.ds_black_white = 0xFFFFFFFF;
  stored.ip_filter_ctrl = 255;
  write_file(config_path, file_with('1', stored));
  memset(&fw_rules_table, 0x55, sizeof(fw_rules_table));
  l3_ip_filter image;
  memset(&image, 0xaa, sizeof(image));
  EXPECT_EQ(
      get(&image, 0),
      lines({refresh(),
             debug("\n------GET------[ip_filter_ctrl=ff,us_black_white=1,ds_black_white=-1]\n")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(bytes_of(image), bytes_of(stored));
  EXPECT_EQ(bytes_of(fw_rules_table), file_with('1', stored).substr(31, 6168));
  EXPECT_TRUE(switch_is_on());
}

TEST(IpFilterGet, ASwitchThatIsOffInTheFileIsTurnedOffInMemory) {
  load_firewall_switch(true);
  write_file(config_path, file_with('0', web_white_list()));
  l3_ip_filter image;
  EXPECT_EQ(
      get(&image, 0),
      lines({refresh(),
             debug("\n------GET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n")}));
  EXPECT_FALSE(switch_is_on());
}

TEST(IpFilterGet, AMissingFileIsCreatedAndReadBack) {
  l3_ip_filter image = web_white_list();
  EXPECT_EQ(
      get(&image, 0),
      lines({refresh(),
             debug("\n------GET------[ip_filter_ctrl=0,us_black_white=0,ds_black_white=0]\n")}));
  EXPECT_EQ(bytes_of(image), std::string(2416, '\0'));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(IpFilterGet, ANullPointerIsNamed) {
  load('1', web_white_list());
  EXPECT_EQ(
      get(nullptr, -1),
      lines({refresh(), error("gl3_web_get_firewall_cfg::xo_pFirewallTableInfo NULLP err\r\n")}));
  expect_no_file_call();
}

TEST(IpFilterGet, AFailedReadOfTheRecordLeavesTheCallersBuffer) {
  struct Case {
    FileFault fault;
    const char* message;
    int left_open;
  };
  for (const Case& given :
       {Case{{FileCall::open, 1, EACCES}, "open", 0}, Case{{FileCall::lseek, 1, EIO}, "lseek", 1},
        Case{{FileCall::read, 1, EIO}, "read", 0}}) {
    load('1', web_white_list());
    l3_ip_filter image;
    memset(&image, 0xaa, sizeof(image));
    world.file_faults = {given.fault};
    EXPECT_EQ(get(&image, -1),
              lines({refresh(),
                     out("get_firewall4_rules_from_cfgfile::" + std::string(given.message) +
                         " /ztcfg/l3_advance.dat error!\n"),
                     error("gl3_web_get_firewall_cfg::get_firewall_rules_from_cfgfile err!\n")}));
    EXPECT_EQ(open_descriptors(), given.left_open);
    EXPECT_EQ(bytes_of(image), std::string(2416, '\xaa'));
    // The record in memory was zeroed before the file was opened.
    EXPECT_EQ(bytes_of(fw_rules_table), std::string(6168, '\0'));
    world.file_faults = {};
  }
}

TEST(IpFilterGet, AMissingFileThatCannotBeCreatedFailsTheCall) {
  l3_ip_filter image = web_white_list();
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(get(&image, -1),
            lines({refresh(), out("get_firewall4_rules_from_cfgfile::init_cfgfile err!\n"),
                   error("gl3_web_get_firewall_cfg::get_firewall_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(image), bytes_of(web_white_list()));
}

TEST(IpFilterGet, AFailedReadOfTheSwitchComesAfterTheCopyAndKeepsTheSwitch) {
  for (const FileFault& fault :
       {FileFault{FileCall::open, 2, EACCES}, FileFault{FileCall::lseek, 2, EIO},
        FileFault{FileCall::read, 2, EIO}}) {
    load_firewall_switch(true);
    write_file(config_path, file_with('0', web_white_list()));
    l3_ip_filter image = {};
    world.file_faults = {fault};
    EXPECT_EQ(get(&image, -1),
              lines({refresh(),
                     error("gl3_web_get_firewall_cfg::get_firewall_state_from_cfgfile err!\n")}));
    EXPECT_EQ(open_descriptors(), fault.call == FileCall::open ? 0 : 1);
    EXPECT_EQ(bytes_of(image), bytes_of(web_white_list()));
    world.file_faults = {};
    EXPECT_TRUE(switch_is_on());
  }
}

TEST(IpFilterRemoveAll, EmptiesTheListAndKeepsModesAndFilterWord) {
  l3_ip_filter stored = web_white_list();
  stored.ds_black_white = 2;
  stored.ip_filter_ctrl = 1;
  load('1', stored);
  // The catch-alls come although ip_filter_ctrl says that the filter is not applied.
  EXPECT_EQ(remove_all(0), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran("iptables -t filter -F forward_ext_ds_ip"),
                                  ran("iptables -A forward_ext_us_ip -j DROP"),
                                  ran("iptables -A forward_ext_ds_ip -j DROP"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  const std::string left = std::string(2404, '\0') + word(1) + word(2) + word(1);
  EXPECT_EQ(bytes_of(filter), left);
  EXPECT_EQ(read_file(config_path), file_with('1', l3_ip_filter{}).replace(31, 2416, left));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(IpFilterRemoveAll, ABlackListGetsNoCatchAll) {
  l3_ip_filter stored = web_white_list();
  stored.us_black_white = 0;
  load('1', stored);
  EXPECT_EQ(remove_all(0), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran("iptables -t filter -F forward_ext_ds_ip"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(read_file(config_path), file_with('1', l3_ip_filter{}));
}

TEST(IpFilterRemoveAll, WithTheSwitchOffThereIsNoCatchAll) {
  load('0', web_white_list());
  EXPECT_EQ(remove_all(0), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran("iptables -t filter -F forward_ext_ds_ip"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TEST(IpFilterRemoveAll, AFailedFlushEndsTheCallAndKeepsTheRules) {
  load('1', web_white_list());
  fail_command("iptables -t filter -F forward_ext_ds_ip");
  EXPECT_EQ(remove_all(-1), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                   ran_and_failed("iptables -t filter -F forward_ext_ds_ip"),
                                   error("gl3_web_remove_all_firewall_rule::flush_fw_ip err!\n")}));
  fail_command("iptables -t filter -F forward_ext_us_ip");
  EXPECT_EQ(remove_all(-1),
            lines({refresh(), ran_and_failed("iptables -t filter -F forward_ext_us_ip"),
                   error("gl3_web_remove_all_firewall_rule::flush_fw_ip err!\n")}));
  EXPECT_EQ(bytes_of(filter), bytes_of(web_white_list()));
  EXPECT_EQ(read_file(config_path), file_with('1', web_white_list()));
}

TEST(IpFilterRemoveAll, AFailedCatchAllIsOnlyLogged) {
  load('1', web_white_list());
  fail_command("iptables -A forward_ext_us_ip -j DROP");
  EXPECT_EQ(remove_all(0), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran("iptables -t filter -F forward_ext_ds_ip"),
                                  ran_and_failed("iptables -A forward_ext_us_ip -j DROP"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TEST(IpFilterRemoveAll, AFailedSaveEndsTheCallAndKeepsTheRules) {
  load('0', web_white_list());
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(remove_all(-1), lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                   ran("iptables -t filter -F forward_ext_ds_ip"),
                                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                                   error("gl3_web_remove_all_firewall_rule::save_fw err!\n")}));
  EXPECT_EQ(bytes_of(filter), bytes_of(web_white_list()));
  EXPECT_EQ(read_file(config_path), file_with('0', web_white_list()));
}

TEST(IpFilterRemoveAll, AFailedWriteLeavesTheListEmptyInMemory) {
  load('0', web_white_list());
  world.file_faults = {{FileCall::write, 1, ENOSPC}};
  EXPECT_EQ(
      remove_all(-1),
      lines({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
             ran("iptables -t filter -F forward_ext_ds_ip"),
             ran("iptables-save -t filter >/ztcfg/firewall.conf"),
             out("set_firewall4_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
             error("gl3_web_remove_all_firewall_rule::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(filter), std::string(2404, '\0') + word(1) + word(0) + word(0));
  EXPECT_EQ(read_file(config_path), file_with('0', web_white_list()));
}

TEST(IpFilterRemoveAll, AMissingFileIsCreatedAndTheModesAreLostWithIt) {
  load('0', web_white_list());
  unlink(config_path);
  remove_all(0);
  EXPECT_EQ(bytes_of(fw_rules_table), fresh_config_file().substr(31, 6168));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}
