#ifndef WAVELARKCTL_EVENTS_RECORDED_EVENT_H_
#define WAVELARKCTL_EVENTS_RECORDED_EVENT_H_

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <compare>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orvane::wavelarkctl {

// A client's event in the database.
struct RecordedEvent {
  // NULL is std::monostate. A boolean is 0 or 1, an enumeration the name of its value.
  using Value = std::variant<std::monostate, std::int64_t, std::string>;

  // The position of an event in the order of recording.
  struct Place {
    std::int64_t record_id = 0;
    std::int64_t row = 0;

    friend auto operator<=>(const Place&, const Place&) = default;
  };

  Place place;
  std::int64_t received_ms = 0;  // when the recorder received it, since the Unix epoch
  Value interface;
  // In the order of recorder::ClientEventsTable().columns().
  std::vector<Value> values;
};

// A line in plain words, without a line end:
// "2026-11-22 08:00:30.125  wlan-5000mhz   0123ABCD  connected, signal -61 dBm". It shows the first
// digits of the client's identifier. With `has_colour` it has colours for a terminal.
std::string EventText(const RecordedEvent& event, bool has_colour);

// A JSON object with the fields that are not NULL, under the names of their columns. `time` is
// event_time_in_milliseconds, or without it the time when the recorder received the event, as in
// RFC 3339.
std::string EventJson(const RecordedEvent& event);

// Which events to read.
struct EventFilter {
  std::int64_t since_ms = std::numeric_limits<std::int64_t>::min();
  std::string client;  // the first digits of the identifier, in upper case; empty for all
};

// Returns the place of the last event, {} if there is none.
RecordedEvent::Place LastPlace(SQLite::Database& database);

// Reads events in the order of recording, some at a time. Does not lock the database in between.
class EventReader {
 public:
  // Reads the events after `place`; by default all.
  EventReader(SQLite::Database& database, EventFilter filter, RecordedEvent::Place place = {});

  // Returns the next matching events. At the end, returns none until more are recorded.
  const std::vector<RecordedEvent>& ReadSome();

  // Skips all but the last `count` of them.
  void SkipToLast(int count);

 private:
  void Bind(SQLite::Statement* statement) const;

  EventFilter filter_;
  SQLite::Statement next_;
  SQLite::Statement last_;
  RecordedEvent::Place place_;
  std::vector<RecordedEvent> events_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_EVENTS_RECORDED_EVENT_H_
