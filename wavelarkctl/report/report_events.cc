#include "wavelarkctl/report/report_events.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Statement.h>
#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <tuple>

#include "proto/event.pb.h"
#include "wavelarkctl/progress.h"

namespace orvane::wavelarkctl {
namespace {

using access_infrastructure::proto::ClientEventInfo;

// The time of an event may be missing. The time of its record is always set.
constexpr char kQuery[] = R"(
  SELECT t, client_shmac, event_type, event_reason, steering_reason, interface, frame_status_code,
         signal_dbm, is_event_success
  FROM (
    SELECT coalesce(event_time_in_milliseconds,
                    (SELECT received_ms FROM records WHERE id = record_id)) AS t,
           client_shmac, event_type, event_reason, steering_reason,
           client_events.interface AS interface, frame_status_code, signal_dbm, is_event_success
    FROM client_events LEFT JOIN event_signals ON event_rowid = client_events.rowid)
  WHERE t >= ? AND t < ?
)";

// Gives each name its value in the enumeration.
void AddNames(const google::protobuf::EnumDescriptor& names, TextNumbers* numbers) {
  for (int i = 0; i < names.value_count(); ++i) {
    numbers->NumberOf(names.FindValueByNumber(i)->name().c_str());
  }
}

// Returns null for NULL, for which getText returns an empty text.
const char* TextIn(const SQLite::Column& column) {
  return column.isNull() ? nullptr : column.getText();
}

// Returns `otherwise` for other types, and for numbers out of range.
template <typename Number>
Number NumberIn(const SQLite::Column& column, Number otherwise) {
  if (!column.isInteger()) return otherwise;
  const std::int64_t number = column.getInt64();
  const bool fits =
      number >= std::numeric_limits<Number>::min() && number <= std::numeric_limits<Number>::max();
  return fits ? static_cast<Number>(number) : otherwise;
}

std::int16_t StepOf(std::int64_t t, const std::vector<std::int64_t>& steps) {
  const auto next = std::ranges::upper_bound(steps, t);
  return static_cast<std::int16_t>(std::max<std::ptrdiff_t>(next - steps.begin() - 1, 0));
}

ReportEvent EventOf(SQLite::Statement& row, ReportEvents* report) {
  ReportEvent event;
  event.t = row.getColumn(0).getInt64();
  event.client = report->clients.NumberOf(TextIn(row.getColumn(1)));
  event.type = report->types.NumberOf(TextIn(row.getColumn(2)));
  event.reason = report->reasons.NumberOf(TextIn(row.getColumn(3)));
  event.steering = report->steerings.NumberOf(TextIn(row.getColumn(4)));
  event.interface = report->interfaces.NumberOf(TextIn(row.getColumn(5)));
  event.status = NumberIn<std::int32_t>(row.getColumn(6), ReportEvent::kUnknown);
  event.signal = NumberIn<std::int16_t>(row.getColumn(7), ReportEvent::kNoSignal);
  event.ok = NumberIn<std::int8_t>(row.getColumn(8), ReportEvent::kUnknown);
  event.is_now = event.t >= report->scope.since_ms;
  event.step = StepOf(event.t, report->scope.steps);
  return event;
}

}  // namespace

std::int32_t TextNumbers::NumberOf(const char* text) {
  if (text == nullptr) return kNone;
  const auto [found, is_new] = numbers_.try_emplace(text, static_cast<std::int32_t>(texts_.size()));
  if (is_new) texts_.push_back(found->first);
  return found->second;
}

std::int32_t TextNumbers::Find(const std::string& text) const {
  const auto found = numbers_.find(text);
  return found != numbers_.end() ? found->second : kNone;
}

const std::string& TextNumbers::TextOf(std::int32_t number) const {
  static const std::string kNothing;
  return number == kNone ? kNothing : texts_[static_cast<std::size_t>(number)];
}

std::span<const ReportEvent> ReportEvents::Of(std::int32_t client) const {
  const auto begin = std::ranges::lower_bound(events, client, {}, &ReportEvent::client);
  return {begin, std::ranges::upper_bound(begin, events.end(), client, {}, &ReportEvent::client)};
}

std::vector<std::span<const ReportEvent>> ReportEvents::ByClient() const {
  std::vector<std::span<const ReportEvent>> groups;
  for (std::size_t client = 0; client < clients.size(); ++client) {
    const auto group = Of(static_cast<std::int32_t>(client));
    if (!group.empty()) groups.push_back(group);
  }
  return groups;
}

ReportEvents ReadReportEvents(SQLite::Database& database, const ReportScope& scope) {
  ReportEvents report;
  report.scope = scope;
  AddNames(*ClientEventInfo::ClientEventType_descriptor(), &report.types);
  AddNames(*ClientEventInfo::ClientEventReason_descriptor(), &report.reasons);
  AddNames(*ClientEventInfo::SteeringReason_descriptor(), &report.steerings);
  SQLite::Statement row(database, kQuery);
  row.bind(1, scope.before_ms());
  row.bind(2, scope.until_ms);
  Progress progress("events");
  while (row.executeStep()) {
    report.events.push_back(EventOf(row, &report));
    progress.Add();
  }
  // Events of the same time stay in the order of recording.
  std::ranges::stable_sort(report.events, {}, [](const ReportEvent& event) {
    return std::tuple(event.client, event.t);
  });
  SQLite::Statement first(database, "SELECT coalesce(min(received_ms), 0) FROM records");
  if (first.executeStep()) report.first_ms = first.getColumn(0).getInt64();
  return report;
}

}  // namespace orvane::wavelarkctl
