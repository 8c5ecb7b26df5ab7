// Whole-file reading into narrow strings (raw bytes) and wide strings (UTF-16 after a byte-order
// mark), and whole-file writing of narrow strings.
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "qor/qorstl.h"

namespace {

// Closes the stream on every way out of a call, the allocation error included.
class File {
 public:
  File(const std::string& path, const char* mode) : stream_(std::fopen(path.c_str(), mode)) {}
  ~File() {
    if (stream_ != nullptr) std::fclose(stream_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  std::FILE* get() const { return stream_; }

 private:
  std::FILE* stream_;
};

// Files shorter than this have a length that, with the added zero byte, fits a signed 32-bit int.
constexpr off_t kSmallFileLimit = INT32_MAX;

// Files from this size on are read in chunks of kChunkSize bytes.
constexpr std::size_t kChunkedReadFrom = std::size_t{1} << 20;
constexpr std::size_t kChunkSize = std::size_t{1} << 18;

// Length of the open stream from a seek to its end, or 0 when there is nothing to read: the
// seek fails, the length is zero, or a stream that is not a regular file reports a length of
// 2^31 - 1 or more (a directory on some file systems reports the largest offset).
std::size_t ReadableLength(std::FILE* stream) {
  // A regular file that has bytes says how many in one call; the seeks below ask the same.
  struct stat file_info;
  if (fstat(fileno(stream), &file_info) == 0 && S_ISREG(file_info.st_mode) && file_info.st_size > 0)
    return static_cast<std::size_t>(file_info.st_size);
  fseeko(stream, 0, SEEK_END);
  const off_t length = ftello(stream);
  fseeko(stream, 0, SEEK_SET);
  if (length <= 0) return 0;
  if (length >= kSmallFileLimit) {
    struct stat info;
    if (fstat(fileno(stream), &info) != 0 || !S_ISREG(info.st_mode)) return 0;
  }
  return static_cast<std::size_t>(length);
}

}  // namespace

namespace qor {

std::string dump_file(const std::string& path) {
  const File file(path, "rb");
  if (file.get() == nullptr) return std::string();
  const std::size_t length = ReadableLength(file.get());
  if (length == 0) return std::string();
  if (length < kChunkedReadFrom) {
    // Bytes that a short read does not deliver stay zero, as does the byte added after the file.
    std::string contents(length + 1, '\0');
    std::fread(&contents[0], 1, length, file.get());
    return contents;
  }
  // A large file is read in chunks through a buffer that stays in the cache and appended, so that
  // the result is written once, not zeroed first and then read into.
  std::string contents;
  contents.reserve(length + 1);
  const std::unique_ptr<char[]> chunk(new char[kChunkSize]);
  while (contents.size() < length) {
    const std::size_t want = std::min(kChunkSize, length - contents.size());
    const std::size_t got = std::fread(chunk.get(), 1, want, file.get());
    contents.append(chunk.get(), got);
    if (got < want) break;
  }
  // What a short read did not deliver stays zero, and one zero byte follows the file.
  contents.append(length + 1 - contents.size(), '\0');
  return contents;
}

std::wstring dump_utf16_file(const std::string& path) {
  const std::string bytes = dump_file(path);
  if (bytes.size() < 3) return std::wstring();
  const auto* b = reinterpret_cast<const unsigned char*>(bytes.data());
  // The zero byte after the file completes a last unit of an odd-length file.
  const std::size_t units = bytes.size() / 2 - 1;
  std::wstring text;
  if (b[0] == 0xFF && b[1] == 0xFE) {
    text.reserve(units);
    for (std::size_t i = 0; i < units; ++i) {
      text.push_back(static_cast<wchar_t>(b[2 + 2 * i] | (b[3 + 2 * i] << 8)));
    }
  } else if (b[0] == 0xFE && b[1] == 0xFF) {
    text.reserve(units);
    for (std::size_t i = 0; i < units; ++i) {
      text.push_back(static_cast<wchar_t>((b[2 + 2 * i] << 8) | b[3 + 2 * i]));
    }
  }
  return text;
}

bool write_file(const std::string& path, const std::string& content) {
  const File file(path, "wb");
  if (file.get() == nullptr) return false;
  std::fwrite(content.data(), 1, content.size(), file.get());
  return true;
}

}  // namespace qor
