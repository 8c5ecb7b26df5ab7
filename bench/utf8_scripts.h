// The five scripts the UTF-8 benchmarks measure, each a text of the corpus beside the project.
#ifndef QORSTL_BENCH_UTF8_SCRIPTS_H_
#define QORSTL_BENCH_UTF8_SCRIPTS_H_

#include <fstream>
#include <iterator>
#include <string>

namespace qor_bench {

struct Script {
  const char* name;
  const char* file;
};
constexpr Script kScripts[] = {{"ASCII", "mars-english.utf8.txt"},
                               {"Latin", "mars-french.utf8.txt"},
                               {"Cyrillic", "mars-russian.utf8.txt"},
                               {"CJK", "mars-chinese.utf8.txt"},
                               {"emoji", "lipsum-emoji.utf8.txt"}};
constexpr int kScriptCount = static_cast<int>(sizeof kScripts / sizeof kScripts[0]);

// The corpus file's bytes, or the empty string when it is absent.
inline std::string ReadCorpus(const char* file) {
  std::ifstream in(std::string(QORSTL_CORPUS_DIR) + "/" + file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace qor_bench

#endif  // QORSTL_BENCH_UTF8_SCRIPTS_H_
