#ifndef TESTS_SOAK_OPEN_COUNT_H_
#define TESTS_SOAK_OPEN_COUNT_H_

#include <cstdint>
#include <string>

#include "platform/files.h"

namespace orvane::soak {

// Counts how often any process opens a file. The file may be replaced. Its directory must exist.
class OpenCount {
 public:
  explicit OpenCount(const platform::FilePath& file);

  // Returns the count so far. Call it before the kernel's queue of thousands of events is full.
  std::int64_t Get();

 private:
  std::string name_;
  platform::ScopedFd inotify_;
  std::int64_t count_ = 0;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_OPEN_COUNT_H_
