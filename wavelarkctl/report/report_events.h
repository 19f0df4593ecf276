#ifndef WAVELARKCTL_REPORT_REPORT_EVENTS_H_
#define WAVELARKCTL_REPORT_REPORT_EVENTS_H_

#include <SQLiteCpp/Database.h>

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orvane::wavelarkctl {

// The scope of a report. Times are in milliseconds since the Unix epoch.
struct ReportScope {
  std::int64_t since_ms = 0;
  std::int64_t until_ms = 0;  // exclusive
  // The starts of the steps of a trend, ascending. The first one is since_ms.
  std::vector<std::int64_t> steps;
  // A connect that takes longer is slow.
  std::int64_t time_limit_ms = 0;
  // A weaker signal misses the coverage level.
  int signal_limit_dbm = 0;

  // The start of the previous period, which has the same length.
  [[nodiscard]] std::int64_t before_ms() const { return since_ms - (until_ms - since_ms); }
};

// Gives each text a number.
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

// The fields of an event that a report needs. A report can have hundreds of thousands of events.
struct ReportEvent {
  static constexpr int kUnknown = -1;  // ok, status
  static constexpr int kNoSignal = std::numeric_limits<std::int16_t>::min();

  std::int64_t t = 0;        // milliseconds since the Unix epoch
  std::int32_t client = -1;  // in ReportEvents::clients
  // The next three: the value of the enumeration, or a number for another text.
  std::int32_t type = -1;
  std::int32_t reason = -1;
  std::int32_t steering = -1;
  std::int32_t interface = -1;
  std::int32_t status = kUnknown;
  std::int16_t signal = kNoSignal;  // dBm
  std::int16_t step = 0;            // of the trend
  std::int8_t ok = kUnknown;        // 1 or 0
  bool is_now = false;              // in this period, not in the previous one

  [[nodiscard]] bool has_signal() const { return signal != kNoSignal; }
};

// The events of a period and of the previous one.
struct ReportEvents {
  ReportScope scope;
  // Sorted by client, then by time. Events without a client come first.
  std::vector<ReportEvent> events;
  TextNumbers clients;
  TextNumbers types;
  TextNumbers reasons;
  TextNumbers steerings;
  TextNumbers interfaces;
  std::int64_t first_ms = 0;  // when the recorder received its first record; 0 without records

  // The events of a client.
  [[nodiscard]] std::span<const ReportEvent> Of(std::int32_t client) const;
  // The events of each known client.
  [[nodiscard]] std::vector<std::span<const ReportEvent>> ByClient() const;
};

// Throws a SQLite::Exception.
ReportEvents ReadReportEvents(SQLite::Database& database, const ReportScope& scope);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPORT_REPORT_EVENTS_H_
