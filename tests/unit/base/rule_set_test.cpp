/* Flushing, saving and restoring the rule set as a whole. */
#include <sstream>

#include "harness.hpp"

using namespace harness;

namespace {

struct Flush {
  const char* name;
  int32_t (*call)(const char* command);
};
constexpr Flush flushes[] = {{"flush_fw_ip", flush_fw_ip},
                             {"flush_fw_url", flush_fw_url},
                             {"flush_fw_mac", flush_fw_mac},
                             {"flush_fw_bad_tcp", flush_fw_bad_tcp}};

/* The commands of a text file, one a line; blank lines and lines that begin with # are none. */
Lines commands_in(const std::string& path) {
  std::istringstream text(read_file(path));
  Lines commands;
  for (std::string line; std::getline(text, line);) {
    if (!line.empty() && line[0] != '#') {
      commands.push_back(line);
    }
  }
  return commands;
}

/* The command lines that a call ran. */
Lines commands_run_by(int32_t (*call)()) {
  Lines commands;
  world.system = [&commands](const std::string& line) {
    commands.push_back(line);
    return 0;
  };
  static_cast<void>(record([&] { EXPECT_EQ(call(), 0); }));
  return commands;
}

/* Every command fails. */
void fail_everything() {
  world.system = [](const std::string&) { return exited(1); };
}

}  // namespace

TEST(RuleSet, FlushingIpv4EmptiesElevenFeatureChainsInOrder) {
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = flush_fw(); }),
            lines({ran("iptables -t filter -F input_ext_local_access"),
                   ran("iptables -t filter -F input_ext_us_acl"),
                   ran("iptables -t filter -F input_ext_ds_acl"),
                   ran("iptables -t filter -F input_ext_dhcp"),
                   ran("iptables -t filter -F forward_ext_bad_tcp"),
                   ran("iptables -t filter -F forward_ext_us_ip"),
                   ran("iptables -t filter -F forward_ext_ds_ip"),
                   ran("iptables -t filter -F forward_ext_url"),
                   ran("iptables -t filter -F forward_ext_mac"),
                   ran("iptables -t filter -F forward_ext_captiveportal"),
                   ran("iptables -t filter -F input_ext_local_access_ex")}));
  EXPECT_EQ(result, 0);
}

TEST(RuleSet, FlushingIpv4GoesOnAfterEveryFailure) {
  fail_everything();
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = flush_fw(); }),
            lines({ran_and_failed("iptables -t filter -F input_ext_local_access"),
                   ran_and_failed("iptables -t filter -F input_ext_us_acl"),
                   ran_and_failed("iptables -t filter -F input_ext_ds_acl"),
                   ran_and_failed("iptables -t filter -F input_ext_dhcp"),
                   ran_and_failed("iptables -t filter -F forward_ext_bad_tcp"),
                   ran_and_failed("iptables -t filter -F forward_ext_us_ip"),
                   ran_and_failed("iptables -t filter -F forward_ext_ds_ip"),
                   ran_and_failed("iptables -t filter -F forward_ext_url"),
                   ran_and_failed("iptables -t filter -F forward_ext_mac"),
                   ran_and_failed("iptables -t filter -F forward_ext_captiveportal"),
                   ran_and_failed("iptables -t filter -F input_ext_local_access_ex")}));
  EXPECT_EQ(result, 0);
}

TEST(RuleSet, FlushingLeavesLocalAccessWithoutItsJump) {
  const std::string transcript = record([] { flush_fw(); });
  EXPECT_NE(transcript.find("run iptables -t filter -F input_ext_local_access\n"),
            std::string::npos);
  EXPECT_EQ(transcript.find(" -A "), std::string::npos);
  EXPECT_EQ(transcript.find(" -I "), std::string::npos);
}

TEST(RuleSet, FlushingLeavesTheDispatchAndTheAccessControlChainsAlone) {
  const std::string transcript = record([] {
    flush_fw();
    flush_fw6();
  });
  EXPECT_EQ(transcript.find("-F forward_ext_ip\n"), std::string::npos);
  EXPECT_EQ(transcript.find("-F input_ext_acl\n"), std::string::npos);
  EXPECT_EQ(transcript.find("input_ext_access_ctrl"), std::string::npos);
}

TEST(RuleSet, FlushingIpv6EmptiesThreeFeatureChainsInOrder) {
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = flush_fw6(); }),
            lines({ran("ip6tables -t filter -F forward_ext_us_ip"),
                   ran("ip6tables -t filter -F forward_ext_ds_ip"),
                   ran("ip6tables -t filter -F forward_ext_mac")}));
  EXPECT_EQ(result, 0);
}

TEST(RuleSet, FlushingIpv6GoesOnAfterEveryFailure) {
  fail_everything();
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = flush_fw6(); }),
            lines({ran_and_failed("ip6tables -t filter -F forward_ext_us_ip"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_ds_ip"),
                   ran_and_failed("ip6tables -t filter -F forward_ext_mac")}));
  EXPECT_EQ(result, 0);
}

TEST(RuleSet, EachFlushRunsTheLineItIsGiven) {
  for (const Flush& flush : flushes) {
    SCOPED_TRACE(flush.name);
    int32_t result = 99;
    EXPECT_EQ(record([&] { result = flush.call("iptables -t filter -F anything"); }),
              lines({ran("iptables -t filter -F anything")}));
    EXPECT_EQ(result, 0);
  }
}

TEST(RuleSet, EachFlushReturnsTheFailureOfItsLine) {
  fail_command("iptables -t filter -F anything", 2);
  for (const Flush& flush : flushes) {
    SCOPED_TRACE(flush.name);
    int32_t result = 99;
    EXPECT_EQ(record([&] { result = flush.call("iptables -t filter -F anything"); }),
              lines({ran_and_failed("iptables -t filter -F anything", 2)}));
    EXPECT_EQ(result, -1);
  }
}

TEST(RuleSet, EachFlushRefusesANullLine) {
  for (const Flush& flush : flushes) {
    SCOPED_TRACE(flush.name);
    int32_t result = 99;
    EXPECT_EQ(record([&] { result = flush.call(nullptr); }),
              lines({error("str_system::pcmdstring is NULLP\n")}));
    EXPECT_EQ(result, -1);
  }
}

TEST(RuleSet, SavingWritesTheFilterTableOfEachFamily) {
  EXPECT_EQ(record([] { EXPECT_EQ(save_fw(), 0); }),
            lines({ran("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(record([] { EXPECT_EQ(save_fw6(), 0); }),
            lines({ran("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
}

TEST(RuleSet, AFailedSaveIsReturned) {
  fail_everything();
  EXPECT_EQ(record([] { EXPECT_EQ(save_fw(), -1); }),
            lines({ran_and_failed("iptables-save -t filter >/ztcfg/firewall.conf")}));
  EXPECT_EQ(record([] { EXPECT_EQ(save_fw6(), -1); }),
            lines({ran_and_failed("ip6tables-save -t filter >/ztcfg/firewall6.conf")}));
}

TEST(RuleSet, RestoringIpv4DeletesTheEighthInputRuleWhateverItIs) {
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = restore_fw(); }),
            lines({ran("iptables-restore </ztcfg/firewall.conf"), ran("iptables -D INPUT 8")}));
  EXPECT_EQ(result, 0);
}

TEST(RuleSet, AFailedRestoreOfIpv4StillDeletesAndReturnsZero) {
  fail_command("iptables-restore </ztcfg/firewall.conf", 2);
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = restore_fw(); }),
            lines({ran_and_failed("iptables-restore </ztcfg/firewall.conf", 2),
                   ran("iptables -D INPUT 8")}));
  EXPECT_EQ(result, 0);
}

TEST(RuleSet, AMissingEighthInputRuleIsIgnored) {
  fail_command("iptables -D INPUT 8");
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = restore_fw(); }),
            lines({ran("iptables-restore </ztcfg/firewall.conf"),
                   ran_and_failed("iptables -D INPUT 8")}));
  EXPECT_EQ(result, 0);
}

TEST(RuleSet, RestoringIpv6OnlyRestores) {
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = restore_fw6(); }),
            lines({ran("ip6tables-restore </ztcfg/firewall6.conf")}));
  EXPECT_EQ(result, 0);
}

TEST(RuleSet, AFailedRestoreOfIpv6IsIgnored) {
  fail_everything();
  int32_t result = 99;
  EXPECT_EQ(record([&] { result = restore_fw6(); }),
            lines({ran_and_failed("ip6tables-restore </ztcfg/firewall6.conf")}));
  EXPECT_EQ(result, 0);
}

TEST(RuleSet, TheDispatchIsTheLastPartOfTheWrittenTree) {
  const Lines written = commands_in(TEST_DATA "/chain-tree.txt");
  ASSERT_EQ(written.size(), 39U);
  // The master switch is off in a fresh file: the dispatch is all that is run.
  EXPECT_EQ(commands_run_by(gl3_update_firewall), Lines(written.begin() + 33, written.end()));
}
