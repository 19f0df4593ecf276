// Faults of hostapd: which events are lost, what is logged, and how the daemon continues.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "testbed/access_point.h"
#include "testbed/child_process.h"
#include "testbed/control_socket.h"
#include "testbed/real_hostapd.h"
#include "testbed/record_matchers.h"
#include "testbed/steering_access_point.h"

namespace orvane::testbed {
namespace {

using SendResult = ControlSocket::SendResult;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Counts the daemon's log lines, except those about the bus: its answers may come at any time.
std::size_t CountLines(AccessPoint& ap) {
  const std::vector<LogLine> log = ap.Log();
  return static_cast<std::size_t>(std::ranges::count_if(
      log, [](const LogLine& line) { return !line.source.starts_with("platform/bus/"); }));
}

class HostapdFault : public AccessPointTest {};

TEST_F(HostapdFault, InvalidTextReachesNoRecord) {
  ap_.StartAll();
  ap_.StartFlags({{"connectionEventsProbeReqUpload", "1"}});
  ap_.ExpectLogged("INFO", "Set probe_req_event_upload to 1");
  const std::string invalid("\xff\xc0\x80\0\xed\xa0\x80", 7);  // invalid UTF-8 with a null byte
  ap_.wlan5000().Send("<3>AP-STA-AUTH " + invalid + " timestamp:1");
  ap_.wlan5000().Send("<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e timestamp:2 client_mac:" + invalid +
                      " event_reason:" + invalid + " " + invalid + ":1 steering_reason:" + invalid);
  ap_.wlan5000().Send("<3>AP-MONITOR-STA-INFO " + invalid + " nss:1");
  ap_.wlan5000().Send("<3>AP-MONITOR-STA-INFO 00:1a:2b:3c:4d:5e mode:" + invalid + " " + invalid +
                      ":2");
  ap_.wlan5000().Send("<3>" + invalid);
  ap_.wlan5000().Send("<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e timestamp:3");
  const std::string shmac = Identifier(kSalt, "001a2b3c4d5e");
  EXPECT_THAT(
      ap_.WaitForRecord(1).event,
      EqualsProto(EventOf(fmt::format(
          "interface: WLAN_5000MHZ client_event_info {{ event_type: AUTHENTICATE "
          "event_time_in_milliseconds: 1 }} client_event_info {{ client_shmac: \"{0}\" event_type: "
          "AUTHENTICATE event_time_in_milliseconds: 2 event_reason: UNKNOWN_CLIENT_EVENT_REASON "
          "steering_reason: UNKNOWN_STEERING_REASON }} client_event_info {{ client_shmac: \"{0}\" "
          "event_type: AUTHENTICATE event_time_in_milliseconds: 3 }} client_probe_request_info {{ "
          "client_shmac: \"{0}\" client_capability {{ ht_vht_capability: UNKNOWN }} }}",
          shmac))));
  EXPECT_EQ(ap_.LogCount("INFO", "Received unknown event: " + invalid), 1U);
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
}

TEST_F(HostapdFault, EmptyDatagramsAreIgnored) {
  ap_.StartAll();
  const std::size_t lines = CountLines(ap_);
  for (int i = 0; i < 1000; ++i) ap_.wlan5000().Send("");
  ap_.Settle(ap_.wlan5000());
  EXPECT_EQ(CountLines(ap_), lines + 1);  // the line of Settle
}

// A datagram over 64 KiB is truncated.
TEST_F(HostapdFault, DatagramOver64KiBIsTruncated) {
  constexpr std::size_t kLargest = 65536;
  ap_.StartAll();
  ap_.wlan5000().Send("<3>" + std::string(100'000, 'x'));
  ap_.ExpectLogged("INFO", "Received unknown event: " + std::string(kLargest - 3, 'x'));
  ap_.Settle(ap_.wlan5000());
}

TEST_F(HostapdFault, UnrequestedAnswersAreIgnored) {
  ap_.StartAll();
  const std::size_t lines = CountLines(ap_);
  for (int i = 0; i < 100; ++i) {
    for (const char* answer : {"OK\n", "FAIL\n", "UNKNOWN COMMAND\n", "PONG\n", "OK"}) {
      ap_.wlan5000().Send(answer);
    }
  }
  ap_.Settle(ap_.wlan5000());
  EXPECT_EQ(CountLines(ap_), lines + 1);
  ap_.wlan5000().ExpectSilence(milliseconds(1600));
  ap_.wlan5000().Send("<3>AP-STA-AUTH nobody");
  EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info_size(), 1);
}

// The daemon's socket is connected to hostapd, and receives from no other socket.
TEST_F(HostapdFault, OtherSendersAreRefused) {
  ap_.StartAll();
  const std::string name = ap_.wlan5000().SenderName();
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  name.copy(address.sun_path, sizeof(address.sun_path) - 1);
  address.sun_path[0] = '\0';
  const platform::ScopedFd other(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  constexpr std::string_view kText = "<3>STRANGE";
  EXPECT_LT(sendto(other.get(), kText.data(), kText.size(), 0,
                   reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
            0);
  EXPECT_EQ(errno, EPERM);
}

// hostapd hangs at its start and is replaced within a second: the daemon sees the new socket while
// it still waits for the old one's answer. It aborts and is restarted.
TEST_F(HostapdFault, ReplacementBeforeTheAnswerEndsTheDaemon) {
  ap_.StartBus();
  std::optional<Hostapd> hostapd(kWlan2400);
  ap_.StartDaemon();
  hostapd->ExpectCommand("ATTACH");
  // The daemon sees both changes at once.
  ap_.Hold();
  hostapd.reset();
  hostapd.emplace(kWlan2400);
  ap_.Release();
  ap_.ExpectAbort("Check failed: kInvalidSocket == hostapd_socket_");
  ap_.StartDaemon();
  hostapd->Attach();
  ap_.Settle(*hostapd);
}

// Lines in the queue are read when hostapd ends, as long as no other hostapd has replaced it.
TEST_F(HostapdFault, QueueOfAKilledHostapdIsRead) {
  constexpr int kLines = 100;
  ap_.StartBus();
  auto hostapd = std::make_unique<Hostapd>(kWlan2400);
  ap_.StartDaemon();
  hostapd->Attach();
  ap_.Settle(*hostapd);
  ap_.Hold();
  for (int i = 0; i < kLines; ++i) hostapd->Send(fmt::format("<3>LAST-{}", i));
  Hostapd::Kill(std::move(hostapd));
  ap_.Release();
  ap_.ExpectLogged("INFO", fmt::format("Received unknown event: LAST-{}", kLines - 1));
  EXPECT_EQ(ap_.daemon().err().Count("LAST-"), static_cast<std::size_t>(kLines));
}

// The new hostapd counts: the connection to the old one is closed, and its queue is lost. Lines
// that were read are the first ones.
TEST_F(HostapdFault, QueueOfAReplacedHostapdIsLost) {
  constexpr std::size_t kLines = 250;
  ap_.StartBus();
  auto hostapd = std::make_unique<Hostapd>(kWlan2400);
  ap_.StartDaemon();
  hostapd->Attach();
  ap_.Settle(*hostapd);
  ap_.Hold();
  for (std::size_t i = 0; i < kLines; ++i) hostapd->Send(fmt::format("<3>LAST-{}", i));
  Hostapd::Kill(std::move(hostapd));
  Hostapd successor(kWlan2400);
  ap_.Release();
  successor.Attach();
  ap_.Settle(successor);
  const std::size_t read = ap_.daemon().err().Count("LAST-");
  std::cout << read << " lines of " << kLines << " were read\n";
  EXPECT_LT(read, kLines);
  if (read > 0) {
    EXPECT_EQ(ap_.LogCount("INFO", fmt::format("Received unknown event: LAST-{}", read - 1)), 1U);
  }
  EXPECT_THAT(ap_.LogTexts("ERROR"),
              ElementsAre("Send to hostapd failed: Connection refused (111)"));
  EXPECT_EQ(ap_.LogCount("WARNING", "Already attached, resetting state."), 1U);
  EXPECT_EQ(ap_.LogCount("WARNING", "Could not attach to hostapd"), 0U);
}

// The number of lines that fit before hostapd blocks depends on the memory that the kernel uses for
// each line, and on the sender's buffer limit. net.unix.max_dgram_qlen does not limit this
// direction: the receiver is connected to the sender.
TEST_F(HostapdFault, StoppedDaemonLosesNothing) {
  constexpr std::size_t kSmallestDatagram = 512;
  constexpr std::size_t kLargestDatagram = 2048;
  const std::size_t memory =
      std::stoul(platform::ReadFileToString("/proc/sys/net/core/wmem_default").value_or(""));
  ap_.StartAll();
  for (const std::size_t length : {100UL, 192UL, 225UL}) {
    const std::string name = fmt::format("HELD-{}-", length);
    std::string line = "<3>" + name;
    line += std::string(length - line.size(), 'x');
    ap_.Hold();
    std::size_t count = 0;
    while (ap_.wlan5000().TrySend(line) == SendResult::kSent) ++count;
    ap_.Release();
    std::cout << length << " bytes: " << count << " lines\n";
    RecordProperty(name, std::to_string(count));
    EXPECT_LE(count, memory / kSmallestDatagram);
    EXPECT_GE(count, memory / kLargestDatagram);
    ap_.Settle(ap_.wlan5000());
    EXPECT_EQ(ap_.LogCount("INFO", "Received unknown event: " + line.substr(3)), count);
  }
}

class RealHostapdFault : public AccessPointTest {
 protected:
  RealHostapd hostapd_{ap_.directory()};
};

// The directory is removed with the last socket, and the watch with the directory. A new directory
// is not watched.
TEST_F(RealHostapdFault, RemovedControlDirectoryIsNotWatchedAgain) {
  ap_.StartBus();
  hostapd_.Start();
  ap_.StartDaemon();
  EXPECT_TRUE(hostapd_.IsAttached());
  hostapd_.Stop();
  EXPECT_FALSE(platform::PathExists(kControlDirectory));
  ap_.ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)");
  const std::size_t lines = CountLines(ap_);
  hostapd_.Start();
  EXPECT_FALSE(hostapd_.IsAttached(milliseconds(1500)));
  EXPECT_EQ(CountLines(ap_), lines);
  ap_.ExpectQuickExit(SIGTERM);
  EXPECT_EQ(ap_.NextNotice(), "STOPPING=1");
  // A restarted daemon finds it.
  ap_.StartDaemon();
  EXPECT_TRUE(hostapd_.IsAttached());
}

// The package keeps a file in the directory.
TEST_F(RealHostapdFault, ControlDirectoryWithAFileStaysWatched) {
  ap_.StartBus();
  std::filesystem::create_directories(kControlDirectory);
  WriteFile(platform::FilePath(kControlDirectory) / ".kept-by-ap-wavelark", "");
  hostapd_.Start();
  ap_.StartDaemon();
  EXPECT_TRUE(hostapd_.IsAttached());
  for (int i = 0; i < 3; ++i) {
    hostapd_.Stop();
    hostapd_.Start();
    EXPECT_TRUE(hostapd_.IsAttached());
  }
}

// hostapd serves no client until the daemon reads again; then all its events arrive.
TEST_F(RealHostapdFault, HostapdWaitsForAStoppedDaemon) {
  ap_.StartBus();
  hostapd_.Start();
  ap_.StartDaemon({"--v=1"});
  EXPECT_TRUE(hostapd_.IsAttached());
  ControlSocket client(ap_.directory() / "client");
  ASSERT_EQ(client.Open(), std::nullopt);
  PeerAddress hostapd;
  hostapd.address.sun_family = AF_UNIX;
  ControlSocketPath(kWlan5000).native().copy(hostapd.address.sun_path,
                                             sizeof(hostapd.address.sun_path) - 1);
  hostapd.length = sizeof(hostapd.address);
  // Returns whether hostapd has added a station, which it reports to the daemon.
  const auto takes_station = [&](int number) {
    const std::string command =
        fmt::format("NEW_STA 02:00:00:00:{:02x}:{:02x}", number / 256, number % 256);
    EXPECT_EQ(client.Send(hostapd, command), ControlSocket::SendResult::kSent);
    pollfd answer = {.fd = client.fd(), .events = POLLIN, .revents = 0};
    return poll(&answer, 1, 1000) == 1 && client.Receive().has_value();
  };
  ap_.Hold();
  int count = 0;
  while (count < 1000 && takes_station(count)) ++count;
  std::cout << "hostapd waits after " << count << " lines\n";
  RecordProperty("lines", std::to_string(count));
  EXPECT_LT(count, 1000);
  ap_.Release();
  // Including the line during which it was blocked.
  const std::size_t expected = static_cast<std::size_t>(count) + 1;
  EXPECT_TRUE(WaitUntil([&] { return ap_.daemon().err().Count("Callback: 1 mac: ") >= expected; }));
  pollfd answer = {.fd = client.fd(), .events = POLLIN, .revents = 0};
  EXPECT_EQ(poll(&answer, 1, static_cast<int>(milliseconds(kPatience).count())), 1);
}

class SteeringFault : public SteeringAccessPointTest {};

// The command is lost, with a log line, and not repeated: the daemon counts the station as steered.
// It steers the station again once its metric has changed.
TEST_F(SteeringFault, HungHostapdMissesACommand) {
  constexpr char kFull[] = "Send to hostapd failed: Resource temporarily unavailable (11)";
  constexpr char kPoor[] = "02:00:00:00:00:01 link_quality_metric 18 ";
  constexpr std::size_t kPollsInTwoSteerIntervals = 4;
  ap_.SetStations({"wlan-2400mhz 02:00:00:00:00:01 -50"});
  ap_.Start();
  ap_.Settle(ap_.wlan2400());
  FillQueue(kWlan2400);
  ap_.SetStations({"wlan-2400mhz 02:00:00:00:00:01 -82"});
  ap_.ExpectLogged("ERROR", kFull);
  // hostapd reads again, and its queue has room.
  while (const auto command = ap_.wlan2400().WaitForCommand(milliseconds(100))) {
    EXPECT_EQ(command->text, "PING");
  }
  ap_.ExpectLoggedWith(kPoor, ap_.LogTextsWith(kPoor).size() + kPollsInTwoSteerIntervals);
  EXPECT_EQ(ap_.LogTextsWith(" Steer Client ").size(), 1U);
  EXPECT_THAT(ap_.LogTexts("ERROR"), ElementsAre(kFull));
  ap_.SetStations({"wlan-2400mhz 02:00:00:00:00:01 -98"});
  ap_.wlan2400().ExpectCommand("DISASSOCIATE 02:00:00:00:00:01 reason=5");
  ap_.ExpectQuickExit(SIGTERM);
}

class CombinedFault : public SteeringAccessPointTest {};

// Events on both interfaces at full speed, while clients are steered, the kernel marks dumps as
// interrupted, flags change, their service restarts, the recorder is slow, and a hostapd of another
// interface starts and ends.
TEST_F(CombinedFault, AllEventsAreRecorded) {
  constexpr int kEvents = kIsSanitized ? 2'000 : 20'000;
  constexpr char kApplied[] = "Set connection_event_upload to 1";
  ap_.StartBus();
  ap_.StartRecorder({"--delay", "0.2"});
  ap_.StartFlags({{"connectionEventsUpload", "1"}});
  WriteSalt(kSalt);
  constexpr char kPoor[] = "wlan-2400mhz 02:00:00:00:00:01 -82";
  ap_.SetStations({kPoor});
  ap_.set_daemon_command({DAEMON_ON_FAKE_KERNEL_PATH, ap_.directory() / "stations"});
  const auto hostapd = StartProcess({HOSTAPD_STANDIN_PATH, "--count", std::to_string(kEvents)});
  ASSERT_TRUE(hostapd->out().WaitForLine("ready", kPatience));
  ap_.StartDaemon({"--enable_client_steering", "--client_steering_interval=1",
                   "--client_steering_poll_interval=0", "--connection_event_upload_period=1"});
  std::size_t changes = 0;
  int left = 2 * kEvents;
  for (std::size_t number = 1; left > 0; ++number) {
    const bool is_odd = number % 2 == 1;
    const FlagMap flags = {{"connectionEventsUpload", "1"}, {"change", std::to_string(++changes)}};
    const std::size_t applied = ap_.LogCount("INFO", kApplied);
    is_odd ? ap_.SetFlags(flags) : ap_.StartFlags(flags);
    // A service that ends before its answer would cause a warning.
    ap_.ExpectLogged("INFO", kApplied, applied + 1);
    ap_.SetStations({kPoor, is_odd ? "! interrupted" : ""});
    const Hostapd guest("guest-2400mhz");
    const Record record = ap_.WaitForRecord(number);
    ASSERT_GT(record.event.client_event_info_size(), 0);
    left -= record.event.client_event_info_size();
  }
  EXPECT_EQ(left, 0);
  EXPECT_GE(changes, 2U);
  EXPECT_TRUE(hostapd->out().WaitForLine("wlan-2400mhz DISASSOCIATE 02:00:00:00:00:01 reason=5",
                                         kPatience));
  EXPECT_THAT(ap_.LogTexts("WARNING"), IsEmpty());
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
  ap_.ExpectQuickExit(SIGTERM);
}

}  // namespace
}  // namespace orvane::testbed
