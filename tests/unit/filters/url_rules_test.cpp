/* The rules that the URL filter's generator appends. */
#include <climits>

#include "url_image.hpp"

using namespace harness;

namespace {

/* Puts a region in place and generates its rules. */
std::string rules_of(const std::string& image, int32_t expected_result = 0) {
  fw_rules_table.url_filter = url_region(image);
  return record([&] { EXPECT_EQ(config_fw_url(), expected_result); });
}

std::string rules_of_one(const std::string& entry) {
  return rules_of(url_image(1, {entry}, 0, 1));
}

constexpr Hours morning = {8, 12, 5, 30};

constexpr char abc_de_rule[] =
    "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string \"\3abc\2de\" "
    "--algo bm -m time --timestart 8:5 --timestop 12:30 -j DROP";

/* What a name leaves behind that parse_url() rejects with `message`. */
Lines rejected_name(const char* message) {
  constexpr char rule[] =
      "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string \"\" "
      "--algo bm -m time --timestart 8:5 --timestop 12:30 -j DROP";
  return error(message) + debug("\n==" + std::string(rule) + "==\n") + ran(rule);
}

}  // namespace

TEST(UrlRules, ABlackListDropsEachName) {
  EXPECT_EQ(
      rules_of(url_image(
          2, {url_entry("abc.de", morning), url_entry("www.example.org", {0, 24, 0, 0})}, 0, 1)),
      lines({url_rule("abc.de", "\3abc\2de", abc_de_rule),
             url_rule("www.example.org", "\3www\7example\3org",
                      "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string "
                      "\"\3www\7example\3org\" --algo bm -m time --timestart 0:0 --timestop 23:59 "
                      "-j DROP"),
             debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, AWhiteListEndsWithACatchAllDrop) {
  EXPECT_EQ(
      rules_of(url_image(1, {url_entry("abc.de", morning)}, 1, 1)),
      lines({url_rule("abc.de", "\3abc\2de",
                      "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string "
                      "\"\3abc\2de\" --algo bm -m time --timestart 8:5 --timestop 12:30 -j ACCEPT"),
             debug("[url_black_white=1]\n"),
             ran("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP")}));
}

TEST(UrlRules, EveryModeButZeroIsAWhiteList) {
  EXPECT_EQ(
      rules_of(url_image(1, {url_entry("abc.de", morning)}, 2, 1)),
      lines({url_rule("abc.de", "\3abc\2de",
                      "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string "
                      "\"\3abc\2de\" --algo bm -m time --timestart 8:5 --timestop 12:30 -j ACCEPT"),
             debug("[url_black_white=2]\n"),
             ran("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP")}));
  EXPECT_EQ(rules_of(url_image(0, {}, 0xffffffff, 0)),
            lines({debug("[url_black_white=ffffffff]\n"),
                   ran("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP")}));
}

TEST(UrlRules, TheResultOfTheCatchAllIsIgnored) {
  fail_command("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP", 4);
  EXPECT_EQ(
      rules_of(url_image(0, {}, 1, 1)),
      lines({debug("[url_black_white=1]\n"),
             ran_and_failed("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP", 4)}));
}

TEST(UrlRules, ADisabledEntryMakesNoRule) {
  EXPECT_EQ(rules_of(url_image(3,
                               {url_entry("off.de", morning, 0), url_entry("abc.de", morning, 7),
                                url_entry("", morning, 0)},
                               0, 1)),
            lines({url_rule("abc.de", "\3abc\2de", abc_de_rule), debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, EntriesBehindTheCountAreNotRead) {
  EXPECT_EQ(
      rules_of(url_image(1, {url_entry("abc.de", morning), url_entry("more.de", morning)}, 0, 1)),
      lines({url_rule("abc.de", "\3abc\2de", abc_de_rule), debug("[url_black_white=0]\n")}));
  EXPECT_EQ(rules_of(url_image(0, {url_entry("abc.de", morning)}, 0, 1)),
            lines({debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, NegativeCountsMakeNoRule) {
  for (const int32_t count : {-1, INT_MIN}) {
    EXPECT_EQ(rules_of(url_image(count, {url_entry("abc.de", morning)}, 0, 1)),
              lines({debug("[url_black_white=0]\n")}));
  }
}

TEST(UrlRules, ACountAboveTheEntryAreaEndsWithTheRecord) {
  // The last whole entry of the record is number 84, at byte 6116; it lies in the portal's entries.
  const std::string entry = url_entry("abc.de", morning);
  entry.copy(reinterpret_cast<char*>(&fw_rules_table) + 6116, entry.size());
  for (const int32_t count : {85, 86, INT_MAX}) {
    EXPECT_EQ(
        rules_of(url_image(count, {}, 0, 1)),
        lines({url_rule("abc.de", "\3abc\2de", abc_de_rule), debug("[url_black_white=0]\n")}));
  }
  EXPECT_EQ(rules_of(url_image(84, {}, 0, 1)), lines({debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, TheCountIsReadAgainBeforeEachEntry) {
  world.system = [](const std::string&) {
    fw_rules_table.url_filter.count = 1;
    return exited(0);
  };
  EXPECT_EQ(
      rules_of(url_image(2, {url_entry("abc.de", morning), url_entry("more.de", morning)}, 0, 1)),
      lines({url_rule("abc.de", "\3abc\2de", abc_de_rule), debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, AStopHourOf24OrMoreIsTheEndOfTheDay) {
  for (const uint8_t hour : std::initializer_list<uint8_t>{24, 25, 255}) {
    for (const uint8_t minute : std::initializer_list<uint8_t>{0, 30, 255}) {
      EXPECT_EQ(rules_of_one(url_entry("abc.de", {8, hour, 0, minute})),
                lines({url_rule("abc.de", "\3abc\2de",
                                "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string "
                                "--string \"\3abc\2de\" --algo bm -m time --timestart 8:0 "
                                "--timestop 23:59 -j DROP"),
                       debug("[url_black_white=0]\n")}));
    }
  }
}

TEST(UrlRules, AStopHourBelow24IsPrintedWithItsMinute) {
  EXPECT_EQ(rules_of_one(url_entry("abc.de", {22, 23, 30, 255})),
            lines({url_rule("abc.de", "\3abc\2de",
                            "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string "
                            "--string \"\3abc\2de\" --algo bm -m time --timestart 22:30 "
                            "--timestop 23:255 -j DROP"),
                   debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, AStartTimeIsNeverBounded) {
  EXPECT_EQ(rules_of_one(url_entry("abc.de", {30, 1, 5, 2})),
            lines({url_rule("abc.de", "\3abc\2de",
                            "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string "
                            "--string \"\3abc\2de\" --algo bm -m time --timestart 30:5 "
                            "--timestop 1:2 -j DROP"),
                   debug("[url_black_white=0]\n")}));
  EXPECT_EQ(rules_of_one(url_entry("abc.de", {255, 0, 255, 0})),
            lines({url_rule("abc.de", "\3abc\2de",
                            "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string "
                            "--string \"\3abc\2de\" --algo bm -m time --timestart 255:255 "
                            "--timestop 0:0 -j DROP"),
                   debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, ANameOf31CharactersIsTakenWhole) {
  EXPECT_EQ(rules_of_one(url_entry("abcdefghijklmnopqrstuvwxyzabcde", morning)),
            lines({url_rule("abcdefghijklmnopqrstuvwxyzabcde", "\37abcdefghijklmnopqrstuvwxyzabcde",
                            "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string "
                            "--string \"\37abcdefghijklmnopqrstuvwxyzabcde\" --algo bm -m time "
                            "--timestart 8:5 --timestop 12:30 -j DROP"),
                   debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, ANameWithoutATerminatorIsRejectedAndMatchesTheEmptyString) {
  EXPECT_EQ(rules_of_one(url_entry("abcdefghijklmnopqrstuvwxyz.abcde", {8, 12, 5, 30})),
            lines({rejected_name("parse_url::err! wrong string:url string's length > 31\n"),
                   debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, AnEmptyNameOrALoneDotMatchesTheEmptyString) {
  EXPECT_EQ(rules_of(url_image(2, {url_entry("", morning), url_entry(".", morning)}, 0, 1)),
            lines({rejected_name("err:null string\n"), rejected_name("err:only '.' string\n"),
                   debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, TheShellsFourCharactersArePrecededByABackslash) {
  EXPECT_EQ(rules_of_one(url_entry("a$b`c\"d\\e'f!g;h&i.\\\n$(j)", morning)),
            lines({url_rule("a$b`c\"d\\e'f!g;h&i.\\\n$(j)", "\21a$b`c\"d\\e'f!g;h&i\6\\\n$(j)",
                            "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string "
                            "--string \"\21a\\$b\\`c\\\"d\\\\e'f!g;h&i\6\\\\\n\\$(j)\" --algo bm "
                            "-m time --timestart 8:5 --timestop 12:30 -j DROP"),
                   debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, ALongestNameOfSuchCharactersStillFitsTheLine) {
  const std::string name(31, '$');
  std::string escaped;
  for (int i = 0; i < 31; ++i) {
    escaped += "\\$";
  }
  EXPECT_EQ(rules_of(url_image(1, {url_entry(name, {255, 23, 255, 255})}, 1, 1)),
            lines({url_rule(name, "\37" + name,
                            "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string "
                            "--string \"\37" +
                                escaped +
                                "\" --algo bm -m time --timestart 255:255 --timestop 23:255 -j "
                                "ACCEPT"),
                   debug("[url_black_white=1]\n"),
                   ran("iptables -A forward_ext_url -i br0 -p udp --dport 53 -j DROP")}));
}

TEST(UrlRules, AFailedRuleEmptiesTheChainAndEndsTheWalk) {
  fail_command(abc_de_rule, 2);
  EXPECT_EQ(
      rules_of(url_image(3,
                         {url_entry("x.y", morning), url_entry("abc.de", morning),
                          url_entry("never.tried", morning)},
                         0, 1),
               -1),
      lines({url_rule("x.y", "\1x\1y",
                      "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string "
                      "\"\1x\1y\" --algo bm -m time --timestart 8:5 --timestop 12:30 -j DROP"),
             url_traced("abc.de", "\3abc\2de", abc_de_rule), ran_and_failed(abc_de_rule, 2),
             ran("iptables -t filter -F forward_ext_url"),
             error("config_fw_url::str_system(" + std::string(abc_de_rule) + ") is err!\n")}));
}

TEST(UrlRules, AFailedFlushAfterAFailedRuleChangesNothing) {
  fail_command(abc_de_rule);
  fail_command("iptables -t filter -F forward_ext_url");
  EXPECT_EQ(
      rules_of(url_image(1, {url_entry("abc.de", morning)}, 0, 1), -1),
      lines({url_traced("abc.de", "\3abc\2de", abc_de_rule), ran_and_failed(abc_de_rule),
             ran_and_failed("iptables -t filter -F forward_ext_url"),
             error("config_fw_url::str_system(" + std::string(abc_de_rule) + ") is err!\n")}));
}

TEST(UrlRules, AFailedRuleOfAWhiteListLeavesNoCatchAll) {
  world.system = [](const std::string& command) {
    return exited(command.find("--string") == std::string::npos ? 0 : 1);
  };
  constexpr char rule[] =
      "iptables -A forward_ext_url -i br0 -p udp --dport 53 -m string --string \"\3abc\2de\" "
      "--algo bm -m time --timestart 8:5 --timestop 12:30 -j ACCEPT";
  EXPECT_EQ(rules_of(url_image(1, {url_entry("abc.de", morning)}, 1, 1), -1),
            lines({url_traced("abc.de", "\3abc\2de", rule), ran_and_failed(rule),
                   ran("iptables -t filter -F forward_ext_url"),
                   error("config_fw_url::str_system(" + std::string(rule) + ") is err!\n")}));
}

TEST(UrlRules, FiftyEntriesMakeFiftyRules) {
  const Lines entries(50, url_entry("abc.de", morning));
  std::string expected;
  for (int i = 0; i < 50; ++i) {
    expected += lines({url_rule("abc.de", "\3abc\2de", abc_de_rule)});
  }
  EXPECT_EQ(rules_of(url_image(50, entries, 0, 1)),
            expected + lines({debug("[url_black_white=0]\n")}));
}

TEST(UrlRules, TheIpv6RecordMakesNoRule) {
  fw6_rules_table.url_filter = url_region(url_image(1, {url_entry("abc.de", morning)}, 1, 1));
  EXPECT_EQ(rules_of(url_image(0, {}, 0, 1)), lines({debug("[url_black_white=0]\n")}));
}
