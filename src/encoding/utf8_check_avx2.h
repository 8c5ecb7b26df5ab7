// The AVX2 test of 32 bytes against the rules of standard UTF-8, shared by the AVX2 decoder and
// validator. Include only from units built for the AVX2 level.
#ifndef QORSTL_SRC_ENCODING_UTF8_CHECK_AVX2_H_
#define QORSTL_SRC_ENCODING_UTF8_CHECK_AVX2_H_

#include <immintrin.h>

#include <cstdint>

#include "encoding/decode_kernels.h"

namespace qor {
namespace internal {
namespace avx2 {

// A 16-byte table in both halves of a register, for one shuffle per lookup.
inline __m256i Table(const std::uint8_t (&t)[16]) {
  return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(t)));
}

// The test of 32 bytes against the rules of standard UTF-8, its tables and constants held in
// registers, so that a loop pays for them once.
struct Utf8Check {
  __m256i by_first_high, by_first_low, by_second_high, nibble, third_floor, fourth_floor, top_bit;
  Utf8Check()
      : by_first_high(Table(utf8_check::kByFirstHigh)),
        by_first_low(Table(utf8_check::kByFirstLow)),
        by_second_high(Table(utf8_check::kBySecondHigh)),
        nibble(_mm256_set1_epi8(0x0F)),
        third_floor(_mm256_set1_epi8(0x60)),
        fourth_floor(_mm256_set1_epi8(0x70)),
        top_bit(_mm256_set1_epi8(char(0x80))) {}

  // Whether the 32 bytes in v, after the bytes whose last three are prev3, prev2 and prev1 at each
  // position, break a rule of standard UTF-8 (a sequence cut short by the end of the block is not
  // yet a fault). The pair lookups flag a continuation after a continuation, which is right
  // exactly where a byte two or three back announced a longer sequence.
  bool Malformed(__m256i v, __m256i prev1, __m256i prev2, __m256i prev3) const {
    const __m256i pairs = _mm256_and_si256(
        _mm256_and_si256(_mm256_shuffle_epi8(by_first_high,
                                             _mm256_and_si256(_mm256_srli_epi16(prev1, 4), nibble)),
                         _mm256_shuffle_epi8(by_first_low, _mm256_and_si256(prev1, nibble))),
        _mm256_shuffle_epi8(by_second_high, _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble)));
    // Third bytes of E0..FF sequences and fourth bytes of F0..FF ones must be continuations.
    const __m256i announced = _mm256_or_si256(_mm256_subs_epu8(prev2, third_floor),
                                              _mm256_subs_epu8(prev3, fourth_floor));
    const __m256i faults = _mm256_xor_si256(pairs, _mm256_and_si256(announced, top_bit));
    return _mm256_testz_si256(faults, faults) == 0;
  }
};

inline bool Malformed(__m256i v, __m256i prev1, __m256i prev2, __m256i prev3) {
  return Utf8Check().Malformed(v, prev1, prev2, prev3);
}

}  // namespace avx2
}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_UTF8_CHECK_AVX2_H_
