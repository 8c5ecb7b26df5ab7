// Tests of the conversions by locale name with real locales: a Latin-1 and a UTF-8 locale that the
// build generates (LOCPATH points at them), checked against the platform's iconv.
#include <cstdlib>
#include <locale>
#include <string>

#include <gtest/gtest.h>

#include "encoding/encoding_test_util.h"
#include "qor/qorstl.h"

// glibc's newlocale() leaks the search path it builds from LOCPATH (a plain C program that calls
// newlocale with LOCPATH set shows the same leak); keep it out of the leak checker's reports.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:__argz_add_sep\n";
}

namespace {

using namespace std::string_literals;
using qor_test::FromBytesError;
using qor_test::Hex;
using qor_test::HexWide;
using qor_test::ToBytesError;
using qor_test::Wide;

bool HasLocale(const std::string& name) {
  try {
    qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>> facet(name);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

// The first of `names` that the platform has, or "". The generated locales are found through
// LOCPATH, which ctest sets; a direct run of the test program gets it here.
std::string FindLocale(std::initializer_list<const char*> names) {
  setenv("LOCPATH", QORSTL_TEST_LOCALE_DIR, 0);
  for (const char* name : names) {
    if (HasLocale(name)) return name;
  }
  return "";
}

std::string Latin1Locale() {
  return FindLocale({"de_DE.ISO-8859-1", "de_DE.ISO8859-1", "fr_FR.ISO8859-1"});
}

std::string Utf8Locale() {
  return FindLocale({"de_DE.UTF-8", "C.UTF-8", "en_US.UTF-8"});
}

#define REQUIRE_LOCALE(var, finder, what)                                        \
  const std::string var = finder();                                              \
  if (var.empty()) {                                                             \
    GTEST_SKIP() << "no " what                                                   \
                    " locale: build the qorstl_test_locales target (localedef) " \
                    "and run with LOCPATH=" QORSTL_TEST_LOCALE_DIR;              \
  }

TEST(LocaleConversion, Latin1CorpusMatchesIconv) {
  REQUIRE_LOCALE(latin1, Latin1Locale, "Latin-1");
  for (const char* name : {"mars-french", "mars-german"}) {
    const std::string original = qor_test::CorpusFile(std::string(name) + ".latin1.txt");
    const std::string reference =
        qor_test::ReadFile(std::string(QORSTL_TEST_LOCALE_DIR) + "/" + name + ".iconv.utf8.txt");
    ASSERT_FALSE(original.empty()) << name;
    if (reference.empty())
      GTEST_SKIP() << "no iconv output for " << name << " in " QORSTL_TEST_LOCALE_DIR;
    ASSERT_FALSE(qor::string_is_utf8_string(original)) << name;

    const std::wstring wide = qor::string_string_to_wstring(original, latin1);
    ASSERT_EQ(wide.size(), original.size()) << name;  // one character per byte
    EXPECT_EQ(qor::string_wstring_to_utf8(wide), reference) << name;
    EXPECT_EQ(qor::string_wstring_to_string(qor::string_utf8_to_wstring(reference), latin1),
              original)
        << name;
    // The same through the ASCII conversions, which chain the two steps.
    EXPECT_EQ(qor::string_ascii_to_utf8(original, latin1), reference) << name;
    EXPECT_EQ(qor::string_utf8_to_ascii(reference, latin1), original) << name;
  }
}

TEST(LocaleConversion, Latin1Table) {
  REQUIRE_LOCALE(latin1, Latin1Locale, "Latin-1");
  struct Case {
    std::string bytes;
    std::wstring wide;
  };
  const Case cases[] = {
      {"", L""},
      {"a\0\xE9\0"s, Wide({0x61, 0, 0xE9, 0})},  // zeros inside the text are converted
      {"\0"s, Wide({0})},
      {"\xFF\x80\xA4"s, Wide({0xFF, 0x80, 0xA4})},
      {std::string(100, '\xE9') + "\0z"s, std::wstring(100, 0xE9) + Wide({0, 0x7A})},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_string_to_wstring(c.bytes, latin1), c.wide) << Hex(c.bytes);
    EXPECT_EQ(qor::string_wstring_to_string(c.wide, latin1), c.bytes) << HexWide(c.wide);
  }
  // Characters that Latin-1 lacks.
  EXPECT_EQ(qor::string_wstring_to_string(Wide({0x41, 0x20AC}), latin1), ToBytesError());
  EXPECT_EQ(qor::string_wstring_to_string(Wide({0x100}), latin1), ToBytesError());
  EXPECT_EQ(qor::string_utf8_to_ascii("\xE2\x82\xAC", latin1), ToBytesError());
  EXPECT_EQ(qor::string_ascii_to_utf8("\xE9", latin1), "\xC3\xA9");
  EXPECT_EQ(qor::string_utf8_to_ascii("caf\xC3\xA9", latin1), "caf\xE9");
  // A Latin-1 text that happens to have the UTF-8 layout is taken as UTF-8.
  EXPECT_EQ(qor::string_ascii_to_utf8("\xC3\xA9", latin1), "\xC3\xA9");
}

TEST(LocaleConversion, Utf8LocaleAgreesWithUtf8Name) {
  REQUIRE_LOCALE(utf8, Utf8Locale, "UTF-8");
  for (const char* name :
       {"mars-french.utf8.txt", "mars-chinese.utf8.txt", "lipsum-emoji.utf8.txt"}) {
    const std::string text = qor_test::CorpusFile(name);
    const std::wstring wide = qor::string_string_to_wstring(text, utf8);
    EXPECT_EQ(wide, qor::string_string_to_wstring(text, "utf-8")) << name;
    EXPECT_EQ(qor::string_wstring_to_string(wide, utf8), text) << name;
  }
  struct Case {
    std::string bytes;
    std::wstring wide;  // FromBytesError() when the bytes do not convert
  };
  const Case cases[] = {
      {"", L""},
      {"a\0\xC3\xA9\0"s, Wide({0x61, 0, 0xE9, 0})},
      {"\xF0\x9F\x98\x80\0"s, Wide({0x1F600, 0})},
      {"\xC3"s, FromBytesError()},   // cut short by the end, alone
      {"a\xC3"s, FromBytesError()},  // and after text
      {"a\xE2\x82"s, FromBytesError()},
      {"\xC3\0"s, FromBytesError()},  // a zero byte does not complete a sequence
      {"a\xFF"s, FromBytesError()},
      {"a\x80z"s, FromBytesError()},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_string_to_wstring(c.bytes, utf8), c.wide) << Hex(c.bytes);
    if (c.wide != FromBytesError()) {
      EXPECT_EQ(qor::string_wstring_to_string(c.wide, utf8), c.bytes) << HexWide(c.wide);
    }
  }
}

TEST(LocaleConversion, MissingLocaleGivesRuntimeErrorMessage) {
  const std::string name = "qor_NO.SUCH-LOCALE";
  std::string message;
  try {
    qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>> facet(name);
  } catch (const std::runtime_error& error) {
    message = error.what();
  }
  ASSERT_FALSE(message.empty()) << "the platform has a locale named " << name;
  std::wstring wide_message;
  for (char ch : message)
    wide_message.push_back(static_cast<wchar_t>(static_cast<signed char>(ch)));
  for (const std::string& text : {""s, "abc"s, "\xC3\xA9"s}) {
    EXPECT_EQ(qor::string_string_to_wstring(text, name), wide_message) << Hex(text);
    EXPECT_EQ(qor::string_wstring_to_string(qor::string_utf8_to_wstring(text), name), message);
  }
  // The ASCII conversions return ASCII text untouched without looking at the name ...
  EXPECT_EQ(qor::string_utf8_to_ascii("abc", name), "abc");
  EXPECT_EQ(qor::string_ascii_to_utf8("abc", name), "abc");
  EXPECT_EQ(qor::string_ascii_to_utf8("\xC3\xA9", name), "\xC3\xA9");
  // ... and pass the message on otherwise.
  EXPECT_EQ(qor::string_utf8_to_ascii("\xC3\xA9", name), message);
  EXPECT_EQ(qor::string_ascii_to_utf8("\xE9", name), message);
}

}  // namespace
