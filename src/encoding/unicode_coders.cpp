// Strict UTF-8 and UTF-16 coders for the fixed encoding names, with ASCII runs taken in blocks.
#include "encoding/unicode_coders.h"

#include <climits>
#include <cstddef>
#include <cstdint>

#include "encoding/decode_kernels.h"
#include "encoding/utf8_rules.h"
#include "simd.h"

namespace qor {
namespace internal {
namespace {

constexpr std::uint32_t kMaxCode = 0x10FFFF;
constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

constexpr bool IsHighSurrogate(std::uint32_t v) {
  return (v & 0xFFFFFC00u) == 0xD800u;
}

constexpr bool IsLowSurrogate(std::uint32_t v) {
  return (v & 0xFFFFFC00u) == 0xDC00u;
}

// Whether the units at p start a run of at least two units 01..7F, worth a block conversion; a
// lone ASCII unit between others is cheaper for the scalar rule.
template <class Unit>
bool IsAsciiPair(const Unit* p, std::size_t avail) {
  return avail >= 2 && static_cast<std::uint32_t>(p[0]) - 1u < 0x7Fu &&
         static_cast<std::uint32_t>(p[1]) - 1u < 0x7Fu;
}

// Decodes the one well-formed sequence that starts at p, of which `avail` bytes are there.
// Returns its length and sets `code`, or returns 0 for a sequence that is malformed, overlong,
// cut short by the end, a surrogate or above 0x10FFFF. Reads no byte past a bad one.
inline unsigned DecodeSequence(const unsigned char* p, std::size_t avail, std::uint32_t& code) {
  const std::uint32_t b0 = p[0];
  if (b0 < 0x80) {
    code = b0;
    return 1;
  }
  if (b0 < 0xC2) return 0;  // a continuation byte, or C0/C1 which only start overlong forms
  if (b0 < 0xE0) {
    if (avail < 2 || !IsContinuation(p[1])) return 0;
    code = ((b0 & 0x1Fu) << 6) | (p[1] & 0x3Fu);
    return 2;
  }
  if (b0 < 0xF0) {
    if (avail < 3 || !IsContinuation(p[1]) || !IsContinuation(p[2])) return 0;
    code = ((b0 & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
    if (code < 0x800 || IsSurrogate(code)) return 0;
    return 3;
  }
  if (b0 < 0xF5) {
    if (avail < 4 || !IsContinuation(p[1]) || !IsContinuation(p[2]) || !IsContinuation(p[3])) {
      return 0;
    }
    code = ((b0 & 0x07u) << 18) | ((p[1] & 0x3Fu) << 12) | ((p[2] & 0x3Fu) << 6) | (p[3] & 0x3Fu);
    if (code < 0x10000 || code > kMaxCode) return 0;
    return 4;
  }
  return 0;  // F5..FF start no sequence of a value up to 0x10FFFF
}

// Writes the UTF-8 form of a code point up to 0x10FFFF at `out` (when not null); returns its
// length.
inline unsigned EncodeSequence(std::uint32_t code, unsigned char* out) {
  const unsigned n = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  if (out == nullptr) return n;
  if (n == 1) {
    out[0] = static_cast<unsigned char>(code);
    return 1;
  }
  constexpr unsigned char kLeadMarker[5] = {0, 0, 0xC0, 0xE0, 0xF0};
  out[0] = static_cast<unsigned char>(kLeadMarker[n] | (code >> (6 * (n - 1))));
  for (unsigned k = 1; k < n; ++k) {
    out[k] = static_cast<unsigned char>(0x80u | ((code >> (6 * (n - 1 - k))) & 0x3Fu));
  }
  return n;
}

// Room for decoding p[0, n): one element for every byte that is not a continuation byte (each
// decoded sequence starts at one), two for a four-byte lead when `units` asks for surrogate pairs.
std::size_t DecodedRoomScalar(const unsigned char* p, std::size_t n, bool units) {
  std::size_t room = 0;
  for (std::size_t k = 0; k < n; ++k) {
    room += static_cast<std::size_t>(!IsContinuation(p[k])) + (units && p[k] >= 0xF0 ? 1 : 0);
  }
  return room;
}

// As above, 16 bytes at a time; the scalar loop takes the last bytes.
std::size_t DecodedRoom(const unsigned char* p, std::size_t n, bool units) {
  std::size_t room = 0;
  std::size_t i = 0;
#if defined(QORSTL_HAVE_SSE2)
  const __m128i zero = _mm_setzero_si128();
  // As signed bytes, continuation bytes 80..BF are -128..-65, every other byte is above -65, and
  // the leads F0..FF are -16..-1.
  const __m128i continuation_ceiling = _mm_set1_epi8(-65);
  const __m128i long_lead_floor = _mm_set1_epi8(-17);
  while (n - i >= 16) {
    // Per-lane byte counters (at most two a block), summed before any lane can pass 255.
    const std::size_t blocks = (n - i) / 16 < 127 ? (n - i) / 16 : 127;
    __m128i counts = zero;
    for (std::size_t b = 0; b < blocks; ++b, i += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
      // A compare gives -1 where it holds, so subtracting it counts.
      counts = _mm_sub_epi8(counts, _mm_cmpgt_epi8(v, continuation_ceiling));
      if (units) {
        counts = _mm_sub_epi8(
            counts, _mm_and_si128(_mm_cmpgt_epi8(v, long_lead_floor), _mm_cmplt_epi8(v, zero)));
      }
    }
    const __m128i sums = _mm_sad_epu8(counts, zero);
    room += static_cast<std::size_t>(_mm_cvtsi128_si32(sums)) +
            static_cast<std::size_t>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
  }
#endif
  return room + DecodedRoomScalar(p + i, n - i, units);
}

// UTF-8 to wide elements: code points, or UTF-16 code units when `kUnits`. The scalar
// DecodeSequence states the rule; the best kernel settles the blocks of plain standard UTF-8 first
// (without four-byte sequences when they become surrogate pairs).
template <bool kUnits>
bool DecodeUtf8(const std::string& text, std::wstring& out) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  const std::size_t room = DecodedRoom(p, n, kUnits);
  if (room == 0) {  // empty, or nothing but continuation bytes
    out.clear();
    return n == 0;
  }
  out.assign(room, L'\0');
  wchar_t* const base = &out[0];
  const DecodeKernels& kernels = BestDecodeKernels();
  std::size_t i = 0;
  std::size_t w = 0;
  std::size_t rule_until = 0;
  while (i < n) {
    if (i >= rule_until) {
      const DecodeStep step =
          kernels.decode(p + i, n - i, base + w, room - w, kUnits ? kDecodeBmpOnly : 0);
      i += step.read;
      w += step.written;
      rule_until = i + kernels.block;
      if (i == n) break;
    }
    std::uint32_t code = 0;
    const unsigned len = DecodeSequence(p + i, n - i, code);
    if (len == 0) return false;
    i += len;
    if (kUnits && code >= 0x10000) {
      base[w++] = static_cast<wchar_t>(0xD800u + ((code - 0x10000u) >> 10));
      base[w++] = static_cast<wchar_t>(0xDC00u + (code & 0x3FFu));
    } else {
      base[w++] = static_cast<wchar_t>(code);
    }
  }
  out.resize(w);
  return true;
}

// Wide elements to UTF-8 at `out`, which has room for the length table's count: returns the byte
// count, or kFailed. With `kUnits` the elements are UTF-16 code units and a high-low pair makes one
// code point. Where two elements 1..7F stand, the run they start is narrowed 16 at a time first.
template <bool kUnits>
std::size_t EncodeUtf8(const wchar_t* p, std::size_t n, unsigned char* out) {
  std::size_t i = 0;
  std::size_t count = 0;
  while (i < n) {
    if (IsAsciiPair(p + i, n - i)) {
      const std::size_t run = AsciiRunToNarrow(p + i, n - i, out + count, n - i);
      i += run;
      count += run;
      continue;
    }
    std::uint32_t code = static_cast<std::uint32_t>(p[i++]);
    if (IsSurrogate(code)) {
      if (!kUnits || !IsHighSurrogate(code) || i == n) return kFailed;
      const auto low = static_cast<std::uint32_t>(p[i]);
      if (!IsLowSurrogate(low)) return kFailed;
      ++i;
      code = 0x10000u + ((code - 0xD800u) << 10) + (low - 0xDC00u);
    } else if (code > kMaxCode) {
      return kFailed;
    }
    count += EncodeSequence(code, out + count);
  }
  return count;
}

// Room for encoding p[0, n) as UTF-8: one to four bytes by the length table, taking the elements
// as unsigned values (a surrogate pair counts six bytes for the four it takes; an element that
// fails stops the encoder before it writes, so its count does not matter).
std::size_t EncodedRoomScalar(const wchar_t* p, std::size_t n) {
  std::size_t room = 0;
  for (std::size_t k = 0; k < n; ++k) {
    const auto c = static_cast<std::uint32_t>(p[k]);
    room += 1u + (c >= 0x80u) + (c >= 0x800u) + (c >= 0x10000u);
  }
  return room;
}

// As above, four elements at a time; the scalar loop takes the last elements.
std::size_t EncodedRoom(const wchar_t* p, std::size_t n) {
  std::size_t room = 0;
  std::size_t i = 0;
#if defined(QORSTL_HAVE_SSE2)
  // Unsigned comparisons made signed by flipping the top bit of both sides.
  const __m128i flip = _mm_set1_epi32(INT32_MIN);
  const __m128i above_1 = _mm_set1_epi32(0x7F ^ INT32_MIN);
  const __m128i above_2 = _mm_set1_epi32(0x7FF ^ INT32_MIN);
  const __m128i above_3 = _mm_set1_epi32(0xFFFF ^ INT32_MIN);
  while (n - i >= 4) {
    // Each lane adds at most 3 a block; flushed well before it could overflow.
    const std::size_t blocks = (n - i) / 4 < (1u << 24) ? (n - i) / 4 : (1u << 24);
    __m128i extra = _mm_setzero_si128();
    for (std::size_t b = 0; b < blocks; ++b, i += 4) {
      const __m128i v =
          _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i)), flip);
      extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, above_1));
      extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, above_2));
      extra = _mm_sub_epi32(extra, _mm_cmpgt_epi32(v, above_3));
    }
    alignas(16) std::uint32_t lanes[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), extra);
    room += 4 * blocks + lanes[0] + lanes[1] + lanes[2] + lanes[3];
  }
#endif
  return room + EncodedRoomScalar(p + i, n - i);
}

// Encodes into a result sized by the length table (a surrogate pair counts six bytes for the four
// it takes), then trims it to what was written.
template <bool kUnits>
bool EncodeUtf8String(const std::wstring& text, std::string& out) {
  const std::size_t room = EncodedRoom(text.data(), text.size());
  out.assign(room, '\0');
  if (room == 0) return true;
  const std::size_t size =
      EncodeUtf8<kUnits>(text.data(), text.size(), reinterpret_cast<unsigned char*>(&out[0]));
  if (size == kFailed) return false;
  out.resize(size);
  return true;
}

}  // namespace

bool Utf8ToCodePoints(const std::string& text, std::wstring& out) {
  return DecodeUtf8<false>(text, out);
}

bool Utf8ToUtf16Units(const std::string& text, std::wstring& out) {
  return DecodeUtf8<true>(text, out);
}

bool CodePointsToUtf8(const std::wstring& text, std::string& out) {
  return EncodeUtf8String<false>(text, out);
}

bool Utf16UnitsToUtf8(const std::wstring& text, std::string& out) {
  return EncodeUtf8String<true>(text, out);
}

bool Utf16BeToCodePoints(const std::string& text, std::wstring& out) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  if (n % 2 != 0) return false;  // a unit cut short by the end
  out.assign(n / 2, L'\0');
  std::size_t w = 0;
  for (std::size_t i = 0; i < n; i += 2) {
    const std::uint32_t unit = (std::uint32_t{p[i]} << 8) | p[i + 1];
    if (!IsSurrogate(unit)) {
      out[w++] = static_cast<wchar_t>(unit);
      continue;
    }
    if (!IsHighSurrogate(unit) || n - i < 4) return false;
    const std::uint32_t low = (std::uint32_t{p[i + 2]} << 8) | p[i + 3];
    if (!IsLowSurrogate(low)) return false;
    out[w++] = static_cast<wchar_t>(0x10000u + ((unit - 0xD800u) << 10) + (low - 0xDC00u));
    i += 2;
  }
  out.resize(w);
  return true;
}

bool CodePointsToUtf16Be(const std::wstring& text, std::string& out) {
  std::size_t size = 0;
  for (const wchar_t element : text) {
    const auto code = static_cast<std::uint32_t>(element);
    if (IsSurrogate(code) || code > kMaxCode) return false;
    size += code < 0x10000 ? 2 : 4;
  }
  out.assign(size, '\0');
  std::size_t w = 0;
  const auto put_unit = [&out, &w](std::uint32_t unit) {
    out[w++] = static_cast<char>(static_cast<unsigned char>(unit >> 8));
    out[w++] = static_cast<char>(static_cast<unsigned char>(unit & 0xFF));
  };
  for (const wchar_t element : text) {
    const auto code = static_cast<std::uint32_t>(element);
    if (code < 0x10000) {
      put_unit(code);
    } else {
      put_unit(0xD800u + ((code - 0x10000u) >> 10));
      put_unit(0xDC00u + (code & 0x3FFu));
    }
  }
  return true;
}

}  // namespace internal
}  // namespace qor
