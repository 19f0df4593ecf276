#ifndef TESTBED_TEMPORARY_DIRECTORY_H_
#define TESTBED_TEMPORARY_DIRECTORY_H_

#include <string_view>

#include "platform/files.h"

namespace orvane::testbed {

// A new, empty directory, removed with all that is in it on destruction. Its path is short, so that
// sockets fit below it. Not being able to make one is fatal.
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

// Replaces the contents of a file, making it where it is missing. Fatal when it can't.
void WriteFile(const platform::FilePath& path, std::string_view contents);

// The same in one step, so that a file half written is never read: it is another file then.
void ReplaceFile(const platform::FilePath& path, std::string_view contents);

}  // namespace orvane::testbed

#endif  // TESTBED_TEMPORARY_DIRECTORY_H_
