// Standard UTF-8 checked 32 bytes at a time with AVX2: nibble lookups on each byte pair, the bytes
// before a block joined in by byte alignment, runs of ASCII tested 128 bytes at a time, and the
// last part of the text copied into a block of zero bytes.
#include "encoding/validate_kernels.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(__AVX2__)
#include <immintrin.h>

#include <cstring>

#include "encoding/utf8_check_avx2.h"

namespace qor {
namespace internal {
namespace {

using namespace utf8_check;

// The largest bytes that leave no sequence open at the end of a block: anything in the first 29
// places, below F0 in the third place from the end, below E0 in the second, below C0 in the last.
struct ClosedCeiling {
  std::uint8_t at[32];
  constexpr ClosedCeiling() : at() {
    for (unsigned i = 0; i < 32; ++i)
      at[i] = i < 29 ? 0xFF : i == 29 ? 0xEF : i == 30 ? 0xDF : 0xBF;
  }
};
constexpr ClosedCeiling kClosedCeiling;

// The checks of a block, their constants held in registers across the loop.
struct BlockCheck {
  avx2::Utf8Check check;
  __m256i closed_ceiling = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kClosedCeiling.at));

  // Whether the 32 bytes in v, read after the block `before`, break a rule of standard UTF-8 (a
  // sequence cut short by the end of the block is not yet a fault).
  bool Malformed(__m256i v, __m256i before) const {
    const __m256i carry =
        _mm256_permute2x128_si256(before, v, 0x21);  // before's high half, v's low
    return check.Malformed(v, _mm256_alignr_epi8(v, carry, 15), _mm256_alignr_epi8(v, carry, 14),
                           _mm256_alignr_epi8(v, carry, 13));
  }
  // Whether a block ends inside a sequence (a lead in one of the last three places that needs
  // more).
  bool OpenAtEnd(__m256i v) const {
    const __m256i open = _mm256_subs_epu8(v, closed_ceiling);
    return _mm256_testz_si256(open, open) == 0;
  }
};

inline bool HasHigh(__m256i v) {
  return _mm256_movemask_epi8(v) != 0;
}
inline __m256i Load(const unsigned char* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

// Texts from this length on are read in blocks on 32-byte boundaries (after a first block where the
// text begins), so that no load straddles two cache lines; a shorter text does not repay the first
// block read twice.
constexpr std::size_t kAlignFrom = 256;

}  // namespace

// The table of this level is made in the portable unit, around this kernel.
std::size_t Avx2StandardPrefix(const unsigned char* p, std::size_t n, bool& high) {
  const BlockCheck check;
  std::size_t i = 0;
  __m256i before = _mm256_setzero_si256();
  bool seen_high = false;
  const std::size_t skew = reinterpret_cast<std::uintptr_t>(p) % 32;
  if (n >= kAlignFrom && skew != 0 && skew <= 29) {
    // The first block where the text begins, then blocks from the next boundary: they read part
    // of it again, after its three bytes before the boundary (placed at the end of `before`).
    const __m256i v = Load(p);
    if (HasHigh(v)) {
      if (check.Malformed(v, before)) return 0;
      seen_high = true;
    }
    i = 32 - skew;
    std::uint32_t last3 = 0;
    std::memcpy(reinterpret_cast<unsigned char*>(&last3) + 1, p + i - 3, 3);
    before = _mm256_insert_epi32(before, static_cast<int>(last3), 7);
  }
  for (;;) {
    const std::size_t left = n - i;
    __m256i v;
    if (left >= 32) {
      v = Load(p + i);
    } else {
      // Zero bytes after the text, which a sequence left open cannot take.
      alignas(32) unsigned char last[32] = {};
      if (left != 0) std::memcpy(last, p + i, left);
      v = _mm256_load_si256(reinterpret_cast<const __m256i*>(last));
    }
    if (!HasHigh(v)) {
      if (check.OpenAtEnd(before)) break;
      if (left <= 32) {
        high = seen_high;
        return n;
      }
      // The rest of a run of ASCII needs only its high bits, four blocks a test; nothing is open
      // after it.
      for (i += 32; n - i >= 128; i += 128) {
        const __m256i any = _mm256_or_si256(_mm256_or_si256(Load(p + i), Load(p + i + 32)),
                                            _mm256_or_si256(Load(p + i + 64), Load(p + i + 96)));
        if (HasHigh(any)) break;
      }
      before = _mm256_setzero_si256();
      continue;
    }
    if (check.Malformed(v, before)) break;
    seen_high = true;
    if (left <= 32) {
      if (left == 32 && check.OpenAtEnd(v)) {
        i += 32;  // the text ends inside a sequence: the rule finds where
        break;
      }
      high = true;
      return n;
    }
    before = v;
    i += 32;
  }
  return SequenceStartBefore(p, i);
}

}  // namespace internal
}  // namespace qor

#endif
