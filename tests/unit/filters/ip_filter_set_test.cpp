/* Setting the IP filter, in both families. */
#include <unistd.h>

#include <cerrno>

#include "ip_filter_images.hpp"

using namespace ip_filter;
using families::in_family;

namespace {

template <typename Family>
std::string set(const typename Family::Region& image, int32_t expected_result) {
  return record([&] { EXPECT_EQ(Family::set(&image), expected_result); });
}

/* Bytes of the count word, of words that are in no rule, of an entry that is not in use, and of the last
 * word. */
std::vector<size_t> offsets_in(const l3_ip_filter&) {
  return {3, 4, 23, 39, 52, 2403, 2415};
}
std::vector<size_t> offsets_in(const l3_ip6_filter&) {
  return {3, 4, 47, 72, 100, 4803, 4815};
}

}  // namespace

template <typename Family>
class IpFilterSet : public testing::Test {};
TYPED_TEST_SUITE(IpFilterSet, Families, families::Name);

TYPED_TEST(IpFilterSet, StoresFlushesGeneratesAndSaves) {
  load_firewall_switch(true);
  const typename TypeParam::Region image = TypeParam::white_list();
  EXPECT_EQ(set<TypeParam>(image, 0),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                 ran("iptables -t filter -F forward_ext_us_ip"),
                 ran("iptables -t filter -F forward_ext_ds_ip"), rule(TypeParam::white_list_rule),
                 ran("iptables -A forward_ext_us_ip -j DROP"),
                 ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter), bytes_of(image));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TYPED_TEST(IpFilterSet, TheFileIsWrittenBeforeTheChainsAreTouched) {
  load_firewall_switch(true);
  const typename TypeParam::Region image = TypeParam::white_list();
  std::string file_at_first_command;
  world.system = [&](const std::string&) {
    if (file_at_first_command.empty()) {
      file_at_first_command = read_file(config_path);
    }
    return 0;
  };
  set<TypeParam>(image, 0);
  EXPECT_EQ(file_at_first_command, file_with('1', image));
}

TYPED_TEST(IpFilterSet, AnUnchangedImageOpensNoFileAndRunsNoCommand) {
  load('1', TypeParam::white_list());
  const typename TypeParam::Region image = TypeParam::white_list();
  EXPECT_EQ(set<TypeParam>(image, 0), in_family<TypeParam>({refresh(), entry_line(image)}));
  expect_no_file_call();
}

TYPED_TEST(IpFilterSet, AnEmptyImageIsUnchangedFromAFreshLoadAndCreatesNoFile) {
  const typename TypeParam::Region image = {};
  EXPECT_EQ(
      set<TypeParam>(image, 0),
      in_family<TypeParam>({refresh(), debug("==========index=0, dst_ip=" + location(image, 16) +
                                             ", dst_port_s=0, dst_port_e=0, protocol=0, src_ip=" +
                                             location(image, TypeParam::src_ip) + "========\n")}));
  expect_no_file_call();
  EXPECT_FALSE(file_exists(config_path));
}

TYPED_TEST(IpFilterSet, EveryByteOfTheImageCounts) {
  load('0', TypeParam::white_list());
  for (const size_t offset : offsets_in(TypeParam::white_list())) {
    typename TypeParam::Region image = TypeParam::white_list();
    reinterpret_cast<uint8_t*>(&image)[offset] ^= 0x40;
    set<TypeParam>(image, 0);
    EXPECT_EQ(file_calls(FileCall::write), 1) << offset;
    EXPECT_EQ(read_file(config_path), file_with('0', image)) << offset;
  }
}

TYPED_TEST(IpFilterSet, WithTheSwitchOffTheRulesAreStoredButNotApplied) {
  load_firewall_switch(false);
  const typename TypeParam::Region image = TypeParam::white_list();
  EXPECT_EQ(set<TypeParam>(image, 0),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                 ran("iptables -t filter -F forward_ext_us_ip"),
                 ran("iptables -t filter -F forward_ext_ds_ip"),
                 ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(read_file(config_path), file_with('0', image));
}

TYPED_TEST(IpFilterSet, AFilterWordOtherThanZeroStoresAndFlushesButAppendsNothing) {
  load_firewall_switch(true);
  typename TypeParam::Region image = TypeParam::white_list();
  image.us_black_white = 2;
  image.ds_black_white = 0xFFFFFFFF;
  image.ip_filter_ctrl = 16;
  EXPECT_EQ(set<TypeParam>(image, 0),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 debug("\n------SET------[ip_filter_ctrl=10,us_black_white=2,ds_black_white=-1]\n"),
                 ran("iptables -t filter -F forward_ext_us_ip"),
                 ran("iptables -t filter -F forward_ext_ds_ip"),
                 ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TYPED_TEST(IpFilterSet, ANullPointerIsNamed) {
  load('1', TypeParam::white_list());
  EXPECT_EQ(
      record([] { EXPECT_EQ(TypeParam::set(nullptr), -1); }),
      in_family<TypeParam>(
          {refresh(), error("gl3_web_set_firewall_cfg::xi_pFirewallTableInfo NULLP err\r\n")}));
  expect_no_file_call();
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter), bytes_of(TypeParam::white_list()));
}

TYPED_TEST(IpFilterSet, AFailedOpenLeavesTheNewRulesInMemoryAndTheChainsAlone) {
  load_firewall_switch(true);
  const std::string before = read_file(config_path);
  const typename TypeParam::Region image = TypeParam::white_list();
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(set<TypeParam>(image, -1),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 out("set_firewall4_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                 error("gl3_web_set_firewall_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter), bytes_of(image));
  EXPECT_EQ(read_file(config_path), before);
}

TYPED_TEST(IpFilterSet, AFailedSeekLeavesTheDescriptorOpen) {
  load_firewall_switch(true);
  const typename TypeParam::Region image = TypeParam::white_list();
  world.file_faults = {{FileCall::lseek, 1, EIO}};
  EXPECT_EQ(set<TypeParam>(image, -1),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 out("set_firewall4_rules_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"),
                 error("gl3_web_set_firewall_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(open_descriptors(), 1);
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter), bytes_of(image));
}

TYPED_TEST(IpFilterSet, AFailedWriteClosesTheFile) {
  load_firewall_switch(true);
  const typename TypeParam::Region image = TypeParam::white_list();
  world.file_faults = {{FileCall::write, 1, ENOSPC}};
  EXPECT_EQ(set<TypeParam>(image, -1),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 out("set_firewall4_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
                 error("gl3_web_set_firewall_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter), bytes_of(image));
}

TYPED_TEST(IpFilterSet, AfterAFailedWriteTheSameImageCountsAsUnchanged) {
  load_firewall_switch(true);
  const typename TypeParam::Region image = TypeParam::white_list();
  world.file_faults = {{FileCall::open, 1, EACCES}};
  set<TypeParam>(image, -1);
  world.file_faults = {};
  EXPECT_EQ(set<TypeParam>(image, 0), in_family<TypeParam>({refresh(), entry_line(image)}));
}

TYPED_TEST(IpFilterSet, AMissingFileIsCreatedWithDefaultsThatTakeTheImagesPlace) {
  load_firewall_switch(true);
  unlink(config_path);
  const typename TypeParam::Region image = TypeParam::white_list();
  // Creation resets the records, so what is written, traced and applied is an empty black list.
  EXPECT_EQ(set<TypeParam>(image, 0),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 debug("\n------SET------[ip_filter_ctrl=0,us_black_white=0,ds_black_white=0]\n"),
                 ran("iptables -t filter -F forward_ext_us_ip"),
                 ran("iptables -t filter -F forward_ext_ds_ip"),
                 ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
  EXPECT_EQ(file_mode(config_path), 0600U);
  EXPECT_EQ(bytes_of(fw_rules_table), fresh_config_file().substr(31, 6168));
  EXPECT_EQ(bytes_of(fw6_rules_table), fresh_config_file().substr(6447, 8572));

  // A second try meets the file and stores the image.
  set<TypeParam>(image, 0);
  EXPECT_EQ(read_file(config_path), file_with('0', image));
}

TYPED_TEST(IpFilterSet, AMissingFileThatCannotBeCreatedFailsTheCall) {
  const typename TypeParam::Region image = TypeParam::white_list();
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(
      set<TypeParam>(image, -1),
      in_family<TypeParam>(
          {refresh(), entry_line(image), out("set_firewall4_rules_to_cfgfile::init_cfgfile err!\n"),
           error("gl3_web_set_firewall_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter), bytes_of(image));
  EXPECT_FALSE(file_exists(config_path));
}

TYPED_TEST(IpFilterSet, AFailedSecondFlushEndsTheCall) {
  load_firewall_switch(true);
  const typename TypeParam::Region image = TypeParam::white_list();
  families::fail_command<TypeParam>("iptables -t filter -F forward_ext_ds_ip");
  EXPECT_EQ(set<TypeParam>(image, -1),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                 ran("iptables -t filter -F forward_ext_us_ip"),
                 ran_and_failed("iptables -t filter -F forward_ext_ds_ip")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TYPED_TEST(IpFilterSet, AFailedGeneratorEndsTheCallBeforeTheSave) {
  load_firewall_switch(true);
  typename TypeParam::Region image = TypeParam::white_list();
  image.entries[0].src_port_s = 100;
  image.entries[0].src_port_e = 50;
  EXPECT_EQ(set<TypeParam>(image, -1),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                 ran("iptables -t filter -F forward_ext_us_ip"),
                 ran("iptables -t filter -F forward_ext_ds_ip"),
                 error("config_fw_ip::sport1=100 > sport2=50 ERROR!\n")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}

TYPED_TEST(IpFilterSet, AFailedSaveFailsTheCall) {
  load_firewall_switch(false);
  const typename TypeParam::Region image = TypeParam::white_list();
  families::fail_command<TypeParam>("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(set<TypeParam>(image, -1),
            in_family<TypeParam>(
                {refresh(), entry_line(image),
                 debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                 ran("iptables -t filter -F forward_ext_us_ip"),
                 ran("iptables -t filter -F forward_ext_ds_ip"),
                 ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TEST(Ipv4FilterSet, OnlyTheSecondFlushDecides) {
  load_firewall_switch(false);
  const l3_ip_filter image = web_white_list();
  fail_command("iptables -t filter -F forward_ext_us_ip");
  EXPECT_EQ(set<Ipv4>(image, 0),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran_and_failed("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TEST(Ipv6FilterSet, AFailedFirstFlushEndsTheCallToo) {
  load_firewall_switch(true);
  const l3_ip6_filter image = web_white_list6();
  fail_command("ip6tables -t filter -F forward_ext_us_ip");
  EXPECT_EQ(set<Ipv6>(image, -1),
            lines({refresh(), entry_line(image),
                   debug("\n------SET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_us_ip")}));
  EXPECT_EQ(read_file(config_path), file_with('1', image));
}
