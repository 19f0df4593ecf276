#ifndef WAVELARKCTL_TIME_TEXT_H_
#define WAVELARKCTL_TIME_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// Reads a time: "now", as long before `now` as "7d", "12h", "90m" or "30s" says, or a date with or
// without a time of day, "2026-11-22", "2026-11-22 08:00" or "2026-11-22T08:00:30". It is local
// time unless "Z" follows. Returns nothing for any other text.
std::optional<platform::WallTime> ParseTime(const std::string& text, platform::WallTime now);

// ParseTime with the clock's time. Throws a Failure of kUsage that names the option.
platform::WallTime ParseTimeOption(std::string_view option, const std::string& text);

// The current time.
platform::WallTime Now();

// Local time: "2026-11-22 08:00:30.125".
std::string FormatTime(platform::WallTime time);

// UTC, as in RFC 3339: "2026-11-22T08:00:30.125Z".
std::string FormatUtcTime(platform::WallTime time);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TIME_TEXT_H_
