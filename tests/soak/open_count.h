#ifndef TESTS_SOAK_OPEN_COUNT_H_
#define TESTS_SOAK_OPEN_COUNT_H_

#include <cstdint>
#include <string>

#include "platform/files.h"

namespace orvane::soak {

// How often a file is opened, by whomever. It may be replaced meanwhile. Its directory must be
// there.
class OpenCount {
 public:
  explicit OpenCount(const platform::FilePath& file);

  // So far. To be asked often enough for the kernel's queue, which takes thousands.
  std::int64_t Get();

 private:
  std::string name_;
  platform::ScopedFd inotify_;
  std::int64_t count_ = 0;
};

}  // namespace orvane::soak

#endif  // TESTS_SOAK_OPEN_COUNT_H_
