// The NEON level (aarch64, where NEON is baseline): 16-byte blocks checked by nibble lookups, ASCII
// blocks widened by one interleaving store, other well-formed blocks decoded whole: every byte
// takes the value bits of the bytes before it in its sequence, and a shuffle from a table gathers
// the values that end a sequence.
#include "encoding/decode_kernels.h"

#if defined(QORSTL_NEON_KERNELS) && defined(__aarch64__)
#include <arm_neon.h>

#include <cstring>

namespace qor {
namespace internal {
namespace {

using namespace utf8_check;

// Value bits of a byte by its high nibble: seven of ASCII, six of a continuation, and those a lead
// of two, three or four bytes carries.
constexpr std::uint8_t kValueMask[16] = {0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F,
                                         0x3F, 0x3F, 0x3F, 0x3F, 0x1F, 0x1F, 0x0F, 0x07};
// A block leaves a sequence open when it ends in a lead, in E0..FF one byte before, or in F0..FF
// two before (a checked block holds no FF elsewhere).
constexpr std::uint8_t kOpenFloor[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                         0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0, 0xE0, 0xC0};
constexpr std::uint8_t kBitOfLane[16] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
constexpr std::uint8_t kLane[8] = {0, 1, 2, 3, 4, 5, 6, 7};

// For each 8-bit mask of the sequence ends in one half of a block: the lanes of its set bits in
// order (of the low half, and of the high half, lanes 8..15), and how many there are.
struct EndGather {
  std::uint8_t lanes[2][256][8];
  std::uint8_t count[256];
  constexpr EndGather() : lanes(), count() {
    for (unsigned mask = 0; mask < 256; ++mask) {
      unsigned k = 0;
      for (unsigned bit = 0; bit < 8; ++bit) {
        if ((mask >> bit) & 1) {
          lanes[0][mask][k] = static_cast<std::uint8_t>(bit);
          lanes[1][mask][k] = static_cast<std::uint8_t>(bit + 8);
          ++k;
        }
      }
      count[mask] = static_cast<std::uint8_t>(k);
    }
  }
};
constexpr EndGather kEndGather;

struct Checker {
  uint8x16_t first_high = vld1q_u8(kByFirstHigh);
  uint8x16_t first_low = vld1q_u8(kByFirstLow);
  uint8x16_t second_high = vld1q_u8(kBySecondHigh);

  // Bytes of v that break a rule of standard UTF-8 after the block `prev` (nonzero lanes); a
  // sequence cut short by the end of v is not yet a fault.
  uint8x16_t Faults(uint8x16_t v, uint8x16_t high, uint8x16_t prev) const {
    const uint8x16_t prev1 = vextq_u8(prev, v, 15);
    const uint8x16_t prev2 = vextq_u8(prev, v, 14);
    const uint8x16_t prev3 = vextq_u8(prev, v, 13);
    const uint8x16_t pairs =
        vandq_u8(vandq_u8(vqtbl1q_u8(first_high, vshrq_n_u8(prev1, 4)),
                          vqtbl1q_u8(first_low, vandq_u8(prev1, vdupq_n_u8(0x0F)))),
                 vqtbl1q_u8(second_high, high));
    // Third bytes of E0..FF sequences and fourth bytes of F0..FF ones must be continuations.
    const uint8x16_t announced =
        vorrq_u8(vqsubq_u8(prev2, vdupq_n_u8(0x60)), vqsubq_u8(prev3, vdupq_n_u8(0x70)));
    return veorq_u8(pairs, vandq_u8(announced, vdupq_n_u8(0x80)));
  }
};

// Lanes of bytes 80..BF.
uint8x16_t Continuations(uint8x16_t v) {
  return vcltq_s8(vreinterpretq_s8_u8(v), vdupq_n_s8(-64));
}

bool Any(uint8x16_t v) {
  return vmaxvq_u8(v) != 0;
}

std::size_t NeonAsciiPrefix(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  for (; n - i >= 64; i += 64) {
    const uint8x16x4_t v = vld1q_u8_x4(p + i);
    const uint8x16_t any = vorrq_u8(vorrq_u8(v.val[0], v.val[1]), vorrq_u8(v.val[2], v.val[3]));
    if (vmaxvq_u8(any) >= 0x80) break;
  }
  for (; n - i >= 16; i += 16) {
    if (vmaxvq_u8(vld1q_u8(p + i)) >= 0x80) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// Where a prefix of checked blocks up to i ends: before a sequence that starts in the last three
// bytes and runs on past them.
std::size_t BeforeOpenSequence(const unsigned char* p, std::size_t i) {
  for (std::size_t back = 1; back <= 3 && back <= i; ++back) {
    const unsigned b = p[i - back];
    if (b >= 0xC0) return LeadLength(b) > back ? i - back : i;
    if (b < 0x80) break;
  }
  return i;
}

bool Ascii(const uint8x16x4_t& v) {
  return vmaxvq_u8(vorrq_u8(vorrq_u8(v.val[0], v.val[1]), vorrq_u8(v.val[2], v.val[3]))) < 0x80;
}

// 64 bytes a step: one test for ASCII, else four blocks checked and their faults tested at once.
// A block that ends in an open sequence is a fault when ASCII follows.
std::size_t NeonValidPrefix(const unsigned char* p, std::size_t n) {
  const Checker check;
  uint8x16_t prev = vdupq_n_u8(0);
  std::size_t i = 0;
  while (n - i >= 64) {
    if (Ascii(vld1q_u8_x4(p + i))) {
      i += 64;
      continue;
    }
    prev = vdupq_n_u8(0);  // what ASCII leaves
    do {
      const uint8x16x4_t v = vld1q_u8_x4(p + i);
      if (Ascii(v)) {
        if (Any(vcgeq_u8(prev, vld1q_u8(kOpenFloor)))) return BeforeOpenSequence(p, i);
        prev = vdupq_n_u8(0);
        i += 64;
        break;
      }
      const uint8x16_t faults =
          vorrq_u8(vorrq_u8(check.Faults(v.val[0], vshrq_n_u8(v.val[0], 4), prev),
                            check.Faults(v.val[1], vshrq_n_u8(v.val[1], 4), v.val[0])),
                   vorrq_u8(check.Faults(v.val[2], vshrq_n_u8(v.val[2], 4), v.val[1]),
                            check.Faults(v.val[3], vshrq_n_u8(v.val[3], 4), v.val[2])));
      if (Any(faults)) return BeforeOpenSequence(p, i);
      i += 64;
      prev = v.val[3];
    } while (n - i >= 64);
  }
  for (; n - i >= 16; i += 16) {
    const uint8x16_t v = vld1q_u8(p + i);
    if (Any(check.Faults(v, vshrq_n_u8(v, 4), prev))) break;
    prev = v;
  }
  return BeforeOpenSequence(p, i);
}

// Blocks of 16 bytes, each decoded once the block after it is checked: a sequence ends where no
// continuation follows. Runs of ASCII go 64 bytes a step. With `kFill`, elements are stored in
// windows of 16 where 16 fit, else through a buffer of our own.
template <bool kStopAtBom, bool kFill>
DecodeStep NeonDecodeWith(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                          unsigned options) {
  const Checker check;
  const uint8x16_t value_mask = vld1q_u8(kValueMask);
  const uint8x16_t bit_of_lane = vld1q_u8(kBitOfLane);
  const uint8x8_t lane = vld1_u8(kLane);
  const uint8x16_t zero = vdupq_n_u8(0);
  const uint8x16_t one = vdupq_n_u8(1);
  // Less one, zero bytes and FF (or F0..FF, for values up to 0xFFFF) reach this floor.
  const uint8x16_t refused_floor = vdupq_n_u8((options & kDecodeBmpOnly) != 0 ? 0xEF : 0xFE);
  auto* o = reinterpret_cast<unsigned char*>(out);  // stored as bytes, which may alias elements
  const std::size_t limit = kFill ? room : static_cast<std::size_t>(-1);
  const auto faults_of = [&](uint8x16_t v, uint8x16_t high, uint8x16_t before) {
    uint8x16_t faults =
        vorrq_u8(check.Faults(v, high, before), vcgeq_u8(vsubq_u8(v, one), refused_floor));
    if (kStopAtBom) {
      const uint8x16_t bom = vandq_u8(vandq_u8(vceqq_u8(vextq_u8(before, v, 14), vdupq_n_u8(0xEF)),
                                               vceqq_u8(vextq_u8(before, v, 15), vdupq_n_u8(0xBB))),
                                      vceqq_u8(v, vdupq_n_u8(0xBF)));
      faults = vorrq_u8(faults, bom);
    }
    return faults;
  };
  std::size_t i = 0;
  std::size_t w = 0;
  // The values that end in the block whose value bits and continuation lanes are `bits` and
  // `cont`, after the block of `prev_bits` and `prev_cont` and before one whose continuation lanes
  // are `next_cont`: a sequence ends where no continuation follows.
  struct Ends {
    uint8x16_t byte0, byte1, byte2;  // the 21-bit values that end in each lane, by byte
    unsigned low, high;              // where they end, in each half of the block
    std::size_t low_count, count;
  };
  const auto ends_of = [&](uint8x16_t prev_bits, uint8x16_t prev_cont, uint8x16_t bits,
                           uint8x16_t cont, uint8x16_t next_cont) {
    // Each byte's value bits; a continuation also takes those of the bytes before it, up to the
    // lead, each six bits further up.
    const uint8x16_t cont1 = vandq_u8(cont, vextq_u8(prev_cont, cont, 15));
    const uint8x16_t cont2 = vandq_u8(cont1, vextq_u8(prev_cont, cont, 14));
    const uint8x16_t up1 = vandq_u8(vextq_u8(prev_bits, bits, 15), cont);
    const uint8x16_t up2 = vandq_u8(vextq_u8(prev_bits, bits, 14), cont1);
    const uint8x16_t up3 = vandq_u8(vextq_u8(prev_bits, bits, 13), cont2);
    Ends e;
    e.byte0 = vorrq_u8(bits, vshlq_n_u8(up1, 6));
    e.byte1 = vsliq_n_u8(vshrq_n_u8(up1, 2), up2, 4);
    e.byte2 = vsliq_n_u8(vshrq_n_u8(up2, 4), up3, 2);
    const uint8x16_t ends = vbicq_u8(bit_of_lane, vextq_u8(cont, next_cont, 1));
    uint8x16_t masks = vpaddq_u8(ends, ends);
    masks = vpaddq_u8(masks, masks);
    masks = vpaddq_u8(masks, masks);
    const unsigned both = vgetq_lane_u16(vreinterpretq_u16_u8(masks), 0);
    e.low = both & 0xFF;
    e.high = both >> 8;
    e.low_count = kEndGather.count[e.low];
    e.count = e.low_count + kEndGather.count[e.high];
    return e;
  };
  const auto half = [](const Ends& e, uint8x8_t from) {
    return uint8x8x4_t{{vqtbl1_u8(e.byte0, from), vqtbl1_u8(e.byte1, from),
                        vqtbl1_u8(e.byte2, from), vdup_n_u8(0)}};
  };
  // Stores the values at w in two windows of eight, the low half's covered by the high half's;
  // past the values, the high half's window is left for later stores.
  const auto put_whole = [&](const Ends& e) {
    vst4_u8(o + 4 * w, half(e, vld1_u8(kEndGather.lanes[0][e.low])));
    vst4_u8(o + 4 * (w + e.low_count), half(e, vld1_u8(kEndGather.lanes[1][e.high])));
    w += e.count;
  };
  // As above, the high half's window keeping `old` (what was there before) past the values.
  const auto put_last = [&](const Ends& e, const uint8x8x4_t& old) {
    vst4_u8(o + 4 * w, half(e, vld1_u8(kEndGather.lanes[0][e.low])));
    const uint8x8x4_t fresh = half(e, vld1_u8(kEndGather.lanes[1][e.high]));
    const uint8x8_t is_fresh = vclt_u8(lane, vdup_n_u8(kEndGather.count[e.high]));
    vst4_u8(o + 4 * (w + e.low_count), (uint8x8x4_t{{vbsl_u8(is_fresh, fresh.val[0], old.val[0]),
                                                     vbsl_u8(is_fresh, fresh.val[1], old.val[1]),
                                                     vbsl_u8(is_fresh, fresh.val[2], old.val[2]),
                                                     vbic_u8(old.val[3], is_fresh)}}));
    w += e.count;
  };
  // Where fewer than 16 elements of room are left: through a buffer of our own, if they fit.
  const auto put_staged = [&](const Ends& e) {
    if (e.count > limit - w) return false;
    const uint8x16_t from =
        vcombine_u8(vld1_u8(kEndGather.lanes[0][e.low]), vld1_u8(kEndGather.lanes[1][e.high]));
    unsigned char staged[4 * 16];
    vst4q_u8(staged, (uint8x16x4_t{{vqtbl1q_u8(e.byte0, from), vqtbl1q_u8(e.byte1, from),
                                    vqtbl1q_u8(e.byte2, from), zero}}));
    std::memcpy(o + 4 * w, staged, 4 * e.low_count);
    std::memcpy(o + 4 * (w + e.low_count), staged + 4 * 8, 4 * (e.count - e.low_count));
    w += e.count;
    return true;
  };
  for (;;) {
    // ASCII, where no sequence is open.
    while (n - i >= 64 && limit - w >= 64) {
      const uint8x16x4_t v = vld1q_u8_x4(p + i);
      const uint8x16_t largest =
          vmaxq_u8(vmaxq_u8(vsubq_u8(v.val[0], one), vsubq_u8(v.val[1], one)),
                   vmaxq_u8(vsubq_u8(v.val[2], one), vsubq_u8(v.val[3], one)));
      if (vmaxvq_u8(largest) >= 0x7F) break;
      if (kFill) {
        for (unsigned k = 0; k < 4; ++k)
          vst4q_u8(o + 4 * (w + 16 * k), (uint8x16x4_t{{v.val[k], zero, zero, zero}}));
      }
      i += 64;
      w += 64;
    }
    if (n - i < 32) return {i, w};
    uint8x16_t cur = vld1q_u8(p + i);
    const uint8x16_t high = vshrq_n_u8(cur, 4);
    if (Any(faults_of(cur, high, zero))) return {i, w};
    uint8x16_t bits = vandq_u8(cur, vqtbl1q_u8(value_mask, high));
    uint8x16_t cont = Continuations(cur);
    uint8x16_t prev_bits = zero, prev_cont = zero;
    for (;;) {
      // Two blocks a step where both are checked; the first one's windows are then covered by
      // the second one's stores.
      if (n - i >= 48 && limit - w >= 32) {
        const uint8x16_t next = vld1q_u8(p + i + 16);
        const uint8x16_t next_high = vshrq_n_u8(next, 4);
        const uint8x16_t after = vld1q_u8(p + i + 32);
        const uint8x16_t after_high = vshrq_n_u8(after, 4);
        if (!Any(vorrq_u8(faults_of(next, next_high, cur), faults_of(after, after_high, next)))) {
          const uint8x16_t next_bits = vandq_u8(next, vqtbl1q_u8(value_mask, next_high));
          const uint8x16_t next_cont = Continuations(next);
          const uint8x16_t after_cont = Continuations(after);
          const Ends first = ends_of(prev_bits, prev_cont, bits, cont, next_cont);
          const Ends second = ends_of(bits, cont, next_bits, next_cont, after_cont);
          if (kFill) {
            // Loaded before either block lands on part of it.
            const uint8x8x4_t old = vld4_u8(o + 4 * (w + first.count + second.low_count));
            put_whole(first);
            put_last(second, old);
          } else {
            w += first.count + second.count;
          }
          i += 32;
          prev_bits = next_bits;
          prev_cont = next_cont;
          cur = after;
          cont = after_cont;
          bits = vandq_u8(cur, vqtbl1q_u8(value_mask, after_high));
          // An ASCII block closes every sequence before it: back to the ASCII steps.
          if (vmaxvq_u8(cur) < 0x80) break;
          continue;
        }
      }
      if (n - i < 32) return {BeforeOpenSequence(p, i), w};
      const uint8x16_t next = vld1q_u8(p + i + 16);
      const uint8x16_t next_high = vshrq_n_u8(next, 4);
      if (Any(faults_of(next, next_high, cur))) return {BeforeOpenSequence(p, i), w};
      const uint8x16_t next_cont = Continuations(next);
      const Ends e = ends_of(prev_bits, prev_cont, bits, cont, next_cont);
      if (!kFill) {
        w += e.count;
      } else if (limit - w >= 16) {
        put_last(e, vld4_u8(o + 4 * (w + e.low_count)));
      } else if (!put_staged(e)) {
        return {BeforeOpenSequence(p, i), w};
      }
      i += 16;
      prev_bits = bits;
      prev_cont = cont;
      cur = next;
      cont = next_cont;
      bits = vandq_u8(cur, vqtbl1q_u8(value_mask, next_high));
      if (vmaxvq_u8(cur) < 0x80) break;
    }
  }
}

DecodeStep NeonDecode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                      unsigned options) {
  if (out == nullptr) {
    return (options & kDecodeStopAtBom) != 0
               ? NeonDecodeWith<true, false>(p, n, out, room, options)
               : NeonDecodeWith<false, false>(p, n, out, room, options);
  }
  return (options & kDecodeStopAtBom) != 0 ? NeonDecodeWith<true, true>(p, n, out, room, options)
                                           : NeonDecodeWith<false, true>(p, n, out, room, options);
}

}  // namespace

extern const DecodeKernels kNeonDecodeKernels;
const DecodeKernels kNeonDecodeKernels = {Isa::kNeon,      16,         NeonAsciiPrefix,
                                          NeonValidPrefix, NeonDecode, DecodeTextGeneral};

}  // namespace internal
}  // namespace qor

#endif
