#ifndef OPTIMIZER_STEER_POLICY_H_
#define OPTIMIZER_STEER_POLICY_H_

#include <cstdint>

#include "platform/time.h"

namespace orvane::ap {

// The link quality metric of a station, 0 (useless) to 100 (perfect), from its average signal in
// dBm: the signal plus 100, within those bounds.
std::uint8_t LinkQualityMetric(std::int8_t signal_dbm);

// The measured values and the limits by which a station is judged.
struct SteerInputs {
  std::uint8_t link_quality_metric;             // now
  std::uint8_t last_steer_link_quality_metric;  // when it was last steered from this interface
  platform::TimeSpan since_last_steer;
  std::uint8_t lqm_floor;
  std::uint8_t lqm_hysteresis;
  platform::TimeSpan steer_interval;
};

// What a poll decides about a station. If several conditions fail, the first of this list counts.
enum class SteerVerdict : std::uint8_t {
  kNew,               // it was not at this interface in its last poll
  kNotBelowFloor,     // its metric is the floor or more
  kWithinHysteresis,  // its metric has changed by the hysteresis or less since it was last steered
  kTooEarly,          // the steer interval is not over
  kSteered,
};

// The verdict on a station that was at this interface in its last poll; never kNew.
SteerVerdict JudgeStation(const SteerInputs& inputs);

}  // namespace orvane::ap

#endif  // OPTIMIZER_STEER_POLICY_H_
