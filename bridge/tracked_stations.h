#ifndef BRIDGE_TRACKED_STATIONS_H_
#define BRIDGE_TRACKED_STATIONS_H_

#include <string_view>
#include <vector>

#include "common/mac_address.h"

namespace orvane::bridge {

// A station that hostapd has just received a frame from.
struct TrackedStation {
  ap::MacAddress station;
  int signal = 0;  // dBm, of the last frame
};

// Parses hostapd's answer to TRACK_STA_LIST: lines "MAC seconds-ago dBm", newest first. Skips
// stations that were last received more than a second ago, those without a signal, and invalid
// lines. "FAIL" gives an empty list.
std::vector<TrackedStation> ParseTrackedStations(std::string_view answer);

}  // namespace orvane::bridge

#endif  // BRIDGE_TRACKED_STATIONS_H_
