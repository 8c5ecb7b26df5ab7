// Encoding UTF-32 to UTF-8 on five scripts: the library's encoders next to simdutf (SIMD), utf8cpp,
// iconv and ICU (scalar). Ends with a table of GB/s of UTF-32 input and the ratio to simdutf.
#include <iconv.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "qor/qorstl.h"
#include "utf8_scripts.h"
#if defined(__x86_64__) && !defined(QORSTL_X86_KERNELS)
#define QORSTL_X86_KERNELS 1  // as the library is built by default, to name its kernel
#endif
#include "../src/cpu_features.h"

#if defined(QORSTL_HAVE_SIMDUTF)
#include <simdutf.h>
#endif
#if defined(QORSTL_HAVE_UTF8CPP)
#include <utf8.h>
#endif
#if defined(QORSTL_HAVE_ICU)
#include <unicode/utf8.h>
#endif

namespace {

using qor_bench::kScriptCount;
using qor_bench::kScripts;
using qor_bench::ReadCorpus;
using qor_bench::Script;

struct Input {
  std::string utf8;
  std::wstring code_points;  // one element per code point
  std::wstring units;        // UTF-16 code units, for to_utf8
};

// Decoded once, outside every timing.
const Input& Corpus(int which) {
  static Input inputs[kScriptCount];
  Input& in = inputs[which];
  if (in.utf8.empty()) {
    in.utf8 = ReadCorpus(kScripts[which].file);
    in.code_points = qor::string_string_to_wstring(in.utf8, "utf-8");
    in.units = qor::string_string_to_wstring(in.utf8, "utf-8-16");
  }
  return in;
}

void Finish(benchmark::State& state, const std::wstring& input, const std::string& out,
            std::size_t size) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size() * 4));
  state.SetLabel(kScripts[state.range(0)].name);
  if (size != Corpus(static_cast<int>(state.range(0))).utf8.size() ||
      out.compare(0, size, Corpus(static_cast<int>(state.range(0))).utf8) != 0) {
    state.SkipWithError("wrong output");
  }
}

void BM_QorFill(benchmark::State& state) {
  const std::wstring& in = Corpus(static_cast<int>(state.range(0))).code_points;
  std::string out(in.size() * 4, '\0');
  const std::size_t cap = wchar_to_utf8(in.data(), in.size(), nullptr, 0, 0);
  std::size_t size = 0;
  for (auto _ : state) {
    size = wchar_to_utf8(in.data(), in.size(), &out[0], cap, 0);
    benchmark::DoNotOptimize(size);
  }
  Finish(state, in, out, size);
}

void BM_QorWstring(benchmark::State& state) {
  const std::wstring& in = Corpus(static_cast<int>(state.range(0))).code_points;
  std::string out;
  for (auto _ : state) {
    out = wchar_to_utf8(in);
    benchmark::DoNotOptimize(out.data());
  }
  Finish(state, in, out, out.size());
}

void BM_QorByName(benchmark::State& state) {
  const std::wstring& in = Corpus(static_cast<int>(state.range(0))).code_points;
  std::string out;
  for (auto _ : state) {
    out = qor::string_wstring_to_string(in, "utf-8");
    benchmark::DoNotOptimize(out.data());
  }
  Finish(state, in, out, out.size());
}

void BM_QorToUtf8(benchmark::State& state) {
  const Input& input = Corpus(static_cast<int>(state.range(0)));
  std::string out;
  for (auto _ : state) {
    out = qor::to_utf8(input.units);
    benchmark::DoNotOptimize(out.data());
  }
  // Code points above 0xFFFF come as surrogate pairs and leave as two three-byte forms.
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.units.size() * 4));
  state.SetLabel(kScripts[state.range(0)].name);
}

#if defined(QORSTL_HAVE_SIMDUTF)
void BM_Simdutf(benchmark::State& state) {
  const std::wstring& in = Corpus(static_cast<int>(state.range(0))).code_points;
  std::string out(in.size() * 4, '\0');
  std::size_t size = 0;
  for (auto _ : state) {
    size = simdutf::convert_utf32_to_utf8(reinterpret_cast<const char32_t*>(in.data()), in.size(),
                                          &out[0]);
    benchmark::DoNotOptimize(size);
  }
  Finish(state, in, out, size);
}
BENCHMARK(BM_Simdutf)->DenseRange(0, kScriptCount - 1);
#endif

#if defined(QORSTL_HAVE_UTF8CPP)
void BM_Utf8cpp(benchmark::State& state) {
  const std::wstring& in = Corpus(static_cast<int>(state.range(0))).code_points;
  std::string out(in.size() * 4, '\0');
  std::size_t size = 0;
  for (auto _ : state) {
    size = static_cast<std::size_t>(utf8::utf32to8(in.begin(), in.end(), &out[0]) - &out[0]);
    benchmark::DoNotOptimize(size);
  }
  Finish(state, in, out, size);
}
BENCHMARK(BM_Utf8cpp)->DenseRange(0, kScriptCount - 1);
#endif

#if defined(QORSTL_HAVE_ICU)
void BM_Icu(benchmark::State& state) {
  const std::wstring& in = Corpus(static_cast<int>(state.range(0))).code_points;
  std::string out(in.size() * 4, '\0');
  std::size_t size = 0;
  for (auto _ : state) {
    auto* dst = reinterpret_cast<uint8_t*>(&out[0]);
    int32_t k = 0;
    for (wchar_t c : in) U8_APPEND_UNSAFE(dst, k, static_cast<UChar32>(c));
    size = static_cast<std::size_t>(k);
    benchmark::DoNotOptimize(size);
  }
  Finish(state, in, out, size);
}
BENCHMARK(BM_Icu)->DenseRange(0, kScriptCount - 1);
#endif

void BM_Iconv(benchmark::State& state) {
  const std::wstring& in = Corpus(static_cast<int>(state.range(0))).code_points;
  std::string out(in.size() * 4, '\0');
  iconv_t cd = iconv_open("UTF-8", "WCHAR_T");
  std::size_t size = 0;
  for (auto _ : state) {
    char* src = reinterpret_cast<char*>(const_cast<wchar_t*>(in.data()));
    std::size_t src_left = in.size() * sizeof(wchar_t);
    char* dst = &out[0];
    std::size_t dst_left = out.size();
    iconv(cd, &src, &src_left, &dst, &dst_left);
    size = out.size() - dst_left;
    benchmark::DoNotOptimize(size);
  }
  iconv_close(cd);
  Finish(state, in, out, size);
}

// What picking the kernel on every call would cost, and a short string through the public call.
void BM_PickKernelPerCall(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(qor::internal::BestIsa());
}

void BM_QorFillShort(benchmark::State& state) {
  const std::wstring in = L"short text \u00e9\u4e2d";
  char out[64];
  for (auto _ : state) {
    benchmark::DoNotOptimize(wchar_to_utf8(in.data(), in.size(), out, sizeof out, 0));
  }
}

BENCHMARK(BM_QorFill)->DenseRange(0, kScriptCount - 1);
BENCHMARK(BM_QorWstring)->DenseRange(0, kScriptCount - 1);
BENCHMARK(BM_QorByName)->DenseRange(0, kScriptCount - 1);
BENCHMARK(BM_QorToUtf8)->DenseRange(0, kScriptCount - 1);
BENCHMARK(BM_Iconv)->DenseRange(0, kScriptCount - 1);
BENCHMARK(BM_PickKernelPerCall);
BENCHMARK(BM_QorFillShort);

// Keeps the GB/s of every run (the median when repeated) for the closing table.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> gbps;
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      std::string name = run.benchmark_name();
      name = name.substr(0, name.find("_median"));
      const auto found = run.counters.find("bytes_per_second");
      if (found != run.counters.end()) gbps[name] = found->second / 1e9;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

void PrintTable(const std::map<std::string, double>& gbps) {
  const auto at = [&gbps](const std::string& row, int script) {
    const auto found = gbps.find(row + "/" + std::to_string(script));
    return found != gbps.end() ? found->second : 0.0;
  };
  std::printf("\nkernel: %s; GB/s of UTF-32 input (ratio to simdutf)\n",
              qor::internal::IsaName(qor::internal::BestIsa()));
  std::printf("| row |");
  for (const Script& s : kScripts) std::printf(" %s |", s.name);
  std::printf("\n|---|---|---|---|---|---|\n");
  const char* const rows[] = {"BM_QorFill",   "BM_QorWstring", "BM_QorByName",
                              "BM_QorToUtf8", "BM_Simdutf",    "BM_Utf8cpp",
                              "BM_Icu",       "BM_Iconv",      "best scalar peer"};
  for (const char* row : rows) {
    std::printf("| %s |", row);
    for (int s = 0; s < kScriptCount; ++s) {
      double value = at(row, s);
      if (std::string(row) == "best scalar peer") {
        value = std::max({at("BM_Utf8cpp", s), at("BM_Icu", s), at("BM_Iconv", s)});
      }
      const double simdutf = at("BM_Simdutf", s);
      if (simdutf > 0) {
        std::printf(" %.2f (%.2f) |", value, value / simdutf);
      } else {
        std::printf(" %.2f |", value);
      }
    }
    std::printf("\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  // Short, repeated runs by default: the machine is shared.
  std::vector<char*> args(argv, argv + argc);
  char min_time[] = "--benchmark_min_time=0.05";
  char repetitions[] = "--benchmark_repetitions=3";
  char aggregates[] = "--benchmark_report_aggregates_only=true";
  if (argc == 1) args.insert(args.end(), {min_time, repetitions, aggregates});
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  PrintTable(reporter.gbps);
  return 0;
}
