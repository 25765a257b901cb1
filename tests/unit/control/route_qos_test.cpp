/* Route QoS: what reaches the file, what reaches the platform, and what stays in memory. */
#include <cerrno>
#include <cstring>

#include "harness.hpp"

using namespace harness;

namespace {

/* A caller's block: every named word set, every other byte distinct from zero. */
std::string block_bytes(uint32_t rules_num = 2) {
  std::string bytes;
  for (int i = 0; i < 244; ++i) {
    bytes += static_cast<char>(1 + i % 250);
  }
  bytes.replace(0, 4, word(rules_num));
  bytes.replace(4, 4, word(1));
  bytes.replace(8, 4, word(0x1a));
  bytes.replace(16, 4, word(6));
  bytes.replace(20, 4, word(0xc0a8010a));
  bytes.replace(32, 4, word(0x08080404));
  return bytes;
}

l3_qos_rules block(const std::string& bytes) {
  l3_qos_rules rules;
  EXPECT_EQ(bytes.size(), sizeof(rules));
  memcpy(&rules, bytes.data(), sizeof(rules));
  return rules;
}

const Lines block_logged = debug(
    "==========RulesNum=2, QoSType=1a, Protocol=6, SrcIp=c0a8010a, DstIp=8080404, "
    "control=1========\n");
const Lines zero_block_logged =
    debug("==========RulesNum=0, QoSType=0, Protocol=0, SrcIp=0, DstIp=0, control=0========\n");
const Lines pushed = platform("gpon_l3_set_qos_cfg(RtQoSRulesTable)");

std::string record_bytes(uint32_t control, const std::string& rules) {
  return word(control) + rules;
}

std::string file_with(const std::string& qos_record) {
  return fresh_config_file().replace(6199, 248, qos_record);
}

const std::string no_rules(244, '\0');

/* Puts a file in place and brings the record in memory in line with it. */
void load(uint32_t control, const std::string& rules) {
  write_file(config_path, file_with(record_bytes(control, rules)));
  EXPECT_EQ(get_qos_cfg_from_cfgfile(), 0);
}

}  // namespace

TEST(RouteQos, ASetWithTheSwitchOnStoresAndPushesTheWholeRecord) {
  load(1, no_rules);
  const l3_qos_rules rules = block(block_bytes());
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), 0); }),
            lines({refresh(), block_logged, pushed}));
  EXPECT_EQ(last_qos_record(), record_bytes(1, block_bytes()));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(1, block_bytes()));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, block_bytes())));
}

TEST(RouteQos, SettingTheSameBlockTwicePushesOnce) {
  load(1, no_rules);
  const l3_qos_rules rules = block(block_bytes());
  static_cast<void>(record([&] { gl3_web_set_route_qos(&rules); }));
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), 0); }),
            lines({refresh(), block_logged}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(RouteQos, ABlockThatDiffersInItsLastByteAloneIsNew) {
  load(1, block_bytes());
  std::string bytes = block_bytes();
  bytes[243] = '\0';
  const l3_qos_rules rules = block(bytes);
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), 0); }),
            lines({refresh(), block_logged, pushed}));
  EXPECT_EQ(last_qos_record(), record_bytes(1, bytes));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, bytes)));
}

TEST(RouteQos, ABlockThatDiffersInItsCountAloneIsNew) {
  load(1, block_bytes());
  const l3_qos_rules rules = block(block_bytes(0xffffffff));
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), 0); }),
            lines({refresh(),
                   debug("==========RulesNum=-1, QoSType=1a, Protocol=6, SrcIp=c0a8010a, "
                         "DstIp=8080404, control=1========\n"),
                   pushed}));
  EXPECT_EQ(last_qos_record(), record_bytes(1, block_bytes(0xffffffff)));
}

TEST(RouteQos, ASetWithTheSwitchOffKeepsTheRulesInTheFileAlone) {
  load(0, no_rules);
  const l3_qos_rules rules = block(block_bytes());
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), 0); }),
            lines({refresh(), block_logged, pushed}));
  EXPECT_EQ(last_qos_record(), std::string(248, '\0'));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), std::string(248, '\0'));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(0, block_bytes())));

  // Memory no longer equals the block, so the same block is new again.
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), 0); }),
            lines({refresh(), block_logged, pushed}));

  l3_qos_rules read_back;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_route_qos(&read_back), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(read_back), block_bytes());
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(0, block_bytes()));
}

TEST(RouteQos, ASetOnAMissingFileEndsInTheDefaults) {
  const l3_qos_rules rules = block(block_bytes());
  RtQoSRulesTable.control = 1;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), 0); }),
            lines({refresh(), block_logged, pushed}));
  EXPECT_EQ(last_qos_record(), std::string(248, '\0'));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(RouteQos, ASetWithoutABlockIsRefused) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos(nullptr), -1); }),
            lines({refresh(), error("gl3_web_set_route_qos:: xi_rulesTale NULLP err\r\n")}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(RouteQos, ASetThatCannotBeStoredIsNotPushed) {
  load(1, no_rules);
  const l3_qos_rules rules = block(block_bytes());
  world.file_faults = {{FileCall::write, 1, ENOSPC}};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), -1); }),
            lines({refresh(), block_logged,
                   out("set_qos_cfg_to_cfgfile::write /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_route_qos::set_qos_cfg_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(1, block_bytes()));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, no_rules)));
}

TEST(RouteQos, ASetThatThePlatformRefusesStaysInFileAndMemory) {
  load(1, no_rules);
  const l3_qos_rules rules = block(block_bytes());
  world.qos_result = -1;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), -1); }),
            lines({refresh(), block_logged, pushed,
                   error("gl3_web_set_route_qos::gpon_l3_set_qos_rules err!\n")}));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(1, block_bytes()));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, block_bytes())));
}

TEST(RouteQos, AnyOtherResultOfThePlatformIsHandedOn) {
  load(1, no_rules);
  const l3_qos_rules rules = block(block_bytes());
  world.qos_result = -7;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_route_qos(&rules), -7); }),
            lines({refresh(), block_logged, pushed}));
  world.qos_result = 4;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(0), 4); }),
            lines({refresh(), pushed}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_qos_cfg(), 4); }),
            lines({refresh(), refresh(), zero_block_logged, pushed}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_init_qos(), 4); }), lines({pushed}));
}

TEST(RouteQos, AGetReloadsTheFile) {
  write_file(config_path, file_with(record_bytes(1, block_bytes())));
  l3_qos_rules rules;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_route_qos(&rules), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(rules), block_bytes());
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(1, block_bytes()));
}

TEST(RouteQos, AGetCreatesAMissingFile) {
  l3_qos_rules rules = block(block_bytes());
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_route_qos(&rules), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(rules), no_rules);
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(RouteQos, AGetOfAShortFileFillsTheRestWithZeros) {
  write_file(config_path, file_with(record_bytes(1, block_bytes())).substr(0, 6199 + 4 + 40));
  l3_qos_rules rules = block(std::string(244, '\x55'));
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_route_qos(&rules), 0); }), lines({refresh()}));
  EXPECT_EQ(bytes_of(rules), block_bytes().substr(0, 40) + std::string(204, '\0'));
}

TEST(RouteQos, AGetWithoutABufferLogsTheTextOfTheSetCall) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_route_qos(nullptr), -1); }),
            lines({refresh(), error("gl3_web_set_route_qos:: xi_rulesTale NULLP err\r\n")}));
}

TEST(RouteQos, AGetFailsWithTheFile) {
  load(1, block_bytes());
  l3_qos_rules rules = block(std::string(244, '\x55'));
  world.file_faults = {{FileCall::open, 1, EACCES}};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_route_qos(&rules), -1); }),
            lines({refresh(), out("get_qos_cfg_from_cfgfile::open /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_get_route_qos::get_qos_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(rules), std::string(244, '\x55'));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), std::string(248, '\0'));
}

TEST(RouteQos, TurningOnStoresAndPushesTheRulesInMemory) {
  load(0, block_bytes());
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(1), 0); }),
            lines({refresh(), pushed}));
  EXPECT_EQ(last_qos_record(), record_bytes(1, block_bytes()));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, block_bytes())));
}

TEST(RouteQos, TurningOnAfterASetWithTheSwitchOffStoresZeros) {
  load(0, no_rules);
  const l3_qos_rules rules = block(block_bytes());
  static_cast<void>(record([&] { gl3_web_set_route_qos(&rules); }));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(1), 0); }),
            lines({refresh(), pushed}));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, no_rules)));
}

TEST(RouteQos, TurningOnAfterTheRulesAreReadBackKeepsThem) {
  load(0, no_rules);
  l3_qos_rules rules = block(block_bytes());
  static_cast<void>(record([&] {
    gl3_web_set_route_qos(&rules);
    EXPECT_EQ(gl3_web_get_route_qos(&rules), 0);
    EXPECT_EQ(gl3_web_set_route_qos_control(1), 0);
  }));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, block_bytes())));
}

TEST(RouteQos, TurningOffPushesTheRulesToo) {
  load(1, block_bytes());
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(0), 0); }),
            lines({refresh(), pushed}));
  EXPECT_EQ(last_qos_record(), record_bytes(0, block_bytes()));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(0, block_bytes()));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(0, block_bytes())));
}

TEST(RouteQos, TheSwitchInMemoryDecidesWhatIsNoChange) {
  load(1, block_bytes());
  write_file(config_path, file_with(record_bytes(0, block_bytes())));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(1), 0); }), lines({refresh()}));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(0, block_bytes())));
}

TEST(RouteQos, AStoredSwitchOfAnyOtherValueCanBeSetAnew) {
  load(5, block_bytes());
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(1), 0); }),
            lines({refresh(), pushed}));
  EXPECT_EQ(last_qos_record(), record_bytes(1, block_bytes()));
}

TEST(RouteQos, ASwitchOutsideZeroAndOneIsRefused) {
  load(1, block_bytes());
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(2), -1); }),
            lines({refresh(), error("gl3_web_set_route_qos_control::xi_ctrl =2 err\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(-1), -1); }),
            lines({refresh(), error("gl3_web_set_route_qos_control::xi_ctrl =-1 err\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(257), -1); }),
            lines({refresh(), error("gl3_web_set_route_qos_control::xi_ctrl =257 err\n")}));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(1, block_bytes()));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, block_bytes())));
}

TEST(RouteQos, ASwitchThatCannotBeStoredIsNotPushed) {
  load(0, block_bytes());
  world.file_faults = {{FileCall::lseek, 1, EIO}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_route_qos_control(1), -1); }),
            lines({refresh(), out("set_qos_cfg_to_cfgfile::lseek /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_set_route_qos_control::set_qos_cfg_to_cfgfile err!\n")}));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(1, block_bytes()));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(0, block_bytes())));
}

TEST(RouteQos, ASwitchThatThePlatformRefusesStaysInFileAndMemory) {
  load(0, block_bytes());
  world.qos_result = -1;
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_route_qos_control(1), -1); }),
      lines({refresh(), pushed, error("gl3_web_set_route_qos::gpon_l3_set_qos_rules err!\n")}));
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(1, block_bytes()));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, block_bytes())));
}

TEST(RouteQos, ReadingTheSwitchReloadsTheFile) {
  write_file(config_path, file_with(record_bytes(1, block_bytes())));
  int32_t control = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_route_qos_control(&control), 0); }),
            lines({refresh()}));
  EXPECT_EQ(control, 1);
  EXPECT_EQ(bytes_of(RtQoSRulesTable), record_bytes(1, block_bytes()));
}

TEST(RouteQos, ReadingTheSwitchWithoutAWordIsRefused) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_route_qos_control(nullptr), -1); }),
            lines({refresh(), error("gl3_web_get_route_qos_control::xo_ctrl NULLP err\r\n")}));
}

TEST(RouteQos, ReadingTheSwitchFailsWithTheFile) {
  load(1, block_bytes());
  int32_t control = 9;
  world.file_faults = {{FileCall::read, 1, EIO}};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_route_qos_control(&control), -1); }),
            lines({refresh(), out("get_qos_cfg_from_cfgfile::read /ztcfg/l3_advance.dat error!\n"),
                   error("gl3_web_get_route_qos_control::get_qos_rules_from_cfgfile err!\n")}));
  EXPECT_EQ(control, 9);
}

TEST(RouteQos, RemoveAllStoresAndPushesAnEmptyBlockAndKeepsTheSwitch) {
  load(1, block_bytes());
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_qos_cfg(), 0); }),
            lines({refresh(), refresh(), zero_block_logged, pushed}));
  EXPECT_EQ(last_qos_record(), record_bytes(1, no_rules));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(1, no_rules)));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_qos_cfg(), 0); }),
            lines({refresh(), refresh(), zero_block_logged}));
}

TEST(RouteQos, RemoveAllSeesOnlyTheBlockInMemory) {
  // The set has emptied the record in memory, the rules are in the file alone and stay there.
  load(0, no_rules);
  const l3_qos_rules rules = block(block_bytes());
  static_cast<void>(record([&] { gl3_web_set_route_qos(&rules); }));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_qos_cfg(), 0); }),
            lines({refresh(), refresh(), zero_block_logged}));
  EXPECT_EQ(read_file(config_path), file_with(record_bytes(0, block_bytes())));
}

TEST(RouteQos, AFailedRemoveAllIsNamedAfterItsCause) {
  load(1, block_bytes());
  world.qos_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_remove_all_qos_cfg(), -1); }),
            lines({refresh(), refresh(), zero_block_logged, pushed,
                   error("gl3_web_set_route_qos::gpon_l3_set_qos_rules err!\n"),
                   error("gl3_web_remove_all_qos_cfg::gl3_web_set_route_qos err!\n")}));
}

TEST(RouteQos, StartUpPushesTheStoredRecordAlsoWhenItsSwitchIsOff) {
  write_file(config_path, file_with(record_bytes(0, block_bytes())));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_init_qos(), 0); }), lines({pushed}));
  EXPECT_EQ(last_qos_record(), record_bytes(0, block_bytes()));
  write_file(config_path, file_with(record_bytes(1, block_bytes())));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_init_qos(), 0); }), lines({pushed}));
  EXPECT_EQ(last_qos_record(), record_bytes(1, block_bytes()));
}

TEST(RouteQos, StartUpWithoutAFilePushesAnEmptyRecord) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_init_qos(), 0); }), lines({pushed}));
  EXPECT_EQ(last_qos_record(), std::string(248, '\0'));
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(RouteQos, StartUpFailsWithTheFileOrThePlatform) {
  world.file_faults = {{FileCall::open, 1, EROFS}};
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_init_qos(), -1); }),
            lines({out("get_qos_cfg_from_cfgfile::init_cfgfile err!\n"),
                   error("gl3_init_qos::get_qos_rules_from_cfgfile err!\n")}));
  world.file_faults.clear();
  world.qos_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_init_qos(), -1); }),
            lines({pushed, error("gl3_init_qos::gpon_l3_set_qos_rules err!\n")}));
}
