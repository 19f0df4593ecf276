#ifndef WAVELARKCTL_CHECK_CHECKS_H_
#define WAVELARKCTL_CHECK_CHECKS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "wavelarkctl/check/machine.h"

namespace orvane::wavelarkctl {

// kWarning: works, but not as it should, or could not be checked. kFailure: does not work.
enum class Level : std::uint8_t { kOk, kWarning, kFailure };

// One result of a check.
struct Finding {
  Level level = Level::kOk;
  std::string text;
  std::string advice{};  // what to do; empty for kOk
};

using Findings = std::vector<Finding>;

using CheckFunction = Findings(Machine& machine);

// A subject and its check.
struct Check {
  std::string_view subject;
  CheckFunction* run;
};

// All checks, in the order in which they are shown.
const std::vector<Check>& AllChecks();

// "ok", "warning" or "failure".
std::string_view LevelText(Level level);

// "PATH is missing" for ENOENT, otherwise the path with the text of the error.
std::string ProblemText(std::string_view path, int error);

CheckFunction CheckProgram, CheckUser, CheckInterfaces, CheckNl80211, CheckHostapd, CheckBus,
    CheckFlagsService, CheckSettings, CheckRecorder, CheckSalt, CheckUnit, CheckSandbox, CheckClock;

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_CHECK_CHECKS_H_
