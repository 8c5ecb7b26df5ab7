// Models of the UTF-8 reading rules, written plainly from the rules, shared by the tests and the
// fuzz targets of the codec, its kernels and string_utf8_find_invalid.
#ifndef QORSTL_TESTS_MODELS_UTF8_MODEL_H_
#define QORSTL_TESTS_MODELS_UTF8_MODEL_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "qor/qorstl.h"

namespace qor_test {

using Units = std::vector<std::uint32_t>;

inline bool Surrogate(std::uint32_t c) {
  return c >= 0xD800 && c <= 0xDFFF;
}

// The 31-bit form at s[i]: a byte below 0x80, or a lead of n = 2..6 one bits and a zero followed
// by n - 1 bytes 10xxxxxx. Its length and value, or 0 when none starts there.
inline std::size_t Sequence(const std::string& s, std::size_t i, std::uint32_t& value) {
  const unsigned b = std::uint8_t(s[i]);
  std::size_t n = 0;
  while (n < 8 && ((b << n) & 0x80)) ++n;
  n = n == 0 ? 1 : n <= 6 && n >= 2 ? n : 0;
  if (n == 0 || i + n > s.size()) return 0;
  value = n == 1 ? b : b & (0x7Fu >> n);
  for (std::size_t k = 1; k < n; ++k) {
    if ((std::uint8_t(s[i + k]) >> 6) != 2) return 0;
    value = value << 6 | (std::uint8_t(s[i + k]) & 63);
  }
  return n;
}

// Standard UTF-8: at most four bytes, no overlong form, nothing above 0x10FFFF, no surrogate.
inline std::size_t StandardSequence(const std::string& s, std::size_t i, std::uint32_t& value) {
  const std::size_t n = Sequence(s, i, value);
  const std::uint32_t least[5] = {0, 0, 0x80, 0x800, 0x10000};
  return n != 0 && n <= 4 && value >= least[n] && value <= 0x10FFFF && !Surrogate(value) ? n : 0;
}

// The codec's strict reading refuses four lead bytes outright (FF has no form anyway).
inline bool StrictlyRefused(const std::string& s, std::size_t i) {
  const unsigned b = std::uint8_t(s[i]);
  return b == 0xC0 || b == 0xC1 || b == 0xF5;
}

// The decoding rules written out plainly: the call's result, and what it stored, from the start of
// the buffer (a withdrawn value stays stored until the next one takes its place, also after the
// result's end or after a failure). `cap` 0 measures. A zero byte in `s` ends the text.
inline std::pair<std::size_t, Units> ModelDecode(const std::string& s, int flags, std::size_t cap) {
  const bool lenient = (flags & UTF8_SKIP_INVALID) != 0;
  std::size_t count = 0;
  Units stored;
  for (std::size_t i = 0; i < s.size() && s[i] != '\0';) {
    std::uint32_t v = 0;
    const std::size_t n = Sequence(s, i, v);
    if (!lenient && (n == 0 || StrictlyRefused(s, i))) return {0, stored};
    i += n == 0 ? 1 : n;
    if (n == 0) continue;
    if (cap == 0) {  // measuring counts surrogates and U+FEFF like any value
      ++count;
      continue;
    }
    if (count == cap) return {0, stored};
    stored.resize(count);
    stored.push_back(v);
    if (Surrogate(v) && !lenient) return {0, stored};
    const bool withdrawn = Surrogate(v) || (v == 0xFEFF && (flags & UTF8_DROP_BOM));
    if (!withdrawn) ++count;
  }
  return {count, stored};
}

// Where the first malformed sequence of `text` begins, or npos. The codec's rules are the strict
// decoder's (the 31-bit forms less four lead bytes and the surrogates); the standard rules read
// only standard sequences.
inline std::size_t ModelFindInvalid(const std::string& text, bool standard) {
  for (std::size_t i = 0, n = 0; i < text.size(); i += n) {
    std::uint32_t v = 0;
    n = standard ? StandardSequence(text, i, v) : Sequence(text, i, v);
    if (!standard && (StrictlyRefused(text, i) || Surrogate(v))) n = 0;
    if (n == 0) return i;
  }
  return std::string::npos;
}

// The one- to six-byte form of c: six value bits in each continuation byte, from the last, until
// the rest fits the lead, which for n bytes has n one bits, a zero and 7 - n value bits.
inline std::string Form(std::uint32_t c) {
  if (c < 0x80) return std::string(1, static_cast<char>(c));
  std::string tail;
  unsigned n = 1;
  for (; n == 1 || c >= (1u << (7 - n)); ++n, c >>= 6) tail.insert(0, 1, char(0x80 | (c & 0x3F)));
  return static_cast<char>((0xFF00u >> n) | c) + tail;
}

}  // namespace qor_test

#endif  // QORSTL_TESTS_MODELS_UTF8_MODEL_H_
