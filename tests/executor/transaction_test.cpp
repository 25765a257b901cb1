/* Rule edits made together, with tests/tools/fake-iptables in PATH. */
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "transaction_fixture.hpp"

TEST_F(Transaction, EditsOfOneTableAreOneRestore) {
  live("iptables", "[1:10] -A IN -j old\n");
  EXPECT_EQ(str_system("iptables -t filter -F IN"), 0);
  EXPECT_EQ(str_system("iptables -A IN -p tcp -j DROP"), 0);
  EXPECT_EQ(str_system("ip6tables -I OUT -j ACCEPT"), 0);
  EXPECT_EQ(told(), "");
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(
      told(),
      "ip6tables-restore --noflush -w 5\n  *filter\n  -I OUT -j ACCEPT\n  COMMIT\n"
      "iptables-restore --noflush -w 5\n  *filter\n  -F IN\n  -A IN -p tcp -j DROP\n  COMMIT\n");
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(), "");
}

TEST_F(Transaction, WhatIsNotCommittedChangesNothing) {
  str_system("iptables -A IN -j DROP");
  ours.set_mode(executor::Mode::execute);
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(), "");
}

TEST_F(Transaction, AnotherLineCommitsAndRuns) {
  str_system("iptables -A IN -j DROP");
  EXPECT_EQ(str_system("test -s /tmp/calls && ! touch /tmp/not/there"), 0);
  EXPECT_EQ(told(), "iptables-restore --noflush -w 5\n  *filter\n  -A IN -j DROP\n  COMMIT\n");
  EXPECT_EQ(str_system("exit 3"), -1);
}

TEST_F(Transaction, OfSeveralSavesTheLastIsMadeBehindItsEdits) {
  live("iptables", "[0:0] -A IN -j old\n");
  str_system("iptables -A IN -j DROP");
  EXPECT_EQ(str_system("iptables-save -t filter >/tmp/saved"), 0);
  str_system("iptables -A OUT -j DROP");
  EXPECT_EQ(str_system("iptables-save -t filter >/tmp/saved"), 0);
  str_system("iptables -F IN");
  EXPECT_EQ(access("/tmp/saved", F_OK), -1);
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n  *filter\n  -A IN -j DROP\n  -A OUT -j DROP\n"
            "  COMMIT\niptables-save -t filter\n"
            "iptables-restore --noflush -w 5\n  *filter\n  -F IN\n  COMMIT\n");
  EXPECT_EQ(content("/tmp/saved").substr(0, 7), "# read\n");
}

TEST_F(Transaction, ASaveThatCannotBeWrittenFailsTheCommit) {
  live("iptables", "");
  str_system("iptables-save -t filter >/dev/full");
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables-save -t filter >/dev/full");
  EXPECT_EQ(ours.failed_lines()[0].message, "cannot write /dev/full: No space left on device");
}

TEST_F(Transaction, AChainThatStandsIsNotMadeAndAMissingOneIs) {
  EXPECT_EQ(str_system("iptables -N IN"), -1);
  EXPECT_EQ(str_system("iptables -N NEW"), 0);
  EXPECT_EQ(str_system("iptables -N NEW"), -1);
  EXPECT_EQ(str_system("iptables -A NEW -j DROP"), 0);
  EXPECT_EQ(ours.failed_lines()[0].message, "iptables: Chain already exists.\n");
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n  *filter\n  -N NEW\n  -A NEW -j DROP\n  COMMIT\n");
}

TEST_F(Transaction, ADeletionIsAskedForAndThenHeld) {
  refuse("iptables -w 5 -t filter -C IN -p udp -j DROP\n");
  EXPECT_EQ(str_system("iptables -D IN -p udp -j DROP"), -1);
  EXPECT_EQ(ours.failed_lines()[0].message, "iptables: Too many links\n");
  EXPECT_EQ(str_system("iptables -D IN -p tcp -j DROP"), 0);
  EXPECT_EQ(str_system("iptables -D IN -p gre -j DROP"), 0);
  EXPECT_EQ(
      told(),
      "iptables -w 5 -t filter -C IN -p udp -j DROP\niptables -w 5 -t filter -C IN -p tcp -j DROP\n"
      "iptables -w 5 -t filter -C IN -p gre -j DROP\n");
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n  *filter\n  -D IN -p tcp -j DROP\n"
            "  -D IN -p gre -j DROP\n  COMMIT\n");
}

TEST_F(Transaction, WhatMayFailSucceedsButForARefusedCommit) {
  ours.allow_failure("iptables -D IN -p udp");
  ours.allow_failure("iptables -N ");
  refuse("iptables -w 5 -t filter -C IN -p udp -j DROP\niptables -D IN -p udp -j ACCEPT\n");
  EXPECT_EQ(str_system("iptables -N IN"), 0);
  EXPECT_EQ(str_system("iptables -D IN -p udp -j DROP"), 0);
  EXPECT_TRUE(ours.failed_lines().empty());
  // The rule was there at the check, and is gone at the commit.
  EXPECT_EQ(str_system("iptables -D IN -p udp -j ACCEPT"), 0);
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables -D IN -p udp -j ACCEPT");
}

TEST_F(Transaction, AToolThatIsKilledHasNotSaidThatARuleIsMissing) {
  ours.allow_failure("iptables -D IN -p udp");
  hook("iptables", "case $* in *' -C IN -p udp -j DROP') kill -KILL $$ ;; esac\n");
  str_system("iptables -F OUT");
  EXPECT_EQ(str_system("iptables -D IN -p udp -j DROP"), -1);
  EXPECT_EQ(only_failure(), "iptables -D IN -p udp -j DROP");
  EXPECT_EQ(ours.failed_lines()[0].status, SIGKILL);
  EXPECT_EQ(str_system("iptables -F IN"), -1);
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(told(), "iptables -w 5 -t filter -C IN -p udp -j DROP\n");
}

TEST_F(Transaction, GoingOnPassesAToolThatIsKilled) {
  ours.set_on_refusal(executor::OnRefusal::continue_);
  ours.allow_failure("iptables -D IN -p udp");
  hook("iptables", "case $* in *' -C IN -p udp -j DROP') kill -KILL $$ ;; esac\n");
  EXPECT_EQ(str_system("iptables -D IN -p udp -j DROP"), -1);
  EXPECT_EQ(str_system("iptables -F IN"), 0);
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables -D IN -p udp -j DROP");
}

TEST_F(Transaction, ADeletionThatDependsOnWhatIsHeldIsAskedForBehindACommit) {
  str_system("iptables -A OUT -j DROP");
  str_system("iptables -A IN -p tcp -j DROP");
  EXPECT_EQ(str_system("iptables -D IN -p tcp -j DROP"), 0);
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n  *filter\n  -A OUT -j DROP\n"
            "  -A IN -p tcp -j DROP\n  COMMIT\niptables -w 5 -t filter -C IN -p tcp -j DROP\n");
  EXPECT_EQ(str_system("iptables -D IN -p tcp -j DROP"), 0);
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n  *filter\n  -D IN -p tcp -j DROP\n  COMMIT\n"
            "iptables -w 5 -t filter -C IN -p tcp -j DROP\n");
}

TEST_F(Transaction, ARefusedLineThatTheToolNamesIsNamedAndNothingElseRuns) {
  live("iptables", "[0:0] -A IN -j old\n");
  refuse("iptables -A IN -p udp -j DROP\n");
  for (const char* line : {"iptables -F IN", "iptables -A IN -p udp -j DROP", "iptables -F OUT"}) {
    EXPECT_EQ(str_system(line), 0);
  }
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables -A IN -p udp -j DROP");
  EXPECT_EQ(ours.failed_lines()[0].message, "iptables-restore: line 3 failed\n");
  told();
  EXPECT_EQ(str_system("iptables -F IN"), -1);
  EXPECT_EQ(str_system("touch /tmp/ran"), -1);
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(told(), "");
  EXPECT_EQ(access("/tmp/ran", F_OK), -1);
}

TEST_F(Transaction, ARefusedLineThatTheToolDoesNotNameIsSearchedFor) {
  hook("iptables-restore",
       "text=$(cat)\ncase $text in\n*'-A IN -p 21 -j DROP'*) number=$(echo \"$text\" | wc -l)\n"
       "  echo \"$name: line $number failed\" >&2; exit 1 ;;\n*) exit 0 ;;\nesac\n");
  // By itself the line makes its tool say why.
  refuse("iptables -t filter -A IN -p 21 -j DROP\n");
  for (int protocol = 1; protocol <= 50; ++protocol) {
    str_system(("iptables -A IN -p " + std::to_string(protocol) + " -j DROP").c_str());
  }
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables -A IN -p 21 -j DROP");
  EXPECT_EQ(ours.failed_lines()[0].message, "iptables: Too many links\n");
}

TEST_F(Transaction, AnEditOfAMissingChainIsNamed) {
  str_system("iptables -A IN -j DROP");
  str_system("iptables -A GONE -j DROP");
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables -A GONE -j DROP");
  EXPECT_EQ(told(), "");
}

TEST_F(Transaction, WhatWasCommittedIsUndone) {
  live("ip6tables", "[5:50] -A IN -j ACCEPT\n");
  str_system("ip6tables -F IN");
  str_system("ip6tables -A IN -j DROP");
  str_system("iptables -A GONE -j DROP");
  EXPECT_FALSE(ours.commit());
  told();
  live("ip6tables", "[0:0] -A IN -j DROP\n[1:10] -A IN -j other\n");
  EXPECT_EQ(ours.rollback(), "");
  EXPECT_EQ(told(),
            "ip6tables-restore -c --noflush -w 5\n  *filter\n  -D IN -j DROP\n"
            "  [5:50] -I IN 1 -j ACCEPT\n  COMMIT\n");
  EXPECT_EQ(ours.rollback(), "");
  EXPECT_EQ(told(), "");
}

TEST_F(Transaction, WhatAKilledRestoreMadeIsUndone) {
  hook("iptables-restore", killed_restore);
  str_system("iptables -A IN -j DROP");
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables-restore --noflush");
  EXPECT_EQ(ours.failed_lines()[0].status, SIGKILL);
  told();
  // Killed before its commit it made nothing: nothing is left to undo.
  EXPECT_EQ(ours.rollback(), "");
  EXPECT_EQ(told(), "");
}

TEST_F(Transaction, WhatARestoreMadeThatWasKilledBehindItsCommitIsUndone) {
  hook("iptables-restore", killed_restore);
  str_system("iptables -A IN -j DROP");
  EXPECT_FALSE(ours.commit());
  told();
  live("iptables", "[0:0] -A IN -j DROP\n");
  EXPECT_EQ(ours.rollback(), "");
  EXPECT_EQ(told(), "iptables-restore -c --noflush -w 5\n  *filter\n  -D IN -j DROP\n  COMMIT\n");
}

TEST_F(Transaction, ARollbackIsJudgedByTheKernelToo) {
  str_system("iptables -A IN -j DROP");
  EXPECT_TRUE(ours.commit());
  told();
  live("iptables", "[0:0] -A IN -j DROP\n");
  refuse("iptables -D IN -j DROP\n");
  EXPECT_EQ(ours.rollback(), "iptables, table filter, chain IN: iptables-restore: line 2 failed");
  const std::string once = "iptables-restore -c --noflush -w 5\n  *filter\n  -D IN -j DROP\n";
  EXPECT_EQ(told(), once + once + once);
  // The tool fails, but the rule is gone.
  hook("iptables-restore", "rm -f /tmp/saved-iptables-save\n");
  EXPECT_EQ(ours.rollback(), "");
  EXPECT_EQ(told(), once);
}

TEST_F(Transaction, GoingOnUndoesWhatAKilledRestoreMade) {
  ours.set_on_refusal(executor::OnRefusal::continue_);
  hook("iptables-restore",
       "if [ \"$1\" = -c ]; then rm /tmp/saved-iptables-save; else\n  cat >/dev/null\n"
       "  cp /tmp/made /tmp/saved-iptables-save\n  kill -9 $$\nfi\n");
  write("/tmp/made", "# read\n*filter\n:IN - [0:0]\n[0:0] -A IN -j DROP\nCOMMIT\n");
  str_system("iptables -A IN -j DROP");
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(),
            "iptables-restore --noflush -w 5\n"
            "iptables-restore -c --noflush -w 5\n  *filter\n  -D IN -j DROP\n  COMMIT\n"
            "iptables -A IN -j DROP\n");
  EXPECT_TRUE(ours.failed_lines().empty());
}

TEST_F(Transaction, ATableThatCannotBeReadIsNotChanged) {
  hook("iptables-save", "echo 'iptables-save: permission denied' >&2\nexit 1\n");
  str_system("iptables -F IN");
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables -F IN");
  EXPECT_EQ(ours.failed_lines()[0].message,
            "cannot read the rules: iptables-save: permission denied");
  EXPECT_EQ(told(), "");
}

TEST_F(Transaction, ATableIsReadOnce) {
  str_system("iptables -F IN");
  str_system("iptables -N IN");
  str_system("iptables -A IN -j DROP");
  EXPECT_TRUE(ours.commit());
  const std::string all = content("/tmp/calls");
  EXPECT_EQ(all.substr(0, all.find('\n')), "iptables-save -t filter -c");
  EXPECT_EQ(all.find("iptables-save", 1), std::string::npos);
}

TEST_F(Transaction, AnEmptyOneStartsNoProcess) {
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(ours.rollback(), "");
  EXPECT_EQ(access("/tmp/calls", F_OK), -1);
}

TEST_F(Transaction, AForkedProcessHasNone) {
  str_system("iptables -A IN -j DROP");
  const pid_t child = fork();
  if (child == 0) {
    const bool is_right = ours.is_forked() && !ours.commit() && ours.commit() &&
                          ours.rollback().empty() && str_system("touch /tmp/child") == 0;
    _exit(is_right && !ours.is_forked() ? 0 : 1);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(access("/tmp/child", F_OK), 0);
  EXPECT_EQ(told(), "");
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(), "iptables-restore --noflush -w 5\n  *filter\n  -A IN -j DROP\n  COMMIT\n");
}

TEST_F(Transaction, AForkedProcessDoesNotWaitForAReadOfTheOther) {
  hook("iptables-save",
       "for i in $(seq 100); do [ -e /tmp/go ] || sleep 0.1; done; touch /tmp/read\n");
  str_system("iptables -A IN -j DROP");
  const pid_t child = fork();
  if (child == 0) {
    str_system("true");
    _exit(0);
  }
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(access("/tmp/read", F_OK), -1);
  write("/tmp/go", "");
}

TEST_F(Transaction, GoingOnMakesEveryLineButTheRefused) {
  ours.set_on_refusal(executor::OnRefusal::continue_);
  refuse("iptables -A IN -p udp -j DROP\n");
  for (const char* line : {"iptables -F IN", "iptables -A IN -p udp -j DROP", "iptables -F OUT"}) {
    EXPECT_EQ(str_system(line), 0);
  }
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables -A IN -p udp -j DROP");
  const std::string all = told();
  EXPECT_EQ(all.substr(all.find("iptables -F IN")),
            "iptables -F IN\niptables -A IN -p udp -j DROP\niptables -F OUT\n");
}

TEST_F(Transaction, ALineThatIsNotUnderstoodIsUndoneByWhatItDid) {
  live("iptables", "[1:10] -A IN -j ACCEPT\n[0:0] -A OUT -j ACCEPT\n");
  write("/tmp/tools/odd-tables",
        "#!/bin/sh\nsed -i 's/.* -A IN .*/[0:0] -A IN -j odd/' /tmp/saved-iptables-save\n");
  chmod("/tmp/tools/odd-tables", 0755);
  EXPECT_EQ(str_system("odd-tables --some thing"), 0);
  told();
  EXPECT_EQ(ours.rollback(), "");
  EXPECT_EQ(told(),
            "iptables-restore -c --noflush -w 5\n  *filter\n  -D IN -j odd\n"
            "  [1:10] -I IN 1 -j ACCEPT\n  COMMIT\n");
}

TEST_F(Transaction, ALineOfNatThatIsNotUnderstoodIsUndoneToo) {
  live("iptables", "", "nat");
  hook("iptables",
       "sed -i 's/COMMIT/[0:0] -A IN --odd\\nCOMMIT/' /tmp/saved-iptables-save\nexit\n");
  str_system("iptables -t nat -I IN --odd");
  EXPECT_EQ(ours.rollback(), "");
  EXPECT_EQ(told(),
            "iptables -t nat -I IN --odd\n"
            "iptables-restore -c --noflush -w 5\n  *nat\n  -D IN --odd\n  COMMIT\n");
}

TEST_F(Transaction, AMessageOfAnyBytesIsSearchedForALineNumber) {
  live("iptables", "[0:0] -A IN -j old\n");
  hook("iptables-restore", "printf 'line: \\377\\200 line 3 failed' >&2; exit 1\n");
  str_system("iptables -F IN");
  str_system("iptables -A IN -p udp -j DROP");
  EXPECT_FALSE(ours.commit());
  EXPECT_EQ(only_failure(), "iptables -A IN -p udp -j DROP");
}

TEST_F(Transaction, WhatIsHeldStaysWhenItIsToGoOn) {
  live("iptables", "[0:0] -A IN -j old\n");
  str_system("iptables -F IN");
  ours.set_on_refusal(executor::OnRefusal::continue_);
  EXPECT_TRUE(ours.commit());
  EXPECT_EQ(told(), "iptables-restore --noflush -w 5\n  *filter\n  -F IN\n  COMMIT\n");
}

TEST_F(Transaction, DirectLinesAreUndoneToo) {
  ours.set_mode(executor::Mode::execute);
  ours.keep_snapshots();
  live("ip6tables", "", "nat");
  str_system("ip6tables -t nat -A FORWARD -j DROP");
  str_system("touch /tmp/else");
  EXPECT_EQ(told(), "ip6tables -t nat -A FORWARD -j DROP\n");
  live("ip6tables", "[0:0] -A FORWARD -j DROP\n", "nat");
  EXPECT_EQ(ours.rollback(), "");
  EXPECT_EQ(told(),
            "ip6tables-restore -c --noflush -w 5\n  *nat\n  -D FORWARD -j DROP\n  COMMIT\n");
}
