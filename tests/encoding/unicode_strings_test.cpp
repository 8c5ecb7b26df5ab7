// Tests of the loose BMP coders to_utf8/to_utf16, the strict shortcuts beside them, the encoding
// predicates and the ASCII conversions, with randomized comparisons against models of the rules.
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "test_util.h"
#include "qor/qorstl.h"

namespace {

using namespace std::string_literals;
using qor_test::Hex;
using qor_test::kToBytesError;
using qor_test::W;

TEST(ToUtf8, WritesOneToThreeBytesAndQuestionMarksBeyond) {
  EXPECT_EQ(qor::to_utf8(W({0x41, 0, 0xE9, 0x20AC})), "A\0\xC3\xA9\xE2\x82\xAC"s);
  EXPECT_EQ(qor::to_utf8(W({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF})),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
  EXPECT_EQ(qor::to_utf8(W({0xD800, 0xDC00})), "\xED\xA0\x80\xED\xB0\x80");  // surrogates pass
  EXPECT_EQ(qor::to_utf8(W({0x41, 0x10000, 0x10FFFF, 0x80000000, 0x42})), "A???B");
}

TEST(ToUtf16, DecodesOneToThreeByteSequencesLoosely) {
  const struct {
    std::string in;
    std::wstring out;
  } cases[] = {
      {"", L""},
      {"A\0\xC3\xA9\xE2\x82\xAC"s, W({0x41, 0, 0xE9, 0x20AC})},
      {"\xF0\x9F\x98\x80\x80\xFF"s, L"??????"},   // four-byte sequences and stray bytes
      {"\xC3\x41"s, W({0xC1})},                   // follow bytes are used up unchecked
      {"\xC0\x80\xED\xA0\x80"s, W({0, 0xD800})},  // overlong forms and surrogates pass
      {"\xE2\x82"s, W({0x2080})},                 // cut short: missing bytes read as zero
      {"A\xE2"s, W({0x41, 0x2000})},
  };
  for (const auto& c : cases) EXPECT_EQ(qor::to_utf16(c.in), c.out) << Hex(c.in);
  // Bytes past the end, still in the string's buffer, are not read.
  std::string cut = "\xE2\xBF\xBF";
  cut.resize(1);
  EXPECT_EQ(qor::to_utf16(cut), W({0x2000}));
}

TEST(ToUtf16, AgreesWithModelOnRandomBytes) {
  const unsigned char alphabet[] = {0x00, 0x41, 0x7F, 0x80, 0xBF, 0xC0, 0xC3,
                                    0xDF, 0xE0, 0xE2, 0xEF, 0xF0, 0xFF};
  std::mt19937 rng(4242);
  for (int round = 0; round < 20000; ++round) {
    std::string s(rng() % 12, '\0');
    for (char& ch : s) ch = static_cast<char>(alphabet[rng() % sizeof alphabet]);
    const auto at = [&s](std::size_t k) {
      return k < s.size() ? static_cast<unsigned char>(s[k]) % 64u : 0u;
    };
    std::wstring model;  // from the rule: lead bits, then six bits of each follow byte
    for (std::size_t p = 0; p < s.size();) {
      const unsigned b = static_cast<unsigned char>(s[p]);
      const std::size_t len = b < 0x80                ? 1
                              : b >= 0xC0 && b < 0xE0 ? 2
                              : b >= 0xE0 && b < 0xF0 ? 3
                                                      : 0;
      model += static_cast<wchar_t>(len == 1   ? b
                                    : len == 2 ? (b - 0xC0) * 64 + at(p + 1)
                                    : len == 3 ? (b - 0xE0) * 4096 + at(p + 1) * 64 + at(p + 2)
                                               : '?');
      p += len == 0 ? 1 : len;
    }
    ASSERT_EQ(qor::to_utf16(s), model) << Hex(s);
    ASSERT_EQ(qor::to_utf16(qor::to_utf8(model)), model) << Hex(s);  // BMP values round-trip
  }
}

TEST(UnicodeStrings, CodecAndUtf8NameDifferOnOddInput) {
  EXPECT_EQ(qor::string_utf8_wstring_to_string(W({0x61, 0x110000})), "a\xF4\x90\x80\x80");
  EXPECT_EQ(qor::string_wstring_to_utf8(W({0x61, 0x110000})), kToBytesError);
  EXPECT_EQ(qor::string_utf8_wstring_to_string(W({0x61, 0, 0x62})), "a");  // the codec stops
  EXPECT_EQ(qor::string_wstring_to_utf8(W({0x61, 0, 0x62})), "a\0b"s);
  EXPECT_EQ(qor::string_utf8_wstring_to_string(W({0x61, 0xD800})), "");
  EXPECT_EQ(qor::string_utf8_to_wstring("a\0\xF0\x9F\x98\x80"s), W({0x61, 0, 0x1F600}));
}

TEST(Classify, PredicatesTable) {
  const struct {
    std::string text;
    bool ascii, utf8;
  } cases[] = {
      {"", true, false},
      {"A\0B"s, true, false},
      {"A\x80"s, false, false},
      {"A\xC3\xA9\0"s, false, true},
      {"\xC3"s, false, false},                          // cut short
      {"\xC3\0"s, false, false},                        // a zero byte is no continuation byte
      {"\xFE\x80\x80\x80\x80\x80\x80"s, false, false},  // FE and FF begin no sequence
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\x80"s, false, true},  // bit patterns only
      {"\xFC\x80\x80\x80\x80\x80"s, false, true},
      {"0123456789abcdefghij\xC3"s, false, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(qor::string_is_ascii_string(c.text), c.ascii) << Hex(c.text);
    EXPECT_EQ(qor::string_is_utf8_string(c.text), c.utf8) << Hex(c.text);
    EXPECT_FALSE(qor::string_is_utf16_string(c.text)) << Hex(c.text);
  }
  EXPECT_FALSE(qor::string_is_utf16_string("\xFE\xFF\x00\x41"s));
}

TEST(Classify, AgreesWithModelOnRandomBytes) {
  const unsigned char alphabet[] = {0x00, 0x41, 0x80, 0xBF, 0xC0, 0xDF, 0xE0, 0xEF,
                                    0xF0, 0xF7, 0xF8, 0xFC, 0xFD, 0xFE, 0xFF};
  std::mt19937 rng(1234);
  for (int round = 0; round < 30000; ++round) {
    std::string s;
    for (std::size_t pieces = rng() % 8; pieces > 0; --pieces) {
      s += rng() % 3 == 0
               ? std::string(rng() % 20, 'a')
               : std::string(1 + rng() % 3, static_cast<char>(alphabet[rng() % sizeof alphabet]));
    }
    // From the lead-byte table: C0..DF take one continuation byte, E0..EF two, F0..F7 three,
    // F8..FB four, FC..FD five; 80..BF, FE and FF begin nothing.
    bool high = false, layout = true;
    for (std::size_t i = 0; i < s.size() && layout;) {
      const unsigned b = static_cast<unsigned char>(s[i]);
      high = high || b >= 0x80;
      const std::size_t follow = b < 0x80   ? 0
                                 : b < 0xC0 ? 9
                                 : b < 0xE0 ? 1
                                 : b < 0xF0 ? 2
                                 : b < 0xF8 ? 3
                                 : b < 0xFC ? 4
                                 : b < 0xFE ? 5
                                            : 9;
      for (std::size_t k = 1; k <= follow && layout; ++k)
        layout = i + k < s.size() && (s[i + k] & 0xC0) == 0x80;
      i += 1 + follow;
    }
    ASSERT_EQ(qor::string_is_ascii_string(s), !high) << Hex(s);
    ASSERT_EQ(qor::string_is_utf8_string(s), high && layout) << Hex(s);
  }
}

TEST(AsciiConversion, ConvertsOnlyWhatNeedsIt) {
  std::string message_in_utf16;
  for (char ch : "wstring_convert: from_bytes error"s) message_in_utf16 += "\0"s + ch;
  const struct {
    bool to_local;
    std::string text;
    const char* name;
    std::string out;
  } cases[] = {
      {true, "plain\0"s, "qor-no-such-locale", "plain\0"s},  // ASCII: returned as it is
      {true, "\xC3\xA9", "utf-16", "\x00\xE9"s},
      {true, "\xC3", "utf-16", message_in_utf16},  // the error text, encoded
      {true, "\xC3", "", "wstring_convert: from_bytes error"},
      {false, "\xC0\x80", "utf-16", "\xC0\x80"},  // has the UTF-8 layout already
      {false, "\x00\xE9"s, "utf-16", "\xC3\xA9"},
      {false, "\xE9", "utf-8", "wstring_convert: from_bytes error"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.to_local ? qor::string_utf8_to_ascii(c.text, c.name)
                         : qor::string_ascii_to_utf8(c.text, c.name),
              c.out)
        << Hex(c.text) << c.name;
  }
}

}  // namespace
