// The x86-64 baseline level: 16-byte blocks of ASCII, and of ASCII with two-byte sequences (most of
// Latin, Greek, Cyrillic, Hebrew and Arabic text). Without a byte shuffle in the baseline, longer
// sequences are left to the caller's rule.
#include "encoding/decode_kernels.h"
#include "simd.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(QORSTL_HAVE_SSE2)

namespace qor {
namespace internal {
namespace {

std::size_t Sse2AsciiPrefix(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  // 64 bytes a test while they are all ASCII, then 16 to find the block that is not.
  for (; n - i >= 64; i += 64) {
    const auto* v = reinterpret_cast<const __m128i*>(p + i);
    const __m128i any = _mm_or_si128(_mm_or_si128(_mm_loadu_si128(v), _mm_loadu_si128(v + 1)),
                                     _mm_or_si128(_mm_loadu_si128(v + 2), _mm_loadu_si128(v + 3)));
    if (_mm_movemask_epi8(any) != 0) break;
  }
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    if (_mm_movemask_epi8(v) != 0) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// Blocks of ASCII, or of ASCII without zero bytes and complete two-byte sequences C2..DF 80..BF.
std::size_t Sse2ValidPrefix(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  std::size_t elements = 0;
  while (n - i >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    if (_mm_movemask_epi8(v) == 0) {
      i += 16;
      continue;
    }
    const std::size_t used = TwoByteBlockToWide(p + i, nullptr, 0, elements);
    if (used == 0) break;
    i += used;
  }
  return i;
}

DecodeStep Sse2Decode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                      unsigned /*options*/) {
  std::size_t i = 0;
  std::size_t w = 0;
  while (n - i >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())) != 0) break;
    const std::size_t left = out != nullptr ? room - w : static_cast<std::size_t>(-1);
    if (_mm_movemask_epi8(v) == 0) {
      if (left < 16) break;
      if (out != nullptr) AsciiRunToWide(p + i, 16, out + w, 16);
      i += 16;
      w += 16;
      continue;
    }
    std::size_t elements = 0;
    const std::size_t used =
        TwoByteBlockToWide(p + i, out != nullptr ? out + w : nullptr, left, elements);
    if (used == 0) break;
    i += used;
    w += elements;
  }
  return {i, w};
}

}  // namespace

extern const DecodeKernels kSse2DecodeKernels;
const DecodeKernels kSse2DecodeKernels = {Isa::kSse2, 16, Sse2AsciiPrefix, Sse2ValidPrefix,
                                          Sse2Decode};

}  // namespace internal
}  // namespace qor

#endif
