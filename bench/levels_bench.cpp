// Every kernel level this CPU runs, called through the library's internal tables, next to the
// yardstick's kernel of the same level forced by name: decoding (the filling call), encoding (the
// filling call) and validation (as string_is_utf8_string) of the five scripts, in one run. Ends
// with a table of GB/s and the ratio qor / yardstick per level, operation and script.
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "cpu_features.h"
#include "encoding/decode_kernels.h"
#include "encoding/encode_kernels.h"
#include "encoding/validate_kernels.h"
#include "qor/qorstl.h"
#include "ratio_report.h"
#include "utf8_scripts.h"
#if defined(QORSTL_HAVE_SIMDUTF)
#include <simdutf.h>
#endif

namespace {

using namespace qor::internal;
using qor_bench::kScripts;
using qor_bench::ReadCorpus;
using qor_bench::Script;

// Our levels and the name of the yardstick's kernel that uses the same instructions.
struct Level {
  Isa isa;
  const char* peer;
};
constexpr Level kLevels[] = {{Isa::kScalar, "fallback"},
                             {Isa::kSse2, "westmere"},
                             {Isa::kAvx2, "haswell"},
                             {Isa::kAvx512, "icelake"}};
constexpr const char* kOperations[] = {"decode", "encode", "validate"};

// One script's text in both forms, and room for either conversion.
struct Texts {
  std::string utf8;
  std::wstring wide;
  std::vector<wchar_t> wide_out;
  std::string utf8_out;
  explicit Texts(const Script& script) : utf8(ReadCorpus(script.file)) {
    wide = utf8_to_wchar(utf8);
    wide_out.resize(utf8.size() + 64);
    utf8_out.resize(4 * wide.size() + 64);
  }
};

void RegisterOurs(const Level& level, const char* op, const Script& script) {
  const DecodeKernels* decode = DecodeKernelsFor(level.isa);
  const EncodeKernels* encode = EncodeKernelsFor(level.isa);
  if (decode == nullptr || encode == nullptr) return;
  const std::string name = std::string(IsaName(level.isa)) + "/" + op + "/" + script.name + "/qor";
  benchmark::RegisterBenchmark(
      name.c_str(), [decode, encode, op = std::string(op), script](benchmark::State& state) {
        Texts t(script);
        const auto* bytes = reinterpret_cast<const unsigned char*>(t.utf8.data());
        const ValidateKernels* validate = ValidateKernelsFor(decode->isa);
        std::size_t size = t.utf8.size();
        for (auto _ : state) {
          if (op == "decode") {
            benchmark::DoNotOptimize(Utf8ToWcharWith(*decode, t.utf8.data(), t.utf8.size(),
                                                     t.wide_out.data(), t.wide_out.size(), 0));
          } else if (op == "encode") {
            benchmark::DoNotOptimize(WideToUtf8With(*encode, t.wide.data(), t.wide.size(),
                                                    &t.utf8_out[0], t.utf8_out.size(), 0));
          } else {
            benchmark::DoNotOptimize(IsUtf8TextWith(*validate, decode, bytes, size));
          }
          benchmark::ClobberMemory();
        }
        state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
      });
}

#if defined(QORSTL_HAVE_SIMDUTF)
void RegisterPeer(const Level& level, const char* op, const Script& script) {
  const simdutf::implementation* peer = simdutf::get_available_implementations()[level.peer];
  if (peer == nullptr || !peer->supported_by_runtime_system()) return;
  const std::string name =
      std::string(IsaName(level.isa)) + "/" + op + "/" + script.name + "/simdutf";
  benchmark::RegisterBenchmark(name.c_str(), [peer, op = std::string(op),
                                              script](benchmark::State& state) {
    Texts t(script);
    auto* wide_out = reinterpret_cast<char32_t*>(t.wide_out.data());
    const auto* wide = reinterpret_cast<const char32_t*>(t.wide.data());
    for (auto _ : state) {
      if (op == "decode") {
        benchmark::DoNotOptimize(
            peer->convert_utf8_to_utf32(t.utf8.data(), t.utf8.size(), wide_out));
      } else if (op == "encode") {
        benchmark::DoNotOptimize(peer->convert_utf32_to_utf8(wide, t.wide.size(), &t.utf8_out[0]));
      } else {
        benchmark::DoNotOptimize(peer->validate_utf8(t.utf8.data(), t.utf8.size()));
      }
      benchmark::ClobberMemory();
    }
    // Rates count UTF-8 bytes on both sides, so that decoding and encoding read alike.
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * t.utf8.size()));
  });
}
#endif

const bool kRegistered = [] {
  for (const Level& level : kLevels) {
    for (const char* op : kOperations) {
      for (const Script& script : kScripts) {
        RegisterOurs(level, op, script);
#if defined(QORSTL_HAVE_SIMDUTF)
        RegisterPeer(level, op, script);
#endif
      }
    }
  }
  return qor_bench::AddGrid(
      std::string("qor / simdutf (GB/s of UTF-8), best level picked here: ") + IsaName(BestIsa()),
      "simdutf");
}();

}  // namespace
