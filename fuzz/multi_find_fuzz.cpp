// Compares the multi-pattern searches (string_find_first_one_of, string_seq_find and string_find on
// a list in every mode) with a naive model written from their rules, and the one-pass scans of
// every level the CPU runs with the plain rule, one pattern at a time. Input: byte 0 the number of
// patterns; byte 1 flags (bit 0: fold every byte onto "ab\0\xC3", so that repeats and overlaps
// abound; bit 1: repeat the list until it holds more than 300 patterns); then one length byte per
// pattern (its low five bits), the patterns' bytes, and the text.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz_util.h"
#include "models/search_model.h"
#include "qor/qorstl.h"
#include "search/multi_find.h"

namespace {

namespace qi = qor::internal;

constexpr std::size_t npos = std::string::npos;

// The scans of every level over one slice of the list, for both goals.
void CheckLevels(const std::string& text, const std::vector<std::string>& patterns) {
  std::vector<qi::Needle> needles;
  for (std::size_t i = 0; i < patterns.size() && needles.size() < qi::kMultiSliceSize; ++i) {
    const std::string& p = patterns[i];
    if (!p.empty() && p.size() <= text.size())
      needles.push_back({reinterpret_cast<const unsigned char*>(p.data()), p.size(), i});
  }
  const auto* t = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size(), count = needles.size();
  for (qi::MultiGoal goal : {qi::MultiGoal::kLowestRank, qi::MultiGoal::kEarliest}) {
    const qi::MultiHit want =
        qi::FinishOneByOne(t, n, 0, needles.data(), count, goal, n, {npos, npos});
    const auto same = [&](qi::MultiHit got) {
      return got.pos == want.pos && got.rank == want.rank;
    };
    for (qi::Isa isa :
         {qi::Isa::kScalar, qi::Isa::kSse2, qi::Isa::kAvx2, qi::Isa::kAvx512, qi::Isa::kNeon}) {
      const qi::MultiFindKernels* kernels = qi::MultiFindKernelsFor(isa);
      if (kernels == nullptr) continue;
      if (!same(qi::SearchWithHashes(t, n, needles.data(), count, goal, n, *kernels))) std::abort();
      if (count >= 2 && count <= kernels->few_max &&
          !same(kernels->search_few(t, n, needles.data(), count, goal, n)))
        std::abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t count = data[0];
  const bool fold = (data[1] & 1) != 0;
  const bool many = (data[1] & 2) != 0;
  std::size_t at = 2;
  std::vector<std::size_t> lengths;
  for (std::size_t i = 0; i < count && at < size; ++i) lengths.push_back(data[at++] & 31u);
  const auto take = [&](std::size_t n) {
    std::string s;
    for (; n > 0 && at < size; --n) {
      const std::uint8_t b = data[at++];
      s += fold ? "ab\0\xC3"[b & 3] : static_cast<char>(b);
    }
    return s;
  };
  std::vector<std::string> patterns;
  for (std::size_t n : lengths) patterns.push_back(take(n));
  const std::string text = take(size);
  if (many && !patterns.empty()) {
    const std::vector<std::string> once = patterns;
    while (patterns.size() <= 300) patterns.insert(patterns.end(), once.begin(), once.end());
  }
  const std::vector<std::size_t> found = qor_test::FirstOccurrences(text, patterns);

  // Earliest first occurrence, the lowest index at a tie.
  std::size_t want = npos, want_index = 0;
  for (std::size_t i = 0; i < patterns.size(); ++i) {
    if (found[i] < want) want = found[i], want_index = i;
  }
  int index = -5;
  if (qor::string_find_first_one_of(text, patterns, index) != want) std::abort();
  if (index != (patterns.empty() ? -5 : static_cast<int>(want_index))) std::abort();

  for (int mode : {-1, 0, 1, 2, 3, 4}) {
    unsigned winner = 0;
    const std::size_t pos = qor_test::ModelListFind(patterns, found, mode, winner);
    unsigned got_index = 12345;
    const std::size_t got = mode == -1 ? qor::string_seq_find(text, patterns, got_index)
                                       : qor::string_find(text, patterns, got_index, mode);
    if (got != pos || got_index != winner) std::abort();
  }
  CheckLevels(text, patterns);
  return 0;
}
