// The 128-bit x86 level (SSSE3): 16-byte blocks checked by nibble lookups, one byte shuffle per
// table; decoding takes blocks of ASCII, and of ASCII with two-byte sequences (most of Latin,
// Greek, Cyrillic, Hebrew and Arabic text), and leaves longer sequences to the caller's rule.
#include "encoding/decode_kernels.h"
#include "simd.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(QORSTL_HAVE_SSE2) && \
    defined(__SSSE3__)
#include <tmmintrin.h>

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

DecodeStep Sse2Decode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                      unsigned /*options*/) {
  std::size_t i = 0;
  std::size_t w = 0;
  while (n - i >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())) != 0) break;
    const std::size_t left = out != nullptr ? room - w : static_cast<std::size_t>(-1);
    if (_mm_movemask_epi8(v) == 0) {
      if (left < 16) break;
      if (out != nullptr) AsciiRunToWide(p + i, 16, out + w, 16);
      i += 16;
      w += 16;
      continue;
    }
    std::size_t elements = 0;
    const std::size_t used =
        TwoByteBlockToWide(p + i, out != nullptr ? out + w : nullptr, left, elements);
    if (used == 0) break;
    i += used;
    w += elements;
  }
  return {i, w};
}

}  // namespace

extern const DecodeKernels kSse2DecodeKernels;
const DecodeKernels kSse2DecodeKernels = {Isa::kSse2, 16, Sse2AsciiPrefix, Sse2ValidPrefix,
                                          Sse2Decode};

}  // namespace internal
}  // namespace qor

#endif
