#include "tests/soak/schedule.h"

#include <utility>

namespace orvane::soak {

int Schedule::Random(int least, int most) {
  return std::uniform_int_distribution(least, most)(random_);
}

void Schedule::After(Range range, std::function<void()> deed) {
  const Span span(std::uniform_int_distribution(range.least.count(), range.most.count())(random_));
  deeds_.emplace(Clock::now() + span, std::move(deed));
}

void Schedule::Repeat(Range pause, std::function<void()> deed) {
  After(pause, [this, pause, deed = std::move(deed)] {
    if (!is_rest_) deed();
    Repeat(pause, deed);
  });
}

void Schedule::RunDue() {
  while (!deeds_.empty() && deeds_.begin()->first <= Clock::now()) {
    const auto deed = std::move(deeds_.extract(deeds_.begin()).mapped());
    deed();
  }
}

}  // namespace orvane::soak
