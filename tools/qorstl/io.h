// Input read by streaming to its end, and output written into what a path names.
#ifndef QORSTL_TOOL_IO_H_
#define QORSTL_TOOL_IO_H_

#include <cstddef>
#include <string>

namespace tool {

// How much a command reads at a time.
constexpr std::size_t kChunk = 256 * 1024;

// A file ("-" is standard input) read in chunks to its end, whatever it is: a regular file, a
// pipe, a FIFO, a character device or a file under /proc. Nothing is sized by seeking.
class Input {
 public:
  // Throws Failure "PATH: reason" when the path cannot be opened or is a directory.
  explicit Input(const std::string& path);
  ~Input();
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  // Appends up to `max` bytes to `buffer`; returns how many, 0 only at the end of the input.
  // Throws Failure naming the input on a read error.
  std::size_t ReadMore(std::string& buffer, std::size_t max = kChunk);

  // The name for messages: the path, or "standard input".
  const std::string& name() const { return name_; }

 private:
  int fd_;
  std::string name_;
};

// Where a command writes: standard output ("-") or the file that `-o PATH` names. A regular file
// is replaced atomically (a new file beside it, renamed over it) where that keeps what the user
// sees: symlinks are followed, mode (and, as root, owner) kept. A file with other hard links, one
// that is not ours, or one in a directory we cannot write is written in place, once all the output
// is ready. Anything else (a device, a FIFO, /dev/stdout) is opened and written directly. Nothing
// is left behind when the output is abandoned.
class Output {
 public:
  // Throws Failure "PATH: reason" when the target cannot be written.
  explicit Output(const std::string& path);
  ~Output();  // abandons the output unless Commit() ran
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(const char* data, std::size_t size);
  void Write(const std::string& data) { Write(data.data(), data.size()); }

  // Flushes and closes (standard output too), and puts a staged file in place. Throws Failure.
  void Commit();

 private:
  void Flush();
  [[noreturn]] void WriteFailed(int error);

  enum Mode { kStdout, kDirect, kAtomic, kStaged } mode_;
  std::string path_;    // the target, symlinks resolved
  std::string temp_;    // kAtomic: the new file beside the target
  int fd_ = -1;         // where bytes go now
  int target_fd_ = -1;  // kStaged: the target, opened early to check it can be written
  std::string buffer_;
  bool committed_ = false;
};

}  // namespace tool

#endif  // QORSTL_TOOL_IO_H_
