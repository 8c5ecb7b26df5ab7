// The UTF-8 codec's decoder: 31-bit UTF-8 (one to six bytes) to 32-bit wide characters. A bounded
// input goes to the block kernels first; every byte they leave is decoded by the rule below.
#include <cstdint>
#include <cstring>
#include <string>

#include "encoding/decode_kernels.h"
#include "encoding/utf8_rules.h"
#include "qor/qorstl.h"

using namespace qor::internal;

namespace {

// The four bytes that strict mode refuses before classifying: two overlong two-byte leads, the
// lead of values from 0x140000 up, and FF.
constexpr bool StrictlyRefused(unsigned char b) {
  return b == 0xC0 || b == 0xC1 || b == 0xF5 || b == 0xFF;
}

// The decoding loop, one instance per kind of call: filling or measuring, lenient or strict,
// bounded or zero-terminated. `end` is null for a zero-terminated input. Goes on from where a
// first kernel call stopped, `count` elements in, with the rule until `rule_until`. Returns the
// count.
template <bool kFill, bool kLenient, bool kBounded>
std::size_t Decode(const DecodeKernels& kernels, const unsigned char* p,
                   const unsigned char* const end, wchar_t* out, wchar_t* const out_end,
                   bool drop_bom, std::size_t count, const unsigned char* rule_until) {
  const unsigned options = drop_bom ? kDecodeStopAtBom : 0;
  while (!kBounded || p < end) {
    // Texts shorter than a block go to the rule at once: the kernel could settle nothing.
    if (kBounded && p >= rule_until && static_cast<std::size_t>(end - p) >= kernels.block) {
      const DecodeStep step =
          kernels.decode(p, static_cast<std::size_t>(end - p), kFill ? out : nullptr,
                         kFill ? static_cast<std::size_t>(out_end - out) : 0, options);
      p += step.read;
      count += step.written;
      if (kFill) out += step.written;
      rule_until = p + kernels.block;
      if (p == end) break;
    }
    const unsigned char b = *p;
    if (!kLenient && StrictlyRefused(b)) return 0;
    if (b == 0) return count;
    const unsigned n = kSequenceLengths.of[b];
    if (n == 1) {  // a run of bytes 01..7F, each its own value in every mode
      do {
        if (kFill) {
          if (out == out_end) return 0;
          *out++ = static_cast<wchar_t>(*p);
        }
        ++count;
        ++p;
      } while ((!kBounded || p < end) && IsAsciiNonZero(*p));
      continue;
    }
    if (n == 0) {  // a continuation byte or FE/FF where a sequence should begin
      if (!kLenient) return 0;
      ++p;
      continue;
    }
    // Cut short by the end of a bounded input, or a byte after the lead that is no continuation
    // byte. The bytes are examined in order and the examination stops at the first bad one, so a
    // zero byte ends it and nothing after a terminator is read.
    if ((kBounded && static_cast<std::size_t>(end - p) < n) || !ContinuationsFollow(p, n)) {
      if (!kLenient) return 0;
      ++p;
      continue;
    }
    ++count;
    if (!kFill) {  // measuring: surrogates and U+FEFF are counted like any value
      p += n;
      continue;
    }
    if (out == out_end) return 0;
    const std::uint32_t value = SequenceValue(p, n);
    *out = static_cast<wchar_t>(value);
    if (IsSurrogate(value)) {
      if (!kLenient) return 0;  // the value stays stored; the caller must not use the buffer
      --count;                  // withdrawn: the next value overwrites it
    } else if (value == 0xFEFF && drop_bom) {
      --count;
    } else {
      ++out;
    }
    p += n;
  }
  return count;
}

// Whether the n bytes at p, 8 <= n < 64, are all 01..7F, a word at a time (the last word
// overlapping), leaving at the first word that is not. A zero byte or a high byte flags its word;
// a zero byte's borrow may flag the next byte as well, which only sends the text to the loop.
bool ShortAsciiText(const unsigned char* p, std::size_t n) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ull, kHigh = 0x8080808080808080ull;
  const auto plain = [p](std::size_t at) {
    std::uint64_t word;
    std::memcpy(&word, p + at, sizeof word);
    return ((word | (word - kOnes)) & kHigh) == 0;
  };
  for (std::size_t i = 0; i + 8 < n; i += 8) {
    if (!plain(i)) return false;
  }
  return plain(n - 8);
}

// Decodes, from p on, the sequences that every mode takes as they stand -- standard UTF-8 of one
// to four bytes, no zero byte, no surrogate, no U+FEFF when it is dropped -- while `room` holds
// them (when filling); stops before anything else, which the rule then decides. Moves p past what
// it decoded and returns the element count. For the short rest of a text: a step per sequence
// with fewer tests than the rule's.
template <bool kFill>
std::size_t DecodeStandard(const unsigned char*& p, const unsigned char* const end, wchar_t* out,
                           std::size_t room, bool drop_bom) {
  const auto follows = [](unsigned char b) { return (b & 0xC0u) == 0x80u; };
  std::size_t w = 0;
  const unsigned char* q = p;
  while (q < end && (!kFill || w < room)) {
    const std::uint32_t b = q[0];
    const auto left = static_cast<std::size_t>(end - q);
    std::uint32_t value;
    unsigned length;
    if (b - 1u < 0x7Fu) {
      value = b;
      length = 1;
    } else if (b - 0xC2u < 0x1Eu) {  // C2..DF
      if (left < 2 || !follows(q[1])) break;
      value = ((b & 0x1Fu) << 6) | (q[1] & 0x3Fu);
      length = 2;
    } else if ((b & 0xF0u) == 0xE0u) {
      if (left < 3 || !follows(q[1]) || !follows(q[2])) break;
      value = ((b & 0x0Fu) << 12) | ((q[1] & 0x3Fu) << 6) | (q[2] & 0x3Fu);
      if (value < 0x800 || IsSurrogate(value) || (value == 0xFEFF && drop_bom)) break;
      length = 3;
    } else if (b - 0xF0u < 5u) {  // F0..F4
      if (left < 4 || !follows(q[1]) || !follows(q[2]) || !follows(q[3])) break;
      value = ((b & 0x07u) << 18) | ((q[1] & 0x3Fu) << 12) | ((q[2] & 0x3Fu) << 6) | (q[3] & 0x3Fu);
      if (value - 0x10000u > 0xFFFFFu) break;
      length = 4;
    } else {
      break;
    }
    if (kFill) out[w] = static_cast<wchar_t>(value);
    ++w;
    q += length;
  }
  p = q;
  return w;
}

// A rest shorter than a block, but not shorter than this, is decoded by the kernel from a copy of
// kPadded bytes; a shorter one is quicker for the rule.
constexpr std::size_t kPaddedRest = 16;
constexpr std::size_t kPadded = 64;

// Whether the rule is the quicker decoder of p[0, n): the copy and the kernel cost about the same
// for any rest, the rule a step per sequence, so only a rest of mostly ASCII (at most a quarter of
// continuation bytes) goes to the kernel. Eight bytes a step: a byte's bit 6 moved up to bit 7
// marks a continuation byte 10xxxxxx.
bool FewSequences(const unsigned char* p, std::size_t n) {
  constexpr std::uint64_t kHigh = 0x8080808080808080ull, kOnes = 0x0101010101010101ull;
  std::size_t continuations = 0;
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, p + i, sizeof word);
    // One bit a byte, at its bit 0; the product adds the eight bytes into the top one.
    continuations += ((((word & ~(word << 1)) & kHigh) >> 7) * kOnes) >> 56;
  }
  for (; i < n; ++i) continuations += (p[i] & 0xC0) == 0x80;
  return 4 * continuations > n;
}

// p[0, left), left < kPadded, decoded by the kernel from a copy padded with ASCII to kPadded bytes,
// into a buffer of its own. Succeeds, setting `elements`, only when the kernel settles all of the
// text's bytes (they are then plain standard UTF-8 that ends where a sequence ends, and each
// padding byte it read became one element) and, when filling, `room` holds them; else the
// caller's rule decodes the rest.
template <bool kFill>
bool DecodePaddedRest(const DecodeKernels& kernels, const unsigned char* p, std::size_t left,
                      wchar_t* out, std::size_t room, unsigned options, std::size_t& elements) {
  unsigned char padded[kPadded];
  std::memset(padded, ' ', kPadded);
  std::memcpy(padded, p, left);
  wchar_t decoded[kPadded];
  const DecodeStep step =
      kernels.decode(padded, kPadded, kFill ? decoded : nullptr, kFill ? kPadded : 0, options);
  if (step.read < left) return false;
  elements = step.written - (step.read - left);
  if (kFill) {
    if (elements > room) return false;
    std::memcpy(out, decoded, elements * sizeof(wchar_t));
  }
  return true;
}

// Goes on after the caller's first kernel call, which settled `first` (nothing for a text shorter
// than a block) and not the whole text.
template <bool kFill, bool kLenient>
std::size_t DecodeOfKind(const DecodeKernels& kernels, const unsigned char* p, std::size_t src_len,
                         wchar_t* out, std::size_t dst_cap, bool drop_bom, DecodeStep first) {
  // A zero src_len leaves the input unbounded: only its zero byte ends it.
  if (src_len == 0)
    return Decode<kFill, kLenient, false>(kernels, p, nullptr, out, out + dst_cap, drop_bom, 0, p);
  const unsigned options = drop_bom ? kDecodeStopAtBom : 0;
  const std::size_t read = first.read;
  std::size_t count = first.written;
  // A text shorter than a block, or the last part of one, need not go to the rule byte by byte:
  // the kernel takes a padded copy of a rest of many short sequences, DecodeStandard any other
  // rest up to where it needs the rule.
  const unsigned char* const end = p + src_len;
  const unsigned char* at = p + read;
  if (src_len - read < kernels.block) {
    if (src_len - read >= kPaddedRest && kernels.block <= kPadded &&
        !FewSequences(at, src_len - read)) {
      std::size_t rest = 0;
      if (DecodePaddedRest<kFill>(kernels, at, src_len - read, kFill ? out + count : nullptr,
                                  kFill ? dst_cap - count : 0, options, rest))
        return count + rest;
    }
    count += DecodeStandard<kFill>(at, end, kFill ? out + count : nullptr,
                                   kFill ? dst_cap - count : 0, drop_bom);
    if (at == end) return count;
  }
  return Decode<kFill, kLenient, true>(kernels, at, end, kFill ? out + count : out, out + dst_cap,
                                       drop_bom, count, p + read + kernels.block);
}

}  // namespace

namespace qor {
namespace internal {

std::size_t DecodeTextAfter(const DecodeKernels& k, const unsigned char* p, std::size_t src_len,
                            wchar_t* dst, std::size_t dst_cap, int flags, DecodeStep first) {
  const bool lenient = (flags & UTF8_SKIP_INVALID) != 0;
  const bool drop_bom = (flags & UTF8_DROP_BOM) != 0;
  if (dst == nullptr) {
    return lenient ? DecodeOfKind<false, true>(k, p, src_len, nullptr, 0, drop_bom, first)
                   : DecodeOfKind<false, false>(k, p, src_len, nullptr, 0, drop_bom, first);
  }
  return lenient ? DecodeOfKind<true, true>(k, p, src_len, dst, dst_cap, drop_bom, first)
                 : DecodeOfKind<true, false>(k, p, src_len, dst, dst_cap, drop_bom, first);
}

std::size_t DecodeTextGeneral(const DecodeKernels& k, const char* src, std::size_t src_len,
                              wchar_t* dst, std::size_t dst_cap, int flags) {
  if (src == nullptr || (dst != nullptr && dst_cap == 0)) return 0;
  const auto* p = reinterpret_cast<const unsigned char*>(src);
  // A short ASCII text, each byte its own element in every mode, without a kernel's call or the
  // loop's per-byte tests. Elements are written up to the capacity, as the loop would. From 64
  // bytes on, whole blocks of every level, the kernel is quicker.
  if (src_len < kPadded) {
    if (src_len >= 8 && ShortAsciiText(p, src_len)) {
      if (dst == nullptr) return src_len;
      const std::size_t fill = src_len <= dst_cap ? src_len : dst_cap;
      std::size_t i = 0;
      for (; i + 8 <= fill; i += 8) {
        for (std::size_t j = 0; j < 8; ++j) dst[i + j] = static_cast<wchar_t>(p[i + j]);
      }
      for (; i < fill; ++i) dst[i] = static_cast<wchar_t>(p[i]);
      return src_len <= dst_cap ? src_len : 0;
    }
  }
  // The first kernel call, before anything else is set up: a text it settles whole, the common
  // case, needs nothing more.
  DecodeStep first = {0, 0};
  if (src_len >= k.block) {
    first = k.decode(p, src_len, dst, dst != nullptr ? dst_cap : 0,
                     (flags & UTF8_DROP_BOM) != 0 ? kDecodeStopAtBom : 0);
    if (first.read == src_len) return first.written;
  }
  return DecodeTextAfter(k, p, src_len, dst, dst_cap, flags, first);
}

}  // namespace internal
}  // namespace qor

namespace {

// utf8_to_wchar with the best table: a tail call into the level's entry.
std::size_t DecodeBest(const char* src, std::size_t src_len, wchar_t* dst, std::size_t dst_cap,
                       int flags) {
  const DecodeKernels& k = BestDecodeKernels();
  return k.decode_text(k, src, src_len, dst, dst_cap, flags);
}

}  // namespace

extern "C" std::size_t utf8_to_wchar(const char* src, std::size_t src_len, wchar_t* dst,
                                     std::size_t dst_cap, int flags) {
  return DecodeBest(src, src_len, dst, dst_cap, flags);
}

std::wstring utf8_to_wchar(const std::string& text) {
  // A short text is decoded once, into a buffer with room for one element a byte: what the
  // filling call would write, so a result of 0 is a failure or an empty text either way, and the
  // result is allocated once at its size.
  constexpr std::size_t kOnePass = 1024;
  if (text.size() <= kOnePass) {
    wchar_t buffer[kOnePass];
    const std::size_t written = DecodeBest(text.data(), text.size(), buffer, kOnePass, 0);
    return std::wstring(buffer, written);
  }
  const std::size_t measured = utf8_to_wchar(text.data(), text.size(), nullptr, 0, 0);
  if (measured == 0) return std::wstring();
  std::wstring result(measured, L'\0');
  const std::size_t written = utf8_to_wchar(text.data(), text.size(), &result[0], measured, 0);
  if (written == 0) return std::wstring();
  return result;
}
