#include "platform/loop.h"

#include <algorithm>

namespace orvane::platform {

void Loop::PostTask(Task task, Location from) {
  posted_.push_back({std::move(task), from});
  OnDeadlineChanged();
}

void Loop::PostDelayedTask(Task task, TimeSpan delay, Location from) {
  ArmTimer(std::move(task), delay, from);
}

Loop::TimerKey Loop::ArmTimer(Task task, TimeSpan delay, Location from) {
  const TimerKey key(MonotonicNow() + std::max(delay, TimeSpan::zero()), next_timer_number_++);
  timers_.emplace(key, PendingTask{std::move(task), from});
  OnDeadlineChanged();
  return key;
}

std::optional<MonotonicTime> Loop::NextDeadline() const {
  if (!posted_.empty()) return MonotonicTime::min();
  if (!timers_.empty()) return timers_.begin()->first.first;
  return std::nullopt;
}

bool Loop::RunTurn() noexcept {
  const MonotonicTime now = MonotonicNow();
  const std::uint64_t first_of_next_turn = next_timer_number_;
  std::vector<PendingTask> tasks = std::exchange(posted_, {});
  // Each task is destroyed right after it has run, with everything that it captured.
  for (PendingTask& pending : tasks) std::exchange(pending.task, nullptr)();

  bool has_run = !tasks.empty();
  // The next timer is looked up each time: a task may disarm any timer.
  for (auto next = timers_.begin(); next != timers_.end() && next->first.first <= now;) {
    if (next->first.second >= first_of_next_turn) {
      ++next;
      continue;
    }
    const PendingTask pending = std::move(next->second);
    timers_.erase(next);
    pending.task();
    has_run = true;
    next = timers_.begin();
  }
  return has_run;
}

}  // namespace orvane::platform
