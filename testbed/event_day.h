#ifndef TESTBED_EVENT_DAY_H_
#define TESTBED_EVENT_DAY_H_

#include <vector>

#include "platform/time.h"
#include "testbed/event_plan.h"

namespace orvane::testbed {

// A condensed day of an interface, about eight seconds: stations probe, authenticate, associate,
// connect, are steered or not, and leave, once for every reason that hostapd has and for one
// unknown reason. Every attribute of event lines occurs. Timestamps in lines count from `start`.
std::vector<TimedLine> EventDay(platform::WallTime start);

}  // namespace orvane::testbed

#endif  // TESTBED_EVENT_DAY_H_
