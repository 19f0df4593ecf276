#ifndef BRIDGE_NL80211_EVENT_H_
#define BRIDGE_NL80211_EVENT_H_

#include <cstdint>
#include <optional>
#include <variant>

#include "bridge/management_frame.h"
#include "bridge/station_info.h"
#include "common/mac_address.h"
#include "platform/netlink/netlink_message.h"

namespace orvane::bridge {

// The access point has sent a management frame; `frame.destination` is the station.
struct FrameSent {
  ManagementFrame frame;
  bool is_acknowledged = false;
};

// The authenticator's messages of the four-way handshake that the bridge distinguishes.
enum class EapolMessage : std::uint8_t { kOther, kPairwise1, kPairwise3 };

// The access point has sent an EAPOL frame to a station.
struct EapolSent {
  ap::MacAddress station;
  EapolMessage message = EapolMessage::kOther;
};

// The kernel has removed a station; `info` is its last state.
struct StationRemoved {
  ap::MacAddress station;
  StationInfo info;
};

// A multicast message of nl80211.
struct Nl80211Event {
  std::uint32_t interface_index = 0;
  std::variant<FrameSent, EapolSent, StationRemoved> content;
};

// Parses a message. Returns nothing for an irrelevant message or one that lacks a required
// attribute.
std::optional<Nl80211Event> ParseNl80211Event(const platform::GenericNetlinkMessage& message);

}  // namespace orvane::bridge

#endif  // BRIDGE_NL80211_EVENT_H_
