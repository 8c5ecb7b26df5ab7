// Fuzzes the conversions by name and the loose BMP coders: no crash, whole-text round trips, and
// agreement with the codec and the UTF-8 layout test on valid UTF-8 within Unicode.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "models/error_texts.h"
#include "qor/qorstl.h"

namespace {

using qor_test::kFromBytesError;
using qor_test::kToBytesError;

void Check(bool condition) {
  if (!condition) std::abort();
}

// Wide text from the first bytes, four to an element.
std::wstring WideFrom(const std::uint8_t* data, std::size_t size) {
  std::wstring wide(size / 4, L'\0');
  if (!wide.empty()) std::memcpy(&wide[0], data, wide.size() * sizeof(wchar_t));
  return wide;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const bool is_message = std::string(kToBytesError) == bytes ||
                          std::string(kFromBytesError.begin(), kFromBytesError.end()) == bytes;

  // "utf-8": a successful decoding re-encodes to the input, the codec reads it the same way (up
  // to a zero byte, where the codec stops), and it has the UTF-8 layout.
  const std::wstring code_points = qor::string_string_to_wstring(bytes, "utf-8");
  const bool valid_utf8 = code_points != kFromBytesError || is_message;
  if (valid_utf8) {
    Check(qor::string_wstring_to_string(code_points, "utf-8") == bytes);
    const std::size_t zero = bytes.find('\0');
    Check(utf8_to_wchar(bytes.substr(0, zero)) == code_points.substr(0, code_points.find(L'\0')));
    Check(qor::string_is_ascii_string(bytes) || qor::string_is_utf8_string(bytes));
    Check(qor::string_ascii_to_utf8(bytes, "qor-no-such-locale") == bytes);
  }

  // "utf-8-16" accepts exactly what "utf-8" accepts and round-trips it.
  const std::wstring units = qor::string_string_to_wstring(bytes, "utf-8-16");
  if (!is_message) Check((units != kFromBytesError) == valid_utf8);
  if (units != kFromBytesError) Check(qor::string_wstring_to_string(units, "utf-8-16") == bytes);

  // "utf-16": round trip on success.
  const std::wstring from_utf16 = qor::string_string_to_wstring(bytes, "utf-16");
  if (from_utf16 != kFromBytesError) {
    Check(qor::string_wstring_to_string(from_utf16, "utf-16") == bytes);
  }

  // The loose coders: to_utf16 gives BMP values, which to_utf8 and to_utf16 carry through.
  const std::wstring loose = qor::to_utf16(bytes);
  Check(qor::to_utf16(qor::to_utf8(loose)) == loose);

  // Wide input: whatever encodes decodes back, to the same elements for the code point names; for
  // "utf-8-16" an element above 0xFFFF comes back as a surrogate pair, which encodes the same.
  const std::wstring wide = WideFrom(data, size);
  for (const char* name : {"utf-8", "utf-16", "utf-8-16"}) {
    const std::string encoded = qor::string_wstring_to_string(wide, name);
    if (encoded == kToBytesError) continue;
    const std::wstring decoded = qor::string_string_to_wstring(encoded, name);
    Check(decoded != kFromBytesError);
    if (std::string(name) != "utf-8-16") Check(decoded == wide);
    Check(qor::string_wstring_to_string(decoded, name) == encoded);
  }
  return 0;
}
