// Tests of whole-file reading and writing, on files made in a fresh temporary directory.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

// Reads a whole stream (a file or a pipe) with the C library; "<none>" when it cannot be opened.
std::string ReadAll(std::FILE* f, bool is_pipe) {
  if (f == nullptr) return "<none>";
  std::string bytes;
  char buffer[4096];
  for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, f)) > 0;)
    bytes.append(buffer, got);
  is_pipe ? pclose(f) : std::fclose(f);
  return bytes;
}
std::string Read(const std::string& path) {
  return ReadAll(std::fopen(path.c_str(), "rb"), false);
}

class WholeFile : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(mkdtemp(&dir_[0]), nullptr); }
  void TearDown() override {
    for (const std::string& path : made_) std::remove(path.c_str());
    rmdir(dir_.c_str());
  }
  // A file holding `bytes`, written with the C library, removed after the test.
  std::string Make(const std::string& bytes) {
    made_.push_back(dir_ + "/f" + std::to_string(made_.size()));
    std::FILE* f = std::fopen(made_.back().c_str(), "wb");
    EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), f), bytes.size());
    std::fclose(f);
    return made_.back();
  }
  std::string dir_ = ::testing::TempDir() + "qorstl_file_XXXXXX";
  std::vector<std::string> made_;
};

TEST_F(WholeFile, DumpFileAddsOneZeroByte) {
  const std::string z(1, '\0');
  const std::string cases[][2] = {
      {"", ""}, {"abc", "abc" + z}, {z, z + z}, {"\xFF\r\n", "\xFF\r\n" + z}};
  for (const auto& c : cases) EXPECT_EQ(qor::dump_file(Make(c[0])), c[1]) << c[0];
  std::string big(3u << 20, 'b');
  for (std::size_t k = 0; k < big.size(); k += 4093) big[k] = static_cast<char>(k);
  EXPECT_TRUE(qor::dump_file(Make(big)) == big + z);
  EXPECT_EQ(qor::dump_file(dir_ + "/missing"), "");
  std::FILE* pipe = popen("printf abc", "r");  // a stream that cannot seek
  EXPECT_EQ(qor::dump_file("/dev/fd/" + std::to_string(fileno(pipe))), "");
  pclose(pipe);
}

TEST_F(WholeFile, DumpUtf16File) {
  // clang-format off
  const struct { std::string bytes; std::wstring units; } cases[] = {
      {std::string("\xFF\xFE" "A\0B\0", 6), L"AB"}, {std::string("\xFE\xFF\0A\0B", 6), L"AB"},
      {"\xFF\xFE", L""}, {"\xFF", L""}, {"", L""}, {std::string("A\0B\0", 4), L""},
      {"\xEF\xBB\xBF" "ab", L""}, {std::string("\xFF\xFE" "A\0B", 5), L"AB"},
      {std::string("\xFE\xFF\0A" "B", 5), {0x41, 0x4200}},
      {std::string("\xFF\xFE\x3D\xD8\0\xDE", 6), {0xD83D, 0xDE00}}, {"\xFE\xFF\xFF\xFE", {0xFFFE}}};
  // clang-format on
  for (const auto& c : cases) {
    const std::wstring got = qor::dump_utf16_file(Make(c.bytes));
    EXPECT_EQ(std::vector<int>(got.begin(), got.end()),
              std::vector<int>(c.units.begin(), c.units.end()))
        << ::testing::PrintToString(c.bytes);
  }
}

// iconv decodes the corpus; its code points are split back into UTF-16 units for the comparison.
TEST_F(WholeFile, CorpusAgreesWithIconv) {
  for (const std::string name : {"mars-english.utf16le-bom.txt", "mars-chinese.utf16le-bom.txt"}) {
    const std::string path = QORSTL_CORPUS_DIR "/" + name, bytes = Read(path);
    if (bytes == "<none>") GTEST_SKIP() << "corpus file missing: " << path;
    const std::string utf32 =
        ReadAll(popen(("iconv -f UTF-16 -t UTF-32LE '" + path + "'").c_str(), "r"), true);
    ASSERT_TRUE(!utf32.empty() && utf32.size() % 4 == 0) << "iconv failed on " << path;
    std::wstring expected;
    for (std::size_t i = 0; i < utf32.size(); i += 4) {
      const auto* b = reinterpret_cast<const unsigned char*>(&utf32[i]);
      const long cp = b[0] | b[1] << 8 | b[2] << 16 | long(b[3]) << 24;
      if (cp >= 0x10000)
        expected += {wchar_t(0xD800 + ((cp - 0x10000) >> 10)), wchar_t(0xDC00 + (cp & 0x3FF))};
      else
        expected += wchar_t(cp);
    }
    EXPECT_TRUE(qor::dump_utf16_file(path) == expected) << name;
    std::string swapped = bytes;  // the same text, big-endian
    for (std::size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
    EXPECT_TRUE(qor::dump_utf16_file(Make(swapped)) == expected) << name;
  }
}

TEST_F(WholeFile, WriteFile) {
  const std::string path = Make("old contents"), z(1, '\0');
  for (const std::string& content : {"a" + z + "\xFF", std::string(), std::string("abc")}) {
    EXPECT_TRUE(qor::write_file(path, content));
    EXPECT_EQ(Read(path), content);  // the whole contents replaced
  }
  EXPECT_TRUE(qor::write_file(path, qor::dump_file(path)));  // the added zero byte is written too
  EXPECT_EQ(Read(path), "abc" + z);
  EXPECT_TRUE(qor::write_file(Make("") + z + "tail", "z"));  // the path ends at its zero byte
  EXPECT_EQ(Read(made_.back()), "z");
  EXPECT_FALSE(qor::write_file(dir_ + "/missing/file", "x"));
  EXPECT_EQ(Read(dir_ + "/missing"), "<none>");
  EXPECT_FALSE(qor::write_file(dir_, "x"));
}

}  // namespace
