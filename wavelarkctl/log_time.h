#ifndef WAVELARKCTL_LOCAL_TIME_H_
#define WAVELARKCTL_LOCAL_TIME_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// The text form of times in the daemon's log: "2026-01-31 23:59:59.000001", in local time.

// The length of a time with its six decimals, and without them.
inline constexpr std::size_t kLocalTimeLength = 26;
inline constexpr std::size_t kLocalTimeSecondsLength = 19;

// Reads the times of one log, in its order. The zone is the one of this process (TZ).
class LocalTimeReader {
 public:
  // Takes a text of kLocalTimeLength or kLocalTimeSecondsLength characters. In the hour that the
  // end of daylight saving time repeats, the time is the first one that is not before the previous
  // one.
  std::optional<platform::WallTime> Read(std::string_view text);

 private:
  // The start of a minute.
  std::optional<platform::WallTime> ReadMinute(std::string_view text);

  std::string minute_text_;
  platform::WallTime minute_;
  platform::WallTime previous_;
};

// "2026-01-31 23:59:59", and "23:59:59".
std::string FormatLocalSeconds(platform::WallTime time);
std::string FormatClock(platform::WallTime time);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_LOCAL_TIME_H_
