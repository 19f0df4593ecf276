#ifndef PLATFORM_TIME_H_
#define PLATFORM_TIME_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace orvane::platform {

// A length of time: a signed 64-bit count of microseconds.
using TimeSpan = std::chrono::duration<std::int64_t, std::micro>;

// A moment as the calendar has it; it jumps when somebody sets the clock. The epoch is 1970.
using WallTime = std::chrono::time_point<std::chrono::system_clock, TimeSpan>;

// A moment of the clock that never jumps, by which tasks and timers become due.
using MonotonicTime = std::chrono::time_point<std::chrono::steady_clock, TimeSpan>;

// The time span of a flag given in seconds. Every 32-bit value has one, negative ones too.
constexpr TimeSpan SecondsToTimeSpan(std::int32_t seconds) {
  return TimeSpan(std::int64_t{seconds} * 1'000'000);
}

// For people: hours, minutes and seconds, without those that are 0, such as "2m30s", "1.5s", "-1h"
// and "0s".
std::string FormatTimeSpan(TimeSpan span);

}  // namespace orvane::platform

#endif  // PLATFORM_TIME_H_
