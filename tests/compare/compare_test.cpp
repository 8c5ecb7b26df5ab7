// The comparisons, string_diff, the ordering predicates, string_compare_one_of and
// string_containsIgnoreCase: a table of behaviour per function, and the family against a model over
// random short texts. The process runs in the "C" locale, where case folding touches only A to Z.
#include <algorithm>
#include <cctype>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "models/case_fold_model.h"
#include "qor/qorstl.h"
#include "test_util.h"

namespace {

using qor_test::Hex;

// clang-format off
int Sign(int v) { return (v > 0) - (v < 0); }
// An expected result of -1, 0 or 1 promises only a sign (passed on from the C library); any other
// an exact value (computed by the library).
int Shape(int got, int want) { return want == Sign(want) ? Sign(got) : got; }
// clang-format on

// The zero-terminated text of `s` in a block ending at its terminator, so that the sanitizer build
// reports any read past it.
std::vector<char> Terminated(const std::string& s) {
  return std::vector<char>(s.c_str(), s.c_str() + std::strlen(s.c_str()) + 1);
}

// Signs with case_sensitive true (exact) and false (folded) of the narrow and wide comparisons (the
// compare fuzz target holds the string/pointer overloads to these), the bounded forms over at most
// n units. A count of 0 compares nothing, a negative one does not bound.
// A null pointer is an empty text: the string's length in its units, negated when it comes first.
TEST(Comparisons, SignsWithAndWithoutCase) {
  // clang-format off
  struct Case { std::string a, b; int n, exact, folded; };
  const Case cases[] = {
      {"[", "A", -1, 1, -1},             // folding is to lower case: '[' orders before 'a'
      {"", "a", -1, -1, -1},
      {"\xC3", "a", -1, 1, 1},           // bytes compare as unsigned values
      {"\xC4", "\xE4", -1, -1, -1},      // no folding at 0x80 and above
      {{"ab\0cd", 5}, "ab", -1, 0, 0},   // a zero byte ends the text
      {"abcD", "ABCx", 3, 1, 0},
      {"abc", "xyz", 0, 0, 0},
      {"abc", "ABD", INT_MIN, 1, -1},
      {"ab", "abc", INT_MAX, -1, -1},
  };
  // clang-format on
  const wchar_t* const no_wide = nullptr;
  for (const Case& c : cases) {
    SCOPED_TRACE(Hex(c.a) + " " + Hex(c.b) + " " + std::to_string(c.n));
    const std::wstring a = qor_test::WidenBytes(c.a), b = qor_test::WidenBytes(c.b);
    for (bool cs : {true, false}) {
      const int want = cs ? c.exact : c.folded;
      EXPECT_EQ(Sign(qor::qor_strncmp(c.a.c_str(), c.b.c_str(), c.n, cs)), want) << cs;
      EXPECT_EQ(Sign(qor::qor_wsncmp(a.c_str(), b.c_str(), c.n, cs)), want) << cs;
      if (c.n != -1) continue;  // the unbounded forms only where the count does not bound
      EXPECT_EQ(Sign(qor::qor_strcmp(c.a.c_str(), c.b.c_str(), cs)), want) << cs;
      EXPECT_EQ(Sign(qor::qor_wcscmp(a.c_str(), b.c_str(), cs)), want) << cs;
      EXPECT_EQ(Sign(qor::string_compare(c.a, c.b, cs)), want) << cs;
      EXPECT_EQ(Sign(qor::wstring_compare(a, b, cs)), want) << cs;
      EXPECT_EQ(qor::wstring_compare(a, no_wide, cs), int(a.size())) << cs;  // an empty text
      EXPECT_EQ(qor::wstring_compare(no_wide, a, cs), -int(a.size())) << cs;
    }
  }
}

// two: string_diff(a, b); pointer_second: string_diff(a, b's text as a pointer), whose negation
// string_diff(b's text, a) must be.
TEST(StringDiff, AProperPrefixOrdersFirst) {
  // clang-format off
  struct Case { std::string a, b; bool case_sensitive; int two, pointer_second; };
  const Case cases[] = {
      {"abcd", "ab", false, 2, 1},
      {"", "xyz", false, -3, -120},              // minus the pointer's next byte
      {"ABC", "abc", true, -1, -1},
      {"ab", "ab\xC3\xA9", false, -2, -195},     // the next byte is unsigned
      {"AB", "abZZ", false, -2, -90},            // the next byte is not folded
      {{"ab\0cd", 5}, "ab", false, 3, 0},        // nothing past the pointer's end
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(Hex(c.a) + " " + Hex(c.b) + " " + std::to_string(c.case_sensitive));
    const std::vector<char> b_text = Terminated(c.b);
    const int two = qor::string_diff(c.a, c.b, c.case_sensitive),
              second = qor::string_diff(c.a, b_text.data(), c.case_sensitive),
              first = qor::string_diff(b_text.data(), c.a, c.case_sensitive);
    EXPECT_EQ(Shape(two, c.two), c.two);
    EXPECT_EQ(Shape(second, c.pointer_second), c.pointer_second);
    EXPECT_EQ(Shape(first, -c.pointer_second), -c.pointer_second);
  }
}

TEST(StringCompareOneOf, FindsTheFirstEqualOrPrefixEntry) {
  // clang-format off
  struct Case { std::string text; std::vector<std::string> list; int equal_index, prefix_index; };
  const Case cases[] = {
      {"ab", {}, -1, -1},
      {"hello", {"he", "hello"}, 1, 0},
      {"", {"x", ""}, 1, 1},                         // an empty entry prefixes any text
      {"ab", {"abc"}, -1, -1},                       // an entry longer than the text never matches
      {"Hello", {"hello"}, -1, -1},                  // no folding
      {{"a\0b", 3}, {{"a\0c", 3}, {"a\0", 2}, "a"}, -1, 1},
      {"abc", {"abd", "Abc", "abc", "abc"}, 2, 2},   // the first of equal entries
  };
  // clang-format on
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_compare_one_of(c.text, c.list, false), c.equal_index) << Hex(c.text);
    EXPECT_EQ(qor::string_compare_one_of(c.text, c.list, true), c.prefix_index) << Hex(c.text);
  }
}

// Also the predicates and string_containsIgnoreCase, whose empty part is never contained.
TEST(Compare, MatchesModelOnRandomText) {
  const std::string alphabet("aAb[{\xC3\xE3\0", 8);
  std::mt19937 rng(7);
  for (int iter = 0; iter < 20000 && !HasFailure(); ++iter) {
    const int n = int(rng() % 8) - 2;
    const bool cs = rng() % 2 != 0;
    const std::string a = qor_test::RandomFrom(rng, alphabet, 4),
                      b = qor_test::RandomFrom(rng, alphabet, 4);
    const std::vector<char> ptr = Terminated(b);  // b up to its first zero byte
    SCOPED_TRACE(testing::PrintToString(std::make_tuple(a, b, n, cs)));
    EXPECT_EQ(Sign(qor::qor_strncmp(a.c_str(), b.c_str(), n, cs)),
              qor_test::CompareFolded(a.c_str(), b.c_str(), n < 0 ? SIZE_MAX : std::size_t(n), cs));

    const int common =
        qor_test::CompareFolded(a.c_str(), b.c_str(), std::min(a.size(), b.size()), cs);
    const int two = common != 0 ? common : int(a.size() - b.size());
    EXPECT_EQ(Shape(qor::string_diff(a, b, cs), two), two);
    // The pointer second: compared over a's length, then minus the pointer's next byte, unless a
    // holds a zero byte, where the pointer's text ends.
    const int over_a = qor_test::CompareFolded(a.c_str(), ptr.data(), a.size(), cs);
    const int second =
        over_a != 0 || a.find('\0') != std::string::npos ? over_a : -(unsigned char)ptr[a.size()];
    EXPECT_EQ(Shape(qor::string_diff(a, ptr.data(), cs), second), second);
    EXPECT_EQ(Shape(qor::string_diff(ptr.data(), a, cs), -second), -second);
    // A null pointer is an empty text: the string's length, negated when the pointer comes first.
    const char* const none = nullptr;
    EXPECT_EQ(qor::string_compare(a, none, cs), int(a.size()));
    EXPECT_EQ(qor::string_compare(none, a, cs), -int(a.size()));
    EXPECT_EQ(qor::string_diff(a, none, cs), int(a.size()));
    EXPECT_EQ(qor::string_diff(none, a, cs), -int(a.size()));
    EXPECT_EQ(qor::greater(a, b), b < a);  // std::string orders bytes as unsigned values
    EXPECT_EQ(qor::less_len(a, b), a.size() < b.size());
    EXPECT_EQ(qor::great_len(a, b), a.size() > b.size());
    EXPECT_EQ(qor::string_containsIgnoreCase(a, b), qor_test::ContainsFolded(a, b));
  }
}

// Every text length from 0 to 70 and around the sixteen-byte blocks of the scan for first bytes
// (texts over 32 bytes): parts cut from every start of the text, letters in either case, now and
// then one byte changed, so that near-misses, matches at both ends and parts that begin with a
// byte above 0x7F or a zero byte all occur.
TEST(ContainsIgnoreCase, EveryShortLengthAgainstTheModel) {
  const std::string letters("aAbB[{\xC3\xE3\0", 9);
  std::mt19937 rng(32);
  std::vector<std::size_t> lengths;
  for (std::size_t n = 0; n <= 70; ++n) lengths.push_back(n);
  for (std::size_t n : {95, 96, 97, 127, 128, 129, 255, 256, 257}) lengths.push_back(n);
  for (std::size_t n : lengths) {
    std::string text(n, 'a');
    for (char& c : text) c = letters[rng() % letters.size()];
    for (std::size_t start = 0; start <= n && !HasFailure(); ++start) {
      std::string part = text.substr(start, 1 + rng() % 6);
      for (char& c : part)
        if (std::isalpha(static_cast<unsigned char>(c)) && rng() % 2) c = char(c ^ 0x20);
      if (!part.empty() && rng() % 4 == 0)
        part[rng() % part.size()] = letters[rng() % letters.size()];
      EXPECT_EQ(qor::string_containsIgnoreCase(text, part), qor_test::ContainsFolded(text, part))
          << Hex(text) << " / " << Hex(part);
    }
  }
}

// Under a Latin-1 locale, whose tolower also maps 0xC0..0xDE to 0xE0..0xFE, the containment test
// still folds only the bytes below 0x80: short texts, scanned byte by byte, and long ones, whose
// first bytes are looked up among the locale's folds.
TEST(ContainsIgnoreCase, FoldsOnlyAsciiUnderLatin1) {
  setenv("LOCPATH", QORSTL_TEST_LOCALE_DIR, 0);
  const std::string saved = std::setlocale(LC_CTYPE, nullptr);
  if (std::setlocale(LC_CTYPE, "de_DE.ISO-8859-1") == nullptr)
    GTEST_SKIP() << "no de_DE.ISO-8859-1 locale was made";
  ASSERT_EQ(std::tolower(0xC4), 0xE4);
  const std::string pad(300, '.');
  // clang-format off
  const struct { std::string text, part; bool contained; } cases[] = {
      {"Hello World", "WORLD", true},
      {"\xC4rger", "\xE4rger", false},   // Latin-1 letters are not folded
      {"\xE4rger", "\xE4RGER", true},
      {"x\xC3\x84", "\xC3\xA4", false},
      {pad + "\xC4rger", "\xE4rger", false},
      {pad + "\xE4rGer", "\xE4RgER", true},
      {pad + "Stra\xDF" "e", "STRA\xDF" "E", true},
      {pad.substr(0, 40) + "\xC4rger", "\xE4rger", false},
      {pad.substr(0, 40) + "\xC4rGer", "\xC4RgER", true},
  };
  // clang-format on
  for (const auto& c : cases)
    EXPECT_EQ(qor::string_containsIgnoreCase(c.text, c.part), c.contained) << Hex(c.part);
  std::setlocale(LC_CTYPE, saved.c_str());
}

}  // namespace
