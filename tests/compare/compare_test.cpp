// Tests of the three-way comparisons on pointers and strings, and of string_containsIgnoreCase.
#include <climits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

int Sign(int v) {
  return (v > 0) - (v < 0);
}

std::wstring Widen(const std::string& s) {
  std::wstring w;
  for (unsigned char c : s) w.push_back(static_cast<wchar_t>(c));
  return w;
}

constexpr int kWhole = INT_MAX;  // marks the unbounded comparisons in the table below

TEST(Compare, FlagPicksExactOrFoldedComparison) {
  struct Case {
    std::string a, b;
    int n;  // count for the bounded forms, kWhole for the unbounded ones
    int exact, folded;
  };
  const Case cases[] = {
      {"abc", "ABC", kWhole, 1, 0},
      {"Apple", "apple", kWhole, -1, 0},
      {"[", "A", kWhole, 1, -1},  // folding is to lower case: '[' sorts between 'A' and 'a'
      {"", "", kWhole, 0, 0},
      {"a", "", kWhole, 1, 1},
      {"ab", "abc", kWhole, -1, -1},
      {"\xC3", "a", kWhole, 1, 1},  // bytes compare as unsigned values
      {std::string("ab\0x", 4), std::string("ab\0y", 4), kWhole, 0, 0},  // zero ends the text
      {"abcd", "abcx", 3, 0, 0},
      {"abcd", "ABCX", 4, 1, -1},
      {"abc", "xyz", 0, 0, 0},
      {"ab1", "ab2", 2, 0, 0},
      {"ab1", "ab2", 3, -1, -1},  // counts characters, not bytes, in the wide form
      {"abc", "abd", -1, -1, -1},
      {"abc", "ABD", INT_MIN, 1, -1},  // a negative count compares like the unbounded form
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.a + " / " + c.b + " n=" + std::to_string(c.n));
    const std::wstring wa = Widen(c.a), wb = Widen(c.b);
    for (bool exact : {true, false}) {
      const int want = exact ? c.exact : c.folded;
      if (c.n == kWhole) {
        EXPECT_EQ(Sign(qor::qor_strcmp(c.a.c_str(), c.b.c_str(), exact)), want);
        EXPECT_EQ(Sign(qor::qor_wcscmp(wa.c_str(), wb.c_str(), exact)), want);
        EXPECT_EQ(Sign(qor::string_compare(c.a, c.b, exact)), want);
        EXPECT_EQ(Sign(qor::string_compare(c.a, c.b.c_str(), exact)), want);
        EXPECT_EQ(Sign(qor::string_compare(c.a.c_str(), c.b, exact)), want);
        EXPECT_EQ(Sign(qor::wstring_compare(wa, wb, exact)), want);
        EXPECT_EQ(Sign(qor::wstring_compare(wa, wb.c_str(), exact)), want);
        EXPECT_EQ(Sign(qor::wstring_compare(wa.c_str(), wb, exact)), want);
      } else {
        EXPECT_EQ(Sign(qor::qor_strncmp(c.a.c_str(), c.b.c_str(), c.n, exact)), want);
        EXPECT_EQ(Sign(qor::qor_wsncmp(wa.c_str(), wb.c_str(), c.n, exact)), want);
      }
    }
  }
}

TEST(Compare, NullPointerAnswersWithTheLength) {
  for (const std::string s : {"", "hello", "h\xC3\xA9llo"}) {
    const std::wstring w = Widen(s);
    const int len = static_cast<int>(s.size()), wlen = static_cast<int>(w.size());
    for (bool exact : {true, false}) {
      SCOPED_TRACE(s);
      EXPECT_EQ(qor::string_compare(s, nullptr, exact), len);
      EXPECT_EQ(qor::string_compare(nullptr, s, exact), -len);
      EXPECT_EQ(qor::wstring_compare(w, nullptr, exact), wlen);
      EXPECT_EQ(qor::wstring_compare(nullptr, w, exact), -wlen);
    }
  }
}

TEST(ContainsIgnoreCase, FoldsAsciiLettersOnly) {
  struct Case {
    std::string text, part;
    bool expected;
  };
  const Case cases[] = {
      {"Hello World", "WORLD", true},
      {"Hello World", "o w", true},
      {"Hello", "", false},
      {"", "", false},
      {"", "a", false},
      {"abc", "abcd", false},
      {"\xC3\x84", "\xC3\xA4", false},  // no folding above 0x7F
      {"x\xC3\x84y", "\xC3\x84Y", true},
      {std::string("A\0B", 3), std::string("a\0b", 3), true},
      {std::string("A\0B", 3), "ab", false},
      {"aaaB", "AAB", true},
      {"[", "{", false},  // only letters fold
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_containsIgnoreCase(c.text, c.part), c.expected)
        << c.text << " / " << c.part;
  }
}

TEST(ContainsIgnoreCase, MatchesModelOnRandomText) {
  auto fold = [](std::string s) {
    for (char& ch : s) ch = (ch >= 'A' && ch <= 'Z') ? char(ch - 'A' + 'a') : ch;
    return s;
  };
  auto model = [&](const std::string& text, const std::string& part) {
    const std::string t = fold(text), p = fold(part);
    if (t.empty() || p.empty()) return false;
    for (std::size_t i = 0; i + p.size() <= t.size(); ++i)
      if (t.compare(i, p.size(), p) == 0) return true;
    return false;
  };
  const char alphabet[] = {'a', 'A', 'b', 'B', '\0', '\xC3', '\xE3', '@'};
  std::mt19937 rng(31);
  auto random_string = [&](std::size_t max_len) {
    std::string s(rng() % (max_len + 1), ' ');
    for (char& ch : s) ch = alphabet[rng() % sizeof alphabet];
    return s;
  };
  for (int iter = 0; iter < 20000; ++iter) {
    const std::string text = random_string(12), part = random_string(4);
    ASSERT_EQ(qor::string_containsIgnoreCase(text, part), model(text, part))
        << testing::PrintToString(text) << " / " << testing::PrintToString(part);
  }
}

}  // namespace
