// Slow faults: they wait for the bus's time-out, or a minute. Skipped unless WAVELARK_SLOW_TESTS is
// set, which script/test --slow does.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <chrono>
#include <cstddef>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include "testbed/access_point.h"
#include "testbed/child_process.h"
#include "testbed/control_socket.h"
#include "tests/stopped_for_a_while.h"

namespace orvane::testbed {
namespace {

using SendResult = ControlSocket::SendResult;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr char kEvent[] = "<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e";
// The bus library's default time-out, and the additional time on a busy machine.
constexpr seconds kBusTimeout(25);
constexpr seconds kBusPatience(40);
// With the length of typical events.
const std::string kLongEvent = std::string(kEvent) + " x:" + std::string(225 - 35, 'x');

class SlowFault : public SteeringAccessPointTest {
 protected:
  void SetUp() override {
    if (getenv("WAVELARK_SLOW_TESTS") == nullptr)
      GTEST_SKIP() << "slow; run it with script/test --slow";
  }

  std::size_t FailureCount() { return ap_.daemon().err().Count("Error recording offline data: "); }

  bool IsFailureLogged(std::size_t count) {
    return WaitUntil([&] { return FailureCount() >= count; }, count * kBusPatience);
  }
};

// The call takes until the bus's time-out, and the batch is lost. Meanwhile hostapd's events wait
// in the queue, which has a limit; none of them is lost.
TEST_F(SlowFault, RecorderHangsUntilTheTimeOut) {
  ap_.StartAll();
  ap_.recorder().Signal(SIGSTOP);
  ap_.wlan5000().Send(kEvent);
  ap_.Settle(ap_.wlan5000());
  // The call starts one second after the event.
  std::this_thread::sleep_for(seconds(2));
  const auto begin = std::chrono::steady_clock::now();
  int queued = 0;
  while (ap_.wlan5000().TrySend(kLongEvent) == SendResult::kSent) ++queued;
  EXPECT_TRUE(IsFailureLogged(1));
  const auto held = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(held, kBusTimeout - seconds(3));
  EXPECT_LE(held, kBusTimeout + seconds(3));
  ap_.recorder().Signal(SIGCONT);
  std::cout << kLongEvent.size() << " bytes: " << queued << " events in " << kBusTimeout.count()
            << " s, " << queued / static_cast<double>(kBusTimeout.count()) << " a second\n";
  RecordProperty("queued", std::to_string(queued));
  EXPECT_GT(queued, 0);
  // The first record is the one that timed out: its message was sent and arrives late.
  EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info_size(), 1);
  EXPECT_EQ(ap_.WaitForRecord(2).event.client_event_info_size(), queued);
  EXPECT_EQ(FailureCount(), 1U);
  EXPECT_EQ(ap_.LogTexts("ERROR").size(), 0U);
  ap_.ExpectQuickExit(SIGTERM);
}

// One call after the other for each interface with a batch, and each times out.
TEST_F(SlowFault, RecorderHangsInTwoCalls) {
  ap_.StartAll();
  ap_.recorder().Signal(SIGSTOP);
  const auto begin = std::chrono::steady_clock::now();
  for (Hostapd* hostapd : {&ap_.wlan2400(), &ap_.wlan5000()}) {
    hostapd->Send(kEvent);
    ap_.Settle(*hostapd);
  }
  EXPECT_TRUE(IsFailureLogged(2));
  const auto held = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(held, 2 * kBusTimeout);
  EXPECT_LE(held, 2 * kBusTimeout + seconds(6));
  ap_.recorder().Signal(SIGCONT);
  ap_.wlan5000().Send(kEvent);
  for (std::size_t number = 1; number <= 3; ++number) {
    EXPECT_EQ(ap_.WaitForRecord(number).event.client_event_info_size(), 1);
  }
  EXPECT_EQ(FailureCount(), 2U);
  ap_.ExpectQuickExit(SIGTERM);
}

TEST_F(SlowFault, RecorderRepliesAfterTheTimeOut) {
  ap_.StartBus();
  ap_.StartRecorder({"--delay", "27"});
  WriteSalt(kSalt);
  Hostapd wlan5000(kWlan5000);
  ap_.StartDaemon({"--connection_event_upload_period=1"});
  wlan5000.Attach();
  wlan5000.Send(kEvent);
  EXPECT_TRUE(IsFailureLogged(1));
  // The late reply arrives after its call has ended.
  std::this_thread::sleep_for(seconds(4));
  ap_.Settle(wlan5000);
  EXPECT_EQ(FailureCount(), 1U);
  EXPECT_EQ(ap_.RecordCount(), 1U);
  EXPECT_EQ(ap_.LogTexts("ERROR").size(), 0U);
  ap_.ExpectQuickExit(SIGTERM);
}

TEST_F(SlowFault, BusHangsUntilTheTimeOut) {
  ap_.StartAll();
  ap_.wlan5000().Send(kEvent);
  ap_.Settle(ap_.wlan5000());
  kill(ap_.bus().pid(), SIGSTOP);
  EXPECT_TRUE(IsFailureLogged(1));
  kill(ap_.bus().pid(), SIGCONT);
  ap_.Settle(ap_.wlan5000());
  ap_.wlan5000().Send(kEvent);
  EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info_size(), 1);
  EXPECT_EQ(ap_.WaitForRecord(2).event.client_event_info_size(), 1);
  ap_.Settle(ap_.wlan5000());
  EXPECT_EQ(FailureCount(), 1U);
  ap_.ExpectQuickExit(SIGTERM);
}

TEST_F(SlowFault, DaemonIsStoppedForAMinute) { ExpectNothingIsLostByAStop(ap_, seconds(60)); }

}  // namespace
}  // namespace orvane::testbed
