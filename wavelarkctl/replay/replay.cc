// The subcommand "replay": its options, the trace, the settings, and the output.

#include <fmt/format.h>
#include <malloc.h>
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
#include "wavelarkctl/client_option.h"
#include "wavelarkctl/commands.h"
#include "wavelarkctl/common_options.h"
#include "wavelarkctl/decision.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/progress.h"
#include "wavelarkctl/replay/plot_writer.h"
#include "wavelarkctl/replay/replay_run.h"
#include "wavelarkctl/replay/replay_summary.h"
#include "wavelarkctl/replay/replay_text.h"
#include "wavelarkctl/replay/replayer.h"
#include "wavelarkctl/seconds.h"
#include "wavelarkctl/steer_settings.h"
#include "wavelarkctl/trace/roster.h"
#include "wavelarkctl/trace/trace_reader.h"
#include "wavelarkctl/trace/trace_survey.h"
#include "wavelarkctl/trace/walk.h"

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

std::map<std::string, Returns> ReturnsByName() {
  std::map<std::string, Returns> returns;
  for (const Returns model : {Returns::kTrace, Returns::kSame, Returns::kOther}) {
    returns.emplace(ReturnsText(model), model);
  }
  return returns;
}

const std::map<std::string, Walk> kWalks = {
    {"away", Walk::kAway}, {"floor", Walk::kFloor}, {"dips", Walk::kDips}, {"crowd", Walk::kCrowd}};

template <typename T>
std::vector<std::string> NamesOf(const std::map<std::string, T>& map) {
  std::vector<std::string> names;
  names.reserve(map.size());
  for (const auto& [name, value] : map) names.push_back(name);
  return names;
}

// Creates a file without a name, which disappears with its last descriptor.
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
  return ParseAddress(ClientAddress(options.client).ToString());
}

ReplayOptions MakeReplayOptions(const CommandOptions& options) {
  ReplayOptions replay;
  replay.returns = ReturnsByName().at(options.returns);
  const std::optional<platform::TimeSpan> stale = ParseSeconds(options.stale);
  if (!stale || *stale < platform::TimeSpan::zero() || *stale > kMaxStale) {
    throw Failure(ExitStatus::kUsage,
                  "--stale: '" + options.stale + "' is not a number of seconds from 0 to 86400");
  }
  replay.stale = *stale;
  for (const std::string& text : options.settings) ApplyFlag(text, &replay.settings);
  return replay;
}

void Warn(const std::string& text) { std::cerr << "wavelarkctl: " << text << '\n'; }

// Counts decisions, and prints each of them.
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
    Warn(fmt::format("{}:{}: the time goes back ({} in all), as if the clock had been set back",
                     reader.name(), survey.first_set_back, Count(survey.set_back, "time")));
  }
  return survey;
}

// Makes malloc keep freed memory. The simulated kernel allocates and frees its dumps at each poll.
// If malloc returned this memory to the system, page faults would slow each poll.
void KeepFreedMemory() {
  constexpr int kKeptBytes = 32 << 20;
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, kKeptBytes);
}

ExitStatus Replay(const CommandOptions& options) {
  const bool is_plot_printed = options.plot == kStandardOutput;
  if (is_plot_printed && options.json) {
    throw Failure(ExitStatus::kUsage, "--plot: --json also writes to standard output");
  }
  KeepFreedMemory();
  // Disables the log lines of the steering service, which are not part of the output.
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
  if (!options.json && !is_plot_printed) {
    std::cout << ReplayText(reader.name(), survey, roster, runs);
  }
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
      the addresses of the clients that the daemon would have steered
  wavelarkctl replay --client 02:00:00:00:00:01 --plot client.svg office.csv
      a plot of one client; without --client, of the clients with the most steers
  wavelarkctl replay --walk dips --returns other
      a generated trace of a client that joins the other band when it is steered

--set also takes is_root. Exit status: 0; 64 for a wrong command line; 65 for a wrong trace or flags
file; 69 if a file can't be read or written.)";

void AddTraceOptions(CLI::App& command, CommandOptions& options) {
  RefuseEmpty(command
                  .add_option("TRACE", options.trace,
                              "The trace to replay; with --walk, the file to create")
                  ->option_text("FILE"));
  RefuseEmpty(command.add_option("--client", options.client, "Only the rows of this client")
                  ->option_text("MAC"));
  command
      .add_option(
          "--returns", options.returns,
          WithDefault("What a steered client does: trace (as in the trace), same (come back to "
                      "the same interface) or other (join the other interface)",
                      options.returns))
      ->option_text("MODEL")
      ->check(CLI::IsMember(NamesOf(ReturnsByName())));
  command
      .add_option("--stale", options.stale,
                  WithDefault("The maximum age of a client's latest row; a poll does not see a "
                              "client whose row is older",
                              options.stale))
      ->option_text("SECONDS");
  CLI::Option* walk =
      command
          .add_option("--walk", options.walk,
                      "Generate a trace: away (a client moves away and comes back), floor (its "
                      "signal stays near the default floor), dips (its signal drops for short "
                      "times) or crowd (many clients move around)")
          ->option_text("KIND")
          ->check(CLI::IsMember(NamesOf(kWalks)));
  command
      .add_option("--crowd", options.crowd,
                  WithDefault("The number of clients of --walk crowd", options.crowd))
      ->option_text("COUNT")
      ->check(CLI::Range(1U, 1'000'000U).description(""))
      ->needs(walk);
}

void AddOptions(CLI::App& command, CommandOptions& options) {
  AddSetOption(command, &options.settings);
  AddRepeatedOption(command, "--compare", &options.compared_files,
                    "Also replay with the settings of a flags file", "FILE.conf");
  AddTraceOptions(command, options);
  RefuseEmpty(command
                  .add_option("--plot", options.plot,
                              "Plot signal, floor, hysteresis and steers over time, by gnuplot; "
                              "- is standard output")
                  ->option_text("FILE.svg"));
  command.add_flag("--json", options.json, "Print a JSON object for each client and poll")
      ->excludes(command.get_option("--compare"))
      ->option_text(" ");
}

}  // namespace

void AddReplay(CLI::App& app, Action* action) {
  auto options = std::make_shared<CommandOptions>();
  CLI::App* command =
      app.add_subcommand("replay", "Replay a trace of signals, and show what the daemon would do");
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
