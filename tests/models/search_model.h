// Models of the searches, written plainly from their rules, shared by the search tests and the
// fuzz targets of the searches.
#ifndef QORSTL_TESTS_MODELS_SEARCH_MODEL_H_
#define QORSTL_TESTS_MODELS_SEARCH_MODEL_H_

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace qor_test {

// The first place where `pattern` stands in `text`, by trying every place, or npos.
inline std::size_t NaiveFind(const std::string& text, const std::string& pattern) {
  for (std::size_t i = 0; i + pattern.size() <= text.size(); ++i) {
    if (text.compare(i, pattern.size(), pattern) == 0) return i;
  }
  return std::string::npos;
}

// Where each pattern first occurs in `text` (npos where it does not).
inline std::vector<std::size_t> FirstOccurrences(const std::string& text,
                                                 const std::vector<std::string>& patterns) {
  std::vector<std::size_t> found;
  for (const std::string& p : patterns) found.push_back(NaiveFind(text, p));
  return found;
}

// Whether a pattern list ordered by `mode` puts `a` before `b`: 1 shortest first, 2 longest first,
// 3 smallest first, 4 greatest first; any other mode keeps the list's order.
inline bool ModeBefore(int mode, const std::string& a, const std::string& b) {
  switch (mode) {
    case 1:
      return a.size() < b.size();
    case 2:
      return a.size() > b.size();
    case 3:
      return a < b;
    case 4:
      return b < a;
    default:
      return false;
  }
}

// string_find over a list in `mode` (string_seq_find keeps the list's order): the list ordered as
// the mode says, equal keys in list order, then the first pattern that occurs. Its position, given
// where each pattern first occurs (`found`), and through `index` the place of its first equal entry
// in the list; the list's size when none occurs.
inline std::size_t ModelListFind(const std::vector<std::string>& patterns,
                                 const std::vector<std::size_t>& found, int mode, unsigned& index) {
  std::vector<std::size_t> order(patterns.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return ModeBefore(mode, patterns[a], patterns[b]);
  });
  for (std::size_t i : order) {
    if (found[i] == std::string::npos) continue;
    index = static_cast<unsigned>(std::find(patterns.begin(), patterns.end(), patterns[i]) -
                                  patterns.begin());
    return found[i];
  }
  index = static_cast<unsigned>(patterns.size());
  return std::string::npos;
}

}  // namespace qor_test

#endif  // QORSTL_TESTS_MODELS_SEARCH_MODEL_H_
