// Whole wide strings to UTF-8 for the encoding names "utf-8" and "utf-8-16" and for `to_utf8`, and
// both directions of "utf-16": one allocation of the exact size, after one pass on the stack for a
// short text, else after a measuring pass. Plain runs go to the
// encoding kernels; each coder's step below states its rule for the elements a kernel leaves.
#include <cstddef>
#include <cstdint>
#include <string>

#include "encoding/encode_kernels.h"
#include "encoding/unicode_coders.h"

namespace qor {
namespace internal {
namespace {

constexpr std::uint32_t kMaxCode = 0x10FFFF;

// What one step of a coder took: `units` elements (0 when the input does not convert) that make
// `bytes` bytes.
struct Taken {
  std::size_t units;
  unsigned bytes;
};

// Writes c (at most 0x10FFFF) at out, when out is not null.
inline Taken Sequence(std::uint32_t c, std::size_t units, unsigned char* out) {
  const unsigned len = EncodedLength(c);
  if (out != nullptr) WriteSequence(c, len, out);
  return {units, len};
}

// A text of up to this many elements is encoded in one pass into a buffer on the stack.
constexpr std::size_t kOnePassElements = 1024;

// `step(p, avail, out)` converts the element(s) at p that the kernel left, writing at out unless
// it is null; a step writes at most four bytes. For a longer text, a first pass sizes the result
// exactly, so the second never runs out of room.
template <class Step>
bool EncodeString(const EncodeKernels& kernels, const std::wstring& text, const PlainRule& rule,
                  Step step, std::string& out) {
  const wchar_t* const p = text.data();
  const std::size_t n = text.size();
  if (n <= kOnePassElements) {
    // At most four bytes an element: encoded once on the stack, allocated once at its size.
    unsigned char buffer[4 * kOnePassElements];
    std::size_t w = 0;
    for (std::size_t i = 0;;) {
      // Fewer elements than a block go to the scalar rule, without a kernel's call.
      std::size_t written = 0;
      i += n < 16 ? EncodePlainScalar(p + i, n - i, buffer + w, sizeof buffer - w, rule, written)
                  : kernels.encode(p + i, n - i, buffer + w, sizeof buffer - w, rule, written);
      w += written;
      if (i == n) break;
      const Taken taken = step(p + i, n - i, buffer + w);
      if (taken.units == 0) return false;
      i += taken.units;
      w += taken.bytes;
    }
    out.assign(reinterpret_cast<const char*>(buffer), w);
    return true;
  }
  std::size_t size = 0;
  for (std::size_t i = 0;;) {
    std::size_t used = 0;
    size += kernels.measure(p + i, n - i, rule, used);
    i += used;
    if (i == n) break;
    const Taken taken = step(p + i, n - i, nullptr);
    if (taken.units == 0) return false;
    i += taken.units;
    size += taken.bytes;
  }
  out.assign(size, '\0');
  if (size == 0) return true;
  auto* const base = reinterpret_cast<unsigned char*>(&out[0]);
  std::size_t w = 0;
  for (std::size_t i = 0;;) {
    std::size_t written = 0;
    i += kernels.encode(p + i, n - i, base + w, size - w, rule, written);
    w += written;
    if (i == n) break;
    const Taken taken = step(p + i, n - i, base + w);
    i += taken.units;
    w += taken.bytes;
  }
  return true;
}

constexpr bool IsHighSurrogate(std::uint32_t v) {
  return (v & 0xFFFFFC00u) == 0xD800u;
}

constexpr bool IsLowSurrogate(std::uint32_t v) {
  return (v & 0xFFFFFC00u) == 0xDC00u;
}

}  // namespace

bool CodePointsToUtf8With(const EncodeKernels& kernels, const std::wstring& text,
                          std::string& out) {
  const auto step = [](const wchar_t* p, std::size_t, unsigned char* at) -> Taken {
    const auto c = static_cast<std::uint32_t>(*p);
    if (IsSurrogate(c) || c > kMaxCode) return {0, 0};
    return Sequence(c, 1, at);  // zero is the byte 00
  };
  return EncodeString(kernels, text, {kMaxCode, 0xD800, 0}, step, out);
}

bool Utf16UnitsToUtf8With(const EncodeKernels& kernels, const std::wstring& text,
                          std::string& out) {
  // A surrogate must be the high half of a pair; an element from 0x10000 to 0x10FFFF is taken as
  // that code point.
  const auto step = [](const wchar_t* p, std::size_t avail, unsigned char* at) -> Taken {
    const auto c = static_cast<std::uint32_t>(p[0]);
    if (c > kMaxCode) return {0, 0};
    if (!IsSurrogate(c)) return Sequence(c, 1, at);
    if (!IsHighSurrogate(c) || avail < 2) return {0, 0};
    const auto low = static_cast<std::uint32_t>(p[1]);
    if (!IsLowSurrogate(low)) return {0, 0};
    return Sequence(0x10000u + ((c - 0xD800u) << 10) + (low - 0xDC00u), 2, at);
  };
  return EncodeString(kernels, text, {kMaxCode, 0xD800, 0}, step, out);
}

bool CodePointsToUtf16BeWith(const EncodeKernels& kernels, const std::wstring& text,
                             std::string& out) {
  const wchar_t* const p = text.data();
  const std::size_t n = text.size();
  // Two bytes per element, two more for each that needs a surrogate pair.
  std::size_t size = 2 * n;
  for (std::size_t i = 0;;) {
    i += kernels.to_utf16be(p + i, n - i, nullptr);
    if (i == n) break;
    const auto c = static_cast<std::uint32_t>(p[i++]);
    if (IsSurrogate(c) || c > kMaxCode) return false;
    size += 2;
  }
  out.assign(size, '\0');
  auto* const base = reinterpret_cast<unsigned char*>(&out[0]);
  std::size_t w = 0;
  const auto put_unit = [base, &w](std::uint32_t unit) {
    base[w++] = static_cast<unsigned char>(unit >> 8);
    base[w++] = static_cast<unsigned char>(unit & 0xFF);
  };
  for (std::size_t i = 0;;) {
    const std::size_t run = kernels.to_utf16be(p + i, n - i, base + w);
    i += run;
    w += 2 * run;
    if (i == n) break;
    const auto c = static_cast<std::uint32_t>(p[i++]);
    put_unit(0xD800u + ((c - 0x10000u) >> 10));
    put_unit(0xDC00u + (c & 0x3FFu));
  }
  return true;
}

bool Utf16BeToCodePointsWith(const EncodeKernels& kernels, const std::string& text,
                             std::wstring& out) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size() / 2;
  if (text.size() % 2 != 0) return false;  // a unit cut short by the end
  out.assign(n, L'\0');
  if (n == 0) return true;
  wchar_t* const base = &out[0];
  std::size_t w = 0;
  for (std::size_t i = 0;;) {
    const std::size_t run = kernels.from_utf16be(p + 2 * i, n - i, base + w);
    i += run;
    w += run;
    if (i == n) break;
    // A surrogate: the high half of a pair, or the text does not convert.
    const std::uint32_t unit = (std::uint32_t{p[2 * i]} << 8) | p[2 * i + 1];
    if (!IsHighSurrogate(unit) || n - i < 2) return false;
    const std::uint32_t low = (std::uint32_t{p[2 * i + 2]} << 8) | p[2 * i + 3];
    if (!IsLowSurrogate(low)) return false;
    base[w++] = static_cast<wchar_t>(0x10000u + ((unit - 0xD800u) << 10) + (low - 0xDC00u));
    i += 2;
  }
  out.resize(w);
  return true;
}

std::string BmpUnitsToUtf8With(const EncodeKernels& kernels, const std::wstring& text) {
  // Every element up to 0xFFFF, zero and surrogates included, takes its one- to three-byte form;
  // larger ones, which to_utf16 never gives, become "?".
  const auto step = [](const wchar_t* p, std::size_t, unsigned char* at) -> Taken {
    const auto c = static_cast<std::uint32_t>(*p);
    if (c <= 0xFFFF) return Sequence(c, 1, at);
    if (at != nullptr) *at = '?';
    return {1, 1};
  };
  std::string out;
  EncodeString(kernels, text, {0xFFFF, kNoTag, 0}, step, out);
  return out;
}

bool CodePointsToUtf8(const std::wstring& text, std::string& out) {
  if (text.size() < kShortCodePoints) {
    unsigned char bytes[4 * kShortCodePoints];
    const std::size_t size = ShortCodePointsToUtf8(text.data(), text.size(), bytes);
    if (size == kNotConverted) return false;
    out.assign(reinterpret_cast<const char*>(bytes), size);
    return true;
  }
  return CodePointsToUtf8With(BestEncodeKernels(), text, out);
}

bool Utf16UnitsToUtf8(const std::wstring& text, std::string& out) {
  return Utf16UnitsToUtf8With(BestEncodeKernels(), text, out);
}

bool CodePointsToUtf16Be(const std::wstring& text, std::string& out) {
  return CodePointsToUtf16BeWith(BestEncodeKernels(), text, out);
}

bool Utf16BeToCodePoints(const std::string& text, std::wstring& out) {
  return Utf16BeToCodePointsWith(BestEncodeKernels(), text, out);
}

std::string BmpUnitsToUtf8(const std::wstring& text) {
  return BmpUnitsToUtf8With(BestEncodeKernels(), text);
}

}  // namespace internal
}  // namespace qor
