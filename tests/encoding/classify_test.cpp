// Tests of the encoding predicates and of the conversions between UTF-8 and a named encoding.
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "encoding/encoding_test_util.h"
#include "qor/qorstl.h"

namespace {

using namespace std::string_literals;
using qor_test::Hex;

TEST(Classify, PredicatesTable) {
  struct Case {
    std::string text;
    bool ascii;
    bool utf8;
  };
  const Case cases[] = {
      {"", true, false},
      {"AB", true, false},
      {"A\0B"s, true, false},
      {"\0"s, true, false},
      {"A\x80"s, false, false},
      {"\x41\xC3\xA9"s, false, true},
      {"\xC3"s, false, false},  // cut short
      {"\xC3\x41"s, false, false},
      {"\x80"s, false, false},  // a continuation byte where a sequence begins
      {"\xFE\x80"s, false, false},
      {"\xFF"s, false, false},
      {"\xC0\x80"s, false, true},  // overlong forms pass
      {"\xC1\xBF"s, false, true},
      {"\xED\xA0\x80"s, false, true},  // so do surrogates
      {"\xF4\x90\x80\x80"s, false, true},
      {"\xF5\x80\x80\x80"s, false, true},
      {"\xF8\x88\x80\x80\x80"s, false, true},
      {"\xFC\x80\x80\x80\x80\x80"s, false, true},
      {"\xFC\x80\x80\x80\x80"s, false, false},
      {"\xFD\xBF\xBF\xBF\xBF\xBF\x41"s, false, true},
      {"\xC3\xA9\0"s, false, true},
      {"\xC3\0"s, false, false},  // a zero byte is no continuation byte
      {"0123456789abcdef\xC3\xA9"s, false, true},
      {"0123456789abcdefg\x80"s, false, false},
      {"01234567\x80"s, false, false},
      {"0123456789abcdefghijklm"s, true, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_is_ascii_string(c.text), c.ascii) << Hex(c.text);
    EXPECT_EQ(qor::string_is_utf8_string(c.text), c.utf8) << Hex(c.text);
    EXPECT_FALSE(qor::string_is_utf16_string(c.text)) << Hex(c.text);
  }
  for (const std::string& text : {"\x00\x41\x00\x42"s, "\xFE\xFF\x00\x41"s, "\xFF\xFE\x41\x00"s}) {
    EXPECT_FALSE(qor::string_is_utf16_string(text)) << Hex(text);
  }
}

// The UTF-8 layout written from the lead-byte table: C0..DF take one continuation byte, E0..EF
// two, F0..F7 three, F8..FB four, FC..FD five; 80..BF, FE and FF cannot begin a sequence.
bool ModelIsUtf8(const std::string& s) {
  bool any_high = false;
  for (std::size_t i = 0; i < s.size();) {
    const auto b = static_cast<unsigned char>(s[i]);
    if (b >= 0x80) any_high = true;
    std::size_t follow;
    if (b < 0x80)
      follow = 0;
    else if (b < 0xC0)
      return false;
    else if (b < 0xE0)
      follow = 1;
    else if (b < 0xF0)
      follow = 2;
    else if (b < 0xF8)
      follow = 3;
    else if (b < 0xFC)
      follow = 4;
    else if (b < 0xFE)
      follow = 5;
    else
      return false;
    if (i + follow >= s.size()) return false;  // cut short by the end
    for (std::size_t k = 1; k <= follow; ++k) {
      if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
    }
    i += 1 + follow;
  }
  return any_high;
}

TEST(Classify, AgreesWithModelOnRandomBytes) {
  const unsigned char alphabet[] = {0x00, 0x41, 0x7F, 0x80, 0xBF, 0xC0, 0xC3, 0xDF, 0xE0,
                                    0xEF, 0xF0, 0xF7, 0xF8, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};
  std::mt19937 rng(1234);
  for (int round = 0; round < 30000; ++round) {
    std::string s;
    const std::size_t pieces = rng() % 8;
    for (std::size_t i = 0; i < pieces; ++i) {
      if (rng() % 3 == 0) {
        s += std::string(rng() % 20, 'a');  // long ASCII runs reach the word-at-a-time path
      } else {
        s += static_cast<char>(alphabet[rng() % sizeof alphabet]);
        if (rng() % 2 == 0) s += std::string(rng() % 6, '\x80');
      }
    }
    bool model_ascii = true;
    for (char ch : s) model_ascii = model_ascii && static_cast<unsigned char>(ch) < 0x80;
    ASSERT_EQ(qor::string_is_ascii_string(s), model_ascii) << Hex(s);
    ASSERT_EQ(qor::string_is_utf8_string(s), ModelIsUtf8(s)) << Hex(s);
  }
}

TEST(AsciiConversion, ConvertsOnlyWhatNeedsIt) {
  struct Case {
    const char*
        direction;  // "to-local" for string_utf8_to_ascii, "to-utf8" for string_ascii_to_utf8
    std::string text;
    const char* encoding;
    std::string expected;
  };
  const Case cases[] = {
      {"to-local", "", "utf-16", ""},
      {"to-local", "plain\0text"s, "utf-16",
       "plain\0text"s},  // ASCII: untouched, whatever the name
      {"to-local", "plain", "qor-no-such-locale", "plain"},
      {"to-local", "\xC3\xA9"s, "utf-16", "\x00\xE9"s},
      {"to-local", "\xC3\xA9"s, "utf-8", "\xC3\xA9"s},
      {"to-local", "\xF0\x9F\x98\x80"s, "utf-8-16", "\xF0\x9F\x98\x80"s},
      {"to-local", "\xC3"s, "utf-8", "wstring_convert: from_bytes error"},
      {"to-local", "\xC3"s, "", "wstring_convert: from_bytes error"},
      {"to-local", "\xED\xA0\x80"s, "utf-8", "wstring_convert: from_bytes error"},
      {"to-utf8", "", "qor-no-such-locale", ""},
      {"to-utf8", "abc", "qor-no-such-locale", "abc"},
      {"to-utf8", "\xC3\xA9"s, "utf-16", "\xC3\xA9"s},  // already UTF-8 by its layout
      {"to-utf8", "\xC0\x80"s, "utf-16", "\xC0\x80"s},
      {"to-utf8", "\xE9"s, "utf-8", "wstring_convert: from_bytes error"},
      {"to-utf8", "\x00\xE9"s, "utf-16", "\xC3\xA9"s},
      {"to-utf8", "\xD8\x3D\xDE\x00"s, "utf-16", "\xF0\x9F\x98\x80"s},
      {"to-utf8", "\xD8\x3D"s, "utf-16", "wstring_convert: from_bytes error"},
  };
  for (const Case& c : cases) {
    const bool to_local = std::string(c.direction) == "to-local";
    const std::string got = to_local ? qor::string_utf8_to_ascii(c.text, c.encoding)
                                     : qor::string_ascii_to_utf8(c.text, c.encoding);
    EXPECT_EQ(got, c.expected) << c.direction << " " << Hex(c.text) << " " << c.encoding;
  }
  // A failed decoding's message goes through the encoding step: in UTF-16 it is UTF-16.
  std::string message_utf16;
  for (char ch : std::string("wstring_convert: from_bytes error")) message_utf16 += "\0"s + ch;
  EXPECT_EQ(qor::string_utf8_to_ascii("\xC3", "utf-16"), message_utf16);
  EXPECT_EQ(qor::string_utf8_to_ascii("\xC3\xA9\xF4\x90\x80\x80", "utf-8"),
            "wstring_convert: from_bytes error");
}

}  // namespace
