// Compares the library's substring search (through string_find and string_find_first_one_of) with
// a naive search. Input: one byte giving the pattern length (times the input size, over 256), the
// pattern, then the text; texts built of few distinct bytes reach the worst cases fastest.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "qor/qorstl.h"

namespace {

std::size_t NaiveFind(const std::string& text, const std::string& pattern) {
  for (std::size_t i = 0; i + pattern.size() <= text.size(); ++i) {
    if (text.compare(i, pattern.size(), pattern) == 0) return i;
  }
  return std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t rest = size - 1;
  const std::size_t pattern_len = rest * data[0] / 256;
  const std::string pattern(reinterpret_cast<const char*>(data + 1), pattern_len);
  const std::string text(reinterpret_cast<const char*>(data + 1 + pattern_len), rest - pattern_len);

  const std::size_t want = NaiveFind(text, pattern);
  if (qor::string_find(text, pattern, true) != want) std::abort();

  // The earliest-match search bounds each later pattern by the best position so far.
  const std::vector<std::string> patterns = {pattern.substr(pattern.size() / 2), pattern};
  const std::size_t want_tail = NaiveFind(text, patterns[0]);
  int index = -1;
  const std::size_t got = qor::string_find_first_one_of(text, patterns, index);
  const bool tail_wins = want_tail <= want;
  if (got != (tail_wins ? want_tail : want) || index != (tail_wins ? 0 : 1)) std::abort();
  return 0;
}
