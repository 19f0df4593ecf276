#include "tests/stopped_for_a_while.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstddef>
#include <thread>

#include "lab/control_socket.h"

namespace orvane::ap {

void StoppedForAWhile::ExpectNothingIsLost(std::chrono::seconds length) {
  using Clock = std::chrono::steady_clock;
  constexpr char kEvent[] = "<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e";
  constexpr char kPoll[] = "02:00:00:00:00:01 link_quality_metric 50 ";
  SetStations({"wlan-2400mhz 02:00:00:00:00:01 -50"});
  StartBus();
  StartRecorder();
  WriteSalt(kSalt);
  Launch({"--enable_client_steering", "--connection_event_upload_period=1"});
  ExpectReady();
  ExpectLoggedWith(kPoll);
  wlan5000_->Send(kEvent);
  Settle(*wlan5000_);

  const std::size_t polls = LogTextsWith(kPoll).size();
  daemon().Signal(SIGSTOP);
  int events = 1;
  while (wlan5000_->TrySend(kEvent) == lab::ControlSocket::SendResult::kSent) ++events;
  EXPECT_GT(events, 1);
  std::this_thread::sleep_for(length);
  daemon().Signal(SIGCONT);

  const Clock::time_point begin = Clock::now();
  for (std::size_t number = 1; events > 0; ++number) {
    const int more = WaitForRecord(number).event.client_event_info_size();
    ASSERT_GT(more, 0);
    events -= more;
  }
  EXPECT_EQ(events, 0);
  ExpectLoggedWith(kPoll, polls + 2);
  // One that was due, and one a second.
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(Clock::now() - begin).count();
  EXPECT_LE(LogTextsWith(kPoll).size(), polls + 1 + static_cast<std::size_t>(seconds));
  EXPECT_THAT(LogTexts("ERROR"), ::testing::IsEmpty());
  ExpectQuickExit(SIGTERM);
}

}  // namespace orvane::ap
