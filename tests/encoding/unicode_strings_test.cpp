// Tests of the Unicode string conversions: the loose BMP coders to_utf8/to_utf16 against models
// of their rules, and the strict shortcuts beside them.
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "encoding/encoding_test_util.h"
#include "qor/qorstl.h"

namespace {

using namespace std::string_literals;
using qor_test::FromBytesError;
using qor_test::Hex;
using qor_test::HexWide;
using qor_test::ToBytesError;
using qor_test::Wide;

TEST(ToUtf8, WritesOneToThreeBytesPerElement) {
  struct Case {
    std::wstring units;
    std::string bytes;
  };
  const Case cases[] = {
      {L"", ""},
      {Wide({0x41, 0xE9, 0x20AC}), "\x41\xC3\xA9\xE2\x82\xAC"s},
      {Wide({0x41, 0, 0x42}), "A\0B"s},
      {Wide({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"s},
      {Wide({0xFEFF}), "\xEF\xBB\xBF"s},
      {Wide({0xD800, 0xDC00}), "\xED\xA0\x80\xED\xB0\x80"s},  // surrogates are not refused
      {Wide({0x10000}), "?"},                                 // beyond three bytes
      {Wide({0x41, 0x1F600, 0x42}), "A?B"},
      {Wide({0x10FFFF, 0x110000, 0x7FFFFFFF}), "???"},
      {Wide({0x80000000, 0xFFFFFFFF}), "??"},  // negative as signed values
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::to_utf8(c.units), c.bytes) << HexWide(c.units);
  }
}

TEST(ToUtf16, DecodesOneToThreeByteSequencesLoosely) {
  struct Case {
    std::string bytes;
    std::wstring units;
  };
  const Case cases[] = {
      {"", L""},
      {"\x41\xC3\xA9\xE2\x82\xAC"s, Wide({0x41, 0xE9, 0x20AC})},
      {"\xF0\x9F\x98\x80"s, L"????"},  // four-byte sequences: one "?" per byte
      {"\x80\x41"s, Wide({'?', 0x41})},
      {"\xF8\xFE\xFF\xBF"s, L"????"},
      {"\xC3\x41"s, Wide({0xC1})},  // the follow byte is used up unchecked
      {"\xC3"s, Wide({0xC0})},      // cut short: missing bytes read as zero
      {"\xE2\x82"s, Wide({0x2080})},
      {"\xE2"s, Wide({0x2000})},
      {"A\xE2"s, Wide({0x41, 0x2000})},
      {"A\0B"s, Wide({0x41, 0, 0x42})},
      {"\xC0\x80"s, Wide({0})},           // overlong forms pass
      {"\xED\xA0\x80"s, Wide({0xD800})},  // so do surrogates
      {"\xEF\xBB\xBF"s, Wide({0xFEFF})},
      {"\xE2\x41\x41\x41"s, Wide({0x2041, 0x41})},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::to_utf16(c.bytes), c.units) << Hex(c.bytes);
  }
}

// Bytes after the end of the text (still inside the string's buffer) are never read: the missing
// follow bytes count as zero even when the buffer holds other bytes there.
TEST(ToUtf16, ReadsNothingPastTheText) {
  std::string text = "\xE2\xBF\xBF\xBF";
  text.resize(1);
  EXPECT_EQ(qor::to_utf16(text), Wide({0x2000}));
  text = "\xC3\xBF\xBF";
  text.resize(1);
  EXPECT_EQ(qor::to_utf16(text), Wide({0xC0}));
}

// to_utf16 written from its rule, one byte at a time, a missing byte read as zero.
std::wstring ModelToUtf16(const std::string& s) {
  const auto at = [&s](std::size_t k) -> std::uint32_t {
    return k < s.size() ? static_cast<unsigned char>(s[k]) : 0;
  };
  std::wstring out;
  for (std::size_t p = 0; p < s.size();) {
    const std::uint32_t b = at(p);
    if (b < 0x80) {
      out += static_cast<wchar_t>(b);
      p += 1;
    } else if (b >= 0xC0 && b <= 0xDF) {
      out += static_cast<wchar_t>((b - 0xC0) * 64 + at(p + 1) % 64);
      p += 2;
    } else if (b >= 0xE0 && b <= 0xEF) {
      out += static_cast<wchar_t>((b - 0xE0) * 4096 + (at(p + 1) % 64) * 64 + at(p + 2) % 64);
      p += 3;
    } else {
      out += L'?';
      p += 1;
    }
  }
  return out;
}

TEST(ToUtf16, AgreesWithModelOnRandomBytes) {
  const unsigned char alphabet[] = {0x00, 0x41, 0x7F, 0x80, 0xBF, 0xC0, 0xC3, 0xDF,
                                    0xE0, 0xE2, 0xED, 0xEF, 0xF0, 0xF7, 0xFE, 0xFF};
  std::mt19937 rng(4242);
  for (int round = 0; round < 20000; ++round) {
    std::string s(rng() % 12, '\0');
    for (char& ch : s) ch = static_cast<char>(alphabet[rng() % sizeof alphabet]);
    ASSERT_EQ(qor::to_utf16(s), ModelToUtf16(s)) << Hex(s);
  }
}

// Every BMP value survives to_utf8 then to_utf16, zero and surrogates included.
TEST(ToUtf8, RoundTripsThroughToUtf16) {
  std::mt19937 rng(77);
  for (int round = 0; round < 5000; ++round) {
    std::wstring units(rng() % 20, L'\0');
    for (wchar_t& u : units) {
      u = static_cast<wchar_t>(rng() % 3 == 0 ? rng() % 0x80 : rng() % 0x10000);
    }
    const std::string bytes = qor::to_utf8(units);
    ASSERT_EQ(qor::to_utf16(bytes), units) << HexWide(units) << " via " << Hex(bytes);
  }
}

TEST(UnicodeStrings, StrictPathsDifferFromLooseOnes) {
  // The codec's 31-bit encoding goes past 0x10FFFF; the "utf-8" conversion refuses it.
  EXPECT_EQ(qor::string_utf8_wstring_to_string(Wide({0x61, 0x110000})), "\x61\xF4\x90\x80\x80"s);
  EXPECT_EQ(qor::string_wstring_to_utf8(Wide({0x61, 0x110000})), ToBytesError());
  EXPECT_EQ(qor::string_utf8_to_wstring("\xC3"), FromBytesError());
  EXPECT_EQ(qor::to_utf16("\xC3"), Wide({0xC0}));

  // A zero element ends the codec's encoding but not the "utf-8" conversion.
  EXPECT_EQ(qor::string_utf8_wstring_to_string(Wide({0x61, 0, 0x62})), "a");
  EXPECT_EQ(qor::string_wstring_to_utf8(Wide({0x61, 0, 0x62})), "a\0b"s);
  EXPECT_EQ(qor::string_utf8_to_wstring("a\0b"s), Wide({0x61, 0, 0x62}));

  // Surrogates: empty from the codec, error text from "utf-8", three bytes from to_utf8.
  EXPECT_EQ(qor::string_utf8_wstring_to_string(Wide({0x61, 0xD800})), "");
  EXPECT_EQ(qor::string_utf8_wstring_to_string(Wide({0x80000000})), "");
  EXPECT_EQ(qor::string_wstring_to_utf8(Wide({0xD800})), ToBytesError());
  EXPECT_EQ(qor::string_utf8_to_wstring("\xED\xA0\x80"), FromBytesError());

  EXPECT_EQ(qor::string_utf8_to_wstring("\x41\xF0\x9F\x98\x80"), Wide({0x41, 0x1F600}));
  EXPECT_EQ(qor::string_wstring_to_utf8(Wide({0x41, 0x1F600})), "\x41\xF0\x9F\x98\x80");
  EXPECT_EQ(qor::string_utf8_wstring_to_string(Wide({0x7FFFFFFF})), "\xFD\xBF\xBF\xBF\xBF\xBF");
}

}  // namespace
