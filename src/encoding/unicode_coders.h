// The coders behind the encoding names "utf-8", "utf-16" and "utf-8-16": strict UTF-8 and UTF-16
// with the largest value 0x10FFFF. Private to the library.
#ifndef QORSTL_SRC_ENCODING_UNICODE_CODERS_H_
#define QORSTL_SRC_ENCODING_UNICODE_CODERS_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "encoding/utf8_rules.h"

namespace qor {
namespace internal {

// What the short conversions below return for a text that does not convert.
constexpr std::size_t kNotConverted = static_cast<std::size_t>(-1);

// Each converts the whole input and returns true, or returns false (with `out` unspecified) when
// any part of it does not convert: a malformed, overlong or cut-short sequence, a surrogate code
// point, a value above 0x10FFFF. Zero bytes and zero elements convert like any other unit.

// UTF-8 to one code point per element.
bool Utf8ToCodePoints(const std::string& text, std::wstring& out);
// The same for a text of up to kOnePassUtf8Bytes bytes, into out (room for one element a byte),
// so that the caller constructs its result from there: the count, or kNotConverted.
constexpr std::size_t kOnePassUtf8Bytes = 1024;
std::size_t ShortUtf8ToCodePoints(const std::string& text, wchar_t* out);
// Code points to UTF-8.
bool CodePointsToUtf8(const std::wstring& text, std::string& out);

// Texts of fewer elements than this are worth no kernel: the "utf-8" encoders take them in one
// inline loop, into a buffer of the caller's on the stack.
constexpr std::size_t kShortCodePoints = 16;

// The UTF-8 of the code points p[0, n), n < kShortCodePoints, written at out (room for four bytes
// an element): its byte count, or kNotConverted for a surrogate or a value above 0x10FFFF.
inline std::size_t ShortCodePointsToUtf8(const wchar_t* p, std::size_t n, unsigned char* out) {
  std::size_t w = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const auto c = static_cast<std::uint32_t>(p[i]);
    if (c < 0x80) {  // zero included: it is the byte 00
      out[w++] = static_cast<unsigned char>(c);
      continue;
    }
    if (IsSurrogate(c) || c > 0x10FFFF) return kNotConverted;
    const unsigned length = EncodedLength(c);
    WriteSequence(c, length, out + w);
    w += length;
  }
  return w;
}
// UTF-8 to UTF-16 code units, one per element (a surrogate pair above 0xFFFF).
bool Utf8ToUtf16Units(const std::string& text, std::wstring& out);
// UTF-16 code units to UTF-8. A surrogate must be half of a high-low pair; an element from
// 0x10000 to 0x10FFFF is taken as that code point.
bool Utf16UnitsToUtf8(const std::wstring& text, std::string& out);
// UTF-16 big-endian bytes (no byte-order mark) to code points. An odd byte count fails.
bool Utf16BeToCodePoints(const std::string& text, std::wstring& out);
// Code points to UTF-16 big-endian bytes, without a byte-order mark.
bool CodePointsToUtf16Be(const std::wstring& text, std::string& out);

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_UNICODE_CODERS_H_
