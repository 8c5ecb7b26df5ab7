// The one-pass filters of the multi-pattern search (the portable one, and the AVX2 kernel where the
// CPU runs it) held against the plain rule, one pattern at a time, on random texts and lists of
// non-empty patterns no longer than the text (the callers drop the others).
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "cpu_features.h"
#include "search/multi_find.h"
#include "test_util.h"

using qor::internal::MultiGoal;
using qor::internal::MultiHit;
using qor::internal::Needle;

TEST(MultiFindKernels, AgreeWithOneByOne) {
  const bool avx2 = qor::internal::CpuRuns(qor::internal::Isa::kAvx2);
  const std::string alphabets[] = {std::string("ab\0\xC3", 4), "abcdefgh", "aaaaaaab"};
  std::mt19937 rng(31);
  for (int iter = 0; iter < 4000 && !HasFailure(); ++iter) {
    const std::string& letters = alphabets[iter % 3];
    const std::string text = qor_test::RandomFrom(rng, letters, iter % 4 ? 200 : 2000);
    const std::size_t count = 1 + rng() % (iter % 5 ? qor::internal::kAvx2MaxNeedles : 256);
    std::vector<std::string> patterns(count);
    std::vector<Needle> needles;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t start = text.empty() ? 0 : rng() % text.size();
      patterns[i] = rng() % 3 ? text.substr(start, 1 + rng() % 12)
                              : qor_test::RandomFrom(rng, letters, 8) + letters[0];
      const auto* bytes = reinterpret_cast<const unsigned char*>(patterns[i].data());
      if (!patterns[i].empty() && patterns[i].size() <= text.size())
        needles.push_back({bytes, patterns[i].size(), i});
    }
    const auto* t = reinterpret_cast<const unsigned char*>(text.data());
    for (MultiGoal goal : {MultiGoal::kLowestRank, MultiGoal::kEarliest}) {
      const std::size_t limit =
          goal == MultiGoal::kEarliest && rng() % 2 ? rng() % (text.size() + 1) : text.size();
      const MultiHit none{std::string::npos, std::string::npos};
      const MultiHit want = qor::internal::FinishOneByOne(t, text.size(), 0, needles.data(),
                                                          needles.size(), goal, limit, none);
      SCOPED_TRACE(testing::PrintToString(text) + " " + testing::PrintToString(patterns) +
                   " goal " + std::to_string(int(goal)) + " limit " + std::to_string(limit));
      const MultiHit portable = qor::internal::SearchWithHashes(t, text.size(), needles.data(),
                                                                needles.size(), goal, limit);
      EXPECT_EQ(portable.pos, want.pos);
      EXPECT_EQ(portable.rank, want.rank);
#if defined(QORSTL_X86_KERNELS)
      if (avx2 && needles.size() <= qor::internal::kAvx2MaxNeedles && !needles.empty()) {
        const MultiHit kernel = qor::internal::SearchFewAvx2(t, text.size(), needles.data(),
                                                             needles.size(), goal, limit);
        EXPECT_EQ(kernel.pos, want.pos);
        EXPECT_EQ(kernel.rank, want.rank);
      }
#else
      (void)avx2;
#endif
    }
  }
}
