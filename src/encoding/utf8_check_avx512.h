// The AVX-512 (BW) test of 64 bytes against the rules of standard UTF-8, shared by the AVX-512
// decoder and validator. Include only from units built for the AVX-512 level.
#ifndef QORSTL_SRC_ENCODING_UTF8_CHECK_AVX512_H_
#define QORSTL_SRC_ENCODING_UTF8_CHECK_AVX512_H_

#include <immintrin.h>

#include <cstdint>

#include "encoding/decode_kernels.h"

namespace qor {
namespace internal {
namespace avx512 {

// A 16-byte table in every quarter of a register, for one shuffle per lookup.
inline __m512i Table(const std::uint8_t (&t)[16]) {
  return _mm512_broadcast_i32x4(_mm_loadu_si128(reinterpret_cast<const __m128i*>(t)));
}

// The test of 64 bytes against the rules of standard UTF-8, its tables and constants held in
// registers, so that a loop pays for them once.
struct Utf8Check {
  __m512i by_first_high, by_first_low, by_second_high, nibble, third_floor, fourth_floor, top_bit;
  Utf8Check()
      : by_first_high(Table(utf8_check::kByFirstHigh)),
        by_first_low(Table(utf8_check::kByFirstLow)),
        by_second_high(Table(utf8_check::kBySecondHigh)),
        nibble(_mm512_set1_epi8(0x0F)),
        third_floor(_mm512_set1_epi8(0x60)),
        fourth_floor(_mm512_set1_epi8(0x70)),
        top_bit(_mm512_set1_epi8(char(0x80))) {}

  // The faults of the 64 bytes in v, after the bytes whose last three are prev3, prev2 and prev1
  // at each position: zero in every byte that breaks no rule of standard UTF-8 (a sequence cut
  // short by the end of the block is not yet a fault). The pair lookups flag a continuation after
  // a continuation, which is right exactly where a byte two or three back announced a longer
  // sequence.
  __m512i Faults(__m512i v, __m512i prev1, __m512i prev2, __m512i prev3) const {
    const __m512i pairs = _mm512_ternarylogic_epi32(
        _mm512_shuffle_epi8(by_first_high, _mm512_and_si512(_mm512_srli_epi16(prev1, 4), nibble)),
        _mm512_shuffle_epi8(by_first_low, _mm512_and_si512(prev1, nibble)),
        _mm512_shuffle_epi8(by_second_high, _mm512_and_si512(_mm512_srli_epi16(v, 4), nibble)),
        0x80);  // a & b & c
    // Third bytes of E0..FF sequences and fourth bytes of F0..FF ones must be continuations.
    const __m512i announced = _mm512_or_si512(_mm512_subs_epu8(prev2, third_floor),
                                              _mm512_subs_epu8(prev3, fourth_floor));
    return _mm512_ternarylogic_epi32(pairs, announced, top_bit, 0x78);  // a ^ (b & c)
  }
  // Whether the 64 bytes in v break a rule, as Faults tells.
  bool Malformed(__m512i v, __m512i prev1, __m512i prev2, __m512i prev3) const {
    const __m512i faults = Faults(v, prev1, prev2, prev3);
    return _mm512_test_epi8_mask(faults, faults) != 0;
  }
};

inline bool Malformed(__m512i v, __m512i prev1, __m512i prev2, __m512i prev3) {
  return Utf8Check().Malformed(v, prev1, prev2, prev3);
}

}  // namespace avx512
}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_UTF8_CHECK_AVX512_H_
