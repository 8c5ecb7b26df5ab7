// qorstl split, trim and replace: filters from standard input to standard output that stream,
// holding at most a chunk and a pattern's length of the input.
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "io.h"
#include "tool.h"

namespace tool {
namespace {

const char kSplitHelp[] =
    "Usage: qorstl split --by SET\n"
    "Split standard input at every byte of SET and print each non-empty piece on a line.\n"
    "SET may use \\n \\t \\r \\0 \\\\ and \\xHH. Exit status: 0, or 2 on a usage or I/O error.\n";
const char kTrimHelp[] =
    "Usage: qorstl trim [--chars SET]\n"
    "Strip the bytes of SET (default: space, tab and carriage return) from both ends of every\n"
    "line of standard input. SET may use \\n \\t \\r \\0 \\\\ and \\xHH.\n"
    "Exit status: 0, or 2 on a usage or I/O error.\n";
const char kReplaceHelp[] =
    "Usage: qorstl replace FROM TO\n"
    "Replace every occurrence of FROM in standard input by TO, left to right, without\n"
    "overlaps. FROM and TO may use \\n \\t \\r \\0 \\\\ and \\xHH.\n"
    "Exit status: 0, or 2 on a usage or I/O error.\n";

struct ByteSet {
  explicit ByteSet(const std::string& bytes) {
    for (char c : bytes) member[static_cast<unsigned char>(c)] = true;
  }
  bool operator()(char c) const { return member[static_cast<unsigned char>(c)]; }
  bool member[256] = {};
};

// Parses `--by SET` / `--chars SET` (when `set_option` is given) and the operands.
int ParseFilter(const char* command, const char* help, const Args& args, const char* set_short,
                const char* set_long, std::string& set, bool& have_set, Args& operands) {
  try {
    for (std::size_t i = 0; i < args.size(); ++i) {
      const std::string& a = args[i];
      if (a == "--help" || a == "-h") return PrintAndExit(help) == kOk ? -1 : kError;
      if (set_short && OptionValue(args, i, set_short, set_long, set)) {
        have_set = true;
      } else if (a.size() > 1 && a[0] == '-' && set_short) {
        return Usage(command, "unknown option " + a);
      } else {
        operands.push_back(a);
      }
    }
  } catch (const Failure& f) {
    return Usage(command, f.message);
  }
  return kOk;
}

// Runs `step(chunk, out)` over standard input, then `finish(out)`.
template <typename Step, typename Finish>
int Stream(Step step, Finish finish) {
  try {
    Input input("-");
    Output out("-");
    std::string chunk;
    for (;;) {
      chunk.clear();
      if (input.ReadMore(chunk) == 0) break;
      step(chunk, out);
    }
    finish(out);
    out.Commit();
  } catch (const Failure& f) {
    return Fail(f.message);
  }
  return kOk;
}

}  // namespace

int RunSplit(const Args& args) {
  std::string set;
  bool have_set = false;
  Args operands;
  const int parsed = ParseFilter("split", kSplitHelp, args, "-b", "--by", set, have_set, operands);
  if (parsed != kOk) return parsed < 0 ? kOk : parsed;
  if (!operands.empty()) return Usage("split", "unexpected operand " + operands[0]);
  if (!have_set) return Usage("split", "split needs --by SET");
  const ByteSet separator(Unescape(set));
  bool in_piece = false;
  return Stream(
      [&](const std::string& chunk, Output& out) {
        std::size_t start = 0;
        for (std::size_t i = 0; i < chunk.size(); ++i) {
          if (!separator(chunk[i])) continue;
          if (i > start) {
            out.Write(chunk.data() + start, i - start);
            in_piece = true;
          }
          if (in_piece) out.Write("\n", 1);
          in_piece = false;
          start = i + 1;
        }
        if (start < chunk.size()) {
          out.Write(chunk.data() + start, chunk.size() - start);
          in_piece = true;
        }
      },
      [&](Output& out) {
        if (in_piece) out.Write("\n", 1);
      });
}

int RunTrim(const Args& args) {
  std::string set = " \t\r";
  bool have_set = true;
  Args operands;
  const int parsed = ParseFilter("trim", kTrimHelp, args, "-c", "--chars", set, have_set, operands);
  if (parsed != kOk) return parsed < 0 ? kOk : parsed;
  if (!operands.empty()) return Usage("trim", "unexpected operand " + operands[0]);
  const ByteSet strip(Unescape(set));
  // Bytes of the set after a line's text: written only if more text follows on the line. A run
  // longer than a chunk goes to a temporary file, so that memory stays bounded.
  std::string pending;
  std::FILE* spilled = nullptr;
  bool at_line_start = true;
  auto write_pending = [&](Output& out) {
    if (spilled) {
      std::rewind(spilled);
      char block[1 << 14];
      std::size_t n;
      while ((n = std::fread(block, 1, sizeof block, spilled)) > 0) out.Write(block, n);
      std::fclose(spilled);
      spilled = nullptr;
    }
    out.Write(pending);
    pending.clear();
  };
  auto drop_pending = [&] {
    if (spilled) std::fclose(spilled);
    spilled = nullptr;
    pending.clear();
  };
  const int status = Stream(
      [&](const std::string& chunk, Output& out) {
        for (char c : chunk) {
          if (c == '\n') {
            drop_pending();
            out.Write("\n", 1);
            at_line_start = true;
          } else if (strip(c)) {
            if (at_line_start) continue;
            pending += c;
            if (pending.size() >= kChunk) {
              if (!spilled && !(spilled = std::tmpfile()))
                throw Failure{"cannot make a temporary file"};
              if (std::fwrite(pending.data(), 1, pending.size(), spilled) != pending.size()) {
                throw Failure{"cannot write a temporary file"};
              }
              pending.clear();
            }
          } else {
            if (!pending.empty() || spilled) write_pending(out);
            out.Write(&c, 1);
            at_line_start = false;
          }
        }
      },
      [&](Output&) { drop_pending(); });
  drop_pending();
  return status;
}

int RunReplace(const Args& args) {
  std::string unused;
  bool have_set = false;
  Args operands;
  const int parsed =
      ParseFilter("replace", kReplaceHelp, args, nullptr, nullptr, unused, have_set, operands);
  if (parsed != kOk) return parsed < 0 ? kOk : parsed;
  if (operands.size() != 2) return Usage("replace", "replace needs FROM and TO");
  const std::string from = Unescape(operands[0]), to = Unescape(operands[1]);
  // The last (length of FROM - 1) bytes of a chunk wait for the next one: an occurrence may
  // continue there. Occurrences are taken left to right, so one that starts in the held bytes is
  // found with the next chunk, exactly as in the whole text.
  std::string window;
  auto replace_up_to = [&](std::size_t limit, Output& out) {
    const std::string_view text(window);
    std::size_t done = 0;
    for (std::size_t pos;
         !from.empty() && (pos = text.find(from, done)) != text.npos && pos < limit;) {
      out.Write(window.data() + done, pos - done);
      out.Write(to);
      done = pos + from.size();
    }
    const std::size_t kept = std::max(done, limit);
    out.Write(window.data() + done, kept - done);
    window.erase(0, kept);
  };
  return Stream(
      [&](const std::string& chunk, Output& out) {
        window += chunk;
        const std::size_t hold = from.empty() ? 0 : from.size() - 1;
        if (window.size() > hold) replace_up_to(window.size() - hold, out);
      },
      [&](Output& out) { replace_up_to(window.size(), out); });
}

}  // namespace tool
