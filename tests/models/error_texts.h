// The texts the conversions by name return in place of text that does not convert, and for a name
// that no locale has, as the tests and the fuzz targets compare results with them.
#ifndef QORSTL_TESTS_MODELS_ERROR_TEXTS_H_
#define QORSTL_TESTS_MODELS_ERROR_TEXTS_H_

#include <cwchar>
#include <exception>
#include <locale>
#include <string>

#include "qor/qorstl.h"

namespace qor_test {

const std::wstring kFromBytesError = L"wstring_convert: from_bytes error";
const std::string kToBytesError = "wstring_convert: to_bytes error";

// The message of the standard error that making the facet of a locale named `name` throws, which a
// conversion by that name returns in place of the text; "" when the platform has the locale.
inline std::string MissingLocaleMessage(const std::string& name) {
  try {
    const qor::deletable_facet<std::codecvt_byname<wchar_t, char, std::mbstate_t>> facet(name);
  } catch (const std::exception& error) {
    return error.what();
  }
  return std::string();
}

// A message as the conversions to wide text return it: each byte widened as a signed character.
inline std::wstring WidenMessage(const std::string& message) {
  std::wstring wide;
  for (char c : message) wide += static_cast<wchar_t>(static_cast<signed char>(c));
  return wide;
}

}  // namespace qor_test

#endif  // QORSTL_TESTS_MODELS_ERROR_TEXTS_H_
