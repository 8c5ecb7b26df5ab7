// Links against an installed libqorstl and checks one round trip through the codec, by its C entry
// points and by its string overloads. Exit status 0 on success.
#include <cstdio>
#include <string>

#include <qor/qorstl.h>

int main() {
  const std::string text = "z\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  wchar_t wide[8];
  const std::size_t n = utf8_to_wchar(text.c_str(), 0, wide, 8, 0);
  const std::string back = wchar_to_utf8(std::wstring(wide, n));
  if (n != 4 || wide[3] != 0x1F600 || back != text) {
    std::puts("consumer: round trip failed");
    return 1;
  }
  std::puts("consumer: ok");
  return 0;
}
