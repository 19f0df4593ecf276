#ifndef PLATFORM_LOOP_H_
#define PLATFORM_LOOP_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/location.h"
#include "platform/time.h"

namespace orvane::platform {

// Receives the events of watched descriptors.
class FdWatcher {
 public:
  virtual ~FdWatcher() = default;
  virtual void OnReadReady(int fd) = 0;
  virtual void OnWriteReady(int fd) = 0;
};

// A watch on a descriptor. Destroying it ends the watch, also during a callback of the watcher.
class FdWatch {
 public:
  virtual ~FdWatch() = default;
};

// The event loop of a thread. It runs tasks, timers and descriptor watchers one after the other
// on its thread. All functions must be called on that thread.
//
// The loop works in turns. A turn runs the tasks that were posted before the turn began, in order
// of posting. Then it runs the timers that were due when the turn began, in order of deadline;
// equal deadlines run in order of arming. Tasks and timers that are added during a turn wait for
// the next turn, even with no delay. Descriptors are served between turns, so neither a chain of
// tasks nor a timer that re-arms itself can starve them.
//
// An exception that leaves a task, a timer or a watcher ends the process.
class Loop {
 public:
  using Task = std::function<void()>;
  // Identifies an armed timer: its deadline, and its number in order of arming.
  using TimerKey = std::pair<MonotonicTime, std::uint64_t>;

  Loop() = default;
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;
  virtual ~Loop() = default;

  // Runs `task` in the next turn.
  void PostTask(Task task, Location from = Location::Current());

  // Runs `task` after `delay`, or in the next turn if `delay` is zero or less.
  void PostDelayedTask(Task task, TimeSpan delay, Location from = Location::Current());

  // The wall clock.
  virtual WallTime Now() const = 0;

  // The monotonic clock, which deadlines use.
  virtual MonotonicTime MonotonicNow() const = 0;

  // Calls OnReadReady of `watcher` repeatedly as long as `fd` is readable or in error. Returns null
  // if `fd` can't be watched, or already has a read or write watch. `fd` and `watcher` must outlive
  // the watch.
  [[nodiscard]] virtual std::unique_ptr<FdWatch> WatchReadable(int fd, FdWatcher* watcher) = 0;

  // Like WatchReadable, but calls OnWriteReady as long as `fd` is writable or in error.
  [[nodiscard]] virtual std::unique_ptr<FdWatch> WatchWritable(int fd, FdWatcher* watcher) = 0;

 protected:
  // Returns when the next turn is due: nothing if there is no task and no timer, a time in the past
  // if a turn is already due.
  std::optional<MonotonicTime> NextDeadline() const;

  // Runs one turn. Returns whether a task or timer ran.
  bool RunTurn() noexcept;

  // Called when the first deadline may have become earlier.
  virtual void OnDeadlineChanged() = 0;

 private:
  friend class OneShotTimer;

  struct PendingTask {
    Task task;
    Location from;  // for debugging
  };

  TimerKey ArmTimer(Task task, TimeSpan delay, Location from);
  void DisarmTimer(const TimerKey& key) { timers_.erase(key); }

  std::vector<PendingTask> posted_;
  std::map<TimerKey, PendingTask> timers_;
  std::uint64_t next_timer_number_ = 0;
};

}  // namespace orvane::platform

#endif  // PLATFORM_LOOP_H_
