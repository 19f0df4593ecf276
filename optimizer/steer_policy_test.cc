#include "optimizer/steer_policy.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

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

struct MetricsRow {
  std::uint8_t now;
  std::uint8_t at_last_steer;
  std::uint8_t floor;
  std::uint8_t hysteresis;
  bool is_steered;
};

class MetricsTest : public testing::TestWithParam<MetricsRow> {};

TEST_P(MetricsTest, FloorAndHysteresisDecide) {
  SteerInputs inputs = kSteered;
  inputs.link_quality_metric = GetParam().now;
  inputs.last_steer_link_quality_metric = GetParam().at_last_steer;
  inputs.lqm_floor = GetParam().floor;
  inputs.lqm_hysteresis = GetParam().hysteresis;
  EXPECT_EQ(IsSteered(inputs), GetParam().is_steered);
}

INSTANTIATE_TEST_SUITE_P(BothDirections, MetricsTest,
                         testing::Values(MetricsRow{20, 36, 30, 15, true},
                                         MetricsRow{20, 35, 30, 15, false},
                                         MetricsRow{0, 100, 30, 15, true}));
INSTANTIATE_TEST_SUITE_P(WholeRange, MetricsTest,
                         testing::Values(MetricsRow{100, 0, 255, 15, true},
                                         MetricsRow{100, 0, 255, 255, false},
                                         MetricsRow{100, 100, 255, 0, false},
                                         MetricsRow{100, 99, 255, 0, true},
                                         MetricsRow{0, 99, 0, 0, false}));

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
