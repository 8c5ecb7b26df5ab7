// Tests of the single-pattern string_find and the two slicers: tables, a model over random input,
// and inputs that drive the search into its worst cases.
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

constexpr std::size_t npos = std::string::npos;

std::size_t NaiveFind(const std::string& text, const std::string& pattern) {
  for (std::size_t i = 0; i + pattern.size() <= text.size(); ++i) {
    if (text.compare(i, pattern.size(), pattern) == 0) return i;
  }
  return npos;
}

TEST(Find, ReportsEitherEndOfTheFirstMatch) {
  struct Case {
    std::string text, pattern;
    std::size_t begin, end;
  };
  const Case cases[] = {
      {"abcabc", "bc", 1, 3},
      {"abc", "", 0, 0},
      {"", "", 0, 0},
      {"abc", "c", 2, 3},
      {"ab", "abc", npos, npos},
      {"abc", "B", npos, npos},
      {"abc", "abc", 0, 3},
      {"", "a", npos, npos},
      {"aaab", "aab", 1, 4},
      {std::string("a\0b", 3), std::string("\0b", 2), 1, 3},
      {"x\xC3\xA9y", "\xA9", 2, 3},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_find(c.text, c.pattern, true), c.begin) << c.text << " / " << c.pattern;
    EXPECT_EQ(qor::string_find(c.text, c.pattern, false), c.end) << c.text << " / " << c.pattern;
  }
}

TEST(Slice, CutsAtFirstSeparator) {
  struct Case {
    std::string text, sep;
    std::size_t pos;
    std::string left, right;
  };
  const Case cases[] = {
      {"key=value", "=", 3, "key", "value"},
      {"a==b", "==", 1, "a", "b"},
      {"a,b,c", ",", 1, "a", "b,c"},
      {",x", ",", 0, "", "x"},
      {"x,", ",", 1, "x", ""},
      {"abc", "", 0, "", "abc"},
      {"abc", ";", npos, "abc", ""},
      {"ab", "abc", npos, "ab", ""},
      {"", "", 0, "", ""},
      {"", ",", npos, "", ""},
      {std::string("a\0b", 3), std::string(1, '\0'), 1, "a", "b"},
  };
  for (const Case& c : cases) {
    std::string left = "old", right = "old";
    EXPECT_EQ(qor::string_slice2(c.text, c.sep, left, right), c.pos) << c.text;
    EXPECT_EQ(left, c.left) << c.text;
    EXPECT_EQ(right, c.right) << c.text;
  }
}

TEST(Slice, CutsAtFirstByteOfTheSet) {
  struct Case {
    std::string text, set;
    std::size_t pos;
    std::string left, right;
  };
  const Case cases[] = {
      {"a=b:c", ":=", 1, "a", "b:c"},
      {"a=b:c", "::", 3, "a=b", "c"},  // repeats do not matter
      {"=x", "=", 0, "", "x"},
      {"x,", ",", 1, "x", ""},
      {"abc", "", npos, "abc", ""},
      {"", ",", npos, "", ""},
      {"abc", ";,", npos, "abc", ""},
      {"a\xC3\xA9z", "\xA9", 2, "a\xC3", "z"},  // bytes, not chars
      {std::string("a\0b", 3), std::string("\0,", 2), 1, "a", "b"},
  };
  for (const Case& c : cases) {
    std::string left = "old", right = "old";
    EXPECT_EQ(qor::string_slice_oneof2(c.text, c.set, left, right), c.pos) << c.text;
    EXPECT_EQ(left, c.left) << c.text;
    EXPECT_EQ(right, c.right) << c.text;
  }
}

TEST(Slice, RightMayBeTheTextItself) {
  std::string left, text = "key=value";
  EXPECT_EQ(qor::string_slice2(text, "=", left, text), 3u);
  EXPECT_EQ(left + "|" + text, "key|value");
  text = "a:b";
  EXPECT_EQ(qor::string_slice_oneof2(text, ";:", left, text), 1u);
  EXPECT_EQ(left + "|" + text, "a|b");
  text = "abc";  // a miss copies the text to left before emptying right
  EXPECT_EQ(qor::string_slice2(text, ";", left, text), npos);
  EXPECT_EQ(left + "|" + text, "abc|");
}

TEST(Slice, MatchesModelOnRandomText) {
  const char alphabet[] = {'a', 'b', '\0', '\xC3'};
  std::mt19937 rng(5);
  auto random_string = [&](std::size_t max_len) {
    std::string s(rng() % (max_len + 1), ' ');
    for (char& ch : s) ch = alphabet[rng() % sizeof alphabet];
    return s;
  };
  for (int iter = 0; iter < 20000; ++iter) {
    const std::string text = random_string(10), sep = random_string(3);
    SCOPED_TRACE(testing::PrintToString(text) + " / " + testing::PrintToString(sep));
    std::string left = "old", right = "old";
    const std::size_t pos = NaiveFind(text, sep);
    ASSERT_EQ(qor::string_slice2(text, sep, left, right), pos);
    ASSERT_EQ(left, text.substr(0, pos));
    ASSERT_EQ(right, pos == npos ? "" : text.substr(pos + sep.size()));

    std::size_t cut = npos;
    for (std::size_t i = 0; i < text.size() && cut == npos; ++i) {
      if (sep.find(text[i]) != npos) cut = i;
    }
    left = right = "old";
    ASSERT_EQ(qor::string_slice_oneof2(text, sep, left, right), cut);
    ASSERT_EQ(left, text.substr(0, cut));
    ASSERT_EQ(right, cut == npos ? "" : text.substr(cut + 1));
  }
}

// Long texts over two to four letters, and patterns cut from them, made periodic or mutated, so
// that candidates are dense and the search runs through its linear-time fallback too.
TEST(Find, MatchesNaiveSearchOnRepetitiveText) {
  std::mt19937 rng(11);
  for (int iter = 0; iter < 4000; ++iter) {
    // The third alphabet makes 'b' and '\0' rare, so that stretches without them occur.
    const std::string alphabets[] = {"ab", "aab\xC3", std::string(40, 'a') + "b" + '\0'};
    const std::string& letters = alphabets[iter % 3];
    std::string text(rng() % 3000, 'a');
    for (char& ch : text) ch = letters[rng() % letters.size()];
    std::string pattern;
    switch (rng() % 3) {
      case 0: {  // a piece of the text, in rare-letter texts often one that starts rare
        std::size_t start = text.empty() ? 0 : rng() % text.size();
        const std::size_t rare = text.find_first_of(std::string("b\0", 2), start);
        if (iter % 3 == 2 && rare != npos && rng() % 2) start = rare;
        pattern = text.substr(start, rng() % 300);
        break;
      }
      case 1: {  // a short seed repeated, as in periodic patterns
        std::string seed(1 + rng() % 4, 'a');
        for (char& ch : seed) ch = letters[rng() % letters.size()];
        for (const std::size_t len = rng() % 200; pattern.size() < len;) pattern += seed;
        break;
      }
      default:  // mostly the text's main letter
        pattern.assign(rng() % 100, 'a');
        break;
    }
    if (!pattern.empty() && rng() % 2)
      pattern[rng() % pattern.size()] = letters[rng() % letters.size()];
    const std::size_t want = NaiveFind(text, pattern);
    ASSERT_EQ(qor::string_find(text, pattern, true), want) << testing::PrintToString(text) << "\n"
                                                           << testing::PrintToString(pattern);
  }
}

TEST(Find, FindsTheFirstOccurrenceOnAdversarialInput) {
  // Texts of 'a' only, and patterns whose every candidate agrees with the text for a long stretch:
  // the long-pattern path must still find exactly the first occurrence (its speed is benchmarked).
  const std::string run(100000, 'a'), text(2000000, 'a');
  for (const std::string& pattern : {run + "b" + run, "a" + run + "b", run + "ba"}) {
    EXPECT_EQ(qor::string_find(text, pattern, true), npos);
    EXPECT_EQ(qor::string_find(text + pattern, pattern, true), text.size());
  }
}

}  // namespace
