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

// What the programs' mains share.

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 64;

// Takes what a stand-in has to tell, as it happens: a line without its line end (a record may be
// several).
using LineSink = std::function<void(std::string_view line)>;

// A sink that writes to standard output, not letting a line lie in a buffer.
void PrintLine(std::string_view line);

// An option for a length of time in seconds, with a fraction if wanted; not negative.
void AddSecondsOption(CLI::App& app, const std::string& name, platform::TimeSpan* value,
                      const std::string& help);

// As AddSecondsOption, in whole milliseconds.
void AddMillisecondsOption(CLI::App& app, const std::string& name, platform::TimeSpan* value,
                           const std::string& help);

// Lets an option be nothing but a well-formed name of a D-Bus error.
CLI::Validator BusErrorName();

// Puts the options that make a stand-in misbehave under a heading of their own in the help.
void GroupMisbehaviour(CLI::App& app, std::initializer_list<const char*> names);

// Reads the command line. The exit code when the program is to end at once: help has been printed,
// or a line on standard error says what is wrong.
std::optional<int> ParseCommandLine(CLI::App& app, int argc, const char* const* argv);

// Makes SIGTERM and SIGINT end the loop with success. To be called before anything is begun that
// has to be ended.
void EndOnSignals(platform::SdEventLoop& loop);

// Runs the loop, unless starting failed. The program's exit code.
int RunProgram(const CLI::App& app, const Failure& start_failure, platform::SdEventLoop& loop);

}  // namespace orvane::testbed

#endif  // TESTBED_PROGRAM_H_
