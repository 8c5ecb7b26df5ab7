// The position of the first malformed UTF-8 sequence: a table of edges under both rule sets, and
// random byte strings against the model.
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "encoding/utf8_model.h"
#include "qor/qorstl.h"
#include "test_util.h"

namespace {

constexpr std::size_t npos = std::string::npos;

TEST(Utf8FindInvalid, Edges) {
  // clang-format off
  struct Case { std::string text; std::size_t standard, codec; };  // the standard rules, the codec's
  const Case cases[] = {
      {"", npos, npos},
      {std::string("a\0\xC3\xA9", 4), npos, npos},  // a zero byte is ASCII
      {"\xF4\x8F\xBF\xBF", npos, npos},             // U+10FFFF
      {"ab\x80", 2, 2},                             // a continuation byte alone
      {"a\xE2\x82", 1, 1},                          // cut short by the end
      {"\xC1\xBF", 0, 0},                           // overlong two-byte lead
      {"\xE0\x80\x80", 0, npos},                    // overlong three-byte form
      {"x\xED\xA0\x80", 1, 1},                      // a surrogate
      {"\xF0\x8F\xBF\xBF", 0, npos},                // overlong four-byte form
      {"\xF4\x90\x80\x80", 0, npos},                // 0x110000
      {"\xF5\x80\x80\x80", 0, 0},                   // refused by both
      {"\xFD\xBF\xBF\xBF\xBF\xBF", 0, npos},        // 0x7FFFFFFF in six bytes
      {"ok\xC3\xA9\xE2\x82\xAC\xFF\xC3", 7, 7},     // the first of two faults
  };
  // clang-format on
  for (const Case& c : cases) {
    EXPECT_EQ(qor::string_utf8_find_invalid(c.text, true), c.standard) << qor_test::Hex(c.text);
    EXPECT_EQ(qor::string_utf8_find_invalid(c.text, false), c.codec) << qor_test::Hex(c.text);
  }
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
      ASSERT_EQ(qor::string_utf8_find_invalid(text, standard),
                qor_test::ModelFindInvalid(text, standard))
          << qor_test::Hex(text) << (standard ? " standard" : " codec");
    }
  }
}

}  // namespace
