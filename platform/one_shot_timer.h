#ifndef PLATFORM_ONE_SHOT_TIMER_H_
#define PLATFORM_ONE_SHOT_TIMER_H_

#include <optional>
#include <utility>

#include "platform/loop.h"

namespace orvane::platform {

// A timer that fires once for each start. It is idle again, and has let go of its task, before the
// task runs: the task may start it anew or destroy it. Destroying an armed timer stops it. The loop
// must outlive the timer.
class OneShotTimer {
 public:
  explicit OneShotTimer(Loop& loop) : loop_(loop) {}
  OneShotTimer(const OneShotTimer&) = delete;
  OneShotTimer& operator=(const OneShotTimer&) = delete;
  ~OneShotTimer() { Stop(); }

  // Starts the timer, or starts it over.
  void Start(TimeSpan delay, Loop::Task task, Location from = Location::Current()) {
    Stop();
    armed_ = loop_.ArmTimer(
        [this, task = std::move(task)] {
          armed_.reset();
          task();
        },
        delay, from);
  }

  void Stop() {
    if (armed_.has_value()) loop_.DisarmTimer(*armed_);
    armed_.reset();
  }

  bool IsRunning() const { return armed_.has_value(); }

 private:
  Loop& loop_;
  std::optional<Loop::TimerKey> armed_;
};

}  // namespace orvane::platform

#endif  // PLATFORM_ONE_SHOT_TIMER_H_
