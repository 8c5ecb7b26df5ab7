// Fuzzes the whole-file functions on fuzzed contents in a private temporary directory: what
// write_file writes, dump_file reads back with the added zero byte, dump_utf16_file decodes as its
// rule says (mark, byte order, an odd last byte paired with the added zero), and writing a file's
// dump back grows it by one byte. The directory is removed when the process exits.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_util.h"
#include "qor/qorstl.h"

namespace {

using qor_fuzz::Check;

std::string& Directory() {
  static std::string directory;
  return directory;
}

void RemoveDirectory() {
  if (!Directory().empty()) rmdir(Directory().c_str());
}

const std::string& MakeDirectory() {
  if (Directory().empty()) {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/qorstl-file-fuzz-XXXXXX";
    Check(mkdtemp(&pattern[0]) != nullptr, "a temporary directory can be made");
    Directory() = pattern;
    std::atexit(RemoveDirectory);
  }
  return Directory();
}

std::wstring ModelUtf16(const std::string& file) {
  std::wstring units;
  if (file.size() < 2) return units;
  const auto byte = [&file](std::size_t i) -> unsigned {
    return i < file.size() ? static_cast<unsigned char>(file[i]) : 0u;  // the added zero byte
  };
  const bool little = byte(0) == 0xFF && byte(1) == 0xFE;
  const bool big = byte(0) == 0xFE && byte(1) == 0xFF;
  if (!little && !big) return units;
  for (std::size_t i = 2; i < file.size(); i += 2) {
    units += static_cast<wchar_t>(little ? byte(i) | byte(i + 1) << 8 : byte(i) << 8 | byte(i + 1));
  }
  return units;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  const std::string path = MakeDirectory() + "/file";

  Check(qor::write_file(path, content), "write_file");
  const std::string dumped = qor::dump_file(path);
  Check(dumped == (content.empty() ? std::string() : content + std::string(1, '\0')), "dump_file");
  Check(qor::dump_utf16_file(path) == ModelUtf16(content), "dump_utf16_file");

  // Writing the dump back adds its zero byte to the file.
  Check(qor::write_file(path, dumped), "write_file of the dump");
  Check(qor::dump_file(path) == (content.empty() ? std::string() : dumped + std::string(1, '\0')),
        "dump_file after writing the dump back");

  // The path ends at its first zero byte; a file in a missing directory is never opened.
  Check(!qor::write_file(MakeDirectory() + "/missing/file", content), "write_file into nowhere");
  Check(qor::dump_file(path + std::string(1, '\0') + "ignored") == qor::dump_file(path),
        "dump_file reads the path up to its zero byte");
  std::remove(path.c_str());
  Check(qor::dump_file(path).empty(), "dump_file of a missing file");
  Check(qor::dump_utf16_file(path).empty(), "dump_utf16_file of a missing file");
  return 0;
}
