// UTF-8 encoding kernels for the x86-64 baseline: lengths four elements at a time, ASCII runs
// sixteen at a time, the scalar rule for the other plain elements.
#include "encoding/encode_kernels.h"

#if defined(__x86_64__)
#include <emmintrin.h>

#include <climits>

#include "simd.h"

namespace qor {
namespace internal {
namespace {

std::size_t MeasureSse2(const wchar_t* p, std::size_t n, const PlainRule& rule, std::size_t& used) {
  // Unsigned comparisons made signed by flipping the top bit of both sides.
  const __m128i flip = _mm_set1_epi32(INT32_MIN);
  const __m128i one = _mm_set1_epi32(1);
  const __m128i max = _mm_set1_epi32(static_cast<int>(rule.max ^ 0x80000000u));
  const __m128i top21 = _mm_set1_epi32(static_cast<int>(0xFFFFF800u));
  const __m128i tag = _mm_set1_epi32(static_cast<int>(rule.surrogate_tag));
  const __m128i excluded = _mm_set1_epi32(static_cast<int>(rule.excluded));
  const __m128i above_1 = _mm_set1_epi32(0x7F);
  const __m128i above_2 = _mm_set1_epi32(0x7FF);
  const __m128i above_3 = _mm_set1_epi32(0xFFFF);
  std::size_t bytes = 0;
  std::size_t i = 0;
  bool stopped = false;
  while (!stopped && n - i >= 4) {
    // Each lane adds at most 3 a block; summed long before a lane could overflow.
    const std::size_t chunk_end = i + ((n - i) / 4 < (1u << 24) ? (n - i) / 4 : (1u << 24)) * 4;
    const std::size_t chunk_begin = i;
    __m128i extra = _mm_setzero_si128();
    for (; i < chunk_end; i += 4) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
      const __m128i in_range = _mm_cmplt_epi32(_mm_xor_si128(_mm_sub_epi32(v, one), flip), max);
      const __m128i refused =
          _mm_or_si128(_mm_cmpeq_epi32(_mm_and_si128(v, top21), tag), _mm_cmpeq_epi32(v, excluded));
      if (_mm_movemask_epi8(_mm_andnot_si128(refused, in_range)) != 0xFFFF) {
        stopped = true;
        break;
      }
      // Plain values are below 2^31, so signed comparisons count the extra bytes.
      extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, above_1));
      extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, above_2));
      extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, above_3));
    }
    alignas(16) std::uint32_t lanes[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), extra);
    bytes += (i - chunk_begin) + lanes[0] + lanes[1] + lanes[2] + lanes[3];
  }
  std::size_t tail = 0;
  bytes += MeasurePlainScalar(p + i, n - i, rule, tail);
  used = i + tail;
  return bytes;
}

std::size_t EncodeSse2(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                       const PlainRule& rule, std::size_t& written) {
  std::size_t i = 0;
  std::size_t w = 0;
  while (i < n) {
    const auto c = static_cast<std::uint32_t>(p[i]);
    if (c - 1u < 0x7Fu) {
      const std::size_t run = AsciiRunToNarrow(p + i, n - i, out + w, room - w);
      if (run == 0) break;  // no room for the next byte
      i += run;
      w += run;
      continue;
    }
    if (!IsPlain(c, rule)) break;
    const unsigned len = EncodedLength(c);
    if (room - w < len) break;
    WriteSequence(c, len, out + w);
    w += len;
    ++i;
  }
  written = w;
  return i;
}

// Eight elements at a time while all are units 0..0xFFFF other than surrogates.
std::size_t ToUtf16BeSse2(const wchar_t* p, std::size_t n, unsigned char* out) {
  const __m128i flip = _mm_set1_epi32(INT32_MIN);
  const __m128i max = _mm_set1_epi32(0xFFFF ^ INT32_MIN);
  const __m128i top21 = _mm_set1_epi32(static_cast<int>(0xFFFFF800u));
  const __m128i surrogates = _mm_set1_epi32(0xD800);
  const __m128i half = _mm_set1_epi32(0x8000);
  std::size_t i = 0;
  for (; n - i >= 8; i += 8) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 4));
    const __m128i refused =
        _mm_or_si128(_mm_or_si128(_mm_cmpgt_epi32(_mm_xor_si128(a, flip), max),
                                  _mm_cmpgt_epi32(_mm_xor_si128(b, flip), max)),
                     _mm_or_si128(_mm_cmpeq_epi32(_mm_and_si128(a, top21), surrogates),
                                  _mm_cmpeq_epi32(_mm_and_si128(b, top21), surrogates)));
    if (_mm_movemask_epi8(refused) != 0) break;
    if (out == nullptr) continue;
    // A signed pack of the values moved down by 0x8000, moved back up in 16 bits.
    const __m128i units = _mm_add_epi16(
        _mm_packs_epi32(_mm_sub_epi32(a, half), _mm_sub_epi32(b, half)), _mm_set1_epi16(-0x8000));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 2 * i),
                     _mm_or_si128(_mm_slli_epi16(units, 8), _mm_srli_epi16(units, 8)));
  }
  return i + ToUtf16BeScalar(p + i, n - i, out != nullptr ? out + 2 * i : nullptr);
}

std::size_t FromUtf16BeSse2(const unsigned char* p, std::size_t n, wchar_t* out) {
  const __m128i top5 = _mm_set1_epi16(static_cast<short>(0xF800));
  const __m128i surrogates = _mm_set1_epi16(static_cast<short>(0xD800));
  const __m128i zero = _mm_setzero_si128();
  std::size_t i = 0;
  for (; n - i >= 8; i += 8) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2 * i));
    const __m128i units = _mm_or_si128(_mm_slli_epi16(bytes, 8), _mm_srli_epi16(bytes, 8));
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(units, top5), surrogates)) != 0) break;
    auto* o = reinterpret_cast<__m128i*>(out + i);
    _mm_storeu_si128(o, _mm_unpacklo_epi16(units, zero));
    _mm_storeu_si128(o + 1, _mm_unpackhi_epi16(units, zero));
  }
  return i + FromUtf16BeScalar(p + 2 * i, n - i, out + i);
}

}  // namespace

extern const EncodeKernels kEncodeSse2;
const EncodeKernels kEncodeSse2 = {Isa::kSse2, MeasureSse2, EncodeSse2, ToUtf16BeSse2,
                                   FromUtf16BeSse2};

}  // namespace internal
}  // namespace qor

#endif  // defined(__x86_64__)
