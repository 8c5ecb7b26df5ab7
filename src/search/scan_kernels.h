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
// The shortest text the byte-set kernels take (one vector block); shorter ones stay with the
// caller's map.
constexpr std::size_t kSetBlock = 16;
// The window of a byte-set kernel: the members of this many bytes are found at once.
constexpr std::size_t kSetWindow = 64;
// The most members a caller asks a byte-set kernel for in one call, and the room its positions
// need: a call stops after the window in which it has found as many as asked.
constexpr std::size_t kMostMembersWanted = 64;
constexpr std::size_t kMemberRoom = kMostMembersWanted - 1 + kSetWindow;

struct ScanKernels {
  Isa isa;
  // From *pos, windows of kSetWindow bytes of text[0, size), the last one cut by the end of the
  // text: writes the positions of the bytes that are among members[0, count) to found[], in order,
  // up to the end of the window in which their number reaches `wanted` or up to the end of the
  // text; returns their number, and sets *pos to where it stopped reading (size at the end).
  // Needs size >= kSetBlock, *pos <= size, 1 <= count <= kVectorMembers, 1 <= wanted <=
  // kMostMembersWanted, and room for kMemberRoom positions. A caller that may stop at the first
  // member asks for one, so that it reads no further than the window that holds it. Null at the
  // portable level, whose sets keep to their map.
  std::size_t (*next_members)(const unsigned char* text, std::size_t* pos, std::size_t size,
                              const unsigned char* members, std::size_t count, std::size_t wanted,
                              std::size_t* found);
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

// Appends at + i for each bit i of `mask` to found[count...]; returns the new count.
inline std::size_t AppendMembers(std::size_t* found, std::size_t count, std::size_t at,
                                 std::uint64_t mask) {
  for (; mask != 0; mask &= mask - 1)
    found[count++] = at + static_cast<std::size_t>(__builtin_ctzll(mask));
  return count;
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
