// Streaming input to end of file, and output that writes into what `-o` names.
#include "io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tool.h"

namespace tool {
namespace {

std::string Reason(const std::string& what, int error) {
  return what + ": " + std::strerror(error);
}

bool WriteAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t n = write(fd, data, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      if (n == 0) errno = ENOSPC;
      return false;
    }
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

// The new file beside an atomic target, removed if a signal ends the tool before the rename.
char g_temp_path[4096];

void RemoveTempAndDie(int signal_number) {
  if (g_temp_path[0] != '\0') unlink(g_temp_path);
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

void GuardTemp(const std::string& path) {
  if (path.size() >= sizeof g_temp_path) return;
  std::memcpy(g_temp_path, path.c_str(), path.size() + 1);
  for (int s : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(s, RemoveTempAndDie);
}

void UnguardTemp() {
  g_temp_path[0] = '\0';
}

std::string DirName(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool UnderSystemTree(const std::string& path) {
  return path.rfind("/proc/", 0) == 0 || path.rfind("/dev/", 0) == 0;
}

// Follows symlinks from `path` to what they finally name (which may not exist yet). Stops at a
// link under /proc or /dev, whose target only the kernel can open (/dev/stdout, /proc/self/fd/1).
std::string FollowLinks(std::string path) {
  for (int hops = 0; hops < 40; ++hops) {
    struct stat info;
    if (UnderSystemTree(path) || lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) {
      return path;
    }
    std::string target(4096, '\0');
    const ssize_t n = readlink(path.c_str(), &target[0], target.size());
    if (n < 0 || static_cast<std::size_t>(n) == target.size()) return path;
    target.resize(static_cast<std::size_t>(n));
    path = target[0] == '/' ? target : DirName(path) + "/" + target;
  }
  return path;  // a loop: opening it reports ELOOP
}

// An unnamed file for output that must not reach its target before it is complete.
int StagingFile() {
  const char* dir = std::getenv("TMPDIR");
  std::string name = std::string(dir && *dir ? dir : "/tmp") + "/qorstl-staged-XXXXXX";
  const int fd = mkstemp(&name[0]);
  if (fd >= 0) unlink(name.c_str());
  return fd;
}

}  // namespace

// ---- Input ----

Input::Input(const std::string& path) : fd_(STDIN_FILENO), name_(path) {
  if (path == "-") {
    name_ = "standard input";
    return;
  }
  fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd_ < 0) throw Failure{Reason(path, errno)};
  struct stat info;
  if (fstat(fd_, &info) == 0 && S_ISDIR(info.st_mode)) {
    close(fd_);
    fd_ = -1;
    throw Failure{Reason(path, EISDIR)};
  }
}

Input::~Input() {
  if (fd_ > STDIN_FILENO) close(fd_);
}

std::size_t Input::ReadMore(std::string& buffer, std::size_t max) {
  const std::size_t old_size = buffer.size();
  buffer.resize(old_size + max);
  for (;;) {
    const ssize_t n = read(fd_, &buffer[old_size], max);
    if (n >= 0) {
      buffer.resize(old_size + static_cast<std::size_t>(n));
      return static_cast<std::size_t>(n);
    }
    if (errno != EINTR) {
      const int error = errno;
      buffer.resize(old_size);
      throw Failure{Reason(name_, error)};
    }
  }
}

// ---- Output ----

Output::Output(const std::string& path) : mode_(kStdout), path_(path), fd_(STDOUT_FILENO) {
  if (path == "-") return;
  path_ = FollowLinks(path);
  struct stat info;
  const bool exists = stat(path_.c_str(), &info) == 0;
  if (exists && S_ISDIR(info.st_mode)) throw Failure{Reason(path, EISDIR)};
  if ((exists && !S_ISREG(info.st_mode)) || UnderSystemTree(path_)) {
    mode_ = kDirect;
    fd_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd_ < 0) throw Failure{Reason(path, errno)};
    return;
  }
  const std::string dir = DirName(path_);
  const bool root = geteuid() == 0;
  if (exists && access(path_.c_str(), W_OK) != 0) throw Failure{Reason(path, errno)};
  bool atomic = !exists || (info.st_nlink == 1 && access(dir.c_str(), W_OK | X_OK) == 0 &&
                            (root || info.st_uid == geteuid()));
  if (atomic) {
    temp_ = path_ + ".qorstl-XXXXXX";
    fd_ = mkstemp(&temp_[0]);
    if (fd_ < 0) {
      if (!exists) throw Failure{Reason(path, errno)};
      atomic = false;  // a directory we may not write after all: write in place
    } else {
      GuardTemp(temp_);
      mode_t mode;
      if (exists) {
        mode = info.st_mode & 07777;
      } else {
        mode = umask(0);
        umask(mode);
        mode = 0666 & ~mode;
      }
      bool kept = fchmod(fd_, mode) == 0;
      if (exists && kept && (root || info.st_gid != getegid())) {
        kept = fchown(fd_, root ? info.st_uid : static_cast<uid_t>(-1), info.st_gid) == 0 &&
               fchmod(fd_, mode) == 0;  // chown may clear set-id bits
      }
      if (!kept) {  // the new file could not look like the old one: write in place instead
        close(fd_);
        unlink(temp_.c_str());
        UnguardTemp();
        atomic = false;
      }
    }
  }
  if (atomic) {
    mode_ = kAtomic;
    return;
  }
  mode_ = kStaged;
  target_fd_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
  if (target_fd_ < 0) throw Failure{Reason(path, errno)};
  fd_ = StagingFile();
  if (fd_ < 0) {
    const int error = errno;
    close(target_fd_);
    throw Failure{Reason("cannot stage output for " + path, error)};
  }
}

Output::~Output() {
  if (committed_) return;
  // What reached standard output before a failure stays there, as a pipe would have it.
  if (mode_ == kStdout && !buffer_.empty()) WriteAll(fd_, buffer_.data(), buffer_.size());
  if (mode_ != kStdout && fd_ >= 0) close(fd_);
  if (target_fd_ >= 0) close(target_fd_);
  if (mode_ == kAtomic) {
    unlink(temp_.c_str());
    UnguardTemp();
  }
}

void Output::WriteFailed(int error) {
  throw Failure{mode_ == kStdout ? Reason("write error", error) : Reason(path_, error)};
}

void Output::Flush() {
  if (!buffer_.empty() && !WriteAll(fd_, buffer_.data(), buffer_.size())) WriteFailed(errno);
  buffer_.clear();
}

void Output::Write(const char* data, std::size_t size) {
  constexpr std::size_t kBuffered = 64 * 1024;
  if (buffer_.size() + size <= kBuffered) {
    buffer_.append(data, size);
    return;
  }
  Flush();
  if (size < kBuffered) {
    buffer_.append(data, size);
  } else if (!WriteAll(fd_, data, size)) {
    WriteFailed(errno);
  }
}

void Output::Commit() {
  Flush();
  if (mode_ == kStaged) {
    // All the output is ready: only now does the target change.
    if (lseek(fd_, 0, SEEK_SET) != 0 || ftruncate(target_fd_, 0) != 0) WriteFailed(errno);
    std::string block(kChunk, '\0');
    for (;;) {
      const ssize_t n = read(fd_, &block[0], block.size());
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) WriteFailed(errno);
      if (n == 0) break;
      if (!WriteAll(target_fd_, block.data(), static_cast<std::size_t>(n))) WriteFailed(errno);
    }
    close(fd_);
    fd_ = -1;
    const int status = close(target_fd_);
    target_fd_ = -1;
    if (status != 0) WriteFailed(errno);
    committed_ = true;
    return;
  }
  const int status = close(fd_);
  fd_ = -1;
  if (status != 0 && !(mode_ == kStdout && errno == EBADF)) WriteFailed(errno);
  if (mode_ == kAtomic) {
    if (rename(temp_.c_str(), path_.c_str()) != 0) WriteFailed(errno);
    UnguardTemp();
  }
  committed_ = true;
}

}  // namespace tool
