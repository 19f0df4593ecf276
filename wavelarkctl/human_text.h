#ifndef WAVELARKCTL_HUMAN_TEXT_H_
#define WAVELARKCTL_HUMAN_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// Text for people on a terminal.

enum class Colour : unsigned char { kNone, kBold, kRed, kGreen, kYellow };

// Whether standard output is a terminal that shows colours. NO_COLOR in the environment prevents
// it.
bool IsColourWanted();

// The text in a colour, if `is_wanted`.
std::string Paint(std::string_view text, Colour colour, bool is_wanted);

// "1 client", "3 clients".
std::string Count(std::size_t count, std::string_view noun);

// A time span rounded to what matters: "0.3s", "42s", "5m30s", "2h10m", "3d4h".
std::string FormatShortSpan(platform::TimeSpan span);

// Columns of equal width, two spaces apart, with two spaces in front and without spaces at the ends
// of lines. The first row is the heading. Columns are left-aligned, those named in `right` to the
// right.
std::string FormatTable(const std::vector<std::vector<std::string>>& rows,
                        const std::vector<std::size_t>& right = {});

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_HUMAN_TEXT_H_
