// The UTF-8 rules that every coder of the library shares: lead-byte classes and sequence lengths,
// the continuation and surrogate tests, reading and writing one sequence. Each coder adds only what
// is its own (strict or lenient handling, the standard limits or the 31-bit forms).
#ifndef QORSTL_SRC_ENCODING_UTF8_RULES_H_
#define QORSTL_SRC_ENCODING_UTF8_RULES_H_

#include <cstddef>
#include <cstdint>

namespace qor {
namespace internal {

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
inline constexpr SequenceLengths kSequenceLengths;

// Value bits that a lead byte of a sequence of n bytes contributes.
inline constexpr unsigned char kLeadMask[7] = {0, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};

constexpr bool IsContinuation(unsigned char b) {
  return (b & 0xC0) == 0x80;
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

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_UTF8_RULES_H_
