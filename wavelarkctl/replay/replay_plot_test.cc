#include "wavelarkctl/replay/replay_plot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "wavelarkctl/replay/test_judgement.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ap::SteerVerdict;
using platform::TimeSpan;
using platform::WallTime;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;

// Each column as "low-high", an empty one as ".".
std::string TextOf(const PlotSeries::Columns& columns) {
  std::string text;
  for (const auto& column : columns) {
    text += column ? std::to_string(column->lowest) + "-" + std::to_string(column->highest) : ".";
    text += ' ';
  }
  return text;
}

// Ten columns of a minute each, polls every two minutes.
class PlotCollectorTest : public ::testing::Test {
 protected:
  void Stay(TimeSpan begin, TimeSpan length, std::uint8_t metric, std::uint32_t client = 7) {
    collector_.OnStay({client, 1, metric, false, WallTime(begin), length});
  }
  void Judge(TimeSpan time, std::uint8_t metric, std::uint8_t last, SteerVerdict verdict,
             std::uint32_t client = 7) {
    wavelarkctl::Judge(collector_, time, client, metric, last, verdict);
  }

  PlotCollector collector_{WallTime(0min), WallTime(10min), 10, 2min, {7}};
};

TEST_F(PlotCollectorTest, AColumnHasTheRangeOfItsMetrics) {
  Stay(1min, 90s, 50);
  Stay(150s, 15s, 20);
  Stay(500s, 10s, 30);
  EXPECT_EQ(TextOf(collector_.Of(7).metrics.at(1)), ". 50-50 20-50 . . . . . 30-30 . ");
}

TEST_F(PlotCollectorTest, TimesOutsideAreClamped) {
  Stay(-5min, 1min, 50);
  Stay(20min, 1min, 60);
  EXPECT_EQ(TextOf(collector_.Of(7).metrics.at(1)), "50-50 . . . . . . . . 60-60 ");
}

TEST_F(PlotCollectorTest, ADecisionHoldsUntilTheNextPoll) {
  Judge(2min, 50, 0, SteerVerdict::kNew);
  Judge(4min, 20, 0, SteerVerdict::kSteered);
  Judge(8min, 20, 20, SteerVerdict::kWithinHysteresis);
  EXPECT_EQ(TextOf(collector_.Of(7).last_steer), ". . 0-0 0-0 20-20 20-20 20-20 . 20-20 20-20 ");
  EXPECT_THAT(collector_.Of(7).steers, ElementsAre(Pair(4, 20)));
}

TEST_F(PlotCollectorTest, OtherClientsAreNotCollected) {
  Stay(1min, 1min, 50, 6);
  Judge(2min, 20, 0, SteerVerdict::kSteered, 8);
  EXPECT_THAT(collector_.Of(7).metrics, IsEmpty());
  EXPECT_THAT(collector_.Of(7).steers, IsEmpty());
}

class GnuplotScriptTest : public PlotCollectorTest {
 protected:
  std::string Script(std::size_t panels = 1, const std::string& title = "a client") {
    Plot plot = {WallTime(0min), WallTime(10min), {"wlan0", "wlan1"}, 10, {}};
    for (std::size_t i = 0; i < panels; ++i) {
      plot.panels.push_back({title, &collector_.Of(7), 30, 15});
    }
    return GnuplotScript(plot);
  }
};

TEST_F(GnuplotScriptTest, TheBandIsTheHysteresisAroundTheLastSteer) {
  Judge(0min, 20, 60, SteerVerdict::kTooEarly);
  EXPECT_THAT(Script(), HasSubstr("\n0.0 -55 -25\n60.0 -55 -25\n"));
}

TEST_F(GnuplotScriptTest, TheLegendNamesUsedInterfacesOnly) {
  Stay(1min, 1min, 50);
  const std::string script = Script();
  EXPECT_THAT(script, HasSubstr("'signal at wlan1'"));
  EXPECT_THAT(script, Not(HasSubstr("'signal at wlan0'")));
}

TEST_F(GnuplotScriptTest, TitlesAreNotInterpreted) {
  const std::string script = Script(1, "it's `reboot`\n\xff");
  EXPECT_THAT(script, HasSubstr("set title 'it''s `reboot`??\'"));
}

TEST_F(GnuplotScriptTest, OnlyASinglePanelHasAnAxisOfMetrics) {
  EXPECT_THAT(Script(1), HasSubstr("y2label"));
  EXPECT_THAT(Script(2), Not(HasSubstr("y2label")));
  EXPECT_GT(ColumnsOf(1), ColumnsOf(2));
}

}  // namespace
}  // namespace orvane::wavelarkctl
