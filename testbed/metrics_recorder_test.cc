#include "testbed/metrics_recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include "testbed/bus_peer.h"
#include "testbed/private_bus.h"
#include "testbed/program_under_test.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::EndsWith;

constexpr char kName[] = "org.velmora.ap.Quillary";
constexpr char kPath[] = "/org/velmora/ap/Quillary/Manager";
constexpr char kInterface[] = "org.velmora.ap.Quillary.Manager";

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

  sd_bus_message* NewCall() {
    sd_bus_message* call = nullptr;
    MustSucceed(sd_bus_message_new_method_call(client_.get(), &call, kName, kPath, kInterface,
                                               "RecordOfflineData"));
    return call;
  }

  Answer Record(const std::string& type, const std::string& data) {
    sd_bus_message* call = NewCall();
    MustSucceed(sd_bus_message_append(call, "s", type.c_str()));
    MustSucceed(sd_bus_message_append_array(call, 'y', data.data(), data.size()));
    return Call(call);
  }

  PrivateBus bus_;
  platform::bus::BusPtr client_;
};

TEST_F(MetricsRecorderTest, PrintsALineForEachRecord) {
  auto recorder = Start();
  const Answer answer = Record("some type", "bytes");
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.signature, "");
  EXPECT_THAT(recorder->out().WaitForLine("record 1 at ", kLongEnough).value_or(""),
              EndsWith(" ms: 5 bytes of some type"));
  EXPECT_EQ(Record("", "").error, "");
  EXPECT_TRUE(recorder->out().WaitForLine("record 2 at ", kLongEnough));
}

TEST_F(MetricsRecorderTest, RefusesOtherArguments) {
  auto recorder = Start();
  sd_bus_message* call = NewCall();
  MustSucceed(sd_bus_message_append(call, "ss", "type", "data"));
  EXPECT_EQ(Call(call).error, SD_BUS_ERROR_INVALID_ARGS);
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
  EXPECT_TRUE(recorder->out().WaitForLine("1 bytes of t", kLongEnough));
}

TEST_F(MetricsRecorderTest, ExtraData) {
  auto recorder = Start({"--extra-data"});
  const Answer answer = Record("t", "d");
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.signature, "s");
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
