/* Setting the IPv4 IP filter. */
#include <unistd.h>

#include <cerrno>

#include "ip_filter_images.hpp"

using namespace ip_filter;

namespace {

l3_ip_filter& filter = fw_rules_table.ip_filter;

std::string set(const l3_ip_filter& image, int32_t expected_result) {
  return record([&] { EXPECT_EQ(gl3_web_set_firewall_cfg(&image), expected_result); });
}

}  // namespace

TEST(IpFilterSet, StoresFlushesGeneratesAndSaves) {
  load_firewall_switch(true);
  const l3_ip_filter image = web_white_list();
  EXPECT_EQ(
      set(image, 0),
      lines({refresh(), entry_line(image),
             debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
             ran("iptables -t filter -F forward_ext_us_ip"),
             ran("iptables -t filter -F forward_ext_ds_ip"),
             debug("\n==iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10"
                   " --dport 80:88 -j ACCEPT==\n"),
             ran("iptables -A forward_ext_us_ip -p tcp -s 192.168.1.10 --dport 80:88 -j ACCEPT"),
             ran("iptables -A forward_ext_us_ip -j DROP"),
             ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TEST(IpFilterSet, TheFileIsWrittenBeforeTheChainsAreTouched) {
  load_firewall_switch(true);
  const l3_ip_filter image = web_white_list();
  std::string file_at_first_command;
  world.system = [&](const std::string&) {
    if (file_at_first_command.empty()) {
      file_at_first_command = read_file(config_path);
    }
    return 0;
  };
  set(image, 0);
  EXPECT_EQ(file_at_first_command, file_with('1', image));
}

TEST(IpFilterSet, AnUnchangedImageOpensNoFileAndRunsNoCommand) {
  load('1', web_white_list());
  const l3_ip_filter image = web_white_list();
  EXPECT_EQ(set(image, 0), lines({refresh(), entry_line(image)}));
  expect_no_file_call();
}

TEST(IpFilterSet, AnEmptyImageIsUnchangedFromAFreshLoadAndCreatesNoFile) {
  const l3_ip_filter image = {};
  EXPECT_EQ(set(image, 0),
            lines({refresh(), debug("==========index=0, dst_ip=" + location(image, 16) +
                                    ", dst_port_s=0, dst_port_e=0, protocol=0, src_ip=" +
                                    location(image, 32) + "========\n")}));
  expect_no_file_call();
  EXPECT_FALSE(file_exists(config_path));
}

TEST(IpFilterSet, EveryByteOfTheImageCounts) {
  load('0', web_white_list());
  // The count word, words that are in no rule, an entry that is not in use, and the last word.
  for (const size_t offset : {3U, 4U, 23U, 39U, 52U, 2403U, 2415U}) {
    l3_ip_filter image = web_white_list();
    reinterpret_cast<uint8_t*>(&image)[offset] ^= 0x40;
    set(image, 0);
    EXPECT_EQ(file_calls(FileCall::write), 1) << offset;
    EXPECT_EQ(read_file(config_path), file_with('0', image)) << offset;
  }
}

TEST(IpFilterSet, WithTheSwitchOffTheRulesAreStoredButNotApplied) {
  load_firewall_switch(false);
  const l3_ip_filter image = web_white_list();
  EXPECT_EQ(set(image, 0),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(read_file(config_path), file_with('0', image));
}

TEST(IpFilterSet, AFilterWordOtherThanZeroStoresAndFlushesButAppendsNothing) {
  load_firewall_switch(true);
  l3_ip_filter image = web_white_list();
  image.us_black_white = 2;
  image.ds_black_white = 0xFFFFFFFF;
  image.ip_filter_ctrl = 16;
  EXPECT_EQ(
      set(image, 0),
      lines({refresh(), entry_line(image),
             debug("\n------SET------[ip_filter_ctrl=10,us_black_white=2,ds_black_white=-1]\n"),
             ran("iptables -t filter -F forward_ext_us_ip"),
             ran("iptables -t filter -F forward_ext_ds_ip"),
             ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TEST(IpFilterSet, ANullPointerIsNamed) {
  load('1', web_white_list());
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_firewall_cfg(nullptr), -1); }),
      lines({refresh(), error("gl3_web_set_firewall_cfg::xi_pFirewallTableInfo NULLP err\r\n")}));
  expect_no_file_call();
  EXPECT_EQ(bytes_of(filter), bytes_of(web_white_list()));
}

TEST(IpFilterSet, AFailedOpenLeavesTheNewRulesInMemoryAndTheChainsAlone) {
  load_firewall_switch(true);
  const std::string before = read_file(config_path);
  const l3_ip_filter image = web_white_list();
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   out("set_firewall4_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_firewall_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
  EXPECT_EQ(read_file(config_path), before);
}

TEST(IpFilterSet, AFailedSeekLeavesTheDescriptorOpen) {
  load_firewall_switch(true);
  const l3_ip_filter image = web_white_list();
  world.file_faults = {{FileCall::lseek, 1, EIO}};
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   out("set_firewall4_rules_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_firewall_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(open_descriptors(), 1);
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
}

TEST(IpFilterSet, AFailedWriteClosesTheFile) {
  load_firewall_switch(true);
  const l3_ip_filter image = web_white_list();
  world.file_faults = {{FileCall::write, 1, ENOSPC}};
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   out("set_firewall4_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_firewall_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
}

TEST(IpFilterSet, AfterAFailedWriteTheSameImageCountsAsUnchanged) {
  load_firewall_switch(true);
  const l3_ip_filter image = web_white_list();
  world.file_faults = {{FileCall::open, 1, EACCES}};
  set(image, -1);
  world.file_faults = {};
  EXPECT_EQ(set(image, 0), lines({refresh(), entry_line(image)}));
}

TEST(IpFilterSet, AMissingFileIsCreatedWithDefaultsThatTakeTheImagesPlace) {
  load_firewall_switch(true);
  unlink(config_path);
  const l3_ip_filter image = web_white_list();
  // Creation resets the records, so what is written, traced and applied is an empty black list.
  EXPECT_EQ(set(image, 0),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=0,ds_black_white=0]\n"),
                   ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
  EXPECT_EQ(file_mode(config_path), 0600U);
  EXPECT_EQ(bytes_of(fw_rules_table), fresh_config_file().substr(31, 6168));
  EXPECT_EQ(bytes_of(fw6_rules_table), fresh_config_file().substr(6447, 8572));

  // A second try meets the file and stores the image.
  set(image, 0);
  EXPECT_EQ(read_file(config_path), file_with('0', image));
}

TEST(IpFilterSet, AMissingFileThatCannotBeCreatedFailsTheCall) {
  const l3_ip_filter image = web_white_list();
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   out("set_firewall4_rules_to_cfgfile::init_cfgfile err!\n"),
                   error("gl3_web_set_firewall_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(IpFilterSet, OnlyTheSecondFlushDecides) {
  load_firewall_switch(false);
  const l3_ip_filter image = web_white_list();
  fail_command("iptables -t filter -F forward_ext_us_ip");
  EXPECT_EQ(set(image, 0),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran_and_failed("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TEST(IpFilterSet, AFailedSecondFlushEndsTheCall) {
  load_firewall_switch(true);
  const l3_ip_filter image = web_white_list();
  fail_command("iptables -t filter -F forward_ext_ds_ip");
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran("iptables -t filter -F forward_ext_us_ip"),
                   ran_and_failed("iptables -t filter -F forward_ext_ds_ip")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TEST(IpFilterSet, AFailedGeneratorEndsTheCallBeforeTheSave) {
  load_firewall_switch(true);
  l3_ip_filter image = web_white_list();
  image.entries[0].src_port_s = 100;
  image.entries[0].src_port_e = 50;
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   error("config_fw_ip::sport1=100 > sport2=50 ERROR!\n")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TEST(IpFilterSet, AFailedSaveFailsTheCall) {
  load_firewall_switch(false);
  const l3_ip_filter image = web_white_list();
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf")}));
}
