// The subcommand "explain": where the log comes from, and where its explanation goes.

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "flags/flags_directories.h"
#include "platform/files.h"
#include "wavelarkctl/assumed_settings.h"
#include "wavelarkctl/commands.h"
#include "wavelarkctl/daemon_options.h"
#include "wavelarkctl/explain_text.h"
#include "wavelarkctl/explainer.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/log_source.h"
#include "wavelarkctl/progress.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

constexpr char kEtcFlagsDirectory[] = "etc/ap-wavelark/flags.d";
constexpr char kRunFlagsDirectory[] = "run/ap-wavelark/flags.d";

struct ExplainOptions {
  std::string client;
  std::string since;
  std::vector<std::string> settings;
  std::string root;
  bool json = false;
  std::vector<std::string> files;
};

ExplainFilter MakeFilter(const ExplainOptions& options) {
  ExplainFilter filter;
  if (!options.client.empty()) {
    ap::MacAddress address;
    if (!ap::MacAddress::ParseFromString(options.client, &address)) {
      throw Failure(ExitStatus::kUsage, "--client: " + options.client + " is no hardware address");
    }
    filter.client = address;
    filter.keep_runs = !options.json;
  }
  if (!options.since.empty()) filter.since = ParseTimeOption("--since", options.since);
  return filter;
}

// The settings on this machine, or below the root. A log file may be another machine's, so it has
// them only where the user names a root.
void TakeMachineSettings(const ExplainOptions& options, AssumedSettings* settings) {
  if (!options.files.empty() && options.root.empty()) return;
  const platform::FilePath root = options.root.empty() ? "/" : options.root;
  bool is_root_node = true;
  if (const auto daemon = ReadDaemonOptions(root); daemon && daemon->error.empty()) {
    is_root_node = daemon->flags.is_root;
    if (!daemon->text.empty()) settings->TakeCommandLine(daemon->flags, kDaemonDefaultsFile);
  }
  const flags::Reading reading =
      flags::ReadFlagsDirectories({root / kEtcFlagsDirectory, root / kRunFlagsDirectory});
  if (reading.errors.empty()) settings->TakeFlags(reading.flags, is_root_node, "the flags files");
}

AssumedSettings MakeSettings(const ExplainOptions& options) {
  AssumedSettings settings;
  TakeMachineSettings(options, &settings);
  for (const std::string& assignment : options.settings) {
    settings.TakeUser(assignment);
  }
  return settings;
}

void ReadAll(const ExplainOptions& options, platform::WallTime since, Explainer* explainer) {
  Progress progress("lines");
  const LineSink add = [&](std::string_view line) {
    explainer->AddLine(line);
    progress.Add();
  };
  if (options.files.empty()) ReadJournal(since, add);
  for (const std::string& file : options.files) ReadLogFile(file, add);
  explainer->Finish();
}

// What is not in the output of --json.
void PrintRemarks(const Explainer& explainer) {
  for (const auto& [name, value, origin] : explainer.settings().Describe()) {
    std::cerr << fmt::format("wavelarkctl: assumed {} {} from {}\n", name, value, origin);
  }
  for (const std::string& sentence : FindAttention(explainer)) {
    std::cerr << "wavelarkctl: " << sentence << '\n';
  }
}

void CheckLog(const Explainer& explainer, const ExplainFilter& filter, bool is_journal) {
  const LogSummary& summary = explainer.summary();
  if (summary.daemon_lines == 0) {
    throw Failure(
        ExitStatus::kData,
        is_journal
            ? "the journal shows no line of ap-wavelark.service: run it as root, or "
              "give a log file"
            : fmt::format("no line of ap-wavelark's log among {}", Count(summary.lines, "line")));
  }
  if (filter.client && explainer.clients().empty() && summary.is_verbose) {
    throw Failure(ExitStatus::kData, "the log has no decision about " + filter.client->ToString());
  }
}

ExitStatus Explain(const ExplainOptions& options) {
  const ExplainFilter filter = MakeFilter(options);
  Explainer::Sink sink;
  if (options.json) {
    sink = [](const ExplainedDecision& explained) {
      std::cout << JsonLine(explained.decision) << '\n';
    };
  }
  Explainer explainer(MakeSettings(options), filter, std::move(sink));
  ReadAll(options, filter.since, &explainer);
  CheckLog(explainer, filter, options.files.empty());
  if (options.json) {
    PrintRemarks(explainer);
  } else {
    std::cout << ExplainText(explainer, filter.keep_runs, IsColourWanted());
  }
  if (!explainer.summary().is_verbose) {
    throw Failure(ExitStatus::kData,
                  "the log was not written with --v=1: it has steers, but not why other clients "
                  "were not steered");
  }
  return FindAttention(explainer).empty() ? ExitStatus::kOk : ExitStatus::kFound;
}

constexpr char kExamples[] = R"(Examples:
  wavelarkctl explain
      why each client was steered or not, from the journal
  wavelarkctl explain --since 2h --client 02:11:22:33:44:55
      the last two hours of one client
  wavelarkctl explain --set client_steering_root_lqm_floor=35 /var/log/wavelark.log
      a log file, whose floor was changed to 35 at run time
  journalctl -u ap-wavelark -o cat | wavelarkctl explain --json - |
    jq -r 'select(.steered) | .address'
      the addresses of the clients that were steered

The daemon must run with --v=1. Exit status: 0; 1 if something needs attention; 64 for a wrong command
line; 65 if the log does not have what is needed; 69 if it can't be read.)";

}  // namespace

void AddExplain(CLI::App& app, Action* action) {
  auto options = std::make_shared<ExplainOptions>();
  CLI::App* command = app.add_subcommand(
      "explain", "Explain why clients were steered or not, from the daemon's log");
  command->add_option("--client", options->client, "Show the polls of this client only")
      ->option_text("MAC");
  command
      ->add_option("--since", options->since,
                   "Begin so long ago, as 7d, 12h or 90m, or at a time, as '2026-11-22 08:00'")
      ->option_text("TIME");
  command
      ->add_option(
          "--set", options->settings,
          "Assume a setting, by the daemon's flag or by the key at run time; may be repeated")
      ->option_text("FLAG=VALUE")
      ->allow_extra_args(false);
  command
      ->add_option("--root", options->root,
                   "Take the settings of the machine whose files are below DIR")
      ->option_text("DIR");
  command->add_flag("--json", options->json, "Print a JSON object for each client and poll");
  command->add_option("FILE", options->files, "Logs instead of the journal; - is standard input")
      ->option_text("...");
  command->footer(kExamples);
  command->callback([options, action] { *action = [options] { return Explain(*options); }; });
}

}  // namespace orvane::wavelarkctl
