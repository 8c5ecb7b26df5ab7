// Tests of the loose BMP coders to_utf8/to_utf16, the codec's strict encoder beside them, the
// encoding predicates and the ASCII conversions.
#include <gtest/gtest.h>

#include "qor/qorstl.h"
#include "test_util.h"

using namespace std::string_literals;
using namespace qor;
using namespace qor_test;

// to_utf16 reads `loose` as `wide` (ways '<' and '='), to_utf8 writes `wide` as `loose` ('>' and
// '='), and string_utf8_wstring_to_string writes `wide` as `codec`.
TEST(UnicodeStrings, Table) {
  // clang-format off
  const struct { char way; std::string loose; std::wstring wide; std::string codec; } cases[] = {
      {'=', "", L"", ""},
      {'=', "A\0\xC3\xA9\xE2\x82\xAC"s, W({0x41, 0, 0xE9, 0x20AC}), "A"},  // the codec stops at a zero
      {'=', "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", W({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {'=', "\xED\xA0\x80\xED\xB0\x80", W({0xD800, 0xDC00}), ""},  // surrogates pass, but not the codec
      {'>', "A???B", W({0x41, 0x10000, 0x10FFFF, 0x7FFFFFFF, 0x42}), "A\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xFD\xBF\xBF\xBF\xBF\xBF" "B"},
      {'>', "?A", W({0x80000000, 0x41}), ""},
      {'<', "\xF0\x9F\x98\x80\x80\xFF"s, L"??????", "??????"},  // four-byte sequences, stray bytes
      {'<', "\xC3\x41\xC0\x80"s, W({0xC1, 0}), "\xC3\x81"},  // follow bytes unchecked, overlong forms
      {'<', "\xE2\x82"s, W({0x2080}), "\xE2\x82\x80"},  // cut short: missing bytes read as zero
      {'<', "A\xC3"s, W({0x41, 0xC0}), "A\xC3\x80"},
  };
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_EQ(c.way == '>' ? c.wide : to_utf16(c.loose), c.wide) << Hex(c.loose);
    EXPECT_EQ(c.way == '<' ? c.loose : to_utf8(c.wide), c.loose) << Hex(c.wide);
    EXPECT_EQ(string_utf8_wstring_to_string(c.wide), c.codec) << Hex(c.wide);
  }
  std::string cut = "\xE2\xBF\xBF";  // bytes past the end, still in the buffer, are not read
  cut.resize(1);
  EXPECT_EQ(to_utf16(cut), W({0x2000}));
}

// The predicates, and the ASCII conversions with `name`: utf8_to_ascii leaves empty and ASCII text
// as it is, ascii_to_utf8 also text of the UTF-8 layout; a failure gives the error message.
TEST(UnicodeStrings, ClassifyAndAsciiTable) {
  const std::string err(kFromBytesError.begin(), kFromBytesError.end());
  std::string err16;  // the message encoded as "utf-16"
  for (char ch : err) err16 += "\0"s + ch;
  // clang-format off
  const struct { std::string text; bool ascii, utf8; const char* name; std::string to_local, to_utf8; } cases[] = {
      {"", true, false, "qor-no-such-locale", "", ""},
      {"A\0B"s, true, false, "qor-no-such-locale", "A\0B"s, "A\0B"s},
      {"A\xC3\xA9\0"s, false, true, "utf-16", "\0A\0\xE9\0\0"s, "A\xC3\xA9\0"s},
      {"\xC3", false, false, "utf-16", err16, err},  // cut short, and an odd number of bytes
      {"\xC3\0"s, false, false, "", err, err},  // a zero byte is no continuation byte
      {"\x00\xE9"s, false, false, "utf-16", err16, "\xC3\xA9"},
      {"\xFE\xFF\x00\x41"s, false, false, "utf-16", err16, "\xEF\xBB\xBF\x41"},  // FE and FF begin nothing
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\x80", false, true, "utf-8", err, "\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\x80"},
      {"\xF8\x88\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF", false, true, "utf-8", err, "\xF8\x88\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF"},
      {"\xFC\x80\x80\x80\x80", false, false, "utf-8", err, err},
      {"0123456789abcdefghij\x80", false, false, "", err, err},
  };
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_EQ(string_is_ascii_string(c.text), c.ascii) << Hex(c.text);
    EXPECT_EQ(string_is_utf8_string(c.text), c.utf8) << Hex(c.text);
    EXPECT_FALSE(string_is_utf16_string(c.text)) << Hex(c.text);
    EXPECT_EQ(string_utf8_to_ascii(c.text, c.name), c.to_local) << Hex(c.text) << c.name;
    EXPECT_EQ(string_ascii_to_utf8(c.text, c.name), c.to_utf8) << Hex(c.text) << c.name;
  }
}
