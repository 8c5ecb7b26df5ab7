// The standard UTF-8 checks of every level this CPU runs, through string_utf8_find_invalid and
// string_is_utf8_string, against models of the rules: short texts at every alignment, texts around
// each block width with a fault at every place, and random bytes.
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "encoding/validate_kernels.h"
#include "models/utf8_model.h"
#include "qor/qorstl.h"
#include "test_util.h"

namespace {

using namespace qor::internal;

constexpr Isa kLevels[] = {Isa::kScalar, Isa::kSse2, Isa::kAvx2, Isa::kAvx512, Isa::kNeon};

// Every level on `text`, placed `offset` bytes into a heap buffer that ends where it ends (so that
// AddressSanitizer sees a read past it). Stops the test at the first failure, printing the text.
void CheckText(const std::string& text, std::size_t offset = 0) {
  if (testing::Test::HasFailure()) return;
  SCOPED_TRACE(qor_test::Hex(text) + " at offset " + std::to_string(offset));
  std::vector<unsigned char> buffer(offset + text.size());
  std::copy(text.begin(), text.end(), buffer.begin() + static_cast<std::ptrdiff_t>(offset));
  const unsigned char* p = buffer.data() + offset;
  const std::size_t standard = qor_test::ModelFindInvalid(text, true);
  const std::size_t codec = qor_test::ModelFindInvalid(text, false);
  const bool utf8 = qor_test::ModelIsUtf8(text);
  // The exported functions settle short ASCII texts before they pick a level.
  EXPECT_EQ(qor::string_utf8_find_invalid(text, true), standard);
  EXPECT_EQ(qor::string_utf8_find_invalid(text, false), codec);
  EXPECT_EQ(qor::string_is_utf8_string(text), utf8);
  for (Isa isa : kLevels) {
    const ValidateKernels* k = ValidateKernelsFor(isa);
    if (k == nullptr) continue;
    SCOPED_TRACE(IsaName(isa));
    bool high = false;
    const std::size_t prefix = k->standard_prefix(p, text.size(), high);
    if (standard == std::string::npos) {
      EXPECT_EQ(prefix, text.size());
      EXPECT_EQ(high, utf8);
    } else {
      // Before the fault, at the end of a sequence, and at most a block and a sequence before it.
      EXPECT_LE(prefix, standard);
      EXPECT_EQ(qor_test::ModelFindInvalid(text.substr(0, prefix), true), std::string::npos);
      EXPECT_LE(standard - prefix, 64u + 3u);
    }
    // The whole answers, and the exported functions' words in front of them.
    EXPECT_EQ(k->is_utf8(p, text.size()), utf8);
    EXPECT_EQ(k->find_invalid(p, text.size(), true), standard);
    EXPECT_EQ(k->find_invalid(p, text.size(), false), codec);
    EXPECT_EQ(FindInvalidWith(*k, p, text.size(), true), standard);
    EXPECT_EQ(FindInvalidWith(*k, p, text.size(), false), codec);
    EXPECT_EQ(IsUtf8TextWith(*k, nullptr, p, text.size()), utf8);
    EXPECT_EQ(IsUtf8TextWith(*k, DecodeKernelsFor(isa), p, text.size()), utf8);
  }
}

// Text of one- to four-byte sequences, so that every kind of sequence meets every block edge.
std::string MixedText(std::size_t size) {
  std::string text;
  while (text.size() < size + 10)
    text +=
        "ab\xD0\xB6\xE4\xB8\xAD\xF0\x9F\x98\x80"
        "c";
  return text.substr(0, size);  // may end inside a sequence
}

// clang-format off
const std::string kFaults[] = {
    "\x80", "\xFF", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
    "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xC3", "\xE2\x82", "\xF0\x9F\x98",
    "\xC3\x41", std::string(1, '\0'),
};
// clang-format on

TEST(ValidateKernels, MatchTheRulesOnShortTextsAtEveryAlignment) {
  for (std::size_t size = 0; size <= 70; ++size) {
    const std::string ascii(size, 'x');
    const std::string mixed = MixedText(size);
    for (std::size_t offset = 0; offset < 64; ++offset) {
      CheckText(ascii, offset);
      CheckText(mixed, offset);
      for (std::size_t at = 0; at < size; ++at) {
        // A fault at every place, in ASCII or among sequences of every length.
        std::string text = (at + offset) % 2 == 0 ? ascii : mixed;
        const std::string& fault = kFaults[(size + at + offset) % 15];
        CheckText(text.replace(at, std::min(fault.size(), size - at), fault), offset);
        // ASCII with one sequence at every place: the first high byte in each word of eight.
        if ((at + offset) % 4 == 0 && at + 2 <= size) {
          CheckText(std::string(ascii).replace(at, 2, "\xC3\xA9"), offset);
        }
      }
    }
  }
}

// Lengths just below, at and above each block width (and past the ASCII tests of two and four
// blocks, and inside the four-block ASCII test), with a fault at every place, sequences that run
// across each block edge, and texts cut inside a sequence.
TEST(ValidateKernels, MatchTheRulesAroundEveryBlockWidth) {
  for (std::size_t width : {16u, 32u, 64u, 128u, 160u, 192u, 224u, 256u, 320u}) {
    for (std::size_t size = width - 3; size <= width + 3; ++size) {
      for (const std::string& base : {std::string(size, 'x'), MixedText(size)}) {
        CheckText(base);
        for (std::size_t at = 0; at < size; ++at) {
          // Past two blocks, faults near each 64-byte edge and at every fifth place.
          if (width > 128 && at % 64 > 3 && at % 64 < 60 && at % 5 != 0) continue;
          for (const std::string& fault : kFaults) {
            std::string text = base;
            CheckText(text.replace(at, std::min(fault.size(), size - at), fault));
          }
        }
      }
      for (std::size_t ascii = size - 4; ascii <= size; ++ascii) {
        CheckText(std::string(ascii, 'x') + "\xF0\x9F\x98\x80\xE4\xB8\xAD");
        CheckText(std::string(ascii, 'x') + "\xE4\xB8\xAD" + std::string(width, 'y'));
      }
    }
  }
}

// Texts long enough to be read in blocks on block boundaries (from 256 bytes with 32-byte blocks,
// from 1024 with 64-byte ones), at every alignment: a fault, or a sequence across the edge, at each
// place of the first 70 bytes, where the first block and the first block on a boundary overlap;
// and long runs of ASCII broken at each place of a 128-byte step.
TEST(ValidateKernels, MatchTheRulesOnLongTextsAtEveryAlignment) {
  for (std::size_t size : {256u, 1100u}) {
    const std::string ascii(size, 'x');
    const std::string mixed = MixedText(size);
    for (std::size_t offset = 0; offset < 64; ++offset) {
      for (std::size_t at = 0; at < 70; ++at) {
        std::string text = (at + offset) % 2 == 0 ? ascii : mixed;
        const std::string& fault = kFaults[(at + offset) % 15];
        CheckText(text.replace(at, fault.size(), fault), offset);
        CheckText(std::string(at, 'x') + "\xF0\x9F\x98\x80" + mixed.substr(0, size - at), offset);
      }
    }
  }
  for (std::size_t offset : {0u, 1u, 17u}) {
    for (std::size_t at = 1024; at < 1024 + 130; ++at) {
      std::string text = MixedText(72) + std::string(1200, 'x');
      CheckText(text.replace(at, 2,
                             at % 3 == 0   ? "\xC3\xA9"
                             : at % 3 == 1 ? "\xC3x"
                                           : "\x80x"),
                offset);
    }
  }
}

TEST(ValidateKernels, MatchTheRulesOnRandomBytes) {
  // Mostly well-formed sequences, so that faults come after long valid runs.
  const std::string pieces[] = {"a",
                                "\x7F",
                                "\xC2\x80",
                                "\xDF\xBF",
                                "\xE0\xA0\x80",
                                "\xED\x9F\xBF",
                                "\xEF\xBF\xBF",
                                "\xF0\x90\x80\x80",
                                "\xF4\x8F\xBF\xBF"};
  const std::string bytes("\x00\x80\xBF\xC0\xC1\xC2\xE0\xED\xF0\xF4\xF5\xF8\xFE\xFF", 14);
  std::mt19937 rng(2026);
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    const std::size_t length = rng() % 160;
    const unsigned fault_one_in = round % 2 == 0 ? 400 : 30;
    while (text.size() < length) {
      if (rng() % fault_one_in == 0) {
        text += bytes[rng() % bytes.size()];
      } else {
        text += pieces[rng() % 9];
      }
    }
    CheckText(text, rng() % 64);
  }
}

}  // namespace
