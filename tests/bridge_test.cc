// The bridge as a process: between the distribution's hostapd and the daemon, and between a hostapd
// under the test's control and clients of all kinds.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/logging.h"
#include "testbed/access_point.h"
#include "testbed/answering_hostapd.h"
#include "testbed/child_process.h"
#include "testbed/control_client.h"
#include "testbed/temporary_directory.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// The directory of hostapd. The bridge serves the daemon's directory.
constexpr char kHostapdDirectory[] = "/run/real-hostapd";
constexpr char kHostapdName[] = "wlan1";
constexpr char kMac[] = "02:00:00:00:02:00";

// Returns whether a process serves a socket file. A killed process leaves the file.
bool IsServed(const platform::FilePath& path) {
  const platform::ScopedFd client(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.native().copy(address.sun_path, sizeof(address.sun_path) - 1);
  return connect(client.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
}

class BridgeTest : public AccessPointTest {
 protected:
  BridgeTest() { std::filesystem::create_directories(kHostapdDirectory); }
  ~BridgeTest() override {
    if (HasFailure() && bridge_ != nullptr) {
      std::cerr << "--- the bridge's log\n" << bridge_->err().Text() << "---\n";
    }
    bridge_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(kHostapdDirectory, ignored);
  }

  static platform::FilePath HostapdPath() {
    return platform::FilePath(kHostapdDirectory) / kHostapdName;
  }
  static platform::FilePath ServedPath() { return ControlSocketPath(kWlan5000); }

  void StartBridge(const Arguments& arguments = {}) {
    Arguments all = {AP_WAVELARK_BRIDGE_PATH, "--v=1",
                     fmt::format("--hostapd-directory={}", kHostapdDirectory),
                     fmt::format("--directory={}", kControlDirectory),
                     fmt::format("--interface={}={}", kWlan5000, kHostapdName)};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::string error;
    bridge_ = ChildProcess::Start(all, {}, &error);
    ASSERT_NE(bridge_, nullptr) << error;
  }

  // Starts a hostapd that answers, and the bridge attached to it.
  void StartAnswering(const Arguments& arguments = {}) {
    hostapd_.emplace(HostapdPath());
    StartBridge(arguments);
    ExpectServed();
  }

  static void ExpectServed() {
    EXPECT_TRUE(WaitUntil([] { return IsServed(ServedPath()); }));
  }
  static void ExpectNotServed() {
    EXPECT_TRUE(WaitUntil([] { return !platform::PathExists(ServedPath()); }));
  }

  AnsweringHostapd& hostapd() { return *hostapd_; }

  // Returns the current value of a counter of the bridge.
  int Counter(const std::string& name) {
    bridge_->Signal(SIGUSR1);
    const auto line = bridge_->err().WaitForLine(std::string(kWlan5000) + ": ", kPatience);
    if (!line.has_value()) return -1;
    const std::size_t at = line->find(name + " ");
    return at == std::string::npos ? -1 : std::stoi(line->substr(at + name.size() + 1));
  }

  // Returns an event that contains a number.
  static std::string Probe(unsigned number) {
    return fmt::format("<3>RX-PROBE-REQUEST sa=02:00:00:00:{:02x}:{:02x} signal=-50", number >> 8U,
                       number & 255U);
  }
  static std::string ProbeLine(unsigned number) {
    return fmt::format("<3>AP-MONITOR-STA-INFO 02:00:00:00:{:02x}:{:02x} frame_rssi:-50",
                       number >> 8U, number & 255U);
  }

  std::optional<AnsweringHostapd> hostapd_;
  std::unique_ptr<ChildProcess> bridge_;
};

// Returns a name that the bridge accepts as the daemon's.
std::string DaemonName(int pid) { return fmt::format("{}-wavelark-{}", pid, kWlan5000); }

// --- The distribution's hostapd, and the daemon ---

class BridgeWithRealHostapdTest : public BridgeTest {
 protected:
  void StartHostapd() {
    const platform::FilePath config = ap_.directory() / "hostapd.conf";
    testbed::WriteFile(config, fmt::format("interface={}\ndriver=none\nctrl_interface={}\n",
                                           kHostapdName, kHostapdDirectory));
    std::string error;
    real_hostapd_ =
        ChildProcess::Start({"hostapd", "-d", config}, {{"PATH", "/usr/sbin:/usr/bin"}}, &error);
    ASSERT_NE(real_hostapd_, nullptr) << error;
    ASSERT_TRUE(real_hostapd_->out().WaitForLine("AP-ENABLED", kPatience));
  }

  static std::string Command(const platform::FilePath& directory, const std::string& interface,
                             const std::string& command, const std::string& argument = "") {
    Arguments arguments = {"/usr/sbin/hostapd_cli", "-p", directory, "-i", interface, command};
    if (!argument.empty()) arguments.push_back(argument);
    return OutputOf(arguments);
  }
  static std::string CommandHostapd(const std::string& command, const std::string& argument) {
    return Command(kHostapdDirectory, kHostapdName, command, argument);
  }

  std::size_t StartedCount() { return ap_.LogCount("VERBOSE1", "Callback: 0 mac: "); }

  // Expects the daemon's events of a station that joins and leaves, `visits` times in total.
  void ExpectVisit(std::size_t visits) {
    CommandHostapd("new_sta", kMac);
    CommandHostapd("deauthenticate", kMac);
    for (const int kind : {1, 10, 2, 11}) {
      ap_.ExpectLogged("VERBOSE1", fmt::format("Callback: {} mac: {}", kind, kMac), visits);
    }
  }

  std::unique_ptr<ChildProcess> real_hostapd_;
};

TEST_F(BridgeWithRealHostapdTest, ConnectsAndDisconnectsReachTheDaemon) {
  ap_.StartBus();
  StartHostapd();
  StartBridge();
  ExpectServed();
  ap_.StartDaemon({"--v=1"});
  EXPECT_TRUE(WaitUntil([this] { return StartedCount() == 1; }));
  ExpectVisit(1);
  for (const std::string& text : ap_.LogTexts("INFO")) EXPECT_THAT(text, Not(HasSubstr("unknown")));
}

TEST_F(BridgeWithRealHostapdTest, DaemonIsAttachedAgainAfterEachRestart) {
  ap_.StartBus();
  StartHostapd();
  StartBridge();
  ExpectServed();
  ap_.StartDaemon({"--v=1"});
  ExpectVisit(1);
  for (std::size_t round = 2; round < 6; ++round) {
    real_hostapd_->Signal(round % 2 == 0 ? SIGTERM : SIGKILL);
    ASSERT_TRUE(real_hostapd_->WaitForExit(kPatience).has_value());
    if (round > 3) ExpectNotServed();
    StartHostapd();
    ASSERT_TRUE(WaitUntil([&] { return StartedCount() >= round; }));
    ExpectVisit(round);
  }
  EXPECT_EQ(ap_.LogTexts("FATAL"), std::vector<std::string>());
}

TEST_F(BridgeWithRealHostapdTest, ServesOtherClients) {
  StartHostapd();
  StartBridge();
  ExpectServed();
  EXPECT_EQ(Command(kControlDirectory, kWlan5000, "ping"), "PONG\n");
  EXPECT_THAT(Command(kControlDirectory, kWlan5000, "status"), HasSubstr("state=ENABLED"));
  EXPECT_EQ(Command(kControlDirectory, kWlan5000, "disassociate", kMac), "OK\n");
  EXPECT_EQ(Command(kControlDirectory, kWlan5000, "raw", "NO-SUCH-COMMAND"), "UNKNOWN COMMAND\n");
}

// --- A hostapd under the test's control ---

// When hostapd reloads its configuration, it forgets what was set.
TEST_F(BridgeTest, KeepsAskingHostapdForReports) {
  StartAnswering();
  for (const char* command : {"SET notify_mgmt_frames 1", "SET track_sta_max_num 100"}) {
    EXPECT_GE(hostapd().Count(command), 1U);
    EXPECT_TRUE(WaitUntil([&] { return hostapd().Count(command) > 2; }));
  }
  EXPECT_EQ(hostapd().Count("ATTACH probe_rx_events=1"), 1U);
}

TEST_F(BridgeTest, AttachesToAHostapdThatReportsNoProbes) {
  hostapd_.emplace(HostapdPath());
  hostapd().SetAnswers("ATTACH probe_rx_events=1", {"FAIL\n"});
  hostapd().SetAnswers("SET notify_mgmt_frames 1", {"FAIL\n"});
  StartBridge();
  ExpectServed();
  EXPECT_EQ(hostapd().Count("ATTACH"), 1U);
  EXPECT_TRUE(WaitUntil([this] { return hostapd().Count("SET track_sta_max_num 100") > 1; }));
  EXPECT_EQ(hostapd().Count("SET notify_mgmt_frames 1"), 1U);
}

TEST_F(BridgeTest, LogsARefusalOnce) {
  hostapd_.emplace(HostapdPath());
  hostapd().SetAnswers("ATTACH probe_rx_events=1", {"FAIL\n"});
  hostapd().SetAnswers("ATTACH", {"FAIL\n"});
  StartBridge();
  EXPECT_TRUE(WaitUntil([this] { return hostapd().Count("ATTACH") == 3; }));
  hostapd().SetAnswers("ATTACH", {"OK\n"});
  ExpectServed();
  EXPECT_EQ(bridge_->err().Count("refuses to report events"), 1U);
  EXPECT_EQ(bridge_->err().Count("does not report probe requests"), 1U);
}

TEST_F(BridgeTest, LogsWhyItCannotConnect) {
  {
    // A stream socket does not accept the connection.
    const platform::ScopedFd other(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    HostapdPath().native().copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(other.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    StartBridge();
    EXPECT_TRUE(bridge_->err().WaitForLine("Failed to connect to hostapd at", kPatience));
  }
  std::filesystem::remove(HostapdPath());
  hostapd_.emplace(HostapdPath());
  ExpectServed();
}

// A new file may have the inode number of the old one.
TEST_F(BridgeTest, DetectsANewFileByItsTime) {
  StartAnswering();
  std::filesystem::last_write_time(HostapdPath(), std::filesystem::file_time_type::clock::now());
  EXPECT_TRUE(WaitUntil([this] { return hostapd().Count("ATTACH probe_rx_events=1") == 2; }));
}

TEST_F(BridgeTest, DoesNotServeASilentHostapd) {
  hostapd_.emplace(HostapdPath());
  hostapd().SetAnswers("ATTACH probe_rx_events=1", {});
  StartBridge();
  // The attempt ends, and the bridge tries again.
  EXPECT_TRUE(WaitUntil([this] { return hostapd().Count("ATTACH probe_rx_events=1") == 2; }));
  EXPECT_FALSE(platform::PathExists(ServedPath()));
}

TEST_F(BridgeTest, StopsServingAHostapdThatFallsSilent) {
  StartAnswering();
  hostapd().SetAnswers("PING", {});
  ExpectNotServed();
}

TEST_F(BridgeTest, RemovesItsSocketAndDetachesAtTheEnd) {
  StartAnswering();
  bridge_->Signal(SIGTERM);
  EXPECT_EQ(bridge_->WaitForExit(kPatience), (testbed::ExitStatus{.code = 0, .signal = 0}));
  EXPECT_FALSE(platform::PathExists(ServedPath()));
  EXPECT_TRUE(WaitUntil([this] { return hostapd().Count("DETACH") == 1; }));
}

TEST_F(BridgeTest, ReplacesAKilledBridge) {
  StartAnswering();
  bridge_->Signal(SIGKILL);
  ASSERT_TRUE(bridge_->WaitForExit(kPatience).has_value());
  ASSERT_TRUE(platform::PathExists(ServedPath()));
  StartBridge();
  EXPECT_TRUE(bridge_->err().WaitForLine("Attached to hostapd", kPatience));
  EXPECT_TRUE(WaitUntil([] { return IsServed(ServedPath()); }));
  EXPECT_EQ(ControlClient("late", ServedPath()).Ask("PING"), "PONG\n");
}

TEST_F(BridgeTest, LeavesTheSocketOfAnotherBridge) {
  StartAnswering();
  const std::unique_ptr<ChildProcess> first = std::move(bridge_);
  StartBridge();
  EXPECT_TRUE(bridge_->err().WaitForLine("Failed to serve", kPatience));
  bridge_->Signal(SIGTERM);
  EXPECT_TRUE(bridge_->WaitForExit(kPatience).has_value());
  ASSERT_TRUE(IsServed(ServedPath()));
  EXPECT_EQ(ControlClient("client", ServedPath()).Ask("PING"), "PONG\n");
}

// A socket that another process deletes can't be found any more.
TEST_F(BridgeTest, ReplacesADeletedSocket) {
  StartAnswering();
  std::filesystem::remove(ServedPath());
  ExpectServed();
  EXPECT_EQ(ControlClient("client", ServedPath()).Ask("PING"), "PONG\n");
  EXPECT_EQ(bridge_->err().Count("has removed the socket of wlan-5000mhz"), 1U);
}

TEST_F(BridgeTest, LeavesASocketThatReplacedItsOwn) {
  StartAnswering();
  const platform::FilePath new_path = ServedPath().parent_path() / "new";
  const AnsweringHostapd other(new_path);
  std::filesystem::rename(new_path, ServedPath());
  EXPECT_TRUE(bridge_->err().WaitForLine("Failed to serve", kPatience));
  bridge_->Signal(SIGTERM);
  EXPECT_TRUE(bridge_->WaitForExit(kPatience).has_value());
  EXPECT_TRUE(IsServed(ServedPath()));
}

TEST_F(BridgeTest, LeavesTheSocketOfHostapd) {
  hostapd_.emplace(HostapdPath());
  const AnsweringHostapd other(HostapdPath().parent_path() / "other");
  StartBridge({fmt::format("--directory={}", kHostapdDirectory),
               fmt::format("--interface={}=other", kHostapdName)});
  EXPECT_TRUE(bridge_->err().WaitForLine("Failed to serve", kPatience));
  bridge_.reset();
  EXPECT_TRUE(IsServed(HostapdPath()));
}

TEST_F(BridgeTest, ForwardsOnlyEventsThatTheDaemonKnows) {
  StartAnswering();
  ControlClient client("client", ServedPath());
  ASSERT_EQ(client.Ask("ATTACH"), "OK\n");
  for (const std::string_view event :
       {"<3>EAPOL-4WAY-HS-COMPLETED 02:00:00:00:02:00", "<3>AP-ENABLED ", "<4>x", "<3>",
        "<3>AP-STA-POSSIBLE-PSK-MISMATCH 02:00:00:00:02:00"}) {
    hostapd().Send(event);
  }
  hostapd().Send("<3>AP-STA-CONNECTED 02:00:00:00:02:00 keyid=guest");
  EXPECT_EQ(client.Receive(), "<3>AP-STA-CONNECTED 02:00:00:00:02:00 keyid=guest");
  EXPECT_THAT(client.Receive(), HasSubstr("<3>AP-STA-CONNECT 02:00:00:00:02:00 timestamp:"));
}

TEST_F(BridgeTest, CountsUnreadableEventsAndLogsTheFirst) {
  const platform::FilePath metrics = HostapdPath().parent_path() / "metrics";
  StartAnswering({"--metrics-file=" + metrics.native()});
  ControlClient client("client", ServedPath());
  ASSERT_EQ(client.Ask("ATTACH"), "OK\n");
  for (const std::string& event :
       {std::string("<3>AP-MGMT-FRAME-RECEIVED buf=b000"),
        std::string("<3>AP-MGMT-FRAME-RECEIVED buf=xyz"), std::string("<3>AP-STA-CONNECTED"),
        std::string("<3>RX-PROBE-REQUEST sa=1 signal=2"), std::string(60'000, '<')}) {
    hostapd().Send(event);
  }
  hostapd().Send(Probe(1));
  EXPECT_EQ(client.Receive(), ProbeLine(1));
  EXPECT_EQ(bridge_->err().Count("Unreadable event of hostapd"), 1U);
  bridge_->Signal(SIGUSR1);
  const std::string count =
      "ap_wavelark_bridge_events_total{interface=\"wlan-5000mhz\",kind=\"malformed\"} 4\n";
  EXPECT_TRUE(WaitUntil([&] {
    return platform::ReadFileToString(metrics).value_or("").find(count) != std::string::npos;
  }));
}

// The second frame arrives before the answer to the first question.
TEST_F(BridgeTest, AsksOnceForTheSignalsOfSeveralFrames) {
  StartAnswering();
  hostapd().SetAnswers("TRACK_STA_LIST", {});
  ControlClient client("client", ServedPath());
  ASSERT_EQ(client.Ask("ATTACH"), "OK\n");
  for (const char* station : {"020000000200", "020000000300"}) {
    hostapd().Send(
        fmt::format("<3>AP-MGMT-FRAME-RECEIVED "
                    "buf=b0003a01020000000000{}0200000000001000000001000000",
                    station));
  }
  hostapd().Send("02:00:00:00:03:00 0 -61\n02:00:00:00:02:00 0 -50\n");
  hostapd().Send(Probe(1));
  ASSERT_EQ(client.Receive(), ProbeLine(1));
  // hostapd reads commands in order.
  ASSERT_EQ(client.Ask("STATUS"), "OK\n");
  EXPECT_EQ(hostapd().Count("TRACK_STA_LIST"), 1U);
  EXPECT_THAT(client.Receive(),
              AllOf(HasSubstr("AP-STA-AUTH 02:00:00:00:02:00"), HasSubstr("frame_rssi:-50")));
  EXPECT_THAT(client.Receive(),
              AllOf(HasSubstr("AP-STA-AUTH 02:00:00:00:03:00"), HasSubstr("frame_rssi:-61")));
}

TEST_F(BridgeTest, KeepsAnswersInOrder) {
  StartAnswering();
  ControlClient one("one", ServedPath());
  ControlClient other("other", ServedPath());
  for (int i = 0; i < 20; ++i) {
    hostapd().SetAnswers(fmt::format("COMMAND {}", i), {fmt::format("answer {}\n", i)});
  }
  for (int i = 0; i < 20; i += 2) {
    one.Send(fmt::format("COMMAND {}", i));
    other.Send(fmt::format("COMMAND {}", i + 1));
  }
  for (int i = 0; i < 20; i += 2) {
    EXPECT_EQ(one.Receive(), fmt::format("answer {}\n", i));
    EXPECT_EQ(other.Receive(), fmt::format("answer {}\n", i + 1));
  }
}

TEST_F(BridgeTest, CountsASecondAnswer) {
  StartAnswering();
  ControlClient client("client", ServedPath());
  hostapd().SetAnswers("TWICE", {"first\n", "second\n"});
  EXPECT_EQ(client.Ask("TWICE"), "first\n");
  EXPECT_TRUE(bridge_->err().WaitForLine("Unexpected answer of hostapd", kPatience));
  EXPECT_EQ(client.Ask("STATUS"), "OK\n");
  EXPECT_EQ(Counter("stray_answers"), 1);
}

TEST_F(BridgeTest, RefusesACommandOf64KiB) {
  StartAnswering();
  ControlClient client("client", ServedPath());
  EXPECT_EQ(client.Ask(std::string(65'536, 'A')), "FAIL\n");
  EXPECT_EQ(client.Ask(std::string(4096, 'A')), "FAIL\n");
  EXPECT_EQ(client.Ask(std::string(4095, 'A')), "OK\n");
  EXPECT_EQ(Counter("refused_commands"), 2);
  EXPECT_EQ(hostapd().Count(std::string(4095, 'A')), 1U);
}

TEST_F(BridgeTest, AttachesAMonitorOnce) {
  StartAnswering();
  ControlClient client("client", ServedPath());
  EXPECT_EQ(client.Ask("ATTACH"), "OK\n");
  EXPECT_EQ(client.Ask("ATTACH"), "OK\n");
  EXPECT_EQ(Counter("monitors"), 1);
  hostapd().Send(Probe(1));
  hostapd().Send(Probe(2));
  EXPECT_EQ(client.Receive(), ProbeLine(1));
  EXPECT_EQ(client.Receive(), ProbeLine(2));
  EXPECT_EQ(client.Ask("DETACH"), "OK\n");
  EXPECT_EQ(client.Ask("DETACH"), "FAIL\n");
}

// Names that differ only in trailing bytes belong to two monitors.
TEST_F(BridgeTest, DistinguishesMonitorsByTheirWholeAddress) {
  StartAnswering();
  ControlClient one("same", ServedPath());
  const platform::ScopedFd other(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::string_view("same").copy(address.sun_path + 1, 4);
  ASSERT_EQ(bind(other.get(), reinterpret_cast<sockaddr*>(&address), sizeof(sa_family_t) + 5), 0);
  address = {};
  address.sun_family = AF_UNIX;
  ServedPath().native().copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(connect(other.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(one.Ask("ATTACH"), "OK\n");
  ASSERT_EQ(send(other.get(), "ATTACH", 6, 0), 6);
  EXPECT_TRUE(WaitUntil([this] { return Counter("monitors") == 2; }));
}

// The daemon loses no line and other clients lose no answer.
TEST_F(BridgeTest, DropsTheOldestLinesOfAMonitorThatNeverReads) {
  StartAnswering({"--queue-lines=50"});
  ControlClient deaf("deaf", ServedPath());
  ControlClient reader(DaemonName(1), ServedPath());
  ASSERT_EQ(deaf.Ask("ATTACH"), "OK\n");
  ASSERT_EQ(reader.Ask("ATTACH"), "OK\n");
  constexpr unsigned kLines = 2000;
  for (unsigned i = 0; i < kLines; ++i) {
    hostapd().Send(Probe(i));
    ASSERT_EQ(reader.Receive(), ProbeLine(i));
  }
  EXPECT_EQ(ControlClient("client", ServedPath()).Ask("STATUS"), "OK\n");
  // The first lines are in the kernel's queue, the last ones in the bridge's.
  std::vector<std::string> lines;
  for (std::string line; !(line = deaf.Receive(milliseconds(500))).empty();) lines.push_back(line);
  ASSERT_GT(lines.size(), 50U);
  ASSERT_LT(lines.size(), kLines);
  EXPECT_EQ(lines.front(), ProbeLine(0));
  EXPECT_EQ(lines.back(), ProbeLine(kLines - 1));
  EXPECT_EQ(Counter("dropped_lines"), static_cast<int>(kLines - lines.size()));
}

// --- Lines for the daemon ---

TEST_F(BridgeTest, KeepsLinesForTheNextDaemon) {
  StartAnswering();
  auto first = std::make_unique<ControlClient>(DaemonName(1), ServedPath());
  ASSERT_EQ(first->Ask("ATTACH"), "OK\n");
  hostapd().Send(Probe(1));
  ASSERT_EQ(first->Receive(), ProbeLine(1));
  ASSERT_EQ(first->Ask("DETACH"), "OK\n");
  hostapd().Send(Probe(2));
  ASSERT_TRUE(bridge_->err().WaitForLine("writes: " + ProbeLine(2), kPatience));
  ControlClient bystander("bystander", ServedPath());
  ASSERT_EQ(bystander.Ask("ATTACH"), "OK\n");
  hostapd().Send(Probe(3));
  EXPECT_EQ(bystander.Receive(), ProbeLine(3));
  ControlClient second(DaemonName(2), ServedPath());
  EXPECT_EQ(second.Ask("ATTACH"), "OK\n");
  EXPECT_EQ(second.Receive(), ProbeLine(2));
  EXPECT_EQ(second.Receive(), ProbeLine(3));
  hostapd().Send(Probe(4));
  EXPECT_EQ(second.Receive(), ProbeLine(4));
}

TEST_F(BridgeTest, DetectsADaemonThatEndedWithoutDetaching) {
  StartAnswering();
  auto first = std::make_unique<ControlClient>(DaemonName(1), ServedPath());
  ASSERT_EQ(first->Ask("ATTACH"), "OK\n");
  first.reset();
  for (unsigned i = 0; i < 100; ++i) hostapd().Send(Probe(i));
  ControlClient second(DaemonName(2), ServedPath());
  EXPECT_EQ(second.Ask("ATTACH"), "OK\n");
  for (unsigned i = 0; i < 100; ++i) EXPECT_EQ(second.Receive(), ProbeLine(i));
}

// Only the lines in the socket of the daemon are lost.
TEST_F(BridgeTest, KeepsMostLinesOfADaemonThatHangsAndIsKilled) {
  constexpr unsigned kLines = 300;
  constexpr std::size_t kMostLost = 100;
  StartAnswering();
  auto first = std::make_unique<ControlClient>(DaemonName(1), ServedPath());
  ASSERT_EQ(first->Ask("ATTACH"), "OK\n");
  for (unsigned i = 0; i < kLines; ++i) hostapd().Send(Probe(i));
  ASSERT_TRUE(bridge_->err().WaitForLine("writes: " + ProbeLine(kLines - 1), kPatience));
  first.reset();
  ControlClient second(DaemonName(2), ServedPath());
  EXPECT_EQ(second.Ask("ATTACH"), "OK\n");
  std::vector<std::string> lines;
  do {
    lines.push_back(second.Receive());
  } while (!lines.back().empty() && lines.back() != ProbeLine(kLines - 1));
  EXPECT_GE(lines.size(), kLines - kMostLost);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i], ProbeLine(static_cast<unsigned>(kLines - lines.size() + i)));
  }
}

TEST_F(BridgeTest, KeepsLinesWhileHostapdIsReplaced) {
  StartAnswering();
  {
    ControlClient first(DaemonName(1), ServedPath());
    ASSERT_EQ(first.Ask("ATTACH"), "OK\n");
    ASSERT_EQ(first.Ask("DETACH"), "OK\n");
  }
  hostapd().Send(
      "<3>AP-MGMT-FRAME-RECEIVED "
      "buf=b0003a010200000000000200000002000200000000001000000001000000");
  hostapd().Send(Probe(1));
  EXPECT_TRUE(WaitUntil([this] { return Counter("waiting_lines") == 1; }));
  hostapd_.reset();
  ExpectNotServed();
  hostapd_.emplace(HostapdPath());
  ExpectServed();
  ControlClient second(DaemonName(2), ServedPath());
  EXPECT_EQ(second.Ask("ATTACH"), "OK\n");
  EXPECT_EQ(second.Receive(), ProbeLine(1));
  // The request that was open then, without an answer.
  EXPECT_THAT(second.Receive(), HasSubstr("<3>AP-STA-AUTH 02:00:00:00:02:00 timestamp:"));
}

class BridgeWithDaemonTest : public BridgeTest {
 protected:
  void StartAllBridged(const Arguments& arguments = {}) {
    ap_.StartBus();
    StartAnswering(arguments);
    ap_.StartDaemon({"--v=1"});
    EXPECT_TRUE(WaitUntil([this] { return Counter("monitors") == 1; }));
  }
  std::vector<std::string> ReceivedProbes() {
    std::vector<std::string> received;
    for (const LogLine& line : ap_.Log()) {
      if (line.text.starts_with("Callback: 12 mac: ")) received.push_back(line.text.substr(18));
    }
    return received;
  }
  static std::vector<std::string> Macs(unsigned begin, unsigned end) {
    std::vector<std::string> macs;
    for (unsigned i = begin; i < end; ++i) {
      macs.push_back(fmt::format("02:00:00:00:{:02x}:{:02x}", i >> 8U, i & 255U));
    }
    return macs;
  }
};

TEST_F(BridgeWithDaemonTest, KeepsAllLinesWhileTheDaemonHangs) {
  constexpr unsigned kLines = 2000;
  StartAllBridged();
  ap_.daemon().Signal(SIGSTOP);
  for (unsigned i = 0; i < kLines; ++i) hostapd().Send(Probe(i));
  ap_.daemon().Signal(SIGCONT);
  EXPECT_TRUE(WaitUntil([&] { return ReceivedProbes().size() >= kLines; }));
  EXPECT_EQ(ReceivedProbes(), Macs(0, kLines));
}

TEST_F(BridgeWithDaemonTest, DeliversEachLineOnceAfterAKillOfTheDaemon) {
  StartAllBridged();
  for (unsigned i = 0; i < 300; ++i) hostapd().Send(Probe(i));
  EXPECT_TRUE(WaitUntil([&] { return ReceivedProbes().size() == 300; }));
  ap_.daemon().Signal(SIGKILL);
  ASSERT_TRUE(ap_.daemon().WaitForExit(kPatience).has_value());
  for (unsigned i = 300; i < 900; ++i) hostapd().Send(Probe(i));
  ap_.StartDaemon({"--v=1"});
  for (unsigned i = 900; i < 1000; ++i) hostapd().Send(Probe(i));
  EXPECT_TRUE(WaitUntil([&] { return ReceivedProbes().size() >= 700; }));
  EXPECT_EQ(ReceivedProbes(), Macs(300, 1000));
}

TEST_F(BridgeWithDaemonTest, DaemonUsesTheReplacedSocket) {
  StartAllBridged();
  std::filesystem::remove(ServedPath());
  ExpectServed();
  EXPECT_TRUE(WaitUntil([this] { return Counter("monitors") == 1; }));
  for (unsigned i = 0; i < 100; ++i) hostapd().Send(Probe(i));
  EXPECT_TRUE(WaitUntil([&] { return ReceivedProbes().size() >= 100; }));
  EXPECT_EQ(ReceivedProbes(), Macs(0, 100));
}

TEST_F(BridgeWithDaemonTest, WritesMetrics) {
  const platform::FilePath file = ap_.directory() / "metrics";
  StartAllBridged({"--metrics-file=" + file.native()});
  hostapd().Send(Probe(1));
  EXPECT_TRUE(WaitUntil([&] { return ReceivedProbes().size() == 1; }));
  bridge_->Signal(SIGUSR1);
  const std::string line =
      "ap_wavelark_bridge_lines_total{interface=\"wlan-5000mhz\",kind=\"probe_request\"} 1\n";
  EXPECT_TRUE(WaitUntil([&] {
    return platform::ReadFileToString(file).value_or("").find(line) != std::string::npos;
  }));
}

// --- The command line ---

TEST_F(BridgeTest, RefusesAWrongCommandLine) {
  for (const std::string argument :
       {"--no-such", "--queue-lines=0", "--queue-lines=x", "--queue-lines=1000001",
        "--interface=a/b", "--interface=", "--interface=a=", "--interface=abcdefghijklmnop",
        "--directory=here", "--metrics-file=there", "--v=x"}) {
    std::string error;
    const auto bridge = ChildProcess::Start({AP_WAVELARK_BRIDGE_PATH, argument}, {}, &error);
    ASSERT_NE(bridge, nullptr) << error;
    EXPECT_EQ(bridge->WaitForExit(kPatience), (testbed::ExitStatus{.code = 64, .signal = 0}))
        << argument;
    const std::string text = bridge->err().Text();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_EQ(bridge->out().Text(), "");
  }
}

}  // namespace
}  // namespace orvane::testbed
