// The command line of the real program: its output, its exit code, and that nothing is started.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>

#include "testbed/access_point.h"

namespace orvane::testbed {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class CommandLineProcessTest : public AccessPointTest {
 protected:
  // Runs the daemon in an environment in which it could start.
  void Run(const Arguments& arguments, int code) {
    ap_.StartBus();
    Hostapd wlan2400(kWlan2400);
    ap_.LaunchDaemon(arguments);
    ap_.ExpectExit(code);
    wlan2400.ExpectSilence(milliseconds(0));
    EXPECT_EQ(ap_.NextNotice(milliseconds(0)), "");
  }
};

TEST_F(CommandLineProcessTest, PrintsHelp) {
  Run({"--help"}, 0);
  const std::string& help = ap_.daemon().out().Text();
  for (const char* text :
       {"Enable Connectivity Event stats upload",
        "Time in seconds between connectivity event uploads", "Enable client Steering",
        "Minimum time in seconds between 2 steer attemepts for a station",
        "Periodic Poll interval in seconds",
        "link quality metric floor value for client steering on root",
        "link quality metric floor value for client steering on child",
        "link quality metric hysteresis", "indicates if this node is root"}) {
    EXPECT_EQ(ap_.daemon().out().Count(std::string("  ") + text + "\n"), 1U) << help;
  }
  EXPECT_THAT(help, Not(HasSubstr("--no")));
  EXPECT_THAT(help, HasSubstr("--connection_event_upload_period INT (default: 300) "));
  EXPECT_THAT(ap_.daemon().err().Text(), IsEmpty());
}

TEST_F(CommandLineProcessTest, PrintsVersion) {
  Run({"--version"}, 0);
  EXPECT_EQ(ap_.daemon().out().Text().find("ap-wavelark "), 0U);
  EXPECT_EQ(ap_.daemon().out().Count("\n"), 1U);
  EXPECT_THAT(ap_.daemon().err().Text(), IsEmpty());
}

class BadCommandLineTest : public CommandLineProcessTest,
                           public ::testing::WithParamInterface<const char*> {};

TEST_P(BadCommandLineTest, PrintsOneLineAndStartsNothing) {
  Run({"--is_root", GetParam()}, 64);
  const std::string& text = ap_.daemon().err().Text();
  EXPECT_EQ(ap_.daemon().err().Count("\n"), 1U) << text;
  EXPECT_EQ(text.back(), '\n');
  const std::string argument = GetParam();
  EXPECT_THAT(text, HasSubstr(argument.substr(0, argument.find('='))));
  EXPECT_THAT(ap_.daemon().out().Text(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Argument, BadCommandLineTest,
    ::testing::Values("--no_such_flag", "--connection_event_upload_period",
                      "--connection_event_upload_period=", "--client_steering_interval=soon",
                      "--client_steering_interval=2147483648",
                      "--client_steering_interval=-2147483649", "--is_root=maybe", "stray"));

class TwinProcessTest : public AccessPointTest {
 protected:
  bool IsUploadEnabled(const Arguments& arguments) {
    ap_.LaunchDaemon(arguments);
    EXPECT_EQ(ap_.NextNotice(), "READY=1");
    const bool is_enabled = ap_.LogCount("INFO", " Connection event upload enabled ") == 1;
    ap_.ExpectQuickExit(SIGTERM);
    EXPECT_EQ(ap_.NextNotice(), "STOPPING=1");
    return is_enabled;
  }
};

TEST_F(TwinProcessTest, LastFlagWins) {
  ap_.StartBus();
  EXPECT_TRUE(IsUploadEnabled({}));
  EXPECT_TRUE(IsUploadEnabled({"--enable_connection_event_stats"}));
  EXPECT_FALSE(IsUploadEnabled({"--enable_connection_event_stats=false"}));
  EXPECT_FALSE(IsUploadEnabled({"--noenable_connection_event_stats"}));
  EXPECT_TRUE(IsUploadEnabled({"--noenable_connection_event_stats=false"}));
  EXPECT_TRUE(
      IsUploadEnabled({"--noenable_connection_event_stats", "--enable_connection_event_stats"}));
  EXPECT_FALSE(
      IsUploadEnabled({"--enable_connection_event_stats", "--noenable_connection_event_stats"}));
}

class VerboseLevelTest : public AccessPointTest, public ::testing::WithParamInterface<bool> {};

TEST_P(VerboseLevelTest, LogsEachEventOnlyWhenEnabled) {
  ap_.StartBus();
  Hostapd wlan2400(kWlan2400);
  ap_.StartDaemon(GetParam() ? Arguments{"--v=1"} : Arguments{});
  wlan2400.Attach();
  wlan2400.Send("<3>AP-STA-CONNECTED 00:11:22:33:44:55");
  ap_.Settle(wlan2400);
  EXPECT_EQ(ap_.LogCount("VERBOSE1", "Callback: 1 mac: 00:11:22:33:44:55"), GetParam() ? 1U : 0U);
  EXPECT_EQ(ap_.LogTexts("VERBOSE1").empty(), !GetParam());
}

INSTANTIATE_TEST_SUITE_P(Verbose, VerboseLevelTest, ::testing::Bool());

}  // namespace
}  // namespace orvane::testbed
