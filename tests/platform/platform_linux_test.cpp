/* The platform calls on an ordinary Linux machine. Every case runs in a network and a /run of its own. */
#include "platform/linux/platform_linux.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "l3_advance/platform.h"

namespace {

/* The sandbox's network holds nothing but lo; anywhere else the commands below would do harm. */
void shell(const std::string& command) {
  ASSERT_EQ(access("/sys/class/net", F_OK), -1) << "run in tests/sandbox";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

std::string file_text(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string if_name(int32_t index, int32_t* result) {
  char name[6] = {};
  *result = getIfName(index, name);
  return name;
}

std::string dhcp_server(int32_t index, int32_t* result) {
  char buffer[48] = {};
  *result = DhcpsParaServerGet(index, buffer);
  return buffer;
}

void add_interface(const std::string& name, const std::string& address) {
  shell("ip link add " + name + " type bridge && ip link set " + name + " up && ip addr add " +
        address + " dev " + name);
}

}  // namespace

TEST(PlatformLinux, WithoutADefaultRouteThereIsNoInternetWan) {
  EXPECT_EQ(grm_gl3_get_internet_index(), -1);
}

TEST(PlatformLinux, TheInternetWanIsTheInterfaceOfTheDefaultRoute) {
  add_interface("wan7", "203.0.113.1/24");
  add_interface("lan0", "192.168.1.1/24");
  shell("ip route add default via 203.0.113.2");
  int32_t result = 0;
  EXPECT_EQ(if_name(grm_gl3_get_internet_index(), &result), "wan7");
  EXPECT_EQ(result, 0);
}

TEST(PlatformLinux, OfSeveralDefaultRoutesTheLowestMetricCounts) {
  add_interface("wan1", "203.0.113.1/24");
  add_interface("wan2", "198.51.100.1/24");
  shell("ip route add default via 203.0.113.2 metric 200");
  shell("ip route add default via 198.51.100.2 metric 100");
  int32_t result = 0;
  EXPECT_EQ(if_name(grm_gl3_get_internet_index(), &result), "wan2");
}

TEST(PlatformLinux, AnUnknownIndexHasNoName) {
  int32_t result = 0;
  EXPECT_EQ(if_name(4711, &result), "");
  EXPECT_EQ(result, -1);
  EXPECT_EQ(if_name(-1, &result), "");
  EXPECT_EQ(result, -1);
}

TEST(PlatformLinux, ANameOfMoreThanFiveCharactersIsNotHandedOverAndTraced) {
  platform_linux::set_default_log_level(4);
  add_interface("upstream0", "203.0.113.1/24");
  shell("ip route add default via 203.0.113.2");
  int32_t result = 0;
  testing::internal::CaptureStderr();
  EXPECT_EQ(if_name(grm_gl3_get_internet_index(), &result), "");
  EXPECT_EQ(result, -1);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("upstream0 is longer than 5 characters"),
            std::string::npos);
}

TEST(PlatformLinux, TheWholeNameOfTheInternetWanHasUpToFifteenCharacters) {
  EXPECT_EQ(platform_linux::internet_wan_name(), "");
  for (const std::string name : {"wan7", "ppp0.100", "nas0_1.10", "fifteen_charsss"}) {
    add_interface(name, "203.0.113.1/24");
    shell("ip route add default via 203.0.113.2");
    EXPECT_EQ(platform_linux::internet_wan_name(), name);
    shell("ip link del " + name);
  }
  EXPECT_EQ(platform_linux::internet_wan_name(), "");
}

TEST(PlatformLinux, ANameThatIsMoreThanANameToTheShellIsNoInternetWan) {
  add_interface("'a;b'", "203.0.113.1/24");
  shell("ip route add default via 203.0.113.2");
  EXPECT_EQ(platform_linux::internet_wan_name(), "");
}

TEST(PlatformLinux, TheLanServerAddressIsThatOfTheBridge) {
  shell("ip link add br0 type bridge && ip link set br0 up && ip addr add 192.168.7.1/24 dev br0");
  int32_t result = -1;
  EXPECT_EQ(dhcp_server(0, &result), "192.168.7.1");
  EXPECT_EQ(result, 0);
}

TEST(PlatformLinux, WithoutABridgeOrForAnotherServerTheAddressIsEmpty) {
  int32_t result = 0;
  EXPECT_EQ(dhcp_server(0, &result), "");
  EXPECT_EQ(result, -1);
  EXPECT_EQ(dhcp_server(1, &result), "");
  EXPECT_EQ(result, -1);
}

TEST(PlatformLinux, TheVpnSwitchIsOffUntilSetAndSurvivesInAFile) {
  uint8_t state[2] = {7, 0xee};
  EXPECT_EQ(grm_l3_advance_get_vpn_pass_through(state), 0);
  EXPECT_EQ(state[0], 0);
  EXPECT_EQ(state[1], 0xee);
  EXPECT_EQ(grm_l3_advance_set_vpn_pass_through(1), 0);
  EXPECT_EQ(file_text("/run/l3_advance/vpn_pass_through"), "1\n");
  EXPECT_EQ(grm_l3_advance_get_vpn_pass_through(state), 0);
  EXPECT_EQ(state[0], 1);
  EXPECT_EQ(gpon_l3_control_vpn_pass_through(47, 1), 0);
  EXPECT_EQ(file_text("/run/l3_advance/vpn_driver"), "47 1\n");
}

TEST(PlatformLinux, TheRouteQosRecordIsKeptByteForByte) {
  std::string record(248, '\0');
  for (size_t i = 0; i < record.size(); ++i) {
    record[i] = static_cast<char>(i);
  }
  EXPECT_EQ(gpon_l3_set_qos_cfg(record.data()), 0);
  EXPECT_EQ(file_text("/run/l3_advance/route_qos"), record);
}

TEST(PlatformLinux, WithoutAStateDirectorySettingsAreRefused) {
  std::ofstream("/run/l3_advance") << "a file stands where the directory should be";
  EXPECT_EQ(grm_l3_advance_set_vpn_pass_through(1), -1);
  EXPECT_NE(gpon_l3_control_vpn_pass_through(47, 1), 0);
  EXPECT_EQ(gpon_l3_set_qos_cfg(std::string(248, '\0').data()), -1);
  EXPECT_EQ(zt_bsp_version_export("file", "1", "date", "time", "banner ", 1), -1);
}

TEST(PlatformLinux, ABannerIsRegisteredOnce) {
  EXPECT_EQ(zt_bsp_version_export("lib.so", "1.2", "Jan  1 2020", "01:02:03", "banner ", 1), 0);
  EXPECT_EQ(zt_bsp_version_export("lib.so", "1.2", "Jan  1 2020", "01:02:03", "banner ", 1), 0);
  EXPECT_EQ(file_text("/run/l3_advance/versions"), "lib.so 1.2 (Jan  1 2020 01:02:03) banner 1\n");
}

TEST(PlatformLinux, TheLogShowsErrorsAloneUntilTheLevelFileSaysMore) {
  testing::internal::CaptureStderr();
  l3_log_print(4, 2, "line[%d], a trace\n", 1);
  l3_log_print(2, 2, "line[%d], an error\r\n", 2);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "l3_advance error: line[2], an error\n");

  ASSERT_TRUE(platform_linux::write_state("log_level", "4\n"));
  testing::internal::CaptureStderr();
  l3_log_print(4, 2, "line[%d], before the refresh\n", 3);
  grm_all_refresh_log_mod_level();
  l3_log_print(4, 2, "line[%d], \n==a trace==\n", 4);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "l3_advance debug: line[4],  ==a trace==\n");
}

TEST(PlatformLinux, ALevelFileWithoutANumberCountsAsMissing) {
  ASSERT_TRUE(platform_linux::write_state("log_level", "loud\n"));
  platform_linux::set_default_log_level(4);
  grm_all_refresh_log_mod_level();
  testing::internal::CaptureStderr();
  l3_log_print(4, 2, "line[%d], a trace\n", 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "l3_advance debug: line[1], a trace\n");
}

TEST(PlatformLinux, StateFilesAreReplacedWholeAndReadableByAll) {
  ASSERT_TRUE(platform_linux::write_state("example", "long text"));
  ASSERT_TRUE(platform_linux::write_state("example", "short"));
  EXPECT_EQ(platform_linux::read_state("example"), "short");
  struct stat status = {};
  ASSERT_EQ(stat("/run/l3_advance/example", &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0644U);
  EXPECT_EQ(access("/run/l3_advance/example.next", F_OK), -1);
  EXPECT_EQ(platform_linux::read_state("nothing"), "");
}

namespace {

std::string observed;

}  // namespace

TEST(PlatformLinux, AnObserverIsToldOfEveryCallThatChangesSomething) {
  platform_linux::observe([](const std::string& call) { observed += call + "\n"; });
  uint8_t record[248] = {};
  record[3] = 0x1f;
  uint8_t state = 0;
  EXPECT_EQ(gpon_l3_set_qos_cfg(record), 0);
  EXPECT_EQ(grm_l3_advance_set_vpn_pass_through(1), 0);
  EXPECT_EQ(grm_l3_advance_get_vpn_pass_through(&state), 0);
  EXPECT_EQ(gpon_l3_control_vpn_pass_through(47, 0), 0);
  EXPECT_EQ(zt_bsp_version_export("f", "v", "d", "t", "b", 2), 0);
  platform_linux::observe(nullptr);
  EXPECT_EQ(grm_l3_advance_set_vpn_pass_through(0), 0);
  EXPECT_EQ(observed,
            "gpon_l3_set_qos_cfg(0000001f)\ngrm_l3_advance_set_vpn_pass_through(1)\n"
            "gpon_l3_control_vpn_pass_through(47, 0)\nzt_bsp_version_export(f v (d t) b2)\n");
}
