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

// An event line of hostapd and its time since the first attach.
struct TimedLine {
  platform::TimeSpan at{0};
  std::string line;

  friend bool operator==(const TimedLine&, const TimedLine&) = default;
};

// The lines to play on one interface. Their times never decrease.
struct EventPlan {
  std::size_t count = 0;
  std::function<TimedLine(std::size_t index)> line;
  // Whether lines wait until a listener is attached. Otherwise lines without a listener are lost,
  // as with hostapd.
  bool waits_for_listener = false;
};

EventPlan PlanOf(std::vector<TimedLine> lines);

// `count` connect events of different stations with 13 attributes, about 220 bytes each, without
// delays.
EventPlan FloodPlan(std::size_t count);

// Returns the same lines at `factor` times the speed.
EventPlan AtSpeed(EventPlan plan, double factor);

// Returns the same lines at a rate of `per_second`.
EventPlan AtRate(EventPlan plan, double per_second);

// Returns the plan `times` times. Each repetition starts when the last line of the previous one is
// due.
EventPlan Repeated(EventPlan plan, std::size_t times);

// The lines of each interface, by interface name.
using Script = std::map<std::string, std::vector<TimedLine>>;

// Parses lines "SECONDS INTERFACE EVENT-LINE". Seconds may have a fraction; the event line is the
// rest behind the space. Empty lines and lines that begin with "#" are ignored. Lines need not be
// sorted; the order of lines with equal times is kept. Fails at the first invalid line, with its
// number.
[[nodiscard]] Failure ParseScript(std::string_view text, const std::vector<std::string>& interfaces,
                                  Script* script);

}  // namespace orvane::testbed

#endif  // TESTBED_EVENT_PLAN_H_
