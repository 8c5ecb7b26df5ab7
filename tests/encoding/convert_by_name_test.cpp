// Tests of the conversions by name: "utf-8", "utf-16" and "utf-8-16" in a table of behaviour,
// corpus round trips and, in libc++ builds, a randomized comparison with the standard converter;
// locale names with real Latin-1 and UTF-8 locales that the build generates (LOCPATH points at
// them), checked against the platform's iconv; and the facet loop driven by a quirky facet.
#include <codecvt>
#include <cstdlib>
#include <locale>

#include <gtest/gtest.h>

#include "encoding/facet_converter.h"
#include "qor/qorstl.h"
#include "test_util.h"

// glibc's newlocale() leaks the search path it builds from LOCPATH (a plain C program that calls
// newlocale with LOCPATH set shows the same leak); keep it out of the leak checker's reports.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:__argz_add_sep\n";
}

using namespace std::string_literals;
using namespace qor;
using namespace qor_test;

// The message of the runtime error for a locale name the platform lacks; "" when it has it. ctest
// sets LOCPATH; a direct run of the test program gets it here.
static std::string LocaleError(const std::string& name) {
  setenv("LOCPATH", QORSTL_TEST_LOCALE_DIR, 0);
  try {
    deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>> facet(name);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}
static const std::string kLatin1 = "de_DE.ISO-8859-1", kUtf8 = "de_DE.UTF-8";  // built by cmake

// Each row both ways, except that a row failing one way (its message for a result) is checked only
// that way; rows of a locale the platform lacks are passed over. The "utf-8" rows also hold for
// string_utf8_to_wstring and string_wstring_to_utf8.
TEST(ConvertByName, Table) {
  const std::wstring bad = kFromBytesError;
  // clang-format off
  const struct { std::string name, bytes; std::wstring wide; } cases[] = {
      {"utf-8", "", L""},
      {"", "A\0\xC3\xA9\xEF\xBB\xBF\xF0\x9F\x98\x80\0"s, W({0x41, 0, 0xE9, 0xFEFF, 0x1F600, 0})},  // zeros and marks are characters
      {"utf-8", "\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xF4\x8F\xBF\xBF", W({0x7FF, 0x800, 0xD7FF, 0x10FFFF})},
      {"utf-8", "A\xC3", bad},  // cut short: no partial result
      {"utf-8", "\xE2\x82\0"s, bad},  // a zero byte completes nothing
      {"utf-8", "\xC0\x80", bad},  // overlong
      {"utf-8", "\xED\xA0\x80", bad},  // surrogate
      {"utf-8", "\xF4\x90\x80\x80", bad},  // above 0x10FFFF
      {"utf-8", kToBytesError, W({0x110000})},
      {"utf-8", kToBytesError, W({0x41, 0xDFFF})},
      {"utf-16", "\x00\x41\xD8\x3D\xDE\x00"s, W({0x41, 0x1F600})},  // no byte-order mark
      {"utf-16", "\xFE\xFF\x00\x00"s, W({0xFEFF, 0})},  // big-endian; the mark is a character
      {"utf-16", "\x00\x41\x00"s, bad},
      {"utf-16", "\xD8\x3D", bad},
      {"utf-16", kToBytesError, W({0xD800})},
      {"utf-8-16", "\xF0\x9F\x98\x80\0"s, W({0xD83D, 0xDE00, 0})},
      {"utf-8-16", "\xED\xA0\xBD\xED\xB8\x80", bad},  // a pair spelled as two sequences
      {"utf-8-16", kToBytesError, W({0xD83D})},  // high surrogate at the end
      {"utf-8-16", kToBytesError, W({0xDE00, 0xD83D})},
      {"utf-8-16", kToBytesError, W({0x110000})},
      {kLatin1, "\0a\0\xE9\xFF\0"s, W({0, 0x61, 0, 0xE9, 0xFF, 0})},
      {kLatin1, kToBytesError, W({0x41, 0x20AC})},  // no euro sign
      {kUtf8, "\0a\0\xC3\xA9\0"s, W({0, 0x61, 0, 0xE9, 0})},
      {kUtf8, "a\xC3", bad},  // cut short
      {kUtf8, "a\xE2\x82", bad},
      {kUtf8, "\xC3\0"s, bad},
      {kUtf8, "a\x80z", bad},
  };
  // clang-format on
  for (const auto& c : cases) {
    const bool utf8 = c.name == "utf-8", decodes = c.bytes != kToBytesError,
               encodes = c.wide != bad;
    if (c.name[0] == 'd' && !LocaleError(c.name).empty()) continue;
    EXPECT_EQ(decodes ? string_string_to_wstring(c.bytes, c.name) : c.wide, c.wide) << Hex(c.bytes);
    EXPECT_EQ(decodes && utf8 ? string_utf8_to_wstring(c.bytes) : c.wide, c.wide) << Hex(c.bytes);
    EXPECT_EQ(encodes ? string_wstring_to_string(c.wide, c.name) : c.bytes, c.bytes) << Hex(c.wide);
    EXPECT_EQ(encodes && utf8 ? string_wstring_to_utf8(c.wide) : c.bytes, c.bytes) << Hex(c.wide);
  }
  // A code point above 0xFFFF, not its low 16 bits.
  EXPECT_EQ(string_wstring_to_string(W({0x10041}), "utf-8-16"), "\xF0\x90\x81\x81");
}

// Other names are locale names; the Latin-1 corpus through the generated locale gives iconv's UTF-8
// and back, and long UTF-8 text before a zero reaches the facet's output whole.
TEST(ConvertByName, LocaleNames) {
  for (const char* name : {"UTF-8", "utf8", "utf-8 ", "qor-no-such-locale"}) {
    const std::string message = LocaleError(name);  // the error, even for empty text
    EXPECT_EQ(string_wstring_to_string(L"", name), message) << name;
    EXPECT_EQ(string_string_to_wstring("", name), std::wstring(message.begin(), message.end()));
    EXPECT_EQ(message.empty() ? message : string_utf8_to_ascii("\xC3\xA9", name), message);
  }
  if (!LocaleError(kLatin1).empty() || !LocaleError(kUtf8).empty())
    GTEST_SKIP() << kLatin1 << " or " << kUtf8 << " missing: build qorstl_test_locales "
                 << "(localedef) and run with LOCPATH=" QORSTL_TEST_LOCALE_DIR;
  for (const std::string& file : {"mars-french"s, "mars-german"s}) {
    const std::string text = Corpus(file + ".latin1.txt");
    const std::string iconv = ReadFile(QORSTL_TEST_LOCALE_DIR "/" + file + ".iconv.utf8.txt");
    ASSERT_FALSE(text.empty() || iconv.empty()) << file << ": corpus or iconv output missing";
    EXPECT_EQ(string_wstring_to_utf8(string_string_to_wstring(text, kLatin1)), iconv) << file;
    EXPECT_EQ(string_wstring_to_string(string_utf8_to_wstring(iconv), kLatin1), text) << file;
    EXPECT_EQ(string_ascii_to_utf8(text, kLatin1), iconv) << file;
    EXPECT_EQ(string_utf8_to_ascii(iconv, kLatin1), text) << file;
  }
  const std::string emoji = Corpus("lipsum-emoji.utf8.txt") + "\0z"s;
  EXPECT_TRUE(string_string_to_wstring(emoji, kUtf8) == string_utf8_to_wstring(emoji));
  EXPECT_TRUE(string_wstring_to_string(string_utf8_to_wstring(emoji), kUtf8) == emoji);
}

// A Latin-1 facet (byte b <-> element b) that stops before a zero ('z'), as converters of
// zero-terminated text do, takes nothing ('s'), or takes a last C3 and answers partial as for a
// sequence left pending ('p').
class QuirkyFacet : public std::codecvt<wchar_t, char, std::mbstate_t> {
 public:
  explicit QuirkyFacet(char quirk) : codecvt(std::size_t{0}), quirk_(quirk) {}

 private:
  template <class From, class To>
  result Convert(const From* from, const From* end, const From*& next, To* to, To*& to_next) const {
    for (next = from, to_next = to; next != end && quirk_ != 's' && (quirk_ != 'z' || *next);
         ++next) {
      if (quirk_ == 'p' && next + 1 == end && static_cast<char>(*next) == '\xC3')
        return ++next, partial;
      *to_next++ = static_cast<To>(static_cast<std::make_unsigned_t<From>>(*next));
    }
    return next == end ? ok : partial;
  }
  result do_in(std::mbstate_t&, const char* f, const char* fe, const char*& fn, wchar_t* t,
               wchar_t*, wchar_t*& tn) const override {
    return Convert(f, fe, fn, t, tn);
  }
  result do_out(std::mbstate_t&, const wchar_t* f, const wchar_t* fe, const wchar_t*& fn, char* t,
                char*, char*& tn) const override {
    return Convert(f, fe, fn, t, tn);
  }
  char quirk_;
};

// The loop converts the whole text, the zeros a facet stops at included, or fails: no progress,
// or a sequence pending at the end.
TEST(FacetConverter, ConvertsWholeTextOrFails) {
  // clang-format off
  const struct { char quirk; std::string narrow; bool converts; } cases[] = {
      {'z', "\0a\0\0b\0"s, true},
      {'s', "a", false},
      {'s', "", true},
      {'p', "\xC3\x41\xC3", false},
      {'p', std::string(300, '\xC3') + "A", true},
  };
  // clang-format on
  for (const auto& c : cases) {
    std::wstring latin1, wide;
    for (unsigned char b : c.narrow) latin1 += static_cast<wchar_t>(b);
    std::string narrow;
    EXPECT_EQ(internal::FacetToWide(QuirkyFacet(c.quirk), c.narrow, wide), c.converts) << c.quirk;
    EXPECT_EQ(internal::FacetToNarrow(QuirkyFacet(c.quirk), latin1, narrow), c.converts);
    EXPECT_EQ(c.converts ? wide : latin1, latin1) << c.quirk << Hex(c.narrow);
    EXPECT_EQ(c.converts ? narrow : c.narrow, c.narrow) << c.quirk << Hex(c.narrow);
  }
}

TEST(ConvertByName, CorpusRoundTripsThroughEachName) {
  for (const char* file :
       {"lipsum-arabic",   "lipsum-chinese", "lipsum-emoji", "lipsum-hebrew",  "lipsum-hindi",
        "lipsum-japanese", "lipsum-korean",  "lipsum-latin", "lipsum-russian", "mars-arabic",
        "mars-chinese",    "mars-english",   "mars-french",  "mars-german",    "mars-greek",
        "mars-hindi",      "mars-japanese",  "mars-russian", "mars-thai",      "mars-vietnamese"}) {
    const std::string utf8 = Corpus(file + ".utf8.txt"s);
    const std::wstring points = string_string_to_wstring(utf8, "utf-8");
    const std::wstring units = string_string_to_wstring(utf8, "utf-8-16");
    const std::string utf16 = string_wstring_to_string(points, "utf-16");
    ASSERT_FALSE(utf8.empty()) << file;
    EXPECT_EQ(string_wstring_to_string(points, "utf-8"), utf8) << file;
    EXPECT_EQ(string_string_to_wstring(utf16, "utf-16"), points) << file;
    EXPECT_EQ(units.size() * 2, utf16.size()) << file;  // the same surrogate pairs
    EXPECT_EQ(string_wstring_to_string(units, "utf-8-16"), utf8) << file;
  }
}

#if defined(_LIBCPP_VERSION)
// libc++'s facets keep the strict rules. They keep only the low 16 bits of an element above 0xFFFF
// given to "utf-8-16" encoding, so elements for that name stay below 0x10000.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
template <class Facet>
void ExpectSameAsStandard(std::mt19937& rng, const std::string& name) {
  std::wstring_convert<Facet, wchar_t> standard(kToBytesError, kFromBytesError);
  std::wstring wide;  // values of each length and on the edges of the rules, pairs, runs of zeros
  std::string bytes;  // each piece encoded, maybe cut short, or bytes from the edges of the rules
  for (std::size_t pieces = rng() % 10; pieces > 0; --pieces) {
    const std::uint32_t v = rng() % 8 ? rng() % (0x80u << rng() % 16) : 0xFFFFFFFF - rng() % 2;
    const std::wstring piece = rng() % 4 == 0 ? std::wstring(rng() % 40, L"y\0"[rng() % 2])
                               : rng() % 3 == 0
                                   ? W({0xD800 + v % 0x400, 0xDC00 + v / 0x400 % 0x400})
                                   : W({name == "utf-8-16" ? v & 0xFFFF : v});
    const std::string form = standard.to_bytes(piece);
    wide += piece;
    bytes += form == kToBytesError || rng() % 6 == 0
                 ? RandomFrom(rng, "\x80\xBF\xC0\xC2\xE0\xED\xA0\xF0\xF4\x90\xF8\xFF\xD8\xDC\0"s, 3)
                 : form.substr(0, rng() % 6 ? form.size() : rng() % (form.size() + 1));
  }
  ASSERT_EQ(string_string_to_wstring(bytes, name), standard.from_bytes(bytes)) << Hex(bytes);
  ASSERT_EQ(string_wstring_to_string(wide, name), standard.to_bytes(wide)) << Hex(wide);
}

TEST(ConvertByName, MatchesLibcxxFacets) {
  std::mt19937 rng(5150);
  for (int round = 0; round < 20000 && !HasFailure(); ++round) {
    ExpectSameAsStandard<std::codecvt_utf8<wchar_t, 0x10FFFF>>(rng, "utf-8");
    ExpectSameAsStandard<std::codecvt_utf16<wchar_t, 0x10FFFF>>(rng, "utf-16");
    ExpectSameAsStandard<std::codecvt_utf8_utf16<wchar_t, 0x10FFFF>>(rng, "utf-8-16");
  }
}
#endif
