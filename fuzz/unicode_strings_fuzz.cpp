// Fuzzes the Unicode string conversions against models written from their rules: to_utf8 and
// to_utf16 per element, and the named shortcuts against the conversions by name and the codec they
// stand for. Input: the text; the same bytes, four to an element, are the wide text.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_util.h"
#include "models/utf8_model.h"
#include "qor/qorstl.h"

using qor_fuzz::Check;
using qor_test::ModelToUtf16;
using qor_test::ModelToUtf8;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::wstring wide(size / 4, L'\0');
  if (!wide.empty()) std::memcpy(&wide[0], data, wide.size() * sizeof(wchar_t));

  // The loose coders.
  Check(qor::to_utf16(text) == ModelToUtf16(text), "to_utf16");
  Check(qor::to_utf8(wide) == ModelToUtf8(wide), "to_utf8");

  // The named shortcuts are their conversions by name and the codec's overload.
  Check(qor::string_utf8_to_wstring(text) == qor::string_string_to_wstring(text, "utf-8"),
        "string_utf8_to_wstring");
  Check(qor::string_wstring_to_utf8(wide) == qor::string_wstring_to_string(wide, "utf-8"),
        "string_wstring_to_utf8");
  Check(qor::string_utf8_wstring_to_string(wide) == wchar_to_utf8(wide),
        "string_utf8_wstring_to_string");
  return 0;
}
