// Standard UTF-8 checked 32 bytes at a time with AVX2: nibble lookups on each byte pair, the bytes
// before a block joined in by byte alignment, and the last part of the text copied into a block of
// zero bytes.
#include "encoding/validate_kernels.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(__AVX2__)
#include <immintrin.h>

#include <cstring>

#include "encoding/utf8_check_avx2.h"

namespace qor {
namespace internal {
namespace {

using namespace utf8_check;

// Bytes that leave a sequence open at the end of a block: from F0 in the third place from the end,
// E0 in the second, C0 in the last.
struct OpenFloor {
  std::uint8_t at[32];
  constexpr OpenFloor() : at() {
    for (unsigned i = 0; i < 32; ++i)
      at[i] = i < 29 ? 0xFF : i == 29 ? 0xF0 : i == 30 ? 0xE0 : 0xC0;
  }
};
constexpr OpenFloor kOpenFloor;

bool OpenAtEnd(__m256i v) {
  const __m256i floor = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kOpenFloor.at));
  return _mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_max_epu8(v, floor), v)) != 0;
}

// Whether the 32 bytes in v, read after the block `before`, break a rule of standard UTF-8 (a
// sequence cut short by the end of the block is not yet a fault).
bool Malformed(__m256i v, __m256i before) {
  const __m256i carry = _mm256_permute2x128_si256(before, v, 0x21);  // before's high half, v's low
  const __m256i prev1 = _mm256_alignr_epi8(v, carry, 15);
  const __m256i prev2 = _mm256_alignr_epi8(v, carry, 14);
  const __m256i prev3 = _mm256_alignr_epi8(v, carry, 13);
  return avx2::Malformed(v, prev1, prev2, prev3);
}

std::size_t Avx2StandardPrefix(const unsigned char* p, std::size_t n, bool& high) {
  __m256i before = _mm256_setzero_si256();
  __m256i any = _mm256_setzero_si256();
  std::size_t i = 0;
  for (;; i += 32) {
    const std::size_t left = n - i;
    __m256i v;
    if (left >= 32) {
      v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
    } else {
      // Zero bytes after the text, which a sequence left open cannot take.
      alignas(32) unsigned char last[32] = {};
      if (left != 0) std::memcpy(last, p + i, left);
      v = _mm256_load_si256(reinterpret_cast<const __m256i*>(last));
    }
    if (_mm256_movemask_epi8(v) == 0) {
      if (OpenAtEnd(before)) break;
    } else if (Malformed(v, before)) {
      break;
    }
    any = _mm256_or_si256(any, v);
    before = v;
    if (left <= 32) {
      if (left == 32 && OpenAtEnd(v)) {
        i += 32;  // the text ends inside a sequence: the rule finds where
        break;
      }
      high = _mm256_movemask_epi8(any) != 0;
      return n;
    }
  }
  return SequenceStartBefore(p, i);
}

}  // namespace

extern const ValidateKernels kValidateAvx2;
const ValidateKernels kValidateAvx2 = {Isa::kAvx2, Avx2StandardPrefix, false};

}  // namespace internal
}  // namespace qor

#endif
