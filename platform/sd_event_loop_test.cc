#include "platform/sd_event_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include "platform/files.h"
#include "platform/logging.h"
#include "platform/one_shot_timer.h"

namespace orvane::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::Ge;
using testing::Lt;

// How late a task may be on a busy machine; sd-event's default accuracy is 250 ms.
constexpr milliseconds kTolerance(100);

steady_clock::duration MeasureDelay(milliseconds delay) {
  SdEventLoop loop;
  const auto start = steady_clock::now();
  loop.PostDelayedTask([&] { loop.Quit(0); }, delay);
  EXPECT_EQ(loop.Run(), 0);
  return steady_clock::now() - start;
}

TEST(SdEventLoopTest, DelaysAreReal) {
  for (const milliseconds delay : {milliseconds(1), milliseconds(500), milliseconds(1000)}) {
    EXPECT_THAT(MeasureDelay(delay), testing::AllOf(Ge(delay), Lt(delay + kTolerance)));
  }
}

TEST(SdEventLoopTest, ADelayCountsFromTheCallAlsoWithinALongTask) {
  SdEventLoop loop;
  steady_clock::time_point start;
  steady_clock::time_point end;
  loop.PostTask([&] {
    usleep(50'000);
    start = steady_clock::now();
    loop.PostDelayedTask(
        [&] {
          end = steady_clock::now();
          loop.Quit(0);
        },
        milliseconds(30));
  });
  EXPECT_EQ(loop.Run(), 0);
  EXPECT_THAT(end - start, testing::AllOf(Ge(milliseconds(30)), Lt(milliseconds(30) + kTolerance)));
}

TEST(SdEventLoopTest, ACloserDeadlineWakesTheLoopEarlier) {
  SdEventLoop loop;
  loop.PostDelayedTask([&] { loop.Quit(1); }, std::chrono::minutes(1));
  loop.PostDelayedTask([&] { loop.Quit(2); }, milliseconds(1));
  EXPECT_EQ(loop.Run(), 2);
}

TEST(SdEventLoopTest, ReadsTheWallClock) {
  const SdEventLoop loop;
  const auto before = std::chrono::system_clock::now();
  const WallTime now = loop.Now();
  EXPECT_LE(std::chrono::time_point_cast<TimeSpan>(before), now);
  EXPECT_LE(now, std::chrono::system_clock::now());
}

TEST(SdEventLoopTest, TheFirstExitCodeCounts) {
  SdEventLoop loop;
  loop.PostTask([&] {
    loop.Quit(3);
    loop.Quit(4);
  });
  EXPECT_EQ(loop.Run(), 3);
}

TEST(SdEventLoopTest, AnExitCodeOfZeroCountsToo) {
  SdEventLoop loop;
  loop.PostTask([&] {
    loop.Quit(0);
    loop.Quit(1);
  });
  EXPECT_EQ(loop.Run(), 0);
}

TEST(SdEventLoopTest, QuitBeforeRunEndsItAtOnce) {
  SdEventLoop loop;
  loop.Quit(5);
  loop.PostTask([] { ADD_FAILURE() << "ran after Quit"; });
  EXPECT_EQ(loop.Run(), 5);
}

TEST(SdEventLoopTest, QuitEndsRunWithTheTurn) {
  SdEventLoop loop;
  bool next_turn_has_run = false;
  loop.PostTask([&] {
    loop.Quit(0);
    loop.PostTask([&] { next_turn_has_run = true; });
  });
  EXPECT_EQ(loop.Run(), 0);
  EXPECT_FALSE(next_turn_has_run);
}

TEST(SdEventLoopTest, ATimerMayDieWithALoopThatStillHasItArmed) {
  SdEventLoop loop;
  OneShotTimer timer(loop);
  timer.Start(std::chrono::hours(1), [] { ADD_FAILURE() << "an hour has passed"; });
  loop.PostTask([&] { loop.Quit(0); });
  EXPECT_EQ(loop.Run(), 0);
  EXPECT_TRUE(timer.IsRunning());
}

// Each case runs in its own process, because of the signals.
using SdEventLoopDeathTest = testing::Test;

[[noreturn]] void CountSignals() {
  SdEventLoop loop;
  int hang_ups = 0;
  loop.HandleSignal(SIGHUP, [&] {
    ++hang_ups;
    kill(getpid(), hang_ups == 3 ? SIGTERM : SIGHUP);
  });
  loop.HandleSignal(SIGTERM, [&] { loop.Quit(40 + hang_ups); });
  kill(getpid(), SIGHUP);
  std::exit(loop.Run());
}

TEST(SdEventLoopDeathTest, HandlesEachSignalEveryTime) {
  EXPECT_EXIT(CountSignals(), testing::ExitedWithCode(43), "");
}

[[noreturn]] void IgnoreSignalsOfADestroyedLoop() {
  {
    SdEventLoop().HandleSignal(SIGTERM, [] { std::exit(1); });
  }
  kill(getpid(), SIGTERM);
  std::exit(7);
}

TEST(SdEventLoopDeathTest, TheSignalStaysBlockedAfterTheLoop) {
  EXPECT_EXIT(IgnoreSignalsOfADestroyedLoop(), testing::ExitedWithCode(7), "");
}

[[noreturn]] void ThrowOnASignal() {
  SdEventLoop loop;
  loop.HandleSignal(SIGHUP, [] { throw std::runtime_error("nobody catches this"); });
  kill(getpid(), SIGHUP);
  std::exit(loop.Run());
}

TEST(SdEventLoopDeathTest, AnExceptionThatLeavesASignalHandlerEndsTheProcess) {
  EXPECT_EXIT(ThrowOnASignal(), testing::KilledBySignal(SIGABRT), "nobody catches this");
}

// The service manager's side of a watchdog.
class WatchdogTest : public testing::Test {
 protected:
  WatchdogTest() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string name = "sd_event_loop_test" + std::to_string(getpid());
    name.copy(address.sun_path + 1, name.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    EXPECT_EQ(bind(manager_.get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
    setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
  }
  ~WatchdogTest() override {
    for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_PID", "WATCHDOG_USEC"}) unsetenv(name);
  }

  // Returns the number of notices within 50 milliseconds.
  int CountNotices() {
    SdEventLoop loop;
    loop.EnableWatchdog();
    loop.PostDelayedTask([&] { loop.Quit(0); }, milliseconds(50));
    EXPECT_EQ(loop.Run(), 0);
    int notices = 0;
    std::array<char, 64> buffer;
    ssize_t length = 0;
    while ((length = recv(manager_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT)) >= 0) {
      EXPECT_EQ(std::string(buffer.data(), static_cast<std::size_t>(length)), "WATCHDOG=1");
      ++notices;
    }
    return notices;
  }

  ScopedFd manager_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

TEST_F(WatchdogTest, GetsItsNoticesWhenItHasAskedForThem) {
  setenv("WATCHDOG_USEC", "20000", 1);
  EXPECT_GE(CountNotices(), 2);
}

TEST_F(WatchdogTest, GetsNoneOtherwise) { EXPECT_EQ(CountNotices(), 0); }

TEST_F(WatchdogTest, AnUnreadableRequestIsLogged) {
  setenv("WATCHDOG_USEC", "soon", 1);
  std::string line;
  const LogListener listener([&line](Severity severity, std::string_view text) {
    EXPECT_EQ(severity, Severity::kWarning);
    line = text;
  });
  EXPECT_EQ(CountNotices(), 0);
  EXPECT_EQ(line, "No watchdog notices: Invalid argument (22)");
}

}  // namespace
}  // namespace orvane::platform
