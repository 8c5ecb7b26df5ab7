// Single-pattern search against memmem and std::string::find, on adversarial and on real text, and
// the multi-pattern searches on real text.
#include <string.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "qor/qorstl.h"

namespace {

std::string ReadCorpus(const char* name) {
  std::ifstream in(std::string(QORSTL_CORPUS_DIR) + "/" + name, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

// A million 'a' and a pattern of 999 'a' then 'b': every position is a candidate that agrees
// with the pattern for 999 bytes.
const std::string& AdversarialText() {
  static const std::string text(1000000, 'a');
  return text;
}
const std::string& AdversarialPattern() {
  static const std::string pattern = std::string(999, 'a') + "b";
  return pattern;
}

// Same shape with the mismatch in the middle, so that also the last byte agrees.
const std::string& AdversarialMiddlePattern() {
  static const std::string pattern = std::string(500, 'a') + "b" + std::string(499, 'a');
  return pattern;
}

enum Searcher { kQor, kMemmem, kStdFind };

std::size_t Search(Searcher how, const std::string& text, const std::string& pattern) {
  switch (how) {
    case kQor:
      return qor::string_find(text, pattern, true);
    case kMemmem: {
      const void* hit = memmem(text.data(), text.size(), pattern.data(), pattern.size());
      return hit ? std::size_t(static_cast<const char*>(hit) - text.data()) : std::string::npos;
    }
    case kStdFind:
      return text.find(pattern);
  }
  return std::string::npos;
}

void Run(benchmark::State& state, Searcher how, const std::string& text,
         const std::string& pattern) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(Search(how, text, pattern));
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(text.size()));
}

void BM_Adversarial(benchmark::State& state, Searcher how) {
  Run(state, how, AdversarialText(), AdversarialPattern());
}
BENCHMARK_CAPTURE(BM_Adversarial, qor, kQor)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Adversarial, memmem, kMemmem)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Adversarial, std_find, kStdFind)->Unit(benchmark::kMillisecond);

void BM_AdversarialMiddle(benchmark::State& state, Searcher how) {
  Run(state, how, AdversarialText(), AdversarialMiddlePattern());
}
BENCHMARK_CAPTURE(BM_AdversarialMiddle, qor, kQor)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_AdversarialMiddle, memmem, kMemmem)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_AdversarialMiddle, std_find, kStdFind)->Unit(benchmark::kMillisecond);

// Real text: a word that first occurs late, a phrase that never occurs, and a Cyrillic word.
const std::string& English() {
  static const std::string text = ReadCorpus("mars-english.utf8.txt");
  return text;
}
const std::string& Russian() {
  static const std::string text = ReadCorpus("mars-russian.utf8.txt");
  return text;
}

void BM_English(benchmark::State& state, Searcher how, const char* pattern) {
  Run(state, how, English(), pattern);
}
BENCHMARK_CAPTURE(BM_English, qor_late_word, kQor, "Powered by");
BENCHMARK_CAPTURE(BM_English, memmem_late_word, kMemmem, "Powered by");
BENCHMARK_CAPTURE(BM_English, std_find_late_word, kStdFind, "Powered by");
BENCHMARK_CAPTURE(BM_English, qor_absent, kQor, "the planet Vulcan");
BENCHMARK_CAPTURE(BM_English, memmem_absent, kMemmem, "the planet Vulcan");
BENCHMARK_CAPTURE(BM_English, std_find_absent, kStdFind, "the planet Vulcan");

void BM_Russian(benchmark::State& state, Searcher how) {
  Run(state, how, Russian(), "\xD0\x92\xD0\xB5\xD0\xBD\xD0\xB5\xD1\x80\xD0\xB0\xD0\xB0");
}
BENCHMARK_CAPTURE(BM_Russian, qor_absent, kQor);
BENCHMARK_CAPTURE(BM_Russian, memmem_absent, kMemmem);
BENCHMARK_CAPTURE(BM_Russian, std_find_absent, kStdFind);

// Multi-pattern search over the English article: a few words that occur late or not at all, and
// one that occurs early, last in the list.
const std::vector<std::string>& Words() {
  static const std::vector<std::string> words = {"Powered by", "Vulcan", "Olympus Mons",
                                                 "Discuss this template", "Mars"};
  return words;
}

void BM_FirstOneOf(benchmark::State& state) {
  int index = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(qor::string_find_first_one_of(English(), Words(), index));
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(English().size()));
}
BENCHMARK(BM_FirstOneOf);

// What a caller would write by hand: every word over the whole text with std::string::find.
void BM_FirstOneOfByHand(benchmark::State& state) {
  for (auto _ : state) {
    std::size_t best = std::string::npos;
    for (const std::string& w : Words()) best = std::min(best, English().find(w));
    benchmark::DoNotOptimize(best);
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(English().size()));
}
BENCHMARK(BM_FirstOneOfByHand);

void BM_SeqFind(benchmark::State& state) {
  unsigned int index = 0;
  for (auto _ : state) benchmark::DoNotOptimize(qor::string_seq_find(English(), Words(), index));
}
BENCHMARK(BM_SeqFind);

void BM_FindLongestFirst(benchmark::State& state) {
  unsigned int index = 0;
  for (auto _ : state) benchmark::DoNotOptimize(qor::string_find(English(), Words(), index, 2));
}
BENCHMARK(BM_FindLongestFirst);

}  // namespace
