// Standard UTF-8 checked 64 bytes at a time with AVX-512 (BW and VBMI): nibble lookups on each
// byte pair, the bytes before a block joined in by a two-table byte permute, and the last part of
// the text read by a masked load, which leaves zero bytes where the text has none.
#include "encoding/validate_kernels.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(__AVX512VBMI__) && \
    defined(__AVX512BW__)
#if defined(__GNUC__) && !defined(__clang__)
// GCC 12's headers leave the pass-through operand of the unmasked AVX-512 forms undefined on
// purpose, and then warn about it where they are inlined.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include "encoding/utf8_check_avx512.h"

namespace qor {
namespace internal {
namespace {

using namespace utf8_check;

// For each byte k of a block, where the byte j + 1 places before it lies: in the block (index
// k - j - 1 of the first table), or at its end in the block before (bit 6 picks the second table).
struct Back {
  alignas(64) std::uint8_t by[3][64];
  constexpr Back() : by() {
    for (unsigned j = 0; j < 3; ++j)
      for (unsigned k = 0; k < 64; ++k) by[j][k] = static_cast<std::uint8_t>((k + 127 - j) & 127);
  }
};
constexpr Back kBack;

// Bytes that leave a sequence open at the end of a block: from F0 in the third place from the end,
// E0 in the second, C0 in the last.
struct OpenFloor {
  alignas(64) std::uint8_t at[64];
  constexpr OpenFloor() : at() {
    for (unsigned i = 0; i < 64; ++i)
      at[i] = i < 61 ? 0xFF : i == 61 ? 0xF0 : i == 62 ? 0xE0 : 0xC0;
  }
};
constexpr OpenFloor kOpenFloor;

// Whether the 64 bytes in v, read after the block `before`, break a rule of standard UTF-8 (a
// sequence cut short by the end of the block is not yet a fault).
bool Malformed(__m512i v, __m512i before) {
  const auto back = [&](unsigned j) {
    return _mm512_permutex2var_epi8(v, _mm512_load_si512(kBack.by[j]), before);
  };
  const __m512i prev1 = back(0), prev2 = back(1), prev3 = back(2);
  return avx512::Malformed(v, prev1, prev2, prev3);
}

// Whether a block ends inside a sequence (a lead in one of the last three places that needs more).
bool OpenAtEnd(__m512i v) {
  return _mm512_cmpge_epu8_mask(v, _mm512_load_si512(kOpenFloor.at)) != 0;
}

std::size_t Avx512StandardPrefix(const unsigned char* p, std::size_t n, bool& high) {
  // Leading ASCII, four blocks a test and then one, up to the last block, without the tables of
  // the full check.
  std::size_t i = 0;
  for (; n - i > 256; i += 256) {
    const __m512i any = _mm512_or_si512(
        _mm512_or_si512(_mm512_loadu_si512(p + i), _mm512_loadu_si512(p + i + 64)),
        _mm512_or_si512(_mm512_loadu_si512(p + i + 128), _mm512_loadu_si512(p + i + 192)));
    if (_mm512_movepi8_mask(any) != 0) break;
  }
  for (; n - i > 64; i += 64) {
    if (_mm512_movepi8_mask(_mm512_loadu_si512(p + i)) != 0) break;
  }
  // The last block, or a text of one block or less: one masked load, which leaves zero bytes after
  // the text, so a sequence cut short by its end is a fault of the block like any other. ASCII
  // before it leaves no sequence open.
  if (n - i <= 64) {
    const __m512i v = _mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, unsigned(n - i)), p + i);
    if (_mm512_movepi8_mask(v) == 0) {
      high = false;
      return n;
    }
    if (Malformed(v, _mm512_setzero_si512())) return i;
    if (n - i == 64 && OpenAtEnd(v)) return SequenceStartBefore(p, n);
    high = true;
    return n;
  }
  __m512i before = _mm512_setzero_si512();
  __m512i any = _mm512_setzero_si512();
  for (;; i += 64) {
    const std::size_t left = n - i;
    // A block short of 64 bytes ends in zero bytes, which a sequence left open cannot take.
    const __m512i v = left >= 64 ? _mm512_loadu_si512(p + i)
                                 : _mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, unsigned(left)), p + i);
    if (_mm512_movepi8_mask(v) == 0) {
      if (OpenAtEnd(before)) break;
    } else if (Malformed(v, before)) {
      break;
    }
    any = _mm512_or_si512(any, v);
    before = v;
    if (left <= 64) {
      if (left == 64 && OpenAtEnd(v)) {
        i += 64;  // the text ends inside a sequence: the rule finds where
        break;
      }
      high = _mm512_movepi8_mask(any) != 0;
      return n;
    }
  }
  return SequenceStartBefore(p, i);
}

}  // namespace

extern const ValidateKernels kValidateAvx512;
const ValidateKernels kValidateAvx512 = {Isa::kAvx512, Avx512StandardPrefix, true};

}  // namespace internal
}  // namespace qor

#endif
