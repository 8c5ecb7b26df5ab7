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
  // string_is_utf8_string's and string_utf8_find_invalid's whole answers for a text of any length,
  // each by the cheapest way this level has for its length, so that an exported function ends in
  // one call. What the kernel refuses goes on to IsUtf8Layout or FindInvalidAfter.
  bool (*is_utf8)(const unsigned char* p, std::size_t n);
  std::size_t (*find_invalid)(const unsigned char* p, std::size_t n, bool standard);
};

// The table of `isa`, or null when this build or this CPU lacks that level.
const ValidateKernels* ValidateKernelsFor(Isa isa);
// The table of the best level this CPU runs (the portable one when there is none), picked when
// the library is loaded and constant after: a call reads one pointer, with no call and no guard.
// A call made by another load-time constructor before ours has run finds it null and picks.
extern const ValidateKernels* const best_validate_kernels;
const ValidateKernels& PickValidateKernels();
inline const ValidateKernels& BestValidateKernels() {
  const ValidateKernels* best = best_validate_kernels;
  return best != nullptr ? *best : PickValidateKernels();
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

// Up to this length the exported functions first read a text by words of eight bytes, before they
// call a kernel: ASCII text needs no more, and below it the words cost less than the call.
constexpr std::size_t kShortAsciiText = 64;

// Whether p[0, n), n <= kShortAsciiText, is all ASCII: every word of eight bytes (the last one
// ending at the end; for fewer bytes, overlapping halves or single bytes) ORed into one test.
inline bool ShortIsAscii(const unsigned char* p, std::size_t n) {
  if (n >= 8) {
    std::uint64_t any, word;
    std::memcpy(&any, p + n - 8, 8);
    for (std::size_t i = 0; i + 8 < n; i += 8) {
      std::memcpy(&word, p + i, 8);
      any |= word;
    }
    return (any & 0x8080808080808080ull) == 0;
  }
  if (n >= 4) {
    std::uint32_t first, last;
    std::memcpy(&first, p, 4);
    std::memcpy(&last, p + n - 4, 4);
    return ((first | last) & 0x80808080u) == 0;
  }
  return n == 0 || (p[0] | p[n / 2] | p[n - 1]) < 0x80;
}

// Below this length a text is cheaper for the rule than for a kernel's blocks.
constexpr std::size_t kShortText = 16;

// The rule from p[0] on, as StandardPrefixFrom, for a short text: runs of ASCII are taken a word of
// eight bytes at a time. Out of line in the portable unit, so that every level calls the same copy.
std::size_t ShortStandardPrefix(const unsigned char* p, std::size_t n, bool& high);

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

using StandardPrefixFn = std::size_t (*)(const unsigned char* p, std::size_t n, bool& high);

// The rule's part of the whole answers, for a text a kernel refused; out of line in the portable
// units, so that every level calls the same copy. Whether p[0, n), which is not standard UTF-8, has
// the 31-bit layout string_is_utf8_string accepts:
bool IsUtf8Layout(const unsigned char* p, std::size_t n);
// The place of the first malformed sequence of p[0, n) under the standard or the codec's rules,
// p[0, valid) being well-formed standard UTF-8 that `prefix` (a standard_prefix) returned; npos
// when there is none.
std::size_t FindInvalidAfter(StandardPrefixFn prefix, const unsigned char* p, std::size_t n,
                             bool standard, std::size_t valid);

// string_utf8_find_invalid and string_is_utf8_string with the kernels of the caller's choice, so
// that tests run every level through the whole function. A null `decode` stands for the level's
// whole answer, as the exported function gives it; a table, for that table's layout test of a
// text the level's standard check refused.
std::size_t FindInvalidWith(const ValidateKernels& kernels, const unsigned char* p, std::size_t n,
                            bool standard);
bool IsUtf8TextWith(const ValidateKernels& validate, const DecodeKernels* decode,
                    const unsigned char* p, std::size_t n);

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_VALIDATE_KERNELS_H_
