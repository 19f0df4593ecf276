#ifndef WAVELARKCTL_DECISION_H_
#define WAVELARKCTL_DECISION_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "optimizer/steer_policy.h"
#include "platform/time.h"

namespace orvane::wavelarkctl {

// The decision of one poll about one client. `explain` reads decisions from the daemon's log,
// `replay` computes them.
struct Decision {
  platform::WallTime time;  // of the poll
  std::string interface;
  std::string address;
  std::uint8_t metric = 0;
  std::uint8_t last_metric = 0;  // when it was last steered from this interface; 0 if it never was
  // Since its last steer, or since it came to this interface. Negative if the clock was set back.
  // Empty if a log shows the steer, but not the poll.
  std::optional<platform::TimeSpan> since_last_steer = platform::TimeSpan::zero();
  bool steered = false;
  // kSteered without `steered` if the settings that `explain` assumes contradict the daemon's log.
  ap::SteerVerdict why = ap::SteerVerdict::kNew;
};

// The limits that the daemon applies to each client.
struct SteerLimits {
  std::uint8_t lqm_floor;  // that of the role: root or child
  std::uint8_t lqm_hysteresis;
  platform::TimeSpan steer_interval;
};

// Judges a client that is not new by the daemon's own rule.
ap::SteerVerdict DeriveWhy(const Decision& decision, const SteerLimits& limits);

// "new", "not-below-floor", "within-hysteresis", "too-early" or "steered".
std::string_view WhyText(ap::SteerVerdict why);

// One JSON object, without a line end. Bytes of names that are not UTF-8 become U+FFFD. "why" is
// null in a contradiction.
std::string JsonLine(const Decision& decision);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_DECISION_H_
