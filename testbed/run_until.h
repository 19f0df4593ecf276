#ifndef TESTBED_RUN_UNTIL_H_
#define TESTBED_RUN_UNTIL_H_

#include <systemd/sd-event.h>

#include <chrono>

#include "platform/sd_event_loop.h"

namespace orvane::testbed {

// Serves the loop until the condition holds. Returns whether it did within five seconds.
template <typename Condition>
bool RunUntil(platform::SdEventLoop& loop, Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    if (sd_event_run(loop.event(), 20'000) < 0) return condition();
  }
  return true;
}

// Serves the loop as long as anything is ready.
inline void RunWhileReady(platform::SdEventLoop& loop) {
  while (sd_event_run(loop.event(), 0) > 0) {
  }
}

}  // namespace orvane::testbed

#endif  // TESTBED_RUN_UNTIL_H_
