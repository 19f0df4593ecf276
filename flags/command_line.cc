#include "flags/command_line.h"

#include <cstdint>
#include <string>

#include "flags/flags_directories.h"
#include "platform/command_line.h"
#include "platform/logging.h"

namespace orvane::flags {

std::optional<int> ParseCommandLine(int argc, const char* const* argv, FlagsOptions* options) {
  platform::CommandLine command_line(
      "Publishes the run-time switches of the access point, from files, on the system bus.",
      "ap-wavelark-flags " WAVELARK_VERSION);
  const std::vector<platform::FilePath> defaults = DefaultFlagsDirectories();
  command_line.AddText(
      "directory", "DIR (default: " + defaults[0].native() + ", " + defaults[1].native() + ")",
      "Read the files *.conf in DIR; if given more than once, files in later ones win",
      [options](const std::string& text) {
        options->directories.emplace_back(text);
        return "";
      });
  command_line.AddBool("check", "Check the files, print the map and exit: 0 if it is good, else 65",
                       &options->check);
  std::int32_t verbose_level = 0;
  command_line.AddInt32("v", "Verbose level; 1 logs each reading", &verbose_level);

  const std::optional<int> exit_code = command_line.Parse(argc, argv);
  if (exit_code.has_value()) return exit_code;
  if (options->directories.empty()) options->directories = defaults;
  platform::SetVerboseLevel(verbose_level);
  return std::nullopt;
}

}  // namespace orvane::flags
