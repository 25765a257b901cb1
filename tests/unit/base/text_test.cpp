/* The two string helpers: trimming and replacing. */
#include "harness.hpp"

using namespace harness;

namespace {

std::string trimmed(std::string text) {
  cli_trimming_whitespace_from_string(text.data());
  return text.c_str();
}

struct Replaced {
  int32_t result;
  std::string text;
  bool operator==(const Replaced&) const = default;
};

/* Replaces inside a buffer of 512 bytes. */
Replaced replace(const std::string& text, const char* old_text, const std::string& new_text) {
  std::string buffer = text;
  buffer.resize(512);
  const int32_t result = replace_string(buffer.data(), old_text, new_text.c_str());
  return {result, buffer.c_str()};
}

}  // namespace

TEST(Trimming, SpacesAtBothEndsGo) {
  EXPECT_EQ(trimmed("  a b  "), "a b");
  EXPECT_EQ(trimmed(" a"), "a");
  EXPECT_EQ(trimmed("a "), "a");
  EXPECT_EQ(trimmed("a  b"), "a  b");
}

TEST(Trimming, OnlyTheSpaceCharacterIsABlank) {
  EXPECT_EQ(trimmed("\t a\n "), "\t a\n");
  EXPECT_EQ(trimmed(" \ta \n"), "\ta \n");
}

TEST(Trimming, NothingButSpacesBecomesEmpty) {
  EXPECT_EQ(trimmed(""), "");
  EXPECT_EQ(trimmed(" "), "");
  EXPECT_EQ(trimmed("     "), "");
}

TEST(Trimming, TrailingSpacesBecomeTerminators) {
  std::string text = "ab  ";
  cli_trimming_whitespace_from_string(text.data());
  EXPECT_EQ(text, std::string("ab\0\0", 4));
}

TEST(Replacing, EveryOccurrenceIsReplaced) {
  EXPECT_EQ(replace("a.b.c", ".", "-"), (Replaced{1, "a-b-c"}));
  EXPECT_EQ(replace(".a.", ".", "--"), (Replaced{1, "--a--"}));
  EXPECT_EQ(replace("one two one", "one", ""), (Replaced{1, " two "}));
  EXPECT_EQ(replace("aaa", "aaa", "b"), (Replaced{1, "b"}));
}

TEST(Replacing, MatchesNeverOverlapAndAReplacementIsNotSearchedAgain) {
  EXPECT_EQ(replace("aaaaa", "aa", "b"), (Replaced{1, "bba"}));
  EXPECT_EQ(replace("ab", "a", "aa"), (Replaced{1, "aab"}));
  EXPECT_EQ(replace("aab", "ab", "b"), (Replaced{1, "ab"}));
}

TEST(Replacing, NothingFoundLeavesTheText) {
  EXPECT_EQ(replace("a.b", ",", "-"), (Replaced{0, "a.b"}));
  EXPECT_EQ(replace("", "a", "b"), (Replaced{0, ""}));
  EXPECT_EQ(replace("ab", "abc", "x"), (Replaced{0, "ab"}));
}

TEST(Replacing, AnEmptySearchStringIsFoundNowhere) {
  EXPECT_EQ(replace("abc", "", "x"), (Replaced{0, "abc"}));
}

TEST(Replacing, NullArgumentsAreRefused) {
  char text[] = "a.b";
  EXPECT_EQ(record([&] {
              EXPECT_EQ(replace_string(nullptr, ".", "-"), -1);
              EXPECT_EQ(replace_string(text, nullptr, "-"), -1);
              EXPECT_EQ(replace_string(text, ".", nullptr), -1);
            }),
            lines({}));
  EXPECT_STREQ(text, "a.b");
}

TEST(Replacing, ATextOf255CharactersFitsAndALongerOneIsRefused) {
  const std::string fits = std::string(254, 'x') + ".";
  EXPECT_EQ(replace(fits, ".", "-"), (Replaced{1, std::string(254, 'x') + "-"}));
  const std::string too_long = std::string(255, 'x') + ".";
  EXPECT_EQ(replace(too_long, ".", "-"), (Replaced{-1, too_long}));
  EXPECT_EQ(replace(too_long, ",", "-"), (Replaced{-1, too_long}));
}

TEST(Replacing, AResultOver255CharactersIsRefusedWhereverItOverflows) {
  // In the replacement, in what stands before a match, and in the rest.
  EXPECT_EQ(replace("..", ".", std::string(128, 'y')), (Replaced{-1, ".."}));
  EXPECT_EQ(replace(".", ".", std::string(256, 'y')), (Replaced{-1, "."}));
  EXPECT_EQ(replace(".", ".", std::string(255, 'y')), (Replaced{1, std::string(255, 'y')}));
  const std::string before = "." + std::string(200, 'x') + ".";
  EXPECT_EQ(replace(before, ".", std::string(56, 'y')), (Replaced{-1, before}));
  const std::string rest = "." + std::string(200, 'x');
  EXPECT_EQ(replace(rest, ".", std::string(56, 'y')), (Replaced{-1, rest}));
  EXPECT_EQ(replace(rest, ".", std::string(55, 'y')),
            (Replaced{1, std::string(55, 'y') + std::string(200, 'x')}));
}
