#include "platform/parse_number.h"

#include <algorithm>
#include <limits>

namespace orvane::platform {

std::optional<std::int64_t> ParseNumberWithUnit(std::string_view text,
                                                std::span<const NumberUnit> units) {
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || number < 0) return std::nullopt;
  const auto unit = std::ranges::find(units, std::string_view(stop, end), &NumberUnit::suffix);
  if (unit == units.end()) return std::nullopt;
  if (number > std::numeric_limits<std::int64_t>::max() / unit->factor) return std::nullopt;
  return number * unit->factor;
}

}  // namespace orvane::platform
