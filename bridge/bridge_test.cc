#include "bridge/bridge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/byte_string.h"
#include "platform/manual_loop.h"
#include "simulation/fake_kernel.h"
#include "simulation/message_builder.h"
#include "testbed/answering_hostapd.h"
#include "testbed/control_client.h"
#include "testbed/log_capture.h"
#include "testbed/temporary_directory.h"
#include "testbed/wait_until.h"

namespace orvane::bridge {
namespace {

using simulation::FakeKernel;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kStation[] = "02:00:00:00:02:00";
constexpr std::uint32_t kIndex = 7;

// The bridge of one interface between a hostapd on its own thread and a simulated kernel. Only the
// test advances the time.
class BridgeOnFakeKernelTest : public testing::Test {
 protected:
  BridgeOnFakeKernelTest() : kernel_(new FakeKernel()) {
    kernel_->AddInterface("wlan0", kIndex);
    FakeKernel::Station station;
    station.address = {2, 0, 0, 0, 2, 0};
    station.signal = -50;
    kernel_->Stations("wlan0").push_back(station);
  }

  void StartBridge() {
    Options options;
    options.hostapd_directory = options.directory = directory_.path();
    options.interfaces = {{"served", "wlan0"}};
    bridge_ = std::make_unique<Bridge>(loop_, options, std::move(owned_kernel_));
    const platform::FilePath served = directory_.path() / "served";
    ASSERT_TRUE(RunUntil([&] { return platform::PathExists(served); }));
    client_ = std::make_unique<testbed::ControlClient>("client", served);
    client_->Send("ATTACH");
    ASSERT_EQ(Receive(), "OK\n");
  }

  // Serves descriptors and what is due now.
  template <typename Condition>
  bool RunUntil(Condition condition) {
    return testbed::WaitUntil([&] {
      loop_.RunUntilIdle();
      return condition();
    });
  }

  // Waits once a second for hostapd's answer, so that hostapd does not seem to hang.
  void AdvanceBy(platform::TimeSpan span) {
    constexpr char kLastOfSecond[] = "PING";
    for (; span > platform::TimeSpan::zero(); span -= std::chrono::seconds(1)) {
      const std::size_t count = hostapd_.Count(kLastOfSecond);
      loop_.AdvanceBy(std::chrono::seconds(1));
      ASSERT_TRUE(RunUntil([&] { return hostapd_.Count(kLastOfSecond) > count; }));
      loop_.RunUntilIdle();
    }
  }

  std::string Receive() {
    std::string datagram;
    RunUntil([&] {
      datagram = client_->Receive(std::chrono::milliseconds(1));
      return !datagram.empty();
    });
    return datagram;
  }

  // Returns the line of a station that joins.
  std::string Connect() {
    hostapd_.Send(std::string("<3>AP-STA-CONNECTED ") + kStation);
    EXPECT_THAT(Receive(), HasSubstr("AP-STA-CONNECTED"));
    return Receive();
  }

  // The access point has sent a frame, which the station has acknowledged.
  void ReportSent(std::uint8_t command, std::string_view frame) {
    kernel_->Multicast(
        FakeKernel::kMlmeGroup,
        simulation::MakeGenericMessage(
            {FakeKernel::kNl80211Family}, command,
            simulation::AttributeBuilder()
                .U32(NL80211_ATTR_IFINDEX, kIndex)
                .Raw(NL80211_ATTR_FRAME, platform::ByteString::CreateFromHexString(frame).AsSpan())
                .Flag(NL80211_ATTR_ACK)));
    loop_.RunUntilIdle();
  }

  // Returns how many messages the bridge has read after one was sent.
  std::uint64_t MessageCountAfterOneMore() {
    kernel_->Multicast(
        FakeKernel::kMlmeGroup,
        simulation::MakeGenericMessage({FakeKernel::kNl80211Family}, NL80211_CMD_DEL_STATION, {}));
    loop_.RunUntilIdle();
    return bridge_->counters().netlink_messages;
  }

  testbed::TemporaryDirectory directory_;
  testbed::AnsweringHostapd hostapd_{directory_.path() / "wlan0"};
  testbed::LogCapture log_;
  platform::ManualLoop loop_;
  FakeKernel* kernel_;  // of the bridge
  std::unique_ptr<FakeKernel> owned_kernel_{kernel_};
  std::unique_ptr<Bridge> bridge_;
  std::unique_ptr<testbed::ControlClient> client_;
};

TEST_F(BridgeOnFakeKernelTest, OpensNl80211WhenTheKernelHasIt) {
  kernel_->RemoveFamily("nl80211");
  StartBridge();
  EXPECT_EQ(MessageCountAfterOneMore(), 0U);
  AdvanceBy(3 * Bridge::kKernelInterval);
  EXPECT_THAT(log_.Lines(platform::Severity::kWarning),
              ElementsAre(HasSubstr("reported without nl80211: wlan0: No such file")));
  kernel_->AddFamily("nl80211", FakeKernel::kNl80211Family);
  AdvanceBy(Bridge::kKernelInterval);
  EXPECT_EQ(MessageCountAfterOneMore(), 1U);
  EXPECT_THAT(Connect(), HasSubstr("last_rx_rssi:-50"));
}

TEST_F(BridgeOnFakeKernelTest, OpensNl80211AgainAfterItsSocketBroke) {
  StartBridge();
  EXPECT_EQ(MessageCountAfterOneMore(), 1U);
  kernel_->Close();
  AdvanceBy(Bridge::kKernelInterval);
  EXPECT_EQ(MessageCountAfterOneMore(), 2U);
}

// hostapd continues if the driver removes an interface and adds it again.
TEST_F(BridgeOnFakeKernelTest, FindsAnInterfaceAgain) {
  StartBridge();
  EXPECT_THAT(Connect(), HasSubstr("last_rx_rssi:-50"));
  kernel_->AddInterface("wlan0", kIndex + 1);
  AdvanceBy(Bridge::kKernelInterval);
  EXPECT_THAT(Connect(), HasSubstr("last_rx_rssi:-50"));
  EXPECT_THAT(log_.Lines(platform::Severity::kWarning), IsEmpty());
}

TEST_F(BridgeOnFakeKernelTest, LogsOnceThatAnInterfaceIsGone) {
  StartBridge();
  kernel_->RemoveInterface("wlan0");
  AdvanceBy(3 * Bridge::kKernelInterval);
  EXPECT_THAT(log_.Lines(platform::Severity::kWarning),
              ElementsAre(HasSubstr("No network interface wlan0")));
  EXPECT_THAT(Connect(), Not(HasSubstr("last_rx_rssi")));
  kernel_->AddInterface("wlan0", kIndex);
  AdvanceBy(Bridge::kKernelInterval);
  EXPECT_THAT(Connect(), HasSubstr("last_rx_rssi:-50"));
}

// The kernel may have dropped a later message of the handshake.
TEST_F(BridgeOnFakeKernelTest, ForgetsTheHandshakeMessageAfterALoss) {
  StartBridge();
  hostapd_.Send(
      "<3>AP-MGMT-FRAME-RECEIVED "
      "buf=00003a01020000000000020000000200020000000000200031040500");
  ASSERT_TRUE(RunUntil([&] { return hostapd_.Count("TRACK_STA_LIST") == 1; }));
  ReportSent(NL80211_CMD_FRAME_TX_STATUS,
             "100000000200000002000200000000000200000000000000110400000100");
  EXPECT_THAT(Receive(), HasSubstr("AP-STA-ASSOC"));
  ReportSent(NL80211_CMD_CONTROL_PORT_FRAME_TX_STATUS,
             "020000000200020000000000888e0203005f02008a0010");
  kernel_->MulticastFailure(FakeKernel::kMlmeGroup, platform::ReceiveStatus::kLost, ENOBUFS);
  loop_.RunUntilIdle();
  ReportSent(NL80211_CMD_FRAME_TX_STATUS, "c000000002000000020002000000000002000000000000000f00");
  EXPECT_THAT(Receive(), EndsWith(" success:0"));
}

}  // namespace
}  // namespace orvane::bridge
