// The library's substring search, shared by every function that looks for a pattern in a text.
// Private to the library: not installed, not exported.
#ifndef QORSTL_SRC_FIND_H_
#define QORSTL_SRC_FIND_H_

#include <cstddef>

namespace qor {
namespace internal {

// A failed search: npos, all bits set.
constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

// The near-match budget of every search that scans fast and falls back to a linear one: each
// candidate a scan stops at costs kCandidateCost, each comparison the bytes it compares. Once the
// charge outgrows twice the distance covered plus a slack for short texts, the text is dense with
// near-matches and the linear search takes over.
constexpr std::size_t kCandidateCost = 4;
constexpr std::size_t kWorkSlack = 1024;
constexpr bool OverWorkBudget(std::size_t work, std::size_t covered) {
  return work > 2 * covered + kWorkSlack;
}

// Position of the first occurrence of pattern[0, pattern_len) in text[0, text_len), or npos
// (all bits set). An empty pattern occurs at 0, also in an empty text; a pattern longer than the
// text never occurs. Every byte takes part, zero bytes included. Linear time on any input, no
// allocation. To find only occurrences that start before some position `end`, pass a text_len of
// at most end - 1 + pattern_len.
std::size_t FindFirst(const char* text, std::size_t text_len, const char* pattern,
                      std::size_t pattern_len);

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_FIND_H_
