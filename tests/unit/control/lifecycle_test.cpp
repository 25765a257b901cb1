/*
 * A gateway's life, from its first start to a factory reset, with restarts in between. Every start is
 * a process of its own that meets the library freshly loaded; only the files pass from one to the
 * next, as on a device.
 */
#include <gtest/gtest-spi.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "harness.hpp"
#include "sample_config.hpp"

using namespace harness;
using namespace sample_config;

namespace {

Lines boot_begins() {
  return together({refresh(), modules_list(), tree()});
}

Lines ipsec_asked(uint32_t value) {
  return together({refresh(), debug("get ipsec_pass_ctrl=" + std::to_string(value) + "\n")});
}

/* Two starts of an empty device, which leave both save files and a fresh configuration file. */
void start_twice() {
  shell_writes_files();
  in_a_new_process([] {
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
              lines({boot_begins(), saved(), qos_pushed()}));
    EXPECT_EQ(read_file(save_path), saved_rules);
    EXPECT_FALSE(file_exists(save6_path));
    EXPECT_EQ(read_file(config_path), fresh_config_file());
  });
  in_a_new_process([] {
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
              lines({boot_begins(), saved6(), qos_pushed()}));
    EXPECT_EQ(read_file(save6_path), saved_rules);
    EXPECT_EQ(read_file(config_path), fresh_config_file());
  });
}

/* The region of the sample configuration at `offset`, as a caller's image. */
template <typename Region>
Region region(size_t offset) {
  Region image;
  const std::string bytes = file('1').substr(offset, sizeof(image));
  memcpy(&image, bytes.data(), sizeof(image));
  return image;
}

/* A fresh file, on, with the sample configuration's MAC and DHCP filters. */
std::string two_filters(char fire_wall) {
  std::string bytes = with(fresh_config_file(), switch_value, std::string(1, fire_wall));
  put(bytes, fw + 4636, file('1').substr(fw + 4636, 424));
  return bytes;
}

Lines dhcp_set() {
  return together(
      {refresh(), ran("iptables -t filter -F input_ext_dhcp"),
       debug("\n==[fw_enable=1,dhcp_mac_filter_ctrl=1,dhcpTable=1]\n"),
       debug("gl3_web_mac_bin_to_str::mac_bin=00:1a:2b:3c:4d:5e\n"),
       debug("\n==iptables -A input_ext_dhcp -m mac --mac-source 00:1a:2b:3c:4d:5e -j DROP==\n"),
       ran("iptables -A input_ext_dhcp -m mac --mac-source 00:1a:2b:3c:4d:5e -j DROP"),
       debug("[dhcp_mac_filter_ctrl=1]\n"), saved()});
}

Lines mac_set() {
  return together({refresh(), ran("iptables -t filter -F forward_ext_mac"),
                   debug("\n==[fw_enable=1,mac_filter_ctrl=1,macTable=1]\n"), mac_rules(),
                   saved()});
}

}  // namespace

TEST(Lifecycle, RulesComeFromTheRecordsFromTheThirdStartOn) {
  start_twice();
  in_a_new_process([] {
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
              lines({boot_begins(), ipsec_asked(1), qos_pushed()}));
    EXPECT_EQ(read_file(config_path), fresh_config_file());
    EXPECT_FALSE(switch_in_memory());

    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }),
              lines({refresh(), flushed(), flushed6(), no_rules(1), no_rules(1), wan_bound(),
                     saved(), saved6()}));
    const auto mac = region<l3_mac_filter>(fw + 4636);
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_mac_cfg(&mac), 0); }), lines({mac_set()}));
    const auto dhcp = region<l3_dhcp_filter>(fw + 4848);
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_set_dhcp_cfg(&dhcp), 0); }), lines({dhcp_set()}));
    EXPECT_EQ(read_file(config_path), two_filters('1'));
    expect_records_as_in_file();
  });

  // The MAC rule comes back, the DHCP rule does not; both stay in the records.
  in_a_new_process([] {
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
              lines({boot_begins(), no_rules(1), mac_rules(), saved(), restored6(), ipsec_asked(1),
                     qos_pushed()}));
    EXPECT_EQ(read_file(config_path), two_filters('1'));
    expect_records_as_in_file();
    EXPECT_TRUE(switch_in_memory());
  });

  // Off and on again: likewise.
  in_a_new_process([] {
    static_cast<void>(record([] { gl3_web_init_fw(); }));
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(0), 0); }), lines({switched_off()}));
    EXPECT_EQ(read_file(config_path), two_filters('0'));
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }),
              lines({refresh(), flushed(), flushed6(), no_rules(1), mac_rules(), no_rules(1),
                     wan_bound(), saved(), saved6()}));
    EXPECT_EQ(read_file(config_path), two_filters('1'));
  });
}

TEST(Lifecycle, AWanChangeLastsUntilTheNextStart) {
  write_file(config_path, file('1'));
  put_save_files();
  shell_writes_files();
  in_a_new_process([] {
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
              lines({boot_begins(), rules(), saved(), restored6(), ipsec_asked(1), qos_pushed()}));

    // The daemon learns of a new WAN: it clears, then updates.
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_l3ctl_clear_firewall(), 0); }),
              lines({out("[gl3_l3ctl_clear_firewall]begin to clear firewall.\n"),
                     ran("iptables -t filter -F input_ext_local_access_ex"),
                     ran("iptables -t filter -F forward_ext_ip"),
                     ran("ip6tables -t filter -F forward_ext_ip"),
                     ran("iptables -t filter -F input_ext_acl")}));
    EXPECT_EQ(
        record([] { EXPECT_EQ(gl3_l3ctl_update_firewall("ppp0"), 0); }),
        lines({out("[gl3_l3ctl_update_firewall]begin to update firewall interface ppp0,our if is "
                   "wan3\n"),
               out("[gl3_update_firewall]begin to update firewall interface ppp0.\n"),
               ran("iptables -A forward_ext_ip -i br0 -j forward_ext_us_ip"),
               ran("iptables -A forward_ext_ip -i ppp0 -j forward_ext_ds_ip"),
               ran("ip6tables -A forward_ext_ip -i br0 -j forward_ext_us_ip"),
               ran("ip6tables -A forward_ext_ip -i ppp0 -j forward_ext_ds_ip"),
               ran("iptables -A input_ext_acl -i br0 -j input_ext_us_acl"),
               ran("iptables -A input_ext_acl -i ppp0 -j input_ext_ds_acl"), refresh(),
               out("[gl3_update_firewall]anti_port_scan is 1\n"),
               ran("iptables -I input_ext_local_access_ex -i ppp0 -j DROP")}));
    EXPECT_EQ(wan_in_memory(), "ppp0");

    // The platform has followed: switching on binds its name.
    world.if_name = "ppp0";
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_status(1), 0); }), lines({switched_on("ppp0")}));
    // The platform knows none: the daemon's name stays.
    world.internet_index = -1;
    static_cast<void>(record([] { gl3_web_set_fw_status(1); }));
    EXPECT_EQ(wan_in_memory(), "ppp0");
    EXPECT_EQ(read_file(config_path), file('1'));
  });

  // Nothing of it is stored.
  in_a_new_process([] { EXPECT_EQ(wan_in_memory(), "wan3"); });
  in_a_new_process([] {
    world.if_name = "ppp0";
    EXPECT_EQ(
        record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
        lines({boot_begins(), rules("ppp0"), saved(), restored6(), ipsec_asked(1), qos_pushed()}));
    EXPECT_EQ(wan_in_memory(), "ppp0");
  });
}

TEST(Lifecycle, ALevelSurvivesARestartAndSoDoesItsReset) {
  write_file(config_path, file('1'));
  put_save_files();
  shell_writes_files();

  std::string level_one = with_word(file('1'), level, 1);
  level_one = with_word(level_one, level6, 1);
  level_one = with_word(level_one, anti_port_scan, 0);
  in_a_new_process([&] {
    static_cast<void>(record([] { gl3_web_init_fw(); }));
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_fw_security_level(1), 0); }),
              lines({refresh(), switched_on(), scan_off()}));
    EXPECT_EQ(read_file(config_path), level_one);
    expect_records_as_in_file();
  });

  in_a_new_process([&] {
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
              lines({boot_begins(), ip_rules(), url_rules(), mac_rules(), acl_rules(),
                     portal_rules(), saved(), restored6(), ipsec_asked(1), qos_pushed()}));
    int32_t seen = 9;
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), 0); }),
              lines({refresh()}));
    EXPECT_EQ(seen, 1);
    EXPECT_EQ(read_file(config_path), level_one);

    // Anti port scan alone moves the level, once it is looked at.
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(1), 0); }), lines({scan_on()}));
    EXPECT_EQ(read_file(config_path), with_word(level_one, anti_port_scan, 1));
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_get_fw_security_level(&seen), 0); }),
              lines({refresh()}));
    EXPECT_EQ(seen, 2);
    EXPECT_EQ(read_file(config_path), file('1'));
    expect_records_as_in_file();
  });

  in_a_new_process([] {
    static_cast<void>(record([] { gl3_web_init_fw(); }));
    static_cast<void>(record([] { EXPECT_EQ(gl3_web_set_firewall_default(), 0); }));
    EXPECT_EQ(read_file(config_path), file_after_reset());
    expect_records_as_in_file();
    EXPECT_EQ(last_qos_record(), std::string(248, '\0'));
    EXPECT_FALSE(switch_in_memory());
  });

  in_a_new_process([] {
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }),
              lines({boot_begins(), ipsec_asked(1), qos_pushed()}));
    EXPECT_EQ(read_file(config_path), file_after_reset());
    int32_t seen = 9;
    static_cast<void>(record([&] { gl3_web_get_fw_security_level(&seen); }));
    EXPECT_EQ(seen, 0);
    EXPECT_EQ(read_file(config_path),
              with_word(with_word(file_after_reset(), level, 0), level6, 0));
  });
}

TEST(Lifecycle, AProcessThatChangesBeforeItLoadsOverwritesWhatIsStored) {
  // The records are zero at load and a set call writes them whole, which is why a program loads first.
  write_file(config_path, file('1'));
  in_a_new_process([] {
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_set_anti_port_scan(0), 0); }), lines({scan_off()}));
  });
  std::string expected = with(file('1'), fw, std::string(6168, '\0'));
  EXPECT_EQ(read_file(config_path), with(expected, fw6, std::string(8572, '\0')));
}

TEST(Lifecycle, AMigratedDeviceMigratesAgainAtEveryStartWhileTheFlagStays) {
  shell_writes_files();
  put_save_files();
  write_file(flag_path, "");
  std::string old = with_word(fresh_config_file(), ipsec_pass_ctrl, 0);
  put(old, fw + 2416 + 1804, word(1));
  write_file(old_path, old);
  std::string expected = with_word(fresh_config_file(), fw + 4620, 1);

  const Lines migrating_boot =
      together({refresh(), command("mv /ztcfg/l3_advance.conf /ztcfg/l3_advance.dat"),
                modules_list(), tree(), ipsec_asked(1), qos_pushed()});
  put(expected, fw + 2416 + 1804, word(1));
  in_a_new_process([&] {
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }), lines({migrating_boot}));
    EXPECT_EQ(read_file(config_path), expected);
  });

  // The second time the current file is taken for an old one; user's settings of IPsec go.
  in_a_new_process([&] {
    write_file(config_path, with_word(expected, ipsec_pass_ctrl, 0));
    EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_init_fw(), 0); }), lines({migrating_boot}));
    EXPECT_EQ(read_file(config_path), expected);
  });
}

TEST(Lifecycle, AProcessThatEndsBadlyFailsTheTest) {
  // What the other tests of this file rest on.
  EXPECT_NONFATAL_FAILURE(in_a_new_process([] { _exit(1); }), "the process failed or ended early");
  EXPECT_NONFATAL_FAILURE(in_a_new_process([] { abort(); }), "the process failed or ended early");
}
