/* The least edits with the result of those that the library asks for. */
#include "executor/edit_plan.hpp"

#include <gtest/gtest.h>

namespace {

const executor::Table filter = {"iptables", "filter"};

executor::SavedChains table(const std::string& rules) {
  return *executor::saved_chains(
      filter, ":FORWARD ACCEPT [3:30]\n:own - [0:0]\n:other - [0:0]\n" + rules + "COMMIT\n");
}

std::optional<executor::EditPlan> plan(const std::string& rules,
                                       const std::vector<std::string>& lines,
                                       executor::PlanOptions options = {}) {
  std::vector<executor::RuleEdit> edits;
  for (const std::string& line : lines) {
    edits.push_back(executor::rule_edit("iptables " + line).value());
  }
  return executor::plan_edits(edits, table(rules), options);
}

/* The planned edits as lines of a restore. */
std::string edits(const std::string& rules, const std::vector<std::string>& lines,
                  executor::PlanOptions options = {}) {
  std::string text;
  const executor::EditPlan made = plan(rules, lines, options).value();
  for (const executor::RuleEdit& edit : made.edits) {
    text += edit.counters + (edit.counters.empty() ? "" : " ") + restore_line(edit) + '\n';
  }
  return text;
}

const std::string a = "[1:10] -A own -j A\n";
const std::string b = "[2:20] -A own -j B\n";
const std::string c = "[3:30] -A own -j C\n";
const std::string d = "[0:0] -A own -j D\n";
const std::vector<std::string> flush = {"-F own"};

std::vector<std::string> filled(const std::string& targets) {
  std::vector<std::string> lines = flush;
  for (const char target : targets) {
    lines.push_back(std::string("-A own -j ") + target);
  }
  return lines;
}

}  // namespace

TEST(EditPlan, NothingIsEditedWhereNothingDiffers) {
  EXPECT_EQ(edits(a + b, filled("AB")), "");
  EXPECT_EQ(edits("", flush), "");
  EXPECT_EQ(edits(a, {"-D own -j A", "-A own -j A"}), "");
}

/* ip6tables of the nft backend would delete the first of the two. */
TEST(EditPlan, NoIpv6RuleIsDeletedByATextThatFitsAnotherButForAPrefixLength) {
  const executor::Table table = {"ip6tables", "filter"};
  const auto now =
      executor::saved_chains(table,
                             ":own - [0:0]\n[1:10] -A own -s 2001:db8::/32 -p tcp -j x\n"
                             "[2:20] -A own -s 2001:db8::/48 -p tcp -j x\n"
                             "[3:30] -A own -p udp -j x\n[4:40] -A own -j y\nCOMMIT\n");
  std::vector<executor::RuleEdit> asked;
  for (const char* line :
       {"-F own", "-A own -s 2001:db8::/32 -p tcp -j x", "-A own -p udp -j x", "-A own -j y"}) {
    asked.push_back(executor::rule_edit(std::string("ip6tables ") + line).value());
  }
  const auto plan = executor::plan_edits(asked, *now);
  ASSERT_TRUE(plan);
  ASSERT_EQ(plan->edits.size(), 4U);
  EXPECT_EQ(plan->edits[0].operation, 'F');
  EXPECT_EQ(plan->edits[1].counters, "[1:10]");
}

TEST(EditPlan, NewRulesAreAppendedOrInserted) {
  EXPECT_EQ(edits(a + b, filled("ABC")), "-A own -j C\n");
  EXPECT_EQ(edits(a + b, filled("CAB")), "-I own 1 -j C\n");
  EXPECT_EQ(edits(a + b + c, filled("AxByCz")), "-I own 2 -j x\n-I own 4 -j y\n-A own -j z\n");
  EXPECT_EQ(edits("", filled("AB")), "-A own -j A\n-A own -j B\n");
}

TEST(EditPlan, RemovedRulesAreDeletedByTheirText) {
  EXPECT_EQ(edits(a + b + c, filled("AC")), "-D own -j B\n");
  EXPECT_EQ(edits("[0:0] -A own -s 192.168.1.10/32 -p tcp -m tcp --dport 80 -j DROP\n" + a + b + c,
                  filled("ABC")),
            "-D own -s 192.168.1.10/32 -p tcp -m tcp --dport 80 -j DROP\n");
  EXPECT_EQ(edits("[0:0] -A own -m string --hex-string \"|0341|\" --algo bm -j x\n" + a + b + c,
                  filled("ABC")),
            "-D own -m string --hex-string \"|0341|\" --algo bm -j x\n");
  EXPECT_EQ(edits("[0:0] -A own -j LOG --log-prefix \"a \\\"\\\\b\"\n" + a + b + c, filled("ABC")),
            "-D own -j LOG --log-prefix \"a \\\"\\\\b\"\n");
}

TEST(EditPlan, AnIpv6RuleWithoutAProtocolIsDeletedByItsPlace) {
  const executor::Table filter6 = {"ip6tables", "filter"};
  const std::string rules = ":own - [0:0]\n" + a + "[0:0] -A own -s ::1/128 -j x\n" + b + c +
                            "[0:0] -A own -p tcp -j y\nCOMMIT\n";
  std::vector<executor::RuleEdit> asked;
  for (const std::string& line : filled("ABC")) {
    asked.push_back(executor::rule_edit("ip6tables " + line).value());
  }
  const auto made = executor::plan_edits(asked, *executor::saved_chains(filter6, rules)).value();
  ASSERT_EQ(made.edits.size(), 2U);
  EXPECT_EQ(restore_line(made.edits[0]), "-D own 5");
  EXPECT_EQ(restore_line(made.edits[1]), "-D own 2");
  // A rollback looks for the rule itself.
  EXPECT_EQ(made.edits[1].rest, (std::vector<std::string>{"-s", "::1/128", "-j", "x"}));
  EXPECT_EQ(made.placed.at(0).second.size(), 3U);
}

TEST(EditPlan, ARuleInAnotherOrderKeepsItsCounters) {
  EXPECT_EQ(edits(a + b + c, filled("BCA")), "-D own -j A\n[1:10] -A own -j A\n");
  EXPECT_EQ(edits(a + b + c + d, filled("CABD")), "-D own -j C\n[3:30] -I own 1 -j C\n");
}

TEST(EditPlan, WhatDiffersAsMuchAsTheChainIsLongIsRefilledWithItsCounters) {
  EXPECT_EQ(edits(a + b + c, filled("xyC")),
            "-F own\n-A own -j x\n-A own -j y\n[3:30] -A own -j C\n");
  EXPECT_EQ(edits(a + b + c, flush), "-F own\n");
  EXPECT_EQ(edits(a, filled("B")), "-F own\n-A own -j B\n");
}

TEST(EditPlan, OfEqualRulesTheFirstAreDeleted) {
  const std::string twice = "[1:10] -A own -j A\n[5:50] -A own -j A\n";
  EXPECT_EQ(edits(twice + b, filled("AB")), "-D own -j A\n");
  EXPECT_EQ(edits(a + b, filled("AAB")), "-I own 1 -j A\n");
  // By its text the first would be hit, and the order be another.
  EXPECT_EQ(edits(a + b + c + "[5:50] -A own -j A\n", filled("ABC")),
            "-F own\n[1:10] -A own -j A\n[2:20] -A own -j B\n[3:30] -A own -j C\n");
}

TEST(EditPlan, OnlyRulesThatAreEqualToThePacketFilterStay) {
  EXPECT_EQ(edits(b + c + "[0:0] -A own -p tcp -m tcp --dport 80 -j DROP\n",
                  {"-F own", "-A own -j B", "-A own -j C", "-A own -p tcp --dport 80:80 -j DROP"}),
            "");
  const std::string negated = "[0:0] -A own ! -i br0 -j DROP\n";
  EXPECT_EQ(
      edits(a + b + negated, {"-F own", "-A own -j A", "-A own -j B", "-A own -i br0 -j DROP"}),
      "-D own ! -i br0 -j DROP\n-A own -i br0 -j DROP\n");
  EXPECT_EQ(edits(a + b + "[0:0] -A own -p tcp -m tcp -j DROP\n",
                  {"-F own", "-A own -j A", "-A own -j B", "-A own -p tcp -j DROP"}),
            "-D own -p tcp -m tcp -j DROP\n-A own -p tcp -j DROP\n");
}

TEST(EditPlan, RulesOfOthersKeepTheirPlacesInAChainThatIsNotFlushed) {
  const std::string chain =
      "[7:70] -A FORWARD -j foreign\n[8:80] -A FORWARD -j own\n[9:90] -A FORWARD -j foreign\n";
  EXPECT_EQ(edits(chain, {"-D FORWARD -j own", "-I FORWARD 2 -j own"}), "");
  EXPECT_EQ(edits(chain, {"-D FORWARD -j own", "-A FORWARD -j other", "-I FORWARD 2 -j own"}),
            "-A FORWARD -j other\n");
  EXPECT_EQ(edits(chain, {"-D FORWARD -j own", "-A FORWARD -j own"}),
            "-D FORWARD -j own\n[8:80] -A FORWARD -j own\n");
  EXPECT_EQ(edits(chain, {"-D FORWARD -j foreign"}), "-D FORWARD -j foreign\n");
  EXPECT_EQ(edits(chain, {"-I FORWARD -j other"}), "-I FORWARD -j other\n");
}

TEST(EditPlan, ANewChainIsMadeBeforeARuleLeadsThere) {
  EXPECT_EQ(
      edits("", {"-A FORWARD -j other", "-N new", "-F new", "-A new -j DROP", "-A FORWARD -j new"}),
      "-N new\n-A FORWARD -j other\n-A FORWARD -j new\n-A new -j DROP\n");
}

TEST(EditPlan, EditsThatCannotBeMadeAreNotPlanned) {
  EXPECT_FALSE(plan("", {"-D own -j A"}));
  EXPECT_FALSE(plan("", {"-A gone -j A"}));
  EXPECT_FALSE(plan("", {"-N own"}));
  EXPECT_FALSE(plan(a, {"-I own 3 -j A"}));
  EXPECT_TRUE(plan(a, {"-I own 2 -j A"}));
  // A preview passes over what a change would find out.
  EXPECT_TRUE(plan("", {"-D own -j A", "-N own"}, {.ignores_missing = true}));
}

TEST(EditPlan, AForcedRefillHasTheCountersToo) {
  EXPECT_EQ(edits(a + b, filled("AB"), {.refills = true}),
            "-F own\n[1:10] -A own -j A\n[2:20] -A own -j B\n");
}

TEST(EditPlan, CountersOfAnySizeAreCarried) {
  EXPECT_EQ(
      edits("[18446744073709551615:18446744073709551615] -A own -j A\n" + b + c, filled("BCA")),
      "-D own -j A\n[18446744073709551615:18446744073709551615] -A own -j A\n");
}

TEST(EditPlan, ItSaysWhatBecomesOfEachChain) {
  const auto changes = plan(a + b + c, filled("ACx")).value().changes;
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].chain, "own");
  EXPECT_EQ(changes[0].kept, 2U);
  EXPECT_EQ(changes[0].added, 1U);
  EXPECT_EQ(changes[0].removed, 1U);
  EXPECT_FALSE(changes[0].is_refilled);
  EXPECT_TRUE(plan(a + b, filled("xy")).value().changes[0].is_refilled);
}

TEST(EditPlan, PlacesAreCheckedWhereTheyDependOnTheRead) {
  EXPECT_TRUE(plan(a + b, filled("ABC")).value().placed.empty());
  EXPECT_TRUE(plan(a + b, filled("CAB")).value().placed.empty());
  EXPECT_EQ(plan(a + b, filled("ACB")).value().placed.at(0).second.size(), 3U);
}

TEST(EditPlan, TenThousandRulesOfOthersAreNoHindrance) {
  std::string foreign;
  for (int number = 0; number < 10000; ++number) {
    foreign += "[0:0] -A FORWARD -s 10.0." + std::to_string(number / 250) + "." +
               std::to_string(number % 250) + "/32 -j ACCEPT\n";
  }
  EXPECT_EQ(edits(foreign + a + b, {"-F own", "-A own -j A", "-A own -j x", "-A FORWARD -j own"}),
            "-D own -j B\n-A own -j x\n-A FORWARD -j own\n");
}

TEST(EditPlan, EditsOfAListTooLongToCompareAreMadeAsTheyAre) {
  std::string long_list;
  std::vector<std::string> lines;
  for (int number = 0; number < 2500; ++number) {
    const std::string rule = "-A FORWARD -s 10.0." + std::to_string(number / 250) + "." +
                             std::to_string(number % 250) + "/32 -j ACCEPT";
    long_list += "[0:0] " + rule + '\n';
    lines.push_back("-I FORWARD 2 -j DROP");
  }
  long_list += "[0:0] -A FORWARD -j own\n";
  lines.emplace_back("-D FORWARD -j own");
  lines.emplace_back("-A FORWARD -j own");
  lines.insert(lines.begin(), "-I FORWARD 1 -j own");
  const auto made = plan(long_list, lines).value();
  ASSERT_EQ(made.edits.size(), lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(made.edits[i].line, "iptables " + lines[i]);
  }
}
