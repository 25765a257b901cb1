/* The management calls of the URL filter. */
#include <cerrno>

#include "url_image.hpp"

using namespace harness;

namespace {

constexpr char abc_de_rule[] =
    "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string \"\3abc\2de\" "
    "--algo bm -m time --timestart 8:5 --timestop 12:30 -j DROP";

std::string one_name(uint32_t mode, uint32_t control) {
  return url_image(1, {url_entry("abc.de", {8, 12, 5, 30}, 1, 0x01020304)}, mode, control);
}

/* The configuration file with the switch as given and this URL region in it. */
std::string file_with(bool on, const std::string& image) {
  std::string file = fresh_config_file();
  file[29] = on ? '1' : '0';
  return file.replace(2447, image.size(), image);
}

std::string set(const std::string& image, int32_t expected_result) {
  const l3_url_filter region = url_region(image);
  return record([&] { EXPECT_EQ(gl3_web_set_url_cfg(&region), expected_result); });
}

std::string remove_all(int32_t expected_result) {
  return record([&] { EXPECT_EQ(gl3_web_remove_all_url_rule(), expected_result); });
}

std::string set_default(int32_t expected_result) {
  return record([&] { EXPECT_EQ(gl3_web_set_url_table_default(), expected_result); });
}

void store(bool on, const std::string& image) {
  load_firewall_switch(on);
  static_cast<void>(set(image, 0));
}

std::string stored() {
  return bytes_of(fw_rules_table.url_filter);
}

const std::string empty_region(2212, '\0');

}  // namespace

TEST(UrlFilter, SetWritesTheFileThenFlushesGeneratesAndSaves) {
  load_firewall_switch(true);
  EXPECT_EQ(set(one_name(0, 1), 0),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   debug("\n==[fw_enable=1,url_filter_ctrl=1,urlTable=1]\n"),
                   url_rule("abc.de", "\3abc\2de", abc_de_rule), debug("[url_black_white=0]\n"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(stored(), one_name(0, 1));
  EXPECT_EQ(read_file(config_path), file_with(true, one_name(0, 1)));
}

TEST(UrlFilter, TheFileIsWrittenBeforeTheRulesAreTouched) {
  load_firewall_switch(true);
  std::string at_first_command;
  world.system = [&](const std::string&) {
    if (at_first_command.empty()) {
      at_first_command = read_file(config_path);
    }
    return exited(0);
  };
  static_cast<void>(set(one_name(1, 1), 0));
  EXPECT_EQ(at_first_command, file_with(true, one_name(1, 1)));
}

TEST(UrlFilter, SetGeneratesNothingWhileEitherSwitchIsOff) {
  load_firewall_switch(false);
  EXPECT_EQ(set(one_name(1, 1), 0),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   debug("\n==[fw_enable=0,url_filter_ctrl=1,urlTable=1]\n"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  load_firewall_switch(true);
  EXPECT_EQ(set(one_name(1, 0), 0),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   debug("\n==[fw_enable=1,url_filter_ctrl=0,urlTable=1]\n"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TEST(UrlFilter, EverySwitchValueButZeroIsOn) {
  load_firewall_switch(true);
  EXPECT_EQ(set(url_image(-1, {}, 2, 0x80000000), 0),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   debug("\n==[fw_enable=1,url_filter_ctrl=80000000,urlTable=ffffffff]\n"),
                   debug("[url_black_white=2]\n"),
                   ran("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(stored(), url_image(-1, {}, 2, 0x80000000));
}

TEST(UrlFilter, AnEqualImageChangesNothing) {
  store(true, one_name(0, 1));
  const std::string before = read_file(config_path);
  EXPECT_EQ(set(one_name(0, 1), 0), lines({refresh()}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(read_file(config_path), before);
}

TEST(UrlFilter, AnyOtherByteMakesAnImageDifferent) {
  store(false, one_name(0, 0));
  std::string image = one_name(0, 0);
  for (const size_t byte : {size_t{3}, size_t{8}, size_t{51}, size_t{2203}, size_t{2211}}) {
    image[byte] = static_cast<char>(image[byte] + 1);
    EXPECT_NE(set(image, 0), lines({refresh()})) << byte;
    EXPECT_EQ(stored(), image) << byte;
    EXPECT_EQ(read_file(config_path), file_with(false, image)) << byte;
  }
}

TEST(UrlFilter, SetNeedsAPointer) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_url_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_set_url_cfg::xi_pUrlTableInfo NULLP err\r\n")}));
}

TEST(UrlFilter, AFailedWriteKeepsTheNewValuesInMemoryAndTheRulesAlone) {
  load_firewall_switch(true);
  const std::string before = read_file(config_path);
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(
      set(one_name(0, 1), -1),
      lines({refresh(), out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
             error("gl3_web_set_url_cfg::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(stored(), one_name(0, 1));
  EXPECT_EQ(read_file(config_path), before);
}

TEST(UrlFilter, AFailedFlushEndsTheSetWithoutAMessage) {
  load_firewall_switch(true);
  fail_command("iptables -t filter -F forward_ext_url", 3);
  EXPECT_EQ(set(one_name(0, 1), -1),
            lines({refresh(), ran_and_failed("iptables -t filter -F forward_ext_url", 3)}));
  EXPECT_EQ(read_file(config_path), file_with(true, one_name(0, 1)));
}

TEST(UrlFilter, SetIgnoresAFailedRule) {
  load_firewall_switch(true);
  fail_command(abc_de_rule);
  EXPECT_EQ(set(one_name(0, 1), 0),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   debug("\n==[fw_enable=1,url_filter_ctrl=1,urlTable=1]\n"),
                   url_traced("abc.de", "\3abc\2de", abc_de_rule), ran_and_failed(abc_de_rule),
                   ran("iptables -t filter -F forward_ext_url"),
                   error("config_fw_url::str_system(" + std::string(abc_de_rule) + ") is err!\n"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TEST(UrlFilter, SetReturnsTheResultOfTheSave) {
  load_firewall_switch(false);
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(set(one_name(0, 1), -1),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   debug("\n==[fw_enable=0,url_filter_ctrl=1,urlTable=1]\n"),
                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf")}));
}

TEST(UrlFilter, GetCopiesTheStoredRegionOut) {
  write_file(config_path, file_with(false, one_name(2, 3)));
  l3_url_filter region = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_url_cfg(&region), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(region), one_name(2, 3));
  EXPECT_EQ(stored(), one_name(2, 3));
}

TEST(UrlFilter, GetReloadsBothRecords) {
  write_file(config_path, fresh_config_file());
  fw6_rules_table.mac_filter.mac_black_white = 5;
  l3_url_filter region = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_url_cfg(&region), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(fw_rules_table) + bytes_of(fw6_rules_table),
            fresh_config_file().substr(31, 6168) + fresh_config_file().substr(6447, 8572));
}

TEST(UrlFilter, GetBringsTheMasterSwitchInLineWithTheFile) {
  l3_url_filter region = {};
  for (const bool on : {true, false}) {
    write_file(config_path, file_with(on, empty_region));
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_url_cfg(&region), 0); }), lines({refresh()}));
    EXPECT_EQ(set(url_image(0, {}, 0, 1), 0),
              lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                     on ? debug("\n==[fw_enable=1,url_filter_ctrl=1,urlTable=0]\n") +
                              debug("[url_black_white=0]\n")
                        : debug("\n==[fw_enable=0,url_filter_ctrl=1,urlTable=0]\n"),
                     ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  }
}

TEST(UrlFilter, GetNeedsAPointer) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_url_cfg(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_url_cfg::xo_pUrlTableInfo NULLP err\r\n")}));
}

TEST(UrlFilter, AFailedReadOfTheRecordsLeavesTheCallersBufferAlone) {
  write_file(config_path, file_with(true, one_name(0, 1)));
  l3_url_filter region = {};
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(
      record([&] { EXPECT_EQ(gl3_web_get_url_cfg(&region), -1); }),
      lines({refresh(), out("get_firewall_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
             error("gl3_web_get_url_cfg::get_firewall_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(region), empty_region);
}

TEST(UrlFilter, AFailedReadOfTheSwitchComesAfterTheCopy) {
  load_firewall_switch(true);
  write_file(config_path, file_with(false, one_name(0, 1)));
  for (const FileFault& fault :
       {FileFault{FileCall::open, 2, EACCES}, FileFault{FileCall::lseek, 3, EIO},
        FileFault{FileCall::read, 3, EIO}}) {
    world.file_faults = {fault};
    l3_url_filter region = {};
    EXPECT_EQ(
        record([&] { EXPECT_EQ(gl3_web_get_url_cfg(&region), -1); }),
        lines({refresh(), error("gl3_web_get_url_cfg::get_firewall_state_from_cfgfile err!\n")}));
    EXPECT_EQ(bytes_of(region), one_name(0, 1));
    EXPECT_TRUE(switch_in_memory());
  }
}

TEST(UrlFilter, RemoveAllOfAWhiteListLeavesTheCatchAllAlone) {
  for (const uint32_t mode : {1U, 2U}) {
    store(true, one_name(mode, 3));
    EXPECT_EQ(remove_all(0),
              lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                     ran("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP"),
                     ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
    EXPECT_EQ(stored(), url_image(0, {}, mode, 3));
    EXPECT_EQ(read_file(config_path), file_with(true, url_image(0, {}, mode, 3)));
  }
}

TEST(UrlFilter, RemoveAllAddsNoCatchAllToABlackListOrWhileASwitchIsOff) {
  struct Case {
    bool on;
    uint32_t mode, control;
  };
  for (const Case& the : {Case{true, 0, 1}, Case{true, 1, 0}, Case{false, 1, 1}}) {
    store(the.on, one_name(the.mode, the.control));
    EXPECT_EQ(remove_all(0), lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                                    ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
    EXPECT_EQ(stored(), url_image(0, {}, the.mode, the.control));
    EXPECT_EQ(read_file(config_path), file_with(the.on, url_image(0, {}, the.mode, the.control)));
  }
}

TEST(UrlFilter, RemoveAllIgnoresTheResultOfTheCatchAll) {
  store(true, one_name(1, 1));
  fail_command("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP");
  EXPECT_EQ(remove_all(0),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   ran_and_failed("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(stored(), url_image(0, {}, 1, 1));
}

TEST(UrlFilter, RemoveAllEndsAtAFailedFlush) {
  store(true, one_name(1, 1));
  fail_command("iptables -t filter -F forward_ext_url");
  EXPECT_EQ(remove_all(-1),
            lines({refresh(), ran_and_failed("iptables -t filter -F forward_ext_url"),
                   error("gl3_web_remove_all_url_rule::flush_fw_url err!\n")}));
  EXPECT_EQ(stored(), one_name(1, 1));
}

TEST(UrlFilter, RemoveAllEndsAtAFailedSave) {
  store(true, one_name(1, 1));
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(remove_all(-1),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   ran("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP"),
                   ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                   error("gl3_web_remove_all_url_rule::save_fw err!\n")}));
  EXPECT_EQ(stored(), one_name(1, 1));
  EXPECT_EQ(read_file(config_path), file_with(true, one_name(1, 1)));
}

TEST(UrlFilter, RemoveAllReportsAFailedWrite) {
  store(true, one_name(0, 1));
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(remove_all(-1),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                   out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_remove_all_url_rule::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(stored(), url_image(0, {}, 0, 1));
  EXPECT_EQ(read_file(config_path), file_with(true, one_name(0, 1)));
}

TEST(UrlFilter, TheDefaultIsAnEmptyRegionWithoutACatchAll) {
  store(true, one_name(1, 1));
  EXPECT_EQ(set_default(0), lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                                   ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(stored(), empty_region);
  EXPECT_EQ(read_file(config_path), file_with(true, empty_region));
}

TEST(UrlFilter, TheDefaultEndsAtAFailedFlush) {
  store(true, one_name(1, 1));
  fail_command("iptables -t filter -F forward_ext_url");
  EXPECT_EQ(set_default(-1),
            lines({refresh(), ran_and_failed("iptables -t filter -F forward_ext_url"),
                   error("gl3_web_set_url_table_default::flush_fw_url err!\n")}));
  EXPECT_EQ(stored(), one_name(1, 1));
}

TEST(UrlFilter, TheDefaultEndsAtAFailedSave) {
  store(true, one_name(1, 1));
  fail_command("iptables-save -t filter >/ztcfg/firewall.conf");
  EXPECT_EQ(set_default(-1), lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                                    ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf"),
                                    error("gl3_web_set_url_table_default::save_fw err!\n")}));
  EXPECT_EQ(stored(), one_name(1, 1));
  EXPECT_EQ(read_file(config_path), file_with(true, one_name(1, 1)));
}

TEST(UrlFilter, TheDefaultReportsAFailedWrite) {
  store(true, one_name(1, 1));
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(set_default(-1),
            lines({refresh(), ran("iptables -t filter -F forward_ext_url"),
                   ran("iptables-save -t filter >/ztcfg/firewall.conf"),
                   out("set_firewall_rules_to_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_url_table_default::set_firewall_rules_to_cfgfile err!\n")}));
  EXPECT_EQ(stored(), empty_region);
}
