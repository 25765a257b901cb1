/* The management calls of the MAC filter, in both families. */
#include <cerrno>

#include "families.hpp"
#include "mac_image.hpp"

using namespace harness;
using families::in_family;

namespace {

struct Ipv4 {
  static constexpr char name[] = "Ipv4";
  static families::Renames renames() { return {}; }
  static l3_mac_filter& region() { return fw_rules_table.mac_filter; }
  static constexpr size_t offset = 4667; /* of the region in the file */
  // The get call reads both records before the switch.
  static constexpr int switch_seek = 3;
  static constexpr int switch_read = 3;
  static constexpr auto set = gl3_web_set_mac_cfg;
  static constexpr auto get = gl3_web_get_mac_cfg;
  static constexpr auto remove_all = gl3_web_remove_all_mac_rule;
};

struct Ipv6 {
  static constexpr char name[] = "Ipv6";
  // The set call's messages, and that of a failed flush in the remove-all call, name the IPv4 twin.
  static families::Renames renames() {
    return {{"iptables", "ip6tables"},
            {"firewall.conf", "firewall6.conf"},
            {"set_firewall_rules_to_cfgfile::", "set_firewall6_rules_to_cfgfile::"},
            {"get_firewall_rules_from_cfgfile::", "get_firewall6_rules_from_cfgfile::"},
            {"config_fw_mac::", "config_fw6_mac::"},
            {"gl3_web_get_mac_cfg::", "gl3_web_get_mac6_cfg::"},
            {"cfg::get_firewall_rules", "cfg::get_firewall6_rules"},
            {"mac_rule::save_fw", "mac6_rule::save_fw6"},
            {"mac_rule::set_firewall_rules", "mac6_rule::set_firewall6_rules"}};
  }
  static l3_mac_filter& region() { return fw6_rules_table.mac_filter; }
  static constexpr size_t offset = 13483;
  static constexpr int switch_seek = 2;
  static constexpr int switch_read = 2;
  static constexpr auto set = gl3_web_set_mac6_cfg;
  static constexpr auto get = gl3_web_get_mac6_cfg;
  static constexpr auto remove_all = gl3_web_remove_all_mac6_rule;
};

constexpr char rule[] =
    "iptables -A forward_ext_mac -i br0 -m mac --mac-source 00:1a:2b:3c:4d:5e "
    "-m time --timestart 8:5 --timestop 12:30 -j DROP";

std::string one_tablet(uint32_t mode, uint32_t control) {
  return mac_image(1,
                   {mac_entry(std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6),
                              std::string("\x08\x0c\x05\x1e", 4), 1, "abcdef")},
                   mode, control);
}

/* The configuration file with the switch as given and this MAC region in it. */
template <typename Family>
std::string file_with(bool on, const std::string& image) {
  std::string file = fresh_config_file();
  file[29] = on ? '1' : '0';
  return file.replace(Family::offset, image.size(), image);
}

template <typename Family>
std::string set(const std::string& image, int32_t expected_result) {
  const l3_mac_filter region = mac_region(image);
  return record([&] { EXPECT_EQ(Family::set(&region), expected_result); });
}

template <typename Family>
std::string remove_all(int32_t expected_result) {
  return record([&] { EXPECT_EQ(Family::remove_all(), expected_result); });
}

template <typename Family>
void store(bool on, const std::string& image) {
  load_firewall_switch(on);
  static_cast<void>(set<Family>(image, 0));
}

template <typename Family>
std::string stored() {
  return bytes_of(Family::region());
}

const std::string empty_region(212, '\0');

}  // namespace

using Families = testing::Types<Ipv4, Ipv6>;

template <typename Family>
class MacFilter : public testing::Test {};
TYPED_TEST_SUITE(MacFilter, Families, families::Name);

TYPED_TEST(MacFilter, SetWritesTheFileThenFlushesGeneratesAndSaves) {
  load_firewall_switch(true);
  EXPECT_EQ(
      set<TypeParam>(one_tablet(0, 1), 0),
      in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                            debug("\n==[fw_enable=1,mac_filter_ctrl=1,macTable=1]\n"),
                            mac_rule("00:1a:2b:3c:4d:5e", rule), debug("[mac_black_white=0]\n"),
                            ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(stored<TypeParam>(), one_tablet(0, 1));
  EXPECT_EQ(read_file(config_path), file_with<TypeParam>(true, one_tablet(0, 1)));
}

TYPED_TEST(MacFilter, SetGeneratesNothingWhileEitherSwitchIsOff) {
  load_firewall_switch(false);
  EXPECT_EQ(set<TypeParam>(one_tablet(1, 1), 0),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                  debug("\n==[fw_enable=0,mac_filter_ctrl=1,macTable=1]\n"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  load_firewall_switch(true);
  EXPECT_EQ(set<TypeParam>(one_tablet(1, 0), 0),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                  debug("\n==[fw_enable=1,mac_filter_ctrl=0,macTable=1]\n"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TYPED_TEST(MacFilter, EverySwitchValueButZeroIsOn) {
  load_firewall_switch(true);
  EXPECT_EQ(set<TypeParam>(mac_image(-1, {}, 1, 0x80000000), 0),
            in_family<TypeParam>(
                {refresh(), ran("iptables -t filter -F forward_ext_mac"),
                 debug("\n==[fw_enable=1,mac_filter_ctrl=80000000,macTable=ffffffff]\n"),
                 debug("[mac_black_white=1]\n"), ran("iptables -A forward_ext_mac -i br0 -j DROP"),
                 ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TYPED_TEST(MacFilter, AnEqualImageChangesNothing) {
  store<TypeParam>(true, one_tablet(0, 1));
  EXPECT_EQ(set<TypeParam>(one_tablet(0, 1), 0), in_family<TypeParam>({refresh()}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(read_file(config_path), file_with<TypeParam>(true, one_tablet(0, 1)));
}

TYPED_TEST(MacFilter, AnyOtherByteMakesAnImageDifferent) {
  store<TypeParam>(false, one_tablet(0, 0));
  std::string image = one_tablet(0, 0);
  for (const size_t byte : {size_t{3}, size_t{8}, size_t{14}, size_t{203}, size_t{211}}) {
    image[byte] = static_cast<char>(image[byte] + 1);
    EXPECT_NE(set<TypeParam>(image, 0), in_family<TypeParam>({refresh()})) << byte;
    EXPECT_EQ(stored<TypeParam>(), image) << byte;
    EXPECT_EQ(read_file(config_path), file_with<TypeParam>(false, image)) << byte;
  }
}

TYPED_TEST(MacFilter, SetNeedsAPointer) {
  EXPECT_EQ(record([] { EXPECT_EQ(TypeParam::set(nullptr), -1); }),
            in_family<TypeParam>(
                {refresh(), error("gl3_web_set_mac_cfg::xi_pMacTableInfo NULLP err\r\n")}));
}

TYPED_TEST(MacFilter, AFailedWriteKeepsTheNewValuesInMemoryAndTheRulesAlone) {
  load_firewall_switch(true);
  const std::string before = read_file(config_path);
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(
      set<TypeParam>(one_tablet(0, 1), -1),
      in_family<TypeParam>(
          {refresh(), out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
           error("gl3_web_set_mac_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(stored<TypeParam>(), one_tablet(0, 1));
  EXPECT_EQ(read_file(config_path), before);
}

TYPED_TEST(MacFilter, AFailedFlushEndsTheSetWithoutAMessage) {
  load_firewall_switch(true);
  families::fail_command<TypeParam>("iptables -t filter -F forward_ext_mac");
  EXPECT_EQ(
      set<TypeParam>(one_tablet(0, 1), -1),
      in_family<TypeParam>({refresh(), ran_and_failed("iptables -t filter -F forward_ext_mac")}));
  EXPECT_EQ(read_file(config_path), file_with<TypeParam>(true, one_tablet(0, 1)));
}

TYPED_TEST(MacFilter, SetIgnoresAFailedRule) {
  load_firewall_switch(true);
  families::fail_command<TypeParam>(rule);
  EXPECT_EQ(
      set<TypeParam>(one_tablet(0, 1), 0),
      in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                            debug("\n==[fw_enable=1,mac_filter_ctrl=1,macTable=1]\n"),
                            mac_traced("00:1a:2b:3c:4d:5e", rule), ran_and_failed(rule),
                            ran("iptables -t filter -F forward_ext_mac"),
                            error("config_fw_mac::str_system(" + std::string(rule) + ") is err!\n"),
                            ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TYPED_TEST(MacFilter, SetReturnsTheResultOfTheSave) {
  load_firewall_switch(false);
  families::fail_command<TypeParam>("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(
      set<TypeParam>(one_tablet(0, 1), -1),
      in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                            debug("\n==[fw_enable=0,mac_filter_ctrl=1,macTable=1]\n"),
                            ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TYPED_TEST(MacFilter, GetBringsTheMasterSwitchInLineWithTheFile) {
  l3_mac_filter region = {};
  for (const bool on : {true, false}) {
    write_file(config_path, file_with<TypeParam>(on, empty_region));
    EXPECT_EQ(record([&] { EXPECT_EQ(TypeParam::get(&region), 0); }),
              in_family<TypeParam>({refresh()}));
    EXPECT_EQ(set<TypeParam>(mac_image(0, {}, 0, 1), 0),
              in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                    on ? debug("\n==[fw_enable=1,mac_filter_ctrl=1,macTable=0]\n") +
                                             debug("[mac_black_white=0]\n")
                                       : debug("\n==[fw_enable=0,mac_filter_ctrl=1,macTable=0]\n"),
                                    ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  }
}

TYPED_TEST(MacFilter, GetNeedsAPointer) {
  EXPECT_EQ(record([] { EXPECT_EQ(TypeParam::get(nullptr), -1); }),
            in_family<TypeParam>(
                {refresh(), error("gl3_web_get_mac_cfg::xo_pMacTableInfo NULLP err\r\n")}));
}

TYPED_TEST(MacFilter, AFailedReadOfTheRecordsLeavesTheCallersBufferAlone) {
  write_file(config_path, file_with<TypeParam>(true, one_tablet(0, 1)));
  l3_mac_filter region = {};
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(
      record([&] { EXPECT_EQ(TypeParam::get(&region), -1); }),
      in_family<TypeParam>(
          {refresh(), out("get_firewall_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
           error("gl3_web_get_mac_cfg::get_firewall_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(region), empty_region);
}

TYPED_TEST(MacFilter, AFailedReadOfTheSwitchComesAfterTheCopy) {
  load_firewall_switch(true);
  write_file(config_path, file_with<TypeParam>(false, one_tablet(0, 1)));
  for (const FileFault& fault : {FileFault{FileCall::open, 2, EACCES},
                                 FileFault{FileCall::lseek, TypeParam::switch_seek, EIO},
                                 FileFault{FileCall::read, TypeParam::switch_read, EIO}}) {
    world.file_faults = {fault};
    l3_mac_filter region = {};
    EXPECT_EQ(
        record([&] { EXPECT_EQ(TypeParam::get(&region), -1); }),
        in_family<TypeParam>(
            {refresh(), error("gl3_web_get_mac_cfg::get_firewall_state_from_cfgfile err!\n")}));
    EXPECT_EQ(bytes_of(region), one_tablet(0, 1));
    EXPECT_TRUE(switch_in_memory());
  }
}

TYPED_TEST(MacFilter, RemoveAllAddsTheCatchAllInEveryModeButZero) {
  for (const uint32_t mode : {1U, 2U}) {
    store<TypeParam>(true, one_tablet(mode, 3));
    EXPECT_EQ(remove_all<TypeParam>(0),
              in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                    ran("iptables -A forward_ext_mac -i br0 -j DROP"),
                                    ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
    EXPECT_EQ(stored<TypeParam>(), mac_image(0, {}, mode, 3));
    EXPECT_EQ(read_file(config_path), file_with<TypeParam>(true, mac_image(0, {}, mode, 3)));
  }
}

TYPED_TEST(MacFilter, RemoveAllAddsNoCatchAllToABlackListOrWhileASwitchIsOff) {
  struct Case {
    bool on;
    uint32_t mode, control;
  };
  for (const Case& the : {Case{true, 0, 1}, Case{true, 1, 0}, Case{false, 1, 1}}) {
    store<TypeParam>(the.on, one_tablet(the.mode, the.control));
    EXPECT_EQ(remove_all<TypeParam>(0),
              in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                    ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
    EXPECT_EQ(stored<TypeParam>(), mac_image(0, {}, the.mode, the.control));
    EXPECT_EQ(read_file(config_path),
              file_with<TypeParam>(the.on, mac_image(0, {}, the.mode, the.control)));
  }
}

TYPED_TEST(MacFilter, RemoveAllIgnoresTheResultOfTheCatchAll) {
  store<TypeParam>(true, one_tablet(1, 1));
  families::fail_command<TypeParam>("iptables -A forward_ext_mac -i br0 -j DROP");
  EXPECT_EQ(remove_all<TypeParam>(0),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                  ran_and_failed("iptables -A forward_ext_mac -i br0 -j DROP"),
                                  ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(stored<TypeParam>(), mac_image(0, {}, 1, 1));
}

TYPED_TEST(MacFilter, RemoveAllEndsAtAFailedFlush) {
  store<TypeParam>(true, one_tablet(1, 1));
  families::fail_command<TypeParam>("iptables -t filter -F forward_ext_mac");
  EXPECT_EQ(
      remove_all<TypeParam>(-1),
      in_family<TypeParam>({refresh(), ran_and_failed("iptables -t filter -F forward_ext_mac"),
                            error("gl3_web_remove_all_mac_rule::flush_fw_mac err!\n")}));
  EXPECT_EQ(stored<TypeParam>(), one_tablet(1, 1));
}

TYPED_TEST(MacFilter, RemoveAllEndsAtAFailedSave) {
  store<TypeParam>(true, one_tablet(1, 1));
  families::fail_command<TypeParam>("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(remove_all<TypeParam>(-1),
            in_family<TypeParam>({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                                  ran("iptables -A forward_ext_mac -i br0 -j DROP"),
                                  ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                                  error("gl3_web_remove_all_mac_rule::save_fw err!\n")}));
  EXPECT_EQ(stored<TypeParam>(), one_tablet(1, 1));
  EXPECT_EQ(read_file(config_path), file_with<TypeParam>(true, one_tablet(1, 1)));
}

TYPED_TEST(MacFilter, RemoveAllReportsAFailedWrite) {
  store<TypeParam>(true, one_tablet(0, 1));
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(remove_all<TypeParam>(-1),
            in_family<TypeParam>(
                {refresh(), ran("iptables -t filter -F forward_ext_mac"),
                 ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                 out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                 error("gl3_web_remove_all_mac_rule::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(stored<TypeParam>(), mac_image(0, {}, 0, 1));
  EXPECT_EQ(read_file(config_path), file_with<TypeParam>(true, one_tablet(0, 1)));
}

/* ---- what the families do differently ---- */

TEST(Mac4Filter, SetWritesBothRecordsBeforeTheRulesAreTouched) {
  load_firewall_switch(true);
  fw6_rules_table.mac_filter = mac_region(one_tablet(3, 0));
  std::string at_first_command;
  world.system = [&](const std::string&) {
    if (at_first_command.empty()) {
      at_first_command = read_file(config_path);
    }
    return exited(0);
  };
  static_cast<void>(set<Ipv4>(one_tablet(1, 1), 0));
  EXPECT_EQ(at_first_command,
            file_with<Ipv4>(true, one_tablet(1, 1)).replace(13483, 212, one_tablet(3, 0)));
}

TEST(Mac4Filter, GetReloadsBothRecordsAndCopiesTheRegionOut) {
  const std::string file = file_with<Ipv4>(false, one_tablet(2, 3));
  write_file(config_path, file);
  fw6_rules_table.mac_filter.mac_black_white = 5;
  l3_mac_filter region = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_mac_cfg(&region), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(region), one_tablet(2, 3));
  EXPECT_EQ(bytes_of(fw_rules_table) + bytes_of(fw6_rules_table),
            file.substr(31, 6168) + file.substr(6447, 8572));
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
  static_cast<void>(set<Ipv6>(one_tablet(1, 1), 0));
  EXPECT_EQ(at_first_command, file_with<Ipv6>(true, one_tablet(1, 1)));
}

TEST(Mac6Filter, GetReloadsTheIpv6RecordAloneAndCopiesTheRegionOut) {
  const std::string file = file_with<Ipv6>(false, one_tablet(2, 3));
  write_file(config_path, file);
  fw_rules_table.mac_filter.mac_black_white = 5;
  const std::string before = bytes_of(fw_rules_table);
  fw6_rules_table.mac_filter.mac_black_white = 5;
  l3_mac_filter region = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_mac6_cfg(&region), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(region), one_tablet(2, 3));
  EXPECT_EQ(bytes_of(fw_rules_table) + bytes_of(fw6_rules_table), before + file.substr(6447, 8572));
}
