// Every UTF-8 reading kernel this CPU runs, held against the rules: called directly, and through
// utf8_to_wchar and the UTF-8 test with that kernel in place, on faults placed at every offset of
// a block, on every pair of bytes in a block, and on random bytes among slices of real text in
// many scripts.
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "encoding/decode_kernels.h"
#include "encoding/utf8_model.h"
#include "test_util.h"

namespace {

using qor::internal::DecodeKernels;
using qor::internal::DecodeKernelsFor;
using qor::internal::DecodeStep;
using qor::internal::Isa;
using qor_test::Hex;
using qor_test::ModelDecode;
using qor_test::Result;
using qor_test::Units;

constexpr wchar_t kGuard = 0x5A5A5A;

std::vector<const DecodeKernels*> Levels() {
  std::vector<const DecodeKernels*> levels;
  for (Isa isa : {Isa::kScalar, Isa::kSse2, Isa::kAvx2, Isa::kAvx512}) {
    const DecodeKernels* k = DecodeKernelsFor(isa);
    EXPECT_EQ(k != nullptr, qor::internal::CpuRuns(isa)) << qor::internal::IsaName(isa);
    if (k != nullptr) levels.push_back(k);
  }
  return levels;
}

// The input on the heap at exactly its size, so that AddressSanitizer sees any read past it.
struct Bytes {
  explicit Bytes(const std::string& s) : data(new unsigned char[s.size()]), size(s.size()) {
    std::memcpy(data.get(), s.data(), s.size());
  }
  std::unique_ptr<unsigned char[]> data;
  std::size_t size;
};

// Whether s[0, end) is a run of standard sequences without zero bytes that `options` allows, and
// their values.
bool SettledPrefix(const std::string& s, std::size_t end, unsigned options, bool zero_ok,
                   Units& values) {
  std::size_t i = 0;
  while (i < end) {
    std::uint32_t v = 0;
    const std::size_t n = qor_test::StandardSequence(s, i, v);
    if (n == 0 || i + n > end || (v == 0 && !zero_ok)) return false;
    if ((options & qor::internal::kDecodeBmpOnly) && v > 0xFFFF) return false;
    if ((options & qor::internal::kDecodeStopAtBom) && v == 0xFEFF) return false;
    values.push_back(v);
    i += n;
  }
  return true;
}

void CheckKernel(const DecodeKernels& k, const std::string& s, bool expect_progress) {
  const Bytes in(s);
  std::size_t first_high = 0;
  while (first_high < s.size() && std::uint8_t(s[first_high]) < 0x80) ++first_high;
  EXPECT_EQ(k.ascii_prefix(in.data.get(), in.size), first_high);
  Units ignored;
  const std::size_t valid = k.valid_prefix(in.data.get(), in.size);
  EXPECT_TRUE(valid <= s.size() && SettledPrefix(s, valid, 0, true, ignored)) << "valid " << valid;

  for (unsigned options = 0; options < 4; ++options) {
    SCOPED_TRACE("options " + std::to_string(options));
    const DecodeStep measured = k.decode(in.data.get(), in.size, nullptr, 0, options);
    Units model;
    ASSERT_LE(measured.read, s.size());
    ASSERT_TRUE(SettledPrefix(s, measured.read, options, false, model)) << measured.read;
    EXPECT_EQ(measured.written, model.size());
    // A level with full-block decoding leaves at most a block and a sequence of plain text.
    if (expect_progress && options == 0) {
      EXPECT_GE(measured.read + 68, s.size());
    }
    // Room for what was counted, one more and one less; nothing written past the result.
    for (std::size_t room : {measured.written + 1, measured.written, measured.written - 1}) {
      if (room == std::size_t(-1)) continue;
      std::vector<wchar_t> out(room + 2, kGuard);
      const DecodeStep filled = k.decode(in.data.get(), in.size, out.data(), room, options);
      Units values;
      ASSERT_LE(filled.written, room);
      ASSERT_TRUE(SettledPrefix(s, filled.read, options, false, values)) << "room " << room;
      ASSERT_EQ(filled.written, values.size()) << "room " << room;
      if (room >= measured.written) {
        EXPECT_EQ(filled.read, measured.read) << "room " << room;
      }
      for (std::size_t i = 0; i < out.size(); ++i) {
        const std::uint32_t want = i < values.size() ? values[i] : std::uint32_t(kGuard);
        ASSERT_EQ(static_cast<std::uint32_t>(out[i]), want) << "element " << i << " room " << room;
      }
    }
  }
}

// The codec with kernel k against the model: measuring, then filling with the measured capacity,
// one less and one more. The buffer must equal the portable level's everywhere (a value the rules
// withdraw stays stored behind the result), and the element past the capacity keeps its guard.
void CheckCodec(const DecodeKernels& k, const std::string& s, bool terminated, bool thorough) {
  const Bytes in(terminated ? s + '\0' : s);
  const auto* src = reinterpret_cast<const char*>(in.data.get());
  const std::size_t src_len = terminated ? 0 : s.size();
  const DecodeKernels& rule = *DecodeKernelsFor(Isa::kScalar);
  for (int flags = 0; flags < 4; ++flags) {
    SCOPED_TRACE("flags " + std::to_string(flags) + (terminated ? " zero-terminated" : ""));
    const std::size_t measured = ModelDecode(s, flags, 0).first;
    ASSERT_EQ(qor::internal::Utf8ToWcharWith(k, src, src_len, nullptr, 0, flags), measured);
    for (std::size_t cap : {measured, measured - 1, measured + 1}) {
      if (cap == 0 || cap == std::size_t(-1) || (!thorough && cap != measured)) continue;
      const Result model = ModelDecode(s, flags, cap);
      std::vector<wchar_t> out(cap + 1, kGuard), portable(cap + 1, kGuard);
      const std::size_t got =
          qor::internal::Utf8ToWcharWith(k, src, src_len, out.data(), cap, flags);
      qor::internal::Utf8ToWcharWith(rule, src, src_len, portable.data(), cap, flags);
      ASSERT_EQ(got, model.first) << "capacity " << cap;
      ASSERT_EQ(out[cap], kGuard) << "capacity " << cap;
      for (std::size_t i = 0; i < out.size(); ++i) {
        if (i < got) {
          ASSERT_EQ(static_cast<std::uint32_t>(out[i]), model.second[i]) << i;
        }
        ASSERT_EQ(out[i], portable[i]) << "element " << i << " capacity " << cap;
      }
    }
  }
}

// All checks, every level; stops the test at the first input that fails, printing it. Without
// `thorough`, the kernels are not called directly and the codec only with the counted capacity.
void CheckAll(const std::string& s, bool thorough = true) {
  if (testing::Test::HasFailure()) return;
  SCOPED_TRACE(Hex(s));
  Units all;
  const bool plain = SettledPrefix(s, s.size(), 0, false, all);
  for (const DecodeKernels* k : Levels()) {
    SCOPED_TRACE(qor::internal::IsaName(k->isa));
    if (thorough) CheckKernel(*k, s, plain && k->isa >= Isa::kAvx2);
    if (!s.empty()) CheckCodec(*k, s, false, thorough);  // a zero length means zero-terminated
    if (thorough && s.find('\0') == std::string::npos) CheckCodec(*k, s, true, thorough);
    EXPECT_EQ(qor::internal::IsUtf8StringWith(*k, reinterpret_cast<const unsigned char*>(s.data()),
                                              s.size()),
              qor_test::ModelIsUtf8(s));
  }
}

// Real text in many scripts: slices from random places, cut at sequence starts.
std::vector<std::string> Texts() {
  std::vector<std::string> texts;
  for (const char* name :
       {"mars-english", "mars-french", "mars-russian", "mars-chinese", "lipsum-emoji",
        "mars-arabic", "mars-hindi", "mars-greek", "mars-thai", "lipsum-korean", "mars-japanese"}) {
    const std::string text = qor_test::Corpus(std::string(name) + ".utf8.txt");
    EXPECT_FALSE(text.empty()) << name;
    texts.push_back(text);
  }
  return texts;
}

std::size_t SequenceStart(const std::string& s, std::size_t i) {
  while (i < s.size() && (std::uint8_t(s[i]) & 0xC0) == 0x80) ++i;
  return i;
}

TEST(DecodeKernels, TheBestLevelIsPicked) {
  EXPECT_EQ(qor::internal::BestDecodeKernels().isa, qor::internal::BestIsa());
}

TEST(DecodeKernels, MatchTheRulesWithAFaultAtEveryOffsetOfABlock) {
  // Text of one- to four-byte sequences, so the faults land in every kind of neighbourhood.
  std::string base;
  for (int i = 0; base.size() < 150; ++i) {
    base += i % 4 == 0   ? "ab"
            : i % 4 == 1 ? "\xD0\xB6"
            : i % 4 == 2 ? "\xE4\xB8\xAD"
                         : "\xF0\x9F\x98\x80";
  }
  const std::string zero(1, '\0');
  const char* const faults[] = {"\x80",
                                "\xFF",
                                "\xFE",
                                "",
                                "\xC0\x80",
                                "\xC1\xBF",
                                "\xE0\x80\x80",
                                "\xE0\x9F\xBF",
                                "\xED\xA0\x80",
                                "\xF0\x8F\xBF\xBF",
                                "\xF4\x90\x80\x80",
                                "\xF5\x80\x80\x80",
                                "\xF8\x88\x80\x80\x80",
                                "\xFD\xBF\xBF\xBF\xBF\xBF",
                                "\xEF\xBB\xBF",
                                "\xC3",
                                "\xE2\x82",
                                "\xF0\x9F\x98",
                                "\x7F"};
  for (std::size_t at = 0; at <= 136; ++at) {
    for (const char* fault : faults) {
      const std::string f = *fault == '\0' ? zero : std::string(fault);
      CheckAll(base.substr(0, at) + f + base.substr(at));  // inserted
      std::string over = base;                             // written over
      over.replace(at, f.size(), f);
      CheckAll(over);
    }
    CheckAll(base.substr(0, at));  // cut short at every place
  }
}

TEST(DecodeKernels, MatchTheRulesOnEveryPairOfBytesInABlock) {
  const std::string picks("\x00\x41\x7F\x80\xBF\xC0\xC2\xDF\xE0\xED\xEF\xF0\xF4\xF5\xF8\xFF", 16);
  std::string cyrillic;
  while (cyrillic.size() < 140) cyrillic += "\xD0\xB6";
  for (const std::string& text : {std::string(140, 'x'), cyrillic}) {
    for (std::size_t at = 0; at + 1 < 72; ++at) {
      for (char x : picks) {
        for (char y : picks) {
          std::string s = text;
          s[at] = x;
          s[at + 1] = y;
          CheckAll(s, at % 8 == 0 || at % 32 >= 29);  // the kernels themselves near block edges
        }
      }
    }
  }
}

TEST(DecodeKernels, MatchTheRulesOnRandomBytes) {
  std::mt19937 rng(20261123);
  const std::string picks(
      "\x41\x00\x80\xBF\xC0\xC1\xC3\xDF\xE0\xE2\xED\xEF\xBB\xF0\xF4\xF5\xF7\xF8\xFB\xFC\xFD\xFE"
      "\xFF",
      23);
  const std::vector<std::string> texts = Texts();
  for (int round = 0; round < 1500; ++round) {
    std::string s;
    while (s.size() < rng() % 300) {
      const std::string& text = texts[rng() % texts.size()];
      const std::size_t from = SequenceStart(text, rng() % text.size());
      s += text.substr(from, SequenceStart(text, from + rng() % 80) - from);
      if (rng() % 3 == 0) s += picks[rng() % picks.size()];
    }
    CheckAll(s);
  }
}

}  // namespace
