#include "wavelarkctl/explain/steer_record.h"

namespace orvane::wavelarkctl {

SteerOutcome OutcomeOf(const SteerRecord& steer) {
  const bool was_away = steer.has_left || steer.is_back_by_event;
  if (steer.has_moved) return SteerOutcome::kMoved;
  if (steer.back && was_away) return SteerOutcome::kReturned;
  if (steer.is_command_lost && !was_away) return SteerOutcome::kLost;
  if (!steer.back) return steer.is_cut_off ? SteerOutcome::kUnknown : SteerOutcome::kNotSeenAgain;
  return steer.has_events ? SteerOutcome::kStayed : SteerOutcome::kReturnedOrStayed;
}

}  // namespace orvane::wavelarkctl
