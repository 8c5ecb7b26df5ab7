// Fuzzes the formatters with fuzzed %s / %ls arguments and fuzzed literal formats (every '%'
// doubled), and the number parsers on fuzzed texts: integers against a parser written from the
// rule (hexadecimal only after a leading "0x", strtol's clamping, the low 32 bits for int), doubles
// against strtod on the text up to its first zero byte and exactly on plain decimal integers.
// Input: a narrow field, then the rest, read also as a wide text four bytes to an element.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include "fuzz_util.h"
#include "qor/qorstl.h"

namespace {

using qor_fuzz::Check;

// format_string_v twice over the same argument list: the first call must not advance it.
void FormatNarrowTwice(std::string& first, std::string& second, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  qor::format_string_v(first, fmt, args);
  qor::format_string_v(second, fmt, args);
  va_end(args);
}

void FormatWideTwice(std::wstring& first, std::wstring& second, const wchar_t* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  qor::format_wstring_v(first, fmt, args);
  qor::format_wstring_v(second, fmt, args);
  va_end(args);
}

// A narrow text decoded by the current locale ("C": ASCII only) up to its first zero byte, as
// vswprintf's %s reads it; `ok` false when a byte does not decode.
std::wstring DecodeLikeFormatter(const std::string& text, bool& ok) {
  std::wstring out;
  std::mbstate_t state{};
  const char* p = text.c_str();
  std::size_t left = std::strlen(p);
  ok = true;
  while (left > 0) {
    wchar_t wc = 0;
    const std::size_t used = std::mbrtowc(&wc, p, left, &state);
    if (used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2) || used == 0) {
      ok = false;
      return out;
    }
    out += wc;
    p += used;
    left -= used;
  }
  return out;
}

long ModelParseLong(const std::string& text) {
  const char* s = text.c_str();
  unsigned base = 10;
  bool negative = false;
  if (s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
    base = 16;
    s += 2;
  } else {
    while (*s == ' ' || (*s >= '\t' && *s <= '\r')) ++s;
    if (*s == '+' || *s == '-') negative = *s++ == '-';
  }
  const unsigned long limit =
      negative ? static_cast<unsigned long>(LONG_MAX) + 1 : static_cast<unsigned long>(LONG_MAX);
  unsigned long value = 0;
  bool clamped = false;
  for (;; ++s) {
    unsigned digit;
    if (*s >= '0' && *s <= '9') {
      digit = static_cast<unsigned>(*s - '0');
    } else if (base == 16 && (*s | 0x20) >= 'a' && (*s | 0x20) <= 'f') {
      digit = static_cast<unsigned>((*s | 0x20) - 'a' + 10);
    } else {
      break;
    }
    if (value > (limit - digit) / base) clamped = true;
    if (!clamped) value = value * base + digit;
  }
  if (clamped) return negative ? LONG_MIN : LONG_MAX;
  return negative ? static_cast<long>(0 - value) : static_cast<long>(value);
}

// The value of a text that is blanks, a sign and at most 15 decimal digits followed by nothing a
// number could go on with; false for any other text.
bool PlainInteger(const std::string& text, double& value) {
  const char* s = text.c_str();
  while (*s == ' ' || (*s >= '\t' && *s <= '\r')) ++s;
  bool negative = false;
  if (*s == '+' || *s == '-') negative = *s++ == '-';
  long long magnitude = 0;
  int digits = 0;
  for (; *s >= '0' && *s <= '9'; ++s, ++digits) {
    if (digits < 16) magnitude = magnitude * 10 + (*s - '0');
  }
  if (digits == 0 || digits > 15) return false;
  if (*s != '\0' && std::strchr(".eExXpP", *s) != nullptr) return false;
  value = negative ? -static_cast<double>(magnitude) : static_cast<double>(magnitude);
  return true;
}

bool SameDouble(double x, double y) {
  return (std::isnan(x) && std::isnan(y)) || std::memcmp(&x, &y, sizeof x) == 0;
}

void CheckNarrow(const std::string& arg) {
  const std::string want(arg.c_str());  // the output ends at the first zero byte
  Check(qor::format_astring("%s", arg.c_str()) == want, "format_astring %s");
  Check(qor::format_astring("<%s|%d>", arg.c_str(), 7) == "<" + want + "|7>",
        "format_astring <%s|%d>");
  const int precision = static_cast<int>(arg.size() / 2);
  Check(qor::format_astring("%.*s", precision, arg.c_str()) == want.substr(0, arg.size() / 2),
        "format_astring %.*s");

  std::string escaped;  // the field as a literal format
  for (char c : want) escaped += c == '%' ? std::string("%%") : std::string(1, c);
  Check(qor::format_astring(escaped.c_str()) == want, "format_astring of a literal format");

  std::string first = "old", second = "old";
  FormatNarrowTwice(first, second, "%s", arg.c_str());
  const std::string expected = want.empty() ? "old" : want;  // no output leaves `out` as it was
  Check(first == expected, "format_string_v %s");
  Check(second == expected, "format_string_v leaves the argument list where it was");
}

void CheckWide(const std::wstring& arg, const std::string& narrow) {
  const std::wstring want(arg.c_str());
  Check(qor::format_wstring(L"%ls", arg.c_str()) == want, "format_wstring %ls");
  Check(qor::format_wstring(L"[%ls]", arg.c_str()) == L"[" + want + L"]", "format_wstring [%ls]");

  std::wstring escaped;
  for (wchar_t c : want) escaped += c == L'%' ? std::wstring(L"%%") : std::wstring(1, c);
  Check(qor::format_wstring(escaped.c_str()) == want, "format_wstring of a literal format");

  std::wstring first = L"old", second = L"old";
  FormatWideTwice(first, second, L"%ls", arg.c_str());
  const std::wstring expected = want.empty() ? L"old" : want;
  Check(first == expected, "format_wstring_v %ls");
  Check(second == expected, "format_wstring_v leaves the argument list where it was");

  // A narrow %s is decoded by the locale; a byte it cannot decode fails the whole format.
  bool decodes = false;
  const std::wstring decoded = DecodeLikeFormatter(narrow, decodes);
  Check(qor::format_wstring(L"%s", narrow.c_str()) == (decodes ? decoded : std::wstring()),
        "format_wstring %s");
}

void CheckParsers(const std::string& text) {
  const int saved_errno = errno;
  const long want = ModelParseLong(text);
  Check(qor::string_to_long(text) == want, "string_to_long");
  Check(qor::string_to_int(text) ==
            static_cast<int>(static_cast<std::int32_t>(static_cast<std::uint32_t>(want))),
        "string_to_int");
  const std::string up_to_zero(text.c_str());
  const double got = qor::string_to_double(text);
  Check(SameDouble(got, std::strtod(up_to_zero.c_str(), nullptr)), "string_to_double");
  double plain = 0;
  if (PlainInteger(text, plain)) Check(SameDouble(got, plain), "string_to_double of an integer");
  errno = saved_errno;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qor_fuzz::Input input(data, size);
  const std::string narrow = input.Field(256);
  const std::string rest = input.Rest();
  std::wstring wide(rest.size() / 4, L'\0');
  if (!wide.empty()) std::memcpy(&wide[0], rest.data(), wide.size() * sizeof(wchar_t));

  CheckNarrow(narrow);
  CheckNarrow(rest);
  CheckWide(wide, narrow);
  CheckParsers(narrow);
  CheckParsers(rest);
  return 0;
}
