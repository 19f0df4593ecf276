#include "wavelarkctl/log_event.h"

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

TEST(LogEventTest, AJudgement) {
  const auto event = Parse<ClientJudged>(kJudged);
  EXPECT_EQ(event.address, kAddress);
  EXPECT_EQ(event.metric, 18);
  EXPECT_EQ(event.last_metric, 5);
  EXPECT_EQ(event.since_last_steer, 4min + 2100us);
}

TEST(LogEventTest, ASteerAndItsCommand) {
  const auto event = Parse<ClientSteered>(kSteered);
  EXPECT_EQ(event.address, kAddress);
  EXPECT_EQ(event.metric, 18);
  EXPECT_EQ(event.last_metric, 5);
  const auto sent = Parse<DisassociateSent>(kSent);
  EXPECT_EQ(sent.address, kAddress);
  EXPECT_EQ(sent.interface, "wlan-2400mhz");
  Parse<CommandLost>("Send to hostapd failed: Bad file descriptor (9)");
}

TEST(LogEventTest, TheSettingsAtTheStart) {
  const auto event = Parse<SteeringStarted>(kStarted);
  EXPECT_EQ(event.limits.lqm_floor, 30);
  EXPECT_EQ(event.limits.lqm_hysteresis, 15);
  EXPECT_EQ(event.limits.steer_interval, 10min);
  EXPECT_EQ(event.poll_interval, 1500ms);
}

TEST(LogEventTest, ClientsThatComeAndLeave) {
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

TEST(LogEventTest, TheRest) {
  Parse<DaemonStarted>("Starting the daemon");
  Parse<SteeringStopped>("Client Steer Stopped");
  EXPECT_EQ(Parse<ClientPruned>("Prune Station 02:11:22:33:44:55").address, kAddress);
  Parse<PollFailed>("Unable to get stations on interface: wlan-2400mhz");
  Parse<PollFailed>("Netlink error 2: Netlink response timeout");
}

TEST(LogEventTest, MessagesAboutSomethingElseAreNone) {
  for (const char* message :
       {"", " ", "Callback: 7 mac: 02:11:22:33:44:55", "Could not attach to hostapd",
        "EventCallback: wlan-2400mhz event: kStationAuth mac: 02:11:22:33:44:55",
        "EventCallback: wlan-2400mhz event: kHostapdStarted mac: ",
        "wlan-2400mhz Send Command : PING", "Prune Station nobody"}) {
    EXPECT_FALSE(ParseMessage(message).has_value()) << message;
  }
}

// A line may be cut anywhere, by a full disk or a machine that loses power. What is left must not
// be taken for another number or address. A cut within the digits of a number at the end can't be
// seen.
TEST(LogEventTest, CutMessagesAreNone) {
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

TEST(LogEventTest, NumbersThatDoNotFitAreNone) {
  EXPECT_FALSE(ParseMessage("Steer Client 02:11:22:33:44:55 link_quality_metric 256 "
                            "last_steer_link_quality_metric 5")
                   .has_value());
  EXPECT_FALSE(ParseMessage("Steer Client 02:11:22:33:44:55 link_quality_metric -1 "
                            "last_steer_link_quality_metric 5")
                   .has_value());
}

TEST(LogEventTest, ATimeSpanIsReadAsItIsWritten) {
  for (const platform::TimeSpan span :
       {platform::TimeSpan(0), platform::TimeSpan(1), platform::TimeSpan(-1),
        platform::TimeSpan(1h), platform::TimeSpan(-1h), platform::TimeSpan(59s),
        platform::TimeSpan(1h + 1us), platform::TimeSpan(25h + 59min + 59'999'999us),
        platform::SecondsToTimeSpan(2'147'483'647), platform::SecondsToTimeSpan(-2'147'483'648)}) {
    EXPECT_EQ(ParseTimeSpan(platform::FormatTimeSpan(span)), span);
  }
}

TEST(LogEventTest, OtherTextsAreNoTimeSpan) {
  for (const char* text :
       {"",         "-",     "s",      "1",   "h",    "60m",  "60s",
        "--1s",     "1m-1s", "-1m-1s", "1h1", "1s1s", "1m1h", "99999999999999999999h",
        "1000001h", "+1s",   " 1s",    "1 s", "1.s",  ".5s",  "1e3s"}) {
    EXPECT_EQ(ParseTimeSpan(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace orvane::wavelarkctl
