// The subcommand "trace": its options, the kernel, and the end of the recording.

#include <signal.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/interface_names.h"
#include "platform/logging.h"
#include "platform/netlink/netlink_manager.h"
#include "platform/sd_event_loop.h"
#include "wavelarkctl/commands.h"
#include "wavelarkctl/common_options.h"
#include "wavelarkctl/seconds.h"
#include "wavelarkctl/trace/trace_recorder.h"
#include "wavelarkctl/trace/trace_row.h"
#include "wavelarkctl/trace/trace_writer.h"

namespace orvane::wavelarkctl {
namespace {

constexpr char kNl80211Family[] = "nl80211";
constexpr platform::TimeSpan kShortestPeriod = std::chrono::milliseconds(100);

struct CommandOptions {
  std::vector<std::string> interfaces = {ap::kMainInterfaces.begin(), ap::kMainInterfaces.end()};
  std::string every = "1s";
  std::string file = kStandardOutput;
  bool is_anonymous = false;
};

platform::TimeSpan PeriodOf(const CommandOptions& options) {
  std::string_view text = options.every;
  if (text.ends_with('s')) text.remove_suffix(1);
  const std::optional<platform::TimeSpan> period = ParseSeconds(text);
  if (period && *period >= kShortestPeriod) return *period;
  throw Failure(ExitStatus::kUsage,
                "--every: '" + options.every + "' is not a time of at least 0.1s, such as 1s");
}

void CheckInterfaces(const CommandOptions& options, const platform::NetlinkManager& netlink) {
  for (const std::string& name : options.interfaces) {
    if (!IsInterfaceName(name)) {
      throw Failure(ExitStatus::kUsage,
                    "--interface: '" + name + "' is not a name that a trace can have");
    }
  }
  const bool exists = std::ranges::any_of(options.interfaces, [&](const std::string& name) {
    return netlink.GetInterfaceIndex(name) != 0;
  });
  if (exists) return;
  std::string names;
  for (const std::string& name : options.interfaces) names += (names.empty() ? "" : ", ") + name;
  throw Failure(ExitStatus::kUnavailable, "no such interface: " + names + " (--interface)");
}

TraceWriter MakeWriter(const CommandOptions& options) {
  if (options.file != kStandardOutput) return CreateTrace(options.file);
  return {platform::ScopedFd(dup(STDOUT_FILENO)), "standard output"};
}

ExitStatus Trace(const CommandOptions& options) {
  // A failure of an interface is reported once, by the recorder.
  platform::InitLog(0, "");
  const platform::TimeSpan period = PeriodOf(options);
  platform::NetlinkManager* netlink = platform::NetlinkManager::GetInstance();
  CheckInterfaces(options, *netlink);
  netlink->SetNl80211MessageType(netlink->GetFamily(kNl80211Family));
  if (netlink->nl80211_message_type() == 0) {
    throw Failure(ExitStatus::kUnavailable, "the kernel has no nl80211");
  }
  platform::SdEventLoop loop;
  for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
    loop.HandleSignal(signal_number, [&loop] { loop.Quit(0); });
  }
  TraceWriter writer = MakeWriter(options);
  std::exception_ptr failure;
  netlink->Start(loop);
  TraceRecorder recorder(
      loop, netlink, {options.interfaces, period, options.is_anonymous}, &writer,
      [](const std::string& text) { std::cerr << "wavelarkctl: " << text << '\n'; },
      [&](std::exception_ptr exception) {
        failure = std::move(exception);
        loop.Quit(0);
      });
  recorder.Start();
  loop.Run();
  netlink->Stop();
  if (failure) std::rethrow_exception(failure);
  return ExitStatus::kOk;
}

constexpr char kExamples[] = R"(Examples:
  wavelarkctl trace -o office.csv
      the clients of the daemon's two interfaces once a second, until Ctrl-C
  wavelarkctl trace --interface wlan0 --interface wlan1 --every 10s --anonymous -o office.csv
      two other interfaces, with numbers instead of addresses
  timeout 1h wavelarkctl trace -o office.csv; wavelarkctl replay office.csv
      record for an hour, then show what the daemon would have done

Exit status: 0 after a signal; 64 for a wrong command line; 69 if none of the interfaces exists, or
the trace can't be written.)";

}  // namespace

void AddTrace(CLI::App& app, Action* action) {
  auto options = std::make_shared<CommandOptions>();
  CLI::App* command =
      app.add_subcommand("trace", "Record the signals of clients into a trace, for replay");
  AddRepeatedOption(*command, "--interface", &options->interfaces,
                    "Record this interface, not the daemon's two", "NAME");
  command
      ->add_option("--every", options->every,
                   WithDefault("The time between two samples", options->every))
      ->option_text("SECONDS");
  RefuseEmpty(command
                  ->add_option("-o,--output", options->file,
                               WithDefault("Write the trace to this new file; - is standard output",
                                           options->file))
                  ->option_text("FILE"));
  command->add_flag("--anonymous", options->is_anonymous,
                    "Replace each address by a number in order of appearance");
  command->footer(kExamples);
  command->callback([options, action] { *action = [options] { return Trace(*options); }; });
}

}  // namespace orvane::wavelarkctl
