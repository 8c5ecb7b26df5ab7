// Fuzzes the UTF-8 reading kernels: every level this CPU runs must agree with the portable level,
// which settles only ASCII and leaves everything else to the rules, on the codec (both modes, both
// flags, measuring and filling with the counted capacity, one less and one more, the same buffer
// contents, nothing written past the capacity), on the UTF-8 test, and on what each kernel settles
// by itself.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "encoding/decode_kernels.h"

using qor::internal::DecodeKernels;
using qor::internal::DecodeKernelsFor;
using qor::internal::Isa;

namespace {

constexpr wchar_t kGuard = 0x5A5A5A;

void Require(bool ok) {
  if (!ok) std::abort();
}

// Runs the codec with kernel k into a guarded buffer of `cap` elements (0: measuring). Returns the
// whole buffer: a value the rules withdraw (U+FEFF dropped, a lenient surrogate) stays stored
// behind the result, so the buffers of two levels must agree everywhere.
std::vector<wchar_t> Run(const DecodeKernels& k, const char* src, std::size_t len, std::size_t cap,
                         int flags, std::size_t& result) {
  std::vector<wchar_t> out(cap + 1, kGuard);
  result = qor::internal::Utf8ToWcharWith(k, src, len, cap != 0 ? out.data() : nullptr, cap, flags);
  Require(out[cap] == kGuard);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;  // a zero length would mean a zero-terminated input
  const int flags = data[0] & 3;
  const unsigned options = (data[0] >> 2) & 3;
  const std::size_t len = size - 1;
  std::unique_ptr<char[]> copy(new char[len]);  // exactly the input, so reads past it are seen
  std::memcpy(copy.get(), data + 1, len);
  const auto* bytes = reinterpret_cast<const unsigned char*>(copy.get());

  const DecodeKernels& rule = *DecodeKernelsFor(Isa::kScalar);
  std::size_t measured = 0;
  Run(rule, copy.get(), len, 0, flags, measured);
  const bool is_utf8 = qor::internal::IsUtf8StringWith(rule, bytes, len);
  for (Isa isa : {Isa::kSse2, Isa::kAvx2, Isa::kAvx512, Isa::kNeon}) {
    const DecodeKernels* k = DecodeKernelsFor(isa);
    if (k == nullptr) continue;
    std::size_t got = 0;
    Run(*k, copy.get(), len, 0, flags, got);
    Require(got == measured);
    for (std::size_t cap : {measured, measured + 1, measured - 1}) {
      if (cap == 0 || cap == std::size_t(-1)) continue;
      std::size_t want_result = 0, got_result = 0;
      const std::vector<wchar_t> want = Run(rule, copy.get(), len, cap, flags, want_result);
      const std::vector<wchar_t> have = Run(*k, copy.get(), len, cap, flags, got_result);
      Require(got_result == want_result);
      Require(have == want);
    }
    Require(qor::internal::IsUtf8StringWith(*k, bytes, len) == is_utf8);
    // What the kernel settles by itself is what the portable rules give for those bytes.
    const std::size_t valid = k->valid_prefix(bytes, len);
    Require(valid <= len);
    if (valid > 0) {
      Require(qor::internal::IsUtf8StringWith(rule, bytes, valid) ||
              k->ascii_prefix(bytes, valid) == valid);
    }
    std::vector<wchar_t> out(len + 1, kGuard);
    const qor::internal::DecodeStep step = k->decode(bytes, len, out.data(), len, options);
    Require(step.read <= len && step.written <= step.read);
    for (std::size_t i = step.written; i < out.size(); ++i) Require(out[i] == kGuard);
    if (step.read > 0) {
      std::size_t strict = 0;
      std::vector<wchar_t> again = Run(rule, copy.get(), step.read, step.written, 0, strict);
      Require(strict == step.written);
      Require(std::memcmp(again.data(), out.data(), step.written * sizeof(wchar_t)) == 0);
    }
  }
  return 0;
}
