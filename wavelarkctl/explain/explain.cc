// The subcommand "explain": its options, the log, the settings, and the output.

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
#include "wavelarkctl/client_option.h"
#include "wavelarkctl/commands.h"
#include "wavelarkctl/common_options.h"
#include "wavelarkctl/daemon_options.h"
#include "wavelarkctl/explain/explain_text.h"
#include "wavelarkctl/explain/explainer.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/log/assumed_settings.h"
#include "wavelarkctl/log/log_source.h"
#include "wavelarkctl/progress.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

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
    filter.client = ClientAddress(options.client);
    filter.keep_runs = !options.json;
  }
  if (!options.since.empty()) filter.since = ParseTimeOption("--since", options.since);
  return filter;
}

// Takes the settings of this machine, or of the machine below --root. A log file may come from
// another machine, so its settings are taken only with --root.
void TakeMachineSettings(const ExplainOptions& options, AssumedSettings* settings) {
  if (!options.files.empty() && options.root.empty()) return;
  const platform::FilePath root = options.root.empty() ? "/" : options.root;
  bool is_root_node = true;
  if (const auto daemon = ReadDaemonOptions(root); daemon && daemon->error.empty()) {
    is_root_node = daemon->flags.is_root;
    if (!daemon->text.empty()) settings->TakeCommandLine(daemon->flags, kDaemonDefaultsFile);
  }
  const flags::Reading reading = flags::ReadFlagsDirectories(flags::DefaultFlagsDirectories(root));
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

std::string NoLinesText(std::size_t lines) {
  return fmt::format("no line of ap-wavelark's log among {}", Count(lines, "line"));
}

// Reads one of several files. Names it if it has lines, but none of the daemon: it may be
// compressed.
void ReadFile(const std::string& file, const LineSink& add, Explainer* explainer) {
  const LogSummary& summary = explainer->summary();
  const std::size_t lines = summary.lines;
  const std::size_t daemon_lines = summary.daemon_lines;
  explainer->BeginFile();
  ReadLogFile(file, add);
  if (summary.daemon_lines == daemon_lines && summary.lines > lines) {
    std::cerr << fmt::format("wavelarkctl: {}: {}\n", file, NoLinesText(summary.lines - lines));
  }
}

void ReadAll(const ExplainOptions& options, platform::WallTime since, Explainer* explainer) {
  Progress progress("lines");
  const LineSink add = [&](std::string_view line) {
    explainer->AddLine(line);
    progress.Add();
  };
  if (options.files.empty()) ReadJournal(since, add);
  const bool is_alone = options.files.size() == 1;
  for (const std::string& file : options.files) {
    is_alone ? ReadLogFile(file, add) : ReadFile(file, add, explainer);
  }
  explainer->Finish();
}

// Prints what the output of --json lacks.
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
            ? "the journal shows no line of ap-wavelark.service: run as root, or name a log file"
            : NoLinesText(summary.lines));
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
                  "the log was written without --v=1: it shows steers, but not why other clients "
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

The daemon must run with --v=1. Exit status: 0; 1 if something needs attention; 64 for a wrong
command line; 65 if the log lacks what is needed; 69 if it can't be read.)";

}  // namespace

void AddExplain(CLI::App& app, Action* action) {
  auto options = std::make_shared<ExplainOptions>();
  CLI::App* command = app.add_subcommand(
      "explain", "Explain why clients were steered or not, from the daemon's log");
  RefuseEmpty(command->add_option("--client", options->client, "Only the polls of this client")
                  ->option_text("MAC"));
  RefuseEmpty(command
                  ->add_option("--since", options->since,
                               fmt::format("Only the log since this time{}", kTimeForms))
                  ->option_text("TIME"));
  AddSetOption(*command, &options->settings);
  RefuseEmpty(command
                  ->add_option("--root", options->root,
                               "Read the settings from the files below DIR, not from those of "
                               "this machine")
                  ->option_text("DIR"));
  command->add_flag("--json", options->json, "Print a JSON object for each client and poll");
  command
      ->add_option("FILE", options->files, "Read these logs, not the journal; - is standard input")
      ->option_text("...");
  command->footer(kExamples);
  command->callback([options, action] { *action = [options] { return Explain(*options); }; });
}

}  // namespace orvane::wavelarkctl
