/*
 * Binding the rule set to the Internet WAN: dispatch rules, anti port scan's drop, clearing.
 */
#include <cerrno>

#include "harness.hpp"

using namespace harness;

namespace {

Lines dispatch_rules_to_br0_and_wan3() {
  return ran("iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip") +
         ran("iptables -A forward_ext_ip -i wan3 -j forward_ext_ds_ip") +
         ran("ip6tables -A forward_ext_ip -i br0 -j forward_ext_us_ip") +
         ran("ip6tables -A forward_ext_ip -i wan3 -j forward_ext_ds_ip") +
         ran("iptables -A input_ext_acl -i br0 -j input_ext_us_acl") +
         ran("iptables -A input_ext_acl -i wan3 -j input_ext_ds_acl");
}

Lines dispatch_rules_to_br0_and(const std::string& wan) {
  return ran("iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip") +
         ran("iptables -A forward_ext_ip -i " + wan + " -j forward_ext_ds_ip") +
         ran("ip6tables -A forward_ext_ip -i br0 -j forward_ext_us_ip") +
         ran("ip6tables -A forward_ext_ip -i " + wan + " -j forward_ext_ds_ip") +
         ran("iptables -A input_ext_acl -i br0 -j input_ext_us_acl") +
         ran("iptables -A input_ext_acl -i " + wan + " -j input_ext_ds_acl");
}

Lines begins_with(const std::string& name) {
  return out("[gl3_update_firewall]begin to update firewall interface " + name + ".\n");
}

Lines canceled() {
  return out("[gl3_update_firewall]firewall is disable,update anti port was canceled!\n");
}

void put_anti_port_scan_in_the_file(uint32_t value) {
  std::string file = read_file(config_path);
  file.replace(4659, 4, word(value));
  write_file(config_path, file);
}

}  // namespace

TEST(WanBinding, WithTheFirewallOffOnlyTheSixDispatchRulesAreAdded) {
  load_firewall_switch(false);
  put_anti_port_scan_in_the_file(1);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), canceled()}));
}

TEST(WanBinding, AntiPortScanShutsTheWanOut) {
  load_firewall_switch(true);
  put_anti_port_scan_in_the_file(1);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), refresh(),
                   out("[gl3_update_firewall]anti_port_scan is 1\n"),
                   ran("iptables -I input_ext_local_access_ex -i wan3 -j DROP")}));
  EXPECT_EQ(fw_rules_table.anti_port_scan, 1U);
}

TEST(WanBinding, AnyAntiPortScanValueButZeroCounts) {
  load_firewall_switch(true);
  put_anti_port_scan_in_the_file(255);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), refresh(),
                   out("[gl3_update_firewall]anti_port_scan is 255\n"),
                   ran("iptables -I input_ext_local_access_ex -i wan3 -j DROP")}));
}

TEST(WanBinding, WithoutAntiPortScanTheWansChainIsFlushed) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), refresh(),
                   out("[gl3_update_firewall]anti_port_scan is 0\n"),
                   ran("iptables -t filter -F input_ext_local_access_ex")}));
}

TEST(WanBinding, OnlyTheLowByteOfAntiPortScanIsSeen) {
  load_firewall_switch(true);
  put_anti_port_scan_in_the_file(0x100);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), refresh(),
                   out("[gl3_update_firewall]anti_port_scan is 0\n"),
                   ran("iptables -t filter -F input_ext_local_access_ex")}));
}

TEST(WanBinding, TheSwitchComesFromTheFileAndStaysInMemory) {
  load_firewall_switch(false);
  std::string file = read_file(config_path);
  file[29] = '1';
  write_file(config_path, file);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), refresh(),
                   out("[gl3_update_firewall]anti_port_scan is 0\n"),
                   ran("iptables -t filter -F input_ext_local_access_ex")}));
  // A generator's gate is open now.
  EXPECT_NE(record([] { gl3_web_set_anti_port_scan(1); }).find("--log-prefix"), std::string::npos);

  file[29] = '0';
  write_file(config_path, file);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), canceled()}));
  EXPECT_EQ(record([] { gl3_web_set_anti_port_scan(1); }).find("--log-prefix"), std::string::npos);
}

TEST(WanBinding, ASwitchThatCannotBeReadLeavesTheDispatchRules) {
  const Lines failed = out("[gl3_update_firewall]get_firewall_state_from_cfgfile err!\n");
  load_firewall_switch(true);
  for (const FileCall call : {FileCall::open, FileCall::lseek, FileCall::read}) {
    world.file_faults = {{call, 1, EIO}};
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), -1); }),
              lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), failed}));
  }
}

TEST(WanBinding, AMissingFileThatCannotBeMadeIsAFailure) {
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), -1); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(),
                   out("get_firewall_state_from_cfgfile::init_cfgfile err!\n"),
                   out("[gl3_update_firewall]get_firewall_state_from_cfgfile err!\n")}));
}

TEST(WanBinding, AMissingFileIsMadeAndSaysOff) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), canceled()}));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(WanBinding, RecordsThatCannotBeReadCountAsNoAntiPortScan) {
  load_firewall_switch(true);
  put_anti_port_scan_in_the_file(1);
  world.file_faults = {{FileCall::open, 2, EIO}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), refresh(),
                   out("get_firewall_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_get_anti_port_scan::get_firewall_rules_from_cfgfile err!\n"),
                   out("[gl3_update_firewall]anti_port_scan is 0\n"),
                   ran("iptables -t filter -F input_ext_local_access_ex")}));
}

TEST(WanBinding, TheByteThatWasReadCountsEvenWhenTheReadFailsLater) {
  load_firewall_switch(true);
  put_anti_port_scan_in_the_file(1);
  world.file_faults = {{FileCall::open, 3, EIO}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), refresh(),
                   error("gl3_web_get_anti_port_scan::get_firewall_state_from_cfgfile err!\n"),
                   out("[gl3_update_firewall]anti_port_scan is 1\n"),
                   ran("iptables -I input_ext_local_access_ex -i wan3 -j DROP")}));
}

TEST(WanBinding, FailedCommandsChangeNothing) {
  load_firewall_switch(true);
  put_anti_port_scan_in_the_file(1);
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"),
                   ran_and_failed("iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip"),
                   ran_and_failed("iptables -A forward_ext_ip -i wan3 -j forward_ext_ds_ip"),
                   ran_and_failed("ip6tables -A forward_ext_ip -i br0 -j forward_ext_us_ip"),
                   ran_and_failed("ip6tables -A forward_ext_ip -i wan3 -j forward_ext_ds_ip"),
                   ran_and_failed("iptables -A input_ext_acl -i br0 -j input_ext_us_acl"),
                   ran_and_failed("iptables -A input_ext_acl -i wan3 -j input_ext_ds_acl"),
                   refresh(), out("[gl3_update_firewall]anti_port_scan is 1\n"),
                   ran_and_failed("iptables -I input_ext_local_access_ex -i wan3 -j DROP")}));
  put_anti_port_scan_in_the_file(0);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_firewall(), 0); }),
            lines({begins_with("wan3"),
                   ran_and_failed("iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip"),
                   ran_and_failed("iptables -A forward_ext_ip -i wan3 -j forward_ext_ds_ip"),
                   ran_and_failed("ip6tables -A forward_ext_ip -i br0 -j forward_ext_us_ip"),
                   ran_and_failed("ip6tables -A forward_ext_ip -i wan3 -j forward_ext_ds_ip"),
                   ran_and_failed("iptables -A input_ext_acl -i br0 -j input_ext_us_acl"),
                   ran_and_failed("iptables -A input_ext_acl -i wan3 -j input_ext_ds_acl"),
                   refresh(), out("[gl3_update_firewall]anti_port_scan is 0\n"),
                   ran_and_failed("iptables -t filter -F input_ext_local_access_ex")}));
}

TEST(WanBinding, TheDaemonsNewNameIsBound) {
  load_firewall_switch(true);
  put_anti_port_scan_in_the_file(1);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall("ppp0"), 0); }),
            lines({out("[gl3_l3ctl_update_firewall]begin to update firewall interface ppp0,our if "
                       "is wan3\n"),
                   begins_with("ppp0"), dispatch_rules_to_br0_and("ppp0"), refresh(),
                   out("[gl3_update_firewall]anti_port_scan is 1\n"),
                   ran("iptables -I input_ext_local_access_ex -i ppp0 -j DROP")}));
  EXPECT_EQ(wan_in_memory(), "ppp0");
}

TEST(WanBinding, NoNameIsRefused) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall(nullptr), -1); }),
            lines({out("[gl3_l3ctl_update_firewall]ifname is NULL,err!\n")}));
  EXPECT_EQ(wan_in_memory(), "wan3");
}

TEST(WanBinding, ANameOfUpToFifteenCharactersIsTakenWhole) {
  load_firewall_switch(true);
  put_anti_port_scan_in_the_file(1);
  std::string old = "wan3";
  for (const std::string name :
       {"ppp10", "ppp0.1", "ppp0.100", "nas0_1.10", "fourteen_chars", "fifteen_charsss"}) {
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_l3ctl_update_firewall(name.c_str()), 0); }),
              lines({out("[gl3_l3ctl_update_firewall]begin to update firewall interface " + name +
                         ",our if is " + old + "\n"),
                     begins_with(name), dispatch_rules_to_br0_and(name), refresh(),
                     out("[gl3_update_firewall]anti_port_scan is 1\n"),
                     ran("iptables -I input_ext_local_access_ex -i " + name + " -j DROP")}));
    old = name;
  }
  EXPECT_EQ(wan_in_memory(), "fifteen_charsss");
}

TEST(WanBinding, ALongerNameIsRefusedAndChangesNothing) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall("sixteen_chars_xx"), -1); }),
            lines({out("[gl3_l3ctl_update_firewall]ifname sixteen_chars_xx is too long,err!\n")}));
  const std::string very_long(5000, 'w');
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_l3ctl_update_firewall(very_long.c_str()), -1); }),
            lines({out("[gl3_l3ctl_update_firewall]ifname " + very_long + " is too long,err!\n")}));
  EXPECT_EQ(wan_in_memory(), "wan3");
}

TEST(WanBinding, AnEmptyNameIsTaken) {
  load_firewall_switch(false);
  static_cast<void>(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall(""), 0); }));
  EXPECT_EQ(wan_in_memory(), "");
}

TEST(WanBinding, AShorterNameReplacesALongerOneWhole) {
  load_firewall_switch(false);
  static_cast<void>(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall("nas0_1.10"), 0); }));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall("ppp0"), 0); }),
            lines({out("[gl3_l3ctl_update_firewall]begin to update firewall interface ppp0,our if "
                       "is nas0_1.10\n"),
                   begins_with("ppp0"), dispatch_rules_to_br0_and("ppp0"), canceled()}));
}

TEST(WanBinding, AFailedBindingIsNamedAndTheNameStays) {
  load_firewall_switch(true);
  world.file_faults = {{FileCall::open, 1, EIO}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall("ppp0"), -1); }),
            lines({out("[gl3_l3ctl_update_firewall]begin to update firewall interface ppp0,our if "
                       "is wan3\n"),
                   begins_with("ppp0"), dispatch_rules_to_br0_and("ppp0"),
                   out("[gl3_update_firewall]get_firewall_state_from_cfgfile err!\n"),
                   out("[gl3_l3ctl_update_firewall]gl3_update_firewall err!\n")}));
  world.file_faults.clear();
  EXPECT_EQ(wan_in_memory(), "ppp0");
}

TEST(WanBinding, ClearingFlushesTheBoundChainsAndForgetsTheName) {
  load_firewall_switch(false);
  static_cast<void>(record([] { gl3_l3ctl_update_firewall("fifteen_charsss"); }));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_l3ctl_clear_firewall(), 0); }),
            lines({out("[gl3_l3ctl_clear_firewall]begin to clear firewall.\n"),
                   ran("iptables -t filter -F input_ext_local_access_ex"),
                   ran("iptables -t filter -F forward_ext_ip"),
                   ran("ip6tables -t filter -F forward_ext_ip"),
                   ran("iptables -t filter -F input_ext_acl")}));
  EXPECT_EQ(wan_in_memory(), "wan3");
}

TEST(WanBinding, ClearingForgetsAPlatformNameTooAndIgnoresFailedCommands) {
  load_firewall_switch(false);
  world.if_name = "ppp0";
  static_cast<void>(record([] { gl3_update_internet_wan(); }));
  world.system = [](const std::string&) { return exited(2); };
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_l3ctl_clear_firewall(), 0); }),
            lines({out("[gl3_l3ctl_clear_firewall]begin to clear firewall.\n"),
                   ran_and_failed("iptables -t filter -F input_ext_local_access_ex", 2),
                   ran_and_failed("iptables -t filter -F forward_ext_ip", 2),
                   ran_and_failed("ip6tables -t filter -F forward_ext_ip", 2),
                   ran_and_failed("iptables -t filter -F input_ext_acl", 2)}));
  EXPECT_EQ(wan_in_memory(), "wan3");
}

TEST(WanBinding, BindingTwiceAddsEveryRuleTwice) {
  load_firewall_switch(false);
  const std::string once =
      lines({begins_with("wan3"), dispatch_rules_to_br0_and_wan3(), canceled()});
  EXPECT_EQ(record([] { gl3_update_firewall(); }), once);
  EXPECT_EQ(record([] { gl3_update_firewall(); }), once);
}
