// The single-pattern search held against a naive search at every text length from 0 to 70 bytes,
// at every alignment of the text within a vector block, and just below, at and above the lengths
// where its paths change (one block of starts, the short-pattern limit). Each text sits at the end
// of its own allocation, so the sanitizer build reports any read past it.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "find.h"
#include "test_util.h"

namespace {

std::size_t Naive(const std::string& text, const std::string& pattern) {
  for (std::size_t pos = 0; pos + pattern.size() <= text.size(); ++pos)
    if (text.compare(pos, pattern.size(), pattern) == 0) return pos;
  return std::string::npos;
}

TEST(FindFirst, EveryShortLengthAndAlignment) {
  const std::string alphabets[] = {"ab", std::string("ab\0\xC3", 4), "aaaaaaab"};
  std::vector<std::size_t> lengths;
  for (std::size_t n = 0; n <= 70; ++n) lengths.push_back(n);
  for (std::size_t n : {79, 80, 81, 95, 96, 97, 127, 128, 129, 300}) lengths.push_back(n);
  std::mt19937 rng(16);
  for (std::size_t n : lengths) {
    for (std::size_t align = 0; align < 16; ++align) {
      for (int round = 0; round < 12 && !HasFailure(); ++round) {
        const std::string& letters = alphabets[round % 3];
        std::string text(n, '\0');
        for (char& c : text) c = letters[rng() % letters.size()];
        // A piece of the text, often mutated; pattern lengths up to past the text's and the
        // short-pattern limit of 64.
        const std::size_t m = 1 + rng() % (round % 4 == 0 ? 80 : 12);
        std::string pattern = text.substr(n == 0 ? 0 : rng() % n, m);
        while (pattern.size() < m) pattern += letters[rng() % letters.size()];
        if (rng() % 2) pattern[rng() % m] = letters[rng() % letters.size()];
        std::vector<char> block(align + n);
        std::copy(text.begin(), text.end(), block.begin() + align);
        EXPECT_EQ(qor::internal::FindFirst(block.data() + align, n, pattern.data(), m),
                  Naive(text, pattern))
            << qor_test::Hex(text) << " / " << qor_test::Hex(pattern);
      }
    }
  }
}

}  // namespace
