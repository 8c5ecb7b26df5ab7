// Block kernels of the byte scans: byte sets, the single-pattern filter, replace's counts and
// backward search, and the UTF-16 room count. One table of functions per instruction-set level,
// each kernel equal to the scalar rule written once below. Private to the library; tests call every
// table the CPU runs.
#ifndef QORSTL_SRC_SEARCH_SCAN_KERNELS_H_
#define QORSTL_SRC_SEARCH_SCAN_KERNELS_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "cpu_features.h"
#include "find.h"

namespace qor {
namespace internal {

// Byte sets of at most this many members are compared byte by byte in vector registers; larger
// ones take the 256-bit map.
constexpr std::size_t kVectorMembers = 6;
// The block of the byte-set kernels; shorter texts stay with the caller's map.
constexpr std::size_t kSetBlock = 16;

// A block of a byte-set scan: bit i of `mask` is set when text[at + i] is a member.
struct ByteHits {
  std::size_t at;
  std::uint64_t mask;
};

struct ScanKernels {
  Isa isa;
  // From `pos`, whole blocks of kSetBlock bytes of text[0, size) while they fit: the first block
  // holding one of members[0, count) (1 <= count <= kVectorMembers), its start and the mask of its
  // members; or, when there is none, the first position not looked at and an empty mask. Null at
  // the portable level, whose sets keep to their map.
  ByteHits (*next_members)(const unsigned char* text, std::size_t pos, std::size_t size,
                           const unsigned char* members, std::size_t count);
  // First occurrence of p[0, m) in t[0, n) starting at or after `pos`, or kNotFound, where none
  // starts before `pos`; 2 <= m, pos <= n - m, and n >= 16. Linear time on any input.
  std::size_t (*find_from)(const unsigned char* t, std::size_t n, const unsigned char* p,
                           std::size_t m, std::size_t pos);
  // Occurrences of `c` in p[0, n).
  std::size_t (*count_byte)(const unsigned char* p, std::size_t n, unsigned char c);
  // Position of the last `c` in p[0, n), or kNotFound.
  std::size_t (*last_byte)(const unsigned char* p, std::size_t n, unsigned char c);
  // Room for decoding the UTF-8 of p[0, n): one element per byte that is not a continuation byte,
  // one more per lead F0..FF when `units` (a surrogate pair).
  std::size_t (*decoded_room)(const unsigned char* p, std::size_t n, bool units);
};

// The table of `isa`, or null when this build or this CPU lacks that level; a level without
// kernels of its own gets the nearest lower one's.
const ScanKernels* ScanKernelsFor(Isa isa);

// The table of the best level this CPU runs, chosen once on first use and read-only after.
inline const ScanKernels& BestScanKernels() {
  static const ScanKernels& best = *ScanKernelsFor(BestIsa());
  return best;
}

// The scalar rules the kernels hold to; they also take the bytes a kernel leaves. Each unit keeps
// its own copy (internal linkage), so that a kernel unit's copy, compiled for its instruction set,
// is never the one the rest of the library calls.
namespace {

inline std::size_t CountByteRule(const unsigned char* p, std::size_t n, unsigned char c) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < n; ++i) count += p[i] == c;
  return count;
}

inline std::size_t LastByteRule(const unsigned char* p, std::size_t n, unsigned char c) {
  while (n > 0) {
    if (p[--n] == c) return n;
  }
  return kNotFound;
}

inline std::size_t DecodedRoomRule(const unsigned char* p, std::size_t n, bool units) {
  std::size_t room = 0;
  for (std::size_t i = 0; i < n; ++i)
    room += static_cast<std::size_t>((p[i] & 0xC0) != 0x80) + (units && p[i] >= 0xF0 ? 1 : 0);
  return room;
}

// Whether a[0, len) equals b[0, len): short lengths in place, longer ones through memcmp.
inline bool SameBytes(const unsigned char* a, const unsigned char* b, std::size_t len) {
  if (len > 16) return std::memcmp(a, b, len) == 0;
  for (std::size_t i = 0; i < len; ++i)
    if (a[i] != b[i]) return false;
  return true;
}

}  // namespace

// The single-pattern rule from `pos` (the scalar table's find_from): memchr to each start where the
// pattern's first byte stands, the last byte and then the rest compared there; Two-Way from the
// point where near-matches have cost more than the work budget allows.
std::size_t MemchrScanFrom(const unsigned char* t, std::size_t n, const unsigned char* p,
                           std::size_t m, std::size_t pos);
// Two-Way search of p[0, m) in t[pos, n), for the kernels that meet too many near-matches; the
// answer is a position in t, or kNotFound.
std::size_t TwoWayFrom(const unsigned char* t, std::size_t n, const unsigned char* p, std::size_t m,
                       std::size_t pos);

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_SEARCH_SCAN_KERNELS_H_
