// Fuzzes the UTF-8 encoding kernels: on fuzzed elements every level this CPU runs must give
// exactly what the scalar level gives, directly and through every coder built on the kernels, and
// no call may write past what it reports. Links the library's internal static copy.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "encoding/encode_kernels.h"
#include "qor/qorstl.h"

namespace {

using qor::internal::EncodeKernels;
using qor::internal::Isa;
using qor::internal::PlainRule;

// Four fuzzed bytes to one element; the first byte picks a range, so that every script, the
// range edges and the values the rules refuse all come up often.
std::uint32_t Element(const std::uint8_t* b) {
  const std::uint32_t raw = (std::uint32_t{b[1]} << 16) | (std::uint32_t{b[2]} << 8) | b[3];
  switch (b[0] % 8) {
    case 0:
      return raw & 0x7F;
    case 1:
      return 0x80 + raw % 0x780;
    case 2:
      return 0x800 + raw % 0xF800;  // surrogates and U+FEFF included
    case 3:
      return 0x10000 + raw % 0x100000;
    case 4:
      return 0x10FFF0 + (raw & 0x1F);
    case 5:
      return (raw & 1) != 0 ? 0xFEFF : 0xD800 + (raw & 0x7FF);
    default:
      return (std::uint32_t{b[0]} << 24) | raw;
  }
}

constexpr std::size_t kGuard = 32;

// The kernel's encode into `room` bytes, with a guard after the room; aborts on a write past
// what it reports.
std::string Encode(const EncodeKernels& k, const std::wstring& in, std::size_t room,
                   const PlainRule& rule, std::size_t& taken) {
  std::string buffer(room + kGuard, '\x5A');
  std::size_t written = 0;
  taken = k.encode(in.data(), in.size(), reinterpret_cast<unsigned char*>(&buffer[0]), room, rule,
                   written);
  if (written > room) std::abort();
  for (std::size_t i = written; i < buffer.size(); ++i) {
    if (buffer[i] != '\x5A') std::abort();
  }
  buffer.resize(written);
  return buffer;
}

std::string Codec(const EncodeKernels& k, const std::wstring& in, std::size_t cap, int flags,
                  std::size_t& result) {
  std::string buffer(cap + kGuard, '\x5A');
  result = qor::internal::WideToUtf8With(k, in.data(), in.size(), &buffer[0], cap, flags);
  const std::size_t clean = result != 0 ? result : cap;
  for (std::size_t i = clean; i < buffer.size(); ++i) {
    if (buffer[i] != '\x5A') std::abort();
  }
  buffer.resize(result);
  return buffer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const int flags = data[0] & 3;
  const std::size_t room_cut = data[1] % 8;
  std::wstring in;
  for (std::size_t i = 2; i + 4 <= size; i += 4)
    in.push_back(static_cast<wchar_t>(Element(data + i)));

  const EncodeKernels& scalar = *qor::internal::EncodeKernelsFor(Isa::kScalar);
  const PlainRule rules[] = {{0x10FFFF, 0xD800, 0}, {0x10FFFF, 0xD800, 0xFEFF}, {0xFFFF, 1, 0}};
  for (Isa isa : {Isa::kSse2, Isa::kAvx2, Isa::kAvx512, Isa::kNeon}) {
    const EncodeKernels* k = qor::internal::EncodeKernelsFor(isa);
    if (k == nullptr) continue;
    for (const PlainRule& rule : rules) {
      std::size_t used = 0, scalar_used = 0;
      const std::size_t bytes = k->measure(in.data(), in.size(), rule, used);
      if (bytes != scalar.measure(in.data(), in.size(), rule, scalar_used) || used != scalar_used) {
        std::abort();
      }
      for (std::size_t room : {bytes, bytes - std::min(bytes, room_cut)}) {
        std::size_t taken = 0, scalar_taken = 0;
        if (Encode(*k, in, room, rule, taken) != Encode(scalar, in, room, rule, scalar_taken) ||
            taken != scalar_taken) {
          std::abort();
        }
      }
    }
    const std::size_t measured =
        qor::internal::WideToUtf8With(*k, in.data(), in.size(), nullptr, 0, flags);
    if (measured !=
        qor::internal::WideToUtf8With(scalar, in.data(), in.size(), nullptr, 0, flags)) {
      std::abort();
    }
    for (std::size_t cap : {measured, measured - std::min(measured, room_cut), measured + 5}) {
      std::size_t result = 0, scalar_result = 0;
      if (Codec(*k, in, cap, flags, result) != Codec(scalar, in, cap, flags, scalar_result) ||
          result != scalar_result) {
        std::abort();
      }
    }
    // A failed conversion leaves its output unspecified; only the verdict must agree then.
    std::string out, scalar_out;
    bool ok = qor::internal::CodePointsToUtf8With(*k, in, out);
    if (ok != qor::internal::CodePointsToUtf8With(scalar, in, scalar_out) ||
        (ok && out != scalar_out)) {
      std::abort();
    }
    ok = qor::internal::Utf16UnitsToUtf8With(*k, in, out);
    if (ok != qor::internal::Utf16UnitsToUtf8With(scalar, in, scalar_out) ||
        (ok && out != scalar_out)) {
      std::abort();
    }
    if (qor::internal::BmpUnitsToUtf8With(*k, in) !=
        qor::internal::BmpUnitsToUtf8With(scalar, in)) {
      std::abort();
    }
  }
  return 0;
}
