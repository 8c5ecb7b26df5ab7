// Tests of whole-file reading and writing, on files made in a fresh temporary directory.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

class WholeFile : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = ::testing::TempDir() + "qorstl_file_XXXXXX";
    ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    for (const std::string& path : made_) std::remove(path.c_str());
    rmdir((dir_ + "/missing").c_str());
    rmdir(dir_.c_str());
  }

  // A path inside the temporary directory, removed after the test.
  std::string Path(const std::string& name) {
    made_.push_back(dir_ + "/" + name);
    return made_.back();
  }

  // Writes `bytes` with the C library directly, independently of write_file.
  std::string Make(const std::string& name, const std::string& bytes) {
    const std::string path = Path(name);
    std::FILE* f = std::fopen(path.c_str(), "wb");
    EXPECT_NE(f, nullptr) << path;
    if (f != nullptr) {
      EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), f), bytes.size());
      std::fclose(f);
    }
    return path;
  }

  static std::string Read(const std::string& path) {
    std::string bytes;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return "<missing>";
    char buffer[4096];
    std::size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, f)) > 0) bytes.append(buffer, got);
    std::fclose(f);
    return bytes;
  }

  std::string dir_;
  std::vector<std::string> made_;
};

TEST_F(WholeFile, DumpFileAddsOneZeroByte) {
  struct Case {
    std::string bytes, result;
  };
  const Case cases[] = {
      {"", ""},  // empty file: no zero byte
      {"abc", std::string("abc\0", 4)},
      {std::string(1, '\0'), std::string(2, '\0')},
      {std::string("\xFF\0\x80\n", 4), std::string("\xFF\0\x80\n\0", 5)},
      {"line\r\n", std::string("line\r\n\0", 7)},  // binary mode: no newline translation
  };
  int i = 0;
  for (const Case& c : cases) {
    const std::string path = Make("dump" + std::to_string(i++), c.bytes);
    EXPECT_EQ(qor::dump_file(path), c.result) << c.bytes;
  }
  std::string big(3u << 20, '\0');
  for (std::size_t k = 0; k < big.size(); ++k) big[k] = static_cast<char>(k * 7919 % 251);
  EXPECT_TRUE(qor::dump_file(Make("big", big)) == big + std::string(1, '\0'));
  EXPECT_EQ(qor::dump_file(dir_ + "/missing_file"), "");
  EXPECT_EQ(qor::dump_file(""), "");
}

TEST_F(WholeFile, DumpFileOfAStreamThatCannotSeek) {
  std::FILE* pipe = popen("printf abc", "r");
  ASSERT_NE(pipe, nullptr);
  const std::string path = "/dev/fd/" + std::to_string(fileno(pipe));
  EXPECT_EQ(qor::dump_file(path), "");
  pclose(pipe);
}

TEST_F(WholeFile, DumpUtf16File) {
  struct Case {
    std::string bytes;
    std::wstring units;
  };
  const Case cases[] = {
      {std::string("\xFF\xFE"
                   "A\0B\0",
                   6),
       L"AB"},
      {std::string("\xFE\xFF\0A\0B", 6), L"AB"},
      {"\xFF\xFE", L""},                // only the mark
      {"\xFF", L""},                    // one byte
      {"", L""},                        // empty
      {std::string("A\0B\0", 4), L""},  // no mark
      {"\xEF\xBB\xBF"
       "abc",
       L""},  // UTF-8 mark
      {std::string("\xFF\xFE"
                   "A\0B",
                   5),
       L"AB"},  // odd: last byte is the low byte
      {std::string("\xFE\xFF\0A"
                   "B",
                   5),
       std::wstring{0x41, 0x4200}},  // odd: the high byte
      {std::string("\xFF\xFE\x3D\xD8\0\xDE", 6),
       std::wstring{0xD83D, 0xDE00}},  // surrogates stay apart
      {std::string("\xFF\xFE\0\0\xFF\xFF\xFE\xFF", 8), std::wstring{0, 0xFFFF, 0xFFFE}},
      {std::string("\xFE\xFF\xFF\xFE\xD8\x00", 6), std::wstring{0xFFFE, 0xD800}},
      {"\xFF\xFE\x41", std::wstring{0x41}},  // three bytes: one unit with the added zero byte
      {"\xFE\xFF\x41", std::wstring{0x4100}},
  };
  int i = 0;
  for (const Case& c : cases) {
    const std::string path = Make("utf16_" + std::to_string(i++), c.bytes);
    const std::wstring got = qor::dump_utf16_file(path);
    EXPECT_EQ(std::vector<wchar_t>(got.begin(), got.end()),
              std::vector<wchar_t>(c.units.begin(), c.units.end()))
        << "case " << i - 1;
  }
  EXPECT_EQ(qor::dump_utf16_file(dir_ + "/missing_file"), L"");
}

// Reads a whole pipe into a string.
std::string Capture(const std::string& command) {
  std::string bytes;
  std::FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return bytes;
  char buffer[4096];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) bytes.append(buffer, got);
  pclose(pipe);
  return bytes;
}

// The platform's iconv decodes the corpus files; its code points are split back into UTF-16 units
// to compare with dump_utf16_file, which keeps surrogate pairs apart.
TEST_F(WholeFile, CorpusAgreesWithIconv) {
  for (const char* name : {"mars-english.utf16le-bom.txt", "mars-chinese.utf16le-bom.txt"}) {
    const std::string path = std::string(QORSTL_CORPUS_DIR) + "/" + name;
    if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
      std::fclose(f);
    } else {
      GTEST_SKIP() << "corpus file missing: " << path;
    }
    const std::string utf32 = Capture("iconv -f UTF-16 -t UTF-32LE '" + path + "'");
    ASSERT_FALSE(utf32.empty()) << "iconv gave nothing for " << path;
    ASSERT_EQ(utf32.size() % 4, 0u);
    std::wstring expected;
    for (std::size_t i = 0; i < utf32.size(); i += 4) {
      const auto* b = reinterpret_cast<const unsigned char*>(utf32.data() + i);
      const unsigned long cp =
          b[0] | b[1] << 8 | b[2] << 16 | static_cast<unsigned long>(b[3]) << 24;
      if (cp >= 0x10000) {
        expected.push_back(static_cast<wchar_t>(0xD800 + ((cp - 0x10000) >> 10)));
        expected.push_back(static_cast<wchar_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
      } else {
        expected.push_back(static_cast<wchar_t>(cp));
      }
    }
    const std::wstring little = qor::dump_utf16_file(path);
    EXPECT_TRUE(little == expected)
        << name << ": " << little.size() << " units, iconv " << expected.size();
    // The same text in big-endian order.
    std::string swapped = Read(path);
    for (std::size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
    EXPECT_TRUE(qor::dump_utf16_file(Make(std::string(name) + ".be", swapped)) == expected) << name;
  }
}

TEST_F(WholeFile, WriteFile) {
  const std::string path = Path("written");
  EXPECT_TRUE(qor::write_file(path, std::string("a\0b\xFF", 4)));
  EXPECT_EQ(Read(path), std::string("a\0b\xFF", 4));
  EXPECT_TRUE(qor::write_file(path, "x"));  // replaces the whole contents
  EXPECT_EQ(Read(path), "x");
  EXPECT_TRUE(qor::write_file(path, ""));
  EXPECT_EQ(Read(path), "");
  // Reading and writing back adds the zero byte to the file.
  EXPECT_TRUE(qor::write_file(path, "abc"));
  EXPECT_TRUE(qor::write_file(path, qor::dump_file(path)));
  EXPECT_EQ(Read(path), std::string("abc\0", 4));
  // The path ends at its first zero byte.
  const std::string cut = Path("cut");
  EXPECT_TRUE(qor::write_file(cut + std::string("\0tail", 5), "z"));
  EXPECT_EQ(Read(cut), "z");
}

TEST_F(WholeFile, WriteFileThatCannotOpen) {
  const std::string in_missing_dir = dir_ + "/missing/file";
  EXPECT_FALSE(qor::write_file(in_missing_dir, "x"));
  EXPECT_EQ(Read(in_missing_dir), "<missing>");
  EXPECT_EQ(Read(dir_ + "/missing"), "<missing>");
  EXPECT_FALSE(qor::write_file(dir_, "x"));  // a directory
  EXPECT_FALSE(qor::write_file("", "x"));
}

}  // namespace
