// Block helpers of the single-byte locale paths: ASCII blocks, and encodings whose bytes are the
// values 00..FF themselves (Latin-1); each with the plain loop beside it. Private to the library.
#ifndef QORSTL_SRC_ENCODING_LOCALE_SIMD_H_
#define QORSTL_SRC_ENCODING_LOCALE_SIMD_H_

#include <cstddef>
#include <cstdint>

#include "simd.h"

namespace qor {
namespace internal {

// Whether the 16 bytes at p are all below 0x80.
inline bool IsAsciiBlock(const unsigned char* p) {
#if defined(QORSTL_HAVE_SSE2)
  return _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))) == 0;
#elif defined(QORSTL_HAVE_NEON)
  return vmaxvq_u8(vld1q_u8(p)) < 0x80;
#else
  unsigned char any = 0;
  for (int i = 0; i < 16; ++i) any |= p[i];
  return any < 0x80;
#endif
}

// Widens p[0, n) into out[0, n), each byte its own value.
inline void WidenBytes(const unsigned char* p, std::size_t n, wchar_t* out) {
  std::size_t i = 0;
#if defined(QORSTL_HAVE_SSE2)
  const __m128i zero = _mm_setzero_si128();
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    const __m128i lo = _mm_unpacklo_epi8(v, zero);
    const __m128i hi = _mm_unpackhi_epi8(v, zero);
    auto* o = reinterpret_cast<__m128i*>(out + i);
    _mm_storeu_si128(o + 0, _mm_unpacklo_epi16(lo, zero));
    _mm_storeu_si128(o + 1, _mm_unpackhi_epi16(lo, zero));
    _mm_storeu_si128(o + 2, _mm_unpacklo_epi16(hi, zero));
    _mm_storeu_si128(o + 3, _mm_unpackhi_epi16(hi, zero));
  }
#elif defined(QORSTL_HAVE_NEON)
  for (; n - i >= 16; i += 16) {
    const uint8x16_t v = vld1q_u8(p + i);
    const uint16x8_t lo = vmovl_u8(vget_low_u8(v));
    const uint16x8_t hi = vmovl_u8(vget_high_u8(v));
    auto* o = reinterpret_cast<uint32_t*>(out + i);
    vst1q_u32(o + 0, vmovl_u16(vget_low_u16(lo)));
    vst1q_u32(o + 4, vmovl_u16(vget_high_u16(lo)));
    vst1q_u32(o + 8, vmovl_u16(vget_low_u16(hi)));
    vst1q_u32(o + 12, vmovl_u16(vget_high_u16(hi)));
  }
#endif
  for (; i < n; ++i) out[i] = static_cast<wchar_t>(p[i]);
}

// Length of the leading run of p[0, n) that holds values 01..FF only, each written as its byte to
// out. The first block with another value is finished by the plain loop.
inline std::size_t NarrowBytes(const wchar_t* p, std::size_t n, unsigned char* out) {
  std::size_t i = 0;
#if defined(QORSTL_HAVE_SSE2)
  const __m128i zero = _mm_setzero_si128();
  const __m128i high = _mm_set1_epi32(static_cast<int>(0xFFFFFF00u));
  for (; n - i >= 16; i += 16) {
    const auto* q = reinterpret_cast<const __m128i*>(p + i);
    const __m128i a = _mm_loadu_si128(q + 0), b = _mm_loadu_si128(q + 1);
    const __m128i c = _mm_loadu_si128(q + 2), d = _mm_loadu_si128(q + 3);
    // No bit above the low byte in any value, and no value zero.
    const __m128i all = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
    const __m128i zeros =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi32(a, zero), _mm_cmpeq_epi32(b, zero)),
                     _mm_or_si128(_mm_cmpeq_epi32(c, zero), _mm_cmpeq_epi32(d, zero)));
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(_mm_and_si128(all, high), zero)) != 0xFFFF ||
        _mm_movemask_epi8(zeros) != 0) {
      break;
    }
    const __m128i words = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), words);
  }
#elif defined(QORSTL_HAVE_NEON)
  for (; n - i >= 16; i += 16) {
    const auto* q = reinterpret_cast<const uint32_t*>(p + i);
    const uint32x4_t a = vld1q_u32(q), b = vld1q_u32(q + 4), c = vld1q_u32(q + 8),
                     d = vld1q_u32(q + 12);
    const uint32x4_t one = vdupq_n_u32(1);
    // Less one, the values 01..FF are exactly those up to FE.
    const uint32x4_t most = vmaxq_u32(vmaxq_u32(vsubq_u32(a, one), vsubq_u32(b, one)),
                                      vmaxq_u32(vsubq_u32(c, one), vsubq_u32(d, one)));
    if (vmaxvq_u32(most) > 0xFE) break;
    const uint16x8_t ab = vcombine_u16(vmovn_u32(a), vmovn_u32(b));
    const uint16x8_t cd = vcombine_u16(vmovn_u32(c), vmovn_u32(d));
    vst1q_u8(out + i, vcombine_u8(vmovn_u16(ab), vmovn_u16(cd)));
  }
#endif
  for (; i < n && static_cast<std::uint32_t>(p[i]) - 1u < 0xFFu; ++i) {
    out[i] = static_cast<unsigned char>(p[i]);
  }
  return i;
}

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_LOCALE_SIMD_H_
