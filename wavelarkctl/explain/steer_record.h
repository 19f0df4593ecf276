#ifndef WAVELARKCTL_EXPLAIN_STEER_RECORD_H_
#define WAVELARKCTL_EXPLAIN_STEER_RECORD_H_

#include <cstdint>
#include <optional>
#include <string>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// The outcome of a steer.
enum class SteerOutcome : std::uint8_t {
  kMoved,             // the client came to the other interface
  kReturned,          // it left, and came back to the same interface
  kReturnedOrStayed,  // the next poll saw it where it was; the log has no events of hostapd
  kStayed,            // the next poll saw it where it was, and hostapd did not report that it left
  kLost,              // a command could not be sent, and the client was not seen to leave
  kNotSeenAgain,      // the log does not show it again
  kUnknown,           // the daemon forgot its clients before it saw this one again
};

// One steer of a client and what followed.
struct SteerRecord {
  platform::WallTime time;
  std::string interface;  // empty if the log does not show it
  std::uint8_t metric = 0;
  platform::TimeSpan steer_interval{};  // the assumed one

  bool is_command_lost = false;
  bool has_events = false;  // hostapd's events of the interface are in the log
  bool has_left = false;
  bool is_cut_off = false;  // the daemon, or its steering, was restarted
  // The first sign of the client after the steer: an event of hostapd, else a poll.
  std::optional<platform::WallTime> back;
  bool is_back_by_event = false;
  std::string back_interface;
  bool has_moved = false;
  // At the first poll that judged it again.
  std::optional<std::uint8_t> metric_after;
};

SteerOutcome OutcomeOf(const SteerRecord& steer);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_EXPLAIN_STEER_RECORD_H_
