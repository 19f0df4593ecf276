#ifndef WAVELARKCTL_CLIENT_OPTION_H_
#define WAVELARKCTL_CLIENT_OPTION_H_

#include <string>

#include "platform/files.h"

namespace orvane::wavelarkctl {

// The identifier of a client, or its first digits, in upper case. `text` is either that or a
// hardware address with ":" or "-", from which the daemon's salt makes the identifier. Throws a
// Failure: kUsage for a text that is neither, kUnavailable if the salt can't be read.
std::string ClientIdentifier(const std::string& text, const platform::FilePath& salt_file);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_CLIENT_OPTION_H_
