#ifndef PLATFORM_INOTIFY_H_
#define PLATFORM_INOTIFY_H_

#include <cstdint>
#include <functional>
#include <string_view>

#include "platform/files.h"

namespace orvane::platform {

// A queue of the kernel's notices about files (inotify(7)). Failing to make one is fatal.
class Inotify {
 public:
  // One notice: the number of the watch (-1 for IN_Q_OVERFLOW), what happened, and the name in the
  // watched directory; empty for the directory itself.
  using Callback = std::function<void(int watch, std::uint32_t mask, std::string_view name)>;

  Inotify();

  // The number of the watch, the same for each call for one directory; -1 and errno if it fails.
  int Add(const FilePath& path, std::uint32_t mask) const;
  void Remove(int watch) const;

  // Takes what is in the queue. Does not wait.
  void Read(const Callback& callback) const;

  // Readable when there is something in the queue.
  int fd() const { return fd_.get(); }

 private:
  ScopedFd fd_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_INOTIFY_H_
