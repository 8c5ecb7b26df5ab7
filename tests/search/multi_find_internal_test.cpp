// The one-pass filters of the multi-pattern search (the portable one, and the kernels of every
// level the CPU runs) held against the plain rule, one pattern at a time, on random texts and lists
// of non-empty patterns no longer than the text (the callers drop the others).
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
    // Short lists, which the few-pattern kernels take, and lists up to a whole slice.
    std::vector<std::string> patterns(1 + rng() % (iter % 5 < 2 ? qi::kMultiSliceSize : 24));
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
      for (qi::Isa isa :
           {qi::Isa::kScalar, qi::Isa::kSse2, qi::Isa::kAvx2, qi::Isa::kAvx512, qi::Isa::kNeon}) {
        const qi::MultiFindKernels* kernels = qi::MultiFindKernelsFor(isa);
        if (kernels == nullptr) continue;
        SCOPED_TRACE(qi::IsaName(isa));
        EXPECT_EQ(hit(qi::SearchWithHashes(t, text.size(), needles.data(), needles.size(), goal,
                                           limit, *kernels)),
                  want);
        if (needles.size() >= 2 && needles.size() <= kernels->few_max) {
          EXPECT_EQ(
              hit(kernels->search_few(t, text.size(), needles.data(), needles.size(), goal, limit)),
              want);
        }
      }
    }
  }
}
