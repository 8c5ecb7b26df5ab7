// The standard UTF-8 checks of every level this build carries, the portable one included, and the
// one place that picks among them.
#include <cstdint>
#include <cstring>

#include "encoding/portable_kernels.h"
#include "encoding/validate_kernels.h"

namespace qor {
namespace internal {

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
// The 128-bit and AVX2 kernels read whole blocks; their tables are made here, where the rule for
// short texts is compiled for every CPU.
std::size_t Sse2StandardPrefix(const unsigned char* p, std::size_t n, bool& high);
std::size_t Avx2StandardPrefix(const unsigned char* p, std::size_t n, bool& high);
extern const ValidateKernels kValidateAvx512;
#endif
#if defined(QORSTL_NEON_KERNELS)
extern const DecodeKernels kNeonDecodeKernels;
#endif

std::size_t ShortStandardPrefix(const unsigned char* p, std::size_t n, bool& high) {
  constexpr std::uint64_t kHigh = 0x8080808080808080ull;
  bool seen_high = false;
  std::size_t i = 0;
  while (i < n) {
    if (p[i] < 0x80) {
      if (n - i < 8) {
        ++i;
        continue;
      }
      std::uint64_t word;
      std::memcpy(&word, p + i, 8);
      if ((word & kHigh) == 0) {
        i += 8;
        continue;
      }
      while (p[i] < 0x80) ++i;  // the word's high byte ends this
    }
    const unsigned length = StandardSequence(p + i, n - i);
    if (length == 0) return i;
    seen_high = true;
    i += length;
  }
  high = seen_high;
  return n;
}

namespace {

// The whole answers of a level whose kernel reads blocks only: a text shorter than a block by the
// rule, any other by the kernel. (The exported functions have settled short ASCII texts.)
template <StandardPrefixFn kPrefix>
std::size_t PrefixByLength(const unsigned char* p, std::size_t n, bool& high) {
  return n < kShortText ? ShortStandardPrefix(p, n, high) : kPrefix(p, n, high);
}
template <StandardPrefixFn kPrefix>
bool IsUtf8By(const unsigned char* p, std::size_t n) {
  bool high = false;
  if (PrefixByLength<kPrefix>(p, n, high) == n) return high;
  return IsUtf8Layout(p, n);
}
template <StandardPrefixFn kPrefix>
std::size_t FindInvalidBy(const unsigned char* p, std::size_t n, bool standard) {
  bool high = false;
  const std::size_t valid = PrefixByLength<kPrefix>(p, n, high);
  if (valid == n) return static_cast<std::size_t>(-1);
  return FindInvalidAfter(kPrefix, p, n, standard, valid);
}

constexpr ValidateKernels kValidateScalar = {Isa::kScalar, PortableStandardPrefix,
                                             IsUtf8By<PortableStandardPrefix>,
                                             FindInvalidBy<PortableStandardPrefix>};

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
const ValidateKernels kValidateSse2 = {Isa::kSse2, Sse2StandardPrefix, IsUtf8By<Sse2StandardPrefix>,
                                       FindInvalidBy<Sse2StandardPrefix>};
const ValidateKernels kValidateAvx2 = {Isa::kAvx2, Avx2StandardPrefix, IsUtf8By<Avx2StandardPrefix>,
                                       FindInvalidBy<Avx2StandardPrefix>};
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

const ValidateKernels kValidateNeon = {Isa::kNeon, NeonStandardPrefix, IsUtf8By<NeonStandardPrefix>,
                                       FindInvalidBy<NeonStandardPrefix>};
#endif

}  // namespace

const ValidateKernels* ValidateKernelsFor(Isa isa) {
  if (!CpuRuns(isa)) return nullptr;
  switch (isa) {
    case Isa::kScalar:
      return &kValidateScalar;
#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
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
  const ValidateKernels* best = ValidateKernelsFor(BestIsa());
  if (best == nullptr) best = &kValidateScalar;  // a level without a table of ours (a new one)
  return *best;
}

const ValidateKernels* const best_validate_kernels = &PickValidateKernels();

}  // namespace internal
}  // namespace qor
