// The UTF-8 codec: 31-bit UTF-8 (one to six bytes) to and from 32-bit wide characters.
#include <cstdint>
#include <cstring>
#include <string>

#include "qor/qorstl.h"
#include "simd.h"

namespace {

// Sequence length announced by a first byte: 1 for 01..7F, 2 to 6 for the lead bytes C0..FD, 0 for
// the zero byte (handled before the lookup), continuation bytes 80..BF and the bytes FE, FF.
struct SequenceLengths {
  unsigned char of[256];
  constexpr SequenceLengths() : of() {
    for (unsigned b = 1; b < 256; ++b) {
      of[b] = b < 0x80   ? 1
              : b < 0xC0 ? 0
              : b < 0xE0 ? 2
              : b < 0xF0 ? 3
              : b < 0xF8 ? 4
              : b < 0xFC ? 5
              : b < 0xFE ? 6
                         : 0;
    }
  }
};
constexpr SequenceLengths kSequenceLengths;

// Value bits that a lead byte of a sequence of n bytes contributes.
constexpr unsigned char kLeadMask[7] = {0, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};

constexpr bool IsContinuation(unsigned char b) {
  return (b & 0xC0) == 0x80;
}

// The four bytes that strict mode refuses before classifying: two overlong two-byte leads, the
// lead of values from 0x140000 up, and FF.
constexpr bool StrictlyRefused(unsigned char b) {
  return b == 0xC0 || b == 0xC1 || b == 0xF5 || b == 0xFF;
}

constexpr bool IsSurrogate(std::uint32_t v) {
  return (v & 0xFFFFF800u) == 0xD800u;
}

constexpr bool IsAsciiNonZero(unsigned char b) {
  return static_cast<unsigned char>(b - 1) < 0x7F;
}

// True when the n - 1 bytes after the lead at p are continuation bytes. Short-circuits, so no byte
// after the first non-continuation byte is read.
inline bool ContinuationsFollow(const unsigned char* p, unsigned n) {
  switch (n) {
    case 2:
      return IsContinuation(p[1]);
    case 3:
      return IsContinuation(p[1]) && IsContinuation(p[2]);
    case 4:
      return IsContinuation(p[1]) && IsContinuation(p[2]) && IsContinuation(p[3]);
    default:
      for (unsigned i = 1; i < n; ++i) {
        if (!IsContinuation(p[i])) return false;
      }
      return true;
  }
}

// Writes the n-byte form of c: for n > 1 a lead byte of n high one bits, a zero and the top value
// bits, then six bits per byte. The common lengths are spelled out; the loop states the rule.
inline void WriteSequence(std::uint32_t c, unsigned n, unsigned char* out) {
  switch (n) {
    case 1:
      out[0] = static_cast<unsigned char>(c);
      return;
    case 2:
      out[0] = static_cast<unsigned char>(0xC0u | (c >> 6));
      out[1] = static_cast<unsigned char>(0x80u | (c & 0x3Fu));
      return;
    case 3:
      out[0] = static_cast<unsigned char>(0xE0u | (c >> 12));
      out[1] = static_cast<unsigned char>(0x80u | ((c >> 6) & 0x3Fu));
      out[2] = static_cast<unsigned char>(0x80u | (c & 0x3Fu));
      return;
    default:
      out[0] = static_cast<unsigned char>((0xFF00u >> n) | (c >> (6 * (n - 1))));
      for (unsigned k = 1; k < n; ++k) {
        out[k] = static_cast<unsigned char>(0x80u | ((c >> (6 * (n - 1 - k))) & 0x3Fu));
      }
  }
}

// The value of a checked sequence of n >= 2 bytes: the lead's value bits, then six bits a byte.
inline std::uint32_t SequenceValue(const unsigned char* p, unsigned n) {
  switch (n) {
    case 2:
      return (p[0] & 0x1Fu) << 6 | (p[1] & 0x3Fu);
    case 3:
      return (p[0] & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
    default: {
      std::uint32_t value = p[0] & kLeadMask[n];
      for (unsigned k = 1; k < n; ++k) value = (value << 6) | (p[k] & 0x3Fu);
      return value;
    }
  }
}

constexpr unsigned EncodedLength(std::uint32_t c) {
  return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : c < 0x200000 ? 4 : c < 0x4000000 ? 5 : 6;
}

}  // namespace

extern "C" std::size_t utf8_to_wchar(const char* src, std::size_t src_len, wchar_t* dst,
                                     std::size_t dst_cap, int flags) {
  if (src == nullptr || (dst != nullptr && dst_cap == 0)) return 0;
  const bool lenient = (flags & UTF8_SKIP_INVALID) != 0;
  const bool drop_bom = (flags & UTF8_DROP_BOM) != 0;

  const auto* p = reinterpret_cast<const unsigned char*>(src);
  // A zero src_len leaves the input unbounded: only its zero byte ends it.
  const unsigned char* const end = src_len != 0 ? p + src_len : nullptr;
  wchar_t* out = dst;
  wchar_t* const out_end = dst != nullptr ? dst + dst_cap : nullptr;
  std::size_t count = 0;

  while (end == nullptr || p < end) {
    const unsigned char b = *p;
    if (IsAsciiNonZero(b)) {
      // Bytes 01..7F decode to themselves in every mode. With a bounded input the whole run is
      // taken in blocks; a zero-terminated input is read byte by byte, never past its zero.
      std::size_t run;
      if (end != nullptr) {
        const std::size_t room =
            out != nullptr ? static_cast<std::size_t>(out_end - out) : SIZE_MAX;
        run = qor::internal::AsciiRunToWide(p, static_cast<std::size_t>(end - p), out, room);
        if (run == 0) return 0;  // no room left for this byte
      } else {
        if (out != nullptr) {
          if (out == out_end) return 0;
          *out = static_cast<wchar_t>(b);
        }
        run = 1;
      }
      p += run;
      count += run;
      if (out != nullptr) out += run;
      continue;
    }

    if (end != nullptr && b >= 0xC2 && b <= 0xDF) {
      // Text of one- and two-byte characters goes 16 bytes at a time while it lasts.
      bool advanced = false;
      std::size_t added = 0, used = 0;
      while (end - p >= 16 &&
             (used = qor::internal::TwoByteBlockToWide(
                  p, out, out != nullptr ? static_cast<std::size_t>(out_end - out) : SIZE_MAX,
                  added)) != 0) {
        p += used;
        count += added;
        if (out != nullptr) out += added;
        advanced = true;
      }
      if (advanced) continue;
    }
    if (!lenient && StrictlyRefused(b)) return 0;
    if (b == 0) return count;
    const unsigned n = kSequenceLengths.of[b];
    if (n == 0) {  // a continuation byte or FE/FF where a sequence should begin
      if (!lenient) return 0;
      ++p;
      continue;
    }
    // Cut short by the end of a bounded input, or a byte after the lead that is no continuation
    // byte. The bytes are examined in order and the examination stops at the first bad one, so a
    // zero byte ends it and nothing after a terminator is read.
    if ((end != nullptr && static_cast<std::size_t>(end - p) < n) || !ContinuationsFollow(p, n)) {
      if (!lenient) return 0;
      ++p;
      continue;
    }

    ++count;
    if (out == nullptr) {  // measuring: surrogates and U+FEFF are counted like any value
      p += n;
      continue;
    }
    if (out == out_end) return 0;
    const std::uint32_t value = SequenceValue(p, n);
    *out = static_cast<wchar_t>(value);
    if (IsSurrogate(value)) {
      if (!lenient) return 0;  // the value stays stored; the caller must not use the buffer
      --count;                 // withdrawn: the next value overwrites it
    } else if (value == 0xFEFF && drop_bom) {
      --count;
    } else {
      ++out;
    }
    p += n;
  }
  return count;
}

extern "C" std::size_t wchar_to_utf8(const wchar_t* src, std::size_t src_len, char* dst,
                                     std::size_t dst_cap, int flags) {
  if (src == nullptr || (dst != nullptr && dst_cap == 0)) return 0;
  const bool lenient = (flags & UTF8_SKIP_INVALID) != 0;
  const bool drop_bom = (flags & UTF8_DROP_BOM) != 0;

  const wchar_t* p = src;
  const wchar_t* const end = src_len != 0 ? src + src_len : nullptr;
  auto* out = reinterpret_cast<unsigned char*>(dst);
  unsigned char* const out_end = out != nullptr ? out + dst_cap : nullptr;
  std::size_t count = 0;

  while (end == nullptr || p < end) {
    const auto c = static_cast<std::uint32_t>(*p);
    if (c - 1u < 0x7Fu && end != nullptr) {
      // Elements 1..7F are one byte each in every mode; the run is taken in blocks.
      const std::size_t room = out != nullptr ? static_cast<std::size_t>(out_end - out) : SIZE_MAX;
      const std::size_t run =
          qor::internal::AsciiRunToNarrow(p, static_cast<std::size_t>(end - p), out, room);
      if (run == 0) return 0;  // no room left for this byte
      p += run;
      count += run;
      if (out != nullptr) out += run;
      continue;
    }
    ++p;
    if (c == 0) return count;
    if (IsSurrogate(c) || c >= 0x80000000u) {
      if (!lenient) return 0;
      continue;
    }
    if (c == 0xFEFF && drop_bom) continue;

    const unsigned n = EncodedLength(c);
    count += n;
    if (out == nullptr) continue;
    if (static_cast<std::size_t>(out_end - out) < n) return 0;
    WriteSequence(c, n, out);
    out += n;
  }
  return count;
}

std::wstring utf8_to_wchar(const std::string& text) {
  const std::size_t measured = utf8_to_wchar(text.data(), text.size(), nullptr, 0, 0);
  if (measured == 0) return std::wstring();
  std::wstring result(measured, L'\0');
  const std::size_t written = utf8_to_wchar(text.data(), text.size(), &result[0], measured, 0);
  if (written == 0) return std::wstring();
  return result;
}

std::string wchar_to_utf8(const std::wstring& text) {
  const std::size_t measured = wchar_to_utf8(text.data(), text.size(), nullptr, 0, 0);
  if (measured == 0) return std::string();
  std::string result(measured, '\0');
  const std::size_t written = wchar_to_utf8(text.data(), text.size(), &result[0], measured, 0);
  if (written == 0) return std::string();
  return result;
}
