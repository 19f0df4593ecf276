#ifndef WAVELARKCTL_HUMAN_TEXT_H_
#define WAVELARKCTL_HUMAN_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::wavelarkctl {

// Text for people on a terminal.

enum class Colour : unsigned char { kNone, kBold, kRed, kGreen, kYellow, kGrey };

// Returns whether standard output is a terminal that shows colours. The variable NO_COLOR disables
// them.
bool IsColourWanted();

// Returns the text in a colour if `is_wanted`, otherwise unchanged.
std::string Paint(std::string_view text, Colour colour, bool is_wanted);

// "1 client", "3 clients".
std::string Count(std::size_t count, std::string_view noun);

// Aligns columns, with two spaces before each and no spaces at line ends. The first row is the
// heading. The columns in `right` are aligned to the right, all others to the left.
std::string FormatTable(const std::vector<std::vector<std::string>>& rows,
                        const std::vector<std::size_t>& right = {});

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_HUMAN_TEXT_H_
