// printf-style formatting into narrow and wide strings, and parsing of integers and doubles.
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <string>

#include "low_int32.h"
#include "qor/qorstl.h"

namespace {

// Formats into one heap buffer of exactly the measured size, n + 1 bytes, zero-filled; null when
// the output is empty or the formatter fails. Every pass works on its own copy of `args`.
std::unique_ptr<char[]> FormatNarrow(const char* fmt, va_list args) {
  va_list pass;
  va_copy(pass, args);
  const int length = std::vsnprintf(nullptr, 0, fmt, pass);
  va_end(pass);
  if (length <= 0) return nullptr;
  // The length and its terminator are counted in a 32-bit int: INT_MAX bytes plus one do not fit.
  if (length == INT_MAX) throw std::bad_alloc();
  const std::size_t size = static_cast<std::size_t>(length) + 1;
  std::unique_ptr<char[]> buffer(new char[size]());
  va_copy(pass, args);
  std::vsnprintf(buffer.get(), size, fmt, pass);
  va_end(pass);
  return buffer;
}

// The position of the first zero byte of s[0, size), or size: eight bytes at a time for the short
// outputs most formats give, the platform's scan for long ones.
std::size_t FirstZero(const char* s, std::size_t size) {
  if (size > 64) {
    const void* zero = std::memchr(s, 0, size);
    return zero == nullptr ? size : static_cast<std::size_t>(static_cast<const char*>(zero) - s);
  }
  constexpr std::uint64_t kOnes = 0x0101010101010101ull;
  std::size_t i = 0;
  for (; i + 8 <= size; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, s + i, 8);
    if (((word - kOnes) & ~word & (kOnes << 7)) != 0) break;
  }
  while (i < size && s[i] != '\0') ++i;
  return i;
}

// Sets the empty string `out` to the text FormatNarrow gives, up to its first zero byte, formatted
// straight into it: its own buffer when the text fits there, else one of exactly the measured size.
inline void FormatNarrowInto(std::string& out, const char* fmt, va_list args) {
  va_list pass;
  va_copy(pass, args);
  const int length = std::vsnprintf(nullptr, 0, fmt, pass);
  va_end(pass);
  if (length <= 0) return;
  if (length == INT_MAX) throw std::bad_alloc();
  const auto size = static_cast<std::size_t>(length);
  if (size <= out.capacity())
    out.resize(size);
  else
    out = std::string(size, '\0');
  va_copy(pass, args);
  std::vsnprintf(&out[0], size + 1, fmt, pass);
  va_end(pass);
  const std::size_t end = FirstZero(out.data(), size);  // a %c of zero ends the text
  if (end < size) out.erase(end);
}

// vswprintf cannot measure, and answers -1 both for a buffer that is too small and for a conversion
// it cannot make (a narrow %s or %c the locale cannot decode). So the buffer starts at
// kFirstWideCapacity characters and doubles while the failure looks like a lack of room: errno is
// not EILSEQ, and the attempt wrote up to the end of its buffer (or said EOVERFLOW, as macOS does).
// Whether it wrote there is seen at the last-but-one slot, filled with a mark beforehand; as the
// output may hold any value, a mark found intact is checked again with a second, different mark.
// An encoding error stops the formatter before the end of the buffer, so it ends the loop at the
// first attempt that was large enough to reach it, with memory bounded by twice the text produced
// before the failing conversion. Capacity stops at INT_MAX, the longest output an int can count.
constexpr std::size_t kFirstWideCapacity = 512;
constexpr std::size_t kMaxWideCapacity = INT_MAX;
constexpr wchar_t kUnwrittenMarks[2] = {static_cast<wchar_t>(-1), L'?'};

std::unique_ptr<wchar_t[]> FormatWide(const wchar_t* fmt, va_list args) {
  const int caller_errno = errno;
  std::size_t capacity = kFirstWideCapacity;
  for (;;) {
    std::unique_ptr<wchar_t[]> buffer(new wchar_t[capacity]);
    bool out_of_room = false;
    for (const wchar_t mark : kUnwrittenMarks) {
      buffer[capacity - 2] = mark;
      va_list pass;
      va_copy(pass, args);
      errno = 0;
      const int length = std::vswprintf(buffer.get(), capacity, fmt, pass);
      const int error = errno;
      va_end(pass);
      if (length >= 0) {
        errno = caller_errno;
        if (length == 0) return nullptr;
        return buffer;
      }
      out_of_room = error != EILSEQ && (error == EOVERFLOW || buffer[capacity - 2] != mark);
      if (out_of_room || error == EILSEQ) break;
    }
    if (!out_of_room || capacity >= kMaxWideCapacity) return nullptr;
    capacity = capacity > kMaxWideCapacity / 2 ? kMaxWideCapacity : capacity * 2;
  }
}

// The hexadecimal prefix counts only as the first two bytes, before any blank or sign.
int IntegerBase(const std::string& text) {
  const char* s = text.c_str();
  return s[0] == '0' && (s[1] == 'x' || s[1] == 'X') ? 16 : 10;
}

}  // namespace

namespace qor {

std::string format_astring(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::string out;
  try {
    FormatNarrowInto(out, fmt, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
  return out;
}

void format_string_v(std::string& out, const char* fmt, va_list args) {
  const std::unique_ptr<char[]> buffer = FormatNarrow(fmt, args);
  if (buffer) out.assign(buffer.get());
}

std::wstring format_wstring(const wchar_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  std::unique_ptr<wchar_t[]> buffer;
  try {
    buffer = FormatWide(fmt, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
  return buffer ? std::wstring(buffer.get()) : std::wstring();
}

void format_wstring_v(std::wstring& out, const wchar_t* fmt, va_list args) {
  const std::unique_ptr<wchar_t[]> buffer = FormatWide(fmt, args);
  if (buffer) out.assign(buffer.get());
}

int string_to_int(const std::string& text) {
  const long value = std::strtol(text.c_str(), nullptr, IntegerBase(text));
  // The low 32 bits, read as signed: no clamping to the int range.
  return internal::LowInt32(static_cast<std::size_t>(value));
}

long string_to_long(const std::string& text) {
  return std::strtol(text.c_str(), nullptr, IntegerBase(text));
}

double string_to_double(const std::string& text) {
  return std::strtod(text.c_str(), nullptr);
}

}  // namespace qor
