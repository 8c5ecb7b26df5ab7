// The 32-bit int in which the library reports lengths and counts. Private to the library.
#ifndef QORSTL_SRC_LOW_INT32_H_
#define QORSTL_SRC_LOW_INT32_H_

#include <cstddef>
#include <cstdint>

namespace qor {
namespace internal {

// The low 32 bits of `n`, read as a signed int: sizes of 2^31 and more wrap, they are not clamped.
inline int LowInt32(std::size_t n) {
  return static_cast<int>(static_cast<std::int32_t>(static_cast<std::uint32_t>(n)));
}

// Minus LowInt32(n), negated on the 32-bit value (a length whose low bits are 0x80000000 stays so).
inline int NegatedLowInt32(std::size_t n) {
  return LowInt32(std::size_t{0} - n);
}

}  // namespace internal
}  // namespace qor

#endif  // QORSTL_SRC_LOW_INT32_H_
