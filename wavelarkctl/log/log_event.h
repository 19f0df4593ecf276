#ifndef WAVELARKCTL_LOG_LOG_EVENT_H_
#define WAVELARKCTL_LOG_LOG_EVENT_H_

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "common/mac_address.h"
#include "platform/time.h"
#include "wavelarkctl/decision.h"

namespace orvane::wavelarkctl {

// The daemon's log messages about steering. The views point into the line.

// The daemon or its steering starts. It knows no clients yet.
struct DaemonStarted {};
struct SteeringStarted {
  SteerLimits limits;
  platform::TimeSpan poll_interval;
};
struct SteeringStopped {};

// A poll has judged a client that is not new. Logged only with --v=1.
struct ClientJudged {
  ap::MacAddress address;
  std::uint8_t metric;
  std::uint8_t last_metric;
  platform::TimeSpan since_last_steer;
};

// A poll steers a client. Follows the client's ClientJudged, which is logged only with --v=1.
struct ClientSteered {
  ap::MacAddress address;
  std::uint8_t metric;
  std::uint8_t last_metric;
};

// The command of a steer. Logged only with --v=1.
struct DisassociateSent {
  ap::MacAddress address;
  std::string_view interface;
};

// A command did not reach hostapd. The log does not show which one.
struct CommandLost {};

// hostapd reports that a client came or left. Logged only with --v=1.
struct ClientCame {
  ap::MacAddress address;
  std::string_view interface;
};
struct ClientLeft {
  ap::MacAddress address;
  std::string_view interface;
};

// The daemon forgets a client that it has not seen for two steer intervals. Logged only with --v=1.
struct ClientPruned {
  ap::MacAddress address;
};

// A poll could not get the stations of an interface.
struct PollFailed {};

using LogEvent =
    std::variant<DaemonStarted, SteeringStarted, SteeringStopped, ClientJudged, ClientSteered,
                 DisassociateSent, CommandLost, ClientCame, ClientLeft, ClientPruned, PollFailed>;

// Parses a log message without white space at its ends. Returns nothing for other messages and for
// incomplete ones.
std::optional<LogEvent> ParseMessage(std::string_view message);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_LOG_LOG_EVENT_H_
