// The instruction-set levels, and every UTF-8 kernel this CPU runs held against small models of
// the rules: called directly and through the coders built on it, on faults at every offset of a
// block, on pairs of bytes at every place in a block, and on random input.
#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "encoding/decode_kernels.h"
#include "encoding/encode_kernels.h"
#include "models/utf8_model.h"
#include "test_util.h"

namespace {

using namespace qor::internal;
using qor_test::Form;
using qor_test::Units;

#if defined(__aarch64__)
constexpr Isa kLevels[] = {Isa::kScalar, Isa::kNeon};
#else
constexpr Isa kLevels[] = {Isa::kScalar, Isa::kSse2, Isa::kAvx2, Isa::kAvx512};
#endif
constexpr wchar_t kGuard = 0x5A5A5A;

// Every level of this architecture up to the best one runs, none above it: kernels are picked by
// the best level, and the tests run every level below it too, so the levels must nest.
TEST(CpuFeatures, LevelsNestUpToTheBestAndTheBestIsPicked) {
  for (Isa isa : kLevels) {
    EXPECT_EQ(CpuRuns(isa), isa <= BestIsa()) << IsaName(isa);
    EXPECT_EQ(DecodeKernelsFor(isa) != nullptr, CpuRuns(isa)) << IsaName(isa);
    EXPECT_EQ(EncodeKernelsFor(isa) != nullptr, CpuRuns(isa)) << IsaName(isa);
  }
  EXPECT_EQ(BestDecodeKernels().isa, BestIsa());
  EXPECT_EQ(BestEncodeKernels().isa, BestIsa());
}

// Whether s[0, end) is a run of standard sequences that `options` allows (zero bytes only when
// `zero_ok`), and their values.
bool Settled(const std::string& s, std::size_t end, unsigned options, Units& values,
             bool zero_ok = false) {
  values.clear();
  for (std::size_t i = 0, n = 0; i < end; i += n) {
    std::uint32_t v = 0;
    n = qor_test::StandardSequence(s, i, v);
    if (n == 0 || i + n > end || (v == 0 && !zero_ok)) return false;
    if (((options & kDecodeBmpOnly) && v > 0xFFFF) || ((options & kDecodeStopAtBom) && v == 0xFEFF))
      return false;
    values.push_back(v);
  }
  return true;
}

// The decoding kernel by itself: what it settles is standard UTF-8 that the options allow, decoded
// into rooms of the counted size, one more and one less, with nothing written past the result. The
// input is a heap copy of exactly its size, so that AddressSanitizer sees any read past it.
void CheckDecodeKernel(const DecodeKernels& k, const std::string& s, bool expect_progress) {
  const std::vector<unsigned char> in(s.begin(), s.end());
  const auto high = std::find_if(s.begin(), s.end(), [](char b) { return b & 0x80; });
  EXPECT_EQ(k.ascii_prefix(in.data(), s.size()), std::size_t(high - s.begin()));
  Units values;
  const std::size_t valid = k.valid_prefix(in.data(), s.size());
  EXPECT_TRUE(valid <= s.size() && Settled(s, valid, 0, values, true)) << "valid " << valid;
  for (unsigned options = 0; options < 4; ++options) {
    SCOPED_TRACE("options " + std::to_string(options));
    const DecodeStep counted = k.decode(in.data(), s.size(), nullptr, 0, options);
    ASSERT_TRUE(counted.read <= s.size() && Settled(s, counted.read, options, values));
    EXPECT_EQ(counted.written, values.size());
    // A level with full-block decoding leaves at most a block and a sequence of plain text.
    EXPECT_GE(counted.read + (expect_progress && options == 0 ? 68 : s.size()), s.size());
    for (std::size_t room : {counted.written + 1, counted.written, counted.written - 1}) {
      if (room == std::size_t(-1)) continue;
      std::vector<wchar_t> out(room + 2, kGuard);
      const DecodeStep filled = k.decode(in.data(), s.size(), out.data(), room, options);
      ASSERT_TRUE(Settled(s, filled.read, options, values)) << "room " << room;
      ASSERT_LE(values.size(), room);
      // With room for all it counted, it reads as far as it did when counting.
      EXPECT_EQ(filled.read, room >= counted.written ? counted.read : filled.read) << room;
      ASSERT_EQ(filled.written, values.size()) << "room " << room;
      values.resize(out.size(), std::uint32_t(kGuard));
      ASSERT_EQ(Units(out.begin(), out.end()), values) << "room " << room;
    }
  }
}

// The codec with kernel k against the model: measuring, then filling with every capacity from
// `spread` below the measured count to half as far past it, the whole buffer checked against the
// model's image of it.
void CheckDecoder(const DecodeKernels& k, const std::string& s, bool terminated,
                  std::size_t spread) {
  const std::vector<char> in(s.c_str(), s.c_str() + s.size() + terminated);  // with its zero byte
  const std::size_t len = terminated ? 0 : s.size();
  for (int flags = 0; flags < 4; ++flags) {
    SCOPED_TRACE("flags " + std::to_string(flags) + (terminated ? " zero-terminated" : ""));
    const std::size_t measured = qor_test::ModelDecode(s, flags, 0).first;
    ASSERT_EQ(Utf8ToWcharWith(k, in.data(), len, nullptr, 0, flags), measured);
    std::vector<wchar_t> out(measured + spread + 8);
    for (std::size_t cap = measured > spread ? measured - spread : 1;
         cap <= measured + (spread + 1) / 2; ++cap) {
      std::fill(out.begin(), out.end(), kGuard);
      const auto model = qor_test::ModelDecode(s, flags, cap);
      ASSERT_EQ(Utf8ToWcharWith(k, in.data(), len, out.data(), cap, flags), model.first) << cap;
      Units image = model.second;
      image.resize(out.size(), std::uint32_t(kGuard));
      ASSERT_EQ(Units(out.begin(), out.end()), image) << "capacity " << cap;
    }
  }
}

// All decoding checks on every level; stops the test at the first input that fails, printing it.
// Without `thorough`, the kernels are not called directly and the codec only with the counted
// capacity; with it, capacities from `spread` below the count.
void CheckDecoding(const std::string& s, bool thorough = true, std::size_t spread = 1) {
  if (testing::Test::HasFailure()) return;
  SCOPED_TRACE(qor_test::Hex(s));
  Units all;
  const bool plain = Settled(s, s.size(), 0, all);
  if (!thorough) spread = 0;
  for (Isa isa : kLevels) {
    const DecodeKernels* k = DecodeKernelsFor(isa);
    if (k == nullptr) continue;
    SCOPED_TRACE(IsaName(isa));
    if (thorough) CheckDecodeKernel(*k, s, plain && isa >= Isa::kAvx2);
    if (!s.empty()) CheckDecoder(*k, s, false, spread);  // a zero length means zero-terminated
    if (thorough && s.find('\0') == std::string::npos) CheckDecoder(*k, s, true, spread);
  }
}

TEST(DecodeKernels, MatchTheRulesWithAFaultAtEveryOffsetOfABlock) {
  // Text of one- to four-byte sequences, so the faults land in every kind of neighbourhood.
  std::string base;
  while (base.size() < 150) base += "ab\xD0\xB6\xE4\xB8\xAD\xF0\x9F\x98\x80";
  // clang-format off
  const std::string faults[] = {
      "\x80", "\xFF", "\xFE", std::string(1, '\0'), "\x7F",                        // stray, zero
      "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",  // overlong
      "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80",                      // refused values
      "\xF8\x88\x80\x80\x80", "\xFD\xBF\xBF\xBF\xBF\xBF", "\xEF\xBB\xBF",          // long forms, BOM
      "\xC3", "\xE2\x82", "\xF0\x9F\x98",                                          // cut short
  };
  // clang-format on
  for (std::size_t at = 0; at <= 136; ++at) {
    for (const std::string& fault : faults) {
      CheckDecoding(base.substr(0, at) + fault + base.substr(at));        // inserted
      CheckDecoding(std::string(base).replace(at, fault.size(), fault));  // written over
    }
    CheckDecoding(base.substr(0, at));  // cut short at every place
  }
}

TEST(DecodeKernels, MatchTheRulesOnEveryPairOfBytesInABlock) {
  const std::string picks("\x00\x41\x7F\x80\xBF\xC0\xC2\xDF\xE0\xED\xEF\xF0\xF4\xF5\xF8\xFF", 16);
  std::string cyrillic;
  while (cyrillic.size() < 140) cyrillic += "\xD0\xB6";
  for (const std::string& text : {std::string(140, 'x'), cyrillic}) {
    for (std::size_t at = 0; at + 1 < 72; ++at) {
      for (std::size_t pair = 0; pair < 256; ++pair) {
        std::string s = text;
        s[at] = picks[pair / 16];
        s[at + 1] = picks[pair % 16];
        CheckDecoding(s, at % 8 == 0 || at % 32 >= 29);  // the kernels themselves at block edges
      }
    }
  }
}

// Short texts of ASCII with an odd byte at every place: what takes the short paths, and what
// must leave them.
TEST(DecodeKernels, MatchTheRulesOnShortTextsWithAnOddByteAtEveryPlace) {
  const std::string odd("\x00\x7F\x80\xC3\xFF", 5);
  for (std::size_t size = 0; size <= 70; ++size) {
    std::string text(size, 'x');
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>('a' + i % 26);
    CheckDecoding(text, true, 8);
    for (std::size_t at = 0; at < size; ++at) {
      for (char b : odd) {
        std::string s = text;
        s[at] = b;
        CheckDecoding(s, at % 8 == 0 || at + 1 == size, 8);
      }
    }
  }
}

// Well-formed texts of one mix of sequence lengths, after 0..15 ASCII bytes, cut at every length
// up to past a block of 64 and the 16 bytes read beyond it: the kernels' steps, and the blocks
// they stop in, end inside a sequence and at every place. A sequence cut short at the end too.
TEST(DecodeKernels, MatchTheRulesOnEveryLengthAndAlignmentOfPlainText) {
  const std::string units[] = {
      "\xC3\xA9",                                // two bytes
      "\xE4\xB8\xAD",                            // three
      "\xF0\x9F\x98\x80",                        // four
      "a\xE4\xB8\xAD",                           // one and three
      "ab\xD0\xB6\xE4\xB8\xAD\xF0\x9F\x98\x80",  // all four
      "\xEF\xBC\x8C\xD0\xB6xyz\xD0\xB6",         // full-width comma, Cyrillic, ASCII
      "0123456789abcdefghij\xE4\xB8\xAD",        // ASCII runs of 16 and more
  };
  for (const std::string& unit : units) {
    std::string text;
    while (text.size() < 100) text += unit;
    for (std::size_t skew = 0; skew < 16; ++skew) {
      const std::string base = std::string(skew, '.') + text;
      for (std::size_t size = 14; size <= 100; ++size) {
        CheckDecoding(base.substr(0, size), size % 16 <= 1 || size % 16 >= 14, 4);
      }
    }
  }
}

// Texts of mostly two- to four-byte sequences, which short rests decode without the kernel, cut
// at every character up to past a block, with each thing that path must leave to the rule at
// every character: the result, and the whole buffer, as the model has them.
TEST(DecodeKernels, MatchTheRulesOnShortTextsOfLongSequencesWithAFaultAtEveryPlace) {
  const std::string faults[] = {
      std::string(1, '\0'),    // a zero byte
      "\xED\xA0\x80",          // a surrogate
      "\xE0\x80\xAF",          // an overlong three-byte form
      "\xC1\xBF",              // an overlong two-byte form
      "\xF4\x90\x80\x80",      // above 0x10FFFF
      "\xF8\x88\x80\x80\x80",  // a five-byte form
      "\xEF\xBB\xBF",          // U+FEFF, which one flag drops
      "\xE4\xB8",              // cut short
      "\x80",                  // a stray continuation byte
  };
  std::string text;
  std::vector<std::size_t> ends = {0};  // where each character ends
  for (const char* unit : {"\xE4\xB8\xAD", "\xF0\x9F\x98\x80", "\xD0\xB6", "a"}) {
    for (int k = 0; k < 6; ++k) {
      text += unit;
      ends.push_back(text.size());
    }
  }
  for (std::size_t size : ends) {
    CheckDecoding(text.substr(0, size), true, 3);
    for (std::size_t at : ends) {
      if (at > size) break;
      for (const std::string& fault : faults) {
        CheckDecoding(text.substr(0, at) + fault + text.substr(at, size - at), false);
      }
    }
  }
}

// Random elements: runs of one script with other values mixed in at a random rate.
std::wstring RandomElements(std::mt19937& rng, std::size_t max_size) {
  // 127 values from each; FF00 holds the full-width forms that CJK text mixes in.
  const std::uint32_t scripts[] = {1, 0x80, 0x400, 0x4E00, 0xFF00, 0x1F300};
  const std::uint32_t others[] = {0,        0x7F,       0x80,       0x7FF,     0x800,   0xD800,
                                  0xDBFF,   0xDFFF,     0xFEFF,     0xFFFF,    0x10000, 0x10FFFF,
                                  0x110000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  // Two scripts, the second one element in `mixed_one_in` (never when 0), as text mixes them.
  const std::uint32_t script[] = {scripts[rng() % 6], scripts[rng() % 6]};
  const unsigned mixed_one_in = std::vector<unsigned>{0, 2, 9}[rng() % 3];
  const unsigned bad_one_in = std::vector<unsigned>{0, 200, 20, 3}[rng() % 4];
  std::wstring s(rng() % (max_size + 1), L'\0');
  for (wchar_t& e : s) {
    const bool other = bad_one_in != 0 && rng() % bad_one_in == 0;
    const bool mixed = mixed_one_in != 0 && rng() % mixed_one_in == 0;
    e = static_cast<wchar_t>(!other      ? script[mixed] + rng() % 127
                             : rng() % 4 ? others[rng() % 16]
                                         : rng());
  }
  return s;
}

// The 31-bit forms of random elements (values from 2^31 left out) with random bytes among them.
TEST(DecodeKernels, MatchTheRulesOnRandomBytes) {
  const std::string picks(
      "\x00\x80\xBF\xC0\xC1\xC3\xDF\xE0\xE2\xED\xEF\xBB\xF0\xF4\xF5\xF8\xFC\xFE\xFF", 19);
  std::mt19937 rng(20261123);
  for (int round = 0; round < 1500; ++round) {
    std::string s;
    for (wchar_t e : RandomElements(rng, 120)) {
      s += std::uint32_t(e) < 0x80000000u ? Form(std::uint32_t(e)) : "";
      if (rng() % 16 == 0) s += picks[rng() % picks.size()];
    }
    CheckDecoding(s, true, 40);
  }
}

// The codec with every level on s placed `skew` bytes into a heap block of exactly its end, so
// that AddressSanitizer sees any read past it: measuring, and filling a guarded buffer (itself at
// an odd place) with the model's count, one less and one more, for every flag.
void CheckPlacedDecoder(const std::string& s, std::size_t skew) {
  std::vector<char> block(skew + s.size());
  std::copy(s.begin(), s.end(), block.begin() + skew);
  const char* in = block.data() + skew;
  for (Isa isa : kLevels) {
    const DecodeKernels* k = DecodeKernelsFor(isa);
    if (k == nullptr) continue;
    for (int flags = 0; flags < 4; ++flags) {
      const std::size_t measured = qor_test::ModelDecode(s, flags, 0).first;
      ASSERT_EQ(Utf8ToWcharWith(*k, in, s.size(), nullptr, 0, flags), measured)
          << IsaName(isa) << " flags " << flags;
      std::vector<wchar_t> out(measured + 4 + skew % 16);
      wchar_t* const dst = out.data() + skew % 16;
      for (std::size_t cap : {measured, measured + 1, measured - 1}) {
        if (cap == 0 || cap == std::size_t(-1)) continue;
        std::fill(out.begin(), out.end(), kGuard);
        const auto model = qor_test::ModelDecode(s, flags, cap);
        ASSERT_EQ(Utf8ToWcharWith(*k, in, s.size(), dst, cap, flags), model.first)
            << IsaName(isa) << " flags " << flags << " capacity " << cap;
        Units image(skew % 16, std::uint32_t(kGuard));
        image.insert(image.end(), model.second.begin(), model.second.end());
        image.resize(out.size(), std::uint32_t(kGuard));
        ASSERT_EQ(Units(out.begin(), out.end()), image)
            << IsaName(isa) << " flags " << flags << " capacity " << cap;
      }
    }
  }
}

// Random texts of every length up to 70 and of the lengths around each block width, at every
// place in a 64-byte line: ASCII, ASCII with one odd byte at a random place, and pieces of one to
// four bytes with now and then a fault, a zero byte or a byte-order mark. The quick paths of short
// texts take some, and must leave the others to the rule as they found them.
TEST(DecodeKernels, MatchTheRulesOnShortTextsAtEveryLengthAndPlace) {
  const std::string pieces[] = {
      "a", "Z", "\xC3\xA9", "\xD0\xB6", "\xE4\xB8\xAD", "\xEF\xBC\x8C", "\xF0\x9F\x98\x80"};
  const std::string odd[] = {
      std::string(1, '\0'), "\xEF\xBB\xBF", "\xED\xA0\x80", "\x80", "\xC3", "\xF5",
      "\xC0\xAF",           "\xFF"};
  std::vector<std::size_t> lengths;
  for (std::size_t n = 1; n <= 70; ++n) lengths.push_back(n);
  for (std::size_t width : {128, 192, 256}) {
    for (std::size_t n = width - 2; n <= width + 2; ++n) lengths.push_back(n);
  }
  std::mt19937 rng(4417);
  for (std::size_t n : lengths) {
    for (std::size_t skew = 0; skew < 64; ++skew) {
      SCOPED_TRACE("length " + std::to_string(n) + " skew " + std::to_string(skew));
      std::string ascii(n, ' ');
      for (char& c : ascii) c = static_cast<char>(0x21 + rng() % 0x5E);
      std::string one = ascii;
      one[rng() % n] = odd[rng() % 8][0];
      std::string mixed;
      while (mixed.size() < n) {
        mixed += rng() % 24 == 0 ? odd[rng() % 8] : pieces[rng() % 7];
      }
      mixed.resize(n);  // may cut a sequence short at the end
      for (const std::string& s : {ascii, one, mixed}) {
        CheckPlacedDecoder(s, skew);
        if (testing::Test::HasFailure()) {
          ADD_FAILURE() << qor_test::Hex(s);
          return;
        }
      }
    }
  }
}

// What the encoding rules write, element by element: the forms of the elements before the first
// zero, up to a refused element in strict mode (`complete` false then), and where each form ends.
// A filling call with capacity `cap` writes the forms that fit, stops at the first that does not
// and leaves every other byte of the buffer as it was.
struct ModelForms {
  std::string bytes;
  std::vector<std::size_t> ends;
  bool complete = true;
  // The bytes written with capacity cap, and whether the call succeeds.
  std::size_t Fitting(std::size_t cap) const {
    std::size_t fit = 0;
    for (std::size_t end : ends) fit = end <= cap ? end : fit;
    return fit;
  }
};

ModelForms EncodeModel(const std::wstring& in, int flags) {
  ModelForms m;
  for (std::size_t i = 0; i < in.size() && in[i] != 0; ++i) {
    const auto c = static_cast<std::uint32_t>(in[i]);
    if (qor_test::Surrogate(c) || c >= 0x80000000u) {
      m.complete = (flags & UTF8_SKIP_INVALID) != 0;
      if (!m.complete) break;
      continue;
    }
    if (c == 0xFEFF && (flags & UTF8_DROP_BOM)) continue;
    m.bytes += Form(c);
    m.ends.push_back(m.bytes.size());
  }
  return m;
}

// The codec through kernel k: measuring and filling calls, every mode, bounded and zero-terminated
// input; filling with every capacity from well below the answer to past it (every one with
// `thorough`, else those next to it), the whole buffer checked against its image before the call.
void CheckEncoder(const EncodeKernels& k, const std::wstring& in, bool thorough) {
  // Bytes that differ from place to place, so that bytes put back at a wrong place show.
  const auto fill = [](std::string& bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(0xA0 + i % 7);
  };
  for (int flags = 0; flags < 4; ++flags) {
    SCOPED_TRACE("flags " + std::to_string(flags));
    const ModelForms model = EncodeModel(in, flags);
    const std::size_t want = model.complete ? model.bytes.size() : 0;
    EXPECT_EQ(WideToUtf8With(k, in.data(), in.size(), nullptr, 0, flags), want);
    EXPECT_EQ(WideToUtf8With(k, (in + L'\0').data(), 0, nullptr, 0, flags), want)
        << "zero-terminated";
    const std::size_t forms = model.bytes.size();
    std::string buffer(forms + 100, '\0'), image = buffer;
    for (std::size_t cap = forms > 80 ? forms - 80 : 0; cap <= forms + 33; ++cap) {
      if (!thorough && cap + 2 < forms) cap = forms - 2;
      if (!thorough && cap > forms + 2) cap = forms + 33;
      fill(buffer);
      const std::size_t fit = cap != 0 ? model.Fitting(cap) : 0;
      const std::size_t got = WideToUtf8With(k, in.data(), in.size(), &buffer[0], cap, flags);
      ASSERT_EQ(got, fit == want ? want : 0) << "cap " << cap;
      fill(image);
      image.replace(0, fit, model.bytes, 0, fit);
      ASSERT_TRUE(buffer == image) << "cap " << cap << "\n  got      " << qor_test::Hex(buffer)
                                   << "\n  expected " << qor_test::Hex(image);
    }
  }
}

// The kernels of each level through the codec, and under the rule of to_utf8 ("?" for values
// above 0xFFFF, surrogates kept). Stops at the first input that fails, printing it.
void CheckEncoding(const std::wstring& in, bool thorough = true) {
  if (testing::Test::HasFailure()) return;
  SCOPED_TRACE(qor_test::Hex(in));
  const std::string bmp = qor_test::ModelToUtf8(in);
  for (Isa isa : kLevels) {
    const EncodeKernels* k = EncodeKernelsFor(isa);
    if (k == nullptr) continue;
    SCOPED_TRACE(IsaName(isa));
    CheckEncoder(*k, in, thorough);
    EXPECT_EQ(BmpUnitsToUtf8With(*k, in), bmp);
  }
}

TEST(EncodeKernels, MatchTheRulesOnRandomElements) {
  std::mt19937 rng(9001);
  for (int round = 0; round < 1500; ++round) {
    CheckEncoding(RandomElements(rng, round % 2 == 0 ? 20 : 150));
  }
}

// Where a sequence does not fit, the call fails before writing any of its bytes, also when the
// elements before it were encoded a block at a time.
TEST(EncodeKernels, WriteNoPartOfASequenceThatDoesNotFit) {
  const std::wstring four(4, wchar_t(0x1F600)), two(2, wchar_t(0x1F600));
  CheckEncoding(four + L'A' + two + L'A' + two + std::wstring(14, L'A'));
  CheckEncoding(std::wstring(8, wchar_t(0x4E2D)) + std::wstring(8, wchar_t(0x1F600)));
}

// Texts shorter than a block, all ASCII but for the last element, which is ASCII too or just
// outside it (a zero ends the text): narrowed at once or by the rule, up to every capacity.
TEST(EncodeKernels, MatchTheRulesOnShortTextsUpToEveryCapacity) {
  for (std::size_t n = 0; n <= 17; ++n) {
    for (std::uint32_t last : {0x7Fu, 0x01u, 0x80u, 0u, 0xD800u}) {
      std::wstring in;
      for (std::size_t i = 0; i + 1 < n; ++i) in += static_cast<wchar_t>(0x20 + i * 7 % 0x60);
      if (n != 0) in += static_cast<wchar_t>(last);
      CheckEncoding(in);
    }
  }
}

// Runs of one script (the block paths of ASCII and of two-byte forms included), and of all four
// lengths, with a bad element at every place.
TEST(EncodeKernels, MatchTheRulesWithABadElementAtEveryOffset) {
  for (std::uint32_t first : {0x41u, 0x430u, 0x4E00u, 0xFF01u, 0x1F600u, 0u}) {
    std::wstring base(100, L'\0');
    for (std::size_t i = 0; i < base.size(); ++i) {
      base[i] = first != 0 ? wchar_t(first + i % 26)
                           : qor_test::W({0x7F, 0x7FF, 0xFFFF, 0x10FFFF})[i % 4];
    }
    for (std::uint32_t bad :
         {0u, 0xD800u, 0xDFFFu, 0x110000u, 0x7FFFFFFFu, 0x80000000u, 0xFEFFu, 0x10000u}) {
      for (std::size_t offset = 0; offset < base.size(); ++offset) {
        std::wstring in = base;
        in[offset] = static_cast<wchar_t>(bad);
        CheckEncoding(in, offset % 8 == 0 || offset % 16 >= 13);  // every capacity at block edges
      }
    }
  }
}

// Runs of ASCII long enough for several steps, ended at every place of a step of thirty-two
// elements by the end of the text, by the room (every capacity), or by an element of another kind.
TEST(EncodeKernels, MatchTheRulesWhereARunOfAsciiEnds) {
  for (std::size_t n = 96; n < 96 + 32; ++n) {
    std::wstring ascii;
    for (std::size_t i = 0; i < n; ++i) ascii += static_cast<wchar_t>(0x21 + i * 7 % 0x5E);
    CheckEncoding(ascii);
    CheckEncoding(ascii + wchar_t(n % 2 == 0 ? 0x4E2D : 0xE9) + ascii.substr(0, 20), false);
  }
}

// Texts of blocks of eight elements, each block of one kind: a encodes to ASCII, l to one and
// two bytes, y to two bytes, c to one and three, h to three, f to three with full-width forms
// (above the surrogates), e to one and four. The blocks of sixteen the kernels sort start at
// every kind next to every other.
std::wstring MixedBlocks(const std::string& kinds) {
  std::wstring s;
  for (char kind : kinds) {
    for (std::uint32_t k = 0; k < 8; ++k) {
      const std::uint32_t ascii = 0x21 + (k * 11 + s.size()) % 0x5E;
      std::uint32_t c = ascii;
      if (kind == 'l' && k % 3 == 1) c = 0xC0 + k * 5;
      if (kind == 'y') c = 0x410 + k * 9;
      if (kind == 'c' && k % 2 == 0) c = 0x4E00 + k * 97;
      if (kind == 'h') c = 0x4E00 + k * 331;
      if (kind == 'f') c = k % 2 == 0 ? 0xFF0C : 0x4E2D + k;
      if (kind == 'e' && k % 4 == 3) c = 0x1F600 + k;
      s += static_cast<wchar_t>(c);
    }
  }
  return s;
}

// The last two hold runs of ASCII that leave their loop, after a step of thirty-two or of
// sixteen elements, at a block of another kind.
constexpr const char* kMixes[] = {"acahcfca", "lalyllal", "hhhhhhhh", "cfcfacfh", "eacyhlea",
                                  "ayhcaefl", "yyyyhyyy", "ffffaaff", "aaaaahaa", "laaaaaae"};

// Every length around the sizes of the vectors and blocks (4, 8, 16, 32 elements), so that texts
// end inside a block and room runs out inside one at every capacity.
TEST(EncodeKernels, MatchTheRulesOnEveryLengthOfMixedBlocks) {
  for (const char* kinds : kMixes) {
    const std::wstring text = MixedBlocks(kinds);
    for (std::size_t n : {3, 4, 5, 7, 8, 9, 15, 16, 17, 23, 24, 25, 31, 32, 33, 47, 48, 49, 64}) {
      CheckEncoding(text.substr(1, n));
    }
  }
}

// A refused element at every place of mixed blocks: where a block after one already written
// is refused, the bytes past that block's forms must be as they were.
TEST(EncodeKernels, MatchTheRulesWithARefusedElementAtEveryPlaceOfMixedBlocks) {
  for (const char* kinds : kMixes) {
    const std::wstring text = MixedBlocks(kinds);
    for (std::uint32_t bad : {0u, 0xD800u, 0xDFFFu, 0xFEFFu, 0x110000u, 0x80000000u}) {
      for (std::size_t offset = 0; offset < text.size(); ++offset) {
        std::wstring in = text;
        in[offset] = static_cast<wchar_t>(bad);
        CheckEncoding(in, offset % 16 <= 1 || offset % 16 >= 14);
      }
    }
  }
}

}  // namespace
