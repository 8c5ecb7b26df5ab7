// The UTF-8 encoding kernels of every level this build carries, and the pick of the best one.
#include "encoding/encode_kernels.h"
#include "encoding/portable_kernels.h"

namespace qor {
namespace internal {

// Defined by the kernel units, which exist only in x86-64 builds with the kernels enabled.
extern const EncodeKernels kEncodeSse2;
extern const EncodeKernels kEncodeAvx2;
extern const EncodeKernels kEncodeAvx512;
extern const EncodeKernels kEncodeNeon;  // aarch64 builds with the kernels enabled

namespace {

const EncodeKernels kEncodeScalar = {Isa::kScalar, PortableMeasure, PortableEncode, ToUtf16BeScalar,
                                     FromUtf16BeScalar};

}  // namespace

const EncodeKernels* EncodeKernelsFor(Isa isa) {
  if (!CpuRuns(isa)) return nullptr;
  switch (isa) {
#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
    case Isa::kSse2:
      return &kEncodeSse2;
    case Isa::kAvx2:
      return &kEncodeAvx2;
    case Isa::kAvx512:
      return &kEncodeAvx512;
#endif
#if defined(QORSTL_NEON_KERNELS) && defined(__aarch64__)
    case Isa::kNeon:
      return &kEncodeNeon;
#endif
    default:
      return isa == Isa::kScalar ? &kEncodeScalar : nullptr;
  }
}

const EncodeKernels& PickEncodeKernels() {
  const EncodeKernels* best = EncodeKernelsFor(BestIsa());
  if (best == nullptr) best = &kEncodeScalar;  // a level without tables of ours
  return *best;
}

const EncodeKernels* const best_encode_kernels = &PickEncodeKernels();

}  // namespace internal
}  // namespace qor
