// libqorstl: string utilities for C++ applications.
//
// UTF-8 / wide / UTF-16 / locale conversion, comparison with and without case, single- and
// multi-pattern search, slicing and tokenizing, trim and replace, printf-style formatting, number
// parsing and whole-file read/write. The library keeps no state: every function works only on its
// arguments, allocates only what it returns, and may be called from any number of threads at once.
//
// Everything lives in the namespace `qor`, except the UTF-8 codec: its two buffer entry points are
// plain C functions with unmangled names, and its two string overloads are in the global namespace.
//
// Conventions shared by every section:
//  - Narrow strings are byte strings; lengths and positions count bytes, and a zero byte is an
//    ordinary byte unless a function says it reads its argument as zero-terminated.
//  - Wide strings hold one Unicode code point per 32-bit element, unless a function says it holds
//    UTF-16 code units.
//  - Failures are answered with npos, -1, 0, false, an empty result or an unchanged output, as each
//    function states. Only the standard allocation and length errors leave the library.
//  - Case folding, formatting, number parsing and locale-named conversions follow the process's
//    current locale, which the library reads and never sets.
#ifndef QOR_QORSTL_H_
#define QOR_QORSTL_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// QOR_API marks the exported functions. Users of a static build define QORSTL_STATIC (the CMake
// package and the pkg-config file do so for them).
#if defined(QORSTL_STATIC)
#define QOR_API
#elif defined(_WIN32)
#if defined(QORSTL_BUILDING)
#define QOR_API __declspec(dllexport)
#else
#define QOR_API __declspec(dllimport)
#endif
#else
#define QOR_API __attribute__((visibility("default")))
#endif

static_assert(sizeof(wchar_t) == 4, "libqorstl needs a 32-bit wchar_t");

// ---- UTF-8 and wide-character codec -------------------------------------------------------------
// UTF-8 in its original 31-bit form: sequences of one to six bytes, values 1 to 0x7FFFFFFF.
// Overlong forms and values above 0x10FFFF pass; strict mode refuses only the lead bytes C0, C1, F5
// and FF, bytes that cannot start a sequence, sequences cut short, and surrogate values.
// Lengths, capacities and results count units of their own side (bytes or wide characters).

// Lenient mode: malformed input is skipped one byte (or one element) at a time instead of failing.
#define UTF8_SKIP_INVALID 1
// Every U+FEFF is left out of the output, wherever it stands.
#define UTF8_DROP_BOM 2

extern "C" {

// Decodes UTF-8 bytes into wide characters; with `dst` null only counts them (a measuring call).
// `src_len` 0 reads `src` up to its first zero byte; otherwise input ends after `src_len` bytes or
// at a zero byte that stands where a character would begin. Returns the number of elements, 0 on
// any failure (null `src`, `dst_cap` 0 with a `dst`, malformed input in strict mode, `dst` full).
// A measuring call counts surrogates and dropped U+FEFF, so it may exceed what a filling call
// writes. Never writes past `dst_cap`, never reads past the first zero byte; no terminator written.
// Example: utf8_to_wchar("A\xE2\x82\xAC", 4, buf, 2, 0) == 2, buf = {0x41, 0x20AC}.
QOR_API std::size_t utf8_to_wchar(const char* src, std::size_t src_len, wchar_t* dst,
                                  std::size_t dst_cap, int flags);

// Encodes wide characters as UTF-8 bytes; with `dst` null only counts the bytes (exactly).
// `src_len` 0 reads up to the first zero element. Surrogates and values of 0x80000000 and above
// fail in strict mode and are skipped in lenient mode. A sequence that does not fit in what is left
// of `dst_cap` fails the call before any of its bytes is written. Returns 0 on any failure.
// Example: wchar_to_utf8(L"\x10FFFF", 1, buf, 4, 0) == 4, buf = F4 8F BF BF.
QOR_API std::size_t wchar_to_utf8(const wchar_t* src, std::size_t src_len, char* dst,
                                  std::size_t dst_cap, int flags);

}  // extern "C"

// Strict decoding of `text` up to its end or its first zero byte; empty on any failure.
// Example: utf8_to_wchar(std::string("a\0b", 3)) == L"a".
QOR_API std::wstring utf8_to_wchar(const std::string& text);

// Strict encoding of `text` up to its end or its first zero element; empty on any failure.
// Example: wchar_to_utf8(std::wstring(1, 0x110000)) == "\xF4\x90\x80\x80".
QOR_API std::string wchar_to_utf8(const std::wstring& text);

namespace qor {

// ---- Unicode string conversions -----------------------------------------------------------------
// Three ways between UTF-8 and wide strings. to_utf8/to_utf16 are small loose coders for the Basic
// Multilingual Plane (no errors, zero bytes converted like any other); string_utf8_to_wstring and
// string_wstring_to_utf8 are the strict "utf-8" conversion by name below (error text on failure);
// string_utf8_wstring_to_string is the codec's strict 31-bit encoder (empty on failure).

// Each element to one, two or three UTF-8 bytes, surrogates included (0xD800 gives ED A0 80).
// An element above 0xFFFF (compared unsigned, so also one with the top bit set) is written as "?":
// the function never writes more than three bytes for an element. A zero element gives a zero byte.
// Example: to_utf8(L"A\u00E9\u20AC") == "A\xC3\xA9\xE2\x82\xAC"; to_utf8(L"\U0001F600") == "?".
QOR_API std::string to_utf8(const std::wstring& text);

// UTF-8 sequences of one to three bytes to one element each, "?" for any other byte (continuation
// bytes, F0..FF). Follow bytes are not checked: their top two bits are dropped (C3 41 gives 0xC1).
// A sequence cut short by the end reads the missing bytes as zero: a last byte C3 gives 0xC0, a
// last byte E2 gives 0x2000, E2 82 at the end gives 0x2080. Nothing past the text is read. Example:
// to_utf16("A\xF0\x9F\x98\x80") == L"A????".
QOR_API std::wstring to_utf16(const std::string& text);

// Strict UTF-8 (values up to 0x10FFFF, no overlong forms, no surrogates) to one code point per
// element; the whole text, zero bytes included. On failure the wide text
// "wstring_convert: from_bytes error". Same as string_string_to_wstring(text, "utf-8").
// Example: string_utf8_to_wstring("\xC3") == L"wstring_convert: from_bytes error".
QOR_API std::wstring string_utf8_to_wstring(const std::string& text);

// Code points to strict UTF-8; the whole text, zero elements included. A surrogate or a value
// above 0x10FFFF gives "wstring_convert: to_bytes error". Same as string_wstring_to_string(text,
// "utf-8"). Example: string_wstring_to_utf8(L"a\U0001F600") == "a\xF0\x9F\x98\x80".
QOR_API std::string string_wstring_to_utf8(const std::wstring& text);

// The codec's strict 31-bit encoding: values up to 0x7FFFFFFF in one to six bytes, ending at the
// first zero element; empty for a surrogate or a value of 0x80000000 or above.
// Example: string_utf8_wstring_to_string(L"a\x110000") == "a\xF4\x90\x80\x80".
QOR_API std::string string_utf8_wstring_to_string(const std::wstring& text);

// ---- Conversion by encoding name ----------------------------------------------------------------
// The whole text is converted, zero bytes and zero elements included; there is never a partial
// result. Names are compared byte for byte:
//   "utf-8"     UTF-8 <-> one code point per element (at most 0x10FFFF); "" means the same.
//   "utf-16"    UTF-16 big-endian bytes <-> code points; no byte-order mark written or consumed
//               (FE FF at the start decodes to U+FEFF).
//   "utf-8-16"  UTF-8 <-> UTF-16 code units, one element each (a surrogate pair above 0xFFFF).
//   any other   a locale name: that locale's multibyte encoding <-> its wide characters.
// The Unicode names refuse overlong forms, surrogate code points (encoded in UTF-8 or given as
// wide values), values above 0x10FFFF and sequences cut short by the end of the text.
// A failure returns a message in place of the text: "wstring_convert: from_bytes error" (widened
// byte by byte) or "wstring_convert: to_bytes error" for text that does not convert, the standard
// library's runtime error message for a name that no locale has (also for empty text), and the
// allocation error's message when memory runs out. Compare the result with these to detect them.

// A facet whose destructor is public, so that a converter can own and delete it.
// Example: std::wstring_convert<qor::deletable_facet<std::codecvt_byname<wchar_t, char,
// std::mbstate_t>>> convert(new qor::deletable_facet<...>("de_DE.UTF-8"));
template <class Facet>
class deletable_facet : public Facet {
 public:
  template <class... Args>
  explicit deletable_facet(Args&&... args) : Facet(std::forward<Args>(args)...) {}
  ~deletable_facet() override = default;
};

// `text` decoded from the encoding named `encoding`. With "utf-16" an odd number of bytes fails.
// With "utf-8-16" a code point above 0xFFFF becomes a surrogate pair of two elements.
// Example: string_string_to_wstring("\xF0\x9F\x98\x80", "utf-8-16") == L"\xD83D\xDE00".
QOR_API std::wstring string_string_to_wstring(const std::string& text, const std::string& encoding);

// `text` encoded into the encoding named `encoding`; a locale's stateful encoding is closed with
// its return to the initial shift state. With "utf-8-16" a surrogate must be half of a high-low
// pair; an element from 0x10000 to 0x10FFFF is taken as that code point (four UTF-8 bytes) and one
// above 0x10FFFF fails. Example: string_wstring_to_string(L"A\U0001F600", "utf-16") ==
// std::string("\x00\x41\xD8\x3D\xDE\x00", 6).
QOR_API std::string string_wstring_to_string(const std::wstring& text, const std::string& encoding);

// ---- Encoding classification and ASCII conversion -----------------------------------------------
// Byte-pattern tests of what a narrow string holds, and conversions between UTF-8 and a local
// encoding named as for string_string_to_wstring. A zero byte is an ordinary ASCII byte.

// True when no byte is 0x80 or above; true for the empty text.
// Example: string_is_ascii_string(std::string("A\0B", 3)) == true.
QOR_API bool string_is_ascii_string(const std::string& text);

// True when the text holds a byte of 0x80 or above and follows the 31-bit UTF-8 layout (one to six
// bytes a sequence, none cut short). Only bit patterns are checked: overlong forms, surrogates and
// values above 0x10FFFF pass. False for empty or pure ASCII text.
// Example: string_is_utf8_string("\xC0\x80") == true; string_is_utf8_string("\xC3") == false.
QOR_API bool string_is_utf8_string(const std::string& text);

// Performs no test: false for every text, also for one starting with a UTF-16 byte-order mark.
QOR_API bool string_is_utf16_string(const std::string& text);

// UTF-8 `text` converted to the encoding named `encoding`; empty or ASCII text is returned as it
// is, whatever the name. Otherwise the result (or the error text) of decoding with "utf-8" and
// encoding with `encoding`. Example: string_utf8_to_ascii("\xC3\xA9", "utf-16") ==
// std::string("\x00\xE9", 2).
QOR_API std::string string_utf8_to_ascii(const std::string& text, const std::string& encoding);

// `text` in the encoding named `encoding` converted to UTF-8; empty, ASCII and text that passes
// the UTF-8 layout test of string_is_utf8_string are returned as they are, whatever the name.
// Example: string_ascii_to_utf8("\xE9", "de_DE.ISO-8859-1") == "\xC3\xA9".
QOR_API std::string string_ascii_to_utf8(const std::string& text, const std::string& encoding);

// ---- Whole-file reading and writing -------------------------------------------------------------

// ---- Comparison ---------------------------------------------------------------------------------

// ---- Difference and ordering ------------------------------------------------------------------

// ---- Multi-pattern search -----------------------------------------------------------------------

// ---- Single-pattern find and slicing ------------------------------------------------------------

// ---- Replace and trim ---------------------------------------------------------------------------

// ---- Formatting and number parsing --------------------------------------------------------------

// ---- Builders and tokenizers --------------------------------------------------------------------

}  // namespace qor

#endif  // QOR_QORSTL_H_
