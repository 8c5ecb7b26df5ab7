// Tests of the formatters and the number parsers.
#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <string>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

// Calls the _v formatter twice with the same argument list: the second call sees the arguments
// from the start only if the first did not advance the list.
void FormatTwice(std::string& first, std::string& second, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  qor::format_string_v(first, fmt, args);
  qor::format_string_v(second, fmt, args);
  va_end(args);
}

void FormatTwiceWide(std::wstring& first, std::wstring& second, const wchar_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  qor::format_wstring_v(first, fmt, args);
  qor::format_wstring_v(second, fmt, args);
  va_end(args);
}

// Switches LC_CTYPE to a UTF-8 locale for the life of the object, and back afterwards.
class Utf8Ctype {
 public:
  Utf8Ctype() : saved_(std::setlocale(LC_CTYPE, nullptr)) {
    for (const char* name : {"C.UTF-8", "C.utf8", "en_US.UTF-8", "en_US.utf8"}) {
      if (std::setlocale(LC_CTYPE, name) != nullptr) {
        active_ = true;
        return;
      }
    }
  }
  ~Utf8Ctype() { std::setlocale(LC_CTYPE, saved_.c_str()); }
  bool active() const { return active_; }

 private:
  std::string saved_;
  bool active_ = false;
};

TEST(FormatNarrow, Results) {
  EXPECT_EQ(qor::format_astring("%d-%s", 7, "ab"), "7-ab");
  EXPECT_EQ(qor::format_astring("%05.1f|%x|%%", 3.14159, 255u), "003.1|ff|%");
  EXPECT_EQ(qor::format_astring(""), "");
  EXPECT_EQ(qor::format_astring("%s", ""), "");
  EXPECT_EQ(qor::format_astring("%c", 0), "");
  EXPECT_EQ(qor::format_astring("a%cb", 0), "a");
  EXPECT_EQ(qor::format_astring("%.3s", "abcdef"), "abc");
  // A wide character the C locale cannot encode makes vsnprintf fail.
  EXPECT_EQ(qor::format_astring("x%lsy", L"\u2603"), "");
  const std::string big(3u << 20, 'q');
  EXPECT_EQ(qor::format_astring("<%s>", big.c_str()), "<" + big + ">");
}

TEST(FormatNarrow, IntoOut) {
  struct Case {
    const char* fmt;
    int value;
    const char* out;  // after the call, starting from "old"
  };
  const Case cases[] = {
      {"", 0, "old"},      // no characters: untouched
      {"%.0d", 0, "old"},  // no characters from an argument
      {"x", 0, "x"},       // assigned, not appended
      {"%d", -5, "-5"},    //
      {"%c", 0, ""},       // one character, a zero: assigned, and cut there
      {"a%cb", 0, "a"},    //
  };
  for (const Case& c : cases) {
    std::string first = "old", second = "old";
    FormatTwice(first, second, c.fmt, c.value);
    EXPECT_EQ(first, c.out) << c.fmt;
    EXPECT_EQ(second, c.out) << c.fmt;
  }
  std::string failed = "old", unused;
  FormatTwice(failed, unused, "x%lsy", L"\u2603");
  EXPECT_EQ(failed, "old");
}

TEST(FormatNarrow, ArgumentListIsNotAdvanced) {
  std::string first, second;
  FormatTwice(first, second, "%d %s %.1f %c", 42, "str", 2.5, 'z');
  EXPECT_EQ(first, "42 str 2.5 z");
  EXPECT_EQ(second, first);
}

TEST(FormatWide, Results) {
  EXPECT_EQ(qor::format_wstring(L"%d items", 3), L"3 items");
  EXPECT_EQ(qor::format_wstring(L"%ls|%s|%lc", L"wide", "narrow", L'w'), L"wide|narrow|w");
  EXPECT_EQ(qor::format_wstring(L""), L"");
  EXPECT_EQ(qor::format_wstring(L"%lc", 0), L"");
  EXPECT_EQ(qor::format_wstring(L"a%lcb", 0), L"a");

  std::wstring first = L"old", second = L"old";
  FormatTwiceWide(first, second, L"%d items", 3);
  EXPECT_EQ(first, L"3 items");
  EXPECT_EQ(second, L"3 items");
  first = second = L"old";
  FormatTwiceWide(first, second, L"");
  EXPECT_EQ(first, L"old");
  EXPECT_EQ(second, L"old");
  first = second = L"old";
  FormatTwiceWide(first, second, L"%lc", 0);
  EXPECT_EQ(first, L"");
}

TEST(FormatWide, ArgumentListIsNotAdvanced) {
  // The second output is long enough that every call formats several times while growing.
  const std::wstring filler(5000, L'f');
  std::wstring first, second;
  FormatTwiceWide(first, second, L"%d %ls %s %.1f", 42, filler.c_str(), "str", 2.5);
  EXPECT_EQ(first, L"42 " + filler + L" str 2.5");
  EXPECT_EQ(second, first);
}

// Outputs of every length around the buffer sizes the formatter tries, and far beyond them.
TEST(FormatWide, LengthsAroundEveryBufferSize) {
  for (std::size_t size : {1u, 2u, 510u, 511u, 512u, 513u, 1023u, 1024u, 1025u, 4095u, 4096u,
                           65537u, 1u << 20, (1u << 20) + 1, 3u << 20}) {
    std::wstring text(size, L'x');
    for (std::size_t i = 0; i < size; i += 97) text[i] = static_cast<wchar_t>(L'a' + i % 26);
    EXPECT_TRUE(qor::format_wstring(L"%ls", text.c_str()) == text) << size;
    std::wstring out = L"old";
    std::wstring unused;
    FormatTwiceWide(out, unused, L"%ls", text.c_str());
    EXPECT_TRUE(out == text) << size;
  }
  const std::wstring padded = qor::format_wstring(L"<%*d>", 2000000, 7);
  ASSERT_EQ(padded.size(), 2000002u);
  EXPECT_EQ(padded.substr(padded.size() - 3), L" 7>");
}

TEST(FormatWide, EncodingErrorFailsAtOnce) {
  const Utf8Ctype utf8;
  if (!utf8.active()) GTEST_SKIP() << "no UTF-8 locale to decode %s with";
  EXPECT_EQ(qor::format_wstring(L"ab%scd", "\xFF"), L"");
  std::wstring first = L"old", second = L"old";
  FormatTwiceWide(first, second, L"ab%scd", "\xFF");
  EXPECT_EQ(first, L"old");
  EXPECT_EQ(second, L"old");
  // A long text before the failing conversion: growing stops once the buffer holds that text.
  const std::wstring prefix(300000, L'p');
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(qor::format_wstring(L"%ls%s", prefix.c_str(), "\xC3"), L"");
  }
  EXPECT_EQ(qor::format_wstring(L"%ls%s", prefix.c_str(), "\xC3\xA9"), prefix + L"\u00E9");
}

TEST(FormatWide, LeavesErrnoOfTheCallerOnSuccess) {
  errno = ERANGE;
  EXPECT_EQ(qor::format_wstring(L"%ls", std::wstring(3000, L'e').c_str()).size(), 3000u);
  EXPECT_EQ(errno, ERANGE);
}

TEST(ParseInteger, Table) {
  struct Case {
    std::string text;
    int as_int;
    long as_long;
  };
  const Case cases[] = {
      {"0x1F", 31, 31},
      {"0X1f", 31, 31},
      {"0x", 0, 0},
      {"0xg", 0, 0},
      {"010", 10, 10},
      {"-0x10", 0, 0},  // the prefix counts only at the first byte
      {"+0x10", 0, 0},
      {" 0x10", 0, 0},
      {"  -42", -42, -42},
      {"+7", 7, 7},
      {"12abc", 12, 12},
      {"abc", 0, 0},
      {"0", 0, 0},
      {"", 0, 0},
      {"0xffffffff", -1, 4294967295L},
      {"0x7fffffffffffffff", -1, LONG_MAX},
      {"0x-5", 0, 0},
      {"0x 5", 0, 0},
      {"4294967297", 1, 4294967297L},
      {"2147483648", INT_MIN, 2147483648L},
      {"-2147483649", INT_MAX, -2147483649L},
      {"99999999999999999999", -1, LONG_MAX},
      {"-99999999999999999999", 0, LONG_MIN},
      {std::string("12\0"
                   "34",
                   5),
       12, 12},  // read up to the first zero byte
      {std::string("0\0x1", 4), 0, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_to_int(c.text), c.as_int) << c.text;
    EXPECT_EQ(qor::string_to_long(c.text), c.as_long) << c.text;
  }
}

TEST(ParseDouble, Table) {
  struct Case {
    std::string text;
    double value;
  };
  const Case cases[] = {
      {"1.5e3", 1500.0},
      {"0x1p4", 16.0},
      {"  -2.5xyz", -2.5},
      {"", 0.0},
      {"abc", 0.0},
      {".5", 0.5},
      {"010", 10.0},
      {std::string("3\0"
                   ".5",
                   4),
       3.0},
  };
  for (const Case& c : cases) EXPECT_EQ(qor::string_to_double(c.text), c.value) << c.text;
  EXPECT_TRUE(std::isinf(qor::string_to_double("-inf")));
  EXPECT_LT(qor::string_to_double("-inf"), 0.0);
  EXPECT_TRUE(std::isnan(qor::string_to_double("nan")));
}

}  // namespace
