#ifndef BRIDGE_COUNTERS_H_
#define BRIDGE_COUNTERS_H_

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "bridge/control_event.h"
#include "bridge/event_line.h"

namespace orvane::bridge {

// Number of kinds of hostapd's events (ControlEvent) and of lines.
inline constexpr std::size_t kEventKinds = std::variant_size_v<ControlEvent>;
inline constexpr std::size_t kLineKinds = 6;
// Index of lines that are forwarded unchanged.
inline constexpr std::size_t kPassedOn = kLineKinds - 1;

// The counters of one interface since the start.
struct InterfaceCounters {
  std::string interface;
  std::array<std::uint64_t, kEventKinds> events{};  // by ControlEvent::index()
  std::array<std::uint64_t, kLineKinds> lines{};    // by LineKind, and kPassedOn
  std::uint64_t dropped_lines = 0;                  // a queue was full
  std::uint64_t expired_lines = 0;                  // waited too long for the daemon
  std::uint64_t ignored_events = 0;                 // too many stations
  std::uint64_t stray_answers = 0;                  // answers of hostapd without a command
  std::uint64_t commands = 0;                       // forwarded
  std::uint64_t refused_commands = 0;               // too long, or too many pending
  std::uint64_t lost_answers = 0;                   // the client did not read them
  std::uint64_t attaches = 0;                       // to hostapd
  bool is_attached = false;
  std::size_t waiting_lines = 0;
  std::size_t monitors = 0;
  std::size_t stations = 0;
};

struct Counters {
  std::vector<InterfaceCounters> interfaces;
  std::uint64_t netlink_messages = 0;
  std::uint64_t netlink_losses = 0;
};

// Returns one log line for each interface and one for the kernel's messages.
std::vector<std::string> FormatForLog(const Counters& counters);

// Returns the contents of the metrics file.
std::string FormatMetrics(const Counters& counters);

}  // namespace orvane::bridge

#endif  // BRIDGE_COUNTERS_H_
