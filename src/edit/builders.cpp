// Building string lists by splitting at separator bytes or from argument lists, and building
// strings from runs of consecutive byte values.
#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "byte_set.h"
#include "low_int32.h"
#include "qor/qorstl.h"

namespace {

bool IsElementOf(const std::string& s, const std::vector<std::string>& list) {
  const std::less_equal<const std::string*> at_or_before;
  return !list.empty() && at_or_before(list.data(), &s) &&
         at_or_before(&s, list.data() + (list.size() - 1));
}

}  // namespace

namespace qor {

int stringarray_builder_by_splittoken(const std::string& text, std::vector<std::string>& out,
                                      const std::string& token) {
  if (IsElementOf(text, out) || IsElementOf(token, out)) {
    // Appending may move the elements of `out`, and with them the argument.
    const std::string text_copy(text), token_copy(token);
    return stringarray_builder_by_splittoken(text_copy, out, token_copy);
  }
  const internal::ByteSet separators(token);
  const char* data = text.data();
  const std::size_t size = text.size();
  if (separators.empty()) {
    if (size > 0) out.emplace_back(text);
    return internal::LowInt32(out.size());
  }
  // Count the tokens first, so that the list grows at most once.
  std::size_t tokens = 0;
  std::size_t start = 0;
  separators.ForEachMember(data, size, [&](std::size_t pos) {
    tokens += pos > start;
    start = pos + 1;
    return true;
  });
  tokens += start < size;
  if (tokens == 0) return internal::LowInt32(out.size());
  if (out.capacity() - out.size() < tokens) {
    // Never less than doubling, so that repeated calls on one list stay linear.
    out.reserve(std::max(out.size() + tokens, 2 * out.capacity()));
  }
  start = 0;
  separators.ForEachMember(data, size, [&](std::size_t pos) {
    if (pos > start) out.emplace_back(data + start, pos - start);
    start = pos + 1;
    return true;
  });
  if (start < size) out.emplace_back(data + start, size - start);
  return internal::LowInt32(out.size());
}

std::vector<std::string> stringarray_builder_by_token(const char* first, ...) {
  std::vector<std::string> list;
  va_list args;
  va_start(args, first);
  try {
    list.emplace_back(first);
    for (const char* next = va_arg(args, const char*); next != nullptr;
         next = va_arg(args, const char*)) {
      list.emplace_back(next);
    }
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
  return list;
}

int string_builder_by_char(std::string& out, char first_char, char last_char) {
  // Bounds compare as signed bytes; the loop counts in int so that a run ending at 127 stops there.
  const int first = static_cast<signed char>(first_char);
  const int last = static_cast<signed char>(last_char);
  if (first <= last) {
    out.reserve(out.size() + static_cast<std::size_t>(last - first + 1));
    for (int value = first; value <= last; ++value) out.push_back(static_cast<char>(value));
  }
  return qor::internal::LowInt32(out.size());
}

int string_builder_by_range(std::string& out, const std::string& ranges, int count) {
  if (&ranges == &out) {
    const std::string ranges_copy(ranges);
    return string_builder_by_range(out, ranges_copy, count);
  }
  if (count > 0) {
    const std::size_t pairs = ranges.size() / 2;
    const std::size_t used =
        static_cast<std::size_t>(count) < pairs ? static_cast<std::size_t>(count) : pairs;
    for (std::size_t i = 0; i < used; ++i)
      string_builder_by_char(out, ranges[2 * i], ranges[2 * i + 1]);
  }
  return qor::internal::LowInt32(out.size());
}

}  // namespace qor
