// Conversion by locale name against the C library's iconv in the same run, on texts made from the
// corpus in five charsets (Latin-1, KOI8-R, UTF-8, EUC-JP, GB18030), both ways, one facet or one
// iconv descriptor per conversion. Each pair's results are compared before timing; a difference
// fails that benchmark. The locales come from the build (LOCPATH); QORSTL_LOCALE_BENCH_BYTES sets
// the text size (10 MB by default). short_* times a text of about 10 bytes next to the facet's
// construction alone and with one call of the facet.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <locale>
#include <string>
#include <vector>

#include "qor/qorstl.h"
#include "ratio_report.h"

namespace {

struct Charset {
  const char* workload;
  const char* locale;
  const char* iconv_name;
  std::size_t longest;             // bytes of the longest character of the text
  std::vector<const char*> files;  // UTF-8 corpus files, mixed in turn
  const char* sample;              // a short text of the charset's own characters, in UTF-8
};

const Charset kCharsets[] = {
    {"latin1",
     "de_DE.ISO-8859-1",
     "ISO-8859-1",
     1,
     {"mars-french.utf8.txt", "mars-german.utf8.txt", "mars-english.utf8.txt"},
     "Grüße, Mars"},
    {"koi8r",
     "ru_RU.KOI8-R",
     "KOI8-R",
     1,
     {"mars-russian.utf8.txt", "lipsum-russian.utf8.txt"},
     "Марс 2024."},
    {"utf8",
     "de_DE.UTF-8",
     "UTF-8",
     4,
     {"mars-english.utf8.txt", "mars-french.utf8.txt", "mars-russian.utf8.txt",
      "mars-chinese.utf8.txt", "mars-japanese.utf8.txt", "lipsum-emoji.utf8.txt"},
     "Mars 火星"},
    {"eucjp",
     "ja_JP.EUC-JP",
     "EUC-JP",
     3,
     {"mars-japanese.utf8.txt", "lipsum-japanese.utf8.txt"},
     "火星 2024"},
    {"gb18030",
     "zh_CN.GB18030",
     "GB18030",
     4,
     {"mars-chinese.utf8.txt", "lipsum-chinese.utf8.txt"},
     "火星 2024"},
};

std::string ReadCorpus(const char* name) {
  std::ifstream in(std::string(QORSTL_CORPUS_DIR) + "/" + name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::size_t TextBytes() {
  const char* bytes = std::getenv("QORSTL_LOCALE_BENCH_BYTES");
  return bytes != nullptr ? std::strtoull(bytes, nullptr, 10) : std::size_t{10} << 20;
}

// Converts all of `in` with one descriptor; false when iconv refuses any of it.
template <class In, class Out>
bool Iconv(const char* to, const char* from, const In& in, Out& out, std::size_t room_per_unit) {
  const iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  using Unit = typename Out::value_type;
  out.resize(in.size() * room_per_unit + 16);
  char* src = const_cast<char*>(reinterpret_cast<const char*>(in.data()));
  std::size_t src_left = in.size() * sizeof(typename In::value_type);
  char* dst = reinterpret_cast<char*>(&out[0]);
  std::size_t dst_left = out.size() * sizeof(Unit);
  const bool ok = iconv(cd, &src, &src_left, &dst, &dst_left) != static_cast<std::size_t>(-1) &&
                  iconv(cd, nullptr, nullptr, &dst, &dst_left) != static_cast<std::size_t>(-1);
  out.resize(out.size() - dst_left / sizeof(Unit));
  iconv_close(cd);
  return ok;
}

// The corpus files' characters that the charset has, repeated to `size` bytes in that charset.
struct Text {
  std::string bytes;
  std::wstring wide;
};
Text MakeText(const Charset& charset, std::size_t size) {
  std::wstring base;
  for (const char* file : charset.files) {
    for (wchar_t c : qor::string_string_to_wstring(ReadCorpus(file), "utf-8")) {
      std::string one;
      if (Iconv(charset.iconv_name, "WCHAR_T", std::wstring(1, c), one, 8)) base += c;
    }
  }
  std::string base_bytes;
  Text text;
  if (base.empty() || !Iconv(charset.iconv_name, "WCHAR_T", base, base_bytes, 8)) return text;
  while (text.bytes.size() < size) {
    text.bytes += base_bytes;
    text.wide += base;
  }
  return text;
}

const Text& TextOf(const Charset& charset) {
  static std::vector<Text> texts(std::size(kCharsets));
  Text& text = texts[static_cast<std::size_t>(&charset - kCharsets)];
  if (text.bytes.empty()) text = MakeText(charset, TextBytes());
  return text;
}

void Decode(benchmark::State& state, const Charset* charset, bool library) {
  const Text& text = TextOf(*charset);
  std::wstring by_iconv;
  if (text.bytes.empty() || !Iconv("WCHAR_T", charset->iconv_name, text.bytes, by_iconv, 1)) {
    return state.SkipWithError("no text in this charset (iconv)");
  }
  if (qor::string_string_to_wstring(text.bytes, charset->locale) != by_iconv) {
    return state.SkipWithError("results differ from iconv's (is the locale there?)");
  }
  for (auto _ : state) {
    if (library) {
      benchmark::DoNotOptimize(qor::string_string_to_wstring(text.bytes, charset->locale));
    } else {
      std::wstring out;
      Iconv("WCHAR_T", charset->iconv_name, text.bytes, out, 1);
      benchmark::DoNotOptimize(out);
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.bytes.size()));
}

void Encode(benchmark::State& state, const Charset* charset, bool library) {
  const Text& text = TextOf(*charset);
  std::string by_iconv;
  if (text.bytes.empty() ||
      !Iconv(charset->iconv_name, "WCHAR_T", text.wide, by_iconv, charset->longest)) {
    return state.SkipWithError("no text in this charset (iconv)");
  }
  if (qor::string_wstring_to_string(text.wide, charset->locale) != by_iconv) {
    return state.SkipWithError("results differ from iconv's (is the locale there?)");
  }
  for (auto _ : state) {
    if (library) {
      benchmark::DoNotOptimize(qor::string_wstring_to_string(text.wide, charset->locale));
    } else {
      std::string out;
      Iconv(charset->iconv_name, "WCHAR_T", text.wide, out, charset->longest);
      benchmark::DoNotOptimize(out);
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.bytes.size()));
}

// The cost of one call on a short text (about 10 bytes of the charset's own characters) next to
// what the platform costs without us: the facet's construction alone, which every call pays (the
// locale's data is loaded then), and the construction with one call of the facet on the text (the
// C library loads its converter at the first conversion).
using LocaleFacet = qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>>;
enum class ShortRunner { kLibrary, kFacet, kFacetAndCall };

struct ShortText {
  std::string bytes;
  std::wstring wide;
};
ShortText SampleOf(const Charset& charset) {
  ShortText text;
  text.wide = qor::string_string_to_wstring(charset.sample, "utf-8");
  Iconv(charset.iconv_name, "WCHAR_T", text.wide, text.bytes, 8);
  return text;
}

void ShortDecode(benchmark::State& state, const Charset* charset, ShortRunner runner) {
  const ShortText text = SampleOf(*charset);
  if (qor::string_string_to_wstring(text.bytes, charset->locale) != text.wide) {
    return state.SkipWithError("results differ from iconv's (is the locale there?)");
  }
  for (auto _ : state) {
    if (runner == ShortRunner::kLibrary) {
      benchmark::DoNotOptimize(qor::string_string_to_wstring(text.bytes, charset->locale));
      continue;
    }
    LocaleFacet facet(charset->locale);
    benchmark::DoNotOptimize(&facet);
    if (runner == ShortRunner::kFacetAndCall) {
      wchar_t out[64];
      std::mbstate_t mbstate{};
      const char* from_next = nullptr;
      wchar_t* to_next = nullptr;
      facet.in(mbstate, text.bytes.data(), text.bytes.data() + text.bytes.size(), from_next, out,
               out + 64, to_next);
      benchmark::DoNotOptimize(out);
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.bytes.size()));
}

void ShortEncode(benchmark::State& state, const Charset* charset, ShortRunner runner) {
  const ShortText text = SampleOf(*charset);
  if (qor::string_wstring_to_string(text.wide, charset->locale) != text.bytes) {
    return state.SkipWithError("results differ from iconv's (is the locale there?)");
  }
  for (auto _ : state) {
    if (runner == ShortRunner::kLibrary) {
      benchmark::DoNotOptimize(qor::string_wstring_to_string(text.wide, charset->locale));
      continue;
    }
    LocaleFacet facet(charset->locale);
    benchmark::DoNotOptimize(&facet);
    if (runner == ShortRunner::kFacetAndCall) {
      char out[64];
      std::mbstate_t mbstate{};
      const wchar_t* from_next = nullptr;
      char* to_next = nullptr;
      facet.out(mbstate, text.wide.data(), text.wide.data() + text.wide.size(), from_next, out,
                out + 64, to_next);
      benchmark::DoNotOptimize(out);
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.bytes.size()));
}

const bool registered = [] {
  setenv("LOCPATH", QORSTL_BENCH_LOCALE_DIR, 0);
  for (const Charset& charset : kCharsets) {
    for (bool library : {true, false}) {
      const std::string runner = library ? "/qor" : "/iconv";
      benchmark::RegisterBenchmark((std::string("decode_") + charset.workload + runner).c_str(),
                                   Decode, &charset, library)
          ->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark((std::string("encode_") + charset.workload + runner).c_str(),
                                   Encode, &charset, library)
          ->Unit(benchmark::kMillisecond);
    }
    const std::pair<ShortRunner, const char*> short_runners[] = {
        {ShortRunner::kLibrary, "/qor"},
        {ShortRunner::kFacet, "/facet"},
        {ShortRunner::kFacetAndCall, "/facet+call"}};
    for (const auto& runner : short_runners) {
      benchmark::RegisterBenchmark(
          (std::string("short_decode_") + charset.workload + runner.second).c_str(), ShortDecode,
          &charset, runner.first)
          ->Unit(benchmark::kMicrosecond);
      benchmark::RegisterBenchmark(
          (std::string("short_encode_") + charset.workload + runner.second).c_str(), ShortEncode,
          &charset, runner.first)
          ->Unit(benchmark::kMicrosecond);
    }
  }
  return true;
}();

}  // namespace
