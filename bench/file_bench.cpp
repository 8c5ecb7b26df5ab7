// dump_file against a bare fread of the whole file into a new buffer, on a 100 MiB file that the
// first run brings into the page cache (warm). The file is written next to the program and removed
// at the end.
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "qor/qorstl.h"
#include "ratio_report.h"

namespace {

constexpr std::size_t kFileSize = 100u << 20;

const std::string& BigFile() {
  static const std::string path = [] {
    const std::string p = "qorstl_file_bench.tmp";
    std::string content(kFileSize, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>('a' + i % 23);
    qor::write_file(p, content);
    sync();  // the write-back would otherwise compete with the first measurement
    return p;
  }();
  return path;
}

void BM_DumpFile(benchmark::State& state) {
  benchmark::DoNotOptimize(qor::dump_file(BigFile()).size());  // written and in the cache
  for (auto _ : state) {
    const std::string contents = qor::dump_file(BigFile());
    benchmark::DoNotOptimize(contents.data());
    if (contents.size() != kFileSize + 1) state.SkipWithError("short read");
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kFileSize));
}
BENCHMARK(BM_DumpFile)->Name("dump_file_100MiB/qor")->Unit(benchmark::kMillisecond);

void BM_Fread(benchmark::State& state) {
  benchmark::DoNotOptimize(qor::dump_file(BigFile()).size());  // written and in the cache
  for (auto _ : state) {
    std::FILE* f = std::fopen(BigFile().c_str(), "rb");
    std::fseek(f, 0, SEEK_END);
    const long n = std::ftell(f);
    std::fseek(f, 0, SEEK_SET);
    std::unique_ptr<char[]> buffer(new char[static_cast<std::size_t>(n)]);
    benchmark::DoNotOptimize(std::fread(buffer.get(), 1, static_cast<std::size_t>(n), f));
    std::fclose(f);
    benchmark::DoNotOptimize(buffer.get());
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kFileSize));
}
BENCHMARK(BM_Fread)->Name("dump_file_100MiB/fread_new_buffer")->Unit(benchmark::kMillisecond);

// Runs last: removes the file.
void BM_Cleanup(benchmark::State& state) {
  for (auto _ : state) {
  }
  std::remove(BigFile().c_str());
}
BENCHMARK(BM_Cleanup)->Name("zz_cleanup")->Iterations(1);

}  // namespace
