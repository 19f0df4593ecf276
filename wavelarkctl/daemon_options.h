#ifndef WAVELARKCTL_DAEMON_OPTIONS_H_
#define WAVELARKCTL_DAEMON_OPTIONS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "optimizer/optimizer_flags.h"
#include "platform/files.h"

namespace orvane::wavelarkctl {

// The daemon's command line in its systemd unit.
struct DaemonOptions {
  std::string text;  // the value of DAEMON_OPTS
  ap::OptimizerFlags flags;
  int verbose_level = 0;
  std::string error;  // the daemon's message about a wrong command line; empty if it is valid
};

inline constexpr char kDaemonDefaultsFile[] = "/etc/default/ap-wavelark";

// Returns the last value of DAEMON_OPTS in an environment file (systemd.exec(5)). systemd before
// 254 also ignores the line after a comment that ends in a backslash. This function reads that
// line, as later releases do.
std::string FindDaemonOptions(std::string_view environment);

// Parses the words of a text with the daemon's own parser.
DaemonOptions ParseDaemonOptions(const std::string& text);

// Reads kDaemonDefaultsFile below `root`. Returns nothing, with errno set, if it can't be read.
std::optional<DaemonOptions> ReadDaemonOptions(const platform::FilePath& root);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_DAEMON_OPTIONS_H_
