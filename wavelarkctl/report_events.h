#ifndef WAVELARKCTL_REPORT_EVENTS_H_
#define WAVELARKCTL_REPORT_EVENTS_H_

#include <SQLiteCpp/Database.h>

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orvane::wavelarkctl {

// What a report is about. Times are in milliseconds since the Unix epoch.
struct ReportScope {
  std::int64_t since_ms = 0;
  std::int64_t until_ms = 0;  // the end is not part of it
  // Where the steps of a trend begin, in order; the first is since_ms.
  std::vector<std::int64_t> steps;
  // A connect that takes longer is slow.
  std::int64_t time_limit_ms = 0;
  // A weaker signal is no coverage.
  int signal_limit_dbm = 0;

  // The period before has the same length.
  [[nodiscard]] std::int64_t before_ms() const { return since_ms - (until_ms - since_ms); }
};

// Texts, each with a number.
class TextNumbers {
 public:
  static constexpr std::int32_t kNone = -1;

  // kNone for null.
  std::int32_t NumberOf(const char* text);
  // kNone for a text without a number.
  [[nodiscard]] std::int32_t Find(const std::string& text) const;
  // The empty text for kNone.
  [[nodiscard]] const std::string& TextOf(std::int32_t number) const;
  [[nodiscard]] std::size_t size() const { return texts_.size(); }

 private:
  std::vector<std::string> texts_;
  std::unordered_map<std::string, std::int32_t> numbers_;
};

// An event as a report needs it, of which it has hundreds of thousands.
struct ReportEvent {
  static constexpr int kUnknown = -1;  // ok, status
  static constexpr int kNoSignal = std::numeric_limits<std::int16_t>::min();

  std::int64_t t = 0;        // milliseconds since the Unix epoch
  std::int32_t client = -1;  // in ReportEvents::clients
  std::int32_t type = -1;    // of the enumerations: their values, in ReportEvents::names otherwise
  std::int32_t reason = -1;
  std::int32_t steering = -1;
  std::int32_t interface = -1;
  std::int32_t status = kUnknown;
  std::int16_t signal = kNoSignal;  // dBm
  std::int16_t step = 0;            // of the trend
  std::int8_t ok = kUnknown;        // 1 or 0
  bool is_now = false;              // not of the period before

  [[nodiscard]] bool has_signal() const { return signal != kNoSignal; }
};

// The events of a period and of the one before.
struct ReportEvents {
  ReportScope scope;
  // By client, then by time; those of an unknown client come first.
  std::vector<ReportEvent> events;
  TextNumbers clients;
  TextNumbers types;
  TextNumbers reasons;
  TextNumbers steerings;
  TextNumbers interfaces;
  std::int64_t first_ms = 0;  // when the recorder took its first record; 0 if there is none

  // The events of a client.
  [[nodiscard]] std::span<const ReportEvent> Of(std::int32_t client) const;
  // The events of each known client.
  [[nodiscard]] std::vector<std::span<const ReportEvent>> ByClient() const;
};

// Throws a SQLite::Exception.
ReportEvents ReadReportEvents(SQLite::Database& database, const ReportScope& scope);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPORT_EVENTS_H_
