// Faults that take as long as they take: the bus's time-out, and a minute. Skipped unless
// WAVELARK_SLOW_TESTS is in the environment; script/test --slow puts it there.

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
// The bus library's own time-out, and what comes on top of it on a busy machine.
constexpr seconds kBusTimeout(25);
constexpr seconds kBusPatience(40);
// As long as those that are common in the field.
const std::string kLongEvent = std::string(kEvent) + " x:" + std::string(225 - 35, 'x');

class SlowFault : public SteeringAccessPointTest {
 protected:
  void SetUp() override {
    if (getenv("WAVELARK_SLOW_TESTS") == nullptr) GTEST_SKIP() << "slow: script/test --slow";
  }

  std::size_t FailureCount() { return ap_.daemon().err().Count("Error recording offline data: "); }

  bool IsFailureLogged(std::size_t count) {
    return WaitUntil([&] { return FailureCount() >= count; }, count * kBusPatience);
  }
};

// The call takes as long as the bus gives it, and the batch is lost. What hostapd says meanwhile
// waits in the queue, which takes so much and no more; none of that is lost.
TEST_F(SlowFault, RecorderHangsForTheTimeOutOfTheBus) {
  ap_.StartAll();
  ap_.recorder().Signal(SIGSTOP);
  ap_.wlan5000().Send(kEvent);
  ap_.Settle(ap_.wlan5000());
  // The call begins a second after the event.
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
  // The first record is the one that was given up: it is on its way since, and comes late.
  EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info_size(), 1);
  EXPECT_EQ(ap_.WaitForRecord(2).event.client_event_info_size(), queued);
  EXPECT_EQ(FailureCount(), 1U);
  EXPECT_EQ(ap_.LogTexts("ERROR").size(), 0U);
  ap_.ExpectQuickExit(SIGTERM);
}

// A call for each interface that has a batch, one after the other, and each takes its time.
TEST_F(SlowFault, RecorderHangsWithABatchOfEachInterface) {
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

TEST_F(SlowFault, RecorderRepliesAfterTheTimeOutOfTheBus) {
  ap_.StartBus();
  ap_.StartRecorder({"--delay", "27"});
  WriteSalt(kSalt);
  Hostapd wlan5000(kWlan5000);
  ap_.StartDaemon({"--connection_event_upload_period=1"});
  wlan5000.Attach();
  wlan5000.Send(kEvent);
  EXPECT_TRUE(IsFailureLogged(1));
  // The reply that comes then answers nothing.
  std::this_thread::sleep_for(seconds(4));
  ap_.Settle(wlan5000);
  EXPECT_EQ(FailureCount(), 1U);
  EXPECT_EQ(ap_.RecordCount(), 1U);
  EXPECT_EQ(ap_.LogTexts("ERROR").size(), 0U);
  ap_.ExpectQuickExit(SIGTERM);
}

TEST_F(SlowFault, BusHangsForItsTimeOut) {
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

TEST_F(SlowFault, StoppedForAMinute) { ExpectNothingIsLostByAStop(ap_, seconds(60)); }

}  // namespace
}  // namespace orvane::testbed
