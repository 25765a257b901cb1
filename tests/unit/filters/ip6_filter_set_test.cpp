/* Setting the IPv6 IP filter. */
#include <unistd.h>

#include <cerrno>

#include "ip_filter_images.hpp"

using namespace ip_filter;

namespace {

l3_ip6_filter& filter = fw6_rules_table.ip_filter;

std::string set(const l3_ip6_filter& image, int32_t expected_result) {
  return record([&] { EXPECT_EQ(gl3_web_set_firewall6_cfg(&image), expected_result); });
}

}  // namespace

TEST(Ip6FilterSet, StoresFlushesGeneratesAndSaves) {
  load_firewall_switch(true);
  const l3_ip6_filter image = web_white_list6();
  EXPECT_EQ(set(image, 0),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran("ip6tables -t filter -F forward_ext_ds_ip"),
                   debug("\n==ip6tables -A forward_ext_us_ip -p tcp -s 2001:db8::10"
                         " -d 2001:db8::20 --dport 80:88 -j ACCEPT==\n"),
                   ran("ip6tables -A forward_ext_us_ip -p tcp -s 2001:db8::10"
                       " -d 2001:db8::20 --dport 80:88 -j ACCEPT"),
                   ran("ip6tables -A forward_ext_us_ip -j DROP"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TEST(Ip6FilterSet, TheFileIsWrittenBeforeTheChainsAreTouched) {
  load_firewall_switch(true);
  const l3_ip6_filter image = web_white_list6();
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

TEST(Ip6FilterSet, AnUnchangedImageOpensNoFileAndRunsNoCommand) {
  load('1', web_white_list6());
  const l3_ip6_filter image = web_white_list6();
  EXPECT_EQ(set(image, 0), lines({refresh(), entry_line(image)}));
  expect_no_file_call();
}

TEST(Ip6FilterSet, AnEmptyImageIsUnchangedFromAFreshLoadAndCreatesNoFile) {
  const l3_ip6_filter image = {};
  EXPECT_EQ(set(image, 0),
            lines({refresh(), debug("==========index=0, dst_ip=" + location(image, 16) +
                                    ", dst_port_s=0, dst_port_e=0, protocol=0, src_ip=" +
                                    location(image, 56) + "========\n")}));
  expect_no_file_call();
  EXPECT_FALSE(file_exists(config_path));
}

TEST(Ip6FilterSet, EveryByteOfTheImageCounts) {
  load('0', web_white_list6());
  // The count word, words that are in no rule, an entry that is not in use, and the last word.
  for (const size_t offset : {3U, 4U, 47U, 72U, 100U, 4803U, 4815U}) {
    l3_ip6_filter image = web_white_list6();
    reinterpret_cast<uint8_t*>(&image)[offset] ^= 0x40;
    set(image, 0);
    EXPECT_EQ(file_calls(FileCall::write), 1) << offset;
    EXPECT_EQ(read_file(config_path), file_with('0', image)) << offset;
  }
}

TEST(Ip6FilterSet, WithTheSwitchOffTheRulesAreStoredButNotApplied) {
  load_firewall_switch(false);
  const l3_ip6_filter image = web_white_list6();
  EXPECT_EQ(set(image, 0),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran("ip6tables -t filter -F forward_ext_ds_ip"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  EXPECT_EQ(read_file(config_path), file_with('0', image));
}

TEST(Ip6FilterSet, AFilterWordOtherThanZeroStoresAndFlushesButAppendsNothing) {
  load_firewall_switch(true);
  l3_ip6_filter image = web_white_list6();
  image.us_black_white = 2;
  image.ds_black_white = 0xFFFFFFFF;
  image.ip_filter_ctrl = 16;
  EXPECT_EQ(
      set(image, 0),
      lines({refresh(), entry_line(image),
             debug("\n------SET------[ip_filter_ctrl=10,us_black_white=2,ds_black_white=-1]\n"),
             ran("ip6tables -t filter -F forward_ext_us_ip"),
             ran("ip6tables -t filter -F forward_ext_ds_ip"),
             ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TEST(Ip6FilterSet, ANullPointerIsNamed) {
  load('1', web_white_list6());
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_firewall6_cfg(nullptr), -1); }),
      lines({refresh(), error("gl3_web_set_firewall6_cfg::xi_pFirewallTableInfo NULLP err\r\n")}));
  expect_no_file_call();
  EXPECT_EQ(bytes_of(filter), bytes_of(web_white_list6()));
}

TEST(Ip6FilterSet, AFailedOpenLeavesTheNewRulesInMemoryAndTheChainsAlone) {
  load_firewall_switch(true);
  const std::string before = read_file(config_path);
  const l3_ip6_filter image = web_white_list6();
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   out("set_firewall6_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_firewall6_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
  EXPECT_EQ(read_file(config_path), before);
}

TEST(Ip6FilterSet, AFailedSeekLeavesTheDescriptorOpen) {
  load_firewall_switch(true);
  const l3_ip6_filter image = web_white_list6();
  world.file_faults = {{FileCall::lseek, 1, EIO}};
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   out("set_firewall6_rules_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_firewall6_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(open_descriptors(), 1);
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
}

TEST(Ip6FilterSet, AFailedWriteClosesTheFile) {
  load_firewall_switch(true);
  const l3_ip6_filter image = web_white_list6();
  world.file_faults = {{FileCall::write, 1, ENOSPC}};
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   out("set_firewall6_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_firewall6_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
}

TEST(Ip6FilterSet, AfterAFailedWriteTheSameImageCountsAsUnchanged) {
  load_firewall_switch(true);
  const l3_ip6_filter image = web_white_list6();
  world.file_faults = {{FileCall::open, 1, EACCES}};
  set(image, -1);
  world.file_faults = {};
  EXPECT_EQ(set(image, 0), lines({refresh(), entry_line(image)}));
}

TEST(Ip6FilterSet, AMissingFileIsCreatedWithDefaultsThatTakeTheImagesPlace) {
  load_firewall_switch(true);
  unlink(config_path);
  const l3_ip6_filter image = web_white_list6();
  // Creation resets the records, so what is written, traced and applied is an empty black list.
  EXPECT_EQ(set(image, 0),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=0,ds_black_white=0]\n"),
                   ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran("ip6tables -t filter -F forward_ext_ds_ip"),
                   ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
  EXPECT_EQ(file_mode(config_path), 0600U);
  EXPECT_EQ(bytes_of(fw_rules_table), fresh_config_file().substr(31, 6168));
  EXPECT_EQ(bytes_of(fw6_rules_table), fresh_config_file().substr(6447, 8572));

  // A second try meets the file and stores the image.
  set(image, 0);
  EXPECT_EQ(read_file(config_path), file_with('0', image));
}

TEST(Ip6FilterSet, AMissingFileThatCannotBeCreatedFailsTheCall) {
  const l3_ip6_filter image = web_white_list6();
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   out("set_firewall6_rules_to_cfgfile::init_cfgfile err!\n"),
                   error("gl3_web_set_firewall6_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(filter), bytes_of(image));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(Ip6FilterSet, AFailedFirstFlushEndsTheCallToo) {
  load_firewall_switch(true);
  const l3_ip6_filter image = web_white_list6();
  fail_command("ip6tables -t filter -F forward_ext_us_ip");
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_us_ip")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TEST(Ip6FilterSet, AFailedSecondFlushEndsTheCall) {
  load_firewall_switch(true);
  const l3_ip6_filter image = web_white_list6();
  fail_command("ip6tables -t filter -F forward_ext_ds_ip");
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_ds_ip")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TEST(Ip6FilterSet, AFailedGeneratorEndsTheCallBeforeTheSave) {
  load_firewall_switch(true);
  l3_ip6_filter image = web_white_list6();
  image.entries[0].src_port_s = 100;
  image.entries[0].src_port_e = 50;
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran("ip6tables -t filter -F forward_ext_ds_ip"),
                   error("config_fw_ip6::sport1=100 > sport2=50 ERROR!\n")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TEST(Ip6FilterSet, AFailedSaveFailsTheCall) {
  load_firewall_switch(false);
  const l3_ip6_filter image = web_white_list6();
  fail_command("ip6tables-save -t filter >/ztcfg/firewall6.conf");
  EXPECT_EQ(set(image, -1),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran("ip6tables -t filter -F forward_ext_ds_ip"),
                   ran_and_failed("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
}
