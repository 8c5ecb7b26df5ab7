// Tests of whole-file reading and writing, on files in a fresh temporary directory.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <random>

#include <gtest/gtest.h>

#include "qor/qorstl.h"
#include "test_util.h"

using namespace std::string_literals;
using namespace qor_test;

namespace {

struct WholeFile : ::testing::Test {
  void TearDown() override { std::filesystem::remove_all(dir); }
  std::string dir = ::testing::TempDir() + "qorstl_file_XXXXXX";
  const std::string f = mkdtemp(&dir[0]) ? dir + "/f" : "<no directory>";  // the file written

  // Puts exactly `bytes` in the file, without the library.
  void Put(const std::string& bytes) const {
    std::ofstream(f, std::ios::binary | std::ios::trunc) << bytes;
    ASSERT_EQ(ReadFile(f), bytes) << "could not prepare " << f;
  }
};

// Each content is written over the previous one, longer and shorter, and must be all the file
// holds.
TEST_F(WholeFile, WriteFileReplacesTheWholeFile) {
  for (const std::string& content : {"abc"s, ""s, "\0\xFF\0"s, "x"s, std::string(70000, '\xE9')}) {
    EXPECT_TRUE(qor::write_file(f, content)) << Hex(content.substr(0, 8));
    EXPECT_EQ(ReadFile(f), content) << Hex(content.substr(0, 8));
  }
  // clang-format off
  const struct { std::string path; const char* why; } failures[] = {
      {dir + "/missing/f", "a directory that does not exist"},
      {dir, "a directory"},
      {"", "an empty path"},
  };
  // clang-format on
  for (const auto& c : failures) EXPECT_FALSE(qor::write_file(c.path, "x")) << c.why;
  EXPECT_FALSE(std::filesystem::exists(dir + "/missing"));
}

// The file's bytes and one zero byte; nothing for a missing or empty file.
TEST_F(WholeFile, DumpFileAddsOneZeroByte) {
  // clang-format off
  const struct { std::string bytes, result; } cases[] = {
      {"abc", "abc\0"s},
      {"", ""},
      {"\0"s, "\0\0"s},
      {"\0\xFF"s, "\0\xFF\0"s},
  };
  // clang-format on
  for (const auto& c : cases) {
    Put(c.bytes);
    EXPECT_EQ(qor::dump_file(f), c.result) << Hex(c.bytes);
  }
  EXPECT_EQ(qor::dump_file(dir + "/missing"), "");
  Put("abc");
  ASSERT_TRUE(qor::write_file(f, qor::dump_file(f)));
  EXPECT_EQ(ReadFile(f), "abc\0"s);  // read and written back: one byte longer
}

// UTF-16 units after a byte-order mark, one per element; an odd last byte pairs with the zero byte
// that dump_file adds.
TEST_F(WholeFile, DumpUtf16FileDecodesTheUnitsAfterTheMark) {
  // clang-format off
  const struct { std::string bytes; std::wstring units; } cases[] = {
      {"\xFF\xFE" "A\0B\0"s, L"AB"},
      {"\xFE\xFF\0A\0B"s, L"AB"},
      {"\xFF\xFE" "A\0B"s, L"AB"},  // odd length, little-endian: the zero is the high byte
      {"\xFE\xFF\0A" "B"s, W({0x41, 0x4200})},  // big-endian: the zero is the low byte
      {"\xFF\xFE" "A", L"A"},
      {"\xFF\xFE\x3D\xD8\x00\xDE"s, W({0xD83D, 0xDE00})},  // surrogates not combined
      {"\xFE\xFF\0\0\xFE\xFF"s, W({0, 0xFEFF})},  // zero units and later marks are units
      {"\xFF\xFE", L""},  // only the mark
      {"", L""},
      {"abc", L""},  // no mark
      {"\xEF\xBB\xBF" "A", L""},  // the UTF-8 mark is none
  };
  // clang-format on
  for (const auto& c : cases) {
    Put(c.bytes);
    EXPECT_EQ(qor::dump_utf16_file(f), c.units) << Hex(c.bytes);
  }
  EXPECT_EQ(qor::dump_utf16_file(dir + "/missing"), L"");
}

// The corpus text lies in the BMP, so its UTF-16 units are its code points: written as UTF-32LE,
// they must be what iconv gives.
TEST_F(WholeFile, CorpusAgreesWithIconv) {
  const std::string path = QORSTL_TEST_DATA_DIR "/mars-chinese.utf16le-bom.txt";
  ASSERT_FALSE(ReadFile(path).empty()) << path << " missing";
  if (std::system("iconv --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no iconv program";
  ASSERT_EQ(std::system(("iconv -f UTF-16 -t UTF-32LE '" + path + "' >" + f).c_str()), 0);
  std::string units;
  for (wchar_t unit : qor::dump_utf16_file(path))
    for (int shift = 0; shift < 32; shift += 8) units += char(std::uint32_t(unit) >> shift);
  const std::string expected = ReadFile(f);
  EXPECT_GT(expected.size(), 4u);
  EXPECT_EQ(units.size(), expected.size());
  EXPECT_TRUE(units == expected) << "the units differ from iconv's";  // not printed: long
}

// Files of a megabyte and more are read in chunks: sizes around the chunk and around the size at
// which chunked reading starts must all come back whole, zero bytes included, with one zero added.
TEST_F(WholeFile, LargeFilesComeBackWhole) {
  std::mt19937 rng(5);
  for (std::size_t size : {(1u << 20) - 1, 1u << 20, (1u << 20) + (1u << 18), (3u << 20) + 7}) {
    std::string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(rng() % 4 ? rng() : 0);
    ASSERT_TRUE(qor::write_file(f, bytes));
    const std::string read = qor::dump_file(f);
    EXPECT_EQ(read.size(), size + 1) << size;
    EXPECT_TRUE(read.compare(0, size, bytes) == 0) << size;
    EXPECT_EQ(read.back(), '\0') << size;
  }
}
}  // namespace
