// How the daemon starts and ends: its bus name, readiness, notices and signals.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <iostream>
#include <string>
#include <vector>

#include "testbed/access_point.h"
#include "testbed/test_peer.h"

namespace orvane::ap {
namespace {

using platform::bus::TestPeer;
using std::chrono::milliseconds;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kName[] = "org.velmora.ap.Wavelark";
constexpr char kPath[] = "/org/velmora/ap/Wavelark";

class StartTest : public AccessPoint {
 protected:
  // Calls a method without arguments of the daemon. The reply, or null with the error's name.
  static sd_bus_message* Call(TestPeer& peer, const char* path, const char* interface,
                              const char* method, std::string* error_name = nullptr) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    sd_bus_call_method(peer.bus(), kName, path, interface, method, &error, &reply, "");
    if (error_name != nullptr && error.name != nullptr) *error_name = error.name;
    sd_bus_error_free(&error);
    return reply;
  }

  static std::string Introspect(TestPeer& peer, const char* path) {
    sd_bus_message* reply = Call(peer, path, "org.freedesktop.DBus.Introspectable", "Introspect");
    const char* xml = "";
    if (reply != nullptr) sd_bus_message_read(reply, "s", &xml);
    const std::string text = xml;
    sd_bus_message_unref(reply);
    return text;
  }

  static bool IsNameOwned() {
    TestPeer peer;
    return sd_bus_get_name_creds(peer.bus(), kName, 0, nullptr) >= 0;
  }
};

TEST_F(StartTest, AttachesToBothInterfaces) {
  StartBus();
  Hostapd wlan2400(kWlan2400);
  Hostapd wlan5000(kWlan5000);
  StartDaemon({"--v=1"});
  wlan2400.Attach();
  wlan5000.Attach();
  ExpectLogged("VERBOSE1", "Callback: 0 mac: ", 2);
  ExpectLogged("INFO", "Starting the daemon");
  const std::string pid = std::to_string(daemon().pid());
  EXPECT_EQ(wlan2400.SenderName(), "@" + pid + "-wavelark-wlan-2400mhz");
  EXPECT_EQ(wlan5000.SenderName(), "@" + pid + "-wavelark-wlan-5000mhz");
  Settle(wlan2400);
  Settle(wlan5000);
  EXPECT_THAT(LogTexts("ERROR"), IsEmpty());
}

TEST_F(StartTest, StartedIsToldBeforeTheAnswer) {
  StartBus();
  Hostapd wlan2400(kWlan2400);
  StartDaemon({"--v=1"});
  wlan2400.ExpectCommand("ATTACH");
  ExpectLogged("VERBOSE1", "Callback: 0 mac: ");
}

TEST_F(StartTest, AttachesSoon) {
  StartBus();
  Hostapd wlan2400(kWlan2400);
  Hostapd wlan5000(kWlan5000);
  const auto begin = std::chrono::steady_clock::now();
  LaunchDaemon();
  const auto end = std::max(wlan2400.ExpectCommand("ATTACH"), wlan5000.ExpectCommand("ATTACH"));
  const auto time = std::chrono::duration<double, std::milli>(end - begin).count();
  std::cout << "start to attached: " << time << " ms\n";
  RecordProperty("start_to_attached_ms", std::to_string(time));
  EXPECT_LT(time, kIsSanitized ? 5000 : 500);
}

TEST_F(StartTest, ClaimsTheNameAndExportsNothingButAnEmptyObjectManager) {
  StartBus();
  StartDaemon();
  TestPeer peer;
  sd_bus_message* reply =
      Call(peer, kPath, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects");
  ASSERT_NE(reply, nullptr);
  EXPECT_STREQ(sd_bus_message_get_signature(reply, 1), "a{oa{sa{sv}}}");
  ASSERT_GT(sd_bus_message_enter_container(reply, 'a', "{oa{sa{sv}}}"), 0);
  EXPECT_GT(sd_bus_message_at_end(reply, 0), 0);
  sd_bus_message_unref(reply);

  EXPECT_THAT(Introspect(peer, kPath), AllOf(HasSubstr("org.freedesktop.DBus.ObjectManager"),
                                             Not(HasSubstr("interface name=\"org.velmora"))));
  std::string error;
  EXPECT_EQ(Call(peer, kPath, kName, "Anything", &error), nullptr);
  EXPECT_THAT(error, StartsWith("org.freedesktop.DBus.Error.Unknown"));
}

TEST_F(StartTest, TellsTheServiceManager) {
  StartBus();
  LaunchDaemon();
  EXPECT_EQ(NextNotice(), "READY=1");
  EXPECT_TRUE(IsNameOwned());
  ExpectQuickExit(SIGTERM);
  EXPECT_EQ(NextNotice(), "STOPPING=1");
  EXPECT_EQ(NextNotice(milliseconds(0)), "");
  EXPECT_FALSE(IsNameOwned());
}

TEST_F(StartTest, FeedsTheWatchdog) {
  StartBus();
  StartDaemon({}, {{"WATCHDOG_USEC", "200000"}});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(NextNotice(), "WATCHDOG=1");
}

TEST_F(StartTest, NoWatchdogNoticesUnlessAskedFor) {
  StartBus();
  StartDaemon();
  EXPECT_EQ(NextNotice(milliseconds(500)), "");
}

TEST_F(StartTest, WorksWithoutAServiceManager) {
  StartBus();
  Hostapd wlan2400(kWlan2400);
  LaunchDaemon({}, {{"NOTIFY_SOCKET", ""}});
  wlan2400.Attach();
  EXPECT_EQ(NextNotice(milliseconds(0)), "");
}

// Whoever stops it at once, after its first line, ends it as well as later.
TEST_F(StartTest, StoppedAtItsFirstLineItEndsWell) {
  StartBus();
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    for (int i = 0; i < 10; ++i) {
      LaunchDaemon();
      EXPECT_TRUE(daemon().err().WaitForLine("Starting the daemon", kPatience));
      daemon().Signal(number);
      ExpectExit(0);
      EXPECT_THAT(LogTexts("ERROR"), IsEmpty());
      // It ends at once until it has claimed its name, and in order afterwards.
      const std::string notice = NextNotice(milliseconds(0));
      if (notice.empty()) continue;
      EXPECT_EQ(notice, "READY=1");
      EXPECT_EQ(NextNotice(milliseconds(0)), "STOPPING=1");
    }
  }
}

TEST_F(StartTest, NoBus) {
  Hostapd wlan2400(kWlan2400);
  LaunchDaemon();
  ExpectExit(69);
  EXPECT_THAT(LogTexts("ERROR"), ElementsAre(StartsWith("Failed to connect to the system bus: ")));
  EXPECT_THAT(LogTexts("INFO"), ElementsAre("Starting the daemon"));
  EXPECT_THAT(LogTexts("WARNING"), IsEmpty());
  wlan2400.ExpectSilence(milliseconds(0));
  EXPECT_EQ(NextNotice(milliseconds(0)), "");
}

TEST_F(StartTest, NameIsTaken) {
  StartBus();
  TestPeer other;
  other.RequestName(kName);
  Hostapd wlan2400(kWlan2400);
  LaunchDaemon();
  ExpectExit(69);
  EXPECT_THAT(LogTexts("ERROR"),
              ElementsAre("Failed to claim the bus name org.velmora.ap.Wavelark: another process "
                          "owns it"));
  EXPECT_THAT(LogTexts("WARNING"), IsEmpty());
  wlan2400.ExpectSilence(milliseconds(0));
}

TEST_F(StartTest, BusGoesAway) {
  StartAll();
  bus().Kill();
  ExpectExit(69);
  EXPECT_EQ(LogCount("ERROR", "Lost the connection to the system bus"), 1U);
  wlan2400().ExpectCommand("DETACH");
  wlan5000().ExpectCommand("DETACH");
}

// A termination signal in every state that the daemon can be in.
class EndTest : public AccessPoint, public ::testing::WithParamInterface<int> {};

TEST_P(EndTest, WhileAttached) {
  StartAll();
  ExpectQuickExit(GetParam());
  wlan2400().ExpectCommand("DETACH");
  wlan5000().ExpectCommand("DETACH");
}

TEST_P(EndTest, BetweenRetries) {
  StartBus();
  LeaveSocketFile(kWlan2400);
  StartDaemon();
  ExpectLogged("WARNING", "Could not attach to hostapd");
  ExpectQuickExit(GetParam());
}

TEST_P(EndTest, BeforeTheAnswer) {
  StartBus();
  Hostapd wlan2400(kWlan2400);
  StartDaemon();
  wlan2400.ExpectCommand("ATTACH");
  ExpectQuickExit(GetParam());
  wlan2400.ExpectSilence(milliseconds(0));
}

TEST_P(EndTest, WhileHostapdHangs) {
  StartAll();
  FillQueue(kWlan2400);
  ExpectQuickExit(GetParam());
  EXPECT_EQ(LogCount("ERROR", "Send to hostapd failed: Resource temporarily unavailable (11)"), 1U);
  wlan5000().ExpectCommand("DETACH");
}

INSTANTIATE_TEST_SUITE_P(Signal, EndTest, ::testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& param_info) -> std::string {
                           return sigabbrev_np(param_info.param);
                         });

// The system log.

class SystemLogTest : public AccessPoint {};

constexpr char kFirstLine[] =
    "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6} "
    "INFO optimizer/[a-z_]+\\.cc:[0-9]+\\] Starting the daemon";

TEST_F(SystemLogTest, LinesHaveAHeader) {
  StartBus();
  StartDaemon();
  const std::string log = daemon().err().Text();
  EXPECT_THAT(log.substr(0, log.find('\n')), MatchesRegex(kFirstLine));
}

TEST_F(SystemLogTest, MissingOneDoesNotStopTheStart) {
  ASSERT_FALSE(platform::PathExists("/dev/log"));
  StartAll();
  ExpectQuickExit(SIGTERM);
}

TEST_F(SystemLogTest, LinesGoThereToo) {
  lab::ControlSocket system_log("/dev/log");
  ASSERT_EQ(system_log.Open(), std::nullopt);
  StartBus();
  StartDaemon();
  const auto line = system_log.Receive();
  ASSERT_TRUE(line.has_value());
  // Facility daemon (3), severity info (6); time and tag are the C library's.
  const std::string tag = "<30>[A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} ap-wavelark\\[" +
                          std::to_string(daemon().pid()) + "\\]: ";
  EXPECT_THAT(line->text, MatchesRegex(tag + kFirstLine));
}

// Its first line waits for somebody who reads.
TEST_F(SystemLogTest, FullStandardErrorHoldsNoSignal) {
  constexpr char kFillPipe[] =
      "mkfifo \"$0\" && exec 2<>\"$0\" && head -c 65536 /dev/zero >&2 && exec \"$@\"";
  StartBus();
  set_daemon_command({"/bin/sh", "-c", kFillPipe, directory() / "pipe", AP_WAVELARK_PATH});
  LaunchDaemon();
  EXPECT_TRUE(WaitUntil([this] { return CatchesSignal(SIGTERM); }));
  ExpectQuickExit(SIGTERM);
  EXPECT_EQ(NextNotice(milliseconds(0)), "");
}

TEST_F(SystemLogTest, ClosedStandardErrorDoesNoHarm) {
  StartBus();
  Hostapd wlan2400(kWlan2400);
  std::string error;
  const auto shell = lab::ChildProcess::Start(
      {"/bin/sh", "-c", "exec \"$0\" --v=1 2>&-", AP_WAVELARK_PATH}, {}, &error);
  ASSERT_NE(shell, nullptr) << error;
  wlan2400.Attach();
  for (int i = 0; i < 10; ++i) wlan2400.Send("<3>NOBODY-KNOWS");
  shell->Signal(SIGTERM);
  EXPECT_EQ(shell->WaitForExit(kPatience), (lab::ExitStatus{.code = 0, .signal = 0}));
}

}  // namespace
}  // namespace orvane::ap
