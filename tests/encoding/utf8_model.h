// Models of the UTF-8 reading rules, written plainly from the rules, shared by the codec tests and
// the kernel tests.
#ifndef QORSTL_TESTS_ENCODING_UTF8_MODEL_H_
#define QORSTL_TESTS_ENCODING_UTF8_MODEL_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "qor/qorstl.h"

namespace qor_test {

using Units = std::vector<std::uint32_t>;
using Result = std::pair<std::size_t, Units>;  // the call's result, and the units it wrote

// The decoding rules written out plainly; `cap` 0 measures. A zero byte in `s` ends the text.
inline Result ModelDecode(const std::string& s, int flags, std::size_t cap) {
  Result r{0, {}};
  for (std::size_t i = 0; i < s.size();) {
    const unsigned b = std::uint8_t(s[i]);
    if (!(flags & UTF8_SKIP_INVALID) && (b == 0xC0 || b == 0xC1 || b == 0xF5 || b == 0xFF))
      return {0, {}};
    if (b == 0) break;
    std::size_t ones = 0;  // a lead byte of n > 1 bytes starts with n one bits, then a zero
    while (ones < 8 && ((b << ones) & 0x80)) ++ones;
    const std::size_t n = b < 0x80 ? 1 : ones >= 2 && ones <= 6 ? ones : 0;
    bool ok = n != 0 && i + n <= s.size();
    for (std::size_t k = 1; ok && k < n; ++k) ok = (std::uint8_t(s[i + k]) >> 6) == 2;
    if (!ok && !(flags & UTF8_SKIP_INVALID)) return {0, {}};
    if (!ok) {
      ++i;
      continue;
    }
    std::uint32_t v = n == 1 ? b : b & (0x7Fu >> n);
    for (std::size_t k = 1; k < n; ++k) v = v << 6 | (std::uint8_t(s[i + k]) & 63);
    i += n, ++r.first;
    if (cap == 0) continue;
    const bool surrogate = v >= 0xD800 && v <= 0xDFFF;
    if (r.second.size() == cap || (surrogate && !(flags & UTF8_SKIP_INVALID))) return {0, {}};
    if (surrogate || (v == 0xFEFF && (flags & UTF8_DROP_BOM)))
      --r.first;
    else
      r.second.push_back(v);
  }
  return r;
}

// Standard UTF-8 (values up to 0x10FFFF, no overlong form, no surrogate): the length of the
// sequence at s[i] and its value, or 0 when none starts there.
inline std::size_t StandardSequence(const std::string& s, std::size_t i, std::uint32_t& value) {
  const unsigned b = std::uint8_t(s[i]);
  const std::size_t n = b < 0x80   ? 1
                        : b < 0xC0 ? 0
                        : b < 0xE0 ? 2
                        : b < 0xF0 ? 3
                        : b < 0xF8 ? 4
                                   : 0;
  if (n == 0 || i + n > s.size()) return 0;
  value = n == 1 ? b : b & (0x7Fu >> n);
  for (std::size_t k = 1; k < n; ++k) {
    if ((std::uint8_t(s[i + k]) >> 6) != 2) return 0;
    value = value << 6 | (std::uint8_t(s[i + k]) & 63);
  }
  const std::uint32_t least[5] = {0, 0, 0x80, 0x800, 0x10000};
  if (value < least[n] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 0;
  return n;
}

// The one- to six-byte form of c by the length table: a lead of n one bits, then six bits a byte.
inline std::string Form(std::uint32_t c) {
  const unsigned n = c < 0x80        ? 1
                     : c < 0x800     ? 2
                     : c < 0x10000   ? 3
                     : c < 0x200000  ? 4
                     : c < 0x4000000 ? 5
                                     : 6;
  if (n == 1) return std::string(1, static_cast<char>(c));
  std::string s(n, '\0');
  for (unsigned k = n - 1; k > 0; --k, c >>= 6) s[k] = static_cast<char>(0x80 | (c & 0x3F));
  s[0] = static_cast<char>((0xFF00u >> n) | c);
  return s;
}

inline bool Surrogate(std::uint32_t c) {
  return c >= 0xD800 && c <= 0xDFFF;
}

// The byte-pattern layout of 31-bit UTF-8, with at least one byte of 0x80 or above.
inline bool ModelIsUtf8(const std::string& s) {
  bool high = false;
  for (std::size_t i = 0; i < s.size();) {
    const unsigned b = std::uint8_t(s[i]);
    high = high || b >= 0x80;
    std::size_t ones = 0;
    while (ones < 8 && ((b << ones) & 0x80)) ++ones;
    if (ones == 1 || ones >= 7) return false;
    const std::size_t n = ones == 0 ? 1 : ones;
    if (i + n > s.size()) return false;
    for (std::size_t k = 1; k < n; ++k) {
      if ((std::uint8_t(s[i + k]) >> 6) != 2) return false;
    }
    i += n;
  }
  return high;
}

}  // namespace qor_test

#endif  // QORSTL_TESTS_ENCODING_UTF8_MODEL_H_
