#ifndef RECORDER_METRICS_FILE_H_
#define RECORDER_METRICS_FILE_H_

#include <string>
#include <string_view>

#include "platform/files.h"

namespace orvane::recorder {

// Replaces a file atomically, so that nobody reads an incomplete one. It is readable by everybody.
// Returns the error, or an empty string.
std::string ReplaceFile(const platform::FilePath& path, std::string_view text);

}  // namespace orvane::recorder

#endif  // RECORDER_METRICS_FILE_H_
