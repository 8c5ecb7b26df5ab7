// qorstl_demo: reads UTF-8 text (a file named on the command line, or a built-in sample) and
// reports what the library makes of it.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "qor/qorstl.h"

namespace {

std::string ReadAll(const char* path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

int main(int argc, char** argv) {
  const std::string text = argc > 1
                               ? ReadAll(argv[1])
                               : std::string("Mars \xE2\x99\x82 \xE7\x81\xAB\xE6\x98\x9F 2.28 AU");

  const std::size_t code_points = utf8_to_wchar(text.data(), text.size(), nullptr, 0, 0);
  const std::size_t lenient =
      utf8_to_wchar(text.data(), text.size(), nullptr, 0, UTF8_SKIP_INVALID);
  const std::wstring wide = utf8_to_wchar(text);
  const std::string back = wchar_to_utf8(wide);

  std::printf("bytes:                  %zu\n", text.size());
  std::printf("code points (strict):   %zu%s\n", code_points,
              code_points == 0 && !text.empty() ? "  (not valid UTF-8)" : "");
  std::printf("code points (lenient):  %zu\n", lenient);
  std::printf("round trip:             %s\n", back == text ? "identical" : "differs");
  return 0;
}
