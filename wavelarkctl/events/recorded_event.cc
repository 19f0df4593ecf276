#include "wavelarkctl/events/recorded_event.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform/time.h"
#include "proto/event.pb.h"
#include "recorder/message_table.h"
#include "recorder/schema.h"
#include "wavelarkctl/events/event_words.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/json_text.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using Columns = std::vector<recorder::MessageTable::Column>;
using Info = access_infrastructure::proto::ClientEventInfo;
using Value = RecordedEvent::Value;
using google::protobuf::FieldDescriptor;

// How many events are read at a time.
constexpr int kPageSize = 1000;

// How many digits of an identifier a line shows.
constexpr std::size_t kShownDigits = 8;

const Columns& EventColumns() { return recorder::ClientEventsTable().columns(); }

std::size_t IndexOf(std::string_view name) {
  const auto found = std::ranges::find(EventColumns(), name, &Columns::value_type::name);
  return static_cast<std::size_t>(found - EventColumns().begin());
}

// The columns that a line shows.
struct Shown {
  std::size_t client = IndexOf("client_shmac");
  std::size_t time = IndexOf("event_time_in_milliseconds");
  std::size_t type = IndexOf("event_type");
  std::size_t success = IndexOf("is_event_success");
  std::size_t reason = IndexOf("event_reason");
  std::size_t status = IndexOf("frame_status_code");
  std::size_t steering = IndexOf("steering_reason");
  std::size_t since_steer = IndexOf("steer_delta_in_milliseconds");
  std::array<std::size_t, 3> signals = {IndexOf("average_rssi_in_dbm"), IndexOf("rssi_in_dbm"),
                                        IndexOf("event_frame_rssi_in_dbm")};
  std::size_t rate = IndexOf("data_rate_bitrate_kbps");
  std::size_t bandwidth = IndexOf("data_rate_bandwidth_mhz");
};

const Shown& ShownColumns() {
  static const Shown kShown;
  return kShown;
}

std::optional<std::int64_t> NumberIn(const RecordedEvent& event, std::size_t column) {
  const auto* number = std::get_if<std::int64_t>(&event.values[column]);
  return number != nullptr ? std::optional(*number) : std::nullopt;
}

std::string TextOf(const Value& value) {
  const auto* text = std::get_if<std::string>(&value);
  return text != nullptr ? *text : std::string();
}

std::string TextIn(const RecordedEvent& event, std::size_t column) {
  return TextOf(event.values[column]);
}

// Clamps a time that a WallTime can't hold, to about the year 287,000.
platform::WallTime TimeOf(const RecordedEvent& event) {
  constexpr std::int64_t kFarthestMs = 9'000'000'000'000'000;
  const std::int64_t time = NumberIn(event, ShownColumns().time).value_or(event.received_ms);
  return platform::WallTime(std::chrono::milliseconds(std::clamp(time, -kFarthestMs, kFarthestMs)));
}

// The words for a type of event: if it succeeded, if it failed, and if that is unknown.
struct TypeWords {
  Info::ClientEventType type;
  std::string_view success;
  std::string_view failure;
  std::string_view unknown;
};

constexpr auto kTypes = std::to_array<TypeWords>({
    {Info::AUTHENTICATE, "authenticated", "failed to authenticate", "authentication"},
    {Info::ASSOCIATE, "associated", "failed to associate", "association"},
    {Info::CONNECT, "connected", "failed to connect", "connect"},
    {Info::DISCONNECT, "disconnected", "disconnected", "disconnected"},
    {Info::DEAUTHENTICATE, "deauthenticated", "deauthenticated", "deauthenticated"},
});

bool HasFailed(const RecordedEvent& event) { return NumberIn(event, ShownColumns().success) == 0; }

std::string WordsOfType(const RecordedEvent& event) {
  const std::string name = TextIn(event, ShownColumns().type);
  Info::ClientEventType type{};
  if (!Info::ClientEventType_Parse(name, &type)) {
    return name.empty() ? "event without a type" : Printable(name);
  }
  const auto* const words = std::ranges::find(kTypes, type, &TypeWords::type);
  if (words == kTypes.end()) return "event of unknown type";
  if (!NumberIn(event, ShownColumns().success)) return std::string(words->unknown);
  return std::string(HasFailed(event) ? words->failure : words->success);
}

std::string Seconds(std::int64_t milliseconds) {
  return fmt::format("{:.1f} s", static_cast<double>(milliseconds) / 1000);
}

void AppendSteering(const RecordedEvent& event, std::string* line) {
  const std::string steering = TextIn(event, ShownColumns().steering);
  if (steering.empty()) return;
  const auto since = NumberIn(event, ShownColumns().since_steer);
  if (steering == Info::SteeringReason_Name(Info::STEER) && since.has_value()) {
    *line += fmt::format(", {} after it was steered", Seconds(*since));
  } else {
    *line += ", " + WordsOfSteering(steering);
  }
}

void AppendSignal(const RecordedEvent& event, std::string* line) {
  for (const std::size_t column : ShownColumns().signals) {
    if (const auto signal = NumberIn(event, column)) {
      *line += fmt::format(", signal {} dBm", *signal);
      return;
    }
  }
}

void AppendRate(const RecordedEvent& event, std::string* line) {
  const auto kbps = NumberIn(event, ShownColumns().rate);
  if (!kbps.has_value()) return;
  *line += fmt::format(", {:.1f} Mbit/s", static_cast<double>(*kbps) / 1000);
  if (const auto width = NumberIn(event, ShownColumns().bandwidth)) {
    *line += fmt::format(" at {} MHz", *width);
  }
}

std::string Words(const RecordedEvent& event) {
  std::string words = WordsOfType(event);
  const std::string reason = TextIn(event, ShownColumns().reason);
  if (!reason.empty()) words += ": " + WordsOfReason(reason);
  const auto status = NumberIn(event, ShownColumns().status);
  if (status.value_or(0) != 0) words += fmt::format(", status {}", *status);
  AppendSteering(event, &words);
  AppendSignal(event, &words);
  AppendRate(event, &words);
  return words;
}

Colour ColourOf(const RecordedEvent& event) {
  if (HasFailed(event)) return Colour::kRed;
  const bool is_steer =
      TextIn(event, ShownColumns().steering) == Info::SteeringReason_Name(Info::STEER);
  return is_steer ? Colour::kYellow : Colour::kNone;
}

nlohmann::ordered_json JsonOf(const Value& value, const FieldDescriptor& field) {
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  const std::int64_t number = std::get<std::int64_t>(value);
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_BOOL:
      return number != 0;
    case FieldDescriptor::CPPTYPE_UINT64:
      return static_cast<std::uint64_t>(number);
    default:
      return number;
  }
}

Value ValueOf(const SQLite::Column& column) {
  if (column.isNull()) return {};
  if (column.isInteger()) return column.getInt64();
  return column.getString();
}

std::string FirstPart() {
  return "FROM client_events JOIN records ON records.id = record_id"
         " WHERE (?1 = '' OR substr(client_shmac, 1, length(?1)) = ?1)"
         " AND coalesce(event_time_in_milliseconds, received_ms) >= ?2";
}

std::string NextQuery() {
  std::string query = "SELECT record_id, client_events.rowid, received_ms, client_events.interface";
  for (const auto& column : EventColumns()) query += ", " + column.name;
  return query + " " + FirstPart() +
         " AND (record_id, client_events.rowid) > (?3, ?4)"
         " ORDER BY record_id, client_events.rowid LIMIT " +
         std::to_string(kPageSize);
}

std::string LastQuery() {
  return "SELECT record_id, client_events.rowid " + FirstPart() +
         " ORDER BY record_id DESC, client_events.rowid DESC LIMIT 1 OFFSET ?3";
}

RecordedEvent EventOf(SQLite::Statement& row) {
  RecordedEvent event = {.place = {row.getColumn(0).getInt64(), row.getColumn(1).getInt64()},
                         .received_ms = row.getColumn(2).getInt64(),
                         .interface = ValueOf(row.getColumn(3)),
                         .values = {}};
  event.values.reserve(EventColumns().size());
  for (int i = 4; i < row.getColumnCount(); ++i) event.values.push_back(ValueOf(row.getColumn(i)));
  return event;
}

}  // namespace

std::string EventText(const RecordedEvent& event, bool has_colour) {
  const std::string interface = InterfaceName(TextOf(event.interface));
  const std::string client =
      Printable(TextIn(event, ShownColumns().client)).substr(0, kShownDigits);
  return fmt::format("{}  {:<13}  {:<{}}  {}",
                     Paint(FormatTime(TimeOf(event)), Colour::kGrey, has_colour),
                     interface.empty() ? "-" : interface, client.empty() ? "-" : client,
                     kShownDigits, Paint(Words(event), ColourOf(event), has_colour));
}

std::string EventJson(const RecordedEvent& event) {
  nlohmann::ordered_json object = {{"time", FormatUtcTime(TimeOf(event))}};
  if (const auto* name = std::get_if<std::string>(&event.interface)) object["interface"] = *name;
  for (std::size_t i = 0; i < event.values.size(); ++i) {
    if (std::holds_alternative<std::monostate>(event.values[i])) continue;
    object[EventColumns()[i].name] = JsonOf(event.values[i], *EventColumns()[i].path.back());
  }
  return JsonText(object);
}

RecordedEvent::Place LastPlace(SQLite::Database& database) {
  SQLite::Statement last(database,
                         "SELECT record_id, rowid FROM client_events"
                         " ORDER BY record_id DESC, rowid DESC LIMIT 1");
  if (!last.executeStep()) return {};
  return {last.getColumn(0).getInt64(), last.getColumn(1).getInt64()};
}

EventReader::EventReader(SQLite::Database& database, EventFilter filter, RecordedEvent::Place place)
    : filter_(std::move(filter)),
      next_(database, NextQuery()),
      last_(database, LastQuery()),
      place_(place) {}

void EventReader::Bind(SQLite::Statement* statement) const {
  statement->bind(1, filter_.client);
  statement->bind(2, filter_.since_ms);
}

const std::vector<RecordedEvent>& EventReader::ReadSome() {
  events_.clear();
  Bind(&next_);
  next_.bind(3, place_.record_id);
  next_.bind(4, place_.row);
  while (next_.executeStep()) events_.push_back(EventOf(next_));
  next_.reset();
  if (!events_.empty()) place_ = events_.back().place;
  return events_;
}

void EventReader::SkipToLast(int count) {
  Bind(&last_);
  last_.bind(3, count);
  if (last_.executeStep()) {
    place_ = {last_.getColumn(0).getInt64(), last_.getColumn(1).getInt64()};
  }
  last_.reset();
}

}  // namespace orvane::wavelarkctl
