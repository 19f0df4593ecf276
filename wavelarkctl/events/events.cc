// wavelarkctl events: the recorded events, one line each.

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "optimizer/station_id_generator.h"
#include "platform/files.h"
#include "recorder/schema.h"
#include "wavelarkctl/client_option.h"
#include "wavelarkctl/commands.h"
#include "wavelarkctl/common_options.h"
#include "wavelarkctl/events/event_follower.h"
#include "wavelarkctl/events/recorded_event.h"
#include "wavelarkctl/events/records.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using platform::FilePath;

// The number of past events that --follow shows first.
constexpr int kFirstEvents = 10;

// How often --follow looks for new events.
constexpr int kPollMs = 500;

constexpr char kDescription[] = "Show the recorded events of clients";

constexpr char kExamples[] = R"(Examples:
  wavelarkctl events --since 12h
      the events of the last 12 hours
  wavelarkctl events --follow --client 02:00:00:00:02:00
      the events of one client as they are recorded
  wavelarkctl events --since '2026-11-22 08:00' --json | jq -r .event_type | sort | uniq -c
      how many events of each type there were

Events are shown in the order of recording. The daemon sends them to the recorder once per upload
period, so they appear later than they happen. A client is shown by the first digits of its salted
identifier. Exit status: 0; 64 for a wrong command line; 65 for a wrong database; 69 if the database
or the salt can't be read.)";

struct Options {
  FilePath database = recorder::DatabaseOptions().path;
  FilePath salt = ap::StationIdGenerator::kSaltFile;
  std::optional<std::string> since;
  std::optional<std::string> client;
  bool is_following = false;
  bool is_json = false;
};

// A handler instead of a flag, since a signal must also end a write that blocks. The database is
// only read, so there is nothing to clean up.
void EndProgram(int /*signal_number*/) { _exit(static_cast<int>(ExitStatus::kOk)); }

// Lets each of these signals end the program with success. A write to a closed pipe causes SIGPIPE.
void EndAtSignals() {
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    signal(signal_number, EndProgram);
  }
}

// Waits until it is time to look for new events. Returns false if the reader of standard output has
// gone.
bool WaitForMore() {
  // Without any requested event, poll still reports that the reader has gone.
  pollfd output = {STDOUT_FILENO, 0, 0};
  return poll(&output, 1, kPollMs) <= 0;
}

void Print(const std::vector<RecordedEvent>& events, bool is_json) {
  const bool has_colour = !is_json && IsColourWanted();
  for (const RecordedEvent& event : events) {
    std::cout << (is_json ? EventJson(event) : EventText(event, has_colour)) << '\n';
  }
  std::cout.flush();
}

// Prints events as they are recorded, until the program must end.
void Follow(const Options& options, const EventFilter& filter) {
  EndAtSignals();
  EventFollower follower(options.database, filter,
                         !options.since.has_value() ? std::optional(kFirstEvents) : std::nullopt);
  do {
    follower.ReadNew([&](const auto& events) { Print(events, options.is_json); });
  } while (std::cout && WaitForMore());
}

void PrintAll(const Options& options, const EventFilter& filter) {
  ReadRecords(options.database, [&](SQLite::Database& database) {
    EventReader reader(database, filter);
    while (true) {
      const std::vector<RecordedEvent>& events = reader.ReadSome();
      if (events.empty() || !std::cout) break;
      Print(events, options.is_json);
    }
  });
}

ExitStatus Run(const Options& options) {
  EventFilter filter;
  if (options.since.has_value()) {
    filter.since_ms = std::chrono::floor<std::chrono::milliseconds>(
                          ParseTimeOption("--since", *options.since).time_since_epoch())
                          .count();
  }
  if (options.client.has_value()) filter.client = ClientIdentifier(*options.client, options.salt);
  if (options.is_following) {
    Follow(options, filter);
  } else {
    PrintAll(options, filter);
  }
  return ExitStatus::kOk;
}

}  // namespace

void AddEvents(CLI::App& app, Action* action) {
  CLI::App* command = app.add_subcommand("events", kDescription);
  command->footer(kExamples);
  const auto options = std::make_shared<Options>();
  command->add_flag("--follow", options->is_following,
                    "Show the last 10 events, or those of --since, then new ones until a signal");
  command
      ->add_option_function<std::string>(
          "--since", [options](const std::string& text) { options->since = text; },
          fmt::format("Only events since this time{}", kTimeForms))
      ->option_text("TIME");
  command
      ->add_option_function<std::string>(
          "--client", [options](const std::string& text) { options->client = text; },
          "Only events of this client: its address, its identifier, or the first digits "
          "of that")
      ->option_text("ID|MAC");
  command->add_flag("--json", options->is_json,
                    "Print a JSON object for each event, with the fields of the database");
  AddDatabaseOption(*command, &options->database);
  AddSaltOption(*command, &options->salt);
  command->callback([action, options] { *action = [options] { return Run(*options); }; });
}

}  // namespace orvane::wavelarkctl
