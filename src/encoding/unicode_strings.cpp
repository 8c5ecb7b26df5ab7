// Unicode string conversions: the loose BMP coders to_utf8/to_utf16 and the 31-bit shortcut.
#include <algorithm>
#include <cstdint>
#include <string>

#include "encoding/decode_kernels.h"
#include "encoding/encode_kernels.h"
#include "qor/qorstl.h"

namespace qor {

std::string to_utf8(const std::wstring& text) {
  return internal::BmpUnitsToUtf8(text);
}

std::wstring to_utf16(const std::string& text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  // A byte missing at the end reads as zero, as the string's terminator would; nothing past the
  // text is read, so a three-byte lead as the last byte gets both its follow bytes as zero.
  const auto follow = [p, n](std::size_t k) -> std::uint32_t { return k < n ? p[k] : 0u; };
  if (n == 0) return std::wstring();
  std::wstring result(n, L'\0');  // at most one element a byte
  wchar_t* const out = &result[0];
  // Plain standard UTF-8 of one to three bytes a sequence decodes the same under the loose rule,
  // so the best kernel settles such blocks first.
  const internal::DecodeKernels& kernels = internal::BestDecodeKernels();
  // Each time the kernel refuses its first block the rule alone goes twice as far before the next
  // try, up to 16 blocks: text full of four-byte sequences does not pay a refused call per block.
  std::size_t i = 0;
  std::size_t w = 0;
  std::size_t rule_until = 0;
  std::size_t alone = kernels.block;
  while (i < n) {
    if (i >= rule_until) {
      const internal::DecodeStep step =
          kernels.decode(p + i, n - i, out + w, n - w, internal::kDecodeBmpOnly);
      i += step.read;
      w += step.written;
      if (i == n) break;
      alone = step.read != 0 ? kernels.block : std::min(2 * alone, 16 * kernels.block);
      rule_until = i + alone;
    }
    const std::uint32_t b = p[i];
    if (b < 0x80) {
      out[w++] = static_cast<wchar_t>(b);
      i += 1;
    } else if ((b & 0xE0u) == 0xC0u) {
      out[w++] = static_cast<wchar_t>(((b & 0x1Fu) << 6) | (follow(i + 1) & 0x3Fu));
      i += 2;
    } else if ((b & 0xF0u) == 0xE0u) {
      out[w++] = static_cast<wchar_t>(((b & 0x0Fu) << 12) | ((follow(i + 1) & 0x3Fu) << 6) |
                                      (follow(i + 2) & 0x3Fu));
      i += 3;
    } else {
      out[w++] = L'?';
      i += 1;
    }
  }
  result.resize(w);
  return result;
}

std::string string_utf8_wstring_to_string(const std::wstring& text) {
  return ::wchar_to_utf8(text);
}

}  // namespace qor
