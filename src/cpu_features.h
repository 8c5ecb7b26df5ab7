// Which of the instruction sets that the SIMD kernels are written for this CPU runs. Reads what the
// C runtime already knows about the CPU (filled in before any of our code runs); keeps nothing of
// its own, so every thread gets the same answer at no cost.
#ifndef QORSTL_SRC_CPU_FEATURES_H_
#define QORSTL_SRC_CPU_FEATURES_H_

namespace qor {
namespace internal {

// Kernel levels, lowest first. kScalar is the portable code every build carries; the x86 levels
// exist only in x86-64 builds with the kernels enabled (QORSTL_X86_KERNELS), kNeon only in aarch64
// builds with them (QORSTL_NEON_KERNELS). The levels of one architecture nest.
enum class Isa { kScalar, kSse2, kAvx2, kAvx512, kNeon };

constexpr const char* IsaName(Isa isa) {
  return isa == Isa::kScalar   ? "scalar"
         : isa == Isa::kSse2   ? "sse2"
         : isa == Isa::kAvx2   ? "avx2"
         : isa == Isa::kAvx512 ? "avx512"
                               : "neon";
}

// True when this build carries kernels for `isa` and this CPU (and its operating system) runs
// them. The AVX-512 level asks for the byte and word, VBMI and VBMI2 extensions as well.
inline bool CpuRuns(Isa isa) {
#if defined(QORSTL_X86_KERNELS) && (defined(__x86_64__) || defined(__i386__))
  __builtin_cpu_init();  // idempotent; needed only when called from a load-time constructor
  switch (isa) {
    case Isa::kScalar:
      return true;
    case Isa::kSse2:  // the 128-bit level: SSE2 and the byte shuffles of SSSE3
      return __builtin_cpu_supports("ssse3");
    case Isa::kAvx2:
      return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
             __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
    case Isa::kAvx512:
      return CpuRuns(Isa::kAvx2) && __builtin_cpu_supports("avx512f") &&
             __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
             __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vbmi") &&
             __builtin_cpu_supports("avx512vbmi2");
    case Isa::kNeon:
      return false;
  }
  return false;
#elif defined(QORSTL_NEON_KERNELS) && defined(__aarch64__)
  // NEON is part of the aarch64 baseline: every such CPU runs it.
  return isa == Isa::kScalar || isa == Isa::kNeon;
#else
  return isa == Isa::kScalar;
#endif
}

// The highest level this build carries and this CPU runs.
inline Isa BestIsa() {
  if (CpuRuns(Isa::kNeon)) return Isa::kNeon;
  if (CpuRuns(Isa::kAvx512)) return Isa::kAvx512;
  if (CpuRuns(Isa::kAvx2)) return Isa::kAvx2;
  if (CpuRuns(Isa::kSse2)) return Isa::kSse2;
  return Isa::kScalar;
}

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_CPU_FEATURES_H_
