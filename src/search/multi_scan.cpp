// The one-pass scans of the multi-pattern search: the plain rule one pattern at a time, the
// portable hashed filter, the nibble filter's tables, and the kernel tables of every level.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "cpu_features.h"
#include "find.h"
#include "search/multi_find.h"

namespace qor {
namespace internal {

MultiHit FinishOneByOne(const unsigned char* text, std::size_t size, std::size_t from,
                        const Needle* needles, std::size_t count, MultiGoal goal, std::size_t limit,
                        MultiHit best) {
  const char* rest = reinterpret_cast<const char*>(text) + from;
  for (std::size_t i = 0; i < count; ++i) {
    const Needle& needle = needles[i];
    if (goal == MultiGoal::kLowestRank) {
      if (needle.rank >= best.rank) break;
      const std::size_t pos =
          FindFirst(rest, size - from, reinterpret_cast<const char*>(needle.bytes), needle.size);
      if (pos != kNotFound) return MultiHit{from + pos, needle.rank};
      continue;
    }
    // Only an occurrence that starts before `limit` counts; it lies within limit - 1 + its size.
    if (limit <= from) break;
    const std::size_t reach = limit - from - 1 + needle.size;
    const std::size_t pos = FindFirst(rest, std::min(size - from, reach),
                                      reinterpret_cast<const char*>(needle.bytes), needle.size);
    if (pos != kNotFound) {
      best = MultiHit{from + pos, needle.rank};
      limit = from + pos;
    }
  }
  return best;
}

void BuildFewTables(const Needle* needles, std::size_t count, FewTables& tables) {
  std::memset(tables.lo, 0, sizeof tables.lo);
  std::memset(tables.hi, 0, sizeof tables.hi);
  for (std::size_t b = 0; b <= kFewBuckets; ++b) tables.bucket_begin[b] = b * count / kFewBuckets;
  std::size_t bytes = kFewBytes;
  for (std::size_t i = 0; i < count; ++i) bytes = std::min(bytes, needles[i].size);
  tables.bytes = bytes;
  for (std::size_t b = 0; b < kFewBuckets; ++b) {
    const auto bit = static_cast<unsigned char>(1u << b);
    for (std::size_t i = tables.bucket_begin[b]; i < tables.bucket_begin[b + 1]; ++i) {
      for (std::size_t j = 0; j < bytes; ++j) {
        const unsigned char c = needles[i].bytes[j];
        tables.lo[j][c & 0x0F] |= bit;
        tables.lo[j][16 + (c & 0x0F)] |= bit;
        tables.hi[j][c >> 4] |= bit;
        tables.hi[j][16 + (c >> 4)] |= bit;
      }
    }
  }
}

}  // namespace internal

namespace {

using internal::MultiGoal;
using internal::MultiHit;
using internal::Needle;

using internal::kNoHit;
using internal::kNotFound;

constexpr std::size_t kSliceSize = internal::kMultiSliceSize;

// The portable filter. Patterns of four bytes and more are keyed by a 16-bit hash of their first
// four bytes: a bitmap over all hashes rejects most positions at one lookup, and the top bits of
// the hash head a chain of needles. Shorter patterns are chained by their first byte. Every chain
// runs in ascending rank.
constexpr unsigned kHashBits = 16;
constexpr unsigned kHeadBits = 12;
constexpr std::uint16_t kNoNeedle = 0xFFFF;

inline std::uint32_t Load32(const unsigned char* p) {
  std::uint32_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

inline std::uint32_t Hash4(std::uint32_t word) {
  return (word * 2654435761u) >> (32 - kHashBits);
}

inline bool MatchesAt(const unsigned char* text, std::size_t size, std::size_t pos,
                      const Needle& needle) {
  return needle.size <= size - pos && std::memcmp(text + pos, needle.bytes, needle.size) == 0;
}

struct HashFilter {
  std::uint64_t long_seen[(std::size_t{1} << kHashBits) / 64];
  std::uint16_t long_head[std::size_t{1} << kHeadBits];
  std::uint16_t short_head[256];
  std::uint16_t next[kSliceSize];
  std::uint32_t key[kSliceSize];
  bool has_short = false;

  HashFilter(const Needle* needles, std::size_t count) {
    std::fill(std::begin(long_seen), std::end(long_seen), std::uint64_t{0});
    std::fill(std::begin(long_head), std::end(long_head), kNoNeedle);
    std::fill(std::begin(short_head), std::end(short_head), kNoNeedle);
    // Pushed from the last needle to the first, so that every chain runs in ascending rank.
    for (std::size_t i = count; i-- > 0;) {
      const Needle& needle = needles[i];
      std::uint16_t* head;
      if (needle.size >= 4) {
        key[i] = Load32(needle.bytes);
        const std::uint32_t hash = Hash4(key[i]);
        long_seen[hash / 64] |= std::uint64_t{1} << (hash % 64);
        head = &long_head[hash >> (kHashBits - kHeadBits)];
      } else {
        head = &short_head[needle.bytes[0]];
        has_short = true;
      }
      next[i] = *head;
      *head = static_cast<std::uint16_t>(i);
    }
  }

  // The chain of long needles that may start with `word`, or kNoNeedle.
  std::uint16_t LongChain(std::uint32_t word) const {
    const std::uint32_t hash = Hash4(word);
    if (((long_seen[hash / 64] >> (hash % 64)) & 1) == 0) return kNoNeedle;
    return long_head[hash >> (kHashBits - kHeadBits)];
  }
};

}  // namespace

namespace {

// Over texts at least this long, a level's nibble filter goes before the hashes; positions marked
// per call of its kernel.
constexpr std::size_t kNibbleMinText = 2048;
constexpr std::size_t kMarkBlocks = 64;

// The buckets hold needles of neighbouring first bytes, in byte order rather than rank: each
// bucket's nibble sets stay small, and fewer positions pass. The ranks are the hashes' business.
void BuildNibbleMasks(const Needle* needles, std::size_t count, internal::NibbleMasks& masks) {
  std::memset(&masks, 0, sizeof masks);
  std::size_t bytes = internal::kNibbleBytes;
  for (std::size_t i = 0; i < count; ++i) bytes = std::min(bytes, needles[i].size);
  masks.bytes = bytes;
  // The first four bytes (at most `bytes`) as a big-endian number above the needle's index.
  std::uint64_t order[kSliceSize];
  for (std::size_t i = 0; i < count; ++i) {
    std::uint64_t key = 0;
    for (std::size_t j = 0; j < 4; ++j) key = key << 8 | (j < bytes ? needles[i].bytes[j] : 0);
    order[i] = key << 32 | i;
  }
  std::sort(order, order + count);
  for (std::size_t k = 0; k < count; ++k) {
    const Needle& needle = needles[order[k] & 0xFFFFFFFFu];
    const auto bit = static_cast<unsigned char>(1u << (k * 8 / count));
    for (std::size_t j = 0; j < bytes; ++j) {
      const unsigned char c = needle.bytes[j];
      masks.lo[j][c & 0x0F] |= bit;
      masks.lo[j][16 + (c & 0x0F)] |= bit;
      masks.hi[j][c >> 4] |= bit;
      masks.hi[j][16 + (c >> 4)] |= bit;
    }
  }
}

}  // namespace

// The hashed one-pass search of needles[0, count) (count <= kMultiSliceSize).
MultiHit internal::SearchWithHashes(const unsigned char* text, std::size_t size,
                                    const Needle* needles, std::size_t count, MultiGoal goal,
                                    std::size_t limit, const MultiFindKernels& kernels) {
  const HashFilter filter(needles, count);
  const bool earliest = goal == MultiGoal::kEarliest;
  const std::size_t end = std::min(limit, size);  // positions searched
  const std::size_t keyed_end = size >= 4 ? std::min(end, size - 3) : 0;
  MultiHit best = kNoHit;
  std::size_t active = count;  // for kLowestRank, the needles still able to improve on `best`
  std::size_t work = 0;

  // Verifies the chain from `entry` at `pos`; for kEarliest stops at the first match (the lowest
  // rank there) and leaves its entry in best.rank, for kLowestRank records a better hit and
  // narrows `active`.
  const auto try_chain = [&](std::uint16_t entry, std::size_t pos, std::uint32_t word, bool keyed) {
    for (; entry != kNoNeedle && entry < active; entry = filter.next[entry]) {
      const Needle& needle = needles[entry];
      work += internal::kCandidateCost;
      if (keyed && filter.key[entry] != word) continue;
      work += needle.size;
      if (!MatchesAt(text, size, pos, needle)) continue;
      if (earliest) {
        if (entry < best.rank) best = MultiHit{pos, entry};
        return;
      }
      best = MultiHit{pos, needle.rank};
      active = entry;
      return;
    }
  };

  // Tries the needles that may start at `pos`, no needle of interest starting before it; true
  // when the search is over, with its answer in `best`.
  const auto visit = [&](std::size_t pos) {
    std::uint16_t long_entry = kNoNeedle;
    std::uint32_t word = 0;
    if (pos < keyed_end) {
      word = Load32(text + pos);
      long_entry = filter.LongChain(word);
    }
    const std::uint16_t short_entry = filter.has_short ? filter.short_head[text[pos]] : kNoNeedle;
    // Both chains empty: the common case, one test.
    if ((long_entry & short_entry) == kNoNeedle) return false;
    if (internal::OverWorkBudget(work, pos)) {
      best = earliest
                 ? internal::FinishOneByOne(text, size, pos, needles, count, goal, limit, kNoHit)
                 : internal::FinishOneByOne(text, size, pos, needles, active, goal, limit, best);
      return true;
    }
    if (earliest) {
      best.rank = kNotFound;
      try_chain(long_entry, pos, word, true);
      try_chain(short_entry, pos, word, false);
      if (best.rank != kNotFound) {
        best = MultiHit{pos, needles[best.rank].rank};
        return true;
      }
      best = kNoHit;
      return false;
    }
    try_chain(long_entry, pos, word, true);
    try_chain(short_entry, pos, word, false);
    return active == 0;
  };

  std::size_t pos = 0;
  if (kernels.mark_candidates != nullptr && size >= kNibbleMinText) {
    // Blocks of 32 positions marked by the nibble filter, then only the marked ones looked up.
    internal::NibbleMasks masks;
    BuildNibbleMasks(needles, count, masks);
    const std::size_t blocks = (size - (masks.bytes - 1)) / 32;
    std::uint32_t bits[kMarkBlocks];
    for (std::size_t block = 0; block < blocks && pos < end;) {
      const std::size_t n = std::min(kMarkBlocks, blocks - block);
      kernels.mark_candidates(masks, text + 32 * block, n, bits);
      for (std::size_t b = 0; b < n; ++b) {
        for (std::uint32_t marked = bits[b]; marked != 0; marked &= marked - 1) {
          const std::size_t at = 32 * (block + b) + static_cast<std::size_t>(__builtin_ctz(marked));
          if (at >= end) return best;
          if (visit(at)) return best;
        }
      }
      block += n;
      pos = 32 * block;
    }
  }
  for (; pos < end; ++pos) {
    if (!filter.has_short) {
      // Only long needles: one bitmap lookup per position until one may start.
      while (pos < keyed_end && filter.LongChain(Load32(text + pos)) == kNoNeedle) ++pos;
      if (pos >= keyed_end) break;
    }
    if (visit(pos)) return best;
  }
  return best;
}

namespace internal {

// Defined by the kernel units, which exist only in builds with the kernels of their level.
extern const MultiFindKernels kMultiFindAvx2;
extern const MultiFindKernels kMultiFindNeon;

namespace {

const MultiFindKernels kMultiFindScalar = {Isa::kScalar, 0, nullptr, nullptr};

}  // namespace

const MultiFindKernels* MultiFindKernelsFor(Isa isa) {
  if (!CpuRuns(isa)) return nullptr;
  switch (isa) {
#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
    case Isa::kSse2:  // no kernel of its own: the portable scan
      return &kMultiFindScalar;
    case Isa::kAvx2:
    case Isa::kAvx512:  // the AVX2 kernels
      return &kMultiFindAvx2;
#endif
#if defined(QORSTL_NEON_KERNELS) && defined(__aarch64__)
    case Isa::kNeon:
      return &kMultiFindNeon;
#endif
    default:
      return &kMultiFindScalar;
  }
}

// Resolved on first use (thread-safe), read-only after: callers share no state that changes.
const MultiFindKernels& BestMultiFindKernels() {
  static const MultiFindKernels& best = *MultiFindKernelsFor(BestIsa());
  return best;
}

}  // namespace internal
}  // namespace qor
