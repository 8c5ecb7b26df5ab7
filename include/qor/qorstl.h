/// @file
/// @brief libqorstl: string utilities for C++ applications.
///
/// UTF-8 / wide / UTF-16 / locale conversion, comparison with and without case, single- and
/// multi-pattern search, slicing and tokenizing, trim and replace, printf-style formatting, number
/// parsing and whole-file read/write. The library keeps no state between calls: every function
/// works only on its arguments and may be called from any number of threads at once. It needs the
/// C and C++ standard libraries and a POSIX system (strcasecmp, wcscasecmp; a 32-bit wchar_t).
///
/// Everything lives in the namespace `qor`, except the UTF-8 codec: its two buffer entry points are
/// plain C functions with unmangled names; its two string overloads are in the global namespace.
///
/// Conventions shared by every section:
///  - Narrow strings are byte strings; lengths and positions count bytes, and a zero byte is an
///    ordinary byte unless a function says it reads its argument as zero-terminated.
///  - Wide strings hold one Unicode code point per 32-bit element, unless a function says it holds
///    UTF-16 code units.
///  - Failures are answered with npos, -1, 0, false, an empty result or an unchanged output, as
///    each function states, never with an error code or a conversion exception.
///  - What a call allocates: its result (a returned string or list, or the growth of an output
///    argument) and, within the call only, the temporaries its section names: a facet and converter
///    per conversion by name, a formatting buffer, a copy of the pattern list for the list form of
///    string_find and the scratch space of its stable sort, an open file. The pointer-based codec
///    entry points, the comparisons, the predicates and the searches other than that string_find
///    allocate nothing.
///  - What can leave a call: std::bad_alloc (and std::length_error for a result longer than a
///    string can hold) from any function that allocates, except the conversions by name and those
///    built on them, which turn every std::exception into an error text result (only a failure to
///    allocate that text itself propagates). The pointer-based codec entry points, the comparisons,
///    the predicates, the searches that allocate nothing and the trims throw nothing.
///  - Case folding, formatting, number parsing and locale-named conversions follow the process's
///    current locale, which the library reads and never sets.
#ifndef QOR_QORSTL_H_
#define QOR_QORSTL_H_

#include <cstdarg>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// @name Version
/// The library's version; the build checks that these match the version it installs.
/// @{

/// Major version: 0 while the interface may still change between minor releases.
#define QORSTL_VERSION_MAJOR 0
/// Minor version.
#define QORSTL_VERSION_MINOR 2
/// Patch version: fixes that change no interface.
#define QORSTL_VERSION_PATCH 0
/// @}

/// QOR_API marks the exported functions. Users of a static build define QORSTL_STATIC (the CMake
/// package and the pkg-config file do so for them).
#if defined(QORSTL_STATIC)
#define QOR_API
#else
#define QOR_API __attribute__((visibility("default")))
#endif

static_assert(sizeof(wchar_t) == 4, "libqorstl needs a 32-bit wchar_t");

/// @name UTF-8 and wide-character codec
/// UTF-8 in its original 31-bit form: sequences of one to six bytes, values 1 to 0x7FFFFFFF.
/// Overlong forms and values above 0x10FFFF pass; strict mode refuses only the lead bytes C0, C1,
/// F5 and FF, bytes that cannot start a sequence, sequences cut short, and surrogate values.
/// Lengths, capacities and results count units of their own side (bytes or wide characters).
/// @{

/// Lenient mode: malformed input is skipped one byte (or one element) at a time instead of failing.
#define UTF8_SKIP_INVALID 1
/// Every U+FEFF is left out of the output, wherever it stands.
#define UTF8_DROP_BOM 2

extern "C" {

/// Decodes UTF-8 bytes into wide characters; with `dst` null only counts them (a measuring call).
/// `src_len` 0 reads `src` up to its first zero byte; otherwise input ends after `src_len` bytes or
/// at a zero byte that stands where a character would begin. Returns the number of elements, 0 on
/// any failure (null `src`, `dst_cap` 0 with a `dst`, malformed input in strict mode, `dst` full).
/// A measuring call counts surrogates and dropped U+FEFF, so it may exceed what a filling call
/// writes. Never writes past `dst_cap` nor a terminator; never reads past the first zero byte.
/// Example:
/// @code
/// wchar_t buf[2]; utf8_to_wchar("A\xE2\x82\xAC", 4, buf, 2, 0) == 2;
/// buf[0] == 0x41; buf[1] == 0x20AC; utf8_to_wchar("A\xE2\x82\xAC", 4, nullptr, 0, 0) == 2;
/// @endcode
QOR_API std::size_t utf8_to_wchar(const char* src, std::size_t src_len, wchar_t* dst,
                                  std::size_t dst_cap, int flags);

/// Encodes wide characters as UTF-8 bytes; with `dst` null only counts the bytes (exactly).
/// `src_len` 0 reads up to the first zero element. Surrogates and values of 0x80000000 and above
/// fail in strict mode and are skipped in lenient mode. A sequence that does not fit in what is
/// left of `dst_cap` fails the call before any of its bytes is written. Returns 0 on any failure.
/// Example:
/// @code
/// char buf[4]; wchar_to_utf8(L"\x10FFFF", 1, buf, 4, 0) == 4;
/// std::string(buf, 4) == "\xF4\x8F\xBF\xBF"; wchar_to_utf8(L"\x10FFFF", 1, buf, 3, 0) == 0;
/// @endcode
QOR_API std::size_t wchar_to_utf8(const wchar_t* src, std::size_t src_len, char* dst,
                                  std::size_t dst_cap, int flags);

}  // extern "C"

/// Strict decoding of `text` up to its end or its first zero byte; empty on any failure.
/// Example:
/// @code
/// utf8_to_wchar(std::string("a\0b", 3)) == L"a";
/// @endcode
QOR_API std::wstring utf8_to_wchar(const std::string& text);

/// Strict encoding of `text` up to its end or its first zero element; empty on any failure.
/// Example:
/// @code
/// wchar_to_utf8(std::wstring(1, 0x110000)) == "\xF4\x90\x80\x80";
/// @endcode
QOR_API std::string wchar_to_utf8(const std::wstring& text);

/// @}

/// Every function of the library but the UTF-8 codec's.
namespace qor {

/// @name Unicode string conversions
/// Three ways between UTF-8 and wide strings. to_utf8/to_utf16 are small loose coders for the Basic
/// Multilingual Plane (no errors, zero bytes converted like any other); string_utf8_to_wstring and
/// string_wstring_to_utf8 are the strict "utf-8" conversion by name below (error text on failure);
/// string_utf8_wstring_to_string is the codec's strict 31-bit encoder (empty on failure).
/// @{

/// Each element to one, two or three UTF-8 bytes, surrogates included (0xD800 gives ED A0 80).
/// An element above 0xFFFF (compared unsigned, so also one with the top bit set) is written as "?":
/// no element takes more than three bytes. A zero element gives a zero byte.
/// Example:
/// @code
/// to_utf8(L"A\u00E9\u20AC") == "A\xC3\xA9\xE2\x82\xAC"; to_utf8(L"\U0001F600") == "?";
/// @endcode
QOR_API std::string to_utf8(const std::wstring& text);

/// UTF-8 sequences of one to three bytes to one element each, "?" for any other byte (continuation
/// bytes, F0..FF). Follow bytes are not checked: their top two bits are dropped (C3 41 gives 0xC1).
/// A sequence cut short by the end reads the missing bytes as zero: a last byte C3 gives 0xC0, a
/// last byte E2 gives 0x2000, E2 82 at the end gives 0x2080. Nothing past the text is read.
/// Example:
/// @code
/// to_utf16("A\xF0\x9F\x98\x80") == L"A????";
/// @endcode
QOR_API std::wstring to_utf16(const std::string& text);

/// Strict UTF-8 (values up to 0x10FFFF, no overlong forms, no surrogates) to one code point per
/// element; the whole text, zero bytes included. On failure the wide text
/// "wstring_convert: from_bytes error". Same as string_string_to_wstring(text, "utf-8").
/// Example:
/// @code
/// string_utf8_to_wstring("\xC3") == L"wstring_convert: from_bytes error";
/// @endcode
QOR_API std::wstring string_utf8_to_wstring(const std::string& text);

/// Code points to strict UTF-8; the whole text, zero elements included. A surrogate or a value
/// above 0x10FFFF gives "wstring_convert: to_bytes error". Same as string_wstring_to_string(text,
/// "utf-8").
/// Example:
/// @code
/// string_wstring_to_utf8(L"a\U0001F600") == "a\xF0\x9F\x98\x80";
/// @endcode
QOR_API std::string string_wstring_to_utf8(const std::wstring& text);

/// The codec's strict 31-bit encoding: values up to 0x7FFFFFFF in one to six bytes, ending at the
/// first zero element; empty for a surrogate or a value of 0x80000000 or above.
/// Example:
/// @code
/// string_utf8_wstring_to_string(L"a\x110000") == "a\xF4\x90\x80\x80";
/// @endcode
QOR_API std::string string_utf8_wstring_to_string(const std::wstring& text);

/// @}

/// @name Conversion by encoding name
/// The whole text is converted, zero bytes and zero elements included; there is never a partial
/// result. Names are compared byte for byte:
///  - "utf-8": UTF-8 <-> one code point per element (at most 0x10FFFF); "" means the same.
///  - "utf-16": UTF-16 big-endian bytes <-> code points; no byte-order mark written or consumed
///    (FE FF at the start decodes to U+FEFF).
///  - "utf-8-16": UTF-8 <-> UTF-16 code units, one element each (a surrogate pair above 0xFFFF).
///  - any other: a locale name; that locale's multibyte encoding <-> its wide characters.
///
/// The Unicode names refuse overlong forms, surrogate code points (encoded in UTF-8 or given as
/// wide values), values above 0x10FFFF and sequences cut short by the end of the text.
/// A failure returns a message in place of the text: "wstring_convert: from_bytes error" (widened
/// byte by byte) or "wstring_convert: to_bytes error" for text that does not convert, the standard
/// library's runtime error message for a name that no locale has (also for empty text), and the
/// allocation error's message when memory runs out. Compare the result with these to detect them.
/// @{

/// A facet whose destructor is public, so that a converter can own and delete it.
/// Example:
/// @code
/// using Facet = qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>>;
/// std::wstring_convert<Facet> convert(new Facet("C")); convert.from_bytes("abc") == L"abc";
/// @endcode
template <class Facet>
class deletable_facet : public Facet {
 public:
  /// Constructs the facet with the arguments of `Facet`'s own constructors.
  template <class... Args>
  explicit deletable_facet(Args&&... args) : Facet(std::forward<Args>(args)...) {}
  /// Public, so that a converter can delete the facet it owns.
  ~deletable_facet() override = default;
};

/// `text` decoded from the encoding named `encoding`. With "utf-16" an odd number of bytes fails.
/// With "utf-8-16" a code point above 0xFFFF becomes a surrogate pair of two elements.
///
/// Through a locale name every call builds that locale's facet, and the platform loads the locale's
/// data then: about a microsecond from the system's locale archive, hundreds of microseconds or
/// more from a directory (C.utf8, LOCPATH). Past that the text converts at about iconv's speed.
/// Example:
/// @code
/// string_string_to_wstring("\xF0\x9F\x98\x80", "utf-8-16") == L"\xD83D\xDE00";
/// @endcode
QOR_API std::wstring string_string_to_wstring(const std::string& text, const std::string& encoding);

/// `text` encoded into the encoding named `encoding`; a locale's stateful encoding is closed with
/// its return to the initial shift state. With "utf-8-16" a surrogate must be half of a high-low
/// pair; an element from 0x10000 to 0x10FFFF is taken as that code point (four UTF-8 bytes) and one
/// above 0x10FFFF fails.
/// Example:
/// @code
/// string_wstring_to_string(L"A\U0001F600", "utf-16") ==
/// std::string("\x00\x41\xD8\x3D\xDE\x00", 6);
/// @endcode
QOR_API std::string string_wstring_to_string(const std::wstring& text, const std::string& encoding);

/// @}

/// @name Encoding classification and ASCII conversion
/// Byte-pattern tests of what a narrow string holds, and conversions between UTF-8 and a local
/// encoding named as for string_string_to_wstring. A zero byte is an ordinary ASCII byte.
/// @{

/// True when no byte is 0x80 or above; true for the empty text.
/// Example:
/// @code
/// string_is_ascii_string(std::string("A\0B", 3)) == true;
/// @endcode
QOR_API bool string_is_ascii_string(const std::string& text);

/// True when the text holds a byte of 0x80 or above and follows the 31-bit UTF-8 layout (one to six
/// bytes a sequence, none cut short). Only bit patterns are checked: overlong forms, surrogates and
/// values above 0x10FFFF pass. False for empty or pure ASCII text.
/// Example:
/// @code
/// string_is_utf8_string("\xC0\x80") == true; string_is_utf8_string("\xC3") == false;
/// @endcode
QOR_API bool string_is_utf8_string(const std::string& text);

/// Performs no test: false for every text, also for one starting with a UTF-16 byte-order mark.
QOR_API bool string_is_utf16_string(const std::string& text);

/// Position of the first byte at which `text` stops being UTF-8: the start of the first malformed
/// sequence (a byte that cannot begin one, a lead whose continuation bytes are missing or cut short
/// by the end, a forbidden value); npos when the whole text is well-formed, also when it is empty.
/// `standard` true applies the standard rules (one to four bytes, no overlong form, no surrogate,
/// nothing above 0x10FFFF), as the conversions by name do; false applies the strict rules of the
/// codec above (one to six bytes; overlong forms and values up to 0x7FFFFFFF pass; the leads C0,
/// C1, F5, FF and surrogates do not). A zero byte is ordinary ASCII. Allocates nothing.
/// Example:
/// @code
/// string_utf8_find_invalid("ab\xC3\xA9\xC0\x80", true) == 4;
/// string_utf8_find_invalid("ab\xC3\xA9\xC0\x80", false) == 4;
/// string_utf8_find_invalid("\xE0\x80\x80", true) == 0;  // an overlong form
/// string_utf8_find_invalid("\xE0\x80\x80", false) == std::string::npos;
/// @endcode
QOR_API std::size_t string_utf8_find_invalid(const std::string& text, bool standard);

/// UTF-8 `text` converted to the encoding named `encoding`; empty or ASCII text is returned as it
/// is, whatever the name. Otherwise the result (or the error text) of decoding with "utf-8" and
/// encoding with `encoding`.
/// Example:
/// @code
/// string_utf8_to_ascii("\xC3\xA9", "utf-16") ==
/// std::string("\x00\xE9", 2);
/// @endcode
QOR_API std::string string_utf8_to_ascii(const std::string& text, const std::string& encoding);

/// `text` in the encoding named `encoding` converted to UTF-8; empty, ASCII and text that passes
/// the UTF-8 layout test of string_is_utf8_string are returned as they are, whatever the name.
/// Example:
/// @code
/// string_ascii_to_utf8("\xE9", "de_DE.ISO-8859-1") == "\xC3\xA9";
/// string_ascii_to_utf8("\xC3\xA9", "de_DE.ISO-8859-1") == "\xC3\xA9";  // already UTF-8
/// @endcode
QOR_API std::string string_ascii_to_utf8(const std::string& text, const std::string& encoding);

/// @}

/// @name Whole-file reading and writing
/// Each call opens the file with fopen ("rb" to read, "wb" to write) and closes it before
/// returning; `path` ends at its first zero byte and relative paths start at the current directory.
/// Failures are answered with an empty result or `false`, never reported otherwise.
/// @{

/// The file's bytes followed by one added zero byte, so the length is the file's length plus one.
/// Empty for a missing, unreadable or empty file, or a stream that cannot seek. Files of 2^31 - 1
/// bytes and more are read whole too (the length is taken as 64 bits); a stream that is not a
/// regular file and reports such a length (a directory, on some file systems) gives the empty
/// string. A short read leaves the bytes it did not deliver zero.
/// Example:
/// @code
/// write_file(path, "abc"); dump_file(path) == std::string("abc\0", 4);
/// @endcode
QOR_API std::string dump_file(const std::string& path);

/// The UTF-16 code units after a byte-order mark (FF FE little-endian, FE FF big-endian), one per
/// element, surrogates not combined. Empty when dump_file is, for a file of one byte or only a
/// mark, and for a file with no UTF-16 mark. In a file of odd length the last byte is paired with
/// the zero byte dump_file adds: the low byte of the last unit when little-endian, the high when
/// big.
/// Example:
/// @code
/// write_file(path, std::string("\xFF\xFE\x41\x00\x42", 5));
/// dump_utf16_file(path) == L"AB"; write_file(path, std::string("\xFE\xFF\x00\x41\x42", 5));
/// dump_utf16_file(path) == std::wstring{0x41, 0x4200};
/// @endcode
QOR_API std::wstring dump_utf16_file(const std::string& path);

/// Creates or empties the file and writes all bytes of `content`, zero bytes included, with one
/// fwrite. `false` only when the file cannot be opened for writing; a short write or a failed close
/// still returns `true`. The file is rewritten in place: no temporary file, no rename.
/// Example:
/// @code
/// write_file(path, "ab") == true; write_file(path, dump_file(path)) == true;
/// dump_file(path) == std::string("ab\0\0", 4);  // one byte longer each time
/// @endcode
QOR_API bool write_file(const std::string& path, const std::string& content);

/// @}

/// @name Comparison
/// Three-way comparisons handed to the C library: `case_sensitive` true picks strcmp / strncmp /
/// wcscmp / wcsncmp, false picks their strcasecmp family counterparts (case folded by the current
/// locale). Results from the C library are passed on unchanged, so only their sign means anything.
/// Text is read up to its first zero element: a string holding one compares as its part before it.
/// @{

/// Compares two zero-terminated texts; neither pointer may be null.
/// Example:
/// @code
/// qor_strcmp("abc", "ABC", false) == 0; qor_strcmp("abc", "ABC", true) > 0;
/// @endcode
QOR_API int qor_strcmp(const char* a, const char* b, bool case_sensitive);

/// Compares at most `n` bytes; `n` is widened with its sign, so 0 yields 0 and a negative `n`
/// compares like qor_strcmp. Neither pointer may be null.
/// Example:
/// @code
/// qor_strncmp("abcd", "abcx", 3, true) == 0;
/// @endcode
QOR_API int qor_strncmp(const char* a, const char* b, int n, bool case_sensitive);

/// Compares two zero-terminated wide texts; neither pointer may be null.
/// Example:
/// @code
/// qor_wcscmp(L"abc", L"ABD", false) < 0;
/// @endcode
QOR_API int qor_wcscmp(const wchar_t* a, const wchar_t* b, bool case_sensitive);

/// Compares at most `n` wide characters; `n` is widened with its sign as in qor_strncmp.
/// Example:
/// @code
/// qor_wsncmp(L"ab1", L"ab2", 2, true) == 0;
/// @endcode
QOR_API int qor_wsncmp(const wchar_t* a, const wchar_t* b, int n, bool case_sensitive);

/// Compares the two strings' zero-terminated buffers in place.
/// Example:
/// @code
/// std::string apple = "Apple"; string_compare(apple, std::string("apple"), false) == 0;
/// string_compare(apple, std::string("apple"), true) < 0;
/// @endcode
QOR_API int string_compare(const std::string& a, const std::string& b, bool case_sensitive);

/// As above with a pointer second; a null `b` counts as empty and yields a's length as an int (its
/// low 32 bits), without comparing.
/// Example:
/// @code
/// std::string hello = "hello";
/// string_compare(hello, nullptr, true) == 5; string_compare(hello, "HELLO", false) == 0;
/// @endcode
QOR_API int string_compare(const std::string& a, const char* b, bool case_sensitive);

/// As above with a pointer first; a null `a` yields minus b's length (the 32-bit value negated).
/// Example:
/// @code
/// string_compare(nullptr, std::string("hello"), false) == -5;
/// @endcode
QOR_API int string_compare(const char* a, const std::string& b, bool case_sensitive);

/// Wide counterpart of string_compare on two strings.
/// Example:
/// @code
/// wstring_compare(std::wstring(L"ABC"), std::wstring(L"abc"), false) == 0;
/// @endcode
QOR_API int wstring_compare(const std::wstring& a, const std::wstring& b, bool case_sensitive);

/// Wide, pointer second; a null `b` yields a's length in wide characters (low 32 bits, as an int).
/// Example:
/// @code
/// wstring_compare(std::wstring(L"\u00e9t\u00e9"), nullptr, true) == 3;
/// @endcode
QOR_API int wstring_compare(const std::wstring& a, const wchar_t* b, bool case_sensitive);

/// Wide, pointer first; a null `a` yields minus b's length in wide characters.
/// Example:
/// @code
/// wstring_compare(nullptr, std::wstring(L"ab"), true) == -2;
/// @endcode
QOR_API int wstring_compare(const wchar_t* a, const std::wstring& b, bool case_sensitive);

/// True when `part` occurs in `text` with the ASCII letters of both folded to lower case; bytes
/// 0x80 and above are never folded, zero bytes match like any other byte.
/// An empty `part` or an empty `text` gives false.
/// Example:
/// @code
/// string_containsIgnoreCase("Hello World", "WORLD") == true;
/// @endcode
QOR_API bool string_containsIgnoreCase(const std::string& text, const std::string& part);

/// @}

/// @name Difference and ordering
/// Comparisons that count lengths: in string_diff a proper prefix orders first. Lengths are bytes;
/// the count handed to strncmp / strncasecmp is the length cut to 32 bits, widened with its sign.
/// The predicates never fold case, compare bytes as unsigned values and are strict weak orders.
/// @{

/// Three-way comparison over the common length by strncmp / strncasecmp; when that finds no
/// difference, the result is exactly la - lb (low 32 bits of each).
/// Example:
/// @code
/// string_diff(std::string("abc"), std::string("ab"), true) == 1;
/// @endcode
QOR_API int string_diff(const std::string& a, const std::string& b, bool case_sensitive);

/// As above with the pointer's text second: when it agrees over a's length the result is exactly
/// minus its next byte (0..255), so 0 or negative; a null `b` yields a's length.
/// If the pointer's text ends before a's length (a holds a zero byte and the texts agree up to it),
/// the result is 0: nothing past the pointer's terminator is read.
/// Example:
/// @code
/// string_diff(std::string("ab"), "abc", true) == -99;
/// @endcode
QOR_API int string_diff(const std::string& a, const char* b, bool case_sensitive);

/// Mirror of the form above with the pointer's text first: plus its next byte, or minus b's length
/// for a null `a`; 0 when the pointer's text ends before b's length.
/// Example:
/// @code
/// string_diff("abc", std::string("ab"), true) == 99;
/// @endcode
QOR_API int string_diff(const char* a, const std::string& b, bool case_sensitive);

/// True when `a` is shorter than `b`; false both ways for equal lengths.
/// Example:
/// @code
/// less_len("ab", "cd") == false; less_len("cd", "ab") == false; less_len("a", "cd");
/// @endcode
QOR_API bool less_len(const std::string& a, const std::string& b);

/// True when `a` is longer than `b`; false both ways for equal lengths.
/// Example:
/// @code
/// great_len("abc", "zz") == true;
/// @endcode
QOR_API bool great_len(const std::string& a, const std::string& b);

/// True when `a` orders after `b` byte by byte as unsigned values, a proper prefix first (a > b).
/// Zero bytes take part; case counts.
/// Example:
/// @code
/// greater("b", "abc"); greater("\xC3", "z");
/// @endcode
QOR_API bool greater(const std::string& a, const std::string& b);

/// Index of the first entry of `list` equal to `text` (`match_prefix` false) or that `text` begins
/// with (true; an empty entry matches any text); -1 when none does or the list is empty.
/// Example:
/// @code
/// string_compare_one_of("hello", {"he", "hello"}, true) == 0;
/// string_compare_one_of("hello", {"he", "hello"}, false) == 1;
/// @endcode
QOR_API int string_compare_one_of(const std::string& text, const std::vector<std::string>& list,
                                  bool match_prefix);

/// @}

/// @name Multi-pattern search
/// Byte-exact, no case folding. Each pattern is found at its first occurrence; an empty pattern
/// occurs at 0, also in an empty text, and a pattern longer than the text never occurs. `index`
/// reports the winner's place in the caller's list. A list too long for the 32-bit `index` is
/// searched only over the entries that `index` can name: the first 4294967295 (first 2147483648
/// for string_find_first_one_of); later entries are ignored.
/// @{

/// First pattern in list order that occurs anywhere in `text`: its position, with `index` set to
/// its place. On a miss returns npos with `index` = number of patterns (0 for an empty list).
/// Example:
/// @code
/// unsigned int index; string_seq_find("xx bc abc", {"abc", "bc"}, index) == 6;
/// index == 0;
/// @endcode
QOR_API std::size_t string_seq_find(const std::string& text,
                                    const std::vector<std::string>& patterns, unsigned int& index);

/// As string_seq_find, on the list stably sorted by `mode`: 1 shortest first, 2 longest
/// first, 3 byte-lexicographic ascending, 4 descending, anything else list order. `index` names the
/// first entry of the caller's list equal to the winner; a miss gives npos and the pattern count.
/// Example:
/// @code
/// unsigned int index; string_find("xx bc abc", {"abc", "bc"}, index, 1) == 3;
/// index == 1;
/// @endcode
QOR_API std::size_t string_find(const std::string& text, const std::vector<std::string>& patterns,
                                unsigned int& index, int mode);

/// Earliest first occurrence of any pattern; at equal positions the lowest index wins. On a miss
/// returns npos with `index` 0; an empty list returns npos and leaves `index` unwritten.
/// Example:
/// @code
/// int index; string_find_first_one_of("xx bc abc", {"abc", "bc"}, index) == 3;
/// index == 1;
/// @endcode
QOR_API std::size_t string_find_first_one_of(const std::string& text,
                                             const std::vector<std::string>& patterns, int& index);

/// @}

/// @name Single-pattern find and slicing
/// Byte-exact: no case folding, zero bytes match like any other byte. A miss is npos. The search
/// takes linear time on any input and allocates nothing; the slicers allocate only their parts.
/// @{

/// Position of the first occurrence of `pattern` in `text`: where it begins (`match_begin` true) or
/// just past its end (false). An empty pattern gives 0 for either flag, also in an empty text.
/// Example:
/// @code
/// string_find("abcabc", "bc", true) == 1; string_find("abcabc", "bc", false) == 3;
/// @endcode
QOR_API std::size_t string_find(const std::string& text, const std::string& pattern,
                                bool match_begin);

/// Cuts `text` at the first occurrence of `separator` into `left` (before) and `right` (after),
/// written in that order; returns its position. An empty separator cuts at 0. On a miss: npos,
/// `left` = text, `right` emptied. `right` may be `text` itself; `left` must not be.
/// Example:
/// @code
/// std::string l, r; string_slice2("a==b", "==", l, r) == 1; l == "a"; r == "b";
/// @endcode
QOR_API std::size_t string_slice2(const std::string& text, const std::string& separator,
                                  std::string& left, std::string& right);

/// Cuts `text` at its first byte that is any byte of the set `separators`, the byte itself dropped.
/// On a miss (no such byte, an empty text or an empty set): npos, `left` = text, and `right` is
/// emptied, as string_slice2 does. `right` may be `text` itself; `left` must not be.
/// Example:
/// @code
/// std::string l, r; string_slice_oneof2("a=b:c", ":=", l, r) == 1; l == "a";
/// r == "b:c";
/// @endcode
QOR_API std::size_t string_slice_oneof2(const std::string& text, const std::string& separators,
                                        std::string& left, std::string& right);

/// @}

/// @name Replace and trim
/// Edit `text` in place, byte by byte: a multi-byte UTF-8 character is several separate bytes here.
/// The trims read `chars` as a set of byte values (zero included), never as a substring.
/// @{

/// Replaces every occurrence of `from` by `to`, taking occurrences left to right without overlap
/// and never searching the inserted text again; runs in time linear in the text. An empty `from` or
/// an empty `text` leaves `text` unchanged. If growing the text runs out of memory, the standard
/// allocation error leaves the call and `text` is as it was.
/// Example:
/// @code
/// std::string text = "aaa"; string_replace(text, "aa", "b"); text == "ba";
/// text = "aabb"; string_replace(text, "ab", ""); text == "ab";
/// text = "a.b"; string_replace(text, ".", ".."); text == "a..b";
/// @endcode
QOR_API void string_replace(std::string& text, const std::string& from, const std::string& to);

/// Removes the longest prefix made only of bytes in `chars`; returns `text` for chaining. An empty
/// `chars` changes nothing; a text made only of such bytes becomes empty.
/// Example:
/// @code
/// std::string text = "  \tx "; trim_left(text, " \t") == "x ";
/// text = "abcab"; trim_left(text, "ba") == "cab";
/// @endcode
QOR_API std::string& trim_left(std::string& text, const std::string& chars);

/// Removes the longest suffix made only of bytes in `chars`; returns `text` for chaining. An empty
/// `chars` changes nothing; a text made only of such bytes becomes empty.
/// Example:
/// @code
/// std::string text = "abcab"; trim_right(text, "ba") == "abc";
/// @endcode
QOR_API std::string& trim_right(std::string& text, const std::string& chars);

/// trim_left, then trim_right, with the same `chars`; returns `text` for chaining.
/// Example:
/// @code
/// std::string text = "\r\n x y \t"; trim_both(text, " \t\r\n") == "x y";
/// @endcode
QOR_API std::string& trim_both(std::string& text, const std::string& chars);

/// @}

/// @name Formatting and number parsing
/// The formatters hand `fmt` and the arguments to vsnprintf / vswprintf, which follow the current
/// locale; the result ends at the first zero character of the output, so a `%c` of 0 cuts it there.
/// An empty output and a formatting failure both give the empty string (the _v forms then leave
/// `out` untouched); the two cannot be told apart. The caller's va_list is never advanced: each
/// pass formats from a copy, so it can be passed on again. `fmt` must not be null.
/// @{

/// Marks format_astring as printf-like for the compiler's format checks, when they are asked for.
/// Defining QORSTL_CHECK_FORMATS before including this header has GCC and clang check the
/// arguments of format_astring against its format. It is off by default because both compilers then
/// warn about calls that are valid here: GCC about an empty literal format, clang about a format
/// that is not a literal and has no arguments.
#if defined(QORSTL_CHECK_FORMATS) && (defined(__GNUC__) || defined(__clang__))
#define QOR_PRINTF_FORMAT(format_index, first_arg) \
  __attribute__((format(printf, format_index, first_arg)))
#else
#define QOR_PRINTF_FORMAT(format_index, first_arg)
#endif

/// printf-style narrow formatting: measures once, then formats into one buffer of the exact size.
/// An output of exactly INT_MAX bytes throws the standard allocation error (its length and the
/// terminator do not fit an int); a longer one makes vsnprintf fail, which gives the empty string.
/// Example:
/// @code
/// format_astring("%d-%s", 7, "ab") == "7-ab"; format_astring("a%cb", 0) == "a";
/// @endcode
QOR_API std::string format_astring(const char* fmt, ...) QOR_PRINTF_FORMAT(1, 2);

/// As format_astring, into `out`: assigns (never appends) when the output has at least one
/// character, leaves `out` untouched when it is empty or formatting fails.
/// Example, in a function taking `...` whose va_list `args` holds 3:
/// @code
/// std::string out = "old";
/// format_string_v(out, "", args); out == "old"; format_string_v(out, "%d items", args);
/// out == "3 items";
/// @endcode
QOR_API void format_string_v(std::string& out, const char* fmt, va_list args);

/// printf-style wide formatting with vswprintf. vswprintf cannot measure, and fails the same way
/// for a buffer too small and for an encoding error, so the buffer starts at 512 characters and
/// doubles while an attempt fails by filling it (errno not EILSEQ), up to INT_MAX characters.
/// An encoding error therefore costs memory for at most twice the text produced before it.
/// Example:
/// @code
/// format_wstring(L"%d items", 3) == L"3 items";
/// @endcode
QOR_API std::wstring format_wstring(const wchar_t* fmt, ...);

/// As format_wstring, into `out`: assigns when the output has at least one character, leaves `out`
/// untouched when it is empty or formatting fails.
/// Example, in a function taking `...` whose va_list `args` holds 3:
/// @code
/// std::wstring out;
/// format_wstring_v(out, L"%d items", args); out == L"3 items";
/// @endcode
QOR_API void format_wstring_v(std::wstring& out, const wchar_t* fmt, va_list args);

/// Parses a decimal integer with strtol, or a hexadecimal one when the first two bytes are "0x" or
/// "0X" (only there: not after a blank or a sign). Reads up to the first zero byte, skips leading
/// blanks, ignores what follows the digits, gives 0 when there are none. The long result of strtol
/// (clamped by it, errno set by it) is cut to its low 32 bits, not clamped again.
/// Example:
/// @code
/// string_to_int("0x1F") == 31; string_to_int("010") == 10; string_to_int(" 0x10") == 0;
/// string_to_int("4294967297") == 1; string_to_int("2147483648") == INT_MIN;
/// @endcode
QOR_API int string_to_int(const std::string& text);

/// As string_to_int, returning strtol's long unchanged.
/// Example:
/// @code
/// string_to_long("4294967297") == 4294967297;
/// string_to_long("99999999999999999999") == LONG_MAX;
/// @endcode
QOR_API long string_to_long(const std::string& text);

/// strtod on the text up to its first zero byte: decimal, hexadecimal, inf and nan forms, the
/// current locale's decimal point; trailing bytes are ignored and no number gives 0.
/// Example:
/// @code
/// string_to_double("1.5e3") == 1500; string_to_double("0x1p4") == 16;
/// string_to_double("  -2.5xyz") == -2.5;
/// @endcode
QOR_API double string_to_double(const std::string& text);

/// @}

/// @name Builders and tokenizers
/// The appending builders never clear `out` and return its size after the call, what it held before
/// included, as an int: the low 32 bits of the size read as signed (negative from 2^31 on).
/// Byte ranges compare and step as signed bytes, so 0x80..0xFF come before 0x00..0x7F.
/// @{

/// Appends to `out` every maximal run of bytes that are not in the set `token`, in order; empty
/// tokens are never appended. An empty `token` appends the whole of a non-empty `text`.
/// Example:
/// @code
/// std::vector<std::string> out{"x"};
/// stringarray_builder_by_splittoken("a,b,,c,", out, ",") == 4;
/// out == std::vector<std::string>{"x", "a", "b", "c"};
/// @endcode
QOR_API int stringarray_builder_by_splittoken(const std::string& text,
                                              std::vector<std::string>& out,
                                              const std::string& token);

/// A list of `first` and the following zero-terminated strings, up to a null pointer that must end
/// the arguments (a null `const char*`, not a plain 0). Empty strings are kept; `first` must not be
/// null.
/// Example:
/// @code
/// stringarray_builder_by_token("a", "", "c", (const char*)nullptr) ==
/// std::vector<std::string>{"a", "", "c"};
/// @endcode
QOR_API std::vector<std::string> stringarray_builder_by_token(const char* first, ...);

/// Appends the byte values from `first_char` to `last_char`, both included, in increasing signed
/// order; nothing when `first_char` is the greater as a signed byte.
/// Example:
/// @code
/// std::string out = ">"; string_builder_by_char(out, 'a', 'e') == 6; out == ">abcde";
/// string_builder_by_char(out, 'a', '\xe9') == 6;  // nothing: 0xE9 is negative as a signed byte
/// string_builder_by_char(out, '\x80', '\x7f') == 262;  // all 256 values, 0x80 first
/// @endcode
QOR_API int string_builder_by_char(std::string& out, char first_char, char last_char);

/// Reads `ranges` as pairs of bounds and appends at most `count` of them as string_builder_by_char
/// does; a reversed pair appends nothing but still counts, a last unpaired byte is ignored, and a
/// `count` of 0 or less appends nothing. `ranges` may be `out` itself: its value at the call is
/// used.
/// Example:
/// @code
/// std::string out; string_builder_by_range(out, "azAZ09", 3) == 62;
/// string_builder_by_range(out, "za09", 2) == 72;  // "za" is reversed: only the digits
/// @endcode
QOR_API int string_builder_by_range(std::string& out, const std::string& ranges, int count);

/// @}

}  // namespace qor

#endif  // QOR_QORSTL_H_
