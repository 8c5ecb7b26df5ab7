// The standard UTF-8 checks of every level this build carries, the portable one included, and the
// one place that picks among them.
#include <cstring>

#include "encoding/validate_kernels.h"
#include "simd.h"

namespace qor {
namespace internal {

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
extern const ValidateKernels kValidateAvx2;
extern const ValidateKernels kValidateAvx512;
#endif
#if defined(QORSTL_NEON_KERNELS)
extern const DecodeKernels kNeonDecodeKernels;
#endif

namespace {

// The rule itself, taking runs of ASCII a word at a time; `Ascii` gives the length of the ASCII
// run at p (0 when p[0] is not ASCII), at least the bytes up to the first word it cannot pass.
template <std::size_t (*Ascii)(const unsigned char*, std::size_t)>
std::size_t StandardPrefixByRule(const unsigned char* p, std::size_t n, bool& high) {
  std::size_t i = 0;
  bool seen_high = false;
  while (i < n) {
    i += Ascii(p + i, n - i);
    if (i == n) break;
    const unsigned length = StandardSequence(p + i, n - i);
    if (length == 0) return i;
    seen_high = seen_high || length > 1;
    i += length;
  }
  high = seen_high;
  return n;
}

std::size_t WordAscii(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  for (; n - i >= 8; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, p + i, sizeof word);
    if ((word & 0x8080808080808080ull) != 0) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

constexpr ValidateKernels kValidateScalar = {Isa::kScalar, StandardPrefixByRule<WordAscii>, false};

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(QORSTL_HAVE_SSE2)
std::size_t Sse2Ascii(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    if (_mm_movemask_epi8(v) != 0) break;
  }
  return i + WordAscii(p + i, n - i);
}

// Without a byte shuffle in the baseline, only runs of ASCII go a block at a time.
constexpr ValidateKernels kValidateSse2 = {Isa::kSse2, StandardPrefixByRule<Sse2Ascii>, false};
#endif

#if defined(QORSTL_NEON_KERNELS)
// The decoder's NEON check settles whole blocks; the rule finishes the tail, or finds the byte at
// fault in the block it refused, and a second NEON pass tells whether the text leaves ASCII.
std::size_t NeonStandardPrefix(const unsigned char* p, std::size_t n, bool& high) {
  std::size_t i = kNeonDecodeKernels.valid_prefix(p, n);
  while (i < n) {
    const unsigned length = StandardSequence(p + i, n - i);
    if (length == 0) return i;
    i += length;
  }
  high = kNeonDecodeKernels.ascii_prefix(p, n) != n;
  return n;
}

const ValidateKernels kValidateNeon = {Isa::kNeon, NeonStandardPrefix, false};
#endif

}  // namespace

const ValidateKernels* ValidateKernelsFor(Isa isa) {
  if (!CpuRuns(isa)) return nullptr;
  switch (isa) {
    case Isa::kScalar:
      return &kValidateScalar;
#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(QORSTL_HAVE_SSE2)
    case Isa::kSse2:
      return &kValidateSse2;
    case Isa::kAvx2:
      return &kValidateAvx2;
    case Isa::kAvx512:
      return &kValidateAvx512;
#endif
#if defined(QORSTL_NEON_KERNELS)
    case Isa::kNeon:
      return &kValidateNeon;
#endif
    default:
      return nullptr;
  }
}

const ValidateKernels& PickValidateKernels() {
  // A level without a table of ours (a new one) gets the portable table.
  const ValidateKernels* kernels = ValidateKernelsFor(BestIsa());
  return kernels != nullptr ? *kernels : kValidateScalar;
}

}  // namespace internal
}  // namespace qor
