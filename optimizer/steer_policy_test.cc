#include "optimizer/steer_policy.h"

#include <gtest/gtest.h>

#include <chrono>

namespace orvane::ap {
namespace {

using namespace std::chrono_literals;

bool IsSteered(const SteerInputs& inputs) { return JudgeStation(inputs) == SteerVerdict::kSteered; }

TEST(LinkQualityMetricTest, IsTheSignalPlusAHundredWithinBounds) {
  EXPECT_EQ(LinkQualityMetric(-128), 0);
  EXPECT_EQ(LinkQualityMetric(-101), 0);
  EXPECT_EQ(LinkQualityMetric(-100), 0);
  EXPECT_EQ(LinkQualityMetric(-99), 1);
  EXPECT_EQ(LinkQualityMetric(-70), 30);
  EXPECT_EQ(LinkQualityMetric(-1), 99);
  EXPECT_EQ(LinkQualityMetric(0), 100);
  EXPECT_EQ(LinkQualityMetric(1), 100);
  EXPECT_EQ(LinkQualityMetric(127), 100);
}

constexpr SteerInputs kSteered = {.link_quality_metric = 20,
                                  .last_steer_link_quality_metric = 0,
                                  .since_last_steer = 601s,
                                  .lqm_floor = 30,
                                  .lqm_hysteresis = 15,
                                  .steer_interval = 600s};

TEST(JudgeStationTest, EachLimitItselfIsNotEnough) {
  EXPECT_TRUE(IsSteered(kSteered));
  SteerInputs inputs = kSteered;
  inputs.lqm_floor = 20;
  EXPECT_FALSE(IsSteered(inputs));
  inputs.lqm_floor = 21;
  EXPECT_TRUE(IsSteered(inputs));

  inputs = kSteered;
  inputs.lqm_hysteresis = 20;
  EXPECT_FALSE(IsSteered(inputs));
  inputs.lqm_hysteresis = 19;
  EXPECT_TRUE(IsSteered(inputs));

  inputs = kSteered;
  inputs.since_last_steer = 600s;
  EXPECT_FALSE(IsSteered(inputs));
  inputs.since_last_steer = 600s + 1us;
  EXPECT_TRUE(IsSteered(inputs));
}

TEST(JudgeStationTest, TheChangeCountsInBothDirections) {
  SteerInputs inputs = kSteered;
  inputs.last_steer_link_quality_metric = 36;
  EXPECT_TRUE(IsSteered(inputs));
  inputs.last_steer_link_quality_metric = 35;
  EXPECT_FALSE(IsSteered(inputs));
  inputs.link_quality_metric = 0;
  inputs.last_steer_link_quality_metric = 100;
  EXPECT_TRUE(IsSteered(inputs));
}

TEST(JudgeStationTest, TheWholeRangeOfEightBitsWorks) {
  SteerInputs inputs = kSteered;
  inputs.lqm_floor = 255;
  inputs.link_quality_metric = 100;
  EXPECT_TRUE(IsSteered(inputs));
  inputs.lqm_hysteresis = 255;
  EXPECT_FALSE(IsSteered(inputs));
  inputs.lqm_hysteresis = 0;
  inputs.last_steer_link_quality_metric = 100;
  EXPECT_FALSE(IsSteered(inputs));
  inputs.last_steer_link_quality_metric = 99;
  EXPECT_TRUE(IsSteered(inputs));
  inputs.lqm_floor = 0;
  inputs.link_quality_metric = 0;
  EXPECT_FALSE(IsSteered(inputs));
}

TEST(JudgeStationTest, ANegativeIntervalIsAlwaysOver) {
  SteerInputs inputs = kSteered;
  inputs.steer_interval = -5s;
  inputs.since_last_steer = 0s;
  EXPECT_TRUE(IsSteered(inputs));
  inputs.since_last_steer = -5s;  // the clock was set back
  EXPECT_FALSE(IsSteered(inputs));
}

TEST(JudgeStationTest, OfSeveralConditionsTheFirstThatFailsCounts) {
  SteerInputs inputs = kSteered;
  inputs.since_last_steer = 600s;
  EXPECT_EQ(JudgeStation(inputs), SteerVerdict::kTooEarly);
  inputs.lqm_hysteresis = 20;
  EXPECT_EQ(JudgeStation(inputs), SteerVerdict::kWithinHysteresis);
  inputs.lqm_floor = 20;
  EXPECT_EQ(JudgeStation(inputs), SteerVerdict::kNotBelowFloor);
}

}  // namespace
}  // namespace orvane::ap
