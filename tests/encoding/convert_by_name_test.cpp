// Tests of the conversions by encoding name with the fixed Unicode names: tables of behaviour, a
// randomized comparison with a small model of strict UTF-8 and UTF-16, and corpus round trips.
#include <cstdint>
#include <locale>
#include <random>
#include <string>
#include <vector>

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

TEST(StringToWstring, DecodesEachFixedName) {
  struct Case {
    const char* encoding;
    std::string bytes;
    std::wstring expected;  // FromBytesError() for a failure
  };
  const std::wstring fails = FromBytesError();
  const Case cases[] = {
      {"utf-8", "", L""},
      {"utf-8", "\x41\xC3\xA9"s, Wide({0x41, 0xE9})},
      {"", "\x41\xC3\xA9"s, Wide({0x41, 0xE9})},
      {"utf-8", "\xF0\x9F\x98\x80"s, Wide({0x1F600})},
      {"utf-8", "a\0b"s, Wide({0x61, 0, 0x62})},
      {"utf-8", "\0"s, Wide({0})},
      {"utf-8", "\xEF\xBB\xBF\x41"s, Wide({0xFEFF, 0x41})},  // a byte-order mark is a character
      {"utf-8", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"s,
       Wide({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF})},
      {"utf-8", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"s, Wide({0x10000, 0x10FFFF})},
      {"utf-8", "\xED\x9F\xBF\xEE\x80\x80"s, Wide({0xD7FF, 0xE000})},
      {"utf-8", "\xC3"s, fails},      // cut short: no empty result
      {"utf-8", "\x41\xC3"s, fails},  // no partial result either
      {"utf-8", "\xC3\x28"s, fails},
      {"utf-8", "\xE2\x82"s, fails},
      {"utf-8", "\xF0\x9F\x98"s, fails},
      {"utf-8", "\xE2\x82\0"s, fails},  // a zero byte is no continuation byte
      {"utf-8", "\xC0\x80"s, fails},    // overlong forms
      {"utf-8", "\xC1\xBF"s, fails},
      {"utf-8", "\xE0\x9F\xBF"s, fails},
      {"utf-8", "\xF0\x8F\xBF\xBF"s, fails},
      {"utf-8", "\xED\xA0\x80"s, fails},  // surrogates
      {"utf-8", "\xED\xBF\xBF"s, fails},
      {"utf-8", "\xF4\x90\x80\x80"s, fails},  // above 0x10FFFF
      {"utf-8", "\xF5\x80\x80\x80"s, fails},
      {"utf-8", "\xF8\x88\x80\x80\x80"s, fails},
      {"utf-8", "\xFD\xBF\xBF\xBF\xBF\xBF"s, fails},
      {"utf-8", "\x80"s, fails},
      {"utf-8", "\xFE"s, fails},
      {"utf-8", "\xFF"s, fails},
      {"utf-8", "0123456789abcdefghij\xC3"s, fails},  // after a long ASCII run
      {"utf-8-16", "\xF0\x9F\x98\x80"s, Wide({0xD83D, 0xDE00})},
      {"utf-8-16", "\xF4\x8F\xBF\xBF\x41"s, Wide({0xDBFF, 0xDFFF, 0x41})},
      {"utf-8-16", "\x41\xC3\xA9\0"s, Wide({0x41, 0xE9, 0})},
      {"utf-8-16", "\xED\xA0\x80"s, fails},
      {"utf-8-16", "\xED\xA0\xBD\xED\xB8\x80"s, fails},  // a pair encoded as two sequences
      {"utf-8-16", "\xC3"s, fails},
      {"utf-8-16", "\xF4\x90\x80\x80"s, fails},
      {"utf-16", "", L""},
      {"utf-16", "\x00\x41\xD8\x3D\xDE\x00"s, Wide({0x41, 0x1F600})},
      {"utf-16", "\xFE\xFF\x00\x41"s, Wide({0xFEFF, 0x41})},  // big-endian, the mark kept
      {"utf-16", "\xFF\xFE\x41\x00"s, Wide({0xFFFE, 0x4100})},
      {"utf-16", "\x00\x00"s, Wide({0})},
      {"utf-16", "\xDB\xFF\xDF\xFF"s, Wide({0x10FFFF})},
      {"utf-16", "\xD7\xFF\xE0\x00"s, Wide({0xD7FF, 0xE000})},
      {"utf-16", "\x00\x41\x00"s, fails},
      {"utf-16", "\x41"s, fails},
      {"utf-16", "\xD8\x3D"s, fails},  // high surrogate at the end
      {"utf-16", "\xD8\x3D\x00\x41"s, fails},
      {"utf-16", "\xD8\x3D\xD8\x3D"s, fails},
      {"utf-16", "\xDE\x00"s, fails},  // low surrogate alone
      {"utf-16", "\xDE\x00\xD8\x3D"s, fails},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_string_to_wstring(c.bytes, c.encoding), c.expected)
        << c.encoding << " " << Hex(c.bytes);
  }
}

TEST(WstringToString, EncodesEachFixedName) {
  struct Case {
    const char* encoding;
    std::wstring units;
    std::string expected;  // ToBytesError() for a failure
  };
  const std::string fails = ToBytesError();
  const Case cases[] = {
      {"utf-8", L"", ""},
      {"utf-8", Wide({0x41, 0x1F600}), "\x41\xF0\x9F\x98\x80"s},
      {"", Wide({0x41, 0x1F600}), "\x41\xF0\x9F\x98\x80"s},
      {"utf-8", Wide({0x61, 0, 0x62}), "a\0b"s},
      {"utf-8", Wide({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF}),
       "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"s},
      {"utf-8", Wide({0xFEFF}), "\xEF\xBB\xBF"s},
      {"utf-8", Wide({0x110000}), fails},
      {"utf-8", Wide({0x41, 0xD800}), fails},
      {"utf-8", Wide({0xDFFF}), fails},
      {"utf-8", Wide({0xD83D, 0xDE00}), fails},  // a pair is two surrogate values here
      {"utf-8", Wide({0x80000000}), fails},
      {"utf-8", Wide({0xFFFFFFFF}), fails},
      {"utf-8", L"0123456789abcdefghij" + Wide({0x110000}), fails},
      {"utf-16", Wide({0x41, 0x1F600}), "\x00\x41\xD8\x3D\xDE\x00"s},  // no byte-order mark
      {"utf-16", Wide({0xFEFF, 0}), "\xFE\xFF\x00\x00"s},
      {"utf-16", Wide({0x10000, 0x10FFFF}), "\xD8\x00\xDC\x00\xDB\xFF\xDF\xFF"s},
      {"utf-16", Wide({0xD800}), fails},
      {"utf-16", Wide({0xD83D, 0xDE00}), fails},
      {"utf-16", Wide({0x110000}), fails},
      {"utf-16", Wide({0xFFFFFFFF}), fails},
      {"utf-8-16", Wide({0xD83D, 0xDE00}), "\xF0\x9F\x98\x80"s},
      {"utf-8-16", Wide({0x61, 0, 0xE9}), "a\0\xC3\xA9"s},
      {"utf-8-16", Wide({0xDBFF, 0xDFFF}), "\xF4\x8F\xBF\xBF"s},
      {"utf-8-16", Wide({0xD83D}), fails},  // high surrogate at the end
      {"utf-8-16", Wide({0xD83D, 0x41}), fails},
      {"utf-8-16", Wide({0xD83D, 0xD83D}), fails},
      {"utf-8-16", Wide({0xDE00}), fails},  // low surrogate alone
      {"utf-8-16", Wide({0xDE00, 0xD83D}), fails},
      {"utf-8-16", Wide({0x1F600}), "\xF0\x9F\x98\x80"s},  // taken as the code point
      {"utf-8-16", Wide({0x10041}), "\xF0\x90\x81\x81"s},  // not cut to its low 16 bits
      {"utf-8-16", Wide({0x110000}), fails},
      {"utf-8-16", Wide({0x80000041}), fails},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_wstring_to_string(c.units, c.encoding), c.expected)
        << c.encoding << " " << HexWide(c.units);
  }
}

// The message that constructing the locale facet gives for `name`, or "" when the platform has a
// locale of that name.
std::string LocaleError(const std::string& name) {
  try {
    qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>> facet(name);
    return "";
  } catch (const std::exception& error) {
    return error.what();
  }
}

TEST(ConversionByName, NamesAreExactAndOthersAreLocales) {
  // Upper-case and unhyphenated forms are not the fixed names: they go to the locale lookup.
  for (const char* name : {"UTF-8", "utf8", "Utf-8", "utf-8 ", "utf-16be", "qor-no-such-locale"}) {
    const std::string message = LocaleError(name);
    if (message.empty()) continue;  // the platform has a locale of that name
    std::wstring wide_message;
    for (char ch : message)
      wide_message.push_back(static_cast<wchar_t>(static_cast<signed char>(ch)));
    EXPECT_EQ(qor::string_string_to_wstring("\x41\xC3\xA9", name), wide_message) << name;
    EXPECT_EQ(qor::string_string_to_wstring("", name), wide_message) << name;
    EXPECT_EQ(qor::string_wstring_to_string(L"A", name), message) << name;
    EXPECT_EQ(qor::string_wstring_to_string(L"", name), message) << name;
  }
}

// ---- A model of the three Unicode names, written from the rules -------------------------------

bool IsScalar(std::uint32_t c) {
  return c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF);
}

// The shortest UTF-8 form of a value up to 0x1FFFFF.
std::string ModelUtf8Form(std::uint32_t c) {
  std::string s;
  if (c < 0x80) {
    s += static_cast<char>(c);
  } else if (c < 0x800) {
    s += static_cast<char>(0xC0 | (c >> 6));
    s += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    s += static_cast<char>(0xE0 | (c >> 12));
    s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    s += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    s += static_cast<char>(0xF0 | (c >> 18));
    s += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    s += static_cast<char>(0x80 | (c & 0x3F));
  }
  return s;
}

// Strict UTF-8: the text must split into pieces that are each exactly the shortest form of a
// scalar value (not a surrogate, at most 0x10FFFF).
bool ModelDecodeUtf8(const std::string& s, std::vector<std::uint32_t>& out) {
  const unsigned lead_bits[5] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  std::size_t i = 0;
  while (i < s.size()) {
    bool found = false;
    for (std::size_t len = 1; len <= 4 && i + len <= s.size() && !found; ++len) {
      std::uint32_t v = static_cast<unsigned char>(s[i]) & lead_bits[len];
      for (std::size_t k = 1; k < len; ++k)
        v = (v << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3F);
      if (IsScalar(v) && ModelUtf8Form(v) == s.substr(i, len)) {
        out.push_back(v);
        i += len;
        found = true;
      }
    }
    if (!found) return false;
  }
  return true;
}

std::vector<std::uint32_t> ToUtf16Units(const std::vector<std::uint32_t>& code_points) {
  std::vector<std::uint32_t> units;
  for (std::uint32_t c : code_points) {
    if (c < 0x10000) {
      units.push_back(c);
    } else {
      units.push_back(0xD800 + ((c - 0x10000) >> 10));
      units.push_back(0xDC00 + ((c - 0x10000) & 0x3FF));
    }
  }
  return units;
}

// UTF-16 units to code points: a high surrogate must be followed by a low one; anything else that
// is a surrogate fails.
bool ModelJoinUtf16(const std::vector<std::uint32_t>& units, std::vector<std::uint32_t>& out) {
  for (std::size_t i = 0; i < units.size(); ++i) {
    const std::uint32_t u = units[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
        units[i + 1] <= 0xDFFF) {
      out.push_back(0x10000 + ((u - 0xD800) << 10) + (units[i + 1] - 0xDC00));
      ++i;
    } else if (u >= 0xD800 && u <= 0xDFFF) {
      return false;
    } else {
      out.push_back(u);
    }
  }
  return true;
}

std::vector<std::uint32_t> Values(const std::wstring& w) {
  std::vector<std::uint32_t> v;
  for (wchar_t c : w) v.push_back(static_cast<std::uint32_t>(c));
  return v;
}

std::wstring ToWide(const std::vector<std::uint32_t>& v) {
  std::wstring w;
  for (std::uint32_t c : v) w.push_back(static_cast<wchar_t>(c));
  return w;
}

std::wstring ModelToWide(const std::string& bytes, const std::string& encoding) {
  std::vector<std::uint32_t> code_points;
  if (encoding == "utf-16") {
    if (bytes.size() % 2 != 0) return FromBytesError();
    std::vector<std::uint32_t> units;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
      units.push_back((static_cast<unsigned char>(bytes[i]) << 8) |
                      static_cast<unsigned char>(bytes[i + 1]));
    }
    if (!ModelJoinUtf16(units, code_points)) return FromBytesError();
    return ToWide(code_points);
  }
  if (!ModelDecodeUtf8(bytes, code_points)) return FromBytesError();
  return ToWide(encoding == "utf-8-16" ? ToUtf16Units(code_points) : code_points);
}

std::string ModelToNarrow(const std::wstring& wide, const std::string& encoding) {
  std::vector<std::uint32_t> code_points = Values(wide);
  if (encoding == "utf-8-16") {
    // Surrogates pair up; a lone one fails; a larger element is taken as a code point.
    code_points.clear();
    if (!ModelJoinUtf16(Values(wide), code_points)) return ToBytesError();
  }
  std::string out;
  for (std::uint32_t c : code_points) {
    if (!IsScalar(c)) return ToBytesError();
    if (encoding == "utf-16") {
      for (std::uint32_t u : ToUtf16Units({c})) {
        out += static_cast<char>(u >> 8);
        out += static_cast<char>(u & 0xFF);
      }
    } else {
      out += ModelUtf8Form(c);
    }
  }
  return out;
}

// Values that sit on the boundaries of the rules, and a few ordinary ones.
const std::uint32_t kEdgeValues[] = {
    0,       0x41,     0x7F,     0x80,     0xE9,       0x7FF,      0x800,     0xD7FF,  0xD800,
    0xDBFF,  0xDC00,   0xDFFF,   0xE000,   0xFEFF,     0xFFFE,     0xFFFF,    0x10000, 0x1F600,
    0xFFFFF, 0x10FFFF, 0x110000, 0x1FFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};

std::uint32_t RandomValue(std::mt19937& rng) {
  switch (rng() % 5) {
    case 0:
      return kEdgeValues[rng() % (sizeof kEdgeValues / sizeof kEdgeValues[0])];
    case 1:
      return 0x20 + rng() % 0x60;
    case 2:
      return rng() % 0x800;
    case 3:
      return rng() % 0x10000;
    default:
      return rng() % 0x110000;
  }
}

// Bytes that build valid forms, broken forms, overlong forms and stray bytes; ASCII runs long
// enough for the block paths.
std::string RandomBytes(std::mt19937& rng, bool utf16) {
  const unsigned char stray[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xED, 0xEF, 0xF0, 0xF4,
                                 0xF5, 0xF8, 0xFE, 0xFF, 0xD8, 0xDB, 0xDC, 0xDF};
  std::string s;
  const std::size_t pieces = rng() % 12;
  for (std::size_t i = 0; i < pieces; ++i) {
    switch (rng() % 4) {
      case 0:
        s += stray[rng() % sizeof stray];
        break;
      case 1:
        s += std::string(rng() % 40, static_cast<char>(utf16 ? 0 : 'a' + rng() % 26));
        break;
      default: {
        const std::uint32_t v = RandomValue(rng) & 0x1FFFFF;
        if (utf16) {
          s += static_cast<char>((v >> 8) & 0xFF);
          s += static_cast<char>(v & 0xFF);
        } else {
          std::string form = ModelUtf8Form(v);
          if (rng() % 8 == 0) form.pop_back();  // cut short
          s += form;
        }
      }
    }
  }
  return s;
}

std::wstring RandomWide(std::mt19937& rng) {
  std::wstring w;
  const std::size_t pieces = rng() % 12;
  for (std::size_t i = 0; i < pieces; ++i) {
    switch (rng() % 4) {
      case 0:
        w += std::wstring(rng() % 40, static_cast<wchar_t>('a' + rng() % 26));
        break;
      case 1: {  // a well-formed pair
        const std::uint32_t c = 0x10000 + rng() % 0x100000;
        w += static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
        w += static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        break;
      }
      default:
        w += static_cast<wchar_t>(RandomValue(rng));
    }
  }
  return w;
}

TEST(ConversionByName, AgreesWithModelOnRandomInput) {
  std::mt19937 rng(20261122);
  for (const char* encoding : {"utf-8", "utf-16", "utf-8-16"}) {
    int failures = 0;
    for (int round = 0; round < 20000 && failures < 5; ++round) {
      const std::string bytes = RandomBytes(rng, std::string(encoding) == "utf-16");
      const std::wstring decoded = qor::string_string_to_wstring(bytes, encoding);
      if (decoded != ModelToWide(bytes, encoding)) {
        ++failures;
        ADD_FAILURE() << encoding << " decoding " << Hex(bytes) << " gave " << HexWide(decoded)
                      << ", expected " << HexWide(ModelToWide(bytes, encoding));
      }
      const std::wstring wide = RandomWide(rng);
      const std::string encoded = qor::string_wstring_to_string(wide, encoding);
      if (encoded != ModelToNarrow(wide, encoding)) {
        ++failures;
        ADD_FAILURE() << encoding << " encoding " << HexWide(wide) << " gave " << Hex(encoded)
                      << ", expected " << Hex(ModelToNarrow(wide, encoding));
      }
    }
  }
}

TEST(ConversionByName, CorpusRoundTripsThroughEachName) {
  for (const char* name : qor_test::kUtf8CorpusFiles) {
    const std::string utf8 = qor_test::CorpusFile(name);
    ASSERT_FALSE(utf8.empty()) << name;
    const std::wstring code_points = qor::string_string_to_wstring(utf8, "utf-8");
    ASSERT_NE(code_points, FromBytesError()) << name;
    // Valid text within Unicode and without zero bytes: the codec reads it the same way.
    EXPECT_EQ(code_points, utf8_to_wchar(utf8)) << name;
    EXPECT_EQ(qor::string_wstring_to_string(code_points, "utf-8"), utf8) << name;

    const std::string utf16 = qor::string_wstring_to_string(code_points, "utf-16");
    ASSERT_NE(utf16, ToBytesError()) << name;
    EXPECT_EQ(qor::string_string_to_wstring(utf16, "utf-16"), code_points) << name;

    const std::wstring units = qor::string_string_to_wstring(utf8, "utf-8-16");
    EXPECT_EQ(units.size() * 2, utf16.size()) << name;  // one element per UTF-16 unit
    EXPECT_EQ(qor::string_wstring_to_string(units, "utf-8-16"), utf8) << name;
  }
}

}  // namespace
