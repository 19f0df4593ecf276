#ifndef FLAGS_FLAGS_DIRECTORIES_H_
#define FLAGS_FLAGS_DIRECTORIES_H_

#include <string_view>
#include <vector>

#include "flags/flags_text.h"
#include "platform/files.h"

namespace orvane::flags {

// Returns the directories that the flags service reads unless others are given, below `root`.
std::vector<platform::FilePath> DefaultFlagsDirectories(const platform::FilePath& root = "/");

// Returns whether a file of this name contains flags: it ends in ".conf" and is not hidden.
bool IsFlagsFileName(std::string_view name);

// Reads the flags files of all directories, in the order of the directories and, within each, in
// the byte order of the names. A missing directory counts as empty.
//
// Errors besides those of ReadFlags: a directory that can't be read; a file that can't be read, is
// not a regular file or is larger than kMaxFileSize; more than kMaxFiles files.
Reading ReadFlagsDirectories(const std::vector<platform::FilePath>& directories);

// With these limits the map fits into a bus message.
inline constexpr std::size_t kMaxFileSize = std::size_t{64} << 10;
inline constexpr std::size_t kMaxFiles = 100;

}  // namespace orvane::flags

#endif  // FLAGS_FLAGS_DIRECTORIES_H_
