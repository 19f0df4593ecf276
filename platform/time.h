#ifndef PLATFORM_TIME_H_
#define PLATFORM_TIME_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::platform {

// A duration in microseconds, signed, 64 bits.
using TimeSpan = std::chrono::duration<std::int64_t, std::micro>;

// A point of the wall clock, since 1970. It jumps when the clock is set.
using WallTime = std::chrono::time_point<std::chrono::system_clock, TimeSpan>;

// A point of the monotonic clock, which tasks and timers use.
using MonotonicTime = std::chrono::time_point<std::chrono::steady_clock, TimeSpan>;

// Converts seconds from a flag. Any 32-bit value is valid, including negative ones.
constexpr TimeSpan SecondsToTimeSpan(std::int32_t seconds) {
  return TimeSpan(std::int64_t{seconds} * 1'000'000);
}

// Parses a whole number with the unit s, m, h or d: "90m". Returns nothing for any other text, a
// negative number, and a span that does not fit.
std::optional<TimeSpan> ParseTimeSpan(std::string_view text);

// Formats hours, minutes and seconds, omitting those that are 0: "2m30s", "1.5s", "-1h", "0s".
std::string FormatTimeSpan(TimeSpan span);

}  // namespace orvane::platform

#endif  // PLATFORM_TIME_H_
