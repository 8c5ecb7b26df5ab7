// The comparisons, string_diff, the ordering predicates, string_compare_one_of and
// string_containsIgnoreCase: a table of behaviour per function, and the family against a model over
// random short texts. The process runs in the "C" locale, where case folding touches only A to Z.
#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"
#include "test_util.h"

namespace {

// clang-format off
int Sign(int v) { return (v > 0) - (v < 0); }

// What a case promises of a result: its exact value (computed by the library), or only its sign
// (passed on from the C library).
struct Expected { int value; bool exact; };
constexpr Expected Exact(int value) { return {value, true}; }
constexpr Expected kNegative{-1, false}, kPositive{1, false};
// The reverse comparison: the negated value when exact, the opposite sign otherwise.
Expected Mirror(Expected want) { return {-want.value, want.exact}; }
// clang-format on

::testing::AssertionResult Meets(int got, Expected want) {
  if (want.exact ? got == want.value : Sign(got) == want.value)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "got " << got << ", want " << (want.exact ? "exactly " : "the sign of ") << want.value;
}

// Byte values as wide characters.
std::wstring Widen(const std::string& s) {
  std::wstring w;
  for (unsigned char c : s) w.push_back(static_cast<wchar_t>(c));
  return w;
}

// The zero-terminated text of `s` in a block ending at its terminator, so that the sanitizer build
// reports any read past it.
std::vector<char> Terminated(const std::string& s) {
  return std::vector<char>(s.c_str(), s.c_str() + std::strlen(s.c_str()) + 1);
}

// Signs with case_sensitive true (exact) and false (folded), for the narrow and wide comparisons.
// clang-format off
struct SignCase { std::string a, b; int exact, folded; };
const SignCase kSignCases[] = {
    {"abc", "ABC", 1, 0},
    {"[", "A", 1, -1},             // folding is to lower case: '[' orders before 'a'
    {"", "a", -1, -1},
    {"abc", "abc", 0, 0},
    {"\xC3", "a", 1, 1},           // bytes compare as unsigned values
    {"\xC4", "\xE4", -1, -1},      // no folding at 0x80 and above
    {{"ab\0cd", 5}, "ab", 0, 0},   // a zero byte ends the text
    {"Apple", "apple", -1, 0},
};
// clang-format on

// Each narrow and wide comparison, every overload, on the same table.
TEST(Comparisons, CompareWithAndWithoutCase) {
  for (const SignCase& c : kSignCases) {
    SCOPED_TRACE(qor_test::Hex(c.a) + " " + qor_test::Hex(c.b));
    const std::wstring a = Widen(c.a), b = Widen(c.b);
    for (bool cs : {true, false}) {
      const int want = cs ? c.exact : c.folded;
      EXPECT_EQ(Sign(qor::qor_strcmp(c.a.c_str(), c.b.c_str(), cs)), want) << cs;
      EXPECT_EQ(Sign(qor::qor_wcscmp(a.c_str(), b.c_str(), cs)), want) << cs;
      EXPECT_EQ(Sign(qor::string_compare(c.a, c.b, cs)), want) << cs;
      EXPECT_EQ(Sign(qor::string_compare(c.a, c.b.c_str(), cs)), want) << cs;
      EXPECT_EQ(Sign(qor::string_compare(c.a.c_str(), c.b, cs)), want) << cs;
      EXPECT_EQ(Sign(qor::wstring_compare(a, b, cs)), want) << cs;
      EXPECT_EQ(Sign(qor::wstring_compare(a, b.c_str(), cs)), want) << cs;
      EXPECT_EQ(Sign(qor::wstring_compare(a.c_str(), b, cs)), want) << cs;
    }
  }
}

// The bounded forms: a count of 0 compares nothing, a negative one does not bound the comparison.
// clang-format off
struct CountCase { std::string a, b; int n, exact, folded; };
const CountCase kCountCases[] = {
    {"abcd", "abcx", 3, 0, 0},
    {"abcD", "ABCx", 3, 1, 0},
    {"abc", "xyz", 0, 0, 0},
    {"abc", "ABD", -1, 1, -1},
    {"abc", "ABD", INT_MIN, 1, -1},
    {"ab", "abc", INT_MAX, -1, -1},
};
// clang-format on

TEST(BoundedComparisons, CompareAtMostTheCount) {
  for (const CountCase& c : kCountCases) {
    SCOPED_TRACE(c.a + " " + c.b + " " + std::to_string(c.n));
    const std::wstring a = Widen(c.a), b = Widen(c.b);
    for (bool cs : {true, false}) {
      const int want = cs ? c.exact : c.folded;
      EXPECT_EQ(Sign(qor::qor_strncmp(c.a.c_str(), c.b.c_str(), c.n, cs)), want) << cs;
      EXPECT_EQ(Sign(qor::qor_wsncmp(a.c_str(), b.c_str(), c.n, cs)), want) << cs;
    }
  }
}

// A null pointer is an empty text: the string's length (in its own units), negated when the
// pointer comes first, for either flag and without comparing.
TEST(NullPointer, AnswersTheLength) {
  // clang-format off
  struct Case { std::string text; int length; };
  // clang-format on
  const Case cases[] = {{"", 0}, {"hello", 5}, {{"a\0b", 3}, 3}};
  const char* const no_text = nullptr;
  const wchar_t* const no_wide = nullptr;
  for (const Case& c : cases) {
    SCOPED_TRACE(qor_test::Hex(c.text));
    const std::wstring wide = Widen(c.text);
    for (bool cs : {true, false}) {
      EXPECT_EQ(qor::string_compare(c.text, no_text, cs), c.length);
      EXPECT_EQ(qor::string_compare(no_text, c.text, cs), -c.length);
      EXPECT_EQ(qor::wstring_compare(wide, no_wide, cs), c.length);
      EXPECT_EQ(qor::wstring_compare(no_wide, wide, cs), -c.length);
      EXPECT_EQ(qor::string_diff(c.text, no_text, cs), c.length);
      EXPECT_EQ(qor::string_diff(no_text, c.text, cs), -c.length);
    }
  }
  EXPECT_EQ(qor::wstring_compare(std::wstring(L"\u00e9t\u00e9"), no_wide, true), 3);  // not bytes
}

TEST(StringContainsIgnoreCase, FoldsOnlyAsciiLetters) {
  // clang-format off
  struct Case { std::string text, part; bool contains; };
  const Case cases[] = {
      {"Hello World", "WORLD", true},
      {"abc", "", false},                  // an empty part is never contained
      {"ab", "abc", false},                // a part longer than the text
      {"\xC3\x84", "\xC3\xA4", false},     // bytes 0x80 and above are not folded
      {{"a\0B", 3}, {"\0b", 2}, true},     // zero bytes match like any other
      {"[", "{", false},
  };
  // clang-format on
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_containsIgnoreCase(c.text, c.part), c.contains)
        << qor_test::Hex(c.text) << " " << qor_test::Hex(c.part);
  }
}

TEST(StringDiff, AProperPrefixOrdersFirst) {
  // two: string_diff(a, b); pointer_second: string_diff(a, b's text as a pointer), whose mirror
  // string_diff(b's text, a) must be.
  // clang-format off
  struct Case { std::string a, b; bool case_sensitive; Expected two, pointer_second; };
  const Case cases[] = {
      {"abc", "ab", false, Exact(1), kPositive},
      {"ab", "abc", false, Exact(-1), Exact(-99)},        // minus the pointer's next byte
      {"", "", false, Exact(0), Exact(0)},
      {"", "xyz", false, Exact(-3), Exact(-120)},
      {"ABC", "abc", false, Exact(0), Exact(0)},
      {"ABC", "abc", true, kNegative, kNegative},
      {"abd", "abc", true, kPositive, kPositive},
      {"ab", "ab\xC3\xA9", false, Exact(-2), Exact(-195)},  // the next byte is unsigned
      {"AB", "abZ", false, Exact(-1), Exact(-90)},          // the next byte is not folded
      {{"ab\0cd", 5}, "ab", false, Exact(3), Exact(0)},     // nothing past the pointer's end
      {"[", "A", false, kNegative, kNegative},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(qor_test::Hex(c.a) + " " + qor_test::Hex(c.b) + " " +
                 std::to_string(c.case_sensitive));
    const std::vector<char> b_text = Terminated(c.b);
    EXPECT_TRUE(Meets(qor::string_diff(c.a, c.b, c.case_sensitive), c.two));
    EXPECT_TRUE(Meets(qor::string_diff(c.a, b_text.data(), c.case_sensitive), c.pointer_second));
    EXPECT_TRUE(
        Meets(qor::string_diff(b_text.data(), c.a, c.case_sensitive), Mirror(c.pointer_second)));
  }
}

TEST(LessLenGreatLen, OrderByLengthOnly) {
  // clang-format off
  struct Case { std::string a, b; bool less, great; };
  const Case cases[] = {
      {"ab", "cd", false, false},  // equal lengths: false both ways
      {"a", "bc", true, false},
      {"abc", "zz", false, true},
      {"", "", false, false},
  };
  // clang-format on
  for (const Case& c : cases) {
    EXPECT_EQ(qor::less_len(c.a, c.b), c.less) << c.a << " " << c.b;
    EXPECT_EQ(qor::great_len(c.a, c.b), c.great) << c.a << " " << c.b;
  }
}

TEST(Greater, OrdersUnsignedBytesWithAPrefixFirst) {
  // clang-format off
  struct Case { std::string a, b; bool greater; };
  const Case cases[] = {
      {"ab", "abc", false},
      {"abc", "ab", true},
      {"\xC3", "z", true},                   // 0xC3 is above every ASCII byte
      {"a", "", true},
      {{"a\0b", 3}, {"a\0a", 3}, true},      // zero bytes take part
      {"B", "a", false},                     // case counts
  };
  // clang-format on
  for (const Case& c : cases) {
    EXPECT_EQ(qor::greater(c.a, c.b), c.greater) << qor_test::Hex(c.a) << " " << qor_test::Hex(c.b);
  }
}

TEST(StringCompareOneOf, FindsTheFirstEqualOrPrefixEntry) {
  // clang-format off
  struct Case { std::string text; std::vector<std::string> list; int equal_index, prefix_index; };
  const Case cases[] = {
      {"ab", {}, -1, -1},
      {"hello", {"he", "hello"}, 1, 0},
      {"any", {"", "any"}, 1, 0},                    // an empty entry prefixes any text
      {"", {"x", ""}, 1, 1},
      {"ab", {"abc"}, -1, -1},                       // an entry longer than the text never matches
      {"Hello", {"hello"}, -1, -1},                  // no folding
      {{"a\0b", 3}, {{"a\0c", 3}, {"a\0", 2}, "a"}, -1, 1},
      {"abc", {"abd", "Abc", "abc", "abc"}, 2, 2},   // the first of equal entries
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(qor_test::Hex(c.text));
    EXPECT_EQ(qor::string_compare_one_of(c.text, c.list, false), c.equal_index);
    EXPECT_EQ(qor::string_compare_one_of(c.text, c.list, true), c.prefix_index);
  }
}

// Model: bytes as unsigned values, ASCII letters folded to lower case unless case-sensitive.
int Fold(unsigned char c, bool cs) {
  return cs || c < 'A' || c > 'Z' ? c : c + 32;
}

// Sign of comparing the zero-terminated texts x and y over at most n bytes.
int ModelCompare(const char* x, const char* y, std::size_t n, bool cs) {
  for (std::size_t i = 0; i < n && (i == 0 || x[i - 1] != '\0'); ++i) {
    const int fx = Fold(static_cast<unsigned char>(x[i]), cs);
    const int fy = Fold(static_cast<unsigned char>(y[i]), cs);
    if (fx != fy) return fx < fy ? -1 : 1;
  }
  return 0;
}

TEST(Compare, MatchesModelOnRandomText) {
  const std::string alphabet("aAb\xC3\xE3\0", 6);
  std::mt19937 rng(7);
  for (int iter = 0; iter < 20000 && !HasFailure(); ++iter) {
    const int n = int(rng() % 8) - 2;
    const bool cs = rng() % 2 != 0;
    const std::string a = qor_test::RandomFrom(rng, alphabet, 4),
                      b = qor_test::RandomFrom(rng, alphabet, 4),
                      t = qor_test::RandomFrom(rng, alphabet.substr(0, 5), 5);
    const std::vector<char> ptr = Terminated(t);
    SCOPED_TRACE(testing::PrintToString(std::make_tuple(a, b, t, n, cs)));
    EXPECT_EQ(Sign(qor::qor_strncmp(a.c_str(), b.c_str(), n, cs)),
              ModelCompare(a.c_str(), b.c_str(), n < 0 ? SIZE_MAX : std::size_t(n), cs));

    const int common = ModelCompare(a.c_str(), b.c_str(), std::min(a.size(), b.size()), cs);
    const Expected two = common != 0 ? Expected{common, false} : Exact(int(a.size() - b.size()));
    EXPECT_TRUE(Meets(qor::string_diff(a, b, cs), two));

    const int over_a = ModelCompare(a.c_str(), ptr.data(), a.size(), cs);
    const Expected second = over_a != 0 ? Expected{over_a, false}
                            : a.find('\0') != std::string::npos
                                ? Exact(0)
                                : Exact(-(unsigned char)ptr[a.size()]);
    EXPECT_TRUE(Meets(qor::string_diff(a, ptr.data(), cs), second));

    EXPECT_EQ(qor::greater(a, b), b < a);  // std::string orders bytes as unsigned values
    auto same = [](char x, char y) { return Fold(x, false) == Fold(y, false); };
    EXPECT_EQ(qor::string_containsIgnoreCase(a, b),
              !b.empty() && std::search(a.begin(), a.end(), b.begin(), b.end(), same) != a.end());
  }
}

}  // namespace
