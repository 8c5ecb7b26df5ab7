// UTF-8 encoding kernels for AVX2: eight elements a block, each widened to its one to four bytes in
// a 32-bit lane, and each half's bytes packed together by a shuffle chosen from the four lengths;
// runs of ASCII thirty-two elements at a time.
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
  __m256i one, flip, max, top21, tag, excluded;
  explicit RuleVectors(const PlainRule& rule)
      : one(_mm256_set1_epi32(1)),
        flip(_mm256_set1_epi32(INT32_MIN)),
        max(_mm256_set1_epi32(static_cast<int>(rule.max ^ 0x80000000u))),
        top21(_mm256_set1_epi32(static_cast<int>(0xFFFFF800u))),
        tag(_mm256_set1_epi32(static_cast<int>(rule.surrogate_tag))),
        excluded(_mm256_set1_epi32(static_cast<int>(rule.excluded))) {}
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

// Thirty-two elements 1..7F at p narrowed to bytes at out; false, writing nothing, otherwise.
inline bool AsciiBlock(const wchar_t* p, unsigned char* out) {
  const __m256i a = Load(p);
  const __m256i b = Load(p + 8);
  const __m256i c = Load(p + 16);
  const __m256i d = Load(p + 24);
  const __m256i any = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
  const __m256i least = _mm256_min_epu32(_mm256_min_epu32(a, b), _mm256_min_epu32(c, d));
  if (!_mm256_testz_si256(any, _mm256_set1_epi32(~0x7F)) ||
      !_mm256_testz_si256(_mm256_cmpeq_epi32(least, _mm256_setzero_si256()),
                          _mm256_set1_epi32(-1))) {
    return false;
  }
  const __m256i bytes = _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
  _mm256_storeu_si256(
      reinterpret_cast<__m256i*>(out),
      _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
  return true;
}

// The eight plain elements at p to UTF-8 at out; returns the bytes. Each half is stored as 16
// bytes, so up to 15 bytes past the result are overwritten with garbage: the caller calls this
// only with room for 32 bytes, and only when later output is sure to cover them.
inline std::size_t EightToUtf8(__m256i v, unsigned char* out) {
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
  const __m256i lanes = _mm256_blendv_epi8(v, forms, multi);
  const auto lengths = [](__m256i mask) {
    return _pdep_u32(static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(mask))), 0x5555u);
  };
  const unsigned index = lengths(multi) + lengths(long2) + lengths(long3);
  const unsigned low = index & 0xFFu;
  const unsigned high = index >> 8;
  _mm_storeu_si128(
      reinterpret_cast<__m128i*>(out),
      _mm_shuffle_epi8(_mm256_castsi256_si128(lanes),
                       _mm_load_si128(reinterpret_cast<const __m128i*>(kFormPack.shuffle[low]))));
  _mm_storeu_si128(
      reinterpret_cast<__m128i*>(out + kFormPack.length[low]),
      _mm_shuffle_epi8(_mm256_extracti128_si256(lanes, 1),
                       _mm_load_si128(reinterpret_cast<const __m128i*>(kFormPack.shuffle[high]))));
  return std::size_t{kFormPack.length[low]} + kFormPack.length[high];
}

// The sixteen elements a, b (all 1..7FF) to their one- and two-byte forms at out; returns the
// bytes. Each half is stored as 16 bytes, so up to 8 bytes past the result are overwritten.
inline std::size_t SixteenShortToUtf8(__m256i a, __m256i b, unsigned char* out) {
  const __m256i units = _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
  const __m256i ascii = _mm256_cmpgt_epi16(_mm256_set1_epi16(0x80), units);
  // Lead 110xxxxx in the low byte, the continuation 10xxxxxx in the high one.
  const __m256i pair = _mm256_or_si256(
      _mm256_or_si256(_mm256_srli_epi16(units, 6),
                      _mm256_slli_epi16(_mm256_and_si256(units, _mm256_set1_epi16(0x3F)), 8)),
      _mm256_set1_epi16(static_cast<short>(0x80C0)));
  const __m256i forms = _mm256_blendv_epi8(pair, units, ascii);
  const auto two = ~static_cast<unsigned>(
      _mm256_movemask_epi8(_mm256_packs_epi16(ascii, _mm256_setzero_si256())));
  const unsigned low = two & 0xFF, high = (two >> 16) & 0xFF;
  const unsigned low_length = kShortPack.length[low];
  const unsigned high_length = kShortPack.length[high];
  const __m256i order = _mm256_inserti128_si256(
      _mm256_castsi128_si256(
          _mm_load_si128(reinterpret_cast<const __m128i*>(kShortPack.shuffle[low]))),
      _mm_load_si128(reinterpret_cast<const __m128i*>(kShortPack.shuffle[high])), 1);
  const __m256i packed = _mm256_shuffle_epi8(forms, order);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + low_length),
                   _mm256_extracti128_si256(packed, 1));
  return std::size_t{low_length} + high_length;
}

// The eight elements in v (all 800..FFFF, plain) to their three-byte forms at out: 24 bytes, and
// 4 bytes past them overwritten.
inline void EightThreeByteToUtf8(__m256i v, unsigned char* out) {
  const __m256i forms = _mm256_or_si256(
      _mm256_or_si256(_mm256_srli_epi32(v, 12),
                      _mm256_and_si256(_mm256_slli_epi32(v, 2), _mm256_set1_epi32(0x3F00))),
      _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi32(v, 16), _mm256_set1_epi32(0x3F0000)),
                      _mm256_set1_epi32(0x8080E0)));
  const __m256i packed = _mm256_shuffle_epi8(
      forms, _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0, 1, 2, 4, 5,
                              6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 12), _mm256_extracti128_si256(packed, 1));
}

// The sixteen plain elements a, b (all below 10000) to their one- to three-byte forms at out;
// returns the bytes. Each element gets a 32-bit lane holding its three-byte form, whose middle
// byte is the two-byte lead where the element is below 800, and the element itself in byte 3:
// built as two 16-bit halves, sixteen elements an instruction; a shuffle chosen from its lengths
// packs each four lanes. Stores 16 bytes a quarter, so up to 12 bytes past the result are
// overwritten.
inline std::size_t SixteenBmpToUtf8(__m256i a, __m256i b, unsigned char* out) {
  const __m256i u = _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
  const __m256i ordered = _mm256_xor_si256(u, _mm256_set1_epi16(static_cast<short>(0x8000)));
  const __m256i multi = _mm256_cmpgt_epi16(ordered, _mm256_set1_epi16(static_cast<short>(0x807F)));
  const __m256i three = _mm256_cmpgt_epi16(ordered, _mm256_set1_epi16(static_cast<short>(0x87FF)));
  const __m256i lead_and_middle = _mm256_or_si256(
      _mm256_or_si256(_mm256_srli_epi16(u, 12),
                      _mm256_and_si256(_mm256_slli_epi16(u, 2), _mm256_set1_epi16(0x3F00))),
      _mm256_or_si256(_mm256_set1_epi16(static_cast<short>(0x80E0)),
                      _mm256_andnot_si256(three, _mm256_set1_epi16(0x4000))));
  const __m256i last_and_unit = _mm256_or_si256(
      _mm256_or_si256(_mm256_and_si256(u, _mm256_set1_epi16(0x3F)), _mm256_set1_epi16(0x80)),
      _mm256_slli_epi16(u, 8));
  // Lanes of elements 0..3 and 8..11, then of 4..7 and 12..15.
  const __m256i first = _mm256_unpacklo_epi16(lead_and_middle, last_and_unit);
  const __m256i second = _mm256_unpackhi_epi16(lead_and_middle, last_and_unit);
  // Two bits an element, as kUnitPack reads them: bit 2k set above 7F, bit 2k + 1 above 7FF.
  const auto m = static_cast<std::uint32_t>(
      _mm256_movemask_epi8(_mm256_or_si256(_mm256_srli_epi16(multi, 8), three)));
  std::size_t len = 0;
  const auto pack = [out, &len](__m128i lanes, unsigned index) {
    _mm_storeu_si128(
        reinterpret_cast<__m128i*>(out + len),
        _mm_shuffle_epi8(
            lanes, _mm_load_si128(reinterpret_cast<const __m128i*>(kUnitPack.shuffle[index]))));
    len += kUnitPack.length[index];
  };
  pack(_mm256_castsi256_si128(first), m & 0xFF);
  pack(_mm256_castsi256_si128(second), (m >> 8) & 0xFF);
  pack(_mm256_extracti128_si256(first, 1), (m >> 16) & 0xFF);
  pack(_mm256_extracti128_si256(second, 1), m >> 24);
  return len;
}

// Sixteen elements and what the encoder needs to know of them: their largest and smallest value.
struct Block {
  __m256i a, b, largest, least;
  explicit Block(const wchar_t* p)
      : a(Load(p)),
        b(Load(p + 8)),
        largest(_mm256_max_epu32(a, b)),
        least(_mm256_min_epu32(a, b)) {}
  // Every element plain. Values 1..D7FF are plain under every rule, so most text needs no more.
  bool Plain(const RuleVectors& r) const {
    const __m256i low = _mm256_andnot_si256(
        _mm256_cmpeq_epi32(least, _mm256_setzero_si256()),
        _mm256_cmpeq_epi32(_mm256_min_epu32(largest, _mm256_set1_epi32(0xD7FF)), largest));
    return _mm256_movemask_epi8(low) == -1 || (BlockPlain(a, r) && BlockPlain(b, r));
  }
  bool Below(int limit) const {
    return _mm256_testz_si256(largest, _mm256_set1_epi32(~(limit - 1)));
  }
};

// The sixteen plain elements of `block` to UTF-8 at out; returns the bytes. Writes at most 64
// bytes, up to 15 of them past the result.
inline std::size_t SixteenToUtf8(const Block& block, unsigned char* out) {
  if (block.Below(0x80)) {
    const __m256i bytes =
        _mm256_packus_epi16(_mm256_packus_epi32(block.a, block.b), _mm256_setzero_si256());
    const __m256i order =
        _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 0, 0, 0, 0));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(order));
    return 16;
  }
  if (block.Below(0x800)) return SixteenShortToUtf8(block.a, block.b, out);
  if (block.Below(0x10000) &&
      _mm256_movemask_epi8(_mm256_cmpgt_epi32(_mm256_set1_epi32(0x800), block.least)) == 0) {
    EightThreeByteToUtf8(block.a, out);
    EightThreeByteToUtf8(block.b, out + 24);
    return 48;
  }
  if (block.Below(0x10000)) return SixteenBmpToUtf8(block.a, block.b, out);
  const std::size_t len = EightToUtf8(block.a, out);
  return len + EightToUtf8(block.b, out + len);
}

std::size_t EncodeAvx2(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                       const PlainRule& rule, std::size_t& written) {
  const RuleVectors r(rule);
  std::size_t i = 0;
  std::size_t w = 0;
  // A block is encoded once the block after it is known plain: its stores reach at most 64 bytes
  // past out + w, and what they write past its own bytes is covered by the at least 16 bytes of
  // the next block, which the scalar rule writes if the loop stops. The room for 3 more bytes lets
  // the sequence that covers the stores' last byte fit too, so no garbage stays behind a sequence
  // that does not fit.
  if (n >= 32) {
    Block block(p);
    bool known = block.Plain(r);  // the block at i is plain and loaded in `block`
    while (known && n - i >= 32 && room - w >= 64 + 3) {
      // Runs of ASCII thirty-two at a time, written exactly.
      if (block.Below(0x80) && AsciiBlock(p + i, out + w)) {
        i += 32;
        w += 32;
        if (n - i < 32) break;
        block = Block(p + i);
        known = block.Plain(r);
        continue;
      }
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
