// Kernels that write UTF-8 from 32-bit elements, one table per instruction-set level, and the
// coders built on them. A kernel settles only runs of plain elements (one rule below); every other
// element goes back to the caller's scalar rule, so each coder keeps its own handling of zero,
// surrogates, large values and U+FEFF. Private to the library.
#ifndef QORSTL_SRC_ENCODING_ENCODE_KERNELS_H_
#define QORSTL_SRC_ENCODING_ENCODE_KERNELS_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "cpu_features.h"
#include "encoding/utf8_rules.h"

namespace qor {
namespace internal {

// Which elements a kernel may settle: values 1..`max`, except those whose top 21 bits equal
// `surrogate_tag` (0xD800 leaves out the surrogates; kNoTag keeps them) and except `excluded`
// (0xFEFF when BOMs are dropped; 0 excludes nothing more). `max` is at most 0xFFFF or 0x10FFFF,
// so a plain element has a UTF-8 form of one to four bytes.
struct PlainRule {
  std::uint32_t max;
  std::uint32_t surrogate_tag;
  std::uint32_t excluded;
};
inline constexpr std::uint32_t kNoTag = 1;  // no value masked with 0xFFFFF800 equals it

constexpr bool IsPlain(std::uint32_t c, const PlainRule& rule) {
  return c - 1u < rule.max && (c & 0xFFFFF800u) != rule.surrogate_tag && c != rule.excluded;
}

struct EncodeKernels {
  Isa isa;
  // Byte count of the UTF-8 forms of the longest plain prefix of p[0, n); sets `used` to the
  // prefix's length.
  std::size_t (*measure)(const wchar_t* p, std::size_t n, const PlainRule& rule, std::size_t& used);
  // Writes the UTF-8 forms of the longest plain prefix of p[0, n) whose forms fit whole in
  // out[0, room); returns the elements used and sets `written`. No byte at or past
  // out + written is changed.
  std::size_t (*encode)(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                        const PlainRule& rule, std::size_t& written);
  // Length of the leading run of p[0, n) that is one UTF-16 unit each (0..0xFFFF, no surrogate);
  // the units are also written big-endian at out unless it is null.
  std::size_t (*to_utf16be)(const wchar_t* p, std::size_t n, unsigned char* out);
  // Length of the leading run of the n big-endian units at p that are no surrogates; they are
  // written as elements at out.
  std::size_t (*from_utf16be)(const unsigned char* p, std::size_t n, wchar_t* out);
};

// The table of `isa`, or null when this build or this CPU lacks that level.
const EncodeKernels* EncodeKernelsFor(Isa isa);
// The table of the best level this CPU runs (the portable one when there is none), picked when
// the library is loaded and constant after: a call reads one pointer, with no call and no guard.
// A call made by another load-time constructor before ours has run finds it null and picks.
extern const EncodeKernels* const best_encode_kernels;
const EncodeKernels& PickEncodeKernels();
inline const EncodeKernels& BestEncodeKernels() {
  const EncodeKernels* best = best_encode_kernels;
  return best != nullptr ? *best : PickEncodeKernels();
}

// The scalar rule for plain runs, which every kernel also uses for what its blocks leave.
inline std::size_t MeasurePlainScalar(const wchar_t* p, std::size_t n, const PlainRule& rule,
                                      std::size_t& used) {
  std::size_t bytes = 0;
  std::size_t i = 0;
  for (; i < n; ++i) {
    const auto c = static_cast<std::uint32_t>(p[i]);
    if (!IsPlain(c, rule)) break;
    bytes += EncodedLength(c);
  }
  used = i;
  return bytes;
}

inline std::size_t EncodePlainScalar(const wchar_t* p, std::size_t n, unsigned char* out,
                                     std::size_t room, const PlainRule& rule,
                                     std::size_t& written) {
  std::size_t w = 0;
  std::size_t i = 0;
  for (; i < n; ++i) {
    const auto c = static_cast<std::uint32_t>(p[i]);
    if (!IsPlain(c, rule)) break;
    const unsigned len = EncodedLength(c);
    if (room - w < len) break;
    WriteSequence(c, len, out + w);
    w += len;
  }
  written = w;
  return i;
}

inline std::size_t ToUtf16BeScalar(const wchar_t* p, std::size_t n, unsigned char* out) {
  std::size_t i = 0;
  for (; i < n; ++i) {
    const auto c = static_cast<std::uint32_t>(p[i]);
    if (c > 0xFFFF || IsSurrogate(c)) break;
    if (out != nullptr) {
      out[2 * i] = static_cast<unsigned char>(c >> 8);
      out[2 * i + 1] = static_cast<unsigned char>(c & 0xFF);
    }
  }
  return i;
}

inline std::size_t FromUtf16BeScalar(const unsigned char* p, std::size_t n, wchar_t* out) {
  std::size_t i = 0;
  for (; i < n; ++i) {
    const std::uint32_t unit = (std::uint32_t{p[2 * i]} << 8) | p[2 * i + 1];
    if (IsSurrogate(unit)) break;
    out[i] = static_cast<wchar_t>(unit);
  }
  return i;
}

// The coders, each with the kernels it runs on; the public functions pass the best table.
// `wchar_to_utf8` on caller buffers.
std::size_t WideToUtf8With(const EncodeKernels& kernels, const wchar_t* src, std::size_t src_len,
                           char* dst, std::size_t dst_cap, int flags);
// The `std::wstring` overload of `wchar_to_utf8`.
std::string WideStringToUtf8With(const EncodeKernels& kernels, const std::wstring& text);
// "utf-8": code points to UTF-8, false for a surrogate or a value above 0x10FFFF.
bool CodePointsToUtf8With(const EncodeKernels& kernels, const std::wstring& text, std::string& out);
// "utf-8-16": UTF-16 code units to UTF-8, false for an unpaired surrogate or a value above
// 0x10FFFF.
bool Utf16UnitsToUtf8With(const EncodeKernels& kernels, const std::wstring& text, std::string& out);
// "utf-16": code points to big-endian UTF-16 bytes and back, false for a surrogate code point, a
// value above 0x10FFFF, an unpaired surrogate unit or an odd byte count.
bool CodePointsToUtf16BeWith(const EncodeKernels& kernels, const std::wstring& text,
                             std::string& out);
bool Utf16BeToCodePointsWith(const EncodeKernels& kernels, const std::string& text,
                             std::wstring& out);
// `to_utf8`: one to three bytes per element, "?" above 0xFFFF; never fails.
std::string BmpUnitsToUtf8With(const EncodeKernels& kernels, const std::wstring& text);
std::string BmpUnitsToUtf8(const std::wstring& text);

// The bytes one lane of a vector keeps: `count` of them from its byte `first`.
struct LaneBytes {
  unsigned first;
  unsigned count;
};

// For 16 bytes in `kLanes` equal lanes, each holding an element's form, and an index that tells
// every lane's length (read by `kKept`): the shuffle that packs the bytes each lane keeps together
// from byte 0, zeros after them, and how many they are. Shared by the 128-bit and AVX2 encoders.
template <unsigned kLanes, LaneBytes (*kKept)(unsigned index, unsigned lane)>
struct PackTable {
  alignas(16) unsigned char shuffle[256][16];
  unsigned char length[256];
  constexpr PackTable() : shuffle(), length() {
    for (unsigned index = 0; index < 256; ++index) {
      unsigned pos = 0;
      for (unsigned lane = 0; lane < kLanes; ++lane) {
        const LaneBytes kept = kKept(index, lane);
        for (unsigned b = 0; b < kept.count; ++b)
          shuffle[index][pos++] = static_cast<unsigned char>(16 / kLanes * lane + kept.first + b);
      }
      length[index] = static_cast<unsigned char>(pos);
      for (; pos < 16; ++pos) shuffle[index][pos] = 0x80;
    }
  }
};

// Four 32-bit lanes, each an element's one- to four-byte form from byte 0; two index bits a lane
// (lane 0 lowest): the extra bytes.
constexpr LaneBytes FormBytes(unsigned index, unsigned lane) {
  return {0, ((index >> (2 * lane)) & 3u) + 1};
}
using FormPack = PackTable<4, FormBytes>;

// Four 32-bit lanes, each an element below 10000 as its three-byte form in bytes 0..2 (the two-byte
// lead in byte 1 where the element is below 800) and the element's low byte in byte 3; two index
// bits a lane (lane 0 lowest), the low one set above 7F, the high one above 7FF.
constexpr LaneBytes UnitBytes(unsigned index, unsigned lane) {
  const unsigned bits = (index >> (2 * lane)) & 3u;
  return bits == 0 ? LaneBytes{3, 1} : bits == 1 ? LaneBytes{1, 2} : LaneBytes{0, 3};
}
using UnitPack = PackTable<4, UnitBytes>;

// Eight 16-bit lanes, each an element below 800 as its one- or two-byte form from byte 0; one
// index bit a lane (lane 0 lowest), set for two bytes.
constexpr LaneBytes ShortBytes(unsigned index, unsigned lane) {
  return {0, ((index >> lane) & 1u) + 1};
}
using ShortPack = PackTable<8, ShortBytes>;
}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_ENCODING_ENCODE_KERNELS_H_
