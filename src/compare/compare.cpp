// Three-way comparisons on pointers and strings, and the case-insensitive containment test.
#include <ctype.h>
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
#include "simd.h"

namespace qor {
namespace {

using internal::kNotFound;

int CompareNarrow(const char* a, const char* b, bool case_sensitive) {
  return case_sensitive ? std::strcmp(a, b) : strcasecmp(a, b);
}

int CompareWide(const wchar_t* a, const wchar_t* b, bool case_sensitive) {
  return case_sensitive ? std::wcscmp(a, b) : wcscasecmp(a, b);
}

// The fold of the containment test: the locale's tolower of the bytes below 0x80, every other byte
// as it is (they are no characters of their own in a multibyte text, and tolower may not portably
// be handed the negative value such a byte has as a char). With glibc the locale's own table is
// read directly, which is what its tolower does; elsewhere each byte goes through tolower.
class AsciiFold {
 public:
#if defined(__GLIBC__)
  AsciiFold() : lower_(*__ctype_tolower_loc()) {}
  // Without a branch on the byte's range, which a text mixing ASCII with other scripts would
  // mispredict.
  unsigned char operator()(unsigned char c) const {
    const auto folded = static_cast<unsigned char>(lower_[c & 0x7F]);
    return c < 0x80 ? folded : c;
  }

  // Writes the bytes below 0x80 whose fold is `first` to `starts`, in order, and returns their
  // number.
  std::size_t AsciiStarts(unsigned char first, unsigned char* starts) const {
    std::size_t count = 0;
    unsigned c = 0;
#if defined(QORSTL_HAVE_SSE2)
    // Sixteen entries of the table at a time: the low byte of each compared with `first`.
    const __m128i want = _mm_set1_epi32(first), low_byte = _mm_set1_epi32(0xFF);
    const auto equal = [&](unsigned at) {
      const __m128i entries = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lower_ + at));
      return _mm_cmpeq_epi32(_mm_and_si128(entries, low_byte), want);
    };
    for (; c < 0x80; c += 16) {
      const __m128i halves[2] = {_mm_packs_epi32(equal(c), equal(c + 4)),
                                 _mm_packs_epi32(equal(c + 8), equal(c + 12))};
      for (auto bits =
               static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(halves[0], halves[1])));
           bits != 0; bits &= bits - 1)
        starts[count++] =
            static_cast<unsigned char>(c + static_cast<unsigned>(__builtin_ctz(bits)));
    }
#endif
    for (; c < 0x80; ++c)
      if ((*this)(static_cast<unsigned char>(c)) == first)
        starts[count++] = static_cast<unsigned char>(c);
    return count;
  }

 private:
  const std::int32_t* lower_;
#else
  unsigned char operator()(unsigned char c) const {
    return c < 0x80 ? static_cast<unsigned char>(std::tolower(c)) : c;
  }

  std::size_t AsciiStarts(unsigned char first, unsigned char* starts) const {
    std::size_t count = 0;
    for (unsigned c = 0; c < 0x80; ++c)
      if ((*this)(static_cast<unsigned char>(c)) == first)
        starts[count++] = static_cast<unsigned char>(c);
    return count;
  }
#endif
};

void FoldAscii(std::string& s, const AsciiFold& fold) {
  for (char& c : s) c = static_cast<char>(fold(static_cast<unsigned char>(c)));
}

// Texts up to this long are scanned byte by byte through the fold; longer ones first find the
// bytes that fold to the part's first byte, which costs a look at the 128 ASCII entries of the
// locale's table, and then scan for those bytes sixteen at a time.
constexpr std::size_t kShortText = 32;

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
  const AsciiFold fold;
  const auto* t = reinterpret_cast<const unsigned char*>(text.data());
  // The folded part: on the stack when it is short, as the part almost always is.
  unsigned char short_part[64];
  std::string long_part;
  const unsigned char* p = short_part;
  if (m <= sizeof short_part) {
    for (std::size_t i = 0; i < m; ++i) short_part[i] = fold(static_cast<unsigned char>(part[i]));
  } else {
    long_part = part;
    FoldAscii(long_part, fold);
    p = reinterpret_cast<const unsigned char*>(long_part.data());
  }
  // Compares the whole part at a start whose first byte matched; charges the work done, and
  // returns false once the text proves dense with near-matches.
  std::size_t work = 0;
  bool found = false;
  const auto matches_at = [&](std::size_t pos) {
    if (fold(t[pos + m - 1]) == p[m - 1]) {
      std::size_t i = 1;
      while (i < m - 1 && fold(t[pos + i]) == p[i]) ++i;
      if (i >= m - 1) return found = true;
      work += i;
    }
    work += internal::kCandidateCost;
    return false;
  };
  const auto dense = [&](std::size_t pos) { return internal::OverWorkBudget(work, pos); };

  std::size_t dense_from = kNotFound;
  if (n <= kShortText) {
    for (std::size_t pos = 0; pos + m <= n; ++pos) {
      if (fold(t[pos]) != p[0]) continue;
      if (matches_at(pos)) return true;
      if (dense(pos)) {
        dense_from = pos;
        break;
      }
    }
  } else {
    // The bytes that fold to the part's first byte: those below 0x80 that the locale maps to it,
    // and the byte itself.
    unsigned char starts[129];
    std::size_t count = fold.AsciiStarts(p[0], starts);
    if (p[0] >= 0x80) starts[count++] = p[0];
    internal::ByteSet(starts, count).ForEachMember(text.data(), n - m + 1, [&](std::size_t pos) {
      if (matches_at(pos)) return false;
      if (dense(pos)) {
        dense_from = pos;
        return false;
      }
      return true;
    });
  }
  if (found || dense_from == kNotFound) return found;
  // Dense near-matches: fold the rest of the text and search it in linear time.
  std::string folded_text = text.substr(dense_from);
  FoldAscii(folded_text, fold);
  return internal::FindFirst(folded_text.data(), folded_text.size(),
                             reinterpret_cast<const char*>(p), m) != kNotFound;
}

}  // namespace qor
