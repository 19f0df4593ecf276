// The subcommand "replay", as it is run.

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/files.h"
#include "testbed/temporary_directory.h"
#include "testbed/tool_test.h"
#include "wavelarkctl/command.h"
#include "wavelarkctl/progress.h"
#include "wavelarkctl/replay/replay_run.h"
#include "wavelarkctl/trace/trace_row.h"
#include "wavelarkctl/trace/trace_survey.h"

namespace orvane::wavelarkctl {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

// Replaces each run of spaces by one space, because column widths depend on their contents.
std::string Squeeze(std::string text) {
  const auto both_spaces = [](char a, char b) { return a == ' ' && b == ' '; };
  text.erase(std::unique(text.begin(), text.end(), both_spaces), text.end());
  return text;
}

class ReplayTest : public testbed::ToolTest {
 protected:
  std::string Write(const std::string& name, const std::string& text) const {
    const platform::FilePath path = directory_.path() / name;
    testbed::WriteFile(path, text);
    return path.native();
  }

  // A client for 15 minutes, with a row in each minute.
  static std::string Rows(int signal, const std::string& interface = "wlan-2400mhz") {
    std::string rows = std::string(kTraceHeader) + "\n";
    for (int minute = 0; minute <= 15; ++minute) {
      rows += std::to_string(1'700'000'000 + 60 * minute) + "," + interface +
              ",02:00:00:00:00:01," + std::to_string(signal) + ",1\n";
    }
    return rows;
  }

  std::string trace_ = Write("trace.csv", Rows(-80));
};

TEST_F(ReplayTest, PrintsTheDecisionsAndTheirTotals) {
  const Outcome outcome = Run({"replay", trace_});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out,
            trace_ + R"(: 16 rows of 1 client, 2023-11-14 22:13:20 to 2023-11-14 22:28:20

  SETTINGS                     the defaults
  steering                          enabled
  floor                                  30
  hysteresis                             15
  steer interval                        10m
  poll interval                          1m
  returns                             trace
  OUTCOME
  polls                                  15
  decisions                              15
    new                                   1
    not-below-floor                       0
    within-hysteresis                     3
    too-early                            10
    steered                               1
  clients steered                         1
  steers per client and hour              4
  time below the floor        15m (100.0 %)
  longest chain of steers                 1

  CLIENT             STEERS  PER HOUR  BELOW THE FLOOR  LONGEST CHAIN
  02:00:00:00:00:01       1         4    15m (100.0 %)              1

  TIME                 CLIENT             INTERFACE     METRIC  LAST  SINCE
  2023-11-14 22:25:20  02:00:00:00:00:01  wlan-2400mhz      20     0    11m
)");
}

TEST_F(ReplayTest, JsonIsAnObjectForEachClientAndPoll) {
  const Outcome outcome =
      Run({"replay", "--json", "--set", "client_steering_poll_interval=300", trace_});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  const std::string common =
      R"("interface":"wlan-2400mhz","address":"02:00:00:00:00:01","metric":20,"last_metric":0,)";
  EXPECT_EQ(outcome.out, R"({"time":1700000300,)" + common +
                             R"("since_last_steer":0,"steered":false,"why":"new"})" + "\n" +
                             R"({"time":1700000600,)" + common +
                             R"("since_last_steer":300,"steered":false,"why":"too-early"})" + "\n" +
                             R"({"time":1700000900,)" + common +
                             R"("since_last_steer":600,"steered":false,"why":"too-early"})" + "\n");
}

TEST_F(ReplayTest, SeveralSettingsAreSideBySide) {
  const std::string low = Write("low.conf", "clientSteeringRootLqmFloor=10\n");
  const std::string off = Write("off.conf", "clientSteering=disabled\nother=1\n");
  const Outcome outcome = Run({"replay", "--set", "client_steering_interval=60", "--compare", low,
                               "--compare", off, trace_});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "wavelarkctl: " + off + ":2: unknown key other\n");
  const std::string out = Squeeze(outcome.out);
  EXPECT_THAT(out, HasSubstr("\n SETTINGS --set " + low + " " + off + "\n"));
  EXPECT_THAT(out, HasSubstr("\n steering enabled enabled disabled\n"));
  EXPECT_THAT(out, HasSubstr("\n floor 30 10 30\n"));
  EXPECT_THAT(out, HasSubstr("\n steer interval 1m 1m 1m\n"));
  EXPECT_THAT(out, HasSubstr("\n polls 15 15 0\n"));
  EXPECT_THAT(out, HasSubstr("\n steered 1 0 0\n"));
  EXPECT_THAT(outcome.out, HasSubstr("\nWith --set:\n"));
}

TEST_F(ReplayTest, OneClientCanBeChosen) {
  const std::string both =
      Write("both.csv", Rows(-80) + "1700000900,wlan-2400mhz,02:00:00:00:00:02,-80,1\n");
  EXPECT_THAT(Squeeze(Run({"replay", both}).out), HasSubstr("\n decisions 16\n"));
  for (const char* client : {"02:00:00:00:00:02", "02-00-00-00-00-02"}) {
    const Outcome chosen = Run({"replay", "--client", client, both});
    EXPECT_THAT(Squeeze(chosen.out), HasSubstr("\n decisions 1\n")) << chosen.err;
  }
}

// Polls continue while there are only rows of other clients.
TEST_F(ReplayTest, TimePassesWithTheRowsOfAllClients) {
  std::string text = Rows(-80);
  text.insert(kTraceHeader.size() + 1, "1700000000,wlan-2400mhz,02:00:00:00:00:02,-80,1\n");
  const std::string both = Write("both.csv", text);
  const Outcome outcome = Run({"replay", "--client", "02:00:00:00:00:02", "--stale", "600", both});
  EXPECT_THAT(Squeeze(outcome.out),
              AllOf(HasSubstr("\n polls 15\n"), HasSubstr("\n decisions 10\n")));
}

// The daemon's own two, unless the trace has others.
TEST_F(ReplayTest, InterfacesAreThoseOfTheTrace) {
  const std::string other = Write("other.csv", Rows(-80, "ap0"));
  EXPECT_THAT(Run({"replay", other}).out, HasSubstr("  ap0  "));
  EXPECT_THAT(Run({"replay", "--returns", "other", "--json", trace_}).out,
              HasSubstr("wlan-5000mhz"));
}

TEST_F(ReplayTest, AFileThatIsOverwrittenBetweenThePassesIsAnError) {
  TraceReader reader{platform::FilePath(trace_)};
  Progress progress("rows");
  const TraceSurvey survey = SurveyTrace(reader, std::nullopt, progress);
  Write("trace.csv", Rows(-80, "ap0"));
  reader.Rewind();
  Roster roster;
  for (const std::string& interface : survey.interfaces) roster.InterfaceNumber(interface);
  const std::vector<ReplayRun> runs(1);
  ReplaySummary summary;
  try {
    ReplayTrace(reader, survey, {}, runs, {&summary}, roster);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), ExitStatus::kData);
    EXPECT_EQ(failure.what(), trace_ + ":2: the file has changed");
  }
}

TEST_F(ReplayTest, NothingIsPrintedForAWrongTrace) {
  const std::string wrong = Write("wrong.csv", Rows(-80) + "1700000900,a,02:00:00:00:00:01,x,1\n");
  for (const char* option : {"--json", "--returns=trace"}) {
    const Outcome outcome = Run({"replay", option, wrong});
    EXPECT_EQ(outcome.status, 65);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "wavelarkctl: " + wrong + ":18: the signal is not -128 to 127 dBm\n");
  }
}

TEST_F(ReplayTest, ATraceWithoutRowsHasNoTime) {
  const std::string empty = Write("empty.csv", std::string(kTraceHeader) + "\n");
  const Outcome outcome = Run({"replay", empty});
  EXPECT_EQ(outcome.status, 65);
  EXPECT_EQ(outcome.err, "wavelarkctl: " + empty + ": no rows\n");
}

TEST_F(ReplayTest, ATraceHasALimitedNumberOfInterfaces) {
  std::string rows = std::string(kTraceHeader) + "\n";
  for (int i = 0; i < 65; ++i) rows += "1,ap" + std::to_string(i) + ",02:00:00:00:00:01,-80,1\n";
  const std::string many = Write("many.csv", rows);
  const Outcome outcome = Run({"replay", many});
  EXPECT_EQ(outcome.status, 65);
  EXPECT_EQ(outcome.err, "wavelarkctl: " + many + ":66: over 64 interfaces\n");
}

TEST_F(ReplayTest, ATimeThatGoesBackIsReported) {
  const std::string back =
      Write("back.csv", Rows(-80) + "1699999000,wlan-2400mhz,02:00:00:00:00:01,-80,1\n" +
                            "1699999060.5,wlan-2400mhz,02:00:00:00:00:01,-80,1\n");
  const Outcome outcome = Run({"replay", back});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.err, StartsWith("wavelarkctl: " + back + ":18: the time goes back"));
  EXPECT_THAT(Squeeze(outcome.out), HasSubstr("\n polls 16\n"));
}

class PlotTest : public ReplayTest {
 protected:
  void SetUp() override {
    if (std::system("gnuplot --version >/dev/null") != 0) GTEST_SKIP() << "gnuplot is missing";
  }
  static std::ptrdiff_t CountOf(const std::string& text, const std::string& word) {
    std::ptrdiff_t count = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
      ++count;
    }
    return count;
  }

  const std::string plot_ = (directory_.path() / "plot.svg").native();
};

TEST_F(PlotTest, AClientIsDrawnForEachSetting) {
  const std::string low = Write("low.conf", "clientSteeringRootLqmFloor=10\n");
  const Outcome outcome = Run({"replay", "--compare", low, "--plot", plot_, trace_});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, Run({"replay", "--compare", low, trace_}).out);
  const std::string svg = *platform::ReadFileToString(plot_);
  EXPECT_THAT(svg,
              AllOf(HasSubstr("<svg"), HasSubstr("</svg>"), HasSubstr("average signal (dBm)")));
  EXPECT_THAT(svg, HasSubstr("02:00:00:00:00:01, the defaults: 1 steer<"));
  EXPECT_THAT(svg, HasSubstr("02:00:00:00:00:01, " + low + ": 0 steers<"));
}

TEST_F(PlotTest, TheClientsWithTheMostSteersAreDrawn) {
  const Outcome outcome = Run({"replay", "--walk", "crowd", "--crowd", "60", "--plot", plot_});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  const std::string svg = *platform::ReadFileToString(plot_);
  EXPECT_EQ(CountOf(svg, " steers<") + CountOf(svg, " steer<"), 24);
  // The first row of the table of clients.
  const std::size_t first = outcome.out.find("02:00:");
  EXPECT_THAT(svg, HasSubstr(outcome.out.substr(first, 17) + ": "));
}

TEST_F(PlotTest, JsonAndAPlotGoTogether) {
  const Outcome outcome = Run({"replay", "--json", "--plot", plot_, trace_});
  EXPECT_EQ(outcome.out, Run({"replay", "--json", trace_}).out);
  EXPECT_THAT(*platform::ReadFileToString(plot_), HasSubstr(": 1 steer<"));
}

TEST_F(PlotTest, APlotOnStandardOutputReplacesTheText) {
  EXPECT_EQ(Run({"replay", "--plot", plot_, trace_}).status, 0);
  const Outcome outcome = Run({"replay", "--plot", "-", trace_});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, *platform::ReadFileToString(plot_));
}

// The daemon then polls each second.
TEST_F(PlotTest, APollIntervalThatTheDaemonDoesNotUseIsNotPlotted) {
  const auto plot = [&](const std::string& seconds) {
    const std::string setting = "client_steering_poll_interval=" + seconds;
    EXPECT_EQ(Run({"replay", "--set", setting, "--plot", plot_, trace_}).status, 0);
    return *platform::ReadFileToString(plot_);
  };
  const std::string svg = plot("1");
  EXPECT_EQ(plot("0"), svg);
  EXPECT_EQ(plot("-86400"), svg);
}

TEST_F(PlotTest, AFileThatCannotBeWrittenIsReported) {
  const Outcome outcome = Run({"replay", "--plot", "/nowhere/plot.svg", trace_});
  EXPECT_EQ(outcome.status, 69);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr("/nowhere/plot.svg: can't be written: No such file"));
}

TEST_F(ReplayTest, APlotNeedsGnuplot) {
  const std::string path = getenv("PATH");
  setenv("PATH", directory_.path().c_str(), 1);
  const Outcome outcome = Run({"replay", "--plot", (directory_.path() / "p.svg").native(), trace_});
  setenv("PATH", path.c_str(), 1);
  EXPECT_EQ(outcome.status, 69);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "wavelarkctl: gnuplot: not found; the package is gnuplot-nox\n");
  EXPECT_FALSE(platform::PathExists(directory_.path() / "p.svg"));
}

TEST_F(ReplayTest, AMistakeEndsWithOneLine) {
  struct Mistake {
    std::vector<std::string> arguments;
    int status;
    const char* message;
  };
  const auto mistakes = std::to_array<Mistake>({
      {{}, 64, "TRACE"},
      {{"--walk", "moon"}, 64, "--walk"},
      {{"--returns", "home", "TRACE"}, 64, "--returns"},
      {{"--stale", "soon", "TRACE"}, 64, "--stale"},
      {{"--stale=-1", "TRACE"}, 64, "--stale"},
      {{"--stale=86401", "TRACE"}, 64, "--stale"},
      {{"--client", "me", "TRACE"}, 64, "--client"},
      {{"--client", "", "TRACE"}, 64, "--client: the value is empty"},
      {{"--plot", "", "TRACE"}, 64, "--plot: the value is empty"},
      {{"--plot", "-", "--json", "TRACE"}, 64, "--plot: --json also writes to standard output"},
      {{"--crowd", "5", "TRACE"}, 64, "--crowd"},
      {{"--set", "floor=1", "TRACE"}, 64, "floor"},
      {{"--set", "floor", "TRACE"}, 64, "floor has no value"},
      {{"--compare", "/none.conf", "--json", "TRACE"}, 64, "--json"},
      {{"--compare", "/none.conf", "TRACE"}, 69, "/none.conf"},
      {{"--walk", "dips", ""}, 64, "TRACE: the value is empty"},
      {{"--client", "02:00:00:00:00:99", "TRACE"}, 65, "no row of"},
      {{"/none.csv"}, 69, "/none.csv"},
      {{"/"}, 69, "regular"},
  });
  for (const auto& [rest, status, message] : mistakes) {
    SCOPED_TRACE(fmt::format("{}", fmt::join(rest, " ")));
    std::vector<std::string> arguments = {"replay"};
    for (const std::string& argument : rest) {
      arguments.push_back(argument == "TRACE" ? trace_ : argument);
    }
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, AllOf(StartsWith("wavelarkctl: "), HasSubstr(message)));
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1);
  }
}

class WalkTest : public ReplayTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(WalkTest, IsReplayedAndKept) {
  const std::string file = (directory_.path() / "walk.csv").native();
  const std::string walk = GetParam();
  const Outcome kept = Run({"replay", "--walk", walk, file});
  EXPECT_EQ(kept.status, 0) << kept.err;
  EXPECT_THAT(kept.out, StartsWith(file + ":"));
  const auto outcome_of = [](const Outcome& outcome) {
    return outcome.out.substr(outcome.out.find(':'));
  };
  EXPECT_EQ(outcome_of(kept), outcome_of(Run({"replay", file})));
  EXPECT_EQ(outcome_of(kept), outcome_of(Run({"replay", "--walk", walk})));
  EXPECT_THAT(Squeeze(kept.out), Not(HasSubstr("\n clients steered 0\n")));
}

INSTANTIATE_TEST_SUITE_P(Walks, WalkTest, ::testing::Values("away", "floor", "dips", "crowd"));

TEST_F(ReplayTest, AWalkReplacesNoFile) {
  const Outcome outcome = Run({"replay", "--walk", "away", trace_});
  EXPECT_EQ(outcome.status, 69);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr(trace_ + ": File exists"));
  EXPECT_EQ(Run({"replay", trace_}).status, 0) << "it is as it was";
}

TEST_F(ReplayTest, HelpHasExamples) {
  const Outcome outcome = Run({"replay", "--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("wavelarkctl replay office.csv"));
  EXPECT_THAT(outcome.err, IsEmpty());
}

}  // namespace
}  // namespace orvane::wavelarkctl
