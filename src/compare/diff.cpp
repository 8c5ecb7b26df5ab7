// Length-aware differences (string_diff), the ordering predicates and matching against a list.
#include <string.h>
#include <strings.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "low_int32.h"
#include "qor/qorstl.h"

namespace qor {
namespace {

// The count handed to strncmp: the length cut to 32 bits, then widened with its sign, so lengths
// from 2^31 to 2^32 - 1 compare up to the terminator.
std::size_t BoundedCount(std::size_t length) {
  return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(internal::LowInt32(length)));
}

int CompareBounded(const char* a, const char* b, std::size_t count, bool case_sensitive) {
  return case_sensitive ? std::strncmp(a, b, count) : strncasecmp(a, b, count);
}

// Byte of `text` at `length`, once the bounded comparison found `text` equal to `str` over the
// compared range. The byte is read only when `text` reaches that far: the comparison stops early
// at a zero byte of `str` (and compares nothing past a count cut to 32 bits), so `text` may end
// before `length`; it then counts as equal and the answer is 0.
int NextByteAfterEqualPrefix(const std::string& str, const char* text) {
  const std::size_t length = str.size();
  const bool compared_whole =
      BoundedCount(length) >= length && std::memchr(str.data(), 0, length) == nullptr;
  if (!compared_whole && strnlen(text, length) < length) return 0;
  return static_cast<unsigned char>(text[length]);
}

}  // namespace

int string_diff(const std::string& a, const std::string& b, bool case_sensitive) {
  const std::size_t la = a.size();
  const std::size_t lb = b.size();
  if (la == lb && std::memcmp(a.data(), b.data(), la) == 0) return 0;
  const std::size_t common = la < lb ? la : lb;
  const int c = CompareBounded(a.c_str(), b.c_str(), BoundedCount(common), case_sensitive);
  if (la == lb || c != 0) return c;
  return internal::LowInt32(la - lb);  // the difference of the low 32 bits of each
}

int string_diff(const std::string& a, const char* b, bool case_sensitive) {
  if (b == nullptr) return internal::LowInt32(a.size());
  const int c = CompareBounded(a.c_str(), b, BoundedCount(a.size()), case_sensitive);
  if (c != 0) return c;
  return -NextByteAfterEqualPrefix(a, b);
}

int string_diff(const char* a, const std::string& b, bool case_sensitive) {
  if (a == nullptr) return internal::NegatedLowInt32(b.size());
  const int c = CompareBounded(a, b.c_str(), BoundedCount(b.size()), case_sensitive);
  if (c != 0) return c;
  return NextByteAfterEqualPrefix(b, a);
}

bool less_len(const std::string& a, const std::string& b) {
  return a.size() < b.size();
}

bool great_len(const std::string& a, const std::string& b) {
  return a.size() > b.size();
}

bool greater(const std::string& a, const std::string& b) {
  const std::size_t common = a.size() < b.size() ? a.size() : b.size();
  const int c = common == 0 ? 0 : std::memcmp(a.data(), b.data(), common);
  return c != 0 ? c > 0 : a.size() > b.size();
}

int string_compare_one_of(const std::string& text, const std::vector<std::string>& list,
                          bool match_prefix) {
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::string& entry = list[i];
    const bool matches = match_prefix
                             ? entry.size() <= text.size() &&
                                   std::memcmp(text.data(), entry.data(), entry.size()) == 0
                             : entry.size() == text.size() &&
                                   std::memcmp(text.data(), entry.data(), entry.size()) == 0;
    if (matches) return internal::LowInt32(i);
  }
  return -1;
}

}  // namespace qor
