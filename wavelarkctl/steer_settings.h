#ifndef WAVELARKCTL_STEER_SETTINGS_H_
#define WAVELARKCTL_STEER_SETTINGS_H_

#include <string>
#include <string_view>
#include <vector>

#include "optimizer/client_steer.h"
#include "platform/files.h"
#include "wavelarkctl/decision.h"

namespace orvane::wavelarkctl {

// The settings of the daemon that steering depends on.
struct SteerSettings {
  bool is_enabled = true;
  ap::ClientSteerSettings policy;
};

// Those of a daemon without flags, except that steering is enabled.
SteerSettings DefaultSteerSettings();

// Applies "FLAG=VALUE", a flag of the daemon's command line that concerns steering. As in the
// daemon, metrics are truncated to 8 bits. Throws a Failure (kUsage) for anything else.
void ApplyFlag(std::string_view text, SteerSettings* settings);

// Applies the settings of a file for ap-wavelark-flags (flags/flags_text.h), on top of what is
// there, as the daemon does. Returns warnings, each as "FILE:LINE: REASON". Throws a Failure: kData
// for a wrong file, kUnavailable for one that can't be read.
std::vector<std::string> ApplyFlagsFile(const platform::FilePath& file, SteerSettings* settings);

SteerLimits LimitsOf(const ap::ClientSteerSettings& policy);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_STEER_SETTINGS_H_
