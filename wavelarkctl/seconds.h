#ifndef WAVELARKCTL_SECONDS_H_
#define WAVELARKCTL_SECONDS_H_

#include <optional>
#include <string>
#include <string_view>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// Seconds with as many decimals as are needed, at most six: "90", "-0.5", "1700000000.000001".
std::string FormatSeconds(platform::TimeSpan span);

// Reads what FormatSeconds writes, with any number of decimals; those after the sixth are dropped.
// Nothing if the text is anything else, or out of range.
std::optional<platform::TimeSpan> ParseSeconds(std::string_view text);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_SECONDS_H_
