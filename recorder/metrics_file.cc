#include "recorder/metrics_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/logging.h"

namespace orvane::recorder {
namespace {

constexpr mode_t kMode = 0644;

bool WriteWhole(const std::string& path, std::string_view text) {
  const platform::ScopedFd file(platform::RetryOnEintr(
      [&] { return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode); }));
  // Not affected by the umask of the process.
  if (!file.is_valid() || fchmod(file.get(), kMode) != 0) return false;
  while (!text.empty()) {
    const ssize_t size =
        platform::RetryOnEintr([&] { return write(file.get(), text.data(), text.size()); });
    if (size < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(size));
  }
  return true;
}

}  // namespace

std::string ReplaceFile(const platform::FilePath& path, std::string_view text) {
  // In the same directory, with a name that collectors ignore.
  const std::string unfinished = path.native() + ".new";
  if (WriteWhole(unfinished, text) && rename(unfinished.c_str(), path.c_str()) == 0) return "";
  const int error = errno;
  unlink(unfinished.c_str());
  return platform::SystemErrorText(error);
}

}  // namespace orvane::recorder
