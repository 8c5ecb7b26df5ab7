// The UTF-8 codec's encoder: 32-bit wide characters to 31-bit UTF-8 (one to six bytes). Runs of
// plain elements go to the best encoding kernel; the scalar rule below takes every other element.
#include <cstdint>
#include <cwchar>
#include <string>

#include "encoding/encode_kernels.h"
#include "qor/qorstl.h"

namespace qor {
namespace internal {
namespace {

// Texts of fewer elements than this are encoded without a kernel.
constexpr std::size_t kShortEncode = 16;

// wchar_to_utf8 on a bounded or zero-terminated input; `kernels` is fetched only for a text of a
// block or more.
template <class Kernels>
std::size_t Encode(Kernels kernels, const wchar_t* src, std::size_t src_len, char* dst,
                   std::size_t dst_cap, int flags) {
  if (src == nullptr || (dst != nullptr && dst_cap == 0)) return 0;
  const bool lenient = (flags & UTF8_SKIP_INVALID) != 0;
  const bool drop_bom = (flags & UTF8_DROP_BOM) != 0;
  // A zero-terminated input is measured first, so that no block reads past its terminator.
  const std::size_t n = src_len != 0 ? src_len : std::wcslen(src);
  auto* out = reinterpret_cast<unsigned char*>(dst);
  // A text shorter than a block runs the scalar rule for plain runs in place of a kernel's call,
  // its leading ASCII narrowed first, a byte an element up to the capacity, as the rule writes it.
  const bool short_text = n < kShortEncode;
  std::size_t i = 0;
  if (short_text) {
    const auto ascii = [src](std::size_t at) {
      return static_cast<std::uint32_t>(src[at]) - 1u < 0x7Fu;
    };
    if (out == nullptr) {
      while (i < n && ascii(i)) ++i;
    } else {
      for (const std::size_t fill = n <= dst_cap ? n : dst_cap; i < fill && ascii(i); ++i)
        out[i] = static_cast<unsigned char>(src[i]);
    }
    if (i == n) return n;
  }
  const PlainRule rule = {0x10FFFF, 0xD800, drop_bom ? 0xFEFFu : 0u};
  const EncodeKernels* k = short_text ? nullptr : &kernels();
  std::size_t count = i;  // bytes counted, and in a filling call also written
  for (;;) {
    std::size_t done = 0;
    if (out == nullptr) {
      count += short_text ? MeasurePlainScalar(src + i, n - i, rule, done)
                          : k->measure(src + i, n - i, rule, done);
      i += done;
    } else {
      i += short_text ? EncodePlainScalar(src + i, n - i, out + count, dst_cap - count, rule, done)
                      : k->encode(src + i, n - i, out + count, dst_cap - count, rule, done);
      count += done;
    }
    if (i == n) return count;
    // The kernel stopped before an element that is not plain, or one it had no room for.
    const auto c = static_cast<std::uint32_t>(src[i++]);
    if (c == 0) return count;
    if (IsSurrogate(c) || c >= 0x80000000u) {
      if (!lenient) return 0;
      continue;
    }
    if (c == 0xFEFF && drop_bom) continue;
    const unsigned len = EncodedLength(c);
    if (out != nullptr) {
      if (dst_cap - count < len) return 0;
      WriteSequence(c, len, out + count);
    }
    count += len;
  }
}

// The std::wstring overload; a text of up to kOnePass elements is encoded once, into a buffer with
// room for six bytes an element, the longest form: a result of 0 is then a failure or an empty
// text, as with the two passes, and the result is allocated once at its size.
constexpr std::size_t kOnePass = 1024;

template <class Kernels>
std::string EncodeString(Kernels kernels, const std::wstring& text) {
  if (text.size() <= kOnePass) {
    char buffer[6 * kOnePass];
    const std::size_t written = Encode(kernels, text.data(), text.size(), buffer, sizeof buffer, 0);
    return std::string(buffer, written);
  }
  const std::size_t measured = Encode(kernels, text.data(), text.size(), nullptr, 0, 0);
  if (measured == 0) return std::string();
  std::string result(measured, '\0');
  const std::size_t written = Encode(kernels, text.data(), text.size(), &result[0], measured, 0);
  if (written == 0) return std::string();
  return result;
}

const EncodeKernels& Best() {
  return BestEncodeKernels();
}

}  // namespace

std::size_t WideToUtf8With(const EncodeKernels& kernels, const wchar_t* src, std::size_t src_len,
                           char* dst, std::size_t dst_cap, int flags) {
  return Encode([&kernels]() -> const EncodeKernels& { return kernels; }, src, src_len, dst,
                dst_cap, flags);
}

std::string WideStringToUtf8With(const EncodeKernels& kernels, const std::wstring& text) {
  return EncodeString([&kernels]() -> const EncodeKernels& { return kernels; }, text);
}

}  // namespace internal
}  // namespace qor

extern "C" std::size_t wchar_to_utf8(const wchar_t* src, std::size_t src_len, char* dst,
                                     std::size_t dst_cap, int flags) {
  return qor::internal::Encode(qor::internal::Best, src, src_len, dst, dst_cap, flags);
}

std::string wchar_to_utf8(const std::wstring& text) {
  return qor::internal::EncodeString(qor::internal::Best, text);
}
