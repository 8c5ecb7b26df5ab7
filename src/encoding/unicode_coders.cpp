// The strict UTF-8 decoders behind the encoding names "utf-8" and "utf-8-16": kernels settle the
// blocks of plain text, the scalar rule everything else.
#include "encoding/unicode_coders.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "encoding/decode_kernels.h"
#include "encoding/utf8_rules.h"
#include "search/scan_kernels.h"

namespace qor {
namespace internal {
namespace {

constexpr std::uint32_t kMaxCode = 0x10FFFF;

// Whether the units at p start a run of at least two units 01..7F, worth a block conversion; a
// lone ASCII unit between others is cheaper for the scalar rule.
template <class Unit>
bool IsAsciiPair(const Unit* p, std::size_t avail) {
  return avail >= 2 && static_cast<std::uint32_t>(p[0]) - 1u < 0x7Fu &&
         static_cast<std::uint32_t>(p[1]) - 1u < 0x7Fu;
}

// Decodes the one well-formed sequence that starts at p, of which `avail` bytes are there.
// Returns its length and sets `code`, or returns 0 for a sequence that is malformed, overlong,
// cut short by the end, a surrogate or above 0x10FFFF. Reads no byte past a bad one.
inline unsigned DecodeSequence(const unsigned char* p, std::size_t avail, std::uint32_t& code) {
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

// UTF-8 to wide elements at out, which has room for `room` of them: code points, or UTF-16 code
// units when `kUnits`. The scalar DecodeSequence states the rule; the best kernel settles the
// blocks of plain standard UTF-8 first (without four-byte sequences when they become surrogate
// pairs). Returns the count, or npos when the text does not convert.
template <bool kUnits>
std::size_t DecodeInto(const unsigned char* p, std::size_t n, wchar_t* const out,
                       std::size_t room) {
  const DecodeKernels& kernels = BestDecodeKernels();
  std::size_t i = 0;
  // A text shorter than a block widens its leading ASCII a word at a time (zero bytes included:
  // they convert like any other).
  if (n < kernels.block) {
    for (; n - i >= 8; i += 8) {
      std::uint64_t word;
      std::memcpy(&word, p + i, sizeof word);
      if ((word & 0x8080808080808080ull) != 0) break;
      for (std::size_t k = 0; k < 8; ++k) out[i + k] = static_cast<wchar_t>(p[i + k]);
    }
  }
  std::size_t w = i;
  std::size_t rule_until = 0;
  while (i < n) {
    if (i >= rule_until && n - i >= kernels.block) {  // a kernel settles no shorter text
      const DecodeStep step =
          kernels.decode(p + i, n - i, out + w, room - w, kUnits ? kDecodeBmpOnly : 0);
      i += step.read;
      w += step.written;
      rule_until = i + kernels.block;
      if (i == n) break;
    }
    std::uint32_t code = 0;
    const unsigned len = DecodeSequence(p + i, n - i, code);
    if (len == 0) return static_cast<std::size_t>(-1);
    i += len;
    if (kUnits && code >= 0x10000) {
      out[w++] = static_cast<wchar_t>(0xD800u + ((code - 0x10000u) >> 10));
      out[w++] = static_cast<wchar_t>(0xDC00u + (code & 0x3FFu));
    } else {
      out[w++] = static_cast<wchar_t>(code);
    }
  }
  return w;
}

// A text of up to kOnePassUtf8Bytes bytes is decoded once into a buffer on the stack (one element
// a byte at most, a surrogate pair taking the four bytes of its sequence), and the result is
// allocated once at its size. A longer one is counted first, and decoded into the result.
template <bool kUnits>
bool DecodeUtf8(const std::string& text, std::wstring& out) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  constexpr std::size_t kFailed = static_cast<std::size_t>(-1);
  if (n <= kOnePassUtf8Bytes) {
    wchar_t buffer[kOnePassUtf8Bytes];
    const std::size_t written = DecodeInto<kUnits>(p, n, buffer, n);
    if (written == kFailed) return false;
    out.assign(buffer, written);
    return true;
  }
  const std::size_t room = BestScanKernels().decoded_room(p, n, kUnits);
  if (room == 0) return false;  // nothing but continuation bytes
  out.assign(room, L'\0');
  const std::size_t written = DecodeInto<kUnits>(p, n, &out[0], room);
  if (written == kFailed) return false;
  out.resize(written);
  return true;
}

}  // namespace

bool Utf8ToCodePoints(const std::string& text, std::wstring& out) {
  return DecodeUtf8<false>(text, out);
}

std::size_t ShortUtf8ToCodePoints(const std::string& text, wchar_t* out) {
  const std::size_t written = DecodeInto<false>(reinterpret_cast<const unsigned char*>(text.data()),
                                                text.size(), out, text.size());
  return written == static_cast<std::size_t>(-1) ? kNotConverted : written;
}

bool Utf8ToUtf16Units(const std::string& text, std::wstring& out) {
  return DecodeUtf8<true>(text, out);
}

}  // namespace internal
}  // namespace qor
