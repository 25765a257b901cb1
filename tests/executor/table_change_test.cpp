/* Which edits undo a change, while other programs edit the same chains. */
#include "executor/table_change.hpp"

#include <gtest/gtest.h>

namespace {

using executor::SavedChains;
using executor::TableChange;

const executor::Table filter = {"iptables", "filter"};

SavedChains table(const std::string& rules) {
  const std::string fresh = rules.find("-A fresh") == std::string::npos ? "" : ":fresh - [0:0]\n";
  return *executor::saved_chains(
      filter, ":FORWARD ACCEPT [3:30]\n:own - [0:0]\n" + fresh + rules + "COMMIT\n");
}

/* The edits that undo these lines, between what the table was and what it is. */
std::string undo(const std::string& before, const std::vector<std::string>& lines,
                 const std::string& now) {
  TableChange change(filter, table(before));
  for (const std::string& line : lines) {
    change.add(executor::rule_edit(line).value());
  }
  return change.undo(table(now)).edits;
}

const std::string a = "[1:10] -A own -j A\n";
const std::string b = "[2:20] -A own -j B\n";
const std::string c = "[0:0] -A own -j C\n";
const std::string foreign = "[9:90] -A own -j foreign\n";

}  // namespace

TEST(TableChange, TextThatIsNotUnderstoodHasNoChains) {
  const std::string chains = ":own - [0:0]\n";
  for (const char* line :
       {"[0:0] -A other -j DROP\n", "[0:0] -A own --comment \"open\n", "odd\n"}) {
    EXPECT_FALSE(executor::saved_chains(filter, chains + line + "COMMIT\n")) << line;
  }
}

TEST(TableChange, TextThatEndsTooEarlyHasNoChains) {
  EXPECT_FALSE(executor::saved_chains(filter, "*filter\n:FORWARD ACCEPT [0:0]\n"));
}

TEST(TableChange, AFlushIsUndoneWithItsCounters) {
  EXPECT_EQ(undo(a + b, {"iptables -F own"}, ""), "[1:10] -I own 1 -j A\n[2:20] -I own 2 -j B\n");
}

TEST(TableChange, EditsThatWereNotMadeNeedNoUndoing) {
  EXPECT_EQ(undo(a + b, {"iptables -F own", "iptables -A own -j C", "iptables -D own -j A"}, a + b),
            "");
}

TEST(TableChange, AnAdditionIsFoundInAnySpelling) {
  EXPECT_EQ(undo("", {"iptables -A own -p tcp --dport 8:8 -j C"},
                 "[0:0] -A own -p tcp -m tcp --dport 8 -j C\n"),
            "-D own -p tcp -m tcp --dport 8 -j C\n");
  // A module without an option makes another rule.
  EXPECT_EQ(undo("", {"iptables -A own -p tcp -j C"}, "[0:0] -A own -p tcp -m tcp -j C\n"), "");
}

/* ip6tables of the nft backend would delete the first of the two. */
TEST(TableChange, AnIpv6RuleIsDeletedByPlaceWhereItsTextFitsAnotherButForAPrefixLength) {
  const executor::Table six = {"ip6tables", "filter"};
  const std::string wide = ":own - [0:0]\n[0:0] -A own -j C\n";
  TableChange change(six, *executor::saved_chains(six, wide + "COMMIT\n"));
  change.add(executor::rule_edit("ip6tables -A own -s :: -d :: -j C").value());
  const auto now =
      executor::saved_chains(six, wide + "[0:0] -A own -s ::/128 -d ::/128 -j C\nCOMMIT\n");
  EXPECT_EQ(change.undo(*now).edits, "-D own 2\n");
}

TEST(TableChange, ADeletedRuleComesBackInItsPlace) {
  EXPECT_EQ(undo(a + b + c, {"iptables -D own -j B"}, a + c), "[2:20] -I own 2 -j B\n");
}

TEST(TableChange, WhatOthersDeletedStaysDeleted) {
  EXPECT_EQ(undo(a + b, {"iptables -A own -j C"}, b + c), "-D own -j C\n");
}

TEST(TableChange, WhatOthersAddedStaysInItsPlace) {
  EXPECT_EQ(undo(a, {"iptables -F own", "iptables -A own -j C"}, foreign + c),
            "-D own -j C\n[1:10] -I own 2 -j A\n");
  EXPECT_EQ(undo(a, {"iptables -F own", "iptables -A own -j C"}, c + foreign),
            "-D own -j C\n[1:10] -I own 1 -j A\n");
  EXPECT_EQ(undo(a, {"iptables -F own"}, foreign), "[1:10] -I own 1 -j A\n");
}

TEST(TableChange, WhatOthersPutAtTheTopStaysThere) {
  EXPECT_EQ(
      undo(a + b, {"iptables -F own", "iptables -A own -j B"}, foreign + "[5:50] -A own -j B\n"),
      "[1:10] -I own 2 -j A\n");
}

TEST(TableChange, ARuleOfOthersThatAFlushTookComesBack) {
  EXPECT_EQ(undo(a + foreign, {"iptables -F own", "iptables -A own -j A"}, "[4:40] -A own -j A\n"),
            "[9:90] -I own 2 -j foreign\n");
}

TEST(TableChange, ARuleMadeAnewGetsItsCountersBack) {
  EXPECT_EQ(undo(b, {"iptables -F own", "iptables -A own -j B"}, "[1:15] -A own -j B\n"),
            "-D own -j B\n[3:35] -I own 1 -j B\n");
  // Which is what it has when the undoing is repeated.
  EXPECT_EQ(undo(b, {"iptables -F own", "iptables -A own -j B"}, "[3:35] -A own -j B\n"), "");
}

TEST(TableChange, OfEqualRulesTheAddedOneIsDeleted) {
  EXPECT_EQ(undo(a + b, {"iptables -A own -j A"}, a + b + "[0:0] -A own -j A\n"), "-D own 3\n");
}

TEST(TableChange, AnAdditionThatTheChangeItselfDeletedIsNotLookedFor) {
  EXPECT_EQ(undo(a, {"iptables -A own -j C", "iptables -D own -j C"}, a + c), "");
}

TEST(TableChange, AnInsertedJumpGoesFromABuiltInChainAlone) {
  const std::string others = "[0:0] -A FORWARD -j foreign\n";
  EXPECT_EQ(undo("", {"iptables -I FORWARD -j own"}, "[0:0] -A FORWARD -j own\n" + others),
            "-D FORWARD -j own\n");
}

TEST(TableChange, ACreatedChainGoesUnlessOthersUseIt) {
  const std::string created = "[0:0] -A fresh -j DROP\n";
  const std::vector<std::string> lines = {"iptables -N fresh", "iptables -A fresh -j DROP",
                                          "iptables -A FORWARD -j fresh"};
  EXPECT_EQ(undo("", lines, "[0:0] -A FORWARD -j fresh\n" + created),
            "-D FORWARD -j fresh\n-D fresh -j DROP\n-X fresh\n");
  EXPECT_EQ(undo("", lines, created + "[0:0] -A fresh -j foreign\n"), "-D fresh -j DROP\n");
  EXPECT_EQ(undo("", lines, created + "[0:0] -A own -s 10.0.0.1 -j fresh\n"), "-D fresh -j DROP\n");
}

TEST(TableChange, AChainThatStoodBeforeIsNotCreated) {
  EXPECT_EQ(undo("", {"iptables -N own"}, ""), "");
}

TEST(TableChange, RulesOfAChainThatOthersDeletedCannotComeBack) {
  TableChange change(filter, table(a));
  change.add(executor::rule_edit("iptables -F own").value());
  const auto undo = change.undo(*executor::saved_chains(filter, ":FORWARD ACCEPT [0:0]\nCOMMIT\n"));
  EXPECT_EQ(undo.edits, "");
  EXPECT_EQ(undo.impossible, std::set<std::string>{"own"});
}

TEST(TableChange, AWholeTableThatALineReplacedComesBack) {
  TableChange change(filter, table(a + "[0:0] -A FORWARD -j own\n"));
  const auto later = *executor::saved_chains(
      filter, ":FORWARD DROP [0:0]\n:fresh - [0:0]\n[0:0] -A FORWARD -j fresh\nCOMMIT\n");
  change.add_difference(table(a + "[0:0] -A FORWARD -j own\n"), later);
  EXPECT_EQ(change.undo(later).edits,
            ":own - [0:0]\n:FORWARD ACCEPT [3:30]\n-D FORWARD -j fresh\n[0:0] -I FORWARD 1 -j own\n"
            "[1:10] -I own 1 -j A\n-X fresh\n");
}

TEST(TableChange, ARuleThatOthersAddedBeforeALineTookItComesBack) {
  TableChange change(filter, table(a));
  change.add(executor::rule_edit("iptables -A own -j C").value());
  change.add_difference(table(a + c + foreign), table(a));
  EXPECT_EQ(change.undo(table(a)).edits, "[9:90] -I own 2 -j foreign\n");
}
