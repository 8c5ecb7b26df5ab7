// The UTF-8 codec against the converters a caller would otherwise use: the standard library's
// wstring_convert over codecvt_utf8, and iconv. Ends with the library's rate over each one's.
#include <iconv.h>

#include <codecvt>
#include <fstream>
#include <iterator>
#include <locale>
#include <string>

#include <benchmark/benchmark.h>

#include "qor/qorstl.h"
#include "ratio_report.h"

namespace {

const char* const kFiles[] = {"mars-english.utf8.txt", "mars-russian.utf8.txt",
                              "mars-chinese.utf8.txt", "lipsum-emoji.utf8.txt"};

const std::string& Corpus(int which) {
  static std::string texts[4];
  std::string& text = texts[which];
  if (text.empty()) {
    std::ifstream in(std::string(QORSTL_CORPUS_DIR) + "/" + kFiles[which], std::ios::binary);
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return text;
}

void Label(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
  state.SetLabel(kFiles[state.range(0)]);
}

void BM_Decode_Qor(benchmark::State& state) {
  const std::string& text = Corpus(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(utf8_to_wchar(text));
  Label(state, text);
}

void BM_Decode_WstringConvert(benchmark::State& state) {
  const std::string& text = Corpus(static_cast<int>(state.range(0)));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  for (auto _ : state) {
    std::wstring_convert<std::codecvt_utf8<wchar_t>> convert;
    benchmark::DoNotOptimize(convert.from_bytes(text));
  }
#pragma GCC diagnostic pop
  Label(state, text);
}

void BM_Decode_Iconv(benchmark::State& state) {
  const std::string& text = Corpus(static_cast<int>(state.range(0)));
  iconv_t cd = iconv_open("WCHAR_T", "UTF-8");
  for (auto _ : state) {
    std::wstring out(text.size(), L'\0');
    char* in = const_cast<char*>(text.data());
    std::size_t in_left = text.size();
    char* dst = reinterpret_cast<char*>(&out[0]);
    std::size_t out_left = out.size() * sizeof(wchar_t);
    iconv(cd, &in, &in_left, &dst, &out_left);
    out.resize(out.size() - out_left / sizeof(wchar_t));
    benchmark::DoNotOptimize(out);
  }
  iconv_close(cd);
  Label(state, text);
}

void BM_Encode_Qor(benchmark::State& state) {
  const std::string& text = Corpus(static_cast<int>(state.range(0)));
  const std::wstring wide = utf8_to_wchar(text);
  for (auto _ : state) benchmark::DoNotOptimize(wchar_to_utf8(wide));
  Label(state, text);
}

void BM_Encode_WstringConvert(benchmark::State& state) {
  const std::string& text = Corpus(static_cast<int>(state.range(0)));
  const std::wstring wide = utf8_to_wchar(text);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  for (auto _ : state) {
    std::wstring_convert<std::codecvt_utf8<wchar_t>> convert;
    benchmark::DoNotOptimize(convert.to_bytes(wide));
  }
#pragma GCC diagnostic pop
  Label(state, text);
}

void BM_Encode_Iconv(benchmark::State& state) {
  const std::string& text = Corpus(static_cast<int>(state.range(0)));
  const std::wstring wide = utf8_to_wchar(text);
  iconv_t cd = iconv_open("UTF-8", "WCHAR_T");
  for (auto _ : state) {
    std::string out(wide.size() * 4, '\0');
    char* in = reinterpret_cast<char*>(const_cast<wchar_t*>(wide.data()));
    std::size_t in_left = wide.size() * sizeof(wchar_t);
    char* dst = &out[0];
    std::size_t out_left = out.size();
    iconv(cd, &in, &in_left, &dst, &out_left);
    out.resize(out.size() - out_left);
    benchmark::DoNotOptimize(out);
  }
  iconv_close(cd);
  Label(state, text);
}

// "<call> <file>/<runner>", the library being "qor".
void Register(const char* call, const char* runner, void (*body)(benchmark::State&)) {
  for (int file = 0; file < 4; ++file) {
    const std::string name = std::string(call) + " " + kFiles[file] + "/" + runner;
    benchmark::RegisterBenchmark(name.c_str(), body)->Arg(file);
  }
}

const bool kRegistered = [] {
  Register("utf8_to_wchar", "qor", BM_Decode_Qor);
  Register("utf8_to_wchar", "wstring_convert", BM_Decode_WstringConvert);
  Register("utf8_to_wchar", "iconv", BM_Decode_Iconv);
  Register("wchar_to_utf8", "qor", BM_Encode_Qor);
  Register("wchar_to_utf8", "wstring_convert", BM_Encode_WstringConvert);
  Register("wchar_to_utf8", "iconv", BM_Encode_Iconv);
  return true;
}();

}  // namespace
