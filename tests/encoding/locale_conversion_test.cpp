// Tests of the conversions by locale name: real Latin-1 and UTF-8 locales that the build generates
// (LOCPATH points at them), checked against the platform's iconv, and the facet loop driven by a
// facet that misbehaves the way real ones may.
#include <cstdlib>
#include <locale>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "test_util.h"
#include "encoding/facet_converter.h"
#include "qor/qorstl.h"

// glibc's newlocale() leaks the search path it builds from LOCPATH (a plain C program that calls
// newlocale with LOCPATH set shows the same leak); keep it out of the leak checker's reports.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:__argz_add_sep\n";
}

namespace {

using namespace std::string_literals;
using qor_test::Hex;
using qor_test::kFromBytesError;
using qor_test::kToBytesError;
using qor_test::W;

// The first of `names` that the platform has; "" when none. ctest sets LOCPATH; a direct run of
// the test program gets it here.
std::string FindLocale(std::initializer_list<const char*> names) {
  setenv("LOCPATH", QORSTL_TEST_LOCALE_DIR, 0);
  for (const char* name : names) {
    try {
      qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>> facet(name);
      return name;
    } catch (const std::exception&) {
    }
  }
  return "";
}

#define REQUIRE_LOCALE(var, ...)                                                   \
  const std::string var = FindLocale({__VA_ARGS__});                               \
  if (var.empty()) {                                                               \
    GTEST_SKIP() << "no " #var                                                     \
                    " locale: build qorstl_test_locales (localedef) and run with " \
                    "LOCPATH=" QORSTL_TEST_LOCALE_DIR;                             \
  }

TEST(LocaleConversion, Latin1MatchesIconv) {
  REQUIRE_LOCALE(latin1, "de_DE.ISO-8859-1", "de_DE.ISO8859-1");
  for (const std::string& file : {"mars-french"s, "mars-german"s}) {
    const std::string text = qor_test::ReadFile(QORSTL_CORPUS_DIR "/" + file + ".latin1.txt");
    const std::string iconv =
        qor_test::ReadFile(QORSTL_TEST_LOCALE_DIR "/" + file + ".iconv.utf8.txt");
    ASSERT_FALSE(text.empty() || iconv.empty()) << file << ": corpus or iconv output missing";
    EXPECT_EQ(qor::string_wstring_to_utf8(qor::string_string_to_wstring(text, latin1)), iconv);
    EXPECT_EQ(qor::string_wstring_to_string(qor::string_utf8_to_wstring(iconv), latin1), text);
    EXPECT_EQ(qor::string_ascii_to_utf8(text, latin1), iconv) << file;
    EXPECT_EQ(qor::string_utf8_to_ascii(iconv, latin1), text) << file;
  }
  EXPECT_EQ(qor::string_string_to_wstring("a\0\xE9\0"s, latin1), W({0x61, 0, 0xE9, 0}));
  EXPECT_EQ(qor::string_wstring_to_string(W({0x61, 0, 0xFF, 0}), latin1), "a\0\xFF\0"s);
  EXPECT_EQ(qor::string_wstring_to_string(W({0x41, 0x20AC}), latin1), kToBytesError);  // no euro
  EXPECT_EQ(qor::string_ascii_to_utf8("\xE9", latin1), "\xC3\xA9");
}

TEST(LocaleConversion, Utf8LocaleKeepsTheUtf8Rules) {
  REQUIRE_LOCALE(utf8, "de_DE.UTF-8", "C.UTF-8", "en_US.UTF-8");
  const std::string text = qor_test::ReadFile(QORSTL_CORPUS_DIR "/lipsum-emoji.utf8.txt") + "\0z"s;
  // Long text before a zero: all of it must reach the facet's output.
  EXPECT_TRUE(qor::string_string_to_wstring(text, utf8) ==
              qor::string_string_to_wstring(text, "utf-8"));
  EXPECT_TRUE(qor::string_wstring_to_string(qor::string_utf8_to_wstring(text), utf8) == text);
  for (const std::string& bad : {"\xC3"s, "a\xC3"s, "a\xE2\x82"s, "\xC3\0"s, "a\x80z"s}) {
    EXPECT_EQ(qor::string_string_to_wstring(bad, utf8), kFromBytesError) << Hex(bad);
  }
}

// A Latin-1 facet (byte b <-> element b) with a quirk.
enum class Quirk { kStopsAtZero, kStuck, kHoldsLastC3, kShifts };

class QuirkyFacet : public std::codecvt<wchar_t, char, std::mbstate_t> {
 public:
  explicit QuirkyFacet(Quirk quirk) : codecvt(std::size_t{0}), quirk_(quirk) {}
  ~QuirkyFacet() override = default;

 private:
  // kStopsAtZero stops before a zero unit, as converters of zero-terminated text do; kStuck takes
  // nothing; kHoldsLastC3 takes a last C3 into its state and answers partial; kShifts writes SO
  // before bytes 80..FF and SI before ASCII and when unshifting.
  template <class From, class To>
  result Convert(std::mbstate_t& state, const From* from, const From* end, const From*& from_next,
                 To* to, To* to_end, To*& to_next) const {
    for (from_next = from, to_next = to; from_next != end && to_end - to_next >= 2; ++from_next) {
      const auto c =
          static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<From>>(*from_next));
      if (quirk_ == Quirk::kStuck || (quirk_ == Quirk::kStopsAtZero && c == 0)) break;
      if (quirk_ == Quirk::kHoldsLastC3 && c == 0xC3 && from_next + 1 == end)
        return ++from_next, partial;
      if (quirk_ == Quirk::kShifts && (c >= 0x80) != (*reinterpret_cast<char*>(&state) != 0)) {
        *to_next++ = c >= 0x80 ? '\x0E' : '\x0F';
        *reinterpret_cast<char*>(&state) = c >= 0x80;
      }
      *to_next++ = static_cast<To>(c);
    }
    return from_next == end ? ok : partial;
  }
  result do_in(std::mbstate_t& s, const char* f, const char* fe, const char*& fn, wchar_t* t,
               wchar_t* te, wchar_t*& tn) const override {
    return Convert(s, f, fe, fn, t, te, tn);
  }
  result do_out(std::mbstate_t& s, const wchar_t* f, const wchar_t* fe, const wchar_t*& fn, char* t,
                char* te, char*& tn) const override {
    return Convert(s, f, fe, fn, t, te, tn);
  }
  result do_unshift(std::mbstate_t& state, char* to, char*, char*& to_next) const override {
    to_next = to;
    if (*reinterpret_cast<char*>(&state) != 0) *to_next++ = '\x0F';
    return ok;
  }
  int do_max_length() const noexcept override { return 2; }
  Quirk quirk_;
};

TEST(FacetConverter, ConvertsWholeTextOrFails) {
  const struct {
    Quirk quirk;
    std::string narrow;
    bool converts;
  } cases[] = {
      {Quirk::kStopsAtZero, "\0a\0\0b\0"s, true},  // the loop converts the zeros itself
      {Quirk::kStuck, "a", false},                 // no progress: fails, never spins
      {Quirk::kStuck, "", true},
      {Quirk::kHoldsLastC3, "\xC3\x41\xC3"s, false},  // a sequence pending at the end
      {Quirk::kHoldsLastC3, std::string(300, '\xC3') + "A", true},
  };
  for (const auto& c : cases) {
    std::wstring latin1, to_wide;
    for (unsigned char b : c.narrow) latin1 += static_cast<wchar_t>(b);
    std::string to_narrow;
    EXPECT_EQ(qor::internal::FacetToWide(QuirkyFacet(c.quirk), c.narrow, to_wide), c.converts)
        << Hex(c.narrow);
    EXPECT_EQ(qor::internal::FacetToNarrow(QuirkyFacet(c.quirk), latin1, to_narrow), c.converts)
        << Hex(c.narrow);
    if (c.converts) {
      EXPECT_EQ(to_wide, latin1) << Hex(c.narrow);
      EXPECT_EQ(to_narrow, c.narrow) << Hex(c.narrow);
    }
  }
  std::string shifted;
  ASSERT_TRUE(
      qor::internal::FacetToNarrow(QuirkyFacet(Quirk::kShifts), W({0x61, 0xE9, 0xE8}), shifted));
  EXPECT_EQ(shifted, "a\x0E\xE9\xE8\x0F");  // closed with the return to the initial state
}

}  // namespace
