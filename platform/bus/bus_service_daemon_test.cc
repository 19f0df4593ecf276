#include "platform/bus/bus_service_daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "platform/files.h"
#include "testbed/log_capture.h"
#include "testbed/private_bus.h"
#include "testbed/test_peer.h"

namespace orvane::platform::bus {
namespace {

using testbed::LogCapture;
using testbed::PrivateBus;
using testbed::TestPeer;

using testing::Contains;
using testing::ElementsAre;

constexpr char kName[] = "a.test.Daemon";
constexpr char kPath[] = "/a/test/Daemon";

// Receives the notices to the service manager.
class NoticeSocket {
 public:
  NoticeSocket() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = "@wavelark-notices-" + std::to_string(getpid());
    name.copy(address.sun_path, sizeof(address.sun_path) - 1);
    address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    EXPECT_EQ(bind(fd_.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
  }
  ~NoticeSocket() {
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    unsetenv("WATCHDOG_PID");
  }

  std::vector<std::string> Take() const {
    std::vector<std::string> notices;
    char buffer[256];
    for (ssize_t size = 0; (size = recv(fd_.get(), buffer, sizeof(buffer), 0)) > 0;) {
      notices.emplace_back(buffer, static_cast<std::size_t>(size));
    }
    return notices;
  }

 private:
  ScopedFd fd_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
};

class TestDaemon : public BusServiceDaemon {
 public:
  TestDaemon() : BusServiceDaemon(kName, kPath) {}

  using BusServiceDaemon::bus;
  using BusServiceDaemon::loop;

  int OnInit() override {
    const int result = BusServiceDaemon::OnInit();
    if (result != 0) return result;
    if (on_init) on_init();
    return init_result;
  }
  void OnShutdown(int* exit_code) override {
    BusServiceDaemon::OnShutdown(exit_code);
    ++shutdowns;
    if (on_shutdown) on_shutdown(exit_code);
  }
  bool OnRestart() override {
    ++restarts;
    return handles_restart || BusServiceDaemon::OnRestart();
  }

  std::function<void()> on_init;
  std::function<void(int*)> on_shutdown;
  int init_result = 0;
  bool handles_restart = false;
  int restarts = 0;
  int shutdowns = 0;
};

class BusServiceDaemonTest : public testing::Test {
 protected:
  ~BusServiceDaemonTest() override {
    // Restores the defaults for the next test.
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGPIPE}) signal(number, SIG_DFL);
    sigset_t signals;
    sigfillset(&signals);
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
  }

  static int RunWithSignals(TestDaemon& daemon, const std::vector<int>& signals) {
    daemon.on_init = [&daemon, signals] {
      daemon.loop().PostTask([signals] {
        for (const int number : signals) kill(getpid(), number);
      });
    };
    return daemon.Run();
  }

  PrivateBus bus_;
  LogCapture log_;
  TestDaemon daemon_;
};

class EndingSignalTest : public BusServiceDaemonTest, public testing::WithParamInterface<int> {};

TEST_P(EndingSignalTest, EndsTheDaemonWithSuccess) {
  EXPECT_EQ(RunWithSignals(daemon_, {GetParam()}), 0);
  EXPECT_EQ(daemon_.shutdowns, 1);
  EXPECT_TRUE(log_.empty());
}

INSTANTIATE_TEST_SUITE_P(All, EndingSignalTest, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(BusServiceDaemonTest, ARestartThatIsHandledDoesNotEndIt) {
  daemon_.handles_restart = true;
  daemon_.on_init = [this] {
    daemon_.loop().PostTask([] { kill(getpid(), SIGHUP); });
    daemon_.loop().PostDelayedTask([this] { daemon_.loop().Quit(7); },
                                   std::chrono::milliseconds(50));
  };
  EXPECT_EQ(daemon_.Run(), 7);
  EXPECT_EQ(daemon_.restarts, 1);
}

TEST_F(BusServiceDaemonTest, ABrokenPipeIsNoEnd) {
  EXPECT_EQ(RunWithSignals(daemon_, {SIGPIPE, SIGTERM}), 0);
}

TEST_F(BusServiceDaemonTest, ASignalDuringTheStartEndsItAfterwards) {
  daemon_.on_init = [] { kill(getpid(), SIGTERM); };
  EXPECT_EQ(daemon_.Run(), 0);
  EXPECT_EQ(daemon_.shutdowns, 1);
}

TEST_F(BusServiceDaemonTest, ABlockingCallEndsBeforeTheFirstSignalIsHandled) {
  bool went_on = false;
  daemon_.on_init = [this, &went_on] {
    daemon_.loop().PostTask([&went_on] {
      kill(getpid(), SIGTERM);
      went_on = true;
    });
  };
  EXPECT_EQ(daemon_.Run(), 0);
  EXPECT_TRUE(went_on);
  EXPECT_EQ(daemon_.shutdowns, 1);
}

// Each case runs in a process and a loop of its own.
class BusServiceDaemonDeathTest : public BusServiceDaemonTest {
 protected:
  static void RunNewDaemon(const std::vector<int>& signals,
                           const std::function<void(int*)>& on_shutdown = nullptr) {
    TestDaemon daemon;
    daemon.on_shutdown = on_shutdown;
    RunWithSignals(daemon, signals);
  }
};

TEST_F(BusServiceDaemonDeathTest, TheSecondSignalKillsACallbackThatHangs) {
  EXPECT_EXIT(RunNewDaemon({SIGTERM, SIGTERM}), testing::KilledBySignal(SIGTERM), "");
  EXPECT_EXIT(RunNewDaemon({SIGTERM, SIGINT}), testing::KilledBySignal(SIGINT), "");
}

TEST_F(BusServiceDaemonDeathTest, TheSecondSignalKillsAShutdownThatHangs) {
  EXPECT_EXIT(RunNewDaemon({SIGTERM}, [](int*) { kill(getpid(), SIGTERM); }),
              testing::KilledBySignal(SIGTERM), "");
}

TEST_F(BusServiceDaemonDeathTest, ASignalBeforeTheNameIsClaimedEndsTheProcess) {
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    EXPECT_EXIT(
        {
          BusServiceDaemon::HandleSignals();
          kill(getpid(), number);
        },
        testing::ExitedWithCode(0), "");
  }
}

TEST_F(BusServiceDaemonDeathTest, ASignalAfterItsDestructionEndsTheProcess) {
  EXPECT_EXIT(
      {
        {
          TestDaemon daemon;
          daemon.init_result = 7;
          daemon.Run();
        }
        kill(getpid(), SIGTERM);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(BusServiceDaemonTest, ShutdownHasTheBusAndSetsTheExitCode) {
  daemon_.on_shutdown = [this](int* exit_code) {
    EXPECT_EQ(*exit_code, 0);
    EXPECT_TRUE(daemon_.bus()->RequestName("a.test.Late", nullptr));
    *exit_code = 9;
  };
  EXPECT_EQ(RunWithSignals(daemon_, {SIGTERM}), 9);
}

TEST_F(BusServiceDaemonTest, OwnsItsNameWhileItLives) {
  EXPECT_EQ(daemon_.bus(), nullptr);
  daemon_.on_init = [this] {
    TestPeer peer;
    EXPECT_EQ(sd_bus_request_name(peer.bus(), kName, 0), -EEXIST);
    daemon_.loop().Quit(0);
  };
  EXPECT_EQ(daemon_.Run(), 0);
}

TEST_F(BusServiceDaemonTest, ATakenNameIsOneErrorLine) {
  const NoticeSocket notices;
  TestPeer owner;
  owner.RequestName(kName);
  EXPECT_EQ(daemon_.Run(), EX_UNAVAILABLE);
  EXPECT_EQ(daemon_.shutdowns, 0);
  EXPECT_THAT(log_.Lines(Severity::kError),
              ElementsAre("Failed to claim the bus name a.test.Daemon: another process owns it"));
  EXPECT_THAT(notices.Take(), ElementsAre());
}

TEST_F(BusServiceDaemonTest, NoBusIsOneErrorLine) {
  bus_.Kill();
  EXPECT_EQ(daemon_.Run(), EX_UNAVAILABLE);
  EXPECT_THAT(log_.Lines(Severity::kError),
              ElementsAre("Failed to connect to the system bus: Connection refused"));
}

TEST_F(BusServiceDaemonTest, ABadPathIsOneErrorLine) {
  BusServiceDaemon daemon(kName, "nonsense");
  EXPECT_EQ(daemon.Run(), EX_UNAVAILABLE);
  EXPECT_THAT(log_.Lines(Severity::kError),
              ElementsAre("Failed to publish the object manager at nonsense: Invalid argument"));
}

TEST_F(BusServiceDaemonTest, AFailingStartIsReturnedAndNothingRuns) {
  const NoticeSocket notices;
  bool ran = false;
  daemon_.init_result = 23;
  daemon_.on_init = [&] { daemon_.loop().PostTask([&] { ran = true; }); };
  EXPECT_EQ(daemon_.Run(), 23);
  EXPECT_FALSE(ran);
  EXPECT_EQ(daemon_.shutdowns, 0);
  EXPECT_THAT(notices.Take(), ElementsAre());
}

TEST_F(BusServiceDaemonTest, ALostBusEndsItWithAFailure) {
  daemon_.on_init = [this] { daemon_.loop().PostTask([this] { bus_.Kill(); }); };
  EXPECT_EQ(daemon_.Run(), kConnectionLostExitCode);
  EXPECT_EQ(daemon_.shutdowns, 1);
  EXPECT_THAT(log_.Lines(Severity::kError), ElementsAre("Lost the connection to the system bus"));
}

TEST_F(BusServiceDaemonTest, TheServiceManagerIsNotifiedOfReadinessAndStopping) {
  const NoticeSocket notices;
  daemon_.on_init = [this, &notices] {
    EXPECT_THAT(notices.Take(), ElementsAre());
    daemon_.loop().PostTask([this, &notices] {
      EXPECT_THAT(notices.Take(), ElementsAre("READY=1"));
      daemon_.loop().Quit(0);
    });
  };
  daemon_.on_shutdown = [&notices](int*) {
    EXPECT_THAT(notices.Take(), ElementsAre("STOPPING=1"));
  };
  EXPECT_EQ(daemon_.Run(), 0);
  EXPECT_EQ(daemon_.shutdowns, 1);
}

TEST_F(BusServiceDaemonTest, TheWatchdogGetsItsNotices) {
  const NoticeSocket notices;
  setenv("WATCHDOG_USEC", "200000", 1);
  setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
  daemon_.on_init = [this] {
    daemon_.loop().PostDelayedTask([this] { daemon_.loop().Quit(0); },
                                   std::chrono::milliseconds(500));
  };
  EXPECT_EQ(daemon_.Run(), 0);
  const std::vector<std::string> taken = notices.Take();
  EXPECT_THAT(taken, Contains("WATCHDOG=1").Times(testing::Ge(3)));
  EXPECT_EQ(taken.front(), "READY=1");
}

}  // namespace
}  // namespace orvane::platform::bus
