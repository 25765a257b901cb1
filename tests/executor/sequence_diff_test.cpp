#include "executor/sequence_diff.hpp"

#include <gtest/gtest.h>

#include <string>

namespace executor {
namespace {

using Kind = DiffStep::Kind;

std::vector<DiffStep> diff(const std::string& before, const std::string& after, DiffOrder order) {
  return sequence_diff(before.size(), after.size(), order,
                       [&](size_t i, size_t k) { return before[i] == after[k]; });
}

/* "=a -b +c" */
std::string text(const std::string& before, const std::string& after, DiffOrder order) {
  std::string result;
  for (const DiffStep& step : diff(before, after, order)) {
    result += step.kind == Kind::kept ? '=' : step.kind == Kind::removed ? '-' : '+';
    result += step.kind == Kind::added ? after[step.after] : before[step.before];
  }
  return result;
}

/* By trying every subset of `before`. */
size_t longest_common(const std::string& before, const std::string& after) {
  size_t longest = 0;
  for (unsigned subset = 0; subset < 1U << before.size(); ++subset) {
    size_t kept = 0;
    size_t at = 0;
    bool fits = true;
    for (size_t i = 0; i < before.size() && fits; ++i) {
      if ((subset >> i & 1U) != 0) {
        at = after.find(before[i], at);
        fits = at++ != std::string::npos;
        ++kept;
      }
    }
    longest = fits && kept > longest ? kept : longest;
  }
  return longest;
}

TEST(SequenceDiff, KeepsWhatBothHave) {
  EXPECT_EQ(text("", "", DiffOrder::removed_first), "");
  EXPECT_EQ(text("abc", "abc", DiffOrder::removed_first), "=a=b=c");
  EXPECT_EQ(text("", "ab", DiffOrder::removed_first), "+a+b");
  EXPECT_EQ(text("ab", "", DiffOrder::removed_first), "-a-b");
  EXPECT_EQ(text("abcd", "axcd", DiffOrder::removed_first), "=a-b+x=c=d");
}

TEST(SequenceDiff, OrderDecidesWhereTwoWaysAreEquallyLong) {
  EXPECT_EQ(text("ab", "ba", DiffOrder::removed_first), "-a=b+a");
  EXPECT_EQ(text("ab", "ba", DiffOrder::added_first), "+b=a-b");
}

/* Every pair of words of up to four letters out of three. */
TEST(SequenceDiff, LeadsFromOneToTheOtherByKeepingMost) {
  std::vector<std::string> words = {""};
  for (size_t i = 0; i < words.size() && words[i].size() < 4; ++i) {
    for (const char* letter : {"a", "b", "c"}) {
      words.push_back(words[i] + letter);
    }
  }
  for (const std::string& before : words) {
    for (const std::string& after : words) {
      for (const DiffOrder order : {DiffOrder::removed_first, DiffOrder::added_first}) {
        std::string from;
        std::string to;
        size_t kept = 0;
        for (const DiffStep& step : diff(before, after, order)) {
          from += step.kind != Kind::added ? std::string(1, before[step.before]) : "";
          to += step.kind != Kind::removed ? std::string(1, after[step.after]) : "";
          kept += step.kind == Kind::kept ? 1 : 0;
        }
        ASSERT_EQ(from, before);
        ASSERT_EQ(to, after);
        ASSERT_EQ(kept, longest_common(before, after)) << before << ' ' << after;
      }
    }
  }
}

}  // namespace
}  // namespace executor
