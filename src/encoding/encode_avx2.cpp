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

// For the four lanes of a 128-bit half, indexed by their extra byte counts (two bits a lane, lane 0
// lowest): the shuffle that packs each lane's leading bytes together, and the bytes it keeps.
struct PackTable {
  alignas(16) unsigned char shuffle[256][16];
  unsigned char length[256];
  constexpr PackTable() : shuffle(), length() {
    for (unsigned index = 0; index < 256; ++index) {
      unsigned pos = 0;
      for (unsigned lane = 0; lane < 4; ++lane) {
        const unsigned bytes = ((index >> (2 * lane)) & 3u) + 1;
        for (unsigned b = 0; b < bytes; ++b)
          shuffle[index][pos++] = static_cast<unsigned char>(4 * lane + b);
      }
      length[index] = static_cast<unsigned char>(pos);
      for (; pos < 16; ++pos) shuffle[index][pos] = 0x80;
    }
  }
};
constexpr PackTable kPack;

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
                       _mm_load_si128(reinterpret_cast<const __m128i*>(kPack.shuffle[low]))));
  _mm_storeu_si128(
      reinterpret_cast<__m128i*>(out + kPack.length[low]),
      _mm_shuffle_epi8(_mm256_extracti128_si256(lanes, 1),
                       _mm_load_si128(reinterpret_cast<const __m128i*>(kPack.shuffle[high]))));
  return std::size_t{kPack.length[low]} + kPack.length[high];
}

std::size_t EncodeAvx2(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                       const PlainRule& rule, std::size_t& written) {
  const RuleVectors r(rule);
  std::size_t i = 0;
  std::size_t w = 0;
  // [i, checked) is known plain. A mixed block is encoded only when 16 plain elements follow it,
  // whose at least 16 bytes cover what its stores wrote past its own bytes; the last elements of
  // a run go to the scalar rule. Its stores reach at most 32 bytes past out + w, and the room for
  // 3 more bytes lets the sequence that covers their last byte fit too: the elements after the
  // block are then written at least that far, so no garbage stays behind a sequence that does
  // not fit.
  std::size_t checked = 0;
  bool ascii_text = true;  // try 32 at a time again after a block of ASCII
  for (;;) {
    if (ascii_text && n - i >= 32 && room - w >= 32) {
      if (AsciiBlock(p + i, out + w)) {
        i += 32;
        w += 32;
        if (checked < i) checked = i;
        continue;
      }
      ascii_text = false;
    }
    while (checked - i < 24 && n - checked >= 8 && BlockPlain(Load(p + checked), r)) checked += 8;
    if (checked - i < 24 || room - w < 35) break;
    const std::size_t len = EightToUtf8(Load(p + i), out + w);
    ascii_text = len == 8;
    w += len;
    i += 8;
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
