#ifndef WAVELARKCTL_OUTPUT_FILE_H_
#define WAVELARKCTL_OUTPUT_FILE_H_

#include <string_view>

#include "platform/files.h"

namespace orvane::wavelarkctl {

// Writes a file that the command line names, or to standard output (kStandardOutput). An existing
// regular file is replaced when the new contents are complete, and its mode and owner remain. A new
// file gets its mode from the umask. Devices, pipes and symbolic links are written in place, as is
// a file beside which this process can't create another one. Throws a Failure (kUnavailable) if the
// file can't be written.
void WriteOutputFile(const platform::FilePath& path, std::string_view contents);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_OUTPUT_FILE_H_
