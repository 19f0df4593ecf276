#ifndef TESTBED_WAIT_UNTIL_H_
#define TESTBED_WAIT_UNTIL_H_

#include <chrono>
#include <thread>

namespace orvane::testbed {

// Long enough for everything that must happen, even under sanitizers on a busy machine.
inline constexpr std::chrono::seconds kPatience(60);

// Returns whether `condition` becomes true in time. Checks it every two milliseconds. A test with
// its own loop uses RunUntil instead.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds timeout = kPatience) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace orvane::testbed

#endif  // TESTBED_WAIT_UNTIL_H_
