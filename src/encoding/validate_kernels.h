// Kernels that check a whole text of any length for standard UTF-8, one per instruction-set level,
// built for short texts: the last part of a text, and a text shorter than a block, are read as one
// block padded with zero bytes, so no byte loop runs on well-formed text. Private to the library.
#ifndef QORSTL_SRC_ENCODING_VALIDATE_KERNELS_H_
#define QORSTL_SRC_ENCODING_VALIDATE_KERNELS_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "cpu_features.h"
#include "encoding/decode_kernels.h"

namespace qor {
namespace internal {

struct ValidateKernels {
  Isa isa;
  // Length of a prefix of p[0, n) that is well-formed standard UTF-8 (as valid_prefix of the
  // decoding kernels: zero bytes allowed) ending where a sequence ends: n when the whole text is,
  // else a place at most one block and three bytes before the first malformed byte. When it
  // returns n, `high` tells whether the text holds a byte of 0x80 or above.
  std::size_t (*standard_prefix)(const unsigned char* p, std::size_t n, bool& high);
  // Whether standard_prefix reads a text shorter than its block in one masked load, so that it is
  // also the cheapest check of a short text: callers then skip their word-at-a-time short paths.
  bool short_texts;
};

// The table of `isa`, or null when this build or this CPU lacks that level.
const ValidateKernels* ValidateKernelsFor(Isa isa);
// The table of the best level this CPU runs; the portable one when there is none.
const ValidateKernels& PickValidateKernels();
// The same, picked once on first use and read-only after, read without a call.
inline const ValidateKernels& BestValidateKernels() {
  static const ValidateKernels& best = PickValidateKernels();
  return best;
}

// Length of the well-formed standard sequence at p (at most 4 bytes, no overlong form, no
// surrogate, nothing above 0x10FFFF), or 0 when the sequence there is malformed; `left` bytes are
// readable.
inline unsigned StandardSequence(const unsigned char* p, std::size_t left) {
  const unsigned char b = p[0];
  if (b < 0x80) return 1;
  if (b < 0xC2 || b > 0xF4) return 0;
  const unsigned n = utf8_check::LeadLength(b);
  if (left < n) return 0;
  for (unsigned k = 1; k < n; ++k) {
    if ((p[k] & 0xC0) != 0x80) return 0;
  }
  // The second byte's range is what rules out overlong forms, surrogates and values past 0x10FFFF.
  const unsigned char second = p[1];
  if (b == 0xE0 && second < 0xA0) return 0;
  if (b == 0xED && second > 0x9F) return 0;
  if (b == 0xF0 && second < 0x90) return 0;
  if (b == 0xF4 && second > 0x8F) return 0;
  return n;
}

// The rule from p[i] on, one sequence at a time: standard_prefix's answer for p[0, n) when p[0, i)
// is well-formed and `seen_high` tells whether it holds a byte of 0x80 or above.
inline std::size_t StandardPrefixFrom(const unsigned char* p, std::size_t i, std::size_t n,
                                      bool seen_high, bool& high) {
  for (; i < n;) {
    const unsigned length = StandardSequence(p + i, n - i);
    if (length == 0) return i;
    seen_high = seen_high || length > 1;
    i += length;
  }
  high = seen_high;
  return n;
}

// For a text shorter than 16 bytes, cheaper than a kernel's call: standard_prefix by the rule, the
// ASCII text found by two overlapping words when it has 8 bytes or more.
constexpr std::size_t kShortText = 16;
inline std::size_t ShortStandardPrefix(const unsigned char* p, std::size_t n, bool& high) {
  if (n >= 8) {
    std::uint64_t first, last;
    std::memcpy(&first, p, 8);
    std::memcpy(&last, p + n - 8, 8);
    if (((first | last) & 0x8080808080808080ull) == 0) {
      high = false;
      return n;
    }
  }
  return StandardPrefixFrom(p, 0, n, false, high);
}

// Up to this length an ASCII text is found by words of eight bytes, without a kernel's call:
// the callers' answer for ASCII text needs no more.
constexpr std::size_t kShortAsciiText = 64;

// Whether p[0, n), 8 <= n, is all ASCII: words of eight bytes, the last one ending at the end, the
// first word holding a high byte ending the test.
inline bool ShortAscii(const unsigned char* p, std::size_t n) {
  constexpr std::uint64_t kHigh = 0x8080808080808080ull;
  std::uint64_t word;
  for (std::size_t i = 0; i + 8 < n; i += 8) {
    std::memcpy(&word, p + i, 8);
    if ((word & kHigh) != 0) return false;
  }
  std::memcpy(&word, p + n - 8, 8);
  return (word & kHigh) == 0;
}

// Where a block that a kernel refused begins, moved back to the lead byte of a sequence that
// p[0, at) leaves open; p[0, at) is known to be well-formed up to that sequence.
inline std::size_t SequenceStartBefore(const unsigned char* p, std::size_t at) {
  for (std::size_t k = at; k != 0 && at - k < 3;) {
    const unsigned char b = p[--k];
    if (b >= 0xC0) return k + utf8_check::LeadLength(b) > at ? k : at;
    if (b < 0x80) break;
  }
  return at;
}

// string_utf8_find_invalid and string_is_utf8_string with the kernels of the caller's choice, so
// that tests run every level through the whole function. A null `decode` stands for the best
// table, fetched only for a text that is not standard UTF-8.
std::size_t FindInvalidWith(const ValidateKernels& kernels, const unsigned char* p, std::size_t n,
                            bool standard);
bool IsUtf8TextWith(const ValidateKernels& validate, const DecodeKernels* decode,
                    const unsigned char* p, std::size_t n);

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_VALIDATE_KERNELS_H_
