// Encoding UTF-32 to UTF-8 on five scripts: the library's encoders next to simdutf (SIMD), utf8cpp,
// iconv and ICU (scalar). Ends with the ratio tables and a grid of GB/s of UTF-32 input over
// simdutf's per runner and script.
#include <iconv.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#define QORSTL_BENCH_OWN_MAIN 1  // for the default options below
#include "qor/qorstl.h"
#include "ratio_report.h"
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

// "wchar_to_utf8/<script>/<runner>", the library's filling call being "qor".
void Register(const char* runner, void (*body)(benchmark::State&)) {
  for (int script = 0; script < kScriptCount; ++script) {
    const std::string name = std::string("wchar_to_utf8/") + kScripts[script].name + "/" + runner;
    benchmark::RegisterBenchmark(name.c_str(), body)->Arg(script);
  }
}

const bool kRegistered = [] {
  Register("qor", BM_QorFill);
  Register("qor_wstring", BM_QorWstring);
  Register("qor_by_name", BM_QorByName);
  Register("qor_to_utf8", BM_QorToUtf8);
#if defined(QORSTL_HAVE_SIMDUTF)
  Register("simdutf", BM_Simdutf);
#endif
#if defined(QORSTL_HAVE_UTF8CPP)
  Register("utf8cpp", BM_Utf8cpp);
#endif
#if defined(QORSTL_HAVE_ICU)
  Register("icu", BM_Icu);
#endif
  Register("iconv", BM_Iconv);
  benchmark::RegisterBenchmark("pick_kernel_per_call", BM_PickKernelPerCall);
  benchmark::RegisterBenchmark("wchar_to_utf8_short", BM_QorFillShort);
  return qor_bench::AddGrid(std::string("GB/s of UTF-32 input over simdutf's, kernel: ") +
                                qor::internal::IsaName(qor::internal::BestIsa()),
                            "simdutf");
}();

}  // namespace

int main(int argc, char** argv) {
  // Short, repeated runs by default: the machine is shared.
  std::vector<char*> args(argv, argv + argc);
  char min_time[] = "--benchmark_min_time=0.05";
  char repetitions[] = "--benchmark_repetitions=3";
  char aggregates[] = "--benchmark_report_aggregates_only=true";
  if (argc == 1) args.insert(args.end(), {min_time, repetitions, aggregates});
  return qor_bench::RunAndReport(static_cast<int>(args.size()), args.data());
}
