#ifndef BRIDGE_MOMENT_H_
#define BRIDGE_MOMENT_H_

#include "platform/time.h"

namespace orvane::bridge {

// A time on both clocks. Durations use the monotonic clock, timestamps the wall clock.
struct Moment {
  platform::MonotonicTime monotonic;
  platform::WallTime wall;
};

}  // namespace orvane::bridge

#endif  // BRIDGE_MOMENT_H_
