// Tests of the loose BMP coders to_utf8/to_utf16, the encoding predicates and the ASCII
// conversions: a table per function, and to_utf16 against a small model on random text.
#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

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
      {"A\0\xC3\xA9\xE2\x82\xAC"s, W({0x41, 0, 0xE9, 0x20AC})},  // a zero byte is an element
      {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", W({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF})},
      {"\xEF\xBB\xBF", W({0xFEFF})},  // the mark is an element
      {"\xED\xA0\x80\xED\xB0\x80", W({0xD800, 0xDC00})},  // surrogates pass
      {"\xF0\x9F\x98\x80\x80\xFF", L"??????"},  // four-byte sequences, stray bytes
      {"\x80" "A", L"?A"},
      {"\xC3\x41\xC0\x80", W({0xC1, 0})},  // follow bytes unchecked, overlong forms
      {"\xE2\x82", W({0x2080})},  // cut short: missing bytes read as zero
      {"A\xC3", W({0x41, 0xC0})},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(to_utf16(c.bytes), c.units) << Hex(c.bytes);
  std::string cut = "\xE2\xBF\xBF";  // bytes past the end, still in the buffer, are not read
  cut.resize(1);
  EXPECT_EQ(to_utf16(cut), W({0x2000}));
}

TEST(ToUtf8, EncodesEachElementInOneToThreeBytes) {
  // clang-format off
  const struct { std::wstring units; std::string bytes; } cases[] = {
      {L"", ""},
      {W({0x41, 0, 0xE9, 0x20AC}), "A\0\xC3\xA9\xE2\x82\xAC"s},  // a zero element is a byte
      {W({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {W({0xFEFF}), "\xEF\xBB\xBF"},
      {W({0xD800, 0xDC00}), "\xED\xA0\x80\xED\xB0\x80"},  // surrogates pass
      {W({0x41, 0x10000, 0x10FFFF, 0x7FFFFFFF, 0x42}), "A???B"},  // beyond three bytes
      {W({0x80000000, 0x41}), "?A"},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(to_utf8(c.units), c.bytes) << Hex(c.units);
}

TEST(StringIsAsciiString, HoldsWhenNoByteIsHigh) {
  // clang-format off
  const struct { std::string text; bool ascii; } cases[] = {
      {"", true},
      {"A\0B\x7F"s, true},
      {"A\x80", false},
      {"0123456789abcdefghij\xFF", false},  // past the first blocks
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(string_is_ascii_string(c.text), c.ascii) << Hex(c.text);
}

TEST(StringIsUtf8String, HoldsForTheLayoutWithAHighByte) {
  // clang-format off
  const struct { std::string text; bool utf8; } cases[] = {
      {"", false},
      {"AB\0"s, false},  // pure ASCII
      {"A\xC3\xA9\0"s, true},
      {"\xC3\0"s, false},  // a zero byte is no continuation byte
      {"\xFE\x80", false},  // FE and FF begin nothing
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\x80", true},  // overlong, surrogate, too high
      {"\xF8\x88\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF", true},  // five and six bytes
      {"\xFC\x80\x80\x80\x80", false},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(string_is_utf8_string(c.text), c.utf8) << Hex(c.text);
}

TEST(StringIsUtf16String, NeverHolds) {
  for (const std::string& text :
       {""s, "\xFE\xFF\x00\x41"s, "\xFF\xFE\x41\x00"s, "\x00\x41\x00\x42"s})
    EXPECT_FALSE(string_is_utf16_string(text)) << Hex(text);
}

// The error message, as the encoding step of the ASCII conversions writes it.
const std::string kFromBytes(kFromBytesError.begin(), kFromBytesError.end());
std::string Utf16(const std::string& ascii) {
  std::string units;
  for (char ch : ascii) units += "\0"s + ch;
  return units;
}

TEST(StringUtf8ToAscii, ConvertsOnlyTextWithAHighByte) {
  // clang-format off
  const struct { std::string text; const char* encoding; std::string result; } cases[] = {
      {"", "qor-no-such-locale", ""},
      {"A\0B"s, "qor-no-such-locale", "A\0B"s},  // ASCII is not converted
      {"\xC3\xA9", "utf-16", "\0\xE9"s},
      {"A\xC3\xA9\0"s, "utf-16", "\0A\0\xE9\0\0"s},
      {"\xC3", "utf-16", Utf16(kFromBytes)},  // the decoding error, encoded
      {"\x00\xE9"s, "utf-16", Utf16(kFromBytes)},
      {"\xC3\0"s, "", kFromBytes},
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\x80", "utf-8", kFromBytes},  // standard UTF-8 only
      {"0123456789abcdefghij\x80", "", kFromBytes},
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
      {"\xC3\xA9", "qor-no-such-locale", "\xC3\xA9"},  // the UTF-8 layout is not converted
      {"A\xC3\xA9\0"s, "utf-16", "A\xC3\xA9\0"s},
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\x80", "utf-8", "\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\x80"},
      {"\xF8\x88\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF", "utf-8", "\xF8\x88\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF"},
      {"\x00\xE9"s, "utf-16", "\xC3\xA9"},
      {"\xFE\xFF\x00\x41"s, "utf-16", "\xEF\xBB\xBF\x41"},  // the mark is a character
      {"\xC3", "utf-16", kFromBytes},  // an odd number of bytes
      {"\xE9", "utf-8", kFromBytes},
      {"\xC3\0"s, "", kFromBytes},
      {"\xFC\x80\x80\x80\x80", "utf-8", kFromBytes},
      {"0123456789abcdefghij\x80", "", kFromBytes},
  };
  // clang-format on
  for (const auto& c : cases)
    EXPECT_EQ(string_ascii_to_utf8(c.text, c.encoding), c.result) << Hex(c.text) << c.encoding;
}

// Random text from pieces that reach every rule and every block path: runs of ASCII long enough
// for whole blocks, and single units from a set of edge values.
std::string RandomPieces(std::mt19937& rng, const std::string& edges) {
  std::string text;
  for (std::size_t pieces = rng() % 12; pieces > 0; --pieces) {
    if (rng() % 2 == 0) text.append(rng() % 40, static_cast<char>('a' + rng() % 26));
    if (rng() % 2 != 0) text += edges[rng() % edges.size()];
  }
  return text;
}

// to_utf8 and the UTF-8 layout test meet their models on every kernel level in the kernel tests.
TEST(ToUtf16, MatchesTheRuleOnRandomText) {
  const auto to_utf16_model = [](const std::string& s) {
    const auto at = [&](std::size_t i) {
      return i < s.size() ? unsigned(static_cast<unsigned char>(s[i])) : 0u;
    };
    std::wstring out;
    for (std::size_t p = 0; p < s.size();) {
      const unsigned b = at(p);
      const unsigned two = ((b & 0x1Fu) << 6) | (at(p + 1) & 0x3Fu);
      const unsigned three = ((b & 0x0Fu) << 12) | ((at(p + 1) & 0x3Fu) << 6) | (at(p + 2) & 0x3Fu);
      const bool is_two = (b & 0xE0u) == 0xC0u, is_three = (b & 0xF0u) == 0xE0u;
      out += static_cast<wchar_t>(b < 0x80 ? b : is_two ? two : is_three ? three : '?');
      p += b < 0x80 ? 1 : is_two ? 2 : is_three ? 3 : 1;
    }
    return out;
  };
  std::mt19937 rng(8);
  for (int round = 0; round < 3000; ++round) {
    const std::string bytes = RandomPieces(
        rng, "\0\x41\x7F\x80\xBF\xC0\xC3\xDF\xE0\xE2\xED\xEF\xF0\xF4\xF8\xFC\xFD\xFE\xFF"s);
    EXPECT_EQ(to_utf16(bytes), to_utf16_model(bytes)) << Hex(bytes);
  }
}

}  // namespace
