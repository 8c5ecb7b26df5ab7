// Differential test of the fixed Unicode names against the standard converter over the standard
// Unicode facets. Only libc++'s facets keep the strict rules (surrogates refused, cut-short input
// an error) and word their errors like the library, so the comparison runs in libc++ builds.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "encoding/encoding_test_util.h"
#include "qor/qorstl.h"

#if defined(_LIBCPP_VERSION)
#include <codecvt>
#include <locale>
#include <stdexcept>

#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace {

using qor_test::Hex;
using qor_test::HexWide;

enum class Name { kUtf8, kUtf16, kUtf8Utf16 };

template <class Facet>
std::wstring StdFromBytes(const std::string& bytes) {
  std::wstring_convert<Facet, wchar_t> convert;
  try {
    return convert.from_bytes(bytes.data(), bytes.data() + bytes.size());
  } catch (const std::range_error& error) {
    std::wstring wide;
    for (const char* p = error.what(); *p != '\0'; ++p) wide.push_back(static_cast<wchar_t>(*p));
    return wide;
  }
}

template <class Facet>
std::string StdToBytes(const std::wstring& wide) {
  std::wstring_convert<Facet, wchar_t> convert;
  try {
    return convert.to_bytes(wide.data(), wide.data() + wide.size());
  } catch (const std::range_error& error) {
    return error.what();
  }
}

std::wstring StdFromBytes(Name name, const std::string& bytes) {
  switch (name) {
    case Name::kUtf8:
      return StdFromBytes<std::codecvt_utf8<wchar_t, 0x10FFFF>>(bytes);
    case Name::kUtf16:
      return StdFromBytes<std::codecvt_utf16<wchar_t, 0x10FFFF>>(bytes);
    case Name::kUtf8Utf16:
      return StdFromBytes<std::codecvt_utf8_utf16<wchar_t, 0x10FFFF>>(bytes);
  }
  return L"";
}

std::string StdToBytes(Name name, const std::wstring& wide) {
  switch (name) {
    case Name::kUtf8:
      return StdToBytes<std::codecvt_utf8<wchar_t, 0x10FFFF>>(wide);
    case Name::kUtf16:
      return StdToBytes<std::codecvt_utf16<wchar_t, 0x10FFFF>>(wide);
    case Name::kUtf8Utf16:
      return StdToBytes<std::codecvt_utf8_utf16<wchar_t, 0x10FFFF>>(wide);
  }
  return "";
}

// Pieces of valid and invalid input: encodings of values around every boundary, cut-short and
// overlong forms, stray bytes, zero units and ASCII runs long enough for the block paths.
std::uint32_t RandomValue(std::mt19937& rng) {
  static const std::uint32_t edges[] = {
      0,        0x7F,     0x80,      0x7FF,      0x800,      0xD7FF,    0xD800,  0xDBFF,
      0xDC00,   0xDFFF,   0xE000,    0xFEFF,     0xFFFF,     0x10000,   0xFFFFF, 0x10FFFF,
      0x110000, 0x1FFFFF, 0x3FFFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  switch (rng() % 4) {
    case 0:
      return edges[rng() % (sizeof edges / sizeof edges[0])];
    case 1:
      return rng() % 0x800;
    case 2:
      return rng() % 0x10000;
    default:
      return rng() % 0x110000;
  }
}

std::string RandomBytes(std::mt19937& rng, Name name) {
  std::string s;
  const std::size_t pieces = rng() % 10;
  for (std::size_t i = 0; i < pieces; ++i) {
    const std::uint32_t v = RandomValue(rng);
    switch (rng() % 5) {
      case 0:
        s += static_cast<char>(rng() % 256);
        break;
      case 1:
        s += std::string(rng() % 40, static_cast<char>(rng() % 2 == 0 ? 'x' : '\0'));
        break;
      default:
        if (name == Name::kUtf16) {
          s += static_cast<char>((v >> 8) & 0xFF);
          s += static_cast<char>(v & 0xFF);
        } else {
          // Any 31-bit form (the codec writes overlong-free forms of up to six bytes), sometimes
          // with a byte missing.
          std::wstring one(1, static_cast<wchar_t>(v & 0x7FFFFFFF));
          std::string form = qor::string_utf8_wstring_to_string(one);
          if (form.empty()) form = qor::to_utf8(one);  // surrogates: three-byte form
          if (rng() % 6 == 0 && !form.empty()) form.pop_back();
          if (rng() % 10 == 0 && form.size() >= 2) {  // an overlong form of a small value
            form = std::string("\xC0") + static_cast<char>(0x80 | (rng() % 64));
          }
          s += form;
        }
    }
  }
  return s;
}

std::wstring RandomWide(std::mt19937& rng, Name name) {
  std::wstring w;
  const std::size_t pieces = rng() % 10;
  for (std::size_t i = 0; i < pieces; ++i) {
    if (rng() % 4 == 0) {
      w += std::wstring(rng() % 40, static_cast<wchar_t>(rng() % 2 == 0 ? L'y' : L'\0'));
      continue;
    }
    std::uint32_t v = RandomValue(rng);
    // libc++ keeps only the low 16 bits of larger elements on the UTF-16 side of "utf-8-16"; the
    // library takes 0x10000..0x10FFFF as code points and refuses the rest, so those stay out.
    if (name == Name::kUtf8Utf16 && v > 0xFFFF) {
      const std::uint32_t c = 0x10000 + v % 0x100000;
      w += static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
      v = 0xDC00 + (c & 0x3FF);
      if (rng() % 5 == 0) v = rng() % 0x10000;  // sometimes a broken pair
    }
    w += static_cast<wchar_t>(v);
  }
  return w;
}

TEST(LibcxxDifferential, FixedNamesMatchStandardFacets) {
  struct Case {
    Name name;
    const char* encoding;
  };
  const Case cases[] = {
      {Name::kUtf8, "utf-8"}, {Name::kUtf16, "utf-16"}, {Name::kUtf8Utf16, "utf-8-16"}};
  std::mt19937 rng(5150);
  for (const Case& c : cases) {
    int failures = 0;
    int errors_seen = 0;
    for (int round = 0; round < 20000 && failures < 5; ++round) {
      const std::string bytes = RandomBytes(rng, c.name);
      const std::wstring ours = qor::string_string_to_wstring(bytes, c.encoding);
      const std::wstring theirs = StdFromBytes(c.name, bytes);
      if (ours == qor_test::FromBytesError()) ++errors_seen;
      if (ours != theirs) {
        ++failures;
        ADD_FAILURE() << c.encoding << " from " << Hex(bytes) << ": library " << HexWide(ours)
                      << ", libc++ " << HexWide(theirs);
      }
      const std::wstring wide = RandomWide(rng, c.name);
      const std::string ours_narrow = qor::string_wstring_to_string(wide, c.encoding);
      const std::string theirs_narrow = StdToBytes(c.name, wide);
      if (ours_narrow == qor_test::ToBytesError()) ++errors_seen;
      if (ours_narrow != theirs_narrow) {
        ++failures;
        ADD_FAILURE() << c.encoding << " to " << HexWide(wide) << ": library " << Hex(ours_narrow)
                      << ", libc++ " << Hex(theirs_narrow);
      }
    }
    // Both outcomes must be well represented for the comparison to mean something.
    EXPECT_GT(errors_seen, 4000) << c.encoding;
    EXPECT_LT(errors_seen, 36000) << c.encoding;
  }
}

}  // namespace

#pragma clang diagnostic pop

#else

TEST(LibcxxDifferential, FixedNamesMatchStandardFacets) {
  GTEST_SKIP() << "runs in the libc++ build only (clang++ -stdlib=libc++): the facets of this "
                  "standard library do not keep the strict rules";
}

#endif
