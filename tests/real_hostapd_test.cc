// The daemon with the distribution's hostapd, whose control sockets need no radio.

#include "testbed/real_hostapd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstddef>
#include <filesystem>
#include <string>

#include "testbed/access_point.h"
#include "testbed/hostapd.h"
namespace orvane::testbed {
namespace {

using ::testing::IsEmpty;

constexpr char kMac[] = "00:11:22:33:44:55";

class RealHostapdTest : public AccessPointTest {
 protected:
  // The daemon attaches and then receives events.
  void ExpectAttached() {
    EXPECT_TRUE(hostapd_.IsAttached());
    const std::string event = "Received unknown event: AP-ENABLED";
    const std::size_t count = ap_.LogCount("INFO", event);
    RealHostapd::Command("disable");
    RealHostapd::Command("enable");
    ap_.ExpectLogged("INFO", event, count + 1);
  }

  RealHostapd hostapd_{ap_.directory()};
};

TEST_F(RealHostapdTest, ReceivesEvents) {
  ap_.StartBus();
  hostapd_.Start();
  ap_.StartDaemon({"--v=1"});
  ExpectAttached();
  RealHostapd::Command("new_sta", kMac);
  ap_.ExpectLogged("VERBOSE1", "Callback: 1 mac: 00:11:22:33:44:55");
  RealHostapd::Command("deauthenticate", kMac);
  ap_.ExpectLogged("VERBOSE1", "Callback: 2 mac: 00:11:22:33:44:55");
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
}

// A hostapd that stops removes its control directory, unless it contains other files.
TEST_F(RealHostapdTest, ReattachesAfterAStop) {
  ap_.StartBus();
  const Hostapd wlan2400(kWlan2400);
  hostapd_.Start();
  ap_.StartDaemon({"--v=1"});
  ExpectAttached();
  hostapd_.Stop(SIGTERM);
  ap_.ExpectLogged("INFO", "Received unknown event: CTRL-EVENT-TERMINATING");
  ap_.ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)");
  hostapd_.Start();
  ExpectAttached();
  EXPECT_EQ(ap_.LogCount("WARNING", "Already attached, resetting state."), 0U);
}

// A killed hostapd leaves its socket file behind, and replaces it at its start.
TEST_F(RealHostapdTest, ReattachesAfterAKill) {
  ap_.StartBus();
  hostapd_.Start();
  ap_.StartDaemon({"--v=1"});
  ExpectAttached();
  hostapd_.Stop(SIGKILL);
  ASSERT_TRUE(platform::PathExists(ControlSocketPath(kWlan5000)));
  hostapd_.Start();
  ExpectAttached();
}

TEST_F(RealHostapdTest, AttachesToAHostapdThatStartsLater) {
  ap_.StartBus();
  std::filesystem::create_directories(kControlDirectory);
  ap_.StartDaemon({"--v=1"});
  hostapd_.Start();
  ExpectAttached();
}

TEST_F(RealHostapdTest, ReattachesAfterADeletionOfTheSocketFile) {
  ap_.StartBus();
  hostapd_.Start();
  ap_.StartDaemon({"--v=1"});
  ExpectAttached();
  std::filesystem::remove(ControlSocketPath(kWlan5000));
  hostapd_.Stop(SIGKILL);
  ap_.ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)");
  hostapd_.Start();
  ExpectAttached();
}

TEST_F(RealHostapdTest, HungHostapdDoesNotBlockTheDaemon) {
  ap_.StartBus();
  hostapd_.Start();
  Hostapd wlan2400(kWlan2400);
  ap_.StartDaemon({"--v=1"});
  wlan2400.Attach();
  ExpectAttached();
  hostapd_.process().Signal(SIGSTOP);
  // Its queue is full, so even DETACH can't be sent.
  FillQueue(kWlan5000);
  ap_.Settle(wlan2400);
  ap_.ExpectQuickExit(SIGTERM);
  wlan2400.ExpectCommand("DETACH");
  EXPECT_EQ(ap_.LogCount("ERROR", "Send to hostapd failed: Resource temporarily unavailable (11)"),
            1U);
}

TEST_F(RealHostapdTest, DetachesAtTheEnd) {
  ap_.StartBus();
  hostapd_.Start();
  ap_.StartDaemon();
  ExpectAttached();
  ap_.ExpectQuickExit(SIGTERM);
  EXPECT_TRUE(hostapd_.process().out().WaitForLine("CTRL_IFACE monitor detached", kPatience));
}

}  // namespace
}  // namespace orvane::testbed
