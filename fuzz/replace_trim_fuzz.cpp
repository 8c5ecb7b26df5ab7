// Fuzzes string_replace (which finds every occurrence first and rebuilds the text in one pass)
// against the loop of edits that states its rule, and the three trims against the standard
// string's set searches.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qor/qorstl.h"

namespace {

std::string ModelReplace(std::string text, const std::string& from, const std::string& to) {
  if (from.empty() || text.empty()) return text;
  std::size_t resume = 0;
  for (;;) {
    const std::size_t match = text.find(from, resume);
    if (match == std::string::npos) return text;
    text.replace(match, from.size(), to);
    resume = match + to.size();
    if (resume >= text.size()) return text;
  }
}

}  // namespace

// Input: two length bytes for `from` and `to`, then their bytes, then the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t from_size = data[0] % 16, to_size = data[1] % 16;
  if (size < 2 + from_size + to_size) return 0;
  const char* bytes = reinterpret_cast<const char*>(data);
  const std::string from(bytes + 2, from_size);
  const std::string to(bytes + 2 + from_size, to_size);
  const std::string text(bytes + 2 + from_size + to_size, size - 2 - from_size - to_size);

  std::string got = text;
  qor::string_replace(got, from, to);
  if (got != ModelReplace(text, from, to)) std::abort();

  // The trims, with `from` as the set, against the standard string's set searches.
  const std::size_t first = text.find_first_not_of(from);
  const std::size_t last = text.find_last_not_of(from);
  const bool all_in_set = first == std::string::npos;
  std::string left = text, right = text, both = text;
  qor::trim_left(left, from);
  qor::trim_right(right, from);
  qor::trim_both(both, from);
  if (from.empty()) {
    if (left != text || right != text || both != text) std::abort();
    return 0;
  }
  if (left != (all_in_set ? std::string() : text.substr(first))) std::abort();
  if (right != (all_in_set ? std::string() : text.substr(0, last + 1))) std::abort();
  if (both != (all_in_set ? std::string() : text.substr(first, last - first + 1))) std::abort();
  return 0;
}
