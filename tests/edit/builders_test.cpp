// Tests of the splitter, the list builder and the byte-range builders, with randomized and
// exhaustive comparisons against models of their rules.
#include <climits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

using List = std::vector<std::string>;

std::string Show(const List& list) {
  std::ostringstream os;
  os << '{';
  for (const std::string& s : list) {
    os << " \"";
    for (unsigned char b : s) {
      if (b >= 0x20 && b < 0x7F) {
        os << static_cast<char>(b);
      } else {
        os << "\\x"
           << "0123456789abcdef"[b >> 4] << "0123456789abcdef"[b & 15];
      }
    }
    os << '"';
  }
  return os.str() + " }";
}

// Tokens are the maximal runs of bytes not in the separator set, empty runs left out.
List ModelSplit(const std::string& text, const std::string& separators) {
  List tokens;
  std::string current;
  for (char c : text) {
    if (separators.find(c) != std::string::npos) {
      if (!current.empty()) tokens.push_back(current);
      current.clear();
    } else {
      current += c;
    }
  }
  if (!current.empty()) tokens.push_back(current);
  return tokens;
}

// The byte values from `first` to `last` as signed bytes, both included.
std::string ModelRun(char first, char last) {
  std::string run;
  for (int v = static_cast<signed char>(first); v <= static_cast<signed char>(last); ++v) {
    run += static_cast<char>(v);
  }
  return run;
}

TEST(SplitToken, Table) {
  struct Case {
    std::string text, token;
    List before, after;
  };
  const Case cases[] = {
      {"a,b,,c,", ",", {}, {"a", "b", "c"}},
      {",,a", ",", {}, {"a"}},
      {"a;b,c", ",;", {}, {"a", "b", "c"}},  // each byte of the set separates by itself
      {"a;b,c", ";,;", {}, {"a", "b", "c"}},
      {",;,", ",;", {"x"}, {"x"}},  // only separators
      {"", ",", {"x"}, {"x"}},
      {"", "", {}, {}},
      {"x y", " ", {"p", "q"}, {"p", "q", "x", "y"}},  // appends after what was there
      {"abc", "", {}, {"abc"}},                        // no separators: one token
      {"a,,b", ",,", {}, {"a", "b"}},
      {std::string("a\0b", 3), std::string("\0", 1), {}, {"a", "b"}},
      {"x\xE9y\xC3", "\xE9\xC3", {}, {"x", "y"}},
      {"keep", "xyz", {""}, {"", "keep"}},
  };
  for (const Case& c : cases) {
    List out = c.before;
    const int count = qor::stringarray_builder_by_splittoken(c.text, out, c.token);
    EXPECT_EQ(out, c.after) << c.text << " / " << c.token;
    EXPECT_EQ(count, static_cast<int>(c.after.size())) << c.text << " / " << c.token;
  }
}

TEST(SplitToken, ArgumentsInsideTheOutputList) {
  List out = {"a b c", " "};
  out.shrink_to_fit();
  // The text and the set are elements of `out`, which grows while they are read.
  EXPECT_EQ(qor::stringarray_builder_by_splittoken(out[0], out, out[1]), 5);
  EXPECT_EQ(out, (List{"a b c", " ", "a", "b", "c"}));
}

TEST(SplitToken, MatchesTheRunModelOnRandomInput) {
  static const char kAlphabet[] = {'a', 'b', ',', '\0', '\xE9'};
  std::mt19937 rng(99);
  std::uniform_int_distribution<int> pick(0, 4);
  std::uniform_int_distribution<int> size(0, 16);
  auto random_bytes = [&](int max) {
    std::string s(static_cast<std::size_t>(size(rng) % (max + 1)), 'a');
    for (char& c : s) c = kAlphabet[pick(rng)];
    return s;
  };
  for (int round = 0; round < 50000; ++round) {
    const std::string text = random_bytes(16);
    const std::string token = random_bytes(3);
    List out(static_cast<std::size_t>(round % 3), "old");
    List expected = out;
    for (const std::string& t : ModelSplit(text, token)) expected.push_back(t);
    const int count = qor::stringarray_builder_by_splittoken(text, out, token);
    ASSERT_EQ(out, expected) << "text " << Show({text}) << " token " << Show({token});
    ASSERT_EQ(count, static_cast<int>(expected.size()));
  }
}

TEST(ByToken, Table) {
  EXPECT_EQ(qor::stringarray_builder_by_token("a", "b", "", "c", static_cast<const char*>(nullptr)),
            (List{"a", "b", "", "c"}));
  EXPECT_EQ(qor::stringarray_builder_by_token("", static_cast<const char*>(nullptr)), List{""});
  EXPECT_EQ(qor::stringarray_builder_by_token("a", static_cast<const char*>(nullptr)), List{"a"});
  EXPECT_EQ(qor::stringarray_builder_by_token("", "", static_cast<const char*>(nullptr)),
            (List{"", ""}));
  // Each argument is read up to its first zero byte.
  EXPECT_EQ(qor::stringarray_builder_by_token("x\0y", "\xE9", static_cast<const char*>(nullptr)),
            (List{"x", "\xE9"}));
  std::vector<std::string> many;
  for (int i = 0; i < 40; ++i) many.push_back(std::to_string(i));
  const char* p[40];
  for (int i = 0; i < 40; ++i) p[i] = many[static_cast<std::size_t>(i)].c_str();
  EXPECT_EQ(qor::stringarray_builder_by_token(
                p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8], p[9], p[10], p[11], p[12],
                p[13], p[14], p[15], p[16], p[17], p[18], p[19], p[20], p[21], p[22], p[23], p[24],
                p[25], p[26], p[27], p[28], p[29], p[30], p[31], p[32], p[33], p[34], p[35], p[36],
                p[37], p[38], p[39], static_cast<const char*>(nullptr)),
            many);
}

TEST(ByChar, Table) {
  struct Case {
    char first, last;
    std::string appended;
  };
  std::string high;
  for (int v = 0x80; v <= 0xFF; ++v) high += static_cast<char>(v);
  std::string low;
  for (int v = 0; v <= 0x7F; ++v) low += static_cast<char>(v);
  const Case cases[] = {
      {'a', 'e', "abcde"},
      {'e', 'a', ""},
      {'x', 'x', "x"},
      {'\x7E', '\x7F', "\x7E\x7F"},  // stops at 127, no wrap to -128
      {'\x80', '\xFF', high},
      {'a', '\xE9', ""},  // 0xE9 is negative as a signed byte
      {'\x80', '\x7F', high + low},
      {'\0', '\0', std::string(1, '\0')},
  };
  for (const Case& c : cases) {
    std::string out = "pre";
    EXPECT_EQ(qor::string_builder_by_char(out, c.first, c.last),
              static_cast<int>(3 + c.appended.size()));
    EXPECT_EQ(out, "pre" + c.appended) << int(c.first) << " " << int(c.last);
  }
}

TEST(ByChar, EveryPairMatchesTheSignedModel) {
  for (int first = 0; first < 256; ++first) {
    for (int last = 0; last < 256; ++last) {
      std::string out = "x";
      const int size =
          qor::string_builder_by_char(out, static_cast<char>(first), static_cast<char>(last));
      const std::string expected =
          "x" + ModelRun(static_cast<char>(first), static_cast<char>(last));
      ASSERT_EQ(out, expected) << first << " " << last;
      ASSERT_EQ(size, static_cast<int>(expected.size()));
    }
  }
}

TEST(ByRange, Table) {
  const std::string lower = ModelRun('a', 'z'), upper = ModelRun('A', 'Z'),
                    digits = ModelRun('0', '9');
  struct Case {
    std::string ranges;
    int count;
    std::string appended;
  };
  const Case cases[] = {
      {"azAZ09", 3, lower + upper + digits},
      {"azAZ09", 2, lower + upper},
      {"azAZ09", 5, lower + upper + digits},
      {"za09", 2, digits},  // a reversed pair adds nothing but counts
      {"za09", 1, ""},
      {"azb", 2, lower},  // the unpaired byte is ignored
      {"az", 0, ""},
      {"az", -1, ""},
      {"az", INT_MIN, ""},
      {"az", INT_MAX, lower},
      {"", 3, ""},
      {"\x80\x81\x7F\x7F", 2, "\x80\x81\x7F"},
  };
  for (const Case& c : cases) {
    const std::string ranges_before = c.ranges;
    std::string out = "pre";
    EXPECT_EQ(qor::string_builder_by_range(out, c.ranges, c.count),
              static_cast<int>(3 + c.appended.size()));
    EXPECT_EQ(out, "pre" + c.appended) << c.ranges << " " << c.count;
    EXPECT_EQ(c.ranges, ranges_before);
  }
  std::string self = "ac";
  EXPECT_EQ(qor::string_builder_by_range(self, self, 5), 5);
  EXPECT_EQ(self, "acabc");
}

TEST(ByRange, MatchesThePairModelOnRandomInput) {
  std::mt19937 rng(5);
  std::uniform_int_distribution<int> byte(0, 255), size(0, 9), count(-2, 6);
  for (int round = 0; round < 20000; ++round) {
    std::string ranges(static_cast<std::size_t>(size(rng)), '\0');
    for (char& c : ranges) c = static_cast<char>(byte(rng));
    const int n = count(rng);
    std::string expected = "pre";
    for (int i = 0; i < n && 2 * static_cast<std::size_t>(i) + 1 < ranges.size(); ++i) {
      expected += ModelRun(ranges[2 * static_cast<std::size_t>(i)],
                           ranges[2 * static_cast<std::size_t>(i) + 1]);
    }
    std::string out = "pre";
    ASSERT_EQ(qor::string_builder_by_range(out, ranges, n), static_cast<int>(expected.size()));
    ASSERT_EQ(out, expected) << "round " << round << " count " << n;
  }
}

}  // namespace
