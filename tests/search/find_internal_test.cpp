// The single-pattern search held against a naive search at every text length from 0 to 70 bytes,
// at every alignment of the text within a vector block, and just below, at and above the lengths
// where its paths change (one block of starts, the short-pattern limit, the reach past which a rare
// first byte is looked for with memchr). Each text sits at the end of its own allocation, so the
// sanitizer build reports any read past it.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "find.h"
#include "qor/qorstl.h"
#include "test_util.h"

namespace {

std::size_t Naive(const std::string& text, const std::string& pattern) {
  for (std::size_t pos = 0; pos + pattern.size() <= text.size(); ++pos)
    if (text.compare(pos, pattern.size(), pattern) == 0) return pos;
  return std::string::npos;
}

TEST(FindFirst, EveryShortLengthAndAlignment) {
  // The last alphabet makes the pattern's first byte rare, so that whole blocks hold none of it.
  const std::string alphabets[] = {"ab", std::string("ab\0\xC3", 4), "aaaaaaab",
                                   std::string(60, 'a') + "bc"};
  std::vector<std::size_t> lengths;
  for (std::size_t n = 0; n <= 70; ++n) lengths.push_back(n);
  for (std::size_t n : {79,  80,  81,  95,  96,  97,  127, 128, 129, 257, 258, 259, 260, 262,
                        266, 267, 268, 270, 271, 272, 273, 287, 288, 289, 300, 350, 500})
    lengths.push_back(n);
  std::mt19937 rng(16);
  for (std::size_t n : lengths) {
    for (std::size_t align = 0; align < 16; ++align) {
      for (int round = 0; round < 12 && !HasFailure(); ++round) {
        const std::string& letters = alphabets[round % 4];
        std::string text(n, '\0');
        for (char& c : text) c = letters[rng() % letters.size()];
        // A piece of the text, often mutated; pattern lengths up to past the text's and the
        // short-pattern limit of 64.
        const std::size_t m = 1 + rng() % (round % 3 == 0 ? 80 : 12);
        std::string pattern = text.substr(n == 0 ? 0 : rng() % n, m);
        while (pattern.size() < m) pattern += letters[rng() % letters.size()];
        if (rng() % 2) pattern[rng() % m] = letters[rng() % letters.size()];
        if (round % 4 == 3) pattern[0] = 'b';
        std::vector<char> block(align + n);
        std::copy(text.begin(), text.end(), block.begin() + align);
        EXPECT_EQ(qor::internal::FindFirst(block.data() + align, n, pattern.data(), m),
                  Naive(text, pattern))
            << qor_test::Hex(text) << " / " << qor_test::Hex(pattern);
      }
    }
  }
}

// One occurrence planted at every start of texts whose other bytes never hold the pattern's first
// byte but near-matches before it: none, one at the start, or one at every start before it that
// leaves room (the first and last bytes of the pattern with a wrong byte between). The scans that
// skip such text (memchr, blocks without a candidate) and the ones that test candidates must stop
// exactly there, at the first start, the last one and every one between, on texts around the
// lengths where the search changes path (one block of starts, 256 starts).
TEST(FindFirst, PlantedOccurrenceAtEveryStart) {
  std::mt19937 rng(20);
  for (std::size_t n : {16,  17,  31,  32,  33,  47,  48,  64,  65,  80,  81, 97,
                        128, 129, 257, 258, 259, 260, 266, 273, 274, 300, 333}) {
    for (std::size_t m : {2, 3, 4, 8, 9, 10, 16, 17, 18}) {
      if (m > n) continue;
      std::string pattern(m, 'b');
      for (std::size_t i = 1; i < m; ++i)
        pattern[i] =
            "ac\xC3"
            "b"[rng() % 4];
      for (std::size_t at = 0; at + m <= n && !HasFailure(); ++at) {
        for (int near = 0; near < 3; ++near) {
          std::string text(n, 'a');
          for (char& c : text) c = "aac\xC3"[rng() % 4];
          for (std::size_t i = 0; near > 0 && i + m <= at && (near == 2 || i == 0);
               i += near == 2 && m > 2 ? m - 1 : m) {
            // The pattern's first and last bytes, a wrong byte between (a wrong last byte when m
            // is 2).
            text.replace(i, m, pattern);
            if (m > 2)
              text[i + 1 + rng() % (m - 2)] = 'z';
            else
              text[i + 1] = 'z';
          }
          text.replace(at, m, pattern);
          std::vector<char> block(1 +
                                  n);  // one byte off a block's alignment, ending the allocation
          std::copy(text.begin(), text.end(), block.begin() + 1);
          // Near-matches next to each other may form an occurrence before `at`.
          EXPECT_EQ(qor::internal::FindFirst(block.data() + 1, n, pattern.data(), m),
                    near == 0 ? at : Naive(text, pattern))
              << qor_test::Hex(text) << " / " << qor_test::Hex(pattern);
        }
      }
    }
  }
}

// string_find's own paths for a pattern of 2 to 16 bytes (a text of fewer than 31 starts searched
// in place, a longer one from memchr's first candidate on, in place past it below 64 starts) and
// the common search it leaves the rest to, held against the naive search at every text length
// from 0 to 70 bytes and past the changes at 31 and 64 starts, for every pattern length from 1 to
// 16 and a few longer, with the pattern
// planted at the first start, in the middle, at the last start, or nowhere while its first byte is
// everywhere. Texts of repeated letters, and patterns of one letter repeated before another, give
// candidates at most starts. Both answers of string_find are checked.
TEST(StringFind, ShortPatternsAgainstNaive) {
  const std::string alphabets[] = {"ab", "aaab", std::string("a\0\xC3", 3), "abcdefghijklmnop"};
  std::vector<std::size_t> lengths;
  for (std::size_t n = 0; n <= 70; ++n) lengths.push_back(n);
  for (std::size_t n : {75, 79, 80, 81, 82, 95, 96, 97, 127, 128, 129, 300}) lengths.push_back(n);
  std::vector<std::size_t> sizes;
  for (std::size_t m = 1; m <= 16; ++m) sizes.push_back(m);
  for (std::size_t m : {17, 24, 40}) sizes.push_back(m);
  std::mt19937 rng(22);
  for (std::size_t n : lengths) {
    for (std::size_t m : sizes) {
      for (int place = 0; place < 4; ++place) {
        for (int round = 0; round < 6 && !HasFailure(); ++round) {
          const std::string& letters = alphabets[round % 4];
          std::string text(n, '\0');
          for (char& c : text) c = letters[rng() % letters.size()];
          std::string pattern(m, letters[0]);
          if (round % 2 == 0)
            for (char& c : pattern) c = letters[rng() % letters.size()];
          pattern[m - 1] = letters[letters.size() - 1];
          if (m <= n && place < 3) {
            const std::size_t last_start = n - m;
            const std::size_t at = place == 0   ? 0
                                   : place == 1 ? rng() % (last_start + 1)
                                                : last_start;
            text.replace(at, m, pattern);
          }
          if (place == 3) pattern[m - 1] = 'z';  // absent, every other byte still common
          const std::size_t want = Naive(text, pattern);
          EXPECT_EQ(qor::string_find(text, pattern, true), want)
              << qor_test::Hex(text) << " / " << qor_test::Hex(pattern);
          EXPECT_EQ(qor::string_find(text, pattern, false),
                    want == std::string::npos ? want : want + m)
              << qor_test::Hex(text) << " / " << qor_test::Hex(pattern);
        }
      }
    }
  }
}

// Candidates far apart are looked for by memchr one after another, and the first that follows its
// predecessor closely hands the rest to the block filter. Texts of a filler byte with the
// pattern's first byte planted at random gaps (some of 16 bytes or more, some less), each a near
// miss that fails at a random byte of the pattern, and the pattern itself planted once, last or
// nowhere; texts from 64 to 600 bytes reach both the filter in place and the level's kernel.
TEST(StringFind, SparseCandidatesAgainstNaive) {
  std::mt19937 rng(31);
  for (std::size_t m = 2; m <= 16 && !HasFailure(); ++m) {
    for (int round = 0; round < 400 && !HasFailure(); ++round) {
      const std::size_t n = m + 60 + rng() % 540;
      std::string pattern(m, '\0');
      for (char& c : pattern) c = static_cast<char>('a' + rng() % 4);
      pattern[0] = 'Q';
      std::string text(n, '.');
      const std::size_t last_start = n - m;
      std::size_t at = rng() % 40;
      const std::size_t widest_gap = rng() % 2 ? 24 : 48;
      while (at <= last_start) {
        std::string miss = pattern;
        const std::size_t wrong = rng() % m;
        miss[wrong] = wrong == 0 ? 'Q' : '.';
        if (wrong == 0) miss.back() = '.';
        text.replace(at, m, miss);
        at += m + rng() % widest_gap;
      }
      if (round % 3 != 0)
        text.replace(rng() % 2 ? last_start : rng() % (last_start + 1), m, pattern);
      const std::size_t want = Naive(text, pattern);
      ASSERT_EQ(qor::string_find(text, pattern, true), want)
          << qor_test::Hex(text) << " / " << qor_test::Hex(pattern);
      ASSERT_EQ(qor::string_find(text, pattern, false),
                want == std::string::npos ? want : want + m);
    }
  }
}

}  // namespace
