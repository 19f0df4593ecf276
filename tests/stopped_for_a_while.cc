#include "tests/stopped_for_a_while.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <thread>
#include <vector>

#include "testbed/control_socket.h"

namespace orvane::testbed {
namespace {

std::uint64_t MillisecondsNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace

void ExpectNothingIsLostByAStop(SteeringAccessPoint& ap, std::chrono::seconds length) {
  using Clock = std::chrono::steady_clock;
  constexpr char kEvent[] = "<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e";
  constexpr char kPoll[] = "02:00:00:00:00:01 link_quality_metric 50 ";
  ap.SetStations({"wlan-2400mhz 02:00:00:00:00:01 -50"});
  ap.StartBus();
  ap.StartRecorder();
  WriteSalt(kSalt);
  ap.Launch({"--enable_client_steering", "--connection_event_upload_period=1"});
  ap.ExpectReady();
  ap.ExpectLoggedWith(kPoll);
  ap.wlan5000().Send(kEvent);
  ap.Settle(ap.wlan5000());

  ap.Hold();
  const std::size_t polls = ap.LogTextsWith(kPoll).size();
  int events = 1;
  while (ap.wlan5000().TrySend(kEvent) == ControlSocket::SendResult::kSent) ++events;
  EXPECT_GT(events, 1);
  std::this_thread::sleep_for(length);
  const std::uint64_t continued_ms = MillisecondsNow();
  ap.Release();

  const Clock::time_point begin = Clock::now();
  std::vector<std::uint64_t> times;
  for (std::size_t number = 1; std::ssize(times) < events; ++number) {
    const Record record = ap.WaitForRecord(number);
    ASSERT_GT(record.event.client_event_info_size(), 0);
    for (const auto& info : record.event.client_event_info()) {
      times.push_back(info.event_time_in_milliseconds());
    }
  }
  EXPECT_EQ(std::ssize(times), events);
  // All but the first arrived while it was stopped.
  EXPECT_LT(times.front(), continued_ms);
  for (std::size_t i = 1; i < times.size(); ++i) EXPECT_GE(times[i], continued_ms) << i;
  EXPECT_LE(times.back(), MillisecondsNow());
  ap.ExpectLoggedWith(kPoll, polls + 2);
  // One poll that was due, and one per second.
  const std::size_t polls_now = ap.LogTextsWith(kPoll).size();
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(Clock::now() - begin).count();
  EXPECT_LE(polls_now, polls + 1 + static_cast<std::size_t>(seconds));
  EXPECT_THAT(ap.LogTexts("ERROR"), ::testing::IsEmpty());
  ap.ExpectQuickExit(SIGTERM);
}

}  // namespace orvane::testbed
