// The AVX-512 level (with VBMI and VBMI2): 64-byte blocks checked by nibble lookups; well-formed
// blocks decoded sixteen sequences at a time: the lead positions are compressed into one register,
// each lead's four bytes gathered into a 32-bit lane by a byte permute, and the value bits joined
// by two multiply-adds and a shift chosen by the lead.
#include "encoding/decode_kernels.h"

#if defined(QORSTL_X86_KERNELS) && defined(__x86_64__) && defined(__AVX512VBMI2__) && \
    defined(__AVX512VBMI__) && defined(__AVX512BW__)
#if defined(__GNUC__) && !defined(__clang__)
// GCC 12's headers leave the pass-through operand of the unmasked AVX-512 forms undefined on
// purpose, and then warn about it where they are inlined.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include "encoding/utf8_check_avx512.h"
#include "qor/qorstl.h"

namespace qor {
namespace internal {
namespace {

using namespace utf8_check;
using avx512::Malformed;
using avx512::Table;

struct Iota {
  alignas(64) std::uint8_t at[64];
  constexpr Iota() : at() {
    for (unsigned i = 0; i < 64; ++i) at[i] = static_cast<std::uint8_t>(i);
  }
};
constexpr Iota kIota;

__m512i Iota512() {
  return _mm512_load_si512(kIota.at);
}

// Whether the block in v breaks a rule of standard UTF-8, read as if a sequence ended just before
// it.
bool Malformed(__m512i v) {
  const __m512i iota = Iota512();
  const auto back = [&](unsigned k, __mmask64 keep) {
    return _mm512_maskz_permutexvar_epi8(keep, _mm512_sub_epi8(iota, _mm512_set1_epi8(char(k))), v);
  };
  return Malformed(v, back(1, ~1ull), back(2, ~3ull), back(3, ~7ull));
}

// Bytes that start a sequence (all but 80..BF), one bit per byte.
std::uint64_t Starts(__m512i v) {
  return ~_mm512_cmplt_epi8_mask(v, _mm512_set1_epi8(-64));
}

// Where the last complete sequence of a well-formed block at p ends: 64, or the start of a
// sequence that runs on into the next block.
unsigned BlockEnd(const unsigned char* p, std::uint64_t starts) {
  const unsigned last = 63 - static_cast<unsigned>(__builtin_clzll(starts));
  return p[last] >= 0xC0 && last + LeadLength(p[last]) > 64 ? last : 64;
}

std::size_t Avx512AsciiPrefix(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  // 256 bytes a test while they are all ASCII, then 64 to find the block that is not.
  for (; n - i >= 256; i += 256) {
    const __m512i any = _mm512_or_si512(
        _mm512_or_si512(_mm512_loadu_si512(p + i), _mm512_loadu_si512(p + i + 64)),
        _mm512_or_si512(_mm512_loadu_si512(p + i + 128), _mm512_loadu_si512(p + i + 192)));
    if (_mm512_movepi8_mask(any) != 0) break;
  }
  for (; n - i >= 64; i += 64) {
    if (_mm512_movepi8_mask(_mm512_loadu_si512(p + i)) != 0) break;
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// Bytes that leave a sequence open at the end of a block: from F0 in the third place from the end,
// E0 in the second, C0 in the last (a checked block holds no FF elsewhere).
struct OpenFloor {
  alignas(64) std::uint8_t at[64];
  constexpr OpenFloor() : at() {
    for (unsigned i = 0; i < 64; ++i)
      at[i] = i < 61 ? 0xFF : i == 61 ? 0xF0 : i == 62 ? 0xE0 : 0xC0;
  }
};
constexpr OpenFloor kOpenFloor;

// Blocks at a fixed stride, each checked after the last bytes of the one before; where a block
// fails, the prefix ends before the sequence that the block before left open.
std::size_t Avx512ValidPrefix(const unsigned char* p, std::size_t n) {
  const __m512i iota = Iota512();
  const __m512i back1 = _mm512_add_epi8(iota, _mm512_set1_epi8(63));
  const __m512i back2 = _mm512_add_epi8(iota, _mm512_set1_epi8(62));
  const __m512i back3 = _mm512_add_epi8(iota, _mm512_set1_epi8(61));
  const __m512i open_floor = _mm512_load_si512(kOpenFloor.at);
  __m512i prev = _mm512_setzero_si512();
  std::size_t i = 0;
  for (; n - i >= 64; i += 64) {
    const __m512i v = _mm512_loadu_si512(p + i);
    if (_mm512_movepi8_mask(v) == 0) {
      if (_mm512_cmpge_epu8_mask(prev, open_floor) != 0) break;
    } else if (Malformed(v, _mm512_permutex2var_epi8(prev, back1, v),
                         _mm512_permutex2var_epi8(prev, back2, v),
                         _mm512_permutex2var_epi8(prev, back3, v))) {
      break;
    }
    prev = v;
  }
  if (i == 0) return 0;
  return i - 64 + BlockEnd(p + i - 64, Starts(prev));
}

// By the lead's high nibble: the value bits of the four bytes from the lead (lead lowest), and how
// far the joined 24 bits of them stand above the value.
alignas(64) constexpr std::uint32_t kLeadBits[16] = {
    0x3F3F3F7F, 0x3F3F3F7F, 0x3F3F3F7F, 0x3F3F3F7F, 0x3F3F3F7F, 0x3F3F3F7F, 0x3F3F3F7F, 0x3F3F3F7F,
    0,          0,          0,          0,          0x3F3F3F1F, 0x3F3F3F1F, 0x3F3F3F0F, 0x3F3F3F07};
alignas(64) constexpr std::uint32_t kLeadShift[16] = {18, 18, 18, 18, 18, 18, 18, 18,
                                                      0,  0,  0,  0,  12, 12, 6,  0};
// Byte j of lane-spreading index: the lead number j / 4 of the chunk.
struct Spread {
  alignas(64) std::uint8_t at[64];
  constexpr Spread() : at() {
    for (unsigned j = 0; j < 64; ++j) at[j] = static_cast<std::uint8_t>(j / 4);
  }
};
constexpr Spread kSpread;

// Decodes the `count` sequences whose lead positions are the bytes of `leads`, from the block v.
void DecodeLeads(__m512i v, __m512i leads, std::size_t count, wchar_t* out) {
  const __m512i spread = _mm512_load_si512(kSpread.at);
  const __m512i bits = _mm512_load_si512(kLeadBits);
  const __m512i shifts = _mm512_load_si512(kLeadShift);
  for (std::size_t c = 0; c < count; c += 16) {
    const __m512i chunk = _mm512_add_epi8(spread, _mm512_set1_epi8(static_cast<char>(c)));
    const __m512i at =
        _mm512_add_epi8(_mm512_permutexvar_epi8(chunk, leads), _mm512_set1_epi32(0x03020100));
    const __m512i bytes = _mm512_permutexvar_epi8(at, v);
    const __m512i nibble = _mm512_srli_epi32(bytes, 4);  // the lead's high nibble in bits 0..3
    const __m512i masked = _mm512_and_si512(bytes, _mm512_permutexvar_epi32(nibble, bits));
    // b0 * 64 + b1 and b2 * 64 + b3 in 16 bits, then the first times 4096 plus the second.
    const __m512i joined = _mm512_madd_epi16(
        _mm512_maddubs_epi16(masked, _mm512_set1_epi16(0x0140)), _mm512_set1_epi32(0x00011000));
    const __m512i values = _mm512_srlv_epi32(joined, _mm512_permutexvar_epi32(nibble, shifts));
    const std::size_t left = count - c;
    const __mmask16 keep = left >= 16 ? __mmask16(0xFFFF) : __mmask16((1u << left) - 1);
    _mm512_mask_storeu_epi32(out + c, keep, values);
  }
}

[[gnu::noinline]] DecodeStep Avx512Decode(const unsigned char* p, std::size_t n, wchar_t* out,
                                          std::size_t room, unsigned options) {
  std::size_t i = 0;
  std::size_t w = 0;
  while (n - i >= 64) {
    const __m512i v = _mm512_loadu_si512(p + i);
    if (_mm512_testn_epi8_mask(v, v) != 0) break;  // a zero byte
    const std::size_t left = out != nullptr ? room - w : static_cast<std::size_t>(-1);
    if (_mm512_movepi8_mask(v) == 0) {
      if (left < 64) break;
      if (out != nullptr) {
        for (int k = 0; k < 4; ++k) {
          _mm512_storeu_si512(out + w + 16 * k,
                              _mm512_cvtepu8_epi32(_mm_loadu_si128(
                                  reinterpret_cast<const __m128i*>(p + i + 16 * k))));
        }
      }
      i += 64;
      w += 64;
      continue;
    }
    if (Malformed(v)) break;
    if ((options & kDecodeBmpOnly) != 0 &&
        _mm512_cmpge_epu8_mask(v, _mm512_set1_epi8(char(0xF0))) != 0) {
      break;
    }
    if ((options & kDecodeStopAtBom) != 0) {
      const auto at = [v](unsigned char b) {
        return _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8(static_cast<char>(b)));
      };
      if ((at(0xEF) & (at(0xBB) >> 1) & (at(0xBF) >> 2)) != 0) break;
    }
    std::uint64_t starts = Starts(v);
    const unsigned end = BlockEnd(p + i, starts);
    if (end < 64) starts &= (1ull << end) - 1;
    const auto count = static_cast<std::size_t>(__builtin_popcountll(starts));
    if (left < count) break;
    if (out != nullptr)
      DecodeLeads(v, _mm512_maskz_compress_epi8(starts, Iota512()), count, out + w);
    i += end;
    w += count;
  }
  return {i, w};
}

// utf8_to_wchar's quick path for texts of 1..256 bytes, with no call: all 01..7F, one element a
// byte by masked loads and stores; else whole blocks by the kernel and the rest as one block read
// with a mask, its missing bytes spaces (a sequence cut short by the end is then malformed). A text
// this path does not settle whole, or whose elements do not fit, goes on by the general path from
// where the kernel stopped.
constexpr std::size_t kQuickText = 256;

// The rest of the quick path, for a text of 1..256 bytes that is not all 01..7F: out of line, so
// that the ASCII texts save no registers for it.
[[gnu::noinline]] std::size_t DecodeMixedText(const DecodeKernels& k, const char* src,
                                              std::size_t src_len, wchar_t* dst,
                                              std::size_t dst_cap, int flags) {
  const auto* p = reinterpret_cast<const unsigned char*>(src);
  const std::size_t n = src_len;
  const std::size_t room = dst != nullptr ? dst_cap : static_cast<std::size_t>(-1);
  const unsigned options = (flags & UTF8_DROP_BOM) != 0 ? kDecodeStopAtBom : 0;
  const DecodeStep step = n >= 64 ? Avx512Decode(p, n, dst, room, options) : DecodeStep{0, 0};
  const std::size_t rest = n - step.read;
  if (rest == 0) return step.written;
  // A rest of a few bytes after whole blocks is quicker for the general path's rule.
  if (rest < 64 && (step.read == 0 || rest >= 16)) {
    const __mmask64 m = _bzhi_u64(~0ull, unsigned(rest));
    const __m512i v = _mm512_mask_loadu_epi8(_mm512_set1_epi8(' '), m, p + step.read);
    const auto at = [v](unsigned char b) {
      return _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8(static_cast<char>(b)));
    };
    const bool bom =
        (options & kDecodeStopAtBom) != 0 && (at(0xEF) & (at(0xBB) >> 1) & (at(0xBF) >> 2)) != 0;
    if (_mm512_testn_epi8_mask(v, v) == 0 && !bom && !Malformed(v)) {
      const std::uint64_t starts = Starts(v) & m;
      const auto count = static_cast<std::size_t>(__builtin_popcountll(starts));
      if (count <= room - step.written) {
        if (dst != nullptr)
          DecodeLeads(v, _mm512_maskz_compress_epi8(starts, Iota512()), count, dst + step.written);
        return step.written + count;
      }
    }
  }
  return DecodeTextAfter(k, p, n, dst, dst_cap, flags, step);
}

// A text of more than kQuickText bytes: the kernel's blocks, then the general path for the rest.
[[gnu::noinline]] std::size_t DecodeLongText(const DecodeKernels& k, const char* src,
                                             std::size_t src_len, wchar_t* dst, std::size_t dst_cap,
                                             int flags) {
  const auto* p = reinterpret_cast<const unsigned char*>(src);
  const DecodeStep step = k.decode(p, src_len, dst, dst != nullptr ? dst_cap : 0,
                                   (flags & UTF8_DROP_BOM) != 0 ? kDecodeStopAtBom : 0);
  if (step.read == src_len) return step.written;
  return DecodeTextAfter(k, p, src_len, dst, dst_cap, flags, step);
}

std::size_t Avx512DecodeText(const DecodeKernels& k, const char* src, std::size_t src_len,
                             wchar_t* dst, std::size_t dst_cap, int flags) {
  const std::size_t n = src_len;
  if (src == nullptr || (dst != nullptr && dst_cap == 0) || n == 0)
    return DecodeTextGeneral(k, src, src_len, dst, dst_cap, flags);
  if (n > kQuickText) return DecodeLongText(k, src, src_len, dst, dst_cap, flags);
  const auto* p = reinterpret_cast<const unsigned char*>(src);
  // Signed bytes above zero are 01..7F; the first block with another leaves at once.
  const __m512i zero = _mm512_setzero_si512();
  std::size_t i = 0;
  for (; i + 64 <= n; i += 64) {
    if (_mm512_cmpgt_epi8_mask(_mm512_loadu_si512(p + i), zero) != ~__mmask64(0))
      return DecodeMixedText(k, src, src_len, dst, dst_cap, flags);
  }
  if (i < n) {
    const __mmask64 m = _bzhi_u64(~0ull, unsigned(n - i));
    if (_mm512_mask_cmpgt_epi8_mask(m, _mm512_maskz_loadu_epi8(m, p + i), zero) != m)
      return DecodeMixedText(k, src, src_len, dst, dst_cap, flags);
  }
  if (dst == nullptr) return n;
  if (n > dst_cap) return DecodeTextGeneral(k, src, src_len, dst, dst_cap, flags);
  for (i = 0; i + 16 <= n; i += 16) {
    _mm512_storeu_si512(
        dst + i, _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i))));
  }
  if (i < n) {
    const auto m = static_cast<__mmask16>(_bzhi_u32(~0u, unsigned(n - i)));
    _mm512_mask_storeu_epi32(dst + i, m, _mm512_cvtepu8_epi32(_mm_maskz_loadu_epi8(m, p + i)));
  }
  return n;
}

}  // namespace

extern const DecodeKernels kAvx512DecodeKernels;
const DecodeKernels kAvx512DecodeKernels = {Isa::kAvx512,      64,           Avx512AsciiPrefix,
                                            Avx512ValidPrefix, Avx512Decode, Avx512DecodeText};

}  // namespace internal
}  // namespace qor

#endif
