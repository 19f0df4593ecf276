#ifndef PLATFORM_FILES_H_
#define PLATFORM_FILES_H_

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace orvane::platform {

using FilePath = std::filesystem::path;

// An owned file descriptor, closed on destruction.
class ScopedFd {
 public:
  ScopedFd() = default;
  explicit ScopedFd(int fd) : fd_(fd) {}
  ScopedFd(ScopedFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  ScopedFd& operator=(ScopedFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~ScopedFd();

  int get() const { return fd_; }
  bool is_valid() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

// Reads the rest of an open file, up to `limit` bytes. Returns nothing, with errno set, if it can't
// be read.
std::optional<std::string> ReadUpTo(int fd, std::size_t limit);

// Reads a whole file. Returns nothing, with errno set, if it can't be opened or read to its end.
std::optional<std::string> ReadFileToString(const FilePath& path);

// Writes all of `contents`. Returns false, with errno set, on failure; a part may be written then.
bool WriteWhole(int fd, std::string_view contents);

// Replaces a file atomically: a reader sees the old contents or the new ones, never a part. The new
// file has mode 0644, whatever the umask. It is written as "PATH.new" first and then renamed.
// Returns false, with errno set, on failure. The old file remains then, and the new one is removed.
bool ReplaceFile(const FilePath& path, std::string_view contents);

// Returns whether the path leads to an existing file. Follows links.
bool PathExists(const FilePath& path);

// Opens /dev/null for each closed standard descriptor (0, 1, 2). Otherwise the next opened file or
// socket gets that number, and log lines are written into it.
void FillStandardDescriptors();

// Repeats a system call while a signal interrupts it.
template <typename Call>
auto RetryOnEintr(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

}  // namespace orvane::platform

#endif  // PLATFORM_FILES_H_
