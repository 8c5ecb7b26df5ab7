// Tests of the whole-text loop over a locale facet, driven by facets that misbehave the way real
// ones do: stopping at zero units, answering `partial` without progress, holding a sequence back,
// keeping a shift state.
#include <cstring>
#include <cwchar>
#include <locale>
#include <string>

#include <gtest/gtest.h>

#include "encoding/encoding_test_util.h"
#include "encoding/facet_converter.h"

namespace {

using namespace std::string_literals;
using qor::internal::FacetToNarrow;
using qor::internal::FacetToWide;
using qor_test::Hex;
using qor_test::HexWide;
using qor_test::Wide;

using Codecvt = std::codecvt<wchar_t, char, std::mbstate_t>;

enum class Quirk {
  kNone,
  kStopsAtZero,     // converts up to a zero unit and answers ok, as a zero-terminated converter
  kStuck,           // answers partial and takes nothing
  kHoldsLastC3,     // takes a final C3 into its state and answers partial
  kRefusesFF,       // error at the byte FF or the element 0xFF
  kShifts,          // stateful: SO before bytes 80..FF, SI before ASCII and when unshifting
  kOneUnitPerCall,  // converts one unit a call, answering partial
};

// A Latin-1 facet (byte b <-> element b) with one quirk.
class TestFacet : public Codecvt {
 public:
  explicit TestFacet(Quirk quirk) : Codecvt(std::size_t{0}), quirk_(quirk) {}
  ~TestFacet() override = default;

 protected:
  static bool Shifted(const std::mbstate_t& state) {
    unsigned char flag;
    std::memcpy(&flag, &state, 1);
    return flag != 0;
  }
  static void SetShifted(std::mbstate_t& state, bool shifted) {
    const unsigned char flag = shifted ? 1 : 0;
    std::memcpy(&state, &flag, 1);
  }

  result do_in(std::mbstate_t&, const char* from, const char* from_end, const char*& from_next,
               wchar_t* to, wchar_t* to_end, wchar_t*& to_next) const override {
    from_next = from;
    to_next = to;
    if (quirk_ == Quirk::kStuck) return partial;
    while (from_next != from_end && to_next != to_end) {
      const auto b = static_cast<unsigned char>(*from_next);
      if (quirk_ == Quirk::kStopsAtZero && b == 0) return ok;
      if (quirk_ == Quirk::kRefusesFF && b == 0xFF) return error;
      if (quirk_ == Quirk::kHoldsLastC3 && b == 0xC3 && from_next + 1 == from_end) {
        ++from_next;
        return partial;
      }
      *to_next++ = static_cast<wchar_t>(b);
      ++from_next;
      if (quirk_ == Quirk::kOneUnitPerCall) return from_next == from_end ? ok : partial;
    }
    return from_next == from_end ? ok : partial;
  }

  result do_out(std::mbstate_t& state, const wchar_t* from, const wchar_t* from_end,
                const wchar_t*& from_next, char* to, char* to_end, char*& to_next) const override {
    from_next = from;
    to_next = to;
    if (quirk_ == Quirk::kStuck) return partial;
    while (from_next != from_end) {
      const auto c = static_cast<std::uint32_t>(*from_next);
      if (c > 0xFF || (quirk_ == Quirk::kRefusesFF && c == 0xFF)) return error;
      if (quirk_ == Quirk::kStopsAtZero && c == 0) return ok;
      if (to_end - to_next < 2) return partial;
      if (quirk_ == Quirk::kShifts && (c >= 0x80) != Shifted(state)) {
        *to_next++ = c >= 0x80 ? '\x0E' : '\x0F';
        SetShifted(state, c >= 0x80);
      }
      *to_next++ = static_cast<char>(quirk_ == Quirk::kShifts ? c & 0x7F : c);
      ++from_next;
      if (quirk_ == Quirk::kOneUnitPerCall) return from_next == from_end ? ok : partial;
    }
    return ok;
  }

  result do_unshift(std::mbstate_t& state, char* to, char* to_end, char*& to_next) const override {
    to_next = to;
    if (quirk_ != Quirk::kShifts) return noconv;
    if (!Shifted(state)) return ok;
    if (to == to_end) return partial;
    *to_next++ = '\x0F';
    SetShifted(state, false);
    return ok;
  }

  int do_encoding() const noexcept override { return quirk_ == Quirk::kShifts ? -1 : 1; }
  bool do_always_noconv() const noexcept override { return false; }
  int do_max_length() const noexcept override { return 2; }

 private:
  Quirk quirk_;
};

TEST(FacetToWide, ConvertsWholeTextOrFails) {
  struct Case {
    Quirk quirk;
    std::string bytes;
    bool converts;
  };
  const Case cases[] = {
      {Quirk::kNone, "", true},
      {Quirk::kNone, "a\0\xE9\0"s, true},
      {Quirk::kStopsAtZero, "a\0\0b\0"s, true},  // zeros converted by the loop itself
      {Quirk::kStopsAtZero, "\0"s, true},
      {Quirk::kOneUnitPerCall, "abc\0\xFF"s, true},
      {Quirk::kStuck, "a", false},             // no progress: fails instead of spinning
      {Quirk::kStuck, "", true},               // the facet is never asked
      {Quirk::kHoldsLastC3, "a\xC3"s, false},  // sequence pending at the end
      {Quirk::kHoldsLastC3, "\xC3\x41"s, true},
      {Quirk::kRefusesFF, "ab\xFF"s, false},
  };
  for (const Case& c : cases) {
    TestFacet facet(c.quirk);
    std::wstring out = L"old";
    const bool converted = FacetToWide(facet, c.bytes, out);
    EXPECT_EQ(converted, c.converts) << int(c.quirk) << " " << Hex(c.bytes);
    if (converted && c.converts) {
      std::wstring expected;
      for (unsigned char b : c.bytes) expected.push_back(static_cast<wchar_t>(b));
      EXPECT_EQ(out, expected) << int(c.quirk) << " " << Hex(c.bytes) << " gave " << HexWide(out);
    }
  }
}

TEST(FacetToNarrow, ConvertsWholeTextAndUnshifts) {
  struct Case {
    Quirk quirk;
    std::wstring units;
    bool converts;
    std::string expected;
  };
  const Case cases[] = {
      {Quirk::kNone, L"", true, ""},
      {Quirk::kNone, Wide({0x61, 0, 0xE9, 0}), true, "a\0\xE9\0"s},
      {Quirk::kStopsAtZero, Wide({0x61, 0, 0, 0x62, 0}), true, "a\0\0b\0"s},
      {Quirk::kOneUnitPerCall, Wide({0x61, 0x62, 0, 0xFF}), true, "ab\0\xFF"s},
      {Quirk::kShifts, Wide({0x61, 0xE9, 0xE8}), true, "a\x0E\x69\x68\x0F"s},  // closed by SI
      {Quirk::kShifts, Wide({0xE9, 0x61}), true, "\x0E\x69\x0F\x61"s},
      {Quirk::kShifts, Wide({0x61}), true, "a"},
      {Quirk::kNone, Wide({0x61, 0x100}), false, ""},
      {Quirk::kRefusesFF, Wide({0xFF}), false, ""},
      {Quirk::kStuck, Wide({0x61}), false, ""},
  };
  for (const Case& c : cases) {
    TestFacet facet(c.quirk);
    std::string out = "old";
    const bool converted = FacetToNarrow(facet, c.units, out);
    EXPECT_EQ(converted, c.converts) << int(c.quirk) << " " << HexWide(c.units);
    if (converted && c.converts) {
      EXPECT_EQ(out, c.expected) << int(c.quirk) << " " << HexWide(c.units) << " gave " << Hex(out);
    }
  }
}

// Long texts make the loop grow its output several times.
TEST(FacetToNarrow, GrowsOutputForLongText) {
  std::wstring units;
  for (int i = 0; i < 5000; ++i) {
    const auto c = static_cast<wchar_t>(i % 3 == 0 ? 0xE0 + i % 16 : 'a' + i % 26);
    units.push_back(c);
  }
  units.push_back(0xE9);  // ends shifted, so the text must be closed
  for (Quirk quirk : {Quirk::kNone, Quirk::kShifts, Quirk::kOneUnitPerCall}) {
    TestFacet facet(quirk);
    std::string out;
    ASSERT_TRUE(FacetToNarrow(facet, units, out)) << int(quirk);
    std::wstring back;
    if (quirk != Quirk::kShifts) {
      ASSERT_TRUE(FacetToWide(facet, out, back));
      EXPECT_EQ(back, units) << int(quirk);
    } else {
      EXPECT_EQ(out.back(), '\x0F');  // ends in the initial shift state
      EXPECT_GT(out.size(), units.size());
    }
  }
}

}  // namespace
