// UTF-8 encoding kernels for AVX2: sixteen elements a block, sorted by their largest value (a zero
// element sorted last, so that no path but the last tests for it). ASCII runs are narrowed
// thirty-two elements at a time; blocks below 800 are packed to 16-bit units and written as one-
// and two-byte forms from 16-bit lanes, other blocks below 10000 as one to three bytes from 32-bit
// lanes built from the units; any other block is widened to one to four bytes per 32-bit lane.
// Each four lanes' bytes are packed by a shuffle chosen from their lengths.
#include "encoding/encode_kernels.h"

#if defined(__x86_64__)
#include <immintrin.h>

#include <climits>

namespace qor {
namespace internal {
namespace {

constexpr FormPack kFormPack;
constexpr UnitPack kUnitPack;
constexpr ShortPack kShortPack;

struct RuleVectors {
  __m256i one, flip, max, top21, tag, excluded, tag16, excluded16;
  explicit RuleVectors(const PlainRule& rule)
      : one(_mm256_set1_epi32(1)),
        flip(_mm256_set1_epi32(INT32_MIN)),
        max(_mm256_set1_epi32(static_cast<int>(rule.max ^ 0x80000000u))),
        top21(_mm256_set1_epi32(static_cast<int>(0xFFFFF800u))),
        tag(_mm256_set1_epi32(static_cast<int>(rule.surrogate_tag))),
        excluded(_mm256_set1_epi32(static_cast<int>(rule.excluded))),
        // For 16-bit units: kNoTag becomes 1, which no unit masked with F800 equals. The
        // excluded value is 0 or FEFF, a unit either way.
        tag16(_mm256_set1_epi16(static_cast<short>(rule.surrogate_tag & 0xFFFF))),
        excluded16(_mm256_set1_epi16(static_cast<short>(rule.excluded & 0xFFFF))) {}
};

// True when all eight elements at p are plain. Unsigned comparison by flipping the top bits.
inline bool BlockPlain(__m256i v, const RuleVectors& r) {
  const __m256i in_range =
      _mm256_cmpgt_epi32(r.max, _mm256_xor_si256(_mm256_sub_epi32(v, r.one), r.flip));
  const __m256i refused = _mm256_or_si256(_mm256_cmpeq_epi32(_mm256_and_si256(v, r.top21), r.tag),
                                          _mm256_cmpeq_epi32(v, r.excluded));
  return _mm256_movemask_epi8(_mm256_andnot_si256(refused, in_range)) == -1;
}

inline __m256i Load(const wchar_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

std::size_t MeasureAvx2(const wchar_t* p, std::size_t n, const PlainRule& rule, std::size_t& used) {
  const RuleVectors r(rule);
  const __m256i above_1 = _mm256_set1_epi32(0x7F);
  const __m256i above_2 = _mm256_set1_epi32(0x7FF);
  const __m256i above_3 = _mm256_set1_epi32(0xFFFF);
  std::size_t bytes = 0;
  std::size_t i = 0;
  bool stopped = false;
  while (!stopped && n - i >= 8) {
    // Each lane adds at most 3 a block; summed long before a lane could overflow.
    const std::size_t chunk_end = i + ((n - i) / 8 < (1u << 24) ? (n - i) / 8 : (1u << 24)) * 8;
    const std::size_t chunk_begin = i;
    __m256i extra = _mm256_setzero_si256();
    for (; i < chunk_end; i += 8) {
      const __m256i v = Load(p + i);
      if (!BlockPlain(v, r)) {
        stopped = true;
        break;
      }
      // Plain values are below 2^31, so signed comparisons count the extra bytes.
      extra = _mm256_sub_epi32(extra, _mm256_cmpgt_epi32(v, above_1));
      extra = _mm256_sub_epi32(extra, _mm256_cmpgt_epi32(v, above_2));
      extra = _mm256_sub_epi32(extra, _mm256_cmpgt_epi32(v, above_3));
    }
    const __m128i halves =
        _mm_add_epi32(_mm256_castsi256_si128(extra), _mm256_extracti128_si256(extra, 1));
    const __m128i pairs = _mm_add_epi32(halves, _mm_shuffle_epi32(halves, 0x4E));
    const __m128i sum = _mm_add_epi32(pairs, _mm_shuffle_epi32(pairs, 0xB1));
    bytes += (i - chunk_begin) + static_cast<std::uint32_t>(_mm_cvtsi128_si32(sum));
  }
  std::size_t tail = 0;
  bytes += MeasurePlainScalar(p + i, n - i, rule, tail);
  used = i + tail;
  return bytes;
}

inline __m128i Row(const unsigned char* row) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(row));
}
// Two table rows as one shuffle: `low` for the lower 128-bit lane, `high` for the upper one.
inline __m256i Rows(const unsigned char* low, const unsigned char* high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(Row(low)), Row(high), 1);
}
inline void Store(unsigned char* out, __m128i bytes) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
}
// The two 128-bit lanes of v at out and at out + offset.
inline void StoreLanes(unsigned char* out, std::size_t offset, __m256i v) {
  Store(out, _mm256_castsi256_si128(v));
  Store(out + offset, _mm256_extracti128_si256(v, 1));
}
// True when no bit set in v is set in `high_bits`.
inline bool Within(__m256i v, __m256i high_bits) {
  return _mm256_testz_si256(v, high_bits);
}
// The sixteen elements a, b (all below 10000) as 16-bit units, in order.
inline __m256i Units(__m256i a, __m256i b) {
  return _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
}
// The sixteen elements a, b (all below 80) as bytes, in order.
inline __m128i AsciiBytes(__m256i a, __m256i b) {
  const __m256i units = _mm256_packus_epi32(a, b);          // a0..3 b0..3 | a4..7 b4..7
  const __m256i bytes = _mm256_packus_epi16(units, units);  // each half's eight, twice
  return _mm256_castsi256_si128(
      _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 0, 4, 1, 5)));
}

// The thirty-two elements a, b, c, d (all below 80) as bytes, in order.
inline __m256i AsciiBytes(__m256i a, __m256i b, __m256i c, __m256i d) {
  const __m256i bytes = _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
  return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// v, from here on unknown to the compiler as a constant. GCC otherwise builds a repeated constant
// anew wherever a block uses it (a 64-bit move and a broadcast on the shuffle port); hidden, it is
// kept in a register or read from the stack.
inline __m256i Hidden(__m256i v) {
#if defined(__GNUC__)
  __asm__("" : "+x"(v));
#endif
  return v;
}

// The constants of the block loop, built once a call.
struct BlockConstants {
  __m256i all_ones = Hidden(_mm256_set1_epi32(-1));
  __m256i above_ascii = Hidden(_mm256_set1_epi32(~0x7F));
  __m256i above_short = Hidden(_mm256_set1_epi32(~0x7FF));
  __m256i above_unit = Hidden(_mm256_set1_epi32(~0xFFFF));
  __m256i top5 = Hidden(_mm256_set1_epi16(static_cast<short>(0xF800)));
  __m256i flip16 = Hidden(_mm256_set1_epi16(static_cast<short>(0x8000)));
  __m256i multi_floor = Hidden(_mm256_set1_epi16(static_cast<short>(0x807F)));
  __m256i three_floor = Hidden(_mm256_set1_epi16(static_cast<short>(0x87FF)));
  __m256i middle_bits = Hidden(_mm256_set1_epi16(0x3F00));
  __m256i lead_marks = Hidden(_mm256_set1_epi16(static_cast<short>(0x80E0)));
  __m256i short_lead = Hidden(_mm256_set1_epi16(0x4000));
  __m256i last_bits = Hidden(_mm256_set1_epi16(static_cast<short>(0xFF3F)));
  __m256i last_mark = Hidden(_mm256_set1_epi16(0x80));
  __m256i low_twice =
      Hidden(_mm256_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14, 0, 0, 2, 2, 4,
                              4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14));

  // The bits set in the elements a, b or in the elements less one.
  __m256i Bits(__m256i a, __m256i b) const {
    return _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(_mm256_add_epi32(a, all_ones),
                                                                  _mm256_add_epi32(b, all_ones)));
  }
};

// Eight plain elements, each widened to its one- to four-byte form in its 32-bit lane; `low` and
// `high` are the rows of kFormPack that pack each half.
struct EightForms {
  __m256i lanes;
  unsigned low, high;
  explicit EightForms(__m256i v) {
    const __m256i multi = _mm256_cmpgt_epi32(v, _mm256_set1_epi32(0x7F));
    const __m256i long2 = _mm256_cmpgt_epi32(v, _mm256_set1_epi32(0x7FF));
    const __m256i long3 = _mm256_cmpgt_epi32(v, _mm256_set1_epi32(0xFFFF));
    const __m256i extra = _mm256_sub_epi32(
        _mm256_sub_epi32(_mm256_sub_epi32(_mm256_setzero_si256(), multi), long2), long3);
    // The four-byte form with every group in a byte of its own, lead group first, shifted down to
    // the lane's length and given its lead mark; single bytes are taken as they are.
    const __m256i shift = _mm256_sub_epi32(_mm256_set1_epi32(24), _mm256_slli_epi32(extra, 3));
    const __m256i groups = _mm256_or_si256(
        _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi32(v, 24), _mm256_set1_epi32(0x3F000000)),
                        _mm256_and_si256(_mm256_slli_epi32(v, 10), _mm256_set1_epi32(0x003F0000))),
        _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(v, 4), _mm256_set1_epi32(0x00003F00)),
                        _mm256_srli_epi32(v, 18)));
    const __m256i marks =
        _mm256_permutevar8x32_epi32(_mm256_setr_epi32(0, 0xC0, 0xE0, 0xF0, 0, 0, 0, 0), extra);
    const __m256i forms = _mm256_or_si256(
        _mm256_srlv_epi32(_mm256_or_si256(groups, _mm256_set1_epi32(static_cast<int>(0x80808080u))),
                          shift),
        marks);
    lanes = _mm256_blendv_epi8(v, forms, multi);
    const auto lengths = [](__m256i mask) {
      return _pdep_u32(static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(mask))),
                       0x5555u);
    };
    const unsigned index = lengths(multi) + lengths(long2) + lengths(long3);
    low = index & 0xFFu;
    high = index >> 8;
  }
  std::size_t bytes() const { return std::size_t{kFormPack.length[low]} + kFormPack.length[high]; }
  void Write(unsigned char* out) const {
    StoreLanes(out, kFormPack.length[low],
               _mm256_shuffle_epi8(lanes, Rows(kFormPack.shuffle[low], kFormPack.shuffle[high])));
  }
};

// Sixteen units below 800, none zero, to their one- and two-byte forms at out; returns their
// bytes. Up to 12 bytes past them are overwritten; the 16 there are first read into `past`.
inline std::size_t ShortUnitsToUtf8(__m256i u, unsigned char* out, __m128i& past) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i multi = _mm256_cmpgt_epi16(u, _mm256_set1_epi16(0x7F));
  // Lead 110xxxxx low, continuation 10xxxxxx high, in each 16-bit lane above 7F.
  const __m256i pair = _mm256_or_si256(
      _mm256_or_si256(_mm256_srli_epi16(u, 6),
                      _mm256_slli_epi16(_mm256_and_si256(u, _mm256_set1_epi16(0x3F)), 8)),
      _mm256_set1_epi16(static_cast<short>(0x80C0)));
  // Bit k of each half's byte set for unit k above 7F.
  const auto two = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_packs_epi16(multi, zero)));
  const unsigned low = two & 0xFF, high = (two >> 16) & 0xFF;
  const std::size_t low_bytes = kShortPack.length[low];
  const std::size_t bytes = low_bytes + kShortPack.length[high];
  past = _mm_loadu_si128(reinterpret_cast<const __m128i*>(out + bytes));
  StoreLanes(out, low_bytes,
             _mm256_shuffle_epi8(_mm256_blendv_epi8(u, pair, multi),
                                 Rows(kShortPack.shuffle[low], kShortPack.shuffle[high])));
  return bytes;
}

// Sixteen plain units to their one- to three-byte forms at out; returns their bytes. Up to 12
// bytes past them are overwritten; the 16 there are first read into `past`.
inline std::size_t UnitsToUtf8(__m256i u, const BlockConstants& k, unsigned char* out,
                               __m128i& past) {
  const __m256i ordered = _mm256_xor_si256(u, k.flip16);
  const __m256i multi = _mm256_cmpgt_epi16(ordered, k.multi_floor);
  const __m256i three = _mm256_cmpgt_epi16(ordered, k.three_floor);
  // Two bits a unit, as kUnitPack reads them: bit 2k set above 7F, bit 2k + 1 above 7FF; a byte
  // for each four units.
  const auto bits = static_cast<std::uint32_t>(
      _mm256_movemask_epi8(_mm256_or_si256(_mm256_srli_epi16(multi, 8), three)));
  // A 32-bit lane each: 1110xxxx, then 10xxxxxx (110xxxxx below 800), in one 16-bit half; the
  // last continuation 10xxxxxx and the unit's low byte in the other.
  const __m256i lead_and_middle =
      _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(u, 12),
                                      _mm256_and_si256(_mm256_slli_epi16(u, 2), k.middle_bits)),
                      _mm256_or_si256(k.lead_marks, _mm256_andnot_si256(three, k.short_lead)));
  const __m256i last_and_low = _mm256_or_si256(
      _mm256_and_si256(_mm256_shuffle_epi8(u, k.low_twice), k.last_bits), k.last_mark);
  // Units 0..3 and 8..11, then 4..7 and 12..15.
  const unsigned q0 = bits & 0xFF, q1 = (bits >> 8) & 0xFF, q2 = (bits >> 16) & 0xFF,
                 q3 = bits >> 24;
  const std::size_t at1 = kUnitPack.length[q0], at2 = at1 + kUnitPack.length[q1],
                    at3 = at2 + kUnitPack.length[q2], bytes = at3 + kUnitPack.length[q3];
  past = _mm_loadu_si128(reinterpret_cast<const __m128i*>(out + bytes));
  const __m256i first = _mm256_shuffle_epi8(_mm256_unpacklo_epi16(lead_and_middle, last_and_low),
                                            Rows(kUnitPack.shuffle[q0], kUnitPack.shuffle[q2]));
  const __m256i second = _mm256_shuffle_epi8(_mm256_unpackhi_epi16(lead_and_middle, last_and_low),
                                             Rows(kUnitPack.shuffle[q1], kUnitPack.shuffle[q3]));
  Store(out, _mm256_castsi256_si128(first));
  Store(out + at1, _mm256_castsi256_si128(second));
  Store(out + at2, _mm256_extracti128_si256(first, 1));
  Store(out + at3, _mm256_extracti128_si256(second, 1));
  return bytes;
}

// A block of sixteen elements asks for this much room: its stores reach at most 12 bytes past its
// at most 64 bytes, and the 16 bytes past its forms are read and may be written back.
constexpr std::size_t kBlockRoom = 64 + 16;

std::size_t EncodeAvx2(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                       const PlainRule& rule, std::size_t& written) {
  const RuleVectors r(rule);
  const BlockConstants k;
  std::size_t i = 0;
  std::size_t w = 0;
  // An ASCII block is written exactly; any other block overwrites up to 12 bytes past its forms.
  // The 16 bytes there are read before its stores and written back, unchanged, when no later
  // block's forms cover them; the scalar rule then starts on the bytes as they were.
  __m128i past = _mm_setzero_si128();
  bool overwritten = false;  // past its forms, at out + w
  while (n - i >= 16 && room - w >= kBlockRoom) {
    __m256i a = Load(p + i), b = Load(p + i + 8);
    // The elements and the elements less one: a zero element, all ones less one, fails every
    // test below of the largest value, and then the test of plain elements.
    const __m256i any = k.Bits(a, b);
    if (Within(any, k.above_ascii)) {
      // A run of ASCII, written exactly, a byte an element as far as both n and room allow.
      const std::size_t end = i + (n - i < room - w ? n - i : room - w);
      unsigned char* const shifted = out + w - i;  // where element i's byte goes
      // Thirty-two elements a step, which packs them with half the shuffles of two steps of
      // sixteen; sixteen at the end of the run.
      for (;;) {
        if (end - i >= 32) {
          const __m256i c = Load(p + i + 16), d = Load(p + i + 24);
          if (Within(k.Bits(c, d), k.above_ascii)) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(shifted + i), AsciiBytes(a, b, c, d));
            i += 32;
            if (end - i < 16) break;
            a = Load(p + i);
            b = Load(p + i + 8);
            if (Within(k.Bits(a, b), k.above_ascii)) continue;
            break;
          }
        }
        Store(shifted + i, AsciiBytes(a, b));
        i += 16;
        break;
      }
      w = static_cast<std::size_t>(shifted + i - out);
      overwritten = false;
      continue;
    }
    std::size_t bytes;
    if (Within(any, k.above_short)) {
      bytes = ShortUnitsToUtf8(Units(a, b), out + w, past);
    } else if (Within(any, k.above_unit)) {
      const __m256i u = Units(a, b);
      const __m256i refused =
          _mm256_or_si256(_mm256_cmpeq_epi16(u, r.excluded16),
                          _mm256_cmpeq_epi16(_mm256_and_si256(u, k.top5), r.tag16));
      if (!_mm256_testz_si256(refused, refused)) break;
      bytes = UnitsToUtf8(u, k, out + w, past);
    } else {
      if (!BlockPlain(a, r) || !BlockPlain(b, r)) break;
      const EightForms low(a), high(b);
      const std::size_t low_bytes = low.bytes();
      bytes = low_bytes + high.bytes();
      past = _mm_loadu_si128(reinterpret_cast<const __m128i*>(out + w + bytes));
      low.Write(out + w);
      high.Write(out + w + low_bytes);
    }
    w += bytes;
    overwritten = true;
    i += 16;
  }
  if (overwritten) Store(out + w, past);
  std::size_t tail = 0;
  i += EncodePlainScalar(p + i, n - i, out + w, room - w, rule, tail);
  written = w + tail;
  return i;
}

// Sixteen elements at a time while all are units 0..0xFFFF other than surrogates.
std::size_t ToUtf16BeAvx2(const wchar_t* p, std::size_t n, unsigned char* out) {
  const __m256i flip = _mm256_set1_epi32(INT32_MIN);
  const __m256i max = _mm256_set1_epi32(0xFFFF ^ INT32_MIN);
  const __m256i top21 = _mm256_set1_epi32(static_cast<int>(0xFFFFF800u));
  const __m256i surrogates = _mm256_set1_epi32(0xD800);
  const __m256i swap = _mm256_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14, 1, 0,
                                        3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
  std::size_t i = 0;
  for (; n - i >= 16; i += 16) {
    const __m256i a = Load(p + i);
    const __m256i b = Load(p + i + 8);
    const __m256i refused = _mm256_or_si256(
        _mm256_or_si256(_mm256_cmpgt_epi32(_mm256_xor_si256(a, flip), max),
                        _mm256_cmpgt_epi32(_mm256_xor_si256(b, flip), max)),
        _mm256_or_si256(_mm256_cmpeq_epi32(_mm256_and_si256(a, top21), surrogates),
                        _mm256_cmpeq_epi32(_mm256_and_si256(b, top21), surrogates)));
    if (!_mm256_testz_si256(refused, refused)) break;
    if (out == nullptr) continue;
    const __m256i units = _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 2 * i), _mm256_shuffle_epi8(units, swap));
  }
  return i + ToUtf16BeScalar(p + i, n - i, out != nullptr ? out + 2 * i : nullptr);
}

std::size_t FromUtf16BeAvx2(const unsigned char* p, std::size_t n, wchar_t* out) {
  const __m256i swap = _mm256_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14, 1, 0,
                                        3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
  const __m256i top5 = _mm256_set1_epi16(static_cast<short>(0xF800));
  const __m256i surrogates = _mm256_set1_epi16(static_cast<short>(0xD800));
  std::size_t i = 0;
  for (; n - i >= 16; i += 16) {
    const __m256i units =
        _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 2 * i)), swap);
    const __m256i refused = _mm256_cmpeq_epi16(_mm256_and_si256(units, top5), surrogates);
    if (!_mm256_testz_si256(refused, refused)) break;
    auto* o = reinterpret_cast<__m256i*>(out + i);
    _mm256_storeu_si256(o, _mm256_cvtepu16_epi32(_mm256_castsi256_si128(units)));
    _mm256_storeu_si256(o + 1, _mm256_cvtepu16_epi32(_mm256_extracti128_si256(units, 1)));
  }
  return i + FromUtf16BeScalar(p + 2 * i, n - i, out + i);
}

}  // namespace

extern const EncodeKernels kEncodeAvx2;
const EncodeKernels kEncodeAvx2 = {Isa::kAvx2, MeasureAvx2, EncodeAvx2, ToUtf16BeAvx2,
                                   FromUtf16BeAvx2};

}  // namespace internal
}  // namespace qor

#endif  // defined(__x86_64__)
