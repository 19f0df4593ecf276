#include "wavelarkctl/check/checks.h"

#include <cerrno>
#include <system_error>

namespace orvane::wavelarkctl {

const std::vector<Check>& AllChecks() {
  static const std::vector<Check> kChecks = {
      {"program", CheckProgram},    {"user", CheckUser},         {"interface", CheckInterfaces},
      {"nl80211", CheckNl80211},    {"hostapd", CheckHostapd},   {"bus", CheckBus},
      {"flags", CheckFlagsService}, {"settings", CheckSettings}, {"recorder", CheckRecorder},
      {"salt", CheckSalt},          {"unit", CheckUnit},         {"sandbox", CheckSandbox},
      {"clock", CheckClock},
  };
  return kChecks;
}

std::string_view LevelText(Level level) {
  switch (level) {
    case Level::kOk:
      return "ok";
    case Level::kWarning:
      return "warning";
    case Level::kFailure:
      return "failure";
  }
  return "";
}

std::string ProblemText(std::string_view path, int error) {
  if (error == ENOENT) return std::string(path) + " is missing";
  return std::string(path) + ": " + std::generic_category().message(error);
}

}  // namespace orvane::wavelarkctl
