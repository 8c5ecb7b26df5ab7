// The 128-bit (SSSE3) test of 16 bytes against the rules of standard UTF-8, shared by the 128-bit
// decoder and validator. Include only from units built for the 128-bit level.
#ifndef QORSTL_SRC_ENCODING_UTF8_CHECK_SSE2_H_
#define QORSTL_SRC_ENCODING_UTF8_CHECK_SSE2_H_

#include <tmmintrin.h>

#include <cstdint>

#include "encoding/decode_kernels.h"

namespace qor {
namespace internal {
namespace sse2 {

inline __m128i Table(const std::uint8_t (&t)[16]) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(t));
}

// The lookups of decode_kernels.h for the 16 bytes in v after the 16 bytes in prev, one byte
// shuffle per table: zero in every byte that breaks no rule of standard UTF-8 (a sequence cut short
// by the end of the block is not yet a fault).
inline __m128i Faults(__m128i v, __m128i prev) {
  using namespace utf8_check;
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
  return _mm_xor_si128(pairs, _mm_and_si128(announced, _mm_set1_epi8(char(0x80))));
}

inline bool AnyByte(__m128i v) {
  return _mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())) != 0xFFFF;
}

// Bytes that leave a sequence open at the end of a block: from F0 in the third place from the end,
// E0 in the second, C0 in the last.
struct OpenFloor {
  std::uint8_t at[16];
  constexpr OpenFloor() : at() {
    for (unsigned i = 0; i < 16; ++i)
      at[i] = i < 13 ? 0xFF : i == 13 ? 0xF0 : i == 14 ? 0xE0 : 0xC0;
  }
};
constexpr OpenFloor kOpenFloor;

// Whether the 16 bytes in v end inside a sequence (a checked block holds no FF elsewhere).
inline bool OpenAtEnd(__m128i v) {
  const __m128i floor = Table(kOpenFloor.at);
  return _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(v, floor), v)) != 0;
}

}  // namespace sse2
}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_UTF8_CHECK_SSE2_H_
