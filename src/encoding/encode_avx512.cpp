// UTF-8 encoding kernels for AVX-512 (BW, VL, VBMI, VBMI2): sixteen elements a block, each widened
// to its one to four bytes in a 32-bit lane (its six-bit groups picked by one byte shift, its
// length and lead mark looked up by the exponent of its value as a float), the lanes' bytes
// compressed together and stored with a byte mask, so nothing past the last whole sequence is
// written. Partial blocks use masked loads.
#include "encoding/encode_kernels.h"

#if defined(__x86_64__)
#include <immintrin.h>

// GCC 12 warns about the deliberately undefined vectors inside its own AVX-512 intrinsics.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

// The encoder's block loop runs a seventh slower on CJK text at some places within a 64-byte line
// of code than at others; this unit's code starts 16 bytes past a line, where it was measured,
// whatever the size of the code linked before it.
#if defined(__GNUC__) && defined(__ELF__)
asm(".text\n\t.balign 64\n\t.skip 16\n");
#endif

namespace qor {
namespace internal {
namespace {

// The largest value v such that every value 1..v is plain under `rule` and takes at most three
// bytes: one compare then settles most text.
constexpr std::uint32_t ShortPlainMax(const PlainRule& rule) {
  std::uint32_t bound = rule.max < 0xFFFF ? rule.max : 0xFFFF;
  // A value below the surrogate tag, masked, stays below it.
  if (rule.surrogate_tag != kNoTag && rule.surrogate_tag <= bound)
    bound = rule.surrogate_tag == 0 ? 0 : rule.surrogate_tag - 1;
  if (rule.excluded != 0 && rule.excluded - 1 < bound) bound = rule.excluded - 1;
  return bound;
}

struct RuleVectors {
  __m512i one, max, top21, tag, excluded, short_max;
  explicit RuleVectors(const PlainRule& rule)
      : one(_mm512_set1_epi32(1)),
        max(_mm512_set1_epi32(static_cast<int>(rule.max))),
        top21(_mm512_set1_epi32(static_cast<int>(0xFFFFF800u))),
        tag(_mm512_set1_epi32(static_cast<int>(rule.surrogate_tag))),
        excluded(_mm512_set1_epi32(static_cast<int>(rule.excluded))),
        short_max(_mm512_set1_epi32(static_cast<int>(ShortPlainMax(rule)))) {}
};

// The lanes of v in 1..ShortPlainMax.
inline __mmask16 ShortPlainLanes(__m512i v, const RuleVectors& r) {
  return _mm512_cmplt_epu32_mask(_mm512_sub_epi32(v, r.one), r.short_max);
}

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
    if (ShortPlainLanes(v, r) == 0xFFFF) {
      count = 16;
      return 0xFFFF;
    }
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

// Elements classed by the exponent of their value as a float (floor of log2 plus 127, of which a
// two-table permute reads the low five bits): by class, how far the four-byte layout of an element
// is shifted down to its length, its lead mark, the bytes of its lane that are kept, and how many
// bytes it takes past one.
struct ByClass {
  alignas(64) std::uint32_t extra[32];
  alignas(64) std::uint32_t shift[32];
  alignas(64) std::uint32_t lead[32];
  alignas(64) std::uint32_t kept[32];
  constexpr ByClass() : extra(), shift(), lead(), kept() {
    for (unsigned log2 = 0; log2 < 32; ++log2) {
      const unsigned bytes = log2 < 7 ? 0 : log2 < 11 ? 1 : log2 < 16 ? 2 : 3;
      const unsigned at = (log2 + 127) % 32;
      extra[at] = bytes;
      shift[at] = 24 - 8 * bytes;
      lead[at] = bytes == 0 ? 0 : (0xFF00u >> (bytes + 1)) & 0xFFu;
      kept[at] = 0xFFFFFFFFu >> shift[at];
    }
  }
};
constexpr ByClass kByClass;

// The class of each lane's value, as the tables of kByClass read it.
inline __m512i Log2Class(__m512i v) {
  return _mm512_srli_epi32(_mm512_castps_si512(_mm512_cvtepu32_ps(v)), 23);
}

std::size_t MeasureAvx512(const wchar_t* p, std::size_t n, const PlainRule& rule,
                          std::size_t& used) {
  const RuleVectors r(rule);
  const __m512i above_1 = _mm512_set1_epi32(0x7F);
  const __m512i above_2 = _mm512_set1_epi32(0x7FF);
  const __m512i extra_low = _mm512_load_si512(kByClass.extra);
  const __m512i extra_high = _mm512_load_si512(kByClass.extra + 16);
  std::size_t bytes = 0;
  std::size_t i = 0;
  bool stopped = false;
  // Whether to try 64 elements of one- to three-byte forms (1..ShortPlainMax) at a time: after a
  // block of such elements, not after a failed try.
  bool short_forms = true;
  while (!stopped && i < n) {
    // Each lane adds at most 8 a step; summed long before a lane could overflow.
    __m512i extra = _mm512_setzero_si512();
    for (std::size_t steps = 0; steps < (1u << 24); ++steps) {
      if (short_forms && n - i >= 64) {
        const __m512i a = _mm512_loadu_si512(p + i);
        const __m512i b = _mm512_loadu_si512(p + i + 16);
        const __m512i c = _mm512_loadu_si512(p + i + 32);
        const __m512i d = _mm512_loadu_si512(p + i + 48);
        if ((ShortPlainLanes(a, r) & ShortPlainLanes(b, r) & ShortPlainLanes(c, r) &
             ShortPlainLanes(d, r)) == 0xFFFF) {
          const auto add_extra = [&](__m512i v) {
            extra = _mm512_mask_add_epi32(extra, _mm512_cmpgt_epu32_mask(v, above_1), extra, r.one);
            extra = _mm512_mask_add_epi32(extra, _mm512_cmpgt_epu32_mask(v, above_2), extra, r.one);
          };
          add_extra(a);
          add_extra(b);
          add_extra(c);
          add_extra(d);
          bytes += 64;
          i += 64;
          continue;
        }
        short_forms = false;
      }
      __m512i v;
      unsigned count = 0;
      const __mmask16 active = LeadingPlain(p + i, n - i, r, v, count);
      short_forms = ShortPlainLanes(v, r) == 0xFFFF;
      extra = _mm512_mask_add_epi32(extra, active, extra,
                                    _mm512_permutex2var_epi32(extra_low, Log2Class(v), extra_high));
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
  const __m512i continuation_marks = _mm512_set1_epi32(static_cast<int>(0x80808080u));
  const __m512i group_bits = _mm512_set1_epi32(0x3F3F3F3F);
  // Bits 18, 12, 6 and 0 of each 32-bit lane, lowest byte first.
  const __m512i group_shifts = _mm512_set1_epi64(0x20262C3200060C12);
  const __m512i shift_low = _mm512_load_si512(kByClass.shift);
  const __m512i shift_high = _mm512_load_si512(kByClass.shift + 16);
  const __m512i lead_low = _mm512_load_si512(kByClass.lead);
  const __m512i lead_high = _mm512_load_si512(kByClass.lead + 16);
  const __m512i kept_low = _mm512_load_si512(kByClass.kept);
  const __m512i kept_high = _mm512_load_si512(kByClass.kept + 16);
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
    // The four-byte form of each lane, every group in a byte of its own with the marks of a
    // continuation (one byte shift picks each), shifted down to the lane's length and given its
    // lead mark; a single byte is stored as it is.
    two_byte_text = _mm512_mask_cmpgt_epu32_mask(active, v, above_2) == 0;
    const __m512i log2 = Log2Class(v);
    const __m512i groups = _mm512_ternarylogic_epi32(_mm512_multishift_epi64_epi8(group_shifts, v),
                                                     group_bits, continuation_marks, 0xEA);
    const __m512i forms = _mm512_or_si512(
        _mm512_srlv_epi32(groups, _mm512_permutex2var_epi32(shift_low, log2, shift_high)),
        _mm512_permutex2var_epi32(lead_low, log2, lead_high));
    const __m512i lanes_bytes = _mm512_mask_mov_epi32(forms, static_cast<__mmask16>(~multi), v);
    const __m512i kept = _mm512_maskz_permutex2var_epi32(active, kept_low, log2, kept_high);
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
