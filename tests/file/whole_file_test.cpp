// Tests of whole-file reading and writing, on files in a fresh temporary directory.
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
};

// Each row is written over the previous one, longer or shorter, and must be all the file holds.
// dump_file gives the file's bytes and one zero byte, nothing for a missing or empty file;
// dump_utf16_file the UTF-16 units after a byte-order mark, one per element, where an odd last byte
// pairs with the zero byte that dump_file adds.
TEST_F(WholeFile, WriteAndReadBack) {
  // clang-format off
  const struct { std::string bytes; std::wstring units; } cases[] = {
      {"abc", L""},  // no mark
      {"", L""},
      {"\0"s, L""},
      {"\xEF\xBB\xBF" "A", L""},  // the UTF-8 mark is none
      {"\xFF\xFE", L""},  // only the mark
      {"\xFE\xFF\0A\0B"s, L"AB"},
      {"\xFF\xFE" "A\0B"s, L"AB"},  // odd length, little-endian: the zero is the high byte
      {"\xFE\xFF\0A" "B"s, W({0x41, 0x4200})},  // big-endian: the zero is the low byte
      {"\xFF\xFE\x3D\xD8\x00\xDE"s, W({0xD83D, 0xDE00})},  // surrogates not combined
      {"\xFE\xFF\0\0\xFE\xFF\xFF"s, W({0, 0xFEFF, 0xFF00})},  // zero units and later marks are units
  };
  // clang-format on
  for (const auto& c : cases) {
    ASSERT_TRUE(qor::write_file(f, c.bytes)) << Hex(c.bytes);
    EXPECT_EQ(ReadFile(f), c.bytes) << Hex(c.bytes);
    EXPECT_EQ(qor::dump_file(f), c.bytes.empty() ? "" : c.bytes + '\0') << Hex(c.bytes);
    EXPECT_EQ(qor::dump_utf16_file(f), c.units) << Hex(c.bytes);
  }
  EXPECT_EQ(qor::dump_file(dir + "/missing"), "");
  EXPECT_EQ(qor::dump_utf16_file(dir + "/missing"), L"");
  // A directory that does not exist, a directory, an empty path.
  for (const std::string& path : {dir + "/missing/f", dir, ""s})
    EXPECT_FALSE(qor::write_file(path, "x")) << path;
  EXPECT_FALSE(std::filesystem::exists(dir + "/missing"));
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
