// The UTF-8 codec's encoder: 32-bit wide characters to 31-bit UTF-8 (one to six bytes).
#include <cstdint>
#include <string>

#include "encoding/utf8_rules.h"
#include "qor/qorstl.h"
#include "simd.h"

using namespace qor::internal;

extern "C" std::size_t wchar_to_utf8(const wchar_t* src, std::size_t src_len, char* dst,
                                     std::size_t dst_cap, int flags) {
  if (src == nullptr || (dst != nullptr && dst_cap == 0)) return 0;
  const bool lenient = (flags & UTF8_SKIP_INVALID) != 0;
  const bool drop_bom = (flags & UTF8_DROP_BOM) != 0;

  const wchar_t* p = src;
  const wchar_t* const end = src_len != 0 ? src + src_len : nullptr;
  auto* out = reinterpret_cast<unsigned char*>(dst);
  unsigned char* const out_end = out != nullptr ? out + dst_cap : nullptr;
  std::size_t count = 0;

  while (end == nullptr || p < end) {
    const auto c = static_cast<std::uint32_t>(*p);
    if (c - 1u < 0x7Fu && end != nullptr) {
      // Elements 1..7F are one byte each in every mode; the run is taken in blocks.
      const std::size_t room = out != nullptr ? static_cast<std::size_t>(out_end - out) : SIZE_MAX;
      const std::size_t run =
          qor::internal::AsciiRunToNarrow(p, static_cast<std::size_t>(end - p), out, room);
      if (run == 0) return 0;  // no room left for this byte
      p += run;
      count += run;
      if (out != nullptr) out += run;
      continue;
    }
    ++p;
    if (c == 0) return count;
    if (IsSurrogate(c) || c >= 0x80000000u) {
      if (!lenient) return 0;
      continue;
    }
    if (c == 0xFEFF && drop_bom) continue;

    const unsigned n = EncodedLength(c);
    count += n;
    if (out == nullptr) continue;
    if (static_cast<std::size_t>(out_end - out) < n) return 0;
    WriteSequence(c, n, out);
    out += n;
  }
  return count;
}

std::string wchar_to_utf8(const std::wstring& text) {
  const std::size_t measured = wchar_to_utf8(text.data(), text.size(), nullptr, 0, 0);
  if (measured == 0) return std::string();
  std::string result(measured, '\0');
  const std::size_t written = wchar_to_utf8(text.data(), text.size(), &result[0], measured, 0);
  if (written == 0) return std::string();
  return result;
}
