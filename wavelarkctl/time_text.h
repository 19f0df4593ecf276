#ifndef WAVELARKCTL_TIME_TEXT_H_
#define WAVELARKCTL_TIME_TEXT_H_

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// Times and time spans as people write and read them, on the command line and in output. log_time.h
// has those of the daemon's log, seconds.h those of traces and JSON.

// The times at which clocks show a local time. They differ in the time that clocks repeat when they
// are set back, such as at the end of daylight saving time.
struct LocalTimes {
  platform::WallTime first;
  platform::WallTime second;
};

// Ignores tm_isdst. A local time that clocks skip is moved forward.
LocalTimes TimesOf(const std::tm& local);

// Parses a time: "now", a time span before `now` such as "7d", "12h", "90m" or "30s", or a date
// with or without a time of day, "2026-11-22", "2026-11-22 08:00" or "2026-11-22T08:00:30". A date
// is local time unless "Z" follows; of two possible times, it is the first one. Returns nothing for
// any other text.
std::optional<platform::WallTime> ParseTime(const std::string& text, platform::WallTime now);

// The current time.
platform::WallTime Now();

// ParseTime for an option. Throws a Failure of kUsage that names the option. Options that are
// compared with each other need the same `now`.
platform::WallTime ParseTimeOption(std::string_view option, const std::string& text,
                                   platform::WallTime now = Now());

// Local time: "2026-11-22 08:00:30.125", "2026-11-22 08:00:30" and "08:00:30".
std::string FormatTime(platform::WallTime time);
std::string FormatLocalSeconds(platform::WallTime time);
std::string FormatClock(platform::WallTime time);

// UTC, as in RFC 3339: "2026-11-22T08:00:30.125Z".
std::string FormatUtcTime(platform::WallTime time);

// The two largest units of a time span: "0.3s", "42s", "5m30s", "2h10m", "3d4h".
std::string FormatShortSpan(platform::TimeSpan span);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TIME_TEXT_H_
