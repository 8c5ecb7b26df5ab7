// One call of one UTF-8 function on a prefix of a corpus text, for counting the instructions it
// executes under an emulator (scripts/count-aarch64.sh). Everything but the call is the same for
// both sizes, so the difference of two runs is the call's own work.
//   count_driver ours|simdutf decode|encode|validate FILE BYTES small|large
// Both prefixes are prepared, BYTES and twice BYTES long (each cut where a character starts); the
// last argument says which of them the one call reads.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "qor/qorstl.h"
#if defined(QORSTL_COUNT_SIMDUTF)
#include <simdutf.h>
#endif

namespace {

// The first `size` bytes of `text`, extended to where a character starts.
std::string Prefix(const std::string& text, std::size_t size) {
  while (size < text.size() && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) ++size;
  return text.substr(0, size);
}

// Plain decoding of well-formed text, so that the encoders' input does not depend on the code
// under count.
std::vector<char32_t> CodePoints(const std::string& text) {
  std::vector<char32_t> out;
  for (std::size_t i = 0; i < text.size();) {
    const auto b = static_cast<unsigned char>(text[i]);
    const unsigned n = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    char32_t c = n == 1 ? b : b & (0x7F >> n);
    for (unsigned k = 1; k < n; ++k)
      c = (c << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
    out.push_back(c);
    i += n;
  }
  return out;
}

struct Input {
  std::string bytes;
  std::vector<char32_t> code_points;
  std::vector<wchar_t> wide;
  std::vector<char32_t> decoded;  // room for the decoders
  std::string encoded;            // room for the encoders
};

Input Prepare(const std::string& bytes) {
  Input in;
  in.bytes = bytes;
  in.code_points = CodePoints(bytes);
  in.wide.assign(in.code_points.begin(), in.code_points.end());
  in.decoded.assign(bytes.size() + 64, 0);
  in.encoded.assign(4 * in.code_points.size() + 64, '\0');
  return in;
}

std::size_t Run(const std::string& who, const std::string& op, Input& in) {
  if (who == "ours") {
    if (op == "decode") {
      return utf8_to_wchar(in.bytes.data(), in.bytes.size(),
                           reinterpret_cast<wchar_t*>(in.decoded.data()), in.bytes.size(), 0);
    }
    if (op == "encode") {
      return wchar_to_utf8(in.wide.data(), in.wide.size(), &in.encoded[0], in.encoded.size(), 0);
    }
    if (op == "validate") return qor::string_is_utf8_string(in.bytes) ? 1 : 0;
  }
#if defined(QORSTL_COUNT_SIMDUTF)
  if (who == "simdutf") {
    if (op == "decode")
      return simdutf::convert_utf8_to_utf32(in.bytes.data(), in.bytes.size(), in.decoded.data());
    if (op == "encode") {
      return simdutf::convert_utf32_to_utf8(in.code_points.data(), in.code_points.size(),
                                            &in.encoded[0]);
    }
    if (op == "validate") return simdutf::validate_utf8(in.bytes.data(), in.bytes.size()) ? 1 : 0;
  }
#endif
  std::fprintf(stderr, "count_driver: unknown contender %s %s\n", who.c_str(), op.c_str());
  std::exit(2);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr,
                 "usage: count_driver ours|simdutf decode|encode|validate FILE BYTES "
                 "small|large\n");
    return 2;
  }
  const std::size_t bytes = std::strtoul(argv[4], nullptr, 10);
  // Only what the longer prefix needs is read, in one call: less for the emulator to trace.
  std::string text(2 * bytes + 8, '\0');
  std::FILE* file = std::fopen(argv[3], "rb");
  text.resize(file != nullptr ? std::fread(&text[0], 1, text.size(), file) : 0);
  if (file != nullptr) std::fclose(file);
  if (text.size() < 2 * bytes + 8) {
    std::fprintf(stderr, "count_driver: %s is shorter than %zu bytes\n", argv[3], 2 * bytes + 8);
    return 2;
  }
  Input small = Prepare(Prefix(text, bytes));
  Input large = Prepare(Prefix(text, 2 * bytes));
  Input& in = std::strcmp(argv[5], "large") == 0 ? large : small;
  const std::size_t result = Run(argv[1], argv[2], in);
  // The sizes, for the script; the result, so that the call is not optimized away.
  std::printf("%zu %zu %zu\n", small.bytes.size(), large.bytes.size(), result);
  return 0;
}
