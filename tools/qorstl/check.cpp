// qorstl check: says whether files are ASCII, UTF-8 or UTF-16 with a byte-order mark, and where
// they break, reading each to its end in chunks.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "encodings.h"
#include "io.h"
#include "qor/qorstl.h"
#include "tool.h"

namespace tool {
namespace {

const char kHelp[] =
    "Usage: qorstl check [--31-bit] FILE...\n"
    "Say for each FILE ('-' for standard input) whether it is ASCII, UTF-8 (with or without a\n"
    "byte-order mark), UTF-16 with a byte-order mark (what 'qorstl convert -t UTF-16' writes),\n"
    "or none of these; for text that is not, give the byte offset and line of the first\n"
    "malformed sequence. UTF-16 is judged by the rules convert reads it by.\n"
    "\n"
    "  --31-bit  judge UTF-8 by the codec's 31-bit rules (one to six bytes, values up to\n"
    "            0x7FFFFFFF, overlong forms pass) instead of the standard rules\n"
    "\n"
    "Exit status: 0 when every file is in one of these encodings, 1 when one is not, 2 on a\n"
    "usage or I/O error.\n";

std::uint64_t CountLines(const char* data, std::size_t size) {
  return static_cast<std::uint64_t>(std::count(data, data + size, '\n'));
}

// The verdict on a file with a UTF-16 byte-order mark; `bytes` holds its first chunk.
std::string CheckUtf16(Input& input, std::string& bytes, bool& valid) {
  const bool little = bytes[0] == '\xFF';
  const std::string name = little ? "UTF-16LE" : "UTF-16BE";
  const std::unique_ptr<Decoder> decoder = MakeUnicodeDecoder(Encoding::kUtf16, OnError::kFail);
  std::wstring ignored;
  std::uint64_t offset = 0;
  bool end = false;
  while (!end || !bytes.empty()) {
    if (!end) end = input.ReadMore(bytes) == 0;
    ignored.clear();
    const Decoded decoded = decoder->Decode(bytes.data(), bytes.size(), end, ignored);
    if (decoded.error) {
      valid = false;
      std::string what = decoded.error;
      if (!decoded.detail.empty()) what += " " + decoded.detail;
      return "not " + name + ": " + what + " at byte " + std::to_string(offset + decoded.consumed);
    }
    bytes.erase(0, decoded.consumed);
    offset += decoded.consumed;
  }
  return name + " with byte-order mark";
}

// Where a chunk can be cut without splitting a sequence of up to six bytes.
std::size_t CutBeforeLastSequence(const std::string& bytes) {
  std::size_t lead = bytes.size();
  while (lead > 0 && bytes.size() - lead < 5 &&
         (static_cast<unsigned char>(bytes[lead - 1]) & 0xC0) == 0x80) {
    --lead;
  }
  if (lead > 0 && static_cast<unsigned char>(bytes[lead - 1]) >= 0xC0) return lead - 1;
  return bytes.size();
}

std::string CheckFile(const std::string& path, bool standard, bool& valid) {
  Input input(path);
  std::string bytes;
  bool end = false;
  while (!end && bytes.size() < 3) end = input.ReadMore(bytes) == 0;
  if (bytes.size() >= 2 &&
      (bytes.compare(0, 2, "\xFF\xFE") == 0 || bytes.compare(0, 2, "\xFE\xFF") == 0)) {
    return CheckUtf16(input, bytes, valid);
  }
  const bool mark = bytes.compare(0, 3, "\xEF\xBB\xBF") == 0;
  bool ascii = true;
  std::uint64_t offset = 0, lines = 0;
  for (;;) {
    const std::size_t cut = end ? bytes.size() : CutBeforeLastSequence(bytes);
    const std::string piece = bytes.substr(0, cut);
    ascii = ascii && qor::string_is_ascii_string(piece);
    const std::size_t bad =
        ascii ? std::string::npos : qor::string_utf8_find_invalid(piece, standard);
    if (bad != std::string::npos) {
      valid = false;
      char byte[8];
      std::snprintf(byte, sizeof byte, "%02X", static_cast<unsigned char>(piece[bad]));
      return "not UTF-8: malformed sequence at byte " + std::to_string(offset + bad) + ", line " +
             std::to_string(lines + CountLines(piece.data(), bad) + 1) + " (byte " + byte + ")";
    }
    lines += CountLines(piece.data(), piece.size());
    offset += cut;
    bytes.erase(0, cut);
    if (end) break;
    end = input.ReadMore(bytes) == 0;
  }
  if (ascii) return "ASCII";
  return mark ? "UTF-8 with byte-order mark" : "UTF-8";
}

}  // namespace

int RunCheck(const Args& args) {
  bool standard = true;
  std::vector<std::string> files;
  bool options = true;
  for (const std::string& a : args) {
    if (options && (a == "--help" || a == "-h")) {
      return PrintAndExit(kHelp);
    } else if (options && a == "--31-bit") {
      standard = false;
    } else if (options && a == "--") {
      options = false;
    } else if (options && a.size() > 1 && a[0] == '-') {
      return Usage("check", "unknown option " + a);
    } else {
      files.push_back(a);
    }
  }
  if (files.empty()) return Usage("check", "no file to check");
  int status = kOk;
  try {
    Output out("-");
    for (const std::string& file : files) {
      bool valid = true;
      std::string verdict;
      try {
        verdict = CheckFile(file, standard, valid);
      } catch (const Failure& f) {
        Fail(f.message);
        status = kError;
        continue;
      }
      if (!valid && status == kOk) status = kNotFound;
      out.Write((file == "-" ? "standard input" : file) + ": " + verdict + "\n");
    }
    out.Commit();
  } catch (const Failure& f) {
    return Fail(f.message);
  }
  return status;
}

}  // namespace tool
