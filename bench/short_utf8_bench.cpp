// The UTF-8 calls on short texts, 8 B to 4 KiB, ASCII and mixed French/Russian/Chinese cut at
// character boundaries, each next to what a caller would otherwise write with simdutf or utf8cpp.
// Every contender's answer is checked once before it is timed. All contenders of a workload read
// the same copies of its text and write into the same buffers, so none is favoured by where its
// data happens to lie: the calls go through four copies in turn, starting in each 16-byte quarter
// of a 64-byte line, and the caller's buffers start on a line. Run with
//   --benchmark_repetitions=15 --benchmark_min_time=0.05
//   --benchmark_enable_random_interleaving=true
// for medians of many short interleaved repetitions, which a busy machine disturbs least; the
// console's Time is ns per call, and the closing table gives each rate (bytes of UTF-8 per second)
// and ours / each runner's as a rate ratio.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

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

using benchmark::DoNotOptimize;
using qor_bench::ReadCorpus;

constexpr std::size_t kSizes[] = {8, 16, 32, 64, 128, 256, 1024, 4096};

// The longest prefix of `text` of at most `size` bytes that ends where a character ends.
std::string CutAtCharacter(const std::string& text, std::size_t size) {
  if (size >= text.size()) return text;
  while (size != 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

// Pieces of about 40 bytes of the French, Russian and Chinese texts in turn.
std::string MixedText() {
  const std::string sources[] = {ReadCorpus("mars-french.utf8.txt"),
                                 ReadCorpus("mars-russian.utf8.txt"),
                                 ReadCorpus("mars-chinese.utf8.txt")};
  std::string mixed;
  std::size_t at[3] = {0, 0, 0};
  for (int turn = 0; mixed.size() < 8192; turn = (turn + 1) % 3) {
    const std::string& source = sources[turn];
    if (source.size() < 8192) break;  // the corpus is missing
    const std::string piece = CutAtCharacter(source.substr(at[turn]), 40);
    mixed += piece;
    at[turn] += piece.size();
  }
  return mixed;
}

struct Text {
  const char* name;
  std::string utf8;
  std::wstring wide;
};

std::wstring Widen(const std::string& utf8) {
  return utf8_to_wchar(utf8);
}

// The caller's buffers, large enough for any answer of a 4 KiB text, each on a 64-byte boundary.
struct Buffers {
  alignas(64) std::array<wchar_t, 4200> wide{};
  alignas(64) std::array<char, 4 * 4200> bytes{};
};

// One contender of one call: its answer on a text, as bytes so that answers of different types
// compare, and the call as timed.
struct Contender {
  const char* runner;
  std::string (*answer)(const Text& t, Buffers& b);
  void (*timed)(const Text& t, Buffers& b);
};

template <class T>
std::string Bytes(const T& value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}
template <class C>
std::string Bytes(const std::basic_string<C>& s) {
  return std::string(reinterpret_cast<const char*>(s.data()), s.size() * sizeof(C));
}

// A call's answer: what it returns, or for a call into the caller's buffer, what it wrote there.
template <auto kCall>
std::string Returned(const Text& t, Buffers& b) {
  return Bytes(kCall(t, b));
}
template <auto kCall>
std::string WrittenWide(const Text& t, Buffers& b) {
  const std::size_t n = kCall(t, b);
  return Bytes(std::wstring(b.wide.data(), n));
}
template <auto kCall>
std::string WrittenBytes(const Text& t, Buffers& b) {
  const std::size_t n = kCall(t, b);
  return std::string(b.bytes.data(), n);
}
template <auto kCall>
void Time(const Text& t, Buffers& b) {
  DoNotOptimize(kCall(t, b));
}
template <auto kCall, auto kAnswer>
Contender Make(const char* runner) {
  return {runner, kAnswer, Time<kCall>};
}

bool HasHighByte(const Text& t) {
  return std::any_of(t.utf8.begin(), t.utf8.end(), [](char c) { return (c & 0x80) != 0; });
}

std::size_t FindInvalidOurs(const Text& t, Buffers&) {
  return qor::string_utf8_find_invalid(t.utf8, true);
}
bool IsUtf8Ours(const Text& t, Buffers&) {
  return qor::string_is_utf8_string(t.utf8);
}
std::size_t DecodeOurs(const Text& t, Buffers& b) {
  return utf8_to_wchar(t.utf8.data(), t.utf8.size(), b.wide.data(), b.wide.size(), 0);
}
std::wstring DecodeStringOurs(const Text& t, Buffers&) {
  return utf8_to_wchar(t.utf8);
}
std::wstring DecodeByNameOurs(const Text& t, Buffers&) {
  return qor::string_utf8_to_wstring(t.utf8);
}
std::size_t EncodeOurs(const Text& t, Buffers& b) {
  return wchar_to_utf8(t.wide.data(), t.wide.size(), b.bytes.data(), b.bytes.size(), 0);
}
std::string EncodeStringOurs(const Text& t, Buffers&) {
  return wchar_to_utf8(t.wide);
}
std::string EncodeByNameOurs(const Text& t, Buffers&) {
  return qor::string_wstring_to_utf8(t.wide);
}

#if defined(QORSTL_HAVE_SIMDUTF)
std::size_t FindInvalidSimdutf(const Text& t, Buffers&) {
  const simdutf::result r = simdutf::validate_utf8_with_errors(t.utf8.data(), t.utf8.size());
  return r.error == simdutf::SUCCESS ? std::string::npos : r.count;
}
bool IsUtf8Simdutf(const Text& t, Buffers&) {
  return simdutf::validate_utf8(t.utf8.data(), t.utf8.size());
}
// string_is_utf8_string also asks for a byte of 0x80 or above; the peers' verdicts are checked
// with that added, and timed without it.
bool IsUtf8SimdutfAnswer(const Text& t, Buffers& b) {
  return IsUtf8Simdutf(t, b) && HasHighByte(t);
}
std::size_t DecodeSimdutf(const Text& t, Buffers& b) {
  return simdutf::convert_utf8_to_utf32(t.utf8.data(), t.utf8.size(),
                                        reinterpret_cast<char32_t*>(b.wide.data()));
}
// Measure, allocate, convert: what a caller writes for a std::wstring.
std::wstring DecodeStringSimdutf(const Text& t, Buffers&) {
  std::wstring out(simdutf::utf32_length_from_utf8(t.utf8.data(), t.utf8.size()), L'\0');
  out.resize(simdutf::convert_utf8_to_utf32(t.utf8.data(), t.utf8.size(),
                                            reinterpret_cast<char32_t*>(&out[0])));
  return out;
}
std::size_t EncodeSimdutf(const Text& t, Buffers& b) {
  return simdutf::convert_utf32_to_utf8(reinterpret_cast<const char32_t*>(t.wide.data()),
                                        t.wide.size(), b.bytes.data());
}
std::string EncodeStringSimdutf(const Text& t, Buffers&) {
  const auto* in = reinterpret_cast<const char32_t*>(t.wide.data());
  std::string out(simdutf::utf8_length_from_utf32(in, t.wide.size()), '\0');
  out.resize(simdutf::convert_utf32_to_utf8(in, t.wide.size(), &out[0]));
  return out;
}
#endif

#if defined(QORSTL_HAVE_UTF8CPP)
std::size_t FindInvalidUtf8cpp(const Text& t, Buffers&) {
  const auto it = utf8::find_invalid(t.utf8.begin(), t.utf8.end());
  return it == t.utf8.end() ? std::string::npos : std::size_t(it - t.utf8.begin());
}
bool IsUtf8Utf8cpp(const Text& t, Buffers&) {
  return utf8::is_valid(t.utf8.begin(), t.utf8.end());
}
bool IsUtf8Utf8cppAnswer(const Text& t, Buffers& b) {
  return IsUtf8Utf8cpp(t, b) && HasHighByte(t);
}
std::size_t DecodeUtf8cpp(const Text& t, Buffers& b) {
  return std::size_t(utf8::utf8to32(t.utf8.begin(), t.utf8.end(), b.wide.data()) - b.wide.data());
}
std::wstring DecodeStringUtf8cpp(const Text& t, Buffers&) {
  std::wstring out;
  utf8::utf8to32(t.utf8.begin(), t.utf8.end(), std::back_inserter(out));
  return out;
}
std::size_t EncodeUtf8cpp(const Text& t, Buffers& b) {
  return std::size_t(utf8::utf32to8(t.wide.begin(), t.wide.end(), b.bytes.data()) - b.bytes.data());
}
std::string EncodeStringUtf8cpp(const Text& t, Buffers&) {
  std::string out;
  utf8::utf32to8(t.wide.begin(), t.wide.end(), std::back_inserter(out));
  return out;
}
#endif

struct Call {
  const char* name;
  std::vector<Contender> contenders;  // ours first
};

std::vector<Call> Calls() {
  std::vector<Call> calls = {
      {"string_utf8_find_invalid", {Make<FindInvalidOurs, Returned<FindInvalidOurs>>("qor")}},
      {"string_is_utf8_string", {Make<IsUtf8Ours, Returned<IsUtf8Ours>>("qor")}},
      {"utf8_to_wchar", {Make<DecodeOurs, WrittenWide<DecodeOurs>>("qor")}},
      {"utf8_to_wchar(string)", {Make<DecodeStringOurs, Returned<DecodeStringOurs>>("qor")}},
      {"string_utf8_to_wstring", {Make<DecodeByNameOurs, Returned<DecodeByNameOurs>>("qor")}},
      {"wchar_to_utf8", {Make<EncodeOurs, WrittenBytes<EncodeOurs>>("qor")}},
      {"wchar_to_utf8(wstring)", {Make<EncodeStringOurs, Returned<EncodeStringOurs>>("qor")}},
      {"string_wstring_to_utf8", {Make<EncodeByNameOurs, Returned<EncodeByNameOurs>>("qor")}},
  };
#if defined(QORSTL_HAVE_SIMDUTF)
  const auto decode_string = Make<DecodeStringSimdutf, Returned<DecodeStringSimdutf>>("simdutf");
  const auto encode_string = Make<EncodeStringSimdutf, Returned<EncodeStringSimdutf>>("simdutf");
  calls[0].contenders.push_back(Make<FindInvalidSimdutf, Returned<FindInvalidSimdutf>>("simdutf"));
  calls[1].contenders.push_back(Make<IsUtf8Simdutf, Returned<IsUtf8SimdutfAnswer>>("simdutf"));
  calls[2].contenders.push_back(Make<DecodeSimdutf, WrittenWide<DecodeSimdutf>>("simdutf"));
  calls[3].contenders.push_back(decode_string);
  calls[4].contenders.push_back(decode_string);
  calls[5].contenders.push_back(Make<EncodeSimdutf, WrittenBytes<EncodeSimdutf>>("simdutf"));
  calls[6].contenders.push_back(encode_string);
  calls[7].contenders.push_back(encode_string);
#endif
#if defined(QORSTL_HAVE_UTF8CPP)
  const auto decode_string8 = Make<DecodeStringUtf8cpp, Returned<DecodeStringUtf8cpp>>("utf8cpp");
  const auto encode_string8 = Make<EncodeStringUtf8cpp, Returned<EncodeStringUtf8cpp>>("utf8cpp");
  calls[0].contenders.push_back(Make<FindInvalidUtf8cpp, Returned<FindInvalidUtf8cpp>>("utf8cpp"));
  calls[1].contenders.push_back(Make<IsUtf8Utf8cpp, Returned<IsUtf8Utf8cppAnswer>>("utf8cpp"));
  calls[2].contenders.push_back(Make<DecodeUtf8cpp, WrittenWide<DecodeUtf8cpp>>("utf8cpp"));
  calls[3].contenders.push_back(decode_string8);
  calls[4].contenders.push_back(decode_string8);
  calls[5].contenders.push_back(Make<EncodeUtf8cpp, WrittenBytes<EncodeUtf8cpp>>("utf8cpp"));
  calls[6].contenders.push_back(encode_string8);
  calls[7].contenders.push_back(encode_string8);
#endif
  return calls;
}

// Whether p lies in the 16-byte quarter `quarter` of a 64-byte line.
bool InQuarter(const void* p, std::size_t quarter) {
  return reinterpret_cast<std::uintptr_t>(p) % 64 / 16 == quarter;
}

// Copies `text` until its bytes lie in `quarter` (kept as it is after many tries): the allocator
// decides where a copy lands, the misplaced copies are released after.
template <class String>
void Place(String& text, std::size_t quarter) {
  std::vector<String> misplaced;
  while (!InQuarter(text.data(), quarter) && misplaced.size() < 4096) {
    String copy(text);
    misplaced.push_back(std::move(text));
    text = std::move(copy);
  }
}

// What every contender of one workload reads and writes: copies of the text in each quarter of a
// 64-byte line, and one set of buffers.
struct Workload {
  static constexpr std::size_t kCopies = 4;
  std::unique_ptr<Text> copies[kCopies];
  Buffers buffers;

  explicit Workload(const Text& text) {
    for (std::size_t k = 0; k < kCopies; ++k) {
      // A short text lies inside its string object, so the object is what gets placed.
      std::vector<std::unique_ptr<Text>> misplaced;
      copies[k] = std::make_unique<Text>(text);
      while (!InQuarter(copies[k]->utf8.data(), k) && misplaced.size() < 4096) {
        misplaced.push_back(std::move(copies[k]));
        copies[k] = std::make_unique<Text>(text);
      }
      Place(copies[k]->utf8, k);
      Place(copies[k]->wide, k);
    }
  }
};

// Registers "<call> <text> <size>B/<runner>" for every call, text and size, after checking that
// every contender gives our answer; a disagreement ends the program before anything is timed.
bool RegisterAll() {
  const std::string mixed = MixedText();
  const std::string ascii = ReadCorpus("mars-english.utf8.txt");
  if (mixed.empty() || ascii.size() < 4096) {
    std::fprintf(stderr, "short_utf8_bench: the corpus is missing\n");
    return false;
  }
  bool agree = true;
  for (const Call& call : Calls()) {
    for (const auto& source : {std::make_pair("ASCII", &ascii), std::make_pair("mixed", &mixed)}) {
      for (std::size_t size : kSizes) {
        Text text{source.first, CutAtCharacter(*source.second, size), {}};
        text.wide = Widen(text.utf8);
        const auto workload = std::make_shared<Workload>(text);
        const std::string expected = call.contenders[0].answer(text, workload->buffers);
        const std::string name =
            std::string(call.name) + " " + text.name + " " + std::to_string(size) + "B";
        for (const Contender& c : call.contenders) {
          for (const auto& copy : workload->copies) {
            if (c.answer(*copy, workload->buffers) != expected) {
              std::fprintf(stderr, "short_utf8_bench: %s: %s answers differently\n", name.c_str(),
                           c.runner);
              agree = false;
            }
          }
          auto timed = c.timed;
          benchmark::RegisterBenchmark(
              (name + "/" + c.runner).c_str(), [timed, workload](benchmark::State& state) {
                const Text* const copies[] = {workload->copies[0].get(), workload->copies[1].get(),
                                              workload->copies[2].get(), workload->copies[3].get()};
                std::size_t turn = 0;
                for (auto _ : state) timed(*copies[turn++ % Workload::kCopies], workload->buffers);
                state.SetBytesProcessed(
                    static_cast<std::int64_t>(state.iterations() * copies[0]->utf8.size()));
              });
        }
      }
    }
  }
  return agree;
}

const bool kRegistered = [] {
  if (!RegisterAll()) std::exit(1);
  return true;
}();

}  // namespace
