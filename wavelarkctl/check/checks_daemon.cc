// The checks of the daemon itself: program, user, settings, salt, unit.

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include "common/run_time_flags.h"
#include "flags/flags_directories.h"
#include "optimizer/station_id_generator.h"
#include "platform/text.h"
#include "wavelarkctl/check/checks.h"
#include "wavelarkctl/check/unit_files.h"
#include "wavelarkctl/daemon_options.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/log/assumed_settings.h"
#include "wavelarkctl/steer_settings.h"

namespace orvane::wavelarkctl {
namespace {

constexpr char kProgram[] = "/usr/sbin/ap-wavelark";
constexpr unsigned kRead = 4;
constexpr mode_t kForOthers = S_IROTH | S_IWOTH;
constexpr off_t kShortSalt = 16;
constexpr char kMakeSalt[] =
    "head -c 32 /dev/urandom | install -D -m 0640 -g ap-wavelark /dev/stdin ";

// Settings

struct EffectiveSettings {
  DaemonOptions options;
  flags::FlagMap flags;
  std::string flags_origin;
};

// Reads the map from the flags service, or from the flags files if the service does not answer.
flags::FlagMap FindFlags(Machine& machine, std::string* origin) {
  std::string problem;
  if (machine.bus().FindOwner(kFlagsName)) {
    if (const auto map = machine.bus().ReadFlags(&problem)) {
      *origin = "the flags service";
      return *map;
    }
  }
  *origin = "the flags files";
  const flags::Reading reading =
      flags::ReadFlagsDirectories(flags::DefaultFlagsDirectories(machine.root));
  return reading.errors.empty() ? reading.flags : flags::FlagMap();
}

bool IsSwitchedOn(bool by_command_line, const flags::FlagMap& flags, const char* key) {
  const auto found = flags.find(key);
  if (found == flags.end()) return by_command_line;
  if (found->second == ap::kEnabledValue) return true;
  return found->second != ap::kDisabledValue && by_command_line;
}

// Finds metrics that the daemon truncates.
void FindTruncated(const ap::OptimizerFlags& flags, Findings* findings) {
  for (const SteerFlag& flag : kSteerFlags) {
    if (!IsMetric(flag.setting)) continue;
    const std::int32_t value = flags.*flag.field;
    const auto used = static_cast<std::uint8_t>(value);
    if (used == value) continue;
    findings->push_back({Level::kWarning,
                         fmt::format("{}={} is truncated to {}", flag.name, value, used),
                         "use a value from 0 to 255"});
  }
}

// Checks the map as ap-wavelark-flags does: another program may provide the flags service.
void FindBadFlags(const EffectiveSettings& settings, Findings* findings) {
  for (const auto& [key, value] : settings.flags) {
    flags::Reading reading;
    flags::ReadFlags("", fmt::format("{}={}\n", key, value), &reading);
    for (const std::string& error : reading.errors) {
      findings->push_back({Level::kFailure,
                           fmt::format("{}: {}", settings.flags_origin, error.substr(4)),
                           "correct it: the daemon aborts on a non-numeric value"});
    }
    for (const std::string& warning : reading.warnings) {
      findings->push_back({Level::kWarning,
                           fmt::format("{}: {}", settings.flags_origin, warning.substr(4)),
                           "the daemon ignores this key: ap-wavelark(8) lists the keys"});
    }
  }
}

std::string SteeringText(const AssumedSettings& assumed) {
  std::string text = "steering is on:";
  for (const auto& [name, value, origin] : assumed.Describe()) {
    text += fmt::format(" {} {},", name, value);
  }
  text.pop_back();
  return text;
}

void JudgeSteering(const EffectiveSettings& settings, Findings* findings) {
  const ap::OptimizerFlags& flags = settings.options.flags;
  if (!IsSwitchedOn(flags.enable_client_steering, settings.flags, ap::kClientSteeringFlag)) {
    findings->push_back({Level::kOk, "steering is off"});
    return;
  }
  AssumedSettings assumed;
  assumed.TakeCommandLine(flags, kDaemonDefaultsFile);
  assumed.TakeFlags(settings.flags, flags.is_root, settings.flags_origin);
  findings->push_back({Level::kOk, SteeringText(assumed)});
  const SteerLimits limits = assumed.limits();
  if (limits.lqm_floor < limits.lqm_hysteresis + 2) {
    findings->push_back({Level::kWarning,
                         fmt::format("with floor {} and hysteresis {} no client is ever steered "
                                     "for the first time",
                                     limits.lqm_floor, limits.lqm_hysteresis),
                         "set the floor at least 10 above the hysteresis"});
  }
  if (limits.steer_interval < std::chrono::minutes(1)) {
    findings->push_back({Level::kWarning,
                         fmt::format("a client may be steered again after {}",
                                     platform::FormatTimeSpan(limits.steer_interval)),
                         "set the steer interval to minutes"});
  }
  if (assumed.poll_interval() < std::chrono::seconds(1)) {
    findings->push_back({Level::kWarning, "the poll interval is below 1 s: the daemon uses 1 s",
                         "set it to 10 to 60 s"});
  }
}

// Salt

Finding JudgeSalt(const Machine& machine, const std::string& path, const struct stat& status) {
  if (status.st_size == 0) {
    return {Level::kFailure, path + " is empty: anyone can reverse the identifiers",
            kMakeSalt + path + ", then restart the daemon"};
  }
  if ((status.st_mode & kForOthers) != 0) {
    return {Level::kFailure,
            fmt::format("{} has mode {:04o}: any user can read or write it", path,
                        status.st_mode & 07777u),
            fmt::format("chgrp {0} {1} && chmod 0640 {1}; users may have read it already",
                        kDaemonUser, path)};
  }
  if (const auto account = machine.FindAccount(kDaemonUser)) {
    const std::string obstacle = machine.FindObstacle(*account, path, kRead);
    if (!obstacle.empty()) {
      return {Level::kFailure, fmt::format("{} can't read {}", kDaemonUser, obstacle),
              obstacle == path
                  ? fmt::format("chgrp {0} {1} && chmod 0640 {1}, then restart the daemon",
                                kDaemonUser, path)
                  : fmt::format("chmod 0755 {}, then restart the daemon", obstacle)};
    }
  }
  if (status.st_size < kShortSalt) {
    return {Level::kWarning,
            fmt::format("{} has {}", path, Count(static_cast<std::size_t>(status.st_size), "byte")),
            "use 32 random bytes"};
  }
  return {Level::kOk,
          fmt::format("{} has {}", path, Count(static_cast<std::size_t>(status.st_size), "byte"))};
}

// Settings of the unit

struct UnitRule {
  const char* key;
  bool (*is_wrong)(std::string_view value);
  Level level;
  std::string_view reason;
};

bool IsYes(std::string_view value) {
  constexpr std::array<std::string_view, 6> kWords = {"1", "yes", "y", "true", "t", "on"};
  return std::ranges::any_of(kWords, [value](std::string_view word) {
    return value.size() == word.size() && strncasecmp(value.data(), word.data(), word.size()) == 0;
  });
}
// A list after '~' forbids, another list allows. Without a list, all families are allowed.
bool LacksFamilies(std::string_view value) {
  const bool has_unix = value.find("AF_UNIX") != std::string_view::npos;
  const bool has_netlink = value.find("AF_NETLINK") != std::string_view::npos;
  if (value.empty() || value.starts_with('~')) return has_unix || has_netlink;
  return !has_unix || !has_netlink;
}
// The other values restart a daemon that has aborted.
bool IgnoresAborts(std::string_view value) {
  return value == "no" || value == "on-success" || value == "on-watchdog";
}
bool IsOtherUser(std::string_view value) { return value != kDaemonUser; }
bool IsOtherType(std::string_view value) { return value != "notify"; }

constexpr std::array<UnitRule, 5> kUnitRules = {{
    {"PrivateNetwork", IsYes, Level::kFailure, "the daemon can't reach nl80211 and hostapd"},
    {"RestrictAddressFamilies", LacksFamilies, Level::kFailure,
     "the daemon needs AF_UNIX and AF_NETLINK"},
    {"Restart", IgnoresAborts, Level::kWarning, "the daemon is not restarted after a failed check"},
    {"User", IsOtherUser, Level::kWarning, "files and bus policy are for ap-wavelark"},
    {"Type", IsOtherType, Level::kWarning, "watchdog and readiness need Type=notify"},
}};

Findings JudgeUnit(const UnitState& unit) {
  if (unit.load == "masked") {
    return {{Level::kFailure, "ap-wavelark.service is masked", "systemctl unmask ap-wavelark"}};
  }
  if (unit.load != "loaded") {
    return {{Level::kFailure, "there is no unit ap-wavelark.service", "apt install ap-wavelark"}};
  }
  Findings findings;
  if (unit.active == "active") {
    findings.push_back({Level::kOk, "ap-wavelark.service is active"});
  } else {
    findings.push_back(
        {Level::kFailure,
         fmt::format("ap-wavelark.service is {} (result: {})", unit.active, unit.result),
         "systemctl restart ap-wavelark, then journalctl -u ap-wavelark -p err"});
  }
  if (unit.restarts > 0) {
    findings.push_back({Level::kWarning,
                        fmt::format("it was restarted {}", Count(unit.restarts, "time")),
                        "journalctl -u ap-wavelark -p err"});
  }
  if (unit.needs_reload) {
    findings.push_back({Level::kWarning, "its files have changed since systemd read them",
                        "systemctl daemon-reload, then restart the daemon"});
  }
  return findings;
}

}  // namespace

Findings CheckProgram(Machine& machine) {
  const PathState state = machine.Look(kProgram);
  if (!state.IsThere()) {
    return {{Level::kFailure, ProblemText(kProgram, state.error), "apt install ap-wavelark"}};
  }
  return {{Level::kOk, fmt::format("{} exists", kProgram)}};
}

Findings CheckUser(Machine& machine) {
  const auto account = machine.FindAccount(kDaemonUser);
  if (!account) {
    return {{Level::kFailure, fmt::format("there is no user {}", kDaemonUser),
             "systemd-sysusers, or install the package again"}};
  }
  std::string groups;
  for (const gid_t group : account->groups) groups += " " + machine.GroupName(group);
  return {{Level::kOk, fmt::format("{} is in the groups{}", kDaemonUser, groups)}};
}

Findings CheckSettings(Machine& machine) {
  EffectiveSettings settings = {.options = ParseDaemonOptions(""), .flags = {}, .flags_origin = {}};
  Findings findings;
  if (const auto options = ReadDaemonOptions(machine.root)) {
    settings.options = *options;
  } else if (errno != ENOENT) {
    findings.push_back(
        {Level::kWarning, ProblemText(kDaemonDefaultsFile, errno), "run the check as root"});
  }
  if (!settings.options.error.empty()) {
    return {{Level::kFailure, fmt::format("{}: {}", kDaemonDefaultsFile, settings.options.error),
             "correct DAEMON_OPTS: the daemon does not start with it"}};
  }
  settings.flags = FindFlags(machine, &settings.flags_origin);
  JudgeSteering(settings, &findings);
  const bool has_events = IsSwitchedOn(settings.options.flags.enable_connection_event_stats,
                                       settings.flags, ap::kConnectionEventsFlag);
  findings.push_back({Level::kOk, has_events ? "event reporting is on" : "event reporting is off"});
  FindTruncated(settings.options.flags, &findings);
  FindBadFlags(settings, &findings);
  return findings;
}

Findings CheckSalt(Machine& machine) {
  const std::string path = ap::StationIdGenerator::kSaltFile;
  const PathState state = machine.Look(path);
  if (state.error == EACCES) {
    return {{Level::kWarning, "this user can't access " + path, "run the check as root"}};
  }
  if (!state.IsThere()) {
    return {{Level::kFailure, ProblemText(path, state.error) + ": records have no identifiers",
             kMakeSalt + path}};
  }
  return {JudgeSalt(machine, path, state.status)};
}

Findings CheckUnit(Machine& machine) {
  if (const auto unit = machine.unit(machine.bus())) return JudgeUnit(*unit);
  return {{Level::kWarning, "systemd does not answer, so the unit can't be checked",
           "run the check where the daemon runs"}};
}

Findings CheckSandbox(Machine& machine) {
  const auto unit = machine.unit(machine.bus());
  const auto settings = unit ? unit->settings : ReadUnitFiles(machine, "ap-wavelark.service");
  if (settings.empty()) return {};  // CheckUnit reports this
  Findings findings;
  for (const auto& [key, is_wrong, level, reason] : kUnitRules) {
    const auto found = settings.find(key);
    if (found == settings.end() || !is_wrong(found->second)) continue;
    findings.push_back({level, fmt::format("the unit has {}={}: {}", key, found->second, reason),
                        "systemctl cat ap-wavelark shows the file: remove that line, then "
                        "systemctl daemon-reload and restart the daemon"});
  }
  if (findings.empty()) {
    findings.push_back({Level::kOk, "the unit's settings allow what the daemon needs"});
  }
  return findings;
}

}  // namespace orvane::wavelarkctl
