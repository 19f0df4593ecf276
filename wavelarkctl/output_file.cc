#include "wavelarkctl/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <utility>

#include "platform/logging.h"
#include "wavelarkctl/command.h"
#include "wavelarkctl/common_options.h"

namespace orvane::wavelarkctl {
namespace {

using platform::FilePath;
using platform::ScopedFd;

constexpr mode_t kNewFileMode = 0666;  // before the process's umask
constexpr mode_t kModeBits = 07777;

struct Draft {
  std::string path;
  ScopedFd file;
};

// Writes to a file that is not replaced: a device, a pipe, a link, or a new file.
bool WriteInPlace(const FilePath& path, std::string_view contents) {
  const ScopedFd file(platform::RetryOnEintr(
      [&] { return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFileMode); }));
  return file.is_valid() && platform::WriteWhole(file.get(), contents);
}

// The mode and owner for a file that takes the place of `path`. Returns nothing if `path` is to be
// written in place.
std::optional<struct stat> ReplaceableStatus(const FilePath& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0) {
    const bool is_replaceable = S_ISREG(status.st_mode) && access(path.c_str(), W_OK) == 0;
    return is_replaceable ? std::optional(status) : std::nullopt;
  }
  if (errno != ENOENT) return std::nullopt;
  const mode_t mask = umask(0);
  umask(mask);
  status.st_mode = kNewFileMode & ~mask;
  status.st_uid = geteuid();
  status.st_gid = getegid();
  return status;
}

// Creates a file beside `path` with this mode and owner. Returns nothing if that is not possible.
std::optional<Draft> CreateDraft(const FilePath& path, const struct stat& status) {
  Draft draft = {path.native() + ".XXXXXX", {}};
  draft.file = ScopedFd(mkostemp(draft.path.data(), O_CLOEXEC));
  if (!draft.file.is_valid()) return std::nullopt;
  if (fchown(draft.file.get(), status.st_uid, status.st_gid) == 0 &&
      fchmod(draft.file.get(), status.st_mode & kModeBits) == 0) {
    return draft;
  }
  unlink(draft.path.c_str());
  return std::nullopt;
}

bool WriteAndRename(const Draft& draft, const FilePath& path, std::string_view contents) {
  if (platform::WriteWhole(draft.file.get(), contents) &&
      rename(draft.path.c_str(), path.c_str()) == 0) {
    return true;
  }
  const int error = errno;
  unlink(draft.path.c_str());
  errno = error;
  return false;
}

bool Write(const FilePath& path, std::string_view contents) {
  const auto status = ReplaceableStatus(path);
  const auto draft = status ? CreateDraft(path, *status) : std::nullopt;
  return draft ? WriteAndRename(*draft, path, contents) : WriteInPlace(path, contents);
}

}  // namespace

void WriteOutputFile(const FilePath& path, std::string_view contents) {
  if (path == kStandardOutput) {
    std::cout << contents;
    return;
  }
  if (Write(path, contents)) return;
  throw Failure(ExitStatus::kUnavailable, fmt::format("{}: can't be written: {}", path.native(),
                                                      platform::SystemErrorText(errno)));
}

}  // namespace orvane::wavelarkctl
