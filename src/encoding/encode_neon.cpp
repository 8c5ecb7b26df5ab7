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
// the two-byte lanes, the bytes to keep in order, and in the last byte of the row how many.
struct TwoByteGather {
  std::uint8_t row[256][32];
  constexpr TwoByteGather() : row() {
    for (unsigned mask = 0; mask < 256; ++mask) {
      unsigned k = 0;
      for (unsigned lane = 0; lane < 8; ++lane) {
        row[mask][k++] = static_cast<std::uint8_t>(2 * lane);
        if ((mask >> lane) & 1) row[mask][k++] = static_cast<std::uint8_t>(2 * lane + 1);
      }
      row[mask][31] = static_cast<std::uint8_t>(k);
    }
  }
};
constexpr TwoByteGather kTwoByteGather;

// Four of eight 16-bit lanes of values up to 0xFFFF (the low four, or the high four), as the first
// two bytes of their forms in 16-bit lanes (A, bytes 0..15) and the third byte of the three-byte
// ones in a byte each (B, bytes 16..23): for each key of the four lengths less one (two bits a
// lane), the bytes in order, and in the last byte of the row how many.
struct BmpGather {
  std::uint8_t row[2][256][32];
  constexpr BmpGather() : row() {
    for (unsigned half = 0; half < 2; ++half) {
      for (unsigned key = 0; key < 256; ++key) {
        unsigned k = 0;
        for (unsigned quarter = 0; quarter < 4; ++quarter) {
          const unsigned lane = 4 * half + quarter;
          const unsigned form = ((key >> (2 * quarter)) & 3) + 1;
          row[half][key][k++] = static_cast<std::uint8_t>(2 * lane);
          if (form >= 2) row[half][key][k++] = static_cast<std::uint8_t>(2 * lane + 1);
          if (form >= 3) row[half][key][k++] = static_cast<std::uint8_t>(16 + lane);
        }
        row[half][key][31] = static_cast<std::uint8_t>(k);
      }
    }
  }
};
constexpr BmpGather kBmpGather;

// Four 32-bit lanes, each a form of L bytes with its lead in byte L - 1 and its last byte in byte
// 0: for each key of the four lengths less one (two bits a lane), the bytes in order, and in the
// last byte of the row how many.
struct FormGather {
  std::uint8_t row[256][32];
  constexpr FormGather() : row() {
    for (unsigned key = 0; key < 256; ++key) {
      unsigned k = 0;
      for (unsigned lane = 0; lane < 4; ++lane) {
        const unsigned form = ((key >> (2 * lane)) & 3) + 1;
        for (unsigned b = form; b-- > 0;) row[key][k++] = static_cast<std::uint8_t>(4 * lane + b);
      }
      row[key][31] = static_cast<std::uint8_t>(k);
    }
  }
};
constexpr FormGather kFormGather;

constexpr std::uint8_t kByteLane[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr std::uint8_t kBitOfLane[8] = {1, 2, 4, 8, 16, 32, 64, 128};
constexpr std::uint32_t kKeyWeight[4] = {1, 4, 16, 64};
constexpr std::uint8_t kHalfKeyWeight[8] = {1, 4, 16, 64, 1, 4, 16, 64};

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
  const uint8x8_t half_key_weight = vld1_u8(kHalfKeyWeight);
  const uint16x8_t surrogate_tag = vdupq_n_u16(static_cast<std::uint16_t>(rule.surrogate_tag));
  const uint16x8_t excluded = vdupq_n_u16(static_cast<std::uint16_t>(rule.excluded));
  std::size_t i = 0;
  std::size_t w = 0;
  // The caller's bytes from 16 to 64 past the start of a block that is not plain ASCII, as they
  // were before it: no earlier block wrote there. A block's windows reach at most 64 bytes past
  // its start, and each covers what the one before wrote past its own bytes.
  alignas(16) std::uint8_t kept[64] = {};
  std::size_t block_start = 0;
  const auto keep = [&] {
    block_start = w;
    vst1q_u8(kept + 16, vld1q_u8(out + w + 16));
    vst1q_u8(kept + 32, vld1q_u8(out + w + 32));
    vst1q_u8(kept + 48, vld1q_u8(out + w + 48));
  };
  // Writes the bytes of a gather row at out + w. The block's `last` window puts back the caller's
  // bytes past them (past the block's end, at least 16 bytes from its start); any other window's
  // extra bytes are covered by the next one.
  const auto put = [&](uint8x16_t bytes, const std::uint8_t* row, bool last) {
    if (last) {
      bytes = vbslq_u8(vcltq_u8(byte_lane, vdupq_n_u8(row[31])), bytes,
                       vld1q_u8(kept + (w - block_start)));
    }
    vst1q_u8(out + w, bytes);
    w += row[31];
  };
  // Eight values of 1..0x7FF.
  const auto two_byte = [&](uint16x8_t x, bool last) {
    const uint16x8_t two = vcgtq_u16(x, vdupq_n_u16(0x7F));
    const uint16x8_t form = vorrq_u16(
        vandq_u16(vsliq_n_u16(vshrq_n_u16(x, 6), x, 8), vdupq_n_u16(0x3F1F)), vdupq_n_u16(0x80C0));
    const std::uint8_t* row = kTwoByteGather.row[vaddv_u8(vand_u8(vmovn_u16(two), bit_of_lane))];
    put(vqtbl1q_u8(vreinterpretq_u8_u16(vbslq_u16(two, form, x)), vld1q_u8(row)), row, last);
  };
  // Eight values of 1..0xFFFF that the rule lets through.
  const auto bmp = [&](uint16x8_t x, bool last) {
    const uint16x8_t two = vcgtq_u16(x, vdupq_n_u16(0x7F));
    const uint16x8_t three = vcgtq_u16(x, vdupq_n_u16(0x7FF));
    const uint16x8_t lead2 = vorrq_u16(
        vandq_u16(vsliq_n_u16(vshrq_n_u16(x, 6), x, 8), vdupq_n_u16(0x3F1F)), vdupq_n_u16(0x80C0));
    const uint16x8_t lead3 = vorrq_u16(
        vandq_u16(vsliq_n_u16(vshrq_n_u16(x, 12), vshrq_n_u16(x, 6), 8), vdupq_n_u16(0x3F0F)),
        vdupq_n_u16(0x80E0));
    const uint8x16x2_t forms = {
        {vreinterpretq_u8_u16(vbslq_u16(three, lead3, vbslq_u16(two, lead2, x))),
         vcombine_u8(vorr_u8(vand_u8(vmovn_u16(x), vdup_n_u8(0x3F)), vdup_n_u8(0x80)),
                     vdup_n_u8(0))}};
    // Lengths less one (0..2), weighted by place within each half of four, summed per half.
    const uint8x8_t extra = vmovn_u16(vsubq_u16(vdupq_n_u16(0), vaddq_u16(two, three)));
    uint8x8_t keys = vmul_u8(extra, half_key_weight);
    keys = vpadd_u8(keys, keys);
    keys = vpadd_u8(keys, keys);
    const unsigned both = vget_lane_u16(vreinterpret_u16_u8(keys), 0);
    const std::uint8_t* low = kBmpGather.row[0][both & 0xFF];
    const std::uint8_t* high = kBmpGather.row[1][both >> 8];
    put(vqtbl2q_u8(forms, vld1q_u8(low)), low, false);
    put(vqtbl2q_u8(forms, vld1q_u8(high)), high, last);
  };
  // Four values of 1..0x10FFFF.
  const auto any_length = [&](uint32x4_t e, bool last) {
    const std::uint8_t* row = kFormGather.row[vaddvq_u32(vmulq_u32(LongerThanOne(e), key_weight))];
    put(vqtbl1q_u8(Forms(e), vld1q_u8(row)), row, last);
  };
  const auto halves = [](uint32x4_t a, uint32x4_t b) {
    return vuzp1q_u16(vreinterpretq_u16_u32(a), vreinterpretq_u16_u32(b));
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
      const uint16x8_t low = halves(c.val[0], c.val[1]), high = halves(c.val[2], c.val[3]);
      vst1q_u8(out + w, vuzp1q_u8(vreinterpretq_u8_u16(low), vreinterpretq_u8_u16(high)));
      w += 16;
    } else if (top < 0x7FF) {  // 1..7FF: no surrogate, no U+FEFF, below every rule's largest
      keep();
      two_byte(halves(c.val[0], c.val[1]), false);
      two_byte(halves(c.val[2], c.val[3]), true);
    } else if (top < 0xFFFF) {  // 1..FFFF: within every rule's largest
      const uint16x8_t low = halves(c.val[0], c.val[1]), high = halves(c.val[2], c.val[3]);
      // Below the surrogates (most of the plane's scripts) nothing else is refused.
      if (top >= 0xD7FF) {
        const uint16x8_t refused =
            vorrq_u16(vorrq_u16(vceqq_u16(vandq_u16(low, vdupq_n_u16(0xF800)), surrogate_tag),
                                vceqq_u16(vandq_u16(high, vdupq_n_u16(0xF800)), surrogate_tag)),
                      vorrq_u16(vceqq_u16(low, excluded), vceqq_u16(high, excluded)));
        if (vmaxvq_u16(refused) != 0) break;
      }
      keep();
      bmp(low, false);
      bmp(high, true);
    } else {
      const uint32x4_t refused =
          vorrq_u32(vorrq_u32(NotPlain(c.val[0], rule), NotPlain(c.val[1], rule)),
                    vorrq_u32(NotPlain(c.val[2], rule), NotPlain(c.val[3], rule)));
      if (vmaxvq_u32(refused) != 0) break;
      keep();
      any_length(c.val[0], false);
      any_length(c.val[1], false);
      any_length(c.val[2], false);
      any_length(c.val[3], true);
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
