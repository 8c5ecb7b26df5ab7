// string_replace, stringarray_builder_by_splittoken and string_containsIgnoreCase against what a
// caller would otherwise use (abseil, in-place and copying loops, a table loop), and format_astring
// against snprintf into a buffer and std::ostringstream. Rates are GB/s of input text.
#define QORSTL_CHECK_FORMATS 1  // the formats below are literals with arguments

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "qor/qorstl.h"
#include "ratio_report.h"

#if defined(QORSTL_HAVE_ABSEIL)
#include "absl/strings/str_replace.h"
#include "absl/strings/str_split.h"
#endif

namespace {

// About 10 MB of text in lines of 60 bytes.
const std::string& TenMegabyteText() {
  static const std::string text = [] {
    std::string t;
    const std::string line = "a line of about sixty bytes, ending in a line feed.........\n";
    while (t.size() < 10u << 20) t += line;
    return t;
  }();
  return text;
}

// Its first megabyte.
const std::string& OneMegabyteText() {
  static const std::string text = TenMegabyteText().substr(0, 1u << 20);
  return text;
}

void SetRate(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

// ---- Replace -----------------------------------------------------------------------------------

// Start of the last occurrence of `from` that ends at or before `end` (one is known to exist): a
// backward scan for its last byte, as memrchr does where the C library has it.
std::size_t LastBefore(const std::string& text, const std::string& from, std::size_t end) {
  const char last = from.back();
  for (std::size_t pos = end;; --pos) {
#if defined(__GLIBC__)
    const void* hit = memrchr(text.data(), last, pos);
    pos = std::size_t(static_cast<const char*>(hit) - text.data()) + 1;
#else
    while (text[pos - 1] != last) --pos;
#endif
    if (pos >= from.size() && text.compare(pos - from.size(), from.size(), from) == 0)
      return pos - from.size();
  }
}

// The in-place linear reference: one pass to count, then one pass that moves every byte once,
// from the back when the text grows, from the front when it shrinks. For patterns without a border
// (no proper prefix equal to a suffix), as the ones below.
void InPlaceReplace(std::string& text, const std::string& from, const std::string& to) {
  const std::size_t m = from.size(), r = to.size();
  if (r <= m) {
    std::size_t read = 0, write = 0;
    for (std::size_t pos = text.find(from); pos != std::string::npos; pos = text.find(from, read)) {
      std::memmove(&text[write], &text[read], pos - read);
      write += pos - read;
      std::memcpy(&text[write], to.data(), r);
      write += r;
      read = pos + m;
    }
    std::memmove(&text[write], &text[read], text.size() - read);
    text.resize(write + text.size() - read);
    return;
  }
  std::size_t count = 0;
  for (std::size_t pos = text.find(from); pos != std::string::npos; pos = text.find(from, pos + m))
    ++count;
  const std::size_t old_size = text.size();
  text.resize(old_size + count * (r - m));
  std::size_t read_end = old_size, write_end = text.size();
  while (count-- > 0) {
    const std::size_t pos = LastBefore(text, from, read_end);
    const std::size_t tail = read_end - (pos + m);
    std::memmove(&text[write_end - tail], &text[pos + m], tail);
    write_end -= tail + r;
    std::memcpy(&text[write_end], to.data(), r);
    read_end = pos;
  }
}

// A copying loop: the result built in a second string in one pass.
void CopyReplace(std::string& text, const std::string& from, const std::string& to) {
  std::string out;
  out.reserve(text.size());
  std::size_t read = 0;
  for (std::size_t pos = text.find(from); pos != std::string::npos; pos = text.find(from, read)) {
    out.append(text, read, pos - read).append(to);
    read = pos + from.size();
  }
  out.append(text, read, std::string::npos);
  text.swap(out);
}

struct ReplaceCase {
  const char* from;
  const char* to;
};
constexpr ReplaceCase kGrow{"\n", "\r\n"};
constexpr ReplaceCase kShrink{"ab", "x"};

enum Replacer { kQor, kInPlace, kCopy, kAbseil };

template <const ReplaceCase& kCase, Replacer kHow, bool kOneMegabyte = false>
void BM_Replace(benchmark::State& state) {
  const std::string& source = kOneMegabyte ? OneMegabyteText() : TenMegabyteText();
  const std::string from = kCase.from, to = kCase.to;
  std::string text;
  for (auto _ : state) {
    state.PauseTiming();
    text = source;
    state.ResumeTiming();
    switch (kHow) {
      case kQor:
        qor::string_replace(text, from, to);
        break;
      case kInPlace:
        InPlaceReplace(text, from, to);
        break;
      case kCopy:
        CopyReplace(text, from, to);
        break;
      case kAbseil:
#if defined(QORSTL_HAVE_ABSEIL)
        text = absl::StrReplaceAll(source, {{from, to}});
#endif
        break;
    }
    benchmark::DoNotOptimize(text.data());
  }
  std::string check = source;
  qor::string_replace(check, from, to);
  if (check != text && kHow != kAbseil) state.SkipWithError("wrong result");
  SetRate(state, source.size());
}
// The same cases on 10 MiB and on 1 MiB.
#define QOR_REPLACE_BENCH(name, kCase, one)                                                  \
  BENCHMARK(BM_Replace<kCase, kQor, one>)->Name(name "/qor")->Unit(benchmark::kMillisecond); \
  BENCHMARK(BM_Replace<kCase, kInPlace, one>)                                                \
      ->Name(name "/inplace_linear")                                                         \
      ->Unit(benchmark::kMillisecond);                                                       \
  BENCHMARK(BM_Replace<kCase, kCopy, one>)                                                   \
      ->Name(name "/copy_one_pass")                                                          \
      ->Unit(benchmark::kMillisecond);                                                       \
  QOR_REPLACE_ABSEIL(name, kCase, one)
#if defined(QORSTL_HAVE_ABSEIL)
#define QOR_REPLACE_ABSEIL(name, kCase, one) \
  BENCHMARK(BM_Replace<kCase, kAbseil, one>) \
      ->Name(name "/absl_StrReplaceAll")     \
      ->Unit(benchmark::kMillisecond);
#else
#define QOR_REPLACE_ABSEIL(name, kCase, one)
#endif
QOR_REPLACE_BENCH("replace_lf_crlf", kGrow, false)
QOR_REPLACE_BENCH("replace_ab_x", kShrink, false)
QOR_REPLACE_BENCH("replace_lf_crlf_1M", kGrow, true)
QOR_REPLACE_BENCH("replace_ab_x_1M", kShrink, true)

// ---- Split -------------------------------------------------------------------------------------

// 10 MiB of CSV-like records: short fields separated by ',' and ';', records by line feeds.
const std::string& CsvText() {
  static const std::string text = [] {
    std::string t;
    const std::string record = "2024-05-01,station 17;temp,21.5;humidity,0.43,ok\n";
    while (t.size() < 10u << 20) t += record;
    return t;
  }();
  return text;
}
const std::string kCsvSeparators = ",;\n";

// The loop a caller writes: a 256-entry table of separators, tokens appended one by one.
void TableSplit(const std::string& text, std::vector<std::string>& out) {
  bool separator[256] = {};
  for (char c : kCsvSeparators) separator[static_cast<unsigned char>(c)] = true;
  std::size_t start = 0;
  for (std::size_t pos = 0; pos < text.size(); ++pos) {
    if (!separator[static_cast<unsigned char>(text[pos])]) continue;
    if (pos > start) out.emplace_back(text, start, pos - start);
    start = pos + 1;
  }
  if (start < text.size()) out.emplace_back(text, start, std::string::npos);
}

enum Splitter { kSplitQor, kSplitTable, kSplitAbseil };

template <Splitter kHow, bool kReuse>
void BM_Split(benchmark::State& state) {
  std::vector<std::string> reused;
  for (auto _ : state) {
    std::vector<std::string> fresh;
    std::vector<std::string>& out = kReuse ? reused : fresh;
    out.clear();
    switch (kHow) {
      case kSplitQor:
        qor::stringarray_builder_by_splittoken(CsvText(), out, kCsvSeparators);
        break;
      case kSplitTable:
        TableSplit(CsvText(), out);
        break;
      case kSplitAbseil:
#if defined(QORSTL_HAVE_ABSEIL)
        out = absl::StrSplit(CsvText(), absl::ByAnyChar(kCsvSeparators), absl::SkipEmpty());
#endif
        break;
    }
    benchmark::DoNotOptimize(out.data());
  }
  SetRate(state, CsvText().size());
}
BENCHMARK(BM_Split<kSplitQor, false>)->Name("split_new_vector/qor")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Split<kSplitTable, false>)
    ->Name("split_new_vector/table_loop")
    ->Unit(benchmark::kMillisecond);
#if defined(QORSTL_HAVE_ABSEIL)
BENCHMARK(BM_Split<kSplitAbseil, false>)
    ->Name("split_new_vector/absl_StrSplit")
    ->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(BM_Split<kSplitQor, true>)
    ->Name("split_reused_vector/qor")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Split<kSplitTable, true>)
    ->Name("split_reused_vector/table_loop")
    ->Unit(benchmark::kMillisecond);
#if defined(QORSTL_HAVE_ABSEIL)
BENCHMARK(BM_Split<kSplitAbseil, true>)
    ->Name("split_reused_vector/absl_StrSplit")
    ->Unit(benchmark::kMillisecond);
#endif

// ---- Case-insensitive containment --------------------------------------------------------------

// A late phrase in 1 MiB of mixed-case text, in another case than the text's.
const std::string& MixedCase() {
  static const std::string text = [] {
    std::string t;
    while (t.size() < 1u << 20) t += "The Quick Brown Fox Jumps Over The Lazy Dog. ";
    return t + "Powered By Mars";
  }();
  return text;
}
void BM_ContainsQor(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(qor::string_containsIgnoreCase(MixedCase(), "POWERED BY"));
  SetRate(state, MixedCase().size());
}
BENCHMARK(BM_ContainsQor)->Name("contains_ignore_case/qor");
// What the library did before: fold copies of both, then search.
void BM_ContainsFoldCopies(benchmark::State& state) {
  for (auto _ : state) {
    std::string text = MixedCase(), part = "POWERED BY";
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (char& c : part) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    benchmark::DoNotOptimize(text.find(part));
  }
  SetRate(state, MixedCase().size());
}
BENCHMARK(BM_ContainsFoldCopies)->Name("contains_ignore_case/fold_copies");

// ---- Formatting --------------------------------------------------------------------------------

void BM_Format_Library(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    std::string s = qor::format_astring("item %d of %s: %.2f%%", ++i, "the list", 12.5);
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_Format_Library);

void BM_Format_Snprintf(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    char buffer[128];
    const int n =
        std::snprintf(buffer, sizeof buffer, "item %d of %s: %.2f%%", ++i, "the list", 12.5);
    std::string s(buffer, static_cast<std::size_t>(n));
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_Format_Snprintf);

void BM_Format_Ostringstream(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    std::ostringstream os;
    os.setf(std::ios::fixed);
    os.precision(2);
    os << "item " << ++i << " of "
       << "the list"
       << ": " << 12.5 << '%';
    std::string s = os.str();
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_Format_Ostringstream);

void BM_FormatWide_Library(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    std::wstring s = qor::format_wstring(L"item %d of %ls: %.2f%%", ++i, L"the list", 12.5);
    benchmark::DoNotOptimize(s.data());
  }
}
BENCHMARK(BM_FormatWide_Library);

}  // namespace
