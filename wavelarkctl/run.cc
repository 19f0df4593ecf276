#include "wavelarkctl/run.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "platform/files.h"
#include "wavelarkctl/commands.h"

namespace orvane::wavelarkctl {
namespace {

constexpr std::size_t kHelpColumnWidth = 40;

// In the order in which help lists them.
const std::vector<AddCommand*>& Commands() {
  static const std::vector<AddCommand*> kCommands = {AddCheck,  AddEvents, AddExplain,
                                                     AddReplay, AddReport, AddTrace};
  return kCommands;
}

int Report(const std::string& message, ExitStatus status) {
  std::string line = message;
  std::ranges::replace(line, '\n', ' ');
  std::cerr << "wavelarkctl: " << line << '\n';
  return static_cast<int>(status);
}

int ReportNoCommand(const CLI::App& app) {
  const std::vector<std::string> words = app.remaining();
  const auto name =
      std::ranges::find_if(words, [](const std::string& word) { return !word.starts_with('-'); });
  const std::string problem =
      name == words.end() ? "a command is missing" : "there is no command " + *name;
  return Report(problem + " (--help lists the commands)", ExitStatus::kUsage);
}

int RunAction(const Action& action) {
  try {
    const ExitStatus status = action();
    if (std::cout.flush()) return static_cast<int>(status);
    return Report("can't write to standard output", ExitStatus::kUnavailable);
  } catch (const Failure& failure) {
    return Report(failure.what(), failure.status());
  } catch (const std::exception& error) {
    return Report(error.what(), ExitStatus::kUnavailable);
  }
}

}  // namespace

int RunWavelarkctl(int argc, const char* const* argv) {
  platform::FillStandardDescriptors();
  CLI::App app("Shows what ap-wavelark does, why, and what a setting would do.", "wavelarkctl");
  app.get_formatter()->column_width(kHelpColumnWidth);
  app.set_help_flag("--help", "Print this help and exit");
  app.set_version_flag("--version", "wavelarkctl " WAVELARK_VERSION, "Print the version and exit");
  app.require_subcommand(1);
  Action action;
  for (AddCommand* add : Commands()) add(app, &action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    if (app.get_subcommands().empty()) return ReportNoCommand(app);
    return Report(std::string(error.what()) + " (--help lists the options)", ExitStatus::kUsage);
  }
  return RunAction(action);
}

}  // namespace orvane::wavelarkctl
