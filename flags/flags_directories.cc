#include "flags/flags_directories.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <system_error>

#include "platform/logging.h"

namespace orvane::flags {
namespace {

using platform::FilePath;

// Returns the flags files of a directory, and a failure in `error`.
std::vector<FilePath> ListFiles(const FilePath& directory, std::error_code* error) {
  std::vector<FilePath> files;
  std::filesystem::directory_iterator entry(directory, *error);
  for (; !*error && entry != std::filesystem::directory_iterator(); entry.increment(*error)) {
    if (IsFlagsFileName(entry->path().filename().native())) files.push_back(entry->path());
  }
  if (*error == std::errc::no_such_file_or_directory) error->clear();
  std::ranges::sort(files);
  return files;
}

// Returns the contents. On failure returns nothing and sets `problem`, which stays empty if the
// file no longer exists.
std::optional<std::string> ReadFile(const FilePath& path, std::string* problem) {
  // O_NONBLOCK: a FIFO must not block.
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const platform::ScopedFd file(platform::RetryOnEintr([&] { return open(path.c_str(), kFlags); }));
  struct stat status = {};
  if (!file.is_valid() || fstat(file.get(), &status) != 0) {
    const int error = errno;
    const bool is_gone = error == ENOENT && lstat(path.c_str(), &status) != 0;
    if (!is_gone) *problem = platform::SystemErrorText(error);
    return std::nullopt;
  }
  if (!S_ISREG(status.st_mode)) {
    *problem = "not a regular file";
    return std::nullopt;
  }
  auto contents = platform::ReadUpTo(file.get(), kMaxFileSize + 1);
  if (!contents) *problem = platform::SystemErrorText(errno);
  if (!contents || contents->size() <= kMaxFileSize) return contents;
  *problem = fmt::format("over {} bytes", kMaxFileSize);
  return std::nullopt;
}

}  // namespace

std::vector<FilePath> DefaultFlagsDirectories(const FilePath& root) {
  return {root / "etc/ap-wavelark/flags.d", root / "run/ap-wavelark/flags.d"};
}

bool IsFlagsFileName(std::string_view name) {
  return name.ends_with(".conf") && !name.starts_with('.');
}

Reading ReadFlagsDirectories(const std::vector<FilePath>& directories) {
  Reading reading;
  std::vector<FilePath> files;
  for (const FilePath& directory : directories) {
    std::error_code error;
    const std::vector<FilePath> found = ListFiles(directory, &error);
    if (error) reading.errors.push_back(directory.native() + ": " + error.message());
    files.insert(files.end(), found.begin(), found.end());
  }
  if (files.size() > kMaxFiles) {
    reading.errors.push_back(fmt::format("{} files, over {}", files.size(), kMaxFiles));
    return reading;
  }
  for (const FilePath& file : files) {
    std::string problem;
    if (const auto text = ReadFile(file, &problem)) ReadFlags(file, *text, &reading);
    if (!problem.empty()) reading.errors.push_back(file.native() + ": " + problem);
  }
  return reading;
}

}  // namespace orvane::flags
