#ifndef BRIDGE_OPTIONS_H_
#define BRIDGE_OPTIONS_H_

#include <cstddef>
#include <optional>
#include <vector>

#include "bridge/bridged_interface.h"
#include "platform/files.h"

namespace orvane::bridge {

// The command line.
struct Options {
  platform::FilePath hostapd_directory = "/run/hostapd";
  platform::FilePath directory = "/run/ap-wavelark/hostapd";
  std::vector<InterfaceNames> interfaces;  // default: the daemon's two
  std::size_t queue_lines = 4096;
  platform::FilePath metrics_file;  // empty: none
};

// Parses the command line into `*options` and sets the verbose level. Returns nothing if the bridge
// can start, otherwise the exit code; see platform::CommandLine::Parse.
std::optional<int> ParseOptions(int argc, const char* const* argv, Options* options);

}  // namespace orvane::bridge

#endif  // BRIDGE_OPTIONS_H_
