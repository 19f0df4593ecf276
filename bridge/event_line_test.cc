#include "bridge/event_line.h"

#include <gtest/gtest.h>

#include "bridge/all_attributes_for_test.h"

namespace orvane::bridge {
namespace {

const ap::MacAddress kStation("02:00:00:00:02:00");

TEST(EventLineTest, OmitsAbsentAttributes) {
  EXPECT_EQ(FormatEventLine(LineKind::kProbe, kStation, {}),
            "<3>AP-MONITOR-STA-INFO 02:00:00:00:02:00");
}

TEST(EventLineTest, HasEveryAttribute) {
  EXPECT_EQ(FormatEventLine(LineKind::kAssociation, kStation, AllAttributes()),
            "<3>AP-STA-ASSOC 02:00:00:00:02:00 timestamp:1700000000123 "
            "client_mac:02:00:00:00:02:00 success:0 event_reason:no_ack frame_status:17 "
            "frame_rssi:-50 avg_rssi:-52 last_rx_rssi:-51 tx_rate_kbps:780000 tx_rate_bw:80 "
            "tx_rate_vht_mcs:9 tx_rate_vht_nss:2 tx_rate_sgi:1 steering_reason:steered "
            "probe_delta_ms:12 steer_delta_ms:3000");
}

TEST(EventLineTest, HasTheMcsOfAnHtRate) {
  LineAttributes attributes;
  attributes.station.transmit_rate.ht_mcs = 15;
  attributes.station.transmit_rate.short_guard_interval = false;
  EXPECT_EQ(FormatEventLine(LineKind::kConnect, kStation, attributes),
            "<3>AP-STA-CONNECT 02:00:00:00:02:00 tx_rate_mcs:15 tx_rate_sgi:0");
}

}  // namespace
}  // namespace orvane::bridge
