// The checks of the access point around the daemon: interfaces, kernel, hostapd, clock.

#include <fmt/format.h>

#include <cerrno>
#include <string>

#include "common/interface_names.h"
#include "wavelarkctl/check/checks.h"
#include "wavelarkctl/check/hostapd_ping.h"

namespace orvane::wavelarkctl {
namespace {

constexpr char kControlDirectory[] = "/run/hostapd";
constexpr char kBridgeDirectory[] = "/run/ap-wavelark/hostapd";
constexpr char kBridgeDropIn[] = "/usr/lib/systemd/system/ap-wavelark.service.d/bridge.conf";
constexpr unsigned kReadAndSearch = 5;
constexpr unsigned kWrite = 2;

Finding CheckInterface(Machine& machine, const std::string& name) {
  const unsigned index = machine.interface_index(name);
  if (index == 0) {
    return {Level::kFailure, fmt::format("there is no interface {}", name),
            fmt::format("rename it, or add an alternative name: ip link property add dev wlan0 "
                        "altname {}",
                        name)};
  }
  const std::string real_name = machine.interface_name(index);
  const std::string text = real_name == name
                               ? fmt::format("{} has index {}", name, index)
                               : fmt::format("{} is {}, index {}", name, real_name, index);
  if (!machine.Look("/sys/class/net/" + real_name + "/phy80211").IsThere()) {
    return {Level::kFailure, text + ", but is not a Wi-Fi interface",
            "give this name to a Wi-Fi interface"};
  }
  return {Level::kOk, text};
}

// If the bridge is installed, the daemon uses its sockets instead of hostapd's.
std::string ControlDirectory(const Machine& machine) {
  return machine.Look(kBridgeDropIn).IsThere() ? kBridgeDirectory : kControlDirectory;
}

Finding CheckControlDirectory(const Machine& machine, const std::string& directory) {
  const PathState state = machine.Look(directory);
  if (!state.IsThere()) {
    return {Level::kFailure, ProblemText(directory, state.error),
            directory == kBridgeDirectory
                ? "systemd-tmpfiles --create, then systemctl restart ap-wavelark-bridge"
                : "set ctrl_interface=/run/hostapd in hostapd's configuration, "
                  "systemd-tmpfiles --create, then restart the daemon"};
  }
  if (!S_ISDIR(state.status.st_mode)) {
    return {Level::kFailure, directory + " is not a directory", "remove it, then restart hostapd"};
  }
  const auto account = machine.FindAccount(kDaemonUser);
  if (!account) return {Level::kOk, directory + " exists"};
  const std::string obstacle = machine.FindObstacle(*account, directory, kReadAndSearch);
  if (obstacle.empty()) return {Level::kOk, fmt::format("{} can read {}", kDaemonUser, directory)};
  return {Level::kFailure, fmt::format("{} can't read {}", kDaemonUser, obstacle),
          fmt::format("chgrp {} {} && chmod 2750 {}, then restart the daemon", kDaemonUser,
                      obstacle, obstacle)};
}

Finding ExplainSilence(const std::string& socket, int error) {
  const std::string text = ProblemText(socket, error);
  switch (error) {
    case ENOENT:
      return {Level::kFailure, text, "start hostapd for this interface"};
    case ECONNREFUSED:
      return {Level::kFailure, socket + " is left over from an earlier hostapd", "start hostapd"};
    case ETIMEDOUT:
      return {Level::kFailure, socket + " does not answer within 2 s", "restart hostapd"};
    default:
      return {Level::kFailure, text, ""};
  }
}

Finding CheckSocket(const Machine& machine, const std::string& socket) {
  const PathState state = machine.Look(socket);
  if (state.error == EACCES) {
    return {Level::kWarning, "this user can't access " + socket, "run the check as root"};
  }
  if (!state.IsThere()) return ExplainSilence(socket, state.error);
  const auto account = machine.FindAccount(kDaemonUser);
  if (account) {
    const std::string obstacle = machine.FindObstacle(*account, socket, kWrite);
    if (!obstacle.empty()) {
      return {Level::kFailure, fmt::format("{} can't use {}", kDaemonUser, obstacle),
              fmt::format("set ctrl_interface_group={} in hostapd's configuration and restart it",
                          kDaemonUser)};
    }
  }
  const PingResult ping = PingHostapd(machine.At(socket));
  if (ping.IsGood()) return {Level::kOk, socket + " answers"};
  if (ping.error == EACCES) {
    return {Level::kWarning, "this user can't connect to " + socket, "run the check as root"};
  }
  if (ping.error != 0) return ExplainSilence(socket, ping.error);
  return {Level::kFailure, socket + " does not answer PONG to PING",
          "find the program that serves it"};
}

}  // namespace

Findings CheckInterfaces(Machine& machine) {
  Findings findings;
  for (const char* name : ap::kMainInterfaces) findings.push_back(CheckInterface(machine, name));
  return findings;
}

Findings CheckNl80211(Machine& machine) {
  if (machine.has_nl80211()) return {{Level::kOk, "the kernel has nl80211"}};
  return {{Level::kFailure, "the kernel has no nl80211",
           "modprobe cfg80211, then restart the daemon: it looks for nl80211 only at its start"}};
}

Findings CheckHostapd(Machine& machine) {
  const std::string directory = ControlDirectory(machine);
  Findings findings = {CheckControlDirectory(machine, directory)};
  if (findings.front().level == Level::kFailure && !machine.Look(directory).IsThere()) {
    return findings;
  }
  for (const std::string name : ap::kMainInterfaces) {
    findings.push_back(CheckSocket(machine, fmt::format("{}/{}", directory, name)));
  }
  return findings;
}

Findings CheckClock(Machine& machine) {
  if (machine.is_clock_synchronized()) return {{Level::kOk, "the clock is synchronized"}};
  return {{Level::kWarning, "the clock is not synchronized: setting it moves the times of steers",
           "start a time service, such as systemd-timesyncd"}};
}

}  // namespace orvane::wavelarkctl
