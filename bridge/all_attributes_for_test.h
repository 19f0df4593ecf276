#ifndef BRIDGE_ALL_ATTRIBUTES_FOR_TEST_H_
#define BRIDGE_ALL_ATTRIBUTES_FOR_TEST_H_

#include <chrono>
#include <optional>

#include "bridge/event_line.h"

namespace orvane::bridge {

// Returns attributes that are all present, except for the MCS of an HT rate, because the rate is a
// VHT rate. All values are different.
inline LineAttributes AllAttributes() {
  LineAttributes attributes;
  attributes.time = platform::WallTime(std::chrono::milliseconds(1'700'000'000'123));
  attributes.success = false;
  attributes.event_reason = "no_ack";
  attributes.frame_status = 17;
  attributes.frame_rssi = -50;
  attributes.station = {.signal = -51,
                        .signal_average = -52,
                        .transmit_rate = {.kbps = 780'000,
                                          .bandwidth_mhz = 80,
                                          .ht_mcs = std::nullopt,
                                          .vht_mcs = 9,
                                          .vht_nss = 2,
                                          .short_guard_interval = true}};
  attributes.is_steered = true;
  attributes.since_probe = std::chrono::microseconds(12'999);
  attributes.since_steering = std::chrono::seconds(3);
  return attributes;
}

}  // namespace orvane::bridge

#endif  // BRIDGE_ALL_ATTRIBUTES_FOR_TEST_H_
