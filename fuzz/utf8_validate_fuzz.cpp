// Fuzzes the standard UTF-8 checks: at every level this CPU runs, string_utf8_find_invalid under
// both rule sets and string_is_utf8_string must give what the portable level gives, which is the
// rule walked sequence by sequence; and what a kernel passes by itself must be well-formed text
// ending where a sequence ends. The input is read at every offset of its first 64 bytes, so that
// the last block of the text meets every alignment.
#include <cstdint>
#include <cstring>
#include <memory>

#include "encoding/validate_kernels.h"
#include "fuzz_util.h"

using qor::internal::Isa;
using qor::internal::ValidateKernels;
using qor::internal::ValidateKernelsFor;
using qor_fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::unique_ptr<unsigned char[]> copy(
      new unsigned char[size + 1]);  // no read past it goes unseen
  std::memcpy(copy.get(), data, size);
  const ValidateKernels& rule = *ValidateKernelsFor(Isa::kScalar);
  const auto& decode = *qor::internal::DecodeKernelsFor(Isa::kScalar);
  for (std::size_t skip = 0; skip < 64 && skip <= size; skip += skip < 4 ? 1 : 5) {
    const unsigned char* p = copy.get() + skip;
    const std::size_t n = size - skip;
    const std::size_t standard = FindInvalidWith(rule, p, n, true);
    const std::size_t codec = FindInvalidWith(rule, p, n, false);
    const bool utf8 = IsUtf8TextWith(rule, &decode, p, n);
    for (Isa isa : {Isa::kSse2, Isa::kAvx2, Isa::kAvx512, Isa::kNeon}) {
      const ValidateKernels* k = ValidateKernelsFor(isa);
      if (k == nullptr) continue;
      Check(FindInvalidWith(*k, p, n, true) == standard, "string_utf8_find_invalid, standard");
      Check(FindInvalidWith(*k, p, n, false) == codec, "string_utf8_find_invalid, codec");
      Check(IsUtf8TextWith(*k, qor::internal::DecodeKernelsFor(isa), p, n) == utf8,
            "string_is_utf8_string");
      bool high = false;
      const std::size_t prefix = k->standard_prefix(p, n, high);
      Check(prefix <= n && FindInvalidWith(rule, p, prefix, true) == std::size_t(-1),
            "the kernel passes only well-formed text");
      Check(prefix == n || standard != std::size_t(-1), "the kernel passes well-formed text");
    }
  }
  return 0;
}
