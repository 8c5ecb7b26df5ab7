// Helpers shared by the conversion tests: readable dumps, wide strings from 32-bit values, files.
#ifndef QORSTL_TESTS_ENCODING_ENCODING_TEST_UTIL_H_
#define QORSTL_TESTS_ENCODING_ENCODING_TEST_UTIL_H_

#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <string>

namespace qor_test {

inline std::string Hex(const std::string& bytes) {
  std::ostringstream os;
  for (unsigned char b : bytes) os << std::hex << unsigned(b) << ' ';
  return "[" + os.str() + "]";
}

inline std::string Hex(const std::wstring& units) {
  std::ostringstream os;
  for (wchar_t u : units) os << std::hex << static_cast<std::uint32_t>(u) << ' ';
  return "[" + os.str() + "]";
}

inline std::wstring W(std::initializer_list<std::uint32_t> values) {
  std::wstring w;
  for (std::uint32_t v : values) w.push_back(static_cast<wchar_t>(v));
  return w;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

const std::wstring kFromBytesError = L"wstring_convert: from_bytes error";
const std::string kToBytesError = "wstring_convert: to_bytes error";

}  // namespace qor_test

#endif  // QORSTL_TESTS_ENCODING_ENCODING_TEST_UTIL_H_
