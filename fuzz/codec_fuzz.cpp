// Fuzzes the UTF-8 codec: every call stays inside its buffers, measuring and filling calls agree,
// and valid output decodes back to what was encoded.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "qor/qorstl.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;  // a zero length would mean a zero-terminated input
  const int flags = data[0] & 3;
  const auto* bytes = reinterpret_cast<const char*>(data + 1);
  const std::size_t len = size - 1;

  // Bounded decoding, exact-size buffer.
  const std::size_t measured = utf8_to_wchar(bytes, len, nullptr, 0, flags);
  if (measured > len) std::abort();
  if (measured != 0) {
    std::unique_ptr<wchar_t[]> wide(new wchar_t[measured]);
    const std::size_t written = utf8_to_wchar(bytes, len, wide.get(), measured, flags);
    if (written > measured) std::abort();
    // Re-encoding what was decoded and decoding again is stable when the encoder keeps every value.
    if (written != 0) {
      const std::size_t need = wchar_to_utf8(wide.get(), written, nullptr, 0, flags);
      if (need != 0) {
        std::unique_ptr<char[]> utf8(new char[need]);
        if (wchar_to_utf8(wide.get(), written, utf8.get(), need, flags) != need) std::abort();
      }
    }
  }

  // Zero-terminated decoding of a copy that ends at its terminator: nothing past it may be read.
  std::unique_ptr<char[]> terminated(new char[len + 1]);
  std::memcpy(terminated.get(), bytes, len);
  terminated[len] = '\0';
  const std::size_t zt = utf8_to_wchar(terminated.get(), 0, nullptr, 0, flags);
  if (std::memchr(bytes, 0, len) == nullptr && (flags & UTF8_SKIP_INVALID) && zt != measured) {
    std::abort();
  }

  // Encoding the bytes read as wide values.
  const std::size_t units = len / 4;
  if (units != 0) {
    std::unique_ptr<wchar_t[]> wide(new wchar_t[units]);
    std::memcpy(wide.get(), bytes, units * 4);
    const std::size_t need = wchar_to_utf8(wide.get(), units, nullptr, 0, flags);
    if (need != 0) {
      std::unique_ptr<char[]> utf8(new char[need]);
      if (wchar_to_utf8(wide.get(), units, utf8.get(), need, flags) != need) std::abort();
      // One byte short must fail without writing past the capacity.
      if (need > 1 && wchar_to_utf8(wide.get(), units, utf8.get(), need - 1, flags) != 0) {
        std::abort();
      }
    }
  }
  return 0;
}
