// The NEON kernels of the multi-pattern search, the AVX2 ones in 128-bit halves: a table of the
// nibbles of each pattern's first bytes tells, 32 text positions a step, in which of eight buckets
// some pattern may start there; short lists compare only those buckets' patterns, longer ones have
// only the marked positions looked up by the hashes. NEON is part of the aarch64 baseline.
#include <arm_neon.h>

#include <cstdint>

#include "search/multi_find.h"

namespace qor {
namespace internal {
namespace {

// Lists of at most this many needles are searched by SearchFewNeon; longer ones by the hashes,
// behind MarkCandidatesNeon.
constexpr std::size_t kNeonMaxNeedles = 24;

// Bit i set where byte i of lo, or byte i - 16 of hi, is not zero.
inline std::uint32_t NonZeroBits(uint8x16_t lo, uint8x16_t hi) {
  static const std::uint8_t kWeights[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                            1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t weights = vld1q_u8(kWeights);
  const uint8x16_t a = vandq_u8(vtstq_u8(lo, lo), weights);
  const uint8x16_t b = vandq_u8(vtstq_u8(hi, hi), weights);
  uint8x16_t sum = vpaddq_u8(a, b);
  sum = vpaddq_u8(sum, sum);
  sum = vpaddq_u8(sum, sum);
  return vgetq_lane_u32(vreinterpretq_u32_u8(sum), 0);
}

// The buckets accepted at the 16 positions from p, by the first kBytes bytes there.
template <std::size_t kBytes>
inline uint8x16_t Buckets(const uint8x16_t* lo, const uint8x16_t* hi, const unsigned char* p) {
  const uint8x16_t nibble = vdupq_n_u8(0x0F);
  uint8x16_t found = vdupq_n_u8(0xFF);
  for (std::size_t j = 0; j < kBytes; ++j) {
    const uint8x16_t v = vld1q_u8(p + j);
    found = vandq_u8(found, vandq_u8(vqtbl1q_u8(lo[j], vandq_u8(v, nibble)),
                                     vqtbl1q_u8(hi[j], vshrq_n_u8(v, 4))));
  }
  return found;
}

template <std::size_t kBytes>
MultiHit Scan(const unsigned char* text, std::size_t size, const Needle* needles, std::size_t count,
              MultiGoal goal, std::size_t limit, const FewTables& tables) {
  uint8x16_t lo[kBytes], hi[kBytes];
  for (std::size_t j = 0; j < kBytes; ++j) {
    lo[j] = vld1q_u8(tables.lo[j]);
    hi[j] = vld1q_u8(tables.hi[j]);
  }
  const std::size_t* bucket_begin = tables.bucket_begin;
  const bool earliest = goal == MultiGoal::kEarliest;
  const std::size_t end = limit < size ? limit : size;
  MultiHit best{kNotFound, kNotFound};
  std::size_t active = count;  // for kLowestRank, the needles still able to improve on `best`
  std::size_t work = 0;
  alignas(16) unsigned char buckets[32];
  std::size_t pos = 0;
  for (; pos + 32 + (kBytes - 1) <= size && pos < end; pos += 32) {
    const uint8x16_t first_half = Buckets<kBytes>(lo, hi, text + pos);
    const uint8x16_t second_half = Buckets<kBytes>(lo, hi, text + pos + 16);
    if (vmaxvq_u8(vorrq_u8(first_half, second_half)) == 0) continue;
    std::uint32_t candidates = NonZeroBits(first_half, second_half);
    if (end - pos < 32) candidates &= (std::uint32_t{1} << (end - pos)) - 1;
    if (candidates == 0) continue;
    if (OverWorkBudget(work, pos)) {
      // No needle of interest starts before pos.
      return FinishOneByOne(text, size, pos, needles, earliest ? count : active, goal, limit, best);
    }
    vst1q_u8(buckets, first_half);
    vst1q_u8(buckets + 16, second_half);
    for (; candidates != 0; candidates &= candidates - 1) {
      const auto offset = static_cast<std::size_t>(__builtin_ctz(candidates));
      if (TryMarkedPosition(text, size, pos + offset, buckets[offset], needles, bucket_begin,
                            earliest, active, work, best))
        return best;
    }
  }
  return FinishOneByOne(text, size, pos, needles, earliest ? count : active, goal, limit, best);
}

template <std::size_t kBytes>
void Mark(const NibbleMasks& masks, const unsigned char* text, std::size_t blocks,
          std::uint32_t* bits) {
  uint8x16_t lo[kBytes], hi[kBytes];
  for (std::size_t j = 0; j < kBytes; ++j) {
    lo[j] = vld1q_u8(masks.lo[j]);
    hi[j] = vld1q_u8(masks.hi[j]);
  }
  for (std::size_t b = 0; b < blocks; ++b, text += 32) {
    const uint8x16_t first_half = Buckets<kBytes>(lo, hi, text);
    const uint8x16_t second_half = Buckets<kBytes>(lo, hi, text + 16);
    bits[b] = vmaxvq_u8(vorrq_u8(first_half, second_half)) == 0
                  ? 0
                  : NonZeroBits(first_half, second_half);
  }
}

void MarkCandidatesNeon(const NibbleMasks& masks, const unsigned char* text, std::size_t blocks,
                        std::uint32_t* bits) {
  WithByteCount<kNibbleBytes>(masks.bytes,
                              [&](auto n) { Mark<decltype(n)::value>(masks, text, blocks, bits); });
}

MultiHit SearchFewNeon(const unsigned char* text, std::size_t size, const Needle* needles,
                       std::size_t count, MultiGoal goal, std::size_t limit) {
  FewTables tables;
  BuildFewTables(needles, count, tables);
  return WithByteCount<kFewBytes>(tables.bytes, [&](auto n) {
    return Scan<decltype(n)::value>(text, size, needles, count, goal, limit, tables);
  });
}

}  // namespace

extern const MultiFindKernels kMultiFindNeon;
const MultiFindKernels kMultiFindNeon = {Isa::kNeon, kNeonMaxNeedles, SearchFewNeon,
                                         MarkCandidatesNeon};

}  // namespace internal
}  // namespace qor
