// In-place editing of narrow strings: replacing every occurrence of a byte sequence, and trimming
// the bytes of a set from either end.
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include "byte_set.h"
#include "find.h"
#include "qor/qorstl.h"
#include "search/scan_kernels.h"

namespace {

using qor::internal::kNotFound;

// First occurrence of `pattern` that begins at or after `from` and lies wholly inside
// text[0, size), or kNotFound; linear in the bytes searched, no allocation.
std::size_t FindFrom(const char* text, std::size_t size, std::size_t from,
                     const std::string& pattern) {
  if (from > size) return kNotFound;
  const std::size_t pos =
      qor::internal::FindFirst(text + from, size - from, pattern.data(), pattern.size());
  return pos == kNotFound ? kNotFound : from + pos;
}

// Patterns up to this length may be searched from the back; each candidate then costs at most this
// many byte comparisons, which keeps the backward search linear.
constexpr std::size_t kBackwardMaxPattern = 16;

// True when a proper prefix of `pattern` equals a suffix of it, so that occurrences can overlap.
bool HasBorder(const std::string& pattern) {
  for (std::size_t k = 1; k < pattern.size(); ++k) {
    if (std::memcmp(pattern.data(), pattern.data() + pattern.size() - k, k) == 0) return true;
  }
  return false;
}

// Start of the last occurrence of `pattern` that lies wholly inside text[0, end), or kNotFound:
// the level's kernel finds each candidate for the pattern's last byte from the back, and the rest
// is compared there.
std::size_t FindLast(const char* text, std::size_t end, const std::string& pattern) {
  const std::size_t m = pattern.size();
  if (end < m) return kNotFound;
  const auto* bytes = reinterpret_cast<const unsigned char*>(text);
  const auto last = static_cast<unsigned char>(pattern[m - 1]);
  const qor::internal::ScanKernels& kernels = qor::internal::BestScanKernels();
  // Last-byte positions in [m - 1, pos) are still to be tried.
  for (std::size_t pos = end; pos > m - 1;) {
    const std::size_t at = kernels.last_byte(bytes + m - 1, pos - (m - 1), last);
    if (at == kNotFound) return kNotFound;
    if (std::memcmp(text + at, pattern.data(), m - 1) == 0) return at;
    pos = at + m - 1;
  }
  return kNotFound;
}

}  // namespace

namespace qor {

// Replacing occurrence by occurrence and resuming after the inserted text takes the non-overlapping
// occurrences of `from` in the original text, left to right: the edited text after the resume
// position is the original text after the match. So all occurrences are found in the original and
// the text is rebuilt in one pass instead of one erase and insert each.
void string_replace(std::string& text, const std::string& from, const std::string& to) {
  if (from.empty() || text.empty()) return;
  if (&from == &text || &to == &text) {
    // The text is changed while it is read: work on the values the call was given.
    const std::string from_copy(from), to_copy(to);
    string_replace(text, from_copy, to_copy);
    return;
  }
  const std::size_t from_size = from.size();
  const std::size_t to_size = to.size();
  const std::size_t old_size = text.size();

  if (to_size <= from_size) {
    // Shrinking or equal: compact forward. The write position never passes the read position, so
    // the bytes still to be searched are never overwritten.
    std::size_t read = 0, write = 0;
    char* data = &text[0];
    for (std::size_t match = FindFrom(data, old_size, 0, from); match != kNotFound;
         match = FindFrom(data, old_size, read, from)) {
      std::memmove(data + write, data + read, match - read);
      write += match - read;
      if (to_size > 0) std::memcpy(data + write, to.data(), to_size);
      write += to_size;
      read = match + from_size;
    }
    if (read == 0) return;  // no occurrence
    std::memmove(data + write, data + read, old_size - read);
    text.resize(write + (old_size - read));
    return;
  }

  // Growing: count the occurrences, grow once (an allocation failure leaves the text as it was),
  // move the old text to the back of the grown string and compact forward from there. The write
  // position starts count * growth bytes behind the read position and catches up by exactly
  // `growth` per occurrence, so it never overtakes the bytes still to be read.
  std::size_t count = 0;
  if (from_size == 1) {
    count =
        internal::BestScanKernels().count_byte(reinterpret_cast<const unsigned char*>(text.data()),
                                               old_size, static_cast<unsigned char>(from[0]));
  } else {
    for (std::size_t match = FindFrom(text.data(), old_size, 0, from); match != kNotFound;
         match = FindFrom(text.data(), old_size, match + from_size, from)) {
      ++count;
    }
  }
  if (count == 0) return;
  const std::size_t growth = to_size - from_size;
  if (count > (text.max_size() - old_size) / growth) throw std::length_error("qor::string_replace");
  const std::size_t new_size = old_size + count * growth;
  text.resize(new_size);
  char* data = &text[0];
  if (from_size <= kBackwardMaxPattern && !HasBorder(from)) {
    // A pattern that cannot overlap itself has the same occurrences found from either end, so the
    // text can be rebuilt from the back: every byte moves once, straight to its place.
    std::size_t read_end = old_size, write_end = new_size;
    for (std::size_t left = count; left > 0; --left) {
      const std::size_t match = FindLast(data, read_end, from);
      const std::size_t tail = read_end - (match + from_size);
      std::memmove(data + write_end - tail, data + match + from_size, tail);
      write_end -= tail + to_size;
      std::memcpy(data + write_end, to.data(), to_size);
      read_end = match;
    }
    return;  // here write_end == read_end: the bytes before the first occurrence stay in place
  }
  std::memmove(data + (new_size - old_size), data, old_size);
  std::size_t read = new_size - old_size, write = 0;
  for (std::size_t left = count; left > 0; --left) {
    const std::size_t match = FindFrom(data, new_size, read, from);
    std::memmove(data + write, data + read, match - read);
    write += match - read;
    std::memcpy(data + write, to.data(), to_size);
    write += to_size;
    read = match + from_size;
  }
  // Here write == read: the bytes after the last occurrence are already in place.
}

namespace {

// The trims test each byte they may remove against the set, and stop at the first byte outside it.
// A set of up to eight bytes (nearly every set a caller passes) is held in the lanes of one word,
// built from two loads; larger sets take the 256-bit map, in functions of their own so that the
// common path keeps its few registers and no stack frame.

const unsigned char* Bytes(const std::string& s) {
  return reinterpret_cast<const unsigned char*>(s.data());
}

// The length of the leading run of bytes of s[0, size) that are in the set.
template <typename Set>
std::size_t LeftRun(const char* s, std::size_t size, const Set& set) {
  const char* p = s;
  const char* const end = s + size;
  while (p != end && set.Contains(*p)) ++p;
  return static_cast<std::size_t>(p - s);
}

// The length of s[begin, size) without its trailing run of bytes in the set.
template <typename Set>
std::size_t RightEnd(const char* s, std::size_t begin, std::size_t size, const Set& set) {
  const char* p = s + size;
  while (p != s + begin && set.Contains(p[-1])) --p;
  return static_cast<std::size_t>(p - s);
}

// Moves from[0, size) down to `to` (to < from; the two may overlap). Up to 16 bytes go through
// registers, every load before the first store, which costs less than a call on the few bytes a
// trim usually keeps; more go to memmove.
void MoveDown(char* to, const char* from, std::size_t size) {
  if (size > 16) {
    std::memmove(to, from, size);
  } else if (size >= 8) {
    std::uint64_t head, tail;
    std::memcpy(&head, from, 8);
    std::memcpy(&tail, from + size - 8, 8);
    std::memcpy(to, &head, 8);
    std::memcpy(to + size - 8, &tail, 8);
  } else if (size >= 4) {
    std::uint32_t head, tail;
    std::memcpy(&head, from, 4);
    std::memcpy(&tail, from + size - 4, 4);
    std::memcpy(to, &head, 4);
    std::memcpy(to + size - 4, &tail, 4);
  } else {
    for (std::size_t i = 0; i < size; ++i) to[i] = from[i];
  }
}

// Keeps text[begin, end): the bytes move to the front and the string is cut there, which never
// allocates (as erase).
void Keep(std::string& text, std::size_t begin, std::size_t end) {
  if (begin > 0) MoveDown(&text[0], text.data() + begin, end - begin);
  if (end - begin < text.size()) text.erase(end - begin);
}

__attribute__((noinline)) void TrimLeftMany(std::string& text, const std::string& chars) {
  Keep(text, LeftRun(text.data(), text.size(), internal::ByteSet(chars)), text.size());
}

__attribute__((noinline)) void TrimRightMany(std::string& text, const std::string& chars) {
  Keep(text, 0, RightEnd(text.data(), 0, text.size(), internal::ByteSet(chars)));
}

__attribute__((noinline)) void TrimBothMany(std::string& text, const std::string& chars) {
  const internal::ByteSet set(chars);
  const std::size_t begin = LeftRun(text.data(), text.size(), set);
  Keep(text, begin, RightEnd(text.data(), begin, text.size(), set));
}

}  // namespace

std::string& trim_left(std::string& text, const std::string& chars) {
  if (text.empty() || chars.empty()) return text;
  if (chars.size() > internal::FewBytes::kMax) {
    TrimLeftMany(text, chars);
    return text;
  }
  const internal::FewBytes set(Bytes(chars), chars.size());
  Keep(text, LeftRun(text.data(), text.size(), set), text.size());
  return text;
}

std::string& trim_right(std::string& text, const std::string& chars) {
  if (text.empty() || chars.empty()) return text;
  if (chars.size() > internal::FewBytes::kMax) {
    TrimRightMany(text, chars);
    return text;
  }
  const internal::FewBytes set(Bytes(chars), chars.size());
  Keep(text, 0, RightEnd(text.data(), 0, text.size(), set));
  return text;
}

// The same bytes as trim_left followed by trim_right: the right end is looked for only among the
// bytes the left trim keeps.
std::string& trim_both(std::string& text, const std::string& chars) {
  if (text.empty() || chars.empty()) return text;
  if (chars.size() > internal::FewBytes::kMax) {
    TrimBothMany(text, chars);
    return text;
  }
  const internal::FewBytes set(Bytes(chars), chars.size());
  const std::size_t begin = LeftRun(text.data(), text.size(), set);
  Keep(text, begin, RightEnd(text.data(), begin, text.size(), set));
  return text;
}

}  // namespace qor
