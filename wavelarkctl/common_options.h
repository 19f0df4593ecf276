#ifndef WAVELARKCTL_COMMON_OPTIONS_H_
#define WAVELARKCTL_COMMON_OPTIONS_H_

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace orvane::wavelarkctl {

// Options that several subcommands have, and what their help texts have in common.

// Follows the help text of an option that ParseTimeOption reads.
inline constexpr std::string_view kTimeForms =
    ": an age (7d, 12h, 90m, 30s) or a date ('2026-11-22 08:00')";

// As the file of an output option.
inline constexpr char kStandardOutput[] = "-";

// "HELP (default: VALUE)". Each option with a default has its help text from here.
template <typename Value>
std::string WithDefault(std::string_view help, const Value& value) {
  return fmt::format("{} (default: {})", help, value);
}

// Adds an option that may be repeated, each time with one value. `value` describes the value.
void AddRepeatedOption(CLI::App& command, const std::string& name, std::vector<std::string>* values,
                       const std::string& help, const std::string& value);

// Makes an empty value an error of the command line, as of a shell variable that is not set.
void RefuseEmpty(CLI::Option* option);

// --database, which sets `*path`. `*path` holds the default.
void AddDatabaseOption(CLI::App& command, platform::FilePath* path);

// --salt, likewise.
void AddSaltOption(CLI::App& command, platform::FilePath* path);

// --set, for ParseSteerAssignment.
void AddSetOption(CLI::App& command, std::vector<std::string>* assignments);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_COMMON_OPTIONS_H_
