// The text calls on short inputs (8 B to 4 KiB of ASCII or of mixed French, Russian and Chinese
// text), each next to what a caller would otherwise write: strcasestr and strcasecmp, string_view
// find and memmem, a loop of std::string::find over several patterns, a copy stripped in place by
// abseil; and format, parse and whole-file read next to the algorithm they follow (two vsnprintf
// passes, strtol and strtod, one sized fread). Every answer is checked once before timing; a
// wrong one ends the program. Compare runs with repetitions interleaved:
//   short_text_bench --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "qor/qorstl.h"
#include "ratio_report.h"

#if defined(QORSTL_HAVE_ABSEIL)
#include <absl/strings/ascii.h>
#endif

namespace {

constexpr std::size_t npos = std::string::npos;
constexpr std::size_t kSizes[] = {8, 16, 32, 64, 128, 256, 1024, 4096};
// The set a caller keeps for its trims.
const std::string kWhitespace = " \t\n\v\f\r";

std::string ReadCorpus(const char* name) {
  std::ifstream in(std::string(QORSTL_CORPUS_DIR) + "/" + name, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

bool Continuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The longest piece of `s` from `from` of at most `size` bytes that starts and ends at character
// boundaries.
std::string Cut(const std::string& s, std::size_t from, std::size_t size) {
  while (from < s.size() && Continuation(s[from])) ++from;
  std::size_t end = std::min(s.size(), from + size);
  while (end > from && end < s.size() && Continuation(s[end])) --end;
  return s.substr(from, end - from);
}

// No control bytes, so that a piece is one line of plain text.
std::string Flatten(std::string s) {
  for (char& c : s)
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  return s;
}

const std::string& Ascii() {
  static const std::string text = [] {
    std::string all = Flatten(ReadCorpus("mars-english.utf8.txt")), ascii;
    for (char c : all)
      if (static_cast<unsigned char>(c) < 0x80) ascii += c;
    return ascii;
  }();
  return text;
}

// French, Russian and Chinese in turns, about 40 bytes of each.
const std::string& Mixed() {
  static const std::string text = [] {
    const std::string parts[] = {Flatten(ReadCorpus("mars-french.utf8.txt")),
                                 Flatten(ReadCorpus("mars-russian.utf8.txt")),
                                 Flatten(ReadCorpus("mars-chinese.utf8.txt"))};
    std::string mixed;
    std::size_t at[3] = {0, 0, 0};
    for (int turn = 0; mixed.size() < 16384; ++turn) {
      const std::string piece = Cut(parts[turn % 3], at[turn % 3], 40);
      at[turn % 3] += piece.size() + 40 * 3;
      mixed += piece;
    }
    return mixed;
  }();
  return text;
}

std::string SwapAsciiCase(std::string s) {
  for (char& c : s) {
    if (c >= 'a' && c <= 'z')
      c = static_cast<char>(c - 'a' + 'A');
    else if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c - 'A' + 'a');
  }
  return s;
}

// The last bytes of `text`, about `size` of them, from a character boundary.
std::string Tail(const std::string& text, std::size_t size) {
  std::size_t from = text.size() - std::min(size, text.size());
  while (from < text.size() && Continuation(text[from])) ++from;
  return text.substr(from);
}

// One input: a text of at most `size` bytes and what each call looks for in it. The patterns sit
// at the end of the text, so that every contender reads all of it.
struct Input {
  std::string text, part, swapped, pattern4, pattern10, padded;
  std::vector<std::string> list4, list16;
};

// Words of the German article that do not occur in `text`, none of them a prefix of another.
std::vector<std::string> AbsentWords(const std::string& text, std::size_t count) {
  static const std::string german = Flatten(ReadCorpus("mars-german.utf8.txt"));
  std::vector<std::string> words;
  std::string word;
  for (char c : german) {
    if (c != ' ') {
      word += c;
      continue;
    }
    if (word.size() >= 4 && word.size() <= 9 && text.find(word) == npos &&
        std::find(words.begin(), words.end(), word) == words.end())
      words.push_back(word);
    word.clear();
    if (words.size() == count) break;
  }
  return words;
}

Input MakeInput(bool mixed, std::size_t size) {
  Input in;
  const std::string& source = mixed ? Mixed() : Ascii();
  in.text = Cut(source, 1000, size);
  in.part =
      SwapAsciiCase(Tail(in.text, std::max<std::size_t>(3, std::min<std::size_t>(8, size / 4))));
  in.swapped = SwapAsciiCase(in.text);
  in.pattern4 = Tail(in.text, std::min<std::size_t>(4, size / 2));
  in.pattern10 = Tail(in.text, std::min<std::size_t>(10, size / 2));
  // The winner is the last entry, from the text's end; the others occur nowhere.
  const std::string winner = Tail(in.text, 5);
  in.list4 = AbsentWords(in.text, 3);
  in.list4.push_back(winner);
  in.list16 = AbsentWords(in.text, 15);
  in.list16.push_back(winner);
  in.padded = "  \t" + in.text + " \r\n";
  return in;
}

const Input& Get(bool mixed, std::size_t size) {
  static std::vector<Input> inputs[2];
  auto& cache = inputs[mixed ? 1 : 0];
  if (cache.empty())
    for (std::size_t s : kSizes) cache.push_back(MakeInput(mixed, s));
  for (std::size_t i = 0; i < std::size(kSizes); ++i)
    if (kSizes[i] == size) return cache[i];
  std::abort();
}

void Expect(bool ok, const std::string& what) {
  if (ok) return;
  std::fprintf(stderr, "short_text_bench: wrong answer: %s\n", what.c_str());
  std::exit(2);
}

void SetRate(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

// ---- The contenders ----------------------------------------------------------------------------

std::size_t Memmem(const std::string& text, const std::string& pattern) {
  const void* hit = memmem(text.data(), text.size(), pattern.data(), pattern.size());
  return hit ? std::size_t(static_cast<const char*>(hit) - text.data()) : npos;
}

// Each pattern over the text, keeping the earliest occurrence.
std::size_t FindLoop(const std::string& text, const std::vector<std::string>& patterns) {
  std::size_t best = npos;
  for (const std::string& p : patterns) best = std::min(best, text.find(p));
  return best;
}

// What the list searches answer, from their rules: the list ordered as the mode says, then the
// first pattern that occurs.
std::size_t ListModel(const std::string& text, std::vector<std::string> patterns, int mode) {
  if (mode == 1 || mode == 2) {
    std::stable_sort(patterns.begin(), patterns.end(), [mode](const auto& a, const auto& b) {
      return mode == 1 ? a.size() < b.size() : a.size() > b.size();
    });
  } else if (mode == 3 || mode == 4) {
    std::stable_sort(patterns.begin(), patterns.end(),
                     [mode](const auto& a, const auto& b) { return mode == 3 ? a < b : a > b; });
  }
  for (const std::string& p : patterns)
    if (text.find(p) != npos) return text.find(p);
  return npos;
}

// A list search: modes 1 to 4 of string_find, 0 for string_seq_find, -1 for
// string_find_first_one_of.
std::size_t QorList(const std::string& text, const std::vector<std::string>& patterns, int which) {
  unsigned index = 0;
  int signed_index = 0;
  if (which == 0) return qor::string_seq_find(text, patterns, index);
  if (which < 0) return qor::string_find_first_one_of(text, patterns, signed_index);
  return qor::string_find(text, patterns, index, which);
}

std::string TwoPassFormat(const char* fmt, ...) {
  va_list args, again;
  va_start(args, fmt);
  va_copy(again, args);
  const int size = vsnprintf(nullptr, 0, fmt, args);
  va_end(args);
  std::string out(static_cast<std::size_t>(size), '\0');
  vsnprintf(&out[0], out.size() + 1, fmt, again);
  va_end(again);
  return out;
}

// The file's bytes and a zero byte after them, as dump_file gives them.
std::string SizedRead(const std::string& path) {
  std::string out;
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return out;
  struct stat st;
  if (fstat(fileno(f), &st) == 0) {
    const auto size = static_cast<std::size_t>(st.st_size);
    out.resize(size + 1);
    out.resize(std::fread(&out[0], 1, size, f) + 1);
  }
  std::fclose(f);
  return out;
}

// A file holding `bytes`, removed when the program ends.
std::string TempFile(const std::string& bytes, const std::string& tag) {
  static std::vector<std::string> made;
  const std::string path = "/tmp/qorstl_short_text_bench_" + std::to_string(getpid()) + tag;
  std::ofstream(path, std::ios::binary) << bytes;
  if (made.empty()) {
    std::atexit([] {
      for (const std::string& p : made) unlink(p.c_str());
    });
  }
  made.push_back(path);
  return path;
}

// ---- Registration ------------------------------------------------------------------------------

template <typename Call>
void Add(const std::string& workload, const char* runner, std::size_t bytes, Call call) {
  benchmark::RegisterBenchmark((workload + "/" + runner).c_str(),
                               [call, bytes](benchmark::State& state) {
                                 for (auto _ : state) benchmark::DoNotOptimize(call());
                                 SetRate(state, bytes);
                               });
}

void RegisterSize(bool mixed, std::size_t size) {
  const Input& in = Get(mixed, size);
  const std::string tag = std::string(mixed ? "_mixed_" : "_ascii_") + std::to_string(size);
  const std::size_t n = in.text.size();

  const bool contained = strcasestr(in.text.c_str(), in.part.c_str()) != nullptr;
  Expect(qor::string_containsIgnoreCase(in.text, in.part) == contained, "contains" + tag);
  Add("contains_ic" + tag, "qor", n,
      [&in] { return qor::string_containsIgnoreCase(in.text, in.part); });
  Add("contains_ic" + tag, "strcasestr", n,
      [&in] { return strcasestr(in.text.c_str(), in.part.c_str()) != nullptr; });

  Expect(qor::string_compare(in.text, in.swapped, false) == 0 &&
             strcasecmp(in.text.c_str(), in.swapped.c_str()) == 0,
         "compare" + tag);
  Add("compare_ic" + tag, "qor", n,
      [&in] { return qor::string_compare(in.text, in.swapped, false); });
  Add("compare_ic" + tag, "strcasecmp", n,
      [&in] { return strcasecmp(in.text.c_str(), in.swapped.c_str()); });

  for (const std::string* pattern : {&in.pattern4, &in.pattern10}) {
    const std::string name = (pattern == &in.pattern4 ? "find4" : "find10") + tag;
    const std::size_t want = std::string_view(in.text).find(*pattern);
    Expect(qor::string_find(in.text, *pattern, true) == want && Memmem(in.text, *pattern) == want,
           name);
    Add(name, "qor", n, [&in, pattern] { return qor::string_find(in.text, *pattern, true); });
    Add(name, "sv_find", n,
        [&in, pattern] { return std::string_view(in.text).find(std::string_view(*pattern)); });
    Add(name, "memmem", n, [&in, pattern] { return Memmem(in.text, *pattern); });
  }

  for (const auto* list : {&in.list4, &in.list16}) {
    const std::string k = list == &in.list4 ? "_k4" : "_k16";
    const std::pair<int, const char*> calls[] = {{0, "seq_find"},   {1, "find_mode1"},
                                                 {2, "find_mode2"}, {3, "find_mode3"},
                                                 {4, "find_mode4"}, {-1, "first_one_of"}};
    for (const auto& call : calls) {
      const std::string name = call.second + k + tag;
      const int which = call.first;
      Expect(QorList(in.text, *list, which) ==
                 (which < 0 ? FindLoop(in.text, *list) : ListModel(in.text, *list, which)),
             name);
      Add(name, "qor", n, [&in, list, which] { return QorList(in.text, *list, which); });
      Add(name, "find_loop", n, [&in, list] { return FindLoop(in.text, *list); });
    }
  }

#if defined(QORSTL_HAVE_ABSEIL)
  {
    std::string ours = in.padded, theirs = in.padded;
    qor::trim_both(ours, kWhitespace);
    absl::StripAsciiWhitespace(&theirs);
    Expect(ours == theirs, "trim_both" + tag);
    ours = theirs = in.padded;
    qor::trim_left(ours, kWhitespace);
    absl::StripLeadingAsciiWhitespace(&theirs);
    Expect(ours == theirs, "trim_left" + tag);
    ours = theirs = in.padded;
    qor::trim_right(ours, kWhitespace);
    absl::StripTrailingAsciiWhitespace(&theirs);
    Expect(ours == theirs, "trim_right" + tag);
  }
  const std::size_t padded = in.padded.size();
  Add("trim_both" + tag, "qor", padded, [&in] {
    std::string s = in.padded;
    qor::trim_both(s, kWhitespace);
    return s.size();
  });
  Add("trim_both" + tag, "absl", padded, [&in] {
    std::string s = in.padded;
    absl::StripAsciiWhitespace(&s);
    return s.size();
  });
  Add("trim_left" + tag, "qor", padded, [&in] {
    std::string s = in.padded;
    qor::trim_left(s, kWhitespace);
    return s.size();
  });
  Add("trim_left" + tag, "absl", padded, [&in] {
    std::string s = in.padded;
    absl::StripLeadingAsciiWhitespace(&s);
    return s.size();
  });
  Add("trim_right" + tag, "qor", padded, [&in] {
    std::string s = in.padded;
    qor::trim_right(s, kWhitespace);
    return s.size();
  });
  Add("trim_right" + tag, "absl", padded, [&in] {
    std::string s = in.padded;
    absl::StripTrailingAsciiWhitespace(&s);
    return s.size();
  });
#endif

  Expect(qor::format_astring("%s=%d;", in.text.c_str(), 42) ==
             TwoPassFormat("%s=%d;", in.text.c_str(), 42),
         "format" + tag);
  Add("format" + tag, "qor", n,
      [&in] { return qor::format_astring("%s=%d;", in.text.c_str(), 42); });
  Add("format" + tag, "two_vsnprintf", n,
      [&in] { return TwoPassFormat("%s=%d;", in.text.c_str(), 42); });

  const std::string path = TempFile(in.text, tag);
  const std::string read = in.text + '\0';
  Expect(qor::dump_file(path) == read && SizedRead(path) == read, "dump_file" + tag);
  Add("dump_file" + tag, "qor", n, [path] { return qor::dump_file(path); });
  Add("dump_file" + tag, "fread", n, [path] { return SizedRead(path); });
}

void RegisterParsers() {
  static const std::string integer = "-1234567", real = "3.14159265e-3";
  Expect(qor::string_to_int(integer) == std::strtol(integer.c_str(), nullptr, 10), "int");
  Expect(qor::string_to_double(real) == std::strtod(real.c_str(), nullptr), "double");
  Add("parse_int", "qor", integer.size(), [] { return qor::string_to_int(integer); });
  Add("parse_int", "strtol", integer.size(),
      [] { return static_cast<int>(std::strtol(integer.c_str(), nullptr, 10)); });
  Add("parse_double", "qor", real.size(), [] { return qor::string_to_double(real); });
  Add("parse_double", "strtod", real.size(), [] { return std::strtod(real.c_str(), nullptr); });
}

const bool kRegistered = [] {
  for (bool mixed : {false, true})
    for (std::size_t size : kSizes) RegisterSize(mixed, size);
  RegisterParsers();
  return true;
}();

}  // namespace
