// The daemon with the distribution's hostapd, which needs no radio for its control sockets.

#include "testbed/real_hostapd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstddef>
#include <filesystem>
#include <string>

namespace orvane::ap {
namespace {

using ::testing::IsEmpty;

constexpr char kMac[] = "00:11:22:33:44:55";

class RealHostapdTest : public RealHostapd {
 protected:
  // The daemon attaches, and then hears events.
  void ExpectAttached() {
    EXPECT_TRUE(IsAttached());
    const std::string event = "Received unknown event: AP-ENABLED";
    const std::size_t heard = LogCount("INFO", event);
    Command("disable");
    Command("enable");
    ExpectLogged("INFO", event, heard + 1);
  }
};

TEST_F(RealHostapdTest, EventsComeIn) {
  StartBus();
  StartHostapd();
  StartDaemon({"--v=1"});
  ExpectAttached();
  Command("new_sta", kMac);
  ExpectLogged("VERBOSE1", "Callback: 1 mac: 00:11:22:33:44:55");
  Command("deauthenticate", kMac);
  ExpectLogged("VERBOSE1", "Callback: 2 mac: 00:11:22:33:44:55");
  EXPECT_THAT(LogTexts("ERROR"), IsEmpty());
}

// One that stops takes its control directory with it, unless there is something else in it.
TEST_F(RealHostapdTest, StoppedAndStarted) {
  StartBus();
  const Hostapd wlan2400(kWlan2400);
  StartHostapd();
  StartDaemon({"--v=1"});
  ExpectAttached();
  StopHostapd(SIGTERM);
  ExpectLogged("INFO", "Received unknown event: CTRL-EVENT-TERMINATING");
  ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)");
  StartHostapd();
  ExpectAttached();
  EXPECT_EQ(LogCount("WARNING", "Already attached, resetting state."), 0U);
}

// It leaves its socket file behind, and makes a new one on starting.
TEST_F(RealHostapdTest, KilledAndStarted) {
  StartBus();
  StartHostapd();
  StartDaemon({"--v=1"});
  ExpectAttached();
  StopHostapd(SIGKILL);
  ASSERT_TRUE(platform::PathExists(ControlSocketPath(kWlan5000)));
  StartHostapd();
  ExpectAttached();
}

TEST_F(RealHostapdTest, StartedAfterTheDaemon) {
  StartBus();
  std::filesystem::create_directories(kControlDirectory);
  StartDaemon({"--v=1"});
  StartHostapd();
  ExpectAttached();
}

TEST_F(RealHostapdTest, SocketDeletedUnderIt) {
  StartBus();
  StartHostapd();
  StartDaemon({"--v=1"});
  ExpectAttached();
  std::filesystem::remove(ControlSocketPath(kWlan5000));
  StopHostapd(SIGKILL);
  ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)");
  StartHostapd();
  ExpectAttached();
}

TEST_F(RealHostapdTest, HungOneHoldsNothingUp) {
  StartBus();
  StartHostapd();
  Hostapd wlan2400(kWlan2400);
  StartDaemon({"--v=1"});
  wlan2400.Attach();
  ExpectAttached();
  hostapd().Signal(SIGSTOP);
  // Its queue takes no more: not even the leave-taking.
  FillQueue(kWlan5000);
  Settle(wlan2400);
  ExpectQuickExit(SIGTERM);
  wlan2400.ExpectCommand("DETACH");
  EXPECT_EQ(LogCount("ERROR", "Send to hostapd failed: Resource temporarily unavailable (11)"), 1U);
}

TEST_F(RealHostapdTest, IsDetachedAtTheEnd) {
  StartBus();
  StartHostapd();
  StartDaemon();
  ExpectAttached();
  ExpectQuickExit(SIGTERM);
  EXPECT_TRUE(hostapd().out().WaitForLine("CTRL_IFACE monitor detached", kPatience));
}

}  // namespace
}  // namespace orvane::ap
