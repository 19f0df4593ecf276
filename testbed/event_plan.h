#ifndef TESTBED_EVENT_PLAN_H_
#define TESTBED_EVENT_PLAN_H_

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/time.h"
#include "testbed/failure.h"

namespace orvane::testbed {

// An event line of hostapd's and when it is due, since the first attach.
struct TimedLine {
  platform::TimeSpan at{0};
  std::string line;

  friend bool operator==(const TimedLine&, const TimedLine&) = default;
};

// The lines to play on one interface. Their times do not decrease.
struct EventPlan {
  std::size_t count = 0;
  std::function<TimedLine(std::size_t index)> line;
  // Lines wait until somebody is attached; without it nobody hears them then, as with hostapd.
  bool waits_for_listener = false;
};

EventPlan PlanOf(std::vector<TimedLine> lines);

// `count` connect events of different stations with 13 attributes, about 220 bytes each, as fast as
// they are taken.
EventPlan FloodPlan(std::size_t count);

// The same lines at `factor` times the speed.
EventPlan AtSpeed(EventPlan plan, double factor);

// The same lines, `per_second` of them a second.
EventPlan AtRate(EventPlan plan, double per_second);

// The plan `times` times, each beginning when the last line of the one before is due.
EventPlan Repeated(EventPlan plan, std::size_t times);

// The lines of each interface, by its name.
using Script = std::map<std::string, std::vector<TimedLine>>;

// Reads lines "SECONDS INTERFACE EVENT-LINE" (seconds with a fraction if wanted; the event line is
// everything behind the blank). Empty lines, and those that begin with "#", say nothing. Lines need
// not be in order of time; those of the same time stay in theirs. The first bad line is a failure
// that tells its number.
[[nodiscard]] Failure ParseScript(std::string_view text, const std::vector<std::string>& interfaces,
                                  Script* script);

}  // namespace orvane::testbed

#endif  // TESTBED_EVENT_PLAN_H_
