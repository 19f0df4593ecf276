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
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "platform/netlink/message_builder.h"
#include "simulation/fake_kernel.h"

namespace orvane::platform {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using AuxiliaryKind = NetlinkManager::AuxiliaryKind;
using namespace std::chrono_literals;

constexpr std::uint16_t kFamily = FakeKernel::kNl80211Family;
constexpr std::uint32_t kIndex = 7;

class NetlinkManagerTest : public testing::Test {
 protected:
  NetlinkManagerTest() {
    SetVerboseLevel(1);
    kernel_.AddInterface("wlan0", kIndex);
    AddStations(1);
    manager_ = std::make_unique<NetlinkManager>(kernel_.MakeTransport());
    EXPECT_TRUE(manager_->Init());
    manager_->Start(loop_);
  }
  ~NetlinkManagerTest() override { SetVerboseLevel(0); }

  void AddStations(int count) {
    for (int i = 0; i < count; ++i) {
      FakeKernel::Station station;
      station.address[5] = static_cast<std::uint8_t>(i);
      kernel_.Stations("wlan0").push_back(station);
    }
  }

  static GenericNetlinkRequest DumpRequest() {
    GenericNetlinkRequest request(kFamily, NL80211_CMD_GET_STATION);
    EXPECT_TRUE(request.attributes().SetU32AttributeValue(NL80211_ATTR_IFINDEX, kIndex));
    request.AddFlags(NLM_F_DUMP);
    return request;
  }

  static GenericNetlinkRequest SingleRequest() {
    GenericNetlinkRequest request(kFamily, NL80211_CMD_GET_STATION);
    EXPECT_TRUE(request.attributes().SetU32AttributeValue(NL80211_ATTR_IFINDEX, kIndex));
    EXPECT_TRUE(request.attributes().SetRawAttributeValue(
        NL80211_ATTR_MAC, ByteString::CreateFromHexString("000000000000")));
    return request;
  }

  // Sends a request whose events are noted as "NAME:event". `held_` shows whether its handlers
  // live.
  void Send(const GenericNetlinkRequest& request, const std::string& name) {
    manager_->Send(
        request,
        [this, name, held = held_](const GenericNetlinkMessage&) { Note(name + ":message"); },
        [this, name, held = held_](bool* remove) {
          EXPECT_TRUE(*remove);
          *remove = removes_on_acknowledgement_;
          Note(name + ":ack");
        },
        [this, name, held = held_](AuxiliaryKind kind, const NetlinkMessage* message) {
          Note(name + ":aux" + std::to_string(static_cast<int>(kind)) +
               (message == nullptr ? "" : "m"));
        });
  }

  void Note(const std::string& event) {
    events_.push_back(event);
    if (on_event_) on_event_(event);
  }

  // Whether the manager still has a request.
  bool HasHandlers() const { return held_.use_count() > 1; }

  // Answers to the request that was sent last.
  MessageHeader LastRequest() const { return kernel_.requests().back().header; }
  std::vector<std::uint8_t> Reply(const MessageHeader& to) const {
    return MakeGenericMessage({kFamily, 0, to.sequence, to.port}, NL80211_CMD_NEW_STATION,
                              AttributeBuilder());
  }
  void Deliver(const std::vector<std::vector<std::uint8_t>>& messages) {
    std::vector<std::uint8_t> datagram;
    for (const auto& message : messages) {
      datagram.insert(datagram.end(), message.begin(), message.end());
    }
    kernel_.Deliver(datagram);
    loop_.RunUntilIdle();
  }

  ManualLoop loop_;
  FakeKernel kernel_;
  std::unique_ptr<NetlinkManager> manager_;
  std::vector<std::string> events_;
  std::function<void(const std::string&)> on_event_;
  std::shared_ptr<int> held_ = std::make_shared<int>(0);
  bool removes_on_acknowledgement_ = false;
  std::vector<std::string> log_;
  LogListener listener_{[this](Severity severity, std::string_view text) {
    log_.push_back((severity == Severity::kVerbose ? "V " : "") + std::string(text));
  }};
};

TEST(NetlinkManagerInstanceTest, IsOneForTheProcess) {
  EXPECT_NE(NetlinkManager::GetInstance(), nullptr);
  EXPECT_EQ(NetlinkManager::GetInstance(), NetlinkManager::GetInstance());
}

// --- Families ---

TEST_F(NetlinkManagerTest, ResolvesAFamily) {
  EXPECT_EQ(manager_->GetFamily("nl80211"), kFamily);
  EXPECT_THAT(log_, IsEmpty());
  EXPECT_EQ(kernel_.requests().back().header.port, FakeKernel::kPort);
}

TEST_F(NetlinkManagerTest, AnUnknownFamilyIsZero) {
  EXPECT_EQ(manager_->GetFamily("nl80212"), 0);
  EXPECT_THAT(log_, ElementsAre("Unknown netlink family: nl80212"));
  EXPECT_EQ(manager_->GetFamily(""), 0);
  EXPECT_EQ(manager_->GetFamily(std::string(300, 'x')), 0);
}

TEST_F(NetlinkManagerTest, ASilentKernelKnowsNoFamily) {
  kernel_.SetSilent(true);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(manager_->GetFamily("nl80211"), 0);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, NetlinkManager::kFamilyDeadline);
  EXPECT_LT(waited, NetlinkManager::kFamilyDeadline + 5s);
  // A late answer changes nothing.
  kernel_.SetSilent(false);
  EXPECT_EQ(manager_->GetFamily("nl80211"), kFamily);
}

TEST_F(NetlinkManagerTest, WaitingForAFamilyServesOtherRequests) {
  Send(DumpRequest(), "a");
  EXPECT_EQ(manager_->GetFamily("nl80211"), kFamily);
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux0m"));
}

TEST_F(NetlinkManagerTest, AConnectionThatBreaksKnowsNoFamily) {
  kernel_.Close();
  EXPECT_EQ(manager_->GetFamily("nl80211"), 0);
}

TEST_F(NetlinkManagerTest, AHandlerMustNotWaitForAFamily) {
  on_event_ = [this](const std::string&) { manager_->GetFamily("nl80211"); };
  Send(DumpRequest(), "a");
  EXPECT_DEATH(loop_.RunUntilIdle(), "Check failed: !is_walking_");
}

// --- Endings ---

TEST_F(NetlinkManagerTest, ADumpTellsItsRecordsAndThatItIsDone) {
  AddStations(2);
  Send(DumpRequest(), "a");
  EXPECT_THAT(events_, IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:message", "a:message", "a:aux0m"));
  EXPECT_FALSE(HasHandlers());
  loop_.AdvanceBy(1min);
  EXPECT_EQ(events_.size(), 4U);
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(NetlinkManagerTest, ALongDumpComesInLargeParts) {
  AddStations(999);
  Send(DumpRequest(), "a");
  loop_.RunUntilIdle();
  EXPECT_EQ(events_.size(), 1001U);
  EXPECT_EQ(events_.back(), "a:aux0m");
  EXPECT_GE(kernel_.largest_buffer(), 32U * 1024);
  EXPECT_GT(kernel_.datagram_count(), 30U);
  EXPECT_LT(kernel_.datagram_count(), 60U);
}

TEST_F(NetlinkManagerTest, TheFirstReceiveShowsTheKernelALargeBuffer) {
  manager_->GetFamily("nl80211");
  EXPECT_GE(kernel_.largest_buffer(), 32U * 1024);
}

TEST_F(NetlinkManagerTest, OneWakeUpTakesALimitedNumberOfDatagrams) {
  for (int i = 0; i < 20; ++i) kernel_.Deliver(MakeNetlinkMessage({99}, {}));
  loop_.RunOnce();
  EXPECT_EQ(log_.size(), 16U);
  loop_.RunOnce();
  EXPECT_EQ(log_.size(), 20U);
}

TEST_F(NetlinkManagerTest, NobodyLooksForMoreThanWasAskedFor) {
  AddStations(60);
  Send(DumpRequest(), "a");
  Send(DumpRequest(), "b");
  loop_.RunUntilIdle();
  EXPECT_FALSE(HasHandlers());
  EXPECT_EQ(kernel_.receive_count(), kernel_.datagram_count());
}

TEST_F(NetlinkManagerTest, AnErrorEndsARequest) {
  kernel_.FailNextRequest(EPERM);
  Send(DumpRequest(), "a");
  loop_.RunUntilIdle();
  kernel_.FailNextRequest(EPERM, "not you");
  Send(SingleRequest(), "b");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:aux1m", "b:aux1m"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, ADumpMayFailOnItsWay) {
  AddStations(2);
  kernel_.FailNextDumpAfter(2, EIO);
  Send(DumpRequest(), "a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:message", "a:aux1m"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, ASingleRequestEndsWithItsReplyAndAcknowledgement) {
  Send(SingleRequest(), "a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:ack"));
  EXPECT_FALSE(HasHandlers());
  loop_.AdvanceBy(1min);
  EXPECT_EQ(events_.size(), 2U);
}

TEST_F(NetlinkManagerTest, TheAcknowledgementMayComeFirst) {
  kernel_.SetAcknowledgeFirst(true);
  Send(SingleRequest(), "a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:ack", "a:message"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, AnAcknowledgementMayRemoveTheHandlers) {
  kernel_.SetAcknowledgeFirst(true);
  removes_on_acknowledgement_ = true;
  Send(SingleRequest(), "a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:ack"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, AnAcknowledgementDoesNotEndADump) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  const MessageHeader to = LastRequest();
  Deliver({MakeErrorMessage(to, 0), Reply(to), MakeErrorMessage(to, 0), MakeDoneMessage(to)});
  EXPECT_THAT(events_, ElementsAre("a:ack", "a:message", "a:ack", "a:aux0m"));
}

// It is the reply that counts.
TEST_F(NetlinkManagerTest, HalfAnAnswerEndsAtTheDeadlineByTimeOutIfItIsTheAcknowledgement) {
  kernel_.SetSilent(true);
  Send(SingleRequest(), "a");
  Deliver({Reply(LastRequest())});
  Send(SingleRequest(), "b");
  Deliver({MakeErrorMessage(LastRequest(), 0)});
  loop_.AdvanceBy(2 * NetlinkManager::kResponseDeadline);
  EXPECT_THAT(events_, ElementsAre("a:message", "b:ack", "b:aux2"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, ASingleRequestMayBeAnsweredAsADump) {
  kernel_.SetSilent(true);
  Send(SingleRequest(), "a");
  Deliver({Reply(LastRequest()), MakeDoneMessage(LastRequest())});
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux0m"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, OnlyTheFirstEndingCounts) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  const MessageHeader to = LastRequest();
  Deliver({MakeDoneMessage(to), MakeErrorMessage(to, -EIO), MakeDoneMessage(to), Reply(to)});
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, ElementsAre("a:aux0m"));
  EXPECT_THAT(log_, ElementsAre("V Ignored a netlink message that answers no request: type 2",
                                "V Ignored a netlink message that answers no request: type 3",
                                "V Ignored a netlink message that answers no request: type 28"));
}

TEST_F(NetlinkManagerTest, HandlersMayBeMissing) {
  manager_->Send(DumpRequest(), nullptr, nullptr, nullptr);
  manager_->Send(SingleRequest(), nullptr, nullptr, nullptr);
  loop_.RunUntilIdle();
  kernel_.SetSilent(true);
  manager_->Send(SingleRequest(), nullptr, nullptr, nullptr);
  Deliver({MakeNetlinkMessage({99, 0, LastRequest().sequence, FakeKernel::kPort}, {})});
  loop_.AdvanceBy(1min);
  EXPECT_THAT(log_, IsEmpty());
}

// --- Deadlines ---

TEST_F(NetlinkManagerTest, SilenceEndsARequestAtItsDeadline) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  Send(SingleRequest(), "b");
  loop_.AdvanceBy(NetlinkManager::kResponseDeadline - TimeSpan(1));
  EXPECT_THAT(events_, IsEmpty());
  loop_.AdvanceBy(TimeSpan(1));
  EXPECT_THAT(events_, ElementsAre("a:aux2", "b:aux2"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, ProgressPutsTheDeadlineOff) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  loop_.AdvanceBy(1s);
  Deliver({Reply(LastRequest())});
  loop_.AdvanceBy(8s);
  EXPECT_THAT(events_, ElementsAre("a:message"));
  loop_.AdvanceBy(1s);
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux2"));
}

// A loop takes its timers before its descriptors: the reply has been there all the time.
TEST_F(NetlinkManagerTest, AReplyThatWaitsIsReadBeforeTheTimeOut) {
  kernel_.SetHolding(true);
  Send(DumpRequest(), "a");
  loop_.PostDelayedTask([this] { kernel_.SetHolding(false); }, NetlinkManager::kResponseDeadline);
  // Arms the deadline anew, so that it comes after the task above in the same turn.
  Send(SingleRequest(), "b");
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, Not(Contains("b:aux2")));
  EXPECT_THAT(events_, Contains("b:ack"));
}

TEST_F(NetlinkManagerTest, ADumpThatStallsEndsAndTheNextOneGoesOn) {
  AddStations(200);
  Send(DumpRequest(), "a");
  kernel_.SetSilent(true);
  loop_.AdvanceBy(2 * NetlinkManager::kResponseDeadline);
  EXPECT_EQ(events_.back(), "a:aux2");
  kernel_.SetSilent(false);
  Send(DumpRequest(), "b");
  loop_.RunUntilIdle();
  EXPECT_EQ(events_.back(), "b:aux0m");
}

// --- Many at a time ---

TEST_F(NetlinkManagerTest, RepliesFindTheirRequests) {
  kernel_.SetSilent(true);
  Send(SingleRequest(), "a");
  const MessageHeader a = LastRequest();
  Send(SingleRequest(), "b");
  const MessageHeader b = LastRequest();
  EXPECT_NE(a.sequence, b.sequence);
  Deliver({Reply(b), Reply(a), MakeErrorMessage(b, 0), MakeErrorMessage(a, -EIO)});
  EXPECT_THAT(events_, ElementsAre("b:message", "a:message", "b:ack", "a:aux1m"));
}

TEST_F(NetlinkManagerTest, DumpsGoOneAfterTheOther) {
  kernel_.SetHolding(true);
  Send(DumpRequest(), "a");
  Send(DumpRequest(), "b");
  Send(SingleRequest(), "c");
  EXPECT_EQ(kernel_.requests().size(), 2U);
  kernel_.SetHolding(false);
  loop_.RunUntilIdle();
  EXPECT_EQ(kernel_.requests().size(), 3U);
  EXPECT_THAT(events_,
              ElementsAre("a:message", "c:message", "c:ack", "a:aux0m", "b:message", "b:aux0m"));
}

TEST_F(NetlinkManagerTest, ADumpThatWaitedTooLongIsNotSent) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  loop_.AdvanceBy(1s);
  Send(DumpRequest(), "b");
  loop_.AdvanceBy(1s);
  Deliver({Reply(LastRequest())});  // a goes on until 10 s
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, ElementsAre("a:message", "b:aux2", "a:aux2"));
  EXPECT_EQ(kernel_.requests().size(), 1U);
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, ADumpThatWaitedTooLongIsForgottenAtOnce) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  const auto handlers_of_one = held_.use_count() - 1;
  Send(DumpRequest(), "b");
  loop_.AdvanceBy(1s);
  Deliver({Reply(LastRequest())});  // a goes on until 10 s
  loop_.AdvanceBy(4s);
  EXPECT_THAT(events_, ElementsAre("a:message", "b:aux2"));
  EXPECT_EQ(held_.use_count() - 1, handlers_of_one);
}

TEST_F(NetlinkManagerTest, OnlySoManyDumpsMayWait) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "under way");
  for (std::size_t i = 0; i < NetlinkManager::kMaxWaitingDumps; ++i) Send(DumpRequest(), "waits");
  Send(DumpRequest(), "one more");
  Send(SingleRequest(), "no dump");
  EXPECT_THAT(events_, IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("one more:aux1"));
  loop_.AdvanceBy(NetlinkManager::kResponseDeadline);
  EXPECT_EQ(events_.size(), NetlinkManager::kMaxWaitingDumps + 3);
  EXPECT_THAT(events_, Contains("no dump:aux2"));
  EXPECT_FALSE(HasHandlers());
}

// Nothing can be sent: each request makes room for the next one only in a later turn.
TEST_F(NetlinkManagerTest, AskingOnAndOnWithoutAKernelKeepsABoundedNumberOfRequests) {
  kernel_.FailSends(EPERM);
  std::int64_t most = 0;
  for (int turn = 0; turn < 2000; ++turn) {
    for (int i = 0; i < 3; ++i) Send(DumpRequest(), "a");
    loop_.RunOnce();
    most = std::max<std::int64_t>(most, held_.use_count());
  }
  // Three handlers hold it for each request.
  EXPECT_LT(most, 3 * static_cast<std::int64_t>(NetlinkManager::kMaxWaitingDumps + 10));
}

TEST_F(NetlinkManagerTest, ALateReplyIsIgnored) {
  kernel_.SetSilent(true);
  Send(SingleRequest(), "a");
  loop_.AdvanceBy(NetlinkManager::kResponseDeadline);
  Deliver({Reply(LastRequest()), MakeErrorMessage(LastRequest(), 0)});
  EXPECT_THAT(events_, ElementsAre("a:aux2"));
  EXPECT_THAT(log_, Contains("V Ignored a netlink message that answers no request: type 28"));
}

// --- What doesn't belong here ---

TEST_F(NetlinkManagerTest, ForeignSequencesAndPortsAreIgnored) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  MessageHeader wrong_sequence = LastRequest();
  ++wrong_sequence.sequence;
  MessageHeader wrong_port = LastRequest();
  ++wrong_port.port;
  Deliver({Reply(wrong_sequence), Reply(LastRequest()), Reply(wrong_port),
           MakeDoneMessage(wrong_sequence), MakeDoneMessage(wrong_port)});
  EXPECT_THAT(events_, ElementsAre("a:message"));
  EXPECT_EQ(log_.size(), 4U);
}

// Each is told, but not the end after it.
TEST_F(NetlinkManagerTest, AnUnexpectedTypeIsToldAndTheAnswerHasBrokenOff) {
  kernel_.SetSilent(true);
  for (const char* name : {"done", "error", "silence"}) {
    events_.clear();
    Send(DumpRequest(), name);
    const MessageHeader to = LastRequest();
    const auto odd = MakeNetlinkMessage({99, 0, to.sequence, to.port}, {});
    Deliver({odd, Reply(to), odd});
    const std::string prefix = name;
    const auto told = ElementsAre(prefix + ":aux3m", prefix + ":message", prefix + ":aux3m");
    EXPECT_THAT(events_, told);
    EXPECT_TRUE(HasHandlers()) << name;
    if (prefix == "done") Deliver({MakeDoneMessage(to)});
    if (prefix == "error") Deliver({MakeErrorMessage(to, -EIO)});
    if (prefix == "silence") loop_.AdvanceBy(2 * NetlinkManager::kResponseDeadline);
    EXPECT_THAT(events_, told);
    EXPECT_FALSE(HasHandlers()) << name;
  }
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(NetlinkManagerTest, BrokenMessagesAreSurvived) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  const MessageHeader to = LastRequest();
  const std::vector<std::uint8_t> short_error =
      MakeNetlinkMessage({NLMSG_ERROR, 0, to.sequence, to.port}, {});
  const std::vector<std::uint8_t> no_command =
      MakeNetlinkMessage({kFamily, 0, to.sequence, to.port}, {});
  Deliver({short_error, no_command, Reply(to), {1, 2, 3}});
  EXPECT_THAT(events_, ElementsAre("a:aux3m", "a:message"));
  EXPECT_THAT(log_, ElementsAre("V Ignored a netlink message without a command",
                                "V Ignored 3 bytes after a netlink message"));
  const std::vector<std::uint8_t> whole = Reply(to);
  for (std::size_t size = 1; size < whole.size(); ++size) {
    Deliver({{whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}});
  }
  EXPECT_EQ(events_.size(), 2U);
  Deliver({MakeDoneMessage(to)});
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, AnInterruptedDumpIsNoted) {
  kernel_.SetDumpInterrupted(true);
  Send(DumpRequest(), "a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux0m"));
  EXPECT_THAT(log_,
              ElementsAre("V A netlink dump was interrupted by a change and may be inconsistent"));
}

// --- A transport that fails ---

TEST_F(NetlinkManagerTest, LostMessagesAreLoggedAndReadingGoesOn) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  kernel_.DeliverFailure(ReceiveStatus::kLost, ENOBUFS);
  loop_.AdvanceBy(NetlinkManager::kResponseDeadline);
  EXPECT_THAT(log_, ElementsAre("Netlink messages are lost: No buffer space available (105)"));
  EXPECT_THAT(events_, ElementsAre("a:aux2"));
  kernel_.SetSilent(false);
  Send(DumpRequest(), "b");
  loop_.RunUntilIdle();
  EXPECT_EQ(events_.back(), "b:aux0m");
}

TEST_F(NetlinkManagerTest, ALostPartOfADumpIsMissingFromIt) {
  AddStations(200);
  kernel_.SetLosingParts(true);
  Send(DumpRequest(), "a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:aux0m"));
  EXPECT_GE(log_.size(), 2U);
  EXPECT_THAT(log_, ::testing::Each("Netlink messages are lost: No buffer space available (105)"));
}

TEST_F(NetlinkManagerTest, DroppedDatagramsAreLogged) {
  kernel_.DeliverFailure(ReceiveStatus::kTruncated, 0);
  kernel_.DeliverFailure(ReceiveStatus::kIgnored, 0);
  loop_.RunUntilIdle();
  EXPECT_THAT(log_, ElementsAre("Dropped a netlink datagram of over 65536 bytes",
                                "V Ignored a netlink datagram that is not the kernel's"));
}

TEST_F(NetlinkManagerTest, AfterAFailureRequestsEndByAnError) {
  Send(SingleRequest(), "a");
  loop_.RunUntilIdle();
  events_.clear();
  kernel_.Close();
  loop_.RunUntilIdle();
  EXPECT_THAT(log_, ElementsAre(HasSubstr("Failed to receive from netlink: ")));
  Send(SingleRequest(), "b");
  Send(DumpRequest(), "c");
  Send(DumpRequest(), "d");
  EXPECT_THAT(events_, IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("b:aux1", "c:aux1", "d:aux1"));
  EXPECT_FALSE(HasHandlers());
  EXPECT_EQ(log_.size(), 1U);
}

TEST_F(NetlinkManagerTest, ASendThatFailsIsAnError) {
  kernel_.FailSends(ENOBUFS);
  Send(SingleRequest(), "a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:aux1"));
  EXPECT_THAT(log_,
              ElementsAre("Failed to send a netlink request: No buffer space available (105)"));
  kernel_.FailSends(0);
  Send(SingleRequest(), "b");
  loop_.RunUntilIdle();
  EXPECT_EQ(events_.back(), "b:ack");
}

TEST_F(NetlinkManagerTest, AnUnknownFamilyIsAnErrorForItsRequests) {
  Send(GenericNetlinkRequest(0, NL80211_CMD_GET_STATION), "a");
  EXPECT_THAT(kernel_.requests(), IsEmpty());
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:aux1"));
}

TEST(NetlinkManagerWithoutSocketTest, EndsRequestsByAnError) {
  ManualLoop loop;
  FakeKernel kernel;
  kernel.AddInterface("wlan0", kIndex);
  kernel.FailOpen(EAFNOSUPPORT);
  NetlinkManager manager;
  manager.SetTransport(kernel.MakeTransport());
  EXPECT_FALSE(manager.Init());
  EXPECT_EQ(manager.GetFamily("nl80211"), 0);
  manager.Start(loop);
  EXPECT_EQ(manager.GetInterfaceIndex("wlan0"), kIndex);
  std::optional<AuxiliaryKind> end;
  manager.Send(GenericNetlinkRequest(kFamily, 1), nullptr, nullptr,
               [&end](AuxiliaryKind kind, const NetlinkMessage* message) {
                 EXPECT_EQ(message, nullptr);
                 end = kind;
               });
  loop.RunUntilIdle();
  EXPECT_EQ(end, AuxiliaryKind::kKernelError);
}

// --- Handlers that change the world ---

TEST_F(NetlinkManagerTest, HandlersMaySendRequests) {
  AddStations(1);
  on_event_ = [this](const std::string& event) {
    if (event == "a:message" && events_.size() == 1) Send(SingleRequest(), "b");
    if (event == "a:aux0m") Send(DumpRequest(), "c");
    if (event == "b:ack") Send(SingleRequest(), "d");
  };
  Send(DumpRequest(), "a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_,
              testing::IsSupersetOf({"a:aux0m", "b:message", "b:ack", "c:aux0m", "d:ack"}));
  on_event_ = nullptr;
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, ATimeOutMaySendARequest) {
  kernel_.SetSilent(true);
  on_event_ = [this](const std::string&) {
    kernel_.SetSilent(false);
    on_event_ = nullptr;
    Send(DumpRequest(), "b");
  };
  Send(DumpRequest(), "a");
  loop_.AdvanceBy(NetlinkManager::kResponseDeadline);
  EXPECT_THAT(events_, ElementsAre("a:aux2", "b:message", "b:aux0m"));
}

class DestructionTest : public NetlinkManagerTest,
                        public testing::WithParamInterface<std::pair<std::string, bool>> {};

// At each kind of event the manager is stopped, or destroyed, in the middle of a datagram.
TEST_P(DestructionTest, EndsTheWalk) {
  const auto& [at, is_destroyed] = GetParam();
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  Send(DumpRequest(), "waits");
  const MessageHeader to = LastRequest();
  bool is_gone = false;
  on_event_ = [&, at = at, is_destroyed = is_destroyed](const std::string& event) {
    EXPECT_FALSE(is_gone) << event;
    if (event != at) return;
    is_gone = true;
    is_destroyed ? manager_.reset() : manager_->Stop();
  };
  // The end is not told after a message of another type.
  const std::uint16_t type = at == "a:aux3m" ? 99 : kFamily;
  Deliver({MakeErrorMessage(to, 0), Reply(to),
           MakeNetlinkMessage({type, 0, to.sequence, to.port}, {}),
           MakeDoneMessage(to, at == "a:aux1m" ? -EIO : 0), Reply(to)});
  loop_.AdvanceBy(1min);
  EXPECT_TRUE(is_gone);
  EXPECT_EQ(events_.back(), at);
  on_event_ = nullptr;
  EXPECT_FALSE(HasHandlers());
}

INSTANTIATE_TEST_SUITE_P(Events, DestructionTest,
                         testing::Values(std::pair("a:ack", false), std::pair("a:ack", true),
                                         std::pair("a:message", false),
                                         std::pair("a:message", true), std::pair("a:aux3m", false),
                                         std::pair("a:aux3m", true), std::pair("a:aux0m", false),
                                         std::pair("a:aux0m", true), std::pair("a:aux1m", false),
                                         std::pair("a:aux1m", true)));

TEST_F(NetlinkManagerTest, ATimeOutMayDestroyTheManager) {
  kernel_.SetSilent(true);
  on_event_ = [this](const std::string&) { manager_.reset(); };
  Send(SingleRequest(), "a");
  Send(SingleRequest(), "b");
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, ElementsAre("a:aux2"));
  on_event_ = nullptr;
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, StopForgetsRequestsAndStartBeginsAnew) {
  kernel_.SetSilent(true);
  Send(DumpRequest(), "a");
  Send(DumpRequest(), "b");
  manager_->Stop();
  EXPECT_FALSE(HasHandlers());
  kernel_.SetSilent(false);
  ManualLoop other_loop;
  manager_->Start(other_loop);
  Send(DumpRequest(), "c");
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, IsEmpty());
  other_loop.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("c:message", "c:aux0m"));
  manager_->Stop();
}

TEST_F(NetlinkManagerTest, DestructionForgetsASendThatFailed) {
  kernel_.FailSends(ENOBUFS);
  Send(SingleRequest(), "a");
  manager_.reset();
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, IsEmpty());
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkManagerTest, RequestsNeedALoop) {
  manager_->Stop();
  EXPECT_DEATH(Send(SingleRequest(), "a"), "Check failed: loop_ != nullptr");
}

}  // namespace
}  // namespace orvane::platform
