#ifndef TESTBED_TEXT_H_
#define TESTBED_TEXT_H_

#include <string_view>
#include <vector>

namespace orvane::testbed {

// The lines without their line ends; a last line needs none.
std::vector<std::string_view> SplitLines(std::string_view text);

// Takes the first word (up to a blank) off `text`, and the blanks behind it. Empty when there is
// none.
std::string_view TakeWord(std::string_view* text);

// Whether a string can be sent over the bus: UTF-8, and no zero byte.
bool IsBusString(std::string_view text);

}  // namespace orvane::testbed

#endif  // TESTBED_TEXT_H_
