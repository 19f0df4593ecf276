#ifndef RECORDER_COMMAND_LINE_H_
#define RECORDER_COMMAND_LINE_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "recorder/recorder.h"

namespace orvane::recorder {

// Parses the command line into `*options` and sets the verbose level. Returns nothing if the
// program can continue, otherwise its exit code; see platform::CommandLine::Parse.
std::optional<int> ParseCommandLine(int argc, const char* const* argv, RecorderOptions* options);

}  // namespace orvane::recorder

#endif  // RECORDER_COMMAND_LINE_H_
