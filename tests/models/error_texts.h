// The texts the conversions by name return in place of text that does not convert, as the tests
// and the fuzz targets compare results with them.
#ifndef QORSTL_TESTS_MODELS_ERROR_TEXTS_H_
#define QORSTL_TESTS_MODELS_ERROR_TEXTS_H_

#include <string>

namespace qor_test {

const std::wstring kFromBytesError = L"wstring_convert: from_bytes error";
const std::string kToBytesError = "wstring_convert: to_bytes error";

}  // namespace qor_test

#endif  // QORSTL_TESTS_MODELS_ERROR_TEXTS_H_
