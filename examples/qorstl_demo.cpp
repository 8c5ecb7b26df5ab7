// qorstl_demo: reads a text file (or uses a built-in sample) and reports what the library makes of
// it: its encoding, its size in code points, its words, and a search and an edit on it.
#include <cstdio>
#include <string>
#include <vector>

#include "qor/qorstl.h"

namespace {

const char kSample[] =
    "Mars is the fourth planet from the Sun.\r\n"
    "Its name in Chinese is \xE7\x81\xAB\xE6\x98\x9F, the fire star; in Greek \xCE\x86\xCF\x81\xCE"
    "\xB7\xCF\x82.\r\n"
    "Mean distance from the Sun: 0x88 Gm, or 1.52 AU.\r\n";

}  // namespace

int main(int argc, char** argv) {
  std::string text = kSample;
  if (argc > 1) {
    text = qor::dump_file(argv[1]);
    if (text.empty()) {
      std::fprintf(stderr, "qorstl_demo: cannot read %s\n", argv[1]);
      return 1;
    }
    text.pop_back();  // the zero byte dump_file adds
  }

  const char* kind = qor::string_is_ascii_string(text)  ? "ASCII"
                     : qor::string_is_utf8_string(text) ? "UTF-8"
                                                        : "neither ASCII nor UTF-8";
  const std::size_t code_points = utf8_to_wchar(text.data(), text.size(), nullptr, 0, 0);
  std::printf("bytes:        %zu (%s)\n", text.size(), kind);
  std::printf("code points:  %zu\n", code_points);
  std::printf("round trip:   %s\n",
              wchar_to_utf8(utf8_to_wchar(text)) == text ? "identical" : "differs");

  std::vector<std::string> lines, words;
  qor::stringarray_builder_by_splittoken(text, lines, "\r\n");
  const int word_count = qor::stringarray_builder_by_splittoken(text, words, " \t\r\n.,;:");
  std::printf("lines, words: %zu, %d\n", lines.size(), word_count);

  if (!lines.empty()) {
    std::string first = lines.front(), left, right;
    qor::trim_both(first, " \t");
    std::printf("first line:   %s\n", first.c_str());
    if (qor::string_slice_oneof2(first, " ", left, right) != std::string::npos) {
      std::printf("first word:   %s\n", left.c_str());
    }
  }

  unsigned int which = 0;
  const std::vector<std::string> planets = {"Jupiter", "Mars", "Venus", "Earth"};
  const std::size_t at = qor::string_find(text, planets, which, 2);
  if (at != std::string::npos) {
    std::printf("planet:       %s at byte %zu\n", planets[which].c_str(), at);
  }
  std::printf("mentions Sun: %s\n", qor::string_containsIgnoreCase(text, "SUN") ? "yes" : "no");

  std::string unix_text = text;
  qor::string_replace(unix_text, "\r\n", "\n");
  std::printf("as LF text:   %s\n", qor::format_astring("%zu bytes, %zu fewer", unix_text.size(),
                                                        text.size() - unix_text.size())
                                        .c_str());
  return 0;
}
