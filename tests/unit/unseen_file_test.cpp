/* A file that cannot be looked at (no memory, a medium that fails) is not taken for missing: what is
 * missing is made anew, and that would write over it. */
#include <cerrno>

#include "configuration_file_calls.hpp"
#include "household.hpp"

using namespace harness;
using namespace configuration_file;

TEST(UnseenFile, TheConfigurationFileKeepsItsSettings) {
  const std::string file = household::file('1');
  for (const RecordCall& getter : record_getters) {
    SCOPED_TRACE(getter.name);
    write_file(config_path, file);
    world.file_faults = {{FileCall::access, 1, EIO}};
    const Outcome outcome = run(getter.call);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.transcript, "");
    EXPECT_EQ(read_file(config_path), file);
  }
  EXPECT_EQ(records(), file.substr(31));
}

TEST(UnseenFile, ASetWritesItsRecordAndNoDefaults) {
  const std::string file = household::file('1');
  household::load(file);
  fw_rules_table.security_level = 1;
  world.file_faults = {{FileCall::access, 1, ENOMEM}};
  EXPECT_EQ(run(set_firewall4_rules_to_cfgfile).result, 0);
  EXPECT_EQ(read_file(config_path), household::with_word(file, household::level, 1));
}

TEST(UnseenFile, AMissingOneIsNotCreated) {
  world.file_faults = {{FileCall::access, 1, EIO}};
  const Outcome outcome = run(get_firewall4_rules_from_cfgfile);
  EXPECT_EQ(outcome.result, -1);
  EXPECT_EQ(outcome.transcript,
            lines({out("get_firewall4_rules_from_cfgfile::open /ztcfg/l3_advance.dat error!\n")}));
  EXPECT_FALSE(file_exists(config_path));
}

TEST(UnseenFile, ARecordFileKeepsItsBytes) {
  constexpr char path[] = "/ztcfg/wan.rec";
  write_file(path, std::string(1872, 'w'));
  std::string info(1872, '\0');
  world.file_faults = {{FileCall::access, 1, EIO}};
  EXPECT_EQ(run([&] { return get_std_wan_service_info_from_cfgfile(info.data(), path); }).result,
            0);
  EXPECT_EQ(info, std::string(1872, 'w'));

  constexpr char timeout[] = "/ztcfg/ct_activity_timeout.conf";
  write_file(timeout, "600");
  std::string text(3, '\0');
  EXPECT_EQ(run([&] { return read_info_from_file(text.data(), timeout, 3); }).result, 0);
  EXPECT_EQ(text, "600");
}

TEST(UnseenFile, TheSavedRulesAreNotReplacedByTheEmptyTree) {
  for (int nth = 2; nth <= 3; ++nth) {
    SCOPED_TRACE(nth);
    write_file(config_path, household::file('0'));
    write_file(household::save_path, "the IPv4 rules");
    write_file(household::save6_path, "the IPv6 rules");
    household::shell_writes_files();
    // The first look is for the migration's flag.
    world.file_faults = {{FileCall::access, nth, EIO}};
    EXPECT_EQ(run(gl3_web_init_fw).result, 0);
    EXPECT_EQ(read_file(household::save_path), "the IPv4 rules");
    EXPECT_EQ(read_file(household::save6_path), "the IPv6 rules");
  }
}
