#include "optimizer/nl80211_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "simulation/fake_kernel.h"
#include "simulation/message_builder.h"

namespace orvane::ap {
namespace {

using platform::AttributeList;
using platform::GenericNetlinkRequest;
using platform::NetlinkManager;
using simulation::AttributeBuilder;
using simulation::FakeKernel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint32_t kIndex = 7;

class Nl80211ManagerTest : public testing::Test {
 protected:
  Nl80211ManagerTest() {
    platform::SetVerboseLevel(1);
    kernel_.AddInterface("wlan-2400mhz", kIndex);
    kernel_.AddInterface("empty", kIndex + 1);
    AddStation(1, -60);
    AddStation(2, -70);
    netlink_.SetNl80211MessageType(netlink_.GetFamily("nl80211"));
    netlink_.Start(loop_);
  }
  ~Nl80211ManagerTest() override { platform::SetVerboseLevel(0); }

  void AddStation(std::uint8_t number, std::int8_t signal_average) {
    FakeKernel::Station station;
    station.address = {0, 0, 0, 0, 0, number};
    station.signal_average = signal_average;
    kernel_.Stations("wlan-2400mhz").push_back(station);
  }

  Nl80211Manager::StationCallback NoteStation() {
    return [this](const Nl80211Station& station) {
      events_.push_back(station.GetMacAddress().ToHexString() + " " +
                        std::to_string(station.GetSignalAverage()));
    };
  }
  Nl80211Manager::CompletionCallback NoteCompletion() {
    return [this](const Nl80211Error* error) {
      events_.push_back(error == nullptr ? "complete"
                                         : error->message + " " + std::to_string(error->code));
    };
  }

  bool GetStations(const std::string& interface = "wlan-2400mhz") {
    return manager_.GetStations(interface, &netlink_, NoteStation(), NoteCompletion());
  }
  bool GetStation(std::string_view address) {
    return manager_.GetStation("wlan-2400mhz", MacAddress(address), &netlink_, NoteStation(),
                               NoteCompletion());
  }
  void GetStation(const AttributeBuilder& attributes) {
    manager_.GetStation(AttributeList{std::span(attributes.bytes())}, &netlink_, NoteStation(),
                        NoteCompletion());
  }

  platform::ManualLoop loop_;
  FakeKernel kernel_;
  NetlinkManager netlink_{kernel_};
  Nl80211Manager manager_;
  std::vector<std::string> events_;
  std::vector<std::string> log_;
  platform::LogListener listener_{[this](platform::Severity severity, std::string_view text) {
    log_.push_back((severity == platform::Severity::kVerbose   ? "V "
                    : severity == platform::Severity::kWarning ? "W "
                                                               : "") +
                   std::string(text));
  }};
};

TEST(Nl80211ManagerSizeTest, HasNoDataMembers) {
  struct OnlyVirtual {
    virtual ~OnlyVirtual() = default;
  };
  EXPECT_EQ(sizeof(Nl80211Manager), sizeof(OnlyVirtual));
}

// --- Dumps ---

TEST_F(Nl80211ManagerTest, AnIncompleteStationIsFatal) {
  kernel_.Stations("wlan-2400mhz").front().has_rx_rate = false;
  GetStations();
  EXPECT_DEATH(loop_.RunUntilIdle(), HasSubstr("NL80211_STA_INFO_RX_BITRATE, "
                                               "&rx_rate_information_)"));
}

TEST_F(Nl80211ManagerTest, ReportsEachStationAndThenTheEnd) {
  EXPECT_TRUE(GetStations());
  EXPECT_THAT(events_, IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("000000000001 -60", "000000000002 -70", "complete"));
}

TEST_F(Nl80211ManagerTest, ADumpIsARequestForTheInterface) {
  GetStations();
  const FakeKernel::Request& request = kernel_.requests().back();
  EXPECT_EQ(request.header.type, FakeKernel::kNl80211Family);
  EXPECT_EQ(request.header.flags & 0x301, 0x301);
  EXPECT_EQ(request.command, NL80211_CMD_GET_STATION);
  EXPECT_EQ(request.attributes, AttributeBuilder().U32(NL80211_ATTR_IFINDEX, kIndex).bytes());
}

TEST_F(Nl80211ManagerTest, AnInterfaceWithoutStationsOnlyCompletes) {
  EXPECT_TRUE(GetStations("empty"));
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("complete"));
}

TEST_F(Nl80211ManagerTest, AnUnknownInterfaceIsRefused) {
  const std::size_t count = kernel_.requests().size();
  EXPECT_FALSE(GetStations("wlan-5000mhz"));
  EXPECT_FALSE(GetStations(""));
  EXPECT_FALSE(manager_.GetMeshPaths("", &netlink_, nullptr, NoteCompletion()));
  EXPECT_FALSE(manager_.GetMeshProxyPaths("", &netlink_, nullptr, NoteCompletion()));
  EXPECT_FALSE(manager_.GetStation("", MacAddress("000000000001"), &netlink_, NoteStation(),
                                   NoteCompletion()));
  loop_.AdvanceBy(std::chrono::minutes(1));
  EXPECT_THAT(events_, IsEmpty());
  EXPECT_EQ(kernel_.requests().size(), count);
}

TEST_F(Nl80211ManagerTest, ReportsMeshPaths) {
  kernel_.MeshPaths("wlan-2400mhz") = {{.destination = {1}, .next_hop = {2}, .metric = 30}};
  std::vector<std::string> paths;
  EXPECT_TRUE(manager_.GetMeshPaths(
      "wlan-2400mhz", &netlink_,
      [&paths](const Nl80211MeshPath& path) {
        paths.push_back(path.GetDestination().ToHexString() + " " +
                        path.GetNextHop().ToHexString() + " " + std::to_string(path.GetMetric()));
      },
      NoteCompletion()));
  EXPECT_EQ(kernel_.requests().back().command, NL80211_CMD_GET_MPATH);
  EXPECT_EQ(kernel_.requests().back().header.flags & 0x300, 0x300);
  loop_.RunUntilIdle();
  EXPECT_THAT(paths, ElementsAre("010000000000 020000000000 30"));
  EXPECT_THAT(events_, ElementsAre("complete"));
}

TEST_F(Nl80211ManagerTest, ReportsMeshProxyPaths) {
  kernel_.MeshProxyPaths("wlan-2400mhz") = {{.destination = {1}, .proxy = {2}}};
  std::vector<std::string> paths;
  EXPECT_TRUE(manager_.GetMeshProxyPaths(
      "wlan-2400mhz", &netlink_,
      [&paths](const Nl80211MeshProxyPath& path) {
        paths.push_back(path.GetDestination().ToHexString() + " " +
                        path.GetMeshProxy().ToHexString());
      },
      NoteCompletion()));
  EXPECT_EQ(kernel_.requests().back().command, NL80211_CMD_GET_MPP);
  EXPECT_EQ(kernel_.requests().back().header.flags & 0x300, 0x300);
  loop_.RunUntilIdle();
  EXPECT_THAT(paths, ElementsAre("010000000000 020000000000"));
  EXPECT_THAT(events_, ElementsAre("complete"));
}

TEST_F(Nl80211ManagerTest, RequestsMayOverlapAndOutliveTheManager) {
  {
    Nl80211Manager manager;
    manager.GetStations("wlan-2400mhz", &netlink_, NoteStation(), NoteCompletion());
    manager.GetStations("empty", &netlink_, NoteStation(), NoteCompletion());
  }
  EXPECT_TRUE(GetStation("000000000002"));
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, testing::UnorderedElementsAre("000000000001 -60", "000000000002 -70",
                                                     "complete", "000000000002 -70", "complete"));
}

// --- One station ---

TEST_F(Nl80211ManagerTest, OneStationByNameAndAddressNeverCompletes) {
  EXPECT_TRUE(GetStation("000000000002"));
  const FakeKernel::Request& request = kernel_.requests().back();
  EXPECT_EQ(request.command, NL80211_CMD_GET_STATION);
  EXPECT_EQ(request.header.flags & 0x300, 0);
  EXPECT_EQ(request.attributes, AttributeBuilder()
                                    .U32(NL80211_ATTR_IFINDEX, kIndex)
                                    .Raw(NL80211_ATTR_MAC, {0, 0, 0, 0, 0, 2})
                                    .bytes());
  loop_.AdvanceBy(std::chrono::minutes(1));
  EXPECT_THAT(events_, ElementsAre("000000000002 -70"));
}

TEST_F(Nl80211ManagerTest, OneStationByAttributesNeverCompletes) {
  GetStation(AttributeBuilder()
                 .U32(NL80211_ATTR_IFINDEX, kIndex)
                 .Raw(NL80211_ATTR_MAC, {0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(kernel_.requests().back().header.flags & 0x300, 0);
  loop_.AdvanceBy(std::chrono::minutes(1));
  EXPECT_THAT(events_, ElementsAre("000000000001 -60"));
}

TEST_F(Nl80211ManagerTest, AnAcknowledgementBeforeTheStationDoesNotEndTheRequest) {
  kernel_.SetAcknowledgeFirst(true);
  EXPECT_TRUE(GetStation("000000000002"));
  GetStation(AttributeBuilder()
                 .U32(NL80211_ATTR_IFINDEX, kIndex)
                 .Raw(NL80211_ATTR_MAC, {0, 0, 0, 0, 0, 1}));
  loop_.AdvanceBy(std::chrono::minutes(1));
  EXPECT_THAT(events_, testing::UnorderedElementsAre("000000000002 -70", "000000000001 -60"));
}

TEST_F(Nl80211ManagerTest, ADoneMessageDoesNotCompleteOneStation) {
  kernel_.SetSilent(true);
  GetStation("000000000001");
  kernel_.Deliver(simulation::MakeDoneMessage(kernel_.requests().back().header));
  loop_.AdvanceBy(std::chrono::minutes(1));
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(Nl80211ManagerTest, AStationThatIsNotThereIsAnError) {
  EXPECT_TRUE(GetStation("000000000003"));
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("No such file or directory (2) 2"));
}

TEST_F(Nl80211ManagerTest, AttributesMustNameTheStation) {
  const std::size_t count = kernel_.requests().size();
  GetStation(AttributeBuilder());
  GetStation(AttributeBuilder().Raw(NL80211_ATTR_MAC, {0, 0, 0, 0, 0, 1}));
  GetStation(AttributeBuilder().U32(NL80211_ATTR_IFINDEX, kIndex));
  EXPECT_THAT(events_, ElementsAre("Missing interface index attribute 22",
                                   "Missing interface index attribute 22",
                                   "Missing MAC address attribute 22"));
  EXPECT_EQ(kernel_.requests().size(), count);
}

// --- Failures ---

TEST_F(Nl80211ManagerTest, AnErrorOfTheKernelHasItsTextAndNumber) {
  kernel_.FailNextRequest(EPERM);
  GetStations();
  loop_.RunUntilIdle();
  kernel_.FailNextRequest(EINVAL, "no");
  GetStation("000000000001");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_,
              ElementsAre("Operation not permitted (1) 1", "Invalid argument (22): no 22"));
}

TEST_F(Nl80211ManagerTest, ADumpMayFailHalfWay) {
  kernel_.FailNextDumpAfter(1, ENODEV);
  GetStations();
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("000000000001 -60", "No such device (19) 19"));
}

TEST_F(Nl80211ManagerTest, SilenceIsATimeOut) {
  kernel_.SetSilent(true);
  GetStations();
  GetStation("000000000001");
  loop_.AdvanceBy(platform::NetlinkConnection::kResponseDeadline);
  EXPECT_THAT(events_, ElementsAre("Netlink response timeout 2", "Netlink response timeout 2"));
}

TEST_F(Nl80211ManagerTest, AnUnexpectedMessageIsOnlyLogged) {
  kernel_.SetSilent(true);
  GetStations();
  const simulation::MessageHeader to = kernel_.requests().back().header;
  kernel_.Deliver(simulation::MakeNetlinkMessage({99, 0, to.sequence, to.port}, {}));
  loop_.AdvanceBy(10 * platform::NetlinkConnection::kResponseDeadline);
  EXPECT_THAT(events_, IsEmpty());
  EXPECT_THAT(log_, ElementsAre("V Unexpected message received: type 99"));
}

TEST_F(Nl80211ManagerTest, ARequestThatCannotBeSentIsAnUnknownError) {
  kernel_.FailSends(ENOBUFS);
  EXPECT_TRUE(GetStations());
  EXPECT_THAT(events_, IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("Unknown Netlink error 1"));
}

TEST_F(Nl80211ManagerTest, WithoutTheFamilyEveryRequestIsAnUnknownError) {
  netlink_.SetNl80211MessageType(0);
  EXPECT_TRUE(GetStations());
  EXPECT_TRUE(GetStation("000000000001"));
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("Unknown Netlink error 1", "Unknown Netlink error 1"));
}

TEST_F(Nl80211ManagerTest, LogsAnError) {
  Nl80211Manager::LogNl80211Error(nullptr);
  EXPECT_THAT(log_, IsEmpty());
  const Nl80211Error error = {"No such device (19)", 19};
  Nl80211Manager::LogNl80211Error(&error);
  EXPECT_THAT(log_, ElementsAre("W Netlink error 19: No such device (19)"));
}

// --- Full requests and incomplete records ---

TEST_F(Nl80211ManagerTest, AnAddressThatDoesNotFitIsFatal) {
  const AttributeBuilder attributes =
      AttributeBuilder()
          .U32(NL80211_ATTR_IFINDEX, kIndex)
          .Raw(NL80211_ATTR_MAC, std::vector<std::uint8_t>(GenericNetlinkRequest::kCapacity));
  EXPECT_DEATH(GetStation(attributes),
               HasSubstr("Check failed: request.attributes()->SetRawAttributeValue( "
                         "NL80211_ATTR_MAC, address)"));
}

TEST_F(Nl80211ManagerTest, AReplyThatIsNotAStationIsFatal) {
  kernel_.SetSilent(true);
  GetStations();
  const simulation::MessageHeader to = kernel_.requests().back().header;
  kernel_.Deliver(simulation::MakeGenericMessage(
      {FakeKernel::kNl80211Family, 0, to.sequence, to.port}, NL80211_CMD_NEW_STATION,
      AttributeBuilder().U32(NL80211_ATTR_IFINDEX, kIndex)));
  EXPECT_DEATH(loop_.RunUntilIdle(), HasSubstr("NL80211_ATTR_STA_INFO, &station_information_)"));
}

}  // namespace
}  // namespace orvane::ap
