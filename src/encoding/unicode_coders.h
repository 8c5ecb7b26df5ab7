// The coders behind the encoding names "utf-8", "utf-16" and "utf-8-16": strict UTF-8 and UTF-16
// with the largest value 0x10FFFF. Private to the library.
#ifndef QORSTL_SRC_ENCODING_UNICODE_CODERS_H_
#define QORSTL_SRC_ENCODING_UNICODE_CODERS_H_

#include <string>

namespace qor {
namespace internal {

// Each converts the whole input and returns true, or returns false (with `out` unspecified) when
// any part of it does not convert: a malformed, overlong or cut-short sequence, a surrogate code
// point, a value above 0x10FFFF. Zero bytes and zero elements convert like any other unit.

// UTF-8 to one code point per element.
bool Utf8ToCodePoints(const std::string& text, std::wstring& out);
// Code points to UTF-8.
bool CodePointsToUtf8(const std::wstring& text, std::string& out);
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
