// Strict UTF-8 and UTF-16 coders for the fixed encoding names, with ASCII runs taken in blocks.
#include "encoding/unicode_coders.h"

#include <cstddef>
#include <cstdint>

#include "simd.h"

namespace qor {
namespace internal {
namespace {

constexpr std::uint32_t kMaxCode = 0x10FFFF;
constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

constexpr bool IsContinuation(unsigned char b) {
  return (b & 0xC0) == 0x80;
}

constexpr bool IsSurrogate(std::uint32_t v) {
  return (v & 0xFFFFF800u) == 0xD800u;
}

constexpr bool IsHighSurrogate(std::uint32_t v) {
  return (v & 0xFFFFFC00u) == 0xD800u;
}

constexpr bool IsLowSurrogate(std::uint32_t v) {
  return (v & 0xFFFFFC00u) == 0xDC00u;
}

// Decodes the one well-formed sequence that starts at p, of which `avail` bytes are there.
// Returns its length and sets `code`, or returns 0 for a sequence that is malformed, overlong,
// cut short by the end, a surrogate or above 0x10FFFF. Reads no byte past a bad one.
unsigned DecodeSequence(const unsigned char* p, std::size_t avail, std::uint32_t& code) {
  const std::uint32_t b0 = p[0];
  if (b0 < 0x80) {
    code = b0;
    return 1;
  }
  if (b0 < 0xC2) return 0;  // a continuation byte, or C0/C1 which only start overlong forms
  if (b0 < 0xE0) {
    if (avail < 2 || !IsContinuation(p[1])) return 0;
    code = ((b0 & 0x1Fu) << 6) | (p[1] & 0x3Fu);
    return 2;
  }
  if (b0 < 0xF0) {
    if (avail < 3 || !IsContinuation(p[1]) || !IsContinuation(p[2])) return 0;
    code = ((b0 & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
    if (code < 0x800 || IsSurrogate(code)) return 0;
    return 3;
  }
  if (b0 < 0xF5) {
    if (avail < 4 || !IsContinuation(p[1]) || !IsContinuation(p[2]) || !IsContinuation(p[3])) {
      return 0;
    }
    code = ((b0 & 0x07u) << 18) | ((p[1] & 0x3Fu) << 12) | ((p[2] & 0x3Fu) << 6) | (p[3] & 0x3Fu);
    if (code < 0x10000 || code > kMaxCode) return 0;
    return 4;
  }
  return 0;  // F5..FF start no sequence of a value up to 0x10FFFF
}

// Writes the UTF-8 form of a code point up to 0x10FFFF at `out` (when not null); returns its
// length.
unsigned EncodeSequence(std::uint32_t code, unsigned char* out) {
  const unsigned n = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  if (out == nullptr) return n;
  if (n == 1) {
    out[0] = static_cast<unsigned char>(code);
    return 1;
  }
  constexpr unsigned char kLeadMarker[5] = {0, 0, 0xC0, 0xE0, 0xF0};
  out[0] = static_cast<unsigned char>(kLeadMarker[n] | (code >> (6 * (n - 1))));
  for (unsigned k = 1; k < n; ++k) {
    out[k] = static_cast<unsigned char>(0x80u | ((code >> (6 * (n - 1 - k))) & 0x3Fu));
  }
  return n;
}

// UTF-8 to wide elements: code points, or UTF-16 code units when `kUnits`. The scalar
// DecodeSequence states the rule; runs of bytes 01..7F are widened 16 at a time before it.
template <bool kUnits>
bool DecodeUtf8(const std::string& text, std::wstring& out) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  // A sequence of k bytes gives at most k elements (four bytes give a pair), so n elements suffice.
  out.assign(n, L'\0');
  wchar_t* const base = n != 0 ? &out[0] : nullptr;
  std::size_t i = 0;
  std::size_t w = 0;
  while (i < n) {
    const std::size_t run = AsciiRunToWide(p + i, n - i, base + w, n - w);
    i += run;
    w += run;
    if (i == n) break;
    std::uint32_t code = 0;
    const unsigned len = DecodeSequence(p + i, n - i, code);
    if (len == 0) return false;
    i += len;
    if (kUnits && code >= 0x10000) {
      base[w++] = static_cast<wchar_t>(0xD800u + ((code - 0x10000u) >> 10));
      base[w++] = static_cast<wchar_t>(0xDC00u + (code & 0x3FFu));
    } else {
      base[w++] = static_cast<wchar_t>(code);
    }
  }
  out.resize(w);
  return true;
}

// Wide elements to UTF-8: returns the byte count, or kFailed; writes the bytes when `out` is not
// null. With `kUnits` the elements are UTF-16 code units and a high-low pair makes one code point.
// Runs of elements 1..7F are narrowed 16 at a time before the scalar rule.
template <bool kUnits>
std::size_t EncodeUtf8(const wchar_t* p, std::size_t n, unsigned char* out) {
  std::size_t i = 0;
  std::size_t count = 0;
  while (i < n) {
    const std::size_t run =
        AsciiRunToNarrow(p + i, n - i, out != nullptr ? out + count : nullptr, n - i);
    i += run;
    count += run;
    if (i == n) break;
    std::uint32_t code = static_cast<std::uint32_t>(p[i++]);
    if (IsSurrogate(code)) {
      if (!kUnits || !IsHighSurrogate(code) || i == n) return kFailed;
      const auto low = static_cast<std::uint32_t>(p[i]);
      if (!IsLowSurrogate(low)) return kFailed;
      ++i;
      code = 0x10000u + ((code - 0xD800u) << 10) + (low - 0xDC00u);
    } else if (code > kMaxCode) {
      return kFailed;
    }
    count += EncodeSequence(code, out != nullptr ? out + count : nullptr);
  }
  return count;
}

// Measures (and validates) first, then fills a result of exactly that size.
template <bool kUnits>
bool EncodeUtf8String(const std::wstring& text, std::string& out) {
  const std::size_t size = EncodeUtf8<kUnits>(text.data(), text.size(), nullptr);
  if (size == kFailed) return false;
  out.assign(size, '\0');
  if (size != 0)
    EncodeUtf8<kUnits>(text.data(), text.size(), reinterpret_cast<unsigned char*>(&out[0]));
  return true;
}

}  // namespace

bool Utf8ToCodePoints(const std::string& text, std::wstring& out) {
  return DecodeUtf8<false>(text, out);
}

bool Utf8ToUtf16Units(const std::string& text, std::wstring& out) {
  return DecodeUtf8<true>(text, out);
}

bool CodePointsToUtf8(const std::wstring& text, std::string& out) {
  return EncodeUtf8String<false>(text, out);
}

bool Utf16UnitsToUtf8(const std::wstring& text, std::string& out) {
  return EncodeUtf8String<true>(text, out);
}

bool Utf16BeToCodePoints(const std::string& text, std::wstring& out) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  if (n % 2 != 0) return false;  // a unit cut short by the end
  out.assign(n / 2, L'\0');
  std::size_t w = 0;
  for (std::size_t i = 0; i < n; i += 2) {
    const std::uint32_t unit = (std::uint32_t{p[i]} << 8) | p[i + 1];
    if (!IsSurrogate(unit)) {
      out[w++] = static_cast<wchar_t>(unit);
      continue;
    }
    if (!IsHighSurrogate(unit) || n - i < 4) return false;
    const std::uint32_t low = (std::uint32_t{p[i + 2]} << 8) | p[i + 3];
    if (!IsLowSurrogate(low)) return false;
    out[w++] = static_cast<wchar_t>(0x10000u + ((unit - 0xD800u) << 10) + (low - 0xDC00u));
    i += 2;
  }
  out.resize(w);
  return true;
}

bool CodePointsToUtf16Be(const std::wstring& text, std::string& out) {
  std::size_t size = 0;
  for (const wchar_t element : text) {
    const auto code = static_cast<std::uint32_t>(element);
    if (IsSurrogate(code) || code > kMaxCode) return false;
    size += code < 0x10000 ? 2 : 4;
  }
  out.assign(size, '\0');
  std::size_t w = 0;
  const auto put_unit = [&out, &w](std::uint32_t unit) {
    out[w++] = static_cast<char>(static_cast<unsigned char>(unit >> 8));
    out[w++] = static_cast<char>(static_cast<unsigned char>(unit & 0xFF));
  };
  for (const wchar_t element : text) {
    const auto code = static_cast<std::uint32_t>(element);
    if (code < 0x10000) {
      put_unit(code);
    } else {
      put_unit(0xD800u + ((code - 0x10000u) >> 10));
      put_unit(0xDC00u + (code & 0x3FFu));
    }
  }
  return true;
}

}  // namespace internal
}  // namespace qor
