// Conversion of whole texts by encoding name: the three Unicode names and the locale names, and
// the UTF-8 conversions named after them.
#include <cwchar>
#include <exception>
#include <locale>
#include <memory>
#include <string>

#include "encoding/locale_converter.h"
#include "encoding/unicode_coders.h"
#include "qor/qorstl.h"

namespace {

// The texts a caller compares results with to recognise a failed conversion.
constexpr const char* kFromBytesError = "wstring_convert: from_bytes error";
constexpr const char* kToBytesError = "wstring_convert: to_bytes error";

enum class Encoding { kUtf8, kUtf16, kUtf8Utf16, kLocale };

// Exact, case-sensitive names; the empty name means UTF-8 and everything else names a locale.
Encoding Select(const std::string& name) {
  if (name.empty() || name == "utf-8") return Encoding::kUtf8;
  if (name == "utf-16") return Encoding::kUtf16;
  if (name == "utf-8-16") return Encoding::kUtf8Utf16;
  return Encoding::kLocale;
}

using LocaleFacet = qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>>;

// Throws the standard library's runtime error when no locale has that name.
std::unique_ptr<LocaleFacet> MakeLocaleFacet(const std::string& name) {
  return std::unique_ptr<LocaleFacet>(new LocaleFacet(name, std::size_t{0}));
}

// A message as a wide text, each byte taken as a signed character.
std::wstring Widen(const char* message) {
  std::wstring wide;
  for (const char* p = message; *p != '\0'; ++p) {
    wide.push_back(static_cast<wchar_t>(static_cast<signed char>(*p)));
  }
  return wide;
}

}  // namespace

namespace qor {

std::wstring string_string_to_wstring(const std::string& text, const std::string& encoding) {
  try {
    std::wstring result;
    bool converted = false;
    switch (Select(encoding)) {
      case Encoding::kUtf8:
        converted = internal::Utf8ToCodePoints(text, result);
        break;
      case Encoding::kUtf16:
        converted = internal::Utf16BeToCodePoints(text, result);
        break;
      case Encoding::kUtf8Utf16:
        converted = internal::Utf8ToUtf16Units(text, result);
        break;
      case Encoding::kLocale:
        // Created first, so that a name without a locale fails also for an empty text.
        converted = internal::LocaleToWide(*MakeLocaleFacet(encoding), text, result);
        break;
    }
    if (!converted) return Widen(kFromBytesError);
    return result;
  } catch (const std::exception& error) {
    return Widen(error.what());
  }
}

std::string string_wstring_to_string(const std::wstring& text, const std::string& encoding) {
  try {
    std::string result;
    bool converted = false;
    switch (Select(encoding)) {
      case Encoding::kUtf8:
        converted = internal::CodePointsToUtf8(text, result);
        break;
      case Encoding::kUtf16:
        converted = internal::CodePointsToUtf16Be(text, result);
        break;
      case Encoding::kUtf8Utf16:
        converted = internal::Utf16UnitsToUtf8(text, result);
        break;
      case Encoding::kLocale:
        converted = internal::LocaleToNarrow(*MakeLocaleFacet(encoding), text, result);
        break;
    }
    if (!converted) return kToBytesError;
    return result;
  } catch (const std::exception& error) {
    return error.what();
  }
}

// The "utf-8" conversions by name, without looking the name up: the same coders, the same error
// texts. One result object, returned in place.
std::wstring string_utf8_to_wstring(const std::string& text) {
  try {
    // A short text is decoded on the stack and its result constructed in place, at its size.
    if (text.size() <= internal::kOnePassUtf8Bytes) {
      wchar_t decoded[internal::kOnePassUtf8Bytes];
      const std::size_t size = internal::ShortUtf8ToCodePoints(text, decoded);
      if (size == internal::kNotConverted) return Widen(kFromBytesError);
      return std::wstring(decoded, size);
    }
    std::wstring result;
    if (!internal::Utf8ToCodePoints(text, result)) return Widen(kFromBytesError);
    return result;
  } catch (const std::exception& error) {
    return Widen(error.what());
  }
}

std::string string_wstring_to_utf8(const std::wstring& text) {
  // A short text is encoded here and its result constructed in place, with no call on the way.
  if (text.size() < internal::kShortCodePoints) {
    unsigned char bytes[4 * internal::kShortCodePoints];
    const std::size_t size = internal::ShortCodePointsToUtf8(text.data(), text.size(), bytes);
    if (size == internal::kNotConverted) return kToBytesError;
    return std::string(reinterpret_cast<const char*>(bytes), size);
  }
  std::string result;
  try {
    if (!internal::CodePointsToUtf8(text, result)) result = kToBytesError;
  } catch (const std::exception& error) {
    result = error.what();
  }
  return result;
}

}  // namespace qor
