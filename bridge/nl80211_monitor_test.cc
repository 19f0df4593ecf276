#include "bridge/nl80211_monitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "simulation/fake_kernel.h"
#include "simulation/message_builder.h"

namespace orvane::bridge {
namespace {

using platform::ReceiveStatus;
using simulation::AttributeBuilder;
using simulation::FakeKernel;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kIndex = 7;

// A message about a removed station, whose address ends with `number`.
std::vector<std::uint8_t> Removal(std::uint8_t number,
                                  std::uint16_t family = FakeKernel::kNl80211Family) {
  return simulation::MakeGenericMessage({family}, NL80211_CMD_DEL_STATION,
                                        AttributeBuilder()
                                            .U32(NL80211_ATTR_IFINDEX, kIndex)
                                            .Raw(NL80211_ATTR_MAC, {2, 0, 0, 0, 0, number}));
}

std::vector<std::uint8_t> Joined(const std::vector<std::vector<std::uint8_t>>& messages) {
  simulation::BytesBuilder bytes;
  for (const auto& message : messages) bytes.Append(message);
  return bytes.bytes();
}

class Nl80211MonitorTest : public testing::Test {
 protected:
  Nl80211MonitorTest() {
    kernel_.AddInterface("wlan0", kIndex);
    AddStation(1, -50);
    AddStation(2, -60);
  }

  void AddStation(std::uint8_t number, std::int8_t signal_average) {
    FakeKernel::Station station;
    station.address = {2, 0, 0, 0, 0, number};
    station.signal_average = signal_average;
    kernel_.Stations("wlan0").push_back(station);
  }

  // Reads everything. Returns the last byte of the address of each removed station.
  std::vector<int> ReadAll() {
    std::vector<int> stations;
    monitor_.ReadAll([&stations](const Nl80211Event& event) {
      EXPECT_EQ(event.interface_index, kIndex);
      const auto& removed = std::get<StationRemoved>(event.content);
      stations.push_back(removed.station.ToByteString().AsSpan()[5]);
    });
    return stations;
  }

  StationInfo ReadStation(std::string_view address, std::uint32_t interface_index = kIndex) {
    return monitor_.ReadStation(interface_index, ap::MacAddress(address));
  }

  // Gives the monitor the simulated kernel, which outlives it.
  class Kernel : public platform::NetlinkKernel {
   public:
    explicit Kernel(FakeKernel* kernel) : kernel_(kernel) {}
    std::unique_ptr<platform::NetlinkSocket> OpenSocket() override { return kernel_->OpenSocket(); }
    std::uint32_t GetInterfaceIndex(const std::string& name) override {
      return kernel_->GetInterfaceIndex(name);
    }

   private:
    FakeKernel* kernel_;
  };

  platform::ManualLoop loop_;
  FakeKernel kernel_;
  int ready_count_ = 0;
  std::vector<std::string> log_;
  platform::LogListener listener_{
      [this](platform::Severity /*severity*/, std::string_view text) { log_.emplace_back(text); }};
  Nl80211Monitor monitor_{loop_, std::make_unique<Kernel>(&kernel_), [this] { ++ready_count_; }};
};

// --- Multicast groups ---

TEST_F(Nl80211MonitorTest, JoinsTheConfigAndMlmeGroups) {
  ASSERT_TRUE(monitor_.Open());
  kernel_.Multicast(FakeKernel::kMlmeGroup, Removal(1));
  kernel_.Multicast(FakeKernel::kConfigGroup, Removal(2));
  EXPECT_THAT(ReadAll(), ElementsAre(1, 2));
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(Nl80211MonitorTest, KeepsItsSockets) {
  ASSERT_TRUE(monitor_.Open());
  const std::size_t sockets = kernel_.socket_count();
  EXPECT_TRUE(monitor_.Open());
  kernel_.Multicast(FakeKernel::kMlmeGroup, Removal(1));
  EXPECT_EQ(kernel_.socket_count(), sockets);
  EXPECT_THAT(ReadAll(), ElementsAre(1));
}

// The family gets another number, and the groups lose their members.
TEST_F(Nl80211MonitorTest, OpensAgainAfterAReloadOfTheDriver) {
  constexpr std::uint16_t kNewFamily = FakeKernel::kNl80211Family + 1;
  ASSERT_TRUE(monitor_.Open());
  kernel_.RemoveFamily("nl80211");
  EXPECT_FALSE(monitor_.Open());
  const std::size_t count = kernel_.requests().size();
  EXPECT_EQ(ReadStation("020000000001"), StationInfo());
  EXPECT_EQ(kernel_.requests().size(), count) << "the old number may belong to another family";
  kernel_.AddFamily("nl80211", kNewFamily);
  EXPECT_TRUE(monitor_.Open());
  kernel_.Multicast(FakeKernel::kMlmeGroup, Removal(1, kNewFamily));
  EXPECT_THAT(ReadAll(), ElementsAre(1));
}

TEST_F(Nl80211MonitorTest, DoesNotOpenWithoutTheFamily) {
  kernel_.RemoveFamily("nl80211");
  EXPECT_FALSE(monitor_.Open());
}

TEST_F(Nl80211MonitorTest, DoesNotOpenWithoutAGroup) {
  kernel_.RemoveGroup(FakeKernel::kMlmeGroup);
  EXPECT_FALSE(monitor_.Open());
}

TEST_F(Nl80211MonitorTest, OpensWhenTheKernelIsReady) {
  kernel_.FailOpen(EMFILE);
  EXPECT_FALSE(monitor_.Open());
  kernel_.FailOpen(0);
  kernel_.SetSilent(true);
  EXPECT_FALSE(monitor_.Open());
  kernel_.SetSilent(false);
  EXPECT_TRUE(monitor_.Open());
}

// --- Messages ---

TEST_F(Nl80211MonitorTest, ReadsNothingBeforeItIsOpen) {
  EXPECT_THAT(ReadAll(), IsEmpty());
  EXPECT_EQ(ReadStation("020000000001"), StationInfo());
  EXPECT_THAT(kernel_.requests(), IsEmpty());
}

TEST_F(Nl80211MonitorTest, ReportsThatMessagesWait) {
  ASSERT_TRUE(monitor_.Open());
  loop_.RunOnce();
  EXPECT_EQ(ready_count_, 0);
  kernel_.Multicast(FakeKernel::kMlmeGroup, Removal(1));
  loop_.RunOnce();
  EXPECT_EQ(ready_count_, 1);
  ReadAll();
  loop_.RunOnce();
  EXPECT_EQ(ready_count_, 1);
}

TEST_F(Nl80211MonitorTest, ReadsEveryMessageOfADatagram) {
  ASSERT_TRUE(monitor_.Open());
  kernel_.Multicast(FakeKernel::kMlmeGroup, Joined({Removal(1), Removal(2)}));
  kernel_.Multicast(FakeKernel::kMlmeGroup, Removal(3));
  EXPECT_THAT(ReadAll(), ElementsAre(1, 2, 3));
  EXPECT_EQ(monitor_.message_count(), 3U);
}

TEST_F(Nl80211MonitorTest, IgnoresAnotherFamily) {
  ASSERT_TRUE(monitor_.Open());
  kernel_.Multicast(FakeKernel::kMlmeGroup,
                    Joined({Removal(1, FakeKernel::kNl80211Family + 1), Removal(2)}));
  EXPECT_THAT(ReadAll(), ElementsAre(2));
}

TEST_F(Nl80211MonitorTest, IgnoresTruncatedMessages) {
  ASSERT_TRUE(monitor_.Open());
  const std::vector<std::uint8_t> whole = Removal(1);
  for (std::size_t size = 1; size < whole.size(); ++size) {
    kernel_.Multicast(FakeKernel::kMlmeGroup, std::span(whole).first(size));
    EXPECT_THAT(ReadAll(), IsEmpty()) << size;
  }
  const std::vector<std::uint8_t> without_command =
      simulation::MakeNetlinkMessage({FakeKernel::kNl80211Family}, {});
  kernel_.Multicast(FakeKernel::kMlmeGroup, Joined({without_command, Removal(2)}));
  EXPECT_THAT(ReadAll(), ElementsAre(2));
  EXPECT_EQ(monitor_.loss_count(), 0U);
}

// --- Failures ---

TEST_F(Nl80211MonitorTest, CountsLossesAndReadsOn) {
  ASSERT_TRUE(monitor_.Open());
  kernel_.Multicast(FakeKernel::kMlmeGroup, Removal(1));
  kernel_.MulticastFailure(FakeKernel::kMlmeGroup, ReceiveStatus::kLost, ENOBUFS);
  kernel_.Multicast(FakeKernel::kMlmeGroup, std::vector<std::uint8_t>(64 * 1024 + 1));
  kernel_.Multicast(FakeKernel::kMlmeGroup, Removal(2));
  EXPECT_THAT(ReadAll(), ElementsAre(1, 2));
  EXPECT_EQ(monitor_.loss_count(), 2U);
  EXPECT_EQ(monitor_.message_count(), 2U);
}

TEST_F(Nl80211MonitorTest, IgnoresDatagramsOfOtherProcesses) {
  ASSERT_TRUE(monitor_.Open());
  kernel_.MulticastFailure(FakeKernel::kMlmeGroup, ReceiveStatus::kIgnored, 0);
  kernel_.Multicast(FakeKernel::kMlmeGroup, Removal(1));
  EXPECT_THAT(ReadAll(), ElementsAre(1));
  EXPECT_EQ(monitor_.loss_count(), 0U);
}

TEST_F(Nl80211MonitorTest, OpensAgainAfterItsSocketBroke) {
  ASSERT_TRUE(monitor_.Open());
  kernel_.Close();
  EXPECT_THAT(ReadAll(), IsEmpty());
  EXPECT_THAT(log_, ElementsAre(testing::HasSubstr("Failed to read what nl80211 reports: ")));
  loop_.RunOnce();
  EXPECT_EQ(ready_count_, 0) << "the broken socket is not watched";
  EXPECT_TRUE(monitor_.Open());
  kernel_.Multicast(FakeKernel::kMlmeGroup, Removal(1));
  EXPECT_THAT(ReadAll(), ElementsAre(1));
}

// --- Requests ---

TEST_F(Nl80211MonitorTest, ReadsAStation) {
  ASSERT_TRUE(monitor_.Open());
  EXPECT_EQ(ReadStation("020000000001").signal_average, -50);
  EXPECT_EQ(ReadStation("020000000002").signal_average, -60);
  EXPECT_EQ(ReadStation("020000000003"), StationInfo());
}

TEST_F(Nl80211MonitorTest, RequestsNoStationOfAnUnknownInterface) {
  ASSERT_TRUE(monitor_.Open());
  const std::size_t count = kernel_.requests().size();
  EXPECT_EQ(ReadStation("020000000001", /*interface_index=*/0), StationInfo());
  EXPECT_EQ(kernel_.requests().size(), count);
}

TEST_F(Nl80211MonitorTest, IgnoresALateReply) {
  ASSERT_TRUE(monitor_.Open());
  kernel_.SetHolding(true);
  EXPECT_EQ(ReadStation("020000000001"), StationInfo());
  kernel_.SetHolding(false);
  EXPECT_EQ(ReadStation("020000000003"), StationInfo());
  EXPECT_EQ(ReadStation("020000000002").signal_average, -60);
}

TEST_F(Nl80211MonitorTest, IgnoresAReplyOfAnotherFamily) {
  ASSERT_TRUE(monitor_.Open());
  const simulation::MessageHeader last = kernel_.requests().back().header;
  kernel_.Deliver(simulation::MakeGenericMessage(
      {FakeKernel::kNl80211Family + 1, 0, last.sequence + 1, last.port}, NL80211_CMD_NEW_STATION,
      AttributeBuilder().Nest(NL80211_ATTR_STA_INFO,
                              AttributeBuilder().U8(NL80211_STA_INFO_SIGNAL_AVG, 1))));
  EXPECT_EQ(ReadStation("020000000003"), StationInfo());
}

TEST_F(Nl80211MonitorTest, ReadsNoStationIfTheRequestIsNotSent) {
  ASSERT_TRUE(monitor_.Open());
  kernel_.FailSends(ENOBUFS);
  EXPECT_EQ(ReadStation("020000000001"), StationInfo());
}

TEST_F(Nl80211MonitorTest, KnowsTheIndexesOfInterfaces) {
  EXPECT_EQ(monitor_.InterfaceIndex("wlan0"), kIndex);
  EXPECT_EQ(monitor_.InterfaceIndex("wlan1"), 0U);
}

}  // namespace
}  // namespace orvane::bridge
