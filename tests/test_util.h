// Helpers shared by the tests: readable dumps, wide strings from 32-bit values, files, corpus text
// and random strings over a small alphabet.
#ifndef QORSTL_TESTS_TEST_UTIL_H_
#define QORSTL_TESTS_TEST_UTIL_H_

#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <random>
#include <sstream>
#include <string>

#include "models/error_texts.h"

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
  return std::wstring(values.begin(), values.end());
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A real text from tests/data, or the empty string when it is absent.
inline std::string Corpus(const std::string& name) {
  return ReadFile(std::string(QORSTL_TEST_DATA_DIR) + "/" + name);
}

// A string of up to `max_size` bytes drawn from `alphabet`, so that repeats and overlaps abound.
inline std::string RandomFrom(std::mt19937& rng, const std::string& alphabet,
                              std::size_t max_size) {
  std::string s(rng() % (max_size + 1), '\0');
  for (char& c : s) c = alphabet[rng() % alphabet.size()];
  return s;
}

}  // namespace qor_test

#endif  // QORSTL_TESTS_TEST_UTIL_H_
