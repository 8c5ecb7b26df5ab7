// UTF-8 encoding kernels for AVX-512 (BW, VL, VBMI2): sixteen elements a block, each widened to its
// one to four bytes in a 32-bit lane, the lanes' bytes compressed together and stored with a byte
// mask, so nothing past the last whole sequence is written. Partial blocks use masked loads.
#include "encoding/encode_kernels.h"

#if defined(__x86_64__)
#include <immintrin.h>

// GCC 12 warns about the deliberately undefined vectors inside its own AVX-512 intrinsics.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace qor {
namespace internal {
namespace {

struct RuleVectors {
  __m512i one, max, top21, tag, excluded;
  explicit RuleVectors(const PlainRule& rule)
      : one(_mm512_set1_epi32(1)),
        max(_mm512_set1_epi32(static_cast<int>(rule.max))),
        top21(_mm512_set1_epi32(static_cast<int>(0xFFFFF800u))),
        tag(_mm512_set1_epi32(static_cast<int>(rule.surrogate_tag))),
        excluded(_mm512_set1_epi32(static_cast<int>(rule.excluded))) {}
};

// The lanes of the 16 elements at p that are plain.
inline __mmask16 PlainLanes(__m512i v, __mmask16 lanes, const RuleVectors& r) {
  __mmask16 plain = _mm512_mask_cmplt_epu32_mask(lanes, _mm512_sub_epi32(v, r.one), r.max);
  plain = _mm512_mask_cmpneq_epi32_mask(plain, _mm512_and_si512(v, r.top21), r.tag);
  return _mm512_mask_cmpneq_epi32_mask(plain, v, r.excluded);
}

// The lanes of the block at p[0, avail) that may be settled: the plain ones before the first
// that is not (or the end). Sets `count` to their number. A whole plain block is the common case
// and takes no mask arithmetic.
inline __mmask16 LeadingPlain(const wchar_t* p, std::size_t avail, const RuleVectors& r, __m512i& v,
                              unsigned& count) {
  if (avail >= 16) {
    v = _mm512_loadu_si512(p);
    const __mmask16 plain = PlainLanes(v, 0xFFFF, r);
    if (plain == 0xFFFF) {
      count = 16;
      return plain;
    }
    count = static_cast<unsigned>(__builtin_ctz(~static_cast<unsigned>(plain)));
    return static_cast<__mmask16>((1u << count) - 1);
  }
  const auto lanes = static_cast<__mmask16>((1u << avail) - 1);
  v = _mm512_maskz_loadu_epi32(lanes, p);
  const __mmask16 plain = PlainLanes(v, lanes, r);
  count = static_cast<unsigned>(__builtin_ctz(~static_cast<unsigned>(plain)));
  return static_cast<__mmask16>((1u << count) - 1);
}

std::size_t MeasureAvx512(const wchar_t* p, std::size_t n, const PlainRule& rule,
                          std::size_t& used) {
  const RuleVectors r(rule);
  const __m512i above_1 = _mm512_set1_epi32(0x7F);
  const __m512i above_2 = _mm512_set1_epi32(0x7FF);
  const __m512i above_3 = _mm512_set1_epi32(0xFFFF);
  const __m512i below_2 = _mm512_set1_epi32(0x7FF);
  std::size_t bytes = 0;
  std::size_t i = 0;
  bool stopped = false;
  // Whether to try 64 elements of one- and two-byte forms (1..7FF, plain under every rule) at a
  // time: after a block of such elements, not after a failed try.
  bool short_forms = true;
  while (!stopped && i < n) {
    // Each lane adds at most 4 a block; summed long before a lane could overflow.
    __m512i extra = _mm512_setzero_si512();
    for (std::size_t blocks = 0; blocks < (1u << 24); ++blocks) {
      if (short_forms && n - i >= 64) {
        const __m512i a = _mm512_loadu_si512(p + i);
        const __m512i b = _mm512_loadu_si512(p + i + 16);
        const __m512i c = _mm512_loadu_si512(p + i + 32);
        const __m512i d = _mm512_loadu_si512(p + i + 48);
        const __mmask16 short_lanes = _mm512_cmplt_epu32_mask(_mm512_sub_epi32(a, r.one), below_2) &
                                      _mm512_cmplt_epu32_mask(_mm512_sub_epi32(b, r.one), below_2) &
                                      _mm512_cmplt_epu32_mask(_mm512_sub_epi32(c, r.one), below_2) &
                                      _mm512_cmplt_epu32_mask(_mm512_sub_epi32(d, r.one), below_2);
        if (short_lanes == 0xFFFF) {
          extra = _mm512_mask_add_epi32(extra, _mm512_cmpgt_epu32_mask(a, above_1), extra, r.one);
          extra = _mm512_mask_add_epi32(extra, _mm512_cmpgt_epu32_mask(b, above_1), extra, r.one);
          extra = _mm512_mask_add_epi32(extra, _mm512_cmpgt_epu32_mask(c, above_1), extra, r.one);
          extra = _mm512_mask_add_epi32(extra, _mm512_cmpgt_epu32_mask(d, above_1), extra, r.one);
          bytes += 64;
          i += 64;
          continue;
        }
        short_forms = false;
      }
      __m512i v;
      unsigned count = 0;
      const __mmask16 active = LeadingPlain(p + i, n - i, r, v, count);
      extra = _mm512_mask_add_epi32(extra, _mm512_mask_cmpgt_epu32_mask(active, v, above_1), extra,
                                    r.one);
      const __mmask16 long_lanes = _mm512_mask_cmpgt_epu32_mask(active, v, above_2);
      short_forms = long_lanes == 0;
      extra = _mm512_mask_add_epi32(extra, long_lanes, extra, r.one);
      extra = _mm512_mask_add_epi32(extra, _mm512_mask_cmpgt_epu32_mask(active, v, above_3), extra,
                                    r.one);
      bytes += count;
      i += count;
      if (count < 16) {
        stopped = true;
        break;
      }
    }
    bytes += static_cast<std::uint32_t>(_mm512_reduce_add_epi32(extra));
  }
  used = i;
  return bytes;
}

// Sixty-four elements 1..7F at p narrowed to bytes at out; false, writing nothing, otherwise.
inline bool AsciiBlock(const wchar_t* p, unsigned char* out) {
  const __m512i a = _mm512_loadu_si512(p);
  const __m512i b = _mm512_loadu_si512(p + 16);
  const __m512i c = _mm512_loadu_si512(p + 32);
  const __m512i d = _mm512_loadu_si512(p + 48);
  const __m512i any = _mm512_or_si512(_mm512_or_si512(a, b), _mm512_or_si512(c, d));
  const __m512i least = _mm512_min_epu32(_mm512_min_epu32(a, b), _mm512_min_epu32(c, d));
  if (_mm512_test_epi32_mask(any, _mm512_set1_epi32(~0x7F)) != 0 ||
      _mm512_cmpeq_epi32_mask(least, _mm512_setzero_si512()) != 0) {
    return false;
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm512_cvtepi32_epi8(a));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16), _mm512_cvtepi32_epi8(b));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 32), _mm512_cvtepi32_epi8(c));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 48), _mm512_cvtepi32_epi8(d));
  return true;
}

// Thirty-two elements 1..7FF at p (ASCII, Latin, Greek, Cyrillic, Hebrew, Arabic...) to UTF-8 at
// out, taken as 16-bit words of one or two bytes each. Returns the bytes written, or 0, writing
// nothing, when an element lies outside 1..7FF or the room is short.
inline std::size_t TwoByteBlock(const wchar_t* p, unsigned char* out, std::size_t room) {
  const __m512i a = _mm512_loadu_si512(p);
  const __m512i b = _mm512_loadu_si512(p + 16);
  const __m512i one = _mm512_set1_epi32(1);
  const __m512i below = _mm512_set1_epi32(0x7FF);
  if ((_mm512_cmplt_epu32_mask(_mm512_sub_epi32(a, one), below) &
       _mm512_cmplt_epu32_mask(_mm512_sub_epi32(b, one), below)) != 0xFFFF) {
    return 0;
  }
  const __m512i words = _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvtepi32_epi16(a)),
                                           _mm512_cvtepi32_epi16(b), 1);
  const __mmask32 two = _mm512_cmpgt_epu16_mask(words, _mm512_set1_epi16(0x7F));
  const auto len = static_cast<std::size_t>(32 + _mm_popcnt_u32(two));
  if (room < len) return 0;
  // Lead 110 and the top five bits in the low byte, 10 and the low six bits in the high byte.
  const __m512i pairs = _mm512_ternarylogic_epi32(
      _mm512_srli_epi16(words, 6),
      _mm512_slli_epi16(_mm512_and_si512(words, _mm512_set1_epi16(0x3F)), 8),
      _mm512_set1_epi16(static_cast<short>(0x80C0)), 0xFE);
  const __m512i forms = _mm512_mask_mov_epi16(words, two, pairs);
  // Every low byte is kept, a high byte only for a two-byte form.
  const __mmask64 kept = 0x5555555555555555ull | _pdep_u64(two, 0xAAAAAAAAAAAAAAAAull);
  _mm512_mask_storeu_epi8(out, _bzhi_u64(~0ull, static_cast<unsigned>(len)),
                          _mm512_maskz_compress_epi8(kept, forms));
  return len;
}

std::size_t EncodeAvx512(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                         const PlainRule& rule, std::size_t& written) {
  const RuleVectors r(rule);
  const __m512i above_1 = _mm512_set1_epi32(0x7F);
  const __m512i above_2 = _mm512_set1_epi32(0x7FF);
  const __m512i above_3 = _mm512_set1_epi32(0xFFFF);
  const __m512i all_ones = _mm512_set1_epi32(-1);
  const __m512i shift_base = _mm512_set1_epi32(24);
  const __m512i continuation_marks = _mm512_set1_epi32(static_cast<int>(0x80808080u));
  // The marks of a lead byte by extra byte count 0..3 (a single byte is stored as it is).
  const __m512i lead_marks =
      _mm512_setr_epi32(0, 0xC0, 0xE0, 0xF0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
  std::size_t i = 0;
  std::size_t w = 0;
  // Whether to try 64 elements of ASCII, or 32 of one- and two-byte forms, at a time: after a
  // block of such elements, not after a failed try.
  bool ascii_text = true;
  bool two_byte_text = true;
  while (i < n) {
    if (ascii_text && n - i >= 64 && room - w >= 64) {
      if (AsciiBlock(p + i, out + w)) {
        i += 64;
        w += 64;
        continue;
      }
      ascii_text = false;
    }
    if (two_byte_text && n - i >= 32) {
      const std::size_t len = TwoByteBlock(p + i, out + w, room - w);
      if (len != 0) {
        i += 32;
        w += len;
        continue;
      }
      two_byte_text = false;
    }
    __m512i v;
    unsigned count = 0;
    const __mmask16 active = LeadingPlain(p + i, n - i, r, v, count);
    if (count == 0) break;
    const __mmask16 multi = _mm512_mask_cmpgt_epu32_mask(active, v, above_1);
    if (multi == 0) {
      ascii_text = true;
      two_byte_text = true;
      if (room - w < count) break;
      _mm_mask_storeu_epi8(out + w, active, _mm512_cvtepi32_epi8(v));
      w += count;
      i += count;
      if (count < 16) break;
      continue;
    }
    // Extra bytes per lane, then the four-byte form with every group in a byte of its own, lead
    // group first, shifted down to the lane's length and given its lead mark.
    __m512i extra = _mm512_maskz_mov_epi32(multi, r.one);
    const __mmask16 above_two = _mm512_mask_cmpgt_epu32_mask(active, v, above_2);
    two_byte_text = above_two == 0;
    extra = _mm512_mask_add_epi32(extra, above_two, extra, r.one);
    extra = _mm512_mask_add_epi32(extra, _mm512_mask_cmpgt_epu32_mask(active, v, above_3), extra,
                                  r.one);
    const __m512i shift = _mm512_sub_epi32(shift_base, _mm512_slli_epi32(extra, 3));
    const __m512i groups_3_2 = _mm512_ternarylogic_epi32(
        _mm512_and_si512(_mm512_slli_epi32(v, 24), _mm512_set1_epi32(0x3F000000)),
        _mm512_and_si512(_mm512_slli_epi32(v, 10), _mm512_set1_epi32(0x003F0000)),
        continuation_marks, 0xFE);
    const __m512i groups_1_0 =
        _mm512_or_si512(_mm512_and_si512(_mm512_srli_epi32(v, 4), _mm512_set1_epi32(0x00003F00)),
                        _mm512_srli_epi32(v, 18));
    const __m512i forms =
        _mm512_or_si512(_mm512_srlv_epi32(_mm512_or_si512(groups_3_2, groups_1_0), shift),
                        _mm512_permutexvar_epi32(extra, lead_marks));
    const __m512i lanes_bytes = _mm512_mask_mov_epi32(forms, static_cast<__mmask16>(~multi), v);
    const __m512i kept = _mm512_maskz_srlv_epi32(active, all_ones, shift);
    const __mmask64 bytes_mask = _mm512_test_epi8_mask(kept, kept);
    const auto len = static_cast<std::size_t>(_mm_popcnt_u64(bytes_mask));
    if (room - w < len) break;
    _mm512_mask_storeu_epi8(out + w, _bzhi_u64(~0ull, static_cast<unsigned>(len)),
                            _mm512_maskz_compress_epi8(bytes_mask, lanes_bytes));
    w += len;
    i += count;
    if (count < 16) break;
  }
  // A block short of room is finished element by element.
  std::size_t tail = 0;
  i += EncodePlainScalar(p + i, n - i, out + w, room - w, rule, tail);
  written = w + tail;
  return i;
}

// Sixteen elements at a time while all are units 0..0xFFFF other than surrogates.
std::size_t ToUtf16BeAvx512(const wchar_t* p, std::size_t n, unsigned char* out) {
  const __m512i max = _mm512_set1_epi32(0xFFFF);
  const __m512i top21 = _mm512_set1_epi32(static_cast<int>(0xFFFFF800u));
  const __m512i surrogates = _mm512_set1_epi32(0xD800);
  const __m256i swap = _mm256_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14, 1, 0,
                                        3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
  std::size_t i = 0;
  for (; n - i >= 16; i += 16) {
    const __m512i v = _mm512_loadu_si512(p + i);
    if ((_mm512_cmpgt_epu32_mask(v, max) |
         _mm512_cmpeq_epi32_mask(_mm512_and_si512(v, top21), surrogates)) != 0) {
      break;
    }
    if (out == nullptr) continue;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i),
                        _mm256_shuffle_epi8(_mm512_cvtepi32_epi16(v), swap));
  }
  return i + ToUtf16BeScalar(p + i, n - i, out != nullptr ? out + 2 * i : nullptr);
}

std::size_t FromUtf16BeAvx512(const unsigned char* p, std::size_t n, wchar_t* out) {
  const __m512i swap = _mm512_set4_epi32(0x0E0F0C0D, 0x0A0B0809, 0x06070405, 0x02030001);
  const __m512i top5 = _mm512_set1_epi16(static_cast<short>(0xF800));
  const __m512i surrogates = _mm512_set1_epi16(static_cast<short>(0xD800));
  std::size_t i = 0;
  for (; n - i >= 32; i += 32) {
    const __m512i units = _mm512_shuffle_epi8(_mm512_loadu_si512(p + 2 * i), swap);
    if (_mm512_cmpeq_epi16_mask(_mm512_and_si512(units, top5), surrogates) != 0) break;
    _mm512_storeu_si512(out + i, _mm512_cvtepu16_epi32(_mm512_castsi512_si256(units)));
    _mm512_storeu_si512(out + i + 16, _mm512_cvtepu16_epi32(_mm512_extracti64x4_epi64(units, 1)));
  }
  return i + FromUtf16BeScalar(p + 2 * i, n - i, out + i);
}

}  // namespace

extern const EncodeKernels kEncodeAvx512;
const EncodeKernels kEncodeAvx512 = {Isa::kAvx512, MeasureAvx512, EncodeAvx512, ToUtf16BeAvx512,
                                     FromUtf16BeAvx512};

}  // namespace internal
}  // namespace qor

#endif  // defined(__x86_64__)
