// UTF-8 encoding kernels for the 128-bit level (SSE2 and the byte shuffles of SSSE3): sixteen
// elements a block, sorted by their largest value. ASCII blocks are narrowed, blocks below 800 take
// their one- and two-byte forms from 16-bit lanes, other blocks below 10000 their one to three
// bytes from 32-bit lanes built from 16-bit units eight at a time; any other block is widened to
// one to four bytes per 32-bit lane. Each vector's bytes are packed by a shuffle chosen from its
// four lengths. Lengths four elements at a time.
#include "encoding/encode_kernels.h"

#if defined(__x86_64__)
#include <tmmintrin.h>

#include <climits>

namespace qor {
namespace internal {
namespace {

constexpr PackTable kPack;

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

// Bit k of a four-bit lane mask moved to bit 2k: two bits a lane for the index of kPack.
constexpr unsigned kSpread[16] = {0x00, 0x01, 0x04, 0x05, 0x10, 0x11, 0x14, 0x15,
                                  0x40, 0x41, 0x44, 0x45, 0x50, 0x51, 0x54, 0x55};

// For eight 16-bit lanes, each holding the one- or two-byte form of an element (lead lowest), by
// the lanes that hold one byte (bit k for lane k): the shuffle that packs the forms together, and
// the bytes it keeps.
struct ShortPack {
  alignas(16) unsigned char shuffle[256][16];
  unsigned char length[256];
  constexpr ShortPack() : shuffle(), length() {
    for (unsigned ascii = 0; ascii < 256; ++ascii) {
      unsigned pos = 0;
      for (unsigned lane = 0; lane < 8; ++lane) {
        shuffle[ascii][pos++] = static_cast<unsigned char>(2 * lane);
        if (((ascii >> lane) & 1u) == 0)
          shuffle[ascii][pos++] = static_cast<unsigned char>(2 * lane + 1);
      }
      length[ascii] = static_cast<unsigned char>(pos);
      for (; pos < 16; ++pos) shuffle[ascii][pos] = 0x80;
    }
  }
};
constexpr ShortPack kShortPack;

inline __m128i Load(const wchar_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline __m128i Select(__m128i mask, __m128i yes, __m128i no) {
  return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}
inline __m128i Table(const unsigned char* row) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(row));
}

struct RuleVectors {
  __m128i one, flip, max, low, top21, tag, excluded, tag16, excluded16;
  explicit RuleVectors(const PlainRule& rule)
      : one(_mm_set1_epi32(1)),
        flip(_mm_set1_epi32(INT32_MIN)),
        max(_mm_set1_epi32(static_cast<int>(rule.max ^ 0x80000000u))),
        low(_mm_set1_epi32(static_cast<int>(0xD7FFu ^ 0x80000000u))),
        top21(_mm_set1_epi32(static_cast<int>(0xFFFFF800u))),
        tag(_mm_set1_epi32(static_cast<int>(rule.surrogate_tag))),
        excluded(_mm_set1_epi32(static_cast<int>(rule.excluded))),
        // For 16-bit units: kNoTag becomes 1, which no unit masked with F800 equals. The
        // excluded value is 0 or FEFF, a unit either way.
        tag16(_mm_set1_epi16(static_cast<short>(rule.surrogate_tag & 0xFFFF))),
        excluded16(_mm_set1_epi16(static_cast<short>(rule.excluded & 0xFFFF))) {}
  // All-ones in the lanes of v that hold 1..D7FF (plain under every rule): an unsigned comparison
  // of the value less one, made signed by flipping the top bits.
  __m128i Low(__m128i v) const {
    return _mm_cmpgt_epi32(low, _mm_xor_si128(_mm_sub_epi32(v, one), flip));
  }
  // All-ones in the plain lanes of v.
  __m128i Plain(__m128i v) const {
    const __m128i in_range = _mm_cmpgt_epi32(max, _mm_xor_si128(_mm_sub_epi32(v, one), flip));
    const __m128i refused =
        _mm_or_si128(_mm_cmpeq_epi32(_mm_and_si128(v, top21), tag), _mm_cmpeq_epi32(v, excluded));
    return _mm_andnot_si128(refused, in_range);
  }
};

// Eight elements, all below 0x10000, as 16-bit units.
inline __m128i Units(__m128i a, __m128i b) {
  const __m128i low_halves =
      _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  return _mm_unpacklo_epi64(_mm_shuffle_epi8(a, low_halves), _mm_shuffle_epi8(b, low_halves));
}

// Sixteen elements and the bits any of them has set.
struct Block {
  __m128i v[4];
  __m128i any;
  explicit Block(const wchar_t* p)
      : v{Load(p), Load(p + 4), Load(p + 8), Load(p + 12)},
        any(_mm_or_si128(_mm_or_si128(v[0], v[1]), _mm_or_si128(v[2], v[3]))) {}
  bool Below(int limit) const {
    const __m128i high = _mm_and_si128(any, _mm_set1_epi32(~(limit - 1)));
    return _mm_movemask_epi8(_mm_cmpeq_epi32(high, _mm_setzero_si128())) == 0xFFFF;
  }
  // Every element plain. Most text needs only the first test; below 0x10000 only zero, the
  // surrogates and the excluded value are not plain, which 16-bit units tell eight at a time.
  bool Plain(const RuleVectors& r) const {
    const __m128i low = _mm_and_si128(_mm_and_si128(r.Low(v[0]), r.Low(v[1])),
                                      _mm_and_si128(r.Low(v[2]), r.Low(v[3])));
    if (_mm_movemask_epi8(low) == 0xFFFF) return true;
    if (Below(0x10000)) {
      const auto refused = [&r](__m128i u) {
        return _mm_or_si128(
            _mm_or_si128(_mm_cmpeq_epi16(u, _mm_setzero_si128()), _mm_cmpeq_epi16(u, r.excluded16)),
            _mm_cmpeq_epi16(_mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xF800))), r.tag16));
      };
      return _mm_movemask_epi8(
                 _mm_or_si128(refused(Units(v[0], v[1])), refused(Units(v[2], v[3])))) == 0;
    }
    const __m128i plain = _mm_and_si128(_mm_and_si128(r.Plain(v[0]), r.Plain(v[1])),
                                        _mm_and_si128(r.Plain(v[2]), r.Plain(v[3])));
    return _mm_movemask_epi8(plain) == 0xFFFF;
  }
};

// The eight elements a, b (all 1..7FF) to their one- and two-byte forms at out; returns the
// bytes. Stores 16 bytes, so up to 8 bytes past the result are overwritten.
inline std::size_t EightShortToUtf8(__m128i a, __m128i b, unsigned char* out) {
  const __m128i units = _mm_packs_epi32(a, b);
  const __m128i ascii = _mm_cmpgt_epi16(_mm_set1_epi16(0x80), units);
  // Lead 110xxxxx in the low byte, the continuation 10xxxxxx in the high one.
  const __m128i pair =
      _mm_or_si128(_mm_or_si128(_mm_srli_epi16(units, 6),
                                _mm_slli_epi16(_mm_and_si128(units, _mm_set1_epi16(0x3F)), 8)),
                   _mm_set1_epi16(static_cast<short>(0x80C0)));
  const __m128i forms = Select(ascii, units, pair);
  const auto ones =
      static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(ascii, _mm_setzero_si128())));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                   _mm_shuffle_epi8(forms, Table(kShortPack.shuffle[ones])));
  return kShortPack.length[ones];
}

// The three-byte forms of the four elements in v (each 800..FFFF), lead lowest, one a lane.
inline __m128i ThreeByteForms(__m128i v) {
  return _mm_or_si128(_mm_or_si128(_mm_srli_epi32(v, 12),
                                   _mm_and_si128(_mm_slli_epi32(v, 2), _mm_set1_epi32(0x3F00))),
                      _mm_or_si128(_mm_and_si128(_mm_slli_epi32(v, 16), _mm_set1_epi32(0x3F0000)),
                                   _mm_set1_epi32(0x8080E0)));
}

constexpr BmpPackTable kBmpPack;

// The eight plain units (all below 10000) to their one- to three-byte forms at out; returns the
// bytes. Each unit gets a 32-bit lane holding its three-byte form, whose middle byte is the
// two-byte lead where the unit is below 800, and the unit itself in byte 3: built as two 16-bit
// halves, eight units an instruction; the shuffle takes what the length needs. Stores 16 bytes a
// half, so up to 12 bytes past the result are overwritten.
inline std::size_t EightBmpToUtf8(__m128i u, unsigned char* out) {
  const __m128i ordered = _mm_xor_si128(u, _mm_set1_epi16(static_cast<short>(0x8000)));
  const __m128i multi = _mm_cmpgt_epi16(ordered, _mm_set1_epi16(static_cast<short>(0x807F)));
  const __m128i three = _mm_cmpgt_epi16(ordered, _mm_set1_epi16(static_cast<short>(0x87FF)));
  const auto m = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(multi, three)));
  if (m == 0) {  // eight ASCII elements, as CJK text mixes them in
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(u, u));
    return 8;
  }
  const __m128i lead_and_middle =
      _mm_or_si128(_mm_or_si128(_mm_srli_epi16(u, 12),
                                _mm_and_si128(_mm_slli_epi16(u, 2), _mm_set1_epi16(0x3F00))),
                   _mm_or_si128(_mm_set1_epi16(static_cast<short>(0x80E0)),
                                _mm_andnot_si128(three, _mm_set1_epi16(0x4000))));
  const __m128i last_and_unit =
      _mm_or_si128(_mm_or_si128(_mm_and_si128(u, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80)),
                   _mm_slli_epi16(u, 8));
  const unsigned low = (m & 0x0F) | ((m >> 4) & 0xF0);
  const unsigned high = ((m >> 4) & 0x0F) | ((m >> 8) & 0xF0);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                   _mm_shuffle_epi8(_mm_unpacklo_epi16(lead_and_middle, last_and_unit),
                                    Table(kBmpPack.shuffle[low])));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + kBmpPack.length[low]),
                   _mm_shuffle_epi8(_mm_unpackhi_epi16(lead_and_middle, last_and_unit),
                                    Table(kBmpPack.shuffle[high])));
  return std::size_t{kBmpPack.length[low]} + kBmpPack.length[high];
}

// The four plain elements in v to their one- to four-byte forms at out; returns the bytes. Stores
// 16 bytes, so up to 12 bytes past the result are overwritten.
inline std::size_t FourToUtf8(__m128i v, unsigned char* out) {
  const __m128i multi = _mm_cmpgt_epi32(v, _mm_set1_epi32(0x7F));
  const __m128i long2 = _mm_cmpgt_epi32(v, _mm_set1_epi32(0x7FF));
  const __m128i long3 = _mm_cmpgt_epi32(v, _mm_set1_epi32(0xFFFF));
  const __m128i two_forms = _mm_or_si128(
      _mm_or_si128(_mm_srli_epi32(v, 6), _mm_slli_epi32(_mm_and_si128(v, _mm_set1_epi32(0x3F)), 8)),
      _mm_set1_epi32(0x80C0));
  const __m128i four_forms = _mm_or_si128(
      _mm_or_si128(_mm_srli_epi32(v, 18),
                   _mm_and_si128(_mm_srli_epi32(v, 4), _mm_set1_epi32(0x3F00))),
      _mm_or_si128(_mm_or_si128(_mm_and_si128(_mm_slli_epi32(v, 10), _mm_set1_epi32(0x3F0000)),
                                _mm_and_si128(_mm_slli_epi32(v, 24), _mm_set1_epi32(0x3F000000))),
                   _mm_set1_epi32(static_cast<int>(0x808080F0u))));
  const __m128i forms =
      Select(long3, four_forms, Select(long2, ThreeByteForms(v), Select(multi, two_forms, v)));
  const unsigned index = kSpread[_mm_movemask_ps(_mm_castsi128_ps(multi))] +
                         kSpread[_mm_movemask_ps(_mm_castsi128_ps(long2))] +
                         kSpread[_mm_movemask_ps(_mm_castsi128_ps(long3))];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                   _mm_shuffle_epi8(forms, Table(kPack.shuffle[index])));
  return kPack.length[index];
}

// The sixteen plain elements of `block`, not all ASCII, to UTF-8 at out; returns the bytes. Writes
// at most 64 bytes, up to 12 of them past the result.
inline std::size_t SixteenToUtf8(const Block& block, unsigned char* out) {
  const __m128i* v = block.v;
  if (block.Below(0x800)) {
    const std::size_t len = EightShortToUtf8(v[0], v[1], out);
    return len + EightShortToUtf8(v[2], v[3], out + len);
  }
  if (block.Below(0x10000)) {
    const std::size_t len = EightBmpToUtf8(Units(v[0], v[1]), out);
    return len + EightBmpToUtf8(Units(v[2], v[3]), out + len);
  }
  std::size_t len = 0;
  for (int k = 0; k < 4; ++k) len += FourToUtf8(v[k], out + len);
  return len;
}

// The longest run of whole blocks of sixteen elements 1..7F at p, at most n and room elements,
// narrowed to bytes at out; returns its length.
inline std::size_t AsciiBlocks(const wchar_t* p, std::size_t n, unsigned char* out,
                               std::size_t room) {
  const std::size_t limit = n < room ? n : room;
  std::size_t i = 0;
  for (; limit - i >= 16; i += 16) {
    const __m128i a = Load(p + i), b = Load(p + i + 4), c = Load(p + i + 8), d = Load(p + i + 12);
    const __m128i high =
        _mm_and_si128(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)), _mm_set1_epi32(~0x7F));
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(high, _mm_setzero_si128())) != 0xFFFF) break;
    const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())) != 0) break;  // a zero
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), bytes);
  }
  return i;
}

std::size_t EncodeSse2(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                       const PlainRule& rule, std::size_t& written) {
  const RuleVectors r(rule);
  std::size_t i = 0;
  std::size_t w = 0;
  // An ASCII block is written exactly. Any other block is encoded once the block after it is known
  // plain: its stores reach at most 64 bytes past out + w, and what they write past its own bytes
  // (at most 12) is covered by the at least 16 bytes of the next block, which the scalar rule
  // writes if the loop stops. The room for 3 more bytes lets the sequence that covers the stores'
  // last byte fit too, so no garbage stays behind a sequence that does not fit.
  if (n >= 16) {
    Block block(p);
    bool known = block.Plain(r);  // the block at i is plain and loaded in `block`
    while (known && room - w >= 64 + 3) {
      if (block.Below(0x80)) {
        const std::size_t run = AsciiBlocks(p + i, n - i, out + w, room - w);  // 16 at least
        i += run;
        w += run;
        if (n - i < 16) break;
        block = Block(p + i);
        known = block.Plain(r);
        continue;
      }
      if (n - i < 32) break;
      const Block next(p + i + 16);
      if (!next.Plain(r)) break;
      w += SixteenToUtf8(block, out + w);
      i += 16;
      block = next;
    }
  }
  std::size_t tail = 0;
  i += EncodePlainScalar(p + i, n - i, out + w, room - w, rule, tail);
  written = w + tail;
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
