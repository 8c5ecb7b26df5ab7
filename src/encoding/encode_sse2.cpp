// UTF-8 encoding kernels for the 128-bit level (SSE2 and the byte shuffles of SSSE3): sixteen
// elements a block, sorted by their largest value. ASCII blocks are narrowed; blocks below 10000
// are taken as 16-bit units eight at a time, each eight written as ASCII, as one- and two-byte
// forms from 16-bit lanes, or as one to three bytes from 32-bit lanes; any other block is widened
// to one to four bytes per 32-bit lane. Each vector's bytes are packed by a shuffle chosen from its
// lengths. Lengths four elements at a time.
#include "encoding/encode_kernels.h"

#if defined(__x86_64__)
#include <tmmintrin.h>

#include <climits>

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

// Bit k of a four-bit lane mask moved to bit 2k: two bits a lane for the index of kFormPack.
constexpr unsigned kSpread[16] = {0x00, 0x01, 0x04, 0x05, 0x10, 0x11, 0x14, 0x15,
                                  0x40, 0x41, 0x44, 0x45, 0x50, 0x51, 0x54, 0x55};

constexpr FormPack kFormPack;
constexpr UnitPack kUnitPack;
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
inline __m128i LoadBytes(const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline void Store(unsigned char* out, __m128i bytes) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
}
// True when no lane of v has a bit set outside `low_bits`.
inline bool Within(__m128i v, int low_bits) {
  const __m128i high = _mm_and_si128(v, _mm_set1_epi32(~low_bits));
  return _mm_movemask_epi8(_mm_cmpeq_epi32(high, _mm_setzero_si128())) == 0xFFFF;
}

struct RuleVectors {
  __m128i one, flip, max, top21, tag, excluded, tag16, excluded16;
  explicit RuleVectors(const PlainRule& rule)
      : one(_mm_set1_epi32(1)),
        flip(_mm_set1_epi32(INT32_MIN)),
        max(_mm_set1_epi32(static_cast<int>(rule.max ^ 0x80000000u))),
        top21(_mm_set1_epi32(static_cast<int>(0xFFFFF800u))),
        tag(_mm_set1_epi32(static_cast<int>(rule.surrogate_tag))),
        excluded(_mm_set1_epi32(static_cast<int>(rule.excluded))),
        // For 16-bit units: kNoTag becomes 1, which no unit masked with F800 equals. The
        // excluded value is 0 or FEFF, a unit either way.
        tag16(_mm_set1_epi16(static_cast<short>(rule.surrogate_tag & 0xFFFF))),
        excluded16(_mm_set1_epi16(static_cast<short>(rule.excluded & 0xFFFF))) {}
  // All-ones in the plain lanes of v: the value less one below `max`, an unsigned comparison made
  // signed by flipping the top bits, and neither tagged nor excluded.
  __m128i Plain(__m128i v) const {
    const __m128i in_range = _mm_cmpgt_epi32(max, _mm_xor_si128(_mm_sub_epi32(v, one), flip));
    const __m128i refused =
        _mm_or_si128(_mm_cmpeq_epi32(_mm_and_si128(v, top21), tag), _mm_cmpeq_epi32(v, excluded));
    return _mm_andnot_si128(refused, in_range);
  }
  // All-ones in the 16-bit lanes of u that hold a unit that is not plain: below 10000, only zero,
  // the tagged units and the excluded one.
  __m128i Refused(__m128i u) const {
    return _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi16(u, _mm_setzero_si128()), _mm_cmpeq_epi16(u, excluded16)),
        _mm_cmpeq_epi16(_mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xF800))), tag16));
  }
};

// Eight elements, all below 0x10000, as 16-bit units.
inline __m128i Units(__m128i a, __m128i b) {
  const __m128i low_halves =
      _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
  return _mm_unpacklo_epi64(_mm_shuffle_epi8(a, low_halves), _mm_shuffle_epi8(b, low_halves));
}

// The one- or two-byte forms of the eight units in u (all below 800), each in its 16-bit lane, lead
// lowest; `multi` is all-ones in the lanes above 7F.
inline __m128i ShortForms(__m128i u, __m128i multi) {
  // Lead 110xxxxx low, continuation 10xxxxxx high.
  const __m128i pair = _mm_or_si128(
      _mm_or_si128(_mm_srli_epi16(u, 6), _mm_slli_epi16(_mm_and_si128(u, _mm_set1_epi16(0x3F)), 8)),
      _mm_set1_epi16(static_cast<short>(0x80C0)));
  return Select(multi, pair, u);
}

// The longest run of whole blocks of sixteen elements 1..7F at p, at most n and room elements,
// narrowed to bytes at out; returns its length.
inline std::size_t AsciiBlocks(const wchar_t* p, std::size_t n, unsigned char* out,
                               std::size_t room) {
  const std::size_t limit = n < room ? n : room;
  std::size_t i = 0;
  for (; limit - i >= 16; i += 16) {
    const __m128i a = Load(p + i), b = Load(p + i + 4), c = Load(p + i + 8), d = Load(p + i + 12);
    if (!Within(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)), 0x7F)) break;
    const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())) != 0) break;  // a zero
    Store(out + i, bytes);
  }
  return i;
}

// Eight units (all below 10000) sorted by their lengths: all-ones 16-bit lanes in `multi` above 7F
// and in `three` above 7FF; `bits`, two a unit as kUnitPack reads them (bit 2k above 7F, 2k + 1
// above 7FF); and the bytes of their forms.
struct UnitLengths {
  __m128i multi, three;
  unsigned bits;
  std::size_t bytes;
  explicit UnitLengths(__m128i u) {
    const __m128i ordered = _mm_xor_si128(u, _mm_set1_epi16(static_cast<short>(0x8000)));
    multi = _mm_cmpgt_epi16(ordered, _mm_set1_epi16(static_cast<short>(0x807F)));
    three = _mm_cmpgt_epi16(ordered, _mm_set1_epi16(static_cast<short>(0x87FF)));
    bits = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(_mm_srli_epi16(multi, 8), three)));
    bytes = std::size_t{kUnitPack.length[bits & 0xFF]} + kUnitPack.length[bits >> 8];
  }
};

// The eight plain units in u to their one- to three-byte forms at out. Eight ASCII units are
// written exactly; otherwise up to 12 bytes past their forms are overwritten.
inline void EightUnitsToUtf8(__m128i u, const UnitLengths& lengths, unsigned char* out) {
  const unsigned bits = lengths.bits;
  if (bits == 0) {  // ASCII, as CJK text mixes it in
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(u, u));
    return;
  }
  if ((bits & 0xAAAA) == 0) {
    const auto two = static_cast<unsigned>(
        _mm_movemask_epi8(_mm_packs_epi16(lengths.multi, _mm_setzero_si128())));
    Store(out, _mm_shuffle_epi8(ShortForms(u, lengths.multi), Table(kShortPack.shuffle[two])));
    return;
  }
  // A 32-bit lane each: 1110xxxx, then 10xxxxxx (110xxxxx below 800), in one 16-bit half; the
  // last continuation 10xxxxxx and the unit's low byte in the other.
  const __m128i lead_and_middle =
      _mm_or_si128(_mm_or_si128(_mm_srli_epi16(u, 12),
                                _mm_and_si128(_mm_slli_epi16(u, 2), _mm_set1_epi16(0x3F00))),
                   _mm_or_si128(_mm_set1_epi16(static_cast<short>(0x80E0)),
                                _mm_andnot_si128(lengths.three, _mm_set1_epi16(0x4000))));
  const __m128i last_and_low = _mm_or_si128(
      _mm_and_si128(
          _mm_shuffle_epi8(u, _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14)),
          _mm_set1_epi16(static_cast<short>(0xFF3F))),
      _mm_set1_epi16(0x80));
  const unsigned low = bits & 0xFF, high = bits >> 8;
  Store(out, _mm_shuffle_epi8(_mm_unpacklo_epi16(lead_and_middle, last_and_low),
                              Table(kUnitPack.shuffle[low])));
  Store(out + kUnitPack.length[low],
        _mm_shuffle_epi8(_mm_unpackhi_epi16(lead_and_middle, last_and_low),
                         Table(kUnitPack.shuffle[high])));
}

// The three-byte forms of the four elements in v (each 800..FFFF), lead lowest, one a lane.
inline __m128i ThreeByteForms(__m128i v) {
  return _mm_or_si128(_mm_or_si128(_mm_srli_epi32(v, 12),
                                   _mm_and_si128(_mm_slli_epi32(v, 2), _mm_set1_epi32(0x3F00))),
                      _mm_or_si128(_mm_and_si128(_mm_slli_epi32(v, 16), _mm_set1_epi32(0x3F0000)),
                                   _mm_set1_epi32(0x8080E0)));
}

// Four plain elements, each widened to its one- to four-byte form in its lane and packed by the
// shuffle of kFormPack's row `index`.
struct FourForms {
  __m128i forms;
  unsigned index;
  explicit FourForms(__m128i v) {
    const __m128i multi = _mm_cmpgt_epi32(v, _mm_set1_epi32(0x7F));
    const __m128i long2 = _mm_cmpgt_epi32(v, _mm_set1_epi32(0x7FF));
    const __m128i long3 = _mm_cmpgt_epi32(v, _mm_set1_epi32(0xFFFF));
    const __m128i two_forms =
        _mm_or_si128(_mm_or_si128(_mm_srli_epi32(v, 6),
                                  _mm_slli_epi32(_mm_and_si128(v, _mm_set1_epi32(0x3F)), 8)),
                     _mm_set1_epi32(0x80C0));
    const __m128i four_forms = _mm_or_si128(
        _mm_or_si128(_mm_srli_epi32(v, 18),
                     _mm_and_si128(_mm_srli_epi32(v, 4), _mm_set1_epi32(0x3F00))),
        _mm_or_si128(_mm_or_si128(_mm_and_si128(_mm_slli_epi32(v, 10), _mm_set1_epi32(0x3F0000)),
                                  _mm_and_si128(_mm_slli_epi32(v, 24), _mm_set1_epi32(0x3F000000))),
                     _mm_set1_epi32(static_cast<int>(0x808080F0u))));
    forms =
        Select(long3, four_forms, Select(long2, ThreeByteForms(v), Select(multi, two_forms, v)));
    index = kSpread[_mm_movemask_ps(_mm_castsi128_ps(multi))] +
            kSpread[_mm_movemask_ps(_mm_castsi128_ps(long2))] +
            kSpread[_mm_movemask_ps(_mm_castsi128_ps(long3))];
  }
  std::size_t bytes() const { return kFormPack.length[index]; }
  void Write(unsigned char* out) const {
    Store(out, _mm_shuffle_epi8(forms, Table(kFormPack.shuffle[index])));
  }
};

// A block of sixteen elements asks for this much room: its stores reach at most 12 bytes past its
// at most 64 bytes, and the 16 bytes past its forms are read and may be written back.
constexpr std::size_t kBlockRoom = 64 + 16;

std::size_t EncodeSse2(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                       const PlainRule& rule, std::size_t& written) {
  const RuleVectors r(rule);
  std::size_t i = 0;
  std::size_t w = 0;
  // An ASCII block is written exactly; any other block overwrites up to 12 bytes past its forms.
  // The 16 bytes there are read before its stores and written back, unchanged, when no later
  // block's forms cover them; the scalar rule then starts on the bytes as they were.
  __m128i past = _mm_setzero_si128();
  bool overwritten = false;  // past its forms, at out + w
  while (n - i >= 16 && room - w >= kBlockRoom) {
    const __m128i a = Load(p + i), b = Load(p + i + 4), c = Load(p + i + 8), d = Load(p + i + 12);
    const __m128i any = _mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d));
    if (Within(any, 0x7F)) {
      const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
      if (_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())) != 0) break;  // a zero
      Store(out + w, bytes);
      const std::size_t run = 16 + AsciiBlocks(p + i + 16, n - i - 16, out + w + 16, room - w - 16);
      i += run;
      w += run;
      overwritten = false;
      continue;
    }
    if (Within(any, 0x7FF)) {
      // Below 800 only zero is refused, and a signed pack keeps every value.
      const __m128i low = _mm_packs_epi32(a, b), high = _mm_packs_epi32(c, d);
      const __m128i zero = _mm_setzero_si128();
      if (_mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi16(low, zero), _mm_cmpeq_epi16(high, zero))))
        break;
      const __m128i low_multi = _mm_cmpgt_epi16(low, _mm_set1_epi16(0x7F));
      const __m128i high_multi = _mm_cmpgt_epi16(high, _mm_set1_epi16(0x7F));
      // Bit k set for unit k above 7F.
      const auto two =
          static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low_multi, high_multi)));
      const std::size_t low_bytes = kShortPack.length[two & 0xFF];
      const std::size_t bytes = low_bytes + kShortPack.length[two >> 8];
      past = LoadBytes(out + w + bytes);
      Store(out + w,
            _mm_shuffle_epi8(ShortForms(low, low_multi), Table(kShortPack.shuffle[two & 0xFF])));
      Store(out + w + low_bytes,
            _mm_shuffle_epi8(ShortForms(high, high_multi), Table(kShortPack.shuffle[two >> 8])));
      w += bytes;
    } else if (Within(any, 0xFFFF)) {
      const __m128i low = Units(a, b), high = Units(c, d);
      if (_mm_movemask_epi8(_mm_or_si128(r.Refused(low), r.Refused(high))) != 0) break;
      const UnitLengths low_lengths(low), high_lengths(high);
      past = LoadBytes(out + w + low_lengths.bytes + high_lengths.bytes);
      EightUnitsToUtf8(low, low_lengths, out + w);
      EightUnitsToUtf8(high, high_lengths, out + w + low_lengths.bytes);
      w += low_lengths.bytes + high_lengths.bytes;
    } else {
      const __m128i plain = _mm_and_si128(_mm_and_si128(r.Plain(a), r.Plain(b)),
                                          _mm_and_si128(r.Plain(c), r.Plain(d)));
      if (_mm_movemask_epi8(plain) != 0xFFFF) break;
      const FourForms forms[4] = {FourForms(a), FourForms(b), FourForms(c), FourForms(d)};
      past = LoadBytes(out + w + forms[0].bytes() + forms[1].bytes() + forms[2].bytes() +
                       forms[3].bytes());
      for (const FourForms& f : forms) {
        f.Write(out + w);
        w += f.bytes();
      }
    }
    overwritten = true;
    i += 16;
  }
  if (overwritten) Store(out + w, past);
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
