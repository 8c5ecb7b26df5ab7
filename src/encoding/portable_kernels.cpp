// The portable kernels: standard UTF-8 checked, decoded and encoded by the rule, a sequence at a
// time, with runs of ASCII taken a word at a time, text of one- and two-byte sequences decoded
// eight bytes a step, and runs of one sequence length without a new dispatch per sequence. Room is
// counted once per stretch of input, not per element.
#include "encoding/portable_kernels.h"

#include <cstdint>
#include <cstring>

#include "encoding/utf8_rules.h"
#include "encoding/validate_kernels.h"

namespace qor {
namespace internal {

namespace {

constexpr std::uint64_t kHighBits = 0x8080808080808080ull;
constexpr std::uint64_t kLowBits = 0x0101010101010101ull;

inline std::uint64_t Word(const unsigned char* p) {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// The high bit of every byte of `word` that is 0x80 or above or is zero, the first such byte in
// memory order included; bytes after a zero byte may be flagged too (its borrow). On a big-endian
// machine the borrow runs towards the first byte, so a 01 byte just before a zero byte may be
// flagged as well: callers then only take fewer bytes a word at a time.
inline std::uint64_t NotAsciiNonZero(std::uint64_t word) {
  return (word | (word - kLowBits)) & kHighBits;
}

// Index, in memory order, of the first byte whose high bit `flags` (not zero) holds.
inline unsigned FirstFlagged(std::uint64_t flags) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  return static_cast<unsigned>(__builtin_clzll(flags)) / 8;
#else
  return static_cast<unsigned>(__builtin_ctzll(flags)) / 8;
#endif
}

// What one lookup tells of a byte: the length of the standard sequence it starts (1 for 00..7F,
// 2..4 for C2..F4, 0 for the bytes that start none), and the range of the byte after a lead, which
// alone rules out overlong forms, surrogates and values above 0x10FFFF: second - low <= span.
struct Lead {
  unsigned char length;
  unsigned char low;
  unsigned char span;
};
struct LeadTable {
  Lead of[256];
  constexpr LeadTable() : of() {
    for (unsigned b = 0; b < 256; ++b) {
      const unsigned length = b < 0x80   ? 1
                              : b < 0xC2 ? 0
                              : b < 0xE0 ? 2
                              : b < 0xF0 ? 3
                              : b < 0xF5 ? 4
                                         : 0;
      const unsigned low = b == 0xE0 ? 0xA0 : b == 0xF0 ? 0x90 : 0x80;
      const unsigned span = b == 0xE0 || b == 0xED ? 0x1F
                            : b == 0xF0            ? 0x2F
                            : b == 0xF4            ? 0x0F
                                                   : 0x3F;
      of[b] = {static_cast<unsigned char>(length), static_cast<unsigned char>(low),
               static_cast<unsigned char>(span)};
    }
  }
};
constexpr LeadTable kLeads;

inline bool SecondFits(const Lead& lead, unsigned second) {
  return second - lead.low <= lead.span;
}

// Length of the run of bytes below 0x80 at p[0, n): 32 bytes a step, then words.
inline std::size_t AsciiRun(const unsigned char* p, std::size_t n) {
  std::size_t i = 0;
  for (; n - i >= 32; i += 32) {
    if (((Word(p + i) | Word(p + i + 8) | Word(p + i + 16) | Word(p + i + 24)) & kHighBits) != 0)
      break;
  }
  for (; n - i >= 8; i += 8) {
    const std::uint64_t high = Word(p + i) & kHighBits;
    if (high != 0) return i + FirstFlagged(high);
  }
  while (i < n && p[i] < 0x80) ++i;
  return i;
}

// Eight bytes as a word whose low byte is the first, whatever the byte order.
inline std::uint64_t LittleEndianWord(const unsigned char* p) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  return __builtin_bswap64(Word(p));
#else
  return Word(p);
#endif
}

// Eight bytes of text (byte k in bits 8k..8k+7) taken as one- and two-byte sequences at once:
// plain when every byte is ASCII other than zero, a lead C2..DF followed by a continuation, or
// that continuation. A lead in the last byte is left to the next window. Where each element goes
// and what it is are worked out for all eight bytes together, so no branch waits for the length
// of a sequence.
class MixedWindow {
 public:
  explicit MixedWindow(std::uint64_t bytes) {
    constexpr std::uint64_t kEach = 0x0101010101010101ull;
    const std::uint64_t high = bytes & kHighBits;
    const std::uint64_t bit6 = bytes << 1 & kHighBits;
    const std::uint64_t bit5 = bytes << 2 & kHighBits;
    const std::uint64_t leads = high & bit6;
    const std::uint64_t continuations = high & ~bit6;
    // A lead C2..DF has a value bit among bits 1..4 (C0 and C1 only start overlong forms).
    const std::uint64_t lead_bits = ((bytes & 0x1E * kEach) + 0x7E * kEach) & kHighBits;
    const std::uint64_t zeros = (bytes - kLowBits) & ~bytes & kHighBits;
    refused_ = (leads & (bit5 | ~lead_bits)) | zeros | (continuations ^ leads << 8);
    ascii_ = high == 0;
    last_lead_ = static_cast<unsigned>(leads >> 63);
    // Element of each byte, counted from 1: a continuation shares it with its lead.
    elements_ = ((continuations >> 7) ^ kEach) * kEach;
    // Each byte's value, low and high byte apart: a continuation's is its sequence's.
    const std::uint64_t joined = (continuations >> 7) * 0xFF;
    const std::uint64_t previous = bytes << 8;
    low_ = (bytes & ~joined) | (joined & ((bytes & 0x3F * kEach) | (previous & 0x03 * kEach) << 6));
    high_ = joined & previous >> 2 & 0x07 * kEach;
  }
  bool Plain() const { return refused_ == 0; }
  bool Ascii() const { return ascii_; }
  std::size_t Read() const { return 8 - last_lead_; }
  std::size_t Elements() const { return (elements_ >> 56) - last_lead_; }
  // Writes out[0, Elements()): each byte writes its element, so a lead's stand-in is overwritten
  // by its continuation's value. A lead in the last byte writes the element before it again.
  void Store(wchar_t* out) const {
    for (unsigned k = 0; k < 7; ++k) out[Element(k) - 1] = static_cast<wchar_t>(Value(k));
    const std::uint32_t last = Value(7) ^ ((Value(7) ^ Value(6)) & (0u - last_lead_));
    out[Element(7) - 1 - last_lead_] = static_cast<wchar_t>(last);
  }

 private:
  std::size_t Element(unsigned k) const { return elements_ >> 8 * k & 0xFF; }
  std::uint32_t Value(unsigned k) const {
    return static_cast<std::uint32_t>((low_ >> 8 * k & 0xFF) | (high_ >> 8 * k & 0xFF) << 8);
  }

  std::uint64_t refused_;
  std::uint64_t elements_;
  std::uint64_t low_;
  std::uint64_t high_;
  unsigned last_lead_;
  bool ascii_;
};

// The decoder, one instance per kind of call. Stops before a zero byte, a malformed sequence, a
// sequence the options leave to the caller, or the first element past `room`.
template <bool kFill, bool kStopAtBom, bool kBmpOnly>
DecodeStep DecodeSequences(const unsigned char* p, const std::size_t n, wchar_t* out,
                           const std::size_t room) {
  const std::size_t tail = n > 3 ? n - 3 : 0;  // a sequence starting before it is readable whole
  std::size_t i = 0;
  std::size_t w = 0;
  for (;;) {
    // A sequence that starts before `end` has room for its element: every element so far took a
    // byte at least.
    const std::size_t end = kFill && room - w < n - i ? i + (room - w) : n;
    if (i == end) return {i, w};
    const std::size_t limit = end < tail ? end : tail;
    while (i < limit) {
      unsigned b = p[i];
      bool mostly_ascii = false;
      if (b < 0x80) {
        if (b == 0) return {i, w};
        const std::size_t run_start = i;
        for (; end - i >= 8; i += 8, w += 8) {
          const std::uint64_t flags = NotAsciiNonZero(Word(p + i));
          if (flags != 0) {
            const unsigned k = FirstFlagged(flags);
            if (kFill) {
              for (unsigned j = 0; j < k; ++j) out[w + j] = static_cast<wchar_t>(p[i + j]);
            }
            i += k;
            w += k;
            break;
          }
          if (kFill) {
            for (unsigned j = 0; j < 8; ++j) out[w + j] = static_cast<wchar_t>(p[i + j]);
          }
        }
        if (i >= limit) break;
        // After two words of ASCII or more the text is mostly ASCII (Latin script): the next
        // sequence goes to the runs of one length below, and words come back at once.
        mostly_ascii = i - run_start >= 16;
      }
      // One- and two-byte sequences mixed, as text in Greek or Cyrillic script has them: eight
      // bytes a step, with no branch on where a sequence ends. A window of only ASCII hands back to
      // the words above.
      bool ascii_again = false;
      while (!mostly_ascii && end - i >= 8 && p[i] < 0xE0) {
        const MixedWindow window(LittleEndianWord(p + i));
        if (!window.Plain()) break;
        if (kFill) window.Store(out + w);
        i += window.Read();
        w += window.Elements();
        if (window.Ascii()) {
          ascii_again = true;
          break;
        }
      }
      if (i >= limit || ascii_again) continue;
      b = p[i];
      const Lead lead = kLeads.of[b];
      if (lead.length == 2) {
        do {
          const unsigned second = p[i + 1];
          if (!IsContinuation(static_cast<unsigned char>(second))) return {i, w};
          if (kFill) out[w] = static_cast<wchar_t>((b & 0x1Fu) << 6 | (second & 0x3Fu));
          i += 2;
          ++w;
        } while (i < limit && (b = p[i]) - 0xC2u < 0x1Eu);
      } else if (lead.length == 3) {
        Lead next = lead;
        do {
          const unsigned second = p[i + 1], third = p[i + 2];
          if (!SecondFits(next, second) || !IsContinuation(static_cast<unsigned char>(third)))
            return {i, w};
          const std::uint32_t value = (b & 0x0Fu) << 12 | (second & 0x3Fu) << 6 | (third & 0x3Fu);
          if (kStopAtBom && value == 0xFEFF) return {i, w};
          if (kFill) out[w] = static_cast<wchar_t>(value);
          i += 3;
          ++w;
        } while (i < limit && (next = kLeads.of[b = p[i]]).length == 3);
      } else if (lead.length == 4 && !kBmpOnly) {
        Lead next = lead;
        do {
          const unsigned second = p[i + 1], third = p[i + 2], fourth = p[i + 3];
          if (!SecondFits(next, second) || !IsContinuation(static_cast<unsigned char>(third)) ||
              !IsContinuation(static_cast<unsigned char>(fourth)))
            return {i, w};
          if (kFill) {
            out[w] = static_cast<wchar_t>((b & 0x07u) << 18 | (second & 0x3Fu) << 12 |
                                          (third & 0x3Fu) << 6 | (fourth & 0x3Fu));
          }
          i += 4;
          ++w;
        } while (i < limit && (next = kLeads.of[b = p[i]]).length == 4);
      } else if (IsAsciiNonZero(static_cast<unsigned char>(b))) {  // short of a word of room
        if (kFill) out[w] = static_cast<wchar_t>(b);
        ++i;
        ++w;
      } else {
        return {i, w};
      }
    }
    // The last three bytes of the text, each sequence checked against its end.
    while (i < end) {
      const unsigned length = StandardSequence(p + i, n - i);
      if (length == 0 || p[i] == 0) return {i, w};
      if (kBmpOnly && length == 4) return {i, w};
      const std::uint32_t value = length == 1 ? p[i] : SequenceValue(p + i, length);
      if (kStopAtBom && value == 0xFEFF) return {i, w};
      if (kFill) out[w] = static_cast<wchar_t>(value);
      i += length;
      ++w;
    }
  }
}

template <bool kFill>
DecodeStep DecodeWithOptions(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                             unsigned options) {
  switch (options & (kDecodeStopAtBom | kDecodeBmpOnly)) {
    case 0:
      return DecodeSequences<kFill, false, false>(p, n, out, room);
    case kDecodeStopAtBom:
      return DecodeSequences<kFill, true, false>(p, n, out, room);
    case kDecodeBmpOnly:
      return DecodeSequences<kFill, false, true>(p, n, out, room);
    default:
      return DecodeSequences<kFill, true, true>(p, n, out, room);
  }
}

// Eight elements, two to a 64-bit word.
struct EightElements {
  std::uint64_t pair[4];
  explicit EightElements(const wchar_t* p) {
    for (unsigned k = 0; k < 4; ++k) std::memcpy(&pair[k], p + 2 * k, sizeof pair[k]);
  }
  // Whether all eight are 1..0x7F. A lane borrows from the one above it only when it is zero, and
  // so flagged itself.
  bool Ascii() const {
    constexpr std::uint64_t kLaneOnes = 0x0000000100000001ull;
    constexpr std::uint64_t kLaneNotAscii = 0xFFFFFF80FFFFFF80ull;
    return ((pair[0] | (pair[0] - kLaneOnes) | pair[1] | (pair[1] - kLaneOnes) | pair[2] |
             (pair[2] - kLaneOnes) | pair[3] | (pair[3] - kLaneOnes)) &
            kLaneNotAscii) == 0;
  }
  // Writes them, all ASCII, as eight bytes: one store where the byte order lets the word be packed.
  void StoreAscii(unsigned char* out) const {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    const std::uint64_t bytes = (pair[0] & 0xFF) | (pair[0] >> 24 & 0xFF00) |
                                (pair[1] & 0xFF) << 16 | (pair[1] >> 8 & 0xFF000000) |
                                (pair[2] & 0xFF) << 32 | (pair[2] << 8 & 0xFF0000000000) |
                                (pair[3] & 0xFF) << 48 | (pair[3] << 24 & 0xFF00000000000000);
    std::memcpy(out, &bytes, sizeof bytes);
#else
    for (unsigned k = 0; k < 8; ++k) {
      out[k] = static_cast<unsigned char>(pair[k / 2] >> (k % 2 == 0 ? 32 : 0));
    }
#endif
  }
};

// The encoder, measuring or filling. Elements that a run below does not take (0, surrogates,
// values past the rule's largest, the excluded one) go to the check of the rule itself.
template <bool kFill>
std::size_t EncodeSequences(const wchar_t* p, const std::size_t n, unsigned char* out,
                            const std::size_t room, const PlainRule& rule, std::size_t& bytes) {
  // The runs below take only what is plain under every rule a caller passes (ASCII and two-byte
  // forms unless the rule leaves out one of them); anything else meets the rule's own check.
  const bool small_plain = rule.max >= 0x7FF && (rule.excluded == 0 || rule.excluded > 0x7FF);
  const std::uint32_t ascii_span = small_plain ? 0x7F : 0;   // values 1..0x7F
  const std::uint32_t small_span = small_plain ? 0x7FF : 0;  // values 1..0x7FF
  const bool four_plain =
      rule.max > 0xFFFF && (rule.excluded <= 0xFFFF || rule.excluded > rule.max);
  const std::uint32_t four_span = four_plain ? rule.max - 0xFFFF : 0;  // values 0x10000..max
  const auto value = [p](std::size_t at) { return static_cast<std::uint32_t>(p[at]); };
  std::size_t i = 0;
  std::size_t w = 0;
  for (;;) {
    // An element before `end` fits, whatever it is: a plain element's form has four bytes at most.
    const std::size_t fit = kFill ? (room - w) / 4 : n - i;
    const std::size_t end = fit < n - i ? i + fit : n;
    if (end - i < 8 && end != n) {  // little room left: each form checked against it
      std::size_t written = 0;
      i += EncodePlainScalar(p + i, n - i, out + w, room - w, rule, written);
      bytes = w + written;
      return i;
    }
    while (i < end) {
      std::uint32_t c = value(i);
      if (c - 1 < ascii_span) {
        for (; end - i >= 8; i += 8, w += 8) {
          const EightElements eight(p + i);
          if (!eight.Ascii()) break;
          if (kFill) eight.StoreAscii(out + w);
        }
        if (i == end) break;
        c = value(i);
      }
      if (c - 1 < small_span) {
        // One- and two-byte forms mixed, without a branch on the length: two bytes each time,
        // the second of a one-byte form overwritten by the next form. So each step needs the next
        // element small too; the last one of a run is written on its own. After eight elements
        // the runs of ASCII are tried again.
        const std::size_t stop = end - i > 8 ? i + 8 : end - 1;
        for (; i < stop && value(i + 1) - 1 < small_span; ++i) {
          c = value(i);
          const std::uint32_t two = 1 - ((c - 0x80) >> 31);  // by arithmetic: no branch to miss
          const std::uint32_t lead = c ^ ((c ^ (0xC0u | c >> 6)) & (0u - two));
          if (kFill) {
            out[w] = static_cast<unsigned char>(lead);
            out[w + 1] = static_cast<unsigned char>(0x80u | (c & 0x3Fu));
          }
          w += 1 + two;
        }
        if (i == stop && stop != end - 1) continue;  // the next step writes over the spare byte
        c = value(i);
        const unsigned length = c >= 0x80 ? 2 : 1;
        if (kFill) WriteSequence(c, length, out + w);
        ++i;
        w += length;
        continue;
      }
      if (c - 0x800 < 0xF800) {
        do {
          if (!IsPlain(c, rule)) {
            bytes = w;
            return i;
          }
          if (kFill) {
            out[w] = static_cast<unsigned char>(0xE0u | c >> 12);
            out[w + 1] = static_cast<unsigned char>(0x80u | ((c >> 6) & 0x3Fu));
            out[w + 2] = static_cast<unsigned char>(0x80u | (c & 0x3Fu));
          }
          ++i;
          w += 3;
        } while (i < end && (c = value(i)) - 0x800 < 0xF800);
        continue;
      }
      if (c - 0x10000 < four_span) {
        do {
          if (kFill) {
            out[w] = static_cast<unsigned char>(0xF0u | c >> 18);
            out[w + 1] = static_cast<unsigned char>(0x80u | ((c >> 12) & 0x3Fu));
            out[w + 2] = static_cast<unsigned char>(0x80u | ((c >> 6) & 0x3Fu));
            out[w + 3] = static_cast<unsigned char>(0x80u | (c & 0x3Fu));
          }
          ++i;
          w += 4;
        } while (i < end && (c = value(i)) - 0x10000 < four_span);
        continue;
      }
      if (!IsPlain(c, rule)) {
        bytes = w;
        return i;
      }
      const unsigned length = EncodedLength(c);  // a small value the runs leave to the rule
      if (kFill) WriteSequence(c, length, out + w);
      ++i;
      w += length;
    }
    if (i == n) {
      bytes = w;
      return i;
    }
  }
}

}  // namespace

std::size_t PortableAsciiPrefix(const unsigned char* p, std::size_t n) {
  return AsciiRun(p, n);
}

std::size_t PortableStandardPrefix(const unsigned char* p, std::size_t n, bool& high) {
  const std::size_t tail = n > 3 ? n - 3 : 0;  // a sequence starting before it is readable whole
  bool seen_high = false;
  std::size_t i = 0;
  while (i < tail) {
    unsigned b = p[i];
    if (b < 0x80) {
      i += AsciiRun(p + i, n - i);
      continue;
    }
    seen_high = true;
    Lead lead = kLeads.of[b];
    if (lead.length == 2) {
      do {
        if (!IsContinuation(p[i + 1])) return i;
        i += 2;
      } while (i < tail && (b = p[i]) - 0xC2u < 0x1Eu);
    } else if (lead.length == 3) {
      do {
        if (!SecondFits(lead, p[i + 1]) || !IsContinuation(p[i + 2])) return i;
        i += 3;
      } while (i < tail && (lead = kLeads.of[p[i]]).length == 3);
    } else if (lead.length == 4) {
      do {
        if (!SecondFits(lead, p[i + 1]) || !IsContinuation(p[i + 2]) || !IsContinuation(p[i + 3]))
          return i;
        i += 4;
      } while (i < tail && (lead = kLeads.of[p[i]]).length == 4);
    } else {
      return i;
    }
  }
  // The last three bytes of the text, each sequence checked against its end.
  return StandardPrefixFrom(p, i, n, seen_high, high);
}

std::size_t PortableValidPrefix(const unsigned char* p, std::size_t n) {
  bool high = false;
  return PortableStandardPrefix(p, n, high);
}

DecodeStep PortableDecode(const unsigned char* p, std::size_t n, wchar_t* out, std::size_t room,
                          unsigned options) {
  return out != nullptr ? DecodeWithOptions<true>(p, n, out, room, options)
                        : DecodeWithOptions<false>(p, n, nullptr, 0, options);
}

std::size_t PortableMeasure(const wchar_t* p, std::size_t n, const PlainRule& rule,
                            std::size_t& used) {
  std::size_t bytes = 0;
  used = EncodeSequences<false>(p, n, nullptr, 0, rule, bytes);
  return bytes;
}

std::size_t PortableEncode(const wchar_t* p, std::size_t n, unsigned char* out, std::size_t room,
                           const PlainRule& rule, std::size_t& written) {
  return EncodeSequences<true>(p, n, out, room, rule, written);
}

}  // namespace internal
}  // namespace qor
