// Tests of string_replace and the trims: tables of behaviour, time on large and adversarial texts,
// and randomized comparisons against models written from the rules.
#include <chrono>
#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

std::string Show(const std::string& bytes) {
  std::ostringstream os;
  os << '"';
  for (unsigned char b : bytes) {
    if (b >= 0x20 && b < 0x7F && b != '\\' && b != '"') {
      os << static_cast<char>(b);
    } else {
      os << "\\x"
         << "0123456789abcdef"[b >> 4] << "0123456789abcdef"[b & 15];
    }
  }
  return os.str() + '"';
}

// The replacing rule as a loop of edits: replace the first occurrence at or after the resume
// position, resume after the inserted text, stop when nothing is left to search.
std::string ModelReplace(std::string text, const std::string& from, const std::string& to) {
  if (from.empty() || text.empty()) return text;
  std::size_t resume = 0;
  for (;;) {
    const std::size_t match = text.find(from, resume);
    if (match == std::string::npos) return text;
    text.replace(match, from.size(), to);
    resume = match + to.size();
    if (resume >= text.size()) return text;
  }
}

// Random bytes from a four-letter alphabet with a zero byte and a high byte, so that repeats,
// self-overlapping patterns and matches formed across edits are common.
std::string RandomBytes(std::mt19937& rng, std::size_t max_size) {
  static const char kAlphabet[] = {'a', 'b', '\0', '\xE9'};
  std::uniform_int_distribution<std::size_t> size(0, max_size);
  std::uniform_int_distribution<int> pick(0, 9);
  std::string s(size(rng), 'a');
  // Mostly 'a' and 'b', so that long partial matches occur.
  for (char& c : s) {
    const int p = pick(rng);
    c = p < 5 ? kAlphabet[0] : p < 8 ? kAlphabet[1] : kAlphabet[p - 6];
  }
  return s;
}

TEST(StringReplace, Table) {
  using std::string;
  struct Case {
    string text, from, to, expected;
  };
  const Case cases[] = {
      {"abc", "", "x", "abc"},             // empty pattern matches nowhere
      {"", "a", "x", ""},                  // empty text
      {"", "", "x", ""},                   //
      {"aaaa", "aa", "b", "bb"},           // non-overlapping
      {"aaa", "aa", "b", "ba"},            // leftmost first
      {"a.b", ".", "..", "a..b"},          // inserted text not searched again
      {"aabb", "ab", "", "ab"},            // occurrence formed by the deletion is not found
      {"abab", "ab", "", ""},              // every byte removed
      {"xyz", "xyz", "", ""},              // whole text
      {"ab", "abc", "x", "ab"},            // pattern longer than text
      {"abA", "A", "z", "abz"},            // exact bytes, no case folding
      {"aXbXc", "X", "--", "a--b--c"},     // growing
      {"aXXbXXc", "XX", "-", "a-b-c"},     // shrinking
      {"aXXbXXc", "XX", "--", "a--b--c"},  // same length
      {"XabX", "X", "XX", "XXabXX"},       // at both ends, `to` contains `from`
      {"aaab", "aab", "X", "aX"},          // partial match restarts inside itself
      {"abaabaab", "abaab", "_", "_aab"},  // self-overlapping pattern
      {string("a\0b\0", 4), string("\0", 1), "0", "a0b0"},  // zero bytes are ordinary
      {string("\0\0\0", 3), string("\0\0", 2), "z", string("z\0", 2)},
      {"caf\xC3\xA9 \xC3\xA9t\xC3\xA9", "\xC3\xA9", "e", "cafe ete"},  // bytes, not characters
      {"\xFF\xFE\xFF", "\xFE", "", "\xFF\xFF"},
      {"aaaa", "a", "aa", "aaaaaaaa"},
  };
  for (const Case& c : cases) {
    string text = c.text;
    qor::string_replace(text, c.from, c.to);
    EXPECT_EQ(text, c.expected) << Show(c.text) << " " << Show(c.from) << " -> " << Show(c.to);
    EXPECT_EQ(text, ModelReplace(c.text, c.from, c.to)) << "model disagrees on " << Show(c.text);
  }
}

TEST(StringReplace, ArgumentsThatAreTheTextItself) {
  struct Case {
    const char* text;
    bool from_is_text, to_is_text;
    const char* from;
    const char* to;
    const char* expected;
  };
  const Case cases[] = {
      {"abc", true, false, nullptr, "x", "x"},
      {"ab", false, true, "b", nullptr, "aab"},
      {"aXbX", false, true, "X", nullptr, "aaXbXbaXbX"},
      {"abab", true, true, nullptr, nullptr, "abab"},
  };
  for (const Case& c : cases) {
    std::string text = c.text;
    const std::string from = c.from_is_text ? text : c.from;
    const std::string to = c.to_is_text ? text : c.to;
    qor::string_replace(text, c.from_is_text ? text : from, c.to_is_text ? text : to);
    EXPECT_EQ(text, c.expected) << c.text;
  }
}

TEST(StringReplace, MatchesTheEditLoopOnRandomInput) {
  std::mt19937 rng(20240501);
  for (int round = 0; round < 200000; ++round) {
    const std::string text = RandomBytes(rng, 24);
    const std::string from = RandomBytes(rng, round % 7 == 0 ? 8 : 3);
    const std::string to = RandomBytes(rng, 5);
    std::string got = text;
    qor::string_replace(got, from, to);
    const std::string expected = ModelReplace(text, from, to);
    ASSERT_EQ(got, expected) << "round " << round << ": " << Show(text) << " " << Show(from)
                             << " -> " << Show(to);
  }
}

// A loop that erased and inserted at every occurrence would move megabytes per line here and take
// minutes; comparing the whole pattern at every candidate would take minutes on the second text.
TEST(StringReplace, LinearInTheText) {
  std::string text;
  std::string expected;
  const std::string line = "a line of about sixty bytes, ending in a line feed........";
  while (text.size() < 10u << 20) {
    text += line + "\n";
    expected += line + "\r\n";
  }
  const std::string original = text;
  const auto start = std::chrono::steady_clock::now();
  qor::string_replace(text, "\n", "\r\n");
  EXPECT_TRUE(text == expected);
  qor::string_replace(text, "\r\n", "\n");
  EXPECT_TRUE(text == original);

  std::string run(2u << 20, 'a');
  const std::string pattern = std::string(20000, 'a') + "b";
  qor::string_replace(run, pattern, "x");
  EXPECT_EQ(run, std::string(2u << 20, 'a'));
  run.back() = 'b';
  qor::string_replace(run, pattern, "x");
  EXPECT_EQ(run, std::string((2u << 20) - pattern.size(), 'a') + "x");
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_LT(seconds, 5.0);
}

TEST(Trim, Table) {
  using std::string;
  struct Case {
    string text, chars, left, right, both;
  };
  const Case cases[] = {
      {"  \tx ", " \t", "x ", "  \tx", "x"},
      {" x \t", " \t", "x \t", " x", "x"},
      {"\r\n x y \t", " \t\r\n", "x y \t", "\r\n x y", "x y"},
      {"abcab", "ba", "cab", "abc", "c"},  // a set, not a substring
      {"abcab", "", "abcab", "abcab", "abcab"},
      {"", " ", "", "", ""},
      {"   ", " ", "", "", ""},
      {"xyx", "yx", "", "", ""},
      {"x", " ", "x", "x", "x"},
      {string("\0a\0", 3), string("\0", 1), string("a\0", 2), string("\0a", 2), "a"},
      // Bytes, not characters: the set C3 A9 also strips the C3 that begins C3 A0.
      {"\xC3\xA0x\xC3\xA9", "\xC3\xA9", "\xA0x\xC3\xA9", "\xC3\xA0x", "\xA0x"},
  };
  for (const Case& c : cases) {
    string left = c.text, right = c.text, both = c.text;
    EXPECT_EQ(&qor::trim_left(left, c.chars), &left);
    EXPECT_EQ(&qor::trim_right(right, c.chars), &right);
    EXPECT_EQ(&qor::trim_both(both, c.chars), &both);
    EXPECT_EQ(left, c.left) << Show(c.text) << " " << Show(c.chars);
    EXPECT_EQ(right, c.right) << Show(c.text) << " " << Show(c.chars);
    EXPECT_EQ(both, c.both) << Show(c.text) << " " << Show(c.chars);
  }
}

TEST(Trim, MatchesTheSetModelOnRandomInput) {
  std::mt19937 rng(7);
  for (int round = 0; round < 50000; ++round) {
    const std::string text = RandomBytes(rng, 12);
    const std::string chars = RandomBytes(rng, 3);
    // find_first_not_of and find_last_not_of read their argument as a set of bytes too.
    const std::size_t first = text.find_first_not_of(chars);
    const std::string left = first == std::string::npos ? "" : text.substr(first);
    const std::size_t last = left.find_last_not_of(chars);
    const std::string both = last == std::string::npos ? "" : left.substr(0, last + 1);
    const std::size_t text_last = text.find_last_not_of(chars);
    const std::string right = text_last == std::string::npos ? "" : text.substr(0, text_last + 1);
    std::string got_left = text, got_right = text, got_both = text;
    qor::trim_left(got_left, chars);
    qor::trim_right(got_right, chars);
    qor::trim_both(got_both, chars);
    ASSERT_EQ(got_left, chars.empty() ? text : left) << Show(text) << " " << Show(chars);
    ASSERT_EQ(got_right, chars.empty() ? text : right) << Show(text) << " " << Show(chars);
    ASSERT_EQ(got_both, chars.empty() ? text : both) << Show(text) << " " << Show(chars);
  }
}

}  // namespace
