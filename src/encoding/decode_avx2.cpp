// The AVX2 level: 32-byte blocks checked by nibble lookups (one shuffle per table), ASCII blocks
// widened in registers, other well-formed blocks decoded one sequence per lead byte with a bit
// extract.
#include "encoding/decode_kernels.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(__AVX2__) && defined(__BMI2__)
#include <immintrin.h>

#include <cstring>

namespace qor {
namespace internal {
namespace {

using namespace utf8_check;

__m256i Table(const std::uint8_t (&t)[16]) {
  return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(t)));
}

// Whether the 32 bytes in v, after the bytes whose last three are prev3, prev2 and prev1 at each
// position, break a rule of standard UTF-8 (a sequence cut short by the end of the block is not
// yet a fault).
bool Malformed(__m256i v, __m256i prev1, __m256i prev2, __m256i prev3) {
  const __m256i nibble = _mm256_set1_epi8(0x0F);
  const __m256i pairs = _mm256_and_si256(
      _mm256_and_si256(_mm256_shuffle_epi8(Table(kByFirstHigh),
                                           _mm256_and_si256(_mm256_srli_epi16(prev1, 4), nibble)),
                       _mm256_shuffle_epi8(Table(kByFirstLow), _mm256_and_si256(prev1, nibble))),
      _mm256_shuffle_epi8(Table(kBySecondHigh), _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble)));
  // Third bytes of E0..FF sequences and fourth bytes of F0..FF ones must be continuations.
  const __m256i announced = _mm256_or_si256(_mm256_subs_epu8(prev2, _mm256_set1_epi8(0x60)),
                                            _mm256_subs_epu8(prev3, _mm256_set1_epi8(0x70)));
  const __m256i faults =
      _mm256_xor_si256(pairs, _mm256_and_si256(announced, _mm256_set1_epi8(char(0x80))));
  return _mm256_testz_si256(faults, faults) == 0;
}

// As above, read as if a sequence ended just before the block.
bool Malformed(__m256i v) {
  const __m256i before = _mm256_permute2x128_si256(v, v, 0x08);  // zero, then the low half
  return Malformed(v, _mm256_alignr_epi8(v, before, 15), _mm256_alignr_epi8(v, before, 14),
                   _mm256_alignr_epi8(v, before, 13));
}

// Bytes 80..BF, one bit per byte.
std::uint32_t Continuations(__m256i v) {
  return static_cast<std::uint32_t>(
      _mm256_movemask_epi8(_mm256_cmpgt_epi8(_mm256_set1_epi8(-64), v)));
}

// Where the last complete sequence of a well-formed block at p ends: 32, or the start of a
// sequence that runs on into the next block.
unsigned BlockEnd(const unsigned char* p, std::uint32_t starts) {
  const unsigned last = 31 - static_cast<unsigned>(__builtin_clz(starts));
  return p[last] >= 0xC0 && last + LeadLength(p[last]) > 32 ? last : 32;
}

std::size_t Avx2AsciiPrefix(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
    if (_mm256_movemask_epi8(v) != 0) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// Bytes that leave a sequence open at the end of a block: from F0 in the third place from the end,
// E0 in the second, C0 in the last (a checked block holds no FF elsewhere).
struct OpenFloor {
  std::uint8_t at[32];
  constexpr OpenFloor() : at() {
    for (unsigned i = 0; i < 32; ++i)
      at[i] = i < 29 ? 0xFF : i == 29 ? 0xF0 : i == 30 ? 0xE0 : 0xC0;
  }
};
constexpr OpenFloor kOpenFloor;

// Blocks at a fixed stride, each checked after the last bytes of the one before; where a block
// fails, the prefix ends before the sequence that the block before left open.
std::size_t Avx2ValidPrefix(const unsigned char* p, std::size_t n) {
  const __m256i open_floor = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kOpenFloor.at));
  __m256i prev = _mm256_setzero_si256();
  std::size_t i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
    if (_mm256_movemask_epi8(v) == 0) {
      const __m256i open = _mm256_cmpeq_epi8(_mm256_max_epu8(prev, open_floor), prev);
      if (_mm256_movemask_epi8(open) != 0) break;
    } else {
      const __m256i carry = _mm256_permute2x128_si256(prev, v, 0x21);  // prev's high half, v's low
      if (Malformed(v, _mm256_alignr_epi8(v, carry, 15), _mm256_alignr_epi8(v, carry, 14),
                    _mm256_alignr_epi8(v, carry, 13))) {
        break;
      }
    }
    prev = v;
  }
  if (i == 0) return 0;
  return i - 32 + BlockEnd(p + i - 32, ~Continuations(prev));
}

// Bits of a lead byte's sequence, taken from the four bytes at the lead read most significant
// first, by the lead's high nibble.
constexpr std::uint32_t kValueBits[16] = {
    0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000, 0x7F000000,
    0,          0,          0,          0,          0x1F3F0000, 0x1F3F0000, 0x0F3F3F00, 0x073F3F3F};

DecodeStep Avx2Decode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                      unsigned options) {
  std::size_t i = 0;
  std::size_t w = 0;
  // Four bytes are read at every lead, so three bytes past the block must be there.
  while (n - i >= 35) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
    if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_setzero_si256())) != 0) break;
    const std::size_t left = out != nullptr ? room - w : static_cast<std::size_t>(-1);
    if (_mm256_movemask_epi8(v) == 0) {
      if (left < 32) break;
      if (out != nullptr) {
        auto* o = reinterpret_cast<__m256i*>(out + w);
        for (int k = 0; k < 4; ++k) {
          const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + i + 8 * k));
          _mm256_storeu_si256(o + k, _mm256_cvtepu8_epi32(eight));
        }
      }
      i += 32;
      w += 32;
      continue;
    }
    if (Malformed(v)) break;
    if ((options & kDecodeBmpOnly) != 0 &&
        _mm256_movemask_epi8(
            _mm256_cmpeq_epi8(_mm256_max_epu8(v, _mm256_set1_epi8(char(0xF0))), v)) != 0) {
      break;
    }
    if ((options & kDecodeStopAtBom) != 0) {
      const auto at = [v](unsigned char b) {
        return static_cast<std::uint32_t>(
            _mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(char(b)))));
      };
      if ((at(0xEF) & (at(0xBB) >> 1) & (at(0xBF) >> 2)) != 0) break;
    }
    std::uint32_t starts = ~Continuations(v);
    const unsigned end = BlockEnd(p + i, starts);
    if (end < 32) starts &= (1u << end) - 1;
    const std::size_t count = static_cast<std::size_t>(__builtin_popcount(starts));
    if (left < count) break;
    if (out != nullptr) {
      wchar_t* o = out + w;
      for (; starts != 0; starts &= starts - 1) {
        std::uint32_t bytes;
        std::memcpy(&bytes, p + i + static_cast<unsigned>(__builtin_ctz(starts)), sizeof bytes);
        *o++ = static_cast<wchar_t>(
            _pext_u32(__builtin_bswap32(bytes), kValueBits[(bytes >> 4) & 0xF]));
      }
    }
    i += end;
    w += count;
  }
  return {i, w};
}

}  // namespace

extern const DecodeKernels kAvx2DecodeKernels;
const DecodeKernels kAvx2DecodeKernels = {Isa::kAvx2, 35, Avx2AsciiPrefix, Avx2ValidPrefix,
                                          Avx2Decode};

}  // namespace internal
}  // namespace qor

#endif
