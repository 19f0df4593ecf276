#include "wavelarkctl/decision.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ap::SteerVerdict;

Decision MakeDecision() {
  return {.time = platform::WallTime(1'700'000'000s + 250ms),
          .interface = "wlan-2400mhz",
          .address = "02:00:00:00:00:01",
          .metric = 20,
          .last_metric = 5,
          .since_last_steer = 601s,
          .steered = true,
          .why = SteerVerdict::kSteered};
}

constexpr SteerLimits kLimits = {.lqm_floor = 30, .lqm_hysteresis = 14, .steer_interval = 600s};

TEST(DecisionTest, TheFirstConditionThatFailsIsTheReason) {
  Decision decision = MakeDecision();
  EXPECT_EQ(DeriveWhy(decision, kLimits), SteerVerdict::kSteered);
  decision.since_last_steer = 600s;
  EXPECT_EQ(DeriveWhy(decision, kLimits), SteerVerdict::kTooEarly);
  decision.last_metric = 6;
  EXPECT_EQ(DeriveWhy(decision, kLimits), SteerVerdict::kWithinHysteresis);
  decision.metric = 30;
  EXPECT_EQ(DeriveWhy(decision, kLimits), SteerVerdict::kNotBelowFloor);
}

TEST(DecisionTest, EachReasonHasItsWord) {
  EXPECT_EQ(WhyText(SteerVerdict::kNew), "new");
  EXPECT_EQ(WhyText(SteerVerdict::kNotBelowFloor), "not-below-floor");
  EXPECT_EQ(WhyText(SteerVerdict::kWithinHysteresis), "within-hysteresis");
  EXPECT_EQ(WhyText(SteerVerdict::kTooEarly), "too-early");
  EXPECT_EQ(WhyText(SteerVerdict::kSteered), "steered");
}

TEST(DecisionTest, ADecisionIsOneLineOfJson) {
  EXPECT_EQ(
      JsonLine(MakeDecision()),
      R"({"time":1700000000.25,"interface":"wlan-2400mhz","address":"02:00:00:00:00:01",)"
      R"("metric":20,"last_metric":5,"since_last_steer":601,"steered":true,"why":"steered"})");
}

TEST(DecisionTest, AnyNameIsValidJson) {
  Decision decision = MakeDecision();
  // U+009B begins an escape sequence on some terminals.
  decision.interface = "a\"b\\\n\xff\xC2\x9B";
  decision.since_last_steer = -1500ms;
  decision.steered = false;
  const std::string line = JsonLine(decision);
  EXPECT_TRUE(std::ranges::all_of(line, [](char byte) { return byte >= ' ' && byte <= '~'; }));
  const auto json = nlohmann::json::parse(line);
  EXPECT_EQ(json["interface"], "a\"b\\\n\xEF\xBF\xBD\xC2\x9B");
  EXPECT_EQ(json["since_last_steer"], -1.5);
  EXPECT_EQ(json["steered"], false);
}

}  // namespace
}  // namespace orvane::wavelarkctl
