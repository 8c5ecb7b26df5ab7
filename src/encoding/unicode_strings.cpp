// Unicode string conversions: the loose BMP coders to_utf8/to_utf16 and the named shortcuts.
#include <cstdint>
#include <string>

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
  std::wstring result;
  result.reserve(n);
  std::size_t i = 0;
  while (i < n) {
    const std::uint32_t b = p[i];
    if (b < 0x80) {
      result.push_back(static_cast<wchar_t>(b));
      i += 1;
    } else if ((b & 0xE0u) == 0xC0u) {
      result.push_back(static_cast<wchar_t>(((b & 0x1Fu) << 6) | (follow(i + 1) & 0x3Fu)));
      i += 2;
    } else if ((b & 0xF0u) == 0xE0u) {
      result.push_back(static_cast<wchar_t>(((b & 0x0Fu) << 12) | ((follow(i + 1) & 0x3Fu) << 6) |
                                            (follow(i + 2) & 0x3Fu)));
      i += 3;
    } else {
      result.push_back(L'?');
      i += 1;
    }
  }
  return result;
}

std::wstring string_utf8_to_wstring(const std::string& text) {
  return string_string_to_wstring(text, "utf-8");
}

std::string string_wstring_to_utf8(const std::wstring& text) {
  return string_wstring_to_string(text, "utf-8");
}

std::string string_utf8_wstring_to_string(const std::wstring& text) {
  return ::wchar_to_utf8(text);
}

}  // namespace qor
