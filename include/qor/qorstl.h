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
// Three-way comparisons handed to the C library: `case_sensitive` true picks strcmp / strncmp /
// wcscmp / wcsncmp, false picks their strcasecmp family counterparts (case folded by the current
// locale). Results from the C library are passed on unchanged, so only their sign means anything.
// Text is read up to its first zero element: a string holding one compares as its part before it.

// Compares two zero-terminated texts; neither pointer may be null.
// Example: qor_strcmp("abc", "ABC", false) == 0, qor_strcmp("abc", "ABC", true) > 0.
QOR_API int qor_strcmp(const char* a, const char* b, bool case_sensitive);

// Compares at most `n` bytes; `n` is widened with its sign, so 0 yields 0 and a negative `n`
// compares like qor_strcmp. Neither pointer may be null.
// Example: qor_strncmp("abcd", "abcx", 3, true) == 0.
QOR_API int qor_strncmp(const char* a, const char* b, int n, bool case_sensitive);

// Compares two zero-terminated wide texts; neither pointer may be null.
// Example: qor_wcscmp(L"abc", L"ABD", false) < 0.
QOR_API int qor_wcscmp(const wchar_t* a, const wchar_t* b, bool case_sensitive);

// Compares at most `n` wide characters; `n` is widened with its sign as in qor_strncmp.
// Example: qor_wsncmp(L"ab1", L"ab2", 2, true) == 0.
QOR_API int qor_wsncmp(const wchar_t* a, const wchar_t* b, int n, bool case_sensitive);

// Compares the two strings' zero-terminated buffers in place.
// Example: string_compare("Apple", "apple", false) == 0, and < 0 with case_sensitive true.
QOR_API int string_compare(const std::string& a, const std::string& b, bool case_sensitive);

// As above with a pointer second; a null `b` counts as empty and yields a's length as an int (its
// low 32 bits), without comparing. Example: string_compare("hello", nullptr, true) == 5.
QOR_API int string_compare(const std::string& a, const char* b, bool case_sensitive);

// As above with a pointer first; a null `a` yields minus b's length (the 32-bit value negated).
// Example: string_compare(nullptr, "hello", false) == -5.
QOR_API int string_compare(const char* a, const std::string& b, bool case_sensitive);

// Wide counterpart of string_compare on two strings.
// Example: wstring_compare(L"ABC", L"abc", false) == 0.
QOR_API int wstring_compare(const std::wstring& a, const std::wstring& b, bool case_sensitive);

// Wide, pointer second; a null `b` yields a's length in wide characters (low 32 bits, as an int).
// Example: wstring_compare(L"\u00e9t\u00e9", nullptr, true) == 3.
QOR_API int wstring_compare(const std::wstring& a, const wchar_t* b, bool case_sensitive);

// Wide, pointer first; a null `a` yields minus b's length in wide characters.
// Example: wstring_compare(nullptr, L"ab", true) == -2.
QOR_API int wstring_compare(const wchar_t* a, const std::wstring& b, bool case_sensitive);

// True when `part` occurs in `text` with the ASCII letters of both folded to lower case; bytes
// 0x80 and above are never folded, zero bytes match like any other byte.
// An empty `part` or an empty `text` gives false. Example: ("Hello World", "WORLD") is true.
QOR_API bool string_containsIgnoreCase(const std::string& text, const std::string& part);

// ---- Difference and ordering ------------------------------------------------------------------
// Comparisons that count lengths: in string_diff a proper prefix orders first. Lengths are bytes;
// the count handed to strncmp / strncasecmp is the length cut to 32 bits and widened with its sign.
// The predicates never fold case and compare bytes as unsigned values; they are strict weak orders.

// Three-way comparison over the common length by strncmp / strncasecmp; when that finds no
// difference, the result is exactly la - lb (low 32 bits of each). Example: ("abc", "ab") == 1.
QOR_API int string_diff(const std::string& a, const std::string& b, bool case_sensitive);

// As above with the pointer's text second: when it agrees over a's length the result is exactly
// minus its next byte (0..255), so 0 or negative; a null `b` yields a's length.
// If the pointer's text ends before a's length (a holds a zero byte and the texts agree up to it),
// the result is 0: nothing past the pointer's terminator is read. Example: ("ab", "abc") == -99.
QOR_API int string_diff(const std::string& a, const char* b, bool case_sensitive);

// Mirror of the form above with the pointer's text first: plus its next byte, or minus b's length
// for a null `a`; 0 when the pointer's text ends before b's length. Example: ("abc", "ab") == 99.
QOR_API int string_diff(const char* a, const std::string& b, bool case_sensitive);

// True when `a` is shorter than `b`; false both ways for equal lengths.
// Example: less_len("ab", "cd") and less_len("cd", "ab") are false.
QOR_API bool less_len(const std::string& a, const std::string& b);

// True when `a` is longer than `b`; false both ways for equal lengths.
// Example: great_len("abc", "zz") is true.
QOR_API bool great_len(const std::string& a, const std::string& b);

// True when `a` orders after `b` byte by byte as unsigned values, a proper prefix first (a > b).
// Zero bytes take part; case counts. Example: greater("b", "abc"), greater("\xC3", "z") hold.
QOR_API bool greater(const std::string& a, const std::string& b);

// Index of the first entry of `list` equal to `text` (`match_prefix` false) or that `text` begins
// with (true; an empty entry matches any text); -1 when none does or the list is empty.
// Example: string_compare_one_of("hello", {"he", "hello"}, true) == 0, and == 1 with false.
QOR_API int string_compare_one_of(const std::string& text, const std::vector<std::string>& list,
                                  bool match_prefix);

// ---- Multi-pattern search -----------------------------------------------------------------------
// Byte-exact, no case folding. Each pattern is found at its first occurrence; an empty pattern
// occurs at 0, also in an empty text, and a pattern longer than the text never occurs. `index`
// reports the winner's place in the caller's list. A list too long for the 32-bit `index` is
// searched only over the entries that `index` can name: the first 4294967295 (first 2147483648
// for string_find_first_one_of); later entries are ignored.

// First pattern in list order that occurs anywhere in `text`: its position, with `index` set to
// its place. On a miss returns npos with `index` = number of patterns (0 for an empty list).
// Example: text "xx bc abc", patterns {"abc", "bc"}: returns 6, index 0.
QOR_API std::size_t string_seq_find(const std::string& text,
                                    const std::vector<std::string>& patterns, unsigned int& index);

// As string_seq_find, on the list ordered by `mode` with a stable sort: 1 shortest first, 2 longest
// first, 3 byte-lexicographic ascending, 4 descending, anything else list order. `index` names the
// first entry of the caller's list equal to the winner; a miss gives npos and the pattern count.
// Example: text "xx bc abc", patterns {"abc", "bc"}, mode 1: returns 3, index 1.
QOR_API std::size_t string_find(const std::string& text, const std::vector<std::string>& patterns,
                                unsigned int& index, int mode);

// Earliest first occurrence of any pattern; at equal positions the lowest index wins. On a miss
// returns npos with `index` 0; an empty list returns npos and leaves `index` unwritten.
// Example: text "xx bc abc", patterns {"abc", "bc"}: returns 3, index 1.
QOR_API std::size_t string_find_first_one_of(const std::string& text,
                                             const std::vector<std::string>& patterns, int& index);

// ---- Single-pattern find and slicing ------------------------------------------------------------
// Byte-exact: no case folding, zero bytes match like any other byte. A miss is npos. The search
// takes linear time on any input and allocates nothing; the slicers allocate only their parts.

// Position of the first occurrence of `pattern` in `text`: where it begins (`match_begin` true) or
// just past its end (false). An empty pattern gives 0 for either flag, also in an empty text.
// Example: string_find("abcabc", "bc", true) == 1, string_find("abcabc", "bc", false) == 3.
QOR_API std::size_t string_find(const std::string& text, const std::string& pattern,
                                bool match_begin);

// Cuts `text` at the first occurrence of `separator` into `left` (before) and `right` (after),
// written in that order; returns its position. An empty separator cuts at 0. On a miss: npos,
// `left` = text, `right` emptied. `right` may be `text` itself; `left` must not be.
// Example: string_slice2("a==b", "==", l, r) == 1, l == "a", r == "b".
QOR_API std::size_t string_slice2(const std::string& text, const std::string& separator,
                                  std::string& left, std::string& right);

// Cuts `text` at its first byte that is any byte of the set `separators`, the byte itself dropped.
// On a miss (no such byte, an empty text or an empty set): npos, `left` = text, and `right` is
// emptied, as string_slice2 does. `right` may be `text` itself; `left` must not be.
// Example: string_slice_oneof2("a=b:c", ":=", l, r) == 1, l == "a", r == "b:c".
QOR_API std::size_t string_slice_oneof2(const std::string& text, const std::string& separators,
                                        std::string& left, std::string& right);

// ---- Replace and trim ---------------------------------------------------------------------------

// ---- Formatting and number parsing --------------------------------------------------------------

// ---- Builders and tokenizers --------------------------------------------------------------------

}  // namespace qor

#endif  // QOR_QORSTL_H_
