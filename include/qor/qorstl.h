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

// ---- Conversion by encoding name ----------------------------------------------------------------

// ---- Encoding classification and ASCII conversion -----------------------------------------------

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
