// qorstl: the library's command-line tool. Re-encodes files, tells what encoding a file holds and
// where it breaks, finds the first of several patterns, and splits, trims and replaces text.
// This unit is the table of commands; each command is a unit of its own.
#include <new>
#include <string>

#include "qor/qorstl.h"
#include "tool.h"

namespace {

struct Command {
  const char* name;
  const char* summary;
  int (*run)(const tool::Args&);
};

const Command kCommands[] = {
    {"convert", "re-encode files between UTF-8, UTF-16 and every charset the system knows",
     tool::RunConvert},
    {"check", "say whether files are ASCII, UTF-8 or UTF-16, and where they break", tool::RunCheck},
    {"find", "find the first of several patterns: its offset, line and pattern", tool::RunFind},
    {"split", "split standard input at a set of bytes, one piece a line", tool::RunSplit},
    {"trim", "strip a set of bytes from both ends of every line of standard input", tool::RunTrim},
    {"replace", "replace every occurrence of a byte string in standard input", tool::RunReplace},
};

std::string Help() {
  std::string text =
      "Usage: qorstl COMMAND [OPTION]... [ARGUMENT]...\n"
      "Text encodings and byte-exact text tools, built on libqorstl.\n"
      "\n"
      "Commands:\n";
  for (const Command& c : kCommands) {
    text += "  " + std::string(c.name) + std::string(10 - std::string(c.name).size(), ' ') +
            c.summary + "\n";
  }
  text +=
      "\n"
      "  --help     show this help ('qorstl COMMAND --help' for a command's own)\n"
      "  --version  show the version\n"
      "\n"
      "Inputs are read to their end in chunks (pipes, FIFOs and /proc files too), in bounded\n"
      "memory. Exit status: 0 on success, 1 when a search finds nothing (or check finds a file\n"
      "in none of the encodings), 2 on a usage, I/O or conversion error.\n";
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  tool::Args args(argv + 1, argv + argc);
  if (args.empty()) return tool::Usage("", "no command given");
  const std::string command = args[0];
  args.erase(args.begin());
  if (command == "--help" || command == "-h" || command == "help") {
    return tool::PrintAndExit(Help().c_str());
  }
  if (command == "--version" || command == "-V") {
    const std::string version = "qorstl " + std::to_string(QORSTL_VERSION_MAJOR) + "." +
                                std::to_string(QORSTL_VERSION_MINOR) + "." +
                                std::to_string(QORSTL_VERSION_PATCH) + "\n";
    return tool::PrintAndExit(version.c_str());
  }
  for (const Command& c : kCommands) {
    if (command != c.name) continue;
    try {
      return c.run(args);
    } catch (const std::bad_alloc&) {
      return tool::Fail("out of memory");
    } catch (const tool::Failure& f) {
      return tool::Fail(f.message);
    }
  }
  return tool::Usage("", "unknown command " + command);
}
