// The one-pass search for many patterns, shared by the portable code and the kernels of each level.
// Plain pointers only, so that a kernel unit, compiled for another instruction set, instantiates no
// template the rest of the library also uses. Private to the library.
#ifndef QORSTL_SRC_SEARCH_MULTI_FIND_H_
#define QORSTL_SRC_SEARCH_MULTI_FIND_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "cpu_features.h"
#include "find.h"

namespace qor {
namespace internal {

// One non-empty pattern of a slice of the list, and its rank: its place in the order in which
// patterns are preferred (list order, or the order chosen by mode).
struct Needle {
  const unsigned char* bytes;
  std::size_t size;
  std::size_t rank;
};

enum class MultiGoal {
  kLowestRank,  // the lowest-ranked pattern that occurs anywhere, at its first occurrence
  kEarliest,    // the earliest occurrence of any pattern; at one position the lowest rank
};

// `pos` is npos when nothing was found.
struct MultiHit {
  std::size_t pos;
  std::size_t rank;
};
constexpr MultiHit kNoHit{kNotFound, kNotFound};

// The plain rule, one pattern at a time with FindFirst, over the occurrences that start at or after
// `from`; the caller knows that no needle of interest starts before `from`. The needles of interest
// are needles[0, count) in ascending rank. For kLowestRank, `best` is the hit found so far and only
// needles ranked below it are tried; for kEarliest, only occurrences before `limit` count. Linear
// in the text per needle.
MultiHit FinishOneByOne(const unsigned char* text, std::size_t size, std::size_t from,
                        const Needle* needles, std::size_t count, MultiGoal goal, std::size_t limit,
                        MultiHit best);

// Verification follows the near-match budget of find.h: once it is spent, the search finishes one
// pattern at a time, which is linear per pattern.

// Needles searched in one pass; a longer list is searched in slices of this many.
constexpr std::size_t kMultiSliceSize = 256;

// The nibble filter in front of the hashed search of a longer list: the needles spread over
// eight buckets by their first bytes, and for each of the first `bytes` bytes the buckets holding a
// needle whose byte there has a given low (lo) or high (hi) nibble, the 16 entries repeated for
// both 128-bit halves of a vector.
constexpr std::size_t kNibbleBytes = 6;
struct NibbleMasks {
  alignas(32) unsigned char lo[kNibbleBytes][32];
  alignas(32) unsigned char hi[kNibbleBytes][32];
  std::size_t bytes;  // 1 to kNibbleBytes, at most the shortest needle's size
};

// The tables of the few-pattern kernels: the needles of a short list spread over eight
// buckets of consecutive ranks, and for each of the first `bytes` bytes the buckets holding a
// needle whose byte there has a given low (lo) or high (hi) nibble, repeated for both 128-bit
// halves of a vector. bucket_begin[b] is the first needle of bucket b; bucket_begin[8] is count.
constexpr std::size_t kFewBuckets = 8;
constexpr std::size_t kFewBytes = 3;
struct FewTables {
  alignas(32) unsigned char lo[kFewBytes][32];
  alignas(32) unsigned char hi[kFewBytes][32];
  std::size_t bucket_begin[kFewBuckets + 1];
  std::size_t bytes;  // 1 to kFewBytes, at most the shortest needle's size
};
void BuildFewTables(const Needle* needles, std::size_t count, FewTables& tables);

// Calls f(std::integral_constant<std::size_t, n>) for `bytes` as n, a count of 1 to kMost (larger
// counts as kMost): how a kernel picks, once per call, its loop instantiated for that many bytes.
// Each kernel unit passes its own lambda, so no instantiation is shared between instruction sets.
template <std::size_t kMost, std::size_t kN = 1, class F>
decltype(auto) WithByteCount(std::size_t bytes, F&& f) {
  if constexpr (kN == kMost) {
    return f(std::integral_constant<std::size_t, kN>{});
  } else {
    if (bytes == kN) return f(std::integral_constant<std::size_t, kN>{});
    return WithByteCount<kMost, kN + 1>(bytes, static_cast<F&&>(f));
  }
}

// A position the few-pattern filter marked: the needles of the buckets set in `bucket_bits` are
// compared there in order, and buckets hold consecutive needles, so by rank. True when the search
// is settled: the first hit for kEarliest, or the needle of rank 0. For kLowestRank, `active`
// bounds the needles still able to improve on `best`; `work` counts what the comparisons cost.
// Static: each kernel unit, compiled for its own instruction set, keeps its own copy.
static inline bool TryMarkedPosition(const unsigned char* text, std::size_t size, std::size_t at,
                                     unsigned bucket_bits, const Needle* needles,
                                     const std::size_t* bucket_begin, bool earliest,
                                     std::size_t& active, std::size_t& work, MultiHit& best) {
  for (unsigned bits = bucket_bits; bits != 0; bits &= bits - 1) {
    const auto bucket = static_cast<std::size_t>(__builtin_ctz(bits));
    const std::size_t stop = bucket_begin[bucket + 1] < active ? bucket_begin[bucket + 1] : active;
    for (std::size_t i = bucket_begin[bucket]; i < stop; ++i) {
      const Needle& needle = needles[i];
      work += kCandidateCost + needle.size;
      if (needle.size > size - at || std::memcmp(text + at, needle.bytes, needle.size) != 0)
        continue;
      best = MultiHit{at, needle.rank};
      if (earliest) return true;
      active = i;
      if (active == 0) return true;
      break;  // the rest of this bucket ranks lower still
    }
  }
  return false;
}

// The kernels of one level. Each one-pass search has the contract of FinishOneByOne with from == 0
// and no hit so far.
struct MultiFindKernels {
  Isa isa;
  // Lists of 2 to few_max needles are searched by search_few (none when few_max is 0).
  std::size_t few_max;
  MultiHit (*search_few)(const unsigned char* text, std::size_t size, const Needle* needles,
                         std::size_t count, MultiGoal goal, std::size_t limit);
  // The nibble filter, or null: bit i of bits[b] is set when some bucket accepts each of the
  // `bytes` bytes at text[32 b + i], so a clear bit is a position where no needle starts. Reads
  // text[0, 32 * blocks + bytes - 1).
  void (*mark_candidates)(const NibbleMasks& masks, const unsigned char* text, std::size_t blocks,
                          std::uint32_t* bits);
};

// The table of `isa`, or null when this build or this CPU lacks that level; a level without
// kernels of its own gets the nearest lower one's.
const MultiFindKernels* MultiFindKernelsFor(Isa isa);
// The table of the best level this CPU runs.
const MultiFindKernels& BestMultiFindKernels();

// The hashed one-pass search, for count <= kMultiSliceSize, with the nibble filter of `kernels`
// in front where it has one and the text is long enough to repay building it.
MultiHit SearchWithHashes(const unsigned char* text, std::size_t size, const Needle* needles,
                          std::size_t count, MultiGoal goal, std::size_t limit,
                          const MultiFindKernels& kernels);

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_SEARCH_MULTI_FIND_H_
