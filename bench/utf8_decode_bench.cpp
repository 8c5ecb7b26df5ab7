// Reading UTF-8 at the speed of the published SIMD transcoder: validation, decoding into a caller's
// buffer, the string overload, the conversions by name and to_utf16, on five scripts, next to
// simdutf, utf8cpp and iconv, in one run. Ends with a table of GB/s and the ratio to simdutf.
#include <iconv.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "cpu_features.h"
#include "qor/qorstl.h"
#include "utf8_scripts.h"
#if defined(QORSTL_HAVE_SIMDUTF)
#include <simdutf.h>
#endif
#if defined(QORSTL_HAVE_UTF8CPP)
#include <utf8.h>
#endif

namespace {

using qor_bench::kScripts;
using qor_bench::ReadCorpus;
using qor_bench::Script;

// One measured function: its row in the table, who it is ("ours", "simdutf" or a scalar peer),
// and the body run once per iteration on the script's text.
template <class Body>
void Add(const std::string& row, const std::string& who, const Body& body, std::size_t cut = 0) {
  for (const Script& script : kScripts) {
    benchmark::RegisterBenchmark(
        (row + "/" + who + "/" + script.name).c_str(),
        [body, script, cut](benchmark::State& state) {
          std::string text = ReadCorpus(script.file);
          // A short text: the first `cut` bytes, extended to where a sequence starts.
          std::size_t size = cut;
          while (size != 0 && size < text.size() && (text[size] & 0xC0) == 0x80) ++size;
          if (size != 0 && size < text.size()) text.resize(size);
          std::vector<wchar_t> out(text.size() + 64);
          for (auto _ : state) body(text, out.data());
          state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
        });
  }
}

std::size_t IconvDecode(const std::string& text, wchar_t* out) {
  static iconv_t cd = iconv_open("WCHAR_T", "UTF-8");
  char* in = const_cast<char*>(text.data());
  std::size_t in_left = text.size();
  char* dst = reinterpret_cast<char*>(out);
  std::size_t out_left = text.size() * sizeof(wchar_t);
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  iconv(cd, &in, &in_left, &dst, &out_left);
  return text.size() - out_left / sizeof(wchar_t);
}

void RegisterAll() {
  using benchmark::DoNotOptimize;
  Add("string_is_utf8_string", "ours",
      [](const std::string& t, wchar_t*) { DoNotOptimize(qor::string_is_utf8_string(t)); });
  Add("utf8_to_wchar filling", "ours", [](const std::string& t, wchar_t* out) {
    DoNotOptimize(utf8_to_wchar(t.data(), t.size(), out, t.size(), 0));
  });
  Add("utf8_to_wchar(std::string)", "ours",
      [](const std::string& t, wchar_t*) { DoNotOptimize(utf8_to_wchar(t)); });
  Add("\"utf-8\" by name", "ours",
      [](const std::string& t, wchar_t*) { DoNotOptimize(qor::string_utf8_to_wstring(t)); });
  Add("to_utf16", "ours", [](const std::string& t, wchar_t*) { DoNotOptimize(qor::to_utf16(t)); });
  Add("\"utf-8-16\" by name", "ours", [](const std::string& t, wchar_t*) {
    DoNotOptimize(qor::string_string_to_wstring(t, "utf-8-16"));
  });
  // Where the call itself dominates: the first 24 bytes of each text.
  Add(
      "utf8_to_wchar filling 24B", "ours",
      [](const std::string& t, wchar_t* out) {
        DoNotOptimize(utf8_to_wchar(t.data(), t.size(), out, t.size(), 0));
      },
      24);
#if defined(QORSTL_HAVE_SIMDUTF)
  Add("string_is_utf8_string", "simdutf", [](const std::string& t, wchar_t*) {
    DoNotOptimize(simdutf::validate_utf8(t.data(), t.size()));
  });
  // Every decoding row is held against simdutf's decoding into a ready buffer.
  for (const char* row :
       {"utf8_to_wchar filling", "utf8_to_wchar(std::string)", "\"utf-8\" by name", "to_utf16",
        "\"utf-8-16\" by name", "utf8_to_wchar filling 24B"}) {
    const std::string name = row;
    Add(
        name, "simdutf",
        [](const std::string& t, wchar_t* out) {
          DoNotOptimize(
              simdutf::convert_utf8_to_utf32(t.data(), t.size(), reinterpret_cast<char32_t*>(out)));
        },
        name.find("24B") != std::string::npos ? 24 : 0);
  }
#endif
#if defined(QORSTL_HAVE_UTF8CPP)
  Add("string_is_utf8_string", "utf8cpp",
      [](const std::string& t, wchar_t*) { DoNotOptimize(utf8::is_valid(t.begin(), t.end())); });
  Add("utf8_to_wchar filling", "utf8cpp", [](const std::string& t, wchar_t* out) {
    DoNotOptimize(utf8::unchecked::utf8to32(t.begin(), t.end(), out));
  });
  Add(
      "utf8_to_wchar filling 24B", "utf8cpp",
      [](const std::string& t, wchar_t* out) {
        DoNotOptimize(utf8::unchecked::utf8to32(t.begin(), t.end(), out));
      },
      24);
#endif
  Add("utf8_to_wchar filling", "iconv",
      [](const std::string& t, wchar_t* out) { DoNotOptimize(IconvDecode(t, out)); });
}

// Collects every run's GB/s beside the console output and prints the table at the end.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      const std::string name = run.run_name.function_name;
      const auto cut1 = name.find('/'), cut2 = name.rfind('/');
      const auto it = run.counters.find("bytes_per_second");
      if (it == run.counters.end()) continue;
      gbps_[name.substr(0, cut1)][name.substr(cut2 + 1)][name.substr(cut1 + 1, cut2 - cut1 - 1)] =
          it->second / 1e9;
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nqorstl kernel: %s\n", qor::internal::IsaName(qor::internal::BestIsa()));
    std::printf("%-28s %-9s %8s %8s %16s %8s\n", "function", "script", "ours", "simdutf",
                "best scalar", "ratio");
    for (auto& [row, scripts] : gbps_) {
      for (const Script& script : kScripts) {
        auto& who = scripts[script.name];
        double best = 0;
        std::string best_name = "-";
        for (auto& [name, value] : who) {
          if (name != "ours" && name != "simdutf" && value > best) best = value, best_name = name;
        }
        const double simd = who.count("simdutf") ? who["simdutf"] : 0;
        std::printf("%-28s %-9s %8.2f %8.2f %8.2f %-7s %8.2f\n", row.c_str(), script.name,
                    who["ours"], simd, best, best_name.c_str(), simd > 0 ? who["ours"] / simd : 0);
      }
    }
  }

 private:
  std::map<std::string, std::map<std::string, std::map<std::string, double>>> gbps_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::AddCustomContext("qorstl kernel", qor::internal::IsaName(qor::internal::BestIsa()));
  RegisterAll();
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
