#include "platform/bus/object_proxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "testbed/bus_fixture.h"
#include "testbed/test_peer.h"

namespace orvane::platform::bus {
namespace {

using testbed::BusTest;
using testbed::PeerThread;
using testbed::TestPeer;

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kName[] = "a.test.Service";

// Depending on the method, the peer echoes a string, returns an error, or never answers.
class ObjectProxyTest : public BusTest {
 protected:
  ObjectProxyTest() {
    peer_.RequestName(kName);
    peer_.HandleCalls([this](sd_bus_message* call) {
      const std::string member = sd_bus_message_get_member(call);
      if (member == "Fail") peer_.ReplyError(call, "a.test.Error", "not today");
      if (member == "Echo") {
        const std::string text(MessageReader(call).PopString().value_or("none"));
        peer_.Reply(call, [&](MessageWriter& writer) { writer.AppendString(text); });
      }
      return member != "Unknown";
    });
  }

  MethodCall NewCall(const std::string& member, const std::string& text) const {
    MethodCall call = proxy_->NewMethodCall("a.b", member);
    call.writer().AppendString(text);
    return call;
  }

  // Makes the call without blocking, and stores its result.
  std::unique_ptr<PendingCall> CallAsync(MethodCall call, int timeout_ms) {
    return proxy_->CallAsync(
        std::move(call), timeout_ms, [this](sd_bus_message* reply, const Error* error) {
          EXPECT_NE(reply == nullptr, error == nullptr);
          outcomes_.push_back(error != nullptr
                                  ? error->code() + "|" + error->message()
                                  : std::string(MessageReader(reply).PopString().value_or("")));
        });
  }

  TestPeer peer_;
  ObjectProxy* proxy_ = connection_->GetObjectProxy(kName, "/c");
  std::vector<std::string> outcomes_;
};

TEST_F(ObjectProxyTest, ABlockingCallReturnsTheReply) {
  const PeerThread serving(peer_);
  const MessagePtr reply =
      proxy_->CallAndWait(NewCall("Echo", "hello"), kDefaultTimeoutMs, nullptr);
  ASSERT_NE(reply, nullptr);
  std::unique_ptr<Error> error;
  EXPECT_FALSE(CheckNoMoreArguments(reply.get(), &error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.InvalidArgs");
  EXPECT_EQ(error->message(), "Too many parameters in a method call");
  EXPECT_EQ(MessageReader(reply.get()).PopString(), "hello");
  EXPECT_TRUE(CheckNoMoreArguments(reply.get(), nullptr));
}

TEST_F(ObjectProxyTest, ABlockingCallReturnsTheErrorOfTheReply) {
  const PeerThread serving(peer_);
  std::unique_ptr<Error> error;
  EXPECT_EQ(proxy_->CallAndWait(NewCall("Fail", ""), kDefaultTimeoutMs, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kDBusErrorDomain);
  EXPECT_EQ(error->code(), "a.test.Error");
  EXPECT_EQ(error->message(), "not today");
  EXPECT_EQ(error->inner(), nullptr);
}

TEST_F(ObjectProxyTest, ABlockingCallWaitsForItsTimeoutAndNoLonger) {
  const PeerThread serving(peer_);
  const auto start = std::chrono::steady_clock::now();
  std::unique_ptr<Error> error;
  EXPECT_EQ(proxy_->CallAndWait(NewCall("Silence", ""), 100, &error), nullptr);
  const auto took = std::chrono::steady_clock::now() - start;
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.Timeout");
  EXPECT_GE(took, std::chrono::milliseconds(100));
  EXPECT_LT(took, std::chrono::seconds(2));
  EXPECT_EQ(proxy_->CallAndWait(NewCall("Silence", ""), 0, nullptr), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(ObjectProxyTest, AnInvalidCallFailsWithItsName) {
  std::unique_ptr<Error> error;
  EXPECT_EQ(proxy_->CallAndWait(NewCall("Echo", "\xff"), kDefaultTimeoutMs, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kDBusErrorDomain);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(error->message(), "Failed to call D-Bus method: a.b.Echo");
  EXPECT_EQ(proxy_->CallAndWait(proxy_->NewMethodCall("no interface", "C"), -1, nullptr), nullptr);
}

TEST_F(ObjectProxyTest, NonBlockingCallsEndOnceEach) {
  peer_.AttachTo(loop_);
  const auto good = CallAsync(NewCall("Echo", "hello"), kDefaultTimeoutMs);
  const auto bad = CallAsync(NewCall("Fail", ""), kDefaultTimeoutMs);
  const auto malformed = CallAsync(NewCall("Echo", "\xff"), kDefaultTimeoutMs);
  EXPECT_THAT(outcomes_, ElementsAre()) << "never before the call returns";
  EXPECT_TRUE(RunUntil([&] { return outcomes_.size() == 3; }));
  Settle();
  EXPECT_THAT(outcomes_, testing::UnorderedElementsAre(
                             "hello", "a.test.Error|not today",
                             "org.freedesktop.DBus.Error.Failed|Failed to call D-Bus method: "
                             "a.b.Echo"));
}

TEST_F(ObjectProxyTest, ANonBlockingCallTimesOut) {
  peer_.AttachTo(loop_);
  const auto call = CallAsync(NewCall("Silence", ""), 50);
  EXPECT_TRUE(RunUntil([&] { return !outcomes_.empty(); }));
  EXPECT_THAT(outcomes_, ElementsAre(HasSubstr("org.freedesktop.DBus.Error.NoReply|")));
}

TEST_F(ObjectProxyTest, NobodyThereIsAnError) {
  peer_.ReleaseName(kName);
  const auto call = CallAsync(NewCall("Echo", ""), kDefaultTimeoutMs);
  EXPECT_TRUE(RunUntil([&] { return !outcomes_.empty(); }));
  EXPECT_THAT(outcomes_, ElementsAre(HasSubstr("org.freedesktop.DBus.Error.ServiceUnknown|")));
}

TEST_F(ObjectProxyTest, ALostConnectionEndsCallsUnderWay) {
  const auto call = CallAsync(NewCall("Echo", ""), kDefaultTimeoutMs);
  loop_.PostTask([this] { bus_.Kill(); });
  EXPECT_EQ(loop_.Run(), kConnectionLostExitCode);
  EXPECT_THAT(outcomes_, ElementsAre(HasSubstr("org.freedesktop.DBus.Error.")));
}

TEST_F(ObjectProxyTest, ADestroyedCallNeverReports) {
  peer_.AttachTo(loop_);
  auto good = CallAsync(NewCall("Echo", "hello"), kDefaultTimeoutMs);
  auto malformed = CallAsync(NewCall("Echo", "\xff"), kDefaultTimeoutMs);
  good.reset();
  malformed.reset();
  const auto last = CallAsync(NewCall("Echo", "last"), kDefaultTimeoutMs);
  EXPECT_TRUE(RunUntil([&] { return !outcomes_.empty(); }));
  Settle();
  EXPECT_THAT(outcomes_, ElementsAre("last"));
}

TEST_F(ObjectProxyTest, ACallMayBeDestroyedInItsOwnCallback) {
  peer_.AttachTo(loop_);
  std::unique_ptr<PendingCall> call;
  const auto witness = std::make_shared<std::string>("alive");
  std::string seen;
  call = proxy_->CallAsync(NewCall("Echo", ""), kDefaultTimeoutMs,
                           [&call, &seen, witness](sd_bus_message*, const Error*) {
                             call.reset();
                             seen = *witness;
                           });
  EXPECT_TRUE(RunUntil([&] { return !seen.empty(); }));
  EXPECT_EQ(seen, "alive");
  EXPECT_EQ(call, nullptr);
}

TEST_F(ObjectProxyTest, ASubscriptionMayBeDestroyedInItsOwnCallback) {
  SignalSubscription subscription;
  const auto witness = std::make_shared<std::string>("alive");
  std::vector<std::string> seen;
  subscription = proxy_->Subscribe("a.b", "S", "", [&, witness](sd_bus_message* signal) {
    subscription.reset();
    seen.push_back(*witness + std::string(MessageReader(signal).PopString().value_or("")));
  });
  Settle();
  for (const char* text : {"1", "2"}) {
    peer_.EmitSignal("", "/c", "a.b", "S",
                     [&](MessageWriter& writer) { writer.AppendString(text); });
  }
  EXPECT_TRUE(RunUntil([&] { return !seen.empty(); }));
  Settle();
  EXPECT_THAT(seen, ElementsAre("alive1"));
}

TEST_F(ObjectProxyTest, ASubscriptionTakesOnlyWhatItAskedFor) {
  std::vector<std::string> seen;
  const auto subscription = proxy_->Subscribe("a.b", "S", "mine", [&](sd_bus_message* signal) {
    seen.emplace_back(sd_bus_message_get_path(signal));
  });
  Settle();
  const auto emit = [this](const char* path, const char* interface, const char* member,
                           const char* text) {
    peer_.EmitSignal("", path, interface, member,
                     [&](MessageWriter& writer) { writer.AppendString(text); });
  };
  emit("/other", "a.b", "S", "mine");
  emit("/c", "a.other", "S", "mine");
  emit("/c", "a.b", "Other", "mine");
  emit("/c", "a.b", "S", "other");
  emit("/c", "a.b", "S", "mine");
  EXPECT_TRUE(RunUntil([&] { return !seen.empty(); }));
  EXPECT_THAT(seen, ElementsAre("/c"));
}

TEST_F(ObjectProxyTest, ASubscriptionThatFailsIsLogged) {
  const ObjectProxy* nonsense = connection_->GetObjectProxy("bad'name", "/c");
  const auto malformed = nonsense->Subscribe("a.b", "S", "", [](sd_bus_message*) {});
  EXPECT_THAT(log_.Lines(Severity::kWarning),
              ElementsAre("Failed to subscribe to bus signals: Invalid argument (22)"));
}

TEST_F(ObjectProxyTest, ASubscriptionThatTheBusRefusesIsLogged) {
  const ObjectProxy* nonsense = connection_->GetObjectProxy("not a name", "/c");
  const auto refused = nonsense->Subscribe("a.b", "S", "", [](sd_bus_message*) {});
  EXPECT_TRUE(RunUntil([this] { return !log_.empty(); }));
  EXPECT_THAT(log_.Lines(Severity::kWarning),
              ElementsAre(HasSubstr("Failed to subscribe to bus signals: ")));
}

}  // namespace
}  // namespace orvane::platform::bus
