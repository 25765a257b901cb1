/* The IPsec pass control. */
#include <cerrno>
#include <cstdio>

#include "harness.hpp"

using namespace harness;

namespace {

Lines saves() {
  return ran("iptables-save -t filter >/ztcfg/firewall.conf");
}

Lines all_failing(std::initializer_list<const char*> commands) {
  Lines result;
  for (const char* line : commands) {
    result = result + ran_and_failed(line);
  }
  return result;
}

/* A configuration file whose switch line and word are as given. */
std::string file_with(char fire_wall, uint32_t ipsec_pass_ctrl) {
  std::string file = fresh_config_file();
  file[29] = fire_wall;
  return file.replace(4663, 4, word(ipsec_pass_ctrl));
}

Lines ipsec_deletes() {
  return ran("iptables -t filter -D FORWARD -p udp --sport 500 --dport 500 -j DROP") +
         ran("iptables -t filter -D FORWARD -p udp --sport 4500 --dport 4500 -j DROP");
}

Lines ipsec_appends() {
  return ran("iptables -t filter -A FORWARD -p udp --sport 500 --dport 500 -j DROP") +
         ran("iptables -t filter -A FORWARD -p udp --sport 4500 --dport 4500 -j DROP");
}

}  // namespace

TEST(IpsecPass, BlockingDeletesAndAppendsBothRules) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(0), 0); }),
            lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=0\n"), ipsec_deletes(),
                   ipsec_appends(), saves()}));
  EXPECT_EQ(fw_rules_table.ipsec_pass_ctrl, 0U);
  EXPECT_EQ(read_file(config_path), file_with('1', 0));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(IpsecPass, BlockingDoesNotAskTheMasterSwitch) {
  load_firewall_switch(false);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(0), 0); }),
            lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=0\n"), ipsec_deletes(),
                   ipsec_appends(), saves()}));
  EXPECT_EQ(read_file(config_path), file_with('0', 0));
}

TEST(IpsecPass, PassingDeletesBothRules) {
  load_firewall_switch(true);
  static_cast<void>(record([] { gl3_web_set_ipsec_pass_ctrl(0); }));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(1), 0); }),
            lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=1\n"), ipsec_deletes(),
                   saves()}));
  EXPECT_EQ(fw_rules_table.ipsec_pass_ctrl, 1U);
  EXPECT_EQ(read_file(config_path), file_with('1', 1));
}

TEST(IpsecPass, TheCurrentValueRunsNothingAndSavesNothing) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(1), 0); }), lines({refresh()}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  static_cast<void>(record([] { gl3_web_set_ipsec_pass_ctrl(0); }));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(0), 0); }), lines({refresh()}));
}

TEST(IpsecPass, FromOneToTwoDeletesTheRulesAndAddsNone) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(2), 0); }),
            lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=2\n"), ipsec_deletes(),
                   saves()}));
  EXPECT_EQ(read_file(config_path), file_with('1', 2));
}

TEST(IpsecPass, AllThirtyTwoBitsCount) {
  load_firewall_switch(true);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(256), 0); }),
            lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=256\n"),
                   ipsec_deletes(), saves()}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(0xffffffff), 0); }),
            lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=-1\n"), ipsec_deletes(),
                   saves()}));
  EXPECT_EQ(read_file(config_path), file_with('1', 0xffffffff));
}

TEST(IpsecPass, AFailedWriteStopsNothing) {
  load_firewall_switch(true);
  world.file_faults = {{FileCall::write, 1, ENOSPC}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(0), 0); }),
            lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=0\n"),
                   out("set_firewall_rules_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
                   ipsec_deletes(), ipsec_appends(), saves()}));
  EXPECT_EQ(fw_rules_table.ipsec_pass_ctrl, 0U);
  EXPECT_EQ(read_file(config_path), file_with('1', 1));
}

TEST(IpsecPass, TheRulesFollowTheCallerWhenAMissingFileBringsItsDefaults) {
  load_firewall_switch(true);
  EXPECT_EQ(remove(config_path), 0);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(0), 0); }),
            lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=0\n"), ipsec_deletes(),
                   ipsec_appends(), saves()}));
  EXPECT_EQ(fw_rules_table.ipsec_pass_ctrl, 1U);
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(IpsecPass, FailedCommandsOnlyShowWhenSavingFails) {
  load_firewall_switch(true);
  world.system = [](const std::string&) { return exited(1); };
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(0), -1); }),
      lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=0\n"),
             all_failing({"iptables -t filter -D FORWARD -p udp --sport 500 --dport 500 -j DROP",
                          "iptables -t filter -D FORWARD -p udp --sport 4500 --dport 4500 -j DROP",
                          "iptables -t filter -A FORWARD -p udp --sport 500 --dport 500 -j DROP",
                          "iptables -t filter -A FORWARD -p udp --sport 4500 --dport 4500 -j DROP",
                          "iptables-save -t filter >/ztcfg/firewall.conf"})}));
  EXPECT_EQ(fw_rules_table.ipsec_pass_ctrl, 0U);
}

TEST(IpsecPass, DeletingRulesThatAreNotThereIsNoFailure) {
  load_firewall_switch(true);
  fail_command("iptables -t filter -D FORWARD -p udp --sport 500 --dport 500 -j DROP");
  fail_command("iptables -t filter -D FORWARD -p udp --sport 4500 --dport 4500 -j DROP");
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_ipsec_pass_ctrl(0), 0); }),
            lines({refresh(), debug("\n=================set-ipsec_pass_ctrl=0\n"),
                   all_failing(
                       {"iptables -t filter -D FORWARD -p udp --sport 500 --dport 500 -j DROP",
                        "iptables -t filter -D FORWARD -p udp --sport 4500 --dport 4500 -j DROP"}),
                   ipsec_appends(), saves()}));
}

TEST(IpsecPass, ReadingTakesTheWholeWordFromTheFile) {
  write_file(config_path, file_with('1', 0x80000002));
  uint32_t control = 77;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_ipsec_pass_ctrl(&control), 0); }),
            lines({refresh(), debug("get ipsec_pass_ctrl=-2147483646\n")}));
  EXPECT_EQ(control, 0x80000002U);
  EXPECT_EQ(fw_rules_table.ipsec_pass_ctrl, 0x80000002U);
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(IpsecPass, ReadingLeavesTheMasterSwitchAlone) {
  load_firewall_switch(false);
  write_file(config_path, file_with('1', 0));
  uint32_t control = 77;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_ipsec_pass_ctrl(&control), 0); }),
            lines({refresh(), debug("get ipsec_pass_ctrl=0\n")}));
  EXPECT_EQ(control, 0U);
  EXPECT_FALSE(switch_in_memory());
}

TEST(IpsecPass, ADeviceWithoutAFilePasses) {
  uint32_t control = 77;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_ipsec_pass_ctrl(&control), 0); }),
            lines({refresh(), debug("get ipsec_pass_ctrl=1\n")}));
  EXPECT_EQ(control, 1U);
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(IpsecPass, ReadingIntoNothingIsRefused) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_ipsec_pass_ctrl(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_ipsec_pass_ctrl::xo_control NULLP err\r\n")}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(IpsecPass, ReadingRecordsThatCannotBeReadFails) {
  write_file(config_path, file_with('1', 0));
  for (const FileFault& fault :
       {FileFault{FileCall::read, 1, EIO}, FileFault{FileCall::read, 2, EIO}}) {
    world.file_faults = {fault};
    uint32_t control = 77;
    EXPECT_EQ(
        record([&] { EXPECT_EQ(gl3_web_get_ipsec_pass_ctrl(&control), -1); }),
        lines({refresh(),
               out("get_firewall_rules_from_cfgfile::read /ztcfg/l3_advance.dat error!\n"),
               error("gl3_web_get_ipsec_pass_ctrl::get_firewall_rules_from_cfgfile err!\n")}));
    EXPECT_EQ(control, 77U);
  }
}
