// The byte scans of the NEON level: sixteen bytes a step. NEON is part of the aarch64 baseline, so
// this unit needs no flags of its own.
#include <arm_neon.h>

#include "search/scan_kernels.h"

namespace qor {
namespace internal {
namespace {

// Whether any lane of a comparison's result is set: its bytes narrowed to four bits each.
inline bool Any(uint8x16_t v) {
  return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(v), 4)), 0) != 0;
}

// One bit per lane of a comparison's result, bit i for lane i.
inline unsigned Bits(uint8x16_t v) {
  static const uint8_t kWeights[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t weighted = vandq_u8(v, vld1q_u8(kWeights));
  return static_cast<unsigned>(vaddv_u8(vget_low_u8(weighted))) |
         static_cast<unsigned>(vaddv_u8(vget_high_u8(weighted))) << 8;
}

// One bit per lane of four comparison results, bit 16 * k + i for lane i of the k-th: the weighted
// lanes added in pairs down to eight bytes.
inline std::uint64_t Bits64(uint8x16_t h0, uint8x16_t h1, uint8x16_t h2, uint8x16_t h3) {
  static const uint8_t kWeights[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t weights = vld1q_u8(kWeights);
  const uint8x16_t low = vpaddq_u8(vandq_u8(h0, weights), vandq_u8(h1, weights));
  const uint8x16_t high = vpaddq_u8(vandq_u8(h2, weights), vandq_u8(h3, weights));
  const uint8x16_t quarter = vpaddq_u8(low, high);
  return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(quarter, quarter)), 0);
}

// The members among the 16 bytes at p, bit i for p[i].
inline std::uint64_t BlockMembers(const unsigned char* p, const uint8x16_t* set,
                                  std::size_t count) {
  const uint8x16_t block = vld1q_u8(p);
  uint8x16_t hits = vceqq_u8(block, set[0]);
  for (std::size_t i = 1; i < count; ++i) hits = vorrq_u8(hits, vceqq_u8(block, set[i]));
  return Bits(hits);
}

// Windows of four blocks; the last window, cut by the end of the text, in whole blocks and then one
// block that ends with the text, its bytes already seen shifted out.
std::size_t NextMembersNeon(const unsigned char* text, std::size_t* at, std::size_t size,
                            const unsigned char* members, std::size_t count, std::size_t wanted,
                            std::size_t* found) {
  uint8x16_t set[kVectorMembers];
  for (std::size_t i = 0; i < count; ++i) set[i] = vdupq_n_u8(members[i]);
  std::size_t pos = *at;
  std::size_t found_count = 0;
  for (; size - pos >= kSetWindow; pos += kSetWindow) {
    const uint8x16_t b0 = vld1q_u8(text + pos), b1 = vld1q_u8(text + pos + 16);
    const uint8x16_t b2 = vld1q_u8(text + pos + 32), b3 = vld1q_u8(text + pos + 48);
    uint8x16_t h0 = vceqq_u8(b0, set[0]), h1 = vceqq_u8(b1, set[0]);
    uint8x16_t h2 = vceqq_u8(b2, set[0]), h3 = vceqq_u8(b3, set[0]);
    for (std::size_t i = 1; i < count; ++i) {
      h0 = vorrq_u8(h0, vceqq_u8(b0, set[i]));
      h1 = vorrq_u8(h1, vceqq_u8(b1, set[i]));
      h2 = vorrq_u8(h2, vceqq_u8(b2, set[i]));
      h3 = vorrq_u8(h3, vceqq_u8(b3, set[i]));
    }
    if (!Any(vorrq_u8(vorrq_u8(h0, h1), vorrq_u8(h2, h3)))) continue;
    found_count = AppendMembers(found, found_count, pos, Bits64(h0, h1, h2, h3));
    if (found_count >= wanted) {
      *at = pos + kSetWindow;
      return found_count;
    }
  }
  if (pos < size) {
    std::uint64_t mask = 0;
    std::size_t offset = 0;
    for (; size - pos - offset >= 16; offset += 16)
      mask |= BlockMembers(text + pos + offset, set, count) << offset;
    const std::size_t rest = size - pos - offset;
    if (rest > 0) mask |= (BlockMembers(text + size - 16, set, count) >> (16 - rest)) << offset;
    found_count = AppendMembers(found, found_count, pos, mask);
  }
  *at = size;
  return found_count;
}

constexpr std::size_t kBlockStarts = 16;
constexpr unsigned kBlocksBeforeMemchr = 4;

// The scan of the 128-bit x86 kernel, in NEON.
std::size_t FindFromNeon(const unsigned char* t, std::size_t n, const unsigned char* p,
                         std::size_t m, std::size_t pos) {
  const std::size_t last_start = n - m;
  const uint8x16_t first = vdupq_n_u8(p[0]);
  if (last_start < kBlockStarts - 1) {
    auto candidates =
        Bits(vceqq_u8(vld1q_u8(t), first)) & ((2u << last_start) - 1) & (0xFFFFu << pos);
    for (; candidates != 0; candidates &= candidates - 1) {
      const auto at = static_cast<std::size_t>(__builtin_ctz(candidates));
      if (t[at + m - 1] == p[m - 1] && SameBytes(t + at + 1, p + 1, m - 2)) return at;
    }
    return kNotFound;
  }
  const uint8x16_t last = vdupq_n_u8(p[m - 1]);
  std::size_t work = 0;
  unsigned blocks_without_first = 0;
  while (pos <= last_start) {
    std::size_t at = pos;
    bool partial = false;
    if (last_start - pos < kBlockStarts - 1) {
      at = last_start - (kBlockStarts - 1);
      partial = true;
    }
    const uint8x16_t heads = vceqq_u8(vld1q_u8(t + at), first);
    const unsigned untried = partial ? (0xFFFFu << (pos - at)) & 0xFFFFu : 0xFFFFu;
    if (!Any(heads) || (partial && (Bits(heads) & untried) == 0)) {
      pos = at + kBlockStarts;
      if (++blocks_without_first < kBlocksBeforeMemchr || pos > last_start) continue;
      blocks_without_first = 0;
      const void* hit = std::memchr(t + pos, p[0], last_start - pos + 1);
      if (hit == nullptr) return kNotFound;
      pos = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - t);
      continue;
    }
    blocks_without_first = 0;
    const uint8x16_t both = vandq_u8(heads, vceqq_u8(vld1q_u8(t + at + m - 1), last));
    if (Any(both)) {
      for (unsigned candidates = untried & Bits(both); candidates != 0;
           candidates &= candidates - 1) {
        const auto offset = static_cast<std::size_t>(__builtin_ctz(candidates));
        if (SameBytes(t + at + offset + 1, p + 1, m - 2)) return at + offset;
        work += m + kCandidateCost;
      }
    }
    pos = at + kBlockStarts;
    if (pos <= last_start && OverWorkBudget(work, pos)) return TwoWayFrom(t, n, p, m, pos);
  }
  return kNotFound;
}

std::size_t CountByteNeon(const unsigned char* p, std::size_t n, unsigned char c) {
  const uint8x16_t needle = vdupq_n_u8(c);
  std::size_t count = 0;
  std::size_t i = 0;
  while (n - i >= 16) {
    // Per-lane counters, summed before any lane can pass 255.
    const std::size_t blocks = (n - i) / 16 < 255 ? (n - i) / 16 : 255;
    uint8x16_t counts = vdupq_n_u8(0);
    for (std::size_t b = 0; b < blocks; ++b, i += 16)
      counts = vsubq_u8(counts, vceqq_u8(vld1q_u8(p + i), needle));
    count += vaddlvq_u8(counts);
  }
  return count + CountByteRule(p + i, n - i, c);
}

std::size_t LastByteNeon(const unsigned char* p, std::size_t n, unsigned char c) {
  const uint8x16_t needle = vdupq_n_u8(c);
  for (; n >= 16; n -= 16) {
    const uint8x16_t hits = vceqq_u8(vld1q_u8(p + n - 16), needle);
    if (Any(hits)) return n - 16 + static_cast<std::size_t>(31 - __builtin_clz(Bits(hits)));
  }
  return LastByteRule(p, n, c);
}

std::size_t DecodedRoomNeon(const unsigned char* p, std::size_t n, bool units) {
  // As signed bytes, continuation bytes are -128..-65; the leads F0..FF are F0 and above unsigned.
  const int8x16_t continuation_ceiling = vdupq_n_s8(-65);
  const uint8x16_t long_lead_floor = vdupq_n_u8(0xF0);
  std::size_t room = 0;
  std::size_t i = 0;
  while (n - i >= 16) {
    // Per-lane counters (at most two a block), summed before any lane can pass 255.
    const std::size_t blocks = (n - i) / 16 < 127 ? (n - i) / 16 : 127;
    uint8x16_t counts = vdupq_n_u8(0);
    for (std::size_t b = 0; b < blocks; ++b, i += 16) {
      const uint8x16_t v = vld1q_u8(p + i);
      counts = vsubq_u8(counts, vcgtq_s8(vreinterpretq_s8_u8(v), continuation_ceiling));
      if (units) counts = vsubq_u8(counts, vcgeq_u8(v, long_lead_floor));
    }
    room += vaddlvq_u8(counts);
  }
  return room + DecodedRoomRule(p + i, n - i, units);
}

}  // namespace

extern const ScanKernels kScanNeon;
const ScanKernels kScanNeon = {Isa::kNeon,    NextMembersNeon, FindFromNeon,
                               CountByteNeon, LastByteNeon,    DecodedRoomNeon};

}  // namespace internal
}  // namespace qor
