#include "platform/time.h"

#include <fmt/format.h>

#include <array>

#include "platform/parse_number.h"

namespace orvane::platform {
namespace {

constexpr std::uint64_t kUsecPerSecond = 1'000'000;
constexpr std::uint64_t kUsecPerMinute = 60 * kUsecPerSecond;
constexpr std::uint64_t kUsecPerHour = 60 * kUsecPerMinute;

constexpr auto kUnits = std::to_array<NumberUnit>(
    {{"s", kUsecPerSecond}, {"m", kUsecPerMinute}, {"h", kUsecPerHour}, {"d", 24 * kUsecPerHour}});

// With as many decimals as needed.
std::string FormatSeconds(std::uint64_t usec) {
  std::string text = fmt::format("{}.{:06}", usec / kUsecPerSecond, usec % kUsecPerSecond);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text + "s";
}

}  // namespace

std::optional<TimeSpan> ParseTimeSpan(std::string_view text) {
  const std::optional<std::int64_t> usec = ParseNumberWithUnit(text, kUnits);
  if (!usec.has_value()) return std::nullopt;
  return TimeSpan(*usec);
}

std::string FormatTimeSpan(TimeSpan span) {
  const std::int64_t count = span.count();
  if (count == 0) return "0s";
  // Unsigned, so that the lowest value has an opposite.
  const std::uint64_t usec =
      count < 0 ? -static_cast<std::uint64_t>(count) : static_cast<std::uint64_t>(count);
  std::string text = count < 0 ? "-" : "";
  const std::uint64_t hours = usec / kUsecPerHour;
  const std::uint64_t minutes = usec % kUsecPerHour / kUsecPerMinute;
  const std::uint64_t rest = usec % kUsecPerMinute;
  if (hours != 0) text += fmt::format("{}h", hours);
  if (minutes != 0) text += fmt::format("{}m", minutes);
  if (rest != 0) text += FormatSeconds(rest);
  return text;
}

}  // namespace orvane::platform
