// Search for the first of several patterns: in list order, in an order chosen by mode, or earliest.
// One pass over the text serves a whole slice of the list: a filter proposes the positions where
// some pattern may start, and only the patterns that can start there are compared.
#include "search/multi_find.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "cpu_features.h"
#include "find.h"
#include "qor/qorstl.h"
#include "simd.h"

namespace qor {
namespace {

using internal::MultiGoal;
using internal::MultiHit;
using internal::Needle;

using internal::kNoHit;
using internal::kNotFound;

// The unsigned 32-bit index names entries 0 to 2^32 - 2 and still reports a miss by their count;
// the signed one of string_find_first_one_of names entries 0 to 2^31 - 1.
constexpr std::size_t kMaxListedPatterns = 0xFFFFFFFFu;
constexpr std::size_t kMaxEarliestPatterns = 0x80000000u;

// Patterns filtered in one pass; the filter's tables live on the stack, so a longer list is
// searched in slices of this many, in rank order (one pass over the text per slice).
constexpr std::size_t kSliceSize = internal::kMultiSliceSize;

// Texts shorter than this are searched one pattern at a time: building the filter and ordering the
// list cost more than reading a short text once per pattern.
constexpr std::size_t kFilterMinText = 256;

// One slice: the fastest filter this build and CPU offer, or the plain rule for a single needle.
MultiHit SearchSlice(const unsigned char* text, std::size_t size, const Needle* needles,
                     std::size_t count, MultiGoal goal, std::size_t limit) {
  if (count == 0) return kNoHit;
  if (count == 1) {
    return internal::FinishOneByOne(text, size, 0, needles, count, goal, limit, kNoHit);
  }
  const internal::MultiFindKernels& kernels = internal::BestMultiFindKernels();
  if (count <= kernels.few_max) return kernels.search_few(text, size, needles, count, goal, limit);
  return internal::SearchWithHashes(text, size, needles, count, goal, limit, kernels);
}

// Texts from 16 bytes up to this long are searched in place by the list searches, each
// pattern with a few block comparisons, where a call into the single search would cost more than
// the text's bytes.
constexpr std::size_t kTinyText = 32;

// First occurrence of p[0, m) in t[0, n), 16 <= n, 1 <= m <= n: the pattern's first byte and, where
// 16 starts in a row have room for it, its last byte are compared with 16 starts at a time, and
// each start that passes is compared in full. As FindFirst, at most n * m byte comparisons.
std::size_t FindInTinyText(const unsigned char* t, std::size_t n, const unsigned char* p,
                           std::size_t m) {
  const std::size_t last_start = n - m;
  if (last_start < 15) {
    for (unsigned starts = internal::Equal16(t, p[0]) & ((2u << last_start) - 1); starts != 0;
         starts &= starts - 1) {
      const auto at = static_cast<std::size_t>(__builtin_ctz(starts));
      if (std::memcmp(t + at, p, m) == 0) return at;
    }
    return kNotFound;
  }
  for (std::size_t block = 0; block <= last_start; block += 16) {
    // The last block moves back to end at the last start; the starts it shares with the block
    // before it were looked at there.
    const std::size_t from = std::min(block, last_start - 15);
    unsigned starts =
        internal::Equal16(t + from, p[0]) & internal::Equal16(t + from + m - 1, p[m - 1]);
    starts &= ~0u << (block - from);
    for (; starts != 0; starts &= starts - 1) {
      const std::size_t at = from + static_cast<std::size_t>(__builtin_ctz(starts));
      if (std::memcmp(t + at, p, m) == 0) return at;
    }
  }
  return kNotFound;
}

// The single search as the short paths of the list searches use it: a text under 16 bytes is
// tried at each start in place, one up to kTinyText bytes by a few block comparisons, a longer one
// by the single search.
std::size_t FindForList(const char* text, std::size_t n, const char* pattern, std::size_t m) {
  const auto* t = reinterpret_cast<const unsigned char*>(text);
  const auto* p = reinterpret_cast<const unsigned char*>(pattern);
  if (m != 0 && n < 16) {
    for (std::size_t at = 0; at + m <= n; ++at)
      if (t[at] == p[0] && std::memcmp(t + at, p, m) == 0) return at;
    return kNotFound;
  }
  if (internal::kBaselineVectors && n <= kTinyText && m != 0) return FindInTinyText(t, n, p, m);
  return internal::FindFirst(text, n, pattern, m);
}

// The winner among entry(0), entry(1), ... entry(count - 1), ranked in that order, for `goal`.
// Allocates nothing.
template <typename Entry>
MultiHit FindAmong(const std::string& text, std::size_t count, Entry entry, MultiGoal goal) {
  if (text.size() < kFilterMinText) {
    // A short text: each pattern in rank order, straight to the single search. For kEarliest only
    // occurrences before the best so far are looked for, and one at 0 ends the search.
    const char* bytes = text.data();
    MultiHit best = kNoHit;
    for (std::size_t r = 0; r < count; ++r) {
      const std::string& pattern = entry(r);
      const std::size_t m = pattern.size();
      if (m > text.size()) continue;
      const std::size_t reach = best.pos == kNotFound ? text.size() : best.pos - 1 + m;
      const std::size_t pos = FindForList(bytes, std::min(reach, text.size()), pattern.data(), m);
      if (pos == kNotFound) continue;
      best = MultiHit{pos, r};
      if (goal == MultiGoal::kLowestRank || pos == 0) break;
    }
    return best;
  }
  // An empty pattern occurs at 0, so nothing ranked after the first one can win.
  std::size_t first_empty = count;
  for (std::size_t r = 0; r < count; ++r) {
    if (entry(r).empty()) {
      first_empty = r;
      break;
    }
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t size = text.size();
  // Earliest: with an empty pattern only a lower-ranked one at 0 can win.
  std::size_t limit = goal == MultiGoal::kEarliest && first_empty < count ? 1 : size;
  MultiHit best = kNoHit;
  Needle slice[kSliceSize];
  for (std::size_t r = 0; r < first_empty && limit > 0;) {
    std::size_t used = 0;
    for (; r < first_empty && used < kSliceSize; ++r) {
      const std::string& pattern = entry(r);
      if (pattern.size() > size) continue;  // never occurs
      slice[used++] =
          Needle{reinterpret_cast<const unsigned char*>(pattern.data()), pattern.size(), r};
    }
    const MultiHit hit = SearchSlice(bytes, size, slice, used, goal, limit);
    if (hit.pos == kNotFound) continue;
    // Later slices rank lower: for kLowestRank they cannot win, for kEarliest only strictly
    // earlier occurrences can.
    if (goal == MultiGoal::kLowestRank) return hit;
    best = hit;
    limit = hit.pos;
  }
  if (best.pos == kNotFound && first_empty < count) return MultiHit{0, first_empty};
  return best;
}

std::size_t ListedCount(const std::vector<std::string>& patterns) {
  return std::min(patterns.size(), kMaxListedPatterns);
}

// A few patterns over a text of a few hundred bytes are searched one by one as well: reading the
// text once per pattern costs less than ordering the list and building the filter while the text's
// length times the number of patterns stays under this many bytes.
constexpr std::size_t kShortListWork = 1536;

// With up to kFewPatterns patterns, texts shorter than this are searched one pattern at a time by
// the list form that orders the list: ordering it costs more than reading the text once per
// pattern.
constexpr std::size_t kOrderedMinText = 512;

// Lists up to this long are ordered on the stack, by insertion (which is stable); a longer list
// takes one heap array and the standard stable sort. The orderings are those of less_len,
// great_len, the string's less-than and greater, written inline.
constexpr std::size_t kFewPatterns = 16;

// The first eight bytes of `s` as a big-endian number, zeros after its end: when two keys differ,
// the strings order as their keys do; equal keys leave the order to the whole strings.
std::uint64_t PrefixKey(const std::string& s) {
  std::uint64_t key = 0;
  const std::size_t n = std::min<std::size_t>(s.size(), 8);
  for (std::size_t i = 0; i < n; ++i)
    key |= std::uint64_t{static_cast<unsigned char>(s[i])} << (56 - 8 * i);
  return key;
}

// Orders order[0, count) stably as `mode` says (1 to 4; any other leaves it).
void OrderByMode(const std::string** order, std::size_t count, int mode) {
  using Ref = const std::string*;
  if (mode < 1 || mode > 4) return;
  if (count > kFewPatterns) {
    switch (mode) {
      case 1:
        std::stable_sort(order, order + count, [](Ref a, Ref b) { return a->size() < b->size(); });
        break;
      case 2:
        std::stable_sort(order, order + count, [](Ref a, Ref b) { return a->size() > b->size(); });
        break;
      case 3:
        std::stable_sort(order, order + count, [](Ref a, Ref b) { return *a < *b; });
        break;
      default:
        std::stable_sort(order, order + count, [](Ref a, Ref b) { return *a > *b; });
        break;
    }
    return;
  }
  // Insertion on keys: the length for modes 1 and 2, the prefix for 3 and 4, negated for the
  // descending modes so that one comparison serves all four.
  const bool by_length = mode <= 2;
  const bool descending = mode % 2 == 0;
  std::uint64_t keys[kFewPatterns];
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t key = by_length ? order[i]->size() : PrefixKey(*order[i]);
    keys[i] = descending ? ~key : key;
  }
  const auto before = [&](std::uint64_t key_a, Ref a, std::uint64_t key_b, Ref b) {
    if (key_a != key_b || by_length) return key_a < key_b;
    return descending ? *a > *b : *a < *b;
  };
  for (std::size_t i = 1; i < count; ++i) {
    const Ref moving = order[i];
    const std::uint64_t key = keys[i];
    std::size_t j = i;
    for (; j > 0 && before(key, moving, keys[j - 1], order[j - 1]); --j) {
      order[j] = order[j - 1];
      keys[j] = keys[j - 1];
    }
    order[j] = moving;
    keys[j] = key;
  }
}

}  // namespace

std::size_t string_seq_find(const std::string& text, const std::vector<std::string>& patterns,
                            unsigned int& index) {
  const std::size_t count = ListedCount(patterns);
  const MultiHit hit = FindAmong(
      text, count, [&](std::size_t i) -> const std::string& { return patterns[i]; },
      MultiGoal::kLowestRank);
  index = static_cast<unsigned int>(hit.pos == kNotFound ? count : hit.rank);
  return hit.pos;
}

std::size_t string_find(const std::string& text, const std::vector<std::string>& patterns,
                        unsigned int& index, int mode) {
  // The order is built over pointers to the caller's entries: a stable ordering gives them exactly
  // the order it would give copies of the strings, without copying any pattern's bytes.
  const std::size_t count = ListedCount(patterns);
  if (text.size() < kFilterMinText || (count <= kFewPatterns && text.size() < kOrderedMinText) ||
      (text.size() < kShortListWork && text.size() * count < kShortListWork)) {
    // A short text: every pattern that could still win is searched, in list order, and the
    // winner is the first of those found in the mode's order, the earliest in the list among
    // equals, as the stable order of a copy would have it. No order is built.
    const auto before = [mode](const std::string& a, const std::string& b) {
      switch (mode) {
        case 1:
          return a.size() < b.size();
        case 2:
          return a.size() > b.size();
        case 3:
          return a < b;
        case 4:
          return a > b;
        default:
          return false;
      }
    };
    std::size_t winner = count, winner_pos = kNotFound;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string& pattern = patterns[i];
      if (pattern.size() > text.size()) continue;
      if (winner < count && !before(pattern, patterns[winner])) continue;
      const std::size_t pos = FindForList(text.data(), text.size(), pattern.data(), pattern.size());
      if (pos == kNotFound) continue;
      winner = i;
      winner_pos = pos;
    }
    index = static_cast<unsigned int>(winner);
    return winner_pos;
  }
  using Ref = const std::string*;
  Ref few[kFewPatterns];
  std::vector<Ref> many;
  Ref* order = few;
  if (count > kFewPatterns) {
    many.resize(count);
    order = many.data();
  }
  for (std::size_t i = 0; i < count; ++i) order[i] = &patterns[i];
  OrderByMode(order, count, mode);

  const MultiHit hit = FindAmong(
      text, count, [&](std::size_t i) -> const std::string& { return *order[i]; },
      MultiGoal::kLowestRank);
  if (hit.pos == kNotFound) {
    index = static_cast<unsigned int>(count);
    return kNotFound;
  }
  // Among repeated patterns the caller learns the first one of its list.
  const std::string& winner = *order[hit.rank];
  for (std::size_t i = 0; i < count; ++i) {
    if (patterns[i] == winner) {
      index = static_cast<unsigned int>(i);
      break;
    }
  }
  return hit.pos;
}

std::size_t string_find_first_one_of(const std::string& text,
                                     const std::vector<std::string>& patterns, int& index) {
  if (patterns.empty()) return kNotFound;
  const std::size_t count = std::min(patterns.size(), kMaxEarliestPatterns);
  const MultiHit hit = FindAmong(
      text, count, [&](std::size_t i) -> const std::string& { return patterns[i]; },
      MultiGoal::kEarliest);
  index = hit.pos == kNotFound ? 0 : static_cast<int>(hit.rank);
  return hit.pos;
}

}  // namespace qor
