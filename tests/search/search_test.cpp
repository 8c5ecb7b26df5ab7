// The searches (string_find for one pattern or a list, string_seq_find, string_find_first_one_of)
// and the slicers: tables of behaviour, models over random input, and adversarial input.
#include <algorithm>
#include <cctype>

#include <gtest/gtest.h>

#include "models/case_fold_model.h"
#include "models/search_model.h"
#include "qor/qorstl.h"
#include "test_util.h"

using List = std::vector<std::string>;
using qor_test::Hex;
constexpr std::size_t npos = std::string::npos;

// The list searches by name: "seq_find", "first_one_of", or "find N" for the list string_find in
// mode N. Gives the position and the index, -7 for an index left unwritten.
static std::pair<std::size_t, long long> Search(const std::string& name, const std::string& t,
                                                const List& p) {
  int i = -7;
  unsigned u = 12345;
  if (name == "first_one_of") return {qor::string_find_first_one_of(t, p, i), i};
  if (name == "seq_find") return {qor::string_seq_find(t, p, u), u};
  return {qor::string_find(t, p, u, std::stoi(name.substr(5))), u};
}

// What the search `name` answers, from the rules: the earliest first occurrence (named by the first
// pattern there), or the list search of its mode (string_seq_find keeps the list's order).
static std::pair<std::size_t, long long> Model(const std::string& name, const std::string& text,
                                               const List& patterns) {
  const std::vector<std::size_t> found = qor_test::FirstOccurrences(text, patterns);
  if (name == "first_one_of") {
    std::pair<std::size_t, long long> want{npos, -7 * patterns.empty()};
    for (std::size_t i = 0; i < found.size(); ++i)
      if (found[i] < want.first) want = {found[i], i};
    return want;
  }
  const int mode = name.rfind("find ", 0) == 0 ? std::stoi(name.substr(5)) : 0;
  unsigned index = 0;
  const std::size_t pos = qor_test::ModelListFind(patterns, found, mode, index);
  return {pos, index};
}

static const char* const kListSearches[] = {"seq_find", "first_one_of", "find 0", "find 1",
                                            "find 2",   "find 3",       "find 4", "find 7"};

// string_find and both slicers on `text` and `sep`, against `at` (the separator's first occurrence)
// and `oneof` (the text's first byte in the set); the slicers write into a separate `right` and
// into the text itself.
static void ExpectCuts(const std::string& text, const std::string& sep, size_t at, size_t oneof) {
  SCOPED_TRACE(Hex(text.substr(0, 40)) + " / " + Hex(sep.substr(0, 40)));
  EXPECT_EQ(qor::string_find(text, sep, true), at);
  EXPECT_EQ(qor::string_find(text, sep, false), at == npos ? npos : at + sep.size());
  for (int k = 0; k < 4; ++k) {
    std::string left = "old", right = "old", t = text, &r = k % 2 ? t : right;
    const std::size_t want = k < 2 ? at : oneof;
    EXPECT_EQ((k < 2 ? qor::string_slice2 : qor::string_slice_oneof2)(t, sep, left, r), want) << k;
    EXPECT_EQ(left, text.substr(0, want)) << k;
    EXPECT_EQ(r, want == npos ? "" : text.substr(want + (k < 2 ? sep.size() : 1))) << k;
  }
}

TEST(Search, ListTableAndLongPatterns) {
  // clang-format off
  // searches: by name (see Search); index -7: left unwritten
  struct Multi { std::string text; List patterns; std::vector<std::string> searches; std::size_t pos; long long index; };
  const Multi multis[] = {
      {"xx bc abc", {"abc", "bc"}, {"seq_find", "find 2", "find 3", "find 0", "find -1", "find 5"}, 6, 0},
      {"xx bc abc", {"abc", "bc"}, {"first_one_of", "find 1", "find 4"}, 3, 1},
      {"abb", {"x", "bb", "y", "bb"}, {"find 2", "find 4"}, 1, 1},  // the first equal entry of the caller's list
      {"bbzz", {"zz", "bb"}, {"find 1", "find 2", "seq_find"}, 2, 0},  // equal lengths keep list order
      {"abc", {}, {"first_one_of"}, npos, -7},
      {"abc", {"x", "yy", "zzz"}, {"seq_find", "find 1", "find 2", "find 3", "find 4", "find 9"}, npos, 3},  // a miss: the list's size
      {"abc", {"x", "yy", "zzz"}, {"first_one_of"}, npos, 0},
      {"", {"a", ""}, {"seq_find", "first_one_of", "find 0", "find 1", "find 2", "find 3", "find 4"}, 0, 1},
      {"ab\x80" "a", {"b", "\x80", "a"}, {"find 3"}, 0, 2},  // bytes order as unsigned values
      {"ab\x80" "a", {"b", "\x80", "a"}, {"find 4"}, 2, 1},
  };
  // clang-format on
  // Every candidate agrees with the text for a long stretch: the long-pattern path must still find
  // exactly the first occurrence (its speed is benchmarked).
  const std::string run(100000, 'a'), text(2000000, 'a');
  for (const std::string& pattern : {run + "b" + run, "a" + run + "b", run + "ba"}) {
    EXPECT_EQ(qor::string_find(text, pattern, true), npos);
    EXPECT_EQ(qor::string_find(text + pattern, pattern, true), text.size());
  }
  for (const Multi& c : multis)
    for (const std::string& search : c.searches)
      EXPECT_EQ(Search(search, c.text, c.patterns), std::make_pair(c.pos, c.index))
          << Hex(c.text) << " " << search;
}

// Short texts and lists over a tiny alphabet; every eighth text is long, over two to four letters,
// with patterns cut from it, periodic or mutated, so that candidates are dense and the search runs
// through the sixteen-at-a-time scan and the Two-Way fallback. The last alphabet makes 'b' and '\0'
// rare, so that stretches without them occur, and pieces of it often start with the rare 'b'. Long
// texts get lists of up to 40 patterns, and now and then 300 (more than one pass of the
// multi-pattern filter takes), with repeats and empty patterns among them.
TEST(Search, MatchesModelOnRandomInput) {
  const std::string alphabets[] = {std::string("ab\0\xC3", 4), "ab", "aab\xC3",
                                   std::string(40, 'a') + "b" + '\0'};
  std::mt19937 rng(2024);
  for (int iter = 0; iter < 16000 && !HasFailure(); ++iter) {
    const bool big = iter % 8 == 0;
    const std::string& letters = alphabets[big ? 1 + iter / 8 % 3 : 0];
    const std::string text = qor_test::RandomFrom(rng, letters, big ? 3000 : 14);
    List patterns(rng() % (iter % 256 == 0 ? 301 : big || iter % 8 == 1 ? 40 : 6));
    for (std::string& p : patterns) {  // a piece of the text, often from a 'b'
      std::size_t start = text.empty() ? 0 : rng() % text.size();
      if (rng() % 2) start = std::min(text.find('b', start), text.size());
      p = text.substr(start, rng() % (big ? 300 : 5));
      const std::string seed = p.substr(0, 1 + rng() % 4);  // or that piece's start repeated
      if (const std::size_t len = rng() % (big ? 200 : 6); !seed.empty() && rng() % 2)
        for (p = seed; p.size() < len;) p += seed;
      if (!p.empty() && rng() % 2) p[rng() % p.size()] = letters[rng() % letters.size()];
    }
    const auto mix = [&](std::string s) {  // letters in either case, for string_containsIgnoreCase
      for (char& c : s)
        c = char(c ^ (std::isalpha(static_cast<unsigned char>(c)) && rng() % 2) << 5);
      return s;
    };
    const std::string mixed = mix(text);
    SCOPED_TRACE(testing::PrintToString(text) + " " + testing::PrintToString(patterns));
    std::vector<std::size_t> found;
    for (const std::string& p : patterns) found.push_back(text.find(p));
    for (std::size_t i = 0; i < patterns.size() && i < 40; ++i) {
      ExpectCuts(text, patterns[i], found[i], text.find_first_of(patterns[i]));
      const std::string part = mix(patterns[i]);
      EXPECT_EQ(qor::string_containsIgnoreCase(mixed, part), !part.empty() && found[i] != npos)
          << Hex(mixed) << " / " << Hex(part);
    }
    for (const char* search : kListSearches)
      EXPECT_EQ(Search(search, text, patterns), Model(search, text, patterns)) << search;
  }
}

// Every text length from 0 to 70 and around the lengths where the searches change paths (a filter
// over texts from 256 bytes, and for the list form of string_find over 4 patterns from 384 bytes
// and over 16 from 512, 32-byte blocks, a byte-by-byte case-insensitive scan up to 32, the list
// searches in place from 16 to 32): lists of 4 and 16 patterns and the case-insensitive test
// against their models.
TEST(Search, ShortTextsAroundPathChanges) {
  std::vector<std::size_t> lengths;
  for (std::size_t n = 0; n <= 70; ++n) lengths.push_back(n);
  for (std::size_t n :
       {95, 96, 97, 127, 128, 129, 254, 255, 256, 257, 258, 300, 383, 384, 385, 511, 512, 513})
    lengths.push_back(n);
  const std::string letters = "aAbB\xC3";
  std::mt19937 rng(70);
  for (std::size_t n : lengths) {
    for (int round = 0; round < 24 && !HasFailure(); ++round) {
      std::string text(n, 'a');
      for (char& c : text) c = letters[rng() % letters.size()];
      List patterns(round % 2 ? 16 : 4);
      for (std::string& p : patterns) {
        // Now and then a pattern of any length up to the text's, so that few starts remain.
        const bool any_length = rng() % 4 == 0;
        const std::size_t length = any_length ? rng() % (n + 2) : 1 + rng() % 6;
        const std::size_t starts = any_length && length < n ? n - length + 1 : n;
        p = text.substr(n == 0 ? 0 : rng() % starts, length);
        if (!p.empty() && rng() % 2) p[rng() % p.size()] = letters[rng() % letters.size()];
      }
      SCOPED_TRACE(Hex(text) + " " + testing::PrintToString(patterns));
      for (const char* search : kListSearches)
        EXPECT_EQ(Search(search, text, patterns), Model(search, text, patterns)) << search;
      for (std::string part : patterns) {
        const bool want = qor_test::ContainsFolded(text, part);
        for (char& c : part) c = char(std::toupper(static_cast<unsigned char>(c)));
        EXPECT_EQ(qor::string_containsIgnoreCase(text, part), want) << Hex(part);
      }
    }
  }
}
