#ifndef TESTBED_TEMPORARY_DIRECTORY_H_
#define TESTBED_TEMPORARY_DIRECTORY_H_

#include <cstddef>
#include <string_view>

#include "platform/files.h"

namespace orvane::testbed {

// A new, empty directory. The destructor removes it with its contents. Its path is short enough for
// sockets in it. Aborts on failure.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  const platform::FilePath& path() const { return path_; }

 private:
  platform::FilePath path_;
};

// Replaces the contents of a file, or creates it. Aborts on failure.
void WriteFile(const platform::FilePath& path, std::string_view contents);

// Replaces a file atomically, so that nobody reads an incomplete one. It is a new file afterwards.
void ReplaceFile(const platform::FilePath& path, std::string_view contents);

// Makes this process unable to write beyond `bytes` in a file, as on a full disk: errno is EFBIG.
// For the child of a death test. Aborts on failure.
void LimitFileSize(std::size_t bytes);

}  // namespace orvane::testbed

#endif  // TESTBED_TEMPORARY_DIRECTORY_H_
