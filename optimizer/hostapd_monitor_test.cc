#include "optimizer/hostapd_monitor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/manual_loop.h"
#include "testbed/hostapd.h"
#include "testbed/log_capture.h"
#include "testbed/temporary_directory.h"

namespace orvane::ap {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using namespace std::chrono_literals;

constexpr char kInterface[] = "wlan-2400mhz";

// Expected log lines.
testbed::LogCapture::Line Error(std::string text) {
  return {platform::Severity::kError, std::move(text)};
}
testbed::LogCapture::Line Warning(std::string text) {
  return {platform::Severity::kWarning, std::move(text)};
}

// Real sockets that count their calls; single calls can be made to fail.
class TestSockets : public platform::Sockets {
 public:
  struct State {
    int failing_socket = 0;  // errno values; 0 succeeds
    int failing_bind = 0;
    int failing_connect = 0;
    int failing_send = 0;
    std::string bind_path;  // whole, with the first byte
    socklen_t bind_length = 0;
    std::string connect_path;
    socklen_t connect_length = 0;
    int fd = -1;  // the last one
    int open = 0;
    std::vector<std::string> sent;
  };

  explicit TestSockets(State* state) : state_(state) {}

  int Socket(int domain, int type, int protocol) override {
    if (Fails(state_->failing_socket)) return -1;
    ++state_->open;
    state_->fd = Sockets::Socket(domain, type, protocol);
    return state_->fd;
  }
  int Bind(int fd, const sockaddr* address, socklen_t length) override {
    state_->bind_path = PathOf(address);
    state_->bind_length = length;
    return Fails(state_->failing_bind) ? -1 : Sockets::Bind(fd, address, length);
  }
  int Connect(int fd, const sockaddr* address, socklen_t length) override {
    state_->connect_path = PathOf(address);
    state_->connect_length = length;
    return Fails(state_->failing_connect) ? -1 : Sockets::Connect(fd, address, length);
  }
  ssize_t Send(int fd, const void* data, std::size_t length, int flags) override {
    EXPECT_EQ(flags, 0);
    state_->sent.emplace_back(static_cast<const char*>(data), length);
    return Fails(state_->failing_send) ? -1 : Sockets::Send(fd, data, length, flags);
  }
  int Close(int fd) override {
    --state_->open;
    return Sockets::Close(fd);
  }

 private:
  static std::string PathOf(const sockaddr* address) {
    const auto* local = reinterpret_cast<const sockaddr_un*>(address);
    EXPECT_EQ(local->sun_family, AF_UNIX);
    return std::string(local->sun_path, sizeof(local->sun_path));
  }
  static bool Fails(int error) {
    errno = error;
    return error != 0;
  }

  State* state_;
};

class HostapdMonitorTest : public ::testing::Test {
 protected:
  platform::FilePath SocketPath() const { return directory_.path() / kInterface; }

  void StartHostapd() {
    hostapd_.reset();
    hostapd_ = std::make_unique<testbed::Hostapd>(SocketPath());
  }
  void StopHostapd() { hostapd_.reset(); }

  void MakeMonitor() {
    monitor_ = std::make_unique<HostapdMonitorImpl>(
        loop_, std::make_unique<TestSockets>(&sockets_),
        [this](HostapdEventType kind, std::string_view mac, HostapdAttributes attributes) {
          std::string event =
              std::string(HostapdEventTypeName(kind)) + "(" + std::string(mac) + ")";
          for (const std::string_view attribute : attributes) event += " " + std::string(attribute);
          events_.push_back(event);
        },
        "wavelark", directory_.path(), kInterface);
  }

  void StartMonitor() {
    MakeMonitor();
    monitor_->Initialize();
    loop_.RunUntilIdle();
  }

  // Starts a monitor that hostapd has answered.
  void StartAttached() {
    StartHostapd();
    StartMonitor();
    EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
    Answer("OK\n");
    Forget();
  }

  void Answer(std::string_view text) {
    EXPECT_TRUE(hostapd_->Send(text));
    loop_.RunUntilIdle();
  }

  void Forget() {
    events_.clear();
    log_.Clear();
    sockets_.sent.clear();
  }

  testbed::TemporaryDirectory directory_;
  platform::ManualLoop loop_;
  TestSockets::State sockets_;
  std::vector<std::string> events_;
  testbed::LogCapture log_;
  std::unique_ptr<testbed::Hostapd> hostapd_;
  std::unique_ptr<HostapdMonitorImpl> monitor_;
};

TEST_F(HostapdMonitorTest, NothingIsTriedBeforeInitialize) {
  StartHostapd();
  MakeMonitor();
  loop_.AdvanceBy(10s);
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(HostapdMonitorTest, ASocketThatAppearsBeforeInitializeIsAttachedToOnceByIt) {
  MakeMonitor();
  StartHostapd();
  loop_.RunUntilIdle();
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
  EXPECT_THAT(events_, IsEmpty());
  monitor_->Initialize();
  loop_.RunUntilIdle();
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
  EXPECT_THAT(events_, ElementsAre("kHostapdStarted()"));
}

TEST_F(HostapdMonitorTest, AttachesAtOnceAndReportsTheStartBeforeTheAnswer) {
  StartHostapd();
  StartMonitor();
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
  EXPECT_THAT(events_, ElementsAre("kHostapdStarted()"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(HostapdMonitorTest, InitializeItselfDoesNothingYet) {
  StartHostapd();
  MakeMonitor();
  monitor_->Initialize();
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
}

TEST_F(HostapdMonitorTest, TheLocalAddressIsAbstractAndPassedWhole) {
  StartHostapd();
  StartMonitor();
  ASSERT_TRUE(hostapd_->Receive().has_value());
  std::string expected(1, '\0');
  expected += std::to_string(getpid()) + "-wavelark-" + kInterface;
  expected.resize(sizeof(sockaddr_un::sun_path), '\0');
  EXPECT_EQ(hostapd_->sender().Bytes(), expected);
  EXPECT_EQ(sockets_.bind_length, 110u);
  EXPECT_EQ(sockets_.connect_length, 110u);
}

TEST_F(HostapdMonitorTest, LongNamesAreCutAndStayTerminated) {
  const std::string long_name(200, 'n');
  const std::string long_tag(200, 't');
  const platform::FilePath path = directory_.path() / long_name;
  std::filesystem::create_directory(path);
  HostapdMonitorImpl monitor(loop_, std::make_unique<TestSockets>(&sockets_), {}, long_tag,
                             directory_.path(), long_name);
  monitor.Initialize();
  loop_.RunUntilIdle();
  // The first byte of the abstract name is zero, too.
  const std::string name = std::string(1, '\0') + std::to_string(getpid()) + "-" + long_tag;
  EXPECT_EQ(sockets_.bind_path, name.substr(0, 107) + '\0');
  EXPECT_EQ(sockets_.connect_path, path.native().substr(0, 107) + '\0');
  EXPECT_EQ(sockets_.open, 0);
}

TEST_F(HostapdMonitorTest, WithoutTheSocketNothingIsTriedUntilItAppears) {
  StartMonitor();
  loop_.AdvanceBy(1h);
  EXPECT_EQ(sockets_.open, 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
  StartHostapd();
  loop_.RunUntilIdle();
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
  EXPECT_THAT(events_, ElementsAre("kHostapdStarted()"));
}

TEST_F(HostapdMonitorTest, AnAnswerInTimeKeepsTheSocket) {
  StartAttached();
  loop_.AdvanceBy(1h);
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
  EXPECT_EQ(sockets_.open, 1);
}

TEST_F(HostapdMonitorTest, WithoutAnAnswerItClosesAndTriesAgain) {
  StartHostapd();
  StartMonitor();
  ASSERT_TRUE(hostapd_->Receive().has_value());
  loop_.AdvanceBy(999'999us);
  EXPECT_EQ(sockets_.open, 1);
  loop_.AdvanceBy(1us);
  EXPECT_EQ(sockets_.open, 0);
  EXPECT_THAT(sockets_.sent, ElementsAre("ATTACH"));
  loop_.AdvanceBy(499'999us);
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
  loop_.AdvanceBy(1us);
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
  EXPECT_THAT(events_, ElementsAre("kHostapdStarted()", "kHostapdStarted()"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// Simulates a blocked process: the time-out has expired, but the answer has been in the queue all
// along.
TEST_F(HostapdMonitorTest, AnAnswerThatWaitsIsReadBeforeTheTimeIsUp) {
  StartHostapd();
  loop_.PostDelayedTask(
      [this] {
        EXPECT_TRUE(hostapd_->Send("OK\n"));
        EXPECT_TRUE(hostapd_->Send("<3>AP-STA-CONNECT behind"));
      },
      1s);
  StartMonitor();
  ASSERT_TRUE(hostapd_->Receive().has_value());
  loop_.AdvanceBy(1h);
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
  EXPECT_THAT(events_, ElementsAre("kHostapdStarted()", "kStationConnect(behind)"));
}

TEST_F(HostapdMonitorTest, OnlyTheExactAnswerAttaches) {
  StartHostapd();
  StartMonitor();
  ASSERT_TRUE(hostapd_->Receive().has_value());
  for (const char* answer : {"OK", "ok\n", "OK\n\n", " OK\n", "FAIL\n"}) Answer(answer);
  loop_.AdvanceBy(1s);
  EXPECT_EQ(sockets_.open, 0);
}

TEST_F(HostapdMonitorTest, AnEventLineIsParsedAlsoBeforeTheAnswer) {
  StartHostapd();
  StartMonitor();
  ASSERT_TRUE(hostapd_->Receive().has_value());
  Answer("<3>AP-STA-AUTH 00:11:22:33:44:55 success:1\n");
  EXPECT_THAT(events_,
              ElementsAre("kHostapdStarted()", "kStationAuth(00:11:22:33:44:55) success:1"));
}

TEST_F(HostapdMonitorTest, EventsArriveInOrderAndAnEmptyDatagramIsDropped) {
  StartAttached();
  EXPECT_TRUE(hostapd_->Send("<3>AP-STA-CONNECT a"));
  EXPECT_TRUE(hostapd_->Send(""));
  EXPECT_TRUE(hostapd_->Send("<3>AP-STA-DISCONNECT b x:1"));
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("kStationConnect(a)", "kStationDisconnect(b) x:1"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(HostapdMonitorTest, ASecondOkChangesNothing) {
  StartAttached();
  Answer("OK\n");
  loop_.AdvanceBy(1h);
  EXPECT_EQ(sockets_.open, 1);
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
}

TEST_F(HostapdMonitorTest, ALateOkToACommandAttachesAsWell) {
  StartHostapd();
  StartMonitor();
  ASSERT_TRUE(hostapd_->Receive().has_value());
  EXPECT_TRUE(monitor_->SendCommand("PING", 4));
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("PING")));
  Answer("OK\n");
  loop_.AdvanceBy(1h);
  EXPECT_EQ(sockets_.open, 1);
}

TEST_F(HostapdMonitorTest, ACommandIsOneUnchangedDatagram) {
  StartAttached();
  const std::string_view command("DISASSOCIATE 00:11:22:33:44:55 reason=5");
  EXPECT_TRUE(monitor_->SendCommand(command.data(), command.size()));
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string(command)));
}

TEST_F(HostapdMonitorTest, ACommandOnAClosedSocketFailsAndIsLogged) {
  StartMonitor();
  EXPECT_FALSE(monitor_->SendCommand("PING", 4));
  EXPECT_THAT(log_.lines(), ElementsAre(Error("Send to hostapd failed: Bad file descriptor (9)")));
}

TEST_F(HostapdMonitorTest, AHostapdThatReadsGetsEveryCommandInOrder) {
  constexpr int kCommands = 500;
  StartAttached();
  for (int i = 0; i < kCommands; ++i) {
    const std::string command = std::to_string(i);
    EXPECT_TRUE(monitor_->SendCommand(command.data(), command.size()));
  }
  for (int i = 0; i < kCommands; ++i) {
    ASSERT_THAT(hostapd_->Receive(), Optional(std::to_string(i)));
    EXPECT_TRUE(hostapd_->Send("OK\n"));
    loop_.AdvanceBy(1ms);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// hostapd never reads these commands. Its queue holds the first few.
TEST_F(HostapdMonitorTest, EachUndeliveredCommandIsLoggedAfterOneSecond) {
  constexpr int kCommands = 1'000;
  StartAttached();
  for (int i = 0; i < kCommands; ++i) EXPECT_TRUE(monitor_->SendCommand("PING", 4));
  loop_.AdvanceBy(999'999us);
  EXPECT_THAT(log_.lines(), IsEmpty());
  loop_.AdvanceBy(1us);
  std::size_t received = 0;
  while (hostapd_->Receive().has_value()) ++received;
  EXPECT_GT(received, 0u);
  const std::vector<testbed::LogCapture::Line> expected(
      kCommands - received, Error("Send to hostapd failed: Resource temporarily unavailable (11)"));
  EXPECT_EQ(log_.lines(), expected);
  EXPECT_EQ(sockets_.open, 1);
  EXPECT_TRUE(monitor_->SendCommand("PING", 4));
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("PING")));
}

TEST_F(HostapdMonitorTest, CommandsThatWaitWhenTheSocketClosesAreLoggedBeforeTheDetachment) {
  StartAttached();
  int sent = 0;
  while (sockets_.sent.size() == static_cast<std::size_t>(sent)) {
    monitor_->SendCommand("PING", 4);
    ++sent;
  }
  Forget();
  StopHostapd();
  errno = 0;
  monitor_.reset();
  EXPECT_THAT(sockets_.sent, ElementsAre("DETACH"));
  // One command was tried and waits, and another one waits behind it.
  const auto lost = Error("Send to hostapd failed: Resource temporarily unavailable (11)");
  const auto not_detached = Error("Send to hostapd failed: Connection refused (111)");
  EXPECT_THAT(log_.lines(), ElementsAre(lost, lost, not_detached));
}

TEST_F(HostapdMonitorTest, WithoutTheSocketItIsIdleUntilTheSocketIsBack) {
  StartAttached();
  StopHostapd();
  loop_.RunUntilIdle();
  EXPECT_EQ(sockets_.open, 0);
  Forget();
  loop_.AdvanceBy(1h);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(events_, IsEmpty());
  StartHostapd();
  loop_.RunUntilIdle();
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
  EXPECT_THAT(events_, ElementsAre("kHostapdStarted()"));
}

// A bound socket keeps the file's inode alive, so the kernel reports the deletion only when the
// last descriptor of the socket is closed.
TEST_F(HostapdMonitorTest, DeletionUnderALivingHostapdIsNoticedWithItsEnd) {
  StartAttached();
  std::filesystem::remove(SocketPath());
  loop_.AdvanceBy(1h);
  EXPECT_EQ(sockets_.open, 1);
  EXPECT_TRUE(hostapd_->Send("<3>AP-STA-CONNECT a"));
  loop_.RunUntilIdle();
  EXPECT_THAT(events_, ElementsAre("kStationConnect(a)"));
  StopHostapd();
  loop_.RunUntilIdle();
  EXPECT_THAT(sockets_.sent, ElementsAre("DETACH"));
  EXPECT_EQ(sockets_.open, 0);
}

TEST_F(HostapdMonitorTest, DetachingFromAHostapdThatIsGoneIsOnlyLogged) {
  StartAttached();
  StopHostapd();
  loop_.RunUntilIdle();
  EXPECT_THAT(sockets_.sent, ElementsAre("DETACH"));
  EXPECT_THAT(log_.lines(), ElementsAre(Error("Send to hostapd failed: Connection refused (111)")));
  EXPECT_EQ(sockets_.open, 0);
}

TEST_F(HostapdMonitorTest, RemovalBeforeTheAnswerSendsNoDetachButRetriesOnce) {
  StartHostapd();
  StartMonitor();
  StopHostapd();
  loop_.RunUntilIdle();
  EXPECT_THAT(sockets_.sent, ElementsAre("ATTACH"));
  EXPECT_EQ(sockets_.open, 0);
  // The time-out that was armed with the attempt still runs, and starts the retries.
  loop_.AdvanceBy(1s + 500ms);
  EXPECT_THAT(log_.lines(), ElementsAre(Error("Failed to connect: No such file or directory (2)"),
                                        Warning("Could not attach to hostapd")));
}

TEST_F(HostapdMonitorTest, RemovalBetweenRetriesDoesNotEndThem) {
  StartHostapd();
  sockets_.failing_connect = ECONNREFUSED;
  StartMonitor();
  sockets_.failing_connect = 0;
  log_.Clear();
  StopHostapd();
  loop_.RunUntilIdle();
  loop_.AdvanceBy(500ms);
  const auto failed = Error("Failed to connect: No such file or directory (2)");
  const auto could_not = Warning("Could not attach to hostapd");
  EXPECT_THAT(log_.lines(), ElementsAre(failed, could_not));
  loop_.AdvanceBy(500ms);
  EXPECT_THAT(log_.lines(), ElementsAre(failed, could_not, failed, could_not));
}

TEST_F(HostapdMonitorTest, ASocketThatAppearsBetweenRetriesIsTriedAtOnce) {
  StartHostapd();
  sockets_.failing_connect = ECONNREFUSED;
  StartMonitor();
  sockets_.failing_connect = 0;
  StopHostapd();
  loop_.AdvanceBy(200ms);
  StartHostapd();
  loop_.RunUntilIdle();
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
  Answer("OK\n");
  Forget();
  loop_.AdvanceBy(1h);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(sockets_.sent, IsEmpty());
  EXPECT_EQ(sockets_.open, 1);
}

TEST_F(HostapdMonitorTest, ANewAttemptHasAWholeSecondForItsAnswer) {
  StartHostapd();
  StartMonitor();
  StopHostapd();
  loop_.AdvanceBy(600ms);
  EXPECT_EQ(sockets_.open, 0);
  StartHostapd();
  loop_.RunUntilIdle();
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
  loop_.AdvanceBy(999'999us);
  EXPECT_EQ(sockets_.open, 1);
  loop_.AdvanceBy(1us);
  EXPECT_EQ(sockets_.open, 0);
}

// The time-out of an attempt whose socket is gone delays the retries of later attempts.
TEST_F(HostapdMonitorTest, ALeftoverTimeoutDelaysTheNextRetry) {
  StartHostapd();
  StartMonitor();
  StopHostapd();
  loop_.AdvanceBy(300ms);
  sockets_.failing_connect = ECONNREFUSED;
  StartHostapd();
  loop_.AdvanceBy(600ms);
  const auto failed = Error("Failed to connect: Connection refused (111)");
  const auto could_not = Warning("Could not attach to hostapd");
  EXPECT_THAT(log_.lines(), ElementsAre(failed, could_not, failed, could_not));
  log_.Clear();
  // The second attempt was at 800 ms. The time-out is at 1 s; the third attempt is half a second
  // later.
  loop_.AdvanceBy(599'999us);
  EXPECT_THAT(log_.lines(), IsEmpty());
  loop_.AdvanceBy(1us);
  EXPECT_THAT(log_.lines(), ElementsAre(failed, could_not));
}

TEST_F(HostapdMonitorTest, AnAnswerDoesNotCancelAPendingAttempt) {
  StartHostapd();
  StartMonitor();
  ASSERT_TRUE(hostapd_->Receive().has_value());
  std::filesystem::remove(SocketPath());
  const std::unique_ptr<testbed::Hostapd> old_hostapd = std::move(hostapd_);
  StartHostapd();
  // Read in the same turn in which the new socket is noticed.
  EXPECT_TRUE(old_hostapd->Send("OK\n"));
  loop_.RunUntilIdle();
  EXPECT_THAT(log_.lines(), ElementsAre(Warning("Already attached, resetting state.")));
  EXPECT_THAT(old_hostapd->Receive(), Optional(std::string("DETACH")));
}

TEST_F(HostapdMonitorTest, ARemovalThatWentUnnoticedResetsTheState) {
  StartAttached();
  std::filesystem::remove(SocketPath());
  const std::unique_ptr<testbed::Hostapd> old_hostapd = std::move(hostapd_);
  StartHostapd();
  loop_.RunUntilIdle();
  EXPECT_THAT(log_.lines(), ElementsAre(Warning("Already attached, resetting state.")));
  EXPECT_THAT(old_hostapd->Receive(), Optional(std::string("DETACH")));
  EXPECT_EQ(sockets_.open, 0);
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
  loop_.AdvanceBy(500ms);
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
  EXPECT_THAT(events_, ElementsAre("kHostapdStarted()"));
}

TEST_F(HostapdMonitorTest, ASocketThatNobodyServesIsRetriedForEver) {
  std::filesystem::create_directory(SocketPath());
  StartMonitor();
  loop_.AdvanceBy(1min);
  std::vector<testbed::LogCapture::Line> expected;
  for (int attempt = 0; attempt <= 120; ++attempt) {
    expected.push_back(Error("Failed to connect: Connection refused (111)"));
    expected.push_back(Warning("Could not attach to hostapd"));
  }
  EXPECT_EQ(log_.lines(), expected);
  EXPECT_EQ(sockets_.open, 0);
  EXPECT_THAT(events_, IsEmpty());
}

using FailingCall = int TestSockets::State::*;

struct FailureCase {
  FailingCall failing;
  int error;
  const char* log;

  friend std::ostream& operator<<(std::ostream& stream, const FailureCase& failure) {
    return stream << failure.log;
  }
};

class HostapdMonitorFailureTest : public HostapdMonitorTest,
                                  public ::testing::WithParamInterface<FailureCase> {};

TEST_P(HostapdMonitorFailureTest, IsLoggedRetriedAfterHalfASecondAndLeaksNothing) {
  StartHostapd();
  sockets_.*GetParam().failing = GetParam().error;
  StartMonitor();
  EXPECT_THAT(log_.lines(),
              ElementsAre(Error(GetParam().log), Warning("Could not attach to hostapd")));
  EXPECT_EQ(sockets_.open, 0);
  EXPECT_THAT(events_, IsEmpty());
  loop_.AdvanceBy(499'999us);
  EXPECT_EQ(log_.lines().size(), 2u);
  loop_.AdvanceBy(1us);
  EXPECT_EQ(log_.lines().size(), 4u);

  sockets_.*GetParam().failing = 0;
  loop_.AdvanceBy(500ms);
  EXPECT_EQ(log_.lines().size(), 4u);
  EXPECT_THAT(events_, ElementsAre("kHostapdStarted()"));
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
}

INSTANTIATE_TEST_SUITE_P(
    EachCall, HostapdMonitorFailureTest,
    ::testing::Values(FailureCase{&TestSockets::State::failing_socket, EMFILE,
                                  "Failed to open hostapd socket: Too many open files (24)"},
                      FailureCase{&TestSockets::State::failing_bind, EADDRINUSE,
                                  "Failed to bind to local socket: Address already in use (98)"},
                      FailureCase{&TestSockets::State::failing_connect, ECONNREFUSED,
                                  "Failed to connect: Connection refused (111)"},
                      FailureCase{
                          &TestSockets::State::failing_send, EAGAIN,
                          "Send to hostapd failed: Resource temporarily unavailable (11)"}));

TEST_F(HostapdMonitorTest, AnAbstractNameThatIsTakenIsRetriedUntilItIsFree) {
  StartHostapd();
  auto twin = std::make_unique<HostapdMonitorImpl>(
      loop_, std::make_unique<platform::Sockets>(),
      [](HostapdEventType, std::string_view, HostapdAttributes) {}, "wavelark", directory_.path(),
      kInterface);
  twin->Initialize();
  loop_.RunUntilIdle();
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
  EXPECT_TRUE(hostapd_->Send("OK\n"));
  StartMonitor();
  EXPECT_THAT(log_.lines(),
              ElementsAre(Error("Failed to bind to local socket: Address already in use (98)"),
                          Warning("Could not attach to hostapd")));
  twin.reset();
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("DETACH")));
  loop_.AdvanceBy(500ms);
  EXPECT_THAT(hostapd_->Receive(), Optional(std::string("ATTACH")));
}

TEST_F(HostapdMonitorTest, DestructionDetachesAndLaterTasksDoNothing) {
  StartAttached();
  Forget();
  monitor_->SendCommand("PING", 4);
  monitor_.reset();
  EXPECT_THAT(sockets_.sent, ElementsAre("PING", "DETACH"));
  EXPECT_EQ(sockets_.open, 0);
  loop_.AdvanceBy(1h);
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(HostapdMonitorTest, DestructionInTheMiddleOfARetryDropsIt) {
  StartHostapd();
  sockets_.failing_connect = ECONNREFUSED;
  StartMonitor();
  Forget();
  monitor_.reset();
  loop_.AdvanceBy(1h);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_EQ(sockets_.open, 0);
}

TEST_F(HostapdMonitorTest, DestructionBeforeTheFirstTaskDropsIt) {
  StartHostapd();
  MakeMonitor();
  monitor_->Initialize();
  monitor_.reset();
  loop_.RunUntilIdle();
  EXPECT_EQ(hostapd_->Receive(), std::nullopt);
}

using HostapdMonitorDeathTest = HostapdMonitorTest;

TEST_F(HostapdMonitorDeathTest, ASecondInitializeIsFatal) {
  MakeMonitor();
  monitor_->Initialize();
  EXPECT_DEATH(monitor_->Initialize(), "Check failed: !started_");
}

TEST_F(HostapdMonitorDeathTest, ASecondAttachBeforeTheAnswerIsFatal) {
  StartHostapd();
  StartMonitor();
  // hostapd creates its socket again before it has answered.
  EXPECT_DEATH(
      {
        std::filesystem::remove(SocketPath());
        const testbed::Hostapd new_hostapd(SocketPath());
        loop_.RunUntilIdle();
      },
      "Check failed: kInvalidSocket == hostapd_socket_");
}

TEST_F(HostapdMonitorDeathTest, AReadErrorIsFatal) {
  StartAttached();
  const platform::ScopedFd other(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const auto read_what_is_no_socket = [&] {
    dup2(other.get(), sockets_.fd);
    loop_.RunUntilIdle();
  };
  EXPECT_DEATH(read_what_is_no_socket(),
               "Hostapd Socket read returns error: Socket operation on non-socket \\(88\\)");
}

}  // namespace
}  // namespace orvane::ap
