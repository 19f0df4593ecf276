// Client steering by the whole daemon, on a kernel whose stations the test controls.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "testbed/access_point.h"
#include "testbed/steering_access_point.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr char kStarted[] =
    " Client Steer Started  lqm_floor=30 steer_interval=2s poll_interval=1s lqm_hysteresis=15";
constexpr char kStopped[] = " Client Steer Stopped ";
constexpr char kWeakSteered[] =
    " Steer Client 02:00:00:00:00:01 link_quality_metric 18 last_steer_link_quality_metric 0";
constexpr char kWeakCommand[] = "DISASSOCIATE 02:00:00:00:00:01 reason=5";
// A link quality of 18, below every floor in these tests.
constexpr char kWeakAt2400[] = "wlan-2400mhz 02:00:00:00:00:01 -82";

// Slightly more than two polls.
constexpr milliseconds kSomePolls(2500);

class SteeringTest : public SteeringAccessPointTest {
 protected:
  // Returns the time since the last steer, in seconds, in each poll of a station so far.
  std::vector<double> TimesSinceLastSteer(const std::string& mac) {
    constexpr std::string_view kKey = " time since last steer ";
    std::vector<double> times;
    for (const std::string& text : ap_.LogTextsWith(mac + " link_quality_metric ")) {
      const std::size_t at = text.find(kKey);
      if (at != std::string::npos) times.push_back(std::stod(text.substr(at + kKey.size())));
    }
    return times;
  }

  // Waits for a poll of the first station more than `seconds` after the last steer.
  void ExpectPolledAfter(double seconds) {
    EXPECT_TRUE(WaitUntil([&] {
      const std::vector<double> times = TimesSinceLastSteer("02:00:00:00:00:01");
      return !times.empty() && times.back() > seconds;
    }));
  }
};

TEST_F(SteeringTest, WeakStationIsSteeredInTheFirstPollAfterTheInterval) {
  ap_.SetStations({kWeakAt2400});
  ap_.Start();
  ap_.wlan2400().ExpectCommand(kWeakCommand);
  ap_.ExpectLogged("INFO", kWeakSteered);
  // The poll that steered, and the earlier ones.
  std::vector<double> times = TimesSinceLastSteer("02:00:00:00:00:01");
  const std::vector<std::string> texts = ap_.LogTextsWith("02:00:00:00:00:01 link_quality_metric ");
  const auto steered = std::find(texts.begin(), texts.end(), kWeakSteered);
  times.resize(static_cast<std::size_t>(steered - texts.begin()));
  ASSERT_FALSE(times.empty());
  EXPECT_GT(times.back(), 2);
  for (std::size_t i = 0; i + 1 < times.size(); ++i) EXPECT_LE(times[i], 2) << i;
  EXPECT_THAT(ap_.LogTextsWith("Client Steer"), ElementsAre(kStarted));
  ap_.wlan5000().ExpectSilence(milliseconds(0));
}

TEST_F(SteeringTest, StationWithAnUnchangedMetricIsNotSteeredAgain) {
  ap_.SetStations({kWeakAt2400});
  ap_.Start();
  ap_.wlan2400().ExpectCommand(kWeakCommand);
  // After the steer, a poll shows the time since that steer.
  const std::size_t polls = TimesSinceLastSteer("02:00:00:00:00:01").size();
  EXPECT_TRUE(WaitUntil([&] { return TimesSinceLastSteer("02:00:00:00:00:01").size() > polls; }));
  ExpectPolledAfter(2);
  EXPECT_EQ(ap_.LogCount("INFO", kWeakSteered), 1U);
  ap_.wlan2400().ExpectSilence(milliseconds(0));
}

TEST_F(SteeringTest, OtherStationsAreNotSteered) {
  ap_.SetStations({
      "wlan-2400mhz 02:00:00:00:00:0a -50",                    // strong
      "wlan-2400mhz 02:00:00:00:00:0b -70",                    // at the floor
      "wlan-2400mhz 02:00:00:00:00:0c -85",                    // not above the hysteresis
      "wlan-2400mhz 02:00:00:00:00:0d -100",                   // not above the hysteresis either
      "wlan-2400mhz 02:00:00:00:00:0e -82 unauthorized",       //
      "wlan-2400mhz 02:00:00:00:00:0f -82 no-signal-average",  // counts as 100
      "wlan-2400mhz 02:00:00:00:00:10 -84",                    // weak enough
      "wlan-5000mhz 02:00:00:00:00:1a -50", "wlan-5000mhz 02:00:00:00:00:1b -85",
      "wlan-5000mhz 02:00:00:00:00:1c -71",  // weak enough
  });
  ap_.Start();
  ap_.wlan2400().ExpectCommand("DISASSOCIATE 02:00:00:00:00:10 reason=5");
  ap_.wlan5000().ExpectCommand("DISASSOCIATE 02:00:00:00:00:1c reason=5");
  ap_.ExpectLoggedWith(" Steer Client ", 2);
  EXPECT_THAT(
      ap_.LogTextsWith(" Steer Client "),
      UnorderedElementsAre(
          " Steer Client 02:00:00:00:00:10 link_quality_metric 16 last_steer_link_quality_metric 0",
          " Steer Client 02:00:00:00:00:1c link_quality_metric 29 last_steer_link_quality_metric "
          "0"));
  EXPECT_THAT(TimesSinceLastSteer("02:00:00:00:00:0e"), IsEmpty());
  ap_.ExpectLoggedWith(
      "02:00:00:00:00:0f link_quality_metric 100 last_steer_link_quality_metric 0 ");
  ap_.wlan2400().ExpectSilence(milliseconds(0));
  ap_.wlan5000().ExpectSilence(milliseconds(0));
}

TEST_F(SteeringTest, StationIsSteeredFromItsCurrentInterface) {
  ap_.SetStations({kWeakAt2400});
  ap_.Start();
  ap_.ExpectLoggedWith("02:00:00:00:00:01 link_quality_metric 18 ");
  ap_.SetStations({"wlan-5000mhz 02:00:00:00:00:01 -80"});
  ap_.wlan5000().ExpectCommand(kWeakCommand);
  ap_.ExpectLogged("INFO",
                   " Steer Client 02:00:00:00:00:01 link_quality_metric 20 "
                   "last_steer_link_quality_metric 0");
  ap_.wlan2400().ExpectSilence(milliseconds(0));
}

TEST_F(SteeringTest, ChildUsesItsOwnFloor) {
  ap_.SetStations({"wlan-2400mhz 02:00:00:00:00:01 -65"});
  ap_.Start({"--enable_client_steering", "--nois_root", "--client_steering_child_lqm_floor=297"});
  ap_.wlan2400().ExpectCommand(kWeakCommand);
  EXPECT_EQ(ap_.LogTextsWith("Client Steer Started").front(),
            " Client Steer Started  lqm_floor=41 steer_interval=2s poll_interval=1s "
            "lqm_hysteresis=15");
}

TEST_F(SteeringTest, FloorIsTruncatedToEightBits) {
  ap_.SetStations({});
  ap_.Start({"--enable_client_steering", "--client_steering_root_lqm_floor=300",
             "--client_steering_interval=600", "--client_steering_lqm_hysteresis=257"});
  ap_.ExpectLogged("INFO",
                   " Client Steer Started  lqm_floor=44 steer_interval=10m poll_interval=1s "
                   "lqm_hysteresis=1");
}

TEST_F(SteeringTest, NegativeIntervalIsAccepted) {
  ap_.SetStations({});
  ap_.Start({"--enable_client_steering", "--client_steering_interval=-5"});
  ap_.ExpectLogged("INFO",
                   " Client Steer Started  lqm_floor=30 steer_interval=-5s poll_interval=1s "
                   "lqm_hysteresis=15");
}

TEST_F(SteeringTest, UnknownInterfaceEndsThePass) {
  ap_.SetKernel({"wlan-5000mhz 02:00:00:00:00:01 -82"});
  ap_.Start();
  ap_.ExpectLogged("WARNING", "Unable to get stations on interface: wlan-2400mhz", 4);
  EXPECT_THAT(ap_.LogTextsWith("02:00:00:00:00:01"), IsEmpty());
  // The interface exists now, and steering continues.
  ap_.SetStations({"wlan-5000mhz 02:00:00:00:00:01 -82"});
  ap_.wlan5000().ExpectCommand(kWeakCommand);
}

TEST_F(SteeringTest, UnknownSecondInterfaceDoesNotAffectTheFirst) {
  ap_.SetKernel({kWeakAt2400});
  ap_.Start();
  ap_.wlan2400().ExpectCommand(kWeakCommand);
  ap_.ExpectLogged("WARNING", "Unable to get stations on interface: wlan-5000mhz", 3);
  EXPECT_EQ(ap_.LogCount("WARNING", "Unable to get stations on interface: wlan-2400mhz"), 0U);
}

// Steering starts before the upload. The end switches neither of them off.
TEST_F(SteeringTest, StartsInOrderAndEndsSilently) {
  ap_.SetStations({});
  ap_.Start();
  ap_.Settle(ap_.wlan2400());
  ap_.Settle(ap_.wlan5000());
  ap_.ExpectQuickExit(SIGTERM);
  ap_.wlan2400().ExpectCommand("DETACH");
  ap_.wlan5000().ExpectCommand("DETACH");
  std::vector<std::string> lines = ap_.LogTexts("INFO");
  std::erase_if(lines, [](const std::string& text) { return text.find("SETTLE") != text.npos; });
  EXPECT_THAT(lines,
              ElementsAre("Starting the daemon", kStarted, " Connection event upload enabled "));
}

TEST_F(SteeringTest, IsOffByDefault) {
  ap_.SetStations({kWeakAt2400});
  ap_.Start({});
  ap_.wlan2400().ExpectSilence(kSomePolls);
  EXPECT_THAT(ap_.LogTextsWith("Client Steer"), IsEmpty());
  EXPECT_THAT(ap_.LogTextsWith("link_quality_metric"), IsEmpty());
}

class SteeringFlagsTest : public SteeringTest {
 protected:
  void StartWith(const FlagMap& flags, const Arguments& arguments = {}) {
    ap_.StartBus();
    ap_.StartFlags(flags);
    ap_.Launch(arguments);
    ap_.ExpectReady();
  }
};

TEST_F(SteeringFlagsTest, SwitchSteeringOnAndOff) {
  ap_.SetStations({kWeakAt2400});
  StartWith({{"clientSteering", "disabled"}, {"connectionEventsProbeReqUpload", "0"}});
  // It has read the flags. An earlier change would be read twice.
  ap_.ExpectLogged("INFO", "Set probe_req_event_upload to 0");
  ap_.SetFlags({{"clientSteering", "Enabled"}, {"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", "Set connection_event_upload to 1");
  ap_.SetFlags({{"clientSteering", "enabled"}});
  ap_.ExpectLogged("INFO", kStarted);
  ap_.wlan2400().ExpectCommand(kWeakCommand);
  ap_.SetFlags({{"clientSteering", "disabled"}});
  ap_.ExpectLogged("INFO", kStopped);
  const std::size_t polls = TimesSinceLastSteer("02:00:00:00:00:01").size();
  ap_.wlan2400().ExpectSilence(kSomePolls);
  // A pass that was running when the service was switched off ends normally.
  EXPECT_LE(TimesSinceLastSteer("02:00:00:00:00:01").size(), polls + 1);
  // It has forgotten the station, so it steers it once more.
  ap_.SetFlags({{"clientSteering", "enabled"}});
  ap_.wlan2400().ExpectCommand(kWeakCommand);
  EXPECT_THAT(ap_.LogTexts("INFO"),
              ElementsAre("Starting the daemon", " Connection event upload enabled ",
                          "Set probe_req_event_upload to 0", "Set connection_event_upload to 1",
                          kStarted, kWeakSteered, kStopped, kStarted, kWeakSteered));
}

TEST_F(SteeringFlagsTest, SetTheFloor) {
  ap_.SetStations({"wlan-2400mhz 02:00:00:00:00:01 -60"});  // 40
  StartWith({{"clientSteeringChildLqmFloor", "90"}}, {"--enable_client_steering"});
  ExpectPolledAfter(2);
  EXPECT_THAT(ap_.LogTextsWith(" Steer Client "), IsEmpty());
  ap_.SetFlags({{"clientSteeringRootLqmFloor", "300"}});  // 44
  ap_.wlan2400().ExpectCommand(kWeakCommand);
}

TEST_F(SteeringFlagsTest, SetTheHysteresis) {
  ap_.SetStations({kWeakAt2400});
  StartWith({{"clientSteeringLqmHysteresis", "18"}}, {"--enable_client_steering"});
  ExpectPolledAfter(2);
  EXPECT_THAT(ap_.LogTextsWith(" Steer Client "), IsEmpty());
  ap_.SetFlags({{"clientSteeringLqmHysteresis", "273"}});  // 17
  ap_.wlan2400().ExpectCommand(kWeakCommand);
}

TEST_F(SteeringFlagsTest, SetTheIntervals) {
  ap_.SetStations({kWeakAt2400});
  StartWith({}, {"--enable_client_steering", "--client_steering_interval=600"});
  ExpectPolledAfter(2);
  EXPECT_THAT(ap_.LogTextsWith(" Steer Client "), IsEmpty());
  ap_.SetFlags({{"clientSteeringInterval", "1"}, {"clientSteeringPollInterval", "600"}});
  ap_.wlan2400().ExpectCommand(kWeakCommand);
  // Either the poll that steered or the next one is the last for ten minutes.
  EXPECT_TRUE(WaitUntil([&] { return ap_.LogCount("INFO", kWeakSteered) == 1; }));
  const std::size_t polls = TimesSinceLastSteer("02:00:00:00:00:01").size();
  ap_.wlan2400().ExpectSilence(kSomePolls);
  EXPECT_LE(TimesSinceLastSteer("02:00:00:00:00:01").size(), polls + 1);
}

// Without verbose lines, since each pass would log some.
TEST_F(SteeringFlagsTest, NegativePollIntervalDoesNotBlockTheLoop) {
  ap_.SetStations({kWeakAt2400});
  StartWith({}, {"--enable_client_steering", "--client_steering_poll_interval=-1", "--v=0"});
  ap_.wlan2400().ExpectCommand(kWeakCommand);
  ap_.Settle(ap_.wlan2400());
  ap_.Settle(ap_.wlan5000());
  ap_.SetFlags({{"connectionEventsUpload", "1"}});
  ap_.ExpectLogged("INFO", "Set connection_event_upload to 1");
  ap_.ExpectQuickExit(SIGTERM);
}

struct NotANumber {
  const char* key;
  const char* value;

  friend std::ostream& operator<<(std::ostream& stream, const NotANumber& flag) {
    return stream << flag.key << "=" << flag.value;
  }
};

class MalformedSteeringFlagTest : public SteeringFlagsTest,
                                  public ::testing::WithParamInterface<NotANumber> {};

// Even while steering is off.
TEST_P(MalformedSteeringFlagTest, EndsTheProcess) {
  ap_.SetStations({});
  ap_.StartBus();
  ap_.StartFlags({{GetParam().key, GetParam().value}});
  ap_.Launch({});
  ap_.ExpectAbort("stoi");
}

INSTANTIATE_TEST_SUITE_P(Flag, MalformedSteeringFlagTest,
                         ::testing::Values(NotANumber{"clientSteeringInterval", "abc"},
                                           NotANumber{"clientSteeringPollInterval", ""},
                                           NotANumber{"clientSteeringRootLqmFloor", "2147483648"},
                                           NotANumber{"clientSteeringChildLqmFloor", "-2147483649"},
                                           NotANumber{"clientSteeringLqmHysteresis", "x15"}),
                         [](const auto& param_info) {
                           return "Case" + std::to_string(param_info.index);
                         });

TEST_F(SteeringTest, StationWithoutARateEndsTheProcess) {
  ap_.SetStations({"wlan-2400mhz 02:00:00:00:00:01 -50 no-rx-bitrate"});
  ap_.Start();
  ap_.ExpectAbort(
      "Check failed: station_information_->ConstGetNestedAttributeList( "
      "NL80211_STA_INFO_RX_BITRATE, &rx_rate_information_)");
}

TEST_F(SteeringTest, StationWithoutARateIsSkipped) {
  ap_.SkipIncompleteStations();
  ap_.SetStations({"wlan-2400mhz 02:00:00:00:00:02 -82 no-rx-bitrate", kWeakAt2400});
  ap_.Start();
  ap_.wlan2400().ExpectCommand(kWeakCommand);
  ap_.ExpectLogged("VERBOSE1", "Skip incomplete station 02:00:00:00:00:02", 2);
  EXPECT_THAT(ap_.LogTextsWith("02:00:00:00:00:02 link_quality_metric"), IsEmpty());
  ap_.ExpectQuickExit(SIGTERM);
}

}  // namespace
}  // namespace orvane::testbed
