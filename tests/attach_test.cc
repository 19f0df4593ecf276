// Attaching to hostapd and staying attached.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "testbed/access_point.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::IsEmpty;

constexpr char kCouldNot[] = "Could not attach to hostapd";
constexpr char kFull[] = "Send to hostapd failed: Resource temporarily unavailable (11)";
constexpr char kRefused[] = "Failed to connect: Connection refused (111)";

class AttachTest : public AccessPointTest {
 protected:
  // Starts a daemon with hostapd attached on one interface.
  void StartAttached() {
    ap_.StartBus();
    hostapd_.emplace(kWlan2400);
    ap_.StartDaemon({"--v=1"});
    hostapd_->Attach();
    ap_.Settle(*hostapd_);
  }

  // Returns how often the daemon has sent kHostapdStarted.
  std::size_t StartedCount() { return ap_.LogCount("VERBOSE1", "Callback: 0 mac: "); }

  std::optional<Hostapd> hostapd_;
};

TEST_F(AttachTest, ReattachesToARestartedHostapd) {
  StartAttached();
  for (std::size_t i = 2; i < 5; ++i) {
    hostapd_.reset();
    // The old socket is not served any more, so sending DETACH fails.
    ap_.ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)", i - 1);
    ap_.Hold();
    hostapd_.emplace(kWlan2400);
    ap_.Release();
    hostapd_->Attach();
    ap_.Settle(*hostapd_);
    EXPECT_EQ(StartedCount(), i);
  }
  EXPECT_THAT(ap_.LogTexts("WARNING"), ::testing::Not(::testing::Contains(kCouldNot)));
}

TEST_F(AttachTest, DoesNotRetryWithoutASocket) {
  StartAttached();
  hostapd_.reset();
  ap_.ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)");
  std::this_thread::sleep_for(milliseconds(700));
  EXPECT_EQ(ap_.LogCount("WARNING", kCouldNot), 0U);
  EXPECT_THAT(ap_.LogTexts("ERROR"), ::testing::SizeIs(1));
}

TEST_F(AttachTest, StartsBeforeHostapd) {
  ap_.StartBus();
  std::filesystem::create_directories(kControlDirectory);
  ap_.StartDaemon();
  ap_.Hold();
  Hostapd wlan5000(kWlan5000);
  Hostapd wlan2400(kWlan2400);
  ap_.Release();
  wlan5000.Attach();
  wlan2400.Attach();
  ap_.Settle(wlan5000);
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
}

// Simulates the time between hostapd's bind() and the first read of its socket.
TEST_F(AttachTest, SocketFileAppearsBeforeItIsServed) {
  ap_.StartBus();
  LeaveSocketFile("guest-2400mhz");
  ap_.StartDaemon();
  std::filesystem::create_hard_link(ControlSocketPath("guest-2400mhz"),
                                    ControlSocketPath(kWlan2400));
  ap_.ExpectLogged("ERROR", kRefused);
  ap_.ExpectLogged("WARNING", kCouldNot);
  Hostapd hostapd(kWlan2400);
  hostapd.Attach();
  ap_.Settle(hostapd);
  EXPECT_THAT(ap_.LogTexts("ERROR"), ::testing::Each(kRefused));
}

// A missing directory can't be watched.
TEST_F(AttachTest, ControlDirectoryIsMissing) {
  ap_.StartBus();
  WriteSalt(kSalt);
  ap_.StartFlags({{"connectionEventsUpload", "1"}});
  ap_.StartDaemon();
  // The daemon has looked for the socket before this line.
  ap_.ExpectLogged("INFO", "Set connection_event_upload to 1");
  Hostapd wlan2400(kWlan2400);
  wlan2400.ExpectSilence(milliseconds(700));
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
  EXPECT_THAT(ap_.LogTexts("WARNING"), IsEmpty());
  ap_.ExpectQuickExit(SIGTERM);
  EXPECT_EQ(ap_.NextNotice(), "STOPPING=1");
  // A restarted daemon finds the sockets.
  ap_.StartDaemon();
  wlan2400.Attach();
  ap_.Settle(wlan2400);
}

// The watch ends with the directory, and a new directory of the same name is not noticed.
TEST_F(AttachTest, ControlDirectoryIsRemoved) {
  StartAttached();
  hostapd_.reset();
  std::filesystem::remove(kControlDirectory);
  ap_.ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)");
  // Nothing shows that the daemon has noticed the removal of the directory, too.
  std::this_thread::sleep_for(milliseconds(200));
  hostapd_.emplace(kWlan2400);
  hostapd_->ExpectSilence(milliseconds(700));
  EXPECT_EQ(ap_.LogCount("WARNING", kCouldNot), 0U);
  ap_.ExpectQuickExit(SIGTERM);
}

TEST_F(AttachTest, RetriesEveryHalfSecondUntilTheSocketIsServed) {
  ap_.StartBus();
  LeaveSocketFile(kWlan2400);
  const auto begin = std::chrono::steady_clock::now();
  ap_.StartDaemon();
  ap_.ExpectLogged("WARNING", kCouldNot, 4);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(1500));
  EXPECT_GE(ap_.LogCount("ERROR", kRefused), 4U);
  Hostapd hostapd(kWlan2400);
  hostapd.Attach();
  ap_.Settle(hostapd);
}

TEST_F(AttachTest, HostapdNeverAnswers) {
  ap_.StartBus();
  Hostapd hostapd(kWlan2400);
  const auto begin = std::chrono::steady_clock::now();
  ap_.StartDaemon({"--v=1"});
  hostapd.ExpectCommand("ATTACH");
  const std::size_t descriptors = ap_.DescriptorCount();
  for (std::size_t i = 2; i < 4; ++i) {
    // One second for the answer, half a second until the next attempt. There is no DETACH.
    const auto time = hostapd.ExpectCommand("ATTACH");
    EXPECT_GE(time - begin, (i - 1) * milliseconds(1500));
    ap_.ExpectLogged("VERBOSE1", "Callback: 0 mac: ", i);
  }
  EXPECT_EQ(ap_.DescriptorCount(), descriptors);
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
  EXPECT_EQ(ap_.LogCount("WARNING", kCouldNot), 0U);
  hostapd.Attach();
  ap_.Settle(hostapd);
  hostapd.ExpectSilence(milliseconds(1600));
}

TEST_F(AttachTest, LaterAnswerChangesNothing) {
  StartAttached();
  hostapd_->Send("OK\n");
  hostapd_->Send("OK\n");
  hostapd_->ExpectSilence(milliseconds(1600));
  ap_.Settle(*hostapd_);
  EXPECT_EQ(StartedCount(), 1U);
}

// The kernel reports the end of a socket file only when nobody serves it any more, so the deletion
// alone is not noticed.
TEST_F(AttachTest, SocketFileIsReplacedWhileHostapdRuns) {
  StartAttached();
  std::filesystem::remove(hostapd_->path());
  ap_.Settle(*hostapd_);
  EXPECT_THAT(ap_.LogTexts("WARNING"), ::testing::Not(::testing::Contains(kCouldNot)));

  const auto begin = std::chrono::steady_clock::now();
  Hostapd new_hostapd(kWlan2400);
  hostapd_->ExpectCommand("DETACH");
  ap_.ExpectLogged("WARNING", "Already attached, resetting state.");
  EXPECT_GE(new_hostapd.Attach() - begin, milliseconds(500));
  ap_.Settle(new_hostapd);
  EXPECT_EQ(StartedCount(), 2U);
}

TEST_F(AttachTest, SocketFileIsDeletedBeforeHostapdEnds) {
  StartAttached();
  std::filesystem::remove(hostapd_->path());
  hostapd_.reset();
  ap_.ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)");
  hostapd_.emplace(kWlan2400);
  hostapd_->Attach();
  ap_.Settle(*hostapd_);
}

TEST_F(AttachTest, FullQueueDoesNotBlock) {
  ap_.StartBus();
  Hostapd wlan2400(kWlan2400);
  Hostapd wlan5000(kWlan5000);
  FillQueue(kWlan2400);
  const auto begin = std::chrono::steady_clock::now();
  ap_.StartDaemon();
  wlan5000.Attach();
  ap_.ExpectLogged("ERROR", kFull, 2);
  ap_.ExpectLogged("WARNING", kCouldNot, 2);
  ap_.Settle(wlan5000);
  // One more than the number of half seconds.
  const std::size_t lines = ap_.LogCount("ERROR", kFull);
  const auto time = std::chrono::steady_clock::now() - begin;
  EXPECT_LE(lines, static_cast<std::size_t>(time / milliseconds(500)) + 1);
  EXPECT_TRUE(WaitUntil([&] {
    const auto received = wlan2400.WaitForCommand(milliseconds(100));
    return received.has_value() && received->text == "ATTACH";
  }));
  wlan2400.Send("OK\n");
  ap_.Settle(wlan2400);
}

TEST_F(AttachTest, OtherInterfacesAreIgnored) {
  ap_.StartBus();
  Hostapd guest("guest-2400mhz");
  Hostapd wlan5000(kWlan5000);
  ap_.StartDaemon();
  wlan5000.Attach();
  Hostapd mesh("mesh-5000mhz");
  ap_.Settle(wlan5000);
  guest.ExpectSilence(milliseconds(50));
  mesh.ExpectSilence(milliseconds(50));
}

TEST_F(AttachTest, SurvivesMalformedDatagrams) {
  StartAttached();
  const std::size_t descriptors = ap_.DescriptorCount();
  hostapd_->Send("");
  hostapd_->Send("OK");
  hostapd_->Send("FAIL\n");
  hostapd_->Send("AP-STA-CONNECTED 00:11:22:33:44:55");
  hostapd_->Send("<12>AP-STA-CONNECTED 00:11:22:33:44:55");
  hostapd_->Send("< >");
  hostapd_->Send(std::string("<3>\0\xff\xfe", 6));
  hostapd_->Send("<3>AP-STA-CONNECTED");
  hostapd_->Send("<3>AP-STA-CONNECTED  00:11:22:33:44:55\n");
  hostapd_->Send("<3>AP-STA-STEERING 00:11:22:33:44:55\n");
  const std::string long_name = fmt::format("LONG-{:x>{}}", "", 65536 - 8);
  hostapd_->Send("<3>" + long_name);
  ap_.Settle(*hostapd_);
  EXPECT_EQ(ap_.LogCount("INFO", "Received unknown event: "), 1U);
  EXPECT_EQ(ap_.LogCount("VERBOSE1", "Callback: 1 mac: "), 2U);
  EXPECT_EQ(ap_.LogCount("VERBOSE1", "Callback: 3 mac: 00:11:22:33:44:55"), 1U);
  EXPECT_EQ(ap_.LogCount("VERBOSE1", "Callback: 1 mac: 00:11:22:33:44:55"), 0U);
  EXPECT_EQ(ap_.LogCount("INFO", "Received unknown event: " + long_name), 1U);
  EXPECT_EQ(ap_.DescriptorCount(), descriptors);
}

}  // namespace
}  // namespace orvane::testbed
