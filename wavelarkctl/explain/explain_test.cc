// The subcommand "explain": what it prints, and its exit statuses.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "testbed/temporary_directory.h"
#include "testbed/tool_test.h"
#include "wavelarkctl/log/log_source.h"

namespace orvane::wavelarkctl {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kPhone[] = "02:11:22:33:44:55";
constexpr char kTablet[] = "02:11:22:33:44:66";
constexpr char k2400[] = "wlan-2400mhz";
constexpr char k5000[] = "wlan-5000mhz";

// A log of the daemon on the first of February, with the default settings.
class Log {
 public:
  // Begins at "10:00:00".
  Log& Start() {
    Info("10:00:00", "Starting the daemon");
    return Info("10:00:00",
                " Client Steer Started  lqm_floor=30 steer_interval=10m poll_interval=1m "
                "lqm_hysteresis=15");
  }
  Log& Judged(const std::string& time, const std::string& client, int metric, int last,
              const std::string& since) {
    return Verbose(time, fmt::format("{} link_quality_metric {} last_steer_link_quality_metric {} "
                                     "time since last steer {}",
                                     client, metric, last, since));
  }
  Log& Steered(const std::string& time, const std::string& client, int metric, int last,
               const std::string& interface) {
    Info(time, fmt::format(" Steer Client {} link_quality_metric {} "
                           "last_steer_link_quality_metric {}",
                           client, metric, last));
    return Verbose(time,
                   fmt::format("{} Send Command : DISASSOCIATE {} reason=5", interface, client));
  }
  Log& Came(const std::string& time, const std::string& client, const std::string& interface) {
    return Event(time, client, interface, "kStationConnected");
  }
  Log& Left(const std::string& time, const std::string& client, const std::string& interface) {
    return Event(time, client, interface, "kStationDisconnected");
  }
  Log& Event(const std::string& time, const std::string& client, const std::string& interface,
             const std::string& name) {
    return Verbose(time,
                   fmt::format("EventCallback: {} event: {} mac: {}", interface, name, client));
  }
  Log& Info(const std::string& time, const std::string& message) {
    return Line(time, "INFO", message);
  }
  Log& Verbose(const std::string& time, const std::string& message) {
    return Line(time, "VERBOSE1", message);
  }
  Log& Line(const std::string& time, const std::string& severity, const std::string& message) {
    return Raw(fmt::format("2026-02-01 {}.000000 {} optimizer/client_steer.cc:12] {}\n", time,
                           severity, message));
  }
  Log& Raw(const std::string& text) {
    text_ += text;
    return *this;
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

// A phone moves away at 2.4 GHz, is steered, and joins 5 GHz. A tablet keeps its signal.
Log Walk() {
  return Log()
      .Start()
      .Came("10:00:10", kPhone, k2400)
      .Judged("10:02:00", kPhone, 48, 0, "1m")
      .Judged("10:02:00", kTablet, 36, 0, "1m")
      .Judged("10:03:00", kPhone, 18, 0, "2m")
      .Judged("10:03:00", kTablet, 33, 0, "2m")
      .Judged("10:12:00", kPhone, 18, 0, "11m")
      .Steered("10:12:00", kPhone, 18, 0, k2400)
      .Judged("10:12:00", kTablet, 34, 0, "11m")
      .Left("10:12:00", kPhone, k2400)
      .Came("10:12:02", kPhone, k5000)
      .Judged("10:14:00", kPhone, 50, 0, "1m");
}

// Each with its line end.
std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line + "\n");
  return lines;
}

class ExplainTest : public testbed::ToolTest {
 protected:
  // Explains a log in a file.
  Outcome Explain(const Log& log, std::vector<std::string> options = {}) const {
    const platform::FilePath path = directory_.path() / "daemon.log";
    testbed::WriteFile(path, log.text());
    options.insert(options.begin(), "explain");
    options.push_back(path.native());
    return Run(options);
  }

  void WriteBelow(const std::string& name, const std::string& text) const {
    const platform::FilePath path = directory_.path() / name;
    std::filesystem::create_directories(path.parent_path());
    testbed::WriteFile(path, text);
  }
};

constexpr char kSettings[] = R"(
Assumed settings
  floor           30   from the log of 2026-02-01 10:00:00
  hysteresis      15   from the log of 2026-02-01 10:00:00
  steer interval  10m  from the log of 2026-02-01 10:00:00
  poll interval   1m   from the log of 2026-02-01 10:00:00
)";

constexpr char kUnknownInterface[] = R"(
  ?: no earlier line names the interface. A steer or an event of hostapd names it, the
  line of a poll does not.
)";

TEST_F(ExplainTest, ShowsEachClientAndEachSteer) {
  const Outcome outcome = Explain(Walk());
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out,
            std::string("2026-02-01 10:00:00 to 2026-02-01 10:14:00: 2 clients, 1 steer\n") +
                kSettings + R"(
Clients
  CLIENT             INTERFACE     POLLS  SIGNAL (dBm)  CLOSEST TO A STEER
  02:11:22:33:44:55  wlan-5000mhz      4  -82..-50      steered once
  02:11:22:33:44:66  ?                 3  -67..-64      3 dB above the floor (10:03:00)

Steers
  TIME                 CLIENT             FROM          SIGNAL (dBm)         OUTCOME
  2026-02-01 10:12:00  02:11:22:33:44:55  wlan-2400mhz  -82 -> -50 (+32 dB)  went to wlan-5000mhz after 2s
)" + kUnknownInterface);
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(ExplainTest, ShowsTheConditionsOfOneClient) {
  const Outcome outcome = Explain(Walk(), {"--client", kPhone});
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out,
            std::string("2026-02-01 10:00:00 to 2026-02-01 10:14:00: 1 client, 1 steer\n") +
                kSettings + R"(
02:11:22:33:44:55
  TIME                 POLLS  INTERFACE     SIGNAL (dBm)  BELOW FLOOR  CHANGED  LONG ENOUGH  CLOSEST TO A STEER
  2026-02-01 10:01:00      1  wlan-2400mhz                                                   new on the interface
  2026-02-01 10:02:00      1  wlan-2400mhz  -52           no           yes      no           18 dB above the floor
  2026-02-01 10:03:00      1  wlan-2400mhz  -82           yes          yes      no           too early by 8m
  2026-02-01 10:12:00      1  wlan-2400mhz  -82           yes          yes      yes          STEERED
  2026-02-01 10:13:00      1  wlan-5000mhz                                                   new on the interface
  2026-02-01 10:14:00      1  wlan-5000mhz  -50           no           yes      no           20 dB above the floor

Steers
  TIME                 CLIENT             FROM          SIGNAL (dBm)         OUTCOME
  2026-02-01 10:12:00  02:11:22:33:44:55  wlan-2400mhz  -82 -> -50 (+32 dB)  went to wlan-5000mhz after 2s
)");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(ExplainTest, PollsInARowWithTheSameReasonAreOneLine) {
  const Outcome outcome = Explain(Log()
                                      .Start()
                                      .Judged("10:02:00", kPhone, 20, 18, "1m")
                                      .Judged("10:03:00", kPhone, 29, 18, "2m")
                                      .Judged("10:04:00", kPhone, 10, 18, "3m"),
                                  {"--client", kPhone});
  EXPECT_THAT(outcome.out,
              HasSubstr("  2026-02-01 10:02:00 - 10:04:00      3  ?          -90..-71      yes"
                        "          no       no           changed by 11 dB since its last steer, "
                        "not by more than 15\n"));
}

TEST_F(ExplainTest, TimesInALogOfSeveralDaysHaveDates) {
  const Log log = Log()
                      .Start()
                      .Judged("10:02:00", kPhone, 32, 0, "1m")
                      .Raw(fmt::format("2026-02-02 09:00:00.000000 VERBOSE1 optimizer/client_steer."
                                       "cc:12] {} link_quality_metric 31 last_steer_link_quality_"
                                       "metric 0 time since last steer 22h59m\n",
                                       kPhone));
  EXPECT_THAT(Explain(log).out, HasSubstr("  1 dB above the floor (2026-02-02 09:00:00)\n"));
  EXPECT_THAT(Explain(log, {"--client", kPhone}).out,
              HasSubstr("\n  2026-02-01 10:02:00 - 2026-02-02 09:00:00      2  "));
}

TEST_F(ExplainTest, PrintsAnObjectForEachClientAndPoll) {
  const Outcome outcome = Explain(Walk(), {"--json", "--client", kPhone});
  EXPECT_EQ(
      outcome.out,
      R"({"time":1769940060,"interface":"wlan-2400mhz","address":"02:11:22:33:44:55","metric":0,"last_metric":0,"since_last_steer":0,"steered":false,"why":"new"}
{"time":1769940120,"interface":"wlan-2400mhz","address":"02:11:22:33:44:55","metric":48,"last_metric":0,"since_last_steer":60,"steered":false,"why":"not-below-floor"}
{"time":1769940180,"interface":"wlan-2400mhz","address":"02:11:22:33:44:55","metric":18,"last_metric":0,"since_last_steer":120,"steered":false,"why":"too-early"}
{"time":1769940720,"interface":"wlan-2400mhz","address":"02:11:22:33:44:55","metric":18,"last_metric":0,"since_last_steer":660,"steered":true,"why":"steered"}
{"time":1769940780,"interface":"wlan-5000mhz","address":"02:11:22:33:44:55","metric":0,"last_metric":0,"since_last_steer":0,"steered":false,"why":"new"}
{"time":1769940840,"interface":"wlan-5000mhz","address":"02:11:22:33:44:55","metric":50,"last_metric":0,"since_last_steer":60,"steered":false,"why":"not-below-floor"}
)");
  EXPECT_THAT(outcome.err, HasSubstr("wavelarkctl: assumed steer interval 10m from the log of "));
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(ExplainTest, SinceLeavesOutOlderPolls) {
  const Outcome outcome = Explain(Walk(), {"--since", "2026-02-01 10:13"});
  EXPECT_THAT(outcome.out,
              StartsWith("2026-02-01 10:14:00 to 2026-02-01 10:14:00: 1 client, 0 steers\n"));
  EXPECT_THAT(outcome.out, HasSubstr("02:11:22:33:44:55  wlan-5000mhz      1  -50 "));
}

TEST_F(ExplainTest, AnEmptyPeriodIsNotAnError) {
  const Outcome outcome = Explain(Walk(), {"--since", "2026-02-01 11:00"});
  EXPECT_THAT(outcome.out, HasSubstr(": 0 clients, 0 steers\n"));
  EXPECT_EQ(outcome.status, 0);
}

// A log, the end of its line in the table of steers, and the exit status.
struct OutcomeCase {
  const char* name;
  Log log;
  const char* text;
  int status;
};

Log SteerAt2400() {
  return Log()
      .Start()
      .Judged("10:12:00", kPhone, 18, 0, "11m")
      .Steered("10:12:00", kPhone, 18, 0, k2400);
}

TEST_F(ExplainTest, ShowsTheOutcomeOfASteer) {
  const std::vector<OutcomeCase> cases = {
      {"moved, without events", SteerAt2400().Judged("10:15:00", kPhone, 40, 0, "1m"),
       "-82 -> -60 (+22 dB)  went to wlan-5000mhz within 2m", 0},
      {"came back",
       SteerAt2400()
           .Left("10:12:00", kPhone, k2400)
           .Came("10:12:01", kPhone, k2400)
           .Judged("10:13:00", kPhone, 17, 18, "1m"),
       "-82 -> -83 (-1 dB)  came back after 1s", 0},
      {"came back or stayed", SteerAt2400().Judged("10:13:00", kPhone, 18, 18, "1m"),
       "-82 -> -82 (+0 dB)  there again or still there within 1m", 0},
      {"left, and back by the next poll",
       SteerAt2400().Left("10:12:00", kPhone, k2400).Judged("10:13:00", kPhone, 17, 18, "1m"),
       "-82 -> -83 (-1 dB)  came back within 1m", 0},
      {"stayed",
       SteerAt2400().Came("10:12:30", kTablet, k2400).Judged("10:13:00", kPhone, 18, 18, "1m"),
       "-82 -> -82 (+0 dB)  no effect: it did not leave", 1},
      {"lost",
       SteerAt2400()
           .Line("10:12:01", "ERROR",
                 "Send to hostapd failed: Resource temporarily unavailable (11)")
           .Judged("10:13:00", kPhone, 18, 18, "1m"),
       "-82 -> -82 (+0 dB)  no effect: the command could not be sent", 1},
      {"gone", SteerAt2400().Left("10:12:00", kPhone, k2400), "-82           left, not seen again",
       0},
      {"the end of the log", SteerAt2400(), "-82           not seen again", 0},
      {"a restart", SteerAt2400().Info("10:12:30", "Starting the daemon"),
       "-82           unknown: steering was restarted", 0},
  };
  for (const OutcomeCase& item : cases) {
    const Outcome outcome = Explain(item.log);
    EXPECT_THAT(outcome.out, HasSubstr(fmt::format("wlan-2400mhz  {}\n", item.text))) << item.name;
    EXPECT_EQ(outcome.status, item.status) << item.name << outcome.out;
  }
}

TEST_F(ExplainTest, ACommandWithoutEffectNeedsAttention) {
  const Outcome outcome = Explain(
      SteerAt2400().Came("10:12:30", kTablet, k2400).Judged("10:13:00", kPhone, 18, 18, "1m"));
  EXPECT_THAT(outcome.out,
              EndsWith("\nNeeds attention\n  02:11:22:33:44:55: 1 command had no effect, the first "
                       "at 2026-02-01 10:12:00. Check whether hostapd accepts DISASSOCIATE: "
                       "hostapd_cli -i wlan-2400mhz status\n"));
}

TEST_F(ExplainTest, AClientThatIsSteeredRepeatedlyNeedsAttention) {
  const Outcome outcome = Explain(SteerAt2400()
                                      .Judged("10:23:00", kPhone, 1, 18, "11m")
                                      .Steered("10:23:00", kPhone, 1, 18, k2400)
                                      .Judged("10:34:00", kPhone, 20, 1, "11m")
                                      .Steered("10:34:00", kPhone, 20, 1, k2400)
                                      .Judged("11:04:00", kPhone, 1, 20, "30m")
                                      .Steered("11:04:00", kPhone, 1, 20, k2400));
  EXPECT_THAT(outcome.out, HasSubstr("02:11:22:33:44:55  wlan-2400mhz      4  -99..-80      "
                                     "steered 4 times\n"));
  EXPECT_THAT(outcome.out,
              HasSubstr("Needs attention\n  02:11:22:33:44:55 was steered 3 times in a "
                        "row, each time within two steer intervals of the previous steer. "));
  EXPECT_EQ(outcome.status, 1);
}

TEST_F(ExplainTest, PollsThatFailedNeedAttention) {
  const Outcome outcome =
      Explain(Walk()
                  .Line("10:15:00", "WARNING", "Unable to get stations on interface: wlan-2400mhz")
                  .Line("10:16:00", "WARNING", "Netlink error 2: Netlink response timeout"));
  EXPECT_THAT(outcome.out, HasSubstr("Needs attention\n  2 polls of an interface failed. "));
  EXPECT_EQ(outcome.status, 1);
}

TEST_F(ExplainTest, AClockThatIsSetBackNeedsAttention) {
  const Outcome outcome = Explain(SteerAt2400().Judged("09:13:00", kPhone, 18, 18, "-59m"));
  EXPECT_THAT(outcome.out, HasSubstr("there again or still there after an unknown time\n"));
  EXPECT_THAT(outcome.out,
              HasSubstr("The clock was set back 1 time, first at 2026-02-01 10:12:00."));
  EXPECT_EQ(outcome.status, 1);
}

// A pattern of the shell names "daemon.log" before "daemon.log.1", which is older.
TEST_F(ExplainTest, FilesInTheWrongOrderNeedAttention) {
  WriteBelow("old.log", Log().Start().Judged("10:02:00", kPhone, 48, 0, "1m").text());
  WriteBelow("new.log", Log().Judged("10:03:00", kPhone, 48, 0, "2m").text());
  const std::string older = (directory_.path() / "old.log").native();
  const std::string newer = (directory_.path() / "new.log").native();
  EXPECT_EQ(Run({"explain", older, newer}).status, 0);
  const Outcome outcome = Run({"explain", newer, older});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, EndsWith("Needs attention\n"
                                    "  1 file begins before the previous one ends. Name the oldest "
                                    "file first.\n"));
}

TEST_F(ExplainTest, SettingsThatContradictTheLogNeedAttention) {
  const Log log = Log()
                      .Start()
                      .Judged("10:12:00", kPhone, 33, 0, "11m")
                      .Steered("10:12:00", kPhone, 33, 0, k2400);
  const Outcome outcome = Explain(log, {"--client", kPhone});
  EXPECT_THAT(outcome.out, HasSubstr("STEERED, against the assumed settings\n"));
  EXPECT_THAT(outcome.out,
              HasSubstr("1 decision contradicts the assumed settings, the first at 2026-02-01 "
                        "10:12:00: 02:11:22:33:44:55 was steered. "));
  EXPECT_EQ(outcome.status, 1);

  const Outcome with_floor = Explain(log, {"--set", "client_steering_root_lqm_floor=35"});
  EXPECT_THAT(with_floor.out, HasSubstr("  floor           35   from --set\n"));
  EXPECT_EQ(with_floor.status, 0);
}

TEST_F(ExplainTest, ASteerThatDidNotHappenIsNotListedAsASteer) {
  const Outcome outcome = Explain(Log().Start().Judged("10:12:00", kPhone, 18, 0, "19m"));
  EXPECT_THAT(outcome.out, HasSubstr("not steered, against the assumed settings (10:12:00)\n"));
  EXPECT_THAT(outcome.out, Not(HasSubstr("STEERED")));
}

TEST_F(ExplainTest, ASteerThatDidNotHappenHasNoReasonInJson) {
  const Outcome outcome = Explain(Log()
                                      .Start()
                                      .Judged("10:12:00", kPhone, 18, 0, "19m")
                                      .Judged("10:13:00", kTablet, 33, 0, "20m")
                                      .Steered("10:13:00", kTablet, 33, 0, k2400)
                                      .Judged("10:14:00", kTablet, 33, 33, "1m"),
                                  {"--json"});
  EXPECT_THAT(outcome.out,
              HasSubstr(R"({"time":1769940720,"interface":"","address":"02:11:22:33:44:55",)"
                        R"("metric":18,"last_metric":0,"since_last_steer":1140,)"
                        R"("steered":false,"why":null})"
                        "\n"));
  EXPECT_THAT(
      outcome.out,
      HasSubstr(R"({"time":1769940780,"interface":"wlan-2400mhz","address":"02:11:22:33:44:66",)"
                R"("metric":33,"last_metric":0,"since_last_steer":1200,)"
                R"("steered":true,"why":"steered"})"
                "\n"));
  EXPECT_THAT(outcome.out, HasSubstr(R"("steered":false,"why":"not-below-floor"})"));
  EXPECT_THAT(outcome.err, HasSubstr("2 decisions contradict the assumed settings"));
  EXPECT_EQ(outcome.status, 1);
}

TEST_F(ExplainTest, RootNamesTheMachineWithTheSettings) {
  WriteBelow("root/etc/default/ap-wavelark",
             "# Flags\nDAEMON_OPTS=\"--nois_root --client_steering_child_lqm_floor=20 "
             "--client_steering_interval=300\"\n");
  WriteBelow("root/etc/ap-wavelark/flags.d/50.conf",
             "clientSteeringRootLqmFloor=50\nclientSteeringLqmHysteresis=270\n");
  const Log log = Log().Judged("10:12:00", kPhone, 33, 0, "11m");
  const std::string root = (directory_.path() / "root").native();
  EXPECT_THAT(Explain(log, {"--root", root}).out, HasSubstr(R"(
Assumed settings
  floor           20  from /etc/default/ap-wavelark
  hysteresis      15  from /etc/default/ap-wavelark
  steer interval  5m  from /etc/default/ap-wavelark
  poll interval   1m  from /etc/default/ap-wavelark
)"));
  // Without the value out of range, the files are valid.
  WriteBelow("root/etc/ap-wavelark/flags.d/50.conf",
             "clientSteeringRootLqmFloor=50\nclientSteeringChildLqmFloor=25\n");
  EXPECT_THAT(Explain(log, {"--root", root}).out,
              HasSubstr("  floor           25  from clientSteeringChildLqmFloor in the flags "
                        "files\n"));
  EXPECT_THAT(Explain(log).out, HasSubstr("  floor           30   from the daemon's default\n"));
}

TEST_F(ExplainTest, AWrongCommandLineIsRefused) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--client", "nobody"}, "--client: 'nobody' is not an address, such as 02:00:00:00:00:01"},
      {{"--since", "soon"},
       "--since: 'soon' is not a time, such as 7d, 12h, 90m, 30s or 2026-11-22 08:00"},
      {{"--client", ""}, "--client: the value is empty (--help lists the options)"},
      {{"--since", ""}, "--since: the value is empty (--help lists the options)"},
      {{"--root", ""}, "--root: the value is empty (--help lists the options)"},
      {{"--set", "floor=3"},
       "--set: floor is not a numeric steering flag: client_steering_interval, "
       "client_steering_poll_interval, client_steering_root_lqm_floor, "
       "client_steering_child_lqm_floor, client_steering_lqm_hysteresis"},
      {{"--set", "client_steering_interval"}, "--set: client_steering_interval has no value"},
      {{"--set", "client_steering_interval=1h"},
       "--set: client_steering_interval: '1h' is not an integer of 32 bits"},
  };
  for (const auto& [options, reason] : cases) {
    const Outcome outcome = Explain(Walk(), options);
    EXPECT_EQ(outcome.status, 64);
    EXPECT_EQ(outcome.err, "wavelarkctl: " + reason + "\n");
    EXPECT_EQ(outcome.out, "");
  }
}

TEST_F(ExplainTest, ALogWithoutVerboseLinesHasSteersOnly) {
  const Outcome outcome =
      Explain(Log().Start().Info("10:12:00",
                                 " Steer Client 02:11:22:33:44:55 link_quality_metric 18 "
                                 "last_steer_link_quality_metric 0"));
  EXPECT_EQ(outcome.status, 65);
  EXPECT_THAT(outcome.out, HasSubstr("02:11:22:33:44:55  ?     -82           not seen again\n"));
  EXPECT_EQ(outcome.err,
            "wavelarkctl: the log was written without --v=1: it shows steers, but not why other "
            "clients were not steered\n");
}

// Only the line of a poll shows the time since the last steer. The last metric belongs to the
// interface.
TEST_F(ExplainTest, SteersWithoutTheLinesOfTheirPolls) {
  Log log;
  log.Start();
  const auto steered = [&](const char* time, int metric, int last) {
    log.Info(time, fmt::format(" Steer Client {} link_quality_metric {} "
                               "last_steer_link_quality_metric {}",
                               kPhone, metric, last));
  };
  steered("10:12:00", 18, 0);
  steered("10:32:00", 20, 0);
  steered("10:52:00", 2, 20);
  EXPECT_THAT(Explain(log, {"--json"}).out,
              HasSubstr(R"("last_metric":0,"since_last_steer":null,"steered":true)"));
  const std::string text = Explain(log, {"--client", kPhone}).out;
  EXPECT_THAT(text, HasSubstr("-82           yes          yes                   STEERED\n"));
  EXPECT_THAT(text, HasSubstr("-82 -> -80 (+2 dB)   went to ? within 20m\n"));
  EXPECT_THAT(text, HasSubstr("-80 -> -98 (-18 dB)  there again or still there within 20m\n"));
  EXPECT_THAT(text, HasSubstr("-98                  not seen again\n"));
}

// The daemon forgets a client, and its last metric, when it has not seen it for two steer
// intervals.
TEST_F(ExplainTest, ASteerAfterALongTimeShowsNoMove) {
  Log log;
  log.Start();
  for (const char* time : {"10:12:00", "14:12:00"}) {
    log.Info(time, fmt::format(" Steer Client {} link_quality_metric 18 "
                               "last_steer_link_quality_metric 0",
                               kPhone));
  }
  const std::string text = Explain(log, {"--client", kPhone}).out;
  EXPECT_THAT(text, Not(HasSubstr("went to")));
  EXPECT_THAT(text, HasSubstr("10:12:00  02:11:22:33:44:55  ?     -82           not seen again\n"));
}

// A log may have been rotated. Its first lines then count from a steer or an arrival that the log
// does not show.
TEST_F(ExplainTest, APollBeforeTheFirstLineIsNotInvented) {
  const Log middle = Log()
                         .Judged("10:12:00", kPhone, 40, 18, "5m")
                         .Judged("10:12:00", kTablet, 40, 0, "5m")
                         .Judged("10:14:00", kPhone, 40, 18, "1m");
  const std::vector<std::string> lines = LinesOf(Explain(middle, {"--json"}).out);
  ASSERT_THAT(lines, testing::SizeIs(5));
  EXPECT_THAT(lines[0], AllOf(HasSubstr(kPhone), HasSubstr("not-below-floor")));
  // Without an earlier steer it was an arrival.
  EXPECT_THAT(lines[1], AllOf(HasSubstr("1769940420"), HasSubstr(kTablet), HasSubstr("\"new\"")));
  EXPECT_THAT(lines[2], AllOf(HasSubstr(kTablet), HasSubstr("not-below-floor")));
  EXPECT_THAT(lines[3], AllOf(HasSubstr("1769940780"), HasSubstr(kPhone), HasSubstr("\"new\"")));
}

TEST_F(ExplainTest, AnArrivalAfterTheFirstLineIsShown) {
  const Log log =
      Log().Judged("10:00:00", kTablet, 40, 0, "5m").Judged("10:12:00", kPhone, 40, 18, "5m");
  EXPECT_THAT(
      Explain(log, {"--json"}).out,
      HasSubstr(R"({"time":1769940420,"interface":"","address":"02:11:22:33:44:55","metric":0,)"));
}

// The event of a later move may be lost.
TEST_F(ExplainTest, AnEventThatAPollHasConfirmedDoesNotPlaceTheNextMove) {
  const Log log = Log()
                      .Start()
                      .Came("10:00:10", kPhone, k2400)
                      .Judged("10:02:00", kPhone, 40, 0, "1m")
                      .Left("10:02:10", kPhone, k2400)
                      .Came("10:02:20", kPhone, k2400)
                      .Judged("10:03:00", kPhone, 40, 0, "2m")
                      .Judged("10:05:00", kPhone, 40, 0, "1m");
  const std::vector<std::string> lines = LinesOf(Explain(log, {"--json"}).out);
  ASSERT_THAT(lines, testing::SizeIs(5));
  EXPECT_THAT(lines.back(), HasSubstr(k5000));
}

TEST_F(ExplainTest, ALogOfAnotherProgramIsRefused) {
  const Outcome outcome = Explain(Log().Raw("one\ntwo\n").Raw(std::string(200'000, 'x')));
  EXPECT_EQ(outcome.status, 65);
  EXPECT_EQ(outcome.err, "wavelarkctl: no line of ap-wavelark's log among 3 lines\n");
  EXPECT_EQ(outcome.out, "");
}

// Such as a compressed one, which a pattern of the shell also names.
TEST_F(ExplainTest, OneOfSeveralFilesWithoutTheDaemonIsNamed) {
  WriteBelow("other.log", "one\ntwo\n");
  WriteBelow("empty.log", "");
  WriteBelow("daemon.log", Walk().text());
  const std::string below = directory_.path().native();
  const Outcome outcome =
      Run({"explain", below + "/other.log", below + "/empty.log", below + "/daemon.log"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, Explain(Walk()).out);
  EXPECT_EQ(outcome.err,
            "wavelarkctl: " + below + "/other.log: no line of ap-wavelark's log among 2 lines\n");
}

TEST_F(ExplainTest, AnUnknownClientIsRefused) {
  const Outcome outcome = Explain(Walk(), {"--client", "02:00:00:00:00:01"});
  EXPECT_EQ(outcome.status, 65);
  EXPECT_EQ(outcome.err, "wavelarkctl: the log has no decision about 02:00:00:00:00:01\n");
}

TEST_F(ExplainTest, AFileThatCannotBeReadIsAnError) {
  const Outcome missing = Run({"explain", "/nowhere/daemon.log"});
  EXPECT_EQ(missing.status, 69);
  EXPECT_EQ(missing.err, "wavelarkctl: /nowhere/daemon.log: No such file or directory (2)\n");
  const Outcome directory = Run({"explain", directory_.path().native()});
  EXPECT_EQ(directory.status, 69);
  EXPECT_THAT(directory.err, EndsWith(": Is a directory (21)\n"));
}

// Lines of other programs and incomplete lines, with or without a syslog's prefix, change nothing.
TEST_F(ExplainTest, OtherLinesChangeNothing) {
  Log noisy;
  for (const std::string& line : LinesOf(Walk().text())) {
    noisy
        .Raw(
            "Feb  1 10:00:00 ap hostapd[7]: wlan0: STA 02:11:22:33:44:55 IEEE 802.11: associated\n")
        .Raw("Feb  1 10:00:00 ap ap-wavelark[8]: " + line)
        .Raw(line.substr(0, line.size() - 13) + "\n")
        .Raw(std::string("\0\x1b[31m\xff\n", 8));
  }
  EXPECT_EQ(Explain(noisy).out, Explain(Walk()).out);
}

TEST_F(ExplainTest, LinesThatTheLogHasTwiceChangeNothing) {
  std::string text;
  for (const std::string& line : LinesOf(Walk().text())) text += line + line;
  for (const std::vector<std::string>& options :
       std::vector<std::vector<std::string>>{{}, {"--json"}, {"--client", kPhone}}) {
    const Outcome once = Explain(Walk(), options);
    const Outcome twice = Explain(Log().Raw(text), options);
    EXPECT_EQ(twice.out, once.out);
    EXPECT_EQ(twice.err, once.err);
    EXPECT_EQ(twice.status, once.status);
  }
}

// A power loss can leave NUL bytes in a log.
TEST_F(ExplainTest, ALineAfterNulBytesIsRead) {
  using namespace std::string_literals;
  const std::string expected = Explain(Walk()).out;
  for (const std::string& line : {"\0text\n"s, "te\0xt\n"s, "text\0\n"s, "\0\0\0\n"s}) {
    Log log;
    for (const std::string& good : LinesOf(Walk().text())) log.Raw(line).Raw(good);
    EXPECT_EQ(Explain(log).out, expected) << testing::PrintToString(line);
  }
}

TEST_F(ExplainTest, TheRestOfATooLongLineIsDropped) {
  Log log;
  // The rest alone would be a line with a prefix.
  log.Raw(std::string(kMaxLogLine, 'x') + " ap ap-wavelark[8]: ");
  log.Judged("10:00:00", "02:11:22:33:44:77", 1, 0, "1m").Raw(Walk().text());
  EXPECT_EQ(Explain(log).out, Explain(Walk()).out);
}

TEST_F(ExplainTest, ALastLineWithoutItsEndIsRead) {
  std::string text = Walk().text();
  text.pop_back();
  EXPECT_EQ(Explain(Log().Raw(text)).out, Explain(Walk()).out);
}

// A stand-in for journalctl, in front of the real one.
class JournalTest : public ExplainTest {
 protected:
  void SetUp() override {
    const char* path = getenv("PATH");
    path_ = path == nullptr ? "" : path;
    setenv("PATH", (directory_.path().native() + ":" + path_).c_str(), 1);
  }
  void TearDown() override { setenv("PATH", path_.c_str(), 1); }

  void Journal(const std::string& script) {
    WriteBelow("journalctl", "#!/bin/sh\n" + script);
    std::filesystem::permissions(directory_.path() / "journalctl",
                                 std::filesystem::perms::owner_all);
  }

 private:
  std::string path_;
};

TEST_F(JournalTest, TheJournalIsTheDefault) {
  WriteBelow("text", Walk().text());
  Journal(fmt::format("echo \"$*\" >>{0}/arguments; cat {0}/text", directory_.path().native()));
  const Outcome outcome = Run({"explain", "--root", directory_.path().native()});
  EXPECT_EQ(outcome.out, Explain(Walk()).out);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(platform::ReadFileToString(directory_.path() / "arguments"),
            "--quiet --no-pager --output=cat --unit=ap-wavelark.service\n");
}

TEST_F(JournalTest, TheSettingsOfAnEarlierStartAreLookedUp) {
  WriteBelow("start", Log().Start().text());
  WriteBelow("rest", Log().Judged("10:14:00", kPhone, 50, 0, "1m").text());
  Journal(
      fmt::format("echo \"$*\" >>{0}/arguments\n"
                  "case \"$*\" in *--grep*) cat {0}/start; exit 1 ;; *) cat {0}/rest ;; esac",
                  directory_.path().native()));
  const Outcome outcome =
      Run({"explain", "--root", directory_.path().native(), "--since", "2026-02-01T10:13:00Z"});
  EXPECT_THAT(outcome.out, HasSubstr(kSettings));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(platform::ReadFileToString(directory_.path() / "arguments"),
            "--quiet --no-pager --output=cat --unit=ap-wavelark.service --until=@1769940780 "
            "--lines=1 --grep=Client Steer Started\n"
            "--quiet --no-pager --output=cat --unit=ap-wavelark.service --since=@1769940780\n");
}

// journalctl refuses a time before 1970.
TEST_F(JournalTest, AVeryOldTimeReadsTheWholeJournal) {
  WriteBelow("text", Walk().text());
  Journal(fmt::format("echo \"$*\" >>{0}/arguments; cat {0}/text", directory_.path().native()));
  Run({"explain", "--root", directory_.path().native(), "--since", "36000d"});
  EXPECT_THAT(platform::ReadFileToString(directory_.path() / "arguments").value_or(""),
              AllOf(HasSubstr("--since=@0\n"), Not(HasSubstr("@-"))));
}

TEST_F(JournalTest, AJournalThatCannotBeReadIsAnError) {
  Journal("exit 1");
  const Outcome failed = Run({"explain", "--root", directory_.path().native()});
  EXPECT_EQ(failed.status, 69);
  EXPECT_EQ(failed.err, "wavelarkctl: journalctl failed\n");
  Journal("exit 127");
  const Outcome missing = Run({"explain", "--root", directory_.path().native()});
  EXPECT_EQ(missing.err,
            "wavelarkctl: journalctl is missing: name a log file, or - for standard input\n");
  Journal("true");
  const Outcome empty = Run({"explain", "--root", directory_.path().native()});
  EXPECT_EQ(empty.status, 65);
  EXPECT_EQ(
      empty.err,
      "wavelarkctl: the journal shows no line of ap-wavelark.service: run as root, or name a log "
      "file\n");
}

}  // namespace
}  // namespace orvane::wavelarkctl
