// Block kernels that read UTF-8: one table of functions per instruction-set level, each settling
// only what is plain well-formed standard UTF-8 and leaving every other byte to the scalar rules of
// the caller. Private to the library; tests call every table the CPU runs.
#ifndef QORSTL_SRC_ENCODING_DECODE_KERNELS_H_
#define QORSTL_SRC_ENCODING_DECODE_KERNELS_H_

#include <cstddef>
#include <cstdint>

#include "cpu_features.h"

namespace qor {
namespace internal {

static_assert(sizeof(wchar_t) == 4, "a wide character holds one 32-bit value");

// What a decoding kernel settled: `read` bytes of input became `written` elements.
struct DecodeStep {
  std::size_t read;
  std::size_t written;
};

// Options of a decoding kernel: leave every block that holds EF BB BF (U+FEFF) to the caller, or
// every block that holds a four-byte sequence (a value above 0xFFFF).
constexpr unsigned kDecodeStopAtBom = 1;
constexpr unsigned kDecodeBmpOnly = 2;

struct DecodeKernels {
  Isa isa;
  // The block the kernel works in: inputs shorter than this go to the caller's rule without a
  // call, and where a kernel stops, callers leave at least this many bytes to their rule before
  // they try it again, so that a block it refuses is not examined over and over.
  std::size_t block;
  // Index of the first byte of 0x80 or above in p[0, n), or n.
  std::size_t (*ascii_prefix)(const unsigned char* p, std::size_t n);
  // Length of a prefix of p[0, n) that is well-formed standard UTF-8 (no overlong form, surrogate,
  // value above 0x10FFFF, stray or missing continuation byte) ending where a sequence ends. It may
  // be shorter than the longest such prefix: kernels settle whole blocks.
  std::size_t (*valid_prefix)(const unsigned char* p, std::size_t n);
  // Decodes a prefix of p[0, n) that valid_prefix would accept and that holds no zero byte, one
  // element per sequence, into out[0, written) (only counting when `out` is null). Writes nothing
  // else and never more than `room` elements: it stops before a block that does not fit.
  DecodeStep (*decode)(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                       unsigned options);
  // utf8_to_wchar with this table (`k` is the table itself): the level's own quick path for the
  // texts it suits, DecodeTextGeneral for every other.
  std::size_t (*decode_text)(const DecodeKernels& k, const char* src, std::size_t src_len,
                             wchar_t* dst, std::size_t dst_cap, int flags);
};

// utf8_to_wchar with the table k, for any text.
std::size_t DecodeTextGeneral(const DecodeKernels& k, const char* src, std::size_t src_len,
                              wchar_t* dst, std::size_t dst_cap, int flags);
// The same after a first call of k.decode on the text (dst_cap as its room) settled `first`, not
// the whole text; src is not null and dst_cap not 0 when dst is not null. Out of line, so that the
// common calls -- short ASCII, and a text the kernel settles whole -- save no registers for it.
std::size_t DecodeTextAfter(const DecodeKernels& k, const unsigned char* p, std::size_t src_len,
                            wchar_t* dst, std::size_t dst_cap, int flags, DecodeStep first);

// The table of `isa`, or null when this build or this CPU lacks that level.
const DecodeKernels* DecodeKernelsFor(Isa isa);
// The table of the best level this CPU runs (the portable one when there is none), picked when
// the library is loaded and constant after: a call reads one pointer, with no call and no guard.
// A call made by another load-time constructor before ours has run finds it null and picks.
extern const DecodeKernels* const best_decode_kernels;
const DecodeKernels& PickDecodeKernels();
inline const DecodeKernels& BestDecodeKernels() {
  const DecodeKernels* best = best_decode_kernels;
  return best != nullptr ? *best : PickDecodeKernels();
}

// The readers of UTF-8 with a table of the caller's choice, so that tests can run each level
// through the whole function: utf8_to_wchar, and the layout test of string_is_utf8_string.
inline std::size_t Utf8ToWcharWith(const DecodeKernels& kernels, const char* src,
                                   std::size_t src_len, wchar_t* dst, std::size_t dst_cap,
                                   int flags) {
  return kernels.decode_text(kernels, src, src_len, dst, dst_cap, flags);
}
bool IsUtf8StringWith(const DecodeKernels& kernels, const unsigned char* p, std::size_t n);

// The nibble tables of the block validators. A pair of adjacent bytes is malformed when the three
// lookups -- by the high and the low nibble of the first byte and by the high nibble of the second
// -- share a bit. Bit 7 marks a continuation after a continuation, which is right exactly where
// the byte two or three back announced a three- or four-byte sequence; the validators compare it
// with that instead.
namespace utf8_check {
constexpr std::uint8_t kTooShort = 1 << 0;   // lead, then no continuation
constexpr std::uint8_t kTooLong = 1 << 1;    // ASCII, then a continuation
constexpr std::uint8_t kOverlong3 = 1 << 2;  // E0, then 80..9F
constexpr std::uint8_t kTooLarge = 1 << 3;   // F4, then 90..BF; F5..FF, then 90..BF
constexpr std::uint8_t kSurrogate = 1 << 4;  // ED, then A0..BF
constexpr std::uint8_t kOverlong2 = 1 << 5;  // C0 or C1, then a continuation
constexpr std::uint8_t kF0OrAbove = 1 << 6;  // F0 (overlong) or F5..FF (too large), then 80..8F
constexpr std::uint8_t kTwoContinuations = 1 << 7;
constexpr std::uint8_t kAnyFirst = kTooShort | kTooLong | kTwoContinuations;

constexpr std::uint8_t kByFirstHigh[16] = {kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTooLong,
                                           kTwoContinuations,
                                           kTwoContinuations,
                                           kTwoContinuations,
                                           kTwoContinuations,
                                           kTooShort | kOverlong2,
                                           kTooShort,
                                           kTooShort | kOverlong3 | kSurrogate,
                                           kTooShort | kTooLarge | kF0OrAbove};
constexpr std::uint8_t kByFirstLow[16] = {kAnyFirst | kOverlong2 | kOverlong3 | kF0OrAbove,
                                          kAnyFirst | kOverlong2,
                                          kAnyFirst,
                                          kAnyFirst,
                                          kAnyFirst | kTooLarge,
                                          kAnyFirst | kTooLarge | kF0OrAbove,
                                          kAnyFirst | kTooLarge | kF0OrAbove,
                                          kAnyFirst | kTooLarge | kF0OrAbove,
                                          kAnyFirst | kTooLarge | kF0OrAbove,
                                          kAnyFirst | kTooLarge | kF0OrAbove,
                                          kAnyFirst | kTooLarge | kF0OrAbove,
                                          kAnyFirst | kTooLarge | kF0OrAbove,
                                          kAnyFirst | kTooLarge | kF0OrAbove,
                                          kAnyFirst | kTooLarge | kF0OrAbove | kSurrogate,
                                          kAnyFirst | kTooLarge | kF0OrAbove,
                                          kAnyFirst | kTooLarge | kF0OrAbove};
constexpr std::uint8_t kBySecondHigh[16] = {
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooLong | kTwoContinuations | kOverlong2 | kOverlong3 | kF0OrAbove,
    kTooLong | kTwoContinuations | kOverlong2 | kOverlong3 | kTooLarge,
    kTooLong | kTwoContinuations | kOverlong2 | kSurrogate | kTooLarge,
    kTooLong | kTwoContinuations | kOverlong2 | kSurrogate | kTooLarge,
    kTooShort,
    kTooShort,
    kTooShort,
    kTooShort};

// Length of the standard sequence a byte of 0xC0 or above starts, by its high nibble; F8..FF count
// as four so that the pair checks of the next block refuse them.
constexpr unsigned LeadLength(unsigned b) {
  return b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
}
}  // namespace utf8_check

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_DECODE_KERNELS_H_
