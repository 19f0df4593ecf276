#ifndef BRIDGE_EVENT_LINE_H_
#define BRIDGE_EVENT_LINE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bridge/station_info.h"
#include "common/mac_address.h"
#include "platform/time.h"

namespace orvane::bridge {

// The kinds of extended events that the bridge writes.
enum class LineKind : std::uint8_t {
  kAuthentication,
  kAssociation,
  kConnect,
  kDisconnect,
  kProbe,
};

// The attributes of an event. Absent ones are omitted from the line.
struct LineAttributes {
  std::optional<platform::WallTime> time;
  std::optional<bool> success;
  std::string_view event_reason;  // one of bridge/reasons.h, or empty; not owned
  std::optional<int> frame_status;
  std::optional<int> frame_rssi;  // dBm
  StationInfo station;
  bool is_steered = false;
  std::optional<platform::TimeSpan> since_probe;
  std::optional<platform::TimeSpan> since_steering;
};

// Returns one line of the control socket, without a line feed: "<3>AP-STA-AUTH 02:00:00:00:02:00
// timestamp:1700000000000 client_mac:02:00:00:00:02:00 success:1".
std::string FormatEventLine(LineKind kind, const ap::MacAddress& station,
                            const LineAttributes& attributes);

}  // namespace orvane::bridge

#endif  // BRIDGE_EVENT_LINE_H_
