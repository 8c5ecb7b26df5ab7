// Three-way comparisons on pointers and strings, and the case-insensitive containment test.
#include <strings.h>
#include <wchar.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>

#include "find.h"
#include "low_int32.h"
#include "qor/qorstl.h"

namespace qor {
namespace {

int CompareNarrow(const char* a, const char* b, bool case_sensitive) {
  return case_sensitive ? std::strcmp(a, b) : strcasecmp(a, b);
}

int CompareWide(const wchar_t* a, const wchar_t* b, bool case_sensitive) {
  return case_sensitive ? std::wcscmp(a, b) : wcscasecmp(a, b);
}

// Lower-cases the ASCII letters of `s` in place through the locale's tolower. Bytes 0x80 and
// above stay as they are: they are no characters of their own in a multibyte text, and tolower
// may not portably be handed the negative value such a byte has as a char.
void FoldAscii(std::string& s) {
  for (char& c : s) {
    if (static_cast<unsigned char>(c) < 0x80) c = static_cast<char>(std::tolower(c));
  }
}

}  // namespace

int qor_strcmp(const char* a, const char* b, bool case_sensitive) {
  return CompareNarrow(a, b, case_sensitive);
}

int qor_strncmp(const char* a, const char* b, int n, bool case_sensitive) {
  // A negative count widens to a huge one, so the comparison runs to the terminator.
  const auto count = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(n));
  return case_sensitive ? std::strncmp(a, b, count) : strncasecmp(a, b, count);
}

int qor_wcscmp(const wchar_t* a, const wchar_t* b, bool case_sensitive) {
  return CompareWide(a, b, case_sensitive);
}

int qor_wsncmp(const wchar_t* a, const wchar_t* b, int n, bool case_sensitive) {
  const auto count = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(n));
  return case_sensitive ? std::wcsncmp(a, b, count) : wcsncasecmp(a, b, count);
}

int string_compare(const std::string& a, const std::string& b, bool case_sensitive) {
  return CompareNarrow(a.c_str(), b.c_str(), case_sensitive);
}

int string_compare(const std::string& a, const char* b, bool case_sensitive) {
  if (b == nullptr) return internal::LowInt32(a.size());
  return CompareNarrow(a.c_str(), b, case_sensitive);
}

int string_compare(const char* a, const std::string& b, bool case_sensitive) {
  if (a == nullptr) return internal::NegatedLowInt32(b.size());
  return CompareNarrow(a, b.c_str(), case_sensitive);
}

int wstring_compare(const std::wstring& a, const std::wstring& b, bool case_sensitive) {
  return CompareWide(a.c_str(), b.c_str(), case_sensitive);
}

int wstring_compare(const std::wstring& a, const wchar_t* b, bool case_sensitive) {
  if (b == nullptr) return internal::LowInt32(a.size());
  return CompareWide(a.c_str(), b, case_sensitive);
}

int wstring_compare(const wchar_t* a, const std::wstring& b, bool case_sensitive) {
  if (a == nullptr) return internal::NegatedLowInt32(b.size());
  return CompareWide(a, b.c_str(), case_sensitive);
}

bool string_containsIgnoreCase(const std::string& text, const std::string& part) {
  if (text.empty() || part.empty()) return false;
  std::string folded_text = text;
  std::string folded_part = part;
  FoldAscii(folded_text);
  FoldAscii(folded_part);
  return internal::FindFirst(folded_text.data(), folded_text.size(), folded_part.data(),
                             folded_part.size()) != std::string::npos;
}

}  // namespace qor
