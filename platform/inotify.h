#ifndef PLATFORM_INOTIFY_H_
#define PLATFORM_INOTIFY_H_

#include <cstdint>
#include <functional>
#include <string_view>

#include "platform/files.h"

namespace orvane::platform {

// A queue of file events of the kernel (inotify(7)). Failing to create one aborts the process.
class Inotify {
 public:
  // Receives one event: the number of the watch (-1 for IN_Q_OVERFLOW), the event mask, and the
  // file name in the watched directory. The name is empty for the directory itself.
  using Callback = std::function<void(int watch, std::uint32_t mask, std::string_view name)>;

  Inotify();

  // Returns the number of the watch, which is the same for repeated calls with one directory.
  // Returns -1, with errno set, on failure.
  int Add(const FilePath& path, std::uint32_t mask) const;
  void Remove(int watch) const;

  // Reads all queued events. Does not block.
  void Read(const Callback& callback) const;

  // Readable while events are queued.
  int fd() const { return fd_.get(); }

 private:
  ScopedFd fd_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_INOTIFY_H_
