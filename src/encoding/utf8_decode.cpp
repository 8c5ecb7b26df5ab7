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
// overlapping). A zero byte or a high byte flags its word; a zero byte's borrow may flag the next
// byte as well, which only sends the text to the loop.
bool ShortAsciiText(const unsigned char* p, std::size_t n) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ull, kHigh = 0x8080808080808080ull;
  std::uint64_t flagged = 0;
  const auto add = [&](std::size_t at) {
    std::uint64_t word;
    std::memcpy(&word, p + at, sizeof word);
    flagged |= word | (word - kOnes);
  };
  for (std::size_t i = 0; i + 8 < n; i += 8) add(i);
  add(n - 8);
  return (flagged & kHigh) == 0;
}

// A rest shorter than a block, but not shorter than this, is decoded by the kernel from a copy of
// kPadded bytes; a shorter one is quicker for the rule.
constexpr std::size_t kPaddedRest = 16;
constexpr std::size_t kPadded = 64;

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

template <bool kFill, bool kLenient>
std::size_t DecodeOfKind(const DecodeKernels& kernels, const unsigned char* p, std::size_t src_len,
                         wchar_t* out, std::size_t dst_cap, bool drop_bom) {
  // A zero src_len leaves the input unbounded: only its zero byte ends it.
  if (src_len == 0)
    return Decode<kFill, kLenient, false>(kernels, p, nullptr, out, out + dst_cap, drop_bom, 0, p);
  const unsigned options = drop_bom ? kDecodeStopAtBom : 0;
  // The first kernel call here: a text it settles whole needs nothing more.
  std::size_t read = 0, count = 0;
  if (src_len >= kernels.block) {
    const DecodeStep step = kernels.decode(p, src_len, out, kFill ? dst_cap : 0, options);
    if (step.read == src_len) return step.written;
    read = step.read;
    count = step.written;
  }
  // A text shorter than a block, or the last part of one, need not go to the rule byte by byte.
  if (src_len - read < kernels.block && src_len - read >= kPaddedRest && kernels.block <= kPadded) {
    std::size_t rest = 0;
    if (DecodePaddedRest<kFill>(kernels, p + read, src_len - read, kFill ? out + count : nullptr,
                                kFill ? dst_cap - count : 0, options, rest))
      return count + rest;
  }
  return Decode<kFill, kLenient, true>(kernels, p + read, p + src_len, kFill ? out + count : out,
                                       out + dst_cap, drop_bom, count, p + read + kernels.block);
}

// utf8_to_wchar; `kernels()` gives the table, fetched only for a text that is not short ASCII.
template <class Kernels>
std::size_t DecodeCall(Kernels kernels, const char* src, std::size_t src_len, wchar_t* dst,
                       std::size_t dst_cap, int flags) {
  if (src == nullptr || (dst != nullptr && dst_cap == 0)) return 0;
  const bool lenient = (flags & UTF8_SKIP_INVALID) != 0;
  const bool drop_bom = (flags & UTF8_DROP_BOM) != 0;
  const auto* p = reinterpret_cast<const unsigned char*>(src);
  // A short ASCII text, each byte its own element in every mode, without a kernel's call or the
  // loop's per-byte tests. Elements are written up to the capacity, as the loop would. From 64
  // bytes on, whole blocks of every level, the kernel is quicker.
  if (src_len >= 8 && src_len < 64 && ShortAsciiText(p, src_len)) {
    if (dst == nullptr) return src_len;
    const std::size_t fill = src_len <= dst_cap ? src_len : dst_cap;
    std::size_t i = 0;
    for (; i + 8 <= fill; i += 8) {
      for (std::size_t k = 0; k < 8; ++k) dst[i + k] = static_cast<wchar_t>(p[i + k]);
    }
    for (; i < fill; ++i) dst[i] = static_cast<wchar_t>(p[i]);
    return src_len <= dst_cap ? src_len : 0;
  }
  const DecodeKernels& k = kernels();
  if (dst == nullptr) {
    return lenient ? DecodeOfKind<false, true>(k, p, src_len, nullptr, 0, drop_bom)
                   : DecodeOfKind<false, false>(k, p, src_len, nullptr, 0, drop_bom);
  }
  return lenient ? DecodeOfKind<true, true>(k, p, src_len, dst, dst_cap, drop_bom)
                 : DecodeOfKind<true, false>(k, p, src_len, dst, dst_cap, drop_bom);
}

const DecodeKernels& Best() {
  return BestDecodeKernels();
}

}  // namespace

namespace qor {
namespace internal {

std::size_t Utf8ToWcharWith(const DecodeKernels& kernels, const char* src, std::size_t src_len,
                            wchar_t* dst, std::size_t dst_cap, int flags) {
  return DecodeCall([&kernels]() -> const DecodeKernels& { return kernels; }, src, src_len, dst,
                    dst_cap, flags);
}

}  // namespace internal
}  // namespace qor

extern "C" std::size_t utf8_to_wchar(const char* src, std::size_t src_len, wchar_t* dst,
                                     std::size_t dst_cap, int flags) {
  return DecodeCall(Best, src, src_len, dst, dst_cap, flags);
}

std::wstring utf8_to_wchar(const std::string& text) {
  // A short text is decoded once, into a buffer with room for one element a byte: what the
  // filling call would write, so a result of 0 is a failure or an empty text either way, and the
  // result is allocated once at its size.
  constexpr std::size_t kOnePass = 1024;
  if (text.size() <= kOnePass) {
    wchar_t buffer[kOnePass];
    const std::size_t written = DecodeCall(Best, text.data(), text.size(), buffer, kOnePass, 0);
    return std::wstring(buffer, written);
  }
  const std::size_t measured = utf8_to_wchar(text.data(), text.size(), nullptr, 0, 0);
  if (measured == 0) return std::wstring();
  std::wstring result(measured, L'\0');
  const std::size_t written = utf8_to_wchar(text.data(), text.size(), &result[0], measured, 0);
  if (written == 0) return std::wstring();
  return result;
}
