/* Lines taken apart as the shell does it, and put together as the restore tools read them. */
#include "executor/words.hpp"

#include <gtest/gtest.h>

#include "executor/process.hpp"
#include "executor/rule_edit.hpp"

using executor::rule_edit;
using executor::rule_save;
using executor::shell_words;

namespace {

/* What the shell makes of a line, each word with a zero byte behind it. */
std::string by_the_shell(const std::string& words) {
  return executor::run({"sh", "-c", "printf '%s\\0' " + words}).output;
}

std::string by_us(const std::string& words) {
  std::string text;
  for (const std::string& word : shell_words(words).value_or(std::vector<std::string>{"?"})) {
    text += word + '\0';
  }
  return text;
}

std::string restored(const std::string& line) {
  const auto edit = rule_edit(line);
  return edit ? restore_line(*edit) : "not understood";
}

}  // namespace

TEST(Words, AreThoseOfTheShell) {
  for (const char* line : {"a  b\tc", "! --syn", "-p tcp --tcp-flags SYN,ACK,FIN,RST RST",
                           R"("New not syn:" x)", R"("a\$b\`c\"d\\e\f")", R"(a"b c"d"" "")",
                           "\"\x07"
                           "example\x03"
                           "com\"",
                           "\"\x0a"
                           "tencharact\x02"
                           "de\"",
                           "\"\x0d\x1f\xe9\x7f'#;&|<>*?[]{}()~!\" last"}) {
    EXPECT_EQ(by_us(line), by_the_shell(line)) << line;
  }
}

TEST(Words, AnyByteInQuotesIsThatOfTheShell) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string quoted =
        std::string("\"") +
        (std::string_view("$`\"\\").find(static_cast<char>(byte)) != std::string_view::npos ? "\\"
                                                                                            : "") +
        static_cast<char>(byte) + "x\"";
    EXPECT_EQ(by_us(quoted), by_the_shell(quoted)) << byte;
  }
}

TEST(Words, WhatOnlyTheShellKnowsIsNotUnderstood) {
  for (const char* line : {"a;b", "a&b",    "a|b",     "a>b",   "a<b",        "a$b",  "a`b`", "a*",
                           "a?",  "[a]",    "{a,b}",   "~",     "#a",         "a\\b", "'a'",  "(a)",
                           "\"a", "\"$a\"", "\"`a`\"", "\"a\\", "\"a\\\nb\"", "a\nb", "a=b"}) {
    EXPECT_FALSE(shell_words(line)) << line;
  }
}

TEST(Edits, AreWrittenForARestoreTool) {
  EXPECT_EQ(restored("iptables -t filter -F forward_ext_us_ip"), "-F forward_ext_us_ip");
  EXPECT_EQ(restored("iptables -N input_ext_acl"), "-N input_ext_acl");
  EXPECT_EQ(restored("iptables -A c  -d 192.168.1.1 -j ACCEPT"), "-A c -d 192.168.1.1 -j ACCEPT");
  EXPECT_EQ(restored("iptables -A c -p tcp ! --syn -m state --state NEW -j LOG --log-prefix "
                     "\"New not syn:\""),
            "-A c -p tcp ! --syn -m state --state NEW -j LOG --log-prefix \"New not syn:\"");
  EXPECT_EQ(restored("iptables -A c -j LOG --log-prefix \"a \\\"b\\\\\""),
            "-A c -j LOG --log-prefix \"a \\\"b\\\\\"");
}

TEST(Edits, MatchStringsKeepEveryByte) {
  EXPECT_EQ(restored("iptables -A c -m string --string \"\x0a"
                     "a\\\"b\" --algo bm -j DROP"),
            "-A c -m string --hex-string |0a612262| --algo bm -j DROP");
  EXPECT_EQ(restored("iptables -A c -m string --string \"\xe9\\\\\" --algo bm"),
            "-A c -m string --hex-string |e95c| --algo bm");
  EXPECT_EQ(restored("iptables -A c -m string --string \"\" --algo bm"),
            "-A c -m string --string \"\" --algo bm");
  EXPECT_EQ(restored("iptables -A c -m string --string plain --algo bm"),
            "-A c -m string --string plain --algo bm");
}

TEST(Edits, BelongToATable) {
  const auto edit = rule_edit("ip6tables -t nat -D PREROUTING -i br0 -j DROP");
  ASSERT_TRUE(edit);
  EXPECT_EQ(edit->table, (executor::Table{"ip6tables", "nat"}));
  EXPECT_EQ(edit->operation, 'D');
  EXPECT_EQ(edit->chain, "PREROUTING");
  EXPECT_EQ(edit->rest, (std::vector<std::string>{"-i", "br0", "-j", "DROP"}));
  EXPECT_EQ(rule_edit("iptables -I INPUT -j c")->table, (executor::Table{"iptables", "filter"}));
}

TEST(Edits, LinesThatBelongToTheShellOrTheToolAreNotUnderstood) {
  for (const char* line : {"iptables",
                           "iptables -F",
                           "iptables -X c",
                           "iptables -P INPUT DROP",
                           "iptables -D INPUT 8",
                           "iptables -D INPUT",
                           "iptables -F c -t nat",
                           "iptables -A c -j DROP -t nat",
                           "iptables -A c --wait -j DROP",
                           "iptables -w -A c -j DROP",
                           "iptables -A -j c",
                           "iptables -N c d",
                           "iptables -A c -j DROP;reboot",
                           "iptables -A \"a b\" -j DROP",
                           "iptables -A c -j LOG --log-prefix \"a\nb\"",
                           "iptables -A c -vt nat",
                           "ebtables -F c",
                           "/sbin/iptables -F c",
                           "iptables-restore </ztcfg/firewall.conf",
                           "mkdir -p /lib"}) {
    EXPECT_FALSE(rule_edit(line)) << line;
  }
}

TEST(Saves, AreOneTableToOneFile) {
  const auto save = rule_save("ip6tables-save -t filter >/ztcfg/firewall6.conf");
  ASSERT_TRUE(save);
  EXPECT_EQ(save->table, (executor::Table{"ip6tables", "filter"}));
  EXPECT_EQ(save->path, "/ztcfg/firewall6.conf");
  for (const char* line : {"iptables-save >/a", "iptables-save -t filter >>/a", "cat -t filter >/a",
                           "iptables-save -t filter >/a b", "iptables-save -t filter >/$a",
                           "iptables-save -t filter", "iptables-save -t filter >/a;reboot"}) {
    EXPECT_FALSE(rule_save(line)) << line;
  }
}

TEST(Spawn, EndsAsTheProgramDoes) {
  const executor::ProcessResult cat = executor::run({"cat"}, "a\nb");
  EXPECT_EQ(cat.status, 0);
  EXPECT_EQ(cat.output, "a\nb");
  const executor::ProcessResult shell = executor::run({"sh", "-c", "echo no >&2; exit 4"});
  EXPECT_EQ(shell.status, 4 << 8);
  EXPECT_EQ(shell.errors, "no\n");
  const executor::ProcessResult missing = executor::run({"no-such-program"});
  EXPECT_EQ(missing.status, 127 << 8);
  EXPECT_EQ(missing.errors, "no-such-program: No such file or directory\n");
}
