// Tests of string_diff, the ordering predicates and string_compare_one_of.
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

int Sign(int v) {
  return (v > 0) - (v < 0);
}
std::string Show(const std::string& s) {
  return testing::PrintToString(s);
}

// A heap block holding `text` and its terminator and nothing more, so that AddressSanitizer
// reports any read past the terminator.
std::unique_ptr<char[]> ExactCopy(const std::string& text) {
  std::unique_ptr<char[]> block(new char[text.size() + 1]);
  std::memcpy(block.get(), text.c_str(), text.size() + 1);
  return block;
}

struct Expected {
  int value;
  bool exact;  // false: only the sign of `value` is promised
};

void ExpectResult(int got, Expected want) {
  if (want.exact) {
    EXPECT_EQ(got, want.value);
  } else {
    EXPECT_EQ(Sign(got), Sign(want.value)) << got;
  }
}

TEST(StringDiff, PointerFormsAnswerAPrefixWithTheNextByte) {
  struct Case {
    std::string str, text;  // the string operand, and the pointer's zero-terminated text
    bool case_sensitive;
    Expected want;  // of string_diff(str, text); the pointer-first form must give its negation
  };
  const Case cases[] = {
      {"ab", "abc", true, {-99, true}},
      {"ab", "ab\xC3\xA9", true, {-195, true}},  // a high next byte still orders after
      {"AB", "abZ", false, {-90, true}},         // the next byte is not folded
      {"abc", "ab", true, {1, false}},
      {std::string("ab\0cd", 5), "ab", true, {0, true}},  // text ends at the string's zero byte
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Show(c.str) + " / " + Show(c.text));
    const auto text = ExactCopy(c.text);
    ExpectResult(qor::string_diff(c.str, text.get(), c.case_sensitive), c.want);
    ExpectResult(qor::string_diff(text.get(), c.str, c.case_sensitive),
                 {-c.want.value, c.want.exact});
  }
  for (bool cs : {true, false}) {
    EXPECT_EQ(qor::string_diff(std::string("hello"), nullptr, cs), 5);
    EXPECT_EQ(qor::string_diff(nullptr, std::string("hello"), cs), -5);
    EXPECT_EQ(qor::string_diff(std::string(), nullptr, cs), 0);
    EXPECT_EQ(qor::string_diff(nullptr, std::string(), cs), 0);
  }
}

// Models of the three forms, written from the rule; bytes compare as unsigned values, folded to
// lower case (ASCII letters only, as in the C locale) when not case-sensitive.
unsigned char Fold(char c, bool cs) {
  const auto b = static_cast<unsigned char>(c);
  return (!cs && b >= 'A' && b <= 'Z') ? static_cast<unsigned char>(b + 32) : b;
}

Expected ModelTwoStrings(const std::string& a, const std::string& b, bool cs) {
  const std::size_t n = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < n; ++i) {
    if (Fold(a[i], cs) != Fold(b[i], cs)) return {Fold(a[i], cs) - Fold(b[i], cs), false};
    if (a[i] == '\0') break;
  }
  return {static_cast<int>(a.size()) - static_cast<int>(b.size()), true};
}

Expected ModelPointerSecond(const std::string& a, const char* b, bool cs) {
  for (std::size_t i = 0; i < a.size(); ++i) {  // b has no zero before a's first zero
    if (Fold(a[i], cs) != Fold(b[i], cs)) return {Fold(a[i], cs) - Fold(b[i], cs), false};
    if (a[i] == '\0') return {0, true};
  }
  return {-static_cast<unsigned char>(b[a.size()]), true};
}

TEST(StringDiff, MatchesModelOnRandomText) {
  const char alphabet[] = {'a', 'A', 'b', '\xC3', '\0'};
  std::mt19937 rng(7);
  auto random_string = [&](bool zeros) {
    std::string s(rng() % 5, ' ');
    for (char& ch : s) ch = alphabet[rng() % (sizeof alphabet - (zeros ? 0 : 1))];
    return s;
  };
  for (int iter = 0; iter < 20000; ++iter) {
    const bool cs = rng() % 2 == 0;
    const std::string a = random_string(true), b = random_string(true), text = random_string(false);
    const auto ptr = ExactCopy(text);
    SCOPED_TRACE(Show(a) + " / " + Show(b) + " / " + Show(text) + (cs ? " exact" : " folded"));
    ExpectResult(qor::string_diff(a, b, cs), ModelTwoStrings(a, b, cs));
    const Expected second = ModelPointerSecond(a, ptr.get(), cs);
    ExpectResult(qor::string_diff(a, ptr.get(), cs), second);
    ExpectResult(qor::string_diff(ptr.get(), a, cs), {-second.value, second.exact});
    if (HasFailure()) return;
  }
}

TEST(Ordering, PredicatesAreStrictAndByteWise) {
  struct Case {
    std::string a, b;
    bool less_len, great_len, greater;  // of (a, b)
  };
  const Case cases[] = {
      {"ab", "cd", false, false, false},
      {"b", "abc", true, false, true},
      {"ab", "abc", true, false, false},
      {"abc", "ab", false, true, true},
      {"a", "a", false, false, false},
      {"\xC3", "z", false, false, true},
      {"", "", false, false, false},
      {"x", "", false, true, true},
      {"", "x", true, false, false},
      {"a", "B", false, false, true},
      {std::string("a\0", 2), "a", false, true, true},
      {std::string("a\0b", 3), "a\x01", false, true, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Show(c.a) + " / " + Show(c.b));
    EXPECT_EQ(qor::less_len(c.a, c.b), c.less_len);
    EXPECT_EQ(qor::great_len(c.a, c.b), c.great_len);
    EXPECT_EQ(qor::greater(c.a, c.b), c.greater);
  }
}

TEST(CompareOneOf, FindsTheFirstEqualOrPrefixEntry) {
  struct Case {
    std::string text;
    std::vector<std::string> list;
    int whole, prefix;  // results with match_prefix false and true
  };
  const Case cases[] = {
      {"hello", {"he", "hello"}, 1, 0},
      {"ab", {"abc"}, -1, -1},
      {"ab", {}, -1, -1},
      {"", {"x", ""}, 1, 1},
      {"any", {"", "any"}, 1, 0},
      {"Hello", {"hello"}, -1, -1},
      {std::string("a\0b", 3), {"a", std::string("a\0b", 3)}, 1, 0},
      {std::string("a\0b", 3), {std::string("a\0c", 3), std::string("a\0", 2)}, -1, 1},
      {"abc", {"abd", "abc", "abc"}, 1, 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_compare_one_of(c.text, c.list, false), c.whole) << Show(c.text);
    EXPECT_EQ(qor::string_compare_one_of(c.text, c.list, true), c.prefix) << Show(c.text);
  }
}

}  // namespace
