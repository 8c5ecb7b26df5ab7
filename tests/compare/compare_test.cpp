// The comparisons, string_diff, the ordering predicates, string_compare_one_of and
// string_containsIgnoreCase: one table of behaviour, and the family against a model over random
// short texts.
#include <algorithm>
#include <climits>
#include <cstring>

#include <gtest/gtest.h>

#include "qor/qorstl.h"
#include "test_util.h"

const auto Sign = [](int v) { return (v > 0) - (v < 0); };
constexpr int kMore = 999;  // a table entry of +-kMore promises only the sign
const auto Diff = [](int got, int want) { return want % kMore ? got : Sign(got) * kMore; };

TEST(Compare, TableOfBehaviour) {
  // clang-format off
  // n: the count for the bounded forms; INT_MAX or a negative one also checks the unbounded ones.
  // exact, folded: signs of the comparisons with case_sensitive true and false. contains:
  // string_containsIgnoreCase(a, b). two, ptr: string_diff(a, b, false), and with b's text as a
  // pointer; with the pointer first it is -ptr. len: great_len(a, b) - less_len(a, b).
  struct Case { std::string a, b; int n, exact, folded; bool contains; int two, ptr, len; bool greater; };
  const Case cases[] = {
      {"abc", "ABC", INT_MAX, 1, 0, true, 0, 0, 0, true},
      {"[", "A", INT_MAX, 1, -1, false, -kMore, -kMore, 0, true},  // folding is to lower case
      {"", "a", INT_MAX, -1, -1, false, -1, -97, -1, false},  // an empty text contains nothing
      {"ab", "ab\xC3\xA9", INT_MAX, -1, -1, false, -2, -195, -1, false},  // next byte unsigned
      {"AB", "abZ", INT_MAX, -1, -1, false, -1, -90, -1, false},  // the next byte is not folded
      {"\xC3", "a", INT_MAX, 1, 1, false, kMore, kMore, 0, true},  // bytes are unsigned values
      {"\xC4", "\xE4", INT_MAX, -1, -1, false, -kMore, -kMore, 0, false},  // no folding at 0x80 up
      {std::string("ab\0cd", 5), "ab", INT_MAX, 0, 0, true, 3, 0, 1, true},  // zero ends a text
      {"abcD", "ABCx", 3, 1, 0, false, -kMore, -kMore, 0, true},  // wide forms count characters
      {"abc", "", 0, 0, 0, false, 3, kMore, 1, true},  // an empty part is never contained
      {"abc", "ABD", INT_MIN, 1, -1, false, -kMore, -kMore, 0, true},
  };
  // clang-format on
  auto one_of = [](const std::string& text, const std::vector<std::string>& list) {
    return std::make_pair(qor::string_compare_one_of(text, list, false),
                          qor::string_compare_one_of(text, list, true));
  };
  EXPECT_EQ(one_of("ab", {}), std::make_pair(-1, -1));
  EXPECT_EQ(one_of("any", {"", "any"}), std::make_pair(1, 0));  // an empty entry prefixes any text
  EXPECT_EQ(one_of({"a\0b", 3}, {{"a\0c", 3}, {"a\0", 2}, "a"}), std::make_pair(-1, 1));
  EXPECT_EQ(one_of("abc", {"abd", "Abc", "abc", "abc"}), std::make_pair(2, 2));
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::make_tuple(c.a, c.b, c.n)));
    std::wstring wa(c.a.begin(), c.a.end()), wb(c.b.begin(), c.b.end());
    for (std::wstring* w : {&wa, &wb})
      for (wchar_t& ch : *w) ch &= 0xFF;  // bytes' values
    const char *a = c.a.c_str(), *b = c.b.c_str();
    const std::vector<char> text(b, b + std::strlen(b) + 1);  // no byte past the terminator
    const wchar_t *pa = wa.c_str(), *pb = wb.c_str();
    EXPECT_EQ(qor::string_containsIgnoreCase(c.a, c.b), c.contains);
    EXPECT_EQ(Diff(qor::string_diff(c.a, c.b, false), c.two), c.two);
    EXPECT_EQ(Diff(qor::string_diff(c.a, text.data(), false), c.ptr), c.ptr);
    EXPECT_EQ(Diff(qor::string_diff(text.data(), c.a, false), -c.ptr), -c.ptr);
    EXPECT_EQ(qor::great_len(c.a, c.b) - qor::less_len(c.a, c.b), c.len);
    EXPECT_EQ(qor::greater(c.a, c.b), c.greater);
    for (bool cs : {true, false}) {
      const std::vector<int> got = {
          qor::qor_strncmp(a, b, c.n, cs),   qor::qor_wsncmp(pa, pb, c.n, cs),
          qor::qor_strcmp(a, b, cs),         qor::qor_wcscmp(pa, pb, cs),
          qor::string_compare(c.a, c.b, cs), qor::string_compare(c.a, b, cs),
          qor::string_compare(a, c.b, cs),   qor::wstring_compare(wa, wb, cs),
          qor::wstring_compare(wa, pb, cs),  qor::wstring_compare(pa, wb, cs)};
      // The bounded forms, and all forms when the count leaves them unbounded.
      for (std::size_t i = 0; i < (c.n == INT_MAX || c.n < 0 ? 10u : 2u); ++i)
        EXPECT_EQ(Sign(got[i]), cs ? c.exact : c.folded) << cs << i;
      const std::vector<int> null_answers = {
          // each negated where the null pointer comes first
          qor::string_compare(c.a, nullptr, cs), -qor::string_compare(nullptr, c.a, cs),
          qor::wstring_compare(wa, nullptr, cs), -qor::wstring_compare(nullptr, wa, cs),
          qor::string_diff(c.a, nullptr, cs),    -qor::string_diff(nullptr, c.a, cs)};
      EXPECT_EQ(null_answers, std::vector<int>(6, int(c.a.size()))) << cs;
    }
  }
}

// Model: bytes as unsigned values, ASCII letters folded to lower case unless case-sensitive.
const auto Fold = [](unsigned char c, bool cs) { return cs || c < 'A' || c > 'Z' ? +c : c + 32; };

// Sign of comparing the zero-terminated texts x and y over at most n bytes.
static int ModelCompare(const char* x, const char* y, std::size_t n, bool cs) {
  for (std::size_t i = 0; i < n && (i == 0 || x[i - 1] != '\0'); ++i)
    if (Fold(x[i], cs) != Fold(y[i], cs)) return Fold(x[i], cs) < Fold(y[i], cs) ? -1 : 1;
  return 0;
}

TEST(Compare, MatchesModelOnRandomText) {
  const std::string alphabet("aAb\xC3\xE3\0", 6);
  std::mt19937 rng(7);
  for (int iter = 0; iter < 20000 && !HasFailure(); ++iter) {
    const int n = int(rng() % 8) - 2, cs = int(rng() % 2);
    const std::string a = qor_test::RandomFrom(rng, alphabet, 4),
                      b = qor_test::RandomFrom(rng, alphabet, 4),
                      t = qor_test::RandomFrom(rng, alphabet.substr(0, 5), 5);
    // The pointer's text in a block ending at its terminator, so that the sanitizer build reports
    // any read past it.
    const std::vector<char> ptr(t.c_str(), t.c_str() + t.size() + 1);
    SCOPED_TRACE(testing::PrintToString(std::make_tuple(a, b, t, n, cs)));
    EXPECT_EQ(Sign(qor::qor_strncmp(a.c_str(), b.c_str(), n, cs)),
              ModelCompare(a.c_str(), b.c_str(), n < 0 ? SIZE_MAX : std::size_t(n), cs));
    int two = ModelCompare(a.c_str(), b.c_str(), std::min(a.size(), b.size()), cs) * kMore;
    if (two == 0) two = int(a.size()) - int(b.size());
    EXPECT_EQ(Diff(qor::string_diff(a, b, cs), two), two);
    int second = ModelCompare(a.c_str(), ptr.data(), a.size(), cs) * kMore;
    if (second == 0 && a.find('\0') == std::string::npos) second = -(unsigned char)ptr[a.size()];
    EXPECT_EQ(Diff(qor::string_diff(a, ptr.data(), cs), second), second);
    EXPECT_EQ(qor::greater(a, b), b < a);  // std::string orders bytes as unsigned values
    auto same = [](char x, char y) { return Fold(x, false) == Fold(y, false); };
    EXPECT_EQ(qor::string_containsIgnoreCase(a, b),
              !b.empty() && std::search(a.begin(), a.end(), b.begin(), b.end(), same) != a.end());
  }
}
