#ifndef WAVELARKCTL_LOG_LOG_TIME_H_
#define WAVELARKCTL_LOG_LOG_TIME_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// Parses times and time spans of the daemon's log. time_text.h has the forms for people, seconds.h
// those of traces and JSON.

// The length of a time in the log, "2026-01-31 23:59:59.000001".
inline constexpr std::size_t kLogTimeLength = 26;

// Parses the times of one log, in its order. They are local times in the zone of this process (TZ).
class LogTimeReader {
 public:
  // Parses a whole time. The end of daylight saving time repeats an hour: of the two possible
  // times, returns the first one that is not before the previous time.
  std::optional<platform::WallTime> Read(std::string_view text);

 private:
  // Returns the start of a minute.
  std::optional<platform::WallTime> ReadMinute(std::string_view text);

  std::string minute_text_;
  platform::WallTime minute_;
  platform::WallTime previous_;
};

// Parses the output of platform::FormatTimeSpan. Returns nothing for any other text.
std::optional<platform::TimeSpan> ParseTimeSpan(std::string_view text);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_LOG_LOG_TIME_H_
