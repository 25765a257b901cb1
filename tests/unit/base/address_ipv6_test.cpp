/* IPv6 addresses between text and bytes. */
#include <arpa/inet.h>

#include <cstring>
#include <ostream>

#include "harness.hpp"

using namespace harness;

namespace {

const std::string untouched16(16, '\xaa');

struct Parsed {
  int32_t result;
  std::string bytes;
  bool operator==(const Parsed&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Parsed& parsed) {
  return stream << parsed.result << testing::PrintToString(parsed.bytes);
}

Parsed parse(const std::string& text) {
  std::string out = untouched16;
  const int32_t result = p_bl_inet_pton6(text.c_str(), reinterpret_cast<uint8_t*>(out.data()));
  return {result, out};
}

Parsed parse_as_the_system_does(const std::string& text) {
  std::string out = untouched16;
  const int result = inet_pton(AF_INET6, text.c_str(), out.data());
  return {result, out};
}

const Parsed rejected = {0, untouched16};

/* Sixteen bytes from eight groups. */
Parsed accepted(std::initializer_list<unsigned> groups) {
  std::string bytes;
  for (const unsigned group : groups) {
    bytes += static_cast<char>(group >> 8);
    bytes += static_cast<char>(group);
  }
  EXPECT_EQ(bytes.size(), 16U);
  return {1, bytes};
}

/* The text with the leading zeros of every group of more than four digits left out: the system's
 * parser counts digits where ours looks at the value. */
std::string with_short_groups(const std::string& text) {
  std::string result;
  for (size_t at = 0; at < text.size();) {
    const size_t digits = text.find_first_not_of("0123456789abcdefABCDEF", at);
    const size_t end = digits == std::string::npos ? text.size() : digits;
    size_t begin = at;
    while (end - begin > 4 && text[begin] == '0') {
      ++begin;
    }
    result += text.substr(begin, end - begin);
    at = end;
    if (at < text.size()) {
      result += text[at++];
    }
  }
  return result;
}

struct Comparison {
  int accepted = 0;
  int rejected = 0;
  int differing = 0;

  void compare(const std::string& text) {
    const Parsed ours = parse(text);
    ASSERT_EQ(ours, parse_as_the_system_does(with_short_groups(text))) << "\"" << text << "\"";
    ++(ours.result == 1 ? accepted : rejected);
    differing += ours == parse_as_the_system_does(text) ? 0 : 1;
  }

  /* Every text of at most `count` of the tokens. */
  void compare_all(const std::vector<std::string>& tokens, int count,
                   const std::string& text = "") {
    compare(text);
    for (size_t i = 0; count > 0 && i < tokens.size(); ++i) {
      compare_all(tokens, count - 1, text + tokens[i]);
    }
  }
};

}  // namespace

TEST(Ipv6Address, GroupsAreTakenInTextOrder) {
  EXPECT_EQ(parse("2001:db8:0:ffff:1:20:300:4000"),
            accepted({0x2001, 0xdb8, 0, 0xffff, 1, 0x20, 0x300, 0x4000}));
  EXPECT_EQ(parse("ABCD:ef01:aBcD:EF01:0:0:0:0000"),
            accepted({0xabcd, 0xef01, 0xabcd, 0xef01, 0, 0, 0, 0}));
}

TEST(Ipv6Address, ADoubleColonFillsUpWithZeros) {
  EXPECT_EQ(parse("::"), accepted({0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(parse("::1"), accepted({0, 0, 0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(parse("fe80::"), accepted({0xfe80, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(parse("1:2::7:8"), accepted({1, 2, 0, 0, 0, 0, 7, 8}));
  EXPECT_EQ(parse("1:2:3:4:5:6:7::"), accepted({1, 2, 3, 4, 5, 6, 7, 0}));
  EXPECT_EQ(parse("::2:3:4:5:6:7:8"), accepted({0, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(Ipv6Address, TheLastFourBytesMayBeDottedDecimal) {
  EXPECT_EQ(parse("::ffff:192.168.1.1"), accepted({0, 0, 0, 0, 0, 0xffff, 0xc0a8, 0x0101}));
  EXPECT_EQ(parse("1:2:3:4:5:6:1.2.3.4"), accepted({1, 2, 3, 4, 5, 6, 0x0102, 0x0304}));
  EXPECT_EQ(parse("::1.2.3.4"), accepted({0, 0, 0, 0, 0, 0, 0x0102, 0x0304}));
  EXPECT_EQ(parse("1::1.2.3.4"), accepted({1, 0, 0, 0, 0, 0, 0x0102, 0x0304}));
}

TEST(Ipv6Address, AnythingElseIsRejectedAndWritesNothing) {
  for (const char* text : {"",
                           ":",
                           ":1::",
                           ":1:2:3:4:5:6:7:8",
                           ":::",
                           "1:::2",
                           "1::2::3",
                           "::1::",
                           "1",
                           "1:",
                           "::1:",
                           "1:2:3:4:5:6:7:",
                           "1:2:3:4:5:6:7:8:",
                           "1:2:3:4:5:6:7",
                           "1:2:3:4:5:6:7:8:9",
                           "1:2:3:4:5:6:7:8:9:a",
                           "1:2:3:4:5:6:7:8::",
                           "::1:2:3:4:5:6:7:8",
                           "1:2:3:4::5:6:7:8",
                           "10000::",
                           "1::ffff1",
                           "g::",
                           "::g",
                           "fe80::1%eth0",
                           "fe80::1/64",
                           " ::1",
                           "::1 ",
                           "::1\n",
                           "[::1]",
                           "1.2.3.4",
                           "::1.2.3",
                           "::1.2.3.4.5",
                           "::1.2.3.256",
                           "::1.2.3.04",
                           "::1.2.3.4:5",
                           "::a.2.3.4",
                           "::.1.2.3",
                           "1:2:3:4:5:6:7:1.2.3.4",
                           "1:2:3:4:5:1.2.3.4",
                           "1:2:3:4:5:6::1.2.3.4",
                           "\xc1::",
                           "@::"}) {
    EXPECT_EQ(parse(text), rejected) << text;
  }
}

TEST(Ipv6Address, AGroupMayHaveAnyNumberOfDigitsAsLongAsItsValueFits) {
  // The one difference to the system's parser, which takes four digits at most.
  for (const char* text :
       {"00001::", "::00000", "::0ffff", "0000000000000000000000abcd::", "1:2:3:4:5:6:7:00008"}) {
    EXPECT_EQ(parse(text).result, 1) << text;
    EXPECT_EQ(parse_as_the_system_does(text), rejected) << text;
  }
  EXPECT_EQ(parse("0000000000000000000000abcd::"), accepted({0xabcd, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(parse("00010000::"), rejected);
}

TEST(Ipv6Address, EveryGeneratedTextIsParsedAsTheSystemParsesItButForLongGroups) {
  Comparison all;
  all.compare_all({":", "0", "f", "1.2.3.4", "g"}, 6);
  all.compare_all({":", "::", "1", "00001", "Ffff", "12345", "1.2.3", ".4", "%"}, 4);
  // From one to nine groups, with "::" at every place and at none, and every kind of last group.
  for (const char* last : {"8", "00008", "18000", "1.2.3.4", "1.2.3.400", "h", "", ":"}) {
    for (int groups = 1; groups <= 9; ++groups) {
      for (int gap = -1; gap < groups; ++gap) {
        for (const char* group : {"1", "0abc", "0FFFF"}) {
          std::string text = gap == 0 ? "::" : "";
          for (int i = 1; i < groups; ++i) {
            text += std::string(group) + (i == gap ? "::" : ":");
          }
          all.compare(text + last);
        }
      }
    }
  }
  EXPECT_GT(all.accepted, 300);
  EXPECT_GT(all.rejected, 10000);
  EXPECT_GT(all.differing, 50);
}

TEST(Ipv6TextToBytes, TakesWhatTheSystemTakes) {
  uint8_t ip[17];
  memset(ip, 0xaa, sizeof(ip));
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_str_to_bin("2001:db8::1.2.3.4", ip), 0); }),
            lines({}));
  EXPECT_EQ(bytes_of(ip), std::string("\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\x01\x02\x03\x04\xaa", 17));
}

TEST(Ipv6TextToBytes, AnyOtherTextIsRefusedOnStandardOutput) {
  for (const char* text : {"", "1.2.3.4", "abc", "1:2", "00001::", "fe80::1%br0"}) {
    uint8_t ip[16];
    memset(ip, 0xaa, sizeof(ip));
    EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_str_to_bin(text, ip), -1); }),
              lines({out("[gl3_web_ip6_str_to_bin]:find an illegal IPv6 address!\n")}))
        << text;
    EXPECT_EQ(bytes_of(ip), untouched16) << text;
  }
}

TEST(Ipv6TextToBytes, NullArgumentsAreNamed) {
  uint8_t ip[16];
  memset(ip, 0xaa, sizeof(ip));
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_str_to_bin(nullptr, ip), -1); }),
            lines({error("gl3_web_ip6_str_to_bin:xi_src is NULLP err!\n")}));
  EXPECT_EQ(bytes_of(ip), untouched16);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_ip6_str_to_bin("::1", nullptr), -1); }),
            lines({error("gl3_web_ip6_str_to_bin:xo_ip is NULLP err!\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_ip6_str_to_bin(nullptr, nullptr), -1); }),
            lines({error("gl3_web_ip6_str_to_bin:xi_src is NULLP err!\n")}));
}

TEST(Ipv6TextToBytes, TheTextIsCheckedBeforeTheOutputIs) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_ip6_str_to_bin("abc", nullptr), -1); }),
            lines({out("[gl3_web_ip6_str_to_bin]:find an illegal IPv6 address!\n")}));
}

TEST(Ipv6TextToBytes, WithoutTheSystemsCheckAnEmptyTextStoresOneZeroByte) {
  uint8_t ip[16];
  memset(ip, 0xaa, sizeof(ip));
  world.inet_pton_results = {-1};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_str_to_bin("", ip), 0); }), lines({}));
  EXPECT_EQ(bytes_of(ip), '\0' + std::string(15, '\xaa'));
}

TEST(Ipv6TextToBytes, WithoutTheSystemsCheckAnIpv4TextIsLeftAlone) {
  uint8_t ip[16];
  memset(ip, 0xaa, sizeof(ip));
  world.inet_pton_results = {-1};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_str_to_bin("1.2.3.4", ip), 0); }), lines({}));
  EXPECT_EQ(bytes_of(ip), untouched16);

  world.inet_pton_results = {-1};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_str_to_bin("1.2.3", ip), 1); }),
            lines({error("gl3_web_ip6_str_to_bin::p_bl_ip_addr_unknown_version:1.2.3 err!\n")}));
  EXPECT_EQ(bytes_of(ip), untouched16);
}

TEST(Ipv6TextToBytes, ASystemWithoutIpv6GivesAZeroAddressAndOne) {
  uint8_t ip[16];
  memset(ip, 0xaa, sizeof(ip));
  world.inet_pton_results = {-1, -1};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_str_to_bin("fe80::1", ip), 1); }),
            lines({error("gl3_web_ip6_str_to_bin::p_bl_ip_addr_unknown_version:fe80::1 err!\n")}));
  EXPECT_EQ(bytes_of(ip), std::string(16, '\0'));
}

TEST(Ipv6BytesToText, WritesWhatTheSystemWrites) {
  const uint8_t address[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0xab, 0xcd, 0, 1};
  char text[46];
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_bin_to_str(text, address), 0); }), lines({}));
  EXPECT_STREQ(text, "2001:db8::abcd:1");

  const uint8_t none[16] = {};
  EXPECT_EQ(gl3_web_ip6_bin_to_str(text, none), 0);
  EXPECT_STREQ(text, "::");

  const uint8_t mapped[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 255, 255, 255, 255};
  EXPECT_EQ(gl3_web_ip6_bin_to_str(text, mapped), 0);
  EXPECT_STREQ(text, "::ffff:255.255.255.255");

  uint8_t full[16];
  memset(full, 0xff, sizeof(full));
  EXPECT_EQ(gl3_web_ip6_bin_to_str(text, full), 0);
  EXPECT_STREQ(text, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
}

TEST(Ipv6BytesToText, ANullTextAndAFailedConversionShareOneMessage) {
  const uint8_t address[16] = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_bin_to_str(nullptr, address), -1); }),
            lines({error("gl3_web_ip6_bin_to_str:xo_str is NULLP err!\n")}));
  char text[46] = "before";
  world.inet_ntop_fails = true;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip6_bin_to_str(text, address), -1); }),
            lines({error("gl3_web_ip6_bin_to_str:xo_str is NULLP err!\n")}));
  EXPECT_STREQ(text, "before");
}
