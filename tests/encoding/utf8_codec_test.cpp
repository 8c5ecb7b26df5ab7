// The UTF-8 codec: tables of behaviour for both directions and both kinds of call, the string
// overloads and real text. The kernel tests hold the codec on every level against the rules'
// models on random input.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "encoding/utf8_model.h"
#include "qor/qorstl.h"
#include "test_util.h"

namespace {

using qor_test::Result;
using qor_test::Units;
constexpr int S = 0, L = UTF8_SKIP_INVALID, B = UTF8_DROP_BOM;

// Runs the entry point on a heap copy of exactly the input's size, so AddressSanitizer sees a read
// past it; `cap` 0 makes a measuring call. The two units behind the capacity must stay untouched.
template <typename In, typename Out, typename Unit>
Result Run(std::size_t (*entry)(const In*, std::size_t, Out*, std::size_t, int),
           const std::vector<Unit>& in, std::size_t src_len, int flags, std::size_t cap) {
  std::unique_ptr<In[]> src(new In[in.size()]);
  for (std::size_t i = 0; i < in.size(); ++i) src[i] = static_cast<In>(in[i]);
  std::vector<Out> dst(cap + 2, Out(0x5A));
  const std::size_t n = entry(src.get(), src_len, cap ? dst.data() : nullptr, cap, flags);
  EXPECT_TRUE(dst[cap] == Out(0x5A) && dst[cap + 1] == Out(0x5A)) << "write past the capacity";
  Units out;
  for (std::size_t i = 0; cap && i < n && i < cap; ++i) {
    out.push_back(static_cast<std::uint32_t>(dst[i]) & (sizeof(Out) == 1 ? 0xFF : ~0u));
  }
  return {n, out};
}
Result Decode(const std::string& in, std::size_t src_len, int flags, std::size_t cap) {
  return Run(utf8_to_wchar, std::vector<char>(in.begin(), in.end()), src_len, flags, cap);
}
Result Encode(const Units& in, std::size_t src_len, int flags, std::size_t cap) {
  return Run(wchar_to_utf8, in, src_len, flags, cap);
}

TEST(Utf8ToWchar, DecodesByTheLeadByteTable) {
  // The measuring result, then what a filling call with that capacity returns and writes.
  // clang-format off
  struct Case { std::string in; int flags; std::size_t measured, filled; Units out; };
  const Case cases[] = {
      {"A\xE2\x82\xAC", S, 2, 2, {0x41, 0x20AC}}, {"\xC0\x80", S, 0, 0, {}}, {"\xC0\x80", L, 1, 1, {0}},
      {"\xC1\xBF", S, 0, 0, {}}, {"\xC1\xBF", L, 1, 1, {0x7F}}, {"\xE0\x80\x80", S, 1, 1, {0}},
      {"\xF4\x90\x80\x80", S, 1, 1, {0x110000}}, {"\xF5\x80\x80\x80", S, 0, 0, {}},
      {"\xF5\x80\x80\x80", L, 1, 1, {0x140000}}, {"\xF6\x80\x80\x80", S, 1, 1, {0x180000}},
      {"\xF8\x88\x80\x80\x80", S, 1, 1, {0x200000}}, {"\xFD\xBF\xBF\xBF\xBF\xBF", S, 1, 1, {0x7FFFFFFF}},
      {"\xFE", S, 0, 0, {}}, {"\xFF", L, 0, 0, {}}, {"\x41\x80\x42", S, 0, 0, {}},
      {"\x41\x80\x42", L, 2, 2, {0x41, 0x42}}, {"A\xE2\x82", S, 0, 0, {}}, {"A\xE2\x82", L, 1, 1, {0x41}},
      {"\x41\xE2\x41", L, 2, 2, {0x41, 0x41}}, {"\xE2\xC3\xA9", L, 1, 1, {0xE9}},
      {"\xED\xA0\x80", S, 1, 0, {}}, {"\x61\xED\xBF\xBF\x62", L, 3, 2, {0x61, 0x62}},
      {"\xEF\xBB\xBF\x41", S, 2, 2, {0xFEFF, 0x41}}, {"\x41\xEF\xBB\xBF\x42", B, 3, 2, {0x41, 0x42}},
      {std::string("AB\0C", 4), S, 2, 2, {0x41, 0x42}}, {std::string("\xE2\0A", 3), L, 0, 0, {}},
      {"\xC0\x80", ~3, 0, 0, {}}, {std::string(40, 'x') + "\xC3\xA9", S, 41, 41, Units(40, 'x')},
  };
  const Case terminated[] = {  // read up to the zero byte (src_len 0)
      {std::string("AB\0", 3), S, 2, 2, {0x41, 0x42}}, {std::string(1, '\0'), L, 0, 0, {}},
      {std::string("A\xE2\x82\0", 4), S, 0, 0, {}}, {std::string("A\xE2\x82\0", 4), L, 1, 1, {0x41}},
      {std::string("\xFD\xBF\xBF\0", 4), L, 0, 0, {}},
  };
  // clang-format on
  const auto check = [](const Case& c, std::size_t src_len) {
    SCOPED_TRACE(testing::PrintToString(c.in) + " flags " + std::to_string(c.flags));
    EXPECT_EQ(Decode(c.in, src_len, c.flags, 0).first, c.measured);
    const Result filled = Decode(c.in, src_len, c.flags, std::max<std::size_t>(c.measured, 1));
    EXPECT_EQ(filled.first, c.filled);
    if (c.out.size() == c.filled) {
      EXPECT_EQ(filled.second, c.out);
    }
  };
  for (const Case& c : cases) check(c, c.in.size());
  for (const Case& c : terminated) check(c, 0);
  wchar_t buf[4];
  EXPECT_EQ(utf8_to_wchar(nullptr, 3, buf, 4, S), 0u);
  EXPECT_EQ(utf8_to_wchar("ab", 2, buf, 0, L), 0u);
  EXPECT_EQ(utf8_to_wchar("abc", 3, nullptr, 1, S), 3u);  // a measuring call ignores dst_cap
  EXPECT_EQ(Decode(std::string(100, 'x'), 100, L, 99).first, 0u);  // out of room, in either mode
  EXPECT_EQ(Decode("A\xEF\xBB\xBF", 4, B, 1).first, 0u);  // room is checked before a BOM is dropped
}

TEST(Utf8ToWchar, WritesNothingPastItsResult) {
  // Every element from the result up to the capacity keeps what the caller put there, also where
  // the text runs through the block paths and where the call fails part way.
  const std::string latin = "\xC3\x84\xC3\x96\xC3\x9C\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\xC3\xA9";
  // clang-format off
  struct Case { std::string in; int flags; std::size_t cap, result; };
  const Case cases[] = {
      {latin, S, 9, 8}, {latin, S, 16, 8}, {latin + "x", S, 9, 9}, {latin + latin, L, 17, 16},
      {latin + "\x80", S, 9, 0}, {latin + latin + "\xC3", S, 20, 0}, {std::string(70, 'a'), S, 71, 70},
      {latin + std::string(40, 'a'), B, 49, 48}, {"\xE2\x82\xAC\xE2\x82\xAC", S, 3, 2},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(qor_test::Hex(c.in) + " capacity " + std::to_string(c.cap));
    std::vector<wchar_t> dst(c.cap, wchar_t(0x5A));
    EXPECT_EQ(utf8_to_wchar(c.in.data(), c.in.size(), dst.data(), c.cap, c.flags), c.result);
    for (std::size_t i = c.result; i < c.cap && c.result != 0; ++i) {
      EXPECT_EQ(dst[i], wchar_t(0x5A)) << "element " << i;
    }
  }
}

TEST(WcharToUtf8, EncodesByTheLengthTable) {
  // clang-format off
  struct Case { Units in; int flags; std::string out; };  // measured and written alike
  const Case cases[] = {
      {{0x41, 0x7F}, S, "\x41\x7F"}, {{0x80, 0x7FF}, S, "\xC2\x80\xDF\xBF"}, {{0x20AC}, S, "\xE2\x82\xAC"},
      {{0x10FFFF}, S, "\xF4\x8F\xBF\xBF"}, {{0x110000}, S, "\xF4\x90\x80\x80"},
      {{0x3FFFFFF}, S, "\xFB\xBF\xBF\xBF\xBF"}, {{0x7FFFFFFF}, S, "\xFD\xBF\xBF\xBF\xBF\xBF"},
      {{0x41, 0x80000000}, S, ""}, {{0x41, 0x80000000, 0x42}, L, "AB"}, {{0xD800}, S, ""},
      {{0x41, 0xD800, 0x42}, L, "AB"}, {{0xFEFF}, S, "\xEF\xBB\xBF"}, {{0xFEFF}, B, ""},
      {{0x41, 0, 0x42}, S, "A"}, {Units(40, 'x'), S, std::string(40, 'x')},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.in) + " flags " + std::to_string(c.flags));
    EXPECT_EQ(Encode(c.in, c.in.size(), c.flags, 0).first, c.out.size());
    const Units written = Encode(c.in, c.in.size(), c.flags, c.out.size() + 1).second;
    EXPECT_EQ(std::string(written.begin(), written.end()), c.out);
  }
  const wchar_t euro[] = {0x41, 0x20AC};
  char out[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(wchar_to_utf8(euro, 2, out, 3, S), 0u);  // a sequence that does not fit: no byte of it
  EXPECT_EQ(std::string(out + 1, 3), "xxx");
  EXPECT_EQ(Encode({0x41, 0x20AC, 0}, 0, S, 0).first, 4u);  // zero-terminated
  EXPECT_EQ(wchar_to_utf8(nullptr, 1, out, 4, S), 0u);
}

TEST(CodecOverloads, TurnEveryFailureIntoAnEmptyResultAndRoundTripRealText) {
  EXPECT_EQ(utf8_to_wchar(std::string("a\0b", 3)), L"a");
  for (const char* bad : {"", "\x80", "ok\xC3", "\xED\xA0\x80"}) EXPECT_EQ(utf8_to_wchar(bad), L"");
  EXPECT_EQ(wchar_to_utf8(std::wstring(L"a\0\xD800", 3)), "a");
  EXPECT_EQ(wchar_to_utf8(L"a\xD800"), "");
  EXPECT_EQ(wchar_to_utf8(std::wstring(1, wchar_t(0x80000000u))), "");
  for (const char* name : {"mars-english", "mars-russian", "mars-chinese", "lipsum-emoji"}) {
    const std::string text = qor_test::Corpus(std::string(name) + ".utf8.txt");
    ASSERT_FALSE(text.empty()) << name << " missing from tests/data";
    const std::wstring wide = utf8_to_wchar(text);
    EXPECT_EQ(std::size_t(std::count_if(text.begin(), text.end(),
                                        [](char b) { return (b & 0xC0) != 0x80; })),
              wide.size());
    EXPECT_EQ(wchar_to_utf8(wide), text) << name;
  }
}

}  // namespace
