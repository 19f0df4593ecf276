#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>

namespace orvane::platform {
namespace {

constexpr mode_t kReadableByAll = 0644;

bool CreateFile(const FilePath& path, std::string_view contents) {
  const ScopedFd file(RetryOnEintr([&] {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kReadableByAll);
  }));
  return file.is_valid() && fchmod(file.get(), kReadableByAll) == 0 &&
         WriteWhole(file.get(), contents);
}

}  // namespace

ScopedFd::~ScopedFd() {
  if (is_valid()) close(fd_);
}

std::optional<std::string> ReadUpTo(int fd, std::size_t limit) {
  std::string contents;
  std::array<char, 4096> buffer;
  while (contents.size() < limit) {
    const std::size_t wanted = std::min(buffer.size(), limit - contents.size());
    const ssize_t length = RetryOnEintr([&] { return read(fd, buffer.data(), wanted); });
    if (length < 0) return std::nullopt;
    if (length == 0) break;
    contents.append(buffer.data(), static_cast<std::size_t>(length));
  }
  return contents;
}

std::optional<std::string> ReadFileToString(const FilePath& path) {
  const ScopedFd file(RetryOnEintr([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
  if (!file.is_valid()) return std::nullopt;
  return ReadUpTo(file.get(), std::numeric_limits<std::size_t>::max());
}

bool WriteWhole(int fd, std::string_view contents) {
  while (!contents.empty()) {
    const ssize_t size = RetryOnEintr([&] { return write(fd, contents.data(), contents.size()); });
    if (size <= 0) return false;
    contents.remove_prefix(static_cast<std::size_t>(size));
  }
  return true;
}

bool ReplaceFile(const FilePath& path, std::string_view contents) {
  const FilePath draft = path.native() + ".new";
  if (CreateFile(draft, contents) && rename(draft.c_str(), path.c_str()) == 0) return true;
  const int error = errno;
  unlink(draft.c_str());
  errno = error;
  return false;
}

// open(2) returns the lowest free number.
void FillStandardDescriptors() {
  int fd = -1;
  do {
    fd = RetryOnEintr([] { return open("/dev/null", O_RDWR); });
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd >= 0) close(fd);
}

bool PathExists(const FilePath& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

}  // namespace orvane::platform
