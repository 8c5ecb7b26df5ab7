// The 128-bit x86 level (SSSE3): 16-byte blocks checked by nibble lookups, one byte shuffle per
// table, four at a time; well-formed blocks decoded several sequences a step: where sequences end
// among the next 12 bytes picks a shuffle that puts six, four or three whole sequences in lanes,
// and a multiply-add joins each lane's bits.
#include "encoding/decode_kernels.h"
#include "simd.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(QORSTL_HAVE_SSE2) && \
    defined(__SSSE3__)
#include <tmmintrin.h>

#include <cstring>

#include "encoding/utf8_check_sse2.h"

namespace qor {
namespace internal {
namespace {

std::size_t Sse2AsciiPrefix(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  // 64 bytes a test while they are all ASCII, then 16 to find the block that is not.
  for (; n - i >= 64; i += 64) {
    const auto* v = reinterpret_cast<const __m128i*>(p + i);
    const __m128i any = _mm_or_si128(_mm_or_si128(_mm_loadu_si128(v), _mm_loadu_si128(v + 1)),
                                     _mm_or_si128(_mm_loadu_si128(v + 2), _mm_loadu_si128(v + 3)));
    if (_mm_movemask_epi8(any) != 0) break;
  }
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    if (_mm_movemask_epi8(v) != 0) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

using namespace utf8_check;
using sse2::AnyByte;
using sse2::Faults;
using sse2::Table;

// Whether the 16 bytes in v, after the 16 bytes in prev, break a rule of standard UTF-8.
bool Malformed(__m128i v, __m128i prev) {
  return AnyByte(Faults(v, prev));
}

// Bytes 80..BF, one bit per byte.
inline std::uint64_t Continuations(__m128i v) {
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmplt_epi8(v, _mm_set1_epi8(-64))));
}

// Blocks at a fixed stride, each checked after the one before; where a block fails, the prefix
// ends before the sequence that the block before left open.
std::size_t Sse2ValidPrefix(const unsigned char* p, std::size_t n) {
  __m128i prev = _mm_setzero_si128();
  std::size_t i = 0;
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    if (_mm_movemask_epi8(v) == 0) {
      if (sse2::OpenAtEnd(prev)) break;
      // Then the ASCII that follows, 64 bytes a test; the block before i stays in prev.
      const std::size_t run = i + 16;
      while (n - i >= 16 + 64) {
        const auto* next = reinterpret_cast<const __m128i*>(p + i + 16);
        const __m128i any =
            _mm_or_si128(_mm_or_si128(_mm_loadu_si128(next), _mm_loadu_si128(next + 1)),
                         _mm_or_si128(_mm_loadu_si128(next + 2), _mm_loadu_si128(next + 3)));
        if (_mm_movemask_epi8(any) != 0) break;
        i += 64;
      }
      if (i + 16 != run) {
        prev = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        continue;
      }
    } else if (Malformed(v, prev)) {
      break;
    }
    prev = v;
  }
  if (i == 0) return 0;
  // Where the last complete sequence of the last good block ends: its end, or the start of a
  // sequence that runs on past it.
  const unsigned char* last_block = p + i - 16;
  const auto starts = static_cast<std::uint32_t>(
      ~_mm_movemask_epi8(_mm_cmplt_epi8(prev, _mm_set1_epi8(-64))) & 0xFFFF);
  const unsigned last = 31 - static_cast<unsigned>(__builtin_clz(starts));
  const bool open = last_block[last] >= 0xC0 && last + LeadLength(last_block[last]) > 16;
  return i - 16 + (open ? last : 16);
}

// The kinds of step, each decoding a fixed number of sequences that the next 12 bytes hold whole:
// six of one or two bytes (values in 16-bit lanes), four of one to three bytes, or three of one to
// four (values in 32-bit lanes). A pattern numbers the sequence lengths of one step.
constexpr unsigned kTwoBytePatterns = 64;                           // 2^6
constexpr unsigned kThreeBytePatterns = 81;                         // 3^4
constexpr unsigned kFourBytePatterns = 64;                          // 4^3
constexpr unsigned kFirstThreeByte = kTwoBytePatterns;              // 64
constexpr unsigned kFirstFourByte = 64 + kThreeBytePatterns;        // 145
constexpr unsigned kPatterns = kFirstFourByte + kFourBytePatterns;  // 209
constexpr std::uint8_t kUnusable = 0xFF;  // bytes of a window no step fits

// By the places where sequences end among the next 12 bytes (bit k: a sequence ends at byte k),
// the step to take: its pattern and the bytes it reads. And by pattern, the shuffle that puts each
// sequence's bytes into its lane, last byte lowest.
struct Steps {
  std::uint16_t by_ends[4096];  // pattern << 8 | bytes
  alignas(16) std::uint8_t shuffle[kPatterns][16];
  constexpr Steps() : by_ends(), shuffle() {
    for (unsigned pattern = 0; pattern < kPatterns; ++pattern) {
      unsigned lengths[6] = {};
      unsigned count = 0;
      if (pattern < kFirstThreeByte) {
        for (; count < 6; ++count) lengths[count] = 1 + ((pattern >> count) & 1u);
      } else {
        const unsigned base = pattern < kFirstFourByte ? 3 : 4;
        unsigned digits = pattern - (base == 3 ? kFirstThreeByte : kFirstFourByte);
        for (; count < (base == 3 ? 4u : 3u); ++count, digits /= base)
          lengths[count] = 1 + digits % base;
      }
      const unsigned lane_bytes = pattern < kFirstThreeByte ? 2 : 4;
      for (unsigned b = 0; b < 16; ++b) shuffle[pattern][b] = 0x80;
      for (unsigned k = 0, at = 0; k < count; at += lengths[k++]) {
        for (unsigned j = 0; j < lengths[k]; ++j)
          shuffle[pattern][lane_bytes * k + j] = static_cast<std::uint8_t>(at + lengths[k] - 1 - j);
      }
    }
    for (unsigned ends = 0; ends < 4096; ++ends) {
      unsigned lengths[12] = {};
      unsigned count = 0;
      for (unsigned b = 0, start = 0; b < 12; ++b) {
        if ((ends >> b) & 1u) {
          lengths[count++] = b + 1 - start;
          start = b + 1;
        }
      }
      const auto longest = [&](unsigned first) {
        unsigned m = 0;
        for (unsigned k = 0; k < first; ++k) m = lengths[k] > m ? lengths[k] : m;
        return m;
      };
      unsigned pattern = 0, sequences = 0;
      if (count >= 6 && longest(6) <= 2) {
        sequences = 6;
        for (unsigned k = 0; k < 6; ++k) pattern |= (lengths[k] - 1) << k;
      } else if (count >= 4 && longest(4) <= 3) {
        sequences = 4;
        for (unsigned k = 4; k-- > 0;) pattern = pattern * 3 + lengths[k] - 1;
        pattern += kFirstThreeByte;
      } else if (count >= 3 && longest(3) <= 4) {
        sequences = 3;
        for (unsigned k = 3; k-- > 0;) pattern = pattern * 4 + lengths[k] - 1;
        pattern += kFirstFourByte;
      }
      unsigned bytes = 0;
      for (unsigned k = 0; k < sequences; ++k) bytes += lengths[k];
      by_ends[ends] =
          static_cast<std::uint16_t>(pattern << 8 | (sequences != 0 ? bytes : kUnusable));
    }
  }
};
constexpr Steps kSteps;

// Decodes the sequences that `bytes` (gathered by the pattern's shuffle) hold into out, writing
// exactly their StepElements. Lanes hold the last byte lowest: ASCII or continuation
// bytes keep their low 7 bits, the others only their value bits, and one multiply-add per lane
// width joins them six bits apart.
inline void DecodeStepValues(__m128i bytes, unsigned pattern, wchar_t* out) {
  if (pattern < kFirstThreeByte) {
    const __m128i units =
        _mm_maddubs_epi16(_mm_and_si128(bytes, _mm_set1_epi16(0x1F7F)), _mm_set1_epi16(0x4001));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm_unpacklo_epi16(units, _mm_setzero_si128()));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 4),
                     _mm_unpackhi_epi16(units, _mm_setzero_si128()));
    return;
  }
  if (pattern < kFirstFourByte) {
    const __m128i pairs = _mm_maddubs_epi16(_mm_and_si128(bytes, _mm_set1_epi32(0x000F3F7F)),
                                            _mm_set1_epi32(0x00014001));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm_madd_epi16(pairs, _mm_set1_epi32(0x10000001)));
    return;
  }
  // Byte 2 is a continuation or a three-byte lead; the lead's bit 6 clears its bit 5.
  const __m128i lead3 = _mm_and_si128(_mm_srli_epi32(bytes, 1), _mm_set1_epi32(0x00200000));
  const __m128i masked = _mm_xor_si128(_mm_and_si128(bytes, _mm_set1_epi32(0x073F3F7F)), lead3);
  const __m128i values = _mm_madd_epi16(_mm_maddubs_epi16(masked, _mm_set1_epi32(0x40014001)),
                                        _mm_set1_epi32(0x10000001));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), values);
  const int third = _mm_cvtsi128_si32(_mm_srli_si128(values, 8));
  std::memcpy(out + 2, &third, sizeof third);
}

// 16 ASCII bytes to their elements at out.
inline void WidenAscii(__m128i v, wchar_t* out) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i lo = _mm_unpacklo_epi8(v, zero);
  const __m128i hi = _mm_unpackhi_epi8(v, zero);
  auto* o = reinterpret_cast<__m128i*>(out);
  _mm_storeu_si128(o + 0, _mm_unpacklo_epi16(lo, zero));
  _mm_storeu_si128(o + 1, _mm_unpackhi_epi16(lo, zero));
  _mm_storeu_si128(o + 2, _mm_unpacklo_epi16(hi, zero));
  _mm_storeu_si128(o + 3, _mm_unpackhi_epi16(hi, zero));
}

// Bytes F0..FF, one bit per byte.
inline unsigned FourByteLeads(__m128i v) {
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(v, _mm_set1_epi8(char(0xF0))), v)));
}

// Where EF BB BF starts in the 64 bytes of v0..v3, one bit per byte (the 16 bytes of v repeated
// find those of one block). One that runs on past them is not a complete sequence of theirs.
inline std::uint64_t Boms(__m128i v0, __m128i v1, __m128i v2, __m128i v3) {
  const auto at = [&](unsigned char b) {
    const __m128i k = _mm_set1_epi8(static_cast<char>(b));
    const auto mask = [k](__m128i v) {
      return std::uint64_t{static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, k)))};
    };
    return mask(v0) | mask(v1) << 16 | mask(v2) << 32 | mask(v3) << 48;
  };
  return at(0xEF) & (at(0xBB) >> 1) & (at(0xBF) >> 2);
}

// Bytes that start a sequence (all but 80..BF), one bit per byte.
inline unsigned Starts(__m128i v) {
  return static_cast<unsigned>(~_mm_movemask_epi8(_mm_cmplt_epi8(v, _mm_set1_epi8(-64))) & 0xFFFF);
}

// Where the last complete sequence of a block of `size` bytes at p ends: `size`, or the start of
// the sequence that runs on past it; `starts` marks the bytes that start sequences.
template <class Mask>
inline unsigned BlockEnd(const unsigned char* p, Mask starts, unsigned size) {
  const unsigned last = sizeof(Mask) * 8 - 1 -
                        static_cast<unsigned>(sizeof(Mask) == 8 ? __builtin_clzll(starts)
                                                                : __builtin_clz(unsigned(starts)));
  return p[last] >= 0xC0 && last + LeadLength(p[last]) > size ? last : size;
}

// Elements a step of the pattern writes.
inline unsigned StepElements(unsigned pattern) {
  return pattern < kFirstThreeByte ? 6 : pattern < kFirstFourByte ? 4 : 3;
}

// One 16-byte block at p, starting a sequence: decoded by steps gathered from the block in
// its register, while out[w, room) has room for them. Returns the bytes settled (0 when the block
// is refused) and adds the elements written at out (counted only when out is null) to w.
inline unsigned Settle16(const unsigned char* p, wchar_t* out, std::size_t& w, std::size_t room,
                         unsigned options) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  if (_mm_movemask_epi8(_mm_cmpgt_epi8(v, _mm_setzero_si128())) == 0xFFFF &&
      room - w >= 16) {  // 01..7F only
    if (out != nullptr) WidenAscii(v, out + w);
    w += 16;
    return 16;
  }
  if (_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())) != 0) return 0;
  if (Malformed(v, _mm_setzero_si128())) return 0;  // read as if a sequence ended before it
  if ((options & kDecodeBmpOnly) != 0 && FourByteLeads(v) != 0) return 0;
  if ((options & kDecodeStopAtBom) != 0 && Boms(v, v, v, v) != 0) return 0;
  const unsigned starts = Starts(v);
  const unsigned end = BlockEnd(p, starts, 16);
  const unsigned ends = starts >> 1 | 0x8000;
  unsigned pos = 0;
  while (pos < end) {
    const unsigned step = kSteps.by_ends[(ends >> pos) & 0xFFF];
    const unsigned bytes = step & 0xFF, pattern = step >> 8;
    if (pos + bytes > end || room - w < StepElements(pattern)) break;
    if (out != nullptr) {
      // Shuffle indexes past the sequences' bytes are never used: 0x80 + pos still means zero.
      const __m128i order =
          _mm_add_epi8(Table(kSteps.shuffle[pattern]), _mm_set1_epi8(static_cast<char>(pos)));
      DecodeStepValues(_mm_shuffle_epi8(v, order), pattern, out + w);
    }
    w += StepElements(pattern);
    pos += bytes;
  }
  return pos;
}

// Four 16-byte blocks at p, starting a sequence, with 16 more bytes readable past them: each
// checked after the one before, then decoded by steps loaded from where each begins. Returns the
// bytes settled (0 when a block is refused), as Settle16.
inline unsigned Settle64(const unsigned char* p, wchar_t* out, std::size_t& w, std::size_t room,
                         unsigned options) {
  const auto* at = reinterpret_cast<const __m128i*>(p);
  const __m128i v0 = _mm_loadu_si128(at), v1 = _mm_loadu_si128(at + 1);
  const __m128i v2 = _mm_loadu_si128(at + 2), v3 = _mm_loadu_si128(at + 3);
  const __m128i any = _mm_or_si128(_mm_or_si128(v0, v1), _mm_or_si128(v2, v3));
  const __m128i least = _mm_min_epu8(_mm_min_epu8(v0, v1), _mm_min_epu8(v2, v3));
  if (_mm_movemask_epi8(_mm_cmpeq_epi8(least, _mm_setzero_si128())) != 0) return 0;
  if (_mm_movemask_epi8(any) == 0 && room - w >= 64) {
    if (out != nullptr) {
      WidenAscii(v0, out + w);
      WidenAscii(v1, out + w + 16);
      WidenAscii(v2, out + w + 32);
      WidenAscii(v3, out + w + 48);
    }
    w += 64;
    return 64;
  }
  if (AnyByte(_mm_or_si128(_mm_or_si128(Faults(v0, _mm_setzero_si128()), Faults(v1, v0)),
                           _mm_or_si128(Faults(v2, v1), Faults(v3, v2))))) {
    return 0;
  }
  if ((options & kDecodeBmpOnly) != 0 &&
      (FourByteLeads(v0) | FourByteLeads(v1) | FourByteLeads(v2) | FourByteLeads(v3)) != 0) {
    return 0;
  }
  if ((options & kDecodeStopAtBom) != 0 && Boms(v0, v1, v2, v3) != 0) return 0;
  const auto mask = [](__m128i v) {
    return static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(v)));
  };
  const std::uint64_t high = mask(v0) | mask(v1) << 16 | mask(v2) << 32 | mask(v3) << 48;
  const std::uint64_t starts = ~(Continuations(v0) | Continuations(v1) << 16 |
                                 Continuations(v2) << 32 | Continuations(v3) << 48);
  const unsigned end = BlockEnd(p, starts, 64);
  const std::uint64_t ends = starts >> 1 | std::uint64_t{1} << 63;
  unsigned pos = 0;
  while (pos < end) {
    if (((high >> pos) & 0xFFFF) == 0 && pos + 16 <= end && room - w >= 16) {
      if (out != nullptr)
        WidenAscii(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + pos)), out + w);
      w += 16;
      pos += 16;
      continue;
    }
    const unsigned step = kSteps.by_ends[(ends >> pos) & 0xFFF];
    const unsigned bytes = step & 0xFF, pattern = step >> 8;
    if (pos + bytes > end || room - w < StepElements(pattern)) break;
    if (out != nullptr) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + pos));
      DecodeStepValues(_mm_shuffle_epi8(v, Table(kSteps.shuffle[pattern])), pattern, out + w);
    }
    w += StepElements(pattern);
    pos += bytes;
  }
  return pos;
}

DecodeStep Sse2Decode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                      unsigned options) {
  std::size_t i = 0;
  std::size_t w = 0;
  // Four blocks at a time while they pass and their steps may load 16 bytes from their last
  // byte; a refused run of four is tried a block at a time before the kernel stops.
  if (out == nullptr) room = static_cast<std::size_t>(-1);
  while (n - i >= 16) {
    std::size_t settled = 0;
    if (n - i >= 80) settled = Settle64(p + i, out, w, room, options);
    if (settled == 0) settled = Settle16(p + i, out, w, room, options);
    if (settled == 0) break;
    i += settled;
  }
  return {i, w};
}

}  // namespace

extern const DecodeKernels kSse2DecodeKernels;
const DecodeKernels kSse2DecodeKernels = {Isa::kSse2,      19,         Sse2AsciiPrefix,
                                          Sse2ValidPrefix, Sse2Decode, DecodeTextGeneral};

}  // namespace internal
}  // namespace qor

#endif
