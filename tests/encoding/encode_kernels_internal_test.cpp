// Every UTF-8 encoding kernel this CPU runs, directly and through the coders built on it, against
// small models written from the encoding rules.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "encoding/encode_kernels.h"
#include "encoding/utf8_model.h"
#include "qor/qorstl.h"
#include "test_util.h"

namespace {

using qor::internal::EncodeKernels;
using qor::internal::Isa;
using qor::internal::PlainRule;
using qor_test::Form;
using qor_test::Surrogate;

std::vector<const EncodeKernels*> Levels() {
  std::vector<const EncodeKernels*> levels;
  for (Isa isa : {Isa::kScalar, Isa::kSse2, Isa::kAvx2, Isa::kAvx512}) {
    const EncodeKernels* kernels = qor::internal::EncodeKernelsFor(isa);
    EXPECT_EQ(kernels != nullptr, qor::internal::CpuRuns(isa)) << qor::internal::IsaName(isa);
    if (kernels != nullptr) levels.push_back(kernels);
  }
  return levels;
}

const char* Name(const EncodeKernels* k) {
  return qor::internal::IsaName(k->isa);
}

// The codec's encoder: false when it refuses the input, else the bytes of its forms.
bool CodecModel(const std::wstring& in, int flags, std::string& out) {
  out.clear();
  for (wchar_t element : in) {
    const auto c = static_cast<std::uint32_t>(element);
    if (c == 0) break;
    if (Surrogate(c) || c >= 0x80000000u) {
      if ((flags & UTF8_SKIP_INVALID) == 0) return false;
      continue;
    }
    if (c == 0xFEFF && (flags & UTF8_DROP_BOM) != 0) continue;
    out += Form(c);
  }
  return true;
}

// Random elements: runs of one script with other values mixed in at `bad_rate`.
struct Range {
  std::uint32_t first, last;
};
const Range kScripts[] = {
    {1, 0x7F}, {0x80, 0x24F}, {0x400, 0x4FF}, {0x4E00, 0x9FFF}, {0x1F300, 0x1FAFF}};
const Range kOthers[] = {
    {0x110000, 0x7FFFFFFF}, {0xD800, 0xDFFF}, {0x80000000, 0xFFFFFFFF}, {0, 0},
    {0xFEFF, 0xFEFF},       {0x7F, 0x80},     {0x7FF, 0x800},           {0xFFFF, 0x10000},
    {0x10FFFF, 0x110000},   {1, 0x10FFFF}};

std::uint32_t Pick(std::mt19937& rng, const Range& r) {
  return r.first + static_cast<std::uint32_t>(rng() % (std::uint64_t{r.last} - r.first + 1));
}

std::wstring RandomElements(std::mt19937& rng, std::size_t max_size) {
  const Range& script = kScripts[rng() % 5];
  const unsigned bad_one_in = std::vector<unsigned>{0, 200, 20, 3}[rng() % 4];
  std::wstring s(rng() % (max_size + 1), L'\0');
  for (wchar_t& e : s) {
    const bool other = bad_one_in != 0 && rng() % bad_one_in == 0;
    e = static_cast<wchar_t>(other ? Pick(rng, kOthers[rng() % 10]) : Pick(rng, script));
  }
  return s;
}

const PlainRule kRules[] = {{0x10FFFF, 0xD800, 0}, {0x10FFFF, 0xD800, 0xFEFF}, {0xFFFF, 1, 0}};

// One kernel against the rule: the plain prefix, measured, and encoded into rooms around its size
// with a guard region after the room that must stay untouched, as must every byte past `written`.
void CheckKernel(const EncodeKernels* k, const std::wstring& in, const PlainRule& rule) {
  std::string expected;
  std::size_t plain = 0;
  while (plain < in.size()) {
    const auto c = static_cast<std::uint32_t>(in[plain]);
    const bool surrogate_refused = rule.surrogate_tag == 0xD800 && Surrogate(c);
    if (c == 0 || c > rule.max || surrogate_refused || c == rule.excluded) break;
    expected += Form(c);
    ++plain;
  }
  const auto at = [&] {
    return std::string(Name(k)) + " rule max " + std::to_string(rule.max) + " excluded " +
           std::to_string(rule.excluded) + " " + qor_test::Hex(in);
  };
  std::size_t used = 99;
  EXPECT_EQ(k->measure(in.data(), in.size(), rule, used), expected.size()) << at();
  EXPECT_EQ(used, plain) << at();
  for (std::size_t room : {expected.size() + 1, expected.size(), expected.size() - 1,
                           expected.size() / 2, expected.size() + 70}) {
    if (room > expected.size() + 70) continue;  // expected.size() - 1 of an empty prefix
    std::size_t fits = 0;
    std::size_t fit_bytes = 0;
    while (fits < plain && fit_bytes + Form(static_cast<std::uint32_t>(in[fits])).size() <= room) {
      fit_bytes += Form(static_cast<std::uint32_t>(in[fits++])).size();
    }
    std::string buffer(room + 40, '\xA5');
    std::size_t written = 99;
    const std::size_t taken = k->encode(
        in.data(), in.size(), reinterpret_cast<unsigned char*>(&buffer[0]), room, rule, written);
    EXPECT_EQ(taken, fits) << at() << " room " << room;
    ASSERT_EQ(written, fit_bytes) << at() << " room " << room;
    EXPECT_EQ(buffer.substr(0, written), expected.substr(0, fit_bytes)) << at() << " room " << room;
    EXPECT_EQ(buffer.substr(written), std::string(buffer.size() - written, '\xA5'))
        << at() << " room " << room;
  }
}

TEST(EncodeKernels, MatchTheRuleOnRandomElements) {
  std::mt19937 rng(9001);
  const auto levels = Levels();
  for (int round = 0; round < 1500; ++round) {
    const std::wstring in = RandomElements(rng, round % 2 == 0 ? 20 : 150);
    for (const EncodeKernels* k : levels) {
      for (const PlainRule& rule : kRules) CheckKernel(k, in, rule);
    }
  }
}

const std::uint32_t kBadValues[] = {0,          0xD800,     0xDFFF, 0x110000,
                                    0x7FFFFFFF, 0x80000000, 0xFEFF, 0x10000};

TEST(EncodeKernels, StopAtABadElementAtEveryOffset) {
  std::mt19937 rng(77);
  const auto levels = Levels();
  for (const Range& script : kScripts) {
    std::wstring base(100, L'\0');
    for (wchar_t& e : base) e = static_cast<wchar_t>(Pick(rng, script));
    for (std::uint32_t bad : kBadValues) {
      for (std::size_t offset = 0; offset < base.size(); ++offset) {
        std::wstring in = base;
        in[offset] = static_cast<wchar_t>(bad);
        for (const EncodeKernels* k : levels) {
          for (const PlainRule& rule : kRules) CheckKernel(k, in, rule);
        }
      }
    }
  }
}

// The codec through each level: measuring and filling calls, every mode, capacities around the
// measured count, a guard region after the capacity, bounded and zero-terminated input.
void CheckCodec(const EncodeKernels* k, const std::wstring& in) {
  for (int flags = 0; flags < 4; ++flags) {
    std::string expected;
    const bool ok = CodecModel(in, flags, expected);
    const std::size_t want = ok ? expected.size() : 0;
    const auto at = [&] {
      return std::string(Name(k)) + " flags " + std::to_string(flags) + " " + qor_test::Hex(in);
    };
    EXPECT_EQ(qor::internal::WideToUtf8With(*k, in.data(), in.size(), nullptr, 0, flags), want)
        << at();
    const std::wstring terminated = in + L'\0';
    EXPECT_EQ(qor::internal::WideToUtf8With(*k, terminated.data(), 0, nullptr, 0, flags), want)
        << at() << " zero-terminated";
    for (std::size_t cap : {want, want + 1, want - 1, want + 33}) {
      if (cap > want + 33) continue;
      std::string buffer(cap + 40, '\xA5');
      const std::size_t got =
          qor::internal::WideToUtf8With(*k, in.data(), in.size(), &buffer[0], cap, flags);
      const std::size_t fills = cap >= want ? want : 0;
      ASSERT_EQ(got, fills) << at() << " cap " << cap;
      EXPECT_EQ(buffer.substr(0, got), expected.substr(0, got)) << at() << " cap " << cap;
      // Past the result nothing changes; after a failure, nothing past the capacity.
      const std::size_t clean = got != 0 ? got : cap;
      EXPECT_EQ(buffer.substr(clean), std::string(buffer.size() - clean, '\xA5'))
          << at() << " cap " << cap;
    }
    if (flags == 0) {
      EXPECT_EQ(qor::internal::WideStringToUtf8With(*k, in), ok ? expected : "") << at();
    }
  }
}

TEST(EncodeKernels, CodecMatchesTheRuleOnEveryLevel) {
  std::mt19937 rng(4242);
  const auto levels = Levels();
  for (int round = 0; round < 800; ++round) {
    const std::wstring in = RandomElements(rng, round % 2 == 0 ? 24 : 200);
    for (const EncodeKernels* k : levels) CheckCodec(k, in);
  }
  std::wstring base(70, L'\0');
  for (wchar_t& e : base) e = static_cast<wchar_t>(Pick(rng, kScripts[3]));
  for (std::uint32_t bad : kBadValues) {
    for (std::size_t offset = 0; offset < base.size(); ++offset) {
      std::wstring in = base;
      in[offset] = static_cast<wchar_t>(bad);
      for (const EncodeKernels* k : levels) CheckCodec(k, in);
    }
  }
}

// The whole-string coders: "utf-8" (code points), "utf-8-16" (UTF-16 units) and to_utf8.
bool CodePointsModel(const std::wstring& in, std::string& out) {
  out.clear();
  for (wchar_t element : in) {
    const auto c = static_cast<std::uint32_t>(element);
    if (Surrogate(c) || c > 0x10FFFF) return false;
    out += Form(c);
  }
  return true;
}

bool Utf16UnitsModel(const std::wstring& in, std::string& out) {
  out.clear();
  for (std::size_t i = 0; i < in.size(); ++i) {
    auto c = static_cast<std::uint32_t>(in[i]);
    if (c > 0x10FFFF) return false;
    if (Surrogate(c)) {
      if (c > 0xDBFF || i + 1 == in.size()) return false;
      const auto low = static_cast<std::uint32_t>(in[++i]);
      if (low < 0xDC00 || low > 0xDFFF) return false;
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
    }
    out += Form(c);
  }
  return true;
}

std::string BmpModel(const std::wstring& in) {
  std::string out;
  for (wchar_t element : in) {
    const auto c = static_cast<std::uint32_t>(element);
    out += c <= 0xFFFF ? Form(c) : std::string("?");
  }
  return out;
}

TEST(EncodeKernels, StringCodersMatchTheirRulesOnEveryLevel) {
  std::mt19937 rng(515);
  const auto levels = Levels();
  for (int round = 0; round < 3000; ++round) {
    std::wstring in = RandomElements(rng, round % 2 == 0 ? 20 : 120);
    // Surrogate pairs for the UTF-16 coder now and then.
    if (round % 3 == 0 && !in.empty()) {
      const std::size_t at = rng() % in.size();
      in.insert(at, qor_test::W({0xD83D, 0xDE00}));
    }
    std::string code_points, units;
    const bool code_points_ok = CodePointsModel(in, code_points);
    const bool units_ok = Utf16UnitsModel(in, units);
    const std::string bmp = BmpModel(in);
    for (const EncodeKernels* k : levels) {
      const auto at = [&] { return std::string(Name(k)) + " " + qor_test::Hex(in); };
      std::string out = "old";
      EXPECT_EQ(qor::internal::CodePointsToUtf8With(*k, in, out), code_points_ok) << at();
      if (code_points_ok) {
        EXPECT_EQ(out, code_points) << at();
      }
      EXPECT_EQ(qor::internal::Utf16UnitsToUtf8With(*k, in, out), units_ok) << at();
      if (units_ok) {
        EXPECT_EQ(out, units) << at();
      }
      EXPECT_EQ(qor::internal::BmpUnitsToUtf8With(*k, in), bmp) << at();
    }
  }
}

}  // namespace
