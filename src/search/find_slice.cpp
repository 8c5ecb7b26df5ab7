// Cutting a text in two at a separator string or a separator byte.
#include <cstring>
#include <string>

#include "byte_set.h"
#include "find.h"
#include "qor/qorstl.h"

namespace qor {
namespace {

using qor::internal::kNotFound;

// Position of the first byte of text that belongs to the set `separators` (a non-empty set).
std::size_t FirstByteOf(const std::string& text, const std::string& separators) {
  if (separators.size() == 1) {
    const void* hit = std::memchr(text.data(), separators[0], text.size());
    return hit == nullptr ? kNotFound
                          : static_cast<std::size_t>(static_cast<const char*>(hit) - text.data());
  }
  return internal::ByteSet(separators).FindFirst(text.data(), text.size());
}

// Writes the parts around a cut of `cut_len` bytes at `pos`: left first, since right may be the
// text itself.
void AssignParts(const std::string& text, std::size_t pos, std::size_t cut_len, std::string& left,
                 std::string& right) {
  left.assign(text, 0, pos);
  right.assign(text, pos + cut_len, kNotFound);
}

// No cut: all of the text goes to left, and right is emptied.
void AssignWhole(const std::string& text, std::string& left, std::string& right) {
  left.assign(text);
  right.clear();
}

}  // namespace

std::size_t string_slice2(const std::string& text, const std::string& separator, std::string& left,
                          std::string& right) {
  const std::size_t pos =
      internal::FindFirst(text.data(), text.size(), separator.data(), separator.size());
  if (pos == kNotFound) {
    AssignWhole(text, left, right);
    return kNotFound;
  }
  AssignParts(text, pos, separator.size(), left, right);
  return pos;
}

std::size_t string_slice_oneof2(const std::string& text, const std::string& separators,
                                std::string& left, std::string& right) {
  const std::size_t pos = separators.empty() ? kNotFound : FirstByteOf(text, separators);
  if (pos == kNotFound) {
    AssignWhole(text, left, right);
    return kNotFound;
  }
  AssignParts(text, pos, 1, left, right);
  return pos;
}

}  // namespace qor
