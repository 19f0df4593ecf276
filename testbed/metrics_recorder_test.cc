#include "testbed/metrics_recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include "event.pb.h"
#include "testbed/bus_peer.h"
#include "testbed/private_bus.h"
#include "testbed/program_under_test.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr char kName[] = "org.velmora.ap.Quillary";
constexpr char kPath[] = "/org/velmora/ap/Quillary/Manager";
constexpr char kInterface[] = "org.velmora.ap.Quillary.Manager";
constexpr char kEventType[] = "type.velmora.org/access_infrastructure.proto.Event";

struct Answer {
  std::string error;      // name of the error; empty: a reply
  std::string signature;  // of the reply
};

class MetricsRecorderTest : public ::testing::Test {
 protected:
  MetricsRecorderTest() {
    sd_bus* bus = nullptr;
    MustSucceed(sd_bus_open_system(&bus));
    client_.reset(bus);
  }

  static std::unique_ptr<ChildProcess> Start(ChildProcess::Arguments arguments = {}) {
    return StartTestbedProgramUntil("started", "metrics_recorder", std::move(arguments));
  }

  Answer Call(sd_bus_message* call) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    Answer answer;
    if (sd_bus_call(client_.get(), call, 0, &error, &reply) < 0) {
      answer.error = error.name;
    } else {
      answer.signature = sd_bus_message_get_signature(reply, 1);
    }
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
    sd_bus_message_unref(call);
    return answer;
  }

  sd_bus_message* NewCall(const char* method) {
    sd_bus_message* call = nullptr;
    MustSucceed(
        sd_bus_message_new_method_call(client_.get(), &call, kName, kPath, kInterface, method));
    return call;
  }

  Answer Record(const std::string& type, const std::string& data,
                const char* method = "RecordOfflineData") {
    sd_bus_message* call = NewCall(method);
    MustSucceed(sd_bus_message_append(call, "s", type.c_str()));
    MustSucceed(sd_bus_message_append_array(call, 'y', data.data(), data.size()));
    return Call(call);
  }

  PrivateBus bus_;
  platform::bus::BusPtr client_;
};

std::string SampleEvent() {
  access_infrastructure::proto::Event event;
  event.set_interface(access_infrastructure::proto::WLAN_2400MHZ);
  event.add_client_event_info()->set_event_type(
      access_infrastructure::proto::ClientEventInfo::ASSOCIATE);
  return event.SerializeAsString();
}

TEST_F(MetricsRecorderTest, PrintsRecords) {
  auto recorder = Start();
  const Answer answer = Record(kEventType, SampleEvent());
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.signature, "");
  EXPECT_THAT(recorder->out().WaitForLine("RecordOfflineData", kLongEnough).value_or(""),
              EndsWith("6 bytes: WLAN_2400MHZ, 1 client events, 0 probe reports"));
  EXPECT_TRUE(recorder->out().WaitForLine("ASSOCIATE", kLongEnough));
  EXPECT_EQ(Record("other", "", "RecordStructuredData").error, "");
  EXPECT_TRUE(recorder->out().WaitForLine("RecordStructuredData other, 0 bytes", kLongEnough));
}

TEST_F(MetricsRecorderTest, PrintsMetricsOfEveryBasicType) {
  auto recorder = Start();
  const auto expect = [&](const std::string& text, const char* type, auto value) {
    sd_bus_message* call = NewCall("RecordMetric");
    MustSucceed(sd_bus_message_append(call, "sa{ss}v", "m", 1, "k", "v", type, value));
    EXPECT_EQ(Call(call).error, "");
    EXPECT_TRUE(recorder->out().WaitForLine("RecordMetric m = " + text + " k=v", kLongEnough))
        << recorder->out().Text();
  };
  expect("200 (y)", "y", 200);
  expect("true (b)", "b", 1);
  expect("-3 (n)", "n", -3);
  expect("60000 (q)", "q", 60000);
  expect("-70000 (i)", "i", -70000);
  expect("4000000000 (u)", "u", 4000000000U);
  expect("-5 (x)", "x", std::int64_t{-5});
  expect("18446744073709551615 (t)", "t", ~std::uint64_t{0});
  expect("0.5 (d)", "d", 0.5);
  expect("text (s)", "s", "text");
  expect("/path (o)", "o", "/path");
  expect("as (g)", "g", "as");
}

TEST_F(MetricsRecorderTest, TakesAMetricOfAnotherType) {
  auto recorder = Start();
  sd_bus_message* call = NewCall("RecordMetric");
  MustSucceed(sd_bus_message_append(call, "sa{ss}v", "m", 0, "as", 1, "x"));
  EXPECT_EQ(Call(call).error, "");
  EXPECT_TRUE(recorder->out().WaitForLine("RecordMetric m =  (as)", kLongEnough));
}

TEST_F(MetricsRecorderTest, RefusesOtherArguments) {
  auto recorder = Start();
  sd_bus_message* call = NewCall("RecordOfflineData");
  MustSucceed(sd_bus_message_append(call, "ss", "type", "data"));
  EXPECT_EQ(Call(call).error, SD_BUS_ERROR_INVALID_ARGS);
}

TEST_F(MetricsRecorderTest, PrintsJson) {
  auto recorder = Start({"--json"});
  EXPECT_THAT(recorder->out().Text(),
              HasSubstr(R"({"status":"started as org.velmora.ap.Quillary"})"));
  EXPECT_EQ(Record(kEventType, SampleEvent()).error, "");
  EXPECT_THAT(
      recorder->out().WaitForLine("RecordOfflineData", kLongEnough).value_or(""),
      EndsWith(
          R"("message":{"interface":"WLAN_2400MHZ","client_event_info":[{"event_type":"ASSOCIATE"}]}})"));
}

TEST_F(MetricsRecorderTest, KeepsBytes) {
  TemporaryDirectory directory;
  auto recorder = Start({"--keep", directory.path()});
  const std::string bytes("\x00\xff\n", 3);
  EXPECT_EQ(Record("some type", bytes).error, "");
  EXPECT_EQ(platform::ReadFileToString(directory.path() / "000001"), bytes);
  EXPECT_EQ(platform::ReadFileToString(directory.path() / "000001.type"), "some type");
}

TEST_F(MetricsRecorderTest, Delay) {
  auto recorder = Start({"--delay", "0.2"});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Record("t", "d").error, "");
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(200));
}

TEST_F(MetricsRecorderTest, Error) {
  auto recorder = Start({"--error", "org.example.Error.Full"});
  EXPECT_EQ(Record("t", "d").error, "org.example.Error.Full");
  EXPECT_TRUE(recorder->out().WaitForLine("RecordOfflineData t, 1 bytes", kLongEnough));
}

TEST_F(MetricsRecorderTest, ExtraData) {
  auto recorder = Start({"--extra-data"});
  const Answer answer = Record("t", "d");
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.signature, "s");
}

TEST_F(MetricsRecorderTest, Late) {
  auto recorder = StartTestbedProgram("metrics_recorder", {"--late", "0.3"});
  EXPECT_EQ(Record("t", "d").error, SD_BUS_ERROR_SERVICE_UNKNOWN);
  EXPECT_TRUE(recorder->out().WaitForLine("started", kLongEnough));
  EXPECT_EQ(Record("t", "d").error, "");
}

TEST_F(MetricsRecorderTest, DiesInACall) {
  auto recorder = Start({"--die-in-call", "2"});
  EXPECT_EQ(Record("t", "d").error, "");
  EXPECT_EQ(Record("t", "d").error, SD_BUS_ERROR_NO_REPLY);
  EXPECT_EQ(recorder->WaitForExit(kLongEnough), ExitStatus{.code = kExitFailure});
  EXPECT_THAT(recorder->out().Text(), EndsWith("dying in call 2\n"));
}

}  // namespace
}  // namespace orvane::testbed
