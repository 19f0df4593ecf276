#include "wavelarkctl/decision.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "wavelarkctl/json_text.h"
#include "wavelarkctl/seconds.h"

namespace orvane::wavelarkctl {
namespace {

std::string Quote(const std::string& text) { return JsonText(nlohmann::json(text)); }

std::string SinceJson(const Decision& decision) {
  return decision.since_last_steer ? FormatSeconds(*decision.since_last_steer) : "null";
}

// A steer that did not happen has no reason.
std::string WhyJson(const Decision& decision) {
  if (decision.why == ap::SteerVerdict::kSteered && !decision.steered) return "null";
  return fmt::format("\"{}\"", WhyText(decision.why));
}

}  // namespace

ap::SteerVerdict DeriveWhy(const Decision& decision, const SteerLimits& limits) {
  const platform::TimeSpan since = decision.since_last_steer.value_or(platform::TimeSpan::zero());
  return ap::JudgeStation({.link_quality_metric = decision.metric,
                           .last_steer_link_quality_metric = decision.last_metric,
                           .since_last_steer = since,
                           .lqm_floor = limits.lqm_floor,
                           .lqm_hysteresis = limits.lqm_hysteresis,
                           .steer_interval = limits.steer_interval});
}

std::string_view WhyText(ap::SteerVerdict why) {
  switch (why) {
    case ap::SteerVerdict::kNew:
      return "new";
    case ap::SteerVerdict::kNotBelowFloor:
      return "not-below-floor";
    case ap::SteerVerdict::kWithinHysteresis:
      return "within-hysteresis";
    case ap::SteerVerdict::kTooEarly:
      return "too-early";
    case ap::SteerVerdict::kSteered:
      return "steered";
  }
  return "";
}

// A day can have millions of decisions, and a JSON object of the library takes four times as long.
std::string JsonLine(const Decision& decision) {
  return fmt::format(R"({{"time":{},"interface":{},"address":{},"metric":{},"last_metric":{},)"
                     R"("since_last_steer":{},"steered":{},"why":{}}})",
                     FormatSeconds(decision.time.time_since_epoch()), Quote(decision.interface),
                     Quote(decision.address), decision.metric, decision.last_metric,
                     SinceJson(decision), decision.steered, WhyJson(decision));
}

}  // namespace orvane::wavelarkctl
