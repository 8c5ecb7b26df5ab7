// Helpers shared by the conversion tests: readable dumps, wide strings from code values, corpus
// files and the error texts of the conversions by name.
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
  for (unsigned char b : bytes) os << std::hex << (b < 16 ? "0" : "") << unsigned(b) << ' ';
  return "[" + os.str() + "]";
}

inline std::string HexWide(const std::wstring& units) {
  std::ostringstream os;
  for (wchar_t u : units) os << std::hex << "0x" << static_cast<std::uint32_t>(u) << ' ';
  return "[" + os.str() + "]";
}

// A wide string of the given 32-bit values, negative ones (top bit set) included.
inline std::wstring Wide(std::initializer_list<std::uint32_t> values) {
  std::wstring w;
  for (std::uint32_t v : values) w.push_back(static_cast<wchar_t>(v));
  return w;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::string CorpusFile(const std::string& name) {
  return ReadFile(std::string(QORSTL_CORPUS_DIR) + "/" + name);
}

const char* const kUtf8CorpusFiles[] = {
    "mars-arabic.utf8.txt",    "mars-chinese.utf8.txt",    "mars-english.utf8.txt",
    "mars-french.utf8.txt",    "mars-german.utf8.txt",     "mars-greek.utf8.txt",
    "mars-hindi.utf8.txt",     "mars-japanese.utf8.txt",   "mars-russian.utf8.txt",
    "mars-thai.utf8.txt",      "mars-vietnamese.utf8.txt", "lipsum-arabic.utf8.txt",
    "lipsum-chinese.utf8.txt", "lipsum-emoji.utf8.txt",    "lipsum-hebrew.utf8.txt",
    "lipsum-hindi.utf8.txt",   "lipsum-japanese.utf8.txt", "lipsum-korean.utf8.txt",
    "lipsum-latin.utf8.txt",   "lipsum-russian.utf8.txt",
};

inline const std::wstring& FromBytesError() {
  static const std::wstring text = L"wstring_convert: from_bytes error";
  return text;
}

inline const std::string& ToBytesError() {
  static const std::string text = "wstring_convert: to_bytes error";
  return text;
}

}  // namespace qor_test

#endif  // QORSTL_TESTS_ENCODING_ENCODING_TEST_UTIL_H_
