#ifndef WAVELARKCTL_PARSE_NUMBER_H_
#define WAVELARKCTL_PARSE_NUMBER_H_

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace orvane::wavelarkctl {

// Parses a whole text as a decimal number. Returns nothing for any other text, and for a number
// that the type can't hold.
template <typename Number>
std::optional<Number> ParseNumber(std::string_view text) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_PARSE_NUMBER_H_
