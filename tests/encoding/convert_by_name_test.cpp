// Tests of the conversions by the names "utf-8", "utf-16" and "utf-8-16": tables of behaviour,
// corpus round trips, and in libc++ builds a randomized differential test against the standard
// converter over the standard Unicode facets.
#include <codecvt>
#include <cstdint>
#include <locale>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "test_util.h"
#include "qor/qorstl.h"

namespace {

using namespace std::string_literals;
using qor_test::Hex;
using qor_test::kFromBytesError;
using qor_test::kToBytesError;
using qor_test::W;

TEST(ConvertByName, DecodesFixedNames) {
  const std::wstring bad = kFromBytesError;
  const struct {
    const char* name;
    std::string in;
    std::wstring out;
  } cases[] = {
      {"utf-8", "", L""},
      {"", "A\xC3\xA9"s, W({0x41, 0xE9})},
      {"utf-8", "a\0\xEF\xBB\xBF"s, W({0x61, 0, 0xFEFF})},  // zeros and marks are characters
      {"utf-8", "\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xF4\x8F\xBF\xBF"s,
       W({0x7FF, 0x800, 0xD7FF, 0x10FFFF})},
      {"utf-8", "A\xC3"s, bad},       // cut short: no partial result
      {"utf-8", "\xE2\x82\0"s, bad},  // a zero byte completes nothing
      {"utf-8", "\xC0\x80"s, bad},    // overlong
      {"utf-8", "\xE0\x9F\xBF"s, bad},
      {"utf-8", "\xF0\x8F\xBF\xBF"s, bad},
      {"utf-8", "\xED\xA0\x80"s, bad},      // surrogate
      {"utf-8", "\xF4\x90\x80\x80"s, bad},  // above 0x10FFFF
      {"utf-8", "\xF8\x88\x80\x80\x80"s, bad},
      {"utf-8", "0123456789abcdefgh\x80"s, bad},
      {"utf-8-16", "\xF0\x9F\x98\x80\0"s, W({0xD83D, 0xDE00, 0})},
      {"utf-8-16", "\xED\xA0\xBD\xED\xB8\x80"s, bad},  // a pair spelled as two sequences
      {"utf-16", "\x00\x41\xD8\x3D\xDE\x00"s, W({0x41, 0x1F600})},
      {"utf-16", "\xFE\xFF\x00\x00"s, W({0xFEFF, 0})},  // big-endian; the mark is a character
      {"utf-16", "\x00\x41\x00"s, bad},
      {"utf-16", "\xD8\x3D"s, bad},
      {"utf-16", "\xDE\x00\xD8\x3D"s, bad},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(qor::string_string_to_wstring(c.in, c.name), c.out) << c.name << Hex(c.in);
  }
}

TEST(ConvertByName, EncodesFixedNames) {
  const std::string bad = kToBytesError;
  const struct {
    const char* name;
    std::wstring in;
    std::string out;
  } cases[] = {
      {"utf-8", L"", ""},
      {"", W({0x61, 0, 0x1F600}), "a\0\xF0\x9F\x98\x80"s},
      {"utf-8", W({0x110000}), bad},
      {"utf-8", W({0x41, 0xDFFF}), bad},
      {"utf-8", W({0xFFFFFFFF}), bad},
      {"utf-16", W({0x41, 0x1F600}), "\x00\x41\xD8\x3D\xDE\x00"s},  // no byte-order mark
      {"utf-16", W({0xD800}), bad},
      {"utf-8-16", W({0xD83D, 0xDE00, 0}), "\xF0\x9F\x98\x80\0"s},
      {"utf-8-16", W({0xD83D}), bad},  // high surrogate at the end
      {"utf-8-16", W({0xD83D, 0x41}), bad},
      {"utf-8-16", W({0xDE00, 0xD83D}), bad},
      {"utf-8-16", W({0x10041}), "\xF0\x90\x81\x81"s},  // a code point, not its low 16 bits
      {"utf-8-16", W({0x110000}), bad},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(qor::string_wstring_to_string(c.in, c.name), c.out) << c.name << Hex(c.in);
  }
}

TEST(ConvertByName, OtherNamesAreLocaleNames) {
  for (const char* name : {"UTF-8", "utf8", "utf-8 ", "qor-no-such-locale"}) {
    std::string message;
    try {
      qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>> facet(name);
      continue;  // the platform has a locale of that name
    } catch (const std::exception& error) {
      message = error.what();
    }
    EXPECT_EQ(qor::string_wstring_to_string(L"", name), message) << name;
    EXPECT_EQ(qor::string_utf8_to_ascii("\xC3\xA9", name), message) << name;
    EXPECT_EQ(qor::string_string_to_wstring("A", name),
              std::wstring(message.begin(), message.end()));
  }
}

TEST(ConvertByName, CorpusRoundTripsThroughEachName) {
  for (const char* file :
       {"mars-english", "mars-french", "mars-russian", "mars-chinese", "mars-hindi", "mars-thai",
        "lipsum-emoji", "lipsum-korean", "lipsum-arabic"}) {
    const std::string utf8 = qor_test::ReadFile(QORSTL_CORPUS_DIR "/"s + file + ".utf8.txt");
    const std::wstring code_points = qor::string_string_to_wstring(utf8, "utf-8");
    ASSERT_FALSE(utf8.empty()) << file;
    EXPECT_EQ(code_points, utf8_to_wchar(utf8)) << file;  // the codec agrees on valid Unicode
    EXPECT_EQ(qor::string_wstring_to_string(code_points, "utf-8"), utf8) << file;
    const std::string utf16 = qor::string_wstring_to_string(code_points, "utf-16");
    EXPECT_EQ(qor::string_string_to_wstring(utf16, "utf-16"), code_points) << file;
    const std::wstring units = qor::string_string_to_wstring(utf8, "utf-8-16");
    EXPECT_EQ(units.size() * 2, utf16.size()) << file;
    EXPECT_EQ(qor::string_wstring_to_string(units, "utf-8-16"), utf8) << file;
  }
}

#if defined(_LIBCPP_VERSION)
// libc++'s facets keep the strict rules and word their errors like the library. They keep only the
// low 16 bits of an element above 0xFFFF given to "utf-8-16" encoding, so such input stays out.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
// Values on every boundary of the rules, and ordinary ones.
std::uint32_t RandomValue(std::mt19937& rng) {
  static const std::uint32_t edges[] = {
      0,      0x7F,   0x80,   0x7FF,   0x800,    0xD7FF,   0xD800,     0xDBFF,     0xDC00,
      0xDFFF, 0xE000, 0xFFFF, 0x10000, 0x10FFFF, 0x110000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  const std::uint32_t limits[] = {0x800, 0x10000, 0x110000};
  return rng() % 4 == 0 ? edges[rng() % 18] : rng() % limits[rng() % 3];
}

// Codec forms of random values (one to six bytes, some cut short, some surrogates), stray bytes
// and runs of ASCII or zeros long enough for the block paths; for "utf-16", units in two bytes.
std::string RandomBytes(std::mt19937& rng, bool utf16) {
  std::string s;
  for (std::size_t pieces = rng() % 10; pieces > 0; --pieces) {
    const std::uint32_t v = RandomValue(rng) & 0x7FFFFFFF;
    std::string form = utf16 ? std::string{static_cast<char>(v >> 8), static_cast<char>(v)}
                       : v - 0xD800 < 0x800
                           ? qor::to_utf8(std::wstring(1, static_cast<wchar_t>(v)))
                           : wchar_to_utf8(std::wstring(1, static_cast<wchar_t>(v)));
    if (rng() % 6 == 0 && !form.empty()) form.pop_back();
    const int kind = static_cast<int>(rng() % 4);
    s += kind == 0   ? std::string(1, static_cast<char>(rng()))
         : kind == 1 ? std::string(rng() % 40, "x\0"[rng() % 2])
                     : form;
  }
  return s;
}

std::wstring RandomWide(std::mt19937& rng) {
  std::wstring w;
  for (std::size_t pieces = rng() % 10; pieces > 0; --pieces) {
    const std::uint32_t v = RandomValue(rng);
    w += rng() % 4 == 0   ? std::wstring(rng() % 40, L"y\0"[rng() % 2])
         : rng() % 3 == 0 ? W({0xD800 + (v >> 10) % 0x400, 0xDC00 + v % 0x400})  // a pair
                          : W({v});
  }
  return w;
}

template <class Facet>
void ExpectSameAsStandard(const std::string& bytes, const std::wstring& wide, const char* name) {
  std::wstring_convert<Facet, wchar_t> convert;
  std::wstring from_bytes;
  std::string to_bytes;
  try {
    from_bytes = convert.from_bytes(bytes);
  } catch (const std::range_error& e) {
    const std::string message = e.what();
    from_bytes.assign(message.begin(), message.end());
  }
  try {
    to_bytes = convert.to_bytes(wide);
  } catch (const std::range_error& e) {
    to_bytes = e.what();
  }
  ASSERT_EQ(qor::string_string_to_wstring(bytes, name), from_bytes) << name << Hex(bytes);
  ASSERT_EQ(qor::string_wstring_to_string(wide, name), to_bytes) << name << Hex(wide);
}

TEST(ConvertByName, MatchesLibcxxFacets) {
  std::mt19937 rng(5150);
  for (int round = 0; round < 20000; ++round) {
    std::wstring wide = RandomWide(rng);
    ExpectSameAsStandard<std::codecvt_utf8<wchar_t, 0x10FFFF>>(RandomBytes(rng, false), wide,
                                                               "utf-8");
    ExpectSameAsStandard<std::codecvt_utf16<wchar_t, 0x10FFFF>>(RandomBytes(rng, true), wide,
                                                                "utf-16");
    for (wchar_t& c : wide)
      c = static_cast<std::uint32_t>(c) > 0xFFFF ? static_cast<wchar_t>(c & 0xFFFF) : c;
    ExpectSameAsStandard<std::codecvt_utf8_utf16<wchar_t, 0x10FFFF>>(RandomBytes(rng, false), wide,
                                                                     "utf-8-16");
  }
}
#pragma clang diagnostic pop
#endif

}  // namespace
