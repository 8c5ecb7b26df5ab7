// Tests of the loose decoder to_utf16 and of the ASCII conversions, whose tables also show where
// the encoding predicates draw their lines: ASCII when no byte is high, UTF-8 for the 31-bit layout
// with a high byte. to_utf8 and the predicates meet their models on every kernel level in the
// kernel tests and over the fuzz seeds; to_utf16 meets its model here on random text.
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "models/utf8_model.h"
#include "qor/qorstl.h"
#include "test_util.h"

using namespace std::string_literals;
using namespace qor;
using namespace qor_test;

namespace {

TEST(ToUtf16, DecodesOneToThreeByteSequencesLoosely) {
  // clang-format off
  const struct { std::string bytes; std::wstring units; } cases[] = {
      {"", L""},
      {"A\0\xC3\xA9\xE2\x82\xAC\xEF\xBB\xBF"s, W({0x41, 0, 0xE9, 0x20AC, 0xFEFF})},  // zeros and marks are elements
      {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", W({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF})},
      {"\xED\xA0\x80\xC3\x41\xC0\x80", W({0xD800, 0xC1, 0})},  // surrogates, overlongs, follow bytes unchecked
      {"\xF0\x9F\x98\x80\x80\xFF" "A", L"??????A"},  // four-byte sequences, stray bytes
      {"\xE2\x82", W({0x2080})},  // cut short: missing bytes read as zero
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(to_utf16(c.bytes), c.units) << Hex(c.bytes);
  std::string cut = "\xE2\xBF\xBF";  // bytes past the end, still in the buffer, are not read
  cut.resize(1);
  EXPECT_EQ(to_utf16(cut), W({0x2000}));
}

// Random text from pieces that reach every rule and every block path: runs of ASCII long enough
// for whole blocks, and single bytes from a set of edge values.
TEST(ToUtf16, MatchesTheRuleOnRandomText) {
  const std::string edges = "\0\x41\x7F\x80\xBF\xC0\xC3\xDF\xE0\xE2\xED\xEF\xF0\xF4\xF8\xFE\xFF"s;
  std::mt19937 rng(8);
  for (int round = 0; round < 3000; ++round) {
    std::string bytes;
    for (std::size_t pieces = rng() % 12; pieces > 0; --pieces) {
      if (rng() % 2 == 0) bytes.append(rng() % 40, static_cast<char>('a' + rng() % 26));
      if (rng() % 2 != 0) bytes += edges[rng() % edges.size()];
    }
    EXPECT_EQ(to_utf16(bytes), ModelToUtf16(bytes)) << Hex(bytes);
  }
}

// Long runs of four-byte sequences, which the kernels leave to the rule and so stretch the span the
// rule takes alone, between runs the kernels take: every run length reaches the kernel again at a
// different place in its span.
TEST(ToUtf16, MatchesTheRuleAcrossRunsTheKernelsRefuse) {
  std::mt19937 rng(20);
  for (int round = 0; round < 300; ++round) {
    std::string bytes;
    for (std::size_t pieces = 1 + rng() % 8; pieces > 0; --pieces) {
      for (std::size_t k = rng() % 300; k > 0; --k) bytes += "\xF0\x9F\x98\x80";
      const char* const plain[] = {"a", "\xC3\xA9", "\xE4\xB8\xAD"};
      const char* const unit = plain[rng() % 3];
      for (std::size_t k = rng() % 400; k > 0; --k) bytes += unit;
    }
    ASSERT_EQ(to_utf16(bytes), ModelToUtf16(bytes)) << round;
  }
}

// The "utf-8" conversions against the standard rule written out, at every length around the one
// where a text stops taking a single pass on the stack (1024 bytes or elements), on text of one- to
// four-byte forms with a fault at its end, or none.
TEST(StringUtf8ByName, MatchesTheStandardRuleAroundTheOnePassLength) {
  const auto decode = [](const std::string& s) {
    std::wstring out;
    std::uint32_t v = 0;
    for (std::size_t i = 0, n = 0; i < s.size(); i += n) {
      if ((n = StandardSequence(s, i, v)) == 0) return kFromBytesError;
      out += static_cast<wchar_t>(v);
    }
    return out;
  };
  const auto encode = [](const std::wstring& w) {
    std::string out;
    for (wchar_t c : w) {
      const auto v = static_cast<std::uint32_t>(c);
      if (Surrogate(v) || v > 0x10FFFF) return kToBytesError;
      out += v == 0 ? std::string(1, '\0') : Form(v);
    }
    return out;
  };
  // ASCII of every length up to past a block, then one sequence, or a fault, then a little ASCII.
  for (std::size_t length = 0; length <= 70; ++length) {
    std::string ascii(length, '\0');
    for (std::size_t i = 0; i < length; ++i) ascii[i] = static_cast<char>(i % 5 == 4 ? 0 : 'a' + i);
    for (const std::string& odd :
         {"\xC3\xA9"s, "\xE4\xB8\xAD"s, "\xC3"s, "\x80"s, "\xED\xA0\x80"s}) {
      for (const std::string& s : {ascii + odd, ascii + odd + "xyz"}) {
        ASSERT_EQ(string_utf8_to_wstring(s), decode(s)) << Hex(s);
        ASSERT_EQ(string_string_to_wstring(s, "utf-8"), decode(s)) << Hex(s);
      }
    }
  }
  const std::uint32_t values[] = {'a', 0, 0xE9, 0x4E2D, 0x1F600, 0x10FFFF, 'b', 0x7FF, 0xFEFF};
  std::string bytes;
  std::wstring wide;
  for (std::size_t length = 0; length <= 1100; ++length) {
    if (length <= 80 || length + 40 >= 1024) {
      // A fault last, or first (short texts take a path of their own).
      for (const std::string& fault : {""s, "\xC3"s, "\xED\xA0\x80"s, "\xF4\x90\x80\x80"s}) {
        const std::string rest = bytes.substr(0, length - std::min(length, fault.size()));
        for (const std::string& s : {rest + fault, fault + rest}) {
          if (s.size() == length) {
            ASSERT_EQ(string_utf8_to_wstring(s), decode(s)) << Hex(s);
          }
        }
      }
      // A refused element last, first and in the middle (short texts take a path of their own).
      for (std::uint32_t fault : {0u, 0xD800u, 0xDFFFu, 0x110000u, 0x80000000u}) {
        for (std::size_t at : {length - 1, std::size_t{0}, length / 2}) {
          std::wstring w = wide;
          if (fault != 0 && at < w.size()) w[at] = static_cast<wchar_t>(fault);
          ASSERT_EQ(string_wstring_to_utf8(w), encode(w)) << Hex(w);
          ASSERT_EQ(string_wstring_to_string(w, "utf-8"), encode(w)) << Hex(w);
        }
      }
    }
    const std::uint32_t next = values[length % 9];
    wide += static_cast<wchar_t>(next);
    bytes += next == 0 ? std::string(1, '\0') : Form(next);
  }
}

// The error message, as the encoding step of the ASCII conversions writes it.
const std::string kFromBytes(kFromBytesError.begin(), kFromBytesError.end());

TEST(StringUtf8ToAscii, ConvertsOnlyTextWithAHighByte) {
  // clang-format off
  const struct { std::string text; const char* encoding; std::string result; } cases[] = {
      {"", "qor-no-such-locale", ""},  // ASCII is not converted
      {"A\xC3\xA9\0"s, "utf-16", "\0A\0\xE9\0\0"s},
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\x80", "utf-8", kFromBytes},  // standard UTF-8 only
  };
  // clang-format on
  for (const auto& c : cases)
    EXPECT_EQ(string_utf8_to_ascii(c.text, c.encoding), c.result) << Hex(c.text) << c.encoding;
}

TEST(StringAsciiToUtf8, ConvertsOnlyTextOutsideTheUtf8Layout) {
  // clang-format off
  const struct { std::string text; const char* encoding; std::string result; } cases[] = {
      {"", "qor-no-such-locale", ""},
      {"A\0B"s, "qor-no-such-locale", "A\0B"s},
      {"\xC3\xA9\0"s, "qor-no-such-locale", "\xC3\xA9\0"s},  // the UTF-8 layout is not converted
      {"\xC0\x80\xED\xA0\x80\xF8\x88\x80\x80\x80", "utf-8", "\xC0\x80\xED\xA0\x80\xF8\x88\x80\x80\x80"},
      {"\xFE\xFF\x00\x41\x00\xE9"s, "utf-16", "\xEF\xBB\xBF\x41\xC3\xA9"},  // the mark is a character
      {"\xC3\0"s, "utf-16", "\xEC\x8C\x80"},  // a zero byte is no continuation byte
      {"\xC3", "utf-16", kFromBytes},  // an odd number of bytes
      {"\xFC\x80\x80\x80\x80", "utf-8", kFromBytes},  // cut short
      {"\xFE\x80\x80\x80\x80\x80\x80", "utf-8", kFromBytes},  // FE and FF begin nothing
      {"0123456789abcdefghij\x80", "", kFromBytes},
  };
  // clang-format on
  for (const auto& c : cases)
    EXPECT_EQ(string_ascii_to_utf8(c.text, c.encoding), c.result) << Hex(c.text) << c.encoding;
}

}  // namespace
