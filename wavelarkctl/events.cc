// wavelarkctl events: the recorded events, one line each.

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <array>
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
#include "wavelarkctl/recorded_event.h"
#include "wavelarkctl/records.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using platform::FilePath;

// How many past events --follow begins with.
constexpr int kFirstEvents = 10;

// How often --follow looks for more.
constexpr int kPollMs = 500;

// How often --follow tries to read a database that has replaced another one.
constexpr int kMostFailures = 20;

constexpr char kDescription[] = "Show the recorded events of clients";

constexpr char kExamples[] =
    "Events are shown in the order in which they were recorded. The daemon hands them to the\n"
    "recorder once per upload period, so they appear later than they happen. A client is shown by\n"
    "the first digits of its salted identifier.\n\n"
    "Examples:\n"
    "  wavelarkctl events --since 12h\n"
    "  wavelarkctl events --follow --client 02:00:00:00:02:00\n"
    "  wavelarkctl events --since '2026-11-22 08:00' --json | jq -r .event_type | sort | uniq -c";

struct Options {
  FilePath database = recorder::DatabaseOptions().path;
  FilePath salt = ap::StationIdGenerator::kSaltFile;
  std::string since;
  std::string client;
  bool is_following = false;
  bool is_json = false;
};

// Becomes readable when a signal asks the program to end. The signals are blocked from then on.
platform::ScopedFd OpenEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal_number);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return platform::ScopedFd(signalfd(-1, &signals, SFD_CLOEXEC));
}

// Waits for the next look. False if the program is to end: by a signal, or since nobody reads.
bool WaitForMore(const platform::ScopedFd& end_signals) {
  // Without asking for any event, an error of the reader's end is still reported.
  auto descriptors = std::to_array<pollfd>({{end_signals.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}});
  const int ready = platform::RetryOnEintr(
      [&descriptors] { return poll(descriptors.data(), descriptors.size(), kPollMs); });
  return ready == 0;
}

// Identifies the file behind a path. A recorder that finds its database damaged begins another one.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

std::optional<FileIdentity> IdentityOf(const FilePath& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

void PrintAll(EventReader* reader, bool is_json) {
  const bool has_colour = !is_json && isatty(STDOUT_FILENO) != 0;
  while (true) {
    const std::vector<RecordedEvent>& events = reader->ReadSome();
    for (const RecordedEvent& event : events) {
      std::cout << (is_json ? EventJson(event) : EventText(event, has_colour)) << '\n';
    }
    if (events.empty()) break;
  }
  std::cout.flush();
}

// Prints what is recorded until the program is to end (true), or another database is in place of
// this one (false).
bool Follow(EventReader* reader, const Options& options, const platform::ScopedFd& end_signals) {
  const auto identity = IdentityOf(options.database);
  while (true) {
    PrintAll(reader, options.is_json);
    if (!std::cout || !WaitForMore(end_signals)) return true;
    const auto now = IdentityOf(options.database);
    if (now.has_value() && now != identity) return false;
  }
}

void FollowAll(const Options& options, const EventFilter& filter) {
  const platform::ScopedFd end_signals = OpenEndSignals();
  std::optional<FileIdentity> followed;
  bool is_over = false;
  int failures = 0;
  while (!is_over) {
    try {
      ReadRecords(options.database, [&](SQLite::Database& database) {
        EventReader reader(database, filter);
        if (!followed.has_value() && options.since.empty()) reader.SkipToLast(kFirstEvents);
        followed = IdentityOf(options.database);
        is_over = Follow(&reader, options, end_signals);
      });
    } catch (const Failure&) {
      // The recorder may still be making the database that replaces the one before.
      const bool is_replaced = followed.has_value() && IdentityOf(options.database) != followed;
      if (!is_replaced || ++failures == kMostFailures) throw;
      is_over = !WaitForMore(end_signals);
    }
  }
}

ExitStatus Run(const Options& options) {
  EventFilter filter;
  if (!options.since.empty()) {
    filter.since_ms = std::chrono::floor<std::chrono::milliseconds>(
                          ParseTimeOption("--since", options.since).time_since_epoch())
                          .count();
  }
  if (!options.client.empty()) filter.client = ClientIdentifier(options.client, options.salt);
  if (options.is_following) {
    FollowAll(options, filter);
    return ExitStatus::kOk;
  }
  ReadRecords(options.database, [&](SQLite::Database& database) {
    EventReader reader(database, filter);
    PrintAll(&reader, options.is_json);
  });
  return ExitStatus::kOk;
}

}  // namespace

void AddEvents(CLI::App& app, Action* action) {
  CLI::App* command = app.add_subcommand("events", kDescription);
  command->footer(kExamples);
  const auto options = std::make_shared<Options>();
  command->add_flag("--follow", options->is_following,
                    "Go on with events as they are recorded, until a signal; begins with the last "
                    "10 events, or at --since");
  command
      ->add_option("--since", options->since,
                   "Only events since then: 7d, 12h, 90m, 30s ago, or a date with or without a "
                   "time of day")
      ->type_name("TIME");
  command
      ->add_option("--client", options->client,
                   "Only events of this client: its address, its identifier, or the first "
                   "digits of that")
      ->type_name("ID|MAC");
  command->add_flag("--json", options->is_json,
                    "Print an object of JSON per line, with the fields of the database");
  command->add_option("--database", options->database, "The recorder's database")
      ->type_name("FILE")
      ->default_str(options->database.native());
  command
      ->add_option("--salt", options->salt,
                   "The salt of the identifiers, to find the identifier of an address")
      ->type_name("FILE")
      ->default_str(options->salt.native());
  command->callback([action, options] { *action = [options] { return Run(*options); }; });
}

}  // namespace orvane::wavelarkctl
