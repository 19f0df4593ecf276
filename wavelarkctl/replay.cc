// The subcommand "replay": which trace and settings, and where the outcome goes.

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/logging.h"
#include "wavelarkctl/commands.h"
#include "wavelarkctl/decision.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/plot_writer.h"
#include "wavelarkctl/progress.h"
#include "wavelarkctl/replay_run.h"
#include "wavelarkctl/replay_summary.h"
#include "wavelarkctl/replay_text.h"
#include "wavelarkctl/replayer.h"
#include "wavelarkctl/roster.h"
#include "wavelarkctl/seconds.h"
#include "wavelarkctl/steer_settings.h"
#include "wavelarkctl/trace_reader.h"
#include "wavelarkctl/trace_survey.h"
#include "wavelarkctl/walk.h"

namespace orvane::wavelarkctl {
namespace {

constexpr std::uint32_t kCrowd = 200;
constexpr platform::TimeSpan kMaxStale = std::chrono::hours(24);

struct CommandOptions {
  std::string trace;
  std::vector<std::string> settings;
  std::vector<std::string> compared_files;
  std::string returns = "trace";
  std::string stale = "10";
  std::string client;
  std::string plot;
  std::string walk;
  std::uint32_t crowd = kCrowd;
  bool json = false;
};

const std::map<std::string, Returns> kReturns = {
    {"trace", Returns::kTrace}, {"same", Returns::kSame}, {"other", Returns::kOther}};
const std::map<std::string, Walk> kWalks = {
    {"away", Walk::kAway}, {"floor", Walk::kFloor}, {"dips", Walk::kDips}, {"crowd", Walk::kCrowd}};

template <typename T>
std::vector<std::string> NamesOf(const std::map<std::string, T>& map) {
  std::vector<std::string> names;
  names.reserve(map.size());
  for (const auto& [name, value] : map) names.push_back(name);
  return names;
}

// A file without a name, which goes with the process.
platform::ScopedFd MakeTemporaryFile() {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  if (!file) {
    throw Failure(ExitStatus::kUnavailable,
                  "can't make a temporary file: " + platform::SystemErrorText(errno));
  }
  return platform::ScopedFd(dup(fileno(file.get())));
}

TraceReader OpenTrace(const CommandOptions& options) {
  if (options.walk.empty()) return TraceReader(options.trace);
  const Walk walk = kWalks.at(options.walk);
  if (!options.trace.empty()) {
    TraceWriter writer = CreateTrace(options.trace);
    WriteWalk(walk, options.crowd, writer);
    return TraceReader(options.trace);
  }
  platform::ScopedFd file = MakeTemporaryFile();
  const std::string name = "the walk " + options.walk;
  TraceWriter writer(platform::ScopedFd(dup(file.get())), name);
  WriteWalk(walk, options.crowd, writer);
  return {std::move(file), name};
}

std::optional<Address> FindClient(const CommandOptions& options) {
  if (options.client.empty()) return std::nullopt;
  const std::optional<Address> client = ParseAddress(options.client);
  if (client) return client;
  throw Failure(ExitStatus::kUsage,
                "--client: " + options.client + " is not an address, such as 02:00:00:00:00:01");
}

ReplayOptions MakeReplayOptions(const CommandOptions& options) {
  ReplayOptions replay;
  replay.returns = kReturns.at(options.returns);
  const std::optional<platform::TimeSpan> stale = ParseSeconds(options.stale);
  if (!stale || *stale < platform::TimeSpan::zero() || *stale > kMaxStale) {
    throw Failure(ExitStatus::kUsage, "--stale: '" + options.stale + "' is not 0 to 86400 seconds");
  }
  replay.stale = *stale;
  for (const std::string& text : options.settings) ApplyFlag(text, &replay.settings);
  return replay;
}

void Warn(const std::string& text) { std::cerr << "wavelarkctl: " << text << '\n'; }

// Prints each decision, besides counting them.
class DecisionPrinter : public ReplaySummary {
 public:
  void OnJudgement(platform::WallTime time, std::uint32_t client,
                   const ap::StationJudgement& judgement) override {
    ReplaySummary::OnJudgement(time, client, judgement);
    const ap::SteerInputs& inputs = judgement.inputs;
    std::cout << JsonLine({.time = time,
                           .interface = judgement.interface,
                           .address = judgement.mac_address.ToString(),
                           .metric = inputs.link_quality_metric,
                           .last_metric = inputs.last_steer_link_quality_metric,
                           .since_last_steer = inputs.since_last_steer,
                           .steered = judgement.verdict == ap::SteerVerdict::kSteered,
                           .why = judgement.verdict})
              << '\n';
  }
};

ReplayRun MakeRun(const CommandOptions& options, std::string name, const ReplayOptions& replay) {
  ReplayRun run = {std::move(name), replay, nullptr, 0};
  if (options.json) {
    run.summary = std::make_unique<DecisionPrinter>();
  } else {
    run.summary = std::make_unique<ReplaySummary>();
  }
  return run;
}

std::vector<ReplayRun> MakeRuns(const CommandOptions& options) {
  std::vector<ReplayRun> runs;
  const ReplayOptions first = MakeReplayOptions(options);
  runs.push_back(MakeRun(options, options.settings.empty() ? "the defaults" : "--set", first));
  for (const std::string& file : options.compared_files) {
    ReplayOptions compared = first;
    for (const std::string& line : ApplyFlagsFile(file, &compared.settings)) Warn(line);
    runs.push_back(MakeRun(options, file, compared));
  }
  return runs;
}

TraceSurvey Survey(TraceReader& reader, const std::optional<Address>& client) {
  Progress progress("rows checked");
  TraceSurvey survey = SurveyTrace(reader, client, progress);
  if (survey.set_back > 0) {
    Warn(fmt::format("{}:{}: the time goes back ({} in all), as if the clock was set back",
                     reader.name(), survey.first_set_back, Count(survey.set_back, "time")));
  }
  return survey;
}

ExitStatus Replay(const CommandOptions& options) {
  // The service's own lines are not part of the output.
  platform::InitLog(0, "");
  const std::optional<Address> client = FindClient(options);
  std::vector<ReplayRun> runs = MakeRuns(options);
  TraceReader reader = OpenTrace(options);
  const TraceSurvey survey = Survey(reader, client);
  Roster roster;
  for (const std::string& interface : survey.interfaces) roster.InterfaceNumber(interface);
  std::vector<ReplayListener*> listeners;
  listeners.reserve(runs.size());
  for (const ReplayRun& run : runs) listeners.push_back(run.summary.get());
  const ClientFilter filter = client ? ClientFilter{*client} : ClientFilter();
  const auto polls = ReplayTrace(reader, survey, filter, runs, listeners, roster);
  for (std::size_t i = 0; i < runs.size(); ++i) runs[i].polls = polls[i];
  if (!options.plot.empty()) WritePlot(options.plot, reader, survey, runs, client, roster);
  if (!options.json) std::cout << ReplayText(reader.name(), survey, roster, runs);
  return ExitStatus::kOk;
}

constexpr char kExamples[] = R"(Examples:
  wavelarkctl replay office.csv
      what the daemon would have done with its default settings
  wavelarkctl replay --set client_steering_root_lqm_floor=35 office.csv
      with another floor
  wavelarkctl replay --compare careful.conf --compare eager.conf office.csv
      the defaults and two flags files side by side
  wavelarkctl replay --json office.csv | jq -r 'select(.steered) | .address'
      the addresses of the clients that would have been steered
  wavelarkctl replay --client 02:00:00:00:00:01 --plot client.svg office.csv
      a picture of one client; without --client, of those that were steered most
  wavelarkctl replay --walk dips --returns other
      a client that was made up, and that joins the other band when it is steered

Exit status: 0; 64 for a wrong command line; 65 for a wrong trace or flags file; 69 if a file can't
be read or written.)";

void AddOptions(CLI::App& command, CommandOptions& options) {
  command.add_option("TRACE", options.trace, "The trace; with --walk, the file that is made")
      ->option_text("FILE");
  command
      .add_option("--set", options.settings, "A flag of the daemon's command line; may be repeated")
      ->option_text("FLAG=VALUE")
      ->allow_extra_args(false);
  CLI::Option* compare =
      command
          .add_option("--compare", options.compared_files,
                      "Also replay with the settings of a flags file; may be repeated")
          ->option_text("FILE.conf")
          ->allow_extra_args(false);
  command.add_option("--client", options.client, "Replay the rows of this client only")
      ->option_text("MAC");
  command
      .add_option("--returns", options.returns,
                  "What a steered client does: trace, what its rows say (default); same or other, "
                  "join this or the other interface")
      ->option_text("MODEL")
      ->check(CLI::IsMember(NamesOf(kReturns)));
  command
      .add_option("--stale", options.stale,
                  "The age at which a poll no longer sees a row (default: 10)")
      ->option_text("SECONDS");
  CLI::Option* walk =
      command.add_option("--walk", options.walk, "Make a trace: away, floor, dips or crowd")
          ->option_text("KIND")
          ->check(CLI::IsMember(NamesOf(kWalks)));
  command.add_option("--crowd", options.crowd, "The clients of --walk crowd (default: 200)")
      ->option_text("COUNT")
      ->check(CLI::Range(1U, 1'000'000U).description(""))
      ->needs(walk);
  command
      .add_option("--plot", options.plot,
                  "Draw signal, floor, hysteresis and steers over time, by gnuplot")
      ->option_text("FILE.svg");
  command.add_flag("--json", options.json, "Print a JSON object for each client and poll")
      ->excludes(compare)
      ->option_text(" ");
}

}  // namespace

void AddReplay(CLI::App& app, Action* action) {
  auto options = std::make_shared<CommandOptions>();
  CLI::App* command = app.add_subcommand(
      "replay", "Replay a trace of signals: what would the daemon do with these settings?");
  AddOptions(*command, *options);
  command->footer(kExamples);
  command->callback([options, action] {
    if (options->trace.empty() && options->walk.empty()) {
      throw CLI::RequiredError("TRACE");
    }
    *action = [options] { return Replay(*options); };
  });
}

}  // namespace orvane::wavelarkctl
