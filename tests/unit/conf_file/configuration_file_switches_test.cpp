/* The two switch lines of the configuration file, VPN pass-through and the firewall master switch. */
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "configuration_file_calls.hpp"

using namespace harness;
using namespace configuration_file;

namespace {

struct Getter {
  const char* name;
  int32_t (*call)(uint8_t* xo_control);
  size_t value_offset;
};
constexpr Getter getters[] = {
    {"get_vpn_pass_through_state_from_cfgfile", get_vpn_pass_through_state_from_cfgfile, 17},
    {"get_firewall_state_from_cfgfile", get_firewall_state_from_cfgfile, 29}};

struct Setter {
  const char* name;
  int32_t (*call)(uint32_t xi_control);
  const char* key;
  size_t offset;
};
constexpr Setter setters[] = {
    {"set_vpn_pass_through_state_to_cfgfile", set_vpn_pass_through_state_to_cfgfile,
     "vpn_pass_through=", 0},
    {"set_firewall_state_to_cfgfile", set_firewall_state_to_cfgfile, "fire_wall=", 19}};

struct Read {
  int32_t result;
  uint8_t value;
  std::string transcript;
};

/* Calls a getter with an output byte of 0x77. */
Read get(const Getter& getter) {
  Read read = {99, 0x77, ""};
  read.transcript = record([&] { read.result = getter.call(&read.value); });
  return read;
}

/* What a getter makes of these bytes at its place in an otherwise counting file. */
int value_read_from(const Getter& getter, std::string_view bytes) {
  write_file(config_path, counting_file(getter.value_offset) + std::string(bytes));
  const Read read = get(getter);
  EXPECT_EQ(read.result, 0);
  EXPECT_EQ(read.transcript, "");
  EXPECT_EQ(open_descriptors(), 0);
  return read.value;
}

}  // namespace

TEST(ConfigurationSwitch, OnlyTheExactTextIsOn) {
  for (const Getter& getter : getters) {
    SCOPED_TRACE(getter.name);
    EXPECT_EQ(value_read_from(getter, "1\n"), 1);
    EXPECT_EQ(value_read_from(getter, "1\nmore"), 1);
    EXPECT_EQ(value_read_from(getter, "0\n"), 0);
    EXPECT_EQ(value_read_from(getter, "1 "), 0);
    EXPECT_EQ(value_read_from(getter, "1\r\n"), 0);
    EXPECT_EQ(value_read_from(getter, "\n1"), 0);
    EXPECT_EQ(value_read_from(getter, "2\n"), 0);
    EXPECT_EQ(value_read_from(getter, "11"), 0);
    EXPECT_EQ(value_read_from(getter, std::string_view("\1\n", 2)), 0);
    EXPECT_EQ(value_read_from(getter, "\xff\xff"), 0);
  }
}

TEST(ConfigurationSwitch, AValueThatIsCutShortIsOff) {
  for (const Getter& getter : getters) {
    SCOPED_TRACE(getter.name);
    EXPECT_EQ(value_read_from(getter, ""), 0);
    EXPECT_EQ(value_read_from(getter, "1"), 0);
    write_file(config_path, "");
    EXPECT_EQ(get(getter).value, 0);
    EXPECT_EQ(read_file(config_path), "");
  }
}

TEST(ConfigurationSwitch, AShortReadIsOffAndNotTriedAgain) {
  for (const Getter& getter : getters) {
    SCOPED_TRACE(getter.name);
    write_file(config_path, "vpn_pass_through=1\nfire_wall=1\n");
    world.file_faults = {{FileCall::read, 1, 0, 1}};
    const Read read = get(getter);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.value, 0);
    EXPECT_EQ(file_calls(FileCall::read), 1);
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationSwitch, EachGetterReadsItsOwnLine) {
  write_file(config_path, "vpn_pass_through=1\nfire_wall=0\n");
  EXPECT_EQ(get(getters[0]).value, 1);
  EXPECT_EQ(get(getters[1]).value, 0);
  write_file(config_path, "vpn_pass_through=0\nfire_wall=1\n");
  EXPECT_EQ(get(getters[0]).value, 0);
  EXPECT_EQ(get(getters[1]).value, 1);
}

TEST(ConfigurationSwitch, AGetterWritesExactlyOneByteAndNoRecord) {
  for (const Getter& getter : getters) {
    SCOPED_TRACE(getter.name);
    write_file(config_path, "vpn_pass_through=1\nfire_wall=1\n" + counting_file());
    fill_records(0xee);
    std::array<uint8_t, 4> bytes = {7, 7, 7, 7};
    static_cast<void>(record([&] { getter.call(&bytes[1]); }));
    EXPECT_EQ(bytes, (std::array<uint8_t, 4>{7, 1, 7, 7}));
    EXPECT_EQ(records(), std::string(6168 + 248 + 8572, '\xee'));
  }
}

TEST(ConfigurationSwitch, ANullPointerIsRefusedBeforeTheFileIsLookedAt) {
  EXPECT_EQ(record([] { EXPECT_EQ(get_vpn_pass_through_state_from_cfgfile(nullptr), -1); }),
            lines({out("get_vpn_pass_through_state_from_cfgfile::xo_control NULLP err\r\n")}));
  EXPECT_EQ(file_calls(FileCall::access), 0);
  EXPECT_EQ(record([] { EXPECT_EQ(get_firewall_state_from_cfgfile(nullptr), -1); }),
            lines({out("get_firewall_state_from_cfgfile::xo_control NULLP err\r\n")}));
  EXPECT_EQ(file_calls(FileCall::access), 0);
  EXPECT_FALSE(file_exists(config_path));
}

TEST(ConfigurationSwitch, AGetterCreatesAMissingFileWithBothSwitchesOff) {
  umask(0);
  for (const Getter& getter : getters) {
    SCOPED_TRACE(getter.name);
    unlink(config_path);
    fill_records(0xee);
    const Read read = get(getter);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.value, 0);
    EXPECT_EQ(read.transcript, "");
    EXPECT_EQ(read_file(config_path), fresh_config_file());
    EXPECT_EQ(file_mode(config_path), 0600U);
    EXPECT_EQ(records(), fresh_config_file().substr(31));
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationSwitch, AGetterThatCannotCreateTheFileSaysSo) {
  ASSERT_EQ(mount("tmpfs", "/ztcfg", "tmpfs", MS_RDONLY, nullptr), 0) << strerror(errno);
  const Read vpn = get(getters[0]);
  EXPECT_EQ(vpn.result, -1);
  EXPECT_EQ(vpn.value, 0x77);
  EXPECT_EQ(vpn.transcript,
            lines({out("get_vpn_pass_through_state_from_cfgfile::init_cfgfile err!\n")}));
  const Read firewall = get(getters[1]);
  EXPECT_EQ(firewall.result, -1);
  EXPECT_EQ(firewall.value, 0x77);
  EXPECT_EQ(firewall.transcript,
            lines({out("get_firewall_state_from_cfgfile::init_cfgfile err!\n")}));
}

TEST(ConfigurationSwitch, AGetterIsSilentAboutAFailedCall) {
  struct Failure {
    FileCall call;
    int left_open;
  };
  for (const Getter& getter : getters) {
    for (const Failure& failure :
         {Failure{FileCall::open, 0}, Failure{FileCall::lseek, 1}, Failure{FileCall::read, 1}}) {
      SCOPED_TRACE(getter.name + std::to_string(static_cast<int>(failure.call)));
      write_file(config_path, "vpn_pass_through=1\nfire_wall=1\n");
      world.file_faults = {{failure.call, 1, EIO}};
      const Read read = get(getter);
      EXPECT_EQ(read.result, -1);
      EXPECT_EQ(read.value, 0x77);
      EXPECT_EQ(read.transcript, "");
      EXPECT_EQ(file_calls(FileCall::close), 0);
      EXPECT_EQ(open_descriptors(), failure.left_open);
    }
  }
}

TEST(ConfigurationSwitch, AFailedCloseIsNoFailure) {
  for (const Getter& getter : getters) {
    SCOPED_TRACE(getter.name);
    write_file(config_path, "vpn_pass_through=1\nfire_wall=1\n");
    world.file_faults = {{FileCall::close, 1, EIO}};
    const Read read = get(getter);
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.value, 1);
    EXPECT_EQ(read.transcript, "");
  }
  for (const Setter& setter : setters) {
    SCOPED_TRACE(setter.name);
    const Outcome outcome = run([&] { return setter.call(0); });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.transcript, "");
    EXPECT_EQ(file_calls(FileCall::close), 1);
  }
  EXPECT_EQ(read_file(config_path), "vpn_pass_through=0\nfire_wall=0\n");
}

TEST(ConfigurationSwitch, ADirectoryInItsPlaceFailsSilently) {
  mkdir(config_path, 0700);
  for (const Getter& getter : getters) {
    SCOPED_TRACE(getter.name);
    const Read read = get(getter);
    EXPECT_EQ(read.result, -1);
    EXPECT_EQ(read.value, 0x77);
    EXPECT_EQ(read.transcript, "");
    EXPECT_EQ(open_descriptors(), 1);
  }
  for (const Setter& setter : setters) {
    SCOPED_TRACE(setter.name);
    const Outcome outcome = run([&] { return setter.call(1); });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.transcript, "");
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationSwitch, WritingTheVpnSwitchChangesTheFirstNineteenBytes) {
  std::string expected = counting_file();
  for (const uint32_t value : {1U, 0U}) {
    write_file(config_path, counting_file());
    const Outcome outcome = run([&] { return set_vpn_pass_through_state_to_cfgfile(value); });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.transcript, "");
    expected.replace(0, 19, value == 1 ? "vpn_pass_through=1\n" : "vpn_pass_through=0\n");
    EXPECT_EQ(read_file(config_path), expected);
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationSwitch, WritingTheFirewallSwitchChangesBytesNineteenToThirty) {
  std::string expected = counting_file();
  for (const uint32_t value : {1U, 0U}) {
    write_file(config_path, counting_file());
    const Outcome outcome = run([&] { return set_firewall_state_to_cfgfile(value); });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.transcript, "");
    expected.replace(19, 12, value == 1 ? "fire_wall=1\n" : "fire_wall=0\n");
    EXPECT_EQ(read_file(config_path), expected);
    EXPECT_EQ(open_descriptors(), 0);
  }
}

TEST(ConfigurationSwitch, ASetterLooksAtTheLowByteAlone) {
  write_file(config_path, fresh_config_file());
  EXPECT_EQ(run([] { return set_vpn_pass_through_state_to_cfgfile(0xffffff01U); }).result, 0);
  EXPECT_EQ(run([] { return set_firewall_state_to_cfgfile(257); }).result, 0);
  EXPECT_EQ(read_file(config_path).substr(0, 31), "vpn_pass_through=1\nfire_wall=1\n");
  EXPECT_EQ(run([] { return set_vpn_pass_through_state_to_cfgfile(256); }).result, 0);
  EXPECT_EQ(run([] { return set_firewall_state_to_cfgfile(0xabcdef00U); }).result, 0);
  EXPECT_EQ(read_file(config_path).substr(0, 31), "vpn_pass_through=0\nfire_wall=0\n");
}

TEST(ConfigurationSwitch, AnyOtherLowByteIsRefusedAndNamed) {
  write_file(config_path, counting_file());
  EXPECT_EQ(record([] { EXPECT_EQ(set_vpn_pass_through_state_to_cfgfile(2), -1); }),
            lines({out("set_vpn_pass_through_state_to_cfgfile::xi_control =2 err\n")}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(record([] { EXPECT_EQ(set_firewall_state_to_cfgfile(2), -1); }),
            lines({out("set_firewall_state_to_cfgfile::xi_control =2 err\n")}));
  EXPECT_EQ(file_calls(FileCall::open), 0);
  EXPECT_EQ(record([] { EXPECT_EQ(set_vpn_pass_through_state_to_cfgfile(0x1ff), -1); }),
            lines({out("set_vpn_pass_through_state_to_cfgfile::xi_control =255 err\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(set_firewall_state_to_cfgfile(0xffffff80U), -1); }),
            lines({out("set_firewall_state_to_cfgfile::xi_control =128 err\n")}));
  EXPECT_EQ(read_file(config_path), counting_file());
}

TEST(ConfigurationSwitch, TheVpnSetterMakesAMissingFileOfItsLineAlone) {
  umask(0);
  fill_records(0xee);
  const Outcome outcome = run([] { return set_vpn_pass_through_state_to_cfgfile(1); });
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.transcript, "");
  EXPECT_EQ(file_calls(FileCall::access), 0);
  EXPECT_EQ(read_file(config_path), "vpn_pass_through=1\n");
  EXPECT_EQ(file_mode(config_path), 0600U);
  EXPECT_EQ(records(), std::string(6168 + 248 + 8572, '\xee'));
  // From now on there is a file: nothing is created, and everything reads as off and zero.
  EXPECT_EQ(get(getters[0]).value, 1);
  EXPECT_EQ(get(getters[1]).value, 0);
  EXPECT_EQ(run(get_firewall_rules_from_cfgfile).result, 0);
  EXPECT_EQ(run(get_qos_cfg_from_cfgfile).result, 0);
  EXPECT_EQ(records(), std::string(6168 + 248 + 8572, '\0'));
  EXPECT_EQ(read_file(config_path), "vpn_pass_through=1\n");
}

TEST(ConfigurationSwitch, TheFirewallSetterMakesAMissingFileWithAHoleBeforeItsLine) {
  umask(0);
  fill_records(0xee);
  const Outcome outcome = run([] { return set_firewall_state_to_cfgfile(1); });
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.transcript, "");
  EXPECT_EQ(file_calls(FileCall::access), 0);
  EXPECT_EQ(read_file(config_path), std::string(19, '\0') + "fire_wall=1\n");
  EXPECT_EQ(file_mode(config_path), 0600U);
  EXPECT_EQ(records(), std::string(6168 + 248 + 8572, '\xee'));
  EXPECT_EQ(get(getters[0]).value, 0);
  EXPECT_EQ(get(getters[1]).value, 1);
  EXPECT_EQ(run(get_firewall_rules_from_cfgfile).result, 0);
  EXPECT_EQ(run(get_qos_cfg_from_cfgfile).result, 0);
  EXPECT_EQ(records(), std::string(6168 + 248 + 8572, '\0'));
  EXPECT_EQ(read_file(config_path), std::string(19, '\0') + "fire_wall=1\n");
}

TEST(ConfigurationSwitch, ASetterIsSilentAboutAFailedCall) {
  struct Failure {
    FileCall call;
    int nth;
    int left_open;
    size_t key_bytes;
  };
  for (const Setter& setter : setters) {
    const size_t key_length = std::string(setter.key).size();
    for (const Failure& failure :
         {Failure{FileCall::open, 1, 0, 0}, Failure{FileCall::lseek, 1, 1, 0},
          Failure{FileCall::write, 1, 1, 0}, Failure{FileCall::write, 2, 1, key_length}}) {
      SCOPED_TRACE(setter.name + std::to_string(static_cast<int>(failure.call)));
      write_file(config_path, counting_file());
      world.file_faults = {{failure.call, failure.nth, EIO}};
      const Outcome outcome = run([&] { return setter.call(1); });
      EXPECT_EQ(outcome.result, -1);
      EXPECT_EQ(outcome.transcript, "");
      EXPECT_EQ(file_calls(FileCall::close), 0);
      EXPECT_EQ(open_descriptors(), failure.left_open);
      std::string expected = counting_file();
      expected.replace(setter.offset, failure.key_bytes, setter.key, failure.key_bytes);
      EXPECT_EQ(read_file(config_path), expected);
    }
  }
}

TEST(ConfigurationSwitch, AShortWriteIsNotTriedAgainAndNoFailure) {
  for (const Setter& setter : setters) {
    SCOPED_TRACE(setter.name);
    write_file(config_path, std::string(31, '.'));
    world.file_faults = {{FileCall::write, 1, 0, 4}, {FileCall::write, 2, 0, 1}};
    const Outcome outcome = run([&] { return setter.call(1); });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.transcript, "");
    EXPECT_EQ(file_calls(FileCall::write), 2);
    EXPECT_EQ(open_descriptors(), 0);
    std::string expected(31, '.');
    expected.replace(setter.offset, 5, std::string(setter.key).substr(0, 4) + "1");
    EXPECT_EQ(read_file(config_path), expected);
  }
}
