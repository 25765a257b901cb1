/* The bad-TCP rules and the anti port scan switch. */
#include <cerrno>
#include <cstdio>
#include <type_traits>

#include "harness.hpp"

using namespace harness;

namespace {

Lines flushes() {
  return ran("iptables -t filter -F forward_ext_bad_tcp") +
         ran("iptables -t filter -F input_ext_local_access") +
         ran("iptables -t filter -F input_ext_local_access_ex");
}

Lines saves() {
  return ran("iptables-save -t filter >/ztcfg/firewall.conf");
}

Lines jump() {
  return ran("iptables -A input_ext_local_access -j input_ext_local_access_ex");
}

Lines wan_drop() {
  return platform("grm_gl3_get_internet_index") + platform("getIfName(3)") +
         out("[gl3_update_internet_wan]get a legal wanifname wan3.\n") +
         out("[config_fw_bad_tcp]update Internet wan to: wan3.\n") +
         ran("iptables -I input_ext_local_access_ex -i wan3 -j DROP");
}

Lines packet_rules() {
  return ran("iptables -A input_ext_local_access -p tcp --tcp-flags SYN,ACK SYN,ACK -m state "
             "--state NEW -j DROP") +
         ran("iptables -A input_ext_local_access -p tcp ! --syn -m state --state NEW -j LOG "
             "--log-prefix \"New not syn:\"") +
         ran("iptables -A input_ext_local_access -p tcp ! --syn -m state --state NEW -j DROP") +
         ran("iptables -A forward_ext_bad_tcp -p tcp --tcp-flags SYN,ACK SYN,ACK -m state --state "
             "NEW -j DROP") +
         ran("iptables -A forward_ext_bad_tcp -p tcp ! --syn -m state --state NEW -j LOG "
             "--log-prefix \"New not syn:\"") +
         ran("iptables -A forward_ext_bad_tcp -p tcp ! --syn -m state --state NEW -j DROP") +
         ran("iptables -A input_ext_local_access -p tcp --tcp-flags SYN,ACK,FIN,RST RST -m limit "
             "--limit 1/s -j ACCEPT") +
         ran("iptables -A forward_ext_bad_tcp -p tcp --tcp-flags SYN,ACK,FIN,RST RST -m limit "
             "--limit 1/s -j ACCEPT");
}

Lines all_failing(std::initializer_list<const char*> commands) {
  Lines result;
  for (const char* line : commands) {
    result = result + ran_and_failed(line);
  }
  return result;
}

/* A configuration file whose switch line and word are as given. */
std::string file_with(char fire_wall, uint32_t anti_port_scan) {
  std::string file = fresh_config_file();
  file[29] = fire_wall;
  return file.replace(4659, 4, word(anti_port_scan));
}

/* A byte with a neighbour on either side. */
struct GuardedByte {
  uint8_t before = 0xa5;
  uint8_t value = 0x77;
  uint8_t after[3] = {0xa5, 0xa5, 0xa5};
};

void expect_neighbours_untouched(const GuardedByte& byte) {
  EXPECT_EQ(byte.before, 0xa5);
  for (const uint8_t neighbour : byte.after) {
    EXPECT_EQ(neighbour, 0xa5);
  }
}

}  // namespace

TEST(BadTcp, TheRulesStandInTheirOrder) {
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_bad_tcp(), 0); }),
            lines({jump(), wan_drop(), packet_rules()}));
}

TEST(BadTcp, TheWanIsShutOutByItsNewName) {
  world.internet_index = 12;
  world.if_name = "ppp10";
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_bad_tcp(), 0); }),
            lines({jump(), platform("grm_gl3_get_internet_index"), platform("getIfName(12)"),
                   out("[gl3_update_internet_wan]get a legal wanifname ppp10.\n"),
                   out("[config_fw_bad_tcp]update Internet wan to: ppp10.\n"),
                   ran("iptables -I input_ext_local_access_ex -i ppp10 -j DROP"), packet_rules()}));
}

TEST(BadTcp, WithoutAnInternetWanOnlyItsDropIsLeftOut) {
  world.internet_index = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_bad_tcp(), 0); }),
            lines({jump(), platform("grm_gl3_get_internet_index"),
                   out("[gl3_update_internet_wan]get a illegal wanindex -1.\n"),
                   out("[config_fw_bad_tcp]update Internet wan failed.save cfg first.\n"),
                   packet_rules()}));
}

TEST(BadTcp, WithoutAWanNameOnlyItsDropIsLeftOut) {
  world.if_name_result = -1;
  world.if_name = "";
  EXPECT_EQ(record([] { EXPECT_EQ(config_fw_bad_tcp(), 0); }),
            lines({jump(), platform("grm_gl3_get_internet_index"), platform("getIfName(3)"),
                   out("[gl3_update_internet_wan]get a illegal wanifname .\n"),
                   out("[config_fw_bad_tcp]update Internet wan failed.save cfg first.\n"),
                   packet_rules()}));
}

TEST(BadTcp, FailedCommandsStopNothing) {
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(
      record([] { EXPECT_EQ(config_fw_bad_tcp(), 0); }),
      lines({ran_and_failed("iptables -A input_ext_local_access -j input_ext_local_access_ex"),
             platform("grm_gl3_get_internet_index"), platform("getIfName(3)"),
             out("[gl3_update_internet_wan]get a legal wanifname wan3.\n"),
             out("[config_fw_bad_tcp]update Internet wan to: wan3.\n"),
             all_failing(
                 {"iptables -I input_ext_local_access_ex -i wan3 -j DROP",
                  "iptables -A input_ext_local_access -p tcp --tcp-flags SYN,ACK SYN,ACK -m state "
                  "--state NEW -j DROP",
                  "iptables -A input_ext_local_access -p tcp ! --syn -m state --state NEW -j LOG "
                  "--log-prefix \"New not syn:\"",
                  "iptables -A input_ext_local_access -p tcp ! --syn -m state --state NEW -j DROP",
                  "iptables -A forward_ext_bad_tcp -p tcp --tcp-flags SYN,ACK SYN,ACK -m state "
                  "--state NEW -j DROP",
                  "iptables -A forward_ext_bad_tcp -p tcp ! --syn -m state --state NEW -j LOG "
                  "--log-prefix \"New not syn:\"",
                  "iptables -A forward_ext_bad_tcp -p tcp ! --syn -m state --state NEW -j DROP",
                  "iptables -A input_ext_local_access -p tcp --tcp-flags SYN,ACK,FIN,RST RST -m "
                  "limit --limit 1/s -j ACCEPT",
                  "iptables -A forward_ext_bad_tcp -p tcp --tcp-flags SYN,ACK,FIN,RST RST -m limit "
                  "--limit 1/s -j ACCEPT"})}));
}

TEST(AntiPortScan, SwitchingOnRebuildsTheThreeChains) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }),
            lines({refresh(), flushes(), jump(), wan_drop(), packet_rules(), saves()}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 1U);
  EXPECT_EQ(read_file(config_path), file_with('1', 1));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(AntiPortScan, SwitchingOffLeavesTheChainsEmpty) {
  load_firewall_switch(true);
  fw_rules_table.anti_port_scan = 1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(0), 0); }),
            lines({refresh(), flushes(), saves()}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 0U);
  EXPECT_EQ(read_file(config_path), file_with('1', 0));
}

TEST(AntiPortScan, WithTheFirewallOffItIsStoredAndAddsNoRule) {
  load_firewall_switch(false);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }),
            lines({refresh(), flushes(), saves()}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 1U);
  EXPECT_EQ(read_file(config_path), file_with('0', 1));
}

TEST(AntiPortScan, TheSameValueIsAppliedAgain) {
  load_firewall_switch(true);
  static_cast<void>(record([] { gl3_web_set_anti_port_scan(1); }));
  write_file(config_path, file_with('1', 0));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }),
            lines({refresh(), flushes(), jump(), wan_drop(), packet_rules(), saves()}));
  EXPECT_EQ(read_file(config_path), file_with('1', 1));
}

TEST(AntiPortScan, AnyByteButZeroIsOnAndIsStoredAsItIs) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(255), 0); }),
            lines({refresh(), flushes(), jump(), wan_drop(), packet_rules(), saves()}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 255U);
  EXPECT_EQ(read_file(config_path), file_with('1', 255));
}

TEST(AntiPortScan, TheLowByteOfAWiderVariableIsStoredAndDecides) {
  static_assert(std::is_same_v<decltype(&gl3_web_set_anti_port_scan), int32_t (*)(uint32_t)>);
  load_firewall_switch(true);
  fw_rules_table.anti_port_scan = 1;
  uint32_t wide = 256;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_anti_port_scan(wide), 0); }),
            lines({refresh(), flushes(), saves()}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 0U);
  EXPECT_EQ(read_file(config_path), file_with('1', 0));

  wide = 257;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_anti_port_scan(wide), 0); }),
            lines({refresh(), flushes(), jump(), wan_drop(), packet_rules(), saves()}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 1U);
  EXPECT_EQ(read_file(config_path), file_with('1', 1));

  wide = 0x302;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_anti_port_scan(wide), 0); }),
            lines({refresh(), flushes(), jump(), wan_drop(), packet_rules(), saves()}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 2U);
  EXPECT_EQ(read_file(config_path), file_with('1', 2));
}

TEST(AntiPortScan, WithoutAnInternetWanTheOtherRulesAreSaved) {
  load_firewall_switch(true);
  world.internet_index = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }),
            lines({refresh(), flushes(), jump(), platform("grm_gl3_get_internet_index"),
                   out("[gl3_update_internet_wan]get a illegal wanindex -1.\n"),
                   out("[config_fw_bad_tcp]update Internet wan failed.save cfg first.\n"),
                   packet_rules(), saves()}));
}

TEST(AntiPortScan, AFailedWriteStopsNothing) {
  load_firewall_switch(true);
  for (const WriteFault& one : write_faults) {
    world.file_faults = {one.fault};
    fw_rules_table.anti_port_scan = 0;
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }),
              lines({refresh(), out(one.message), flushes(), jump(), wan_drop(), packet_rules(),
                     saves()}));
    EXPECT_EQ(fw_rules_table.anti_port_scan, 1U);
  }
}

TEST(AntiPortScan, AFileThatCannotBeMadeStopsNothing) {
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }),
            lines({refresh(), out("set_firewall_rules_to_cfgfile::init_cfgfile err!\n"), flushes(),
                   saves()}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 1U);
  EXPECT_FALSE(file_exists(config_path));
}

TEST(AntiPortScan, TheDefaultsOfAMissingFileReplaceTheNewValue) {
  load_firewall_switch(true);
  EXPECT_EQ(remove(config_path), 0);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }),
            lines({refresh(), flushes(), saves()}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 0U);
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(AntiPortScan, FailedCommandsOnlyShowWhenSavingFails) {
  load_firewall_switch(false);
  fail_command("iptables -t filter -F forward_ext_bad_tcp");
  fail_command("iptables -t filter -F input_ext_local_access");
  fail_command("iptables -t filter -F input_ext_local_access_ex");
  const Lines failed_flushes = all_failing({"iptables -t filter -F forward_ext_bad_tcp",
                                            "iptables -t filter -F input_ext_local_access",
                                            "iptables -t filter -F input_ext_local_access_ex"});
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }),
            lines({refresh(), failed_flushes, saves()}));
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), -1); }),
            lines({refresh(), failed_flushes,
                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TEST(AntiPortScan, ReadingTakesTheSwitchFromTheFile) {
  write_file(config_path, file_with('0', 1));
  GuardedByte byte;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_anti_port_scan(&byte.value), 0); }),
            lines({refresh()}));
  EXPECT_EQ(byte.value, 1);
  expect_neighbours_untouched(byte);
  EXPECT_EQ(fw_rules_table.anti_port_scan, 1U);
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(AntiPortScan, ReadingGivesTheLowByteAlone) {
  write_file(config_path, file_with('0', 0xabcd0102));
  GuardedByte byte;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_anti_port_scan(&byte.value), 0); }),
            lines({refresh()}));
  EXPECT_EQ(byte.value, 2);
  expect_neighbours_untouched(byte);
}

TEST(AntiPortScan, ReadingBringsTheMasterSwitchInLineWithTheFile) {
  load_firewall_switch(false);
  EXPECT_FALSE(switch_in_memory());
  write_file(config_path, file_with('1', 0));
  uint8_t state = 9;
  static_cast<void>(record([&] { EXPECT_EQ(gl3_web_get_anti_port_scan(&state), 0); }));
  EXPECT_EQ(state, 0);
  EXPECT_TRUE(switch_in_memory());
  write_file(config_path, file_with('0', 0));
  static_cast<void>(record([&] { EXPECT_EQ(gl3_web_get_anti_port_scan(&state), 0); }));
  EXPECT_FALSE(switch_in_memory());
}

TEST(AntiPortScan, ReadingIntoNothingIsRefused) {
  write_file(config_path, file_with('1', 1));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_anti_port_scan(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_anti_port_scan::xo_control NULLP err\r\n")}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 0U);
}

TEST(AntiPortScan, ReadingRecordsThatCannotBeReadFails) {
  struct Case {
    FileFault fault;
    const char* message;
  };
  write_file(config_path, file_with('1', 1));
  for (const Case& one :
       {Case{{FileCall::open, 1, EIO},
             "get_firewall_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"},
        Case{{FileCall::lseek, 1, EIO},
             "get_firewall_rules_from_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"},
        Case{{FileCall::read, 1, EIO},
             "get_firewall_rules_from_cfgfile::read /ztcfg/l3_advance.dat error!\n"},
        Case{{FileCall::lseek, 2, EIO},
             "get_firewall_rules_from_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"},
        Case{{FileCall::read, 2, EIO},
             "get_firewall_rules_from_cfgfile::read /ztcfg/l3_advance.dat error!\n"}}) {
    world.file_faults = {one.fault};
    GuardedByte byte;
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_anti_port_scan(&byte.value), -1); }),
              lines({refresh(), out(one.message),
                     error("gl3_web_get_anti_port_scan::get_firewall_rules_from_cfgfile err!\n")}));
    EXPECT_EQ(byte.value, 0x77);
    expect_neighbours_untouched(byte);
  }
}

TEST(AntiPortScan, ReadingWithoutAFileThatCanBeMadeFails) {
  world.file_faults = {{FileCall::open, 1, EROFS}};
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_anti_port_scan(&state), -1); }),
            lines({refresh(), out("get_firewall_rules_from_cfgfile::init_cfgfile err!\n"),
                   error("gl3_web_get_anti_port_scan::get_firewall_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(state, 9);
}

TEST(AntiPortScan, AMasterSwitchThatCannotBeReadFailsAfterTheByteIsWritten) {
  load_firewall_switch(true);
  write_file(config_path, file_with('0', 3));
  for (const FileFault& fault :
       {FileFault{FileCall::open, 2, EIO}, FileFault{FileCall::lseek, 3, EIO},
        FileFault{FileCall::read, 3, EIO}}) {
    world.file_faults = {fault};
    GuardedByte byte;
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_anti_port_scan(&byte.value), -1); }),
              lines({refresh(),
                     error("gl3_web_get_anti_port_scan::get_firewall_state_from_cfgfile err!\n")}));
    EXPECT_EQ(byte.value, 3);
    expect_neighbours_untouched(byte);
  }
  world.file_faults.clear();
  EXPECT_TRUE(switch_in_memory());
}
