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

#include <cstdint>

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
struct BlockCheck {
  avx512::Utf8Check check;
  __m512i back1 = _mm512_load_si512(kBack.by[0]);
  __m512i back2 = _mm512_load_si512(kBack.by[1]);
  __m512i back3 = _mm512_load_si512(kBack.by[2]);
  bool Malformed(__m512i v, __m512i before) const {
    return check.Malformed(v, _mm512_permutex2var_epi8(v, back1, before),
                           _mm512_permutex2var_epi8(v, back2, before),
                           _mm512_permutex2var_epi8(v, back3, before));
  }
  // The faults of v read after `before`, as avx512::Utf8Check::Faults.
  __m512i Faults(__m512i v, __m512i before) const {
    return check.Faults(v, _mm512_permutex2var_epi8(v, back1, before),
                        _mm512_permutex2var_epi8(v, back2, before),
                        _mm512_permutex2var_epi8(v, back3, before));
  }
};

// Whether a block ends inside a sequence (a lead in one of the last three places that needs more).
bool OpenAtEnd(__m512i v) {
  return _mm512_cmpge_epu8_mask(v, _mm512_load_si512(kOpenFloor.at)) != 0;
}

// Texts from this length on are read in blocks on 64-byte boundaries (after a first block where the
// text begins), so that no load straddles two cache lines; a shorter text does not repay the first
// block read twice.
constexpr std::size_t kAlignFrom = 1024;

// standard_prefix for a text of at most two blocks: masked loads, which leave zero bytes after the
// text, so that a sequence cut short by its end is a fault like any other unless the text fills
// its last block; both blocks tested at once.
inline std::size_t UpToTwoBlocks(const BlockCheck& check, const unsigned char* p, std::size_t n,
                                 bool& high) {
  const __m512i zero = _mm512_setzero_si512();
  if (n <= 64) {
    const __m512i v = _mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, unsigned(n)), p);
    if (_mm512_movepi8_mask(v) == 0) {
      high = false;
      return n;
    }
    if (check.Malformed(v, zero)) return 0;
    if (n == 64 && OpenAtEnd(v)) return SequenceStartBefore(p, n);
    high = true;
    return n;
  }
  const __m512i v0 = _mm512_loadu_si512(p);
  const __m512i v1 = _mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, unsigned(n - 64)), p + 64);
  if (_mm512_movepi8_mask(_mm512_or_si512(v0, v1)) == 0) {
    high = false;
    return n;
  }
  const __m512i faults = _mm512_or_si512(check.Faults(v0, zero), check.Faults(v1, v0));
  if (_mm512_test_epi8_mask(faults, faults) != 0)
    return check.Malformed(v0, zero) ? 0 : SequenceStartBefore(p, 64);
  if (n == 128 && OpenAtEnd(v1)) return SequenceStartBefore(p, n);
  high = true;
  return n;
}

constexpr std::size_t kTwoBlocks = 128;

std::size_t Avx512StandardPrefix(const unsigned char* p, std::size_t n, bool& high) {
  const BlockCheck check;
  if (n <= kTwoBlocks) return UpToTwoBlocks(check, p, n, high);
  std::size_t i = 0;
  __m512i before = _mm512_setzero_si512();
  bool seen_high = false;
  const std::size_t skew = reinterpret_cast<std::uintptr_t>(p) % 64;
  if (n >= kAlignFrom && skew != 0 && skew <= 61) {
    // The first block where the text begins, then blocks from the next boundary: they read part
    // of it again, after its three bytes before the boundary (expanded into the top lanes).
    const __m512i v = _mm512_loadu_si512(p);
    if (_mm512_movepi8_mask(v) != 0) {
      if (check.Malformed(v, before)) return 0;
      seen_high = true;
    }
    i = 64 - skew;
    before = _mm512_maskz_expandloadu_epi8(0xE000000000000000ull, p + i - 3);
  }
  for (;;) {
    const std::size_t left = n - i;
    // A block short of 64 bytes ends in zero bytes, which a sequence left open cannot take.
    const __m512i v = left >= 64 ? _mm512_loadu_si512(p + i)
                                 : _mm512_maskz_loadu_epi8(_bzhi_u64(~0ull, unsigned(left)), p + i);
    if (_mm512_movepi8_mask(v) == 0) {
      if (OpenAtEnd(before)) break;
      if (left <= 64) {
        high = seen_high;
        return n;
      }
      // The rest of a run of ASCII needs only its high bits, two blocks a test; nothing is open
      // after it.
      for (i += 64; n - i >= 128; i += 128) {
        const __m512i pair =
            _mm512_or_si512(_mm512_loadu_si512(p + i), _mm512_loadu_si512(p + i + 64));
        if (_mm512_movepi8_mask(pair) != 0) break;
      }
      before = _mm512_setzero_si512();
      continue;
    }
    if (check.Malformed(v, before)) break;
    seen_high = true;
    if (left <= 64) {
      if (left == 64 && OpenAtEnd(v)) {
        i += 64;  // the text ends inside a sequence: the rule finds where
        break;
      }
      high = true;
      return n;
    }
    before = v;
    i += 64;
  }
  return SequenceStartBefore(p, i);
}

// The whole answers for a text longer than two blocks: out of line, so that a shorter text's
// answer needs no stack frame.
[[gnu::noinline]] bool LongIsUtf8(const unsigned char* p, std::size_t n) {
  bool high = false;
  if (Avx512StandardPrefix(p, n, high) == n) return high;
  return IsUtf8Layout(p, n);
}
[[gnu::noinline]] std::size_t LongFindInvalid(const unsigned char* p, std::size_t n,
                                              bool standard) {
  bool high = false;
  const std::size_t valid = Avx512StandardPrefix(p, n, high);
  if (valid == n) return static_cast<std::size_t>(-1);
  return FindInvalidAfter(Avx512StandardPrefix, p, n, standard, valid);
}

// Whether a text of 129 to 256 bytes is all ASCII: four blocks, the last two ending where it ends,
// in one test, so that such a text needs no call.
inline bool UpToFourBlocksAscii(const unsigned char* p, std::size_t n) {
  const __m512i front = _mm512_or_si512(_mm512_loadu_si512(p), _mm512_loadu_si512(p + 64));
  const __m512i back =
      _mm512_or_si512(_mm512_loadu_si512(p + n - 128), _mm512_loadu_si512(p + n - 64));
  return _mm512_movepi8_mask(_mm512_or_si512(front, back)) == 0;
}

constexpr std::size_t kFourBlocks = 256;

// The whole answers: a text of up to two blocks without a loop, an ASCII one of up to four by one
// test, a longer one by the kernel.
bool Avx512IsUtf8(const unsigned char* p, std::size_t n) {
  if (n > kTwoBlocks) {
    if (n <= kFourBlocks && UpToFourBlocksAscii(p, n)) return false;
    return LongIsUtf8(p, n);
  }
  bool high = false;
  if (UpToTwoBlocks(BlockCheck(), p, n, high) == n) return high;
  return IsUtf8Layout(p, n);
}

std::size_t Avx512FindInvalid(const unsigned char* p, std::size_t n, bool standard) {
  if (n > kTwoBlocks) {
    if (n <= kFourBlocks && UpToFourBlocksAscii(p, n)) return static_cast<std::size_t>(-1);
    return LongFindInvalid(p, n, standard);
  }
  bool high = false;
  const std::size_t valid = UpToTwoBlocks(BlockCheck(), p, n, high);
  if (valid == n) return static_cast<std::size_t>(-1);
  return FindInvalidAfter(Avx512StandardPrefix, p, n, standard, valid);
}

}  // namespace

extern const ValidateKernels kValidateAvx512;
const ValidateKernels kValidateAvx512 = {Isa::kAvx512, Avx512StandardPrefix, Avx512IsUtf8,
                                         Avx512FindInvalid};

}  // namespace internal
}  // namespace qor

#endif
