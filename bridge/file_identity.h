#ifndef BRIDGE_FILE_IDENTITY_H_
#define BRIDGE_FILE_IDENTITY_H_

#include <sys/types.h>

#include <cstdint>
#include <optional>

#include "platform/files.h"

namespace orvane::bridge {

// Identifies the file at a path. A file that replaces another has a different identity. Some file
// systems give it the old inode number, so the time counts too.
struct FileIdentity {
  dev_t device;
  ino_t inode;
  std::int64_t modified_s;
  std::int64_t modified_ns;

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// Returns nothing, with errno set, if there is no file.
std::optional<FileIdentity> Identify(const platform::FilePath& path);

}  // namespace orvane::bridge

#endif  // BRIDGE_FILE_IDENTITY_H_
