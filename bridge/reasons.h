#ifndef BRIDGE_REASONS_H_
#define BRIDGE_REASONS_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "bridge/nl80211_event.h"

namespace orvane::bridge {

// Values of the attribute event_reason.
inline constexpr std::string_view kReasonNoAck = "no_ack";
inline constexpr std::string_view kReasonPskMismatch = "psk_mismatch";
inline constexpr std::string_view kReasonOtherBss = "other_bss";
inline constexpr std::string_view kReasonTransition = "bss_tm_cli";
inline constexpr std::string_view kReasonClientDeauthentication = "deauth_cli";
inline constexpr std::string_view kReasonClientDisassociation = "disassoc_cli";

// Returns why the access point refused a station, from the status code of its answer. Empty for
// success and for other status codes.
std::string_view ReasonOfStatus(std::uint16_t status);

// Returns why the access point disconnected a station, from the reason code of its frame and the
// last message of the four-way handshake that it sent, if any. Empty for other reason codes.
std::string_view ReasonOfNotice(std::uint16_t reason, std::optional<EapolMessage> last_message);

// Returns whether the reason code of the access point's frame allows that the station has moved to
// another interface.
bool MayHaveMoved(std::uint16_t reason);

}  // namespace orvane::bridge

#endif  // BRIDGE_REASONS_H_
