#ifndef PLATFORM_ONE_SHOT_TIMER_H_
#define PLATFORM_ONE_SHOT_TIMER_H_

#include <optional>
#include <utility>

#include "platform/loop.h"

namespace orvane::platform {

// A timer that fires once per start. It becomes idle and releases the task before the task runs, so
// the task may restart or destroy the timer. Destroying an armed timer stops it. The loop must
// outlive the timer.
class OneShotTimer {
 public:
  explicit OneShotTimer(Loop& loop) : loop_(loop) {}
  OneShotTimer(const OneShotTimer&) = delete;
  OneShotTimer& operator=(const OneShotTimer&) = delete;
  ~OneShotTimer() { Stop(); }

  // Starts or restarts the timer.
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
