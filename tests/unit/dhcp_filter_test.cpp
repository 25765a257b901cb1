/* The DHCP client MAC filter. */
#include <cerrno>
#include <cstring>

#include "harness.hpp"

using namespace harness;

namespace {

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

std::string entry(uint32_t flag, const std::string& mac) {
  return word(flag) + mac + std::string("\x11\0\0\0\0\0\0\0\0\x22", 10);
}

const std::string first_mac("\x00\x11\x22\xaa\xbb\xcc", 6);
const std::string second_mac("\x00\x11\x22\xaa\xbb\xcd", 6);
const std::string third_mac("\xfe\xdc\xba\x98\x76\x0f", 6);

/* The 212 bytes of a region. */
std::string region(int32_t count, std::string entries, uint32_t black_white, uint32_t control) {
  entries.resize(200);
  return word(static_cast<uint32_t>(count)) + entries + word(black_white) + word(control);
}

std::string two_devices(uint32_t black_white, uint32_t control) {
  return region(2, entry(1, first_mac) + entry(1, third_mac), black_white, control);
}

l3_dhcp_filter image_of(const std::string& bytes) {
  l3_dhcp_filter image;
  EXPECT_EQ(bytes.size(), sizeof(image));
  memcpy(&image, bytes.data(), sizeof(image));
  return image;
}

/* Puts a region straight into the library's record. */
void store(const std::string& bytes) {
  memcpy(&fw_rules_table.dhcp_filter, bytes.data(), bytes.size());
}

std::string stored() {
  return bytes_of(fw_rules_table.dhcp_filter);
}

std::string file_with(char fire_wall, const std::string& bytes) {
  std::string file = fresh_config_file();
  file[29] = fire_wall;
  file.replace(4879, 212, bytes);
  return file;
}

int32_t set(const std::string& bytes) {
  const l3_dhcp_filter image = image_of(bytes);
  return gl3_web_set_dhcp_cfg(&image);
}

/* The trace of the address, which stands in the rule line, and of the line. */
Lines traced(const std::string& line) {
  const std::string before = "iptables -A input_ext_dhcp -m mac --mac-source ";
  return debug("gl3_web_mac_bin_to_str::mac_bin=" + line.substr(before.size(), 17) + "\n") +
         debug("\n==" + line + "==\n");
}

Lines rule(const std::string& line) {
  return traced(line) + ran(line);
}

Lines failed_rule(const std::string& line, int exit_code = 1) {
  return traced(line) + ran_and_failed(line, exit_code);
}

constexpr char flush[] = "iptables -t filter -F input_ext_dhcp";
constexpr char save[] = "iptables-save -t filter >/ztcfg/firewall.conf";
constexpr char first_drop[] =
    "iptables -A input_ext_dhcp -m mac --mac-source 00:11:22:aa:bb:cc -j DROP";
constexpr char second_drop[] =
    "iptables -A input_ext_dhcp -m mac --mac-source 00:11:22:aa:bb:cd -j DROP";
constexpr char third_drop[] =
    "iptables -A input_ext_dhcp -m mac --mac-source fe:dc:ba:98:76:0f -j DROP";
constexpr char first_accept[] =
    "iptables -A input_ext_dhcp -m mac --mac-source 00:11:22:aa:bb:cc -j ACCEPT";
constexpr char third_accept[] =
    "iptables -A input_ext_dhcp -m mac --mac-source fe:dc:ba:98:76:0f -j ACCEPT";
constexpr char catch_all[] = "iptables -A input_ext_dhcp -j DROP";
constexpr char nobody[] =
    "iptables -A input_ext_dhcp -m mac --mac-source 00:00:00:00:00:00 -j DROP";

Lines trace(const std::string& values) {
  return debug("\n==[" + values + "]\n");
}

Lines generated(const std::string& control) {
  return debug("[dhcp_mac_filter_ctrl=" + control + "]\n");
}

bool firewall_is_on_in_memory() {
  return record([] { gl3_web_set_anti_port_scan(1); }).find("--log-prefix") != std::string::npos;
}

struct WriteFault {
  FileFault fault;
  const char* message;
};

const WriteFault write_faults[] = {
    {{FileCall::open, 1, EIO},
     "set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"},
    {{FileCall::lseek, 1, EIO},
     "set_firewall_rules_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"},
    {{FileCall::write, 1, ENOSPC},
     "set_firewall_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"},
    {{FileCall::lseek, 2, EIO},
     "set_firewall_rules_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"},
    {{FileCall::write, 2, ENOSPC},
     "set_firewall_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"},
};

}  // namespace

TEST(DhcpFilter, ABlackListDropsTheListedDevices) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_devices(0, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=2"),
                   rule(first_drop), rule(third_drop), generated("1"), ran(save)}));
  EXPECT_EQ(stored(), two_devices(0, 1));
  EXPECT_EQ(read_file(config_path), file_with('1', two_devices(0, 1)));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(DhcpFilter, AWhiteListEndsWithACatchAllDrop) {
  load_firewall_switch(true);
  EXPECT_EQ(
      record([] { EXPECT_EQ(set(two_devices(1, 0x1f)), 0); }),
      lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1f,dhcpTable=2"),
             rule(first_accept), rule(third_accept), generated("1f"), ran(catch_all), ran(save)}));
  EXPECT_EQ(stored(), two_devices(1, 0x1f));
  EXPECT_EQ(read_file(config_path), file_with('1', two_devices(1, 0x1f)));
}

TEST(DhcpFilter, OnlyTheModeOneIsAWhiteList) {
  load_firewall_switch(true);
  for (const uint32_t mode : {2U, 0x101U, 0xffffffffU}) {
    EXPECT_EQ(record([&] { EXPECT_EQ(set(two_devices(mode, 1)), 0); }),
              lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=2"),
                     rule(first_drop), rule(third_drop), generated("1"), ran(save)}))
        << "mode " << mode;
  }
}

TEST(DhcpFilter, AnEmptyWhiteListLeavesTheCatchAllAlone) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(region(0, "", 1, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=0"),
                   generated("1"), ran(catch_all), ran(save)}));
}

TEST(DhcpFilter, AnEmptyBlackListMakesNoRule) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(region(0, "", 0, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=0"),
                   generated("1"), ran(save)}));
}

TEST(DhcpFilter, AnEntryWhoseFlagIsZeroMakesARule) {
  store(region(2, entry(0, first_mac) + entry(0xffffffff, third_mac), 0, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({rule(first_drop), rule(third_drop), generated("1")}));
}

TEST(DhcpFilter, EntriesAtAndAboveTheCountMakeNone) {
  store(region(1, entry(1, first_mac) + entry(1, second_mac), 0, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({rule(first_drop), generated("1")}));
}

TEST(DhcpFilter, TheGeneratorAsksNoSwitchAndFlushesNothing) {
  store(region(1, entry(1, first_mac), 1, 0));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({rule(first_accept), generated("0"), ran(catch_all)}));
}

TEST(DhcpFilter, TenEntriesFillTheList) {
  std::string entries;
  Lines expected;
  for (int i = 0; i < 10; ++i) {
    const std::string digit = std::to_string(i);
    entries += entry(1, std::string("\x02\x00\x00\x00\x00", 5) + static_cast<char>(i));
    expected = expected + rule("iptables -A input_ext_dhcp -m mac --mac-source 02:00:00:00:00:0" +
                               digit + " -j DROP");
  }
  store(region(10, entries, 0, 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }), lines({expected, generated("1")}));
}

TEST(DhcpFilter, ANegativeCountWalksNothing) {
  load_firewall_switch(true);
  EXPECT_EQ(
      record([] { EXPECT_EQ(set(region(-1, entry(1, first_mac), 1, 1)), 0); }),
      lines({refresh(), ran(flush), trace("fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=ffffffff"),
             generated("1"), ran(catch_all), ran(save)}));
}

TEST(DhcpFilter, ACountAboveTheListReadsTheBytesBehindIt) {
  store(region(11, "", 0, 0));
  memcpy(&fw_rules_table.dhcp_filter.dhcp_mac_filter_ctrl, "\x01\x02\x02\x01",
         4);  // the same in either byte order
  memcpy(&fw_rules_table.acl.count, "\xab\xcd\xef\x77", 4);
  Lines expected;
  for (int i = 0; i < 10; ++i) {
    expected = expected + rule(nobody);
  }
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({expected,
                   rule("iptables -A input_ext_dhcp -m mac --mac-source 01:02:02:01:ab:cd -j DROP"),
                   generated("1020201")}));
}

TEST(DhcpFilter, ACountPastTheRecordStopsAtItsEnd) {
  for (const int32_t count : {65, 66, 1000000, 2147483647}) {
    store(region(count, "", 0, 1));
    Lines expected;
    for (int i = 0; i < 10; ++i) {
      expected = expected + rule(nobody);
    }
    // The switch word itself lies in the eleventh place.
    const std::string first_byte = word(1)[0] == 1 ? "01:00:00:00" : "00:00:00:01";
    expected = expected + rule("iptables -A input_ext_dhcp -m mac --mac-source " + first_byte +
                               ":00:00 -j DROP");
    for (int i = 11; i < 65; ++i) {
      expected = expected + rule(nobody);
    }
    EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }), lines({expected, generated("1")}))
        << "count " << count;
  }
}

TEST(DhcpFilter, AFailedRuleFlushesTheChainAndEndsTheList) {
  store(region(3, entry(1, first_mac) + entry(1, second_mac) + entry(1, third_mac), 0, 1));
  fail_command(second_drop, 2);
  EXPECT_EQ(
      record([] { EXPECT_EQ(config_fw_dhcp(), -1); }),
      lines({rule(first_drop), failed_rule(second_drop, 2), ran(flush),
             error("config_fw_dhcp::str_system(" + std::string(second_drop) + ") is err!\n")}));
}

TEST(DhcpFilter, AFailedRuleOfAWhiteListLeavesNoCatchAll) {
  store(region(1, entry(1, first_mac), 1, 1));
  fail_command(first_accept);
  fail_command(flush);
  EXPECT_EQ(
      record([] { EXPECT_EQ(config_fw_dhcp(), -1); }),
      lines({failed_rule(first_accept), ran_and_failed(flush),
             error("config_fw_dhcp::str_system(" + std::string(first_accept) + ") is err!\n")}));
}

TEST(DhcpFilter, AFailedCatchAllIsIgnored) {
  store(region(0, "", 1, 1));
  fail_command(catch_all);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_dhcp(), 0); }),
            lines({generated("1"), ran_and_failed(catch_all)}));
}

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
  EXPECT_TRUE(firewall_is_on_in_memory());
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
  EXPECT_TRUE(firewall_is_on_in_memory());
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
