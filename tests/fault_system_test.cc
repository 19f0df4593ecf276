// A system at its limits or without its log: what is lost, and how the daemon continues.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "testbed/access_point.h"
#include "testbed/child_process.h"
#include "testbed/control_socket.h"
#include "testbed/record_matchers.h"
#include "tests/stopped_for_a_while.h"

namespace orvane::testbed {
namespace {

using SendResult = ControlSocket::SendResult;
using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kEvent[] = "<3>AP-STA-AUTH 00:1a:2b:3c:4d:5e";

class SystemFault : public AccessPointTest {
 protected:
  // Runs the daemon by a shell command that contains it as "$@".
  void RunByShell(const std::string& line) {
    ap_.set_daemon_command({"/bin/sh", "-c", line, "sh", AP_WAVELARK_PATH});
  }

  void SetLimit(__rlimit_resource resource, rlim_t limit) {
    rlimit limits = {};
    ASSERT_EQ(prlimit(ap_.daemon().pid(), resource, nullptr, &limits), 0);
    limits.rlim_cur = limit;
    ASSERT_EQ(prlimit(ap_.daemon().pid(), resource, &limits, nullptr), 0);
  }

  // Returns the target of one of the daemon's descriptors.
  std::string DescriptorOf(int number) {
    std::error_code error;
    return std::filesystem::read_symlink(fmt::format("/proc/{}/fd/{}", ap_.daemon().pid(), number),
                                         error);
  }

  // Starts hostapd on both interfaces, recorder, bus, and the daemon without a readable standard
  // error.
  void StartWithoutLog() {
    ap_.StartBus();
    ap_.StartRecorder();
    WriteSalt(kSalt);
    wlan2400_.emplace(kWlan2400);
    wlan5000_.emplace(kWlan5000);
    ap_.StartDaemon({"--v=1", "--connection_event_upload_period=1"});
    wlan2400_->Attach();
    wlan5000_->Attach();
  }

  // Expects that the daemon works and that log lines reach no wrong descriptor.
  void ExpectWorks() {
    for (int i = 0; i < 20; ++i) wlan5000_->Send("<3>UNKNOWN-EVENT");
    wlan5000_->Send(kEvent);
    EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info_size(), 1);
    wlan5000_->ExpectSilence(milliseconds(0));
    wlan2400_->ExpectSilence(milliseconds(0));
    ap_.ExpectQuickExit(SIGTERM);
  }

  std::optional<Hostapd> wlan2400_;
  std::optional<Hostapd> wlan5000_;
};

// The daemon continues with its open descriptors. It attaches to a restarted hostapd when
// descriptors are available again.
TEST_F(SystemFault, DescriptorsAreExhausted) {
  if (kIsSanitized) GTEST_SKIP() << "the sanitizer needs a descriptor for its own pipe";
  constexpr char kFailed[] = "Failed to open hostapd socket: Too many open files (24)";
  ap_.StartBus();
  ap_.StartRecorder();
  WriteSalt(kSalt);
  std::optional<Hostapd> wlan2400(kWlan2400);
  Hostapd wlan5000(kWlan5000);
  ap_.StartDaemon({"--connection_event_upload_period=1"});
  wlan2400->Attach();
  wlan5000.Attach();
  ap_.Settle(wlan5000);
  SetLimit(RLIMIT_NOFILE, 3);
  wlan2400.reset();
  ap_.ExpectLogged("ERROR", "Send to hostapd failed: Connection refused (111)");
  wlan2400.emplace(kWlan2400);
  ap_.ExpectLogged("ERROR", kFailed);
  const std::size_t before = ap_.LogCount("ERROR", kFailed);
  const auto begin = std::chrono::steady_clock::now();
  wlan5000.Send(kEvent);
  EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info(0).client_shmac(),
            Identifier(kSalt, "001a2b3c4d5e"));
  std::this_thread::sleep_for(milliseconds(2000));
  // One attempt every half second, and one that was due at the beginning.
  const std::size_t attempts = ap_.LogCount("ERROR", kFailed) - before;
  const auto time = std::chrono::steady_clock::now() - begin;
  EXPECT_LE(attempts, static_cast<std::size_t>(time / milliseconds(500)) + 1);
  SetLimit(RLIMIT_NOFILE, 1024);
  wlan2400->Attach();
  ap_.Settle(*wlan2400);
  ap_.ExpectQuickExit(SIGTERM);
}

// With each limit the daemon either runs, or logs the reason and ends.
TEST_F(SystemFault, DescriptorsAreExhaustedAtTheStart) {
  if (kIsSanitized) GTEST_SKIP() << "the sanitizer needs descriptors of its own";
  // Without a flags service the daemon logs this line when its loop runs.
  constexpr char kRunning[] = "Failed to read the properties ";
  constexpr int kFewest = 5;
  constexpr int kMost = 20;
  ap_.StartBus();
  std::filesystem::create_directories(kControlDirectory);
  int ended = 0;
  for (int limit = kFewest; limit <= kMost; ++limit) {
    RunByShell(fmt::format("ulimit -n {} && exec \"$@\"", limit));
    ap_.LaunchDaemon();
    std::optional<ExitStatus> status;
    EXPECT_TRUE(WaitUntil([&] {
      status = ap_.daemon().WaitForExit(milliseconds(0));
      return status.has_value() || ap_.daemon().err().Count(kRunning) > 0;
    })) << limit;
    if (!status.has_value()) {
      ap_.ExpectQuickExit(SIGTERM);
      // Discards the notices.
      while (!ap_.NextNotice(milliseconds(0)).empty()) {
      }
      continue;
    }
    ++ended;
    EXPECT_TRUE(status->code == 69 || status->signal == SIGABRT) << limit;
    const std::vector<LogLine> log = ap_.Log();
    ASSERT_FALSE(log.empty()) << limit;
    const std::string& severity = log.back().severity;
    EXPECT_TRUE(severity == "ERROR" || severity == "FATAL") << limit << ": " << log.back();
    std::cout << limit << ": " << log.back() << "\n";
  }
  EXPECT_GE(ended, 1);
  EXPECT_LE(ended, kMost - kFewest - 5);
}

TEST_F(SystemFault, MemoryIsExhausted) {
  if (kIsSanitized) GTEST_SKIP() << "the sanitizer needs the whole address space";
  ap_.StartBus();
  std::filesystem::create_directories(kControlDirectory);
  WriteSalt(kSalt);
  ap_.StartDaemon();
  constexpr std::int64_t kRoomKilobytes = 8 * 1024;
  const std::int64_t limit = ap_.StatusKilobytes("VmSize") + kRoomKilobytes;
  SetLimit(RLIMIT_AS, static_cast<rlim_t>(limit) * 1024);
  // The daemon collects the events for five minutes, which exceeds the memory limit.
  ap_.Hold();
  const auto hostapd = StartProcess({HOSTAPD_STANDIN_PATH, "--count", "100000"});
  ASSERT_TRUE(hostapd->out().WaitForLine("ready", kPatience));
  ap_.Release();
  ap_.ExpectAbort("Uncaught exception: std::bad_alloc");
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
  // The restarted daemon has enough memory.
  ap_.StartDaemon();
  EXPECT_TRUE(hostapd->out().WaitForLine("wlan-5000mhz ATTACH", kPatience));
}

TEST_F(SystemFault, StandardErrorIsClosed) {
  RunByShell("exec \"$@\" 2>&-");
  StartWithoutLog();
  EXPECT_EQ(DescriptorOf(2), "/dev/null");
  ExpectWorks();
}

// The reader has closed the pipe before the first line.
TEST_F(SystemFault, NobodyReadsStandardError) {
  ap_.set_daemon_command(
      {"/bin/bash", "-c", "exec 2> >(:) && wait $! && exec \"$@\"", "bash", AP_WAVELARK_PATH});
  StartWithoutLog();
  EXPECT_THAT(DescriptorOf(2), ::testing::StartsWith("pipe:"));
  ExpectWorks();
}

// The first opened files must not get these numbers.
TEST_F(SystemFault, AllStandardDescriptorsAreClosed) {
  RunByShell("exec \"$@\" 0<&- 1>&- 2>&-");
  StartWithoutLog();
  for (int number : {0, 1, 2}) EXPECT_EQ(DescriptorOf(number), "/dev/null") << number;
  ExpectWorks();
}

// Like a full file system: the daemon writes only its log.
TEST_F(SystemFault, DiskIsFull) {
  RunByShell("exec \"$@\" 2>/dev/full");
  StartWithoutLog();
  EXPECT_EQ(DescriptorOf(2), "/dev/full");
  ExpectWorks();
}

TEST_F(SystemFault, SystemLogDisappearsAndReturns) {
  std::optional<ControlSocket> system_log("/dev/log");
  ASSERT_EQ(system_log->Open(), std::nullopt);
  ap_.StartAll();
  while (system_log->Receive().has_value()) {
  }
  system_log.reset();
  ap_.Settle(ap_.wlan5000());
  system_log.emplace("/dev/log");
  ASSERT_EQ(system_log->Open(), std::nullopt);
  ap_.wlan5000().Send("<3>IT-IS-BACK");
  std::string text;
  EXPECT_TRUE(WaitUntil([&] {
    const auto line = system_log->Receive();
    if (line.has_value()) text = line->text;
    return text.find("IT-IS-BACK") != std::string::npos;
  }));
}

// A system log that accepts lines but does not read them blocks every program that logs. The daemon
// continues when it is read.
TEST_F(SystemFault, FullSystemLogBlocksTheDaemon) {
  constexpr int kLines = 600;
  ControlSocket system_log("/dev/log");
  ASSERT_EQ(system_log.Open(), std::nullopt);
  ap_.StartBus();
  Hostapd wlan5000(kWlan5000);
  ap_.StartDaemon();
  wlan5000.Attach();
  int sent = 0;
  // Continues until the daemon is blocked, not just slow.
  for (std::size_t lines = 0; ap_.Log().size() > lines;) {
    lines = ap_.Log().size();
    while (sent < kLines && wlan5000.TrySend(fmt::format("<3>LINE-{}", sent)) == SendResult::kSent)
      ++sent;
    std::this_thread::sleep_for(milliseconds(500));
  }
  EXPECT_LT(sent, kLines);
  const std::string last = fmt::format("Received unknown event: LINE-{}", sent - 1);
  EXPECT_EQ(ap_.LogCount("INFO", last), 0U);
  EXPECT_TRUE(WaitUntil([&] {
    while (system_log.Receive().has_value()) {
    }
    return ap_.LogCount("INFO", last) == 1;
  }));
  EXPECT_EQ(ap_.daemon().err().Count("LINE-"), static_cast<std::size_t>(sent));
  ap_.ExpectQuickExit(SIGTERM);
}

class StoppedDaemonFault : public AccessPointTest {};

// The answer arrived while the daemon was stopped for longer than the attach time-out, and so did
// an event and other messages. In any order of reading, the daemon is attached and has the event.
TEST_F(StoppedDaemonFault, AnswerDuringTheStopIsInTime) {
  ap_.StartBus();
  ap_.StartFlags({});
  Hostapd wlan2400(kWlan2400);
  Hostapd wlan5000(kWlan5000);
  ap_.LaunchDaemon();
  // The second interface. Its attach time-out of one second starts now.
  wlan5000.ExpectCommand("ATTACH");
  ap_.Hold();
  wlan2400.Attach();
  wlan5000.Send("OK\n");
  wlan5000.Send("<3>BEHIND-THE-ANSWER");
  wlan2400.Send("<3>AT-THE-OTHER");
  ap_.SetFlags({{"connectionEventsUpload", "1"}});
  std::this_thread::sleep_for(milliseconds(1300));
  ap_.Release();
  ap_.ExpectLogged("INFO", "Received unknown event: BEHIND-THE-ANSWER");
  wlan5000.ExpectSilence(milliseconds(700));
  ap_.Settle(wlan5000);
}

TEST_F(SystemFault, SaltIsReplacedWhileItRuns) {
  ap_.StartAll();
  ap_.wlan5000().Send(kEvent);
  EXPECT_EQ(ap_.WaitForRecord(1).event.client_event_info(0).client_shmac(),
            Identifier(kSalt, "001a2b3c4d5e"));
  ReplaceFile(kSaltFile, "another salt");
  ap_.wlan5000().Send(kEvent);
  EXPECT_EQ(ap_.WaitForRecord(2).event.client_event_info(0).client_shmac(),
            Identifier(kSalt, "001a2b3c4d5e"));
  std::filesystem::remove(kSaltFile);
  ap_.wlan5000().Send(kEvent);
  EXPECT_EQ(ap_.WaitForRecord(3).event.client_event_info(0).client_shmac(),
            Identifier(kSalt, "001a2b3c4d5e"));
  EXPECT_THAT(ap_.LogTexts("WARNING"), ::testing::Each(::testing::Not(HasSubstr("salt"))));
}

class StoppedForAWhileFault : public SteeringAccessPointTest {};

// Events that arrive during the stop have the time at which they are read. An expired upload period
// expires once, and missed polls are not made up for.
TEST_F(StoppedForAWhileFault, LosesOnlyThePollsMeanwhile) {
  ExpectNothingIsLostByAStop(ap_, std::chrono::seconds(5));
}

}  // namespace
}  // namespace orvane::testbed
