// The byte scans of the 128-bit x86 level: sixteen bytes a step in SSE2. Reached only through the
// level's table, when the CPU runs it.
#include <emmintrin.h>

#include "search/scan_kernels.h"

namespace qor {
namespace internal {
namespace {

inline __m128i Load(const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline unsigned Bits(__m128i v) {
  return static_cast<unsigned>(_mm_movemask_epi8(v));
}

std::size_t CountByteSse2(const unsigned char* p, std::size_t n, unsigned char c) {
  const __m128i needle = _mm_set1_epi8(static_cast<char>(c));
  const __m128i zero = _mm_setzero_si128();
  std::size_t count = 0;
  std::size_t i = 0;
  while (n - i >= 16) {
    // Per-lane counters, summed before any lane can pass 255.
    const std::size_t blocks = (n - i) / 16 < 255 ? (n - i) / 16 : 255;
    __m128i counts = zero;
    for (std::size_t b = 0; b < blocks; ++b, i += 16)
      counts = _mm_sub_epi8(counts, _mm_cmpeq_epi8(Load(p + i), needle));
    const __m128i sums = _mm_sad_epu8(counts, zero);
    count += static_cast<std::size_t>(_mm_cvtsi128_si32(sums)) +
             static_cast<std::size_t>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
  }
  return count + CountByteRule(p + i, n - i, c);
}

std::size_t LastByteSse2(const unsigned char* p, std::size_t n, unsigned char c) {
  const __m128i needle = _mm_set1_epi8(static_cast<char>(c));
  for (; n >= 16; n -= 16) {
    const unsigned mask = Bits(_mm_cmpeq_epi8(Load(p + n - 16), needle));
    if (mask != 0) return n - 16 + static_cast<std::size_t>(31 - __builtin_clz(mask));
  }
  return LastByteRule(p, n, c);
}

std::size_t DecodedRoomSse2(const unsigned char* p, std::size_t n, bool units) {
  const __m128i zero = _mm_setzero_si128();
  // As signed bytes, continuation bytes 80..BF are -128..-65, every other byte is above -65, and
  // the leads F0..FF are -16..-1.
  const __m128i continuation_ceiling = _mm_set1_epi8(-65);
  const __m128i long_lead_floor = _mm_set1_epi8(-17);
  std::size_t room = 0;
  std::size_t i = 0;
  while (n - i >= 16) {
    // Per-lane counters (at most two a block), summed before any lane can pass 255.
    const std::size_t blocks = (n - i) / 16 < 127 ? (n - i) / 16 : 127;
    __m128i counts = zero;
    for (std::size_t b = 0; b < blocks; ++b, i += 16) {
      const __m128i v = Load(p + i);
      // A compare gives -1 where it holds, so subtracting it counts.
      counts = _mm_sub_epi8(counts, _mm_cmpgt_epi8(v, continuation_ceiling));
      if (units) {
        counts = _mm_sub_epi8(
            counts, _mm_and_si128(_mm_cmpgt_epi8(v, long_lead_floor), _mm_cmplt_epi8(v, zero)));
      }
    }
    const __m128i sums = _mm_sad_epu8(counts, zero);
    room += static_cast<std::size_t>(_mm_cvtsi128_si32(sums)) +
            static_cast<std::size_t>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
  }
  return room + DecodedRoomRule(p + i, n - i, units);
}

}  // namespace

namespace {

// The members among the 16 bytes at p, bit i for p[i].
inline std::uint64_t BlockMembers(const unsigned char* p, const __m128i* set, std::size_t count) {
  const __m128i block = Load(p);
  __m128i hits = _mm_cmpeq_epi8(block, set[0]);
  for (std::size_t i = 1; i < count; ++i) hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, set[i]));
  return Bits(hits);
}

}  // namespace

// The members of the last window, from `at` to the end of the text (fewer than kSetWindow bytes,
// size >= 16): whole blocks, then one block that ends with the text, its bytes already seen
// shifted out. Also the AVX2 level's.
std::uint64_t CutWindowMembers(const unsigned char* text, std::size_t at, std::size_t size,
                               const unsigned char* members, std::size_t count) {
  __m128i set[kVectorMembers];
  for (std::size_t i = 0; i < count; ++i) set[i] = _mm_set1_epi8(static_cast<char>(members[i]));
  std::uint64_t mask = 0;
  std::size_t offset = 0;
  for (; size - at - offset >= 16; offset += 16)
    mask |= BlockMembers(text + at + offset, set, count) << offset;
  const std::size_t rest = size - at - offset;
  if (rest > 0) mask |= (BlockMembers(text + size - 16, set, count) >> (16 - rest)) << offset;
  return mask;
}

std::size_t NextMembersSse2(const unsigned char* text, std::size_t* at, std::size_t size,
                            const unsigned char* members, std::size_t count, std::size_t wanted,
                            std::size_t* found) {
  __m128i set[kVectorMembers];
  for (std::size_t i = 0; i < count; ++i) set[i] = _mm_set1_epi8(static_cast<char>(members[i]));
  std::size_t pos = *at;
  std::size_t found_count = 0;
  for (; size - pos >= kSetWindow; pos += kSetWindow) {
    const __m128i b0 = Load(text + pos), b1 = Load(text + pos + 16);
    const __m128i b2 = Load(text + pos + 32), b3 = Load(text + pos + 48);
    __m128i h0 = _mm_cmpeq_epi8(b0, set[0]), h1 = _mm_cmpeq_epi8(b1, set[0]);
    __m128i h2 = _mm_cmpeq_epi8(b2, set[0]), h3 = _mm_cmpeq_epi8(b3, set[0]);
    for (std::size_t i = 1; i < count; ++i) {
      h0 = _mm_or_si128(h0, _mm_cmpeq_epi8(b0, set[i]));
      h1 = _mm_or_si128(h1, _mm_cmpeq_epi8(b1, set[i]));
      h2 = _mm_or_si128(h2, _mm_cmpeq_epi8(b2, set[i]));
      h3 = _mm_or_si128(h3, _mm_cmpeq_epi8(b3, set[i]));
    }
    if (Bits(_mm_or_si128(_mm_or_si128(h0, h1), _mm_or_si128(h2, h3))) == 0) continue;
    found_count = AppendMembers(found, found_count, pos,
                                std::uint64_t{Bits(h0)} | std::uint64_t{Bits(h1)} << 16 |
                                    std::uint64_t{Bits(h2)} << 32 | std::uint64_t{Bits(h3)} << 48);
    if (found_count >= wanted) {
      *at = pos + kSetWindow;
      return found_count;
    }
  }
  if (pos < size)
    found_count =
        AppendMembers(found, found_count, pos, CutWindowMembers(text, pos, size, members, count));
  *at = size;
  return found_count;
}

// Starts tested by one block.
constexpr std::size_t kBlockStarts = 16;
// Blocks in a row without the pattern's first byte after which memchr jumps to its next occurrence.
constexpr unsigned kBlocksBeforeMemchr = 4;

namespace {

// Sixteen starts at a time: a start is a candidate only when both the pattern's first and last
// bytes agree with the text there, which real text rarely allows. Where the first byte is rare
// (four blocks in a row without it), memchr jumps to its next occurrence instead. The last starts,
// fewer than sixteen, are taken by one more block that ends at the last start, its starts already
// tried masked out. Out of line, so that a text of one block pays for no registers it saves.
[[gnu::noinline]] std::size_t BlockScan(const unsigned char* t, std::size_t n,
                                        const unsigned char* p, std::size_t m, std::size_t pos) {
  const std::size_t last_start = n - m;
  const __m128i first = _mm_set1_epi8(static_cast<char>(p[0]));
  const __m128i last = _mm_set1_epi8(static_cast<char>(p[m - 1]));
  std::size_t work = 0;
  unsigned blocks_without_first = 0;
  while (pos <= last_start) {
    std::size_t at = pos;
    unsigned untried = 0xFFFF;
    if (last_start - pos < kBlockStarts - 1) {
      at = last_start - (kBlockStarts - 1);
      untried = (0xFFFFu << (pos - at)) & 0xFFFFu;
    }
    const __m128i heads = _mm_cmpeq_epi8(Load(t + at), first);
    if ((Bits(heads) & untried) == 0) {
      pos = at + kBlockStarts;
      if (++blocks_without_first < kBlocksBeforeMemchr || pos > last_start) continue;
      blocks_without_first = 0;
      const void* hit = std::memchr(t + pos, p[0], last_start - pos + 1);
      if (hit == nullptr) return kNotFound;
      pos = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - t);
      continue;
    }
    blocks_without_first = 0;
    const __m128i tails = _mm_cmpeq_epi8(Load(t + at + m - 1), last);
    for (auto candidates = untried & Bits(_mm_and_si128(heads, tails)); candidates != 0;
         candidates &= candidates - 1) {
      const auto offset = static_cast<std::size_t>(__builtin_ctz(candidates));
      if (SameBytes(t + at + offset + 1, p + 1, m - 2)) return at + offset;
      work += m + kCandidateCost;
    }
    pos = at + kBlockStarts;
    if (pos <= last_start && OverWorkBudget(work, pos)) return TwoWayFrom(t, n, p, m, pos);
  }
  return kNotFound;
}

// A text with fewer starts than a block has them all in its first block: only the first byte is
// compared there, and each candidate tested in place.
[[gnu::noinline]] std::size_t OneBlock(const unsigned char* t, std::size_t n,
                                       const unsigned char* p, std::size_t m, std::size_t pos) {
  const std::size_t last_start = n - m;
  auto candidates = Bits(_mm_cmpeq_epi8(Load(t), _mm_set1_epi8(static_cast<char>(p[0])))) &
                    ((2u << last_start) - 1) & (0xFFFFu << pos);  // the starts pos to last_start
  for (; candidates != 0; candidates &= candidates - 1) {
    const auto at = static_cast<std::size_t>(__builtin_ctz(candidates));
    if (t[at + m - 1] == p[m - 1] && SameBytes(t + at + 1, p + 1, m - 2)) return at;
  }
  return kNotFound;
}

}  // namespace

// Also the AVX2 level's kernel for texts of fewer than 32 starts.
std::size_t FindFromSse2(const unsigned char* t, std::size_t n, const unsigned char* p,
                         std::size_t m, std::size_t pos) {
  if (n - m < kBlockStarts - 1) return OneBlock(t, n, p, m, pos);
  return BlockScan(t, n, p, m, pos);
}

extern const ScanKernels kScanSse2;
const ScanKernels kScanSse2 = {Isa::kSse2,    NextMembersSse2, FindFromSse2,
                               CountByteSse2, LastByteSse2,    DecodedRoomSse2};

}  // namespace internal
}  // namespace qor
