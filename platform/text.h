#ifndef PLATFORM_TEXT_H_
#define PLATFORM_TEXT_H_

#include <string_view>

namespace orvane::platform {

// std::isspace depends on the locale; this does not.
constexpr bool IsAsciiWhitespace(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

// Returns the text without ASCII white space at both ends. Each token of an event is trimmed: one
// comparison per end is quicker than a search in a set of characters.
constexpr std::string_view TrimWhitespace(std::string_view text) {
  while (!text.empty() && IsAsciiWhitespace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsAsciiWhitespace(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace orvane::platform

#endif  // PLATFORM_TEXT_H_
