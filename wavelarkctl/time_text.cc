#include "wavelarkctl/time_text.h"

#include <fmt/format.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <chrono>

#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

using platform::TimeSpan;
using platform::WallTime;

constexpr TimeSpan kSecond = std::chrono::seconds(1);
constexpr TimeSpan kMinute = std::chrono::minutes(1);
constexpr TimeSpan kHour = std::chrono::hours(1);
constexpr TimeSpan kDay = std::chrono::hours(24);

constexpr auto kDateFormats = std::to_array<const char*>(
    {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%dT%H:%M:%S"});

// A hundred years, so that no sum overflows.
constexpr TimeSpan kLongestSpan = 100 * 366 * kDay;

// Returns the seconds that clocks are ahead of UTC.
time_t OffsetAt(time_t time) {
  tm fields = {};
  localtime_r(&time, &fields);
  return fields.tm_gmtoff;
}

// strptime accepts the 30th of February, and mktime would make another day of it.
bool IsDay(const tm& fields) {
  return std::chrono::year_month_day(std::chrono::year(fields.tm_year + 1900),
                                     std::chrono::month(static_cast<unsigned>(fields.tm_mon + 1)),
                                     std::chrono::day(static_cast<unsigned>(fields.tm_mday)))
      .ok();
}

std::optional<WallTime> ToTime(tm fields, bool is_utc) {
  if (!IsDay(fields)) return std::nullopt;
  const WallTime time = is_utc ? WallTime(timegm(&fields) * kSecond) : TimesOf(fields).first;
  if (time < WallTime() || time > WallTime(kLongestSpan)) return std::nullopt;
  return time;
}

std::optional<WallTime> ParseDate(std::string text) {
  const bool is_utc = text.ends_with('Z');
  if (is_utc) text.pop_back();
  for (const char* format : kDateFormats) {
    tm fields = {};
    const char* end = strptime(text.c_str(), format, &fields);
    if (end == text.c_str() + text.size()) return ToTime(fields, is_utc);
  }
  return std::nullopt;
}

// The year of a WallTime always fits into a tm.
std::string FormatFields(WallTime time, bool is_utc, const char* format) {
  const auto whole_seconds = std::chrono::floor<std::chrono::seconds>(time);
  const time_t seconds = whole_seconds.time_since_epoch().count();
  tm fields = {};
  if (is_utc) {
    gmtime_r(&seconds, &fields);
  } else {
    localtime_r(&seconds, &fields);
  }
  std::array<char, 64> text = {};
  const std::size_t size = strftime(text.data(), text.size(), format, &fields);
  return {text.data(), size};
}

std::string FormatMilliseconds(WallTime time) {
  const auto whole_seconds = std::chrono::floor<std::chrono::seconds>(time);
  return fmt::format(".{:03}",
                     std::chrono::floor<std::chrono::milliseconds>(time - whole_seconds).count());
}

// The two largest units. The smaller one is left out if it is 0.
std::string FormatUnits(TimeSpan span, TimeSpan unit, char name, TimeSpan part, char part_name) {
  std::string text = fmt::format("{}{}", span / unit, name);
  if (const auto parts = span % unit / part; parts != 0) {
    text += fmt::format("{}{}", parts, part_name);
  }
  return text;
}

std::string FormatShortSeconds(TimeSpan span) {
  const double seconds = std::chrono::duration<double>(span).count();
  const bool is_whole = span % std::chrono::seconds(1) == TimeSpan::zero();
  return is_whole || seconds >= 10 ? fmt::format("{:.0f}s", seconds)
                                   : fmt::format("{:.1f}s", seconds);
}

}  // namespace

// mktime would choose between two times by what it converted before, and finds no time for some
// that clocks skip.
LocalTimes TimesOf(const std::tm& local) {
  constexpr time_t kDaySeconds = kDay / kSecond;
  tm fields = local;
  const time_t utc = timegm(&fields);
  const time_t before = utc - OffsetAt(utc - kDaySeconds);
  const time_t after = utc - OffsetAt(utc + kDaySeconds);
  const bool is_before = utc - OffsetAt(before) == before;
  const bool is_after = utc - OffsetAt(after) == after;
  const time_t one = is_before || !is_after ? before : after;
  const time_t other = is_after ? after : one;
  return {WallTime(std::min(one, other) * kSecond), WallTime(std::max(one, other) * kSecond)};
}

std::optional<WallTime> ParseTime(const std::string& text, WallTime now) {
  if (text == "now") return now;
  const auto span = platform::ParseTimeSpan(text);
  if (span && *span <= kLongestSpan) return now - *span;
  return ParseDate(text);
}

WallTime ParseTimeOption(std::string_view option, const std::string& text, WallTime now) {
  if (const auto time = ParseTime(text, now)) return *time;
  throw Failure(ExitStatus::kUsage,
                fmt::format("{}: '{}' is not a time, such as 7d, 12h, 90m, 30s or 2026-11-22 08:00",
                            option, text));
}

WallTime Now() { return std::chrono::time_point_cast<TimeSpan>(std::chrono::system_clock::now()); }

std::string FormatTime(WallTime time) {
  return FormatLocalSeconds(time) + FormatMilliseconds(time);
}

std::string FormatLocalSeconds(WallTime time) {
  return FormatFields(time, false, "%Y-%m-%d %H:%M:%S");
}

std::string FormatClock(WallTime time) { return FormatFields(time, false, "%H:%M:%S"); }

std::string FormatUtcTime(WallTime time) {
  return FormatFields(time, true, "%Y-%m-%dT%H:%M:%S") + FormatMilliseconds(time) + "Z";
}

std::string FormatShortSpan(TimeSpan span) {
  if (span < TimeSpan::zero() && span != TimeSpan::min()) return "-" + FormatShortSpan(-span);
  if (span >= kDay) return FormatUnits(span, kDay, 'd', kHour, 'h');
  if (span >= kHour) return FormatUnits(span, kHour, 'h', kMinute, 'm');
  if (span >= kMinute) return FormatUnits(span, kMinute, 'm', std::chrono::seconds(1), 's');
  return FormatShortSeconds(span);
}

}  // namespace orvane::wavelarkctl
