#include "testbed/file_watch.h"

#include <sys/inotify.h>

#include <cerrno>
#include <cstdint>
#include <string_view>
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
  // Watches the directory, since a watch on the file would be lost with the file. Creation alone is
  // not reported: the file still has to be written.
  constexpr std::uint32_t kChanges = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
  if (inotify_.Add(directory_, kChanges | IN_ONLYDIR) < 0) {
    return "Can't watch " + directory_.native() + ": " + platform::SystemErrorText(errno);
  }
  watch_ = loop_.WatchReadable(inotify_.fd(), this);
  return std::nullopt;
}

void FileWatch::OnReadReady(int /*fd*/) {
  bool is_changed = false;
  inotify_.Read([&](int /*watch*/, std::uint32_t mask, std::string_view name) {
    is_changed = is_changed || (mask & IN_Q_OVERFLOW) != 0 || name == name_;
  });
  if (is_changed) on_change_();
}

}  // namespace orvane::testbed
