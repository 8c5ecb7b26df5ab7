// Fuzzes the encoding classification and the ASCII conversions against models written from their
// rules: the ASCII test (which checks eight bytes at a time) against a byte loop at every
// alignment, the UTF-8 layout test against the UTF-8 model, and the ASCII conversions against the
// two conversions by name they chain. Input: the text.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_util.h"
#include "models/utf8_model.h"
#include "qor/qorstl.h"

namespace {

using qor_fuzz::Check;

bool ModelIsAscii(const std::string& text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  // Classification; the word-at-a-time ASCII test at every alignment of its first word.
  for (std::size_t skip = 0; skip < 8 && skip <= text.size(); ++skip) {
    const std::string tail = text.substr(skip);
    Check(qor::string_is_ascii_string(tail) == ModelIsAscii(tail), "string_is_ascii_string");
  }
  const bool is_ascii = ModelIsAscii(text);
  const bool is_utf8 = qor_test::ModelIsUtf8(text);
  Check(qor::string_is_utf8_string(text) == is_utf8, "string_is_utf8_string");
  Check(!qor::string_is_utf16_string(text), "string_is_utf16_string");

  // The ASCII conversions: text that needs no conversion comes back as it is, whatever the name;
  // anything else goes through the two conversions by name.
  const std::wstring code_points = qor::string_string_to_wstring(text, "utf-8");
  for (const char* name : {"utf-8", "utf-16", "utf-8-16", "", "qor-no-such-locale"}) {
    const std::string to_local = qor::string_utf8_to_ascii(text, name);
    if (is_ascii) {
      Check(to_local == text, "string_utf8_to_ascii keeps ASCII text");
    } else {
      Check(to_local == qor::string_wstring_to_string(code_points, name),
            "string_utf8_to_ascii chains the conversions");
    }
    const std::string to_utf8 = qor::string_ascii_to_utf8(text, name);
    if (is_ascii || is_utf8) {
      Check(to_utf8 == text, "string_ascii_to_utf8 keeps ASCII and UTF-8 text");
    } else {
      Check(to_utf8 ==
                qor::string_wstring_to_string(qor::string_string_to_wstring(text, name), "utf-8"),
            "string_ascii_to_utf8 chains the conversions");
    }
  }
  return 0;
}
