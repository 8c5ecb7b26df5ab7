// Messages, option parsing and argument escapes shared by the qorstl tool's commands.
#include <cctype>
#include <cstdio>
#include <string>

#include "io.h"
#include "tool.h"

namespace tool {

int Fail(const std::string& message) {
  std::fprintf(stderr, "qorstl: %s\n", message.c_str());
  return kError;
}

int Usage(const std::string& command, const std::string& message) {
  std::fprintf(stderr, "qorstl: %s\nTry 'qorstl %s%s--help' for more information.\n",
               message.c_str(), command.c_str(), command.empty() ? "" : " ");
  return kError;
}

int PrintAndExit(const char* text) {
  try {
    Output out("-");
    out.Write(text);
    out.Commit();
  } catch (const Failure& f) {
    return Fail(f.message);
  }
  return kOk;
}

bool OptionValue(const Args& args, std::size_t& i, const char* short_name, const char* long_name,
                 std::string& value) {
  const std::string& a = args[i];
  const std::string long_eq = std::string(long_name) + "=";
  if (a == short_name || a == long_name) {
    if (i + 1 >= args.size()) throw Failure{"option " + a + " needs a value"};
    value = args[++i];
    return true;
  }
  if (a.rfind(long_eq, 0) == 0) {
    value = a.substr(long_eq.size());
    return true;
  }
  if (a.size() > 2 && a.compare(0, 2, short_name) == 0 && a[1] != '-') {  // -fLATIN1
    value = a.substr(2);
    return true;
  }
  return false;
}

std::string Unescape(const std::string& arg) {
  std::string out;
  for (std::size_t i = 0; i < arg.size(); ++i) {
    if (arg[i] != '\\' || i + 1 == arg.size()) {
      out += arg[i];
      continue;
    }
    const char e = arg[++i];
    if (e == 'n') {
      out += '\n';
    } else if (e == 't') {
      out += '\t';
    } else if (e == 'r') {
      out += '\r';
    } else if (e == '0') {
      out += '\0';
    } else if (e == 'x' && i + 2 < arg.size() &&
               std::isxdigit(static_cast<unsigned char>(arg[i + 1])) &&
               std::isxdigit(static_cast<unsigned char>(arg[i + 2]))) {
      out += static_cast<char>(std::stoi(arg.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += e;  // \\ and any other escaped byte stand for themselves
    }
  }
  return out;
}

}  // namespace tool
