#include "platform/manual_loop.h"

#include <poll.h>

#include <algorithm>

#include "platform/logging.h"

namespace orvane::platform {

class ManualLoop::Watch : public FdWatch {
 public:
  Watch(ManualLoop& loop, int fd, FdWatcher* watcher) : loop_(loop), fd_(fd), watcher_(watcher) {
    loop_.watches_.push_back(this);
  }
  ~Watch() override { std::erase(loop_.watches_, this); }

  int fd() const { return fd_; }
  void Notify() const { watcher_->OnReadReady(fd_); }

 private:
  ManualLoop& loop_;
  int fd_;
  FdWatcher* watcher_;
};

std::unique_ptr<FdWatch> ManualLoop::WatchReadable(int fd, FdWatcher* watcher) {
  if (fd < 0) return nullptr;
  return std::make_unique<Watch>(*this, fd, watcher);
}

bool ManualLoop::ServeDescriptors() {
  std::vector<pollfd> descriptors;
  descriptors.reserve(watches_.size());
  for (const Watch* watch : watches_) descriptors.push_back({watch->fd(), POLLIN, 0});
  poll(descriptors.data(), descriptors.size(), 0);

  bool has_run = false;
  const std::vector<Watch*> watches = watches_;
  for (std::size_t i = 0; i < watches.size(); ++i) {
    if (descriptors[i].revents == 0) continue;
    // An earlier watcher of this round may have ended this watch.
    if (std::find(watches_.begin(), watches_.end(), watches[i]) == watches_.end()) continue;
    watches[i]->Notify();
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
    if (stop > monotonic_now_) {
      wall_now_ += stop - monotonic_now_;
      monotonic_now_ = stop;
      continue;
    }
    return;
  }
}

}  // namespace orvane::platform
