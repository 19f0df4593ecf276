#ifndef PLATFORM_TEXT_H_
#define PLATFORM_TEXT_H_

#include <string_view>

namespace orvane::platform {

inline constexpr std::string_view kAsciiWhitespace = " \t\n\v\f\r";

// The text without the ASCII white space at both its ends.
constexpr std::string_view TrimWhitespace(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kAsciiWhitespace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kAsciiWhitespace) - first + 1);
}

}  // namespace orvane::platform

#endif  // PLATFORM_TEXT_H_
