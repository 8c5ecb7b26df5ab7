// Inputs past 2^31 and 2^32 bytes: lengths and counts reported as 32-bit ints, positions past the
// int range, formatting at the int limit and files of more than 2^31 bytes (sparse where they are
// only read). Needs about 6 GiB of memory and 2 GiB of disk; built with -DQORSTL_LARGE_TESTS=ON and
// run with `ctest -L large`.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
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
  explicit TempFile(const std::string& name)
      : path(::testing::TempDir() + "qorstl-large-" + std::to_string(getpid()) + "-" + name) {}
  ~TempFile() { std::remove(path.c_str()); }
  std::string path;
};

// Lengths and the builders' counts reach callers as the low 32 bits read as a signed int:
// negative from 2^31 on, wrapped at 2^32. One string serves every row, in place.
TEST(Large, LengthsAndCountsAsInt) {
  // clang-format off
  const struct { std::size_t length; int as_int; } cases[] = {
      {k2G - 1, INT_MAX},
      {k2G, INT_MIN},
      {k2G + 5, INT_MIN + 5},
      {k4G + 3, 3},
  };
  // clang-format on
  std::string text;
  text.reserve(k4G + 64);
  for (const auto& c : cases) {
    text.resize(c.length, 'a');
    const int negated = c.as_int == INT_MIN ? INT_MIN : -c.as_int;
    EXPECT_EQ(string_compare(text, static_cast<const char*>(nullptr), true), c.as_int) << c.length;
    EXPECT_EQ(string_compare(static_cast<const char*>(nullptr), text, true), negated) << c.length;
    EXPECT_EQ(string_diff(text, std::string(), true), c.as_int) << c.length;
    EXPECT_EQ(string_diff(text, static_cast<const char*>(nullptr), true), c.as_int) << c.length;
    EXPECT_EQ(string_diff(static_cast<const char*>(nullptr), text, false), negated) << c.length;
  }
  // The builders return the size of `out` after the call, what it held before included.
  // clang-format off
  const struct { std::size_t before; char first, last; int count; } by_char[] = {
      {k2G - 3, 'a', 'b', INT_MAX},
      {k2G - 3, 'a', 'c', INT_MIN},
      {k4G - 1, 'a', 'z', 25},
  };
  // clang-format on
  std::string& out = text;
  for (const auto& c : by_char) {
    out.resize(c.before);
    EXPECT_EQ(string_builder_by_char(out, c.first, c.last), c.count) << c.before;
    EXPECT_EQ(out.size(), c.before + static_cast<std::size_t>(c.last - c.first + 1));
    EXPECT_EQ(out.back(), c.last);
  }
  out.resize(k4G - 10);
  EXPECT_EQ(string_builder_by_range(out, "az09", 2), 26);  // 2^32 - 10 + 36
  out.assign(k2G + 1, ' ');
  out += "ab";
  std::vector<std::string> tokens(2, "old");
  EXPECT_EQ(stringarray_builder_by_splittoken(out, tokens, " "), 3);
  EXPECT_EQ(tokens.back(), "ab");
}

// Searches report positions past the int range whole, and the winner's place in `index`.
TEST(Large, PositionsPastInt) {
  const std::size_t zz = k2G - 1, needle = k2G + 4;
  std::string text(k2G + 16, 'a');
  text.replace(zz, 2, "zz");
  text.replace(needle, 6, "needle");
  const std::vector<std::string> patterns = {"q", "needle", "zz"};
  unsigned int seq_index = 99, mode_index = 99;
  int first_index = 99;
  EXPECT_EQ(string_seq_find(text, patterns, seq_index), needle);
  EXPECT_EQ(seq_index, 1u);
  EXPECT_EQ(string_find(text, patterns, mode_index, 2), needle);  // longest first
  EXPECT_EQ(mode_index, 1u);
  EXPECT_EQ(string_find_first_one_of(text, patterns, first_index), zz);
  EXPECT_EQ(first_index, 2);
  EXPECT_EQ(string_find(text, "needle", true), needle);
  EXPECT_EQ(string_find(text, "needle", false), needle + 6);
  EXPECT_TRUE(string_containsIgnoreCase(text, "NEEDLE"));
  string_replace(text, "needle", "pin");
  EXPECT_EQ(text.size(), k2G + 13);
  EXPECT_EQ(text.substr(needle - 1, 5), "apina");
  EXPECT_EQ(trim_right(text, "a").size(), needle + 3);
  EXPECT_EQ(trim_left(text, "a").substr(0, 2), "zz");
}

// The narrow formatter's length and its terminator are counted in an int: 2^31 - 2 bytes of
// output are the most it gives; one more is the allocation error.
TEST(Large, FormatAtTheIntLimit) {
  const std::string most = format_astring("%2147483646d", 7);
  EXPECT_EQ(most.size(), std::size_t{INT_MAX} - 1);
  EXPECT_EQ(most.back(), '7');
  EXPECT_EQ(most.find_first_not_of(' '), most.size() - 1);
  EXPECT_THROW(format_astring("%2147483647d", 7), std::bad_alloc);
}

// Files of 2^31 bytes and more are read whole (sparse files, so nothing is written but the marks)
// and written whole.
TEST(Large, FilesPastInt) {
  // clang-format off
  const struct { std::size_t length; } sizes[] = {{k2G - 2}, {k2G + 3}};
  // clang-format on
  const TempFile sparse("sparse");
  for (const auto& s : sizes) {
    const int fd = open(sparse.path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
    ASSERT_GE(fd, 0) << sparse.path;
    ASSERT_EQ(pwrite(fd,
                     "\xFF\xFE"
                     "A",
                     3, 0),
              3);
    ASSERT_EQ(pwrite(fd, "\x41\x42\x43", 3, static_cast<off_t>(s.length - 3)), 3);
    close(fd);
    std::string bytes = dump_file(sparse.path);
    ASSERT_EQ(bytes.size(), s.length + 1) << s.length;
    EXPECT_EQ(bytes.substr(0, 3),
              "\xFF\xFE"
              "A");
    EXPECT_EQ(bytes.substr(s.length - 3), std::string("ABC\0", 4));
    bytes.clear();
    bytes.shrink_to_fit();
    if (s.length > k2G) {
      const std::wstring units = dump_utf16_file(sparse.path);
      ASSERT_EQ(units.size(), (s.length + 1) / 2 - 1);
      EXPECT_EQ(units[0], L'A');
      EXPECT_EQ(units.back(), static_cast<wchar_t>(s.length % 2 ? 0x43 : 0x4342));
    }
  }
  const TempFile written("written");
  std::string content(k2G + 8, '\0');
  content.replace(content.size() - 4, 4, "tail");
  EXPECT_TRUE(write_file(written.path, content));
  content.clear();
  content.shrink_to_fit();
  struct stat info;
  ASSERT_EQ(stat(written.path.c_str(), &info), 0);
  EXPECT_EQ(static_cast<std::size_t>(info.st_size), k2G + 8);
  char tail[4] = {};
  const int fd = open(written.path.c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(pread(fd, tail, 4, static_cast<off_t>(k2G + 4)), 4);
  close(fd);
  EXPECT_EQ(std::string(tail, 4), "tail");
}

}  // namespace
