// Tests of replace, trim, split, formatting, parsing and the builders: tables of behaviour, and
// randomized comparisons against models written from the rules (inputs printed on failure).
#include <climits>

#include <gtest/gtest.h>

#include "qor/qorstl.h"
#include "test_util.h"

// Random texts and arguments over a tiny alphabet with zero bytes and 0xE9, against models: replace
// as a loop of edits (find at or after the resume point, erase, insert, resume after the inserted
// text), the trims keeping what lies between the first and the last byte outside the set, and the
// split appending the maximal runs of bytes outside the set. Some rounds replace with the text
// itself as `from` or `to`: its value at the call is used. Sets and patterns have one to nine
// bytes, on both sides of the eight-byte sets the trims keep in one word. Every sixteenth round
// takes a long text over twelve byte values, with sets of up to twelve of them and patterns cut
// from the text (up to 20 bytes), so that the sixteen-at-a-time scans, the large sets and the long
// patterns take part.
TEST(Edit, MatchesTheModels) {
  std::mt19937 rng(20240501);
  const std::string small("aaab\0\xE9", 6), wide("aaabcdefgh\0\xE9\xFF,;\n", 16);
  for (int round = 0; round < 100000; ++round) {
    const bool long_text = round % 16 == 0;
    const auto random = [&](std::size_t n) {
      return qor_test::RandomFrom(rng, long_text ? wide : small, n);
    };
    const std::string text = random(long_text ? 400 : 24);
    const std::string arg = !long_text ? random(1 + round % 9)
                            : rng() % 2 || text.empty()
                                ? random(12)
                                : text.substr(rng() % text.size(), 1 + rng() % 20),
                      from = round % 11 ? arg : text, to = round % 5 ? random(5) : text;
    std::string replaced = text, l, r, b, rep = text;
    for (std::size_t i = 0; !from.empty() && (i = rep.find(from, i)) != rep.npos; i += to.size())
      rep.erase(i, from.size()).insert(i, to);
    std::vector<std::string> split(round % 3, "old"), tokens = split;
    for (std::size_t i = 0, j; (i = text.find_first_not_of(arg, i)) != text.npos; i = j)
      tokens.push_back(text.substr(i, (j = text.find_first_of(arg, i)) - i));
    qor::string_replace(replaced, round % 11 ? arg : replaced, round % 5 ? to : replaced);
    const std::string lmodel = std::string(text).erase(0, text.find_first_not_of(arg));
    const auto rmodel = [&](std::string s) { return s.erase(s.find_last_not_of(arg) + 1); };
    const int count = qor::stringarray_builder_by_splittoken(text, split, arg);
    ASSERT_EQ(
        std::make_tuple(replaced, qor::trim_left(l = text, arg), qor::trim_right(r = text, arg),
                        qor::trim_both(b = text, arg), count, split),
        std::make_tuple(rep, lmodel, rmodel(text), rmodel(lmodel), int(tokens.size()), tokens))
        << ::testing::PrintToString(std::make_tuple(text, from, to));
  }
}

using namespace std::string_literals;

// Occurrences left to right without overlap; the inserted text is never searched again.
TEST(Replace, Table) {
  // clang-format off
  const struct { std::string text, from, to, want; } cases[] = {
      {"abc", "", "x", "abc"},            // an empty pattern matches nowhere
      {"", "a", "b", ""},
      {"aaaa", "aa", "b", "bb"},
      {"aaa", "aa", "b", "ba"},
      {"a.b", ".", "..", "a..b"},         // the inserted text is not searched again
      {"aabb", "ab", "", "ab"},           // an occurrence formed by the deletion is not found
      {"abc", "abc", "", ""},
      {"ab", "abc", "x", "ab"},           // longer than the text
      {"aAa", "A", "b", "aba"},           // exact bytes, no case
      {"a\0b\0"s, "\0"s, "\r\n", "a\r\nb\r\n"},
      {"x\ny\n", "\n", "\r\n", "x\r\ny\r\n"},
      {"abab", "aba", "X", "Xb"},         // a pattern that overlaps itself, growing and shrinking
      {"ababa", "aba", "XYZW", "XYZWba"},
      {std::string(40, 'a') + "b", "a", "cc", std::string(80, 'c') + "b"},  // past a block
  };
  // clang-format on
  for (const auto& c : cases) {
    std::string text = c.text;
    qor::string_replace(text, c.from, c.to);
    EXPECT_EQ(text, c.want) << qor_test::Hex(c.text) << " " << qor_test::Hex(c.from);
  }
}

// The set is unordered bytes; trim_both is trim_left then trim_right.
TEST(Trim, Table) {
  // clang-format off
  const struct { std::string text, chars, left, right, both; } cases[] = {
      {"  \tx ", " \t", "x ", "  \tx", "x"},
      {" x \t", " \t", "x \t", " x", "x"},
      {"\r\n x y \t", " \t\r\n", "x y \t", "\r\n x y", "x y"},
      {"abcab", "ba", "cab", "abc", "c"},
      {"   ", " ", "", "", ""},              // every byte in the set
      {" x ", "", " x ", " x ", " x "},       // an empty set
      {"", " ", "", "", ""},
      {"\xC3\xA8x\xC3", "\xC3\xA9", "\xA8x\xC3", "\xC3\xA8x", "\xA8x"},  // bytes, not characters
      {"\0a\0"s, "\0"s, "a\0"s, "\0a"s, "a"},
      {std::string(70, ' ') + "x" + std::string(70, ' '), " ", "x" + std::string(70, ' '),
       std::string(70, ' ') + "x", "x"},
  };
  // clang-format on
  for (const auto& c : cases) {
    std::string left = c.text, right = c.text, both = c.text;
    EXPECT_EQ(&qor::trim_left(left, c.chars), &left);
    EXPECT_EQ(&qor::trim_right(right, c.chars), &right);
    EXPECT_EQ(&qor::trim_both(both, c.chars), &both);
    EXPECT_EQ(left, c.left) << qor_test::Hex(c.text);
    EXPECT_EQ(right, c.right) << qor_test::Hex(c.text);
    EXPECT_EQ(both, c.both) << qor_test::Hex(c.text);
  }
}

// Runs of bytes outside the set, appended; the count is the list's size after the call.
TEST(Split, Table) {
  using List = std::vector<std::string>;
  // clang-format off
  const struct { std::string text, separators; List before, after; } cases[] = {
      {"a,b,,c,", ",", {"x"}, {"x", "a", "b", "c"}},
      {"a b;c", " ;", {}, {"a", "b", "c"}},
      {",,,", ",", {}, {}},
      {"", ",", {"x"}, {"x"}},
      {"abc", "", {}, {"abc"}},
      {"a\0b"s, "\0"s, {}, {"a", "b"}},
  };
  // clang-format on
  for (const auto& c : cases) {
    List out = c.before;
    EXPECT_EQ(qor::stringarray_builder_by_splittoken(c.text, out, c.separators),
              int(c.after.size()))
        << qor_test::Hex(c.text);
    EXPECT_EQ(out, c.after) << qor_test::Hex(c.text);
  }
}

// A _v formatter called twice on one argument list, from a variadic function: both calls must see
// the same arguments. `out` is "old" before each call; gives the two results one after the other.
template <class S, class C>
static S Twice(void (*format)(S&, const C*, va_list), const C* fmt, ...) {
  S first{'o', 'l', 'd'}, second = first;
  va_list args;
  va_start(args, fmt), format(first, fmt, args), format(second, fmt, args), va_end(args);
  return first + second;
}

// Narrow and wide formatting of `fmt` with an int and a string, in the C locale where a byte of
// 0x80 and above cannot be decoded for a wide %s. "old" is a result that leaves `out` as it was
// (the plain formatters then give the empty string); wide results are the narrow ones widened, so
// that 0xFF in a format is the wide character -1. The wide formatters grow their buffer (512, 1024,
// 2048, ... characters) until the output fits, whatever values it holds, also the marks (-1, then
// '?') they probe for at the last-but-one slots 510, 1022, 2046, ...
TEST(Format, Table) {
  std::string probed(5000, 'x'), second_mark(2100, 'x');
  for (int slot : {509, 510, 1022, 2046, 4094}) probed[slot] = '\xFF';
  second_mark[510] = '\xFF', second_mark[1022] = second_mark[2046] = '?';
  // clang-format off
  const struct { std::string fmt; int n; const char* s; std::string out; bool wfails; } cases[] = {
      {"%d-%s", 7, "ab", "7-ab", false}, {"", 0, "", "old", false}, {"%.0d", 0, "", "old", false},
      {"a%cb", 0, "", "a", false}, {"%c", 0, "", "", false}, {"%d%s", 0, "\xFF", "0\xFF", true},
      {"%1048576d", 5, "", std::string(1048575, ' ') + "5", false}, {probed, 0, "", probed, false},
      {second_mark, 0, "", second_mark, false}, {std::string(511, 'x'), 0, "", std::string(511, 'x'), false}};
  // clang-format on
  const auto widen = [](const std::string& s) { return std::wstring(s.begin(), s.end()); };
  for (const auto& c : cases) {
    const std::wstring wfmt = widen(c.fmt), wout = c.wfails ? L"old" : widen(c.out);
    EXPECT_EQ(Twice(qor::format_string_v, c.fmt.c_str(), c.n, c.s), c.out + c.out) << c.fmt;
    EXPECT_EQ(qor::format_astring(c.fmt.c_str(), c.n, c.s), c.out == "old" ? "" : c.out) << c.fmt;
    EXPECT_EQ(Twice(qor::format_wstring_v, wfmt.c_str(), c.n, c.s), wout + wout) << c.fmt;
    EXPECT_EQ(qor::format_wstring(wfmt.c_str(), c.n, c.s), wout == L"old" ? L"" : wout) << c.fmt;
  }
}

// A %c of zero ends the text wherever it falls: every output length up to 80 (the string's own
// buffer, a buffer of the measured size, the eight-at-a-time and the long scans for the zero) with
// the zero at every position, or none.
TEST(Format, CutAtTheFirstZeroOfEveryLength) {
  const std::string letters(80, 'x');
  for (std::size_t size = 1; size <= 80; ++size) {
    for (std::size_t zero = 0; zero <= size && !HasFailure(); ++zero) {
      const int c = zero < size ? 0 : 'x';
      const std::size_t before = std::min(zero, size - 1), after = size - 1 - before;
      const std::string want = letters.substr(0, zero < size ? zero : size);
      const auto formatted = qor::format_astring("%.*s%c%.*s", int(before), letters.c_str(), c,
                                                 int(after), letters.c_str());
      EXPECT_EQ(formatted, want) << size << " " << zero;
      EXPECT_EQ(Twice(qor::format_string_v, "%.*s%c%.*s", int(before), letters.c_str(), c,
                      int(after), letters.c_str()),
                want + want)
          << size << " " << zero;
    }
  }
}

// Hexadecimal only from "0x" or "0X" at byte 0; the int is the low 32 bits of strtol's long.
TEST(Parse, Table) {
  // clang-format off
  const struct { std::string text; int i; long l; double d; } cases[] = {
      {"0x1F", 31, 31, 31}, {"0X1f", 31, 31, 31}, {" 0x10", 0, 0, 16}, {"-0x10", 0, 0, -16},
      {"010", 10, 10, 10}, {"  -2.5z", -2, -2, -2.5}, {"1.5e3", 1, 1, 1500}, {"0x1p4", 1, 1, 16},
      {"2147483648", INT_MIN, 2147483648, 2147483648}, {"4294967297", 1, 4294967297, 4294967297},
      {"99999999999999999999", -1, LONG_MAX, 1e20}, {"-99999999999999999999", 0, LONG_MIN, -1e20}};
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_EQ(qor::string_to_int(c.text), c.i) << c.text;
    EXPECT_EQ(qor::string_to_long(c.text), c.l) << c.text;
    EXPECT_EQ(qor::string_to_double(c.text), c.d) << c.text;
  }
}

// `out` with each pair of bounds appended as signed bytes, so 0x80..0xFF come before 0x00..0x7F.
static std::string Expand(const std::string& pairs, std::string out) {
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2)
    for (int v = std::int8_t(pairs[i]); v <= std::int8_t(pairs[i + 1]); ++v) out += char(v);
  return out;
}

// Ranges and count, and the pairs that string_builder_by_range (through string_builder_by_char)
// must append after "pre" (0x80..0x7F: all 256 bytes); the size returned is the string's.
TEST(Builders, Tables) {
  EXPECT_EQ(qor::stringarray_builder_by_token("a", "", "c", (const char*)nullptr),
            (std::vector<std::string>{"a", "", "c"}));
  // clang-format off
  const struct { std::string ranges; int count; std::string pairs; } cases[] = {
      {"azAZ09", 2, "azAZ"}, {"azAZ09", 5, "azAZ09"}, {"za09", 2, "09"}, {"za09", 1, ""},
      {"azb", 2, "az"}, {"az", 0, ""}, {"az", INT_MIN, ""}, {"\x80\x7F", 1, "\x80\x7F"},
      {"\x7F\x80", 1, ""}, {"\xFE\x01", 1, "\xFE\x01"}, {"a\xE9", 1, ""}};
  // clang-format on
  for (const auto& c : cases) {
    std::string out = "pre";
    const int size = qor::string_builder_by_range(out, c.ranges, c.count);
    EXPECT_EQ(out, Expand(c.pairs, "pre")) << qor_test::Hex(c.ranges) << c.count;
    EXPECT_EQ(size, int(out.size())) << qor_test::Hex(c.ranges) << c.count;
  }
}
