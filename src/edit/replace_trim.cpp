// In-place editing of narrow strings: replacing every occurrence of a byte sequence, and trimming
// the bytes of a set from either end.
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

// The trims over a set of either kind: FewBytes for the usual few bytes, the map for more.
template <typename Set>
std::size_t LeftEnd(const std::string& text, const Set& set) {
  std::size_t strip = 0;
  while (strip < text.size() && set.Contains(text[strip])) ++strip;
  return strip;
}

template <typename Set>
std::size_t RightEnd(const std::string& text, std::size_t begin, const Set& set) {
  std::size_t keep = text.size();
  while (keep > begin && set.Contains(text[keep - 1])) --keep;
  return keep;
}

// Keeps text[begin, end): the bytes move to the front and the string is cut there, which never
// allocates (as erase).
void Keep(std::string& text, std::size_t begin, std::size_t end) {
  if (begin > 0) std::memmove(&text[0], text.data() + begin, end - begin);
  if (end - begin < text.size()) text.erase(end - begin);
}

// The same bytes as trim_left followed by trim_right: the right end is looked for only among the
// bytes the left trim keeps.
template <typename Set>
void TrimBoth(std::string& text, const Set& set) {
  const std::size_t begin = LeftEnd(text, set);
  Keep(text, begin, RightEnd(text, begin, set));
}

const unsigned char* Bytes(const std::string& s) {
  return reinterpret_cast<const unsigned char*>(s.data());
}

}  // namespace

std::string& trim_left(std::string& text, const std::string& chars) {
  if (text.empty() || chars.empty()) return text;
  const std::size_t strip = chars.size() <= internal::FewBytes::kMax
                                ? LeftEnd(text, internal::FewBytes(Bytes(chars), chars.size()))
                                : LeftEnd(text, internal::ByteSet(chars));
  Keep(text, strip, text.size());
  return text;
}

std::string& trim_right(std::string& text, const std::string& chars) {
  if (text.empty() || chars.empty()) return text;
  const std::size_t keep = chars.size() <= internal::FewBytes::kMax
                               ? RightEnd(text, 0, internal::FewBytes(Bytes(chars), chars.size()))
                               : RightEnd(text, 0, internal::ByteSet(chars));
  Keep(text, 0, keep);
  return text;
}

std::string& trim_both(std::string& text, const std::string& chars) {
  if (text.empty() || chars.empty()) return text;
  if (chars.size() <= internal::FewBytes::kMax)
    TrimBoth(text, internal::FewBytes(Bytes(chars), chars.size()));
  else
    TrimBoth(text, internal::ByteSet(chars));
  return text;
}

}  // namespace qor
