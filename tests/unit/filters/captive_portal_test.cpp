/* Captive-portal redirection. */
#include <cerrno>
#include <cstring>

#include "harness.hpp"

using namespace harness;

namespace {

std::string entry(uint32_t enable, std::string address) {
  EXPECT_LE(address.size(), 20U);
  address.resize(20);
  return word(enable) + address;
}

/* The 776 bytes of a region. */
std::string region(int32_t count, std::string entries, uint32_t control) {
  entries.resize(768);
  return word(static_cast<uint32_t>(count)) + entries + word(control);
}

std::string two_places(uint32_t control) {
  return region(2, entry(1, "192.168.1.1") + entry(1, "203.0.113.0/24"), control);
}

l3_caporl image_of(const std::string& bytes) {
  l3_caporl image;
  EXPECT_EQ(bytes.size(), sizeof(image));
  memcpy(&image, bytes.data(), sizeof(image));
  return image;
}

/* Puts a region straight into the library's record. */
void store(const std::string& bytes) {
  memcpy(&fw_rules_table.caporl, bytes.data(), bytes.size());
}

std::string stored() {
  return bytes_of(fw_rules_table.caporl);
}

std::string file_with(char fire_wall, const std::string& bytes) {
  std::string file = fresh_config_file();
  file[29] = fire_wall;
  file.replace(5419, 776, bytes);
  return file;
}

int32_t set(const std::string& bytes) {
  const l3_caporl image = image_of(bytes);
  return gl3_web_set_caporl_cfg(&image);
}

Lines rule(const std::string& line) {
  return debug("\n==" + line + "==\n") + ran(line);
}

Lines failed_rule(const std::string& line, int exit_code = 1) {
  return debug("\n==" + line + "==\n") + ran_and_failed(line, exit_code);
}

constexpr char flush[] = "iptables -t filter -F forward_ext_captiveportal";
constexpr char save[] = "iptables-save -t filter >/ztcfg/firewall.conf";
constexpr char gateway[] = "iptables -A forward_ext_captiveportal  -d 192.168.1.1 -j ACCEPT";
constexpr char network[] = "iptables -A forward_ext_captiveportal  -d 203.0.113.0/24 -j ACCEPT";
constexpr char all_the_rest[] = "iptables -A forward_ext_captiveportal -j DROP";

Lines trace(const std::string& values) {
  return debug("\n==[" + values + "]\n");
}

}  // namespace

TEST(CaptivePortal, ListedDestinationsAreAcceptedAndTheRestDropped) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_places(1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=1,caporlTable=2"),
                   rule(gateway), rule(network), ran(all_the_rest), ran(save)}));
  EXPECT_EQ(stored(), two_places(1));
  EXPECT_EQ(read_file(config_path), file_with('1', two_places(1)));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(CaptivePortal, AnEnabledPortalWithAnEmptyListDropsEverything) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(region(0, "", 0x2a)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=2a,caporlTable=0"),
                   ran(all_the_rest), ran(save)}));
}

TEST(CaptivePortal, AnEntryThatIsNotEnabledMakesNoRule) {
  store(region(3, entry(0, "192.0.2.1") + entry(2, "192.168.1.1") + entry(0, "192.0.2.2"), 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule(gateway), ran(all_the_rest)}));
}

TEST(CaptivePortal, AnEnableWordCountsByAllItsBits) {
  store(region(1, entry(0x80000000, "192.168.1.1"), 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule(gateway), ran(all_the_rest)}));
}

TEST(CaptivePortal, EntriesAtAndAboveTheCountMakeNoRule) {
  store(region(1, entry(1, "192.168.1.1") + entry(1, "203.0.113.0/24"), 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule(gateway), ran(all_the_rest)}));
}

TEST(CaptivePortal, ThirtyTwoActiveEntriesMakeThirtyTwoRulesAndOneDrop) {
  std::string entries;
  Lines expected;
  for (int i = 0; i < 32; ++i) {
    const std::string address = "198.51.100." + std::to_string(100 + i);
    entries += entry(1, address);
    expected =
        expected + rule("iptables -A forward_ext_captiveportal  -d " + address + " -j ACCEPT");
  }
  for (const int32_t count : {32, 33, 1000000, 2147483647}) {
    store(region(count, entries, 1));
    EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
              lines({expected, ran(all_the_rest)}))
        << "count " << count;
  }
}

TEST(CaptivePortal, ANegativeCountDropsEverything) {
  load_firewall_switch(true);
  EXPECT_EQ(
      record([] { EXPECT_EQ(set(region(-2, entry(1, "192.168.1.1"), 1)), 0); }),
      lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=1,caporlTable=fffffffe"),
             ran(all_the_rest), ran(save)}));
}

TEST(CaptivePortal, AnAddressOfNineteenCharactersFillsItsField) {
  store(region(1, entry(1, "198.51.100.199/32.xy"), 1));
  fw_rules_table.caporl.entries[0].caporl_ip[19] = '\0';
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule("iptables -A forward_ext_captiveportal  -d 198.51.100.199/32.x -j ACCEPT"),
                   ran(all_the_rest)}));
}

TEST(CaptivePortal, AnAddressWithoutItsZeroEndsWithItsField) {
  store(region(2, entry(1, "198.51.100.199/32.xy") + entry(1, "192.168.1.1"), 1));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule("iptables -A forward_ext_captiveportal  -d 198.51.100.199/32.xy -j ACCEPT"),
                   rule(gateway), ran(all_the_rest)}));
}

TEST(CaptivePortal, TheTextReachesTheShellAsItIs) {
  store(region(2, entry(1, "$(x) `y`;\"z\"\\%s") + entry(1, ""), 1));
  EXPECT_EQ(
      record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
      lines({rule("iptables -A forward_ext_captiveportal  -d $(x) `y`;\"z\"\\%s -j ACCEPT"),
             rule("iptables -A forward_ext_captiveportal  -d  -j ACCEPT"), ran(all_the_rest)}));
}

TEST(CaptivePortal, TheGeneratorAsksNoSwitchAndFlushesNothing) {
  store(two_places(0));
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({rule(gateway), rule(network), ran(all_the_rest)}));
}

TEST(CaptivePortal, AFailedRuleEmptiesTheChainAndLeavesRequestsFree) {
  store(two_places(1));
  fail_command(network, 2);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), -1); }),
            lines({rule(gateway), failed_rule(network, 2), ran(flush),
                   error("flush_fw_ip::str_system(" + std::string(network) + ") is err!\n")}));
}

TEST(CaptivePortal, AFailedFlushAfterAFailedRuleChangesNothing) {
  store(two_places(1));
  fail_command(gateway);
  fail_command(flush);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), -1); }),
            lines({failed_rule(gateway), ran_and_failed(flush),
                   error("flush_fw_ip::str_system(" + std::string(gateway) + ") is err!\n")}));
}

TEST(CaptivePortal, AFailedDropIsIgnored) {
  store(region(0, "", 1));
  fail_command(all_the_rest);
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_caporl(), 0); }),
            lines({ran_and_failed(all_the_rest)}));
}

TEST(CaptivePortal, AFailedRuleDoesNotFailTheSetCall) {
  load_firewall_switch(true);
  fail_command(gateway);
  EXPECT_EQ(
      record([] { EXPECT_EQ(set(two_places(1)), 0); }),
      lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=1,caporlTable=2"),
             failed_rule(gateway), ran(flush),
             error("flush_fw_ip::str_system(" + std::string(gateway) + ") is err!\n"), ran(save)}));
  EXPECT_EQ(read_file(config_path), file_with('1', two_places(1)));
}

TEST(CaptivePortal, WithTheFirewallOffTheSettingIsStoredOnly) {
  load_firewall_switch(false);
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_places(1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=0,caporl_filter_ctrl=1,caporlTable=2"),
                   ran(save)}));
  EXPECT_EQ(read_file(config_path), file_with('0', two_places(1)));
}

TEST(CaptivePortal, WithThePortalOffTheSettingIsStoredOnly) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_places(0)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=0,caporlTable=2"),
                   ran(save)}));
  EXPECT_EQ(read_file(config_path), file_with('1', two_places(0)));
}

TEST(CaptivePortal, AnIdenticalImageChangesNothing) {
  load_firewall_switch(true);
  static_cast<void>(record([] { set(two_places(1)); }));
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_places(1)), 0); }), lines({refresh()}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(CaptivePortal, AnImageThatDiffersInItsLastByteIsApplied) {
  load_firewall_switch(false);
  static_cast<void>(record([] { set(two_places(1)); }));
  std::string other = two_places(1);
  other[775] = static_cast<char>(other[775] ^ 0x40);
  static_cast<void>(record([&] { EXPECT_EQ(set(other), 0); }));
  EXPECT_EQ(read_file(config_path), file_with('0', other));
}

TEST(CaptivePortal, AnImageThatDiffersInItsCountAloneIsApplied) {
  load_firewall_switch(true);
  const std::string entries = entry(1, "192.168.1.1") + entry(1, "203.0.113.0/24");
  static_cast<void>(record([&] { set(region(2, entries, 1)); }));
  EXPECT_EQ(record([&] { EXPECT_EQ(set(region(1, entries, 1)), 0); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=1,caporlTable=1"),
                   rule(gateway), ran(all_the_rest), ran(save)}));
}

TEST(CaptivePortal, SettingNothingIsRefused) {
  load_firewall_switch(true);
  store(two_places(1));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_caporl_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_set_caporl_cfg::xi_pCaporlTableInfo NULLP err\r\n")}));
  EXPECT_EQ(stored(), two_places(1));
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(CaptivePortal, AFailedWriteStopsTheSetCallBeforeTheRules) {
  load_firewall_switch(true);
  for (const WriteFault& one : write_faults) {
    store(region(0, "", 0));
    world.file_faults = {one.fault};
    EXPECT_EQ(record([] { EXPECT_EQ(set(two_places(1)), -1); }),
              lines({refresh(), out(one.message),
                     error("gl3_web_set_caporl_cfg::set_firewall_rules_to_cfgfile err!\n")}));
    EXPECT_EQ(stored(), two_places(1));
  }
}

TEST(CaptivePortal, AFileThatCannotBeMadeStopsTheSetCall) {
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_places(1)), -1); }),
            lines({refresh(), out("set_firewall_rules_to_cfgfile::init_cfgfile err!\n"),
                   error("gl3_web_set_caporl_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(CaptivePortal, AFailedFlushStopsTheSetCallWithoutAWord) {
  load_firewall_switch(true);
  fail_command(flush);
  EXPECT_EQ(record([] { EXPECT_EQ(set(two_places(1)), -1); }),
            lines({refresh(), ran_and_failed(flush)}));
  EXPECT_EQ(read_file(config_path), file_with('1', two_places(1)));
}

TEST(CaptivePortal, AFailedSaveIsTheResultOfTheSetCall) {
  load_firewall_switch(true);
  fail_command(save);
  EXPECT_EQ(record([] { EXPECT_EQ(set(region(0, "", 1)), -1); }),
            lines({refresh(), ran(flush), trace("fw_enable=1,caporl_filter_ctrl=1,caporlTable=0"),
                   ran(all_the_rest), ran_and_failed(save)}));
}

TEST(CaptivePortal, GettingReadsTheFile) {
  write_file(config_path, file_with('1', two_places(7)));
  l3_caporl got = image_of(std::string(776, '\x5a'));
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_caporl_cfg(&got), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(got), two_places(7));
  EXPECT_EQ(stored(), two_places(7));
  EXPECT_EQ(open_descriptors(), 0);
  EXPECT_TRUE(switch_in_memory());
}

TEST(CaptivePortal, GettingIntoNothingIsRefused) {
  write_file(config_path, file_with('1', two_places(7)));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_caporl_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_caporl_cfg::xo_pCaporlTableInfo NULLP err\r\n")}));
  EXPECT_EQ(stored(), std::string(776, '\0'));
}

TEST(CaptivePortal, GettingFromAFileThatCannotBeReadFails) {
  write_file(config_path, file_with('1', two_places(7)));
  for (const FileFault& fault :
       {FileFault{FileCall::read, 1, EIO}, FileFault{FileCall::read, 2, EIO}}) {
    world.file_faults = {fault};
    l3_caporl got = image_of(std::string(776, '\x5a'));
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_caporl_cfg(&got), -1); }),
              lines({refresh(),
                     out("get_firewall_rules_from_cfgfile::read /ztcfg/l3_advance.dat error!\n"),
                     error("gl3_web_get_caporl_cfg::get_firewall_rules_from_cfgfile err!\n")}));
    EXPECT_EQ(bytes_of(got), std::string(776, '\x5a'));
  }
}

TEST(CaptivePortal, ASwitchThatCannotBeReadFailsTheGetCallAfterTheCopy) {
  load_firewall_switch(true);
  write_file(config_path, file_with('0', two_places(7)));
  for (const FileFault& fault :
       {FileFault{FileCall::open, 2, EIO}, FileFault{FileCall::lseek, 3, EIO},
        FileFault{FileCall::read, 3, EIO}}) {
    world.file_faults = {fault};
    l3_caporl got = image_of(std::string(776, '\x5a'));
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_caporl_cfg(&got), -1); }),
              lines({refresh(),
                     error("gl3_web_get_caporl_cfg::get_firewall_state_from_cfgfile err!\n")}));
    EXPECT_EQ(bytes_of(got), two_places(7));
  }
  world.file_faults.clear();
  EXPECT_TRUE(switch_in_memory());
}

TEST(CaptivePortal, RemovingAllKeepsTheSwitchAndAddsNoDrop) {
  load_firewall_switch(true);
  store(two_places(1));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_caporl_rule(), 0); }),
            lines({refresh(), ran(flush), ran(save)}));
  EXPECT_EQ(stored(), region(0, "", 1));
  EXPECT_EQ(read_file(config_path), file_with('1', region(0, "", 1)));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(CaptivePortal, RemovingAllStopsAtAFailedFlush) {
  load_firewall_switch(true);
  store(two_places(1));
  fail_command(flush);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_caporl_rule(), -1); }),
            lines({refresh(), ran_and_failed(flush),
                   error("gl3_web_remove_all_caporl_rule::flush_fw_mac err!\n")}));
  EXPECT_EQ(stored(), two_places(1));
}

TEST(CaptivePortal, RemovingAllStopsAtAFailedSave) {
  load_firewall_switch(true);
  store(two_places(1));
  fail_command(save);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_caporl_rule(), -1); }),
            lines({refresh(), ran(flush), ran_and_failed(save),
                   error("gl3_web_remove_all_caporl_rule::save_fw err!\n")}));
  EXPECT_EQ(stored(), two_places(1));
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(CaptivePortal, RemovingAllReportsAFailedWrite) {
  load_firewall_switch(true);
  for (const WriteFault& one : write_faults) {
    store(two_places(1));
    world.file_faults = {one.fault};
    EXPECT_EQ(
        record([] { EXPECT_EQ(gl3_web_remove_all_caporl_rule(), -1); }),
        lines({refresh(), ran(flush), ran(save), out(one.message),
               error("gl3_web_remove_all_caporl_rule::set_firewall_rules_to_cfgfile err!\n")}));
    EXPECT_EQ(stored(), region(0, "", 1));
  }
}

TEST(CaptivePortal, TheDefaultIsAnAllZeroRegion) {
  load_firewall_switch(true);
  store(two_places(1));
  fw_rules_table.acl.acl_filter_ctrl = 0x01020304;
  fw_rules_table.security_level = 0x05060708;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_caporl_table_default(), 0); }),
            lines({refresh(), ran(flush), ran(save)}));
  EXPECT_EQ(stored(), std::string(776, '\0'));
  EXPECT_EQ(fw_rules_table.acl.acl_filter_ctrl, 0x01020304U);
  EXPECT_EQ(fw_rules_table.security_level, 0x05060708U);
  std::string file = file_with('1', std::string(776, '\0'));
  file.replace(5415, 4, word(0x01020304));
  file.replace(6195, 4, word(0x05060708));
  EXPECT_EQ(read_file(config_path), file);
}

TEST(CaptivePortal, TheDefaultGoesOnAfterAFailedFlush) {
  load_firewall_switch(true);
  store(two_places(1));
  fail_command(flush);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_caporl_table_default(), 0); }),
            lines({refresh(), ran_and_failed(flush), ran(save)}));
  EXPECT_EQ(read_file(config_path), file_with('1', std::string(776, '\0')));
}

TEST(CaptivePortal, TheDefaultStopsAtAFailedSave) {
  load_firewall_switch(true);
  store(two_places(1));
  fail_command(save);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_caporl_table_default(), -1); }),
            lines({refresh(), ran(flush), ran_and_failed(save),
                   error("gl3_web_set_caporl_table_default::save_fw err!\n")}));
  EXPECT_EQ(stored(), two_places(1));
}

TEST(CaptivePortal, TheDefaultReportsAFailedWrite) {
  load_firewall_switch(true);
  for (const WriteFault& one : write_faults) {
    store(two_places(1));
    world.file_faults = {one.fault};
    EXPECT_EQ(
        record([] { EXPECT_EQ(gl3_web_set_caporl_table_default(), -1); }),
        lines({refresh(), ran(flush), ran(save), out(one.message),
               error("gl3_web_set_caporl_table_default::set_firewall_rules_to_cfgfile err!\n")}));
    EXPECT_EQ(stored(), std::string(776, '\0'));
  }
}
