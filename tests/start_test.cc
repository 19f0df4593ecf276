// How the daemon starts and ends: its bus name, readiness, notices and signals.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <string>
#include <vector>

#include "testbed/access_point.h"
#include "testbed/test_peer.h"

namespace orvane::testbed {
namespace {

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

class StartTest : public AccessPointTest {
 protected:
  // Calls a method of the daemon without arguments. Returns the reply, or null and the error's
  // name.
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
  ap_.StartBus();
  Hostapd wlan2400(kWlan2400);
  Hostapd wlan5000(kWlan5000);
  ap_.StartDaemon({"--v=1"});
  wlan2400.Attach();
  wlan5000.Attach();
  ap_.ExpectLogged("VERBOSE1", "Callback: 0 mac: ", 2);
  ap_.ExpectLogged("INFO", "Starting the daemon");
  const std::string pid = std::to_string(ap_.daemon().pid());
  EXPECT_EQ(wlan2400.SenderName(), "@" + pid + "-wavelark-wlan-2400mhz");
  EXPECT_EQ(wlan5000.SenderName(), "@" + pid + "-wavelark-wlan-5000mhz");
  ap_.Settle(wlan2400);
  ap_.Settle(wlan5000);
  EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
}

TEST_F(StartTest, StartedIsReportedBeforeTheAnswer) {
  ap_.StartBus();
  Hostapd wlan2400(kWlan2400);
  ap_.StartDaemon({"--v=1"});
  wlan2400.ExpectCommand("ATTACH");
  ap_.ExpectLogged("VERBOSE1", "Callback: 0 mac: ");
}

TEST_F(StartTest, ExportsOnlyAnEmptyObjectManager) {
  ap_.StartBus();
  ap_.StartDaemon();
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

TEST_F(StartTest, NotifiesTheServiceManager) {
  ap_.StartBus();
  ap_.LaunchDaemon();
  EXPECT_EQ(ap_.NextNotice(), "READY=1");
  EXPECT_TRUE(IsNameOwned());
  ap_.ExpectQuickExit(SIGTERM);
  EXPECT_EQ(ap_.NextNotice(), "STOPPING=1");
  EXPECT_EQ(ap_.NextNotice(milliseconds(0)), "");
  EXPECT_FALSE(IsNameOwned());
}

TEST_F(StartTest, SendsWatchdogNotices) {
  ap_.StartBus();
  ap_.StartDaemon({}, {{"WATCHDOG_USEC", "200000"}});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(ap_.NextNotice(), "WATCHDOG=1");
}

TEST_F(StartTest, SendsNoWatchdogNoticesByDefault) {
  ap_.StartBus();
  ap_.StartDaemon();
  EXPECT_EQ(ap_.NextNotice(milliseconds(500)), "");
}

TEST_F(StartTest, WorksWithoutAServiceManager) {
  ap_.StartBus();
  Hostapd wlan2400(kWlan2400);
  ap_.LaunchDaemon({}, {{"NOTIFY_SOCKET", ""}});
  wlan2400.Attach();
  EXPECT_EQ(ap_.NextNotice(milliseconds(0)), "");
}

// A signal right after its first line ends the daemon as cleanly as a later one.
TEST_F(StartTest, SignalAfterTheFirstLineEndsCleanly) {
  ap_.StartBus();
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    for (int i = 0; i < 10; ++i) {
      ap_.LaunchDaemon();
      EXPECT_TRUE(ap_.daemon().err().WaitForLine("Starting the daemon", kPatience));
      ap_.daemon().Signal(number);
      ap_.ExpectExit(0);
      EXPECT_THAT(ap_.LogTexts("ERROR"), IsEmpty());
      // Before it has claimed its name it ends at once, afterwards in order.
      const std::string notice = ap_.NextNotice(milliseconds(0));
      if (notice.empty()) continue;
      EXPECT_EQ(notice, "READY=1");
      EXPECT_EQ(ap_.NextNotice(milliseconds(0)), "STOPPING=1");
    }
  }
}

TEST_F(StartTest, BusIsMissing) {
  Hostapd wlan2400(kWlan2400);
  ap_.LaunchDaemon();
  ap_.ExpectExit(69);
  EXPECT_THAT(ap_.LogTexts("ERROR"),
              ElementsAre(StartsWith("Failed to connect to the system bus: ")));
  EXPECT_THAT(ap_.LogTexts("INFO"), ElementsAre("Starting the daemon"));
  EXPECT_THAT(ap_.LogTexts("WARNING"), IsEmpty());
  wlan2400.ExpectSilence(milliseconds(0));
  EXPECT_EQ(ap_.NextNotice(milliseconds(0)), "");
}

TEST_F(StartTest, NameIsTaken) {
  ap_.StartBus();
  TestPeer other;
  other.RequestName(kName);
  Hostapd wlan2400(kWlan2400);
  ap_.LaunchDaemon();
  ap_.ExpectExit(69);
  EXPECT_THAT(ap_.LogTexts("ERROR"),
              ElementsAre("Failed to claim the bus name org.velmora.ap.Wavelark: another process "
                          "owns it"));
  EXPECT_THAT(ap_.LogTexts("WARNING"), IsEmpty());
  wlan2400.ExpectSilence(milliseconds(0));
}

TEST_F(StartTest, BusEnds) {
  ap_.StartAll();
  ap_.bus().Kill();
  ap_.ExpectExit(69);
  EXPECT_EQ(ap_.LogCount("ERROR", "Lost the connection to the system bus"), 1U);
  ap_.wlan2400().ExpectCommand("DETACH");
  ap_.wlan5000().ExpectCommand("DETACH");
}

// A termination signal in each state of the daemon.
class EndTest : public AccessPointTest, public ::testing::WithParamInterface<int> {};

TEST_P(EndTest, EndsWhileAttached) {
  ap_.StartAll();
  ap_.ExpectQuickExit(GetParam());
  ap_.wlan2400().ExpectCommand("DETACH");
  ap_.wlan5000().ExpectCommand("DETACH");
}

TEST_P(EndTest, EndsBetweenRetries) {
  ap_.StartBus();
  LeaveSocketFile(kWlan2400);
  ap_.StartDaemon();
  ap_.ExpectLogged("WARNING", "Could not attach to hostapd");
  ap_.ExpectQuickExit(GetParam());
}

TEST_P(EndTest, EndsBeforeTheAnswer) {
  ap_.StartBus();
  Hostapd wlan2400(kWlan2400);
  ap_.StartDaemon();
  wlan2400.ExpectCommand("ATTACH");
  ap_.ExpectQuickExit(GetParam());
  // There may be a second attempt, but no DETACH.
  while (const auto command = wlan2400.Receive()) EXPECT_EQ(*command, "ATTACH");
}

TEST_P(EndTest, EndsWhileHostapdHangs) {
  ap_.StartAll();
  FillQueue(kWlan2400);
  ap_.ExpectQuickExit(GetParam());
  EXPECT_EQ(ap_.LogCount("ERROR", "Send to hostapd failed: Resource temporarily unavailable (11)"),
            1U);
  ap_.wlan5000().ExpectCommand("DETACH");
}

INSTANTIATE_TEST_SUITE_P(Signal, EndTest, ::testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& param_info) -> std::string {
                           return sigabbrev_np(param_info.param);
                         });

// Tests of the system log.

class SystemLogTest : public AccessPointTest {};

constexpr char kFirstLine[] =
    "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6} "
    "INFO optimizer/[a-z_]+\\.cc:[0-9]+\\] Starting the daemon";

TEST_F(SystemLogTest, LinesHaveAHeader) {
  ap_.StartBus();
  ap_.StartDaemon();
  const std::string log = ap_.daemon().err().Text();
  EXPECT_THAT(log.substr(0, log.find('\n')), MatchesRegex(kFirstLine));
}

TEST_F(SystemLogTest, MissingSystemLogDoesNotPreventTheStart) {
  ASSERT_FALSE(platform::PathExists("/dev/log"));
  ap_.StartAll();
  ap_.ExpectQuickExit(SIGTERM);
}

TEST_F(SystemLogTest, ReceivesTheLines) {
  ControlSocket system_log("/dev/log");
  ASSERT_EQ(system_log.Open(), std::nullopt);
  ap_.StartBus();
  ap_.StartDaemon();
  const auto line = system_log.Receive();
  ASSERT_TRUE(line.has_value());
  // Facility daemon (3), severity info (6); the C library adds time and tag.
  const std::string tag = "<30>[A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} ap-wavelark\\[" +
                          std::to_string(ap_.daemon().pid()) + "\\]: ";
  EXPECT_THAT(line->text, MatchesRegex(tag + kFirstLine));
}

// The daemon blocks at its first line until somebody reads.
TEST_F(SystemLogTest, FullStandardErrorDoesNotDelaySignals) {
  constexpr char kFillPipe[] =
      "mkfifo \"$0\" && exec 2<>\"$0\" && head -c 65536 /dev/zero >&2 && exec \"$@\"";
  ap_.StartBus();
  ap_.set_daemon_command({"/bin/sh", "-c", kFillPipe, ap_.directory() / "pipe", AP_WAVELARK_PATH});
  ap_.LaunchDaemon();
  EXPECT_TRUE(WaitUntil([this] { return ap_.CatchesSignal(SIGTERM); }));
  ap_.ExpectQuickExit(SIGTERM);
  EXPECT_EQ(ap_.NextNotice(milliseconds(0)), "");
}

TEST_F(SystemLogTest, ClosedStandardErrorDoesNotPreventTheStart) {
  ap_.StartBus();
  Hostapd wlan2400(kWlan2400);
  const auto shell = StartProcess({"/bin/sh", "-c", "exec \"$0\" --v=1 2>&-", AP_WAVELARK_PATH});
  wlan2400.Attach();
  for (int i = 0; i < 10; ++i) wlan2400.Send("<3>UNKNOWN-EVENT");
  shell->Signal(SIGTERM);
  EXPECT_EQ(shell->WaitForExit(kPatience), (ExitStatus{.code = 0, .signal = 0}));
}

}  // namespace
}  // namespace orvane::testbed
