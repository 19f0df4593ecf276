#ifndef TESTBED_PROGRAM_H_
#define TESTBED_PROGRAM_H_

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/sd_event_loop.h"
#include "platform/time.h"
#include "testbed/failure.h"

namespace orvane::testbed {

// Exit codes of the programs.

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 64;

// Receives a stand-in's output, one line without its line end at a time. A record may have several
// lines.
using LineSink = std::function<void(std::string_view line)>;

// Prints a line to standard output and flushes it.
void PrintLine(std::string_view line);

// Adds an option for a duration in seconds, with an optional fraction; not negative.
void AddSecondsOption(CLI::App& app, const std::string& name, platform::TimeSpan* value,
                      const std::string& help);

// Like AddSecondsOption, in whole milliseconds.
void AddMillisecondsOption(CLI::App& app, const std::string& name, platform::TimeSpan* value,
                           const std::string& help);

// Accepts only a well-formed name of a D-Bus error.
CLI::Validator BusErrorName();

// Puts the options for faults under their own heading in the help.
void GroupMisbehaviour(CLI::App& app, std::initializer_list<const char*> names);

// Parses the command line. Returns an exit code if the program must end at once: it has printed
// help, or an error on standard error.
std::optional<int> ParseCommandLine(CLI::App& app, int argc, const char* const* argv);

// Makes SIGTERM and SIGINT end the loop with success. Call it before anything starts that needs
// cleaning up.
void EndOnSignals(platform::SdEventLoop& loop);

// Returns the exit code of a program that has ended with this result. Prints a failure on standard
// error.
int ExitCodeOf(const CLI::App& app, const Failure& failure);

// Runs the loop, unless the start failed. Returns the program's exit code.
int RunProgram(const CLI::App& app, const Failure& start_failure, platform::SdEventLoop& loop);

}  // namespace orvane::testbed

#endif  // TESTBED_PROGRAM_H_
