// qorstl convert: re-encodes files in the manner of iconv, streaming in bounded memory.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "encodings.h"
#include "io.h"
#include "tool.h"

namespace tool {
namespace {

const char kHelp[] =
    "Usage: qorstl convert [-f FROM] [-t TO] [-c | --substitute] [-o OUTPUT] [FILE...]\n"
    "       qorstl convert -l\n"
    "Re-encode the FILEs (standard input when none is given, or for '-') from FROM to TO and\n"
    "write them, one after the other, to OUTPUT or standard output.\n"
    "\n"
    "  -f, --from-code=NAME  encoding of the input (default UTF-8)\n"
    "  -t, --to-code=NAME    encoding of the output (default UTF-8)\n"
    "  -c                    leave out what is malformed or cannot be converted, as iconv -c\n"
    "      --substitute      write U+FFFD (or '?' where TO lacks it) for each malformed or\n"
    "                        unconvertible character\n"
    "  -o, --output=FILE     write into FILE (a symlink's target; a device or FIFO directly);\n"
    "                        a regular file is replaced only once the conversion succeeded\n"
    "  -l, --list            list the encodings this system converts\n"
    "\n"
    "NAME is UTF-8, UTF-16 (written big-endian after a byte-order mark; read in the order its\n"
    "mark gives, big-endian without one), UTF-16BE, UTF-16LE, UTF-8-16 (UTF-8), ISO-8859-1,\n"
    "any charset the system's iconv knows (WINDOWS-1252, UTF-32, SHIFT_JIS, ...), or the name\n"
    "of an installed locale (its charset, converted through the locale).\n"
    "Exit status: 0 on success, 2 on a usage, I/O or conversion error.\n";

std::string Hex(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(value));
  return text;
}

// Streams one input through the decoder and encoder into `out`. Characters and lines are counted
// as they pass, so that a message can say where the input went wrong.
void ConvertOne(const std::string& path, const Encoding& from, const Encoding& to, OnError on_error,
                Encoder& encoder, Output& out) {
  Input input(path);
  const std::unique_ptr<Decoder> decoder = MakeDecoder(from, on_error);
  std::string bytes, encoded;
  std::wstring wide;
  std::uint64_t offset = 0, characters = 0, lines = 0;
  bool end = false;
  while (!end || !bytes.empty()) {
    if (!end) end = input.ReadMore(bytes) == 0;
    wide.clear();
    const Decoded decoded = decoder->Decode(bytes.data(), bytes.size(), end, wide);
    encoded.clear();
    const std::size_t held = encoder.Encode(wide.data(), wide.size(), encoded);
    if (held < wide.size()) {
      const auto line = lines + 1 + std::count(wide.begin(), wide.begin() + held, L'\n');
      throw Failure{input.name() + ": character " + Hex(static_cast<std::uint32_t>(wide[held])) +
                    " (character " + std::to_string(characters + held + 1) + ", line " +
                    std::to_string(line) + ") cannot be written in " + to.label};
    }
    out.Write(encoded);
    lines += static_cast<std::uint64_t>(std::count(wide.begin(), wide.end(), L'\n'));
    characters += wide.size();
    if (decoded.error) {
      std::string what = decoded.error;
      if (!decoded.detail.empty()) what += " " + decoded.detail;
      throw Failure{input.name() + ": not valid " + from.label + " text: " + what + " at byte " +
                    std::to_string(offset + decoded.consumed) + ", line " +
                    std::to_string(lines + 1)};
    }
    bytes.erase(0, decoded.consumed);
    offset += decoded.consumed;
    if (end && decoded.consumed == 0 && !bytes.empty()) {
      throw Failure{input.name() + ": not valid " + from.label + " text at byte " +
                    std::to_string(offset)};
    }
  }
}

}  // namespace

int RunConvert(const Args& args) {
  std::string from = "UTF-8", to = "UTF-8", output = "-";
  std::vector<std::string> files;
  bool list = false;
  OnError on_error = OnError::kFail;
  try {
    for (std::size_t i = 0; i < args.size(); ++i) {
      const std::string& a = args[i];
      if (a == "--help" || a == "-h") {
        return PrintAndExit(kHelp);
      } else if (a == "-l" || a == "--list") {
        list = true;
      } else if (a == "-c") {
        on_error = OnError::kDrop;
      } else if (a == "--substitute") {
        on_error = OnError::kSubstitute;
      } else if (OptionValue(args, i, "-f", "--from-code", from) ||
                 OptionValue(args, i, "-t", "--to-code", to) ||
                 OptionValue(args, i, "-o", "--output", output)) {
      } else if (a == "--") {
        files.insert(files.end(), args.begin() + static_cast<std::ptrdiff_t>(i) + 1, args.end());
        break;
      } else if (a.size() > 1 && a[0] == '-') {
        return Usage("convert", "unknown option " + a);
      } else {
        files.push_back(a);
      }
    }
  } catch (const Failure& f) {
    return Usage("convert", f.message);
  }
  try {
    if (list) {
      std::string text;
      for (const std::string& name : ListEncodings()) text += name + "\n";
      return PrintAndExit(text.c_str());
    }
    if (files.empty()) files.push_back("-");
    const Encoding source = ResolveEncoding(from);
    const Encoding target = ResolveEncoding(to);
    const std::unique_ptr<Encoder> encoder = MakeEncoder(target, on_error);
    Output out(output);
    for (const std::string& file : files) ConvertOne(file, source, target, on_error, *encoder, out);
    std::string tail;
    encoder->Finish(tail);
    out.Write(tail);
    out.Commit();
  } catch (const Failure& f) {
    return Fail(f.message);
  }
  return kOk;
}

}  // namespace tool
