// Fuzzes the builders and the tokenizer against small models written from their rules: splitting
// at a set of separator bytes (also with the text or the set taken from the list being appended
// to), lists from argument lists, and runs of byte values compared and stepped as signed bytes
// (also with the ranges taken from the string being appended to).
// Input: a flags byte, a count byte, two bounds, the separator set, then tokens separated by '|'.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_util.h"
#include "qor/qorstl.h"

namespace {

using qor_fuzz::Check;

int Low32(std::size_t n) {
  return static_cast<int>(static_cast<std::int32_t>(static_cast<std::uint32_t>(n)));
}

std::vector<std::string> ModelSplit(const std::string& text, const std::string& separators) {
  std::vector<std::string> tokens;
  std::string token;
  for (char c : text) {
    if (separators.find(c) != std::string::npos) {
      if (!token.empty()) tokens.push_back(token);
      token.clear();
    } else {
      token += c;
    }
  }
  if (!token.empty()) tokens.push_back(token);
  return tokens;
}

std::string ModelRun(char first, char last) {
  std::string run;
  for (int value = static_cast<signed char>(first); value <= static_cast<signed char>(last);
       ++value) {
    run += static_cast<char>(value);
  }
  return run;
}

std::string ModelRanges(const std::string& ranges, int count) {
  std::string out;
  for (std::size_t pair = 0; static_cast<long>(pair) < count && 2 * pair + 1 < ranges.size();
       ++pair) {
    out += ModelRun(ranges[2 * pair], ranges[2 * pair + 1]);
  }
  return out;
}

std::vector<std::string> ListByToken(const std::vector<std::string>& t) {
  const auto p = [&t](std::size_t i) { return t[i].c_str(); };
  const char* end = nullptr;
  switch (t.size()) {
    case 1:
      return qor::stringarray_builder_by_token(p(0), end);
    case 2:
      return qor::stringarray_builder_by_token(p(0), p(1), end);
    case 3:
      return qor::stringarray_builder_by_token(p(0), p(1), p(2), end);
    case 4:
      return qor::stringarray_builder_by_token(p(0), p(1), p(2), p(3), end);
    case 5:
      return qor::stringarray_builder_by_token(p(0), p(1), p(2), p(3), p(4), end);
    case 6:
      return qor::stringarray_builder_by_token(p(0), p(1), p(2), p(3), p(4), p(5), end);
    default:
      return qor::stringarray_builder_by_token(p(0), p(1), p(2), p(3), p(4), p(5), p(6), end);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qor_fuzz::Input input(data, size);
  const std::uint8_t flags = input.Byte();
  const int count = static_cast<signed char>(input.Byte());
  const char first = static_cast<char>(input.Byte()), last = static_cast<char>(input.Byte());
  const std::string separators = input.Field(8);
  const std::string text = input.Rest();

  // Splitting, appended after what the list held.
  std::vector<std::string> old_entries(flags % 4, "old");
  if (flags & 4) old_entries.push_back(text);
  if (flags & 8) old_entries.push_back(separators);
  std::vector<std::string> want = old_entries;
  for (const std::string& token : ModelSplit(text, separators)) want.push_back(token);
  std::vector<std::string> out = old_entries;
  // With the text or the set given as an element of the list, appending may move it.
  const std::string& text_arg = flags & 4 ? out[flags % 4] : text;
  const std::string& set_arg = flags & 8 ? out.back() : separators;
  const int split_count = qor::stringarray_builder_by_splittoken(text_arg, out, set_arg);
  Check(out == want, "stringarray_builder_by_splittoken");
  Check(split_count == Low32(out.size()), "stringarray_builder_by_splittoken count");

  // A list from an argument list: every token up to its first zero byte, empty ones kept.
  std::vector<std::string> tokens;
  for (std::size_t start = 0; tokens.size() < 7;) {
    const std::size_t bar = text.find('|', start);
    tokens.push_back(text.substr(start, bar == std::string::npos ? bar : bar - start));
    if (bar == std::string::npos) break;
    start = bar + 1;
  }
  std::vector<std::string> want_list;
  for (const std::string& token : tokens) want_list.emplace_back(token.c_str());
  Check(ListByToken(tokens) == want_list, "stringarray_builder_by_token");

  // Runs of byte values, appended after what the string held.
  const std::string prefix = separators;
  std::string run = prefix;
  const int run_size = qor::string_builder_by_char(run, first, last);
  Check(run == prefix + ModelRun(first, last), "string_builder_by_char");
  Check(run_size == Low32(run.size()), "string_builder_by_char count");

  const std::string ranges = text.substr(0, 64);
  std::string built = prefix;
  const int built_size = qor::string_builder_by_range(built, ranges, count);
  Check(built == prefix + ModelRanges(ranges, count), "string_builder_by_range");
  Check(built_size == Low32(built.size()), "string_builder_by_range count");
  // The ranges may be the string appended to: its value at the call is used.
  std::string self = ranges;
  qor::string_builder_by_range(self, self, count);
  Check(self == ranges + ModelRanges(ranges, count), "string_builder_by_range on itself");
  return 0;
}
