// The portable kernels stop exactly where the rule says, not a block early: at every length up to
// 70 and every alignment, where their runs of words and of one sequence length meet a fault, a
// zero, a sequence cut by the end, or the end of the room.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "encoding/portable_kernels.h"
#include "models/utf8_model.h"
#include "test_util.h"

namespace {

using namespace qor::internal;
using qor_test::Units;

// Texts whose runs change where the words and the runs of the kernels end.
const std::string kPieces[] = {
    "abcdefghijklmnopqrstu",    "\xD0\xB6\xD0\xB8 \xD0\xB7",        "\xC3\xA9t\xC3\xA9",
    "\xE4\xB8\xAD\xE6\x96\x87", "\xF0\x9F\x98\x80\xF0\x9F\x98\x81", "\xEF\xBB\xBF"};
const std::string kFaults[] = {std::string(1, '\0'), "\x80",        "\xC0\xAF",
                               "\xED\xA0\x80",       "\xC3",        "\xE4\xB8",
                               "\xF4\x90\x80\x80",   "\xF0\x9F\x98"};

std::string Text(std::size_t size, std::size_t seed) {
  std::string s;
  for (std::size_t k = seed; s.size() < size; ++k) s += kPieces[k % 6];
  s.resize(size);  // may cut a sequence
  return s;
}

// The model: the values of the standard sequences before the first that `options` leaves to the
// caller, and where each ends.
void Settle(const std::string& s, unsigned options, Units& values, std::vector<std::size_t>& ends) {
  for (std::size_t i = 0, n = 0; i < s.size(); i += n) {
    std::uint32_t v = 0;
    n = qor_test::StandardSequence(s, i, v);
    if (n == 0 || v == 0 || ((options & kDecodeBmpOnly) && v > 0xFFFF) ||
        ((options & kDecodeStopAtBom) && v == 0xFEFF))
      return;
    values.push_back(v);
    ends.push_back(i + n);
  }
}

void CheckAt(const std::string& s, std::size_t offset) {
  if (testing::Test::HasFailure()) return;
  SCOPED_TRACE(qor_test::Hex(s) + " at offset " + std::to_string(offset));
  std::vector<unsigned char> buffer(offset + s.size());
  std::copy(s.begin(), s.end(), buffer.begin() + static_cast<std::ptrdiff_t>(offset));
  const unsigned char* p = buffer.data() + offset;
  const std::size_t invalid = qor_test::ModelFindInvalid(s, true);
  bool high = false;
  const std::size_t valid = PortableStandardPrefix(p, s.size(), high);
  ASSERT_EQ(valid, invalid == std::string::npos ? s.size() : invalid);
  if (valid == s.size()) {
    bool any_high = false;
    for (char b : s) any_high = any_high || (b & 0x80) != 0;
    EXPECT_EQ(high, any_high);
  }
  for (unsigned options = 0; options < 4; ++options) {
    Units values;
    std::vector<std::size_t> ends;
    Settle(s, options, values, ends);
    const DecodeStep counted = PortableDecode(p, s.size(), nullptr, 0, options);
    ASSERT_EQ(counted.written, values.size()) << "options " << options;
    ASSERT_EQ(counted.read, ends.empty() ? 0 : ends.back()) << "options " << options;
    // Rooms past the elements too: a kernel that takes a block only with room for all of it
    // stops short of a fault in the filling call only then.
    for (std::size_t room = 0; room <= values.size() + 9; ++room) {
      std::vector<wchar_t> out(values.size() + 12, L'\x5A5A');
      const DecodeStep filled = PortableDecode(p, s.size(), out.data(), room, options);
      const std::size_t fit = room < values.size() ? room : values.size();
      ASSERT_EQ(filled.written, fit) << "room " << room << " options " << options;
      ASSERT_EQ(filled.read, fit == 0 ? 0 : ends[fit - 1]) << "room " << room;
      Units image(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(fit));
      image.resize(out.size(), 0x5A5A);
      ASSERT_EQ(Units(out.begin(), out.end()), image) << "room " << room;
    }
  }
}

TEST(PortableKernels, DecodeAndCheckUpToTheFirstFaultAtEveryLengthAndAlignment) {
  for (std::size_t size = 0; size <= 70; ++size) {
    for (std::size_t offset = 0; offset < 8; ++offset) {
      CheckAt(std::string(size, 'x'), offset);
      CheckAt(Text(size, size + offset), offset);
      const std::string& fault = kFaults[(size + offset) % 8];
      CheckAt(Text(size, offset) + fault + Text(size % 9, offset), offset);
    }
  }
}

// Two-byte letters and ASCII, broken at each byte, so at every place of the eight-byte windows the
// decoder takes such text in, and cut short there.
TEST(PortableKernels, DecodeTwoByteRunsBrokenAtEveryPlace) {
  const std::string run =
      "\xD0\xB6\xD0\xB8 \xD1\x8F\xD0\xB7\xC2\x80!\xDF\xBF\xD0\xB8\xD0\xB7\xD1\x88\xD0\xB6";
  const std::string breaks[] = {
      "\x80",              // a stray continuation
      "\xC0\xB6",          // overlong leads
      "\xC1\xBF",          //
      "\xD0",              // a lead without its continuation
      "\xD0\xD0\xB6",      // a lead, then another
      "\xE4\xB8\xAD",      // a sequence of another length
      "\xF0\x9F\x98\x80",  //
      "\xE4\xB8",          // leads of longer sequences with one continuation
      "\xF4\x8F",          //
      "\xEF\xBB\xBF",      // U+FEFF, which an option leaves to the caller
      "x",                 // ASCII
      std::string(1, '\0'),
  };
  for (std::size_t place = 0; place <= run.size(); ++place) {
    for (std::size_t offset = 0; offset < 8; ++offset) {
      CheckAt(run.substr(0, place), offset);
      for (const std::string& fault : breaks) {
        CheckAt(run.substr(0, place) + fault + run.substr(place), offset);
      }
    }
  }
}

// The values of the well-formed sequences of s, the bytes of the others left out.
std::wstring Widen(const std::string& s) {
  std::wstring wide;
  for (std::size_t i = 0, n = 0; i < s.size(); i += n == 0 ? 1 : n) {
    std::uint32_t v = 0;
    n = qor_test::StandardSequence(s, i, v);
    if (n != 0) wide += static_cast<wchar_t>(v);
  }
  return wide;
}

// Encoding: at every room, the longest plain prefix whose forms fit, and no other byte written.
TEST(PortableKernels, EncodeWhatFitsAtEveryLengthRoomAndAlignment) {
  const PlainRule rules[] = {
      {0x10FFFF, 0xD800, 0}, {0x10FFFF, 0xD800, 0xFEFF}, {0xFFFF, kNoTag, 0}};
  for (std::size_t size = 0; size <= 40; ++size) {
    for (std::size_t offset = 0; offset < 4; ++offset) {
      std::wstring text = Widen(Text(size, offset) + "!");
      if (size % 5 == 4) text[text.size() / 2] = static_cast<wchar_t>(size % 2 ? 0xD800 : 0x110000);
      std::vector<wchar_t> in(offset + text.size());
      std::copy(text.begin(), text.end(), in.begin() + static_cast<std::ptrdiff_t>(offset));
      for (const PlainRule& rule : rules) {
        std::string forms;
        std::vector<std::size_t> ends;
        for (wchar_t e : text) {
          if (!IsPlain(static_cast<std::uint32_t>(e), rule)) break;
          forms += qor_test::Form(static_cast<std::uint32_t>(e));
          ends.push_back(forms.size());
        }
        std::size_t used = 0;
        ASSERT_EQ(PortableMeasure(in.data() + offset, text.size(), rule, used), forms.size());
        ASSERT_EQ(used, ends.size());
        for (std::size_t room = 0; room <= forms.size() + 4; ++room) {
          std::string out(forms.size() + 8, '\xA5');
          std::size_t written = 0;
          const std::size_t took =
              PortableEncode(in.data() + offset, text.size(),
                             reinterpret_cast<unsigned char*>(&out[0]), room, rule, written);
          std::size_t fit = 0;
          while (fit < ends.size() && ends[fit] <= room) ++fit;
          ASSERT_EQ(took, fit) << qor_test::Hex(text) << " room " << room;
          const std::string image = forms.substr(0, fit == 0 ? 0 : ends[fit - 1]);
          ASSERT_EQ(written, image.size());
          ASSERT_EQ(out, image + std::string(out.size() - image.size(), '\xA5'))
              << qor_test::Hex(text) << " room " << room;
        }
      }
    }
  }
}

}  // namespace
