// The decoding kernels of every level this build carries, the portable one included, and the one
// place that picks among them.
#include <cstring>

#include "encoding/decode_kernels.h"

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

// Eight bytes at a time; the plain loop finds the byte inside the first word that holds one.
std::size_t ScalarAsciiPrefix(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  for (; n - i >= 8; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, p + i, sizeof word);
    if ((word & 0x8080808080808080ull) != 0) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// The portable level settles runs of ASCII and leaves the rest to the caller's rule.
std::size_t ScalarValidPrefix(const unsigned char* p, std::size_t n) {
  return ScalarAsciiPrefix(p, n);
}

DecodeStep ScalarDecode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                        unsigned /*options*/) {
  const std::size_t limit = out != nullptr && room < n ? room : n;
  std::size_t i = 0;
  while (i < limit && static_cast<unsigned char>(p[i] - 1) < 0x7F) {
    if (out != nullptr) out[i] = static_cast<wchar_t>(p[i]);
    ++i;
  }
  return {i, i};
}

constexpr DecodeKernels kScalarDecodeKernels = {Isa::kScalar, 16, ScalarAsciiPrefix,
                                                ScalarValidPrefix, ScalarDecode};

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

const DecodeKernels& BestDecodeKernels() {
  // Resolved once, on first use, from what the C runtime knows of the CPU; read-only after.
  static const DecodeKernels* const best = DecodeKernelsFor(BestIsa());
  return *best;
}

}  // namespace internal
}  // namespace qor
