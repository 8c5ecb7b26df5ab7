// The decoding kernels of every level this build carries, the portable one included, and the one
// place that picks among them.
#include "encoding/decode_kernels.h"
#include "encoding/portable_kernels.h"

namespace qor {
namespace internal {

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
extern const DecodeKernels kSse2DecodeKernels;
extern const DecodeKernels kAvx2DecodeKernels;
extern const DecodeKernels kAvx512DecodeKernels;
#endif
#if defined(QORSTL_NEON_KERNELS) && defined(__aarch64__)
extern const DecodeKernels kNeonDecodeKernels;
#endif

namespace {

constexpr DecodeKernels kScalarDecodeKernels = {
    Isa::kScalar, 16, PortableAsciiPrefix, PortableValidPrefix, PortableDecode, DecodeTextGeneral};

}  // namespace

const DecodeKernels* DecodeKernelsFor(Isa isa) {
  if (!CpuRuns(isa)) return nullptr;
  switch (isa) {
    case Isa::kScalar:
      return &kScalarDecodeKernels;
#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
    case Isa::kSse2:
      return &kSse2DecodeKernels;
    case Isa::kAvx2:
      return &kAvx2DecodeKernels;
    case Isa::kAvx512:
      return &kAvx512DecodeKernels;
#endif
#if defined(QORSTL_NEON_KERNELS) && defined(__aarch64__)
    case Isa::kNeon:
      return &kNeonDecodeKernels;
#endif
    default:
      return nullptr;
  }
}

const DecodeKernels& PickDecodeKernels() {
  const DecodeKernels* const best = DecodeKernelsFor(BestIsa());
  return *best;
}

const DecodeKernels* const best_decode_kernels = &PickDecodeKernels();

}  // namespace internal
}  // namespace qor
