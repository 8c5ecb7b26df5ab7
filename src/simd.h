// Block-at-a-time helpers for the hot loops of the converters, each with the plain loop beside it.
// Private to the library: not installed, not exported.
#ifndef QORSTL_SRC_SIMD_H_
#define QORSTL_SRC_SIMD_H_

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__) && !defined(QORSTL_SIMD_DISABLED)
#include <emmintrin.h>
#define QORSTL_HAVE_SSE2 1
#elif defined(__ARM_NEON) && defined(__aarch64__) && !defined(QORSTL_SIMD_DISABLED)
#include <arm_neon.h>
#define QORSTL_HAVE_NEON 1
#endif

namespace qor {
namespace internal {

// Whether this build has a vector unit in its baseline (SSE2 on x86-64, NEON on aarch64), which the
// short paths below use in place, without a CPU check or a call through a kernel table.
#if defined(QORSTL_HAVE_SSE2) || defined(QORSTL_HAVE_NEON)
constexpr bool kBaselineVectors = true;
#else
constexpr bool kBaselineVectors = false;
#endif

// Bit i set when p[i] == x, for the 16 bytes at p; byte by byte without a baseline vector unit.
inline unsigned Equal16(const unsigned char* p, unsigned char x) {
#if defined(QORSTL_HAVE_SSE2)
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), _mm_set1_epi8(static_cast<char>(x)))));
#elif defined(QORSTL_HAVE_NEON)
  static const std::uint8_t kWeights[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                            1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t weighted = vandq_u8(vceqq_u8(vld1q_u8(p), vdupq_n_u8(x)), vld1q_u8(kWeights));
  return static_cast<unsigned>(vaddv_u8(vget_low_u8(weighted))) |
         static_cast<unsigned>(vaddv_u8(vget_high_u8(weighted))) << 8;
#else
  unsigned bits = 0;
  for (unsigned i = 0; i < 16; ++i) bits |= static_cast<unsigned>(p[i] == x) << i;
  return bits;
#endif
}

// Length of the leading run of bytes 01..7F in p[0, avail), at most `room`. When `out` is not null
// the run is also widened into out[0, run). Bytes 00 and 80..FF end the run.
inline std::size_t AsciiRunToWideScalar(const unsigned char* p, std::size_t avail, wchar_t* out,
                                        std::size_t room) {
  const std::size_t limit = avail < room ? avail : room;
  std::size_t i = 0;
  while (i < limit && static_cast<unsigned char>(p[i] - 1) < 0x7F) {
    if (out != nullptr) out[i] = static_cast<wchar_t>(p[i]);
    ++i;
  }
  return i;
}

// As above, 16 bytes at a time (SSE2 or NEON); the scalar loop finishes the run inside the first
// block that holds a byte outside 01..7F, and takes the last bytes of the buffer.
inline std::size_t AsciiRunToWide(const unsigned char* p, std::size_t avail, wchar_t* out,
                                  std::size_t room) {
  const std::size_t limit = avail < room ? avail : room;
  std::size_t i = 0;
#if defined(QORSTL_HAVE_SSE2)
  const __m128i zero = _mm_setzero_si128();
  while (limit - i >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    // High bit set, or a zero byte: the block is not all 01..7F.
    if ((_mm_movemask_epi8(v) | _mm_movemask_epi8(_mm_cmpeq_epi8(v, zero))) != 0) break;
    if (out != nullptr) {
      const __m128i lo = _mm_unpacklo_epi8(v, zero);
      const __m128i hi = _mm_unpackhi_epi8(v, zero);
      auto* o = reinterpret_cast<__m128i*>(out + i);
      _mm_storeu_si128(o + 0, _mm_unpacklo_epi16(lo, zero));
      _mm_storeu_si128(o + 1, _mm_unpackhi_epi16(lo, zero));
      _mm_storeu_si128(o + 2, _mm_unpacklo_epi16(hi, zero));
      _mm_storeu_si128(o + 3, _mm_unpackhi_epi16(hi, zero));
    }
    i += 16;
  }
#elif defined(QORSTL_HAVE_NEON)
  while (limit - i >= 16) {
    const uint8x16_t v = vld1q_u8(p + i);
    // Less one, the bytes 01..7F are exactly those below 7F.
    if (vmaxvq_u8(vsubq_u8(v, vdupq_n_u8(1))) >= 0x7F) break;
    if (out != nullptr) {
      const uint16x8_t lo = vmovl_u8(vget_low_u8(v));
      const uint16x8_t hi = vmovl_high_u8(v);
      // Stored as bytes, which may alias the elements.
      auto* o = reinterpret_cast<unsigned char*>(out + i);
      vst1q_u8(o + 0, vreinterpretq_u8_u32(vmovl_u16(vget_low_u16(lo))));
      vst1q_u8(o + 16, vreinterpretq_u8_u32(vmovl_high_u16(lo)));
      vst1q_u8(o + 32, vreinterpretq_u8_u32(vmovl_u16(vget_low_u16(hi))));
      vst1q_u8(o + 48, vreinterpretq_u8_u32(vmovl_high_u16(hi)));
    }
    i += 16;
  }
#endif
  return i + AsciiRunToWideScalar(p + i, limit - i, out != nullptr ? out + i : nullptr, limit - i);
}

// Decodes the 16 bytes at p when they are only bytes 01..7F and complete two-byte sequences
// C2..DF 80..BF (most of Latin, Greek, Cyrillic, Hebrew and Arabic text), each to the one element
// the scalar decoder gives it in every mode. A lead in the last byte is left for the next call.
// Returns the bytes used (15 or 16) and sets `elements` to the elements produced, which are
// written to `out` unless it is null. Returns 0, having written nothing, when the block holds any
// other byte, no lead, or `room` is smaller than its element count: the caller's other paths
// then take over.
// p must start a character, and 16 bytes must be readable there.
inline std::size_t TwoByteBlockToWide(const unsigned char* p, wchar_t* out, std::size_t room,
                                      std::size_t& elements) {
#if defined(QORSTL_HAVE_SSE2)
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  // As signed bytes, continuations 80..BF are below -64 and the leads C2..DF lie in -62..-33.
  const unsigned continuations =
      static_cast<unsigned>(_mm_movemask_epi8(_mm_cmplt_epi8(v, _mm_set1_epi8(-64))));
  const unsigned leads = static_cast<unsigned>(_mm_movemask_epi8(
      _mm_and_si128(_mm_cmpgt_epi8(v, _mm_set1_epi8(-63)), _mm_cmplt_epi8(v, _mm_set1_epi8(-32)))));
  const unsigned high = static_cast<unsigned>(_mm_movemask_epi8(v));
  const unsigned zeros =
      static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())));
  // Every high byte is a lead or a continuation, and continuations stand exactly after leads.
  // A block without leads is left to the faster ASCII path.
  if (leads == 0 || zeros != 0 || high != (leads | continuations) ||
      continuations != ((leads << 1) & 0xFFFFu)) {
    return 0;
  }
  const std::size_t used = (leads & 0x8000u) != 0 ? 15 : 16;
  std::size_t count = used;
  for (unsigned bits = continuations; bits != 0; bits &= bits - 1) --count;
  if (out != nullptr) {
    if (room < count) return 0;
    // Only the elements themselves are stored: nothing lands behind the last one.
    std::size_t k = 0;
    for (std::size_t i = 0; i < used; ++i) {
      const unsigned b = p[i];
      if (b >= 0xC0) {
        out[k++] = static_cast<wchar_t>(((b & 0x1Fu) << 6) | (p[i + 1] & 0x3Fu));
      } else if (b < 0x80) {
        out[k++] = static_cast<wchar_t>(b);
      }
    }
  }
  elements = count;
  return used;
#else
  (void)p, (void)out, (void)room, (void)elements;
  return 0;
#endif
}

// Length of the leading run of elements 1..7F in p[0, avail), at most `room`; when `out` is not
// null the run is also narrowed into out[0, run). Zero, negative and larger elements end the run.
inline std::size_t AsciiRunToNarrowScalar(const wchar_t* p, std::size_t avail, unsigned char* out,
                                          std::size_t room) {
  const std::size_t limit = avail < room ? avail : room;
  std::size_t i = 0;
  while (i < limit && static_cast<std::uint32_t>(p[i]) - 1u < 0x7Fu) {
    if (out != nullptr) out[i] = static_cast<unsigned char>(p[i]);
    ++i;
  }
  return i;
}

// As above, 16 elements at a time (SSE2 or NEON), the scalar loop finishing the run and the buffer.
inline std::size_t AsciiRunToNarrow(const wchar_t* p, std::size_t avail, unsigned char* out,
                                    std::size_t room) {
  const std::size_t limit = avail < room ? avail : room;
  std::size_t i = 0;
#if defined(QORSTL_HAVE_SSE2)
  const __m128i zero = _mm_setzero_si128();
  const __m128i above_ascii = _mm_set1_epi32(~0x7F);
  while (limit - i >= 16) {
    const auto* in = reinterpret_cast<const __m128i*>(p + i);
    const __m128i a = _mm_loadu_si128(in + 0);
    const __m128i b = _mm_loadu_si128(in + 1);
    const __m128i c = _mm_loadu_si128(in + 2);
    const __m128i d = _mm_loadu_si128(in + 3);
    const __m128i high_bits =
        _mm_and_si128(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)), above_ascii);
    const __m128i zeros =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi32(a, zero), _mm_cmpeq_epi32(b, zero)),
                     _mm_or_si128(_mm_cmpeq_epi32(c, zero), _mm_cmpeq_epi32(d, zero)));
    if ((_mm_movemask_epi8(_mm_cmpeq_epi32(high_bits, zero)) != 0xFFFF) ||
        _mm_movemask_epi8(zeros) != 0) {
      break;
    }
    if (out != nullptr) {
      const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), bytes);
    }
    i += 16;
  }
#elif defined(QORSTL_HAVE_NEON)
  const uint32x4_t one = vdupq_n_u32(1);
  while (limit - i >= 16) {
    // Read as bytes, which may alias the elements.
    const auto* in = reinterpret_cast<const unsigned char*>(p + i);
    const uint32x4_t a = vreinterpretq_u32_u8(vld1q_u8(in + 0));
    const uint32x4_t b = vreinterpretq_u32_u8(vld1q_u8(in + 16));
    const uint32x4_t c = vreinterpretq_u32_u8(vld1q_u8(in + 32));
    const uint32x4_t d = vreinterpretq_u32_u8(vld1q_u8(in + 48));
    // Less one, the elements 1..7F are exactly those below 7F.
    const uint32x4_t largest = vmaxq_u32(vmaxq_u32(vsubq_u32(a, one), vsubq_u32(b, one)),
                                         vmaxq_u32(vsubq_u32(c, one), vsubq_u32(d, one)));
    if (vmaxvq_u32(largest) >= 0x7F) break;
    if (out != nullptr) {
      const uint16x8_t ab = vcombine_u16(vmovn_u32(a), vmovn_u32(b));
      const uint16x8_t cd = vcombine_u16(vmovn_u32(c), vmovn_u32(d));
      vst1q_u8(out + i, vcombine_u8(vmovn_u16(ab), vmovn_u16(cd)));
    }
    i += 16;
  }
#endif
  return i +
         AsciiRunToNarrowScalar(p + i, limit - i, out != nullptr ? out + i : nullptr, limit - i);
}

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_SIMD_H_
