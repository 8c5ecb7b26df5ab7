// The comparisons' case folding in the "C" locale, written from the rule, shared by the comparison
// tests and the compare fuzz target: A to Z fold to a to z, every other unit keeps its value, and
// units order as unsigned values.
#ifndef QORSTL_TESTS_MODELS_CASE_FOLD_MODEL_H_
#define QORSTL_TESTS_MODELS_CASE_FOLD_MODEL_H_

#include <cstddef>
#include <string>
#include <type_traits>

namespace qor_test {

// A unit's value as the comparisons see it, folded unless `case_sensitive`.
template <class Char>
unsigned long FoldCase(Char c, bool case_sensitive) {
  // Wide values stay below 2^31 here, so signed and unsigned wchar_t platforms agree.
  const auto value = static_cast<unsigned long>(static_cast<std::make_unsigned_t<Char>>(c));
  return case_sensitive || value < 'A' || value > 'Z' ? value : value + ('a' - 'A');
}

// Sign of comparing the zero-terminated texts x and y over at most n units.
template <class Char>
int CompareFolded(const Char* x, const Char* y, std::size_t n, bool case_sensitive) {
  for (std::size_t i = 0; i < n; ++i) {
    const unsigned long fx = FoldCase(x[i], case_sensitive), fy = FoldCase(y[i], case_sensitive);
    if (fx != fy) return fx < fy ? -1 : 1;
    if (x[i] == 0) break;
  }
  return 0;
}

// string_containsIgnoreCase: whether `part` stands in `text` once both are folded; an empty part
// never does.
inline bool ContainsFolded(std::string text, std::string part) {
  for (std::string* s : {&text, &part}) {
    for (char& c : *s) c = static_cast<char>(FoldCase(c, false));
  }
  return !part.empty() && text.find(part) != std::string::npos;
}

// Wide text of the same shape as the bytes `s`: bytes below 0xF0 keep their value, the others
// stand for values far above the Latin range (where no folding may reach).
inline std::wstring WidenBytes(const std::string& s) {
  std::wstring wide;
  for (char c : s) {
    const auto b = static_cast<unsigned char>(c);
    wide.push_back(static_cast<wchar_t>(b < 0xF0 ? b : (b & 0x0Fu) << 24 | b));
  }
  return wide;
}

}  // namespace qor_test

#endif  // QORSTL_TESTS_MODELS_CASE_FOLD_MODEL_H_
