// The UTF-8 codec's decoder: 31-bit UTF-8 (one to six bytes) to 32-bit wide characters.
#include <cstdint>
#include <cstring>
#include <string>

#include "encoding/utf8_rules.h"
#include "qor/qorstl.h"
#include "simd.h"

using namespace qor::internal;

namespace {

// The four bytes that strict mode refuses before classifying: two overlong two-byte leads, the
// lead of values from 0x140000 up, and FF.
constexpr bool StrictlyRefused(unsigned char b) {
  return b == 0xC0 || b == 0xC1 || b == 0xF5 || b == 0xFF;
}

}  // namespace

extern "C" std::size_t utf8_to_wchar(const char* src, std::size_t src_len, wchar_t* dst,
                                     std::size_t dst_cap, int flags) {
  if (src == nullptr || (dst != nullptr && dst_cap == 0)) return 0;
  const bool lenient = (flags & UTF8_SKIP_INVALID) != 0;
  const bool drop_bom = (flags & UTF8_DROP_BOM) != 0;

  const auto* p = reinterpret_cast<const unsigned char*>(src);
  // A zero src_len leaves the input unbounded: only its zero byte ends it.
  const unsigned char* const end = src_len != 0 ? p + src_len : nullptr;
  wchar_t* out = dst;
  wchar_t* const out_end = dst != nullptr ? dst + dst_cap : nullptr;
  std::size_t count = 0;

  while (end == nullptr || p < end) {
    const unsigned char b = *p;
    if (IsAsciiNonZero(b)) {
      // Bytes 01..7F decode to themselves in every mode. With a bounded input the whole run is
      // taken in blocks; a zero-terminated input is read byte by byte, never past its zero.
      std::size_t run;
      if (end != nullptr) {
        const std::size_t room =
            out != nullptr ? static_cast<std::size_t>(out_end - out) : SIZE_MAX;
        run = qor::internal::AsciiRunToWide(p, static_cast<std::size_t>(end - p), out, room);
        if (run == 0) return 0;  // no room left for this byte
      } else {
        if (out != nullptr) {
          if (out == out_end) return 0;
          *out = static_cast<wchar_t>(b);
        }
        run = 1;
      }
      p += run;
      count += run;
      if (out != nullptr) out += run;
      continue;
    }

    if (end != nullptr && b >= 0xC2 && b <= 0xDF) {
      // Text of one- and two-byte characters goes 16 bytes at a time while it lasts.
      bool advanced = false;
      std::size_t added = 0, used = 0;
      while (end - p >= 16 &&
             (used = qor::internal::TwoByteBlockToWide(
                  p, out, out != nullptr ? static_cast<std::size_t>(out_end - out) : SIZE_MAX,
                  added)) != 0) {
        p += used;
        count += added;
        if (out != nullptr) out += added;
        advanced = true;
      }
      if (advanced) continue;
    }
    if (!lenient && StrictlyRefused(b)) return 0;
    if (b == 0) return count;
    const unsigned n = kSequenceLengths.of[b];
    if (n == 0) {  // a continuation byte or FE/FF where a sequence should begin
      if (!lenient) return 0;
      ++p;
      continue;
    }
    // Cut short by the end of a bounded input, or a byte after the lead that is no continuation
    // byte. The bytes are examined in order and the examination stops at the first bad one, so a
    // zero byte ends it and nothing after a terminator is read.
    if ((end != nullptr && static_cast<std::size_t>(end - p) < n) || !ContinuationsFollow(p, n)) {
      if (!lenient) return 0;
      ++p;
      continue;
    }

    ++count;
    if (out == nullptr) {  // measuring: surrogates and U+FEFF are counted like any value
      p += n;
      continue;
    }
    if (out == out_end) return 0;
    const std::uint32_t value = SequenceValue(p, n);
    *out = static_cast<wchar_t>(value);
    if (IsSurrogate(value)) {
      if (!lenient) return 0;  // the value stays stored; the caller must not use the buffer
      --count;                 // withdrawn: the next value overwrites it
    } else if (value == 0xFEFF && drop_bom) {
      --count;
    } else {
      ++out;
    }
    p += n;
  }
  return count;
}

std::wstring utf8_to_wchar(const std::string& text) {
  const std::size_t measured = utf8_to_wchar(text.data(), text.size(), nullptr, 0, 0);
  if (measured == 0) return std::wstring();
  std::wstring result(measured, L'\0');
  const std::size_t written = utf8_to_wchar(text.data(), text.size(), &result[0], measured, 0);
  if (written == 0) return std::wstring();
  return result;
}
