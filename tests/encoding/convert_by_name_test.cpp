// Tests of the conversions by name: "utf-8", "utf-16" and "utf-8-16" in a table of behaviour,
// corpus round trips and, in libc++ builds, a randomized comparison with the standard converter;
// locale names with real Latin-1 and UTF-8 locales that the build generates (LOCPATH points at
// them), checked against the platform's iconv; and the facet loop driven by a quirky facet.
#include <climits>
#include <clocale>
#include <codecvt>
#include <cstdlib>
#include <iostream>
#include <locale>
#include <set>
#include <vector>

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

// Locales of East Asian encodings, where the build could make them.
static const std::string kBig5 = "zh_TW.BIG5", kHkscs = "zh_HK.BIG5-HKSCS",
                         kEucJisx = "ja_JP.EUC-JISX0213", kSjisx = "ja_JP.SHIFT_JISX0213",
                         kEucJp = "ja_JP.EUC-JP", kSjis = "ja_JP.SJIS", kEucKr = "ko_KR.EUC-KR",
                         kGb18030 = "zh_CN.GB18030", kCUtf8 = "C.UTF-8";

// A row whose name is a locale the platform lacks is passed over, once with a note.
static bool Missing(const std::string& name) {
  static std::set<std::string> noted;
  if (name.find('_') == std::string::npos && name != kCUtf8) return false;  // a Unicode name
  if (LocaleError(name).empty()) return false;
  if (noted.insert(name).second)
    std::cout << "[  NOTE    ] no locale " << name << ": rows skipped\n";
  return true;
}

// The "utf-8" rows also hold for string_utf8_to_wstring.
TEST(StringToWstring, Table) {
  const std::wstring bad = kFromBytesError;
  // clang-format off
  const struct { std::string name, bytes; std::wstring wide; } cases[] = {
      {"utf-8", "", L""},
      {"", "A\0\xC3\xA9\xEF\xBB\xBF\xF0\x9F\x98\x80\0"s, W({0x41, 0, 0xE9, 0xFEFF, 0x1F600, 0})},  // zeros and marks are characters
      {"utf-8", "\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xF4\x8F\xBF\xBF", W({0x7FF, 0x800, 0xD7FF, 0x10FFFF})},
      {"utf-8", "A\xC3", bad},                      // cut short: no partial result
      {"utf-8", "\xE2\x82\0"s, bad},                // a zero byte completes nothing
      {"utf-8", "\xC0\x80", bad},                   // overlong
      {"utf-8", "\xED\xA0\x80", bad},               // surrogate
      {"utf-8", "\xF4\x90\x80\x80", bad},           // above 0x10FFFF
      {"utf-16", "\x00\x41\xD8\x3D\xDE\x00"s, W({0x41, 0x1F600})},  // no byte-order mark
      {"utf-16", "\xFE\xFF\x00\x00"s, W({0xFEFF, 0})},  // big-endian; the mark is a character
      {"utf-16", "\x00\x41\x00"s, bad},
      {"utf-16", "\xD8\x3D", bad},
      {"utf-8-16", "\xF0\x9F\x98\x80\0"s, W({0xD83D, 0xDE00, 0})},
      {"utf-8-16", "\xED\xA0\xBD\xED\xB8\x80", bad},  // a pair spelled as two sequences
      {kLatin1, "\0a\0\xE9\xFF\0"s, W({0, 0x61, 0, 0xE9, 0xFF, 0})},
      {kUtf8, "\0a\0\xC3\xA9\0"s, W({0, 0x61, 0, 0xE9, 0})},
      {kUtf8, "a\xC3", bad},                        // cut short
      {kUtf8, "\xC3\0"s, bad},
      {kUtf8, "a\x80z", bad},
      {kCUtf8, "\xC3\0\xA9"s, bad},                 // a zero byte after a lead byte ends nothing
      {kBig5, "\xA4\xA4\0\xA4\xA4"s, W({0x4E2D, 0, 0x4E2D})},
      {kBig5, "\xD0\0\x52"s, bad},
      {kSjisx, "\x86\x85\x41\0\x86\x85"s, W({0x2E9, 0x2E5, 0x41, 0, 0x2E9, 0x2E5})},  // two elements each
      {kSjisx, "\x86\x85\xFF", bad},                // a failure after a character of two elements
      {kSjisx, "\x86\x85\x86", bad},
      {kHkscs, "\x88\x62\x88\x66", W({0xCA, 0x304, 0xCA})},
      {kHkscs, "\x88\x62\xFF", bad},
  };
  // clang-format on
  for (const auto& c : cases) {
    if (Missing(c.name)) continue;
    EXPECT_EQ(string_string_to_wstring(c.bytes, c.name), c.wide) << c.name << Hex(c.bytes);
    if (c.name == "utf-8") {
      EXPECT_EQ(string_utf8_to_wstring(c.bytes), c.wide) << Hex(c.bytes);
    }
  }
}

// The "utf-8" rows also hold for string_wstring_to_utf8.
TEST(WstringToString, Table) {
  const std::string bad = kToBytesError;
  // clang-format off
  const struct { std::string name; std::wstring wide; std::string bytes; } cases[] = {
      {"utf-8", L"", ""},
      {"", W({0x41, 0, 0xE9, 0xFEFF, 0x1F600, 0}), "A\0\xC3\xA9\xEF\xBB\xBF\xF0\x9F\x98\x80\0"s},
      {"utf-8", W({0x7FF, 0x800, 0xD7FF, 0x10FFFF}), "\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xF4\x8F\xBF\xBF"},
      {"utf-8", W({0x110000}), bad},
      {"utf-8", W({0x41, 0xDFFF}), bad},
      {"utf-16", W({0x41, 0x1F600}), "\x00\x41\xD8\x3D\xDE\x00"s},  // no byte-order mark
      {"utf-16", W({0xFEFF, 0}), "\xFE\xFF\x00\x00"s},
      {"utf-16", W({0xD800}), bad},
      {"utf-8-16", W({0xD83D, 0xDE00, 0}), "\xF0\x9F\x98\x80\0"s},
      {"utf-8-16", W({0x10041}), "\xF0\x90\x81\x81"},  // a code point above 0xFFFF, not its low 16 bits
      {"utf-8-16", W({0xD83D}), bad},               // high surrogate at the end
      {"utf-8-16", W({0xDE00, 0xD83D}), bad},
      {"utf-8-16", W({0x110000}), bad},
      {kLatin1, W({0, 0x61, 0, 0xE9, 0xFF, 0}), "\0a\0\xE9\xFF\0"s},
      {kLatin1, W({0x41, 0x20AC}), bad},            // no euro sign
      {kUtf8, W({0, 0x61, 0, 0xE9, 0}), "\0a\0\xC3\xA9\0"s},
      {kBig5, W({0x4E2D, 0, 0x4E2D}), "\xA4\xA4\0\xA4\xA4"s},
      {kBig5, W({0x41, 0xE9}), bad},
      {kHkscs, W({0x41, 0xCA}), "A\x88\x66"},       // held back to see whether a mark follows
      {kHkscs, W({0xCA}), "\x88\x66"},
      {kHkscs, W({0xCA, 0}), "\x88\x66\0"s},
      {kHkscs, W({0xCA, 0x304, 0xCA, 0x41}), "\x88\x62\x88\x66\x41"},  // with the mark, one character
      {kHkscs, W({0xCA, 0x110000}), bad},
      {kEucJisx, W({0x41, 0x304B}), "A\xA4\xAB"},
      {kEucJisx, W({0x304B, 0x309A}), "\xA4\xF7"},
      {kSjisx, W({0x41, 0x304B}), "A\x82\xA9"},
      {kSjisx, W({0x2E9, 0x2E5}), "\x86\x85"},
  };
  // clang-format on
  for (const auto& c : cases) {
    if (Missing(c.name)) continue;
    EXPECT_EQ(string_wstring_to_string(c.wide, c.name), c.bytes) << c.name << Hex(c.wide);
    if (c.name == "utf-8") {
      EXPECT_EQ(string_wstring_to_utf8(c.wide), c.bytes) << Hex(c.wide);
    }
  }
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
  // The ASCII conversions chain two conversions by name and pass a failure's text on.
  if (LocaleError(kHkscs).empty()) {
    EXPECT_EQ(string_utf8_to_ascii("\xC3\x8A", kHkscs), "\x88\x66");
    EXPECT_EQ(string_ascii_to_utf8("\x88\x62\x41", kHkscs), "\xC3\x8A\xCC\x84\x41");
  }
  if (LocaleError(kCUtf8).empty()) {
    EXPECT_EQ(string_ascii_to_utf8("\xC3\0\xA9"s, kCUtf8), "wstring_convert: from_bytes error");
  }
  const std::string emoji = Corpus("lipsum-emoji.utf8.txt") + "\0z"s;
  EXPECT_TRUE(string_string_to_wstring(emoji, kUtf8) == string_utf8_to_wstring(emoji));
  EXPECT_TRUE(string_wstring_to_string(string_utf8_to_wstring(emoji), kUtf8) == emoji);
}

// The C library's own conversion of one character at a time in the named locale, as the rule
// reads: decoding with mbrtowc, where a zero byte is U+0000 in the initial state, and an answer of
// 0 for a non-zero element gives out an element held back (the state held only that); encoding with
// wcrtomb and a final one of the zero element, whose zero byte is dropped.
class Model {
 public:
  explicit Model(const std::string& name)
      : locale_(newlocale(LC_ALL_MASK, name.c_str(), nullptr)) {}
  ~Model() {
    if (locale_ != nullptr) freelocale(locale_);
  }
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  std::wstring Decode(const std::string& bytes) const {
    const Use use(locale_);
    std::mbstate_t state{};
    std::wstring wide;
    for (std::size_t i = 0; i < bytes.size();) {
      wchar_t w = 0;
      const std::size_t n = std::mbrtowc(&w, bytes.data() + i, bytes.size() - i, &state);
      if (n == static_cast<std::size_t>(-1) || n == static_cast<std::size_t>(-2))
        return kFromBytesError;
      wide.push_back(w);
      if (n == 0 && w != L'\0') state = std::mbstate_t{};  // the held element
      i += n == 0 && w == L'\0' ? 1 : n;
    }
    return std::mbsinit(&state) != 0 ? wide : kFromBytesError;
  }

  std::string Encode(const std::wstring& wide) const {
    const Use use(locale_);
    std::mbstate_t state{};
    std::string bytes;
    char buffer[MB_LEN_MAX];
    for (std::size_t i = 0; i <= wide.size(); ++i) {
      const std::size_t n = std::wcrtomb(buffer, i < wide.size() ? wide[i] : L'\0', &state);
      if (n == static_cast<std::size_t>(-1)) return kToBytesError;
      bytes.append(buffer, i < wide.size() ? n : n - 1);
    }
    return bytes;
  }

 private:
  struct Use {
    explicit Use(locale_t locale) : old(uselocale(locale)) {}
    ~Use() { uselocale(old); }
    locale_t old;
  };
  locale_t locale_;
};

// Random texts in each generated locale give exactly the model's result: decoding bytes that are
// encoded characters, cut short or not, among stray lead and trail bytes and zeros; encoding
// characters the encodings have, lack, hold back or combine, among zeros.
TEST(ConvertByName, LocalesMatchTheCLibrary) {
  // clang-format off
  const std::uint32_t kChars[] = {0x41, 0x7E, 0x5C, 0, 0xE9, 0xCA, 0xEA, 0x304, 0x30C, 0x304B,
                                  0x309A, 0x2E9, 0x2E5, 0x3042, 0x4E2D, 0x5B57, 0xAC00, 0xFF71,
                                  0x20AC, 0x80, 0x1F600, 0x20000, 0xD800, 0x110000};
  // clang-format on
  const std::string strays = "\x80\x81\x86\x88\x8E\x8F\xA1\xA4\xD0\xE0\xF0\xFE\xFF\x30\x40\x62\0"s;
  std::vector<std::string> names;
  for (const std::string& name :
       {kUtf8, kCUtf8, kLatin1, kBig5, kHkscs, kEucJisx, kSjisx, kEucJp, kSjis, kEucKr, kGb18030})
    if (!Missing(name)) names.push_back(name);
  if (names.empty())
    GTEST_SKIP() << "no generated locale (localedef) under " QORSTL_TEST_LOCALE_DIR;
  std::mt19937 rng(8086);
  for (const std::string& name : names) {
    const Model model(name);
    for (int round = 0; round < 1500 && !HasFailure(); ++round) {
      std::wstring wide;
      std::string bytes;
      for (std::size_t pieces = rng() % 8; pieces > 0; --pieces) {
        const auto c = static_cast<wchar_t>(kChars[rng() % std::size(kChars)]);
        wide.push_back(c);
        const std::string form = model.Encode(std::wstring(1, c));
        bytes += form == kToBytesError || rng() % 5 == 0
                     ? RandomFrom(rng, strays, 2)
                     : form.substr(0, rng() % 4 ? form.size() : rng() % (form.size() + 1));
      }
      ASSERT_EQ(string_string_to_wstring(bytes, name), model.Decode(bytes)) << name << Hex(bytes);
      ASSERT_EQ(string_wstring_to_string(wide, name), model.Encode(wide)) << name << Hex(wide);
    }
  }
}

// A Latin-1 facet (byte b <-> element b) that stops before a zero ('z'), as converters of
// zero-terminated text do, takes nothing ('s'), or takes a last C3 and answers partial as for a
// sequence left pending ('p').
class QuirkyFacet : public std::codecvt<wchar_t, char, std::mbstate_t> {
 public:
  explicit QuirkyFacet(char quirk) : codecvt(std::size_t{0}), quirk_(quirk) {}

 private:
  template <class From, class To>
  result Convert(const From* from, const From* end, const From*& next, To* to, To* to_end,
                 To*& to_next) const {
    for (next = from, to_next = to;
         next != end && to_next != to_end && quirk_ != 's' && (quirk_ != 'z' || *next); ++next) {
      if (quirk_ == 'p' && next + 1 == end && static_cast<char>(*next) == '\xC3')
        return ++next, partial;
      *to_next++ = static_cast<To>(static_cast<std::make_unsigned_t<From>>(*next));
    }
    return next == end ? ok : partial;
  }
  result do_in(std::mbstate_t&, const char* f, const char* fe, const char*& fn, wchar_t* t,
               wchar_t* te, wchar_t*& tn) const override {
    return Convert(f, fe, fn, t, te, tn);
  }
  result do_out(std::mbstate_t&, const wchar_t* f, const wchar_t* fe, const wchar_t*& fn, char* t,
                char* te, char*& tn) const override {
    return Convert(f, fe, fn, t, te, tn);
  }
  char quirk_;
};

// The loops convert the whole text, the zeros a facet stops at included, or fail: no progress, or
// a sequence pending at the end.
TEST(FacetConverter, ConvertsWholeTextOrFails) {
  // clang-format off
  const struct { char quirk; std::string narrow; bool decodes, encodes; } cases[] = {
      {'z', "\0a\0\0b\0"s, true, true},
      {'s', "a", false, false},
      {'s', "", true, true},
      {'p', "\xC3\x41\xC3", false, false},
      {'p', "\xC3\0"s, false, true},
      {'p', std::string(300, '\xC3') + "A", true, true},
  };
  // clang-format on
  for (const auto& c : cases) {
    std::wstring latin1, wide;
    for (unsigned char b : c.narrow) latin1 += static_cast<wchar_t>(b);
    std::string narrow;
    EXPECT_EQ(internal::FacetToWide(QuirkyFacet(c.quirk), c.narrow, wide), c.decodes) << c.quirk;
    EXPECT_EQ(internal::FacetToNarrow(QuirkyFacet(c.quirk), latin1, narrow), c.encodes) << c.quirk;
    EXPECT_EQ(c.decodes ? wide : latin1, latin1) << c.quirk << Hex(c.narrow);
    EXPECT_EQ(c.encodes ? narrow : c.narrow, c.narrow) << c.quirk << Hex(c.narrow);
  }
}

TEST(ConvertByName, CorpusRoundTripsThroughEachName) {
  for (const char* file :
       {"lipsum-arabic", "lipsum-emoji", "lipsum-hindi", "mars-chinese", "mars-vietnamese"}) {
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
