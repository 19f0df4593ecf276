#include "wavelarkctl/seconds.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace orvane::wavelarkctl {
namespace {

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
constexpr std::size_t kDecimals = 6;
// Twelve digits of seconds are 31,700 years, and their microseconds fit 64 bits.
constexpr std::size_t kMaxWholeDigits = 12;

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

bool IsNumber(std::string_view text) { return std::ranges::all_of(text, IsDigit); }

std::int64_t ToNumber(std::string_view digits) {
  std::int64_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

// The decimals of a second, filled up with zeros.
std::int64_t ToMicroseconds(std::string_view decimals) {
  std::int64_t microseconds = 0;
  for (std::size_t i = 0; i < kDecimals; ++i) {
    microseconds = microseconds * 10 + (i < decimals.size() ? decimals[i] - '0' : 0);
  }
  return microseconds;
}

}  // namespace

std::string FormatSeconds(platform::TimeSpan span) {
  const bool is_negative = span.count() < 0;
  // Unsigned: the least span has no positive counterpart.
  const auto count = static_cast<std::uint64_t>(span.count());
  const std::uint64_t microseconds = is_negative ? 0 - count : count;
  std::string text =
      fmt::format("{}{}", is_negative ? "-" : "", microseconds / kMicrosecondsPerSecond);
  if (microseconds % kMicrosecondsPerSecond == 0) return text;
  text += fmt::format(".{:06}", microseconds % kMicrosecondsPerSecond);
  text.erase(text.find_last_not_of('0') + 1);
  return text;
}

std::optional<platform::TimeSpan> ParseSeconds(std::string_view text) {
  const bool is_negative = text.starts_with('-');
  if (is_negative) text.remove_prefix(1);
  const std::size_t point = text.find('.');
  const std::string_view whole = text.substr(0, point);
  const bool has_decimals = point != std::string_view::npos;
  const std::string_view decimals = has_decimals ? text.substr(point + 1) : std::string_view();
  if (whole.empty() || whole.size() > kMaxWholeDigits || decimals.empty() == has_decimals ||
      !IsNumber(whole) || !IsNumber(decimals)) {
    return std::nullopt;
  }
  const platform::TimeSpan span(ToNumber(whole) * kMicrosecondsPerSecond +
                                ToMicroseconds(decimals));
  return is_negative ? -span : span;
}

}  // namespace orvane::wavelarkctl
