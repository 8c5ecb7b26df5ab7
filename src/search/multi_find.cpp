// Search for the first of several patterns: in list order, in an order chosen by mode, or earliest.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "find.h"
#include "qor/qorstl.h"

namespace qor {
namespace {

constexpr std::size_t kNotFound = std::string::npos;

// The unsigned 32-bit index names entries 0 to 2^32 - 2 and still reports a miss by their count;
// the signed one of string_find_first_one_of names entries 0 to 2^31 - 1.
constexpr std::size_t kMaxListedPatterns = 0xFFFFFFFFu;
constexpr std::size_t kMaxEarliestPatterns = 0x80000000u;

std::size_t FirstOccurrence(const std::string& text, const std::string& pattern) {
  return internal::FindFirst(text.data(), text.size(), pattern.data(), pattern.size());
}

// Tries entry(0), entry(1), ... up to `count` and stops at the first that occurs in `text`.
template <typename Entry>
std::size_t FindInOrder(const std::string& text, std::size_t count, Entry entry,
                        unsigned int& index) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t pos = FirstOccurrence(text, entry(i));
    if (pos != kNotFound) {
      index = static_cast<unsigned int>(i);
      return pos;
    }
  }
  index = static_cast<unsigned int>(count);
  return kNotFound;
}

std::size_t ListedCount(const std::vector<std::string>& patterns) {
  return std::min(patterns.size(), kMaxListedPatterns);
}

}  // namespace

std::size_t string_seq_find(const std::string& text, const std::vector<std::string>& patterns,
                            unsigned int& index) {
  return FindInOrder(
      text, ListedCount(patterns), [&](std::size_t i) -> const std::string& { return patterns[i]; },
      index);
}

std::size_t string_find(const std::string& text, const std::vector<std::string>& patterns,
                        unsigned int& index, int mode) {
  // The order is built over pointers to the caller's entries: the stable sort gives them exactly
  // the order it would give copies of the strings, without copying any pattern's bytes.
  const std::size_t count = ListedCount(patterns);
  std::vector<const std::string*> order(count);
  for (std::size_t i = 0; i < count; ++i) order[i] = &patterns[i];
  using Ref = const std::string*;
  switch (mode) {
    case 1:
      std::stable_sort(order.begin(), order.end(), [](Ref a, Ref b) { return less_len(*a, *b); });
      break;
    case 2:
      std::stable_sort(order.begin(), order.end(), [](Ref a, Ref b) { return great_len(*a, *b); });
      break;
    case 3:
      std::stable_sort(order.begin(), order.end(), [](Ref a, Ref b) { return *a < *b; });
      break;
    case 4:
      std::stable_sort(order.begin(), order.end(), [](Ref a, Ref b) { return greater(*a, *b); });
      break;
    default:
      break;
  }

  unsigned int place = 0;
  const std::size_t pos = FindInOrder(
      text, count, [&](std::size_t i) -> const std::string& { return *order[i]; }, place);
  if (pos == kNotFound) {
    index = place;
    return kNotFound;
  }
  // Among repeated patterns the caller learns the first one of its list.
  const std::string& winner = *order[place];
  for (std::size_t i = 0; i < count; ++i) {
    if (patterns[i] == winner) {
      index = static_cast<unsigned int>(i);
      break;
    }
  }
  return pos;
}

std::size_t string_find_first_one_of(const std::string& text,
                                     const std::vector<std::string>& patterns, int& index) {
  if (patterns.empty()) return kNotFound;
  const std::size_t count = std::min(patterns.size(), kMaxEarliestPatterns);
  std::size_t best = FirstOccurrence(text, patterns[0]);
  index = 0;
  // Nothing starts before 0, so a match there ends the search.
  for (std::size_t i = 1; i < count && best != 0; ++i) {
    const std::string& pattern = patterns[i];
    // Only an occurrence that starts before `best` can win, and such an occurrence lies within the
    // first best - 1 + length bytes of the text.
    std::size_t searched = text.size();
    if (best != kNotFound && best - 1 + pattern.size() < searched) {
      searched = best - 1 + pattern.size();
    }
    const std::size_t pos =
        internal::FindFirst(text.data(), searched, pattern.data(), pattern.size());
    if (pos < best) {
      best = pos;
      index = static_cast<int>(i);
    }
  }
  return best;
}

}  // namespace qor
