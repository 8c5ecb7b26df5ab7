// Three-way comparisons on pointers and strings, and the case-insensitive containment test.
#include <strings.h>
#include <wchar.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>

#include "byte_set.h"
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
  const std::size_t n = text.size();
  const std::size_t m = part.size();
  if (m > n) return false;
  // The locale's folding of every byte value, looked up as the bytes are compared: nothing is
  // copied on the way to a match.
  unsigned char fold[256];
  for (int c = 0; c < 256; ++c)
    fold[c] = static_cast<unsigned char>(c < 0x80 ? std::tolower(c) : c);
  const auto* t = reinterpret_cast<const unsigned char*>(text.data());
  const auto* p = reinterpret_cast<const unsigned char*>(part.data());
  // Candidates are the bytes that fold to the part's folded first byte.
  std::string starts;
  for (int c = 0; c < 256; ++c) {
    if (fold[c] == fold[p[0]]) starts += static_cast<char>(c);
  }
  bool found = false;
  std::size_t dense_from = std::string::npos;
  std::size_t work = 0;
  internal::ByteSet(starts).ForEachMember(text.data(), n - m + 1, [&](std::size_t pos) {
    std::size_t i = 1;
    while (i < m && fold[t[pos + i]] == fold[p[i]]) ++i;
    if (i == m) {
      found = true;
      return false;
    }
    // Dense near-matches: hand the rest to the linear search below.
    work += i + 4;
    if (work > 2 * pos + 256) {
      dense_from = pos;
      return false;
    }
    return true;
  });
  if (found || dense_from == std::string::npos) return found;
  std::string folded_text = text.substr(dense_from);
  std::string folded_part = part;
  FoldAscii(folded_text);
  FoldAscii(folded_part);
  return internal::FindFirst(folded_text.data(), folded_text.size(), folded_part.data(),
                             folded_part.size()) != std::string::npos;
}

}  // namespace qor
