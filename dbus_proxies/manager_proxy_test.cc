#include "dbus_proxies/manager_proxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "testbed/bus_fixture.h"
#include "testbed/test_peer.h"

namespace org::velmora::ap::Quillary {
namespace {

using orvane::platform::Error;
using orvane::platform::kDBusErrorDomain;
using orvane::platform::bus::Any;
using orvane::platform::bus::MessagePtr;
using orvane::platform::bus::MessageReader;
using orvane::platform::bus::MessageWriter;
using orvane::platform::bus::ReadScope;
using orvane::testbed::PeerThread;
using orvane::testbed::TestPeer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kName[] = "org.velmora.ap.Quillary";
constexpr char kPath[] = "/org/velmora/ap/Quillary/Manager";
constexpr char kInterface[] = "org.velmora.ap.Quillary.Manager";
constexpr int kDefault = ManagerProxyInterface::kDefaultTimeout;

using ByteVector = std::vector<std::uint8_t>;

class ManagerProxyTest : public orvane::testbed::BusTest {
 protected:
  ManagerProxyTest() {
    answer_ = [this](sd_bus_message* call) { recorder_.Reply(call, [](MessageWriter&) {}); };
    recorder_.RequestName(kName);
    recorder_.HandleCalls([this](sd_bus_message* call) {
      calls_.emplace_back(sd_bus_message_ref(call));
      answer_(call);
      return true;
    });
  }

  // Returns the only call that the recorder received: "path interface method signature".
  std::string OnlyCall() const {
    if (calls_.size() != 1) return std::to_string(calls_.size()) + " calls";
    sd_bus_message* call = calls_[0].get();
    return std::string(sd_bus_message_get_path(call)) + " " + sd_bus_message_get_interface(call) +
           " " + sd_bus_message_get_member(call) + " " + sd_bus_message_get_signature(call, 1);
  }

  void ExpectDataCall(const std::string& method, const ByteVector& bytes) {
    EXPECT_EQ(OnlyCall(), std::string(kPath) + " " + kInterface + " " + method + " say");
    MessageReader reader(calls_.at(0).get());
    EXPECT_EQ(reader.PopString(), "type.velmora.org/x");
    const auto data = reader.PopBytes();
    ASSERT_TRUE(data.has_value());
    EXPECT_EQ(ByteVector(data->begin(), data->end()), bytes);
  }

  void ExpectMetricCall() {
    EXPECT_EQ(OnlyCall(), std::string(kPath) + " " + kInterface + " RecordMetric sa{ss}v");
    MessageReader reader(calls_.at(0).get());
    EXPECT_EQ(reader.PopString(), "metric");
    std::vector<std::string> texts;
    {
      const ReadScope map(reader, SD_BUS_TYPE_ARRAY, "{ss}");
      while (reader.HasMore()) {
        const ReadScope entry(reader, SD_BUS_TYPE_DICT_ENTRY, "ss");
        texts.emplace_back(reader.PopString().value_or("none"));
        texts.emplace_back(reader.PopString().value_or("none"));
      }
    }
    EXPECT_THAT(texts, ElementsAre("a", "1", "b", "2"));
    const ReadScope variant(reader, SD_BUS_TYPE_VARIANT, "x");
    std::int64_t value = 0;
    ASSERT_GT(sd_bus_message_read_basic(calls_[0].get(), 'x', &value), 0);
    EXPECT_EQ(value, -7);
  }

  bool RecordOffline(std::unique_ptr<Error>* error, int timeout_ms = kDefault) {
    return proxy_->RecordOfflineData("type.velmora.org/x", ByteVector{1}, error, timeout_ms);
  }

  void RecordOfflineAsync(int timeout_ms = kDefault) {
    proxy_->RecordOfflineDataAsync("type.velmora.org/x", ByteVector{1}, Success(), Failure(),
                                   timeout_ms);
  }

  ManagerProxyInterface::SuccessCallback Success() {
    return [this] { outcomes_.emplace_back("success"); };
  }
  ManagerProxyInterface::ErrorCallback Failure() {
    return [this](const Error& error) {
      outcomes_.push_back(error.domain() + "|" + error.code() + "|" + error.message());
    };
  }

  TestPeer recorder_;
  std::function<void(sd_bus_message*)> answer_;
  std::vector<MessagePtr> calls_;
  std::unique_ptr<ManagerProxy> proxy_ = std::make_unique<ManagerProxy>(connection_, kName);
  std::vector<std::string> outcomes_;
};

TEST_F(ManagerProxyTest, IsTheManagerObjectOfTheServiceGiven) {
  EXPECT_EQ(proxy_->GetObjectPath(), kPath);
  EXPECT_EQ(proxy_->GetObjectProxy(), connection_->GetObjectProxy(kName, kPath));
}

class BytesTest : public ManagerProxyTest, public testing::WithParamInterface<std::size_t> {
 protected:
  BytesTest() : bytes_(GetParam()) {
    for (std::size_t i = 0; i < bytes_.size(); ++i) bytes_[i] = static_cast<std::uint8_t>(i * 7);
  }

  ByteVector bytes_;
};

TEST_P(BytesTest, OfflineDataArrives) {
  {
    const PeerThread serving(recorder_);
    EXPECT_TRUE(proxy_->RecordOfflineData("type.velmora.org/x", bytes_, nullptr, kDefault));
  }
  ExpectDataCall("RecordOfflineData", bytes_);
}

TEST_P(BytesTest, StructuredDataArrives) {
  {
    const PeerThread serving(recorder_);
    EXPECT_TRUE(proxy_->RecordStructuredData("type.velmora.org/x", bytes_, nullptr, kDefault));
  }
  ExpectDataCall("RecordStructuredData", bytes_);
}

TEST_P(BytesTest, OfflineDataArrivesWithoutWaiting) {
  recorder_.AttachTo(loop_);
  proxy_->RecordOfflineDataAsync("type.velmora.org/x", bytes_, Success(), Failure(), kDefault);
  EXPECT_THAT(outcomes_, IsEmpty());
  EXPECT_TRUE(RunUntil([this] { return !outcomes_.empty(); }));
  EXPECT_THAT(outcomes_, ElementsAre("success"));
  ExpectDataCall("RecordOfflineData", bytes_);
}

TEST_P(BytesTest, StructuredDataArrivesWithoutWaiting) {
  recorder_.AttachTo(loop_);
  proxy_->RecordStructuredDataAsync("type.velmora.org/x", bytes_, Success(), Failure(), kDefault);
  EXPECT_TRUE(RunUntil([this] { return !outcomes_.empty(); }));
  EXPECT_THAT(outcomes_, ElementsAre("success"));
  ExpectDataCall("RecordStructuredData", bytes_);
}

INSTANTIATE_TEST_SUITE_P(All, BytesTest, testing::Values(0, 1, 1 << 20));

TEST_F(ManagerProxyTest, AMetricArrives) {
  {
    const PeerThread serving(recorder_);
    EXPECT_TRUE(proxy_->RecordMetric("metric", {{"b", "2"}, {"a", "1"}}, std::int64_t{-7}, nullptr,
                                     kDefault));
  }
  ExpectMetricCall();
}

TEST_F(ManagerProxyTest, AMetricArrivesWithoutWaiting) {
  recorder_.AttachTo(loop_);
  proxy_->RecordMetricAsync("metric", {{"b", "2"}, {"a", "1"}}, std::int64_t{-7}, Success(),
                            Failure(), kDefault);
  EXPECT_TRUE(RunUntil([this] { return !outcomes_.empty(); }));
  EXPECT_THAT(outcomes_, ElementsAre("success"));
  ExpectMetricCall();
}

struct RefusalCase {
  std::function<void(TestPeer& recorder, sd_bus_message* call)> answer;
  const char* code;
  const char* message;

  friend std::ostream& operator<<(std::ostream& stream, const RefusalCase& refusal) {
    return stream << refusal.code;
  }
};

class RefusalTest : public ManagerProxyTest, public testing::WithParamInterface<RefusalCase> {
 protected:
  RefusalTest() {
    answer_ = [this](sd_bus_message* call) { GetParam().answer(recorder_, call); };
  }
};

TEST_P(RefusalTest, IsAddedToTheError) {
  const PeerThread serving(recorder_);
  auto error = std::make_unique<Error>("a", "b", "c", nullptr);
  EXPECT_FALSE(RecordOffline(&error));
  EXPECT_EQ(error->domain(), kDBusErrorDomain);
  EXPECT_EQ(error->code(), GetParam().code);
  EXPECT_EQ(error->message(), GetParam().message);
  ASSERT_NE(error->inner(), nullptr);
  EXPECT_EQ(error->inner()->message(), "c");
  EXPECT_FALSE(RecordOffline(nullptr));
  EXPECT_TRUE(log_.empty());
}

TEST_P(RefusalTest, GoesToTheErrorCallback) {
  recorder_.AttachTo(loop_);
  RecordOfflineAsync();
  EXPECT_TRUE(RunUntil([this] { return !outcomes_.empty(); }));
  Settle();
  EXPECT_THAT(outcomes_, ElementsAre(std::string(kDBusErrorDomain) + "|" + GetParam().code + "|" +
                                     GetParam().message));
  EXPECT_TRUE(log_.empty());
}

INSTANTIATE_TEST_SUITE_P(All, RefusalTest,
                         testing::Values(RefusalCase{[](TestPeer& recorder, sd_bus_message* call) {
                                                       recorder.ReplyError(call, "a.test.Error",
                                                                           "disk full");
                                                     },
                                                     "a.test.Error", "disk full"},
                                         RefusalCase{[](TestPeer& recorder, sd_bus_message* call) {
                                                       recorder.Reply(call,
                                                                      [](MessageWriter& writer) {
                                                                        writer.AppendString("");
                                                                      });
                                                     },
                                                     "org.freedesktop.DBus.Error.InvalidArgs",
                                                     "Too many parameters in a method call"}));

TEST_F(ManagerProxyTest, AnAbsentRecorderIsAnError) {
  recorder_.ReleaseName(kName);
  std::unique_ptr<Error> error;
  EXPECT_FALSE(RecordOffline(&error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kDBusErrorDomain);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.ServiceUnknown");
  EXPECT_THAT(error->message(), HasSubstr(kName));
  RecordOfflineAsync();
  EXPECT_TRUE(RunUntil([this] { return !outcomes_.empty(); }));
  EXPECT_THAT(outcomes_, ElementsAre(HasSubstr("org.freedesktop.DBus.Error.ServiceUnknown")));
}

TEST_F(ManagerProxyTest, ASlowRecorderCostsTheTimeoutAndItsLateReplyIsDropped) {
  std::atomic<bool> slow = true;
  answer_ = [&](sd_bus_message* call) {
    if (slow) std::this_thread::sleep_for(std::chrono::milliseconds(200));
    recorder_.Reply(call, [](MessageWriter&) {});
  };
  const PeerThread serving(recorder_);
  const auto start = std::chrono::steady_clock::now();
  std::unique_ptr<Error> error;
  EXPECT_FALSE(RecordOffline(&error, 50));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.Timeout");
  slow = false;
  EXPECT_TRUE(RecordOffline(nullptr, 5000));
}

TEST_F(ManagerProxyTest, ARecorderThatDiesInTheCallIsAnError) {
  answer_ = [this](sd_bus_message*) { sd_bus_close(recorder_.bus()); };
  const PeerThread serving(recorder_);
  std::unique_ptr<Error> error;
  EXPECT_FALSE(RecordOffline(&error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.NoReply");
}

TEST_F(ManagerProxyTest, ALostBusIsAnError) {
  bus_.Kill();
  std::unique_ptr<Error> error;
  EXPECT_FALSE(RecordOffline(&error));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kDBusErrorDomain);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.Disconnected");
  EXPECT_FALSE(RecordOffline(&error));
}

TEST_F(ManagerProxyTest, AnInvalidArgumentIsAnError) {
  const std::string not_utf8 = "\xff";
  std::unique_ptr<Error> error;
  EXPECT_FALSE(proxy_->RecordOfflineData(not_utf8, {}, &error, kDefault));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kDBusErrorDomain);
  EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(error->message(),
            "Failed to call D-Bus method: org.velmora.ap.Quillary.Manager.RecordOfflineData");
  EXPECT_FALSE(proxy_->RecordMetric(not_utf8, {}, true, nullptr, kDefault));
  proxy_->RecordMetricAsync("metric", {{not_utf8, ""}}, true, Success(), Failure(), kDefault);
  EXPECT_TRUE(RunUntil([this] { return !outcomes_.empty(); }));
  EXPECT_THAT(outcomes_,
              ElementsAre("dbus|org.freedesktop.DBus.Error.Failed|Failed to call D-Bus method: "
                          "org.velmora.ap.Quillary.Manager.RecordMetric"));
}

// A bus ends the connection when it receives a message that is too large, which would end the
// daemon.
TEST_F(ManagerProxyTest, ARecordThatIsTooLargeIsAnErrorAndTheBusStays) {
  answer_ = [this](sd_bus_message* call) { recorder_.Reply(call, [](MessageWriter&) {}); };
  const PeerThread serving(recorder_);
  const std::size_t largest = (std::size_t{32} << 20) - (std::size_t{64} << 10);
  std::unique_ptr<Error> error;
  for (const std::size_t size : {largest + 1, std::size_t{32} << 20}) {
    EXPECT_FALSE(proxy_->RecordOfflineData("type", ByteVector(size), &error, kDefault));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), "org.freedesktop.DBus.Error.Failed");
  }
  EXPECT_TRUE(proxy_->RecordOfflineData("type", ByteVector(largest), nullptr, kDefault));
}

TEST_F(ManagerProxyTest, ASilentRecorderRunsTheErrorCallback) {
  answer_ = [](sd_bus_message*) {};
  recorder_.AttachTo(loop_);
  RecordOfflineAsync(50);
  EXPECT_TRUE(RunUntil([this] { return !outcomes_.empty(); }));
  EXPECT_THAT(outcomes_, ElementsAre(HasSubstr("org.freedesktop.DBus.Error.NoReply")));
}

TEST_F(ManagerProxyTest, EachPendingCallEndsOnce) {
  recorder_.AttachTo(loop_);
  for (int i = 0; i < 100; ++i) RecordOfflineAsync();
  EXPECT_TRUE(RunUntil([this] { return outcomes_.size() == 100; }));
  Settle();
  EXPECT_THAT(outcomes_, testing::AllOf(testing::SizeIs(100), testing::Each("success")));
}

TEST_F(ManagerProxyTest, DestroyedWithPendingCalls) {
  recorder_.AttachTo(loop_);
  RecordOfflineAsync();
  RecordOfflineAsync();
  proxy_.reset();
  EXPECT_TRUE(RunUntil([this] { return calls_.size() == 2; }));
  Settle();
  EXPECT_THAT(outcomes_, IsEmpty());
}

TEST_F(ManagerProxyTest, DestroyedInItsOwnCallback) {
  recorder_.AttachTo(loop_);
  proxy_->RecordOfflineDataAsync(
      "x", {},
      [this] {
        proxy_.reset();
        Success()();
      },
      Failure(), kDefault);
  RecordOfflineAsync();
  EXPECT_TRUE(RunUntil([this] { return !outcomes_.empty(); }));
  Settle();
  EXPECT_THAT(outcomes_, ElementsAre("success"));
}

}  // namespace
}  // namespace org::velmora::ap::Quillary
