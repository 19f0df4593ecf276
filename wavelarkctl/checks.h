#ifndef WAVELARKCTL_CHECKS_H_
#define WAVELARKCTL_CHECKS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "wavelarkctl/machine.h"

namespace orvane::wavelarkctl {

// kWarning: works, but not as it should, or could not be seen. kFailure: something does not work.
enum class Level : std::uint8_t { kOk, kWarning, kFailure };

// One line of a check.
struct Finding {
  Level level = Level::kOk;
  std::string text;
  std::string advice{};  // what to do; empty if nothing is to be done
};

using Findings = std::vector<Finding>;

// One subject and what looks at it.
struct Check {
  std::string_view subject;
  Findings (*run)(Machine& machine);
};

// All checks, in the order in which they are shown.
const std::vector<Check>& AllChecks();

// "ok", "warning" or "failure".
std::string_view LevelText(Level level);

// "PATH is missing", or what else is wrong with it by errno.
std::string ProblemText(std::string_view path, int error);

Findings CheckProgram(Machine& machine);
Findings CheckUser(Machine& machine);
Findings CheckInterfaces(Machine& machine);
Findings CheckNl80211(Machine& machine);
Findings CheckHostapd(Machine& machine);
Findings CheckBus(Machine& machine);
Findings CheckFlagsService(Machine& machine);
Findings CheckSettings(Machine& machine);
Findings CheckRecorder(Machine& machine);
Findings CheckSalt(Machine& machine);
Findings CheckUnit(Machine& machine);
Findings CheckDropIns(Machine& machine);
Findings CheckClock(Machine& machine);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_CHECKS_H_
