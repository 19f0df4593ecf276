#ifndef BRIDGE_MOMENT_H_
#define BRIDGE_MOMENT_H_

#include "platform/time.h"

namespace orvane::bridge {

// A moment on both clocks. Spans are measured on the one that never jumps; timestamps come from the
// calendar's.
struct Moment {
  platform::MonotonicTime monotonic;
  platform::WallTime wall;
};

}  // namespace orvane::bridge

#endif  // BRIDGE_MOMENT_H_
