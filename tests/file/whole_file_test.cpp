// Tests of whole-file reading and writing, on files in a fresh temporary directory.
#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "qor/qorstl.h"
#include "test_util.h"

using namespace qor_test;

struct WholeFile : ::testing::Test {
  void TearDown() override { std::filesystem::remove_all(dir); }
  std::string dir = ::testing::TempDir() + "qorstl_file_XXXXXX";
  const std::string f = mkdtemp(&dir[0]) ? dir + "/f" : "<no directory>";  // the file written
};

// Each content is written over the previous one and read back, then read by dump_file (one zero
// byte added) and by dump_utf16_file.
TEST_F(WholeFile, WriteAndDump) {
  // clang-format off
  const struct { std::string bytes; std::wstring units; } cases[] = {
      {"abc", L""}, {"", L""}, {std::string("\0\xFF", 2), L""}, {"\xFF\xFE", L""}, {"\xFE", L""},
      {std::string("\xFF\xFE" "A\0B\0", 6), L"AB"}, {std::string("\xFE\xFF\0A\0B", 6), L"AB"},
      {"\xFF\xFE" "A", L"A"}, {"\xFE\xFF" "A", W({0x4100})}, {"\xFF\xFE\x3D\xD8", W({0xD83D})}};
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_TRUE(qor::write_file(f, c.bytes) && ReadFile(f) == c.bytes) << Hex(c.bytes);
    EXPECT_EQ(qor::dump_file(f) + Hex(qor::dump_utf16_file(f)),
              (c.bytes.empty() ? "" : c.bytes + '\0') + Hex(c.units));
  }
  EXPECT_FALSE(qor::write_file(dir + "/missing/f", "x"));
  EXPECT_EQ(qor::dump_file(dir + "/missing") + Hex(qor::dump_utf16_file(dir + "/missing")), "[]");
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
  EXPECT_TRUE(units.size() > 4 && units == ReadFile(f));
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
