#ifndef PLATFORM_MANUAL_LOOP_H_
#define PLATFORM_MANUAL_LOOP_H_

#include <cstdint>
#include <map>
#include <memory>

#include "platform/loop.h"

namespace orvane::platform {

// A loop whose time stands still until it is told to pass, so that days go by in milliseconds and
// every run is the same. Descriptors are real ones: they are looked at between turns.
class ManualLoop : public Loop {
 public:
  // The wall clock starts at a fixed moment, a whole second: 2001-09-09 01:46:40 UTC.
  ManualLoop() = default;

  WallTime Now() const override { return wall_now_; }
  [[nodiscard]] std::unique_ptr<FdWatch> WatchReadable(int fd, FdWatcher* watcher) override;

  // Lets time pass, both clocks alike. Runs what becomes due on the way, each task at its own time.
  void AdvanceBy(TimeSpan span);

  // Runs turns and serves descriptors until nothing is left to do now.
  void RunUntilIdle() { AdvanceBy(TimeSpan::zero()); }

  // One turn, and one look at the descriptors. Whether there was anything to do.
  bool RunOnce();

  // Somebody sets the clock. Deadlines are not moved by it.
  void SetWallTime(WallTime now) { wall_now_ = now; }

 protected:
  void OnDeadlineChanged() override {}
  MonotonicTime MonotonicNow() const override { return monotonic_now_; }

 private:
  class Watch;

  bool CanBeWatched(int fd) const;
  bool ServeDescriptors();

  WallTime wall_now_{std::chrono::seconds(1'000'000'000)};
  MonotonicTime monotonic_now_{};
  // By their numbers in order of creation, which are never used again.
  std::map<std::uint64_t, Watch*> watches_;
  std::uint64_t next_watch_number_ = 0;
};

}  // namespace orvane::platform

#endif  // PLATFORM_MANUAL_LOOP_H_
