/* VPN pass-through: the file, the resource manager and the driver, in this order of truth. */
#include <cerrno>
#include <type_traits>

#include "harness.hpp"

using namespace harness;

namespace {

/* A whole configuration file whose VPN line has '1' or '0'. */
std::string stored(char value) {
  std::string file = fresh_config_file();
  file[17] = value;
  return file;
}

const Lines asked = platform("grm_l3_advance_get_vpn_pass_through");

}  // namespace

TEST(VpnPassThrough, TurningOnTellsDriverThenResourceManagerThenFile) {
  write_file(config_path, stored('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(1), 0); }),
            lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 1)"),
                   platform("grm_l3_advance_set_vpn_pass_through(1)")}));
  EXPECT_EQ(world.vpn_state, 1);
  EXPECT_EQ(read_file(config_path), stored('1'));
  EXPECT_EQ(open_descriptors(), 0);
}

TEST(VpnPassThrough, TurningOffTellsDriverThenResourceManagerThenFile) {
  write_file(config_path, stored('1'));
  world.vpn_state = 1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(0), 0); }),
            lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 0)"),
                   platform("grm_l3_advance_set_vpn_pass_through(0)")}));
  EXPECT_EQ(world.vpn_state, 0);
  EXPECT_EQ(read_file(config_path), stored('0'));
}

TEST(VpnPassThrough, AChangeWithoutAFileCreatesTheVpnLineAlone) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(1), 0); }),
            lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 1)"),
                   platform("grm_l3_advance_set_vpn_pass_through(1)")}));
  EXPECT_EQ(read_file(config_path), "vpn_pass_through=1\n");
}

TEST(VpnPassThrough, AValueAboveOneIsRefusedAndChangesNothing) {
  write_file(config_path, stored('1'));
  world.vpn_state = 1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(2), -1); }),
            lines({out("gl3_web_set_vpn_pass_through::control =2 err\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(255), -1); }),
            lines({out("gl3_web_set_vpn_pass_through::control =255 err\n")}));
  EXPECT_EQ(world.vpn_state, 1);
  EXPECT_EQ(read_file(config_path), stored('1'));
}

TEST(VpnPassThrough, TheLowByteOfAWiderVariableIsTheValue) {
  static_assert(std::is_same_v<decltype(&gl3_web_set_vpn_pass_through), int32_t (*)(uint32_t)>);
  write_file(config_path, stored('0'));
  uint32_t wide = 257;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_vpn_pass_through(wide), 0); }),
            lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 1)"),
                   platform("grm_l3_advance_set_vpn_pass_through(1)")}));
  EXPECT_EQ(world.vpn_state, 1);
  EXPECT_EQ(read_file(config_path), stored('1'));

  wide = 0x302;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_vpn_pass_through(wide), -1); }),
            lines({out("gl3_web_set_vpn_pass_through::control =2 err\n")}));
  EXPECT_EQ(world.vpn_state, 1);
  EXPECT_EQ(read_file(config_path), stored('1'));

  wide = 256;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_vpn_pass_through(wide), 0); }),
            lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 0)"),
                   platform("grm_l3_advance_set_vpn_pass_through(0)")}));
  EXPECT_EQ(world.vpn_state, 0);
  EXPECT_EQ(read_file(config_path), stored('0'));
}

TEST(VpnPassThrough, TheValueThatIsHeldAlreadyIsWrittenNowhere) {
  write_file(config_path, stored('0'));
  world.vpn_state = 1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(1), 0); }), lines({asked}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(read_file(config_path), stored('0'));

  // The file is still the source of truth: the next read takes its 0.
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(0)"), asked}));
  EXPECT_EQ(state, 0);
  EXPECT_EQ(world.vpn_state, 0);
}

TEST(VpnPassThrough, AResourceManagerThatDoesNotAnswerStopsAChange) {
  write_file(config_path, stored('0'));
  world.vpn_get_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(1), -1); }),
            lines({asked, out("gl3_web_set_vpn_pass_through::grm_l3_advance_get_vpn_pass_through "
                              "error!\n")}));
  EXPECT_EQ(world.vpn_state, 0);
  EXPECT_EQ(read_file(config_path), stored('0'));
}

TEST(VpnPassThrough, AnyErrorCodeOfTheDriverStopsAChange) {
  write_file(config_path, stored('0'));
  world.vpn_driver_result = 5;
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(1), -1); }),
      lines(
          {asked, platform("gpon_l3_control_vpn_pass_through(47, 1)"),
           out("gl3_web_set_vpn_pass_through::gpon_l3_control_vpn_pass_through [GRE]error=5\n")}));
  world.vpn_driver_result = -1;
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(1), -1); }),
      lines(
          {asked, platform("gpon_l3_control_vpn_pass_through(47, 1)"),
           out("gl3_web_set_vpn_pass_through::gpon_l3_control_vpn_pass_through [GRE]error=-1\n")}));
  EXPECT_EQ(world.vpn_state, 0);
  EXPECT_EQ(read_file(config_path), stored('0'));
}

TEST(VpnPassThrough, AResourceManagerThatRefusesAChangeLeavesTheFileAlone) {
  write_file(config_path, stored('0'));
  world.vpn_set_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(1), -1); }),
            lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 1)"),
                   platform("grm_l3_advance_set_vpn_pass_through(1)"),
                   out("gl3_web_set_vpn_pass_through::grm_l3_advance_set_vpn_pass_through "
                       "error!\n")}));
  EXPECT_EQ(read_file(config_path), stored('0'));
}

TEST(VpnPassThrough, OnlyMinusOneOfTheResourceManagerIsAFailure) {
  write_file(config_path, stored('0'));
  world.vpn_get_result = 7;
  world.vpn_set_result = -2;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(1), 0); }),
            lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 1)"),
                   platform("grm_l3_advance_set_vpn_pass_through(1)")}));
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }), lines({asked}));
  EXPECT_EQ(state, 1);
  EXPECT_EQ(read_file(config_path), stored('1'));
}

TEST(VpnPassThrough, AFileThatCannotBeWrittenFailsAChangeThatThePlatformHasMade) {
  for (const FileFault& fault :
       {FileFault{FileCall::open, 1, EROFS}, FileFault{FileCall::lseek, 1, EIO},
        FileFault{FileCall::write, 1, ENOSPC}, FileFault{FileCall::write, 2, ENOSPC}}) {
    write_file(config_path, stored('0'));
    world.vpn_state = 0;
    world.file_faults = {fault};
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through(1), -1); }),
              lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 1)"),
                     platform("grm_l3_advance_set_vpn_pass_through(1)"),
                     out("gl3_web_set_vpn_pass_through::set_vpn_pass_through_state_to_cfgfile "
                         "error!\n")}));
    EXPECT_EQ(world.vpn_state, 1);
    EXPECT_EQ(read_file(config_path), stored('0'));
  }

  // The change is not counted as made, so the next read goes back to the file.
  world.file_faults.clear();
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(0)"), asked}));
  EXPECT_EQ(state, 0);
}

TEST(VpnPassThrough, TheFirstReadPushesAStoredOneAndLaterReadsOnlyAsk) {
  write_file(config_path, stored('1'));
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(1)"),
                   platform("gpon_l3_control_vpn_pass_through(47, 1)"), asked}));
  EXPECT_EQ(state, 1);
  EXPECT_EQ(world.vpn_state, 1);

  world.vpn_state = 0;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }), lines({asked}));
  EXPECT_EQ(state, 0);
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(read_file(config_path), stored('1'));
}

TEST(VpnPassThrough, AStoredZeroIsNotPushedToTheDriver) {
  write_file(config_path, stored('0'));
  world.vpn_state = 1;
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(0)"), asked}));
  EXPECT_EQ(state, 0);
  EXPECT_EQ(world.vpn_state, 0);
}

TEST(VpnPassThrough, TheFirstReadCreatesAMissingFile) {
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(0)"), asked}));
  EXPECT_EQ(state, 0);
  EXPECT_EQ(read_file(config_path), fresh_config_file());
}

TEST(VpnPassThrough, AReadAfterAChangeLeavesTheFileAlone) {
  write_file(config_path, stored('0'));
  static_cast<void>(record([] { gl3_web_set_vpn_pass_through(1); }));
  write_file(config_path, stored('0'));
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }), lines({asked}));
  EXPECT_EQ(state, 1);
  EXPECT_EQ(file_calls(FileCall::open), 0);
}

TEST(VpnPassThrough, ANullPointerIsNamed) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_get_vpn_pass_through(nullptr), -1); }),
            lines({out("gl3_web_get_vpn_pass_through::xo_control NULLP err\r\n")}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(VpnPassThrough, AFileThatCannotBeReadFailsTheFirstRead) {
  for (const FileFault& fault :
       {FileFault{FileCall::open, 1, EACCES}, FileFault{FileCall::lseek, 1, EIO},
        FileFault{FileCall::read, 1, EIO}}) {
    write_file(config_path, stored('1'));
    world.file_faults = {fault};
    uint8_t state = 9;
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), -1); }),
              lines({out("gl3_web_get_vpn_pass_through::"
                         "get_vpn_pass_through_state_from_cfgfile error!\n")}));
    EXPECT_EQ(state, 9);
  }
  world.file_faults.clear();
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(1)"),
                   platform("gpon_l3_control_vpn_pass_through(47, 1)"), asked}));
  EXPECT_EQ(state, 1);
}

TEST(VpnPassThrough, AFileThatCannotBeCreatedFailsTheFirstRead) {
  world.file_faults = {{FileCall::open, 1, EROFS}};
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), -1); }),
            lines({out("get_vpn_pass_through_state_from_cfgfile::init_cfgfile err!\n"),
                   out("gl3_web_get_vpn_pass_through::get_vpn_pass_through_state_from_cfgfile "
                       "error!\n")}));
  EXPECT_EQ(state, 9);
}

TEST(VpnPassThrough, AFirstReadThatCannotBePushedIsTriedAgain) {
  write_file(config_path, stored('1'));
  world.vpn_set_result = -1;
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), -1); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(1)"),
                   out("gl3_web_get_vpn_pass_through::grm_l3_advance_set_vpn_pass_through "
                       "error!\n")}));
  EXPECT_EQ(state, 1);

  world.vpn_set_result = 0;
  world.vpn_driver_result = 22;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), -1); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(1)"),
                   platform("gpon_l3_control_vpn_pass_through(47, 1)"),
                   out("gl3_web_get_vpn_pass_through::gpon_l3_control_vpn_pass_through "
                       "[GRE]error=22\n")}));

  world.vpn_driver_result = 0;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), 0); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(1)"),
                   platform("gpon_l3_control_vpn_pass_through(47, 1)"), asked}));
}

TEST(VpnPassThrough, AReadFailsWhenTheResourceManagerDoesNotAnswer) {
  write_file(config_path, stored('1'));
  world.vpn_get_result = -1;
  uint8_t state = 9;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), -1); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(1)"),
                   platform("gpon_l3_control_vpn_pass_through(47, 1)"), asked,
                   out("gl3_web_get_vpn_pass_through::grm_l3_advance_get_vpn_pass_through "
                       "error!\n")}));
  EXPECT_EQ(state, 1);

  // The stored value has reached the platform, so only the question is repeated.
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_vpn_pass_through(&state), -1); }),
            lines({asked, out("gl3_web_get_vpn_pass_through::grm_l3_advance_get_vpn_pass_through "
                              "error!\n")}));
}

TEST(VpnPassThrough, TheDefaultIsOff) {
  write_file(config_path, stored('1'));
  world.vpn_state = 1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through_default(), 0); }),
            lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 0)"),
                   platform("grm_l3_advance_set_vpn_pass_through(0)")}));
  EXPECT_EQ(read_file(config_path), stored('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through_default(), 0); }), lines({asked}));
}

TEST(VpnPassThrough, AFailedDefaultIsNamedAfterItsCause) {
  write_file(config_path, stored('1'));
  world.vpn_state = 1;
  world.vpn_driver_result = 3;
  EXPECT_EQ(
      record([] { EXPECT_EQ(gl3_web_set_vpn_pass_through_default(), -1); }),
      lines({asked, platform("gpon_l3_control_vpn_pass_through(47, 0)"),
             out("gl3_web_set_vpn_pass_through::gpon_l3_control_vpn_pass_through [GRE]error=3\n"),
             out("gl3_web_set_vpn_pass_through_default::gl3_web_set_vpn_pass_through err!\n")}));
  EXPECT_EQ(read_file(config_path), stored('1'));
}

TEST(VpnPassThrough, StartUpPushesAStoredOneAndFindsNothingToChange) {
  write_file(config_path, stored('1'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_vpn_pass_through(), 0); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(1)"),
                   platform("gpon_l3_control_vpn_pass_through(47, 1)"), asked, asked}));
  EXPECT_EQ(world.vpn_state, 1);
  EXPECT_EQ(read_file(config_path), stored('1'));
}

TEST(VpnPassThrough, StartUpWithAStoredZeroNeverMeetsTheDriver) {
  write_file(config_path, stored('0'));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_vpn_pass_through(), 0); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(0)"), asked, asked}));
  EXPECT_EQ(world.vpn_state, 0);
}

TEST(VpnPassThrough, StartUpEndsWithAFailedRead) {
  write_file(config_path, stored('1'));
  world.vpn_set_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_vpn_pass_through(), -1); }),
            lines({platform("grm_l3_advance_set_vpn_pass_through(1)"),
                   out("gl3_web_get_vpn_pass_through::grm_l3_advance_set_vpn_pass_through "
                       "error!\n"),
                   out("gl3_web_init_vpn_pass_through::gl3_web_get_vpn_pass_through err!\n")}));
}

TEST(VpnPassThrough, StartUpEndsWithARefusedValue) {
  write_file(config_path, stored('0'));
  static_cast<void>(record([] { gl3_web_init_vpn_pass_through(); }));
  world.vpn_state = 2;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_vpn_pass_through(), -1); }),
            lines({asked, out("gl3_web_set_vpn_pass_through::control =2 err\n"),
                   out("gl3_web_init_vpn_pass_through::gl3_web_set_vpn_pass_through err!\n")}));
  EXPECT_EQ(read_file(config_path), stored('0'));
}
