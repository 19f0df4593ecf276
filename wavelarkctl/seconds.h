#ifndef WAVELARKCTL_SECONDS_H_
#define WAVELARKCTL_SECONDS_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// Decimal seconds: the form of times and time spans in traces and JSON. time_text.h has the forms
// for people, log_time.h those of the daemon's log.

// Has as many decimals as needed, at most six: "90", "-0.5", "1700000000.000001".
std::string FormatSeconds(platform::TimeSpan span);

// Parses the output of FormatSeconds, with any number of decimals. Drops those after the sixth.
// Returns nothing for any other text, or out of range.
std::optional<platform::TimeSpan> ParseSeconds(std::string_view text);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_SECONDS_H_
