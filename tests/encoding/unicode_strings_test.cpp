// Tests of the loose BMP coders to_utf8/to_utf16, the codec's strict encoder beside them, the
// encoding predicates and the ASCII conversions: a table per function, and the coders and the
// UTF-8 layout test against small models on random text.
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

// The codec's strict encoder: one to six bytes, empty for a value it refuses, ends at a zero.
TEST(StringUtf8WstringToString, EncodesByTheCodecsStrictRules) {
  // clang-format off
  const struct { std::wstring wide; std::string bytes; } cases[] = {
      {L"", ""},
      {W({0x41, 0, 0xE9}), "A"},  // stops at a zero
      {W({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {W({0x41, 0x10000, 0x10FFFF, 0x7FFFFFFF, 0x42}), "A\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xFD\xBF\xBF\xBF\xBF\xBF" "B"},
      {W({0x61, 0x110000}), "a\xF4\x90\x80\x80"},
      {W({0xD800, 0xDC00}), ""},  // surrogates are refused
      {W({0x80000000, 0x41}), ""},
  };
  // clang-format on
  for (const auto& c : cases)
    EXPECT_EQ(string_utf8_wstring_to_string(c.wide), c.bytes) << Hex(c.wide);
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
      {"\xC3", false},  // cut short
      {"\xC3\0"s, false},  // a zero byte is no continuation byte
      {"\xC3" "A", false},
      {"\x80", false},
      {"\xFE\x80", false},  // FE and FF begin nothing
      {"\xFF", false},
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\x80", true},  // overlong, surrogate, too high
      {"\xF8\x88\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF", true},  // five and six bytes
      {"\xFC\x80\x80\x80\x80", false},
      {"0123456789abcdefghij\x80", false},
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
template <typename Text>
Text RandomPieces(std::mt19937& rng, std::initializer_list<std::uint32_t> edges) {
  const std::vector<std::uint32_t> units(edges);
  Text text;
  for (std::size_t pieces = rng() % 12; pieces > 0; --pieces) {
    if (rng() % 2 == 0) {
      text.append(rng() % 40, static_cast<typename Text::value_type>('a' + rng() % 26));
    } else {
      text.push_back(static_cast<typename Text::value_type>(units[rng() % units.size()]));
    }
  }
  return text;
}

TEST(UnicodeStringsModel, CodersAndLayoutTestMatchTheRulesOnRandomText) {
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
  const auto to_utf8_model = [](const std::wstring& w) {
    std::string out;
    for (wchar_t unit : w) {
      const auto c = static_cast<std::uint32_t>(unit);
      if (c < 0x80) {
        out += static_cast<char>(c);
      } else if (c < 0x800) {
        out += {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
      } else if (c < 0x10000) {
        out += {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 0x3F)),
                static_cast<char>(0x80 | (c & 0x3F))};
      } else {
        out += '?';
      }
    }
    return out;
  };
  const auto is_utf8_model = [](const std::string& s) {
    int expected = 0;
    for (unsigned char b : s) {
      int ones = 0;
      while (ones < 8 && ((b << ones) & 0x80) != 0) ++ones;
      if (expected > 0 && ones != 1) return false;
      if (expected == 0 && (ones == 1 || ones >= 7)) return false;
      expected = expected > 0 ? expected - 1 : std::max(ones - 1, 0);
    }
    return expected == 0 && std::any_of(s.begin(), s.end(), [](char ch) { return ch & 0x80; });
  };
  std::mt19937 rng(8);
  for (int round = 0; round < 3000; ++round) {
    const auto bytes =
        RandomPieces<std::string>(rng, {0x00, 0x41, 0x7F, 0x80, 0xBF, 0xC0, 0xC3, 0xDF, 0xE0, 0xE2,
                                        0xED, 0xEF, 0xF0, 0xF4, 0xF8, 0xFC, 0xFD, 0xFE, 0xFF});
    EXPECT_EQ(to_utf16(bytes), to_utf16_model(bytes)) << Hex(bytes);
    EXPECT_EQ(string_is_utf8_string(bytes), is_utf8_model(bytes)) << Hex(bytes);
    const auto units =
        RandomPieces<std::wstring>(rng, {0x00, 0x7F, 0x80, 0x7FF, 0x800, 0xD800, 0xFFFF, 0x10000,
                                         0x10FFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF});
    EXPECT_EQ(to_utf8(units), to_utf8_model(units)) << Hex(units);
  }
}

}  // namespace
