#ifndef BRIDGE_TRACKED_STATIONS_H_
#define BRIDGE_TRACKED_STATIONS_H_

#include <string_view>
#include <vector>

#include "common/mac_address.h"

namespace orvane::bridge {

// A station that hostapd has just heard.
struct TrackedStation {
  ap::MacAddress station;
  int signal = 0;  // dBm, of the last frame
};

// Reads hostapd's answer to TRACK_STA_LIST, lines "MAC seconds-ago dBm" with the newest first. Left
// out are stations that were last heard more than a second ago, those without a signal, and lines
// that can't be read; "FAIL" gives none.
std::vector<TrackedStation> ParseTrackedStations(std::string_view answer);

}  // namespace orvane::bridge

#endif  // BRIDGE_TRACKED_STATIONS_H_
