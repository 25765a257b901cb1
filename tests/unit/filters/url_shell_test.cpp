/*
 * URL rules through a real /bin/sh: what a host name holds reaches the packet filter's tool byte by
 * byte, and nothing in it is executed. An "iptables" of this test's own, first in PATH, notes its
 * arguments.
 */
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "url_image.hpp"

using namespace harness;

namespace {

constexpr char tools[] = "/run/tools";
constexpr char notes[] = "/run/notes";
constexpr char proof[] = "/run/x";

int run_in_shell(const std::string& line) {
  std::string path = "PATH=" + std::string(tools) + ":/usr/bin:/bin";
  std::string text = line;
  char shell[] = "sh";
  char option[] = "-c";
  char* const arguments[] = {shell, option, text.data(), nullptr};
  char* const environment[] = {path.data(), nullptr};
  pid_t child = -1;
  EXPECT_EQ(posix_spawn(&child, "/bin/sh", nullptr, nullptr, arguments, environment), 0);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

/* Its arguments, each with a zero behind it, after a line "call". */
void install_iptables() {
  ASSERT_EQ(mkdir(tools, 0755), 0);
  ASSERT_EQ(
      symlink(TEST_DATA "/../tools/fake-iptables", (std::string(tools) + "/iptables").c_str()), 0);
  write_file("/tmp/hook.iptables", "{ echo call; printf '%s\\0' \"$@\"; } >>/run/notes\n");
}

std::string joined(const Lines& arguments) {
  std::string text = "call\n";
  for (const std::string& argument : arguments) {
    text += argument + '\0';
  }
  return text;
}

/* Generates the rule of one name, lets the shell run it, and compares all that iptables was told. */
void expect_match_string(const std::string& name, const std::string& match) {
  fw_rules_table.url_filter = url_region(url_image(1, {url_entry(name, {8, 24, 5, 0})}, 0, 1));
  static_cast<void>(record([] { EXPECT_EQ(config_fw_url(), 0); }));
  EXPECT_EQ(read_file(notes), joined({"-A",          "forward_ext_url",
                                      "-i",          "br0",
                                      "-p",          "udp",
                                      "--dport",     "53",
                                      "-m",          "string",
                                      "--string",    match,
                                      "--algo",      "bm",
                                      "-m",          "time",
                                      "--timestart", "8:5",
                                      "--timestop",  "23:59",
                                      "-j",          "DROP"}))
      << name;
  unlink(notes);
}

class UrlShell : public testing::Test {
 protected:
  void SetUp() override {
    install_iptables();
    world.system = run_in_shell;
  }
};

}  // namespace

TEST_F(UrlShell, LabelsOfEveryLengthArriveUnchanged) {
  for (size_t length = 1; length <= 31; ++length) {
    const std::string label(length, 'a');
    expect_match_string(label, static_cast<char>(length) + label);
  }
}

TEST_F(UrlShell, LengthBytesThatAreBlanksAndLineEndsArriveUnchanged) {
  expect_match_string("ninechars.tencharact", "\tninechars\ntencharact");
  expect_match_string("thirteenchars.thirteenchars", "\rthirteenchars\rthirteenchars");
  expect_match_string(".abcdefghijk.abcdefghijkl", "\vabcdefghijk\fabcdefghijkl");
  expect_match_string("abcdefghijklmnopqrstuvwxyz12345", "\37abcdefghijklmnopqrstuvwxyz12345");
}

TEST_F(UrlShell, EveryByteArrivesUnchanged) {
  for (int first = 1; first < 256; first += 31) {
    std::string label;
    for (int byte = first; byte < first + 31 && byte < 256; ++byte) {
      label += byte == '.' ? 'a' : static_cast<char>(byte);
    }
    expect_match_string(label, static_cast<char>(label.size()) + label);
  }
}

TEST_F(UrlShell, AnUnguardedLineWouldBeExecuted) {
  EXPECT_EQ(run_in_shell("iptables \"$(>/run/x)\""), 0);
  EXPECT_TRUE(file_exists(proof));
  EXPECT_EQ(read_file(notes), joined({""}));
}

TEST_F(UrlShell, NothingInAHostNameIsExecuted) {
  for (const std::string name :
       {"$(>/run/x)", "`>/run/x`", "\"$(>/run/x)\"", "\";>/run/x;\"", "\"\n>/run/x\n\"",
        "\\\";>/run/x;\\\"", "\\$(>/run/x)", "\\\\$(>/run/x)", "\\`>/run/x`", "'$(>/run/x)'",
        "';>/run/x;'", "\n>/run/x\n", "&>/run/x&", "|>/run/x", "$(iptables -F)", "`iptables -F`",
        "\"&&iptables -F #", "${x:=$(>/run/x)}", "$((1+1))"}) {
    expect_match_string(name, static_cast<char>(name.size()) + name);
    EXPECT_FALSE(file_exists(proof)) << name;
  }
}

TEST_F(UrlShell, NothingInAHostNameIsExpanded) {
  for (const std::string name :
       {"$PATH",  "${PATH}", "$$",   "$?", "$@",   "$",   "\\", "\\\\",
        "\\n",    "a\\",     "\\\n", "\"", "\"\"", "`",   "``", "*",
        "/run/*", "~",       "!!",   "#",  "%s%n", "a b", " ",  "--help"}) {
    expect_match_string(name, static_cast<char>(name.size()) + name);
  }
}

TEST_F(UrlShell, BackslashesAndQuotesAtTheEndsOfLabelsArriveUnchanged) {
  expect_match_string("a\\.$b.`c`.\"", "\2a\\\2$b\3`c`\1\"");
  expect_match_string("\\.\\tencharac.\\",
                      "\1\\\n\\tencharac"
                      "\1\\");
}
