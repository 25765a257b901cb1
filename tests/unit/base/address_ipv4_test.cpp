/* IPv4 addresses between text and number, and the parser that picks the family. */
#include <arpa/inet.h>

#include <cstring>
#include <utility>

#include "harness.hpp"

using namespace harness;

namespace {

const std::string untouched4 = "\xaa\xaa\xaa\xaa";

/* What p_bl_inet_pton4() makes of a text: its result and the four bytes afterwards. */
std::pair<int32_t, std::string> parse(const std::string& text) {
  std::string out = untouched4;
  const int32_t result = p_bl_inet_pton4(text.c_str(), reinterpret_cast<uint8_t*>(out.data()));
  return {result, out};
}

std::pair<int32_t, std::string> parse_as_the_system_does(const std::string& text) {
  std::string out = untouched4;
  const int result = inet_pton(AF_INET, text.c_str(), out.data());
  return {result, out};
}

/* Every text of at most `length` characters of `alphabet`. */
void for_each_text(const std::string& alphabet, size_t length,
                   const std::function<void(const std::string&)>& visit, std::string text = "") {
  visit(text);
  for (size_t i = 0; i < alphabet.size() && text.size() < length; ++i) {
    for_each_text(alphabet, length, visit, text + alphabet[i]);
  }
}

/* Every text of `count` of the tokens with dots between them. */
void for_each_dotted(const std::vector<std::string>& tokens, int count,
                     const std::function<void(const std::string&)>& visit,
                     const std::string& text = "") {
  for (const std::string& token : tokens) {
    if (count == 1) {
      visit(text + token);
    } else {
      for_each_dotted(tokens, count - 1, visit, text + token + ".");
    }
  }
}

l3_ip_address filled_record() {
  l3_ip_address record;
  memset(&record, 0xaa, sizeof(record));
  return record;
}

}  // namespace

TEST(Ipv4Address, FourOctetsAreTakenInTextOrder) {
  EXPECT_EQ(parse("192.168.1.1"), std::pair(1, std::string("\xc0\xa8\x01\x01", 4)));
  EXPECT_EQ(parse("0.0.0.0"), std::pair(1, std::string(4, '\0')));
  EXPECT_EQ(parse("255.255.255.255"), std::pair(1, std::string(4, '\xff')));
  EXPECT_EQ(parse("1.20.199.0"), std::pair(1, std::string("\x01\x14\xc7\x00", 4)));
}

TEST(Ipv4Address, AnythingElseIsRejectedAndWritesNothing) {
  for (const char* text : {"",           "192.168.001.1", "256.1.1.1",        "1.2.3",
                           "1.2.3.4.5",  "1..2.3",        "00.0.0.0",         "0.0.0.00",
                           "01.2.3.4",   "1.2.3.04",      ".1.2.3.4",         "1.2.3.4.",
                           "1.2.3.",     "1.2.3.256",     "1.2.3.1000",       " 1.2.3.4",
                           "1.2.3.4 ",   "1.2.3.4\n",     "1,2,3,4",          "0x1.2.3.4",
                           "1.2.3.a",    "-1.2.3.4",      "+1.2.3.4",         "1.2.3.4/24",
                           "3232235777", "....",          "4294967297.0.0.0", "1.2.3.99999999999",
                           "\xff.1.1.1"}) {
    EXPECT_EQ(parse(text), std::pair(0, untouched4)) << text;
  }
}

TEST(Ipv4Address, EveryGeneratedTextIsParsedAsTheSystemParsesIt) {
  // There is no difference between the two parsers.
  int accepted = 0;
  int rejected = 0;
  const auto compare = [&](const std::string& text) {
    const auto ours = parse(text);
    ASSERT_EQ(ours, parse_as_the_system_does(text)) << "\"" << text << "\"";
    ++(ours.first == 1 ? accepted : rejected);
  };
  for_each_text("012.a", 6, compare);
  const std::vector<std::string> tokens = {"",    "0",   "00",  "01",  "1",    "9",  "10",
                                           "099", "199", "255", "256", "1000", "a0", " 1"};
  for_each_dotted(tokens, 4, compare);
  const std::vector<std::string> few_tokens = {"", "0", "25", "255", "256"};
  for_each_dotted(few_tokens, 3, compare);
  for_each_dotted(few_tokens, 5, compare);
  for_each_text("2.", 9, compare);
  EXPECT_GT(accepted, 1000);
  EXPECT_GT(rejected, 1000);
}

TEST(Ipv4Address, ARecordIsZeroedInAllItsTwentyBytes) {
  l3_ip_address record = filled_record();
  f_zeroed_ip_address(&record);
  EXPECT_EQ(bytes_of(record), std::string(20, '\0'));
}

TEST(UnknownVersion, ATextWithoutAColonIsIpv4InTheFirstFourBytes) {
  l3_ip_address record = filled_record();
  EXPECT_EQ(p_bl_ip_addr_unknown_version("10.1.2.3", &record), 1);
  EXPECT_EQ(bytes_of(record), "\x0a\x01\x02\x03" + std::string(16, '\0'));
}

TEST(UnknownVersion, ATextWithAColonAnywhereIsIpv6) {
  l3_ip_address record = filled_record();
  EXPECT_EQ(p_bl_ip_addr_unknown_version("2001:db8::1.2.3.4", &record), 1);
  EXPECT_EQ(bytes_of(record),
            std::string("\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\x01\x02\x03\x04", 16) + word(1));

  record = filled_record();
  EXPECT_EQ(p_bl_ip_addr_unknown_version("1.2.3.4:", &record), 0);
  EXPECT_EQ(bytes_of(record), std::string(16, '\0') + word(1));
}

TEST(UnknownVersion, ARejectedTextLeavesAZeroAddress) {
  for (const char* text : {"", "abc", "1.2.3", "1.2.3.256", "1.2.3.4.5"}) {
    l3_ip_address record = filled_record();
    EXPECT_EQ(p_bl_ip_addr_unknown_version(text, &record), 0) << text;
    EXPECT_EQ(bytes_of(record), std::string(20, '\0')) << text;
  }
}

TEST(UnknownVersion, Ipv6GoesToTheSystemsParserWhichKnowsNoFiveDigitGroup) {
  l3_ip_address record = filled_record();
  EXPECT_EQ(p_bl_ip_addr_unknown_version("00001::", &record), 0);
  EXPECT_EQ(bytes_of(record), std::string(16, '\0') + word(1));
}

TEST(UnknownVersion, ASystemWithoutIpv6IsReported) {
  l3_ip_address record = filled_record();
  world.inet_pton_results = {-1};
  EXPECT_EQ(
      harness::record([&] { EXPECT_EQ(p_bl_ip_addr_unknown_version("fe80::1", &record), -1); }),
      lines({}));
  EXPECT_EQ(bytes_of(record), std::string(16, '\0') + word(1));
}

TEST(Ipv4TextToNumber, TheFirstOctetIsTheMostSignificantByte) {
  uint32_t ip = 0xaaaaaaaa;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip_str_to_bin("192.168.1.1", &ip), 0); }), lines({}));
  EXPECT_EQ(ip, 0xC0A80101U);
  EXPECT_EQ(gl3_web_ip_str_to_bin("255.0.0.1", &ip), 0);
  EXPECT_EQ(ip, 0xFF000001U);
}

TEST(Ipv4TextToNumber, TheEmptyTextIsAnyAddress) {
  uint32_t ip = 0xaaaaaaaa;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip_str_to_bin("", &ip), 0); }), lines({}));
  EXPECT_EQ(ip, 0U);
}

TEST(Ipv4TextToNumber, OfAnIpv6TextTheFirstFourBytesAreTaken) {
  uint32_t ip = 0;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip_str_to_bin("2001:db8::1", &ip), 0); }), lines({}));
  EXPECT_EQ(ip, 0x20010DB8U);
}

TEST(Ipv4TextToNumber, BadTextIsLoggedStoresZeroAndReturnsOne) {
  uint32_t ip = 0xaaaaaaaa;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip_str_to_bin("abc", &ip), 1); }),
            lines({error("gl3_web_ip_str_to_bin::p_bl_ip_addr_unknown_version:abc err!\n")}));
  EXPECT_EQ(ip, 0U);

  ip = 0xaaaaaaaa;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip_str_to_bin("fe80::g", &ip), 1); }),
            lines({error("gl3_web_ip_str_to_bin::p_bl_ip_addr_unknown_version:fe80::g err!\n")}));
  EXPECT_EQ(ip, 0U);
}

TEST(Ipv4TextToNumber, ASystemWithoutIpv6MakesIpv6TextBadText) {
  uint32_t ip = 0xaaaaaaaa;
  world.inet_pton_results = {-1};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip_str_to_bin("fe80::1", &ip), 1); }),
            lines({error("gl3_web_ip_str_to_bin::p_bl_ip_addr_unknown_version:fe80::1 err!\n")}));
  EXPECT_EQ(ip, 0U);
}

TEST(Ipv4TextToNumber, NullArgumentsAreNamedTheTextFirst) {
  uint32_t ip = 0xaaaaaaaa;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip_str_to_bin(nullptr, &ip), -1); }),
            lines({error("gl3_web_ip_str_to_bin:xi_src is NULLP err!\n")}));
  EXPECT_EQ(ip, 0xaaaaaaaaU);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_ip_str_to_bin("1.2.3.4", nullptr), -1); }),
            lines({error("gl3_web_ip_str_to_bin:xo_ip is NULLP err!\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_ip_str_to_bin("", nullptr), -1); }),
            lines({error("gl3_web_ip_str_to_bin:xo_ip is NULLP err!\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_ip_str_to_bin(nullptr, nullptr), -1); }),
            lines({error("gl3_web_ip_str_to_bin:xi_src is NULLP err!\n")}));
}

TEST(Ipv4NumberToText, WritesDottedDecimal) {
  char text[16] = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_ip_bin_to_str(text, 0xC0A80101), 0); }), lines({}));
  EXPECT_STREQ(text, "192.168.1.1");

  char zero[16] = {};
  EXPECT_EQ(gl3_web_ip_bin_to_str(zero, 0), 0);
  EXPECT_STREQ(zero, "0.0.0.0");

  char longest[16] = {};
  EXPECT_EQ(gl3_web_ip_bin_to_str(longest, 0xFFFFFFFF), 0);
  EXPECT_STREQ(longest, "255.255.255.255");
}

TEST(Ipv4NumberToText, NoTerminatorIsWritten) {
  std::string text(16, '#');
  EXPECT_EQ(gl3_web_ip_bin_to_str(text.data(), 0x0A000203), 0);
  EXPECT_EQ(text, "10.0.2.3########");
}

TEST(Ipv4NumberToText, EveryOctetValueInEveryPlaceComesBack) {
  for (uint32_t value = 0; value < 256; ++value) {
    for (const uint32_t ip : {value << 24, value << 16, value << 8, value, value * 0x01010101}) {
      char text[16] = {};
      ASSERT_EQ(gl3_web_ip_bin_to_str(text, ip), 0);
      const uint8_t octets[4] = {static_cast<uint8_t>(ip >> 24), static_cast<uint8_t>(ip >> 16),
                                 static_cast<uint8_t>(ip >> 8), static_cast<uint8_t>(ip)};
      char expected[16];
      ASSERT_NE(inet_ntop(AF_INET, octets, expected, sizeof(expected)), nullptr);
      ASSERT_STREQ(text, expected);
      uint32_t back = ~ip;
      ASSERT_EQ(gl3_web_ip_str_to_bin(text, &back), 0);
      ASSERT_EQ(back, ip);
    }
  }
}

TEST(Ipv4NumberToText, ANullTextIsNamed) {
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_ip_bin_to_str(nullptr, 1), -1); }),
            lines({error("gl3_web_ip_bin_to_str:xo_str is NULLP err!\n")}));
}
