#include "testbed/program.h"

#include <signal.h>
#include <systemd/sd-bus.h>

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <cstdio>
#include <iostream>
#include <ratio>
#include <string>

namespace orvane::testbed {
namespace {

using platform::TimeSpan;

// Long enough, and short enough to be counted in microseconds.
constexpr double kLongestSeconds = 1e9;

template <typename Unit>
void AddTimeOption(CLI::App& app, const std::string& name, TimeSpan* value, const std::string& help,
                   const char* unit) {
  const auto assign = [value](const double& count) {
    *value = std::chrono::duration_cast<TimeSpan>(std::chrono::duration<double, Unit>(count));
  };
  app.add_option_function<double>(name, assign, help)
      ->type_name(unit)
      ->check(CLI::Range(0.0, kLongestSeconds).description(""));
}

}  // namespace

void PrintLine(std::string_view line) {
  std::cout << line << std::endl;  // flushed: readers wait for it
}

void AddSecondsOption(CLI::App& app, const std::string& name, TimeSpan* value,
                      const std::string& help) {
  AddTimeOption<std::ratio<1>>(app, name, value, help, "SECONDS");
}

void AddMillisecondsOption(CLI::App& app, const std::string& name, TimeSpan* value,
                           const std::string& help) {
  AddTimeOption<std::milli>(app, name, value, help, "MS");
}

CLI::Validator BusErrorName() {
  // D-Bus error names follow the rules of interface names.
  return {[](std::string& name) {
            const bool good = sd_bus_interface_name_is_valid(name.c_str()) > 0;
            return good ? std::string() : "not a D-Bus error name: " + name;
          },
          "", "bus error name"};
}

void GroupMisbehaviour(CLI::App& app, std::initializer_list<const char*> names) {
  for (const char* name : names) app.get_option(name)->group("Misbehaviour");
}

std::optional<int> ParseCommandLine(CLI::App& app, int argc, const char* const* argv) {
  try {
    app.parse(argc, argv);
    return std::nullopt;
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    std::cerr << app.get_name() << ": " << error.what() << " (see --help)\n";
    return kExitUsage;
  }
}

void EndOnSignals(platform::SdEventLoop& loop) {
  for (const int signal_number : {SIGTERM, SIGINT}) {
    loop.HandleSignal(signal_number, [&loop] { loop.Quit(kExitOk); });
  }
}

int ExitCodeOf(const CLI::App& app, const Failure& failure) {
  if (!failure) return kExitOk;
  std::cerr << app.get_name() << ": " << *failure << "\n";
  return kExitFailure;
}

int RunProgram(const CLI::App& app, const Failure& start_failure, platform::SdEventLoop& loop) {
  return start_failure ? ExitCodeOf(app, start_failure) : loop.Run();
}

}  // namespace orvane::testbed
