// A set of byte values given as a string (the trims' set, the splitter's separators, the slicer's
// separators), and scans of a text for the bytes in the set. Private to the library.
#ifndef QORSTL_SRC_BYTE_SET_H_
#define QORSTL_SRC_BYTE_SET_H_

#include <cstddef>
#include <string>

#include "simd.h"

namespace qor {
namespace internal {

class ByteSet {
 public:
  explicit ByteSet(const std::string& chars) {
    for (char c : chars) {
      const auto b = static_cast<unsigned char>(c);
      if (member_[b]) continue;
      member_[b] = true;
      if (distinct_ < kVectorMembers) few_[distinct_] = b;
      ++distinct_;
    }
  }

  bool Contains(char c) const { return member_[static_cast<unsigned char>(c)]; }
  bool empty() const { return distinct_ == 0; }

  // Calls visit(pos) for each position of text[0, size) whose byte is in the set, in order;
  // stops early when visit returns false.
  template <typename Visit>
  void ForEachMember(const char* text, std::size_t size, Visit visit) const {
    std::size_t pos = 0;
#if defined(QORSTL_HAVE_SSE2)
    // Sets of a few bytes: sixteen bytes at a time, one comparison per member. Larger sets and the
    // last bytes of the text take the table below.
    if (distinct_ > 0 && distinct_ <= kVectorMembers) {
      __m128i members[kVectorMembers];
      for (std::size_t i = 0; i < distinct_; ++i)
        members[i] = _mm_set1_epi8(static_cast<char>(few_[i]));
      for (; pos + 16 <= size; pos += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + pos));
        __m128i hits = _mm_cmpeq_epi8(block, members[0]);
        for (std::size_t i = 1; i < distinct_; ++i)
          hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, members[i]));
        for (auto mask = static_cast<unsigned>(_mm_movemask_epi8(hits)); mask != 0;
             mask &= mask - 1) {
          if (!visit(pos + static_cast<std::size_t>(__builtin_ctz(mask)))) return;
        }
      }
    }
#endif
    // The plain rule: each byte looked up in the table.
    for (; pos < size; ++pos) {
      if (member_[static_cast<unsigned char>(text[pos])] && !visit(pos)) return;
    }
  }

  // Position of the first byte of text[0, size) in the set, or npos.
  std::size_t FindFirst(const char* text, std::size_t size) const {
    std::size_t first = std::string::npos;
    ForEachMember(text, size, [&first](std::size_t pos) {
      first = pos;
      return false;
    });
    return first;
  }

 private:
  static constexpr std::size_t kVectorMembers = 6;
  bool member_[256] = {};
  unsigned char few_[kVectorMembers] = {};
  std::size_t distinct_ = 0;
};

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_BYTE_SET_H_
