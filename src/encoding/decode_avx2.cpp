// The AVX2 level: 32-byte blocks checked by nibble lookups (one shuffle per table), ASCII blocks
// widened in registers, other well-formed blocks decoded eight byte positions at a time: every
// position's sequence value computed in a 32-bit lane, and the lanes of the leads packed together.
#include "encoding/decode_kernels.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(__AVX2__) && defined(__BMI2__)
#include <immintrin.h>

#include "encoding/utf8_check_avx2.h"

namespace qor {
namespace internal {
namespace {

using namespace utf8_check;
using avx2::Malformed;
using avx2::Table;

// Whether the block in v breaks a rule of standard UTF-8, read as if a sequence ended just before
// it.
bool Malformed(__m256i v) {
  const __m256i before = _mm256_permute2x128_si256(v, v, 0x08);  // zero, then the low half
  return Malformed(v, _mm256_alignr_epi8(v, before, 15), _mm256_alignr_epi8(v, before, 14),
                   _mm256_alignr_epi8(v, before, 13));
}

// Bytes 80..BF, one bit per byte.
std::uint32_t Continuations(__m256i v) {
  return static_cast<std::uint32_t>(
      _mm256_movemask_epi8(_mm256_cmpgt_epi8(_mm256_set1_epi8(-64), v)));
}

// Where the last complete sequence of a well-formed block at p ends: 32, or the start of a
// sequence that runs on into the next block.
unsigned BlockEnd(const unsigned char* p, std::uint32_t starts) {
  const unsigned last = 31 - static_cast<unsigned>(__builtin_clz(starts));
  return p[last] >= 0xC0 && last + LeadLength(p[last]) > 32 ? last : 32;
}

std::size_t Avx2AsciiPrefix(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  // 128 bytes a test while they are all ASCII, then 32 to find the block that is not.
  for (; n - i >= 128; i += 128) {
    const auto* v = reinterpret_cast<const __m256i*>(p + i);
    const __m256i any =
        _mm256_or_si256(_mm256_or_si256(_mm256_loadu_si256(v), _mm256_loadu_si256(v + 1)),
                        _mm256_or_si256(_mm256_loadu_si256(v + 2), _mm256_loadu_si256(v + 3)));
    if (_mm256_movemask_epi8(any) != 0) break;
  }
  for (; n - i >= 32; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
    if (_mm256_movemask_epi8(v) != 0) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// Bytes that leave a sequence open at the end of a block: from F0 in the third place from the end,
// E0 in the second, C0 in the last (a checked block holds no FF elsewhere).
struct OpenFloor {
  std::uint8_t at[32];
  constexpr OpenFloor() : at() {
    for (unsigned i = 0; i < 32; ++i)
      at[i] = i < 29 ? 0xFF : i == 29 ? 0xF0 : i == 30 ? 0xE0 : 0xC0;
  }
};
constexpr OpenFloor kOpenFloor;

// Blocks at a fixed stride, each checked after the last bytes of the one before; where a block
// fails, the prefix ends before the sequence that the block before left open.
std::size_t Avx2ValidPrefix(const unsigned char* p, std::size_t n) {
  const __m256i open_floor = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kOpenFloor.at));
  __m256i prev = _mm256_setzero_si256();
  std::size_t i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
    if (_mm256_movemask_epi8(v) == 0) {
      const __m256i open = _mm256_cmpeq_epi8(_mm256_max_epu8(prev, open_floor), prev);
      if (_mm256_movemask_epi8(open) != 0) break;
      // Then the ASCII that follows, 128 bytes a test; the block before i stays in prev.
      const std::size_t run = i + 32;
      while (n - i >= 32 + 128) {
        const auto* next = reinterpret_cast<const __m256i*>(p + i + 32);
        const __m256i any = _mm256_or_si256(
            _mm256_or_si256(_mm256_loadu_si256(next), _mm256_loadu_si256(next + 1)),
            _mm256_or_si256(_mm256_loadu_si256(next + 2), _mm256_loadu_si256(next + 3)));
        if (_mm256_movemask_epi8(any) != 0) break;
        i += 128;
      }
      if (i + 32 != run) {
        prev = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
        continue;
      }
    } else {
      const __m256i carry = _mm256_permute2x128_si256(prev, v, 0x21);  // prev's high half, v's low
      if (Malformed(v, _mm256_alignr_epi8(v, carry, 15), _mm256_alignr_epi8(v, carry, 14),
                    _mm256_alignr_epi8(v, carry, 13))) {
        break;
      }
    }
    prev = v;
  }
  if (i == 0) return 0;
  return i - 32 + BlockEnd(p + i - 32, ~Continuations(prev));
}

// For eight byte positions from `first` in a 16-byte chunk broadcast to both halves: the shuffle
// that puts the four bytes from each position into a 32-bit lane, that position's byte lowest.
struct Gather {
  alignas(32) std::uint8_t at[32];
  constexpr explicit Gather(unsigned first) : at() {
    for (unsigned j = 0; j < 32; ++j) at[j] = static_cast<std::uint8_t>(first + j / 4 + j % 4);
  }
};
constexpr Gather kGatherFrom0(0);
constexpr Gather kGatherFrom5(5);

// By the high nibble of a lead: how far to shift the joined bits of its four bytes left and then
// right to keep exactly the sequence's value (see EightValues).
constexpr std::uint8_t kKeepLeft[16] = {7, 7, 7, 7, 7, 7, 7, 7, 0, 0, 0, 0, 9, 9, 10, 11};
constexpr std::uint8_t kKeepRight[16] = {25, 25, 25, 25, 25, 25, 25, 25,
                                         0,  0,  0,  0,  21, 21, 16, 11};

// The positions of the set bits of each byte value, lowest first: a lane permutation that packs
// the lanes a mask keeps.
struct Compress {
  std::uint8_t at[256][8];
  constexpr Compress() : at() {
    for (unsigned mask = 0; mask < 256; ++mask) {
      unsigned k = 0;
      for (unsigned lane = 0; lane < 8; ++lane) {
        if ((mask >> lane) & 1u) at[mask][k++] = static_cast<std::uint8_t>(lane);
      }
    }
  }
};
constexpr Compress kCompress;

// The values of the sequences that would start at eight positions: `chunk` holds the bytes from
// the first position on (from the sixth when `pattern` is kGatherFrom5). Each lane joins its
// lead's bits and the low six bits of the next three bytes into b0 << 18 | b1 << 12 | b2 << 6 | b3,
// and the two shifts by the lead's class keep only the bits of its own sequence. Lanes of
// continuation bytes hold garbage.
inline __m256i EightValues(__m128i chunk, const Gather& pattern) {
  const __m256i bytes =
      _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(chunk),
                          _mm256_load_si256(reinterpret_cast<const __m256i*>(pattern.at)));
  const __m256i low6 = _mm256_and_si256(bytes, _mm256_set1_epi32(static_cast<int>(0x3F3F3FFFu)));
  const __m256i joined = _mm256_madd_epi16(_mm256_maddubs_epi16(low6, _mm256_set1_epi16(0x0140)),
                                           _mm256_set1_epi32(0x00011000));
  // The lead's high nibble in byte 0 of each lane; bytes 1..3 have their top bit set, so that the
  // shuffles below give them 0 and the shift counts are the table's bytes alone.
  const __m256i nibble =
      _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(bytes, 4), _mm256_set1_epi32(0x0F)),
                      _mm256_set1_epi32(static_cast<int>(0xFFFFFF00u)));
  const __m256i left = _mm256_shuffle_epi8(Table(kKeepLeft), nibble);
  const __m256i right = _mm256_shuffle_epi8(Table(kKeepRight), nibble);
  return _mm256_srlv_epi32(_mm256_sllv_epi32(joined, left), right);
}

// Lanes 0..count-1 set, for a store of exactly `count` elements.
struct FirstLanes {
  std::int32_t at[16];
  constexpr FirstLanes() : at() {
    for (unsigned j = 0; j < 8; ++j) at[j] = -1;
  }
};
constexpr FirstLanes kFirstLanes;

// Stores the lanes of `values` that `starts` (8 bits) marks, packed, at out; returns their number.
// Writes exactly that many elements when `exact`, else a whole vector.
inline unsigned StorePacked(__m256i values, unsigned starts, wchar_t* out, bool exact) {
  const __m256i order =
      _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(kCompress.at[starts])));
  const __m256i packed = _mm256_permutevar8x32_epi32(values, order);
  const auto count = static_cast<unsigned>(__builtin_popcount(starts));
  if (exact) {
    const __m256i lanes =
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kFirstLanes.at + 8 - count));
    _mm256_maskstore_epi32(reinterpret_cast<int*>(out), lanes, packed);
  } else {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), packed);
  }
  return count;
}

DecodeStep Avx2Decode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                      unsigned options) {
  std::size_t i = 0;
  std::size_t w = 0;
  // Sequences are read four bytes from their lead, so three bytes past the block must be there.
  while (n - i >= 35) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
    const std::size_t left = out != nullptr ? room - w : static_cast<std::size_t>(-1);
    const auto plain = static_cast<std::uint32_t>(
        _mm256_movemask_epi8(_mm256_cmpgt_epi8(v, _mm256_setzero_si256())));
    if (plain == 0xFFFFFFFFu) {  // 01..7F only
      if (left < 32) break;
      if (out != nullptr) {
        auto* o = reinterpret_cast<__m256i*>(out + w);
        for (int k = 0; k < 4; ++k) {
          const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + i + 8 * k));
          _mm256_storeu_si256(o + k, _mm256_cvtepu8_epi32(eight));
        }
      }
      i += 32;
      w += 32;
      continue;
    }
    if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_setzero_si256())) != 0) break;
    if (Malformed(v)) break;
    if ((options & kDecodeBmpOnly) != 0 &&
        _mm256_movemask_epi8(
            _mm256_cmpeq_epi8(_mm256_max_epu8(v, _mm256_set1_epi8(char(0xF0))), v)) != 0) {
      break;
    }
    if ((options & kDecodeStopAtBom) != 0) {
      const auto at = [v](unsigned char b) {
        return static_cast<std::uint32_t>(
            _mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(char(b)))));
      };
      if ((at(0xEF) & (at(0xBB) >> 1) & (at(0xBF) >> 2)) != 0) break;
    }
    std::uint32_t starts = ~Continuations(v);
    const unsigned end = BlockEnd(p + i, starts);
    if (end < 32) starts &= (1u << end) - 1;
    const std::size_t count = static_cast<std::size_t>(__builtin_popcount(starts));
    if (left < count) break;
    if (out != nullptr) {
      // A whole-vector store is used only where the block's later elements cover what it writes
      // past its own; the others write exactly.
      wchar_t* const first = out + w;
      wchar_t* o = first;
      for (unsigned k = 0; k < 4; ++k) {
        const unsigned from = k < 3 ? 8 * k : 19;
        const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + from));
        const __m256i values = EightValues(chunk, k < 3 ? kGatherFrom0 : kGatherFrom5);
        o += StorePacked(values, (starts >> (8 * k)) & 0xFF, o,
                         static_cast<std::size_t>(o - first) + 8 > count);
      }
    }
    i += end;
    w += count;
  }
  return {i, w};
}

}  // namespace

extern const DecodeKernels kAvx2DecodeKernels;
const DecodeKernels kAvx2DecodeKernels = {Isa::kAvx2,      35,         Avx2AsciiPrefix,
                                          Avx2ValidPrefix, Avx2Decode, DecodeTextGeneral};

}  // namespace internal
}  // namespace qor

#endif
