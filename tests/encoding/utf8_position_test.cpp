// The position of the first malformed UTF-8 sequence: a table of edges under both rule sets, and
// random byte strings against a model that decodes by value.
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "qor/qorstl.h"
#include "test_util.h"

namespace {

constexpr std::size_t npos = std::string::npos;

TEST(Utf8FindInvalid, Edges) {
  struct Case {
    std::string text;
    std::size_t standard;  // with the standard rules
    std::size_t codec;     // with the codec's 31-bit rules
  };
  const Case cases[] = {
      {"", npos, npos},
      {std::string("a\0b", 3), npos, npos},
      {"caf\xC3\xA9", npos, npos},
      {"\xF0\x9F\x98\x80z", npos, npos},
      {"\xF4\x8F\xBF\xBF", npos, npos},       // U+10FFFF
      {"ab\x80", 2, 2},                       // a continuation byte alone
      {"a\xC3", 1, 1},                        // cut short by the end
      {"a\xE2\x82", 1, 1},                    // cut short by the end
      {"\xC3(", 0, 0},                        // no continuation byte
      {"\xC0\x80", 0, 0},                     // overlong zero
      {"\xC1\xBF", 0, 0},                     // overlong two-byte lead
      {"\xE0\x80\x80", 0, npos},              // overlong three-byte form
      {"\xE0\xA0\x80", npos, npos},           // U+0800, the shortest three-byte value
      {"x\xED\xA0\x80", 1, 1},                // a surrogate
      {"\xED\x9F\xBF", npos, npos},           // U+D7FF, just below the surrogates
      {"\xF0\x8F\xBF\xBF", 0, npos},          // overlong four-byte form
      {"\xF4\x90\x80\x80", 0, npos},          // 0x110000
      {"\xF5\x80\x80\x80", 0, 0},             // refused by both
      {"\xF7\xBF\xBF\xBF", 0, npos},          // 0x1FFFFF
      {"\xF8\x88\x80\x80\x80", 0, npos},      // five bytes
      {"\xFD\xBF\xBF\xBF\xBF\xBF", 0, npos},  // 0x7FFFFFFF in six bytes
      {"\xFC\x80\x80\x80\x80", 0, 0},         // six-byte lead cut short
      {"\xFE", 0, 0},
      {"\xFF", 0, 0},
      {"ok\xC3\xA9\xE2\x82\xAC\xFF\xC3", 7, 7},  // the first of two faults
  };
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_utf8_find_invalid(c.text, true), c.standard) << qor_test::Hex(c.text);
    EXPECT_EQ(qor::string_utf8_find_invalid(c.text, false), c.codec) << qor_test::Hex(c.text);
  }
}

// Model: at each position try every length the rules allow; a sequence is good when its lead and
// continuation bytes have the right form and the value it spells fits that length's range.
std::size_t ModelFindInvalid(const std::string& text, bool standard) {
  const std::size_t max_len = standard ? 4 : 6;
  std::size_t pos = 0;
  while (pos < text.size()) {
    const auto lead = static_cast<unsigned char>(text[pos]);
    if (lead < 0x80) {
      ++pos;
      continue;
    }
    std::size_t good = 0;
    for (std::size_t n = 2; n <= max_len && good == 0; ++n) {
      const unsigned lead_bits = 0xFF00u >> n & 0xFF;  // n ones then a zero
      if ((lead & (lead_bits | 0x80u >> n)) != lead_bits || pos + n > text.size()) continue;
      std::uint64_t value = lead & (0x7Fu >> n);
      bool continuations = true;
      for (std::size_t k = 1; k < n; ++k) {
        const auto b = static_cast<unsigned char>(text[pos + k]);
        continuations = continuations && (b & 0xC0) == 0x80;
        value = value << 6 | (b & 0x3F);
      }
      const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
      bool fits;
      if (standard) {
        const std::uint64_t least[] = {0, 0, 0x80, 0x800, 0x10000};
        fits = value >= least[n] && value <= 0x10FFFF;
      } else {  // the codec refuses four particular leads and nothing on length or range
        fits = lead != 0xC0 && lead != 0xC1 && lead != 0xF5;
      }
      if (continuations && !surrogate && fits) good = n;
    }
    if (good == 0) return pos;
    pos += good;
  }
  return npos;
}

TEST(Utf8FindInvalid, MatchesModelOnRandomBytes) {
  // Leads of every length, edge second bytes and ASCII, so that valid runs are long enough for a
  // fault to appear after them.
  const std::string alphabet(
      "a\0\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xED\xEF\xF0\xF4\xF5\xF7\xF8\xFB\xFC"
      "\xFD\xFE\xFF\x80\x80\x80\xBF",
      30);
  std::mt19937 rng(11);
  for (int i = 0; i < 200000; ++i) {
    const std::string text = qor_test::RandomFrom(rng, alphabet, 12);
    for (bool standard : {true, false}) {
      ASSERT_EQ(qor::string_utf8_find_invalid(text, standard), ModelFindInvalid(text, standard))
          << qor_test::Hex(text) << (standard ? " standard" : " codec");
    }
  }
}

// Every corpus text is well-formed; a byte planted in it is found where it was planted.
TEST(Utf8FindInvalid, FindsPlantedByteInRealText) {
  const std::string text = qor_test::Corpus("mars-greek.utf8.txt");
  if (text.empty()) GTEST_SKIP() << "tests/data/mars-greek.utf8.txt is missing";
  EXPECT_EQ(qor::string_utf8_find_invalid(text, true), npos);
  std::mt19937 rng(3);
  for (int i = 0; i < 50; ++i) {
    std::string bad = text;
    std::size_t at = rng() % bad.size();
    while (at > 0 && (static_cast<unsigned char>(bad[at]) & 0xC0) == 0x80) --at;
    bad[at] = '\xFF';
    EXPECT_EQ(qor::string_utf8_find_invalid(bad, true), at);
    EXPECT_EQ(qor::string_utf8_find_invalid(bad, false), at);
  }
}

}  // namespace
