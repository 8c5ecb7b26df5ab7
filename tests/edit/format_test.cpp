// The wide formatters grow their buffer until the output fits; whatever values the output holds,
// the result is the whole text vswprintf produces.
#include <cstdarg>
#include <string>

#include <gtest/gtest.h>

#include "qor/qorstl.h"
#include "test_util.h"

// `length` wide 'x' with `value` at each of `slots`.
static std::wstring Xs(std::size_t length, std::initializer_list<std::size_t> slots,
                       wchar_t value) {
  std::wstring text(length, L'x');
  for (std::size_t slot : slots) text[slot] = value;
  return text;
}

static std::wstring FormatV(const wchar_t* fmt, ...) {
  std::wstring out = L"old";
  va_list args;
  va_start(args, fmt);
  qor::format_wstring_v(out, fmt, args);
  va_end(args);
  return out;
}

// Slots 510, 1022, 2046, ... are the last-but-one of the buffers tried (512, 1024, 2048, ...).
TEST(FormatWide, OutputOfAnyValueAndLength) {
  const wchar_t minus_one = static_cast<wchar_t>(-1);
  // clang-format off
  const struct { std::wstring fmt, arg; } cases[] = {
      {L"%ls", Xs(600, {510}, minus_one)},                // the argument holds -1 there
      {Xs(600, {510}, minus_one), L""},                   // so does the format, as a literal
      {Xs(1100, {510, 1022}, minus_one), L""},
      {Xs(2100, {510, 1022, 2046}, minus_one), L""},
      {Xs(2100, {1022, 2046}, L'?'), L""},
      {L"%ls", Xs(510, {}, L'x')},                        // lengths at the edges of the buffers
      {L"%ls", Xs(511, {}, L'x')},
      {L"%ls", Xs(512, {}, L'x')},
      {L"%ls", Xs(1023, {509, 510}, minus_one)},
      {L"%ls", Xs(5000, {510, 1022, 2046, 4094}, minus_one)},
  };
  // clang-format on
  for (const auto& c : cases) {
    const std::wstring expected = c.fmt == L"%ls" ? c.arg : c.fmt;
    EXPECT_EQ(qor::format_wstring(c.fmt.c_str(), c.arg.c_str()), expected) << expected.size();
    EXPECT_EQ(FormatV(c.fmt.c_str(), c.arg.c_str()), expected) << expected.size();
  }
}
