// Replays a recording of four connections and compares every line.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bridge/control_event.h"
#include "bridge/nl80211_event.h"
#include "bridge/station_tracker.h"
#include "bridge/tracked_stations.h"
#include "platform/byte_string.h"
#include "testbed/generic_message.h"

namespace orvane::bridge {
namespace {

using platform::ByteString;
using platform::MonotonicTime;
using platform::TimeSpan;
using platform::WallTime;
using simulation::AttributeBuilder;
using testbed::GenericMessage;
using testing::ElementsAreArray;

// If two entries are further apart, everything was read in between.
constexpr TimeSpan kQuiet = std::chrono::milliseconds(30);
constexpr std::uint32_t kInterfaceIndex = 3;

class Replay {
 public:
  void Feed(const std::string& entry) {
    std::istringstream fields(entry);
    double seconds = 0;
    char source = 0;
    fields >> seconds >> source >> std::ws;
    AdvanceTo(std::chrono::microseconds(std::llround(seconds * 1e6)));
    std::string rest;
    std::getline(fields, rest);
    switch (source) {
      case 'C':
        return tracker_.OnControlEvent(ParseControlEvent(rest), Now());
      case 'K':
        std::ranges::replace(rest, ';', '\n');
        return tracker_.OnTrackedStations(ParseTrackedStations(rest));
      case 'D':
        return tracker_.OnSteered(ap::MacAddress(rest), Now());
      case 'N':
        return FeedMessage(rest);
      default:
        FAIL() << entry;
    }
  }

  std::vector<std::string> Finish() {
    AdvanceTo(now_ + std::chrono::hours(1));
    return lines_;
  }

 private:
  Moment Now() const { return {MonotonicTime(now_), WallTime(kStart + now_)}; }

  void AdvanceTo(TimeSpan time) {
    if (time > now_ + kQuiet) Settle();
    while (const auto deadline = tracker_.NextDeadline()) {
      if (*deadline > MonotonicTime(time)) break;
      now_ = deadline->time_since_epoch();
      Settle();
    }
    now_ = std::max(now_, time);
  }

  void Settle() {
    tracker_.Settle(Now());
    for (const EventLine& line : tracker_.TakeLines()) lines_.push_back(line.text);
  }

  void FeedMessage(const std::string& fields) {
    std::istringstream stream(fields);
    int command = 0;
    std::string first;
    std::string second;
    stream >> command >> first >> second;
    AttributeBuilder attributes;
    attributes.U32(NL80211_ATTR_IFINDEX, kInterfaceIndex);
    if (command == NL80211_CMD_DEL_STATION) {
      AddRemoval(first, std::stoi(second), &stream, &attributes);
    } else {
      attributes.Raw(NL80211_ATTR_FRAME, ByteString::CreateFromHexString(second).AsSpan());
      if (first == "ack") attributes.Flag(NL80211_ATTR_ACK);
    }
    const auto event = ParseNl80211Event(GenericMessage(command, attributes).message());
    ASSERT_TRUE(event.has_value()) << fields;
    tracker_.OnNl80211Event(*event, Now());
  }

  static void AddRemoval(const std::string& station, int signal, std::istream* rest,
                         AttributeBuilder* attributes) {
    int average = 0;
    *rest >> average;
    attributes->Raw(NL80211_ATTR_MAC, ByteString::CreateFromHexString(station).AsSpan())
        .Nest(NL80211_ATTR_STA_INFO,
              AttributeBuilder()
                  .U8(NL80211_STA_INFO_SIGNAL, static_cast<std::uint8_t>(signal))
                  .U8(NL80211_STA_INFO_SIGNAL_AVG, static_cast<std::uint8_t>(average)));
  }

  static constexpr TimeSpan kStart = std::chrono::seconds(1'700'000'000);

  SharedMemory shared_;
  StationTracker tracker_{&shared_, [](const ap::MacAddress&) { return StationInfo(); }};
  TimeSpan now_{};
  std::vector<std::string> lines_;
};

// "kind N.NNNN rest" of the station 02:00:00:00:0N:00.
std::string Line(const std::string& name, int station, const std::string& timestamp,
                 const std::string& attributes) {
  const std::string mac = fmt::format("02:00:00:00:0{}:00", station);
  return fmt::format("<3>{} {} timestamp:17000000{} client_mac:{} {}", name, mac, timestamp, mac,
                     attributes);
}

std::string Probe(int station) {
  return fmt::format("<3>AP-MONITOR-STA-INFO 02:00:00:00:0{}:00 frame_rssi:-50", station);
}

TEST(FourVisitsTest, ProduceTheExpectedLines) {
  std::ifstream file(FOUR_VISITS_FILE);
  ASSERT_TRUE(file.is_open());
  Replay replay;
  for (std::string entry; std::getline(file, entry);) {
    if (!entry.starts_with('#')) replay.Feed(entry);
  }

  const std::string accepted = "success:1 frame_status:0 frame_rssi:-50";
  const std::vector<std::string> expected = {
      // The first client connects and leaves.
      Probe(2),
      Line("AP-STA-AUTH", 2, "00655", accepted + " probe_delta_ms:118"),
      Line("AP-STA-ASSOC", 2, "00746", accepted + " probe_delta_ms:210"),
      Line("AP-STA-CONNECT", 2, "00855", "success:1"),
      Line("AP-STA-DISCONNECT", 2, "03138",
           "event_reason:deauth_cli avg_rssi:-50 last_rx_rssi:-50"),
      // The second client has a wrong passphrase and tries four times.
      Probe(3),
      Line("AP-STA-AUTH", 3, "05783", accepted + " probe_delta_ms:50"),
      Line("AP-STA-ASSOC", 3, "05792", accepted + " probe_delta_ms:59"),
      Line("AP-STA-CONNECT", 3, "09875", "success:0 event_reason:psk_mismatch"),
      Probe(3),
      // The first client connects again and is disconnected by the access point.
      Probe(2),
      Line("AP-STA-AUTH", 2, "13986", accepted + " probe_delta_ms:41"),
      Line("AP-STA-ASSOC", 2, "13995", accepted + " probe_delta_ms:50"),
      Line("AP-STA-CONNECT", 2, "14053", "success:1"),
      Line("AP-STA-DISCONNECT", 2, "14155",
           "avg_rssi:-50 last_rx_rssi:-50 steering_reason:steered"),
      // The client is back after 205 ms.
      Probe(2),
      Line("AP-STA-AUTH", 2, "14355",
           accepted + " steering_reason:steered probe_delta_ms:52 steer_delta_ms:205"),
      Line("AP-STA-ASSOC", 2, "14376",
           accepted + " steering_reason:steered probe_delta_ms:73 steer_delta_ms:226"),
      Line("AP-STA-CONNECT", 2, "14416", "success:1 steering_reason:steered steer_delta_ms:266"),
  };
  EXPECT_THAT(replay.Finish(), ElementsAreArray(expected));
}

}  // namespace
}  // namespace orvane::bridge
