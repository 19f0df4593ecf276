// A metrics recorder that is absent or misbehaves: the batch is lost, the daemon continues.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include "testbed/access_point.h"
#include "testbed/record_matchers.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;

constexpr char kAbsent[] =
    "The name org.velmora.ap.Quillary was not provided by any .service files";

class RecorderTest : public AccessPointTest {
 protected:
  // Starts without a recorder.
  void Begin() {
    ap_.StartBus();
    wlan_.emplace(kWlan5000);
    ap_.StartDaemon({"--connection_event_upload_period=1"});
    wlan_->Attach();
  }

  void SendEvent(int time) { wlan_->Send(fmt::format("<3>AP-STA-AUTH nobody timestamp:{}", time)); }

  // Waits for `count` lines about failed record calls, all with this reason, and expects no more.
  void ExpectFailures(const std::string& reason, std::size_t count) {
    ap_.ExpectLogged("WARNING",
                     fmt::format("Error recording offline data: {}: {}", kEventTypeUrl, reason),
                     count);
    ExpectFailureCount(count);
  }

  void ExpectFailureCount(std::size_t count) {
    ap_.Settle(*wlan_);
    EXPECT_EQ(ap_.daemon().err().Count("Error recording offline data: "), count);
  }

  // Expects that record `number` has one event with this time.
  void ExpectRecord(std::size_t number, int time) {
    EXPECT_THAT(ap_.WaitForRecord(number).event,
                EqualsProto(EventOf(fmt::format(
                    "interface: WLAN_5000MHZ client_event_info {{ event_type: AUTHENTICATE "
                    "event_time_in_milliseconds: {} }}",
                    time))));
  }

  std::optional<Hostapd> wlan_;
};

TEST_F(RecorderTest, RecorderStartsLater) {
  Begin();
  SendEvent(1);
  ExpectFailures(kAbsent, 1);
  // The batch is lost, and the next event starts a new one.
  ap_.StartRecorder();
  SendEvent(2);
  ExpectRecord(1, 2);
  ap_.StopRecorder();
  SendEvent(3);
  ExpectFailures(kAbsent, 2);
  ap_.ExpectQuickExit(SIGTERM);
}

TEST_F(RecorderTest, RecorderReturnsAnError) {
  Begin();
  ap_.StartRecorder({"--error", "org.velmora.Error.Test"});
  SendEvent(1);
  ExpectFailures("As asked for", 1);
  ExpectRecord(1, 1);
  SendEvent(2);
  ExpectFailures("As asked for", 2);
  ExpectRecord(2, 2);
}

TEST_F(RecorderTest, RecorderReturnsData) {
  Begin();
  ap_.StartRecorder({"--extra-data"});
  SendEvent(1);
  ExpectFailures("Too many parameters in a method call", 1);
  SendEvent(2);
  ExpectFailures("Too many parameters in a method call", 2);
}

TEST_F(RecorderTest, RecorderDiesInTheCall) {
  Begin();
  ap_.StartRecorder({"--die-in-call", "1"});
  SendEvent(1);
  ExpectFailures("Message recipient disconnected from message bus without replying", 1);
  ap_.StartRecorder();
  SendEvent(2);
  ExpectRecord(1, 2);
  ExpectFailureCount(1);
}

// The call blocks the daemon, but not its sockets: events wait in their queues.
TEST_F(RecorderTest, SlowRecorderLosesNothing) {
  Begin();
  ap_.StartRecorder({"--delay", "2"});
  SendEvent(1);
  ExpectRecord(1, 1);
  // The call doesn't return while the recorder is stopped, however slow the test is.
  ap_.recorder().Signal(SIGSTOP);
  for (int time = 2; time <= 6; ++time) SendEvent(time);
  // The line is not read until the call has returned.
  wlan_->Send("<3>IN-THE-QUEUE");
  std::this_thread::sleep_for(milliseconds(500));
  EXPECT_EQ(ap_.LogCount("INFO", "Received unknown event: IN-THE-QUEUE"), 0U);
  ap_.recorder().Signal(SIGCONT);
  ap_.ExpectLogged("INFO", "Received unknown event: IN-THE-QUEUE");
  const Record record = ap_.WaitForRecord(2);
  ASSERT_EQ(record.event.client_event_info_size(), 5);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(record.event.client_event_info(i).event_time_in_milliseconds(),
              static_cast<unsigned>(2 + i));
  }
  ap_.ExpectLogged("INFO", "Received unknown event: IN-THE-QUEUE");
  for (const LogLine& line : ap_.Log()) {
    EXPECT_EQ(line.text.find("Error recording"), std::string::npos) << line;
  }
}

}  // namespace
}  // namespace orvane::testbed
