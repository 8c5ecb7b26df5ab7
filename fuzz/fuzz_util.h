// Small helpers shared by the fuzz targets: reading a fuzz input as a few fields, and failing with
// a message that says which property broke.
#ifndef QORSTL_FUZZ_FUZZ_UTIL_H_
#define QORSTL_FUZZ_FUZZ_UTIL_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace qor_fuzz {

// Aborts with `what` when `condition` fails; the fuzzer or the replay program reports the input.
inline void Check(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "property broken: %s\n", what);
  std::abort();
}

// Sign of a three-way result.
inline int Sign(long value) {
  return (value > 0) - (value < 0);
}

// A fuzz input read front to back; reads past its end give zero bytes and empty strings.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }

  // A field whose length, below `limit`, is given by the byte before it.
  std::string Field(std::size_t limit) {
    const std::size_t wanted = Byte() % limit;
    const std::size_t length = wanted < size_ - pos_ ? wanted : size_ - pos_;
    std::string field(reinterpret_cast<const char*>(data_ + pos_), length);
    pos_ += length;
    return field;
  }

  // Everything not read yet.
  std::string Rest() {
    std::string rest(reinterpret_cast<const char*>(data_ + pos_), size_ - pos_);
    pos_ = size_;
    return rest;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

}  // namespace qor_fuzz

#endif  // QORSTL_FUZZ_FUZZ_UTIL_H_
