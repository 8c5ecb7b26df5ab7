// First occurrence of one pattern: the short path and the first candidate in place, the level's
// block filter after it, and the plain memchr scan and Two-Way that the filters fall back to.
#include "find.h"

#include <cstdint>
#include <cstring>
#include <string>

#include "qor/qorstl.h"
#include "search/scan_kernels.h"
#include "simd.h"

namespace qor {
namespace internal {
namespace {

// Start of the lexicographically greatest suffix of p[0, m) (the smallest one when `reversed`),
// and that suffix's period in `period`. Linear time (Crochemore-Perrin).
std::size_t MaximalSuffix(const unsigned char* p, std::size_t m, bool reversed,
                          std::size_t& period) {
  std::size_t best = 0;       // start of the greatest suffix seen so far
  std::size_t candidate = 1;  // start of the suffix now compared with it
  std::size_t offset = 0;     // bytes the two agree on so far
  period = 1;
  while (candidate + offset < m) {
    const unsigned char held = p[best + offset];
    const unsigned char challenger = p[candidate + offset];
    if (held == challenger) {
      if (offset + 1 == period) {
        candidate += period;
        offset = 0;
      } else {
        ++offset;
      }
    } else if ((challenger < held) != reversed) {
      // The challenger loses; every suffix starting up to the mismatch loses with it.
      candidate += offset + 1;
      offset = 0;
      period = candidate - best;
    } else {
      best = candidate;
      candidate = best + 1;
      offset = 0;
      period = 1;
    }
  }
  return best;
}

// Two-Way search (Crochemore-Perrin): the pattern is cut at a critical factorization; the right
// part is matched left to right, then the left part right to left. At most 2n byte comparisons,
// constant extra space.
std::size_t TwoWay(const unsigned char* t, std::size_t n, const unsigned char* p, std::size_t m) {
  if (m > n) return kNotFound;
  std::size_t period_fwd = 0;
  std::size_t period_rev = 0;
  const std::size_t split_fwd = MaximalSuffix(p, m, false, period_fwd);
  const std::size_t split_rev = MaximalSuffix(p, m, true, period_rev);
  const std::size_t split = split_fwd > split_rev ? split_fwd : split_rev;
  std::size_t period = split_fwd > split_rev ? period_fwd : period_rev;
  const std::size_t last_start = n - m;

  if (std::memcmp(p, p + period, split) == 0) {
    // Periodic pattern: after a full match of the right part, the next `m - period` bytes of the
    // window are known to match and are not compared again.
    std::size_t known = 0;
    std::size_t pos = 0;
    while (pos <= last_start) {
      std::size_t i = split > known ? split : known;
      while (i < m && p[i] == t[pos + i]) ++i;
      if (i < m) {
        pos += i - split + 1;
        known = 0;
        continue;
      }
      std::size_t k = split;
      while (k > known && p[k - 1] == t[pos + k - 1]) --k;
      if (k <= known) return pos;
      pos += period;
      known = m - period;
    }
    return kNotFound;
  }

  // No large period: a mismatch in the left part allows a shift past the longer part.
  period = (split > m - split ? split : m - split) + 1;
  std::size_t pos = 0;
  while (pos <= last_start) {
    std::size_t i = split;
    while (i < m && p[i] == t[pos + i]) ++i;
    if (i < m) {
      pos += i - split + 1;
      continue;
    }
    std::size_t k = split;
    while (k > 0 && p[k - 1] == t[pos + k - 1]) --k;
    if (k == 0) return pos;
    pos += period;
  }
  return kNotFound;
}

// Whether at[0, m) equals p[0, m), for sizeof(Word) <= m <= 2 * sizeof(Word): the first and last
// words, which overlap when m is less than twice a word.
template <typename Word>
inline bool SameEnds(const unsigned char* at, const unsigned char* p, std::size_t m) {
  Word a0, a1, p0, p1;
  std::memcpy(&a0, at, sizeof(Word));
  std::memcpy(&a1, at + m - sizeof(Word), sizeof(Word));
  std::memcpy(&p0, p, sizeof(Word));
  std::memcpy(&p1, p + m - sizeof(Word), sizeof(Word));
  return ((a0 ^ p0) | (a1 ^ p1)) == 0;
}

// Whether the pattern p[0, m), 2 <= m <= 16, stands at `at`: its first and last 2, 4 or 8 bytes,
// as two words that overlap.
inline bool ShortPatternAt(const unsigned char* at, const unsigned char* p, std::size_t m) {
  if (m >= 8) return SameEnds<std::uint64_t>(at, p, m);
  if (m >= 4) return SameEnds<std::uint32_t>(at, p, m);
  return SameEnds<std::uint16_t>(at, p, m);
}

// Whether the pattern p[0, m), m >= 2, stands at `at`: up to 16 bytes as two words, longer ones by
// memcmp.
inline bool PatternAt(const unsigned char* at, const unsigned char* p, std::size_t m) {
  if (m > 16) return std::memcmp(at, p, m) == 0;
  return ShortPatternAt(at, p, m);
}

// Texts shorter than this take no scan.
constexpr std::size_t kShortText = 16;
// Past its first candidate, a text of fewer starts than this is searched in place; a longer one by
// the level's kernel.
constexpr std::size_t kInlineStarts = 256;

}  // namespace

std::size_t TwoWayFrom(const unsigned char* t, std::size_t n, const unsigned char* p, std::size_t m,
                       std::size_t pos) {
  const std::size_t found = TwoWay(t + pos, n - pos, p, m);
  return found == kNotFound ? kNotFound : pos + found;
}

std::size_t MemchrScanFrom(const unsigned char* t, std::size_t n, const unsigned char* p,
                           std::size_t m, std::size_t pos) {
  const std::size_t last_start = n - m;
  std::size_t work = 0;
  while (pos <= last_start) {
    const void* hit = std::memchr(t + pos, p[0], last_start - pos + 1);
    if (hit == nullptr) return kNotFound;
    pos = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - t);
    if (t[pos + m - 1] == p[m - 1]) {
      if (m <= 2 || SameBytes(t + pos + 1, p + 1, m - 2)) return pos;
      work += m;
    }
    work += kCandidateCost;
    ++pos;
    if (OverWorkBudget(work, pos)) return TwoWayFrom(t, n, p, m, pos);
  }
  return kNotFound;
}

namespace {

// From `pos`, fewer starts than a block, and a block of text to read: one comparison of the first
// 16 bytes with the pattern's first byte finds every candidate, each then tested in place.
inline std::size_t FindInOneBlock(const unsigned char* t, std::size_t n, const unsigned char* p,
                                  std::size_t m, std::size_t pos) {
  const std::size_t last_start = n - m;
  for (unsigned starts = Equal16(t, p[0]) & ((2u << last_start) - 1) & (0xFFFFu << pos);
       starts != 0; starts &= starts - 1) {
    const auto at = static_cast<std::size_t>(__builtin_ctz(starts));
    if (PatternAt(t + at, p, m)) return at;
  }
  return kNotFound;
}

// Bit i set when a[i] == x and b[i] == y, for the 16 bytes at a and the 16 at b.
inline unsigned EqualPair16(const unsigned char* a, unsigned char x, const unsigned char* b,
                            unsigned char y) {
#if defined(QORSTL_HAVE_SSE2)
  const __m128i at_a = _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a)),
                                      _mm_set1_epi8(static_cast<char>(x)));
  const __m128i at_b = _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(b)),
                                      _mm_set1_epi8(static_cast<char>(y)));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(at_a, at_b)));
#elif defined(QORSTL_HAVE_NEON)
  static const std::uint8_t kWeights[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                            1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t both =
      vandq_u8(vceqq_u8(vld1q_u8(a), vdupq_n_u8(x)), vceqq_u8(vld1q_u8(b), vdupq_n_u8(y)));
  const uint8x16_t weighted = vandq_u8(both, vld1q_u8(kWeights));
  return static_cast<unsigned>(vaddv_u8(vget_low_u8(weighted))) |
         static_cast<unsigned>(vaddv_u8(vget_high_u8(weighted))) << 8;
#else
  return Equal16(a, x) & Equal16(b, y);
#endif
}

// From `pos` in a text of 16 to kInlineStarts starts, searched in place without a call through the
// level's table: a block of 16 starts at a time, a start a candidate only where the pattern's first
// and last bytes both agree with the text. The last block ends at the last start, its starts
// already tried masked out.
inline std::size_t FindInFewBlocks(const unsigned char* t, std::size_t n, const unsigned char* p,
                                   std::size_t m, std::size_t pos) {
  const std::size_t last_start = n - m;
  std::size_t work = 0;
  for (;;) {
    std::size_t at = pos;
    unsigned untried = 0xFFFF;
    if (last_start - pos < 15) {
      at = last_start - 15;
      untried = (0xFFFFu << (pos - at)) & 0xFFFFu;
    }
    for (unsigned candidates = EqualPair16(t + at, p[0], t + at + m - 1, p[m - 1]) & untried;
         candidates != 0; candidates &= candidates - 1) {
      const auto offset = static_cast<std::size_t>(__builtin_ctz(candidates));
      if (PatternAt(t + at + offset, p, m)) return at + offset;
      work += m + kCandidateCost;
    }
    pos = at + 16;
    if (pos > last_start) return kNotFound;
    if (OverWorkBudget(work, pos)) return TwoWayFrom(t, n, p, m, pos);
  }
}

// Past a first candidate that failed, from `pos`: a block filter, in place for a short text, the
// level's kernel otherwise.
[[gnu::noinline]] std::size_t FindAfterFirst(const unsigned char* t, std::size_t n,
                                             const unsigned char* p, std::size_t m,
                                             std::size_t pos) {
  if (kBaselineVectors && n - m < kShortText - 1) return FindInOneBlock(t, n, p, m, pos);
  if (kBaselineVectors && n - m < kInlineStarts) return FindInFewBlocks(t, n, p, m, pos);
  return BestScanKernels().find_from(t, n, p, m, pos);
}

// The whole search, inlined into its two callers, up to its first candidate. Texts shorter than a
// block are searched in place: each start tried, its first and last bytes first, without a call
// that would cost more than the bytes it reads.
inline std::size_t Find(const char* text, std::size_t n, const char* pattern, std::size_t m) {
  if (m == 0) return 0;
  if (m > n) return kNotFound;
  const auto* t = reinterpret_cast<const unsigned char*>(text);
  const auto* p = reinterpret_cast<const unsigned char*>(pattern);
  if (n >= kShortText) {
    if (m == 1) {
      const void* hit = std::memchr(t, p[0], n);
      return hit == nullptr ? kNotFound
                            : static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - t);
    }
    // memchr finds the first candidate, as it reads a text without the pattern's first byte faster
    // than blocks do, and in real text the first candidate is often the occurrence.
    const std::size_t last_start = n - m;
    const void* hit = std::memchr(t, p[0], last_start + 1);
    if (hit == nullptr) return kNotFound;
    const auto pos = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - t);
    if (PatternAt(t + pos, p, m)) return pos;
    if (pos == last_start) return kNotFound;
    return FindAfterFirst(t, n, p, m, pos + 1);
  }
  for (std::size_t at = 0; at + m <= n; ++at) {
    if (t[at] == p[0] && t[at + m - 1] == p[m - 1] &&
        (m <= 2 || SameBytes(t + at + 1, p + 1, m - 2)))
      return at;
  }
  return kNotFound;
}

// Texts of fewer starts than this, for a pattern of 2 to 16 bytes, are searched in place.
constexpr std::size_t kFewStarts = 31;

// A pattern of 2 to 16 bytes in a text of fewer than kFewStarts starts for it, searched in place:
// no call costs less than the few bytes read. A text under 16 bytes is tried at each start, first
// byte first. A longer one takes its candidates, the starts whose first and last bytes agree with
// the pattern's, from one or two blocks of 16 starts: with fewer than 16 starts, the first bytes
// come from its first 16 bytes and the last bytes from its last 16; otherwise a block from the
// first start and one ending at the last.
inline std::size_t FindFewStarts(const unsigned char* t, std::size_t n, const unsigned char* p,
                                 std::size_t m) {
  if (n < kShortText) {
    for (std::size_t at = 0; at + m <= n; ++at)
      if (t[at] == p[0] && ShortPatternAt(t + at, p, m)) return at;
    return kNotFound;
  }
  const std::size_t last_start = n - m;
  unsigned starts;
  if (last_start < 15) {
    // Start s's last byte is text byte n - 16 + (s + 15 - last_start).
    starts = Equal16(t, p[0]) & (Equal16(t + n - 16, p[m - 1]) >> (15 - last_start));
  } else {
    // Bit s of the second block is start `late + s`; those below 16 are in the first.
    const std::size_t late = last_start - 15;
    const unsigned first = EqualPair16(t, p[0], t + m - 1, p[m - 1]);
    const unsigned second = EqualPair16(t + late, p[0], t + late + m - 1, p[m - 1]);
    starts = first | ((second & (0xFFFF0000u >> late)) << late);
  }
  for (; starts != 0; starts &= starts - 1) {
    const auto at = static_cast<std::size_t>(__builtin_ctz(starts));
    if (ShortPatternAt(t + at, p, m)) return at;
  }
  return kNotFound;
}

// What string_find answers for a match at `pos`.
inline std::size_t Answer(std::size_t pos, std::size_t m, bool match_begin) {
  return pos == kNotFound || match_begin ? pos : pos + m;
}

// Past this many bytes from the last candidate tried, the next one is looked for by memchr again:
// a first byte that rare is found faster by memchr than by blocks.
constexpr std::size_t kSparseCandidates = 16;
// At most this many candidates after the first are looked for by memchr, so that a text where the
// first byte recurs at a steady distance just above kSparseCandidates goes to the block filter
// after a few calls rather than taking one call per candidate to its end.
constexpr int kSparseRounds = 4;

// Tells the compiler that memory may have changed, so that values read from it before are read
// again rather than kept in registers across a call.
inline void ReadAgain() {
#if defined(__GNUC__)
  asm volatile("" ::: "memory");
#endif
}

// A pattern of 2 to 16 bytes in a text of fewer starts than this is searched past its first
// candidate in place, a block of 16 starts at a time, without a further call.
constexpr std::size_t kLeafStarts = 64;

// The 16 starts from `at` whose first and last bytes agree with the pattern's, those below `from`
// masked out, each then compared in full; the pattern, 2 to 16 bytes, fits at each of them.
inline std::size_t FirstInBlock(const unsigned char* t, const unsigned char* p, std::size_t m,
                                std::size_t at, std::size_t from) {
  for (unsigned candidates =
           EqualPair16(t + at, p[0], t + at + m - 1, p[m - 1]) & (0xFFFFu << (from - at));
       candidates != 0; candidates &= candidates - 1) {
    const std::size_t start = at + static_cast<std::size_t>(__builtin_ctz(candidates));
    if (ShortPatternAt(t + start, p, m)) return start;
  }
  return kNotFound;
}

// The starts from `from` to `last_start`, 15 <= last_start and from <= last_start, a block of 16
// at a time; the last block ends at the last start, its starts already tried masked out.
inline std::size_t FindInBlocksFrom(const unsigned char* t, const unsigned char* p, std::size_t m,
                                    std::size_t last_start, std::size_t from) {
  std::size_t at = from;
  for (; at + 15 < last_start; at += 16) {
    const std::size_t found = FirstInBlock(t, p, m, at, at);
    if (found != kNotFound) return found;
  }
  return FirstInBlock(t, p, m, last_start - 15, at);
}

// Past the first candidate at `pos`, which failed, for a pattern of 2 to 16 bytes and 15 or more
// starts. A text of fewer than kLeafStarts starts is searched in place. In a longer one, while the
// candidates lie far apart, memchr finds each next one, as it reads a text without the pattern's
// first byte faster than blocks do; the first candidate close to the one before, or the
// kSparseRounds-th, hands the rest to the block filter. Each memchr covers at least
// kSparseCandidates bytes, so that its fixed cost stays a fraction of the bytes it reads.
[[gnu::noinline]] std::size_t FindPastCandidate(const unsigned char* t, std::size_t n,
                                                const unsigned char* p, std::size_t m,
                                                std::size_t pos, bool match_begin) {
  const std::size_t last_start = n - m;
  if (pos == last_start) return kNotFound;
  if (last_start < kLeafStarts)
    return Answer(FindInBlocksFrom(t, p, m, last_start, pos + 1), m, match_begin);
  std::size_t from = 0;
  for (int round = 0;; ++round) {
    if (pos - from < kSparseCandidates || round == kSparseRounds)
      return Answer(FindAfterFirst(t, n, p, m, pos + 1), m, match_begin);
    from = pos + 1;
    const void* hit = std::memchr(t + from, p[0], last_start - from + 1);
    if (hit == nullptr) return kNotFound;
    pos = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - t);
    if (ShortPatternAt(t + pos, p, m)) return match_begin ? pos : pos + m;
    if (pos == last_start) return kNotFound;
  }
}

// string_find for every pattern of another length.
[[gnu::noinline]] std::size_t FindElsewhere(const char* text, std::size_t n, const char* pattern,
                                            std::size_t m, bool match_begin) {
  return Answer(Find(text, n, pattern, m), m, match_begin);
}

}  // namespace

std::size_t FindFirst(const char* text, std::size_t text_len, const char* pattern,
                      std::size_t pattern_len) {
  return Find(text, text_len, pattern, pattern_len);
}

}  // namespace internal

// A pattern of 2 to 16 bytes in a text of 16 bytes or more: memchr finds the first candidate, as
// it reads a text without the pattern's first byte faster than blocks do, and in real text the
// first candidate is often the occurrence. The strings' fields are read again after memchr rather
// than held across it, so that the call keeps three registers, not six.
[[gnu::aligned(64)]] std::size_t string_find(const std::string& text, const std::string& pattern,
                                             bool match_begin) {
  const std::size_t n = text.size();
  const std::size_t m = pattern.size();
  if (!internal::kBaselineVectors || m - 2 >= 15 || m > n)
    return internal::FindElsewhere(text.data(), n, pattern.data(), m, match_begin);
  if (n - m < internal::kFewStarts) {
    const auto* t = reinterpret_cast<const unsigned char*>(text.data());
    const auto* p = reinterpret_cast<const unsigned char*>(pattern.data());
    return internal::Answer(internal::FindFewStarts(t, n, p, m), m, match_begin);
  }
  const void* hit = std::memchr(text.data(), pattern[0], n - m + 1);
  internal::ReadAgain();
  if (hit == nullptr) return internal::kNotFound;
  const auto* t = reinterpret_cast<const unsigned char*>(text.data());
  const auto* p = reinterpret_cast<const unsigned char*>(pattern.data());
  const auto pos = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - t);
  if (internal::ShortPatternAt(t + pos, p, pattern.size()))
    return match_begin ? pos : pos + pattern.size();
  return internal::FindPastCandidate(t, text.size(), p, pattern.size(), pos, match_begin);
}

}  // namespace qor

// The speed of string_find's short loops and of the search kernels linked after this unit depends
// on where their loops fall within 64-byte lines of code. string_find starts on a line, and this
// unit's code 32 bytes past one, whatever the code linked before it: places chosen by measuring
// the short searches and the long ones.
#if defined(__GNUC__) && defined(__ELF__) && defined(__x86_64__)
asm(".text\n\t.balign 64\n\t.skip 32\n");
#endif
