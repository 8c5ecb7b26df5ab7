// The NEON level of the UTF-8 writers (aarch64, where NEON is baseline): 16 elements at a time,
// narrowed whole when they are ASCII, as one- and two-byte forms in 16-bit lanes when they are
// below 0x800, else as forms of one to four bytes in 32-bit lanes; a shuffle from a table keyed
// by the lengths packs the forms together.
#include "encoding/encode_kernels.h"

#if defined(QORSTL_NEON_KERNELS) && defined(__aarch64__)
#include <arm_neon.h>

namespace qor {
namespace internal {
namespace {

// Eight 16-bit lanes, each a byte (ASCII) or a two-byte form (lead first): for each 8-bit mask of
// the two-byte lanes, the bytes to keep in order and how many.
struct TwoByteGather {
  std::uint8_t bytes[256][16];
  std::uint8_t length[256];
  constexpr TwoByteGather() : bytes(), length() {
    for (unsigned mask = 0; mask < 256; ++mask) {
      unsigned k = 0;
      for (unsigned lane = 0; lane < 8; ++lane) {
        bytes[mask][k++] = static_cast<std::uint8_t>(2 * lane);
        if ((mask >> lane) & 1) bytes[mask][k++] = static_cast<std::uint8_t>(2 * lane + 1);
      }
      length[mask] = static_cast<std::uint8_t>(k);
    }
  }
};
constexpr TwoByteGather kTwoByteGather;

// Four 32-bit lanes, each a form of L bytes with its lead in byte L - 1 and its last byte in byte
// 0: for each key of the four lengths less one (two bits a lane), the bytes in order and how many.
struct FormGather {
  std::uint8_t bytes[256][16];
  std::uint8_t length[256];
  constexpr FormGather() : bytes(), length() {
    for (unsigned key = 0; key < 256; ++key) {
      unsigned k = 0;
      for (unsigned lane = 0; lane < 4; ++lane) {
        const unsigned form = ((key >> (2 * lane)) & 3) + 1;
        for (unsigned b = form; b-- > 0;) bytes[key][k++] = static_cast<std::uint8_t>(4 * lane + b);
      }
      length[key] = static_cast<std::uint8_t>(k);
    }
  }
};
constexpr FormGather kFormGather;

constexpr std::uint8_t kByteLane[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr std::uint8_t kBitOfLane[8] = {1, 2, 4, 8, 16, 32, 64, 128};
constexpr std::uint32_t kKeyWeight[4] = {1, 4, 16, 64};

// Sixteen elements, read as bytes (which may alias the elements).
uint32x4x4_t Load16(const wchar_t* p) {
  const uint8x16x4_t v = vld1q_u8_x4(reinterpret_cast<const unsigned char*>(p));
  return {{vreinterpretq_u32_u8(v.val[0]), vreinterpretq_u32_u8(v.val[1]),
           vreinterpretq_u32_u8(v.val[2]), vreinterpretq_u32_u8(v.val[3])}};
}

// Lanes that the rule does not let a kernel settle (nonzero).
uint32x4_t NotPlain(uint32x4_t c, const PlainRule& rule) {
  const uint32x4_t large = vcgeq_u32(vsubq_u32(c, vdupq_n_u32(1)), vdupq_n_u32(rule.max));
  const uint32x4_t tagged =
      vceqq_u32(vandq_u32(c, vdupq_n_u32(0xFFFFF800u)), vdupq_n_u32(rule.surrogate_tag));
  return vorrq_u32(vorrq_u32(large, tagged), vceqq_u32(c, vdupq_n_u32(rule.excluded)));
}

// Lengths of the forms less one: 0 to 3.
uint32x4_t LongerThanOne(uint32x4_t c) {
  return vsubq_u32(vsubq_u32(vdupq_n_u32(0), vcgtq_u32(c, vdupq_n_u32(0x7F))),
                   vaddq_u32(vcgtq_u32(c, vdupq_n_u32(0x7FF)), vcgtq_u32(c, vdupq_n_u32(0xFFFF))));
}

std::size_t NeonMeasure(const wchar_t* p, std::size_t n, const PlainRule& rule, std::size_t& used) {
  uint32x4_t extra = vdupq_n_u32(0);
  std::size_t i = 0;
  for (; n - i >= 4; i += 4) {
    const uint32x4_t c =
        vreinterpretq_u32_u8(vld1q_u8(reinterpret_cast<const unsigned char*>(p + i)));
    if (vmaxvq_u32(NotPlain(c, rule)) != 0) break;
    extra = vaddq_u32(extra, LongerThanOne(c));
  }
  std::size_t rest = 0;
  const std::size_t bytes = i + vaddvq_u32(extra) + MeasurePlainScalar(p + i, n - i, rule, rest);
  used = i + rest;
  return bytes;
}

// The form of each element of 1..0x10FFFF in its lane, last byte in byte 0.
uint8x16_t Forms(uint32x4_t c) {
  uint32x4_t groups = vsliq_n_u32(c, vshrq_n_u32(c, 6), 8);  // six bits a byte, from the low end
  groups = vsliq_n_u32(groups, vshrq_n_u32(c, 12), 16);
  groups = vsliq_n_u32(groups, vshrq_n_u32(c, 18), 24);
  groups = vandq_u32(groups, vdupq_n_u32(0x3F3F3F3F));
  const uint32x4_t two = vcgtq_u32(c, vdupq_n_u32(0x7F));
  // The marker bits of forms of two, three and four bytes, each from the one before.
  const uint32x4_t markers =
      veorq_u32(veorq_u32(vandq_u32(two, vdupq_n_u32(0xC080)),
                          vandq_u32(vcgtq_u32(c, vdupq_n_u32(0x7FF)), vdupq_n_u32(0xE04000))),
                vandq_u32(vcgtq_u32(c, vdupq_n_u32(0xFFFF)), vdupq_n_u32(0xF0600000)));
  return vreinterpretq_u8_u32(vbslq_u32(two, vorrq_u32(groups, markers), c));
}

std::size_t NeonEncode(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                       const PlainRule& rule, std::size_t& written) {
  const uint8x16_t byte_lane = vld1q_u8(kByteLane);
  const uint8x8_t bit_of_lane = vld1_u8(kBitOfLane);
  const uint32x4_t key_weight = vld1q_u32(kKeyWeight);
  std::size_t i = 0;
  std::size_t w = 0;
  // Writes the `length` bytes of `bytes` at out + w. The sixteen-byte window keeps its bytes past
  // them as they were when `last` (no later store of the block covers them); else the next store
  // covers them.
  const auto put = [&](uint8x16_t bytes, std::size_t length, bool last) {
    if (last) {
      bytes = vbslq_u8(vcltq_u8(byte_lane, vdupq_n_u8(static_cast<std::uint8_t>(length))), bytes,
                       vld1q_u8(out + w));
    }
    vst1q_u8(out + w, bytes);
    w += length;
  };
  // A block writes at most 64 bytes, in windows of 16 that start before its end.
  while (n - i >= 16 && room - w >= 64) {
    const uint32x4x4_t c = Load16(p + i);
    const uint32x4_t one = vdupq_n_u32(1);
    const uint32x4_t largest =
        vmaxq_u32(vmaxq_u32(vsubq_u32(c.val[0], one), vsubq_u32(c.val[1], one)),
                  vmaxq_u32(vsubq_u32(c.val[2], one), vsubq_u32(c.val[3], one)));
    const std::uint32_t top = vmaxvq_u32(largest);  // the largest element less one
    if (top < 0x7F) {                               // 1..7F: plain under every rule
      const uint16x8_t low =
          vuzp1q_u16(vreinterpretq_u16_u32(c.val[0]), vreinterpretq_u16_u32(c.val[1]));
      const uint16x8_t high =
          vuzp1q_u16(vreinterpretq_u16_u32(c.val[2]), vreinterpretq_u16_u32(c.val[3]));
      vst1q_u8(out + w, vuzp1q_u8(vreinterpretq_u8_u16(low), vreinterpretq_u8_u16(high)));
      w += 16;
    } else if (top < 0x7FF) {  // 1..7FF: no surrogate, no U+FEFF, below every rule's largest
      for (int half = 0; half < 2; ++half) {
        const uint16x8_t x = vuzp1q_u16(vreinterpretq_u16_u32(c.val[2 * half]),
                                        vreinterpretq_u16_u32(c.val[2 * half + 1]));
        const uint16x8_t two = vcgtq_u16(x, vdupq_n_u16(0x7F));
        const uint16x8_t form =
            vorrq_u16(vandq_u16(vsliq_n_u16(vshrq_n_u16(x, 6), x, 8), vdupq_n_u16(0x3F1F)),
                      vdupq_n_u16(0x80C0));
        const unsigned mask = vaddv_u8(vand_u8(vmovn_u16(two), bit_of_lane));
        const uint8x16_t bytes = vqtbl1q_u8(vreinterpretq_u8_u16(vbslq_u16(two, form, x)),
                                            vld1q_u8(kTwoByteGather.bytes[mask]));
        put(bytes, kTwoByteGather.length[mask], half == 1);
      }
    } else {
      const uint32x4_t refused =
          vorrq_u32(vorrq_u32(NotPlain(c.val[0], rule), NotPlain(c.val[1], rule)),
                    vorrq_u32(NotPlain(c.val[2], rule), NotPlain(c.val[3], rule)));
      if (vmaxvq_u32(refused) != 0) break;
      for (int quarter = 0; quarter < 4; ++quarter) {
        const uint32x4_t e = c.val[quarter];
        const unsigned key = vaddvq_u32(vmulq_u32(LongerThanOne(e), key_weight));
        put(vqtbl1q_u8(Forms(e), vld1q_u8(kFormGather.bytes[key])), kFormGather.length[key],
            quarter == 3);
      }
    }
    i += 16;
  }
  std::size_t rest = 0;
  i += EncodePlainScalar(p + i, n - i, out + w, room - w, rule, rest);
  written = w + rest;
  return i;
}

}  // namespace

extern const EncodeKernels kEncodeNeon;
const EncodeKernels kEncodeNeon = {Isa::kNeon, NeonMeasure, NeonEncode, ToUtf16BeScalar,
                                   FromUtf16BeScalar};

}  // namespace internal
}  // namespace qor

#endif
