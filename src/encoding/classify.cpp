// Encoding classification of narrow strings, and conversion between UTF-8 and a local encoding.
#include <cstdint>
#include <cstring>
#include <string>

#include "encoding/decode_kernels.h"
#include "encoding/utf8_rules.h"
#include "encoding/validate_kernels.h"
#include "qor/qorstl.h"

namespace {

using qor::internal::BestDecodeKernels;
using qor::internal::DecodeKernels;

// The 31-bit UTF-8 layout by bit patterns alone: every lead byte C0..FD is followed by as many
// continuation bytes as its leading one bits announce, less one, and no sequence is cut short.
// Says nothing about whether any byte was 0x80 or above. Standard UTF-8 has this layout, so the
// kernel settles what it can prove standard, and the rule walks the rest.
bool HasUtf8Layout(const unsigned char* p, std::size_t n, const DecodeKernels& kernels) {
  std::size_t i = 0;
  while (i < n) {
    i += kernels.valid_prefix(p + i, n - i);
    const std::size_t stop = n - i > kernels.block ? i + kernels.block : n;
    unsigned expected_continuations = 0;
    for (; i < n && (i < stop || expected_continuations != 0); ++i) {
      const unsigned b = p[i];
      if (expected_continuations > 0) {
        if (!qor::internal::IsContinuation(p[i])) return false;
        --expected_continuations;
      } else if (b >= 0x80) {
        unsigned leading_ones = 0;
        while (leading_ones < 8 && (b & (0x80u >> leading_ones)) != 0) ++leading_ones;
        if (leading_ones == 1 || leading_ones >= 7) return false;  // 80..BF, FE, FF
        expected_continuations = leading_ones - 1;
      }
    }
    if (expected_continuations != 0) return false;  // cut short by the end
  }
  return true;
}

}  // namespace

namespace qor {
namespace internal {

// Out of line: the common text never gets here.
[[gnu::noinline]] bool IsUtf8StringWith(const DecodeKernels& kernels, const unsigned char* p,
                                        std::size_t n) {
  // The ASCII prefix leaves the layout test where it starts: no continuation expected.
  const std::size_t ascii = kernels.ascii_prefix(p, n);
  return ascii != n && HasUtf8Layout(p + ascii, n - ascii, kernels);
}

// Standard UTF-8 has the layout, so only a text the standard check refused needs the layout test.
bool IsUtf8Layout(const unsigned char* p, std::size_t n) {
  return IsUtf8StringWith(BestDecodeKernels(), p, n);
}

bool IsUtf8TextWith(const ValidateKernels& validate, const DecodeKernels* decode,
                    const unsigned char* p, std::size_t n) {
  if (n <= kShortAsciiText && ShortIsAscii(p, n)) return false;
  if (decode == nullptr) return validate.is_utf8(p, n);
  bool high = false;
  if (validate.standard_prefix(p, n, high) == n) return high;
  return IsUtf8StringWith(*decode, p, n);
}

}  // namespace internal
}  // namespace qor

namespace {

const unsigned char* Bytes(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

namespace qor {

bool string_is_ascii_string(const std::string& text) {
  return internal::BestDecodeKernels().ascii_prefix(Bytes(text), text.size()) == text.size();
}

bool string_is_utf8_string(const std::string& text) {
  return internal::IsUtf8TextWith(internal::BestValidateKernels(), nullptr, Bytes(text),
                                  text.size());
}

bool string_is_utf16_string(const std::string& /*text*/) {
  return false;
}

std::string string_utf8_to_ascii(const std::string& text, const std::string& encoding) {
  if (string_is_ascii_string(text)) return text;
  return string_wstring_to_string(string_string_to_wstring(text, "utf-8"), encoding);
}

std::string string_ascii_to_utf8(const std::string& text, const std::string& encoding) {
  if (string_is_ascii_string(text)) return text;
  if (string_is_utf8_string(text)) return text;  // UTF-8 already (it holds a high byte by now)
  return string_wstring_to_string(string_string_to_wstring(text, encoding), "utf-8");
}

}  // namespace qor
