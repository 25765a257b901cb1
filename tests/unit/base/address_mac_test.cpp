/* MAC addresses between text and bytes. */
#include "harness.hpp"

using namespace harness;

namespace {

struct Mac {
  uint8_t bytes[6] = {0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa};
};

const std::string untouched6(6, '\xaa');

/* The one line that precedes everything but the null checks. */
Lines asked(const std::string& text) {
  return debug("gl3_web_mac_str_to_bin::mac_str=" + text + "\n");
}

void expect_taken(const std::string& text, const std::string& bytes) {
  Mac mac;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_mac_str_to_bin(text.c_str(), mac.bytes), 0) << text; }),
            lines({asked(text)}));
  EXPECT_EQ(bytes_of(mac), bytes) << text;
}

void expect_silently_refused(const std::string& text) {
  Mac mac;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_mac_str_to_bin(text.c_str(), mac.bytes), -1) << text; }),
            lines({asked(text)}));
  EXPECT_EQ(bytes_of(mac), untouched6) << text;
}

void expect_too_short(const std::string& text) {
  Mac mac;
  EXPECT_EQ(
      record([&] { EXPECT_EQ(gl3_web_mac_str_to_bin(text.c_str(), mac.bytes), -1) << text; }),
      lines({asked(text), error("gl3_web_mac_str_to_bin::string's length is too small  err!\n")}));
  EXPECT_EQ(bytes_of(mac), untouched6) << text;
}

}  // namespace

TEST(MacTextToBytes, SixGroupsOfEitherCaseAreTaken) {
  expect_taken("00:1A:2b:3C:4d:5E", std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6));
  expect_taken("ff:FF:fF:Ff:00:09", std::string("\xff\xff\xff\xff\x00\x09", 6));
}

TEST(MacTextToBytes, BlanksAroundTheTextAreTrimmed) {
  expect_taken(" 00:1A:2b:3C:4d:5E ", std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6));
  expect_taken("       00:1A:2b:3C:4d:5E", std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6));
  expect_taken("00:1A:2b:3C:4d:5E               ", std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6));
}

TEST(MacTextToBytes, OnlyTheFirstTwentyFourCharactersCount) {
  expect_taken("00:1A:2b:3C:4d:5E       and more", std::string("\x00\x1a\x2b\x3c\x4d\x5e", 6));
  expect_silently_refused("00:1A:2b:3C:4d:5E      and more");
  expect_silently_refused("        00:1A:2b:3C:4d:5E");
}

TEST(MacTextToBytes, ATextUnderSeventeenCharactersIsLogged) {
  expect_too_short("");
  expect_too_short("00:1A:2B:3C:4D");
  expect_too_short("00:1A:2B:3C:4D:5");
  expect_too_short("                ");
}

TEST(MacTextToBytes, OtherMalformedTextsAreRefusedSilently) {
  for (const char* text : {
           "00-1A-2B-3C-4D-5E",     // another separator
           "00:1A:2B:3C:4D:5G",     // no digit
           "00:1A:2B:3C:4D:5E:",    // one character more
           "00:1A:2B:3C:4D:5E:6F",  // a group more
           "00:1A:2B:3C:4D:5  ",    // trimmed too short
           "                 ",     // nothing but blanks
           "00:1A:2B 3C:4D:5E",     // a blank inside
           "\t00:1A:2B:3C:4D:5E",   // no blank but a tab
           "00:1A:2B:3C:4D:5E\n",   // a line end
           "0x:1A:2B:3C:4D:5E",     // no prefix
           "00:1A:2B:3C:4D:-1",     // no sign
           "001A:2B:3C:4D:5E:",     // four digits in a group
           "00112233445566778",     // no separators
           "00:1A:2B:3C:4D::5",     // an empty group
           ":::::::::::::::::",     // nothing but separators
           ":00:1A:2B:3C:4D:5",     // a leading separator
           "00:1A:2B:3C:4D5E6",     // five groups
           "00:1A:2B:3C:4D:\xff"
           "E",  // a byte above ASCII
       }) {
    expect_silently_refused(text);
  }
}

TEST(MacTextToBytes, GroupsOfOneDigitPassAndTheRestBehindTheSixthIsIgnored) {
  expect_taken("1:2:3:4:5:6:7:8:9", "\x01\x02\x03\x04\x05\x06");
  expect_taken("00:11:22:33:4:5:6", std::string("\x00\x11\x22\x33\x04\x05", 6));
  expect_taken("1:2:3:4:5:6aaaaaa", "\x01\x02\x03\x04\x05\x6a");
}

TEST(MacTextToBytes, EitherNullArgumentIsNamedByOneMessage) {
  Mac mac;
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_mac_str_to_bin(nullptr, mac.bytes), -1); }),
            lines({error("gl3_web_mac_str_to_bin::NULLP err!\n")}));
  EXPECT_EQ(bytes_of(mac), untouched6);
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_mac_str_to_bin("00:1A:2B:3C:4D:5E", nullptr), -1); }),
            lines({error("gl3_web_mac_str_to_bin::NULLP err!\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(gl3_web_mac_str_to_bin(nullptr, nullptr), -1); }),
            lines({error("gl3_web_mac_str_to_bin::NULLP err!\n")}));
}

TEST(MacBytesToText, WritesLowerCaseDigits) {
  const uint8_t mac[6] = {0x00, 0x1a, 0x2b, 0xFC, 0x4d, 0xEE};
  char text[19] = "##################";
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_mac_bin_to_str(text, mac), 0); }),
            lines({debug("gl3_web_mac_bin_to_str::mac_bin=00:1a:2b:fc:4d:ee\n")}));
  EXPECT_EQ(std::string(text, 18), std::string("00:1a:2b:fc:4d:ee", 18));
}

TEST(MacBytesToText, ANullTextIsNamed) {
  const uint8_t mac[6] = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(gl3_web_mac_bin_to_str(nullptr, mac), -1); }),
            lines({error("gl3_web_mac_bin_to_str::NULLP err!\n")}));
}
