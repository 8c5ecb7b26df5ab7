// The byte scans of the portable level, and the one place that picks the table of a level.
#include "search/scan_kernels.h"

namespace qor {
namespace internal {

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
extern const ScanKernels kScanSse2;
extern const ScanKernels kScanAvx2;
#endif
#if defined(QORSTL_NEON_KERNELS) && defined(__aarch64__)
extern const ScanKernels kScanNeon;
#endif

namespace {

std::size_t CountByteScalar(const unsigned char* p, std::size_t n, unsigned char c) {
  return CountByteRule(p, n, c);
}

std::size_t LastByteScalar(const unsigned char* p, std::size_t n, unsigned char c) {
  return LastByteRule(p, n, c);
}

std::size_t DecodedRoomScalar(const unsigned char* p, std::size_t n, bool units) {
  return DecodedRoomRule(p, n, units);
}

// No byte-set kernel: the sets keep to their map.
constexpr ScanKernels kScanScalar = {Isa::kScalar,    nullptr,        MemchrScanFrom,
                                     CountByteScalar, LastByteScalar, DecodedRoomScalar};

}  // namespace

const ScanKernels* ScanKernelsFor(Isa isa) {
  if (!CpuRuns(isa)) return nullptr;
  switch (isa) {
#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__)
    case Isa::kSse2:
      return &kScanSse2;
    case Isa::kAvx2:
    case Isa::kAvx512:  // the AVX2 kernels
      return &kScanAvx2;
#endif
#if defined(QORSTL_NEON_KERNELS) && defined(__aarch64__)
    case Isa::kNeon:
      return &kScanNeon;
#endif
    default:
      return &kScanScalar;
  }
}

}  // namespace internal
}  // namespace qor
