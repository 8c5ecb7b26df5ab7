// Inputs past 2^31 and 2^32 bytes: lengths and counts reported as 32-bit ints, positions past the
// int range, formatting at the int limit and files of more than 2^31 bytes (sparse where they are
// only read). Needs about 6 GiB of memory and 2 GiB of disk; built with -DQORSTL_LARGE_TESTS=ON and
// run with `ctest -L large`.
#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

using namespace qor;

namespace {

constexpr std::size_t k2G = std::size_t{1} << 31, k4G = std::size_t{1} << 32;

// A temporary file of the test, removed on the way out.
struct TempFile {
  std::string path = ::testing::TempDir() + "qorstl-large-" + std::to_string(getpid());
  ~TempFile() { std::remove(path.c_str()); }
};

// Lengths and the builders' counts reach callers as the low 32 bits read as a signed int:
// negative from 2^31 on, wrapped at 2^32. One string serves every row, resized in place.
TEST(Large, LengthsAndCountsAsInt) {
  // clang-format off
  const struct { std::size_t length; int as_int, negated; char first, last; int count; } cases[] = {
      {k2G - 2, INT_MAX - 1, INT_MIN + 2, 'a', 'a', INT_MAX},
      {k2G - 1, INT_MAX, INT_MIN + 1, 'a', 'b', INT_MIN + 1},
      {k2G, INT_MIN, INT_MIN, 'a', 'z', INT_MIN + 26},
      {k4G - 1, -1, 1, 'a', 'z', 25},
      {k4G + 3, 3, -3, 'a', 'c', 6},
  };
  // clang-format on
  std::string text;
  text.reserve(k4G + 64);
  const char* const null = nullptr;
  for (const auto& c : cases) {
    text.resize(c.length, 'a');
    EXPECT_EQ(string_compare(text, null, true), c.as_int) << c.length;
    EXPECT_EQ(string_compare(null, text, true), c.negated) << c.length;
    EXPECT_EQ(string_diff(text, std::string(), true), c.as_int) << c.length;
    EXPECT_EQ(string_diff(null, text, false), c.negated) << c.length;
    // The builder's count is the size after the call.
    EXPECT_EQ(string_builder_by_char(text, c.first, c.last), c.count) << c.length;
    EXPECT_EQ(text.back(), c.last) << c.length;
  }
  text.assign(k2G + 1, ' ');
  text += "ab";
  std::vector<std::string> tokens(2, "old");
  EXPECT_EQ(stringarray_builder_by_splittoken(text, tokens, " "), 3);
  EXPECT_EQ(tokens.back(), "ab");
  text.resize(k4G - 10);
  EXPECT_EQ(string_builder_by_range(text, "az09", 2), 26);  // 2^32 - 10 + 36
}

// Searches report positions past the int range whole, and the winner's place in `index`.
TEST(Large, PositionsPastInt) {
  const std::size_t zz = k2G - 1, needle = k2G + 4;
  std::string text(k2G + 16, 'a');
  text.replace(zz, 2, "zz");
  text.replace(needle, 6, "needle");
  const std::vector<std::string> patterns = {"q", "needle", "zz"};
  unsigned int seq_index = 99;
  int first_index = 99;
  EXPECT_EQ(string_seq_find(text, patterns, seq_index), needle);
  EXPECT_EQ(seq_index, 1u);
  EXPECT_EQ(string_find_first_one_of(text, patterns, first_index), zz);
  EXPECT_EQ(first_index, 2);
  EXPECT_EQ(string_find(text, "needle", false), needle + 6);
  string_replace(text, "needle", "pin");
  EXPECT_EQ(text.substr(needle - 1, 5), "apina");
  EXPECT_EQ(trim_right(text, "a").size(), needle + 3);
}

// The narrow formatter's length and its terminator are counted in an int: 2^31 - 2 bytes of
// output are the most it gives; one more is the allocation error.
TEST(Large, FormatAtTheIntLimit) {
  const std::string most = format_astring("%2147483646d", 7);
  EXPECT_EQ(most.size(), std::size_t{INT_MAX} - 1);
  EXPECT_EQ(most.find_first_not_of(' '), most.size() - 1);
  EXPECT_THROW(format_astring("%2147483647d", 7), std::bad_alloc);
}

// Files just under and over 2^31 bytes are read whole, the longer one also as UTF-16 (sparse, so
// nothing is written but the marks at both ends), and one over 2^31 bytes is written whole.
TEST(Large, FilesPastInt) {
  const TempFile file;
  for (const std::size_t length : {k2G - 2, k2G + 3}) {
    const int fd = open(file.path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
    ASSERT_EQ(pwrite(fd, "\xFF\xFE\x41", 3, 0), 3);
    ASSERT_EQ(pwrite(fd, "\x41\x42\x43", 3, static_cast<off_t>(length - 3)), 3);
    close(fd);
    std::string bytes = dump_file(file.path);
    ASSERT_EQ(bytes.size(), length + 1) << length;
    EXPECT_EQ(bytes.substr(length - 3), std::string("ABC\0", 4)) << length;
    bytes = std::string();
    if (length < k2G) continue;
    const std::wstring units = dump_utf16_file(file.path);
    ASSERT_EQ(units.size(), (length + 1) / 2 - 1) << length;
    EXPECT_EQ(units.back(), static_cast<wchar_t>(length % 2 ? 0x43 : 0x4342)) << length;
  }
  std::string content(k2G + 8, '\0');
  content.replace(content.size() - 4, 4, "tail");
  EXPECT_TRUE(write_file(file.path, content));
  content = std::string();
  EXPECT_EQ(dump_file(file.path).substr(k2G), std::string("\0\0\0\0tail\0", 9));
}

}  // namespace
