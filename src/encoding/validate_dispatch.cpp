// The standard UTF-8 checks of every level this build carries, the portable one included, and the
// one place that picks among them.
#include "encoding/portable_kernels.h"
#include "encoding/validate_kernels.h"

namespace qor {
namespace internal {

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
extern const ValidateKernels kValidateSse2;
extern const ValidateKernels kValidateAvx2;
extern const ValidateKernels kValidateAvx512;
#endif
#if defined(QORSTL_NEON_KERNELS)
extern const DecodeKernels kNeonDecodeKernels;
#endif

namespace {

constexpr ValidateKernels kValidateScalar = {Isa::kScalar, PortableStandardPrefix, false};

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
