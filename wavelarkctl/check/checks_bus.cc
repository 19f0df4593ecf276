// The checks of the system bus and of the two services on it.

#include <fmt/format.h>

#include <array>
#include <string>
#include <string_view>

#include "flags/flags_directories.h"
#include "wavelarkctl/check/checks.h"

namespace orvane::wavelarkctl {
namespace {

constexpr char kDaemonName[] = "org.velmora.ap.Wavelark";
constexpr char kRecorderName[] = "org.velmora.ap.Quillary";
constexpr std::array<std::string_view, 2> kPolicyDirectories = {"/usr/share/dbus-1/system.d",
                                                                "/etc/dbus-1/system.d"};

bool HasPolicy(const Machine& machine) {
  for (const std::string_view directory : kPolicyDirectories) {
    for (const std::string& file : machine.ListConfigurations(directory)) {
      const auto text = platform::ReadFileToString(machine.At(file));
      if (text && text->find(fmt::format("own=\"{}\"", kDaemonName)) != std::string::npos) {
        return true;
      }
    }
  }
  return false;
}

Finding CheckDaemonName(Machine& machine) {
  const auto owner = machine.bus().FindOwner(kDaemonName);
  if (!owner) {
    return {Level::kFailure, fmt::format("{} has no owner: the daemon does not run", kDaemonName),
            "systemctl start ap-wavelark"};
  }
  const auto account = machine.FindAccount(kDaemonUser);
  if (account && owner->uid != account->uid) {
    return {
        Level::kWarning,
        fmt::format("{} belongs to process {} of user ID {}", kDaemonName, owner->pid, owner->uid),
        "end that process, then systemctl start ap-wavelark"};
  }
  return {Level::kOk, fmt::format("{} belongs to process {}", kDaemonName, owner->pid)};
}

// Checks a service that the daemon calls: it may run, or the bus may start it on demand.
Finding CheckService(Machine& machine, const std::string& name, const std::string& consequence,
                     const std::string& package) {
  if (!machine.bus().error().empty()) {
    return {Level::kWarning, "can't be checked without the bus", "see the finding about the bus"};
  }
  if (const auto owner = machine.bus().FindOwner(name)) {
    return {Level::kOk, fmt::format("{} belongs to process {}", name, owner->pid)};
  }
  if (machine.bus().IsActivatable(name)) {
    return {Level::kOk, fmt::format("the bus starts {} on demand", name)};
  }
  return {Level::kWarning, fmt::format("{} has no owner: {}", name, consequence),
          "apt install " + package};
}

}  // namespace

Findings CheckBus(Machine& machine) {
  if (!machine.bus().error().empty()) {
    return {{Level::kFailure, "the system bus: " + machine.bus().error(),
             "systemctl restart dbus.socket dbus"}};
  }
  Findings findings = {{Level::kOk, "the system bus answers"}, CheckDaemonName(machine)};
  if (!HasPolicy(machine)) {
    findings.push_back({Level::kFailure,
                        fmt::format("no bus policy allows {} to own {}", kDaemonUser, kDaemonName),
                        "install the package again, then systemctl reload dbus"});
  }
  return findings;
}

Findings CheckFlagsService(Machine& machine) {
  Findings findings = {CheckService(machine, kFlagsName, "settings can't be changed at run time",
                                    "ap-wavelark-flags")};
  std::string problem;
  if (machine.bus().FindOwner(kFlagsName) && !machine.bus().ReadFlags(&problem)) {
    findings.push_back(
        {Level::kWarning, "its settings can't be read: " + problem,
         machine.is_root_user ? "systemctl restart ap-wavelark-flags" : "run the check as root"});
  }
  const flags::Reading reading =
      flags::ReadFlagsDirectories(flags::DefaultFlagsDirectories(machine.root));
  for (const std::string& error : reading.errors) {
    findings.push_back(
        {Level::kFailure, error, "correct it: until then no change of the files takes effect"});
  }
  return findings;
}

Findings CheckRecorder(Machine& machine) {
  return {CheckService(machine, kRecorderName, "each batch of events is dropped",
                       "ap-wavelark-recorder")};
}

}  // namespace orvane::wavelarkctl
