// The facet loop of the conversions by name, driven by a quirky facet, as the facets of other C++
// libraries behave: the whole text converts, zeros included, or the conversion fails.
#include <locale>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "encoding/facet_converter.h"
#include "test_util.h"

namespace {

using namespace std::string_literals;
using qor_test::Hex;

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
    EXPECT_EQ(qor::internal::FacetToWide(QuirkyFacet(c.quirk), c.narrow, wide), c.decodes)
        << c.quirk;
    EXPECT_EQ(qor::internal::FacetToNarrow(QuirkyFacet(c.quirk), latin1, narrow), c.encodes)
        << c.quirk;
    EXPECT_EQ(c.decodes ? wide : latin1, latin1) << c.quirk << Hex(c.narrow);
    EXPECT_EQ(c.encodes ? narrow : c.narrow, c.narrow) << c.quirk << Hex(c.narrow);
  }
}

}  // namespace
