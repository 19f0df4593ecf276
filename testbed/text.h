#ifndef TESTBED_TEXT_H_
#define TESTBED_TEXT_H_

#include <string_view>
#include <vector>

namespace orvane::testbed {

// Returns the lines without their line ends. The last line needs none.
std::vector<std::string_view> SplitLines(std::string_view text);

// Takes the first word (up to a space) off `text`, with the spaces behind it. Returns an empty text
// if there is none.
std::string_view TakeWord(std::string_view* text);

}  // namespace orvane::testbed

#endif  // TESTBED_TEXT_H_
