#ifndef PLATFORM_MANUAL_LOOP_H_
#define PLATFORM_MANUAL_LOOP_H_

#include <cstdint>
#include <map>
#include <memory>

#include "platform/loop.h"

namespace orvane::platform {

// A loop with virtual time, which only AdvanceBy and Hold move. Simulated days take milliseconds,
// and every run is the same. Descriptors are real and are polled between turns.
class ManualLoop : public Loop {
 public:
  // The wall clock starts at 2001-09-09 01:46:40 UTC.
  ManualLoop() = default;

  WallTime Now() const override { return wall_now_; }
  MonotonicTime MonotonicNow() const override { return monotonic_now_; }
  [[nodiscard]] std::unique_ptr<FdWatch> WatchReadable(int fd, FdWatcher* watcher) override;
  [[nodiscard]] std::unique_ptr<FdWatch> WatchWritable(int fd, FdWatcher* watcher) override;

  // Advances both clocks. Runs what becomes due, each task at its own time.
  void AdvanceBy(TimeSpan span);

  // Advances both clocks and runs nothing, like a callback that blocks.
  void Hold(TimeSpan span);

  // Runs turns and serves descriptors until nothing more is due now.
  void RunUntilIdle() { AdvanceBy(TimeSpan::zero()); }

  // Runs one turn and polls the descriptors once. Returns whether anything ran.
  bool RunOnce();

  // Sets the wall clock. Deadlines do not move.
  void SetWallTime(WallTime now) { wall_now_ = now; }

 protected:
  void OnDeadlineChanged() override {}

 private:
  class Watch;

  std::unique_ptr<FdWatch> AddWatch(int fd, std::int16_t events, FdWatcher* watcher);
  bool CanBeWatched(int fd) const;
  bool ServeDescriptors();

  WallTime wall_now_{std::chrono::seconds(1'000'000'000)};
  MonotonicTime monotonic_now_{};
  // By number, in order of creation. Numbers are never reused.
  std::map<std::uint64_t, Watch*> watches_;
  std::uint64_t next_watch_number_ = 0;
};

}  // namespace orvane::platform

#endif  // PLATFORM_MANUAL_LOOP_H_
