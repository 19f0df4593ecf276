#ifndef BRIDGE_CONTROL_EVENT_H_
#define BRIDGE_CONTROL_EVENT_H_

#include <optional>
#include <string_view>
#include <variant>

#include "bridge/management_frame.h"
#include "common/mac_address.h"

namespace orvane::bridge {

// The events of a stock hostapd's control socket that the bridge uses.

// hostapd has received a management frame; `frame.source` is the station.
struct FrameReceived {
  ManagementFrame frame;
};

struct ProbeReceived {
  ap::MacAddress station;
  std::optional<int> signal = std::nullopt;  // dBm
};

// The station may send and receive data.
struct StationConnected {
  ap::MacAddress station;
};

struct StationDisconnected {
  ap::MacAddress station;
};

// A handshake failed, typically because the station has a wrong passphrase.
struct PskMismatch {
  ap::MacAddress station;
};

// The station answered a request to move to another access point.
struct TransitionAnswered {
  ap::MacAddress station;
  bool is_accepted = false;
};

// An event with another name, or a received frame of another kind.
struct OtherEvent {};

// An event with a known name but invalid fields.
struct MalformedEvent {};

using ControlEvent =
    std::variant<OtherEvent, MalformedEvent, FrameReceived, ProbeReceived, StationConnected,
                 StationDisconnected, PskMismatch, TransitionAnswered>;

// Returns whether a datagram of a control socket is an event, "<3>NAME ...", and not an answer.
bool IsControlEvent(std::string_view datagram);

// Parses an event, for example "<3>AP-STA-CONNECTED 02:00:00:00:02:00 keyid=guest". Skips unneeded
// fields.
ControlEvent ParseControlEvent(std::string_view datagram);

}  // namespace orvane::bridge

#endif  // BRIDGE_CONTROL_EVENT_H_
