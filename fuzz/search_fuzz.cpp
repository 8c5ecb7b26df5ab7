// Compares the library's substring search (the internal search itself, and through string_find,
// the slicers and the searches over a list) with a naive search, and the list searches with models
// written from their rules. Input: one byte giving the pattern length (times the input size, over
// 256), the pattern, then the text; texts built of few distinct bytes reach the worst cases
// fastest.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "find.h"
#include "fuzz_util.h"
#include "models/search_model.h"
#include "qor/qorstl.h"
#include "search/scan_kernels.h"

namespace {

using qor_fuzz::Check;

constexpr std::size_t kNpos = std::string::npos;

void CheckSlicers(const std::string& text, const std::string& separator) {
  const std::size_t at = qor_test::NaiveFind(text, separator);
  std::string left = "old", right = "old";
  Check(qor::string_slice2(text, separator, left, right) == at, "string_slice2 position");
  Check(left == (at == kNpos ? text : text.substr(0, at)), "string_slice2 left");
  Check(right == (at == kNpos ? std::string() : text.substr(at + separator.size())),
        "string_slice2 right");
  std::string same = text;  // `right` may be the text itself
  std::string same_left;
  qor::string_slice2(same, separator, same_left, same);
  Check(same_left == left && same == right, "string_slice2 into its own text");

  const std::size_t cut = text.empty() || separator.empty() ? kNpos : text.find_first_of(separator);
  left = "old";
  right = "old";
  Check(qor::string_slice_oneof2(text, separator, left, right) == cut,
        "string_slice_oneof2 position");
  Check(left == (cut == kNpos ? text : text.substr(0, cut)), "string_slice_oneof2 left");
  Check(right == (cut == kNpos ? std::string() : text.substr(cut + 1)),
        "string_slice_oneof2 right");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t rest = size - 1;
  const std::size_t pattern_len = rest * data[0] / 256;
  const std::string pattern(reinterpret_cast<const char*>(data + 1), pattern_len);
  const std::string text(reinterpret_cast<const char*>(data + 1 + pattern_len), rest - pattern_len);

  const std::size_t want = qor_test::NaiveFind(text, pattern);
  Check(qor::internal::FindFirst(text.data(), text.size(), pattern.data(), pattern.size()) == want,
        "the internal search against the naive one");
  // Each level's kernels: the single-pattern filter from the first start, where the callers hand
  // texts to it, the byte sets, and the byte scans of replace and the decoders.
  const auto* t = reinterpret_cast<const unsigned char*>(text.data());
  const auto* p = reinterpret_cast<const unsigned char*>(pattern.data());
  const unsigned char byte = pattern.empty() ? 0 : p[0];
  std::size_t count = 0, room = 0, pairs = 0;
  for (unsigned char c : text) {
    count += c == byte;
    room += (c & 0xC0) != 0x80;
    pairs += c >= 0xF0;
  }
  using qor::internal::Isa;
  for (Isa isa : {Isa::kScalar, Isa::kSse2, Isa::kAvx2, Isa::kAvx512, Isa::kNeon}) {
    const qor::internal::ScanKernels* kernels = qor::internal::ScanKernelsFor(isa);
    if (kernels == nullptr) continue;
    if (text.size() >= 16 && pattern.size() >= 2 && pattern.size() <= text.size()) {
      Check(kernels->find_from(t, text.size(), p, pattern.size(), 0) == want,
            "a level's single-pattern filter against the naive search");
    }
    // The byte-set kernel with the pattern's distinct bytes as the set, one member asked for first
    // and then more, as the sets ask.
    std::string set;
    for (char c : pattern)
      if (set.find(c) == kNpos) set += c;
    if (kernels->next_members != nullptr && text.size() >= qor::internal::kSetBlock &&
        !set.empty() && set.size() <= qor::internal::kVectorMembers) {
      std::vector<std::size_t> members, found(qor::internal::kMemberRoom);
      for (std::size_t pos = 0, wanted = 1; pos < text.size();
           wanted = std::min(2 * wanted, qor::internal::kMostMembersWanted)) {
        const std::size_t count_found = kernels->next_members(
            t, &pos, text.size(), reinterpret_cast<const unsigned char*>(set.data()), set.size(),
            wanted, found.data());
        members.insert(members.end(), found.begin(),
                       found.begin() + static_cast<std::ptrdiff_t>(count_found));
      }
      std::vector<std::size_t> want_members;
      for (std::size_t i = 0; i < text.size(); ++i)
        if (set.find(text[i]) != kNpos) want_members.push_back(i);
      Check(members == want_members, "a level's byte-set kernel against the set's members");
    }
    Check(kernels->count_byte(t, text.size(), byte) == count, "a level's byte count");
    Check(kernels->last_byte(t, text.size(), byte) == text.rfind(static_cast<char>(byte)),
          "a level's backward byte search");
    Check(kernels->decoded_room(t, text.size(), true) == room + pairs, "a level's room count");
  }
  Check(qor::string_find(text, pattern, true) == want, "string_find, match begin");
  Check(qor::string_find(text, pattern, false) == (want == kNpos ? kNpos : want + pattern.size()),
        "string_find, match end");
  CheckSlicers(text, pattern);

  // The earliest-match search bounds each later pattern by the best position so far.
  const std::vector<std::string> patterns = {pattern.substr(pattern.size() / 2), pattern};
  const std::size_t want_tail = qor_test::NaiveFind(text, patterns[0]);
  int index = -1;
  const std::size_t got = qor::string_find_first_one_of(text, patterns, index);
  const bool tail_wins = want_tail <= want;
  Check(got == (tail_wins ? want_tail : want), "string_find_first_one_of position");
  Check(index == (tail_wins ? 0 : 1), "string_find_first_one_of index");

  // The searches in list order and in the orders of the modes, over the halves and the whole.
  const std::vector<std::string> list = {pattern.substr(pattern.size() / 2), pattern,
                                         pattern.substr(0, pattern.size() / 2), pattern};
  unsigned want_index = 0, got_index = 7;
  const std::vector<std::size_t> found = qor_test::FirstOccurrences(text, list);
  Check(qor::string_seq_find(text, list, got_index) ==
            qor_test::ModelListFind(list, found, 0, want_index),
        "string_seq_find position");
  Check(got_index == want_index, "string_seq_find index");
  for (int mode = 0; mode <= 5; ++mode) {
    got_index = 7;
    Check(qor::string_find(text, list, got_index, mode) ==
              qor_test::ModelListFind(list, found, mode, want_index),
          "string_find over a list, position");
    Check(got_index == want_index, "string_find over a list, index");
  }
  return 0;
}
