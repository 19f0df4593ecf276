#include "platform/manual_loop.h"

#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <vector>

#include "platform/logging.h"

namespace orvane::platform {

class ManualLoop::Watch : public FdWatch {
 public:
  Watch(ManualLoop& loop, int fd, std::int16_t events, FdWatcher* watcher)
      : loop_(loop),
        number_(loop.next_watch_number_++),
        fd_(fd),
        events_(events),
        watcher_(watcher) {
    loop_.watches_.emplace(number_, this);
  }
  ~Watch() override { loop_.watches_.erase(number_); }

  int fd() const { return fd_; }
  std::int16_t events() const { return events_; }
  void Notify() const noexcept {
    events_ == POLLIN ? watcher_->OnReadReady(fd_) : watcher_->OnWriteReady(fd_);
  }

 private:
  ManualLoop& loop_;
  std::uint64_t number_;
  int fd_;
  std::int16_t events_;  // POLLIN or POLLOUT
  FdWatcher* watcher_;
};

std::unique_ptr<FdWatch> ManualLoop::WatchReadable(int fd, FdWatcher* watcher) {
  return AddWatch(fd, POLLIN, watcher);
}

std::unique_ptr<FdWatch> ManualLoop::WatchWritable(int fd, FdWatcher* watcher) {
  return AddWatch(fd, POLLOUT, watcher);
}

std::unique_ptr<FdWatch> ManualLoop::AddWatch(int fd, std::int16_t events, FdWatcher* watcher) {
  if (!CanBeWatched(fd)) return nullptr;
  return std::make_unique<Watch>(*this, fd, events, watcher);
}

// Refuses what epoll, and so SdEventLoop, refuses: files, directories, and a second watch on one
// descriptor.
bool ManualLoop::CanBeWatched(int fd) const {
  struct stat status;
  if (fstat(fd, &status) != 0 || S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)) return false;
  return std::none_of(watches_.begin(), watches_.end(),
                      [fd](const auto& entry) { return entry.second->fd() == fd; });
}

bool ManualLoop::ServeDescriptors() {
  std::vector<pollfd> descriptors;
  std::vector<std::uint64_t> numbers;
  for (const auto& [number, watch] : watches_) {
    descriptors.push_back({watch->fd(), watch->events(), 0});
    numbers.push_back(number);
  }
  poll(descriptors.data(), descriptors.size(), 0);

  bool has_run = false;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (descriptors[i].revents == 0) continue;
    const auto entry = watches_.find(numbers[i]);
    // An earlier watcher of this round may have destroyed this watch.
    if (entry == watches_.end()) continue;
    entry->second->Notify();
    has_run = true;
  }
  return has_run;
}

bool ManualLoop::RunOnce() {
  const bool has_run_tasks = RunTurn();
  return ServeDescriptors() || has_run_tasks;
}

void ManualLoop::AdvanceBy(TimeSpan span) {
  CHECK(span >= TimeSpan::zero());
  const MonotonicTime end = monotonic_now_ + span;
  for (;;) {
    while (RunOnce()) {
    }
    const std::optional<MonotonicTime> next = NextDeadline();
    const MonotonicTime stop = next.has_value() ? std::min(*next, end) : end;
    if (stop <= monotonic_now_) return;
    Hold(stop - monotonic_now_);
  }
}

void ManualLoop::Hold(TimeSpan span) {
  wall_now_ += span;
  monotonic_now_ += span;
}

}  // namespace orvane::platform
