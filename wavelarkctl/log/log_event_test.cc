#include "wavelarkctl/log/log_event.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ap::MacAddress;

const MacAddress kAddress(std::string_view("02:11:22:33:44:55"));

template <typename Event>
Event Parse(std::string_view message) {
  const auto event = ParseMessage(message);
  if (!event || !std::holds_alternative<Event>(*event)) {
    ADD_FAILURE() << "not read: " << message;
    return {};
  }
  return std::get<Event>(*event);
}

constexpr char kJudged[] =
    "02:11:22:33:44:55 link_quality_metric 18 last_steer_link_quality_metric 5 time since last "
    "steer 4m0.0021s";
constexpr char kSteered[] =
    "Steer Client 02:11:22:33:44:55 link_quality_metric 18 last_steer_link_quality_metric 5";
constexpr char kStarted[] =
    "Client Steer Started  lqm_floor=30 steer_interval=10m poll_interval=1.5s lqm_hysteresis=15";
constexpr char kSent[] = "wlan-2400mhz Send Command : DISASSOCIATE 02:11:22:33:44:55 reason=5";
constexpr char kCame[] =
    "EventCallback: wlan-5000mhz event: kStationConnect mac: 02:11:22:33:44:55";

TEST(LogEventTest, AJudgementIsRead) {
  const auto event = Parse<ClientJudged>(kJudged);
  EXPECT_EQ(event.address, kAddress);
  EXPECT_EQ(event.metric, 18);
  EXPECT_EQ(event.last_metric, 5);
  EXPECT_EQ(event.since_last_steer, 4min + 2100us);
}

TEST(LogEventTest, ASteerAndItsCommandAreRead) {
  const auto event = Parse<ClientSteered>(kSteered);
  EXPECT_EQ(event.address, kAddress);
  EXPECT_EQ(event.metric, 18);
  EXPECT_EQ(event.last_metric, 5);
  const auto sent = Parse<DisassociateSent>(kSent);
  EXPECT_EQ(sent.address, kAddress);
  EXPECT_EQ(sent.interface, "wlan-2400mhz");
  Parse<CommandLost>("Send to hostapd failed: Bad file descriptor (9)");
}

TEST(LogEventTest, TheSettingsAtTheStartAreRead) {
  const auto event = Parse<SteeringStarted>(kStarted);
  EXPECT_EQ(event.limits.lqm_floor, 30);
  EXPECT_EQ(event.limits.lqm_hysteresis, 15);
  EXPECT_EQ(event.limits.steer_interval, 10min);
  EXPECT_EQ(event.poll_interval, 1500ms);
}

TEST(LogEventTest, ClientsThatComeAndLeaveAreRead) {
  const auto came = Parse<ClientCame>(kCame);
  EXPECT_EQ(came.address, kAddress);
  EXPECT_EQ(came.interface, "wlan-5000mhz");
  Parse<ClientCame>("EventCallback: wlan-5000mhz event: kStationConnected mac: 02:11:22:33:44:55");
  const auto left = Parse<ClientLeft>(
      "EventCallback: wlan-2400mhz event: kStationDisconnected mac: "
      "02:11:22:33:44:55");
  EXPECT_EQ(left.interface, "wlan-2400mhz");
  Parse<ClientLeft>("EventCallback: wlan-2400mhz event: kStationDisconnect mac: 02:11:22:33:44:55");
}

TEST(LogEventTest, OtherEventsAreRead) {
  Parse<DaemonStarted>("Starting the daemon");
  Parse<SteeringStopped>("Client Steer Stopped");
  EXPECT_EQ(Parse<ClientPruned>("Prune Station 02:11:22:33:44:55").address, kAddress);
  Parse<PollFailed>("Unable to get stations on interface: wlan-2400mhz");
  Parse<PollFailed>("Netlink error 2: Netlink response timeout");
}

TEST(LogEventTest, OtherMessagesAreIgnored) {
  for (const char* message :
       {"", " ", "Callback: 7 mac: 02:11:22:33:44:55", "Could not attach to hostapd",
        "EventCallback: wlan-2400mhz event: kStationAuth mac: 02:11:22:33:44:55",
        "EventCallback: wlan-2400mhz event: kHostapdStarted mac: ",
        "wlan-2400mhz Send Command : PING", "Prune Station nobody"}) {
    EXPECT_FALSE(ParseMessage(message).has_value()) << message;
  }
}

// A full disk or a power loss may cut off a line anywhere. The rest must not be read as another
// number or address. A cut within the last number of a line can't be detected.
TEST(LogEventTest, IncompleteMessagesAreIgnored) {
  for (const std::string message : {kSent, kCame, "Prune Station 02:11:22:33:44:55"}) {
    for (std::size_t length = 0; length < message.size(); ++length) {
      EXPECT_FALSE(ParseMessage(message.substr(0, length)).has_value())
          << message.substr(0, length);
    }
  }
  for (const std::string message : {kJudged, kSteered, kStarted}) {
    const std::size_t last_word = message.find_last_of(" =") + 1;
    for (std::size_t length = 0; length <= last_word; ++length) {
      EXPECT_FALSE(ParseMessage(message.substr(0, length)).has_value())
          << message.substr(0, length);
    }
    EXPECT_FALSE(ParseMessage(message + "x").has_value());
    EXPECT_FALSE(ParseMessage(message + " x").has_value());
  }
}

TEST(LogEventTest, NumbersOutOfRangeAreIgnored) {
  EXPECT_FALSE(ParseMessage("Steer Client 02:11:22:33:44:55 link_quality_metric 256 "
                            "last_steer_link_quality_metric 5")
                   .has_value());
  EXPECT_FALSE(ParseMessage("Steer Client 02:11:22:33:44:55 link_quality_metric -1 "
                            "last_steer_link_quality_metric 5")
                   .has_value());
}

}  // namespace
}  // namespace orvane::wavelarkctl
