// Standard UTF-8 checked 64 bytes a step at the 128-bit level (SSSE3): the decoder's nibble lookups
// on four 16-byte blocks, their faults joined and tested once; a run of ASCII tested four blocks at
// a time; the last part of the text copied into a step of zero bytes.
#include "encoding/validate_kernels.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(__SSSE3__)
#include <tmmintrin.h>

#include <cstring>

#include "encoding/utf8_check_sse2.h"

namespace qor {
namespace internal {
namespace {

using sse2::AnyByte;
using sse2::Faults;
using sse2::OpenAtEnd;

constexpr std::size_t kStep = 64;

inline __m128i Load(const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Whether the 64 bytes at p are all ASCII.
inline bool AsciiStep(const unsigned char* p) {
  const __m128i any =
      _mm_or_si128(_mm_or_si128(Load(p), Load(p + 16)), _mm_or_si128(Load(p + 32), Load(p + 48)));
  return _mm_movemask_epi8(any) == 0;
}

}  // namespace

// The table of this level is made in the portable unit, around this kernel.
std::size_t Sse2StandardPrefix(const unsigned char* p, std::size_t n, bool& high) {
  __m128i before = _mm_setzero_si128();  // the last 16 bytes checked
  bool seen_high = false;
  std::size_t i = 0;
  for (;;) {
    const std::size_t left = n - i;
    const unsigned char* step = p + i;
    // Zero bytes after the text, which a sequence left open cannot take.
    alignas(16) unsigned char last[kStep];
    if (left < kStep) {
      std::memset(last, 0, kStep);
      if (left != 0) std::memcpy(last, step, left);
      step = last;
    }
    const __m128i v0 = Load(step), v1 = Load(step + 16), v2 = Load(step + 32), v3 = Load(step + 48);
    if (_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(v0, v1), _mm_or_si128(v2, v3))) == 0) {
      if (OpenAtEnd(before)) break;
      if (left <= kStep) {
        high = seen_high;
        return n;
      }
      // The rest of a run of ASCII needs only its high bits; nothing is open after it.
      for (i += kStep; n - i >= kStep && AsciiStep(p + i); i += kStep) {
      }
      before = _mm_setzero_si128();
      continue;
    }
    if (AnyByte(_mm_or_si128(_mm_or_si128(Faults(v0, before), Faults(v1, v0)),
                             _mm_or_si128(Faults(v2, v1), Faults(v3, v2))))) {
      break;
    }
    seen_high = true;
    if (left <= kStep) {
      if (left == kStep && OpenAtEnd(v3)) {
        i += kStep;  // the text ends inside a sequence: the rule finds where
        break;
      }
      high = true;
      return n;
    }
    before = v3;
    i += kStep;
  }
  return SequenceStartBefore(p, i);
}

}  // namespace internal
}  // namespace qor

#endif
