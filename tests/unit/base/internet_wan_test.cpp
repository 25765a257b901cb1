/*
 * Learning the Internet WAN's name from the platform. The name itself is hidden in the library: what
 * it holds is read off the binding that names it.
 */
#include "harness.hpp"

using namespace harness;

TEST(InternetWan, TheNameIsWan3AtFirst) {
  load_firewall_switch(false);
  EXPECT_EQ(wan_in_memory(), "wan3");
}

TEST(InternetWan, ARefreshTakesThePlatformsName) {
  load_firewall_switch(false);
  world.internet_index = 7;
  world.if_name = "ppp0";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_internet_wan(), 0); }),
            lines({platform("grm_gl3_get_internet_index"), platform("getIfName(7)"),
                   out("[gl3_update_internet_wan]get a legal wanifname ppp0.\n")}));
  EXPECT_EQ(wan_in_memory(), "ppp0");
}

TEST(InternetWan, AShorterNameLeavesNothingOfTheOldOne) {
  load_firewall_switch(false);
  world.if_name = "ppp10";
  static_cast<void>(record([] { gl3_update_internet_wan(); }));
  world.if_name = "w1";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_internet_wan(), 0); }),
            lines({platform("grm_gl3_get_internet_index"), platform("getIfName(3)"),
                   out("[gl3_update_internet_wan]get a legal wanifname w1.\n")}));
  EXPECT_EQ(wan_in_memory(), "w1");
}

TEST(InternetWan, WithoutAnInternetWanTheNameStays) {
  load_firewall_switch(false);
  world.internet_index = -1;
  world.if_name = "ppp0";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_internet_wan(), -1); }),
            lines({platform("grm_gl3_get_internet_index"),
                   out("[gl3_update_internet_wan]get a illegal wanindex -1.\n")}));
  EXPECT_EQ(wan_in_memory(), "wan3");
}

TEST(InternetWan, ANameThatCannotBeReadLeavesTheOldOne) {
  load_firewall_switch(false);
  world.if_name = "ppp0";
  world.if_name_result = -1;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_internet_wan(), -1); }),
            lines({platform("grm_gl3_get_internet_index"), platform("getIfName(3)"),
                   out("[gl3_update_internet_wan]get a illegal wanifname ppp0.\n")}));
  EXPECT_EQ(wan_in_memory(), "wan3");
}

TEST(InternetWan, AFailureAfterASuccessKeepsTheLastName) {
  load_firewall_switch(false);
  world.if_name = "ppp0";
  static_cast<void>(record([] { gl3_update_internet_wan(); }));
  world.internet_index = -1;
  static_cast<void>(record([] { EXPECT_EQ(gl3_update_internet_wan(), -1); }));
  EXPECT_EQ(wan_in_memory(), "ppp0");
}

TEST(InternetWan, OnlyMinusOneIsAFailure) {
  load_firewall_switch(false);
  world.internet_index = -2;
  world.if_name = "eth1";
  world.if_name_result = 5;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_internet_wan(), 0); }),
            lines({platform("grm_gl3_get_internet_index"), platform("getIfName(-2)"),
                   out("[gl3_update_internet_wan]get a legal wanifname eth1.\n")}));
  world.internet_index = 0;
  world.if_name = "eth2";
  world.if_name_result = -2;
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_internet_wan(), 0); }),
            lines({platform("grm_gl3_get_internet_index"), platform("getIfName(0)"),
                   out("[gl3_update_internet_wan]get a legal wanifname eth2.\n")}));
  EXPECT_EQ(wan_in_memory(), "eth2");
}

TEST(InternetWan, ANameOfFiveCharactersFits) {
  load_firewall_switch(false);
  world.if_name = "ppp10";
  static_cast<void>(record([] { EXPECT_EQ(gl3_update_internet_wan(), 0); }));
  EXPECT_EQ(wan_in_memory(), "ppp10");
}

TEST(InternetWan, ANameWithoutItsZeroEndsAtFiveCharacters) {
  load_firewall_switch(false);
  world.if_name = "ppp0.100";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_internet_wan(), 0); }),
            lines({platform("grm_gl3_get_internet_index"), platform("getIfName(3)"),
                   out("[gl3_update_internet_wan]get a legal wanifname ppp0..\n")}));
  EXPECT_EQ(wan_in_memory(), "ppp0.");
}

TEST(InternetWan, AnEmptyNameIsTakenToo) {
  load_firewall_switch(false);
  world.if_name = "";
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_update_internet_wan(), 0); }),
            lines({platform("grm_gl3_get_internet_index"), platform("getIfName(3)"),
                   out("[gl3_update_internet_wan]get a legal wanifname .\n")}));
  EXPECT_EQ(wan_in_memory(), "");
}

TEST(InternetWan, APlatformsNameReplacesALongerOneWhole) {
  load_firewall_switch(false);
  static_cast<void>(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall("fifteen_charsss"), 0); }));
  world.if_name = "w1";
  static_cast<void>(record([] { EXPECT_EQ(gl3_update_internet_wan(), 0); }));
  EXPECT_EQ(wan_in_memory(), "w1");
}

TEST(InternetWan, ALongerNameStaysWhileThePlatformKnowsNone) {
  load_firewall_switch(false);
  static_cast<void>(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall("ppp0.100"), 0); }));
  world.if_name_result = -1;
  static_cast<void>(record([] { EXPECT_EQ(gl3_update_internet_wan(), -1); }));
  EXPECT_EQ(wan_in_memory(), "ppp0.100");
}

TEST(InternetWan, ThePlatformsBufferHasSixBytes) {
  load_firewall_switch(false);
  static_cast<void>(record([] { EXPECT_EQ(gl3_l3ctl_update_firewall("fifteen_charsss"), 0); }));
  world.if_name = "ppp0.100";  // the harness hands over the first six bytes, as a device would
  static_cast<void>(record([] { EXPECT_EQ(gl3_update_internet_wan(), 0); }));
  EXPECT_EQ(wan_in_memory(), "ppp0.");
}
