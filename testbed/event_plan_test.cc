#include "testbed/event_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::Pair;

const std::vector<std::string> kInterfaces = {"wlan-2400mhz", "wlan-5000mhz"};

std::vector<TimedLine> All(const EventPlan& plan) {
  std::vector<TimedLine> lines;
  for (std::size_t i = 0; i < plan.count; ++i) lines.push_back(plan.line(i));
  return lines;
}

EventPlan TwoLines() { return PlanOf({{milliseconds(100), "a"}, {milliseconds(500), "b"}}); }

TEST(EventPlanTest, PlaysLinesAsTheyAre) {
  EXPECT_THAT(All(TwoLines()),
              ElementsAre(TimedLine{milliseconds(100), "a"}, TimedLine{milliseconds(500), "b"}));
  EXPECT_FALSE(TwoLines().waits_for_listener);
}

TEST(EventPlanTest, SpeedDividesTimes) {
  EXPECT_THAT(All(AtSpeed(TwoLines(), 2)),
              ElementsAre(TimedLine{milliseconds(50), "a"}, TimedLine{milliseconds(250), "b"}));
}

TEST(EventPlanTest, RateReplacesTimes) {
  EXPECT_THAT(All(AtRate(TwoLines(), 4)),
              ElementsAre(TimedLine{milliseconds(0), "a"}, TimedLine{milliseconds(250), "b"}));
}

TEST(EventPlanTest, RepetitionsFollowEachOther) {
  EXPECT_THAT(All(Repeated(TwoLines(), 2)),
              ElementsAre(TimedLine{milliseconds(100), "a"}, TimedLine{milliseconds(500), "b"},
                          TimedLine{milliseconds(600), "a"}, TimedLine{milliseconds(1000), "b"}));
  EXPECT_EQ(Repeated(PlanOf({}), 3).count, 0U);
}

TEST(EventPlanTest, FloodHasItsShape) {
  const EventPlan plan = FloodPlan(100'000);
  EXPECT_EQ(plan.count, 100'000U);
  EXPECT_TRUE(plan.waits_for_listener);
  std::set<std::string> stations;
  for (std::size_t i = 0; i < plan.count; i += 99'999) {
    const std::string line = plan.line(i).line;
    EXPECT_NEAR(static_cast<double>(line.size()), 220, 15) << line;
    EXPECT_TRUE(line.starts_with("<3>AP-STA-CONNECT 02:00:00:")) << line;
    EXPECT_EQ(std::count(line.begin(), line.end(), ' '), 14) << line;
    stations.insert(line.substr(18, 17));
  }
  EXPECT_THAT(stations, ElementsAre("02:00:00:00:00:00", "02:00:00:01:86:9f"));
}

TEST(ScriptTest, ReadsLinesInOrderOfTime) {
  Script script;
  EXPECT_EQ(ParseScript("# two interfaces\n"
                        "\n"
                        "1.5 wlan-2400mhz <3>LATE  two blanks \n"
                        "\t0 wlan-5000mhz\t<3>OTHER\r\n"
                        "0.25 wlan-2400mhz <3>FIRST\n"
                        "0.25 wlan-2400mhz <3>SECOND",
                        kInterfaces, &script),
            std::nullopt);
  EXPECT_THAT(
      script,
      ElementsAre(
          Pair("wlan-2400mhz", ElementsAre(TimedLine{milliseconds(250), "<3>FIRST"},
                                           TimedLine{milliseconds(250), "<3>SECOND"},
                                           TimedLine{milliseconds(1500), "<3>LATE  two blanks "})),
          Pair("wlan-5000mhz", ElementsAre(TimedLine{milliseconds(0), "<3>OTHER"}))));
}

TEST(ScriptTest, NamesTheBadLine) {
  struct Case {
    const char* line;
    const char* failure;
  };
  for (const Case& c : {Case{"x wlan-2400mhz <3>A", "line 2: \"x\" is no time"},
                        Case{"-1 wlan-2400mhz <3>A", "line 2: \"-1\" is no time"},
                        Case{"1s wlan-2400mhz <3>A", "line 2: \"1s\" is no time"},
                        Case{"nan wlan-2400mhz <3>A", "line 2: \"nan\" is no time"},
                        Case{"1e30 wlan-2400mhz <3>A", "line 2: \"1e30\" is no time"},
                        Case{"1 wlan <3>A", "line 2: \"wlan\" is not an interface that is served"},
                        Case{"1", "line 2: \"\" is not an interface that is served"},
                        Case{"1 wlan-2400mhz", "line 2: no event line"}}) {
    Script script;
    EXPECT_EQ(ParseScript(std::string("0 wlan-2400mhz <3>A\n") + c.line, kInterfaces, &script),
              c.failure);
  }
}

}  // namespace
}  // namespace orvane::testbed
