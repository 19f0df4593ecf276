#include "bridge/bridged_interface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/manual_loop.h"
#include "testbed/answering_hostapd.h"
#include "testbed/control_client.h"
#include "testbed/temporary_directory.h"
#include "testbed/wait_until.h"

namespace orvane::bridge {
namespace {

using testing::HasSubstr;

constexpr char kStation[] = "02:00:00:00:02:00";
constexpr std::uint32_t kIndex = 7;

// An interface between a hostapd on its own thread and clients. Its time stands still.
class BridgedInterfaceTest : public ::testing::Test {
 protected:
  BridgedInterfaceTest() {
    EXPECT_TRUE(RunUntil([this] { return platform::PathExists(ServedPath()); }));
  }

  platform::FilePath ServedPath() const { return directory_.path() / "served"; }

  // Serves descriptors and what is due now.
  template <typename Condition>
  bool RunUntil(Condition condition) {
    return testbed::WaitUntil([&] {
      loop_.RunUntilIdle();
      return condition();
    });
  }

  // Returns the next datagram for a client.
  std::string Receive(testbed::ControlClient* client) {
    std::string datagram;
    RunUntil([&] {
      datagram = client->Receive(std::chrono::milliseconds(1));
      return !datagram.empty();
    });
    return datagram;
  }

  // Attaches the client, and ends hostapd before the client has read its last line.
  void EndHostapdWithAnUnreadLine(testbed::ControlClient* client) {
    client->Send("ATTACH");
    ASSERT_EQ(Receive(client), "OK\n");
    hostapd_.Send(std::string("<3>AP-STA-DISCONNECTED ") + kStation);
    ASSERT_THAT(Receive(client), HasSubstr("AP-STA-DISCONNECTED"));
    std::filesystem::remove(directory_.path() / "wlan0");
    loop_.AdvanceBy(HostapdLink::kLookInterval);
  }

  // Returns the kernel's messages about a station that leaves because of inactivity.
  static std::vector<Nl80211Event> Leave() {
    const ap::MacAddress station{std::string_view(kStation)};
    ManagementFrame notice;
    notice.kind = FrameKind::kDeauthentication;
    notice.destination = station;
    notice.code = 4;
    StationInfo info;
    info.signal = -50;
    return {{kIndex, FrameSent{notice, true}}, {kIndex, StationRemoved{station, info}}};
  }

  void ReadKernel() {
    for (const Nl80211Event& event : std::exchange(kernel_messages_, {})) {
      interface_.OnNl80211Event(event);
    }
  }

  testbed::TemporaryDirectory directory_;
  testbed::AnsweringHostapd hostapd_{directory_.path() / "wlan0"};
  platform::ManualLoop loop_;
  SharedMemory shared_;
  std::vector<Nl80211Event> kernel_messages_;
  BridgedInterface interface_{
      loop_, &shared_,
      BridgedInterface::Settings{{"served", "wlan0"}, directory_.path(), directory_.path(), 10},
      BridgedInterface::Callbacks{
          .read_kernel = [this] { ReadKernel(); },
          .read_station = [](const ap::MacAddress&) { return StationInfo(); },
          .on_hostapd_up = [] {}}};
};

// Another interface may read the kernel's messages about this one.
TEST_F(BridgedInterfaceTest, SettlesAfterAMessageOfTheKernel) {
  testbed::ControlClient client("client", ServedPath());
  client.Send("ATTACH");
  ASSERT_EQ(Receive(&client), "OK\n");
  hostapd_.Send(std::string("<3>AP-STA-POSSIBLE-PSK-MISMATCH ") + kStation);
  hostapd_.Send(std::string("<3>RX-PROBE-REQUEST sa=") + kStation + " signal=-50");
  ASSERT_THAT(Receive(&client), HasSubstr("AP-MONITOR-STA-INFO"));

  interface_.OnNl80211Event(Leave().front());
  EXPECT_THAT(Receive(&client), HasSubstr("success:0 event_reason:psk_mismatch"));
}

// The loop may serve an answer of hostapd before the messages of the kernel.
TEST_F(BridgedInterfaceTest, ReadsTheKernelWhenHostapdAnswers) {
  testbed::ControlClient client("client", ServedPath());
  client.Send("ATTACH");
  ASSERT_EQ(Receive(&client), "OK\n");
  hostapd_.Send(std::string("<3>AP-STA-DISCONNECTED ") + kStation);
  ASSERT_THAT(Receive(&client), HasSubstr("AP-STA-DISCONNECTED"));

  kernel_messages_ = Leave();
  hostapd_.Send("OK\n");
  EXPECT_THAT(Receive(&client), HasSubstr("event_reason:inactivity last_rx_rssi:-50"));
}

// A client closes its socket when the served one disappears, and loses what it has not read.
TEST_F(BridgedInterfaceTest, RemovesItsSocketWhenTheLastLinesAreRead) {
  testbed::ControlClient client("client", ServedPath());
  EndHostapdWithAnUnreadLine(&client);
  EXPECT_FALSE(interface_.is_up());
  EXPECT_TRUE(platform::PathExists(ServedPath()));
  EXPECT_THAT(client.Receive(), HasSubstr("AP-STA-DISCONNECT "));
  loop_.AdvanceBy(BridgedInterface::kRetryDelay);
  EXPECT_FALSE(platform::PathExists(ServedPath()));
}

TEST_F(BridgedInterfaceTest, RemovesItsSocketIfTheLastLinesAreNotRead) {
  testbed::ControlClient client("client", ServedPath());
  EndHostapdWithAnUnreadLine(&client);
  loop_.AdvanceBy(BridgedInterface::kLastReadWait - BridgedInterface::kRetryDelay);
  EXPECT_TRUE(platform::PathExists(ServedPath()));
  loop_.AdvanceBy(BridgedInterface::kRetryDelay);
  EXPECT_FALSE(platform::PathExists(ServedPath()));
}

TEST_F(BridgedInterfaceTest, RemovesItsSocketIfHostapdIsBackBeforeTheLastLinesAreRead) {
  testbed::ControlClient client("client", ServedPath());
  EndHostapdWithAnUnreadLine(&client);
  const testbed::AnsweringHostapd successor(directory_.path() / "wlan0");
  loop_.AdvanceBy(HostapdLink::kLookInterval);
  ASSERT_TRUE(RunUntil([this] { return interface_.is_up(); }));
  EXPECT_FALSE(platform::PathExists(ServedPath()));
  loop_.AdvanceBy(BridgedInterface::kLeastAbsence);
  EXPECT_TRUE(platform::PathExists(ServedPath()));
}

TEST_F(BridgedInterfaceTest, RefusesCommandsWhenHostapdHasEnded) {
  testbed::ControlClient client("client", ServedPath());
  EndHostapdWithAnUnreadLine(&client);
  testbed::ControlClient other("other", ServedPath());
  other.Send(std::string("DISASSOCIATE ") + kStation);
  EXPECT_EQ(Receive(&other), "FAIL\n");
  EXPECT_EQ(interface_.counters().refused_commands, 1U);
  const ap::MacAddress station{std::string_view(kStation)};
  EXPECT_EQ(shared_.steerings.Find(station, loop_.MonotonicNow()), nullptr);
}

// A reload of hostapd's configuration resets the settings after it has disconnected all stations.
TEST_F(BridgedInterfaceTest, RenewsTheSettingsAfterADisconnect) {
  for (const char* command : {"SET notify_mgmt_frames 1", "SET track_sta_max_num 100"}) {
    const std::size_t count = hostapd_.Count(command);
    hostapd_.Send(std::string("<3>AP-STA-DISCONNECTED ") + kStation);
    EXPECT_TRUE(RunUntil([&] { return hostapd_.Count(command) > count; }));
  }
}

}  // namespace
}  // namespace orvane::bridge
