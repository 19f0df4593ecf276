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

// Told when a descriptor that it watches is ready.
class FdWatcher {
 public:
  virtual ~FdWatcher() = default;
  virtual void OnReadReady(int fd) = 0;
  virtual void OnWriteReady(int fd) = 0;
};

// Keeps a watch on a descriptor; destroying it ends the watch, also from inside the watcher.
class FdWatch {
 public:
  virtual ~FdWatch() = default;
};

// The message loop of a thread: tasks, timers and descriptors, all run one after the other on the
// thread that runs the loop. Everything here is to be called on that thread.
//
// Order: a turn first runs the tasks that were posted before it, in order of posting, then the
// timers that are due, in order of their deadlines and, where those are equal, of arming. What a
// task of the turn posts or arms, however soon it is due, waits for the next turn; between turns
// descriptors are served. So neither a chain of tasks nor a timer that re-arms itself with no delay
// keeps descriptors from being served.
//
// A task must not throw: an exception that leaves it ends the process.
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

  // Runs `task` once `delay` has passed. No delay, or a negative one, is due in the next turn.
  void PostDelayedTask(Task task, TimeSpan delay, Location from = Location::Current());

  // The clock of the calendar.
  virtual WallTime Now() const = 0;

  // Calls `watcher` whenever `fd` is readable or in error, until the watch is destroyed. Null when
  // the descriptor can't be watched. `fd` and `watcher` must outlive the watch.
  [[nodiscard]] virtual std::unique_ptr<FdWatch> WatchReadable(int fd, FdWatcher* watcher) = 0;

 protected:
  // The moment to wait for: nothing when there is nothing to do, a past one when a turn is due.
  std::optional<MonotonicTime> NextDeadline() const;

  // One turn. Whether there was something to run.
  bool RunTurn() noexcept;

  // The first deadline may have come closer.
  virtual void OnDeadlineChanged() = 0;

  virtual MonotonicTime MonotonicNow() const = 0;

 private:
  friend class OneShotTimer;

  struct PendingTask {
    Task task;
    Location from;  // for somebody with a debugger
  };

  TimerKey ArmTimer(Task task, TimeSpan delay, Location from);
  void DisarmTimer(const TimerKey& key) { timers_.erase(key); }

  std::vector<PendingTask> posted_;
  std::map<TimerKey, PendingTask> timers_;
  std::uint64_t next_timer_number_ = 0;
};

}  // namespace orvane::platform

#endif  // PLATFORM_LOOP_H_
