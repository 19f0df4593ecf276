#include "wavelarkctl/replay/replay_summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "wavelarkctl/replay/test_judgement.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ap::SteerVerdict;
using platform::TimeSpan;
using platform::WallTime;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ReplaySummaryTest : public ::testing::Test {
 protected:
  void Judge(TimeSpan time, int metric, SteerVerdict verdict, std::uint32_t client = 0) {
    wavelarkctl::Judge(summary_, time, client, static_cast<std::uint8_t>(metric), 1, verdict);
  }
  void Steer(TimeSpan time, std::uint32_t client = 0) {
    Judge(time, 20, SteerVerdict::kSteered, client);
  }

  std::uint64_t LongestChain() const { return summary_.Total().longest_chain; }

  ReplaySummary summary_;
};

TEST_F(ReplaySummaryTest, AnEmptyReplayHasZeros) {
  EXPECT_EQ(summary_.judgements(), 0U);
  EXPECT_EQ(summary_.SteeredClients(), 0U);
  EXPECT_EQ(summary_.Total().SteersPerHour(), 0);
  EXPECT_THAT(summary_.MostSteered(10), IsEmpty());
}

TEST_F(ReplaySummaryTest, EachVerdictIsCounted) {
  Judge(0min, 50, SteerVerdict::kNew);
  Judge(1min, 50, SteerVerdict::kNotBelowFloor);
  Judge(2min, 50, SteerVerdict::kNotBelowFloor);
  Steer(3min);
  EXPECT_EQ(summary_.judgements(), 4U);
  EXPECT_EQ(summary_.CountOf(SteerVerdict::kNotBelowFloor), 2U);
  EXPECT_EQ(summary_.CountOf(SteerVerdict::kTooEarly), 0U);
}

TEST_F(ReplaySummaryTest, SteersThatDoNotHelpAreAChain) {
  Steer(0min);
  Judge(5min, 20, SteerVerdict::kTooEarly);
  Steer(11min);
  Steer(22min, 1);
  EXPECT_EQ(LongestChain(), 2U);
}

TEST_F(ReplaySummaryTest, APollAtTheFloorEndsAChain) {
  Steer(0min);
  Steer(11min);
  Judge(12min, 30, SteerVerdict::kNotBelowFloor);
  Steer(22min);
  EXPECT_EQ(LongestChain(), 2U);
}

TEST_F(ReplaySummaryTest, AForgottenClientStartsANewChain) {
  Steer(0min);
  Steer(20min);
  EXPECT_EQ(LongestChain(), 2U);
  Steer(40min + 1us);
  EXPECT_EQ(LongestChain(), 2U);
}

TEST_F(ReplaySummaryTest, TimesAreAddedUpForEachClient) {
  summary_.OnStay({1, 0, 20, true, WallTime(), 30min});
  summary_.OnStay({1, 0, 50, false, WallTime(), 90min});
  summary_.OnStay({0, 0, 50, false, WallTime(), 60min});
  Steer(0min, 1);
  EXPECT_EQ(summary_.clients()[1].present, 2h);
  EXPECT_EQ(summary_.clients()[1].below_floor, 30min);
  EXPECT_EQ(summary_.clients()[1].SteersPerHour(), 0.5);
  EXPECT_EQ(summary_.Total().present, 3h);
}

TEST_F(ReplaySummaryTest, ASteerWithoutPresenceHasNoRate) {
  Steer(0min, 1);
  EXPECT_EQ(summary_.clients()[1].SteersPerHour(), std::nullopt);
}

TEST_F(ReplaySummaryTest, ClientsWithTheMostSteersComeFirst) {
  for (int i = 0; i < 2; ++i) Steer(0min, 3);
  for (int i = 0; i < 3; ++i) Steer(0min, 1);
  for (int i = 0; i < 2; ++i) Steer(0min, 0);
  Judge(0min, 50, SteerVerdict::kNew, 2);
  EXPECT_THAT(summary_.MostSteered(10), ElementsAre(1, 0, 3));
  EXPECT_THAT(summary_.MostSteered(2), ElementsAre(1, 0));
  EXPECT_EQ(summary_.SteeredClients(), 3U);
}

TEST_F(ReplaySummaryTest, OnlyTheFirstSteersAreKept) {
  for (int i = 0; i < 30; ++i) Steer(i * 1min);
  EXPECT_THAT(summary_.first_steers(), SizeIs(ReplaySummary::kKeptSteers));
  EXPECT_EQ(summary_.first_steers().back().time, WallTime(19min));
}

}  // namespace
}  // namespace orvane::wavelarkctl
