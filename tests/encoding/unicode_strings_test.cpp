// Tests of the loose decoder to_utf16 and of the ASCII conversions, whose tables also show where
// the encoding predicates draw their lines: ASCII when no byte is high, UTF-8 for the 31-bit layout
// with a high byte. to_utf8 and the predicates meet their models on every kernel level in the
// kernel tests and over the fuzz seeds; to_utf16 meets its model here on random text.
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
