#ifndef PLATFORM_TEXT_H_
#define PLATFORM_TEXT_H_

#include <string_view>

namespace orvane::platform {

// Not std::isspace, which depends on the locale.
constexpr bool IsAsciiWhitespace(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

// The text without the ASCII white space at both its ends. Each token of an event is trimmed: a
// comparison per end is quicker than a search in a set of characters.
constexpr std::string_view TrimWhitespace(std::string_view text) {
  while (!text.empty() && IsAsciiWhitespace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsAsciiWhitespace(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace orvane::platform

#endif  // PLATFORM_TEXT_H_
