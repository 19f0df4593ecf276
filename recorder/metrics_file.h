#ifndef RECORDER_METRICS_FILE_H_
#define RECORDER_METRICS_FILE_H_

#include <string>
#include <string_view>

#include "platform/files.h"

namespace orvane::recorder {

// Replaces a file in one step, so that nobody reads half of it. Everybody may read it. Returns what
// went wrong, or an empty string.
std::string ReplaceFile(const platform::FilePath& path, std::string_view text);

}  // namespace orvane::recorder

#endif  // RECORDER_METRICS_FILE_H_
