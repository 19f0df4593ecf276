#ifndef TESTBED_WAIT_UNTIL_H_
#define TESTBED_WAIT_UNTIL_H_

#include <chrono>
#include <thread>

namespace orvane::testbed {

// Long enough for anything that is going to happen, also with sanitizers on a busy machine.
inline constexpr std::chrono::seconds kPatience(60);

// Whether `condition` comes true in time. Looks every two milliseconds. A test that has a loop of
// its own serves it with RunUntil instead.
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
