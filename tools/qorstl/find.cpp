// qorstl find: the winning pattern among several, in files read in chunks, with grep's command
// line (PATTERN [FILE...], -e PATTERN, --).
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "io.h"
#include "qor/qorstl.h"
#include "tool.h"

namespace tool {
namespace {

const char kHelp[] =
    "Usage: qorstl find [--mode MODE] PATTERN [FILE...]\n"
    "       qorstl find [--mode MODE] -e PATTERN [-e PATTERN]... [FILE...]\n"
    "Search each FILE (standard input when none is given, or for '-') for the patterns and print\n"
    "the winner: its byte offset, its line and the pattern, as 'OFFSET:LINE:PATTERN', after\n"
    "'FILE:' when there are several FILEs. A PATTERN holding line feeds is one pattern a line.\n"
    "Patterns are bytes, matched exactly; they may use \\n \\t \\r \\0 \\\\ and \\xHH.\n"
    "\n"
    "  -e, --regexp=PATTERN  a pattern (repeat for several); then every operand is a FILE\n"
    "  -m, --mode=MODE       which pattern wins:\n"
    "    earliest   the one that occurs first in the text (the default)\n"
    "    list       the first in the order given that occurs anywhere\n"
    "    shortest   the shortest that occurs   longest  the longest that occurs\n"
    "    min        the smallest in byte order max      the greatest in byte order\n"
    "  --           ends the options\n"
    "\n"
    "Exit status: 0 when a pattern occurs, 1 when none does, 2 on a usage or I/O error (a FILE\n"
    "that cannot be read is named, and the others are still searched).\n";

const char* const kModes[] = {"list", "shortest", "longest", "min", "max", "earliest"};
constexpr int kEarliest = 5;

struct Match {
  std::uint64_t offset = 0, line = 0;
  std::size_t pattern = 0;
  bool found = false;
};

// The patterns in the order in which they win when several occur (`mode` < kEarliest).
std::vector<std::size_t> WinningOrder(const std::vector<std::string>& patterns, int mode) {
  std::vector<std::size_t> order(patterns.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    const std::string &x = patterns[a], &y = patterns[b];
    if (mode == 1) return x.size() < y.size();
    if (mode == 2) return x.size() > y.size();
    if (mode == 3) return x < y;
    if (mode == 4) return y < x;
    return false;
  });
  return order;
}

// Searches one input. A window slides over it, keeping the last (longest pattern - 1) bytes of
// each chunk so that an occurrence across two chunks is seen whole.
Match Search(Input& input, const std::vector<std::string>& patterns, int mode) {
  std::size_t longest = 0;
  for (const std::string& p : patterns) longest = std::max(longest, p.size());
  const std::vector<std::size_t> order = WinningOrder(patterns, mode);
  std::vector<Match> first(patterns.size());
  std::string window;
  std::uint64_t offset = 0, lines = 0;
  bool end = false;
  while (!end) {
    end = input.ReadMore(window) == 0;
    auto line_at = [&](std::size_t pos) {
      return lines + 1 +
             static_cast<std::uint64_t>(std::count(
                 window.begin(), window.begin() + static_cast<std::ptrdiff_t>(pos), '\n'));
    };
    if (mode == kEarliest) {
      int index = 0;
      const std::size_t pos = qor::string_find_first_one_of(window, patterns, index);
      if (pos != std::string::npos) {
        // A longer pattern that starts no later may still end in the next chunk.
        if (!end && pos + longest > window.size()) continue;
        return {offset + pos, line_at(pos), static_cast<std::size_t>(index), true};
      }
    } else {
      for (std::size_t i = 0; i < patterns.size(); ++i) {
        if (first[i].found) continue;
        const std::size_t pos = qor::string_find(window, patterns[i], true);
        if (pos != std::string::npos) first[i] = {offset + pos, line_at(pos), i, true};
      }
      if (first[order[0]].found) break;  // nothing can beat it
    }
    const std::size_t keep = std::min(window.size(), longest > 0 ? longest - 1 : 0);
    const std::size_t drop = window.size() - keep;
    lines += static_cast<std::uint64_t>(
        std::count(window.begin(), window.begin() + static_cast<std::ptrdiff_t>(drop), '\n'));
    offset += drop;
    window.erase(0, drop);
  }
  if (mode != kEarliest) {
    for (std::size_t i : order) {
      if (first[i].found) return first[i];
    }
  }
  return Match{};
}

// A PATTERN argument: one pattern a line, as grep reads it.
void AddPatterns(const std::string& argument, std::vector<std::string>& given) {
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = argument.find('\n', start);
    given.push_back(argument.substr(start, end - start));
    if (end == std::string::npos) return;
    start = end + 1;
  }
}

}  // namespace

int RunFind(const Args& args) {
  std::string mode_name = "earliest", pattern;
  std::vector<std::string> given, operands;
  bool have_e = false;
  try {
    for (std::size_t i = 0; i < args.size(); ++i) {
      const std::string& a = args[i];
      if (a == "--help" || a == "-h") {
        return PrintAndExit(kHelp);
      } else if (OptionValue(args, i, "-m", "--mode", mode_name)) {
      } else if (OptionValue(args, i, "-e", "--regexp", pattern)) {
        AddPatterns(pattern, given);
        have_e = true;
      } else if (a == "--") {
        operands.insert(operands.end(), args.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                        args.end());
        break;
      } else if (a.size() > 1 && a[0] == '-') {
        return Usage("find", "unknown option " + a);
      } else {
        operands.push_back(a);
      }
    }
  } catch (const Failure& f) {
    return Usage("find", f.message);
  }
  const auto* const known = std::find(std::begin(kModes), std::end(kModes), mode_name);
  if (known == std::end(kModes)) return Usage("find", "unknown mode " + mode_name);
  const int mode = static_cast<int>(known - std::begin(kModes));
  if (!have_e) {
    if (operands.empty()) return Usage("find", "no pattern given");
    AddPatterns(operands.front(), given);
    operands.erase(operands.begin());
  }
  std::vector<std::string> patterns;
  for (const std::string& p : given) patterns.push_back(Unescape(p));
  if (operands.empty()) operands.push_back("-");
  const bool name_files = operands.size() > 1;
  int status = kNotFound;
  bool error = false;
  try {
    Output out("-");
    for (const std::string& file : operands) {
      Match match;
      try {
        Input input(file);
        match = Search(input, patterns, mode);
      } catch (const Failure& f) {
        Fail(f.message);
        error = true;
        continue;
      }
      if (!match.found) continue;
      status = kOk;
      std::string line = name_files ? (file == "-" ? "(standard input)" : file) + ":" : "";
      line += std::to_string(match.offset) + ":" + std::to_string(match.line) + ":" +
              given[match.pattern] + "\n";
      out.Write(line);
    }
    out.Commit();
  } catch (const Failure& f) {
    return Fail(f.message);
  }
  return error ? kError : status;
}

}  // namespace tool
