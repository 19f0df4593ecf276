#include "platform/netlink/netlink_connection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nl80211.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/logging.h"
#include "platform/manual_loop.h"
#include "simulation/fake_kernel.h"
#include "simulation/message_builder.h"

namespace orvane::platform {
namespace {

using simulation::AttributeBuilder;
using simulation::FakeKernel;
using simulation::MakeDoneMessage;
using simulation::MakeErrorMessage;
using simulation::MakeGenericMessage;
using simulation::MakeNetlinkMessage;
using simulation::MessageHeader;

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using namespace std::chrono_literals;

constexpr std::uint16_t kFamily = FakeKernel::kNl80211Family;
constexpr std::uint32_t kIndex = 7;
constexpr std::uint16_t kOddType = 99;
constexpr TimeSpan kDeadline = NetlinkConnection::kResponseDeadline;

class NetlinkConnectionTest : public testing::Test {
 protected:
  NetlinkConnectionTest() {
    SetVerboseLevel(1);
    kernel_.AddInterface("wlan0", kIndex);
    AddStations(1);
    Reopen();
  }
  ~NetlinkConnectionTest() override { SetVerboseLevel(0); }

  void Reopen() { connection_ = std::make_unique<NetlinkConnection>(loop_, kernel_.OpenSocket()); }

  void AddStations(int count) {
    for (int i = 0; i < count; ++i) {
      FakeKernel::Station station;
      station.address[5] = static_cast<std::uint8_t>(i);
      kernel_.Stations("wlan0").push_back(station);
    }
  }

  // Sends a request and records its events as "NAME:event". `held_` shows whether its handlers are
  // alive.
  void Send(const GenericNetlinkRequest& request, const std::string& name) {
    NetlinkHandlers handlers = {
        .on_message = [this, name,
                       held = held_](const GenericNetlinkMessage&) { Note(name + ":message"); },
        .on_acknowledgement =
            [this, name, held = held_](bool* remove) {
              EXPECT_TRUE(*remove);
              *remove = removes_on_acknowledgement_;
              Note(name + ":ack");
            },
        .on_auxiliary =
            [this, name, held = held_](AuxiliaryKind kind, const NetlinkMessage* message) {
              Note(name + ":aux" + std::to_string(static_cast<int>(kind)) +
                   (message == nullptr ? "" : "m"));
            }};
    EXPECT_TRUE(connection_->Send(request, ++sequence_, &handlers));
  }
  void SendDump(const std::string& name) {
    GenericNetlinkRequest request(kFamily, NL80211_CMD_GET_STATION);
    EXPECT_TRUE(request.attributes().SetU32AttributeValue(NL80211_ATTR_IFINDEX, kIndex));
    request.AddFlags(NLM_F_DUMP);
    Send(request, name);
  }
  void SendSingle(const std::string& name) {
    GenericNetlinkRequest request(kFamily, NL80211_CMD_GET_STATION);
    EXPECT_TRUE(request.attributes().SetU32AttributeValue(NL80211_ATTR_IFINDEX, kIndex));
    EXPECT_TRUE(request.attributes().SetRawAttributeValue(
        NL80211_ATTR_MAC, ByteString::CreateFromHexString("000000000000")));
    Send(request, name);
  }

  void Note(const std::string& event) {
    events_.push_back(event);
    if (on_event_) on_event_(event);
  }

  // Returns whether the handlers of a request are alive.
  bool HasHandlers() const { return held_.use_count() > 1; }

  // Returns the header of the last request.
  MessageHeader LastRequest() const { return kernel_.requests().back().header; }
  static std::vector<std::uint8_t> Reply(const MessageHeader& to) {
    return MakeGenericMessage({kFamily, 0, to.sequence, to.port}, NL80211_CMD_NEW_STATION,
                              AttributeBuilder());
  }
  static std::vector<std::uint8_t> Odd(const MessageHeader& to) {
    return MakeNetlinkMessage({kOddType, 0, to.sequence, to.port}, {});
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
  std::uint32_t sequence_ = 0;
  std::vector<std::string> events_;
  std::function<void(const std::string&)> on_event_;
  std::shared_ptr<int> held_ = std::make_shared<int>(0);
  bool removes_on_acknowledgement_ = false;
  std::vector<std::string> log_;
  LogListener listener_{[this](Severity severity, std::string_view text) {
    log_.push_back((severity == Severity::kVerbose ? "V " : "") + std::string(text));
  }};
  std::unique_ptr<NetlinkConnection> connection_;
};

// --- Ends ---

TEST_F(NetlinkConnectionTest, ADumpReportsItsRecordsAndItsEnd) {
  AddStations(2);
  SendDump("a");
  EXPECT_THAT(events_, IsEmpty());
  EXPECT_FALSE(connection_->IsIdle());
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:message", "a:message", "a:aux0m"));
  EXPECT_FALSE(HasHandlers());
  EXPECT_TRUE(connection_->IsIdle());
  loop_.AdvanceBy(1min);
  EXPECT_EQ(events_.size(), 4U);
  EXPECT_THAT(log_, IsEmpty());
}

// The first part is small: the kernel does not know the buffer size yet.
TEST_F(NetlinkConnectionTest, ALongDumpComesInLargeParts) {
  AddStations(999);
  SendDump("a");
  loop_.RunUntilIdle();
  EXPECT_EQ(events_.size(), 1001U);
  EXPECT_EQ(events_.back(), "a:aux0m");
  EXPECT_GT(kernel_.datagram_count(), 30U);
  EXPECT_LT(kernel_.datagram_count(), 60U);
}

TEST_F(NetlinkConnectionTest, OneWakeUpTakesALimitedNumberOfDatagrams) {
  kernel_.SetSilent(true);
  SendDump("a");
  for (int i = 0; i < 20; ++i) kernel_.Deliver(MakeNetlinkMessage({kOddType}, {}));
  loop_.RunOnce();
  EXPECT_EQ(log_.size(), 16U);
  loop_.RunOnce();
  EXPECT_EQ(log_.size(), 20U);
}

TEST_F(NetlinkConnectionTest, NothingIsReadBeyondTheEnd) {
  AddStations(60);
  SendDump("a");
  loop_.RunUntilIdle();
  SendSingle("b");
  loop_.RunUntilIdle();
  EXPECT_TRUE(connection_->IsIdle());
  EXPECT_EQ(kernel_.receive_count(), kernel_.datagram_count());
}

TEST_F(NetlinkConnectionTest, AnErrorEndsARequest) {
  kernel_.FailNextRequest(EPERM);
  SendDump("a");
  loop_.RunUntilIdle();
  EXPECT_TRUE(connection_->IsIdle());
  kernel_.FailNextRequest(EPERM, "not you");
  SendSingle("b");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:aux1m", "b:aux1m"));
  EXPECT_FALSE(HasHandlers());
  EXPECT_TRUE(connection_->IsIdle());
}

TEST_F(NetlinkConnectionTest, ADumpMayFailOnItsWay) {
  AddStations(2);
  kernel_.FailNextDumpAfter(2, EIO);
  SendDump("a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:message", "a:aux1m"));
  EXPECT_FALSE(HasHandlers());
  EXPECT_TRUE(connection_->IsIdle());
}

TEST_F(NetlinkConnectionTest, ASingleRequestEndsWithItsReplyAndAcknowledgement) {
  SendSingle("a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:ack"));
  EXPECT_FALSE(HasHandlers());
  EXPECT_TRUE(connection_->IsIdle());
  loop_.AdvanceBy(1min);
  EXPECT_EQ(events_.size(), 2U);
}

TEST_F(NetlinkConnectionTest, TheAcknowledgementMayComeFirst) {
  kernel_.SetAcknowledgeFirst(true);
  SendSingle("a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:ack", "a:message"));
  EXPECT_FALSE(HasHandlers());
  EXPECT_TRUE(connection_->IsIdle());
}

TEST_F(NetlinkConnectionTest, AnAcknowledgementMayRemoveTheHandlers) {
  removes_on_acknowledgement_ = true;
  SendSingle("a");
  loop_.RunUntilIdle();
  EXPECT_TRUE(connection_->IsIdle()) << "the answer is complete";
  kernel_.SetAcknowledgeFirst(true);
  SendSingle("b");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:ack", "b:ack"));
  EXPECT_FALSE(HasHandlers());
  EXPECT_FALSE(connection_->IsOpen()) << "the reply may follow";
}

TEST_F(NetlinkConnectionTest, AnAcknowledgementDoesNotEndADump) {
  kernel_.SetSilent(true);
  SendDump("a");
  const MessageHeader to = LastRequest();
  Deliver({MakeErrorMessage(to, 0), Reply(to), MakeErrorMessage(to, 0), MakeDoneMessage(to)});
  EXPECT_THAT(events_, ElementsAre("a:ack", "a:message", "a:ack", "a:aux0m"));
}

TEST_F(NetlinkConnectionTest, ASingleRequestMayBeAnsweredAsADump) {
  kernel_.SetSilent(true);
  SendSingle("a");
  Deliver({Reply(LastRequest()), MakeDoneMessage(LastRequest())});
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux0m"));
  EXPECT_FALSE(HasHandlers());
}

TEST_F(NetlinkConnectionTest, OnlyTheFirstEndCounts) {
  kernel_.SetSilent(true);
  SendDump("a");
  const MessageHeader to = LastRequest();
  Deliver({MakeDoneMessage(to), MakeErrorMessage(to, -EIO)});
  Deliver({MakeDoneMessage(to), Reply(to)});
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, ElementsAre("a:aux0m"));
  EXPECT_THAT(log_, ElementsAre("V Ignored a netlink message that answers no request: type 2",
                                "V Ignored a netlink message that answers no request: type 3",
                                "V Ignored a netlink message that answers no request: type 28"));
}

// --- Deadlines ---

TEST_F(NetlinkConnectionTest, SilenceEndsARequestAtItsDeadline) {
  kernel_.SetSilent(true);
  SendDump("a");
  loop_.AdvanceBy(kDeadline - TimeSpan(1));
  EXPECT_THAT(events_, IsEmpty());
  loop_.AdvanceBy(TimeSpan(1));
  EXPECT_THAT(events_, ElementsAre("a:aux2"));
  EXPECT_FALSE(HasHandlers());
}

// Later messages of the kernel are not received.
TEST_F(NetlinkConnectionTest, ATimeOutClosesTheSocket) {
  kernel_.SetSilent(true);
  SendDump("a");
  loop_.AdvanceBy(kDeadline);
  EXPECT_FALSE(connection_->IsOpen());
  EXPECT_EQ(kernel_.socket_count(), 0U);
  Deliver({Reply(LastRequest()), MakeDoneMessage(LastRequest())});
  EXPECT_THAT(events_, ElementsAre("a:aux2"));
}

TEST_F(NetlinkConnectionTest, ProgressPutsTheDeadlineOff) {
  kernel_.SetSilent(true);
  SendDump("a");
  loop_.AdvanceBy(1s);
  Deliver({Reply(LastRequest())});
  loop_.AdvanceBy(8s);
  EXPECT_THAT(events_, ElementsAre("a:message"));
  loop_.AdvanceBy(1s);
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux2"));
}

// A request ends with kTimeOut only if the reply is missing.
TEST_F(NetlinkConnectionTest, HalfAnAnswerTimesOutIfTheReplyIsMissing) {
  kernel_.SetSilent(true);
  SendSingle("a");
  Deliver({Reply(LastRequest())});
  loop_.AdvanceBy(2 * kDeadline);
  EXPECT_FALSE(connection_->IsOpen());
  EXPECT_FALSE(HasHandlers());
  Reopen();
  SendSingle("b");
  Deliver({MakeErrorMessage(LastRequest(), 0)});
  loop_.AdvanceBy(2 * kDeadline);
  EXPECT_FALSE(connection_->IsOpen());
  EXPECT_THAT(events_, ElementsAre("a:message", "b:ack", "b:aux2"));
}

// A loop serves timers before descriptors: the reply has been in the queue all along.
TEST_F(NetlinkConnectionTest, AWaitingReplyIsReadBeforeTheTimeOut) {
  kernel_.SetHolding(true);
  loop_.PostDelayedTask([this] { kernel_.SetHolding(false); }, kDeadline);
  SendSingle("a");
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, ElementsAre("a:message", "a:ack"));
  EXPECT_TRUE(connection_->IsIdle());
}

// The same as above, with more messages to follow.
TEST_F(NetlinkConnectionTest, AWaitingPartPutsTheDeadlineOff) {
  kernel_.SetSilent(true);
  loop_.PostDelayedTask([this] { kernel_.Deliver(Reply(LastRequest())); }, kDeadline);
  SendDump("a");
  loop_.AdvanceBy(2 * kDeadline - TimeSpan(1));
  EXPECT_THAT(events_, ElementsAre("a:message"));
  loop_.AdvanceBy(TimeSpan(1));
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux2"));
}

// --- Unexpected messages ---

TEST_F(NetlinkConnectionTest, ForeignSequencesAndPortsAreIgnored) {
  kernel_.SetSilent(true);
  SendDump("a");
  MessageHeader wrong_sequence = LastRequest();
  ++wrong_sequence.sequence;
  MessageHeader wrong_port = LastRequest();
  ++wrong_port.port;
  Deliver({Reply(wrong_sequence), Reply(LastRequest()), Reply(wrong_port),
           MakeDoneMessage(wrong_sequence), MakeDoneMessage(wrong_port)});
  EXPECT_THAT(events_, ElementsAre("a:message"));
  EXPECT_EQ(log_.size(), 4U);
}

// Later replies still reach the handler; the end is not reported.
TEST_F(NetlinkConnectionTest, AnUnexpectedTypeBreaksTheAnswerOff) {
  kernel_.SetSilent(true);
  for (const char* name : {"done", "error", "silence"}) {
    Reopen();
    events_.clear();
    SendDump(name);
    const MessageHeader to = LastRequest();
    Deliver({Odd(to), Reply(to), Odd(to)});
    const std::string prefix = name;
    const auto reported = ElementsAre(prefix + ":aux3m", prefix + ":message", prefix + ":aux3m");
    EXPECT_THAT(events_, reported);
    EXPECT_TRUE(HasHandlers()) << name;
    if (prefix == "done") Deliver({MakeDoneMessage(to)});
    if (prefix == "error") Deliver({MakeErrorMessage(to, -EIO)});
    if (prefix == "silence") loop_.AdvanceBy(2 * kDeadline);
    EXPECT_THAT(events_, reported);
    EXPECT_FALSE(HasHandlers()) << name;
    EXPECT_EQ(connection_->IsIdle(), prefix != "silence") << name;
    EXPECT_EQ(connection_->IsOpen(), prefix != "silence") << name;
  }
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(NetlinkConnectionTest, ABrokenOffSingleRequestIsNotReportedEither) {
  kernel_.SetSilent(true);
  SendSingle("a");
  const MessageHeader to = LastRequest();
  Deliver({Odd(to), MakeErrorMessage(to, 0), Reply(to)});
  EXPECT_FALSE(connection_->IsIdle()) << "more may follow";
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, ElementsAre("a:aux3m", "a:ack", "a:message"));
  EXPECT_FALSE(HasHandlers());
  EXPECT_FALSE(connection_->IsOpen());
}

TEST_F(NetlinkConnectionTest, BrokenMessagesAreSurvived) {
  kernel_.SetSilent(true);
  SendDump("a");
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

TEST_F(NetlinkConnectionTest, AnInterruptedDumpIsLogged) {
  kernel_.SetDumpInterrupted(true);
  SendDump("a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux0m"));
  EXPECT_THAT(log_,
              ElementsAre("V A netlink dump was interrupted by a change and may be inconsistent"));
}

// --- Failing sockets ---

TEST_F(NetlinkConnectionTest, LostMessagesAreLoggedAndReadingGoesOn) {
  kernel_.SetSilent(true);
  SendDump("a");
  kernel_.DeliverFailure(ReceiveStatus::kLost, ENOBUFS);
  Deliver({Reply(LastRequest()), MakeDoneMessage(LastRequest())});
  EXPECT_THAT(log_, ElementsAre("Netlink messages are lost: No buffer space available (105)"));
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux0m"));
}

TEST_F(NetlinkConnectionTest, ALostPartOfADumpIsMissingFromIt) {
  AddStations(200);
  kernel_.SetLosingParts(true);
  SendDump("a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:aux0m"));
  EXPECT_GE(log_.size(), 2U);
  EXPECT_THAT(log_, testing::Each("Netlink messages are lost: No buffer space available (105)"));
}

TEST_F(NetlinkConnectionTest, DroppedDatagramsAreLogged) {
  kernel_.SetSilent(true);
  SendDump("a");
  kernel_.DeliverFailure(ReceiveStatus::kTruncated, 0);
  kernel_.DeliverFailure(ReceiveStatus::kIgnored, 0);
  loop_.RunUntilIdle();
  EXPECT_THAT(log_, ElementsAre("Dropped a netlink datagram of over 65536 bytes",
                                "V Ignored a netlink datagram that is not the kernel's"));
}

TEST_F(NetlinkConnectionTest, ABrokenSocketEndsItsRequest) {
  kernel_.SetSilent(true);
  SendSingle("a");
  kernel_.Close();
  loop_.RunUntilIdle();
  EXPECT_THAT(log_, ElementsAre(HasSubstr("Failed to receive from netlink: ")));
  EXPECT_THAT(events_, ElementsAre("a:aux1"));
  EXPECT_FALSE(connection_->IsOpen());
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, ElementsAre("a:aux1"));
}

TEST_F(NetlinkConnectionTest, ABrokenIdleSocketIsClosed) {
  kernel_.Close();
  loop_.RunUntilIdle();
  EXPECT_THAT(log_, ElementsAre(HasSubstr("Failed to receive from netlink: ")));
  EXPECT_FALSE(connection_->IsOpen());
  EXPECT_FALSE(connection_->IsIdle());
}

TEST_F(NetlinkConnectionTest, AFailedSendLeavesTheHandlers) {
  kernel_.FailSends(ENOBUFS);
  int calls = 0;
  NetlinkHandlers handlers = {
      .on_message = nullptr,
      .on_acknowledgement = nullptr,
      .on_auxiliary = [&calls](AuxiliaryKind /*kind*/, const NetlinkMessage*) { ++calls; }};
  EXPECT_FALSE(connection_->Send(GenericNetlinkRequest(kFamily, 1), 1, &handlers));
  EXPECT_THAT(log_,
              ElementsAre("Failed to send a netlink request: No buffer space available (105)"));
  EXPECT_TRUE(connection_->IsIdle());
  loop_.AdvanceBy(1min);
  EXPECT_EQ(calls, 0);
  handlers.on_auxiliary(AuxiliaryKind::kKernelError, nullptr);
  EXPECT_EQ(calls, 1);
}

class SocketThatCannotBeWatched : public NetlinkSocket {
 public:
  int fd() const override { return -1; }
  std::uint32_t port() const override { return 1; }
};

TEST_F(NetlinkConnectionTest, ASocketThatCannotBeWatchedIsClosed) {
  const NetlinkConnection connection(loop_, std::make_unique<SocketThatCannotBeWatched>());
  EXPECT_FALSE(connection.IsOpen());
  EXPECT_FALSE(connection.IsIdle());
  EXPECT_THAT(log_, ElementsAre("Failed to watch the netlink socket"));
}

// --- Handlers with side effects ---

TEST_F(NetlinkConnectionTest, TheHandlerOfTheEndMaySendTheNextRequest) {
  on_event_ = [this](const std::string& event) {
    if (event == "a:aux0m") SendSingle("b");
    if (event == "b:ack") on_event_ = nullptr;
  };
  SendDump("a");
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("a:message", "a:aux0m", "b:message", "b:ack"));
  EXPECT_TRUE(connection_->IsIdle());
}

TEST_F(NetlinkConnectionTest, DestructionDropsTheRequest) {
  kernel_.SetSilent(true);
  SendDump("a");
  connection_.reset();
  EXPECT_FALSE(HasHandlers());
  EXPECT_EQ(kernel_.socket_count(), 0U);
  loop_.AdvanceBy(1min);
  EXPECT_THAT(events_, IsEmpty());
}

class NetlinkConnectionDestructionTest : public NetlinkConnectionTest,
                                         public testing::WithParamInterface<std::string> {
 protected:
  // Delivers a message for each kind of event.
  void DeliverEverything(const std::string& last) {
    const MessageHeader to = LastRequest();
    Deliver({MakeErrorMessage(to, 0), Reply(to), last == "a:aux3m" ? Odd(to) : Reply(to),
             MakeDoneMessage(to, last == "a:aux1m" ? -EIO : 0), Reply(to)});
  }
};

// In the middle of a datagram, and at the deadline.
TEST_P(NetlinkConnectionDestructionTest, EndsTheWalk) {
  kernel_.SetSilent(true);
  SendDump("a");
  on_event_ = [this](const std::string& event) {
    EXPECT_NE(connection_, nullptr) << event << " after the destruction";
    if (event == GetParam()) connection_.reset();
  };
  if (GetParam() == "a:aux1") kernel_.Close();
  if (!GetParam().ends_with('2') && !GetParam().ends_with('1')) DeliverEverything(GetParam());
  loop_.AdvanceBy(1min);
  EXPECT_EQ(connection_, nullptr);
  EXPECT_EQ(events_.back(), GetParam());
  EXPECT_FALSE(HasHandlers());
}

INSTANTIATE_TEST_SUITE_P(Events, NetlinkConnectionDestructionTest,
                         testing::Values("a:ack", "a:message", "a:aux0m", "a:aux1m", "a:aux1",
                                         "a:aux2", "a:aux3m"));

TEST_F(NetlinkConnectionTest, TheReplyToASingleRequestMayDestroyTheConnection) {
  for (const bool acknowledge_first : {false, true}) {
    for (const char* at : {"a:ack", "a:message"}) {
      Reopen();
      kernel_.SetAcknowledgeFirst(acknowledge_first);
      on_event_ = [this, at](const std::string& event) {
        EXPECT_NE(connection_, nullptr) << event << " after the destruction";
        if (event == at) connection_.reset();
      };
      SendSingle("a");
      loop_.AdvanceBy(1min);
      EXPECT_EQ(events_.back(), at);
      EXPECT_FALSE(HasHandlers());
    }
  }
}

}  // namespace
}  // namespace orvane::platform
