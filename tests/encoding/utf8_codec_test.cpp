// The UTF-8 codec: tables of behaviour for both directions and both kinds of call, the string
// overloads, real text, and a randomized comparison with a model of the rules.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

using Units = std::vector<std::uint32_t>;
constexpr int S = 0, L = UTF8_SKIP_INVALID, B = UTF8_DROP_BOM;
constexpr wchar_t kGuard = 0x5A5A5A;

struct Result {
  std::size_t n;
  Units units;  // the first n units written by a filling call; nothing for a measuring call
  bool operator==(const Result& o) const { return n == o.n && units == o.units; }
};

// Decodes from a heap block of exactly the input's size, so AddressSanitizer sees any read past
// it; `cap` 0 makes a measuring call. A guard behind the buffer catches writes past `cap`.
Result Decode(const std::string& in, std::size_t src_len, int flags, std::size_t cap) {
  std::unique_ptr<char[]> src(new char[in.size()]);
  std::memcpy(src.get(), in.data(), in.size());
  std::vector<wchar_t> dst(cap + 2, kGuard);
  Result r{utf8_to_wchar(src.get(), src_len, cap ? dst.data() : nullptr, cap, flags), {}};
  EXPECT_TRUE(dst[cap] == kGuard && dst[cap + 1] == kGuard) << "write past the capacity";
  for (std::size_t i = 0; cap && i < r.n && i < cap; ++i) r.units.push_back(dst[i]);
  return r;
}

Result Encode(const Units& in, std::size_t src_len, int flags, std::size_t cap) {
  std::unique_ptr<wchar_t[]> src(new wchar_t[in.size()]);
  for (std::size_t i = 0; i < in.size(); ++i) src[i] = static_cast<wchar_t>(in[i]);
  std::string dst(cap + 2, 'G');
  Result r{wchar_to_utf8(src.get(), src_len, cap ? &dst[0] : nullptr, cap, flags), {}};
  EXPECT_EQ(dst.substr(cap), "GG") << "write past the capacity";
  for (std::size_t i = 0; cap && i < r.n && i < cap; ++i) r.units.push_back(uint8_t(dst[i]));
  return r;
}

TEST(Utf8ToWchar, DecodesByTheLeadByteTable) {
  // The measuring result, then what a filling call with that capacity returns and writes.
  struct Case {
    std::string in;
    int flags;
    std::size_t measured, filled;
    Units out;
  };
  // clang-format off
  const Case cases[] = {
      {"A\xE2\x82\xAC", S, 2, 2, {0x41, 0x20AC}}, {"\xC3\xA9", S, 1, 1, {0xE9}},
      {"\xC0\x80", S, 0, 0, {}}, {"\xC0\x80", L, 1, 1, {0}}, {"\xC1\xBF", S, 0, 0, {}},
      {"\xC1\xBF", L, 1, 1, {0x7F}}, {"\xE0\x80\x80", S, 1, 1, {0}}, {"\xED\x9F\xBF", S, 1, 1, {0xD7FF}},
      {"\xF4\x90\x80\x80", S, 1, 1, {0x110000}}, {"\xF5\x80\x80\x80", S, 0, 0, {}},
      {"\xF5\x80\x80\x80", L, 1, 1, {0x140000}}, {"\xF6\x80\x80\x80", S, 1, 1, {0x180000}},
      {"\xF8\x88\x80\x80\x80", S, 1, 1, {0x200000}}, {"\xFB\xBF\xBF\xBF\xBF", S, 1, 1, {0x3FFFFFF}},
      {"\xFC\x84\x80\x80\x80\x80", S, 1, 1, {0x4000000}},
      {"\xFD\xBF\xBF\xBF\xBF\xBF", S, 1, 1, {0x7FFFFFFF}}, {"\xFE", S, 0, 0, {}}, {"\xFF", L, 0, 0, {}},
      {"\x41\x80\x42", S, 0, 0, {}}, {"\x41\x80\x42", L, 2, 2, {0x41, 0x42}}, {"A\xE2\x82", S, 0, 0, {}},
      {"A\xE2\x82", L, 1, 1, {0x41}}, {"\x41\xE2\x41", L, 2, 2, {0x41, 0x41}},
      {"\xE2\xC3\xA9", L, 1, 1, {0xE9}},  // a bad lead's next byte is examined as a lead again
      {"\xED\xA0\x80", S, 1, 0, {}}, {"\xED\xA0\x80", L, 1, 0, {}},
      {"\x61\xED\xBF\xBF\x62", L, 3, 2, {0x61, 0x62}}, {"\xEF\xBB\xBF\x41", S, 2, 2, {0xFEFF, 0x41}},
      {"\xEF\xBB\xBF\x41", B, 2, 1, {0x41}}, {"\x41\xEF\xBB\xBF\x42\xEF\xBB\xBF", B | L, 4, 2, {0x41, 0x42}},
      {std::string("AB\0C", 4), S, 2, 2, {0x41, 0x42}}, {std::string("\0A", 2), L, 0, 0, {}},
      {std::string("\xE2\x82\0", 3), S, 0, 0, {}}, {std::string("\xE2\0A", 3), L, 0, 0, {}},
      {"\xC0\x80", ~3, 0, 0, {}},  // only the two flag bits count
      {std::string(40, 'x') + "\xC3\xA9" + std::string(20, 'y'), S, 61, 61, {}},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.in) + " flags " + std::to_string(c.flags));
    EXPECT_EQ(Decode(c.in, c.in.size(), c.flags, 0).n, c.measured);
    if (c.measured == 0) continue;
    const Result filled = Decode(c.in, c.in.size(), c.flags, c.measured);
    EXPECT_EQ(filled.n, c.filled);
    if (!c.out.empty() || c.filled == 0) {
      EXPECT_EQ(filled.units, c.out);
    }
  }
}

TEST(Utf8ToWchar, ZeroTerminatedInputAndDegenerateCalls) {
  // src_len 0: read up to the zero, which ends the text only where a character would begin.
  struct Case {
    std::string in;
    int flags;
    std::size_t n;
  };
  // clang-format off
  const Case cases[] = {{std::string("AB\0", 3), S, 2}, {std::string(1, '\0'), L, 0},
                        {std::string("A\xE2\x82\0", 4), S, 0}, {std::string("A\xE2\x82\0", 4), L, 1},
                        {std::string("\x41\xE2\x41\0", 4), L, 2}, {std::string("\xFD\xBF\xBF\0", 4), L, 0},
                        {std::string("\xF0\x9F\x98\x80\0", 5), S, 1}};
  // clang-format on
  for (const Case& c : cases) {
    EXPECT_EQ(Decode(c.in, 0, c.flags, 0).n, c.n) << testing::PrintToString(c.in);
    EXPECT_EQ(Decode(c.in, 0, c.flags, 8).n, c.n) << testing::PrintToString(c.in);
  }
  wchar_t buf[4];
  EXPECT_EQ(utf8_to_wchar(nullptr, 3, buf, 4, S), 0u);
  EXPECT_EQ(utf8_to_wchar("ab", 2, buf, 0, L), 0u);
  EXPECT_EQ(utf8_to_wchar("abc", 3, nullptr, 1, S), 3u);  // measuring ignores dst_cap
  for (int flags : {S, L}) {  // out of room fails in either mode, also inside an ASCII block
    EXPECT_EQ(Decode("AB", 2, flags, 1).n, 0u);
    EXPECT_EQ(Decode(std::string(100, 'x'), 100, flags, 99).n, 0u);
  }
  EXPECT_EQ(Decode("A\xEF\xBB\xBF", 4, B, 1).n, 0u);  // room is checked before the BOM is dropped
}

TEST(WcharToUtf8, EncodesByTheLengthTable) {
  struct Case {
    Units in;
    int flags;
    std::string out;
    std::size_t n;
  };
  // clang-format off
  const Case cases[] = {
      {{0x41, 0x7F}, S, "\x41\x7F", 2}, {{0x80, 0x7FF}, S, "\xC2\x80\xDF\xBF", 4},
      {{0x800, 0xFFFF}, S, "\xE0\xA0\x80\xEF\xBF\xBF", 6}, {{0x10FFFF}, S, "\xF4\x8F\xBF\xBF", 4},
      {{0x110000}, S, "\xF4\x90\x80\x80", 4}, {{0x1FFFFF}, S, "\xF7\xBF\xBF\xBF", 4},
      {{0x200000}, S, "\xF8\x88\x80\x80\x80", 5}, {{0x3FFFFFF}, S, "\xFB\xBF\xBF\xBF\xBF", 5},
      {{0x4000000}, S, "\xFC\x84\x80\x80\x80\x80", 6}, {{0x7FFFFFFF}, S, "\xFD\xBF\xBF\xBF\xBF\xBF", 6},
      {{0x41, 0x80000000}, S, "", 0}, {{0x41, 0x80000000, 0xFFFFFFFF, 0x42}, L, "AB", 2},
      {{0xD800}, S, "", 0}, {{0x41, 0xD800, 0x42}, L, "AB", 2}, {{0xDFFF, 0xE000}, L, "\xEE\x80\x80", 3},
      {{0xFEFF}, S, "\xEF\xBB\xBF", 3}, {{0xFEFF}, B, "", 0}, {{0x41, 0xFEFF, 0x42}, B, "AB", 2},
      {{0x41, 0, 0x42}, S, "A", 1}, {{0, 0x41}, L, "", 0}, {Units(40, 'x'), S, std::string(40, 'x'), 40},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.in) + " flags " + std::to_string(c.flags));
    EXPECT_EQ(Encode(c.in, c.in.size(), c.flags, 0).n, c.n);
    const Result r = Encode(c.in, c.in.size(), c.flags, c.n + 1);
    EXPECT_EQ(std::string(r.units.begin(), r.units.end()), c.out);
  }
  // A sequence that does not fit fails before any of its bytes is written.
  const wchar_t euro[] = {0x41, 0x20AC};
  char out[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(wchar_to_utf8(euro, 2, out, 3, S), 0u);
  EXPECT_EQ(std::string(out + 1, 3), "xxx");
  EXPECT_EQ(Encode({0x41, 0x20AC, 0}, 0, S, 0).n, 4u);  // zero-terminated
  EXPECT_EQ(wchar_to_utf8(nullptr, 1, out, 4, S), 0u);
  EXPECT_EQ(wchar_to_utf8(euro, 1, out, 0, S), 0u);
}

TEST(CodecOverloads, TurnEveryFailureIntoAnEmptyResult) {
  // clang-format off
  const std::pair<std::string, std::wstring> decodes[] = {
      {"", L""}, {std::string("\0A", 2), L""}, {std::string("a\0b", 3), L"a"}, {"a\xC3\xA9", L"a\xE9"},
      {"ok\x80", L""}, {"\xED\xA0\x80", L""}, {"\xEF\xBB\xBFx", L"\xFEFFx"}};
  const std::pair<std::wstring, std::string> encodes[] = {
      {L"", ""}, {std::wstring(L"a\0b", 3), "a"}, {L"a\xD800", ""},
      {std::wstring(1, wchar_t(0x80000000u)), ""}, {std::wstring(L"a\0\xD800", 3), "a"},
      {std::wstring(1, wchar_t(0x110000)), "\xF4\x90\x80\x80"}};
  // clang-format on
  for (const auto& c : decodes) EXPECT_EQ(utf8_to_wchar(c.first), c.second) << c.first;
  for (const auto& c : encodes) EXPECT_EQ(wchar_to_utf8(c.first), c.second);
}

TEST(CodecOverloads, RoundTripRealTextInEveryScript) {
  for (const char* name : {"mars-english", "mars-russian", "mars-chinese", "lipsum-emoji"}) {
    std::ifstream in(std::string(QORSTL_CORPUS_DIR) + "/" + name + ".utf8.txt", std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (text.empty()) GTEST_SKIP() << "corpus not found beside the project";
    const std::wstring wide = utf8_to_wchar(text);
    std::size_t leads = 0;
    for (char b : text) leads += (b & 0xC0) != 0x80;
    EXPECT_EQ(wide.size(), leads) << name;
    EXPECT_EQ(wchar_to_utf8(wide), text) << name;
  }
}

// The decoding rules written out plainly; `cap` 0 measures. A zero byte in `s` ends the text.
Result ModelDecode(const std::string& s, int flags, std::size_t cap) {
  const bool lenient = flags & L;
  Result r{0, {}};
  for (std::size_t i = 0; i < s.size();) {
    const unsigned b = uint8_t(s[i]);
    if (!lenient && (b == 0xC0 || b == 0xC1 || b == 0xF5 || b == 0xFF)) return {0, {}};
    if (b == 0) break;
    const std::size_t n = b < 0x80   ? 1
                          : b < 0xC0 ? 0
                          : b < 0xE0 ? 2
                          : b < 0xF0 ? 3
                          : b < 0xF8 ? 4
                          : b < 0xFC ? 5
                          : b < 0xFE ? 6
                                     : 0;
    bool ok = n != 0 && i + n <= s.size();
    for (std::size_t k = 1; ok && k < n; ++k) ok = (uint8_t(s[i + k]) >> 6) == 2;
    if (!ok) {
      if (!lenient) return {0, {}};
      ++i;
      continue;
    }
    std::uint32_t v = n == 1 ? b : b & (0x7Fu >> n);
    for (std::size_t k = 1; k < n; ++k) v = v << 6 | (uint8_t(s[i + k]) & 63);
    i += n, ++r.n;
    if (cap == 0) continue;
    if (r.units.size() == cap) return {0, {}};
    const bool surrogate = v >= 0xD800 && v <= 0xDFFF;
    if (surrogate && !lenient) return {0, {}};
    if (surrogate || (v == 0xFEFF && (flags & B)))
      --r.n;
    else
      r.units.push_back(v);
  }
  return r;
}

// The encoding rules; `cap` 0 measures. A zero element ends the text.
Result ModelEncode(const Units& u, int flags, std::size_t cap) {
  Result r{0, {}};
  for (std::size_t i = 0; i < u.size() && u[i] != 0; ++i) {
    const std::uint32_t c = u[i];
    if ((c >= 0xD800 && c <= 0xDFFF) || c >= 0x80000000u) {
      if (!(flags & L)) return {0, {}};
      continue;
    }
    if (c == 0xFEFF && (flags & B)) continue;
    Units seq;  // six bits at a time while the rest does not fit a lead byte of that length
    std::uint32_t rest = c;
    for (; rest >= (seq.empty() ? 0x80u : 1u << (6 - seq.size())); rest >>= 6) {
      seq.insert(seq.begin(), 0x80 | (rest & 63));
    }
    seq.insert(seq.begin(), seq.empty() ? rest : ((0xFF00u >> (seq.size() + 1)) & 0xFF) | rest);
    r.n += seq.size();
    if (cap == 0) continue;
    if (r.units.size() + seq.size() > cap) return {0, {}};
    r.units.insert(r.units.end(), seq.begin(), seq.end());
  }
  return r;
}

TEST(CodecModel, BothDirectionsMatchTheRulesOnRandomInput) {
  std::mt19937 rng(20261122);
  const uint8_t picks[] = {0x41, 0,    0x80, 0xBF, 0xC0, 0xC1, 0xC3, 0xDF, 0xE0, 0xE2, 0xED, 0xEF,
                           0xBB, 0xF0, 0xF4, 0xF5, 0xF7, 0xF8, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF, 0x90};
  const std::uint32_t values[] = {0x41,      0x80,       0x7FF,      0x800,    0xD7FF,
                                  0xD800,    0xDFFF,     0xFEFF,     0xFFFF,   0x10000,
                                  0x10FFFF,  0x140000,   0x1FFFFF,   0x200000, 0x3FFFFFF,
                                  0x4000000, 0x7FFFFFFF, 0x80000000, 0,        0xFFFFFFFF};
  for (int round = 0; round < 6000; ++round) {
    std::string s;  // biased to ASCII runs, leads of every length, continuations, refused bytes
    Units u;
    for (int i = rng() % 24; i > 0; --i) {
      const unsigned kind = rng() % 8;
      if (kind == 0) s.append(rng() % 40, 'a'), u.insert(u.end(), rng() % 40, 'b');
      if (kind == 1) u.push_back(static_cast<std::uint32_t>(rng()));
      if (kind >= 2) s += char(picks[rng() % sizeof picks]);
      if (kind >= 2 && kind < 5) s += char(0x80 | rng() % 64), s += char(0x80 | rng() % 64);
      if (kind >= 2) u.push_back(values[rng() % (sizeof values / 4)] + (kind == 7 ? rng() % 3 : 0));
    }
    const int flags = static_cast<int>(rng() % 4);
    const bool bounded = rng() % 3 != 0;  // else zero-terminated: a terminator is added
    if (!bounded) s += '\0', u.push_back(0);
    if (s.empty() || u.empty()) continue;
    SCOPED_TRACE(testing::PrintToString(s) + " / " + testing::PrintToString(u) + " flags " +
                 std::to_string(flags) + (bounded ? "" : " zero-terminated"));
    const std::size_t bytes = bounded ? s.size() : 0, elements = bounded ? u.size() : 0;

    const std::size_t measured = ModelDecode(s, flags, 0).n;
    ASSERT_EQ(Decode(s, bytes, flags, 0).n, measured);
    const std::size_t cap = std::max<std::size_t>(1, rng() % 2 ? measured : rng() % (measured + 3));
    const Result model = ModelDecode(s, flags, cap), got = Decode(s, bytes, flags, cap);
    ASSERT_EQ(got.n, model.n) << "capacity " << cap;
    if (model.n) {
      ASSERT_EQ(got.units, model.units) << "capacity " << cap;
    }

    const std::size_t need = ModelEncode(u, flags, 0).n;
    ASSERT_EQ(Encode(u, elements, flags, 0).n, need);
    const std::size_t room = std::max<std::size_t>(1, rng() % 2 ? need : rng() % (need + 3));
    ASSERT_EQ(Encode(u, elements, flags, room), ModelEncode(u, flags, room)) << "capacity " << room;
  }
}

}  // namespace
