#include "bridge/file_identity.h"

#include <sys/stat.h>

namespace orvane::bridge {

std::optional<FileIdentity> Identify(const platform::FilePath& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

}  // namespace orvane::bridge
