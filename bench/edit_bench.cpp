// string_replace against the find/replace loop a caller would write with std::string, and
// format_astring against snprintf into a buffer and std::ostringstream.
#define QORSTL_CHECK_FORMATS 1  // the formats below are literals with arguments

#include <benchmark/benchmark.h>

#include <cstdio>
#include <sstream>
#include <string>

#include "qor/qorstl.h"

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

// The replacing rule as callers write it: one std::string::replace per occurrence.
void NaiveReplace(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t pos = text.find(from); pos != std::string::npos;
       pos = text.find(from, pos + to.size())) {
    text.replace(pos, from.size(), to);
  }
}

void BM_Replace_Grow_Library(benchmark::State& state) {
  for (auto _ : state) {
    std::string text = TenMegabyteText();
    qor::string_replace(text, "\n", "\r\n");
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(TenMegabyteText().size()));
}
BENCHMARK(BM_Replace_Grow_Library)->Unit(benchmark::kMillisecond);

void BM_Replace_Shrink_Library(benchmark::State& state) {
  std::string source = TenMegabyteText();
  qor::string_replace(source, "\n", "\r\n");
  for (auto _ : state) {
    std::string text = source;
    qor::string_replace(text, "\r\n", "\n");
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(source.size()));
}
BENCHMARK(BM_Replace_Shrink_Library)->Unit(benchmark::kMillisecond);

void BM_Replace_Copy_Only(benchmark::State& state) {
  for (auto _ : state) {
    std::string text = TenMegabyteText();
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_Replace_Copy_Only)->Unit(benchmark::kMillisecond);

// The naive loop moves the rest of the text at every line, so it runs on a prefix of `range(0)`
// bytes; its time grows with the square of that.
void BM_Replace_Grow_NaiveLoop(benchmark::State& state) {
  const std::string source = TenMegabyteText().substr(0, static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::string text = source;
    NaiveReplace(text, "\n", "\r\n");
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Replace_Grow_NaiveLoop)->Arg(1 << 18)->Arg(1 << 20)->Unit(benchmark::kMillisecond);

void BM_Replace_Grow_Library_Prefix(benchmark::State& state) {
  const std::string source = TenMegabyteText().substr(0, static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::string text = source;
    qor::string_replace(text, "\n", "\r\n");
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Replace_Grow_Library_Prefix)
    ->Arg(1 << 18)
    ->Arg(1 << 20)
    ->Unit(benchmark::kMillisecond);

void BM_Replace_Adversarial_Library(benchmark::State& state) {
  const std::string source(1u << 20, 'a');
  const std::string pattern = std::string(1000, 'a') + "b";
  for (auto _ : state) {
    std::string text = source;
    qor::string_replace(text, pattern, "x");
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(source.size()));
}
BENCHMARK(BM_Replace_Adversarial_Library)->Unit(benchmark::kMillisecond);

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
