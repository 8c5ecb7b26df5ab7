// Tests of the UTF-8 codec: buffer entry points, string overloads, and a randomized comparison
// against a small model of the decoding and encoding rules.
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qor/qorstl.h"

namespace {

constexpr std::size_t kZeroTerminated = 0;
constexpr int kStrict = 0;
constexpr int kLenient = UTF8_SKIP_INVALID;
constexpr int kDropBom = UTF8_DROP_BOM;

std::string Hex(const std::string& bytes) {
  std::ostringstream os;
  for (unsigned char b : bytes) os << std::hex << (b < 16 ? "0" : "") << unsigned(b) << ' ';
  return os.str();
}

std::string HexWide(const std::vector<std::uint32_t>& units) {
  std::ostringstream os;
  for (std::uint32_t u : units) os << std::hex << "0x" << u << ' ';
  return os.str();
}

// Copies `bytes` into a heap block of exactly that size, so that AddressSanitizer reports any read
// past its last byte (for zero-terminated input: past the terminator).
std::unique_ptr<char[]> ExactCopy(const std::string& bytes) {
  std::unique_ptr<char[]> block(new char[bytes.size()]);
  std::memcpy(block.get(), bytes.data(), bytes.size());
  return block;
}

std::unique_ptr<wchar_t[]> ExactCopy(const std::vector<std::uint32_t>& units) {
  std::unique_ptr<wchar_t[]> block(new wchar_t[units.size()]);
  for (std::size_t i = 0; i < units.size(); ++i) block[i] = static_cast<wchar_t>(units[i]);
  return block;
}

struct Decoded {
  std::size_t result;
  std::vector<std::uint32_t> units;  // the first `result` units written
};

// Runs a measuring and a filling call (capacity `cap`, or the measured count when cap is 0) on
// `bytes`, which holds the input including its terminator when src_len is 0. A guard after the
// buffer catches writes past the capacity.
Decoded DecodeFill(const std::string& bytes, std::size_t src_len, int flags, std::size_t cap) {
  auto input = ExactCopy(bytes);
  std::vector<wchar_t> buffer(cap + 4, static_cast<wchar_t>(0x5A5A5A5A));
  const std::size_t got = utf8_to_wchar(input.get(), src_len, buffer.data(), cap, flags);
  for (std::size_t i = cap; i < buffer.size(); ++i) {
    EXPECT_EQ(buffer[i], static_cast<wchar_t>(0x5A5A5A5A)) << "write past capacity " << cap;
  }
  Decoded d{got, {}};
  for (std::size_t i = 0; i < got && i < cap; ++i) d.units.push_back(std::uint32_t(buffer[i]));
  return d;
}

std::size_t DecodeMeasure(const std::string& bytes, std::size_t src_len, int flags) {
  auto input = ExactCopy(bytes);
  return utf8_to_wchar(input.get(), src_len, nullptr, 0, flags);
}

struct Encoded {
  std::size_t result;
  std::string bytes;
};

Encoded EncodeFill(const std::vector<std::uint32_t>& units, std::size_t src_len, int flags,
                   std::size_t cap) {
  auto input = ExactCopy(units);
  std::string buffer(cap + 8, '\x5A');
  const std::size_t got = wchar_to_utf8(input.get(), src_len, &buffer[0], cap, flags);
  for (std::size_t i = cap; i < buffer.size(); ++i) {
    EXPECT_EQ(buffer[i], '\x5A') << "write past capacity " << cap;
  }
  return {got, buffer.substr(0, got <= cap ? got : 0)};
}

std::size_t EncodeMeasure(const std::vector<std::uint32_t>& units, std::size_t src_len, int flags) {
  auto input = ExactCopy(units);
  return wchar_to_utf8(input.get(), src_len, nullptr, 0, flags);
}

// ---- Decoding -----------------------------------------------------------------------------------

TEST(Utf8ToWchar, DecodesByTheLeadByteTable) {
  struct Case {
    const char* name;
    std::string bytes;
    int flags;
    std::size_t measured;
    std::size_t filled;                 // result of a filling call with the measured capacity
    std::vector<std::uint32_t> values;  // what that call delivers
  };
  const Case cases[] = {
      {"ascii and euro", "\x41\xE2\x82\xAC", kStrict, 2, 2, {0x41, 0x20AC}},
      {"two-byte", "\xC3\xA9", kStrict, 1, 1, {0xE9}},
      {"overlong C0 80 strict", "\xC0\x80", kStrict, 0, 0, {}},
      {"overlong C0 80 lenient", "\xC0\x80", kLenient, 1, 1, {0}},
      {"C1 is refused strictly", "\xC1\xBF", kStrict, 0, 0, {}},
      {"C1 is a lead when lenient", "\xC1\xBF", kLenient, 1, 1, {0x7F}},
      {"overlong E0 80 80 strict", "\xE0\x80\x80", kStrict, 1, 1, {0}},
      {"overlong E0 80 80 lenient", "\xE0\x80\x80", kLenient, 1, 1, {0}},
      {"max BMP", "\xEF\xBF\xBF", kStrict, 1, 1, {0xFFFF}},
      {"F4 90 beyond Unicode", "\xF4\x90\x80\x80", kStrict, 1, 1, {0x110000}},
      {"F4 90 lenient", "\xF4\x90\x80\x80", kLenient, 1, 1, {0x110000}},
      {"F5 refused strictly", "\xF5\x80\x80\x80", kStrict, 0, 0, {}},
      {"F5 a lead when lenient", "\xF5\x80\x80\x80", kLenient, 1, 1, {0x140000}},
      {"F6 strict", "\xF6\x80\x80\x80", kStrict, 1, 1, {0x180000}},
      {"F7 lenient", "\xF7\xBF\xBF\xBF", kLenient, 1, 1, {0x1FFFFF}},
      {"five-byte", "\xF8\x88\x80\x80\x80", kStrict, 1, 1, {0x200000}},
      {"five-byte max", "\xFB\xBF\xBF\xBF\xBF", kStrict, 1, 1, {0x3FFFFFF}},
      {"six-byte max", "\xFD\xBF\xBF\xBF\xBF\xBF", kStrict, 1, 1, {0x7FFFFFFF}},
      {"six-byte min", "\xFC\x84\x80\x80\x80\x80", kStrict, 1, 1, {0x4000000}},
      {"FE strict", "\xFE", kStrict, 0, 0, {}},
      {"FE lenient", "\xFE", kLenient, 0, 0, {}},
      {"FF strict", "\xFF", kStrict, 0, 0, {}},
      {"FF lenient", "\xFF", kLenient, 0, 0, {}},
      {"stray continuation strict", "\x41\x80\x42", kStrict, 0, 0, {}},
      {"stray continuation lenient", "\x41\x80\x42", kLenient, 2, 2, {0x41, 0x42}},
      {"cut short strict", "\x41\xE2\x82", kStrict, 0, 0, {}},
      {"cut short lenient", "\x41\xE2\x82", kLenient, 1, 1, {0x41}},
      {"bad continuation lenient", "\x41\xE2\x41", kLenient, 2, 2, {0x41, 0x41}},
      {"bad continuation strict", "\x41\xE2\x41", kStrict, 0, 0, {}},
      {"lead re-examined as lead", "\xE2\xC3\xA9", kLenient, 1, 1, {0xE9}},
      {"surrogate strict", "\xED\xA0\x80", kStrict, 1, 0, {}},
      {"surrogate lenient", "\xED\xA0\x80", kLenient, 1, 0, {}},
      {"surrogate among text lenient",
       "a\xED\xBF\xBF"
       "b",
       kLenient,
       3,
       2,
       {0x61, 0x62}},
      {"last value before surrogates", "\xED\x9F\xBF", kStrict, 1, 1, {0xD7FF}},
      {"first value after surrogates", "\xEE\x80\x80", kStrict, 1, 1, {0xE000}},
      {"BOM kept", "\xEF\xBB\xBF\x41", kStrict, 2, 2, {0xFEFF, 0x41}},
      {"BOM dropped", "\xEF\xBB\xBF\x41", kDropBom, 2, 1, {0x41}},
      {"BOM dropped anywhere",
       "\x41\xEF\xBB\xBF\x42\xEF\xBB\xBF",
       kDropBom | kLenient,
       4,
       2,
       {0x41, 0x42}},
      {"zero byte ends the text", std::string("\x41\x42\x00\x43", 4), kStrict, 2, 2, {0x41, 0x42}},
      {"zero byte first", std::string("\x00\x41", 2), kLenient, 0, 0, {}},
      {"zero byte inside a sequence", std::string("\xE2\x82\x00", 3), kStrict, 0, 0, {}},
      {"zero byte inside a sequence lenient", std::string("\xE2\x00\x41", 3), kLenient, 0, 0, {}},
      {"flags other than the two are ignored", "\xC0\x80", ~3, 0, 0, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(DecodeMeasure(c.bytes, c.bytes.size(), c.flags), c.measured);
    if (c.measured == 0) continue;
    const Decoded d = DecodeFill(c.bytes, c.bytes.size(), c.flags, c.measured);
    EXPECT_EQ(d.result, c.filled);
    EXPECT_EQ(d.units, c.values) << HexWide(d.units);
  }
}

TEST(Utf8ToWchar, ZeroTerminatedInputStopsAtTheFirstZeroByte) {
  struct Case {
    std::string bytes;  // with its terminator; nothing after it is readable
    int flags;
    std::size_t expected;
  };
  const Case cases[] = {
      {std::string("\x41\x42\x00", 3), kStrict, 2},
      {std::string("\x00", 1), kStrict, 0},
      {std::string("\x00", 1), kLenient, 0},
      {std::string("\x41\xE2\x82\x00", 4), kStrict, 0},  // the zero is no continuation byte
      {std::string("\x41\xE2\x82\x00", 4), kLenient, 1},
      {std::string("\x41\xE2\x41\x00", 4), kLenient, 2},
      {std::string("\xFD\xBF\xBF\x00", 4), kLenient, 0},
      {std::string("\xF0\x9F\x98\x80\x00", 5), kStrict, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Hex(c.bytes));
    EXPECT_EQ(DecodeMeasure(c.bytes, kZeroTerminated, c.flags), c.expected);
    const Decoded d = DecodeFill(c.bytes, kZeroTerminated, c.flags, 8);
    EXPECT_EQ(d.result, c.expected);
  }
  // With a length that reaches past the zero, the zero still ends the text.
  const std::string bytes("\x41\x42\x00\x43", 4);
  EXPECT_EQ(DecodeMeasure(bytes, 4, kStrict), 2u);
}

TEST(Utf8ToWchar, FailsWithoutRoomOrInput) {
  wchar_t buffer[4] = {};
  EXPECT_EQ(utf8_to_wchar(nullptr, 3, buffer, 4, kStrict), 0u);
  EXPECT_EQ(utf8_to_wchar(nullptr, 3, nullptr, 0, kLenient), 0u);
  EXPECT_EQ(utf8_to_wchar("ab", 2, buffer, 0, kLenient), 0u);
  for (int flags : {kStrict, kLenient}) {
    EXPECT_EQ(DecodeFill("AB", 2, flags, 1).result, 0u);
    EXPECT_EQ(DecodeFill("\xC3\xA9\xC3\xA9", 4, flags, 1).result, 0u);
    // A long ASCII run (the block-at-a-time path) into a short buffer.
    EXPECT_EQ(DecodeFill(std::string(100, 'x'), 100, flags, 99).result, 0u);
    EXPECT_EQ(DecodeFill(std::string(100, 'x'), 100, flags, 100).result, 100u);
  }
  // A withdrawn element needs no room of its own only once it is known to be withdrawn: the room
  // check comes first.
  EXPECT_EQ(DecodeFill("A\xEF\xBB\xBF", 4, kDropBom, 1).result, 0u);
  // The measuring call ignores dst_cap.
  EXPECT_EQ(utf8_to_wchar("abc", 3, nullptr, 1, kStrict), 3u);
}

// ---- Encoding -----------------------------------------------------------------------------------

TEST(WcharToUtf8, EncodesByTheLengthTable) {
  struct Case {
    const char* name;
    std::vector<std::uint32_t> units;
    int flags;
    std::size_t expected;  // measured and written alike
    std::string bytes;
  };
  const Case cases[] = {
      {"ascii", {0x41, 0x7F}, kStrict, 2, "\x41\x7F"},
      {"two-byte bounds", {0x80, 0x7FF}, kStrict, 4, "\xC2\x80\xDF\xBF"},
      {"three-byte bounds", {0x800, 0xFFFF}, kStrict, 6, "\xE0\xA0\x80\xEF\xBF\xBF"},
      {"euro", {0x20AC}, kStrict, 3, "\xE2\x82\xAC"},
      {"largest Unicode value", {0x10FFFF}, kStrict, 4, "\xF4\x8F\xBF\xBF"},
      {"beyond Unicode", {0x110000}, kStrict, 4, "\xF4\x90\x80\x80"},
      {"four-byte bounds", {0x10000, 0x1FFFFF}, kStrict, 8, "\xF0\x90\x80\x80\xF7\xBF\xBF\xBF"},
      {"five-byte bounds",
       {0x200000, 0x3FFFFFF},
       kStrict,
       10,
       "\xF8\x88\x80\x80\x80\xFB\xBF\xBF\xBF\xBF"},
      {"six-byte bounds",
       {0x4000000, 0x7FFFFFFF},
       kStrict,
       12,
       "\xFC\x84\x80\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF"},
      {"top bit strict", {0x41, 0x80000000}, kStrict, 0, ""},
      {"top bit lenient", {0x41, 0x80000000, 0xFFFFFFFF, 0x42}, kLenient, 2, "\x41\x42"},
      {"surrogate strict", {0xD800}, kStrict, 0, ""},
      {"surrogate lenient", {0x41, 0xD800, 0x42}, kLenient, 2, "\x41\x42"},
      {"low surrogate lenient", {0xDFFF, 0xE000}, kLenient, 3, "\xEE\x80\x80"},
      {"BOM kept", {0xFEFF}, kStrict, 3, "\xEF\xBB\xBF"},
      {"BOM alone dropped", {0xFEFF}, kDropBom, 0, ""},
      {"BOM dropped anywhere", {0x41, 0xFEFF, 0x42}, kDropBom, 2, "\x41\x42"},
      {"zero element ends the text", {0x41, 0, 0x42}, kStrict, 1, "\x41"},
      {"zero element first", {0, 0x41}, kLenient, 0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(EncodeMeasure(c.units, c.units.size(), c.flags), c.expected);
    const Encoded e = EncodeFill(c.units, c.units.size(), c.flags, c.expected + 2);
    EXPECT_EQ(e.result, c.expected);
    EXPECT_EQ(e.bytes, c.bytes) << Hex(e.bytes);
  }
}

TEST(WcharToUtf8, NeverWritesPartOfASequence) {
  struct Case {
    std::vector<std::uint32_t> units;
    std::size_t cap;
    std::size_t expected;
  };
  const Case cases[] = {
      {{0x20AC}, 2, 0},     {{0x20AC}, 3, 3},     {{0x41, 0x20AC}, 3, 0},
      {{0x7FFFFFFF}, 5, 0}, {{0x41, 0x42}, 1, 0}, {{0x10000}, 4, 4},
  };
  for (const Case& c : cases) {
    const Encoded e = EncodeFill(c.units, c.units.size(), kStrict, c.cap);
    EXPECT_EQ(e.result, c.expected) << HexWide(c.units) << " cap " << c.cap;
  }
  // Nothing of the sequence that does not fit is written.
  std::unique_ptr<wchar_t[]> euro(new wchar_t[1]{0x20AC});
  char buffer[3] = {'x', 'x', 'x'};
  EXPECT_EQ(wchar_to_utf8(euro.get(), 1, buffer, 2, kStrict), 0u);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(buffer[1], 'x');
}

TEST(WcharToUtf8, ZeroTerminatedAndDegenerateCalls) {
  EXPECT_EQ(EncodeMeasure({0x41, 0x20AC, 0}, kZeroTerminated, kStrict), 4u);
  EXPECT_EQ(EncodeFill({0x41, 0x20AC, 0}, kZeroTerminated, kStrict, 4).bytes, "\x41\xE2\x82\xAC");
  EXPECT_EQ(EncodeMeasure({0}, kZeroTerminated, kStrict), 0u);
  char buffer[4];
  EXPECT_EQ(wchar_to_utf8(nullptr, 1, buffer, 4, kStrict), 0u);
  EXPECT_EQ(wchar_to_utf8(L"a", 1, buffer, 0, kStrict), 0u);
  EXPECT_EQ(wchar_to_utf8(L"abc", 3, nullptr, 1, kStrict), 3u);
}

// ---- String overloads ---------------------------------------------------------------------------

TEST(CodecOverloads, TurnEveryFailureIntoAnEmptyResult) {
  struct DecodeCase {
    std::string text;
    std::wstring expected;
  };
  const DecodeCase decodes[] = {
      {"", L""},
      {std::string("\x00\x41", 2), L""},
      {std::string("a\x00"
                   "b",
                   3),
       L"a"},
      {"a\xC3\xA9", L"a\xE9"},
      {"ok\x80", L""},
      {"\xED\xA0\x80", L""},
      {"\xC0\x80", L""},
      {"\xEF\xBB\xBFx", L"\xFEFFx"},
      {"\xF4\x90\x80\x80", std::wstring(1, static_cast<wchar_t>(0x110000))},
  };
  for (const DecodeCase& c : decodes) {
    EXPECT_EQ(utf8_to_wchar(c.text), c.expected) << Hex(c.text);
  }

  struct EncodeCase {
    std::wstring text;
    std::string expected;
  };
  const EncodeCase encodes[] = {
      {L"", ""},
      {std::wstring(L"a\0b", 3), "a"},
      {std::wstring(L"a\xD800"), ""},
      {std::wstring(1, static_cast<wchar_t>(0x80000000u)), ""},
      {std::wstring(L"a\0\xD800", 3), "a"},  // the refused value lies after the end
      {std::wstring(1, static_cast<wchar_t>(0x110000)), "\xF4\x90\x80\x80"},
      {L"\xFEFF", "\xEF\xBB\xBF"},
  };
  for (const EncodeCase& c : encodes) {
    const std::string got = wchar_to_utf8(c.text);
    EXPECT_EQ(got, c.expected) << Hex(got);
  }
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(CodecOverloads, RoundTripRealTextInEveryScript) {
  const char* files[] = {"mars-english.utf8.txt", "mars-russian.utf8.txt",
                         "mars-chinese.utf8.txt", "mars-hindi.utf8.txt",
                         "lipsum-emoji.utf8.txt", "lipsum-arabic.utf8.txt"};
  for (const char* name : files) {
    const std::string text = ReadFile(std::string(QORSTL_CORPUS_DIR) + "/" + name);
    if (text.empty()) GTEST_SKIP() << "corpus not found beside the project";
    const std::wstring wide = utf8_to_wchar(text);
    ASSERT_FALSE(wide.empty()) << name;
    EXPECT_EQ(wchar_to_utf8(wide), text) << name;
    // Every element is a code point: counting lead bytes gives the same number.
    std::size_t leads = 0;
    for (unsigned char b : text) leads += (b & 0xC0) != 0x80;
    EXPECT_EQ(wide.size(), leads) << name;
  }
}

// ---- Randomized comparison with a model of the rules --------------------------------------------

// The decoding rules, written out plainly. `s` holds the input and, when `bounded` is false, a zero
// byte somewhere (the model never reads past it).
Decoded ModelDecode(const std::string& s, bool bounded, std::size_t len, bool measuring,
                    std::size_t cap, int flags) {
  const bool lenient = flags & UTF8_SKIP_INVALID;
  const bool drop_bom = flags & UTF8_DROP_BOM;
  const std::size_t stop = bounded ? len : s.size();
  Decoded fail{0, {}};
  std::vector<std::uint32_t> out;
  std::size_t count = 0;
  std::size_t i = 0;
  while (i < stop) {
    const unsigned char b = static_cast<unsigned char>(s[i]);
    if (!lenient && (b == 0xC0 || b == 0xC1 || b == 0xF5 || b == 0xFF)) return fail;
    if (b == 0) break;
    std::size_t n = 0;
    unsigned bits = 0;
    if (b < 0x80)
      n = 1, bits = b;
    else if (b >= 0xC0 && b <= 0xDF)
      n = 2, bits = b & 0x1F;
    else if (b >= 0xE0 && b <= 0xEF)
      n = 3, bits = b & 0x0F;
    else if (b >= 0xF0 && b <= 0xF7)
      n = 4, bits = b & 0x07;
    else if (b >= 0xF8 && b <= 0xFB)
      n = 5, bits = b & 0x03;
    else if (b >= 0xFC && b <= 0xFD)
      n = 6, bits = b & 0x01;
    bool ok = n != 0 && stop - i >= n;
    for (std::size_t k = 1; ok && k < n; ++k) ok = (static_cast<unsigned char>(s[i + k]) >> 6) == 2;
    if (!ok) {
      if (!lenient) return fail;
      i += 1;
      continue;
    }
    std::uint32_t value = bits;
    for (std::size_t k = 1; k < n; ++k)
      value = value * 64 + (static_cast<unsigned char>(s[i + k]) & 63);
    i += n;
    ++count;
    if (measuring) continue;
    if (out.size() == cap) return fail;
    if (value >= 0xD800 && value <= 0xDFFF) {
      if (!lenient) return fail;
      --count;
    } else if (value == 0xFEFF && drop_bom) {
      --count;
    } else {
      out.push_back(value);
    }
  }
  return {count, out};
}

Encoded ModelEncode(const std::vector<std::uint32_t>& u, std::size_t len, bool measuring,
                    std::size_t cap, int flags) {
  const bool lenient = flags & UTF8_SKIP_INVALID;
  std::string out;
  std::size_t count = 0;
  for (std::size_t i = 0; i < len && u[i] != 0; ++i) {
    const std::uint32_t c = u[i];
    if ((c >= 0xD800 && c <= 0xDFFF) || c >= 0x80000000u) {
      if (!lenient) return {0, ""};
      continue;
    }
    if (c == 0xFEFF && (flags & UTF8_DROP_BOM)) continue;
    std::string seq;
    if (c < 0x80) {
      seq = std::string(1, static_cast<char>(c));
    } else {
      // Peel six bits at a time until the rest fits the lead byte of that length.
      std::uint32_t rest = c;
      std::size_t n = 1;
      std::string tail;
      do {
        tail.insert(tail.begin(), static_cast<char>(0x80 | (rest & 63)));
        rest >>= 6;
        ++n;
      } while (rest >= (1u << (7 - n)));  // a lead byte of n bytes holds 7 - n value bits
      const unsigned lead = (0xFF00u >> n) & 0xFF;
      seq = std::string(1, static_cast<char>(lead | rest)) + tail;
    }
    count += seq.size();
    if (measuring) continue;
    if (out.size() + seq.size() > cap) return {0, ""};
    out += seq;
  }
  return {count, out};
}

// Bytes biased to the interesting classes: ASCII runs (long enough for the block path), leads of
// every length, continuation bytes, the refused bytes, zero bytes.
std::string RandomUtf8ish(std::mt19937& rng) {
  static const unsigned char kPicks[] = {0x41, 0x7F, 0x00, 0x80, 0xBF, 0xA0, 0xC0, 0xC1, 0xC3,
                                         0xDF, 0xE0, 0xE2, 0xED, 0xEF, 0xBB, 0xF0, 0xF4, 0xF5,
                                         0xF7, 0xF8, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF, 0x90, 0x8F};
  std::uniform_int_distribution<int> length(0, 40);
  std::uniform_int_distribution<int> kind(0, 9);
  std::string s;
  const int n = length(rng);
  for (int i = 0; i < n; ++i) {
    const int k = kind(rng);
    if (k == 0) {
      s.append(static_cast<std::size_t>(rng() % 40), static_cast<char>('a' + rng() % 26));
    } else if (k <= 3) {
      // A well-formed-looking sequence: a lead and the right number of continuation bytes.
      const unsigned char lead = kPicks[6 + rng() % 19];
      s += static_cast<char>(lead);
      for (int c = 0; c < 5; ++c) s += static_cast<char>(0x80 | (rng() % 64));
      s.resize(s.size() - rng() % 6);
    } else {
      s += static_cast<char>(kPicks[rng() % sizeof(kPicks)]);
    }
  }
  return s;
}

TEST(CodecModel, DecoderMatchesTheRulesOnRandomInput) {
  std::mt19937 rng(20261122);
  for (int iteration = 0; iteration < 4000; ++iteration) {
    std::string s = RandomUtf8ish(rng);
    const int flags = static_cast<int>(rng() % 4);
    const bool bounded = rng() % 3 != 0;
    std::size_t len = s.size();
    if (!bounded) {
      s.push_back('\0');
    } else if (s.empty()) {
      continue;  // a zero length means zero-terminated; covered above
    }
    const std::size_t src_len = bounded ? len : kZeroTerminated;
    SCOPED_TRACE(Hex(s) + " flags " + std::to_string(flags) + (bounded ? " bounded" : " zt"));

    const Decoded measured_model = ModelDecode(s, bounded, len, true, 0, flags);
    ASSERT_EQ(DecodeMeasure(s, src_len, flags), measured_model.result);

    // Capacity: the measured count, or a random one that may be too small.
    std::size_t cap = measured_model.result;
    if (rng() % 2) cap = rng() % (measured_model.result + 3);
    if (cap == 0) cap = 1;
    const Decoded model = ModelDecode(s, bounded, len, false, cap, flags);
    const Decoded got = DecodeFill(s, src_len, flags, cap);
    ASSERT_EQ(got.result, model.result) << "cap " << cap;
    if (model.result != 0) {
      ASSERT_EQ(got.units, model.units) << "cap " << cap;
    }
  }
}

TEST(CodecModel, EncoderMatchesTheRulesOnRandomInput) {
  std::mt19937 rng(11221);
  static const std::uint32_t kPicks[] = {
      0x41,      0x7F,      0x80,       0x7FF,      0x800,      0xD7FF,   0xD800,   0xDFFF,
      0xE000,    0xFEFF,    0xFFFF,     0x10000,    0x10FFFF,   0x110000, 0x1FFFFF, 0x200000,
      0x3FFFFFF, 0x4000000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0};
  for (int iteration = 0; iteration < 4000; ++iteration) {
    std::vector<std::uint32_t> u;
    const int n = static_cast<int>(rng() % 40);
    for (int i = 0; i < n; ++i) {
      switch (rng() % 4) {
        case 0:
          u.insert(u.end(), rng() % 40, 0x61 + rng() % 26);
          break;
        case 1:
          u.push_back(kPicks[rng() % (sizeof(kPicks) / sizeof(kPicks[0]))]);
          break;
        case 2:
          u.push_back(static_cast<std::uint32_t>(rng()));
          break;
        default:
          u.push_back(rng() % 0x11000);
          break;
      }
    }
    const int flags = static_cast<int>(rng() % 4);
    const bool bounded = rng() % 3 != 0;
    if (!bounded) u.push_back(0);
    if (u.empty()) continue;
    const std::size_t src_len = bounded ? u.size() : kZeroTerminated;
    SCOPED_TRACE(HexWide(u) + " flags " + std::to_string(flags));

    const Encoded measured = ModelEncode(u, u.size(), true, 0, flags);
    ASSERT_EQ(EncodeMeasure(u, src_len, flags), measured.result);
    std::size_t cap = measured.result;
    if (rng() % 2) cap = rng() % (measured.result + 3);
    if (cap == 0) cap = 1;
    const Encoded model = ModelEncode(u, u.size(), false, cap, flags);
    const Encoded got = EncodeFill(u, src_len, flags, cap);
    ASSERT_EQ(got.result, model.result) << "cap " << cap;
    ASSERT_EQ(got.bytes, model.bytes) << "cap " << cap;
  }
}

TEST(CodecModel, EveryValueRoundTripsThroughBothDirections) {
  // Sampled across all six lengths, the edges of each included.
  std::mt19937 rng(7);
  std::vector<std::uint32_t> values = {1,        0x7F,      0x80,      0x7FF,
                                       0x800,    0xFFFF,    0x10000,   0x1FFFFF,
                                       0x200000, 0x3FFFFFF, 0x4000000, 0x7FFFFFFF};
  for (int i = 0; i < 20000; ++i) values.push_back(1 + rng() % 0x7FFFFFFF);
  for (std::uint32_t v : values) {
    if ((v & 0xFFFFF800u) == 0xD800u) continue;
    // Values 0x140000 to 0x17FFFF encode with the lead byte F5, which strict decoding refuses.
    if (v >= 0x140000 && v <= 0x17FFFF) {
      EXPECT_EQ(static_cast<unsigned char>(wchar_to_utf8(std::wstring(1, wchar_t(v)))[0]), 0xF5);
      continue;
    }
    const std::wstring wide(1, static_cast<wchar_t>(v));
    const std::string bytes = wchar_to_utf8(wide);
    ASSERT_FALSE(bytes.empty()) << std::hex << v;
    ASSERT_EQ(utf8_to_wchar(bytes), wide) << std::hex << v;
  }
}

}  // namespace
