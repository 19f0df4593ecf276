// Many clients are steered in one pass: more commands than hostapd's queue holds.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "testbed/real_hostapd.h"
#include "testbed/steering_access_point.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::Each;
using ::testing::IsEmpty;

constexpr char kUndelivered[] = "Send to hostapd failed: Resource temporarily unavailable (11)";

// A pass is either well before or well after the end of the stations' steer interval.
const std::vector<std::string> kSteerAllInTheSecondPass = {"--enable_client_steering",
                                                           "--client_steering_interval=1",
                                                           "--client_steering_poll_interval=2"};

std::vector<std::string> Macs(std::size_t count) {
  std::vector<std::string> macs;
  for (std::size_t i = 0; i < count; ++i) {
    macs.push_back(fmt::format("02:00:00:00:{:02x}:{:02x}", i / 256, i % 256));
  }
  return macs;
}

// Returns stations that must all be steered in the same pass.
std::vector<std::string> Crowd(const std::string& interface, std::size_t count) {
  std::vector<std::string> stations;
  for (const std::string& mac : Macs(count)) stations.push_back(interface + " " + mac + " -82");
  return stations;
}

// Returns the addresses behind `key` in a text, in order.
std::vector<std::string> MacsBehind(std::string_view key, std::string_view text) {
  constexpr std::size_t kLength = 17;
  std::vector<std::string> macs;
  for (std::size_t at = text.find(key); at != text.npos; at = text.find(key, at)) {
    at += key.size();
    macs.emplace_back(text.substr(at, kLength));
  }
  return macs;
}

class SimulatedKernelWithRealHostapd : public AccessPointTest,
                                       public ::testing::WithParamInterface<std::size_t> {
 protected:
  RealHostapd hostapd_{ap_.directory()};
};

TEST_P(SimulatedKernelWithRealHostapd, HostapdGetsEveryCommandInOrder) {
  constexpr std::string_view kReceived = "CTRL_IFACE DISASSOCIATE ";
  const std::size_t count = GetParam();
  std::string stations = std::string(kWlan2400) + "\n";
  for (const std::string& line : Crowd(kWlan5000, count)) stations += line + "\n";
  WriteFile(ap_.directory() / "stations", stations);
  ap_.set_daemon_command({DAEMON_ON_FAKE_KERNEL_PATH, ap_.directory() / "stations"});
  ap_.StartBus();
  hostapd_.Start();
  ap_.StartDaemon(kSteerAllInTheSecondPass);
  EXPECT_TRUE(hostapd_.IsAttached());
  EXPECT_TRUE(WaitUntil([&] { return ap_.daemon().err().Count(" Steer Client ") >= count; }));
  EXPECT_TRUE(WaitUntil([&] { return hostapd_.process().out().Count(kReceived) >= count; }));
  const std::vector<std::string> received = MacsBehind(kReceived, hostapd_.process().out().Text());
  std::cout << received.size() << " of " << count << " commands received\n";
  EXPECT_EQ(received, Macs(count));
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Clients, SimulatedKernelWithRealHostapd,
                         ::testing::Values(20U, 40U, 100U, 500U),
                         ::testing::PrintToStringParamName());

class SteeringCrowdTest : public SteeringAccessPointTest {
 protected:
  static constexpr std::size_t kClients = 500;

  void StartWithCrowd() {
    SteeringAccessPoint::Lines lines = Crowd(kWlan2400, kClients);
    ap_.SetStations(lines);
    Arguments arguments = kSteerAllInTheSecondPass;
    arguments.push_back("--v=0");
    ap_.Start(arguments);
  }

  bool IsCrowdSteered() { return ap_.daemon().err().Count(" Steer Client ") >= kClients; }
};

// Half a second for all commands, plus the time for reading and answering.
TEST_F(SteeringCrowdTest, SlowHostapdGetsEveryCommand) {
  StartWithCrowd();
  for (const std::string& mac : Macs(kClients)) {
    ap_.wlan2400().ExpectCommand("DISASSOCIATE " + mac + " reason=5");
    std::this_thread::sleep_for(milliseconds(1));
    ap_.wlan2400().Send("OK\n");
  }
  EXPECT_TRUE(IsCrowdSteered());
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
}

using SteeringCrowdFault = SteeringCrowdTest;

// Events of the other hostapd are handled all the time, even between the pass and the loss of the
// commands.
TEST_F(SteeringCrowdFault, HungHostapdDoesNotBlockTheDaemon) {
  StartWithCrowd();
  EXPECT_TRUE(WaitUntil([&] { return IsCrowdSteered(); }));
  steady_clock::duration longest{};
  while (ap_.daemon().err().Count(kUndelivered) == 0 && !HasFailure()) {
    const auto begin = steady_clock::now();
    ap_.Settle(ap_.wlan5000());
    longest = std::max(longest, steady_clock::now() - begin);
  }
  std::cout << "longest answer: " << std::chrono::duration_cast<milliseconds>(longest).count()
            << " ms\n";
  // The queue keeps the first commands. All others are lost, with a line for each.
  std::size_t received = 0;
  for (const std::string& mac : Macs(kClients)) {
    const auto command = ap_.wlan2400().WaitForCommand(milliseconds(0));
    if (!command.has_value()) break;
    EXPECT_EQ(command->text, "DISASSOCIATE " + mac + " reason=5");
    ++received;
  }
  EXPECT_GT(received, 0U);
  ap_.ExpectLogged("ERROR", kUndelivered, kClients - received);
  const std::vector<std::string> errors = ap_.LogTexts("ERROR");
  EXPECT_EQ(errors.size(), kClients - received);
  EXPECT_THAT(errors, Each(kUndelivered));
  // An event was handled after the pass and before the first loss.
  const std::string log = ap_.daemon().err().Text();
  const std::size_t last_steer = log.rfind(" Steer Client ");
  EXPECT_LT(log.find("SETTLE-", last_steer), log.find(kUndelivered));
  // hostapd reads again and is still attached.
  ap_.ExpectQuickExit(SIGTERM);
  ap_.wlan2400().ExpectCommand("DETACH");
}

}  // namespace
}  // namespace orvane::testbed
