#ifndef TESTBED_STEERING_WORLD_H_
#define TESTBED_STEERING_WORLD_H_

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "optimizer/client_steer.h"
#include "optimizer/hostapd_interface.h"
#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "platform/netlink/netlink_manager.h"
#include "simulation/fake_kernel.h"
#include "testbed/log_capture.h"

namespace orvane::testbed {

// Stores the commands instead of sending them.
class JournalHostapd : public ap::HostapdInterface {
 public:
  using ap::HostapdInterface::HostapdInterface;

  void SendCommand(const std::string& interface_name, const std::string& command) override {
    commands.push_back(interface_name + ": " + command);
  }

  std::vector<std::string> commands;
};

// The steering service with a simulated kernel, in virtual time. Stations are numbered; the number
// is the last byte of their address.
class SteeringWorld {
 public:
  static constexpr char k2400[] = "wlan-2400mhz";
  static constexpr char k5000[] = "wlan-5000mhz";

  explicit SteeringWorld(const ap::ClientSteerSettings& settings = DefaultSettings()) {
    platform::SetVerboseLevel(1);
    kernel.AddInterface(k2400, 3);
    kernel.AddInterface(k5000, 4);
    netlink.SetNl80211MessageType(netlink.GetFamily("nl80211"));
    netlink.Start(loop);
    steer = std::make_unique<ap::ClientSteer>(
        loop, &netlink, std::vector<std::string>{k2400, k5000}, &hostapd, settings);
  }
  ~SteeringWorld() { platform::SetVerboseLevel(0); }

  static ap::ClientSteerSettings DefaultSettings() {
    return {.steer_interval = std::chrono::minutes(10),
            .poll_interval = std::chrono::minutes(1),
            .lqm_hysteresis = 15,
            .is_root = true,
            .root_lqm_floor = 30,
            .child_lqm_floor = 40};
  }

  static std::string Mac(int number) { return fmt::format("02:00:00:00:00:{:02x}", number); }

  static std::string Steered(const std::string& interface, int number) {
    return interface + ": DISASSOCIATE " + Mac(number) + " reason=5";
  }

  simulation::FakeKernel::Station& Join(const std::string& interface, int number, int signal_dbm) {
    simulation::FakeKernel::Station station;
    station.address = {2, 0, 0, 0, 0, static_cast<std::uint8_t>(number)};
    station.signal_average = static_cast<std::int8_t>(signal_dbm);
    return kernel.Stations(interface).emplace_back(station);
  }

  void Leave(const std::string& interface, int number) {
    std::erase_if(kernel.Stations(interface),
                  [&](const auto& station) { return station.address[5] == number; });
  }

  void SetSignal(const std::string& interface, int number, int signal_dbm) {
    for (simulation::FakeKernel::Station& station : kernel.Stations(interface)) {
      if (station.address[5] == number) {
        station.signal_average = static_cast<std::int8_t>(signal_dbm);
      }
    }
  }

  void Pass(platform::TimeSpan span) { loop.AdvanceBy(span); }

  // Return what has been added since the last call.
  std::vector<std::string> TakeCommands() { return std::exchange(hostapd.commands, {}); }
  std::vector<std::string> TakeLog() { return std::exchange(log, {}); }

  // Returns the log lines since the last call that contain `text`.
  std::vector<std::string> TakeLog(std::string_view text) {
    std::vector<std::string> lines = TakeLog();
    std::erase_if(lines,
                  [&](const std::string& line) { return line.find(text) == std::string::npos; });
    return lines;
  }

  SilentLog silent_log;
  platform::ManualLoop loop;
  simulation::FakeKernel kernel;
  platform::NetlinkManager netlink{kernel};
  JournalHostapd hostapd{loop, "/nonexistent"};
  std::vector<std::string> log;
  platform::LogListener listener{
      [this](platform::Severity /*severity*/, std::string_view text) { log.emplace_back(text); }};
  std::unique_ptr<ap::ClientSteer> steer;
};

}  // namespace orvane::testbed

#endif  // TESTBED_STEERING_WORLD_H_
