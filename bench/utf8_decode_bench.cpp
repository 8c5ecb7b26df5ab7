// Reading UTF-8 at the speed of the published SIMD transcoder: validation, decoding into a caller's
// buffer, the string overload, the conversions by name and to_utf16, on five scripts, next to
// simdutf, utf8cpp and iconv, in one run. Ends with
// the ratio tables and a grid of each runner's GB/s over simdutf's per function and script.
#include <iconv.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "cpu_features.h"
#include "qor/qorstl.h"
#include "ratio_report.h"
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

// One measured function: its row in the table, who it is ("qor", "simdutf" or a scalar peer),
// and the body run once per iteration on the script's text.
template <class Body>
void Add(const std::string& row, const std::string& who, const Body& body, std::size_t cut = 0) {
  for (const Script& script : kScripts) {
    benchmark::RegisterBenchmark(
        (row + "/" + script.name + "/" + who).c_str(),
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
  Add("string_is_utf8_string", "qor",
      [](const std::string& t, wchar_t*) { DoNotOptimize(qor::string_is_utf8_string(t)); });
  Add("utf8_to_wchar filling", "qor", [](const std::string& t, wchar_t* out) {
    DoNotOptimize(utf8_to_wchar(t.data(), t.size(), out, t.size(), 0));
  });
  Add("utf8_to_wchar(std::string)", "qor",
      [](const std::string& t, wchar_t*) { DoNotOptimize(utf8_to_wchar(t)); });
  Add("\"utf-8\" by name", "qor",
      [](const std::string& t, wchar_t*) { DoNotOptimize(qor::string_utf8_to_wstring(t)); });
  Add("to_utf16", "qor", [](const std::string& t, wchar_t*) { DoNotOptimize(qor::to_utf16(t)); });
  Add("\"utf-8-16\" by name", "qor", [](const std::string& t, wchar_t*) {
    DoNotOptimize(qor::string_string_to_wstring(t, "utf-8-16"));
  });
  // Where the call itself dominates: the first 24 bytes of each text.
  Add(
      "utf8_to_wchar filling 24B", "qor",
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

const bool kRegistered = [] {
  const char* const kernel = qor::internal::IsaName(qor::internal::BestIsa());
  benchmark::AddCustomContext("qorstl kernel", kernel);
  RegisterAll();
  return qor_bench::AddGrid(std::string("qor / simdutf (GB/s of UTF-8), qorstl kernel: ") + kernel,
                            "simdutf");
}();

}  // namespace
