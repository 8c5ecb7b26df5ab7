// Fuzzes the encoding classification, the ASCII conversions and the loose BMP coders against
// models written from their rules: the ASCII test (which checks eight bytes at a time) against a
// byte loop at every alignment, the UTF-8 layout test against its state machine, to_utf8/to_utf16
// against their per-element rules, and the ASCII conversions against the two conversions by name
// they chain. Input: the text; the same bytes, four to an element, are the wide text.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_util.h"
#include "qor/qorstl.h"

namespace {

using qor_fuzz::Check;

bool ModelIsAscii(const std::string& text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

// The 31-bit UTF-8 layout by bit patterns, with at least one byte of 0x80 or above.
bool ModelIsUtf8(const std::string& text) {
  int expected = 0;
  bool all_ascii = true;
  for (char c : text) {
    const auto b = static_cast<unsigned char>(c);
    if (b >= 0x80) all_ascii = false;
    if (expected > 0) {
      if ((b & 0xC0) != 0x80) return false;
      --expected;
    } else if (b >= 0x80) {
      int ones = 0;
      while (ones < 8 && (b & (0x80 >> ones)) != 0) ++ones;
      if (ones == 1 || ones >= 7) return false;
      expected = ones - 1;
    }
  }
  return !text.empty() && expected == 0 && !all_ascii;
}

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

  // Classification; the word-at-a-time ASCII test at every alignment of its first word.
  for (std::size_t skip = 0; skip < 8 && skip <= text.size(); ++skip) {
    const std::string tail = text.substr(skip);
    Check(qor::string_is_ascii_string(tail) == ModelIsAscii(tail), "string_is_ascii_string");
  }
  const bool is_ascii = ModelIsAscii(text);
  const bool is_utf8 = ModelIsUtf8(text);
  Check(qor::string_is_utf8_string(text) == is_utf8, "string_is_utf8_string");
  Check(!qor::string_is_utf16_string(text), "string_is_utf16_string");

  // The loose coders.
  Check(qor::to_utf16(text) == ModelToUtf16(text), "to_utf16");
  Check(qor::to_utf8(wide) == ModelToUtf8(wide), "to_utf8");

  // The named shortcuts are their conversions by name and the codec's overload.
  const std::wstring code_points = qor::string_string_to_wstring(text, "utf-8");
  Check(qor::string_utf8_to_wstring(text) == code_points, "string_utf8_to_wstring");
  Check(qor::string_wstring_to_utf8(wide) == qor::string_wstring_to_string(wide, "utf-8"),
        "string_wstring_to_utf8");
  Check(qor::string_utf8_wstring_to_string(wide) == wchar_to_utf8(wide),
        "string_utf8_wstring_to_string");

  // The ASCII conversions: text that needs no conversion comes back as it is, whatever the name;
  // anything else goes through the two conversions by name.
  for (const char* name : {"utf-8", "utf-16", "utf-8-16", "", "qor-no-such-locale"}) {
    const std::string to_local = qor::string_utf8_to_ascii(text, name);
    if (is_ascii) {
      Check(to_local == text, "string_utf8_to_ascii keeps ASCII text");
    } else {
      Check(to_local == qor::string_wstring_to_string(code_points, name),
            "string_utf8_to_ascii chains the conversions");
    }
    const std::string to_utf8 = qor::string_ascii_to_utf8(text, name);
    if (is_ascii || is_utf8) {
      Check(to_utf8 == text, "string_ascii_to_utf8 keeps ASCII and UTF-8 text");
    } else {
      Check(to_utf8 ==
                qor::string_wstring_to_string(qor::string_string_to_wstring(text, name), "utf-8"),
            "string_ascii_to_utf8 chains the conversions");
    }
  }
  return 0;
}
