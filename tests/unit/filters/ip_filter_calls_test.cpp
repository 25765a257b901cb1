/* Getting the IP filter and removing all its rules, in both families. */
#include <unistd.h>

#include <cerrno>

#include "ip_filter_images.hpp"

using namespace ip_filter;
using families::in_family;

namespace {

template <typename Family>
std::string get(typename Family::Region* image, int32_t expected_result) {
  return record([=] { EXPECT_EQ(Family::get(image), expected_result); });
}

template <typename Family>
std::string remove_all(int32_t expected_result) {
  return record([=] { EXPECT_EQ(Family::remove_all(), expected_result); });
}

}  // namespace

template <typename Family>
class IpFilterGet : public testing::Test {};
TYPED_TEST_SUITE(IpFilterGet, Families, families::Name);

template <typename Family>
class IpFilterRemoveAll : public testing::Test {};
TYPED_TEST_SUITE(IpFilterRemoveAll, Families, families::Name);

TYPED_TEST(IpFilterGet, ReloadsTheRecordCopiesTheFilterOutAndRefreshesTheSwitch) {
  typename TypeParam::Region stored = TypeParam::white_list();
  stored.ds_black_white = 0xFFFFFFFF;
  stored.ip_filter_ctrl = 255;
  write_file(config_path, file_with('1', stored));
  memset(static_cast<void*>(&TypeParam::record()), 0x55, TypeParam::record_size);
  typename TypeParam::Region image;
  memset(&image, 0xaa, sizeof(image));
  EXPECT_EQ(
      get<TypeParam>(&image, 0),
      in_family<TypeParam>(
          {refresh(),
           debug("\n------GET------[ip_filter_ctrl=ff,us_black_white=1,ds_black_white=-1]\n")}));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_EQ(bytes_of(image), bytes_of(stored));
  EXPECT_EQ(bytes_of(TypeParam::record()),
            file_with('1', stored).substr(TypeParam::record_offset, TypeParam::record_size));
  EXPECT_TRUE(switch_is_on());
}

TYPED_TEST(IpFilterGet, ASwitchThatIsOffInTheFileIsTurnedOffInMemory) {
  load_firewall_switch(true);
  write_file(config_path, file_with('0', TypeParam::white_list()));
  typename TypeParam::Region image;
  EXPECT_EQ(
      get<TypeParam>(&image, 0),
      in_family<TypeParam>(
          {refresh(),
           debug("\n------GET------[ip_filter_ctrl=0,us_black_white=1,ds_black_white=0]\n")}));
  EXPECT_FALSE(switch_is_on());
}

TYPED_TEST(IpFilterGet, AMissingFileIsCreatedAndReadBack) {
  typename TypeParam::Region image = TypeParam::white_list();
  EXPECT_EQ(
      get<TypeParam>(&image, 0),
      in_family<TypeParam>(
          {refresh(),
           debug("\n------GET------[ip_filter_ctrl=0,us_black_white=0,ds_black_white=0]\n")}));
  EXPECT_EQ(bytes_of(image), std::string(TypeParam::region_size, '\0'));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TYPED_TEST(IpFilterGet, ANullPointerIsNamed) {
  load('1', TypeParam::white_list());
  EXPECT_EQ(
      get<TypeParam>(nullptr, -1),
      in_family<TypeParam>(
          {refresh(), error("gl3_web_get_firewall_cfg::xo_pFirewallTableInfo NULLP err\r\n")}));
  expect_no_file_call();
}

TYPED_TEST(IpFilterGet, AFailedReadOfTheRecordLeavesTheCallersBuffer) {
  struct Case {
    FileFault fault;
    const char* message;
    int left_open;
  };
  for (const Case& given :
       {Case{{FileCall::open, 1, EACCES}, "open", 0}, Case{{FileCall::lseek, 1, EIO}, "lseek", 1},
        Case{{FileCall::read, 1, EIO}, "read", 0}}) {
    load('1', TypeParam::white_list());
    typename TypeParam::Region image;
    memset(&image, 0xaa, sizeof(image));
    world.file_faults = {given.fault};
    EXPECT_EQ(get<TypeParam>(&image, -1),
              in_family<TypeParam>(
                  {refresh(),
                   out("get_firewall4_rules_from_cfgfile::" + std::string(given.message) +
                       " /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_get_firewall_cfg::get_firewall_rules_from_cfgfile err!\n")}));
    EXPECT_EQ(open_descriptors(), given.left_open);
    EXPECT_EQ(bytes_of(image), std::string(TypeParam::region_size, '\xaa'));
    // The record in memory was zeroed before the file was opened.
    EXPECT_EQ(bytes_of(TypeParam::record()), std::string(TypeParam::record_size, '\0'));
    world.file_faults = {};
  }
}

TYPED_TEST(IpFilterGet, AMissingFileThatCannotBeCreatedFailsTheCall) {
  typename TypeParam::Region image = TypeParam::white_list();
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(get<TypeParam>(&image, -1),
            in_family<TypeParam>(
                {refresh(), out("get_firewall4_rules_from_cfgfile::init_cfgfile err!\n"),
                 error("gl3_web_get_firewall_cfg::get_firewall_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(image), bytes_of(TypeParam::white_list()));
}

TYPED_TEST(IpFilterGet, AFailedReadOfTheSwitchComesAfterTheCopyAndKeepsTheSwitch) {
  for (const FileFault& fault :
       {FileFault{FileCall::open, 2, EACCES}, FileFault{FileCall::lseek, 2, EIO},
        FileFault{FileCall::read, 2, EIO}}) {
    load_firewall_switch(true);
    write_file(config_path, file_with('0', TypeParam::white_list()));
    typename TypeParam::Region image = {};
    world.file_faults = {fault};
    EXPECT_EQ(get<TypeParam>(&image, -1),
              in_family<TypeParam>(
                  {refresh(),
                   error("gl3_web_get_firewall_cfg::get_firewall_state_from_cfgfile err!\n")}));
    EXPECT_EQ(open_descriptors(), fault.call == FileCall::open ? 0 : 1);
    EXPECT_EQ(bytes_of(image), bytes_of(TypeParam::white_list()));
    world.file_faults = {};
    EXPECT_TRUE(switch_is_on());
  }
}

TYPED_TEST(IpFilterRemoveAll, EmptiesTheListAndKeepsModesAndFilterWord) {
  typename TypeParam::Region stored = TypeParam::white_list();
  stored.ds_black_white = 2;
  stored.ip_filter_ctrl = 1;
  load('1', stored);
  // The catch-alls come although ip_filter_ctrl is 0, which means that the filter is not applied.
  EXPECT_EQ(remove_all<TypeParam>(0),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran("iptables -t filter -F forward_ext_ds_ip"),
                                  ran("iptables -A forward_ext_us_ip -j DROP"),
                                  ran("iptables -A forward_ext_ds_ip -j DROP"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  const std::string left =
      std::string(TypeParam::region_size - 12, '\0') + word(1) + word(2) + word(1);
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter), left);
  EXPECT_EQ(read_file(config_path),
            file_with('1', typename TypeParam::Region{})
                .replace(TypeParam::record_offset, TypeParam::region_size, left));
  EXPECT_EQ(open_descriptors(), 0);
}

TYPED_TEST(IpFilterRemoveAll, ABlackListGetsNoCatchAll) {
  typename TypeParam::Region stored = TypeParam::white_list();
  stored.us_black_white = 0;
  load('1', stored);
  EXPECT_EQ(remove_all<TypeParam>(0),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran("iptables -t filter -F forward_ext_ds_ip"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(read_file(config_path), file_with('1', typename TypeParam::Region{}));
}

TYPED_TEST(IpFilterRemoveAll, WithTheSwitchOffThereIsNoCatchAll) {
  load('0', TypeParam::white_list());
  EXPECT_EQ(remove_all<TypeParam>(0),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran("iptables -t filter -F forward_ext_ds_ip"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TYPED_TEST(IpFilterRemoveAll, AFailedFlushEndsTheCallAndKeepsTheRules) {
  load('1', TypeParam::white_list());
  families::fail_command<TypeParam>("iptables -t filter -F forward_ext_ds_ip");
  EXPECT_EQ(remove_all<TypeParam>(-1),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran_and_failed("iptables -t filter -F forward_ext_ds_ip"),
                                  error("gl3_web_remove_all_firewall_rule::flush_fw_ip err!\n")}));
  families::fail_command<TypeParam>("iptables -t filter -F forward_ext_us_ip");
  EXPECT_EQ(
      remove_all<TypeParam>(-1),
      in_family<TypeParam>({refresh(), ran_and_failed("iptables -t filter -F forward_ext_us_ip"),
                            error("gl3_web_remove_all_firewall_rule::flush_fw_ip err!\n")}));
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter), bytes_of(TypeParam::white_list()));
  EXPECT_EQ(read_file(config_path), file_with('1', TypeParam::white_list()));
}

TYPED_TEST(IpFilterRemoveAll, AFailedCatchAllIsOnlyLogged) {
  load('1', TypeParam::white_list());
  families::fail_command<TypeParam>("iptables -A forward_ext_us_ip -j DROP");
  EXPECT_EQ(remove_all<TypeParam>(0),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran("iptables -t filter -F forward_ext_ds_ip"),
                                  ran_and_failed("iptables -A forward_ext_us_ip -j DROP"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TYPED_TEST(IpFilterRemoveAll, AFailedSaveEndsTheCallAndKeepsTheRules) {
  load('0', TypeParam::white_list());
  families::fail_command<TypeParam>("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(remove_all<TypeParam>(-1),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                                  ran("iptables -t filter -F forward_ext_ds_ip"),
                                  ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                                  error("gl3_web_remove_all_firewall_rule::save_fw err!\n")}));
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter), bytes_of(TypeParam::white_list()));
  EXPECT_EQ(read_file(config_path), file_with('0', TypeParam::white_list()));
}

TYPED_TEST(IpFilterRemoveAll, AFailedWriteLeavesTheListEmptyInMemory) {
  load('0', TypeParam::white_list());
  world.file_faults = {{FileCall::write, 1, ENOSPC}};
  EXPECT_EQ(remove_all<TypeParam>(-1),
            in_family<TypeParam>(
                {refresh(), ran("iptables -t filter -F forward_ext_us_ip"),
                 ran("iptables -t filter -F forward_ext_ds_ip"),
                 ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                 out("set_firewall4_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
                 error("gl3_web_remove_all_firewall_rule::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(TypeParam::record().ip_filter),
            std::string(TypeParam::region_size - 12, '\0') + word(1) + word(0) + word(0));
  EXPECT_EQ(read_file(config_path), file_with('0', TypeParam::white_list()));
}

TYPED_TEST(IpFilterRemoveAll, AMissingFileIsCreatedAndTheModesAreLostWithIt) {
  load('0', TypeParam::white_list());
  unlink(config_path);
  remove_all<TypeParam>(0);
  EXPECT_EQ(bytes_of(TypeParam::record()),
            fresh_config_file().substr(TypeParam::record_offset, TypeParam::record_size));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}
