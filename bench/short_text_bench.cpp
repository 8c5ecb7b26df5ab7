// The text calls on short inputs (8 B to 4 KiB of ASCII or of mixed French, Russian and Chinese
// text), each next to what a caller would otherwise write: strcasestr and strcasecmp, string_view
// find and memmem, a loop of std::string::find over several patterns, a copy stripped in place by
// abseil; and format, parse and whole-file read next to the algorithm they follow (two vsnprintf
// passes, strtol and strtod, one sized fread). Every contender's answer is checked once before
// timing; a wrong one ends the program. All contenders of a workload read the same copies of its
// inputs and write into the same string, so none is favoured by where its data happens to lie: the
// calls go through four copies in turn, each text starting in its own 16-byte quarter of a 64-byte
// line (a text short enough to lie inside its string object lies where the object does). Run with
//   --benchmark_repetitions=15 --benchmark_min_time=0.05
//   --benchmark_enable_random_interleaving=true
// for medians of many short interleaved repetitions, which a busy machine disturbs least.
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
#include <memory>
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
struct alignas(64) Input {
  std::string text, part, swapped, pattern4, pattern10, padded, path;
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

void Expect(bool ok, const std::string& what) {
  if (ok) return;
  std::fprintf(stderr, "short_text_bench: wrong answer: %s\n", what.c_str());
  std::exit(2);
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

// ---- The calls as each contender makes them ----------------------------------------------------
// Each takes one copy of the inputs and the string a call may write into (the trims copy the padded
// text there, as a caller trims a copy it keeps), and returns its answer.

bool ContainsQor(const Input& in, std::string&) {
  return qor::string_containsIgnoreCase(in.text, in.part);
}
bool ContainsStrcasestr(const Input& in, std::string&) {
  return strcasestr(in.text.c_str(), in.part.c_str()) != nullptr;
}

int CompareQor(const Input& in, std::string&) {
  return qor::string_compare(in.text, in.swapped, false);
}
int CompareStrcasecmp(const Input& in, std::string&) {
  return strcasecmp(in.text.c_str(), in.swapped.c_str());
}

template <int kLength>
const std::string& Pattern(const Input& in) {
  return kLength == 4 ? in.pattern4 : in.pattern10;
}
template <int kLength>
std::size_t FindQor(const Input& in, std::string&) {
  return qor::string_find(in.text, Pattern<kLength>(in), true);
}
template <int kLength>
std::size_t FindStringView(const Input& in, std::string&) {
  return std::string_view(in.text).find(std::string_view(Pattern<kLength>(in)));
}
template <int kLength>
std::size_t FindMemmem(const Input& in, std::string&) {
  return Memmem(in.text, Pattern<kLength>(in));
}

template <int kCount>
const std::vector<std::string>& List(const Input& in) {
  return kCount == 4 ? in.list4 : in.list16;
}
template <int kWhich, int kCount>
std::size_t ListQor(const Input& in, std::string&) {
  return QorList(in.text, List<kCount>(in), kWhich);
}
template <int kCount>
std::size_t ListFindLoop(const Input& in, std::string&) {
  return FindLoop(in.text, List<kCount>(in));
}

template <std::string& (*kTrim)(std::string&, const std::string&)>
std::size_t TrimQor(const Input& in, std::string& out) {
  out = in.padded;
  return kTrim(out, kWhitespace).size();
}
#if defined(QORSTL_HAVE_ABSEIL)
template <void (*kStrip)(std::string*)>
std::size_t TrimAbsl(const Input& in, std::string& out) {
  out = in.padded;
  kStrip(&out);
  return out.size();
}
#endif

std::string FormatQor(const Input& in, std::string&) {
  return qor::format_astring("%s=%d;", in.text.c_str(), 42);
}
std::string FormatTwoPasses(const Input& in, std::string&) {
  return TwoPassFormat("%s=%d;", in.text.c_str(), 42);
}

std::string DumpQor(const Input& in, std::string&) {
  return qor::dump_file(in.path);
}
std::string DumpFread(const Input& in, std::string&) {
  return SizedRead(in.path);
}

int ParseIntQor(const Input& in, std::string&) {
  return qor::string_to_int(in.text);
}
int ParseIntStrtol(const Input& in, std::string&) {
  return static_cast<int>(std::strtol(in.text.c_str(), nullptr, 10));
}
double ParseDoubleQor(const Input& in, std::string&) {
  return qor::string_to_double(in.text);
}
double ParseDoubleStrtod(const Input& in, std::string&) {
  return std::strtod(in.text.c_str(), nullptr);
}

// ---- Where the inputs lie ----------------------------------------------------------------------

// Whether p lies in the 16-byte quarter `quarter` of a 64-byte line.
bool InQuarter(const void* p, std::size_t quarter) {
  return reinterpret_cast<std::uintptr_t>(p) % 64 / 16 == quarter;
}

// Copies `text` until its bytes lie in `quarter` (kept as it is after many tries): the allocator
// decides where a copy lands, the misplaced copies are released after. A text held inside its
// string object stays there.
void Place(std::string& text, std::size_t quarter) {
  const auto* object = reinterpret_cast<const char*>(&text);
  if (text.data() >= object && text.data() < object + sizeof text) return;
  std::vector<std::string> misplaced;
  while (!InQuarter(text.data(), quarter) && misplaced.size() < 4096) {
    std::string copy(text);
    misplaced.push_back(std::move(text));
    text = std::move(copy);
  }
}

// What every contender of every workload of one input reads and writes: four copies of the inputs,
// the texts of copy k in quarter k of a line, and one string to write into, never reallocated.
struct Workload {
  static constexpr std::size_t kCopies = 4;
  std::unique_ptr<Input> copies[kCopies];
  std::string out;

  explicit Workload(const Input& in) {
    for (std::size_t k = 0; k < kCopies; ++k) {
      copies[k] = std::make_unique<Input>(in);
      for (std::string* text : {&copies[k]->text, &copies[k]->swapped, &copies[k]->padded})
        Place(*text, k);
    }
    out.reserve(in.padded.size() + 64);
  }
};

// ---- Registration ------------------------------------------------------------------------------

using Answer = std::string (*)(const Input&, std::string&);
using Loop = void (*)(benchmark::State&, Workload&);

struct Contender {
  const char* runner;
  Answer answer;
  Loop loop;
};

std::string Show(bool value) {
  return value ? "true" : "false";
}
std::string Show(int value) {
  return std::to_string(value);
}
std::string Show(std::size_t value) {
  return std::to_string(value);
}
std::string Show(double value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}
std::string Show(const std::string& value) {
  return value;
}

// A call's answer: what it returns, with the written string for a trim; for a comparison, the sign.
template <auto kCall>
std::string Returned(const Input& in, std::string& out) {
  return Show(kCall(in, out));
}
template <auto kCall>
std::string Kept(const Input& in, std::string& out) {
  const std::size_t size = kCall(in, out);
  return Show(size) + "|" + out;
}
template <auto kCall>
std::string Sign(const Input& in, std::string& out) {
  const int order = kCall(in, out);
  return Show((order > 0) - (order < 0));
}

template <auto kCall>
void TimedLoop(benchmark::State& state, Workload& w) {
  const Input* const copies[] = {w.copies[0].get(), w.copies[1].get(), w.copies[2].get(),
                                 w.copies[3].get()};
  std::size_t turn = 0;
  for (auto _ : state) benchmark::DoNotOptimize(kCall(*copies[turn++ % Workload::kCopies], w.out));
}

template <auto kCall, Answer kAnswer = Returned<kCall>>
Contender Make(const char* runner) {
  return {runner, kAnswer, TimedLoop<kCall>};
}

// Registers "<workload>/<runner>" for each contender, after checking on every copy that each gives
// the first one's answer.
void Register(const std::string& workload, std::size_t bytes, const std::shared_ptr<Workload>& w,
              std::initializer_list<Contender> contenders) {
  const std::string expected = contenders.begin()->answer(*w->copies[0], w->out);
  for (const Contender& c : contenders) {
    for (const auto& copy : w->copies)
      Expect(c.answer(*copy, w->out) == expected, workload + "/" + c.runner);
    const Loop loop = c.loop;
    benchmark::RegisterBenchmark(
        (workload + "/" + c.runner).c_str(), [loop, w, bytes](benchmark::State& state) {
          loop(state, *w);
          state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
        });
  }
}

template <int kCount>
void RegisterLists(const std::string& tag, const std::shared_ptr<Workload>& w) {
  const Input& in = *w->copies[0];
  const std::string k = kCount == 4 ? "_k4" : "_k16";
  const std::size_t n = in.text.size();
  const auto check = [&](int which, const std::string& name) {
    Expect(QorList(in.text, List<kCount>(in), which) ==
               (which < 0 ? FindLoop(in.text, List<kCount>(in))
                          : ListModel(in.text, List<kCount>(in), which)),
           name);
  };
  const Contender loop = Make<ListFindLoop<kCount>>("find_loop");
  check(0, "seq_find" + k + tag);
  Register("seq_find" + k + tag, n, w, {Make<ListQor<0, kCount>>("qor"), loop});
  check(1, "find_mode1" + k + tag);
  Register("find_mode1" + k + tag, n, w, {Make<ListQor<1, kCount>>("qor"), loop});
  check(2, "find_mode2" + k + tag);
  Register("find_mode2" + k + tag, n, w, {Make<ListQor<2, kCount>>("qor"), loop});
  check(3, "find_mode3" + k + tag);
  Register("find_mode3" + k + tag, n, w, {Make<ListQor<3, kCount>>("qor"), loop});
  check(4, "find_mode4" + k + tag);
  Register("find_mode4" + k + tag, n, w, {Make<ListQor<4, kCount>>("qor"), loop});
  check(-1, "first_one_of" + k + tag);
  Register("first_one_of" + k + tag, n, w, {Make<ListQor<-1, kCount>>("qor"), loop});
}

void RegisterSize(bool mixed, std::size_t size) {
  const std::string tag = std::string(mixed ? "_mixed_" : "_ascii_") + std::to_string(size);
  Input made = MakeInput(mixed, size);
  made.path = TempFile(made.text, tag);
  const auto w = std::make_shared<Workload>(made);
  const Input& in = *w->copies[0];
  const std::size_t n = in.text.size();

  Expect(qor::string_compare(in.text, in.swapped, false) == 0, "compare" + tag);
  Register("contains_ic" + tag, n, w,
           {Make<ContainsQor>("qor"), Make<ContainsStrcasestr>("strcasestr")});
  Register("compare_ic" + tag, n, w,
           {Make<CompareQor, Sign<CompareQor>>("qor"),
            Make<CompareStrcasecmp, Sign<CompareStrcasecmp>>("strcasecmp")});
  Register(
      "find4" + tag, n, w,
      {Make<FindQor<4>>("qor"), Make<FindStringView<4>>("sv_find"), Make<FindMemmem<4>>("memmem")});
  Register("find10" + tag, n, w,
           {Make<FindQor<10>>("qor"), Make<FindStringView<10>>("sv_find"),
            Make<FindMemmem<10>>("memmem")});
  RegisterLists<4>(tag, w);
  RegisterLists<16>(tag, w);

#if defined(QORSTL_HAVE_ABSEIL)
  const std::size_t padded = in.padded.size();
  Register("trim_both" + tag, padded, w,
           {Make<TrimQor<qor::trim_both>, Kept<TrimQor<qor::trim_both>>>("qor"),
            Make<TrimAbsl<absl::StripAsciiWhitespace>, Kept<TrimAbsl<absl::StripAsciiWhitespace>>>(
                "absl")});
  Register("trim_left" + tag, padded, w,
           {Make<TrimQor<qor::trim_left>, Kept<TrimQor<qor::trim_left>>>("qor"),
            Make<TrimAbsl<absl::StripLeadingAsciiWhitespace>,
                 Kept<TrimAbsl<absl::StripLeadingAsciiWhitespace>>>("absl")});
  Register("trim_right" + tag, padded, w,
           {Make<TrimQor<qor::trim_right>, Kept<TrimQor<qor::trim_right>>>("qor"),
            Make<TrimAbsl<absl::StripTrailingAsciiWhitespace>,
                 Kept<TrimAbsl<absl::StripTrailingAsciiWhitespace>>>("absl")});
#endif

  Register("format" + tag, n, w, {Make<FormatQor>("qor"), Make<FormatTwoPasses>("two_vsnprintf")});
  Expect(qor::dump_file(in.path) == in.text + '\0', "dump_file" + tag);
  Register("dump_file" + tag, n, w, {Make<DumpQor>("qor"), Make<DumpFread>("fread")});
}

void RegisterParsers() {
  Input integer, real;
  integer.text = "-1234567";
  real.text = "3.14159265e-3";
  const auto ints = std::make_shared<Workload>(integer);
  const auto reals = std::make_shared<Workload>(real);
  Register("parse_int", integer.text.size(), ints,
           {Make<ParseIntQor>("qor"), Make<ParseIntStrtol>("strtol")});
  Register("parse_double", real.text.size(), reals,
           {Make<ParseDoubleQor>("qor"), Make<ParseDoubleStrtod>("strtod")});
}

const bool kRegistered = [] {
  for (bool mixed : {false, true})
    for (std::size_t size : kSizes) RegisterSize(mixed, size);
  RegisterParsers();
  return true;
}();

}  // namespace
