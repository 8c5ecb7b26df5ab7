// Where a text stops being UTF-8: the position of its first malformed sequence, under the standard
// rules or under the codec's 31-bit rules. The best validation kernel passes the well-formed
// standard text; the rule finds the exact position in what it refuses.
#include <cstdint>
#include <string>

#include "encoding/utf8_rules.h"
#include "encoding/validate_kernels.h"
#include "qor/qorstl.h"

namespace qor {
namespace internal {

namespace {

// Length of the sequence at p as the codec's strict decoder accepts it (one to six bytes,
// overlong forms and values up to 0x7FFFFFFF, but not the leads C0, C1, F5, FF nor surrogates),
// or 0 when it refuses it. A zero byte is an ordinary one-byte sequence here.
unsigned CodecSequence(const unsigned char* p, std::size_t left) {
  const unsigned char b = p[0];
  if (b < 0x80) return 1;
  if (b == 0xC0 || b == 0xC1 || b == 0xF5 || b == 0xFF) return 0;
  const unsigned n = kSequenceLengths.of[b];
  if (n == 0 || left < n || !ContinuationsFollow(p, n)) return 0;
  return IsSurrogate(SequenceValue(p, n)) ? 0 : n;
}

}  // namespace

// Standard UTF-8 is well-formed under both rules, so the kernel's prefix stands for either. Where
// it stops (at `pos`), the rule walks on past the block it refused (a block and a sequence) before
// the kernel takes over again: under the codec's rules the block may hold nothing the codec
// refuses. Out of line: the common text never gets here.
[[gnu::noinline]] std::size_t FindInvalidAfter(StandardPrefixFn prefix, const unsigned char* p,
                                               std::size_t n, bool standard, std::size_t pos) {
  for (;;) {
    const std::size_t stop = n - pos > 72 ? pos + 72 : n;
    while (pos < stop) {
      const unsigned length =
          standard ? StandardSequence(p + pos, n - pos) : CodecSequence(p + pos, n - pos);
      if (length == 0) return pos;
      pos += length;
    }
    if (pos == n) return std::string::npos;
    bool high = false;
    pos += prefix(p + pos, n - pos, high);
    if (pos == n) return std::string::npos;
  }
}

std::size_t FindInvalidWith(const ValidateKernels& kernels, const unsigned char* p, std::size_t n,
                            bool standard) {
  if (n <= kShortAsciiText && ShortIsAscii(p, n)) return std::string::npos;
  return kernels.find_invalid(p, n, standard);
}

}  // namespace internal

std::size_t string_utf8_find_invalid(const std::string& text, bool standard) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  return internal::FindInvalidWith(internal::BestValidateKernels(), p, text.size(), standard);
}

}  // namespace qor
