#include "wavelarkctl/log/log_time.h"

#include <array>
#include <chrono>
#include <ctime>

#include "platform/parse_number.h"
#include "wavelarkctl/seconds.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using platform::TimeSpan;
using platform::WallTime;

constexpr std::size_t kMinuteLength = 16;  // "2026-01-31 23:59"
constexpr std::size_t kSecondLength = 19;  // "2026-01-31 23:59:59"

// Returns nothing unless the whole text is digits.
std::optional<int> ReadDigits(std::string_view text) {
  return text.starts_with('-') ? std::nullopt : platform::ParseNumber<int>(text);
}

// One number of a time, of fixed width.
struct Field {
  std::size_t offset;
  std::size_t length;
  int least;
  int greatest;
};

constexpr std::array<Field, 5> kMinuteFields = {
    {{0, 4, 1900, 9999}, {5, 2, 1, 12}, {8, 2, 1, 31}, {11, 2, 0, 23}, {14, 2, 0, 59}}};
constexpr Field kSecondField = {17, 2, 0, 60};

std::optional<int> ReadField(std::string_view text, const Field& field) {
  const auto value = ReadDigits(text.substr(field.offset, field.length));
  if (!value || *value < field.least || *value > field.greatest) return std::nullopt;
  return value;
}

bool HasSeparators(std::string_view text) {
  return text[4] == '-' && text[7] == '-' && text[10] == ' ' && text[13] == ':';
}

std::optional<std::tm> ReadCalendar(std::string_view text) {
  if (text.size() < kMinuteLength || !HasSeparators(text)) return std::nullopt;
  std::array<int, kMinuteFields.size()> values = {};
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto value = ReadField(text, kMinuteFields[i]);
    if (!value) return std::nullopt;
    values[i] = *value;
  }
  std::tm calendar = {};
  calendar.tm_year = values[0] - 1900;
  calendar.tm_mon = values[1] - 1;
  calendar.tm_mday = values[2];
  calendar.tm_hour = values[3];
  calendar.tm_min = values[4];
  return calendar;
}

// Removes a number and its unit, and returns the number. Returns 0 if the unit is missing.
std::optional<std::int64_t> TakePart(std::string_view* text, char unit) {
  const std::size_t end = text->find(unit);
  if (end == std::string_view::npos) return 0;
  const auto count = platform::ParseNumber<std::int64_t>(text->substr(0, end));
  if (!count || *count < 0) return std::nullopt;
  text->remove_prefix(end + 1);
  return count;
}

// 114 years. The clock of a machine without a battery may start in 1970.
constexpr std::int64_t kMostHours = 1'000'000;
constexpr std::int64_t kMostMinutes = 59;

}  // namespace

std::optional<WallTime> LogTimeReader::ReadMinute(std::string_view text) {
  const auto calendar = ReadCalendar(text);
  if (!calendar) return std::nullopt;
  const auto [first, second] = TimesOf(*calendar);
  return first + std::chrono::minutes(1) > previous_ ? first : second;
}

std::optional<WallTime> LogTimeReader::Read(std::string_view text) {
  if (text.size() != kLogTimeLength) return std::nullopt;
  const std::string_view minute_text = text.substr(0, kMinuteLength);
  if (minute_text != minute_text_) {
    const auto minute = ReadMinute(minute_text);
    if (!minute) return std::nullopt;
    minute_text_ = minute_text;
    minute_ = *minute;
  }
  const auto seconds = ReadField(text, kSecondField);
  const auto microseconds = ReadDigits(text.substr(kSecondLength + 1));
  if (!seconds || !microseconds || text[kMinuteLength] != ':' || text[kSecondLength] != '.') {
    return std::nullopt;
  }
  previous_ = minute_ + std::chrono::seconds(*seconds) + TimeSpan(*microseconds);
  return previous_;
}

std::optional<TimeSpan> ParseTimeSpan(std::string_view text) {
  const bool is_negative = text.starts_with('-');
  if (is_negative) text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  const auto hours = TakePart(&text, 'h');
  const auto minutes = TakePart(&text, 'm');
  if (!hours || !minutes || *hours > kMostHours || *minutes > kMostMinutes) return std::nullopt;
  TimeSpan seconds{};
  if (!text.empty()) {
    if (text.back() != 's' || text.front() == '-') return std::nullopt;
    const auto parsed = ParseSeconds(text.substr(0, text.size() - 1));
    if (!parsed || *parsed >= std::chrono::minutes(1)) return std::nullopt;
    seconds = *parsed;
  }
  const TimeSpan span = std::chrono::hours(*hours) + std::chrono::minutes(*minutes) + seconds;
  return is_negative ? -span : span;
}

}  // namespace orvane::wavelarkctl
