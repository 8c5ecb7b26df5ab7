// Encoding classification of narrow strings, and conversion between UTF-8 and a local encoding.
#include <cstdint>
#include <cstring>
#include <string>

#include "qor/qorstl.h"

namespace {

// Index of the first byte of 0x80 or above in p[0, n), or n. Eight bytes at a time; the plain
// loop finds the byte inside the first word that holds one, and takes the last bytes.
std::size_t FirstHighByte(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  for (; n - i >= 8; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, p + i, sizeof word);
    if ((word & 0x8080808080808080ull) != 0) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// The 31-bit UTF-8 layout by bit patterns alone: every lead byte C0..FD is followed by as many
// continuation bytes as its leading one bits announce, less one, and no sequence is cut short.
// Says nothing about whether any byte was 0x80 or above.
bool HasUtf8Layout(const unsigned char* p, std::size_t n) {
  unsigned expected_continuations = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned b = p[i];
    if (expected_continuations > 0) {
      if ((b & 0xC0u) != 0x80u) return false;
      --expected_continuations;
    } else if (b >= 0x80) {
      unsigned leading_ones = 0;
      while (leading_ones < 8 && (b & (0x80u >> leading_ones)) != 0) ++leading_ones;
      if (leading_ones == 1 || leading_ones >= 7) return false;  // 80..BF, FE, FF
      expected_continuations = leading_ones - 1;
    }
  }
  return expected_continuations == 0;
}

const unsigned char* Bytes(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

namespace qor {

bool string_is_ascii_string(const std::string& text) {
  return FirstHighByte(Bytes(text), text.size()) == text.size();
}

bool string_is_utf8_string(const std::string& text) {
  return !string_is_ascii_string(text) && HasUtf8Layout(Bytes(text), text.size());
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
  if (HasUtf8Layout(Bytes(text), text.size())) return text;  // UTF-8 already
  return string_wstring_to_string(string_string_to_wstring(text, encoding), "utf-8");
}

}  // namespace qor
