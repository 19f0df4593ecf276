#include "tests/soak/event_lines.h"

#include <fmt/format.h>

#include <chrono>
#include <string_view>
#include <utility>

#include "testbed/event_day.h"

namespace orvane::soak {
namespace {

struct NameRow {
  std::string_view name;
  LineKind kind;
};
// Events that the daemon records.
constexpr NameRow kNames[] = {
    {"<3>AP-STA-AUTH ", LineKind::kConnection},    {"<3>AP-STA-AUTH-RESP ", LineKind::kConnection},
    {"<3>AP-STA-ASSOC ", LineKind::kConnection},   {"<3>AP-STA-ASSOC-RESP ", LineKind::kConnection},
    {"<3>AP-STA-CONNECT ", LineKind::kConnection}, {"<3>AP-STA-DISCONNECT ", LineKind::kConnection},
    {"<3>AP-MONITOR-STA-INFO ", LineKind::kProbe},
};

LineKind KindOf(std::string_view line) {
  for (const NameRow& row : kNames) {
    if (line.starts_with(row.name)) return row.kind;
  }
  return LineKind::kOther;
}

// Returns an attribute for the end of a line: if an attribute is repeated, the last value wins.
std::string NumberFor(LineKind kind, std::uint64_t serial) {
  switch (kind) {
    case LineKind::kConnection:
      return fmt::format(" steer_delta_ms:{}", serial);
    case LineKind::kProbe:
      return fmt::format(" frame_rssi:{}", serial);
    case LineKind::kOther:
    case LineKind::kUnknown:
      return "";
  }
  return "";
}

}  // namespace

EventLines::EventLines(std::uint32_t seed) : random_(seed) {
  for (const testbed::TimedLine& timed :
       testbed::EventDay(platform::WallTime(std::chrono::hours(1)))) {
    lines_.push_back({.kind = KindOf(timed.line), .text = timed.line});
  }
  lines_.push_back({.kind = LineKind::kConnection, .text = "<3>AP-STA-AUTH no-address success:1"});
  lines_.push_back({.kind = LineKind::kOther, .text = "no priority in front"});
  lines_.push_back({.kind = LineKind::kUnknown, .text = "<3>SOAK-UNKNOWN 02:00:00:00:00:01"});
}

EventLine EventLines::Next(std::uint64_t serial) {
  EventLine line =
      lines_[std::uniform_int_distribution<std::size_t>(0, lines_.size() - 1)(random_)];
  line.text += NumberFor(line.kind, serial);
  return line;
}

}  // namespace orvane::soak
