#ifndef COMMON_EVENT_NAMES_H_
#define COMMON_EVENT_NAMES_H_

#include <string_view>

namespace orvane::ap {

// The names of the events on hostapd's control socket that the daemon knows.

// A stock hostapd reports these.
inline constexpr std::string_view kEventConnected = "AP-STA-CONNECTED";
inline constexpr std::string_view kEventDisconnected = "AP-STA-DISCONNECTED";

// The bridge adds these.
inline constexpr std::string_view kEventAuth = "AP-STA-AUTH";
inline constexpr std::string_view kEventAssoc = "AP-STA-ASSOC";
inline constexpr std::string_view kEventConnect = "AP-STA-CONNECT";
inline constexpr std::string_view kEventDisconnect = "AP-STA-DISCONNECT";
inline constexpr std::string_view kEventMonitorInfo = "AP-MONITOR-STA-INFO";

// Only an extended hostapd reports these.
inline constexpr std::string_view kEventSteering = "AP-STA-STEERING";
inline constexpr std::string_view kEventNoSteering = "AP-STA-NO-STEERING";
inline constexpr std::string_view kEventTaxonomy = "AP-STA-TAXONOMY";
inline constexpr std::string_view kEventAuthResponse = "AP-STA-AUTH-RESP";
inline constexpr std::string_view kEventAssocResponse = "AP-STA-ASSOC-RESP";

}  // namespace orvane::ap

#endif  // COMMON_EVENT_NAMES_H_
