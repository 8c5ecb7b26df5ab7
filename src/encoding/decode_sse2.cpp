// The 128-bit x86 level (SSSE3): 16-byte blocks checked by nibble lookups, one byte shuffle per
// table; well-formed blocks decoded four byte positions at a time: every position's sequence value
// computed in a 32-bit lane, and the lanes of the leads packed together.
#include "encoding/decode_kernels.h"
#include "simd.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(QORSTL_HAVE_SSE2) && \
    defined(__SSSE3__)
#include <tmmintrin.h>

#include <cstring>

namespace qor {
namespace internal {
namespace {

std::size_t Sse2AsciiPrefix(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  // 64 bytes a test while they are all ASCII, then 16 to find the block that is not.
  for (; n - i >= 64; i += 64) {
    const auto* v = reinterpret_cast<const __m128i*>(p + i);
    const __m128i any = _mm_or_si128(_mm_or_si128(_mm_loadu_si128(v), _mm_loadu_si128(v + 1)),
                                     _mm_or_si128(_mm_loadu_si128(v + 2), _mm_loadu_si128(v + 3)));
    if (_mm_movemask_epi8(any) != 0) break;
  }
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    if (_mm_movemask_epi8(v) != 0) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

using namespace utf8_check;

__m128i Table(const std::uint8_t (&t)[16]) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(t));
}

// Whether the 16 bytes in v, after the 16 bytes in prev, break a rule of standard UTF-8 (a
// sequence cut short by the end of the block is not yet a fault). The lookups of decode_kernels.h,
// one byte shuffle per table.
bool Malformed(__m128i v, __m128i prev) {
  const __m128i nibble = _mm_set1_epi8(0x0F);
  const __m128i prev1 = _mm_alignr_epi8(v, prev, 15);
  const __m128i prev2 = _mm_alignr_epi8(v, prev, 14);
  const __m128i prev3 = _mm_alignr_epi8(v, prev, 13);
  const __m128i pairs = _mm_and_si128(
      _mm_and_si128(
          _mm_shuffle_epi8(Table(kByFirstHigh), _mm_and_si128(_mm_srli_epi16(prev1, 4), nibble)),
          _mm_shuffle_epi8(Table(kByFirstLow), _mm_and_si128(prev1, nibble))),
      _mm_shuffle_epi8(Table(kBySecondHigh), _mm_and_si128(_mm_srli_epi16(v, 4), nibble)));
  // Third bytes of E0..FF sequences and fourth bytes of F0..FF ones must be continuations.
  const __m128i announced = _mm_or_si128(_mm_subs_epu8(prev2, _mm_set1_epi8(0x60)),
                                         _mm_subs_epu8(prev3, _mm_set1_epi8(0x70)));
  const __m128i faults = _mm_xor_si128(pairs, _mm_and_si128(announced, _mm_set1_epi8(char(0x80))));
  return _mm_movemask_epi8(_mm_cmpeq_epi8(faults, _mm_setzero_si128())) != 0xFFFF;
}

// Bytes that leave a sequence open at the end of a block: from F0 in the third place from the end,
// E0 in the second, C0 in the last (a checked block holds no FF elsewhere).
struct OpenFloor {
  std::uint8_t at[16];
  constexpr OpenFloor() : at() {
    for (unsigned i = 0; i < 16; ++i)
      at[i] = i < 13 ? 0xFF : i == 13 ? 0xF0 : i == 14 ? 0xE0 : 0xC0;
  }
};
constexpr OpenFloor kOpenFloor;

// Blocks at a fixed stride, each checked after the one before; where a block fails, the prefix
// ends before the sequence that the block before left open.
std::size_t Sse2ValidPrefix(const unsigned char* p, std::size_t n) {
  const __m128i open_floor = Table(kOpenFloor.at);
  __m128i prev = _mm_setzero_si128();
  std::size_t i = 0;
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    if (_mm_movemask_epi8(v) == 0) {
      const __m128i open = _mm_cmpeq_epi8(_mm_max_epu8(prev, open_floor), prev);
      if (_mm_movemask_epi8(open) != 0) break;
      // Then the ASCII that follows, 64 bytes a test; the block before i stays in prev.
      const std::size_t run = i + 16;
      while (n - i >= 16 + 64) {
        const auto* next = reinterpret_cast<const __m128i*>(p + i + 16);
        const __m128i any =
            _mm_or_si128(_mm_or_si128(_mm_loadu_si128(next), _mm_loadu_si128(next + 1)),
                         _mm_or_si128(_mm_loadu_si128(next + 2), _mm_loadu_si128(next + 3)));
        if (_mm_movemask_epi8(any) != 0) break;
        i += 64;
      }
      if (i + 16 != run) {
        prev = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        continue;
      }
    } else if (Malformed(v, prev)) {
      break;
    }
    prev = v;
  }
  if (i == 0) return 0;
  // Where the last complete sequence of the last good block ends: its end, or the start of a
  // sequence that runs on past it.
  const unsigned char* last_block = p + i - 16;
  const auto starts = static_cast<std::uint32_t>(
      ~_mm_movemask_epi8(_mm_cmplt_epi8(prev, _mm_set1_epi8(-64))) & 0xFFFF);
  const unsigned last = 31 - static_cast<unsigned>(__builtin_clz(starts));
  const bool open = last_block[last] >= 0xC0 && last + LeadLength(last_block[last]) > 16;
  return i - 16 + (open ? last : 16);
}

// For four byte positions from `first` in a 16-byte chunk: the shuffle that puts the four bytes
// from each position into a 32-bit lane, that position's byte lowest.
struct Gather {
  std::uint8_t at[16];
  constexpr explicit Gather(unsigned first) : at() {
    for (unsigned j = 0; j < 16; ++j) at[j] = static_cast<std::uint8_t>(first + j / 4 + j % 4);
  }
};
constexpr Gather kGather[4] = {Gather(0), Gather(4), Gather(8), Gather(9)};

// By the lanes a 4-bit mask keeps: the shuffle that packs those 32-bit lanes together.
struct Compress {
  std::uint8_t at[16][16];
  constexpr Compress() : at() {
    for (unsigned mask = 0; mask < 16; ++mask) {
      unsigned k = 0;
      for (unsigned lane = 0; lane < 4; ++lane) {
        if ((mask >> lane) & 1u) {
          for (unsigned b = 0; b < 4; ++b) at[mask][k++] = static_cast<std::uint8_t>(4 * lane + b);
        }
      }
      for (; k < 16; ++k) at[mask][k] = 0x80;
    }
  }
};
constexpr Compress kCompress;

// Set bits of a 16-bit mask, without the population count instruction this level may lack.
inline unsigned Popcount16(unsigned x) {
  x = x - ((x >> 1) & 0x5555u);
  x = (x & 0x3333u) + ((x >> 2) & 0x3333u);
  x = (x + (x >> 4)) & 0x0F0Fu;
  return (x + (x >> 8)) & 0x1Fu;
}

inline __m128i Select(__m128i mask, __m128i if_set, __m128i otherwise) {
  return _mm_or_si128(_mm_and_si128(mask, if_set), _mm_andnot_si128(mask, otherwise));
}

// The values of the sequences that would start at four positions, gathered from `chunk` by
// `pattern`: each lane joins b0 << 18 | b1 << 12 | b2 << 6 | b3 (the next three bytes' low six
// bits), and the lead's class, read from the same lane, picks the shift and mask of its length.
// Lanes of continuation bytes hold garbage.
inline __m128i FourValues(__m128i chunk, const Gather& pattern) {
  const __m128i bytes = _mm_shuffle_epi8(chunk, Table(pattern.at));
  const __m128i joined = _mm_madd_epi16(
      _mm_maddubs_epi16(_mm_and_si128(bytes, _mm_set1_epi32(static_cast<int>(0x3F3F3FFFu))),
                        _mm_set1_epi16(0x0140)),
      _mm_set1_epi32(0x00011000));
  const __m128i multi = _mm_cmpgt_epi32(joined, _mm_set1_epi32(0x7F << 18 | 0x3FFFF));
  const __m128i three = _mm_cmpgt_epi32(joined, _mm_set1_epi32(0xDF << 18 | 0x3FFFF));
  const __m128i four = _mm_cmpgt_epi32(joined, _mm_set1_epi32(0xEF << 18 | 0x3FFFF));
  __m128i value = _mm_srli_epi32(joined, 18);
  value = Select(multi, _mm_and_si128(_mm_srli_epi32(joined, 12), _mm_set1_epi32(0x7FF)), value);
  value = Select(three, _mm_and_si128(_mm_srli_epi32(joined, 6), _mm_set1_epi32(0xFFFF)), value);
  return Select(four, _mm_and_si128(joined, _mm_set1_epi32(0x1FFFFF)), value);
}

// Stores the lanes of `values` that `starts` (4 bits) marks, packed, at out; returns their number.
// Writes exactly that many elements when `exact`, else a whole vector.
inline unsigned StorePacked(__m128i values, unsigned starts, wchar_t* out, bool exact) {
  const __m128i packed = _mm_shuffle_epi8(values, Table(kCompress.at[starts]));
  const unsigned count = Popcount16(starts);
  if (!exact || count == 4) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), packed);
  } else {
    if (count & 2) _mm_storel_epi64(reinterpret_cast<__m128i*>(out), packed);
    if (count & 1) {
      const __m128i rest = (count & 2) != 0 ? _mm_srli_si128(packed, 8) : packed;
      const int last = _mm_cvtsi128_si32(rest);
      std::memcpy(out + (count & 2), &last, sizeof last);
    }
  }
  return count;
}

DecodeStep Sse2Decode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                      unsigned options) {
  std::size_t i = 0;
  std::size_t w = 0;
  // Sequences are read four bytes from their lead, so three bytes past the block must be there.
  while (n - i >= 19) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    const std::size_t left = out != nullptr ? room - w : static_cast<std::size_t>(-1);
    if (_mm_movemask_epi8(_mm_cmpgt_epi8(v, _mm_setzero_si128())) == 0xFFFF) {  // 01..7F only
      if (left < 16) break;
      if (out != nullptr) AsciiRunToWide(p + i, 16, out + w, 16);
      i += 16;
      w += 16;
      continue;
    }
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())) != 0) break;
    if (Malformed(v, _mm_setzero_si128())) break;  // read as if a sequence ended before it
    if ((options & kDecodeBmpOnly) != 0 &&
        _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(v, _mm_set1_epi8(char(0xF0))), v)) != 0) {
      break;
    }
    if ((options & kDecodeStopAtBom) != 0) {
      const auto at = [v](unsigned char b) {
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(char(b)))));
      };
      if ((at(0xEF) & (at(0xBB) >> 1) & (at(0xBF) >> 2)) != 0) break;
    }
    auto starts =
        static_cast<unsigned>(~_mm_movemask_epi8(_mm_cmplt_epi8(v, _mm_set1_epi8(-64))) & 0xFFFF);
    const unsigned last = 31 - static_cast<unsigned>(__builtin_clz(starts));
    const unsigned end = p[i + last] >= 0xC0 && last + LeadLength(p[i + last]) > 16 ? last : 16;
    if (end < 16) starts &= (1u << end) - 1;
    const std::size_t count = Popcount16(starts);
    if (left < count) break;
    if (out != nullptr) {
      // A whole-vector store is used only where the block's later elements cover what it writes
      // past its own; the others write exactly.
      const __m128i tail = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 3));
      wchar_t* const first = out + w;
      wchar_t* o = first;
      for (unsigned k = 0; k < 4; ++k) {
        const __m128i values = FourValues(k < 3 ? v : tail, kGather[k]);
        o += StorePacked(values, (starts >> (4 * k)) & 0xF, o,
                         static_cast<std::size_t>(o - first) + 4 > count);
      }
    }
    i += end;
    w += count;
  }
  return {i, w};
}

}  // namespace

extern const DecodeKernels kSse2DecodeKernels;
const DecodeKernels kSse2DecodeKernels = {Isa::kSse2, 19, Sse2AsciiPrefix, Sse2ValidPrefix,
                                          Sse2Decode};

}  // namespace internal
}  // namespace qor

#endif
