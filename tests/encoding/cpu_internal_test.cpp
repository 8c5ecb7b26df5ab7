// The instruction-set levels the library picks its kernels from.
#include <gtest/gtest.h>

#include "cpu_features.h"

namespace {

using qor::internal::BestIsa;
using qor::internal::CpuRuns;
using qor::internal::Isa;

// Every level up to the best one runs, none above it: kernels are picked by the best level, and
// the tests run every level below it too, so the levels must nest.
TEST(CpuFeatures, LevelsNestUpToTheBest) {
  const Isa best = BestIsa();
  for (Isa isa : {Isa::kScalar, Isa::kSse2, Isa::kAvx2, Isa::kAvx512}) {
    EXPECT_EQ(CpuRuns(isa), isa <= best) << qor::internal::IsaName(isa);
  }
#if !defined(QORSTL_X86_KERNELS)
  EXPECT_EQ(best, Isa::kScalar) << "a build without kernels runs only the scalar code";
#endif
}

}  // namespace
