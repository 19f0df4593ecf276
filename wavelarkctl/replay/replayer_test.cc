#include "wavelarkctl/replay/replayer.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "testbed/log_capture.h"
#include "wavelarkctl/decision.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using platform::TimeSpan;
using platform::WallTime;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr WallTime kStart{1'700'000'000s};

// Keeps all calls as text, with times since the start and the numbers of clients.
class Journal : public ReplayListener {
 public:
  void OnJudgement(WallTime time, std::uint32_t client,
                   const ap::StationJudgement& judgement) override {
    decisions.push_back(fmt::format(
        "{} {} {} {} {}", platform::FormatTimeSpan(time - kStart), client, judgement.interface,
        judgement.inputs.link_quality_metric, WhyText(judgement.verdict)));
  }
  void OnStay(const Stay& stay) override {
    stays.push_back(fmt::format("{} {} {} {}{} for {}",
                                platform::FormatTimeSpan(stay.begin - kStart), stay.client,
                                stay.interface, stay.metric, stay.is_below_floor ? " below" : "",
                                platform::FormatTimeSpan(stay.length)));
  }

  std::vector<std::string> decisions;
  std::vector<std::string> stays;
};

// Polls each minute, interfaces "a" and "b", a steer after 90 s.
class ReplayerTest : public ::testing::Test {
 protected:
  ReplayerTest() {
    roster_.InterfaceNumber("a");
    roster_.InterfaceNumber("b");
    options_.settings.client_steering_interval = 90;
  }

  Replayer& replayer() {
    if (!replayer_) replayer_.emplace(options_, roster_, kStart, &journal_);
    return *replayer_;
  }

  void See(TimeSpan time, int signal, std::uint32_t interface = 0, std::uint32_t client = 0,
           bool is_authorized = true) {
    while (roster_.clients().size() <= client) {
      roster_.ClientNumber({2, 0, 0, 0, 0, static_cast<std::uint8_t>(roster_.clients().size())});
    }
    replayer().MoveTo(kStart + time);
    replayer().Feed({interface, client, static_cast<std::int8_t>(signal), is_authorized});
  }

  // A row in every ten seconds, from `begin` to `end`.
  void SeeFrom(TimeSpan begin, TimeSpan end, int signal, std::uint32_t interface = 0) {
    for (TimeSpan time = begin; time <= end; time += 10s) See(time, signal, interface);
  }

  std::vector<std::string> Decisions() {
    replayer().Finish();
    return journal_.decisions;
  }

  testbed::SilentLog silent_log_;
  Roster roster_;
  ReplayOptions options_;
  Journal journal_;
  std::optional<Replayer> replayer_;
};

TEST_F(ReplayerTest, TheFirstPollIsOneIntervalAfterTheFirstRow) {
  SeeFrom(0s, 180s, -80);
  EXPECT_THAT(Decisions(),
              ElementsAre("1m 0 a 20 new", "2m 0 a 20 too-early", "3m 0 a 20 steered"));
  EXPECT_EQ(replayer().polls(), 3U);
}

TEST_F(ReplayerTest, APollSeesTheRowsOfItsTimeAndNoLaterOnes) {
  See(0s, -50);
  See(60s, -60);
  See(60s + 1us, -70);
  See(120s - 1us, -71);
  See(120s + 1us, -72);
  EXPECT_THAT(Decisions(), ElementsAre("1m 0 a 40 new", "2m 0 a 29 too-early"));
}

TEST_F(ReplayerTest, ARowIsSeenUntilItIsStale) {
  See(0s, -50);
  See(50s - 1us, -50, 0, 1);
  See(50s, -50, 0, 0);
  See(70s, -50, 0, 2);
  EXPECT_THAT(Decisions(), ElementsAre("1m 0 a 50 new"));
}

TEST_F(ReplayerTest, TheStaleAgeIsAnOption) {
  options_.stale = 60s;
  See(0s, -50);
  See(61s, -50, 0, 1);
  EXPECT_THAT(Decisions(), ElementsAre("1m 0 a 50 new"));
}

TEST_F(ReplayerTest, TheLatestRowSaysWhereAClientIs) {
  See(0s, -50);
  See(55s, -80, 0);
  See(58s, -60, 1);
  See(60s, -90, 0, 1);
  EXPECT_THAT(Decisions(), ElementsAre("1m 1 a 10 new", "1m 0 b 40 new"));
}

TEST_F(ReplayerTest, RowsOfOneTimeMayListAClientTwice) {
  See(0s, -50);
  See(60s, -80, 0);
  See(60s, -60, 1);
  See(60s, -61, 1);
  EXPECT_THAT(Decisions(), ElementsAre("1m 0 a 20 new", "1m 0 b 39 new"));
}

TEST_F(ReplayerTest, AnUnauthorizedClientIsNotJudged) {
  See(0s, -50);
  See(60s, -80, 0, 0, false);
  EXPECT_THAT(Decisions(), IsEmpty());
  EXPECT_THAT(journal_.stays, ElementsAre("0s 0 0 50 for 1m"));
}

TEST_F(ReplayerTest, ARowWithoutASignalHasTheBestMetric) {
  See(0s, -50);
  replayer().MoveTo(kStart + 60s);
  replayer().Feed({0, 0, std::nullopt, true});
  EXPECT_THAT(Decisions(), ElementsAre("1m 0 a 100 new"));
}

TEST_F(ReplayerTest, ADisabledServiceNeverPolls) {
  options_.settings.enable_client_steering = false;
  SeeFrom(0s, 600s, -80);
  EXPECT_THAT(Decisions(), IsEmpty());
  EXPECT_EQ(replayer().polls(), 0U);
  EXPECT_THAT(journal_.stays, SizeIs(61));
}

TEST_F(ReplayerTest, AStayLastsUntilTheNextRow) {
  See(0s, -50);
  See(10s, -80);
  See(80s, -50);
  See(151s, -50);
  replayer().Finish();
  EXPECT_THAT(journal_.stays, ElementsAre("0s 0 0 50 for 10s", "10s 0 0 20 below for 1m10s",
                                          "1m20s 0 0 50 for 10s", "2m31s 0 0 50 for 0s"));
}

TEST_F(ReplayerTest, ByDefaultASteeredClientFollowsItsRows) {
  SeeFrom(0s, 180s, -80);
  SeeFrom(190s, 240s, -60, 1);
  EXPECT_EQ(Decisions().back(), "4m 0 b 40 new");
}

TEST_F(ReplayerTest, ASteeredClientMayComeBack) {
  options_.returns = Returns::kSame;
  SeeFrom(0s, 180s, -80);
  SeeFrom(190s, 240s, -60, 1);
  EXPECT_EQ(Decisions().back(), "4m 0 a 40 not-below-floor");
}

TEST_F(ReplayerTest, ASteeredClientMayJoinTheOtherInterface) {
  options_.returns = Returns::kOther;
  SeeFrom(0s, 600s, -80);
  EXPECT_THAT(Decisions(),
              ElementsAre("1m 0 a 20 new", "2m 0 a 20 too-early", "3m 0 a 20 steered",
                          "4m 0 b 20 new", "5m 0 b 20 too-early", "6m 0 b 20 steered",
                          "7m 0 a 20 new", "8m 0 a 20 within-hysteresis",
                          "9m 0 a 20 within-hysteresis", "10m 0 a 20 within-hysteresis"));
}

TEST_F(ReplayerTest, ASteeredClientMovesWithoutAnotherRow) {
  options_.returns = Returns::kOther;
  options_.stale = 120s;
  SeeFrom(0s, 180s, -80);
  See(240s, -50, 0, 1);
  EXPECT_THAT(Decisions(), Contains("4m 0 b 20 new"));
}

TEST_F(ReplayerTest, AClientThatWasAwayFollowsItsRows) {
  options_.returns = Returns::kOther;
  SeeFrom(0s, 180s, -80);
  SeeFrom(290s, 300s, -80);
  EXPECT_EQ(Decisions().back(), "5m 0 a 20 within-hysteresis");
}

TEST_F(ReplayerTest, AClientWithARowInEachPollIsNotGone) {
  options_.returns = Returns::kOther;
  for (int minute = 0; minute <= 5; ++minute) See(minute * 60s, -80);
  EXPECT_EQ(Decisions().back(), "5m 0 b 20 too-early");
}

// The service compares wall clock times, its timer does not.
TEST_F(ReplayerTest, AClockThatWasSetBackDelaysASteer) {
  SeeFrom(0s, 110s, -80);
  See(-3600s, -80);
  SeeFrom(-3600s, -3470s, -80);
  EXPECT_THAT(Decisions(), ElementsAre("1m 0 a 20 new", "-59m50s 0 a 20 too-early",
                                       "-58m50s 0 a 20 too-early", "-57m50s 0 a 20 too-early"));
}

// The result is the same as if each poll had run, and the next poll comes at its time.
TEST_F(ReplayerTest, AYearWithoutRowsTakesNoTime) {
  constexpr TimeSpan kYear = 365 * 24h;
  SeeFrom(0s, 180s, -80);
  SeeFrom(kYear + 25s, kYear + 240s, -80);
  const auto decisions = Decisions();
  ASSERT_THAT(decisions, SizeIs(6));
  EXPECT_EQ(decisions[3], "8760h1m 0 a 20 new");
  EXPECT_EQ(decisions[5], "8760h3m 0 a 20 steered") << "its metric was forgotten";
  EXPECT_EQ(replayer().polls(), 365U * 24 * 60 + 3);
}

// The service forgets the clients of the later time only when that time has passed.
TEST_F(ReplayerTest, AClockThatWasSetBackByAYearTakesNoTime) {
  constexpr TimeSpan kYear = 365 * 24h;
  SeeFrom(kYear, kYear + 180s, -80);
  See(0s, -50, 0, 1);
  See(kYear + 350s, -80);
  See(kYear + 360s, -50, 0, 1);
  EXPECT_THAT(Decisions(), ElementsAre("8760h 0 a 20 new", "8760h1m 0 a 20 too-early",
                                       "8760h2m 0 a 20 steered", "8760h3m 0 a 20 within-hysteresis",
                                       "8760h6m 0 a 20 within-hysteresis", "8760h6m 1 a 50 new"));
}

}  // namespace
}  // namespace orvane::wavelarkctl
