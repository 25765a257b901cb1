/* From a dotted host name to the labels of a DNS question. */
#include <cstdio>
#include <cstring>
#include <memory>

#include "harness.hpp"

using namespace harness;

namespace {

/* Parses a copy of `name` that ends with its block of memory, into a block of 33 zero bytes, so that
 * a byte too far is found; returns all 33. */
std::string labels_of(const std::string& name, int32_t expected_result = 0) {
  const auto url = std::make_unique<char[]>(name.size() + 1);
  memcpy(url.get(), name.c_str(), name.size() + 1);
  const auto labels = std::make_unique<char[]>(33);
  EXPECT_EQ(parse_url(url.get(), labels.get()), expected_result) << name;
  return {labels.get(), 33};
}

/* Fills up with zero bytes. */
template <size_t size>
std::string padded(const char (&bytes)[size]) {
  std::string all(bytes, size - 1);
  all.resize(33);
  return all;
}

/* The same by the C library's own scan, with room for all that its width would allow. */
std::string scanned(const std::string& name) {
  char url[64] = {};
  char labels[320] = {};
  name.copy(url, name.size());
  const size_t ahead = url[0] == '.' ? 1 : 0;
  size_t position = 0;
  int count = 0;
  do {
    static_cast<void>(sscanf(url + position + ahead, "%255[^.]%n", labels + position + 1, &count));
    labels[position] = static_cast<char>(count);
    position += static_cast<size_t>(count) + 1;
  } while (position + ahead < name.size());
  return {labels, 33};
}

}  // namespace

TEST(ParseUrl, EachLabelIsPrecededByItsLength) {
  EXPECT_EQ(record([] { EXPECT_EQ(labels_of("abc.defg.hi"), padded("\3abc\4defg\2hi")); }),
            lines({debug("xxx.xxx.xx\n"), debug("url=abc.defg.hi\n"),
                   debug("resolve_url=\3abc\4defg\2hi\n")}));
}

TEST(ParseUrl, ALeadingDotBecomesTheFirstLength) {
  EXPECT_EQ(record([] { EXPECT_EQ(labels_of(".abc.de"), padded("\3abc\2de")); }),
            lines({debug(".xxx.xx\n"), debug("url=.abc.de\n"), debug("resolve_url=\3abc\2de\n")}));
}

TEST(ParseUrl, ATrailingDotIsDropped) {
  EXPECT_EQ(labels_of("abc.de."), padded("\3abc\2de"));
  EXPECT_EQ(labels_of(".abc.de."), padded("\3abc\2de"));
  EXPECT_EQ(labels_of("a."), padded("\1a"));
}

TEST(ParseUrl, OneLabelIsEnough) {
  EXPECT_EQ(labels_of("a"), padded("\1a"));
  EXPECT_EQ(labels_of(".a"), padded("\1a"));
  EXPECT_EQ(labels_of("localhost"), padded("\tlocalhost"));
}

TEST(ParseUrl, AnyByteButTheDotBelongsToALabel) {
  EXPECT_EQ(labels_of(" a\n\t.\"$`\\.\x80\xff"), padded("\4 a\n\t\4\"$`\\\2\x80\xff"));
}

TEST(ParseUrl, ANameOf31CharactersFills33Bytes) {
  EXPECT_EQ(labels_of("abcdefghijklmnopqrstuvwxyzabcde"),
            padded("\37abcdefghijklmnopqrstuvwxyzabcde"));
  EXPECT_EQ(labels_of("abcdefghijklmnopqrstuvwxyzabc.e"),
            padded("\35abcdefghijklmnopqrstuvwxyzabc\1e"));
  EXPECT_EQ(labels_of(".bcdefghijklmnopqrstuvwxyzabcde"),
            padded("\36bcdefghijklmnopqrstuvwxyzabcde"));
  EXPECT_EQ(labels_of("abcdefghijklmnopqrstuvwxyzabcd."),
            padded("\36abcdefghijklmnopqrstuvwxyzabcd"));
}

TEST(ParseUrl, AnEmptyLabelRepeatsTheLengthOfTheLabelBefore) {
  EXPECT_EQ(labels_of("a..b"), padded("\1a\1"));
  EXPECT_EQ(labels_of(".a..b"), padded("\1a\1"));
  // Three characters and a byte are left out; what follows them stands behind a zero.
  EXPECT_EQ(labels_of("abc..de.fg"), padded("\3abc\3\0\0\0\2fg"));
  EXPECT_EQ(labels_of("a...b"), padded("\1a\1\0\1b"));
}

TEST(ParseUrl, AnEmptyLabelAtTheEndReachesNoFurtherThanTheName) {
  EXPECT_EQ(labels_of("a.."), padded("\1a\1"));
  EXPECT_EQ(labels_of("a..."), padded("\1a\1"));
  EXPECT_EQ(labels_of(".a.."), padded("\1a\1"));
  EXPECT_EQ(labels_of("abcdefghij..k"), padded("\nabcdefghij\n"));
  EXPECT_EQ(labels_of("abcdefghijklmnopqrstuvwxyzabc.."),
            padded("\35abcdefghijklmnopqrstuvwxyzabc\35"));
}

TEST(ParseUrl, BeforeTheFirstLabelAnEmptyOneHasLengthZero) {
  EXPECT_EQ(labels_of(".."), padded(""));
  EXPECT_EQ(labels_of("...."), padded(""));
  EXPECT_EQ(labels_of("..............................."), padded(""));
  EXPECT_EQ(labels_of("..a"), padded("\0\1a"));
  EXPECT_EQ(labels_of("..a..b"), padded("\0\1a\1"));
  EXPECT_EQ(record([] { labels_of("...."); }),
            lines({debug(".xxx.xx\n"), debug("url=....\n"), debug("resolve_url=\n")}));
}

TEST(ParseUrl, EveryPatternOfDotsReadsAsTheScanOfTheCLibraryReadsIt) {
  int patterns = 0;
  // Up to 10 characters, and the last 10 of names of 31.
  for (const std::string& front : {std::string(), std::string(21, 'x')}) {
    for (size_t length = 1; length <= 10; ++length) {
      for (unsigned bits = 0; bits < 1U << length; ++bits) {
        std::string name = front;
        for (size_t i = 0; i < length; ++i) {
          name += (bits >> i & 1U) != 0 ? '.' : static_cast<char>('a' + i);
        }
        if (name != ".") {
          ASSERT_EQ(labels_of(name), scanned(name)) << name;
          ++patterns;
        }
      }
    }
  }
  EXPECT_EQ(patterns, 2 * 2046 - 1);
}

TEST(ParseUrl, ANameOf32CharactersOrMoreIsRejected) {
  EXPECT_EQ(
      record([] { EXPECT_EQ(labels_of("abcdefghijklmnopqrstuvwxyz.abcde", -1), padded("")); }),
      lines({error("parse_url::err! wrong string:url string's length > 31\n")}));
  EXPECT_EQ(record([] { EXPECT_EQ(labels_of(std::string(300, 'a'), -1), padded("")); }),
            lines({error("parse_url::err! wrong string:url string's length > 31\n")}));
}

TEST(ParseUrl, AnEmptyNameIsRejected) {
  EXPECT_EQ(record([] { EXPECT_EQ(labels_of("", -1), padded("")); }),
            lines({error("err:null string\n")}));
}

TEST(ParseUrl, ALoneDotIsRejected) {
  EXPECT_EQ(record([] { EXPECT_EQ(labels_of(".", -1), padded("")); }),
            lines({error("err:only '.' string\n")}));
}

TEST(ParseUrl, NullPointersAreRejectedWithoutALineFeed) {
  char labels[33] = {};
  EXPECT_EQ(record([&] { EXPECT_EQ(parse_url(nullptr, labels), -1); }),
            lines({error("parse_url::str pointer is NULLP")}));
  EXPECT_EQ(record([] { EXPECT_EQ(parse_url("abc", nullptr), -1); }),
            lines({error("parse_url::str pointer is NULLP")}));
  EXPECT_EQ(record([] { EXPECT_EQ(parse_url(nullptr, nullptr), -1); }),
            lines({error("parse_url::str pointer is NULLP")}));
}
