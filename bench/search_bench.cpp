// Single-pattern search against memmem, and the multi-pattern searches against Hyperscan (its
// database compiled on every call and compiled once), a byte-class Aho-Corasick automaton built on
// every call, and one memmem per pattern. Rates count the bytes up to the end of the match.
#include <string.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "qor/qorstl.h"
#include "ratio_report.h"

#if defined(QORSTL_HAVE_HYPERSCAN)
#include <hs/hs.h>
#endif

namespace {

constexpr std::size_t npos = std::string::npos;

std::string ReadCorpus(const char* name) {
  std::ifstream in(std::string(QORSTL_CORPUS_DIR) + "/" + name, std::ios::binary);
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

std::size_t Memmem(const std::string& text, const std::string& pattern) {
  const void* hit = memmem(text.data(), text.size(), pattern.data(), pattern.size());
  return hit ? std::size_t(static_cast<const char*>(hit) - text.data()) : npos;
}

void SetRate(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

// ---- One pattern -------------------------------------------------------------------------------

const std::string& English() {
  static const std::string text = ReadCorpus("mars-english.utf8.txt");
  return text;
}

// A 10-byte phrase that first occurs late in the article; and a^31 b in a million 'a' then the
// pattern, where every position agrees with the pattern for 31 bytes.
struct Single {
  std::string text, pattern;
};
const Single& LateWord() {
  static const Single s{English(), "Powered by"};
  return s;
}
const Single& Adversarial() {
  static const Single s{std::string(1 << 20, 'a') + std::string(31, 'a') + "b",
                        std::string(31, 'a') + "b"};
  return s;
}

template <const Single& (*kInput)()>
void BM_SingleQor(benchmark::State& state) {
  const Single& in = kInput();
  std::size_t end = 0;
  for (auto _ : state) benchmark::DoNotOptimize(end = qor::string_find(in.text, in.pattern, false));
  SetRate(state, end);
}
template <const Single& (*kInput)()>
void BM_SingleSlice(benchmark::State& state) {
  const Single& in = kInput();
  std::string left, right;
  std::size_t pos = 0;
  for (auto _ : state) {
    // The parts are not what is measured: cut at the separator, keep only the position.
    benchmark::DoNotOptimize(pos = qor::string_slice2(in.text, in.pattern, left, right));
  }
  SetRate(state, pos + in.pattern.size());
}
template <const Single& (*kInput)()>
void BM_SingleMemmem(benchmark::State& state) {
  const Single& in = kInput();
  std::size_t pos = 0;
  for (auto _ : state) benchmark::DoNotOptimize(pos = Memmem(in.text, in.pattern));
  SetRate(state, pos + in.pattern.size());
}
BENCHMARK(BM_SingleQor<LateWord>)->Name("late_word/qor");
BENCHMARK(BM_SingleMemmem<LateWord>)->Name("late_word/memmem");
BENCHMARK(BM_SingleQor<Adversarial>)->Name("a31b_in_a1M/qor");
BENCHMARK(BM_SingleMemmem<Adversarial>)->Name("a31b_in_a1M/memmem");
BENCHMARK(BM_SingleSlice<LateWord>)->Name("slice2_late_word/qor");
BENCHMARK(BM_SingleMemmem<LateWord>)->Name("slice2_late_word/memmem");
BENCHMARK(BM_SingleSlice<Adversarial>)->Name("slice2_a31b/qor");
BENCHMARK(BM_SingleMemmem<Adversarial>)->Name("slice2_a31b/memmem");

// ---- Many patterns -----------------------------------------------------------------------------

// 1 MiB of the English article repeated, with k words that do not occur in it (taken from the
// German and French articles); the last of them is written into the text 4 KiB before its end.
struct Multi {
  std::string text;
  std::vector<std::string> words;
  std::size_t match_end;
};

Multi MakeMulti(std::size_t k) {
  Multi m;
  while (m.text.size() < (1u << 20)) m.text += English();
  m.text.resize(1u << 20);
  std::set<std::string> seen;
  for (const char* name : {"mars-german.utf8.txt", "mars-french.utf8.txt"}) {
    const std::string other = ReadCorpus(name);
    std::string word;
    for (char c : other + " ") {
      if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) {
        word += c;
        continue;
      }
      if (word.size() >= 5 && m.words.size() < k && seen.insert(word).second &&
          m.text.find(word) == npos)
        m.words.push_back(word);
      word.clear();
    }
  }
  const std::size_t at = m.text.size() - 4096;
  m.text.replace(at, m.words.back().size(), m.words.back());
  m.match_end = at + m.words.back().size();
  return m;
}

template <std::size_t kK>
const Multi& Words() {
  static const Multi m = MakeMulti(kK);
  return m;
}

template <std::size_t kK>
void BM_MultiQor(benchmark::State& state) {
  const Multi& m = Words<kK>();
  int index = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(qor::string_find_first_one_of(m.text, m.words, index));
  if (qor::string_find_first_one_of(m.text, m.words, index) + m.words.back().size() != m.match_end)
    state.SkipWithError("wrong match");
  SetRate(state, m.match_end);
}
template <std::size_t kK>
void BM_MultiSeq(benchmark::State& state) {
  const Multi& m = Words<kK>();
  unsigned index = 0;
  for (auto _ : state) benchmark::DoNotOptimize(qor::string_seq_find(m.text, m.words, index));
  SetRate(state, m.match_end);
}
template <std::size_t kK>
void BM_MultiMode2(benchmark::State& state) {
  const Multi& m = Words<kK>();
  unsigned index = 0;
  for (auto _ : state) benchmark::DoNotOptimize(qor::string_find(m.text, m.words, index, 2));
  SetRate(state, m.match_end);
}
// What a caller writes by hand: each word over the text with memmem, keeping the earliest.
template <std::size_t kK>
void BM_MultiMemmem(benchmark::State& state) {
  const Multi& m = Words<kK>();
  for (auto _ : state) {
    std::size_t best = npos;
    for (const std::string& w : m.words) best = std::min(best, Memmem(m.text, w));
    benchmark::DoNotOptimize(best);
  }
  SetRate(state, m.match_end);
}

// A plain Aho-Corasick automaton over byte classes (each byte used by a pattern its own class,
// every other byte one class), with a full transition table, built on every call; stops at the
// first match it completes.
std::size_t AhoCorasickFirstEnd(const std::string& text, const std::vector<std::string>& words) {
  std::vector<std::uint16_t> byte_class(256, 0);
  std::size_t classes = 1;
  for (const std::string& w : words)
    for (unsigned char c : w)
      if (byte_class[c] == 0) byte_class[c] = static_cast<std::uint16_t>(classes++);
  std::vector<std::int32_t> next(classes, -1);  // trie, then the full automaton
  std::vector<std::int32_t> output(1, -1);
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::size_t state = 0;
    for (unsigned char c : words[i]) {
      std::int32_t& edge = next[state * classes + byte_class[c]];
      if (edge < 0) {
        edge = std::int32_t(output.size());
        output.push_back(-1);
        next.resize(next.size() + classes, -1);
      }
      state = std::size_t(next[state * classes + byte_class[c]]);
    }
    if (output[state] < 0) output[state] = std::int32_t(i);
  }
  std::vector<std::int32_t> fail(output.size(), 0), queue;
  for (std::size_t c = 0; c < classes; ++c) {
    if (next[c] < 0)
      next[c] = 0;
    else
      queue.push_back(next[c]);
  }
  for (std::size_t head = 0; head < queue.size(); ++head) {
    const auto s = std::size_t(queue[head]);
    if (output[s] < 0) output[s] = output[std::size_t(fail[s])];
    for (std::size_t c = 0; c < classes; ++c) {
      std::int32_t& edge = next[s * classes + c];
      const std::int32_t via_fail = next[std::size_t(fail[s]) * classes + c];
      if (edge < 0) {
        edge = via_fail;
      } else {
        fail[std::size_t(edge)] = via_fail;
        queue.push_back(edge);
      }
    }
  }
  std::size_t state = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    state = std::size_t(next[state * classes + byte_class[static_cast<unsigned char>(text[i])]]);
    if (output[state] >= 0) return i + 1;
  }
  return npos;
}

template <std::size_t kK>
void BM_MultiAho(benchmark::State& state) {
  const Multi& m = Words<kK>();
  for (auto _ : state) benchmark::DoNotOptimize(AhoCorasickFirstEnd(m.text, m.words));
  if (AhoCorasickFirstEnd(m.text, m.words) != m.match_end) state.SkipWithError("wrong match");
  SetRate(state, m.match_end);
}

#if defined(QORSTL_HAVE_HYPERSCAN)
struct HsDatabase {
  hs_database_t* db = nullptr;
  hs_scratch_t* scratch = nullptr;
  explicit HsDatabase(const std::vector<std::string>& words) {
    std::vector<const char*> exprs;
    std::vector<std::size_t> lens;
    std::vector<unsigned> flags(words.size(), HS_FLAG_SINGLEMATCH), ids;
    for (std::size_t i = 0; i < words.size(); ++i) {
      exprs.push_back(words[i].data());
      lens.push_back(words[i].size());
      ids.push_back(unsigned(i));
    }
    hs_compile_error_t* error = nullptr;
    if (hs_compile_lit_multi(exprs.data(), flags.data(), ids.data(), lens.data(),
                             unsigned(words.size()), HS_MODE_BLOCK, nullptr, &db,
                             &error) != HS_SUCCESS) {
      hs_free_compile_error(error);
      db = nullptr;
      return;
    }
    hs_alloc_scratch(db, &scratch);
  }
  ~HsDatabase() {
    hs_free_scratch(scratch);
    hs_free_database(db);
  }
  std::size_t FirstEnd(const std::string& text) const {
    unsigned long long end = npos;
    hs_scan(
        db, text.data(), unsigned(text.size()), 0, scratch,
        [](unsigned, unsigned long long, unsigned long long to, unsigned, void* ctx) {
          *static_cast<unsigned long long*>(ctx) = to;
          return 1;  // stop at the first match
        },
        &end);
    return std::size_t(end);
  }
};

template <std::size_t kK>
void BM_MultiHsPerCall(benchmark::State& state) {
  const Multi& m = Words<kK>();
  for (auto _ : state) {
    const HsDatabase hs(m.words);
    benchmark::DoNotOptimize(hs.FirstEnd(m.text));
  }
  SetRate(state, m.match_end);
}
template <std::size_t kK>
void BM_MultiHsCompiled(benchmark::State& state) {
  const Multi& m = Words<kK>();
  const HsDatabase hs(m.words);
  if (hs.FirstEnd(m.text) != m.match_end) state.SkipWithError("wrong match");
  for (auto _ : state) benchmark::DoNotOptimize(hs.FirstEnd(m.text));
  SetRate(state, m.match_end);
}
#define QOR_HS_BENCH(k)                                                     \
  BENCHMARK(BM_MultiHsPerCall<k>)->Name("earliest_of_k" #k "/hs_per_call"); \
  BENCHMARK(BM_MultiHsCompiled<k>)->Name("earliest_of_k" #k "/hs_compiled");
#else
#define QOR_HS_BENCH(k)
#endif

#define QOR_MULTI_BENCH(k)                                                 \
  BENCHMARK(BM_MultiQor<k>)->Name("earliest_of_k" #k "/qor");              \
  BENCHMARK(BM_MultiSeq<k>)->Name("earliest_of_k" #k "/qor_seq_find");     \
  BENCHMARK(BM_MultiMode2<k>)->Name("earliest_of_k" #k "/qor_find_mode2"); \
  QOR_HS_BENCH(k)                                                          \
  BENCHMARK(BM_MultiAho<k>)->Name("earliest_of_k" #k "/aho_per_call");     \
  BENCHMARK(BM_MultiMemmem<k>)->Name("earliest_of_k" #k "/memmem_each");

QOR_MULTI_BENCH(1)
QOR_MULTI_BENCH(10)
QOR_MULTI_BENCH(100)

}  // namespace
