// The UTF-8 codec through its public entry points: tables of behaviour for both directions and both
// kinds of call, and the string overloads on real text. The kernel tests hold the codec on every
// level against the rules' models on random input.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "models/utf8_model.h"
#include "qor/qorstl.h"
#include "test_util.h"

namespace {

using qor_test::Units;
constexpr int S = 0, L = UTF8_SKIP_INVALID, B = UTF8_DROP_BOM;

// Inputs are heap copies of exactly their size, so that AddressSanitizer sees a read past them;
// the two elements after the capacity must keep their guard.
TEST(Utf8ToWchar, DecodesByTheLeadByteTable) {
  // clang-format off
  struct Case { std::string in; std::size_t src_len; int flags; std::size_t measured, filled; Units out; };
  const auto z = [](const char* s, std::size_t n) { return std::string(s, n); };
  const Case cases[] = {  // src_len 0: read up to the zero byte; filled: with the measured capacity
      {"A\xE2\x82\xAC", 4, S, 2, 2, {0x41, 0x20AC}},
      {"\xC0\x80", 2, S, 0, 0, {}},                         // C0, C1, F5 and FF are refused when strict
      {"\xC1\xBF", 2, L, 1, 1, {0x7F}},                     // and read when lenient
      {"\xE0\x80\x80", 3, S, 1, 1, {0}},                    // other overlong forms are read
      {"\x41\x80\x42", 3, S, 0, 0, {}},                     // a stray continuation byte, or
      {"\xE2\xC3\xA9", 3, L, 1, 1, {0xE9}},                 // a lead without its continuation bytes
      {"\xED\xA0\x80", 3, S, 1, 0, {}},                     // a surrogate is counted, then refused
      {"\x61\xED\xBF\xBF\x62", 5, L, 3, 2, {0x61, 0x62}},  // or dropped
      {"\x41\xEF\xBB\xBF\x42", 5, B, 3, 2, {0x41, 0x42}},  // U+FEFF dropped
      {"\xC0\x80", 2, ~3, 0, 0, {}},                         // other flag bits change nothing
      {z("AB\0C", 4), 4, S, 2, 2, {0x41, 0x42}},
      {z("A\xE2\x82\0", 4), 0, L, 1, 1, {0x41}},
      {z("\xFD\xBF\xBF\0", 4), 0, L, 0, 0, {}},               // nothing after the terminator is read
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(qor_test::Hex(c.in) + " flags " + std::to_string(c.flags));
    const std::vector<char> in(c.in.begin(), c.in.end());
    EXPECT_EQ(utf8_to_wchar(in.data(), c.src_len, nullptr, 0, c.flags), c.measured);
    const std::size_t cap = std::max<std::size_t>(c.measured, 1);
    std::vector<wchar_t> out(cap + 2, 0x5A);
    EXPECT_EQ(utf8_to_wchar(in.data(), c.src_len, out.data(), cap, c.flags), c.filled);
    EXPECT_EQ(Units(out.data(), out.data() + c.filled), c.out);
    EXPECT_EQ(Units(out.data() + cap, out.data() + cap + 2), Units(2, 0x5A))
        << "written past the capacity";
  }
  wchar_t buf[4];
  EXPECT_EQ(utf8_to_wchar(nullptr, 3, buf, 4, S), 0u);
  EXPECT_EQ(utf8_to_wchar("ab", 2, buf, 0, L), 0u);
  EXPECT_EQ(utf8_to_wchar("abc", 3, nullptr, 1, S), 3u);  // a measuring call ignores dst_cap
  EXPECT_EQ(utf8_to_wchar(std::string(100, 'x').c_str(), 100, buf, 4, L), 0u);  // out of room
  // Room is checked before a BOM is dropped.
  EXPECT_EQ(utf8_to_wchar("A\xEF\xBB\xBF", 4, buf, 1, B), 0u);
}

TEST(Utf8ToWchar, WritesNothingPastItsResult) {
  // Every element from the result up to the capacity keeps what the caller put there, also where
  // the text runs through the block paths.
  const std::string latin = "\xC3\x84\xC3\x96\xC3\x9C\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\xC3\xA9";
  // clang-format off
  struct Case { std::string in; int flags; std::size_t cap, result; };
  const Case cases[] = {
      {latin, S, 9, 8},
      {latin + latin, L, 17, 16},
      {std::string(70, 'a'), S, 71, 70},
      {latin + std::string(40, 'a'), B, 49, 48},
      {"\xE2\x82\xAC\xE2\x82\xAC", S, 3, 2},
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
  const auto w = qor_test::W;
  // clang-format off
  struct Case { std::wstring in; std::size_t src_len; int flags; std::string out; };
  const Case cases[] = {  // src_len 0: read up to the zero element; out: measured and written alike
      {w({0x41, 0x7F, 0x80, 0x7FF, 0x800}), 5, S, "\x41\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80"},
      {w({0xFFFF, 0x10000, 0x10FFFF}), 3, S, "\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {w({0x110000, 0x3FFFFFF, 0x7FFFFFFF}), 3, S, "\xF4\x90\x80\x80\xFB\xBF\xBF\xBF\xBF\xFD\xBF\xBF\xBF\xBF\xBF"},
      {w({0x41, 0xD800}), 2, S, ""},                       // surrogates and 2^31 on are refused
      {w({0x41, 0x80000000, 0xDFFF, 0x42}), 4, L, "AB"},  // or skipped
      {w({0xFEFF, 0x41}), 2, S, "\xEF\xBB\xBF\x41"},
      {w({0xFEFF, 0x41}), 2, B, "A"},
      {w({0x41, 0, 0x42}), 3, S, "A"},
      {w({0x41, 0x20AC, 0}), 0, S, "A\xE2\x82\xAC"},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(qor_test::Hex(c.in) + " flags " + std::to_string(c.flags));
    const std::vector<wchar_t> in(c.in.begin(), c.in.end());
    EXPECT_EQ(wchar_to_utf8(in.data(), c.src_len, nullptr, 0, c.flags), c.out.size());
    std::string out(c.out.size() + 3, 'x');
    EXPECT_EQ(wchar_to_utf8(in.data(), c.src_len, &out[0], c.out.size() + 1, c.flags),
              c.out.size());
    // Nothing changes past the result; past the capacity only when the result is 0 (a failure).
    const std::size_t kept = c.out.empty() ? 1 : c.out.size();
    EXPECT_EQ(out.substr(0, c.out.size()), c.out);
    EXPECT_EQ(out.substr(kept), std::string(out.size() - kept, 'x'));
  }
  const wchar_t euro[] = {0x41, 0x20AC};
  char out[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(wchar_to_utf8(euro, 2, out, 3, S), 0u);  // a sequence that does not fit: no byte of it
  EXPECT_EQ(std::string(out + 1, 3), "xxx");
  EXPECT_EQ(wchar_to_utf8(nullptr, 1, out, 4, S), 0u);
}

TEST(CodecOverloads, TurnEveryFailureIntoAnEmptyResultAndRoundTripRealText) {
  EXPECT_EQ(utf8_to_wchar(std::string("a\0b", 3)), L"a");
  for (const char* bad : {"", "\x80", "ok\xC3", "\xED\xA0\x80"}) EXPECT_EQ(utf8_to_wchar(bad), L"");
  EXPECT_EQ(wchar_to_utf8(std::wstring(L"a\0\xD800", 3)), "a");
  EXPECT_EQ(wchar_to_utf8(std::wstring(1, wchar_t(0x80000000u))), "");
  for (const char* name : {"mars-english", "mars-russian", "mars-chinese", "lipsum-emoji"}) {
    const std::string text = qor_test::Corpus(std::string(name) + ".utf8.txt");
    ASSERT_FALSE(text.empty()) << name << " missing from tests/data";
    EXPECT_EQ(wchar_to_utf8(utf8_to_wchar(text)), text) << name;
  }
}

// The overloads against their two calls written out (measure, size, fill, empty on 0), at every
// length up to past the point where short texts take one pass, on text whose elements take one to
// six bytes, with a fault (a malformed byte, a surrogate, a refused value) at the end.
TEST(CodecOverloads, GiveWhatTheirTwoCallsGiveAtEveryLength) {
  const auto two_calls_decode = [](const std::string& s) {
    const std::size_t n = utf8_to_wchar(s.data(), s.size(), nullptr, 0, 0);
    std::wstring out(n, L'\0');
    return n != 0 && utf8_to_wchar(s.data(), s.size(), &out[0], n, 0) != 0 ? out : L"";
  };
  const auto two_calls_encode = [](const std::wstring& w) {
    const std::size_t n = wchar_to_utf8(w.data(), w.size(), nullptr, 0, 0);
    std::string out(n, '\0');
    return n != 0 && wchar_to_utf8(w.data(), w.size(), &out[0], n, 0) != 0 ? out : "";
  };
  const std::uint32_t values[] = {'a', 'b', 0xE9, 0x4E2D, 0x1F600, 0x7FFFFFFF, 'c', 'd', 0xFEFF};
  std::wstring wide;
  std::string bytes;
  // Checked up to 80 units, and around 1024 (bytes for the decoder, elements for the encoder).
  const auto near_limit = [](std::size_t size) { return size <= 80 || size - 984 <= 100; };
  for (std::size_t length = 0; length <= 1100; ++length) {
    for (const std::string& fault :
         {std::string(), std::string("\xC3"), std::string("\xED\xA0\x80")}) {
      const std::string s = bytes + fault;
      if (near_limit(s.size())) {
        ASSERT_EQ(utf8_to_wchar(s), two_calls_decode(s)) << qor_test::Hex(s);
      }
    }
    for (std::uint32_t fault : {0u, 0xD800u, 0x80000000u}) {
      const std::wstring w = fault != 0 ? wide + wchar_t(fault) : wide;
      if (near_limit(w.size())) {
        ASSERT_EQ(wchar_to_utf8(w), two_calls_encode(w)) << qor_test::Hex(w);
      }
    }
    const std::uint32_t next = values[length % 9];
    wide += static_cast<wchar_t>(next);
    bytes += length % 3 == 0 ? std::string(1, 'x') : qor_test::Form(next);
    // Texts of the longest form only, whose bytes reach six times their length.
    const std::wstring longest(length, wchar_t(0x7FFFFFFF));
    if (near_limit(length)) {
      ASSERT_EQ(wchar_to_utf8(longest), two_calls_encode(longest)) << length;
    }
  }
}

}  // namespace
