// The one-pass filters of the multi-pattern search (the portable one, and the AVX2 kernel where the
// CPU runs it) held against the plain rule, one pattern at a time, on random texts and lists of
// non-empty patterns no longer than the text (the callers drop the others).
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "cpu_features.h"
#include "search/multi_find.h"
#include "test_util.h"

namespace qi = qor::internal;

TEST(MultiFindKernels, AgreeWithOneByOne) {
  // Two letters and a zero byte, dense near-matches, and bytes spread over every nibble, where the
  // filters pass few positions.
  std::string spread;
  for (int c = 0; c < 256; c += 5) spread += static_cast<char>(c);
  const std::string alphabets[] = {std::string("ab\0\xC3", 4), "abcdefgh", "aaaaaaab", spread};
  const auto hit = [](qi::MultiHit h) { return std::make_pair(h.pos, h.rank); };
  std::mt19937 rng(31);
  for (int iter = 0; iter < 4000 && !HasFailure(); ++iter) {
    const std::string& letters = alphabets[iter % 4];
    // Some texts long enough for the long lists' nibble filter, their lengths around its blocks.
    std::string text(iter % 3 ? rng() % 201 : 2016 + rng() % 100, '\0');
    for (char& c : text) c = letters[rng() % letters.size()];
    std::vector<std::string> patterns(1 + rng() % (iter % 5 < 2 ? 256 : qi::kAvx2MaxNeedles));
    std::vector<qi::Needle> needles;
    for (std::size_t i = 0; i < patterns.size(); ++i) {
      const std::size_t start = text.empty() ? 0 : rng() % text.size();
      patterns[i] = rng() % 3 ? text.substr(start, 1 + rng() % 12)
                              : qor_test::RandomFrom(rng, letters, 8) + letters[0];
      const auto* bytes = reinterpret_cast<const unsigned char*>(patterns[i].data());
      if (!patterns[i].empty() && patterns[i].size() <= text.size())
        needles.push_back({bytes, patterns[i].size(), i});
    }
    const auto* t = reinterpret_cast<const unsigned char*>(text.data());
    for (qi::MultiGoal goal : {qi::MultiGoal::kLowestRank, qi::MultiGoal::kEarliest}) {
      const std::size_t limit =
          goal == qi::MultiGoal::kEarliest && rng() % 2 ? rng() % (text.size() + 1) : text.size();
      const auto want =
          hit(qi::FinishOneByOne(t, text.size(), 0, needles.data(), needles.size(), goal, limit,
                                 {std::string::npos, std::string::npos}));
      SCOPED_TRACE(testing::PrintToString(text) + " " + testing::PrintToString(patterns) +
                   " goal " + std::to_string(int(goal)) + " limit " + std::to_string(limit));
      EXPECT_EQ(
          hit(qi::SearchWithHashes(t, text.size(), needles.data(), needles.size(), goal, limit)),
          want);
#if defined(QORSTL_X86_KERNELS)
      if (qi::CpuRuns(qi::Isa::kAvx2) && needles.size() <= qi::kAvx2MaxNeedles &&
          !needles.empty()) {
        EXPECT_EQ(
            hit(qi::SearchFewAvx2(t, text.size(), needles.data(), needles.size(), goal, limit)),
            want);
      }
#endif
    }
  }
}
