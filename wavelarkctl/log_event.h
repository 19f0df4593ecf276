#ifndef WAVELARKCTL_LOG_EVENT_H_
#define WAVELARKCTL_LOG_EVENT_H_

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "common/mac_address.h"
#include "platform/time.h"
#include "wavelarkctl/decision.h"

namespace orvane::wavelarkctl {

// What the daemon's log lines say about steering. The views are into the line.

// The daemon, or its steering, begins: it knows no client.
struct DaemonStarted {};
struct SteeringStarted {
  SteerLimits limits;
  platform::TimeSpan poll_interval;
};
struct SteeringStopped {};

// A poll has judged a client that is not new. Only with --v=1.
struct ClientJudged {
  ap::MacAddress address;
  std::uint8_t metric;
  std::uint8_t last_metric;
  platform::TimeSpan since_last_steer;
};

// Follows the line of the judgement, if there is one.
struct ClientSteered {
  ap::MacAddress address;
  std::uint8_t metric;
  std::uint8_t last_metric;
};

// The command of a steer. Only with --v=1.
struct DisassociateSent {
  ap::MacAddress address;
  std::string_view interface;
};

// Some command did not reach hostapd. The log does not say which.
struct CommandLost {};

// hostapd reports that a client came or left. Only with --v=1.
struct ClientCame {
  ap::MacAddress address;
  std::string_view interface;
};
struct ClientLeft {
  ap::MacAddress address;
  std::string_view interface;
};

// The daemon forgets a client that it has not seen for two steer intervals. Only with --v=1.
struct ClientPruned {
  ap::MacAddress address;
};

// A poll could not ask for the stations of an interface.
struct PollFailed {};

using LogEvent =
    std::variant<DaemonStarted, SteeringStarted, SteeringStopped, ClientJudged, ClientSteered,
                 DisassociateSent, CommandLost, ClientCame, ClientLeft, ClientPruned, PollFailed>;

// Reads a message of the log without white space at its ends. Returns nothing for a message about
// something else, and for one that is not whole.
std::optional<LogEvent> ParseMessage(std::string_view message);

// Reads what platform::FormatTimeSpan writes. Returns nothing for any other text.
std::optional<platform::TimeSpan> ParseTimeSpan(std::string_view text);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_LOG_EVENT_H_
