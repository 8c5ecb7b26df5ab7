// The byte scans of the AVX2 level: 32 bytes a step. Compiled with the AVX2 flags; reached only
// through the level's table, when the CPU runs AVX2.
#include <immintrin.h>

#include "search/scan_kernels.h"

namespace qor {
namespace internal {

std::uint64_t CutWindowMembers(const unsigned char* text, std::size_t at, std::size_t size,
                               const unsigned char* members, std::size_t count);
std::size_t FindFromSse2(const unsigned char* t, std::size_t n, const unsigned char* p,
                         std::size_t m, std::size_t pos);

namespace {

inline __m256i Load(const unsigned char* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

inline std::uint32_t Bits(__m256i v) {
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(v));
}

// Sums the 32 byte counters of `counts`.
inline std::size_t SumBytes(__m256i counts) {
  const __m256i sums = _mm256_sad_epu8(counts, _mm256_setzero_si256());
  return static_cast<std::size_t>(_mm256_extract_epi64(sums, 0)) +
         static_cast<std::size_t>(_mm256_extract_epi64(sums, 1)) +
         static_cast<std::size_t>(_mm256_extract_epi64(sums, 2)) +
         static_cast<std::size_t>(_mm256_extract_epi64(sums, 3));
}

// Windows of two blocks; the last window, cut by the end of the text, in the 128-bit kernel's
// blocks.
std::size_t NextMembersAvx2(const unsigned char* text, std::size_t* at, std::size_t size,
                            const unsigned char* members, std::size_t count, std::size_t wanted,
                            std::size_t* found) {
  __m256i set[kVectorMembers];
  for (std::size_t i = 0; i < count; ++i) set[i] = _mm256_set1_epi8(static_cast<char>(members[i]));
  std::size_t pos = *at;
  std::size_t found_count = 0;
  for (; size - pos >= kSetWindow; pos += kSetWindow) {
    const __m256i low = Load(text + pos), high = Load(text + pos + 32);
    __m256i low_hits = _mm256_cmpeq_epi8(low, set[0]);
    __m256i high_hits = _mm256_cmpeq_epi8(high, set[0]);
    for (std::size_t i = 1; i < count; ++i) {
      low_hits = _mm256_or_si256(low_hits, _mm256_cmpeq_epi8(low, set[i]));
      high_hits = _mm256_or_si256(high_hits, _mm256_cmpeq_epi8(high, set[i]));
    }
    if (_mm256_testz_si256(_mm256_or_si256(low_hits, high_hits), _mm256_set1_epi8(-1))) continue;
    found_count =
        AppendMembers(found, found_count, pos,
                      std::uint64_t{Bits(low_hits)} | std::uint64_t{Bits(high_hits)} << 32);
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

constexpr std::size_t kBlockStarts = 32;
constexpr unsigned kBlocksBeforeMemchr = 4;

// The 128-bit kernel's scan, 32 starts at a time, for texts of at least 32 starts.
[[gnu::noinline]] std::size_t BlockScan(const unsigned char* t, std::size_t n,
                                        const unsigned char* p, std::size_t m, std::size_t pos) {
  const std::size_t last_start = n - m;
  const __m256i first = _mm256_set1_epi8(static_cast<char>(p[0]));
  const __m256i last = _mm256_set1_epi8(static_cast<char>(p[m - 1]));
  std::size_t work = 0;
  unsigned blocks_without_first = 0;
  while (pos <= last_start) {
    std::size_t at = pos;
    std::uint32_t untried = 0xFFFFFFFFu;
    if (last_start - pos < kBlockStarts - 1) {
      at = last_start - (kBlockStarts - 1);
      untried <<= pos - at;
    }
    const __m256i heads = _mm256_cmpeq_epi8(Load(t + at), first);
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
    const __m256i tails = _mm256_cmpeq_epi8(Load(t + at + m - 1), last);
    for (auto candidates = untried & Bits(_mm256_and_si256(heads, tails)); candidates != 0;
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

// Texts with fewer starts than a block go to the 128-bit kernel, without the registers the
// block scan saves.
std::size_t FindFromAvx2(const unsigned char* t, std::size_t n, const unsigned char* p,
                         std::size_t m, std::size_t pos) {
  if (n - m < kBlockStarts - 1) return FindFromSse2(t, n, p, m, pos);
  return BlockScan(t, n, p, m, pos);
}

std::size_t CountByteAvx2(const unsigned char* p, std::size_t n, unsigned char c) {
  const __m256i needle = _mm256_set1_epi8(static_cast<char>(c));
  std::size_t count = 0;
  std::size_t i = 0;
  while (n - i >= 32) {
    // Per-lane counters, summed before any lane can pass 255.
    const std::size_t blocks = (n - i) / 32 < 255 ? (n - i) / 32 : 255;
    __m256i counts = _mm256_setzero_si256();
    for (std::size_t b = 0; b < blocks; ++b, i += 32)
      counts = _mm256_sub_epi8(counts, _mm256_cmpeq_epi8(Load(p + i), needle));
    count += SumBytes(counts);
  }
  return count + CountByteRule(p + i, n - i, c);
}

std::size_t LastByteAvx2(const unsigned char* p, std::size_t n, unsigned char c) {
  const __m256i needle = _mm256_set1_epi8(static_cast<char>(c));
  for (; n >= 32; n -= 32) {
    const std::uint32_t mask = Bits(_mm256_cmpeq_epi8(Load(p + n - 32), needle));
    if (mask != 0) return n - 32 + static_cast<std::size_t>(31 - __builtin_clz(mask));
  }
  return LastByteRule(p, n, c);
}

std::size_t DecodedRoomAvx2(const unsigned char* p, std::size_t n, bool units) {
  const __m256i zero = _mm256_setzero_si256();
  // As signed bytes, continuation bytes are -128..-65 and the leads F0..FF are -16..-1.
  const __m256i continuation_ceiling = _mm256_set1_epi8(-65);
  const __m256i long_lead_floor = _mm256_set1_epi8(-17);
  std::size_t room = 0;
  std::size_t i = 0;
  while (n - i >= 32) {
    // Per-lane counters (at most two a block), summed before any lane can pass 255.
    const std::size_t blocks = (n - i) / 32 < 127 ? (n - i) / 32 : 127;
    __m256i counts = zero;
    for (std::size_t b = 0; b < blocks; ++b, i += 32) {
      const __m256i v = Load(p + i);
      counts = _mm256_sub_epi8(counts, _mm256_cmpgt_epi8(v, continuation_ceiling));
      if (units) {
        counts = _mm256_sub_epi8(counts, _mm256_and_si256(_mm256_cmpgt_epi8(v, long_lead_floor),
                                                          _mm256_cmpgt_epi8(zero, v)));
      }
    }
    room += SumBytes(counts);
  }
  return room + DecodedRoomRule(p + i, n - i, units);
}

}  // namespace

extern const ScanKernels kScanAvx2;
const ScanKernels kScanAvx2 = {Isa::kAvx2,    NextMembersAvx2, FindFromAvx2,
                               CountByteAvx2, LastByteAvx2,    DecodedRoomAvx2};

}  // namespace internal
}  // namespace qor
