// In-place editing of narrow strings: replacing every occurrence of a byte sequence, and trimming
// the bytes of a set from either end.
#include <cstring>
#include <stdexcept>
#include <string>

#include "find.h"
#include "qor/qorstl.h"

namespace {

constexpr std::size_t kNotFound = std::string::npos;

// First occurrence of `pattern` that begins at or after `from` and lies wholly inside
// text[0, size), or kNotFound; linear in the bytes searched, no allocation.
std::size_t FindFrom(const char* text, std::size_t size, std::size_t from,
                     const std::string& pattern) {
  if (from > size) return kNotFound;
  const std::size_t pos =
      qor::internal::FindFirst(text + from, size - from, pattern.data(), pattern.size());
  return pos == kNotFound ? kNotFound : from + pos;
}

// Membership table for a set of byte values given as a string.
class ByteSet {
 public:
  explicit ByteSet(const std::string& chars) {
    for (char c : chars) member_[static_cast<unsigned char>(c)] = true;
  }
  bool Contains(char c) const { return member_[static_cast<unsigned char>(c)]; }

 private:
  bool member_[256] = {};
};

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
  for (std::size_t match = FindFrom(text.data(), old_size, 0, from); match != kNotFound;
       match = FindFrom(text.data(), old_size, match + from_size, from)) {
    ++count;
  }
  if (count == 0) return;
  const std::size_t growth = to_size - from_size;
  if (count > (text.max_size() - old_size) / growth) throw std::length_error("qor::string_replace");
  const std::size_t new_size = old_size + count * growth;
  text.resize(new_size);
  char* data = &text[0];
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

std::string& trim_left(std::string& text, const std::string& chars) {
  if (text.empty() || chars.empty()) return text;
  const ByteSet set(chars);
  std::size_t strip = 0;
  while (strip < text.size() && set.Contains(text[strip])) ++strip;
  if (strip > 0) text.erase(0, strip);
  return text;
}

std::string& trim_right(std::string& text, const std::string& chars) {
  if (text.empty() || chars.empty()) return text;
  const ByteSet set(chars);
  std::size_t keep = text.size();
  while (keep > 0 && set.Contains(text[keep - 1])) --keep;
  if (keep < text.size()) text.erase(keep);
  return text;
}

std::string& trim_both(std::string& text, const std::string& chars) {
  trim_left(text, chars);
  return trim_right(text, chars);
}

}  // namespace qor
