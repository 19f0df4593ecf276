#ifndef FLAGS_COMMAND_LINE_H_
#define FLAGS_COMMAND_LINE_H_

#include <optional>
#include <vector>

#include "platform/files.h"

namespace orvane::flags {

struct FlagsOptions {
  // Later directories override earlier ones.
  std::vector<platform::FilePath> directories;
  bool check = false;
};

// Parses the command line into `*options` and sets the verbose level. Returns nothing if the
// program can continue, otherwise its exit code; see platform::CommandLine::Parse.
std::optional<int> ParseCommandLine(int argc, const char* const* argv, FlagsOptions* options);

}  // namespace orvane::flags

#endif  // FLAGS_COMMAND_LINE_H_
