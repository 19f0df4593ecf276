#include "testbed/file_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <utility>

#include "platform/logging.h"

namespace orvane::testbed {

FileWatch::FileWatch(platform::Loop& loop, const platform::FilePath& file,
                     std::function<void()> on_change)
    : loop_(loop),
      directory_(std::filesystem::absolute(file).parent_path()),
      name_(file.filename()),
      on_change_(std::move(on_change)) {}

Failure FileWatch::Start() {
  inotify_ = platform::ScopedFd(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  // Watches the directory, since a watch on the file would be lost with the file. Creation alone is
  // not reported: the file still has to be written.
  constexpr std::uint32_t kChanges = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
  if (inotify_add_watch(inotify_.get(), directory_.c_str(), kChanges | IN_ONLYDIR) < 0) {
    return "Can't watch " + directory_.native() + ": " + platform::SystemErrorText(errno);
  }
  watch_ = loop_.WatchReadable(inotify_.get(), this);
  return std::nullopt;
}

void FileWatch::OnReadReady(int fd) {
  alignas(inotify_event) std::array<char, 4096> buffer;
  const ssize_t length =
      platform::RetryOnEintr([&] { return read(fd, buffer.data(), buffer.size()); });
  bool changed = false;
  for (ssize_t at = 0; at < length;) {
    const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
    changed = changed || (event->mask & IN_Q_OVERFLOW) != 0 ||
              (event->len > 0 && std::strcmp(event->name, name_.c_str()) == 0);
    at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
  }
  if (changed) on_change_();
}

}  // namespace orvane::testbed
