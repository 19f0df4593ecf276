#ifndef OPTIMIZER_STEER_POLICY_H_
#define OPTIMIZER_STEER_POLICY_H_

#include <cstdint>

#include "platform/time.h"

namespace orvane::ap {

// Returns the link quality metric of a station: the average signal in dBm plus 100, clamped to the
// range from 0 to 100.
std::uint8_t LinkQualityMetric(std::int8_t signal_dbm);

// The measured values and the limits for the verdict on a station.
struct SteerInputs {
  std::uint8_t link_quality_metric;             // now
  std::uint8_t last_steer_link_quality_metric;  // at the last steer from this interface, or 0
  platform::TimeSpan since_last_steer;          // or since the arrival at this interface
  std::uint8_t lqm_floor;
  std::uint8_t lqm_hysteresis;
  platform::TimeSpan steer_interval;
};

// What a poll decides about a station. If several reasons apply, the first in this list is
// returned.
enum class SteerVerdict : std::uint8_t {
  kNew,               // the station was last seen at another interface, or never
  kNotBelowFloor,     // its metric is the floor or more
  kWithinHysteresis,  // the metric has changed by the hysteresis or less since the last steer
  kTooEarly,          // the steer interval is not over
  kSteered,
};

// Returns the verdict on a station that was last seen at this interface. Never returns kNew.
SteerVerdict JudgeStation(const SteerInputs& inputs);

}  // namespace orvane::ap

#endif  // OPTIMIZER_STEER_POLICY_H_
