#include "wavelarkctl/local_time.h"

#include <array>
#include <chrono>
#include <ctime>

#include "wavelarkctl/parse_number.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using platform::TimeSpan;
using platform::WallTime;

constexpr std::size_t kMinuteLength = 16;  // "2026-01-31 23:59"

// Returns nothing unless the whole text is digits.
std::optional<int> ReadDigits(std::string_view text) {
  return text.starts_with('-') ? std::nullopt : ParseNumber<int>(text);
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

// The time if daylight saving time is in force (1) or not (0); -1 lets the C library choose.
// Nothing if the calendar never shows this.
std::optional<WallTime> ToWallTime(const std::tm& calendar, int is_dst) {
  std::tm copy = calendar;
  copy.tm_isdst = is_dst;
  const std::time_t time = std::mktime(&copy);
  const bool is_same = copy.tm_mday == calendar.tm_mday && copy.tm_hour == calendar.tm_hour &&
                       copy.tm_min == calendar.tm_min;
  if (!is_same && is_dst >= 0) return std::nullopt;
  return WallTime(std::chrono::seconds(time));
}

}  // namespace

std::optional<WallTime> LocalTimeReader::ReadMinute(std::string_view text) {
  const auto calendar = ReadCalendar(text);
  if (!calendar) return std::nullopt;
  const auto summer = ToWallTime(*calendar, 1);
  const auto winter = ToWallTime(*calendar, 0);
  if (!summer && !winter) return ToWallTime(*calendar, -1);
  if (!summer || !winter) return summer ? summer : winter;
  return *summer + std::chrono::minutes(1) > previous_ ? summer : winter;
}

std::optional<WallTime> LocalTimeReader::Read(std::string_view text) {
  if (text.size() != kLocalTimeLength && text.size() != kLocalTimeSecondsLength) {
    return std::nullopt;
  }
  const std::string_view minute_text = text.substr(0, kMinuteLength);
  if (minute_text != minute_text_) {
    const auto minute = ReadMinute(minute_text);
    if (!minute) return std::nullopt;
    minute_text_ = minute_text;
    minute_ = *minute;
  }
  const auto seconds = ReadField(text, kSecondField);
  if (!seconds || text[kMinuteLength] != ':') return std::nullopt;
  std::optional<int> usec = 0;
  if (text.size() == kLocalTimeLength) {
    usec = text[kLocalTimeSecondsLength] == '.' ? ReadDigits(text.substr(20)) : std::nullopt;
  }
  if (!usec) return std::nullopt;
  previous_ = minute_ + std::chrono::seconds(*seconds) + TimeSpan(*usec);
  return previous_;
}

std::string FormatLocalSeconds(WallTime time) {
  return FormatTime(time).substr(0, kLocalTimeSecondsLength);
}

std::string FormatClock(WallTime time) {
  const std::string text = FormatLocalSeconds(time);
  return text.substr(text.find(' ') + 1);
}

}  // namespace orvane::wavelarkctl
