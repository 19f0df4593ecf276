// Serves hostapd's control sockets without a radio, and plays events on them.

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <optional>
#include <string>

#include "platform/files.h"
#include "platform/logging.h"
#include "platform/sd_event_loop.h"
#include "testbed/event_day.h"
#include "testbed/event_plan.h"
#include "testbed/hostapd_standin.h"
#include "testbed/program.h"

namespace orvane::testbed {
namespace {

// What to play, from the command line.
struct PlayOptions {
  std::optional<std::string> script;
  bool day = false;
  std::optional<std::size_t> count;
  double speed = 1;
  std::optional<double> rate;
  std::size_t repeat = 1;
};

constexpr double kLargestFactor = 1e6;
constexpr std::size_t kLargestCount = 1'000'000'000;

void DescribePlayOptions(CLI::App& app, PlayOptions* play) {
  CLI::Option_group* source = app.add_option_group("What to play (once a client has attached)");
  source
      ->add_option("--script", play->script,
                   "Lines of SECONDS INTERFACE EVENT-LINE; seconds count from the first attach on "
                   "the interface, and may have a fraction; '#' begins a comment")
      ->type_name("FILE");
  source->add_flag("--day", play->day, "A day of an access point in small, in eight seconds");
  source
      ->add_option("--count", play->count,
                   "N connect events of about 220 bytes on each interface, as fast as they are "
                   "taken; none is lost")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{1}, kLargestCount));
  source->require_option(0, 1);
  CLI::Option_group* pace = app.add_option_group("How to play it");
  pace->add_option("--speed", play->speed, "So many times as fast")
      ->type_name("FACTOR")
      ->check(CLI::Range(1 / kLargestFactor, kLargestFactor));
  pace->add_option("--rate", play->rate,
                   "N events a second on each interface, whatever their times")
      ->type_name("N")
      ->check(CLI::Range(1 / kLargestFactor, kLargestFactor))
      ->excludes("--speed");
  pace->add_option("--repeat", play->repeat, "N times in all")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{1}, kLargestCount));
}

void DescribeOptions(CLI::App& app, HostapdStandinOptions* options) {
  app.add_option("--directory", options->directory, "Where the sockets are")
      ->type_name("DIR")
      ->capture_default_str();
  app.add_option("--interface", options->interfaces, "Serve this interface; may be given again")
      ->type_name("NAME")
      ->capture_default_str();
  app.add_flag("--exit-when-done", options->exit_when_done, "Exit after the last event");
  app.add_flag("--no-answer", options->no_answer, "Never answer ATTACH");
  AddMillisecondsOption(app, "--answer-delay", &options->answer_delay,
                        "Answer each command only after this long");
  GroupMisbehaviour(app, {"--no-answer", "--answer-delay"});
}

EventPlan Paced(EventPlan plan, const PlayOptions& play) {
  plan = Repeated(std::move(plan), play.repeat);
  return play.rate ? AtRate(std::move(plan), *play.rate) : AtSpeed(std::move(plan), play.speed);
}

Failure PlanScript(const PlayOptions& play, HostapdStandinOptions* options) {
  const std::optional<std::string> text = platform::ReadFileToString(*play.script);
  if (!text) return "Can't read " + *play.script + ": " + platform::SystemErrorText(errno);
  Script script;
  if (const Failure failure = ParseScript(*text, options->interfaces, &script)) {
    return *play.script + " " + *failure;
  }
  for (auto& [interface, lines] : script) {
    options->plans[interface] = Paced(PlanOf(std::move(lines)), play);
  }
  return std::nullopt;
}

Failure MakePlans(const PlayOptions& play, platform::WallTime now, HostapdStandinOptions* options) {
  if (play.script) return PlanScript(play, options);
  if (!play.day && !play.count) return std::nullopt;
  const EventPlan plan = play.day ? PlanOf(EventDay(now)) : FloodPlan(*play.count);
  for (const std::string& interface : options->interfaces) {
    options->plans[interface] = Paced(plan, play);
  }
  return std::nullopt;
}

int Main(int argc, char** argv) {
  CLI::App app("Serves the control sockets of hostapd, and plays events to who attaches.",
               "hostapd_standin");
  HostapdStandinOptions options;
  PlayOptions play;
  DescribeOptions(app, &options);
  DescribePlayOptions(app, &play);
  app.callback([&] {
    if (options.exit_when_done && !play.script && !play.day && !play.count) {
      throw CLI::ValidationError("--exit-when-done", "there is nothing to play");
    }
  });
  if (const std::optional<int> exit_code = ParseCommandLine(app, argc, argv)) return *exit_code;
  platform::SdEventLoop loop;
  EndOnSignals(loop);
  if (const Failure failure = MakePlans(play, loop.Now(), &options)) {
    return RunProgram(app, failure, loop);
  }
  HostapdStandin standin(loop, options, &PrintLine);
  return RunProgram(app, standin.Start(), loop);
}

}  // namespace
}  // namespace orvane::testbed

// NOLINTNEXTLINE(bugprone-exception-escape): it ends the process, with its text.
int main(int argc, char** argv) { return orvane::testbed::Main(argc, argv); }
