// Shared pieces of the qorstl tool's commands: exit statuses, failures, option parsing, escapes.
#ifndef QORSTL_TOOL_TOOL_H_
#define QORSTL_TOOL_TOOL_H_

#include <cstddef>
#include <string>
#include <vector>

namespace tool {

// Exit statuses, in the manner of grep and iconv.
constexpr int kOk = 0;
constexpr int kNotFound = 1;  // a search found nothing; check: a file is in none of the encodings
constexpr int kError = 2;     // usage, I/O or conversion error

// What went wrong, as the message after "qorstl: ".
struct Failure {
  std::string message;
};

using Args = std::vector<std::string>;

// Prints "qorstl: MESSAGE" on standard error; returns kError.
int Fail(const std::string& message);

// Prints a usage error with a pointer to the command's help; returns kError.
int Usage(const std::string& command, const std::string& message);

// Writes `text` to standard output and closes it, checking both; the exit status.
int PrintAndExit(const char* text);

// Recognises `-x VALUE`, `-xVALUE`, `--long VALUE` and `--long=VALUE` at args[i], moving `i` past
// the value. Throws Failure when the value is missing.
bool OptionValue(const Args& args, std::size_t& i, const char* short_name, const char* long_name,
                 std::string& value);

// Reads the escapes \n \t \r \0 \\ and \xHH in a command-line argument, so that sets and
// patterns can hold any byte.
std::string Unescape(const std::string& arg);

// The commands, each in its own unit.
int RunConvert(const Args& args);
int RunCheck(const Args& args);
int RunFind(const Args& args);
int RunSplit(const Args& args);
int RunTrim(const Args& args);
int RunReplace(const Args& args);

}  // namespace tool

#endif  // QORSTL_TOOL_TOOL_H_
