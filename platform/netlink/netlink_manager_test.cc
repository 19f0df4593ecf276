#include "platform/netlink/netlink_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "simulation/fake_kernel.h"
#include "simulation/message_builder.h"

namespace orvane::platform {
namespace {

using simulation::FakeKernel;
using simulation::MakeNetlinkMessage;
using simulation::MessageHeader;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using namespace std::chrono_literals;

constexpr std::uint16_t kFamily = FakeKernel::kNl80211Family;
constexpr std::uint32_t kIndex = 7;
constexpr TimeSpan kDeadline = NetlinkConnection::kResponseDeadline;

class NetlinkManagerTest : public testing::Test {
 protected:
  NetlinkManagerTest() {
    SetVerboseLevel(1);
    kernel_.AddInterface("wlan0", kIndex);
    kernel_.Stations("wlan0").emplace_back();
    manager_ = std::make_unique<NetlinkManager>(kernel_);
    manager_->Start(loop_);
  }
  ~NetlinkManagerTest() override { SetVerboseLevel(0); }

  // Sends a request and records its calls of the auxiliary handler as NAME and the kind. `held_`
  // shows whether its handlers are alive.
  void Send(const std::string& name, std::uint16_t flags, std::uint16_t family = kFamily) {
    GenericNetlinkRequest request(family, NL80211_CMD_GET_STATION);
    EXPECT_TRUE(request.attributes().SetU32AttributeValue(NL80211_ATTR_IFINDEX, kIndex));
    EXPECT_TRUE(request.attributes().SetRawAttributeValue(
        NL80211_ATTR_MAC, ByteString::CreateFromHexString("000000000000")));
    request.AddFlags(flags);
    manager_->Send(
        request, {.on_message = [this, held = held_](const GenericNetlinkMessage&) { ++messages_; },
                  .on_acknowledgement = [](bool* remove) { *remove = false; },
                  .on_auxiliary =
                      [this, name, held = held_](AuxiliaryKind kind, const NetlinkMessage*) {
                        ends_.push_back(name + std::to_string(static_cast<int>(kind)));
                        if (on_end_) on_end_(ends_.back());
                      }});
  }
  void SendDump(const std::string& name) { Send(name, NLM_F_DUMP); }
  void SendSingle(const std::string& name) { Send(name, 0); }

  bool HasHandlers() const { return held_.use_count() > 1; }

  // Returns the ports of the sockets of all requests so far.
  std::set<std::uint32_t> Ports() const {
    std::set<std::uint32_t> ports;
    for (const auto& request : kernel_.requests()) ports.insert(request.header.port);
    return ports;
  }

  ManualLoop loop_;
  FakeKernel kernel_;
  std::unique_ptr<NetlinkManager> manager_;
  int messages_ = 0;
  std::vector<std::string> ends_;
  std::function<void(const std::string&)> on_end_;
  std::shared_ptr<int> held_ = std::make_shared<int>(0);
  std::vector<std::string> log_;
  LogListener listener_{
      [this](Severity /*severity*/, std::string_view text) { log_.emplace_back(text); }};
};

TEST(NetlinkManagerInstanceTest, IsOneForTheProcess) {
  NetlinkManager::GetInstance()->SetNl80211MessageType(kFamily);
  EXPECT_EQ(NetlinkManager::GetInstance()->nl80211_message_type(), kFamily);
}

TEST_F(NetlinkManagerTest, ResolvesAFamily) {
  EXPECT_EQ(manager_->GetFamily("nl80211"), kFamily);
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(NetlinkManagerTest, LogsAnUnknownFamily) {
  EXPECT_EQ(manager_->GetFamily("nl80212"), 0);
  EXPECT_THAT(log_, ElementsAre("Unknown netlink family: nl80212"));
}

// --- Overlapping requests ---

TEST_F(NetlinkManagerTest, OverlappingRequestsAreSentAtOnceOverSocketsOfTheirOwn) {
  kernel_.SetHolding(true);
  SendDump("a");
  SendDump("b");
  SendSingle("c");
  EXPECT_THAT(kernel_.requests(), SizeIs(3));
  EXPECT_THAT(Ports(), SizeIs(3));
  kernel_.SetHolding(false);
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, testing::UnorderedElementsAre("a0", "b0"));
  EXPECT_EQ(messages_, 3);
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, LaterDumpsOvertakeOneThatStalls) {
  kernel_.SetSilent(true);
  SendDump("a");
  kernel_.SetSilent(false);
  SendDump("b");
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("b0"));
  loop_.AdvanceBy(kDeadline);
  EXPECT_THAT(ends_, ElementsAre("b0", "a2"));
}

TEST_F(NetlinkManagerTest, EachDumpOfASilentKernelIsSentAndTimesOutByItself) {
  kernel_.SetSilent(true);
  for (std::size_t second = 1; second <= 20; ++second) {
    SendDump("a");
    EXPECT_EQ(kernel_.requests().size(), second);
    EXPECT_LE(kernel_.socket_count(), 5U);
    loop_.AdvanceBy(1s);
    EXPECT_EQ(ends_.size(), second < 5 ? 0 : second - 4);
  }
  EXPECT_THAT(ends_, testing::Each("a2"));
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(NetlinkManagerTest, ABrokenOffDumpDelaysNoOther) {
  kernel_.SetSilent(true);
  SendDump("a");
  const MessageHeader to = kernel_.requests().back().header;
  kernel_.Deliver(MakeNetlinkMessage({99, 0, to.sequence, to.port}, {}));
  loop_.RunUntilIdle();
  kernel_.SetSilent(false);
  SendDump("b");
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("a3", "b0"));
  EXPECT_THAT(Ports(), SizeIs(2)) << "the kernel may still send the first dump";
  loop_.AdvanceBy(1min);
  EXPECT_THAT(ends_, ElementsAre("a3", "b0"));
  EXPECT_FALSE(HasHandlers());
}

// --- Sockets ---

TEST_F(NetlinkManagerTest, ASocketIsUsedAgain) {
  for (int i = 0; i < 3; ++i) {
    SendDump("a");
    loop_.RunUntilIdle();
    SendSingle("b");
    loop_.RunUntilIdle();
  }
  EXPECT_THAT(Ports(), SizeIs(1));
  EXPECT_EQ(kernel_.socket_count(), 1U);
}

// A late reply on a socket that is used again must not be taken for another request's.
TEST_F(NetlinkManagerTest, EachRequestHasItsOwnSequenceNumber) {
  std::set<std::uint32_t> sequences;
  for (int i = 0; i < 3; ++i) {
    SendSingle("a");
    loop_.RunUntilIdle();
    sequences.insert(kernel_.requests().back().header.sequence);
  }
  EXPECT_THAT(Ports(), SizeIs(1));
  EXPECT_THAT(sequences, SizeIs(3));
}

TEST_F(NetlinkManagerTest, SocketsThatTimedOutAreReplaced) {
  kernel_.SetSilent(true);
  SendDump("a");
  loop_.AdvanceBy(kDeadline);
  EXPECT_EQ(kernel_.socket_count(), 0U);
  kernel_.SetSilent(false);
  SendDump("b");
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("a2", "b0"));
  EXPECT_THAT(Ports(), SizeIs(2));
}

TEST_F(NetlinkManagerTest, TheIdleSocketsOfABurstAreClosed) {
  kernel_.SetHolding(true);
  for (int i = 0; i < 5; ++i) SendDump("a");
  kernel_.SetHolding(false);
  loop_.RunUntilIdle();
  EXPECT_EQ(kernel_.socket_count(), 5U);
  SendDump("b");
  EXPECT_EQ(kernel_.socket_count(), 1U);
  EXPECT_THAT(Ports(), SizeIs(5));
}

TEST_F(NetlinkManagerTest, TheNumberOfSocketsIsBounded) {
  kernel_.SetSilent(true);
  for (std::size_t i = 0; i < NetlinkManager::kMaxConnections; ++i) SendDump("a");
  EXPECT_THAT(log_, IsEmpty());
  SendDump("b");
  SendSingle("c");
  EXPECT_EQ(kernel_.socket_count(), NetlinkManager::kMaxConnections);
  EXPECT_THAT(ends_, IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("b1", "c1"));
  EXPECT_THAT(log_, ElementsAre("Too many netlink requests are under way",
                                "Too many netlink requests are under way"));
  loop_.AdvanceBy(kDeadline);
  EXPECT_EQ(kernel_.socket_count(), 0U);
  kernel_.SetSilent(false);
  SendDump("d");
  loop_.RunUntilIdle();
  EXPECT_EQ(ends_.back(), "d0");
}

TEST_F(NetlinkManagerTest, ABrokenSocketIsReplaced) {
  SendSingle("a");
  loop_.RunUntilIdle();
  kernel_.Close();
  loop_.RunUntilIdle();
  SendDump("b");
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("b0"));
}

// --- Requests that can't be sent ---

TEST_F(NetlinkManagerTest, ASocketThatCannotBeOpenedIsAnError) {
  kernel_.FailOpen(EMFILE);
  SendDump("a");
  EXPECT_THAT(ends_, IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("a1"));
  EXPECT_THAT(log_, ElementsAre("Failed to open a netlink socket: Too many open files (24)"));
  kernel_.FailOpen(0);
  SendDump("b");
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("a1", "b0"));
}

TEST_F(NetlinkManagerTest, WithoutASocketNoFamilyIsKnown) {
  kernel_.FailOpen(EAFNOSUPPORT);
  EXPECT_EQ(manager_->GetFamily("nl80211"), 0);
  EXPECT_THAT(log_, ElementsAre("Failed to open a netlink socket: Address family not supported by "
                                "protocol (97)",
                                "Unknown netlink family: nl80211"));
  EXPECT_EQ(manager_->GetInterfaceIndex("wlan0"), kIndex);
}

TEST_F(NetlinkManagerTest, ASendThatFailsIsAnError) {
  kernel_.FailSends(ENOBUFS);
  SendSingle("a");
  EXPECT_THAT(ends_, IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("a1"));
  EXPECT_FALSE(HasHandlers());
  kernel_.FailSends(0);
  SendDump("b");
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("a1", "b0"));
}

TEST_F(NetlinkManagerTest, AnUnknownFamilyIsAnErrorForItsRequests) {
  Send("a", 0, /*family=*/0);
  EXPECT_THAT(kernel_.requests(), IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("a1"));
}

// A request that can't be sent is removed in the next turn.
TEST_F(NetlinkManagerTest, RepeatedFailingRequestsAreBounded) {
  kernel_.FailSends(EPERM);
  std::int64_t most = 0;
  for (int turn = 0; turn < 1000; ++turn) {
    for (int i = 0; i < 3; ++i) SendDump("a");
    loop_.RunOnce();
    most = std::max<std::int64_t>(most, held_.use_count());
  }
  EXPECT_LE(most, 4);
  EXPECT_EQ(kernel_.socket_count(), 1U);
}

TEST_F(NetlinkManagerTest, RequestsNeedALoop) {
  manager_->Stop();
  EXPECT_DEATH(SendSingle("a"), "Check failed: loop_ != nullptr");
}

// --- Handlers with side effects ---

TEST_F(NetlinkManagerTest, HandlersMaySendRequests) {
  on_end_ = [this](const std::string& end) {
    if (end == "a0") SendDump("b");
    if (end == "b0") kernel_.FailSends(EPERM);
    if (end == "b0") SendDump("c");
  };
  SendDump("a");
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("a0", "b0", "c1"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, ATimeOutMaySendARequest) {
  kernel_.SetSilent(true);
  on_end_ = [this](const std::string& end) {
    kernel_.SetSilent(false);
    if (end == "a2") SendDump("b");
  };
  SendDump("a");
  loop_.AdvanceBy(kDeadline);
  EXPECT_THAT(ends_, ElementsAre("a2", "b0"));
}

TEST_F(NetlinkManagerTest, HandlersMayResolveAFamily) {
  std::uint16_t family = 0;
  on_end_ = [&](const std::string& /*end*/) { family = manager_->GetFamily("nl80211"); };
  SendDump("a");
  loop_.RunUntilIdle();
  EXPECT_EQ(family, kFamily);
}

class NetlinkManagerDestructionTest
    : public NetlinkManagerTest,
      public testing::WithParamInterface<std::tuple<std::string, bool>> {};

// At each kind of end the manager is stopped or destroyed while another request is pending.
TEST_P(NetlinkManagerDestructionTest, DropsAllRequests) {
  const auto& [at, is_destroyed] = GetParam();
  kernel_.SetHolding(true);
  SendDump("a");
  const MessageHeader to = kernel_.requests().back().header;
  if (at == "a3") kernel_.Deliver(MakeNetlinkMessage({99, 0, to.sequence, to.port}, {}));
  SendDump("other");
  on_end_ = [this, is_destroyed = is_destroyed](const std::string& /*end*/) {
    is_destroyed ? manager_.reset() : manager_->Stop();
  };
  if (at == "a1") kernel_.FailNextRequest(EIO);
  if (at == "a2") kernel_.SetSilent(true);
  if (at == "a0" || at == "a1") kernel_.SetHolding(false);
  loop_.AdvanceBy(1min);
  EXPECT_THAT(ends_, ElementsAre(at));
  EXPECT_FALSE(HasHandlers());
  EXPECT_EQ(kernel_.socket_count(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Ends, NetlinkManagerDestructionTest,
                         testing::Combine(testing::Values("a0", "a1", "a2", "a3"),
                                          testing::Bool()));

TEST_F(NetlinkManagerTest, AFailedSendMayDestroyTheManager) {
  kernel_.FailSends(ENOBUFS);
  on_end_ = [this](const std::string& /*end*/) { manager_.reset(); };
  SendDump("a");
  SendDump("b");
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("a1"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, StopForgetsRequestsAndStartBeginsAnew) {
  kernel_.SetSilent(true);
  SendDump("a");
  SendDump("b");
  manager_->Stop();
  EXPECT_FALSE(HasHandlers());
  EXPECT_EQ(kernel_.socket_count(), 0U);
  kernel_.SetSilent(false);
  ManualLoop other_loop;
  manager_->Start(other_loop);
  SendDump("c");
  loop_.AdvanceBy(1min);
  EXPECT_THAT(ends_, IsEmpty());
  other_loop.RunUntilIdle();
  EXPECT_THAT(ends_, ElementsAre("c0"));
  manager_->Stop();
}

TEST_F(NetlinkManagerTest, DestroyingAHandlerMayStopTheManager) {
  held_ = std::shared_ptr<int>(new int(0), [this](const int* value) {
    delete value;
    manager_->Stop();
  });
  kernel_.SetSilent(true);
  SendDump("a");
  SendDump("b");
  held_.reset();
  manager_->Stop();
  EXPECT_EQ(kernel_.socket_count(), 0U);
}

TEST_F(NetlinkManagerTest, StopForgetsASendThatFailed) {
  kernel_.FailSends(ENOBUFS);
  SendSingle("a");
  manager_->Stop();
  manager_->Start(loop_);
  loop_.RunUntilIdle();
  EXPECT_THAT(ends_, IsEmpty());
  EXPECT_FALSE(HasHandlers());
}

}  // namespace
}  // namespace orvane::platform
