// Tests of replace, trim, formatting, parsing and the builders: tables of behaviour, and
// randomized comparisons against models written from the rules (inputs printed on failure).
#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdarg>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

using Strings = std::vector<std::string>;
using ::testing::PrintToString;

// Replacing as a loop of edits: the first occurrence at or after the resume position, resuming
// after the inserted text.
std::string ModelReplace(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t resume = 0, match; !from.empty() && resume < text.size();
       resume = match + to.size()) {
    if ((match = text.find(from, resume)) == std::string::npos) break;
    text.replace(match, from.size(), to);
  }
  return text;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  qor::string_replace(text, from, to);
  return text;
}

// Mostly 'a', some 'b', zero bytes and 0xE9: repeats, overlaps and odd bytes are all common.
std::string Random(std::mt19937& rng, unsigned max_size) {
  std::string s(rng() % (max_size + 1), 'a');
  for (char& c : s) c = "aaab\0\xE9"[rng() % 6];
  return s;
}

// Fixed edge cases first (text, from, to), then random ones, against the loop of edits.
TEST(Replace, MatchesTheEditLoop) {
  const Strings cases[] = {{"abc", "", "x"},   {"", "a", "x"},     {"aaaa", "aa", "b"},
                           {"aaa", "aa", "b"}, {"a.b", ".", ".."}, {"aabb", "ab", ""},
                           {"ab", "abc", "x"}, {"abA", "A", "z"}};
  EXPECT_EQ(Replaced("aabb", "ab", "") + Replaced("a.b", ".", "..") + Replaced("aaa", "aa", "b"),
            "aba..bba");
  std::mt19937 rng(20240501);
  for (int round = 0; round < 200008; ++round) {
    const Strings c =
        round < 8 ? cases[round]
                  : Strings{Random(rng, 24), Random(rng, round % 7 ? 3 : 8), Random(rng, 5)};
    ASSERT_EQ(Replaced(c[0], c[1], c[2]), ModelReplace(c[0], c[1], c[2])) << PrintToString(c);
  }
  std::string self = "aXb";  // `to` is the text itself: its value at the call is inserted
  qor::string_replace(self, "X", self);
  EXPECT_EQ(self, "aaXbb");
}

// Fixed edge cases first (text, set), then random ones, against the standard string's set searches.
TEST(Trim, MatchesTheSetModel) {
  // clang-format off
  const Strings cases[] = {{"  \tx ", " \t"}, {"abcab", "ba"}, {"abc", ""}, {"xyx", "yx"},
                           {std::string("\0a\0", 3), std::string(1, '\0')},
                           {"\xC3\xA0x\xC3\xA9", "\xC3\xA9"}};
  // clang-format on
  std::string chained = "\r\n x y \t";
  EXPECT_EQ(qor::trim_left(qor::trim_both(chained, " \t\r\n"), "x"), " y");  // chained edits
  std::mt19937 rng(7);
  for (int round = 0; round < 50006; ++round) {
    const Strings c = round < 6 ? cases[round] : Strings{Random(rng, 12), Random(rng, 3)};
    const auto model_left = [&](const std::string& s) {
      const std::size_t keep = s.find_first_not_of(c[1]);
      return keep == std::string::npos ? "" : s.substr(keep);
    };
    const auto model_right = [&](const std::string& s) {
      return s.substr(0, s.find_last_not_of(c[1]) + 1);  // npos + 1 == 0
    };
    std::string left = c[0], right = c[0], both = c[0];
    qor::trim_left(left, c[1]), qor::trim_right(right, c[1]), qor::trim_both(both, c[1]);
    ASSERT_EQ((Strings{left, right, both}),
              (Strings{model_left(c[0]), model_right(c[0]), model_right(model_left(c[0]))}))
        << PrintToString(c);
  }
}

// Narrow and wide _v formatters called twice on one argument list, from a variadic wrapper.
void FormatTwice(Strings& out, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  qor::format_string_v(out[0], fmt, args);
  qor::format_string_v(out[1], fmt, args);
  va_end(args);
}
void FormatTwice(std::vector<std::wstring>& out, const wchar_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  qor::format_wstring_v(out[0], fmt, args);
  qor::format_wstring_v(out[1], fmt, args);
  va_end(args);
}

TEST(Format, Narrow) {
  const std::string big(3u << 20, 'q');
  EXPECT_TRUE(qor::format_astring("<%s>", big.c_str()) == "<" + big + ">");
  EXPECT_EQ(qor::format_astring("%d-%s", 7, "ab") + qor::format_astring("") +
                qor::format_astring("a%cb", 0),
            "7-aba");
  EXPECT_EQ(qor::format_astring("x%lsy", L"\u2603"), "");  // not encodable in the C locale
  // fmt, int argument, `out` after the call from "old"; the second call reuses the argument list.
  const Strings cases[] = {{"", "0", "old"},
                           {"%.0d", "0", "old"},
                           {"x", "0", "x"},
                           {"%d|%c", "-5", "-5|"},
                           {"%c", "0", ""}};
  for (const Strings& c : cases) {
    Strings out = {"old", "old"};
    FormatTwice(out, c[0].c_str(), std::stoi(c[1]), 0);
    EXPECT_EQ(out, (Strings{c[2], c[2]})) << c[0];
  }
  Strings out = {"old", "old"};
  FormatTwice(out, "x%lsy", L"\u2603");
  EXPECT_EQ(out, (Strings{"old", "old"}));
}

TEST(Format, Wide) {
  EXPECT_EQ(qor::format_wstring(L"%d items", 3) + qor::format_wstring(L"a%lcb", 0), L"3 itemsa");
  std::vector<std::wstring> out = {L"old", L"old"};
  FormatTwice(out, L"");
  EXPECT_EQ(out[0] + out[1], L"oldold");
  // Lengths around the buffer sizes tried while growing, up to 3 MB.
  for (std::size_t size : {1, 511, 512, 513, 1023, 1024, 1025, 65537, 1 << 20, 3 << 20}) {
    const std::wstring text(size, L'w');
    FormatTwice(out, L"%d %ls", 7, text.c_str());
    EXPECT_TRUE(out[0] == L"7 " + text && out[1] == out[0]) << size;
  }
  errno = ERANGE;
  EXPECT_EQ(qor::format_wstring(L"<%*d>", 2000000, 7).size(), 2000002u);
  EXPECT_EQ(errno, ERANGE);  // the probing of errno is not visible after success
}

TEST(Format, WideEncodingErrorFails) {
  const std::string saved = std::setlocale(LC_CTYPE, nullptr);
  if (!std::setlocale(LC_CTYPE, "C.UTF-8") && !std::setlocale(LC_CTYPE, "en_US.UTF-8")) {
    GTEST_SKIP() << "no UTF-8 locale to decode %s with";
  }
  const std::wstring prefix(300000, L'p');  // growing stops once the text before the error fits
  std::vector<std::wstring> out = {L"old", L"old"};
  FormatTwice(out, L"%ls%s", prefix.c_str(), "\xC3");
  EXPECT_EQ(out[0] + out[1], L"oldold");
  EXPECT_EQ(qor::format_wstring(L"ab%scd", "\xFF"), L"");
  EXPECT_TRUE(qor::format_wstring(L"%ls%s", prefix.c_str(), "\xC3\xA9") == prefix + L"\u00E9");
  std::setlocale(LC_CTYPE, saved.c_str());
}

TEST(Parse, Integers) {
  // clang-format off
  const struct { std::string text; int as_int; long as_long; } cases[] = {
      {"0x1F", 31, 31}, {"0X1f", 31, 31}, {"0x", 0, 0}, {"010", 10, 10}, {"-0x10", 0, 0},
      {"+0x10", 0, 0}, {" 0x10", 0, 0}, {"  -42z", -42, -42}, {"abc", 0, 0}, {"", 0, 0},
      {"0xffffffff", -1, 4294967295L}, {"4294967297", 1, 4294967297L},
      {"2147483648", INT_MIN, 2147483648L}, {"99999999999999999999", -1, LONG_MAX},
      {"-99999999999999999999", 0, LONG_MIN}, {std::string("12\0" "34", 5), 12, 12}};
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_EQ(qor::string_to_int(c.text), c.as_int) << c.text;
    EXPECT_EQ(qor::string_to_long(c.text), c.as_long) << c.text;
  }
  EXPECT_EQ(qor::string_to_double("1.5e3") + qor::string_to_double("0x1p4"), 1516.0);
  EXPECT_EQ(qor::string_to_double("  -2.5xyz") + qor::string_to_double(""), -2.5);
}

// Tokens are the maximal runs of bytes outside the separator set, empty runs left out.
Strings ModelSplit(Strings out, const std::string& text, const std::string& separators) {
  std::string token;
  for (char c : text + separators.substr(0, 1)) {
    if (separators.find(c) == std::string::npos) {
      token += c;
    } else if (!token.empty()) {
      out.push_back(token);
      token.clear();
    }
  }
  if (separators.empty() && !text.empty()) out.push_back(text);
  return out;
}

TEST(Split, MatchesTheRunModel) {
  const Strings cases[] = {{"a,b,,c,", ","}, {",,a", ","}, {"a;b,c", ",;"}, {",;", ",;"},
                           {"", ","},        {"x y", " "}, {"abc", ""},     {"a,,b", ",,"}};
  std::mt19937 rng(99);
  for (int round = 0; round < 50008; ++round) {
    const Strings in = round < 8 ? cases[round] : Strings{Random(rng, 16), Random(rng, 3)};
    Strings out(round % 3, "old");
    const Strings expected = ModelSplit(out, in[0], in[1]);
    ASSERT_EQ(qor::stringarray_builder_by_splittoken(in[0], out, in[1]), int(expected.size()));
    ASSERT_EQ(out, expected) << PrintToString(in);
  }
  Strings out = {"a b c, with a text longer than a short string", " "};  // arguments inside `out`
  EXPECT_EQ(qor::stringarray_builder_by_splittoken(out[0], out, out[1]), 13);
  EXPECT_EQ(out[4] + out.back(), "c,string");
}

TEST(Builders, ByToken) {
  const char* const end = nullptr;
  EXPECT_EQ(qor::stringarray_builder_by_token("a", "b", "", "c", end),
            (Strings{"a", "b", "", "c"}));
  EXPECT_EQ(qor::stringarray_builder_by_token("", end), Strings{""});
  EXPECT_EQ(qor::stringarray_builder_by_token("a", end), Strings{"a"});
}

// Every pair of bounds against the signed-byte model; ranges against the pair rule.
TEST(Builders, ByCharAndByRange) {
  const auto run = [](int first, int last) {
    std::string s;
    for (int v = static_cast<signed char>(first); v <= static_cast<signed char>(last); ++v)
      s += char(v);
    return s;
  };
  for (int first = 0; first < 256; ++first) {
    for (int last = 0; last < 256; ++last) {
      std::string out = "x";
      const int size = qor::string_builder_by_char(out, char(first), char(last));
      ASSERT_EQ(out, "x" + run(first, last)) << first << " " << last;
      ASSERT_EQ(size, int(out.size()));
    }
  }
  const std::string az = run('a', 'z'), digits = run('0', '9');
  // clang-format off
  const struct { const char* ranges; int count; std::string appended; } cases[] = {
      {"azAZ09", 3, az + run('A', 'Z') + digits}, {"azAZ09", 5, az + run('A', 'Z') + digits},
      {"azAZ09", 2, az + run('A', 'Z')}, {"za09", 2, digits}, {"za09", 1, ""}, {"azb", 2, az},
      {"az", 0, ""}, {"az", INT_MIN, ""}, {"az", INT_MAX, az}};
  // clang-format on
  for (const auto& c : cases) {
    std::string out = "pre";
    EXPECT_EQ(qor::string_builder_by_range(out, c.ranges, c.count), int(3 + c.appended.size()));
    EXPECT_EQ(out, "pre" + c.appended) << c.ranges << " " << c.count;
  }
}

}  // namespace
