// Tests of the conversions by name: "utf-8", "utf-16", "utf-8-16" and locale names in one table of
// pairs; random texts in real locales that the build generates (LOCPATH points at them) against
// the C library's own converters, and the Latin-1 corpus against iconv. The facet loop is tested
// in facet_converter_internal_test.cpp.
#include <climits>
#include <clocale>
#include <cstdlib>
#include <iostream>
#include <locale>

#include <gtest/gtest.h>

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

// The message for a locale name the platform lacks; "" when it has it. ctest sets LOCPATH; a direct
// run of the test program gets it here.
static std::string LocaleError(const std::string& name) {
  setenv("LOCPATH", QORSTL_TEST_LOCALE_DIR, 0);
  return MissingLocaleMessage(name);
}
// Locales the build makes where it can (localedef).
static const std::string kLatin1 = "de_DE.ISO-8859-1", kUtf8 = "de_DE.UTF-8", kCUtf8 = "C.UTF-8",
                         kBig5 = "zh_TW.BIG5", kHkscs = "zh_HK.BIG5-HKSCS",
                         kEucJisx = "ja_JP.EUC-JISX0213", kSjisx = "ja_JP.SHIFT_JISX0213";

// Each row holds both ways, but for a side that is the error text: that row converts only the
// other side.
TEST(ConvertByName, ConvertsBothWays) {
  // clang-format off
  const struct { std::string name, bytes; std::wstring wide; } cases[] = {
      {"utf-8", "", L""},
      {"", "A\0\xC3\xA9\xEF\xBB\xBF\xF0\x9F\x98\x80\0"s, W({0x41, 0, 0xE9, 0xFEFF, 0x1F600, 0})},  // zeros and marks are characters
      {"utf-8", "\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xF4\x8F\xBF\xBF", W({0x7FF, 0x800, 0xD7FF, 0x10FFFF})},
      {"utf-8", "A\xC3", kFromBytesError},  // cut short: no partial result
      {"utf-8", "\xE2\x82\0"s, kFromBytesError},  // a zero byte completes nothing
      {"utf-8", "\xC1\xBF", kFromBytesError},  // overlong, in two bytes and in three
      {"utf-8", "\xE0\x9F\xBF", kFromBytesError},
      {"utf-8", "\xED\xA0\x80", kFromBytesError},  // surrogate
      {"", "\xF4\x90\x80\x80", kFromBytesError},  // above 0x10FFFF (also in a UTF-8 environment)
      {"utf-8", kToBytesError, W({0x110000})},
      {"utf-16", "\x00\x41\0\0\xFE\xFF\xD8\x3D\xDE\x00"s, W({0x41, 0, 0xFEFF, 0x1F600})},  // big-endian, no mark
      {"utf-16", "\x00\x41\x00"s, kFromBytesError},
      {"utf-16", "\xD8\x3D\x00\x41"s, kFromBytesError},
      {"utf-16", kToBytesError, W({0xD800})},
      {"utf-16", kToBytesError, std::wstring(15, L'a') + W({0xDC00})},  // at the end of a block
      {"utf-16", std::string(62, '\x30') + "\x31\x32", std::wstring(31, L'\x3030') + W({0x3132})},  // 32 units: both halves of a block
      {"utf-8-16", "\xF0\x9F\x98\x80\0"s, W({0xD83D, 0xDE00, 0})},
      {"utf-8-16", "\xED\xA0\xBD\xED\xB8\x80", kFromBytesError},  // a pair spelled as two sequences
      {kCUtf8, "\xC3\0\xA9"s, kFromBytesError},  // a zero byte after a lead byte ends nothing
      {kBig5, "\xD0\0\x52"s, kFromBytesError},
      {kSjisx, "\x86\x85\xFF", kFromBytesError},  // a failure after a character of two elements
      {kLatin1, kToBytesError, std::wstring(70, L'a') + W({0x100}) + std::wstring(20, L'a')},  // long texts go by table, 16 at a time
      {kLatin1, std::string(70, '\xE9') + '\0' + "\xFF", std::wstring(70, L'\xE9') + W({0, 0xFF})},
      {kHkscs, "\x88\x66", W({0xCA})},  // held back to see whether a mark follows, then flushed
      {kHkscs, "A\x88\x66", W({0x41, 0xCA})},  // the same after a character
      {kEucJisx, "A\xA4\xAB", W({0x41, 0x304B})},  // held back to see whether U+309A follows
      {kSjisx, "\x86\x85" "A\x82\xA9", W({0x2E9, 0x2E5, 0x41, 0x304B})},  // two elements, one held back
  };
  // clang-format on
  for (const auto& c : cases) {
    if (c.name.find('.') != std::string::npos && !LocaleError(c.name).empty()) continue;
    EXPECT_EQ(c.bytes == kToBytesError ? c.wide : string_string_to_wstring(c.bytes, c.name), c.wide)
        << c.name << Hex(c.bytes);
    EXPECT_EQ(c.wide == kFromBytesError ? c.bytes : string_wstring_to_string(c.wide, c.name),
              c.bytes)
        << c.name << Hex(c.wide);
  }
}

// Other names are locale names, and a name without a locale gives the error, even for empty text.
// The Latin-1 corpus through the generated locale gives iconv's UTF-8 and back.
TEST(ConvertByName, LocaleNames) {
  for (const char* name : {"UTF-8", "utf-8 ", "qor-no-such-locale"}) {
    const std::string message = LocaleError(name);
    EXPECT_EQ(string_wstring_to_string(L"", name), message) << name;
    EXPECT_EQ(string_string_to_wstring("", name), WidenMessage(message));
  }
  if (!LocaleError(kLatin1).empty()) GTEST_SKIP() << "no locale " << kLatin1 << " (localedef)";
  for (const std::string& file : {"mars-french"s, "mars-german"s}) {
    const std::string text = Corpus(file + ".latin1.txt");
    const std::string iconv = ReadFile(QORSTL_TEST_LOCALE_DIR "/" + file + ".iconv.utf8.txt");
    if (iconv.empty()) GTEST_SKIP() << "no iconv output for " << file;
    EXPECT_EQ(string_ascii_to_utf8(text, kLatin1), iconv) << file;  // Latin-1 to wide to UTF-8
    EXPECT_EQ(string_utf8_to_ascii(iconv, kLatin1), text) << file;
  }
}

// The C library's own conversion of one character at a time in the thread's locale, as the rule
// reads: decoding with mbrtowc, where a zero byte is U+0000 in the initial state, and an answer of
// 0 for a non-zero element gives out an element held back (the state held only that, also at the
// end); encoding with
// wcrtomb and a final one of the zero element, whose zero byte is dropped.
std::wstring DecodeModel(const std::string& bytes) {
  std::mbstate_t state{};
  std::wstring wide;
  for (std::size_t i = 0, n = 0; i < bytes.size(); i += n == 0 && wide.back() == L'\0' ? 1 : n) {
    wchar_t w = 0;
    n = std::mbrtowc(&w, bytes.data() + i, bytes.size() - i, &state);
    if (n >= static_cast<std::size_t>(-2)) return kFromBytesError;
    wide.push_back(w);
    if (n == 0 && w != L'\0') state = std::mbstate_t{};  // the held element
  }
  wchar_t w = 0;  // a character of two elements at the very end: its second is still held
  if (std::mbsinit(&state) == 0 && std::mbrtowc(&w, "", 1, &state) == 0 && w != L'\0') {
    wide.push_back(w);
    state = std::mbstate_t{};
  }
  return std::mbsinit(&state) != 0 ? wide : kFromBytesError;
}

std::string EncodeModel(const std::wstring& wide) {
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

// Random texts in each generated locale give exactly the model's result: decoding bytes that are
// encoded characters, cut short or not, among stray lead and trail bytes, zeros and the inputs that
// once crashed or looped; encoding characters the encodings have, lack, hold back or combine, among
// zeros and runs of ASCII. Every fourth text is long, so that it takes the paths of long texts
// (tables, the UTF-8 coders, ASCII runs and the memo of characters); the rest take the facet loop
// alone.
TEST(ConvertByName, LocalesMatchTheCLibrary) {
  const std::uint32_t kChars[] = {
      0x41,   0x7E,   0x5C,   0,      0xE9,   0xCA,   0xEA,   0x304,   0x30C,   0x304B, 0x309A,
      0x2E9,  0x2E5,  0x3042, 0x4E2D, 0x5B57, 0xAC00, 0xFF71, 0x20AC,  0x80,    0x410,  0x44F,
      0x2500, 0x2122, 0x100,  0x300,  0x301,  0x1EA1, 0x103,  0x1F600, 0x20000, 0xD800, 0x110000};
  const std::string strays =
      "\x80\x81\x86\x88\x8D\x8E\x8F\xA1\xA4\xD0\xE0\xF0\xFE\xFF\x30\x40\x62\0"s;
  const std::string crashes[] = {"\xC3\0\xA9"s, "\xD0\0\x52"s, "\x86\x85\xFF",        "\x88\x66",
                                 "\xA4\xAB",    "\x86\x85",    "\xF8\x88\x80\x80\x80"};
  std::mt19937 rng(8086);
  for (const std::string& name :
       {kUtf8, kCUtf8, kLatin1, kBig5, kHkscs, kEucJisx, kSjisx, "ja_JP.EUC-JP"s, "ja_JP.SJIS"s,
        "ko_KR.EUC-KR"s, "zh_CN.GB18030"s, "ru_RU.KOI8-R"s, "de_DE.CP1252"s}) {
    const locale_t locale = newlocale(LC_ALL_MASK, name.c_str(), nullptr);
    if (locale == nullptr) std::cout << "[  NOTE    ] no locale " << name << ": skipped\n";
    if (locale == nullptr) continue;
    const locale_t old = uselocale(locale);
    for (int round = 0; round < 1200 && !HasFailure(); ++round) {
      std::wstring wide;
      std::string bytes;
      // Every eighth text holds only characters the locale has, whole.
      const bool clean = round % 8 == 0;
      for (std::size_t pieces = round % 4 ? rng() % 8 : 200 + rng() % 400; pieces > 0; --pieces) {
        if (rng() % 16 == 0) {  // a run of ASCII letters, whole blocks of it in a long text
          for (std::size_t n = 8 + rng() % 40; n > 0; --n) {
            const auto letter = static_cast<char>('a' + rng() % 26);
            wide.push_back(letter);
            bytes.push_back(letter);
          }
          continue;
        }
        const auto c = static_cast<wchar_t>(kChars[rng() % std::size(kChars)]);
        const std::string form = EncodeModel(std::wstring(1, c));
        if (clean && form == kToBytesError) continue;
        wide.push_back(c);
        const unsigned pick = clean ? 2 : rng() % 64;
        bytes += pick == 0                                ? crashes[rng() % std::size(crashes)]
                 : form == kToBytesError || pick % 8 == 1 ? RandomFrom(rng, strays, 2)
                 : pick % 16 == 0 ? form.substr(0, rng() % (form.size() + 1))
                                  : form;
      }
      EXPECT_EQ(string_string_to_wstring(bytes, name), DecodeModel(bytes)) << name << Hex(bytes);
      EXPECT_EQ(string_wstring_to_string(wide, name), EncodeModel(wide)) << name << Hex(wide);
    }
    // A zero byte, and a zero element, at each place of a text long enough for the fast paths.
    const std::wstring sample = L"Mars \x410\x44F \xE9\x20AC \x3042\x4E2D\xAC00 \x1EA1\x103 ...";
    std::wstring text;
    for (wchar_t c : sample + sample + sample) {
      if (EncodeModel(std::wstring(1, c)) != kToBytesError) text += c;
    }
    const std::string encoded = EncodeModel(text);
    for (std::size_t at = 0; at <= encoded.size() && !HasFailure(); ++at) {
      const std::string bytes = encoded.substr(0, at) + '\0' + encoded.substr(at);
      EXPECT_EQ(string_string_to_wstring(bytes, name), DecodeModel(bytes)) << name << Hex(bytes);
    }
    for (std::size_t at = 0; at <= text.size() && !HasFailure(); ++at) {
      const std::wstring wide = text.substr(0, at) + L'\0' + text.substr(at);
      EXPECT_EQ(string_wstring_to_string(wide, name), EncodeModel(wide)) << name << Hex(wide);
    }
    uselocale(old);
    freelocale(locale);
  }
}
