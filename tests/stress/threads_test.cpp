// Every function family from 8 threads at once: each thread runs all the jobs over and over on
// inputs of its own (so that a buffer or facet the threads share shows as a wrong result) and must
// get what the same job gave on one thread first. Built under ThreadSanitizer in CI, where it also
// shows any data race in the library.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"
#include "test_util.h"

using namespace qor;
using qor_test::Hex;

namespace {

constexpr std::size_t kThreads = 8;

// A job's results joined into one text, so that its whole outcome compares at once.
template <class... T>
std::string Join(const T&... parts) {
  std::ostringstream os;
  ((os << parts << '|'), ...);
  return os.str();
}

// One job per group of families, given the thread's number `t`, which picks its inputs.
std::vector<std::function<std::string(std::size_t)>> Jobs(const std::string& path_prefix) {
  const std::string utf8 =
      qor_test::Corpus("mars-japanese.utf8.txt").substr(0, 3000) + '\0' + '\xC3';
  const std::string latin = qor_test::Corpus("mars-german.utf8.txt").substr(0, 3000);
  const std::wstring wide = string_utf8_to_wstring(qor_test::Corpus("mars-chinese.utf8.txt"));
  // The Unicode names, locales with one- and two-element characters, and a name without a locale.
  const std::vector<std::string> encodings({"utf-8", "utf-16", "utf-8-16", "de_DE.UTF-8",
                                            "zh_HK.BIG5-HKSCS", "ja_JP.SHIFT_JISX0213",
                                            "zh_TW.BIG5", "qor-no-such-locale"});
  return {
      [=](std::size_t t) {  // the codec, the Unicode conversions and classification
        const std::string text = utf8.substr(t);
        return Join(Hex(utf8_to_wchar(text)), wchar_to_utf8(wide.substr(t)),
                    to_utf8(to_utf16(text)), string_is_utf8_string(text),
                    string_utf8_to_ascii(text, "de_DE.UTF-8"));
      },
      [=](std::size_t t) {  // conversions by name, each encoding shared by two threads
        std::string all;
        for (const std::string& name : {encodings[t], encodings[(t + 1) % kThreads]}) {
          const std::string narrow = string_wstring_to_string(wide.substr(t, 400), name);
          all += Join(narrow, Hex(string_string_to_wstring(narrow, name)),
                      Hex(string_string_to_wstring(utf8.substr(t, 500), name)));
        }
        return all;
      },
      [=](std::size_t t) {  // files, each thread on its own path
        const std::string path = path_prefix + std::to_string(t);
        const bool written = write_file(path, "\xFF\xFE" + latin.substr(t));
        const std::string all = Join(written, dump_file(path), Hex(dump_utf16_file(path)));
        std::remove(path.c_str());
        return all;
      },
      [=](std::size_t t) {  // comparison and search
        const std::string text = latin.substr(t);
        unsigned int index = 0;
        int first = 0;
        return Join(string_containsIgnoreCase(text, "MARS"), string_diff(text, utf8, true),
                    string_compare_one_of(text, {"z", text}, true), string_find(text, "the", false),
                    string_find(text, {"Mars", "the", text.substr(9, 3)}, index, 2), index,
                    string_find_first_one_of(text, {"planet", text.substr(t, 2)}, first), first);
      },
      [=](std::size_t t) {  // replace, trim, formatting, parsing and the builders
        std::string text = "  " + latin.substr(t) + "..", built;
        string_replace(text, "the", "THE");
        std::vector<std::string> tokens;
        const int count = stringarray_builder_by_splittoken(text, tokens, " ,.");
        for (const std::string& token : tokens) built += token + '|';
        return Join(trim_both(text, " ."), count, string_builder_by_range(built, "azAZ09", 3),
                    built, format_astring("%zu-%s-%.3f", t, latin.c_str() + t, 2.5),
                    Hex(format_wstring(L"%ls %zu", wide.c_str() + t, t)),
                    string_to_double("1.5e" + std::to_string(t)));
      },
  };
}

TEST(Threads, EveryFamilyAtOnceGivesTheSingleThreadResults) {
  setenv("LOCPATH", QORSTL_TEST_LOCALE_DIR, 0);  // before any thread starts
  const auto jobs = Jobs(::testing::TempDir() + "qorstl-threads-" + std::to_string(getpid()) + "-");
  std::vector<std::vector<std::string>> expected(kThreads);
  for (std::size_t t = 0; t < kThreads; ++t)
    for (const auto& job : jobs) expected[t].push_back(job(t));
  // Each thread goes through its jobs at least twice, starting at another job than its
  // neighbours, and on until the time is up.
  const auto stop = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  std::vector<std::vector<int>> mismatches(kThreads, std::vector<int>(jobs.size()));
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (std::size_t n = 0; n < 2 * jobs.size() || std::chrono::steady_clock::now() < stop; ++n) {
        const std::size_t j = (n + t) % jobs.size();
        mismatches[t][j] += jobs[j](t) != expected[t][j];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  // Per thread, the number of runs of each job that gave another result.
  EXPECT_EQ(mismatches, decltype(mismatches)(kThreads, std::vector<int>(jobs.size())));
}

}  // namespace
