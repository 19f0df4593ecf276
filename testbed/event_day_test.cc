#include "testbed/event_day.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "testbed/text.h"

namespace orvane::testbed {
namespace {

using ::testing::IsSupersetOf;

constexpr platform::WallTime kStart(std::chrono::seconds(1'700'000'000));

// Returns the values of each attribute in the lines of this event, or of all events if `event` is
// empty.
std::multimap<std::string, std::string> Attributes(std::string_view event) {
  std::multimap<std::string, std::string> attributes;
  for (const TimedLine& timed : EventDay(kStart)) {
    std::string_view line = timed.line;
    const std::string_view name = TakeWord(&line).substr(3);
    TakeWord(&line);  // the station
    if (!event.empty() && name != event) continue;
    while (!line.empty()) {
      const std::string_view pair = TakeWord(&line);
      const std::size_t colon = pair.find(':');
      attributes.emplace(pair.substr(0, colon), pair.substr(colon + 1));
    }
  }
  return attributes;
}

std::set<std::string> Names(const std::multimap<std::string, std::string>& attributes) {
  std::set<std::string> names;
  for (const auto& [name, value] : attributes) names.insert(name);
  return names;
}

std::set<std::string> Values(const std::multimap<std::string, std::string>& attributes,
                             const std::string& wanted) {
  std::set<std::string> values;
  for (const auto& [name, value] : attributes) {
    if (name == wanted) values.insert(value);
  }
  return values;
}

TEST(EventDayTest, HasEveryReasonToLeaveAndAnUnknownOne) {
  EXPECT_EQ(Values(Attributes("AP-STA-DISCONNECT"), "event_reason"),
            (std::set<std::string>{
                "reject_steer",         "from_client",      "failed_to_add",  "no_ack",
                "disassoc_cli",         "deauth_cli",       "bss_tm_cli",     "other_bss",
                "iapp_notify",          "low_ack",          "inactivity",     "wpa_auth",
                "insufficient_entropy", "incorrect_rsn_ie", "setkey_failure", "eapol_m1_timeout",
                "eapol_m3_timeout",     "gtk_m1_timeout",   "psk_mismatch",   "steer_client"}));
}

TEST(EventDayTest, HasEverySteeringReasonAndAnUnknownOne) {
  EXPECT_EQ(
      Values(Attributes(""), "steering_reason"),
      (std::set<std::string>{"steered", "target-interface", "reassoc", "new-station", "deferred",
                             "non-candidate", "weak-signal", "recently-steered", "by-hand"}));
}

TEST(EventDayTest, HasEveryAttribute) {
  EXPECT_THAT(Names(Attributes("")),
              IsSupersetOf({"timestamp", "success", "client_mac", "event_reason", "frame_status",
                            "frame_rssi", "avg_rssi", "last_rx_rssi", "steering_reason",
                            "probe_delta_ms", "steer_delta_ms", "tx_rate_kbps", "tx_rate_mcs",
                            "tx_rate_bw", "tx_rate_sgi", "tx_rate_vht_mcs", "tx_rate_vht_nss"}));
  EXPECT_EQ(Names(Attributes("AP-MONITOR-STA-INFO")),
            (std::set<std::string>{"frame_rssi", "nss", "mode"}));
  EXPECT_EQ(Values(Attributes("AP-MONITOR-STA-INFO"), "mode"),
            (std::set<std::string>{"legacy", "ht", "vht", "he"}));
}

TEST(EventDayTest, HasEveryKindOfEvent) {
  std::set<std::string> names;
  for (const TimedLine& timed : EventDay(kStart)) {
    EXPECT_EQ(timed.line.substr(0, 3), "<3>");
    names.insert(timed.line.substr(3, timed.line.find(' ') - 3));
  }
  EXPECT_EQ(names,
            (std::set<std::string>{"AP-STA-CONNECTED", "AP-STA-DISCONNECTED", "AP-STA-STEERING",
                                   "AP-STA-NO-STEERING", "AP-STA-TAXONOMY", "AP-STA-AUTH",
                                   "AP-STA-AUTH-RESP", "AP-STA-ASSOC", "AP-STA-ASSOC-RESP",
                                   "AP-STA-CONNECT", "AP-STA-DISCONNECT", "AP-MONITOR-STA-INFO"}));
}

TEST(EventDayTest, TimesAreInOrderAndInTimestamps) {
  const std::vector<TimedLine> lines = EventDay(kStart);
  EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end(),
                             [](const auto& a, const auto& b) { return a.at < b.at; }));
  EXPECT_LT(lines.back().at, std::chrono::seconds(10));
  const auto connect = std::find_if(lines.begin(), lines.end(), [](const TimedLine& timed) {
    return timed.line.find("AP-STA-CONNECT ") != std::string::npos;
  });
  ASSERT_NE(connect, lines.end());
  const auto offset = std::chrono::floor<std::chrono::milliseconds>(connect->at).count();
  EXPECT_NE(connect->line.find(" timestamp:" + std::to_string(1'700'000'000'000 + offset) + " "),
            std::string::npos)
      << connect->line;
}

}  // namespace
}  // namespace orvane::testbed
