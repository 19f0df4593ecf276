#include "optimizer/client_steer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulation/message_builder.h"
#include "testbed/steering_world.h"

namespace orvane::ap {
namespace {

using testbed::SteeringWorld;

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace std::chrono_literals;

constexpr auto k2400 = SteeringWorld::k2400;
constexpr auto k5000 = SteeringWorld::k5000;

std::string Mac(int number) { return SteeringWorld::Mac(number); }

std::string Steered(const std::string& interface, int number) {
  return SteeringWorld::Steered(interface, number);
}

class ClientSteerTest : public ::testing::Test {
 protected:
  // Runs no pass yet: the first one starts a poll interval later.
  void Start() {
    world_.steer->Enable();
    world_.TakeLog();
  }
  void Passes(int count) { world_.Pass(count * std::chrono::minutes(1)); }

  SteeringWorld world_;
};

TEST_F(ClientSteerTest, IsNamedAndSwitchedByItsFlag) {
  EXPECT_EQ(world_.steer->name(), "clientSteering");
}

TEST_F(ClientSteerTest, NothingHappensUntilItIsStarted) {
  world_.Join(k2400, 1, -90);
  world_.Pass(24h);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(1));  // the family request
}

TEST_F(ClientSteerTest, EachLineHasItsSeverity) {
  std::vector<platform::Severity> severities;
  const platform::LogListener listener([&](platform::Severity severity, std::string_view text) {
    EXPECT_THAT(text, ::testing::Not(IsEmpty()));
    severities.push_back(severity);
  });
  const auto expect_next = [&](const std::vector<platform::Severity>& expected) {
    EXPECT_EQ(std::exchange(severities, {}), expected);
  };
  using enum platform::Severity;
  world_.Join(k2400, 1, -80);
  world_.steer->Configure(600, 60, 30, 15);
  world_.steer->Enable();
  expect_next({kInfo, kInfo});
  Passes(11);
  expect_next(std::vector<platform::Severity>(10, kVerbose));
  Passes(1);
  expect_next({kVerbose, kInfo});
  world_.Leave(k2400, 1);
  Passes(21);
  expect_next({kVerbose});
  world_.kernel.FailNextRequest(ENODEV);
  Passes(1);
  expect_next({kWarning});
  world_.kernel.RemoveInterface(k2400);
  Passes(1);
  expect_next({kWarning});
  world_.steer->Disable();
  expect_next({kInfo});
}

TEST_F(ClientSteerTest, StartAndStopAreLogged) {
  world_.TakeLog();
  world_.steer->Enable();
  world_.steer->Disable();
  EXPECT_THAT(world_.TakeLog(),
              ElementsAre(" Client Steer Started  lqm_floor=30 steer_interval=10m "
                          "poll_interval=1m lqm_hysteresis=15",
                          " Client Steer Stopped "));
}

TEST_F(ClientSteerTest, TheFirstPassComesOnePollIntervalAfterTheStart) {
  Start();
  world_.Pass(59'999'999us);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(1));
  world_.Pass(1us);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(3));
  world_.Pass(60s);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(5));
}

TEST_F(ClientSteerTest, APassByHandStartsThePollIntervalOver) {
  Start();
  world_.Pass(30s);
  world_.steer->CheckAndSteer();
  world_.Pass(0s);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(3));
  world_.Pass(59s);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(3));
  world_.Pass(1s);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(5));
}

TEST_F(ClientSteerTest, APoorStationIsSteeredAfterMoreThanOneInterval) {
  world_.Join(k2400, 1, -80);
  Start();
  Passes(11);  // placed in the first; ten minutes later is not more than ten minutes
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
  world_.TakeLog();
  Passes(1);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k2400, 1)));
  EXPECT_THAT(world_.TakeLog(),
              ElementsAre(Mac(1) + " link_quality_metric 20 last_steer_link_quality_metric 0 time "
                                   "since last steer 11m",
                          " Steer Client " + Mac(1) +
                              " link_quality_metric 20 last_steer_link_quality_metric 0"));
}

TEST_F(ClientSteerTest, TheFirstSightOfAStationIsSilent) {
  world_.Join(k2400, 1, -90);
  Start();
  Passes(1);
  EXPECT_THAT(world_.TakeLog(), IsEmpty());
}

TEST_F(ClientSteerTest, AnySignalOutOfTheRangeIsClamped) {
  for (const int signal : {-101, -100, 0, 5}) world_.Join(k5000, signal + 200, signal);
  Start();
  Passes(2);
  EXPECT_THAT(
      world_.TakeLog(),
      ElementsAre(
          Mac(99) +
              " link_quality_metric 0 last_steer_link_quality_metric 0 time since last steer 1m",
          Mac(100) +
              " link_quality_metric 0 last_steer_link_quality_metric 0 time since last steer 1m",
          Mac(200) +
              " link_quality_metric 100 last_steer_link_quality_metric 0 time since last steer 1m",
          Mac(205) +
              " link_quality_metric 100 last_steer_link_quality_metric 0 time since last steer "
              "1m"));
}

TEST_F(ClientSteerTest, AMissingSignalCountsAsPerfect) {
  world_.Join(k2400, 1, -90).signal_average.reset();
  Start();
  Passes(30);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
  EXPECT_THAT(world_.TakeLog().back(), ::testing::HasSubstr(" link_quality_metric 100 "));
}

TEST_F(ClientSteerTest, AMetricNotAboveTheHysteresisIsNeverSteeredFirst) {
  world_.Join(k2400, 1, -97);
  world_.Join(k2400, 2, -85);  // 15: equal
  Start();
  Passes(60);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
}

TEST_F(ClientSteerTest, AMetricAtTheFloorIsNotSteered) {
  world_.Join(k2400, 1, -70);
  world_.Join(k2400, 2, -71);
  Start();
  Passes(12);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k2400, 2)));
}

TEST_F(ClientSteerTest, ASecondSteerNeedsAChangeAndAnotherInterval) {
  world_.Join(k2400, 1, -75);
  Start();
  Passes(12);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k2400, 1)));
  Passes(30);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty()) << "the metric is what it was";
  world_.SetSignal(k2400, 1, -90);  // from 25 to 10: equal to the hysteresis
  Passes(1);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
  world_.SetSignal(k2400, 1, -91);
  Passes(1);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k2400, 1)));
  world_.SetSignal(k2400, 1, -71);  // 29
  Passes(10);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty()) << "not more than the interval yet";
  world_.TakeLog();
  Passes(1);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k2400, 1)));
  EXPECT_THAT(world_.TakeLog(" Steer Client "),
              ElementsAre(" Steer Client " + Mac(1) +
                          " link_quality_metric 29 last_steer_link_quality_metric 9"));
}

TEST_F(ClientSteerTest, AMoveRestartsTheGraceAndKeepsTheMemoryOfEachInterface) {
  world_.Join(k2400, 1, -80);
  Start();
  Passes(12);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k2400, 1)));

  world_.Leave(k2400, 1);
  world_.Join(k5000, 1, -80);
  Passes(11);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
  Passes(1);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k5000, 1)));

  world_.Leave(k5000, 1);
  world_.Join(k2400, 1, -82);
  world_.TakeLog();
  Passes(2);
  EXPECT_THAT(world_.TakeLog(),
              ElementsAre(Mac(1) + " link_quality_metric 18 last_steer_link_quality_metric 20 time "
                                   "since last steer 1m"));
  Passes(60);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty()) << "as it was when it was steered from here";
}

TEST_F(ClientSteerTest, AStationOnBothInterfacesMovesWithEachDump) {
  world_.Join(k2400, 1, -80);
  world_.Join(k5000, 1, -80);
  Start();
  Passes(60);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
  EXPECT_THAT(world_.TakeLog(), IsEmpty());
}

TEST_F(ClientSteerTest, StationsThatAreNotAuthorizedAreNotTracked) {
  world_.Join(k2400, 1, -80).flags = ~(1U << 1);
  Start();
  Passes(60);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
  EXPECT_THAT(world_.TakeLog(), IsEmpty());
}

TEST_F(ClientSteerTest, AStationThatLosesItsAuthorizationIsNotRefreshed) {
  world_.Join(k2400, 1, -50);
  Start();
  Passes(2);
  world_.kernel.Stations(k2400).front().flags = 0;
  world_.TakeLog();
  Passes(20);
  EXPECT_THAT(world_.TakeLog(), IsEmpty());
  Passes(1);
  EXPECT_THAT(world_.TakeLog(), ElementsAre("Prune Station " + Mac(1)));
}

TEST_F(ClientSteerTest, AStationIsForgottenAfterMoreThanTwoIntervalsUnseen) {
  world_.Join(k2400, 1, -50);
  world_.Join(k5000, 2, -50);
  Start();
  Passes(2);
  world_.Leave(k2400, 1);
  world_.TakeLog();
  Passes(20);
  EXPECT_THAT(world_.TakeLog("Prune"), IsEmpty());
  Passes(1);
  EXPECT_THAT(world_.TakeLog("Prune"), ElementsAre("Prune Station " + Mac(1)));
  Passes(60);
  EXPECT_THAT(world_.TakeLog("Prune"), IsEmpty());
}

TEST_F(ClientSteerTest, PruningGoesInOrderOfAddresses) {
  for (const int number : {3, 1, 2}) world_.Join(k2400, number, -50);
  Start();
  Passes(1);
  world_.kernel.Stations(k2400).clear();
  Passes(30);
  EXPECT_THAT(
      world_.TakeLog("Prune"),
      ElementsAre("Prune Station " + Mac(1), "Prune Station " + Mac(2), "Prune Station " + Mac(3)));
}

// Twice the longest interval never passes. Twice the shortest one always has.
TEST(ClientSteerPruneTest, TwiceTheIntervalDoesNotOverflow) {
  const struct {
    platform::TimeSpan interval;
    std::size_t pruned;
  } kRows[] = {{platform::TimeSpan::max(), 0}, {platform::TimeSpan::min(), 1}};
  for (const auto& row : kRows) {
    ClientSteerSettings settings = SteeringWorld::DefaultSettings();
    settings.steer_interval = row.interval;
    SteeringWorld world(settings);
    world.Join(k2400, 1, -50);
    world.steer->Enable();
    world.Pass(1min);
    world.Leave(k2400, 1);
    world.Pass(24h);
    EXPECT_THAT(world.TakeLog("Prune Station "), SizeIs(row.pruned));
  }
}

TEST_F(ClientSteerTest, AnUnknownInterfaceEndsThePassWithoutPruning) {
  world_.Join(k2400, 1, -50);
  Start();
  Passes(1);
  world_.kernel.Stations(k2400).clear();
  world_.kernel.RemoveInterface(k5000);
  Passes(60);
  std::vector<std::string> lines(60, "Unable to get stations on interface: wlan-5000mhz");
  EXPECT_EQ(world_.TakeLog(), lines);
  world_.kernel.RemoveInterface(k2400);
  const std::size_t requests = world_.kernel.requests().size();
  Passes(1);
  EXPECT_THAT(world_.TakeLog(), ElementsAre("Unable to get stations on interface: wlan-2400mhz"));
  EXPECT_EQ(world_.kernel.requests().size(), requests);
  world_.kernel.AddInterface(k2400, 3);
  world_.kernel.AddInterface(k5000, 4);
  Passes(1);
  EXPECT_THAT(world_.TakeLog(), ElementsAre("Prune Station " + Mac(1)));
}

TEST_F(ClientSteerTest, AFailedDumpIsLoggedAndThePassGoesOn) {
  world_.Join(k5000, 1, -80);
  Start();
  for (int pass = 0; pass < 12; ++pass) {
    world_.kernel.FailNextRequest(ENODEV);
    Passes(1);
  }
  EXPECT_THAT(world_.TakeLog("Netlink error"), SizeIs(12));
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k5000, 1)));
}

TEST_F(ClientSteerTest, StationsBeforeADumpFailureCount) {
  for (int number = 1; number <= 3; ++number) world_.Join(k2400, number, -80);
  world_.Join(k5000, 4, -80);
  Start();
  for (int pass = 0; pass < 12; ++pass) {
    world_.kernel.FailNextDumpAfter(2, EIO);
    Passes(1);
  }
  EXPECT_THAT(world_.TakeCommands(),
              ElementsAre(Steered(k2400, 1), Steered(k2400, 2), Steered(k5000, 4)));
  EXPECT_THAT(world_.TakeLog("Netlink error 5: "), SizeIs(12));
}

TEST_F(ClientSteerTest, ASilentKernelCostsATimeOutForEachInterface) {
  Start();
  world_.kernel.SetSilent(true);
  Passes(1);
  world_.TakeLog();
  world_.Pass(4'999'999us);
  EXPECT_THAT(world_.TakeLog(), IsEmpty());
  world_.Pass(1us);
  EXPECT_THAT(world_.TakeLog("Netlink error"),
              ElementsAre("Netlink error 2: Netlink response timeout"));
  world_.Pass(5s);
  EXPECT_THAT(world_.TakeLog("Netlink error"),
              ElementsAre("Netlink error 2: Netlink response timeout"));
  world_.Pass(45s);
  EXPECT_THAT(world_.TakeLog("Netlink error"), IsEmpty());
}

// From the fifth second on, each time-out moves the pass to the second interface.
TEST_F(ClientSteerTest, ASilentKernelGetsADumpInEachPollInterval) {
  world_.steer->OnFlagChanged("clientSteeringPollInterval", "1");
  Start();
  world_.TakeLog();
  world_.kernel.SetSilent(true);
  const std::size_t begin = world_.kernel.requests().size();
  const auto dumps_of = [&](const char* interface) {
    const auto attributes =
        simulation::AttributeBuilder()
            .U32(NL80211_ATTR_IFINDEX, world_.kernel.GetInterfaceIndex(interface))
            .bytes();
    const std::span requests(world_.kernel.requests());
    return std::ranges::count(requests.subspan(begin), attributes,
                              &simulation::FakeKernel::Request::attributes);
  };
  for (int second = 1; second <= 20; ++second) {
    world_.Pass(1s);
    EXPECT_EQ(dumps_of(k2400), second);
    EXPECT_EQ(dumps_of(k5000), std::max(0, second - 5));
  }
  const std::vector<std::string> log = world_.TakeLog();
  EXPECT_THAT(log, SizeIs(15 + 10)) << "a line for each dump that is five seconds old";
  EXPECT_THAT(log, ::testing::Each("Netlink error 2: Netlink response timeout"));
}

TEST_F(ClientSteerTest, AKernelThatWasSilentIsPolledInTheNextPollInterval) {
  world_.steer->OnFlagChanged("clientSteeringPollInterval", "1");
  world_.Join(k2400, 1, -50);
  Start();
  world_.kernel.SetSilent(true);
  world_.Pass(3s);
  world_.kernel.SetSilent(false);
  world_.Pass(2s);
  EXPECT_THAT(world_.TakeLog(" link_quality_metric "), SizeIs(1));
}

TEST_F(ClientSteerTest, AnUnexpectedMessageDoesNotDelayTheNextPass) {
  world_.steer->OnFlagChanged("clientSteeringPollInterval", "1");
  Start();
  world_.kernel.SetSilent(true);
  world_.Pass(1s);
  const simulation::MessageHeader to = world_.kernel.requests().back().header;
  world_.kernel.Deliver(simulation::MakeNetlinkMessage({99, 0, to.sequence, to.port}, {}));
  world_.kernel.SetSilent(false);
  world_.TakeLog();
  const std::size_t requests = world_.kernel.requests().size();
  world_.Pass(999'999us);
  EXPECT_THAT(world_.TakeLog(), ElementsAre("Unexpected message received: type 99"));
  EXPECT_EQ(world_.kernel.requests().size(), requests) << "none for the second interface";
  world_.Pass(1us);
  EXPECT_EQ(world_.kernel.requests().size(), requests + 2);
}

// Passes run once a second at most, so that their lines do not fill the log.
TEST_F(ClientSteerTest, APollIntervalOfZeroOrLessIsOneSecond) {
  for (const char* interval : {"0", "-3"}) {
    world_.steer->OnFlagChanged("clientSteeringPollInterval", interval);
    world_.steer->Enable();
    const std::size_t requests = world_.kernel.requests().size();
    world_.Pass(999'999us);
    EXPECT_EQ(world_.kernel.requests().size(), requests);
    world_.Pass(1us);
    EXPECT_EQ(world_.kernel.requests().size(), requests + 2);
    world_.Pass(10s);
    EXPECT_EQ(world_.kernel.requests().size(), requests + 22);
    world_.steer->Disable();
  }
}

TEST_F(ClientSteerTest, MoreDumpsThanThereAreSocketsCostTwoLinesEach) {
  world_.steer->OnFlagChanged("clientSteeringPollInterval", "0");
  Start();
  world_.kernel.SetSilent(true);
  for (std::size_t i = 0; i < platform::NetlinkManager::kMaxConnections; ++i) {
    world_.steer->CheckAndSteer();
  }
  world_.TakeLog();
  world_.Pass(1s);
  EXPECT_THAT(world_.TakeLog(), ElementsAre("Too many netlink requests are under way",
                                            "Netlink error 1: Unknown Netlink error",
                                            "Too many netlink requests are under way",
                                            "Netlink error 1: Unknown Netlink error"));
}

TEST_F(ClientSteerTest, AnUnexpectedMessageStallsThePassAndTheNextOneBeginsAnew) {
  Start();
  world_.kernel.SetSilent(true);
  Passes(1);
  world_.TakeLog();
  const simulation::MessageHeader to = world_.kernel.requests().back().header;
  world_.kernel.Deliver(simulation::MakeNetlinkMessage({99, 0, to.sequence, to.port}, {}));
  world_.Pass(58s);
  EXPECT_THAT(world_.TakeLog(), ElementsAre("Unexpected message received: type 99"));
  EXPECT_THAT(world_.kernel.requests(), SizeIs(2)) << "none for the second interface";
  world_.kernel.SetSilent(false);
  world_.Join(k2400, 1, -50);
  const std::size_t requests = world_.kernel.requests().size();
  world_.Pass(2s);
  EXPECT_EQ(world_.kernel.requests().size(), requests + 2);
  Passes(1);
  EXPECT_THAT(world_.TakeLog(" link_quality_metric "), SizeIs(1));
}

TEST_F(ClientSteerTest, AnOverlappingPassStartsOverAndBothAdvanceTheCursor) {
  world_.steer->OnFlagChanged("clientSteeringPollInterval", "2");
  world_.Join(k2400, 1, -50);
  world_.Join(k5000, 2, -50);
  Start();
  world_.kernel.SetHolding(true);
  world_.Pass(4s);  // two passes, each with a dump of the first interface
  world_.TakeLog();
  world_.kernel.SetHolding(false);
  world_.Pass(0s);
  // The end of the earlier dump moves the cursor to the second interface, so the stations of the
  // later dump are placed there. Its end moves the cursor past the last interface, and the dump of
  // the second interface places its stations there.
  EXPECT_THAT(world_.TakeLog(), IsEmpty());
  world_.Pass(2s);
  EXPECT_THAT(world_.TakeLog(), IsEmpty()) << "both stations are back";
  world_.Pass(2s);
  EXPECT_THAT(world_.TakeLog(), SizeIs(2)) << "each station at its own interface again";
}

TEST_F(ClientSteerTest, AStationThatIsOnlySeenLateIsTracked) {
  world_.steer->OnFlagChanged("clientSteeringPollInterval", "2");
  world_.steer->OnFlagChanged("clientSteeringInterval", "10");
  Start();
  world_.kernel.SetHolding(true);
  world_.Pass(4s);
  world_.Join(k5000, 2, -50);
  world_.kernel.SetHolding(false);
  world_.Pass(0s);
  world_.Leave(k5000, 2);
  world_.Pass(60s);
  EXPECT_THAT(world_.TakeLog(), ElementsAre("Prune Station 02:00:00:00:00:02"));
}

// A late reply counts as an arrival, after which a station is not steered for a steer interval.
TEST_F(ClientSteerTest, AStationThatIsSeenLateStartsItsIntervalAnew) {
  world_.Join(k5000, 2, -80);
  Start();
  Passes(9);
  world_.kernel.SetHolding(true);
  Passes(1);
  world_.steer->CheckAndSteer();
  world_.kernel.SetHolding(false);
  world_.Pass(0s);
  Passes(11);  // back at its interface in the first pass, which counts as an arrival
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
  Passes(1);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(SteeringWorld::Steered(k5000, 2)));
}

// Placed past the last interface twice in a row: there is no metric for that position.
TEST_F(ClientSteerTest, AStationPastTheLastInterfaceIsNeverSteeredThere) {
  world_.steer->OnFlagChanged("clientSteeringInterval", "40");
  world_.Join(k5000, 2, -80);
  Start();
  for (int round = 0; round < 3; ++round) {
    world_.TakeLog();
    world_.kernel.SetHolding(true);
    Passes(1);
    world_.steer->CheckAndSteer();
    world_.kernel.SetHolding(false);
    world_.Pass(0s);
    EXPECT_THAT(world_.TakeLog(), IsEmpty());
  }
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
}

TEST_F(ClientSteerTest, LateStationsDisturbNoLaterPass) {
  world_.steer->OnFlagChanged("clientSteeringPollInterval", "1");
  for (int number = 1; number <= 100; ++number) world_.Join(k2400, number, -90);
  for (int number = 1; number <= 100; ++number) world_.Join(k5000, number, -90);
  Start();
  for (int round = 0; round < 50; ++round) {
    world_.kernel.SetHolding(true);
    world_.Pass(std::chrono::seconds(round % 5));
    world_.kernel.SetHolding(false);
    world_.Pass(1s);
  }
  EXPECT_THAT(world_.TakeLog("Netlink error"), IsEmpty());
}

// Formats one judgement: poll, interface, address, metrics, time, verdict.
std::string ToText(const StationJudgement& judgement, platform::WallTime now) {
  const SteerInputs& inputs = judgement.inputs;
  return fmt::format("{} {} {} {} {} {} {}", (now - platform::WallTime(1'000'000'000s)) / 1min,
                     judgement.interface, judgement.mac_address.ToString(),
                     inputs.link_quality_metric, inputs.last_steer_link_quality_metric,
                     inputs.since_last_steer / 1min, static_cast<int>(judgement.verdict));
}

TEST_F(ClientSteerTest, AnObserverSeesEachJudgementAlsoOfNewStations) {
  world_.steer->OnFlagChanged("clientSteeringInterval", "60");
  std::vector<std::string> seen;
  world_.steer->SetObserver([&](const StationJudgement& judgement) {
    EXPECT_THAT(world_.hostapd.commands, IsEmpty()) << "the command follows";
    seen.push_back(ToText(judgement, world_.loop.Now()));
  });
  world_.Join(k2400, 1, -80);
  world_.Join(k5000, 2, -50).flags = 0;
  Start();
  Passes(3);
  EXPECT_THAT(world_.TakeCommands(), SizeIs(1));
  Passes(1);
  world_.Leave(k2400, 1);
  world_.Join(k5000, 1, -70);
  Passes(1);
  EXPECT_THAT(seen, ElementsAre("1 wlan-2400mhz 02:00:00:00:00:01 20 0 0 0",
                                "2 wlan-2400mhz 02:00:00:00:00:01 20 0 1 3",
                                "3 wlan-2400mhz 02:00:00:00:00:01 20 0 2 4",
                                "4 wlan-2400mhz 02:00:00:00:00:01 20 20 1 2",
                                "5 wlan-5000mhz 02:00:00:00:00:01 30 0 0 0"));
}

TEST_F(ClientSteerTest, AnObserverThatEndsSeesNoMore) {
  int judgements = 0;
  world_.steer->SetObserver([&judgements](const StationJudgement&) { ++judgements; });
  world_.Join(k2400, 1, -80);
  Start();
  Passes(1);
  world_.steer->SetObserver(nullptr);
  Passes(12);
  EXPECT_EQ(judgements, 1);
  EXPECT_THAT(world_.TakeCommands(), SizeIs(1));
}

// These stations have no interface name.
TEST_F(ClientSteerTest, AnObserverDoesNotSeeStationsPastTheLastInterface) {
  std::vector<std::string> interfaces;
  world_.steer->SetObserver(
      [&](const StationJudgement& judgement) { interfaces.push_back(judgement.interface); });
  world_.Join(k5000, 2, -80);
  Start();
  world_.kernel.SetHolding(true);
  Passes(1);
  world_.steer->CheckAndSteer();
  world_.kernel.SetHolding(false);
  world_.Pass(0s);
  EXPECT_THAT(interfaces, IsEmpty());
  Passes(1);
  EXPECT_THAT(interfaces, ElementsAre(k5000));
}

TEST_F(ClientSteerTest, AStopInTheMiddleOfAPassLetsItEnd) {
  world_.Join(k2400, 1, -80);
  world_.Join(k5000, 2, -80);
  Start();
  Passes(11);
  world_.kernel.SetHolding(true);
  Passes(1);
  world_.steer->Disable();
  world_.TakeLog();
  std::size_t requests = world_.kernel.requests().size();
  world_.kernel.SetHolding(false);
  world_.Pass(0s);
  EXPECT_EQ(world_.kernel.requests().size(), ++requests) << "on to the second interface";
  EXPECT_THAT(world_.TakeCommands(), IsEmpty()) << "the stations are new to it";
  Passes(60);
  EXPECT_EQ(world_.kernel.requests().size(), requests);
}

TEST_F(ClientSteerTest, AStopForgetsTheStations) {
  world_.Join(k2400, 1, -80);
  Start();
  Passes(12);
  EXPECT_THAT(world_.TakeCommands(), SizeIs(1));
  world_.steer->Disable();
  world_.steer->Enable();
  world_.TakeLog();
  Passes(11);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
  Passes(1);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k2400, 1))) << "its metric was forgotten";
}

TEST_F(ClientSteerTest, DestructionInTheMiddleOfAPassDropsTheRest) {
  world_.Join(k2400, 1, -80);
  Start();
  world_.kernel.SetHolding(true);
  Passes(1);
  world_.steer.reset();
  world_.TakeLog();
  world_.kernel.SetHolding(false);
  Passes(60);
  EXPECT_THAT(world_.TakeLog(), IsEmpty());
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
}

TEST_F(ClientSteerTest, TheClockSetForwardSteersAndSetBackDoesNot) {
  world_.Join(k2400, 1, -80);
  Start();
  Passes(2);
  world_.loop.SetWallTime(world_.loop.Now() + 10min);
  Passes(1);
  EXPECT_THAT(world_.TakeCommands(), ElementsAre(Steered(k2400, 1)));
  world_.SetSignal(k2400, 1, -99);
  world_.loop.SetWallTime(world_.loop.Now() - 24h);
  Passes(60);
  EXPECT_THAT(world_.TakeCommands(), IsEmpty());
}

TEST_F(ClientSteerTest, AChangedPollIntervalCountsFromTheNextPass) {
  Start();
  world_.steer->OnFlagChanged("clientSteeringPollInterval", "5");
  world_.Pass(59s);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(1));
  world_.Pass(1s);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(3));
  world_.Pass(5s);
  EXPECT_THAT(world_.kernel.requests(), SizeIs(5));
}

TEST_F(ClientSteerTest, AFloorOfThreeHundredIsFortyFour) {
  world_.steer->OnFlagChanged("clientSteeringRootLqmFloor", "300");
  world_.steer->Enable();
  EXPECT_THAT(world_.TakeLog().back(), ::testing::HasSubstr(" lqm_floor=44 "));
}

TEST_F(ClientSteerTest, EachFlagSetsItsOwnParameter) {
  world_.TakeLog();
  world_.steer->OnFlagChanged("clientSteeringInterval", " 7x");
  world_.steer->OnFlagChanged("clientSteeringPollInterval", "-3");
  world_.steer->OnFlagChanged("clientSteeringRootLqmFloor", "-1");
  world_.steer->OnFlagChanged("clientSteeringChildLqmFloor", "9");
  world_.steer->OnFlagChanged("clientSteeringLqmHysteresis", "257");
  world_.steer->OnFlagChanged("clientSteeringSomething", "no number");
  world_.steer->OnFlagChanged("XclientSteeringInterval", "no number");
  EXPECT_THAT(world_.TakeLog(), IsEmpty());
  world_.steer->Enable();
  EXPECT_THAT(world_.TakeLog(),
              ElementsAre(" Client Steer Started  lqm_floor=255 steer_interval=7s "
                          "poll_interval=-3s lqm_hysteresis=1"));
}

TEST(ClientSteerChildTest, OnAChildTheChildFloorIsInForce) {
  ClientSteerSettings settings = SteeringWorld::DefaultSettings();
  settings.is_root = false;
  SteeringWorld world(settings);
  world.steer->OnFlagChanged("clientSteeringRootLqmFloor", "9");
  world.steer->Enable();
  EXPECT_THAT(world.TakeLog().back(), ::testing::HasSubstr(" lqm_floor=40 "));
  world.steer->Disable();
  world.steer->OnFlagChanged("clientSteeringChildLqmFloor", "41");
  world.steer->Enable();
  EXPECT_THAT(world.TakeLog().back(), ::testing::HasSubstr(" lqm_floor=41 "));
}

TEST_F(ClientSteerTest, ANonNumericValueThrowsAndSetsNothing) {
  const struct {
    const char* value;
    bool is_out_of_range;
  } kRows[] = {{"abc", false}, {"", false}, {"2147483648", true}, {"-2147483649", true}};
  for (const auto& row : kRows) {
    try {
      world_.steer->OnFlagChanged("clientSteeringInterval", row.value);
      ADD_FAILURE() << row.value;
    } catch (const std::out_of_range& error) {
      EXPECT_TRUE(row.is_out_of_range);
      EXPECT_STREQ(error.what(), "stoi");
    } catch (const std::invalid_argument& error) {
      EXPECT_FALSE(row.is_out_of_range);
      EXPECT_STREQ(error.what(), "stoi");
    }
  }
}

TEST_F(ClientSteerTest, ConfigureSetsWhatIsNotZeroAndLogsItsArguments) {
  world_.TakeLog();
  world_.steer->Configure(1, 0, 301, 0);
  world_.steer->Configure(0, 2, 0, 3);
  world_.steer->Enable();
  EXPECT_THAT(world_.TakeLog(),
              ElementsAre(" lqm_floor=301 steer_interval=1 poll_interval=0 lqm_hysteresis=0",
                          " lqm_floor=0 steer_interval=0 poll_interval=2 lqm_hysteresis=3",
                          " Client Steer Started  lqm_floor=45 steer_interval=1s poll_interval=2s "
                          "lqm_hysteresis=3"));
}

TEST_F(ClientSteerTest, ConfigureLeavesWhatIsZeroAsItIs) {
  world_.steer->Configure(0, 0, 0, 0);
  world_.TakeLog();
  world_.steer->Enable();
  EXPECT_THAT(world_.TakeLog(),
              ElementsAre(" Client Steer Started  lqm_floor=30 steer_interval=10m "
                          "poll_interval=1m lqm_hysteresis=15"));
}

TEST_F(ClientSteerTest, AZeroPollIntervalDoesNotStarveTheLoop) {
  for (const char* interval : {"0", "-60"}) {
    world_.steer->OnFlagChanged("clientSteeringPollInterval", interval);
    world_.steer->Enable();
    int others = 0;
    for (int turn = 0; turn < 100; ++turn) {
      world_.loop.PostTask([&others] { ++others; });
      world_.loop.RunOnce();
    }
    EXPECT_EQ(others, 100);
    world_.steer->Disable();
  }
}

using ClientSteerDeathTest = ClientSteerTest;

TEST_F(ClientSteerDeathTest, WithoutInterfacesThereIsNothingToSteer) {
  EXPECT_DEATH(
      {
        platform::InitLog(platform::kLogToStderr, "");
        ClientSteer(world_.loop, &world_.netlink, {}, &world_.hostapd,
                    SteeringWorld::DefaultSettings());
      },
      "Check failed: !steer_interfaces_.empty\\(\\)");
}

}  // namespace
}  // namespace orvane::ap
