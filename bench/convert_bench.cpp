// The "utf-8" conversions by name against the standard converter over the standard UTF-8 facet,
// on real text: mostly ASCII (English), Latin with accents (French), two-byte (Russian),
// three-byte (Chinese) and four-byte (emoji) scripts. Ends with the library's rate over the
// converter's.
#include <benchmark/benchmark.h>

#include <codecvt>
#include <fstream>
#include <iterator>
#include <locale>
#include <string>

#include "qor/qorstl.h"
#include "ratio_report.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

std::string ReadCorpus(const char* name) {
  std::ifstream in(std::string(QORSTL_CORPUS_DIR) + "/" + name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

using StdConverter = std::wstring_convert<std::codecvt_utf8<wchar_t, 0x10FFFF>, wchar_t>;

void Decode_Library(benchmark::State& state, const char* file) {
  const std::string text = ReadCorpus(file);
  for (auto _ : state) benchmark::DoNotOptimize(qor::string_string_to_wstring(text, "utf-8"));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void Decode_StdWstringConvert(benchmark::State& state, const char* file) {
  const std::string text = ReadCorpus(file);
  for (auto _ : state) {
    StdConverter convert;
    benchmark::DoNotOptimize(convert.from_bytes(text));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void Encode_Library(benchmark::State& state, const char* file) {
  const std::string text = ReadCorpus(file);
  const std::wstring wide = qor::string_string_to_wstring(text, "utf-8");
  for (auto _ : state) benchmark::DoNotOptimize(qor::string_wstring_to_string(wide, "utf-8"));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void Encode_StdWstringConvert(benchmark::State& state, const char* file) {
  const std::string text = ReadCorpus(file);
  const std::wstring wide = qor::string_string_to_wstring(text, "utf-8");
  for (auto _ : state) {
    StdConverter convert;
    benchmark::DoNotOptimize(convert.to_bytes(wide));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

const char* const kFiles[] = {"mars-english.utf8.txt", "mars-french.utf8.txt",
                              "mars-russian.utf8.txt", "mars-chinese.utf8.txt",
                              "lipsum-emoji.utf8.txt"};

const bool registered = [] {
  for (const char* file : kFiles) {
    benchmark::RegisterBenchmark((std::string("decode ") + file + "/qor").c_str(), Decode_Library,
                                 file);
    benchmark::RegisterBenchmark((std::string("decode ") + file + "/wstring_convert").c_str(),
                                 Decode_StdWstringConvert, file);
    benchmark::RegisterBenchmark((std::string("encode ") + file + "/qor").c_str(), Encode_Library,
                                 file);
    benchmark::RegisterBenchmark((std::string("encode ") + file + "/wstring_convert").c_str(),
                                 Encode_StdWstringConvert, file);
  }
  return true;
}();

}  // namespace
