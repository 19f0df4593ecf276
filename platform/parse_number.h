#ifndef PLATFORM_PARSE_NUMBER_H_
#define PLATFORM_PARSE_NUMBER_H_

#include <charconv>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>

namespace orvane::platform {

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

struct NumberUnit {
  std::string_view suffix;
  std::int64_t factor;  // greater than 0
};

// Parses a whole number that is not negative, with one of the units directly behind it. Returns it
// in the base unit, or nothing for any other text and for a product above 64 bits.
std::optional<std::int64_t> ParseNumberWithUnit(std::string_view text,
                                                std::span<const NumberUnit> units);

}  // namespace orvane::platform

#endif  // PLATFORM_PARSE_NUMBER_H_
