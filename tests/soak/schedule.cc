#include "tests/soak/schedule.h"

#include <utility>

namespace orvane::soak {

int Schedule::Random(int least, int most) {
  return std::uniform_int_distribution(least, most)(random_);
}

void Schedule::After(Range range, std::function<void()> action) {
  const Span span(std::uniform_int_distribution(range.least.count(), range.most.count())(random_));
  actions_.emplace(Clock::now() + span, std::move(action));
}

void Schedule::Repeat(Range pause, std::function<void()> action) {
  After(pause, [this, pause, action = std::move(action)] {
    if (!is_rest_) action();
    Repeat(pause, action);
  });
}

void Schedule::RunDue() {
  while (!actions_.empty() && actions_.begin()->first <= Clock::now()) {
    const auto action = std::move(actions_.extract(actions_.begin()).mapped());
    action();
  }
}

}  // namespace orvane::soak
