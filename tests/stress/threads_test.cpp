// Every function family from 8 threads at once: each thread runs all the jobs over and over and
// must get the results a single thread got first. Built under ThreadSanitizer in CI, where it also
// shows any data race in the library.
#include <unistd.h>

#include <atomic>
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

using namespace std::string_literals;
using namespace qor;
using qor_test::Hex;

namespace {

constexpr int kThreads = 8;

// Results joined into one text, so that a job's whole outcome compares at once.
struct Digest {
  std::ostringstream os;
  template <class T>
  Digest& operator<<(const T& value) {
    os << value << '|';
    return *this;
  }
  Digest& operator<<(const std::wstring& value) { return *this << Hex(value); }
  Digest& operator<<(const std::vector<std::string>& list) {
    for (const std::string& s : list) *this << s;
    return *this;
  }
};

// One job per family; the argument is the thread's number, for what must not be shared (a file).
using Job = std::function<std::string(int)>;

std::vector<Job> Jobs(const std::string& dir) {
  const std::string utf8 = qor_test::Corpus("mars-japanese.utf8.txt").substr(0, 3000) + "\0\xC3"s;
  const std::string latin = qor_test::Corpus("mars-german.utf8.txt").substr(0, 3000);
  const std::wstring wide = string_utf8_to_wstring(qor_test::Corpus("mars-chinese.utf8.txt"));
  const std::vector<std::string> patterns = {"Mars", "the", "planet", "", "zz"};
  return {
      [=](int) {  // the codec and the Unicode conversions
        std::vector<wchar_t> buffer(utf8.size());
        Digest d;
        d << utf8_to_wchar(utf8.data(), utf8.size(), buffer.data(), buffer.size(), 1)
          << utf8_to_wchar(utf8) << wchar_to_utf8(wide) << to_utf8(to_utf16(utf8))
          << to_utf16(latin) << string_utf8_wstring_to_string(wide) << string_wstring_to_utf8(wide);
        return d.os.str();
      },
      [=](int) {  // conversions by name, Unicode and locale names
        Digest d;
        for (const char* name : {"utf-8", "utf-16", "utf-8-16", "de_DE.UTF-8", "zh_HK.BIG5-HKSCS",
                                 "ja_JP.SHIFT_JISX0213", "zh_TW.BIG5", "qor-no-such-locale"}) {
          const std::string narrow = string_wstring_to_string(wide.substr(0, 400), name);
          d << narrow << string_string_to_wstring(narrow, name)
            << string_string_to_wstring(utf8.substr(0, 500), name)
            << string_wstring_to_string(L"A\u00CA\0\u00CA\u304B"s, name);
        }
        return d.os.str();
      },
      [=](int) {  // classification and the ASCII conversions
        Digest d;
        d << string_is_ascii_string(latin) << string_is_utf8_string(utf8)
          << string_is_utf16_string("\xFF\xFE\x41\x00"s)
          << string_utf8_to_ascii(latin, "de_DE.UTF-8")
          << string_ascii_to_utf8("\x88\x62\x41", "zh_HK.BIG5-HKSCS");
        return d.os.str();
      },
      [=](int thread) {  // files, each thread on its own path
        const std::string path = dir + "/file-" + std::to_string(thread);
        Digest d;
        d << write_file(path, "\xFF\xFE" + latin) << dump_file(path) << dump_utf16_file(path)
          << dump_file(path + ".missing");
        std::remove(path.c_str());
        return d.os.str();
      },
      [=](int) {  // comparison
        Digest d;
        d << (qor_strcmp("Mars", "mars", false) == 0) << (wstring_compare(wide, L"x", true) > 0)
          << string_containsIgnoreCase(latin, "MARS") << string_diff(latin, utf8, true)
          << string_diff(nullptr, latin, false) << less_len("a", "bb") << great_len("a", "bb")
          << greater("b", "a") << string_compare_one_of(latin, patterns, true);
        return d.os.str();
      },
      [=](int) {  // search and slicing
        unsigned int index = 0, index2 = 0;
        int first_index = 0;
        std::string left, right, left2, right2;
        Digest d;
        d << string_seq_find(latin, patterns, index) << index
          << string_find(latin, patterns, index2, 2) << index2
          << string_find_first_one_of(latin, patterns, first_index) << first_index
          << string_find(latin, "planet", true) << string_slice2(latin, "the", left, right) << left
          << right << string_slice_oneof2(latin, " ,.", left2, right2) << left2 << right2;
        return d.os.str();
      },
      [=](int) {  // replace, trim, formatting and parsing
        std::string replaced = latin, trimmed = "  " + latin + "..";
        string_replace(replaced, "the", "THE");
        Digest d;
        d << replaced << trim_left(trimmed, " ") << trim_right(trimmed, ".")
          << trim_both(trimmed, "M") << format_astring("%d-%s-%.3f", 42, "x", 2.5)
          << format_wstring(L"%ls %d", wide.c_str(), 3) << string_to_int("0x1F")
          << string_to_long("-77") << string_to_double("1.5e3");
        return d.os.str();
      },
      [=](int) {  // builders and the tokenizer
        std::vector<std::string> tokens;
        std::string built, ranged;
        Digest d;
        d << stringarray_builder_by_splittoken(latin, tokens, " ,.") << tokens
          << stringarray_builder_by_token("a", "", "c", static_cast<const char*>(nullptr))
          << string_builder_by_char(built, 'a', 'z') << built
          << string_builder_by_range(ranged, "azAZ09", 3) << ranged;
        return d.os.str();
      },
  };
}

TEST(Threads, EveryFamilyAtOnceGivesTheSingleThreadResults) {
  setenv("LOCPATH", QORSTL_TEST_LOCALE_DIR, 0);  // before any thread starts
  const std::string dir = ::testing::TempDir() + "qorstl-threads-" + std::to_string(getpid());
  ASSERT_EQ(system(("mkdir -p '" + dir + "'").c_str()), 0);
  const std::vector<Job> jobs = Jobs(dir);
  std::vector<std::string> expected;
  for (const Job& job : jobs) expected.push_back(job(kThreads));
  const auto stop = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  std::atomic<int> mismatches{0}, runs{0}, first_bad{-1};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      // At least two rounds each, every thread starting at another job.
      for (int round = 0; round < 2 || std::chrono::steady_clock::now() < stop; ++round) {
        for (std::size_t i = 0; i < jobs.size(); ++i) {
          const std::size_t j = (i + static_cast<std::size_t>(t)) % jobs.size();
          if (jobs[j](t) != expected[j] && mismatches++ == 0) first_bad = static_cast<int>(j);
          ++runs;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::remove(dir.c_str());
  EXPECT_EQ(mismatches.load(), 0) << "of " << runs.load() << " job runs, first in job "
                                  << first_bad.load();
  EXPECT_GE(runs.load(), 2 * kThreads * static_cast<int>(jobs.size()));
}

}  // namespace
