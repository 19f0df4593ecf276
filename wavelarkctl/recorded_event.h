#ifndef WAVELARKCTL_RECORDED_EVENT_H_
#define WAVELARKCTL_RECORDED_EVENT_H_

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orvane::wavelarkctl {

// An event of a client as it is in the database.
struct RecordedEvent {
  // NULL is std::monostate. A boolean is 0 or 1, an enumeration the name of its value.
  using Value = std::variant<std::monostate, std::int64_t, std::string>;

  // What orders events as they came.
  struct Place {
    std::int64_t record_id = 0;
    std::int64_t row = 0;
  };

  Place place;
  std::int64_t received_ms = 0;  // when the recorder took it, since the Unix epoch
  Value interface;
  // In the order of recorder::ClientEventsTable().columns().
  std::vector<Value> values;
};

// A line in plain words, without a line end:
// "2026-11-22 08:00:30.125  wlan-5000mhz   0123ABCD  connected, signal -61 dBm". The first digits
// stand for the identifier of the client. The colours are those of a terminal.
std::string EventText(const RecordedEvent& event, bool has_colour);

// An object of JSON with the fields that are not NULL, under the names of their columns. `time` is
// event_time_in_milliseconds, else the time when the recorder took the event, in RFC 3339.
std::string EventJson(const RecordedEvent& event);

// Which events to read.
struct EventFilter {
  std::int64_t since_ms = std::numeric_limits<std::int64_t>::min();
  std::string client;  // the first digits of the identifier, in upper case; empty for all
};

// Reads events as they came, some at a time, and holds no lock on the database in between.
class EventReader {
 public:
  EventReader(SQLite::Database& database, EventFilter filter);

  // The next events that fit; none once the end is reached, until more are recorded.
  const std::vector<RecordedEvent>& ReadSome();

  // Goes to before the last `count` of them.
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

#endif  // WAVELARKCTL_RECORDED_EVENT_H_
