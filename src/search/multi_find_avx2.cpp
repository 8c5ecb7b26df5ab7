// The AVX2 kernels of the multi-pattern search. For short lists, the patterns are spread over eight
// buckets, and a table of the nibbles of each pattern's first three bytes tells, 32 text positions
// at a time, in which buckets some pattern may start there; only those buckets' patterns are
// compared. For longer lists, the same kind of table only marks the positions the hashes look up.
// Compiled with the AVX2 flags; reached only through the AVX2 table, when the CPU runs AVX2.
#include <immintrin.h>

#include <cstdint>

#include "search/multi_find.h"

namespace qor {
namespace internal {
namespace {

// Lists of at most this many needles are searched by SearchFewAvx2; longer ones by the hashes,
// behind MarkCandidatesAvx2.
constexpr std::size_t kAvx2MaxNeedles = 24;

template <std::size_t kBytes>
MultiHit Scan(const unsigned char* text, std::size_t size, const Needle* needles, std::size_t count,
              MultiGoal goal, std::size_t limit, const FewTables& tables) {
  const std::size_t* bucket_begin = tables.bucket_begin;
  __m256i lo[kBytes], hi[kBytes];
  for (std::size_t j = 0; j < kBytes; ++j) {
    lo[j] = _mm256_load_si256(reinterpret_cast<const __m256i*>(tables.lo[j]));
    hi[j] = _mm256_load_si256(reinterpret_cast<const __m256i*>(tables.hi[j]));
  }
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i zero = _mm256_setzero_si256();
  const bool earliest = goal == MultiGoal::kEarliest;
  const std::size_t end = limit < size ? limit : size;
  MultiHit best{kNotFound, kNotFound};
  std::size_t active = count;  // for kLowestRank, the needles still able to improve on `best`
  std::size_t work = 0;
  alignas(32) unsigned char buckets[32];
  std::size_t pos = 0;
  for (; pos + 32 + (kBytes - 1) <= size && pos < end; pos += 32) {
    __m256i found = zero;
    for (std::size_t j = 0; j < kBytes; ++j) {
      const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + pos + j));
      const __m256i low = _mm256_and_si256(v, nibble);
      const __m256i high = _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble);
      const __m256i in =
          _mm256_and_si256(_mm256_shuffle_epi8(lo[j], low), _mm256_shuffle_epi8(hi[j], high));
      found = j == 0 ? in : _mm256_and_si256(found, in);
    }
    auto candidates =
        ~static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(found, zero)));
    if (end - pos < 32) candidates &= (std::uint32_t{1} << (end - pos)) - 1;
    if (candidates == 0) continue;
    if (OverWorkBudget(work, pos)) {
      // No needle of interest starts before pos.
      return FinishOneByOne(text, size, pos, needles, earliest ? count : active, goal, limit, best);
    }
    _mm256_store_si256(reinterpret_cast<__m256i*>(buckets), found);
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
  __m256i lo[kBytes], hi[kBytes];
  for (std::size_t j = 0; j < kBytes; ++j) {
    lo[j] = _mm256_load_si256(reinterpret_cast<const __m256i*>(masks.lo[j]));
    hi[j] = _mm256_load_si256(reinterpret_cast<const __m256i*>(masks.hi[j]));
  }
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i zero = _mm256_setzero_si256();
  for (std::size_t b = 0; b < blocks; ++b, text += 32) {
    __m256i found = zero;
    for (std::size_t j = 0; j < kBytes; ++j) {
      const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + j));
      const __m256i in = _mm256_and_si256(
          _mm256_shuffle_epi8(lo[j], _mm256_and_si256(v, nibble)),
          _mm256_shuffle_epi8(hi[j], _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble)));
      found = j == 0 ? in : _mm256_and_si256(found, in);
    }
    bits[b] = ~static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(found, zero)));
  }
}

void MarkCandidatesAvx2(const NibbleMasks& masks, const unsigned char* text, std::size_t blocks,
                        std::uint32_t* bits) {
  WithByteCount<kNibbleBytes>(masks.bytes,
                              [&](auto n) { Mark<decltype(n)::value>(masks, text, blocks, bits); });
}

MultiHit SearchFewAvx2(const unsigned char* text, std::size_t size, const Needle* needles,
                       std::size_t count, MultiGoal goal, std::size_t limit) {
  FewTables tables;
  BuildFewTables(needles, count, tables);
  return WithByteCount<kFewBytes>(tables.bytes, [&](auto n) {
    return Scan<decltype(n)::value>(text, size, needles, count, goal, limit, tables);
  });
}

}  // namespace

extern const MultiFindKernels kMultiFindAvx2;
const MultiFindKernels kMultiFindAvx2 = {Isa::kAvx2, kAvx2MaxNeedles, SearchFewAvx2,
                                         MarkCandidatesAvx2};

}  // namespace internal
}  // namespace qor
