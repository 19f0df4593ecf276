// The daemon reads the lines of the bridge.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bridge/all_attributes_for_test.h"
#include "bridge/event_line.h"
#include "bridge/reasons.h"
#include "event.pb.h"
#include "optimizer/event_attributes.h"
#include "optimizer/hostapd_event.h"
#include "optimizer/station_id_generator.h"

namespace orvane::bridge {
namespace {

using access_infrastructure::proto::ClientEventInfo;
using ap::HostapdEventType;

const ap::MacAddress kStation("02:00:00:00:02:00");

struct Reading {
  std::vector<HostapdEventType> kinds;
  std::string mac;
  ClientEventInfo info;
};

Reading Read(const std::string& line) {
  Reading reading;
  ap::HostapdEventParser parser;
  ap::StationIdGenerator ids("/dev/null");
  parser.Parse(line,
               [&](HostapdEventType kind, std::string_view mac, ap::HostapdAttributes attributes) {
                 reading.kinds.push_back(kind);
                 reading.mac = mac;
                 ap::ApplyEventAttributes(attributes, &ids, &reading.info);
               });
  return reading;
}

TEST(BridgeLineTest, DaemonKnowsEachKind) {
  const std::vector<std::pair<LineKind, HostapdEventType>> kinds = {
      {LineKind::kAuthentication, HostapdEventType::kStationAuth},
      {LineKind::kAssociation, HostapdEventType::kStationAssoc},
      {LineKind::kConnect, HostapdEventType::kStationConnect},
      {LineKind::kDisconnect, HostapdEventType::kStationDisconnect},
      {LineKind::kProbe, HostapdEventType::kStationMonitorInfo},
  };
  for (const auto& [kind, daemon_kind] : kinds) {
    const Reading reading = Read(FormatEventLine(kind, kStation, {}));
    EXPECT_EQ(reading.kinds, std::vector{daemon_kind});
    EXPECT_EQ(reading.mac, "02:00:00:00:02:00");
  }
}

TEST(BridgeLineTest, DaemonReadsEachAttribute) {
  const ClientEventInfo info =
      Read(FormatEventLine(LineKind::kConnect, kStation, AllAttributes())).info;
  EXPECT_EQ(info.event_time_in_milliseconds(), 1'700'000'000'123U);
  EXPECT_TRUE(info.has_is_event_success());
  EXPECT_FALSE(info.is_event_success());
  EXPECT_EQ(info.event_reason(), ClientEventInfo::NO_ACK);
  EXPECT_EQ(info.frame_status_code(), 17U);
  EXPECT_EQ(info.event_frame_rssi_in_dbm(), -50);
  EXPECT_EQ(info.average_rssi_in_dbm(), -52);
  EXPECT_EQ(info.rssi_in_dbm(), -51);
  EXPECT_EQ(info.steering_reason(), ClientEventInfo::STEER);
  EXPECT_EQ(info.probe_delta_in_milliseconds(), 12U);
  EXPECT_EQ(info.steer_delta_in_milliseconds(), 3000U);
  EXPECT_EQ(info.data_rate().bitrate_kbps(), 780'000);
  EXPECT_EQ(info.data_rate().bandwidth_mhz(), 80);
  EXPECT_EQ(info.data_rate().mcs_index(), 9);
  EXPECT_EQ(info.data_rate().number_of_spatial_streams(), 2);
  EXPECT_FALSE(info.data_rate().is_long_guard_interval());
}

// A number that the daemon can't read ends it.
TEST(BridgeLineTest, DaemonReadsExtremeNumbers) {
  LineAttributes attributes;
  for (const std::int64_t microseconds :
       {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    attributes.time = platform::WallTime(platform::TimeSpan(microseconds));
    attributes.since_probe = platform::TimeSpan(microseconds);
    attributes.since_steering = platform::TimeSpan(microseconds);
    EXPECT_NO_THROW(Read(FormatEventLine(LineKind::kConnect, kStation, attributes)));
  }
}

// All reasons that the bridge can write.
TEST(BridgeLineTest, DaemonKnowsEachReason) {
  std::vector<std::string_view> words = {kReasonNoAck,
                                         kReasonPskMismatch,
                                         kReasonOtherBss,
                                         kReasonTransition,
                                         kReasonClientDeauthentication,
                                         kReasonClientDisassociation};
  for (unsigned code = 0; code <= 0xffff; ++code) {
    const auto number = static_cast<std::uint16_t>(code);
    words.push_back(ReasonOfStatus(number));
    for (const auto message : {EapolMessage::kPairwise1, EapolMessage::kPairwise3}) {
      words.push_back(ReasonOfNotice(number, message));
    }
    words.push_back(ReasonOfNotice(number, std::nullopt));
  }
  LineAttributes attributes;
  for (const std::string_view word : words) {
    if (word.empty() || word == attributes.event_reason) continue;
    attributes.event_reason = word;
    EXPECT_NE(
        Read(FormatEventLine(LineKind::kDisconnect, kStation, attributes)).info.event_reason(),
        ClientEventInfo::UNKNOWN_CLIENT_EVENT_REASON)
        << word;
  }
}

}  // namespace
}  // namespace orvane::bridge
