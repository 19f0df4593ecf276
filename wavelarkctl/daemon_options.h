#ifndef WAVELARKCTL_DAEMON_OPTIONS_H_
#define WAVELARKCTL_DAEMON_OPTIONS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "optimizer/optimizer_flags.h"
#include "platform/files.h"

namespace orvane::wavelarkctl {

// The daemon's command line as its systemd unit has it.
struct DaemonOptions {
  std::string text;  // of DAEMON_OPTS
  ap::OptimizerFlags flags;
  int verbose_level = 0;
  std::string error;  // what the daemon says about a wrong command line; empty if it is good
};

inline constexpr char kDaemonDefaultsFile[] = "/etc/default/ap-wavelark";

// Takes the last DAEMON_OPTS of an environment file (systemd.exec(5)).
std::string FindDaemonOptions(std::string_view environment);

// Gives the words of a text to the daemon's own parser.
DaemonOptions ParseDaemonOptions(const std::string& text);

// Reads kDaemonDefaultsFile below `root`. Returns nothing, with errno set, if it can't be read.
std::optional<DaemonOptions> ReadDaemonOptions(const platform::FilePath& root);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_DAEMON_OPTIONS_H_
