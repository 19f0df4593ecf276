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

// Why the access point refused a station, from the status of its answer; empty for success and for
// a status without a word of its own.
std::string_view ReasonOfStatus(std::uint16_t status);

// Why the access point sent a station off, from the reason of its frame and the last message of a
// pairwise handshake that it had sent, if there was one; empty for a reason without a word.
std::string_view ReasonOfNotice(std::uint16_t reason, std::optional<EapolMessage> last_message);

// Whether the reason of the access point's frame leaves open that the station had simply moved.
bool MayHaveMoved(std::uint16_t reason);

}  // namespace orvane::bridge

#endif  // BRIDGE_REASONS_H_
