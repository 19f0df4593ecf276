#include "optimizer/steer_policy.h"

#include <algorithm>
#include <cstdlib>

namespace orvane::ap {
namespace {

constexpr int kLowestSignalDbm = -100;
constexpr int kBestMetric = 100;

}  // namespace

std::uint8_t LinkQualityMetric(std::int8_t signal_dbm) {
  return static_cast<std::uint8_t>(std::clamp(signal_dbm - kLowestSignalDbm, 0, kBestMetric));
}

SteerVerdict JudgeStation(const SteerInputs& inputs) {
  const int change = std::abs(inputs.link_quality_metric - inputs.last_steer_link_quality_metric);
  if (inputs.link_quality_metric >= inputs.lqm_floor) return SteerVerdict::kNotBelowFloor;
  if (change <= inputs.lqm_hysteresis) return SteerVerdict::kWithinHysteresis;
  if (inputs.since_last_steer <= inputs.steer_interval) return SteerVerdict::kTooEarly;
  return SteerVerdict::kSteered;
}

}  // namespace orvane::ap
