// Fuzzes the Unicode string conversions against models written from their rules: to_utf8 and
// to_utf16 per element, and the named shortcuts against the conversions by name and the codec they
// stand for. Input: the text; the same bytes, four to an element, are the wide text.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_util.h"
#include "qor/qorstl.h"

namespace {

using qor_fuzz::Check;

std::string ModelToUtf8(const std::wstring& text) {
  std::string out;
  for (wchar_t element : text) {
    const auto c = static_cast<std::uint32_t>(element);
    if (c <= 0x7F) {
      out += static_cast<char>(c);
    } else if (c <= 0x7FF) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c <= 0xFFFF) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += '?';
    }
  }
  return out;
}

std::wstring ModelToUtf16(const std::string& text) {
  // A follow byte missing at the end reads as zero.
  const auto at = [&text](std::size_t i) -> std::uint32_t {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
  };
  std::wstring out;
  for (std::size_t p = 0; p < text.size();) {
    const std::uint32_t b = at(p);
    if (b < 0x80) {
      out += static_cast<wchar_t>(b);
      p += 1;
    } else if ((b & 0xE0) == 0xC0) {
      out += static_cast<wchar_t>((b & 0x1F) << 6 | (at(p + 1) & 0x3F));
      p += 2;
    } else if ((b & 0xF0) == 0xE0) {
      out += static_cast<wchar_t>((b & 0x0F) << 12 | (at(p + 1) & 0x3F) << 6 | (at(p + 2) & 0x3F));
      p += 3;
    } else {
      out += L'?';
      p += 1;
    }
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::wstring wide(size / 4, L'\0');
  if (!wide.empty()) std::memcpy(&wide[0], data, wide.size() * sizeof(wchar_t));

  // The loose coders.
  Check(qor::to_utf16(text) == ModelToUtf16(text), "to_utf16");
  Check(qor::to_utf8(wide) == ModelToUtf8(wide), "to_utf8");

  // The named shortcuts are their conversions by name and the codec's overload.
  Check(qor::string_utf8_to_wstring(text) == qor::string_string_to_wstring(text, "utf-8"),
        "string_utf8_to_wstring");
  Check(qor::string_wstring_to_utf8(wide) == qor::string_wstring_to_string(wide, "utf-8"),
        "string_wstring_to_utf8");
  Check(qor::string_utf8_wstring_to_string(wide) == wchar_to_utf8(wide),
        "string_utf8_wstring_to_string");
  return 0;
}
