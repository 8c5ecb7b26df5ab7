// Tests of the multi-pattern searches: string_seq_find, string_find on a list, and
// string_find_first_one_of, by tables and against a model over random texts and lists.
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

constexpr std::size_t npos = std::string::npos;
constexpr int kSeq = 100;       // row is about string_seq_find
constexpr int kEarliest = 101;  // row is about string_find_first_one_of

using List = std::vector<std::string>;

// Runs the function a table row names; `index` starts at -7 so that an unwritten index shows.
std::size_t Search(int which, const std::string& text, const List& patterns, long long& index) {
  std::size_t pos;
  if (which == kEarliest) {
    int i = -7;
    pos = qor::string_find_first_one_of(text, patterns, i);
    index = i;
  } else {
    unsigned int u = 12345;
    pos = which == kSeq ? qor::string_seq_find(text, patterns, u)
                        : qor::string_find(text, patterns, u, which);
    index = u == 12345 ? -7 : u;
  }
  return pos;
}

TEST(MultiFind, ReportsPositionAndIndexOfTheWinner) {
  struct Case {
    std::string text;
    List patterns;
    std::vector<int> which;  // kSeq, kEarliest or a mode of string_find
    std::size_t pos;
    long long index;
  };
  const List none_occurs = {"x", "yy", "zzz"};
  const Case cases[] = {
      {"xx bc abc", {"abc", "bc"}, {kSeq, 2, 3, 0, -1, 5}, 6, 0},
      {"xx bc abc", {"abc", "bc"}, {kEarliest, 1, 4}, 3, 1},
      {"cat dog", {"dog", "cat"}, {1, 2, 4, kSeq}, 4, 0},
      {"cat dog", {"dog", "cat"}, {3, kEarliest}, 0, 1},
      {"b", {"b", "a", "b"}, {3, 4, kSeq, kEarliest}, 0, 0},
      {"abb", {"x", "bb", "y", "bb"}, {2, 4}, 1, 1},  // first equal entry of the caller's list
      {"bbzz", {"zz", "bb"}, {1, 2, kSeq}, 2, 0},     // equal lengths keep list order
      {"bbzz", {"zz", "bb"}, {3, kEarliest}, 0, 1},
      {"abc", {}, {kSeq, 0, 1, 2, 3, 4}, npos, 0},
      {"abc", {}, {kEarliest}, npos, -7},  // index left unwritten
      {"abc", none_occurs, {kSeq, 1, 2, 3, 4, 9}, npos, 3},
      {"abc", none_occurs, {kEarliest}, npos, 0},
      {"abc", {"c", ""}, {kSeq, 2, 4}, 2, 0},
      {"abc", {"c", ""}, {kEarliest, 1, 3}, 0, 1},
      {"", {"a", ""}, {kSeq, kEarliest, 0, 1, 2, 3, 4}, 0, 1},
      {"Hello", {"hello"}, {kSeq, 1, 3}, npos, 1},
      {"Hello", {"hello"}, {kEarliest}, npos, 0},
      {"ab", {"abc", "ab"}, {kSeq, kEarliest, 1, 2}, 0, 1},
      {"\xC3x a", {"\xC3", "a"}, {3}, 3, 1},  // high bytes order after ASCII
      {"\xC3x a", {"\xC3", "a"}, {4, kEarliest, kSeq}, 0, 0},
      {std::string("a\0b\0", 4), {std::string("\0", 1), "b"}, {kSeq, kEarliest, 1, 2, 3}, 1, 0},
      {"aXbXa", {"b", "a", "X"}, {kEarliest}, 0, 1},
      {"aXbXa", {"b", "X", "Xb"}, {kEarliest}, 1, 1},  // a tie keeps the lower index
  };
  for (const Case& c : cases) {
    for (int which : c.which) {
      long long index = 0;
      EXPECT_EQ(Search(which, c.text, c.patterns, index), c.pos) << c.text << " which=" << which;
      EXPECT_EQ(index, c.index) << c.text << " which=" << which;
    }
  }
}

// ---- Model of the three functions, written from their rules -------------------------------------

std::size_t ModelFind(const std::string& text, const std::string& pattern) {
  for (std::size_t i = 0; i + pattern.size() <= text.size(); ++i) {
    if (std::equal(pattern.begin(), pattern.end(), text.begin() + std::ptrdiff_t(i))) return i;
  }
  return npos;
}

bool ModelLess(const std::string& a, const std::string& b) {  // unsigned bytes, prefix first
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (a[i] != b[i]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[i]);
  }
  return a.size() < b.size();
}

std::size_t ModelSeq(const std::string& text, const List& patterns, long long& index) {
  for (std::size_t i = 0; i < patterns.size(); ++i) {
    const std::size_t pos = ModelFind(text, patterns[i]);
    index = static_cast<long long>(i);
    if (pos != npos) return pos;
  }
  index = static_cast<long long>(patterns.size());
  return npos;
}

std::size_t ModelOrdered(const std::string& text, const List& patterns, int mode,
                         long long& index) {
  List order = patterns;
  auto by = [&](auto less) { std::stable_sort(order.begin(), order.end(), less); };
  if (mode == 1) by([](const std::string& a, const std::string& b) { return a.size() < b.size(); });
  if (mode == 2) by([](const std::string& a, const std::string& b) { return a.size() > b.size(); });
  if (mode == 3) by(ModelLess);
  if (mode == 4) by([](const std::string& a, const std::string& b) { return ModelLess(b, a); });
  const std::size_t pos = ModelSeq(text, order, index);
  if (pos != npos) {
    index =
        std::find(patterns.begin(), patterns.end(), order[std::size_t(index)]) - patterns.begin();
  }
  return pos;
}

std::size_t ModelEarliest(const std::string& text, const List& patterns, long long& index) {
  index = patterns.empty() ? -7 : 0;
  std::size_t best = npos;
  for (std::size_t i = 0; i < patterns.size(); ++i) {
    const std::size_t pos = ModelFind(text, patterns[i]);
    if (i == 0 || pos < best) best = pos, index = i == 0 ? 0 : static_cast<long long>(i);
  }
  return best;
}

TEST(MultiFind, MatchesModelOnRandomTextsAndLists) {
  const char alphabet[] = {'a', 'b', '\0', '\xC3'};
  std::mt19937 rng(2024);
  auto random_string = [&](std::size_t max_len) {
    std::string s(rng() % (max_len + 1), ' ');
    for (char& ch : s) ch = alphabet[rng() % sizeof alphabet];
    return s;
  };
  for (int iter = 0; iter < 20000; ++iter) {
    const std::string text = random_string(14);
    List patterns(rng() % (iter % 8 == 0 ? 40 : 6));  // long lists reach the sort's merging
    for (std::string& p : patterns) p = random_string(3);
    if (!patterns.empty() && rng() % 3 == 0) patterns.push_back(patterns[rng() % patterns.size()]);
    const std::string shown = testing::PrintToString(text) + " " + testing::PrintToString(patterns);
    long long want_index = 0, got_index = 0;
    for (int which : {kSeq, kEarliest, 0, 1, 2, 3, 4, 7}) {
      const std::size_t want = which == kSeq ? ModelSeq(text, patterns, want_index)
                               : which == kEarliest
                                   ? ModelEarliest(text, patterns, want_index)
                                   : ModelOrdered(text, patterns, which, want_index);
      ASSERT_EQ(Search(which, text, patterns, got_index), want) << shown << " which=" << which;
      ASSERT_EQ(got_index, want_index) << shown << " which=" << which;
    }
  }
}

// The earliest-match search bounds later patterns by the best position so far; long texts with
// late, overlapping matches check that the bound never hides an earlier occurrence.
TEST(MultiFind, EarliestMatchesModelOnLongTexts) {
  std::mt19937 rng(99);
  for (int iter = 0; iter < 3000; ++iter) {
    std::string text(rng() % 200, 'a');
    for (char& ch : text) ch = "aab"[rng() % 3];
    List patterns(1 + rng() % 5);
    for (std::string& p : patterns) {
      const std::size_t start = text.empty() ? 0 : rng() % text.size();
      p = text.substr(start, rng() % 9);
      if (rng() % 4 == 0) p += 'c';
    }
    long long want_index = 0, got_index = 0;
    const std::size_t want = ModelEarliest(text, patterns, want_index);
    ASSERT_EQ(Search(kEarliest, text, patterns, got_index), want) << text;
    ASSERT_EQ(got_index, want_index) << text;
  }
}

}  // namespace
