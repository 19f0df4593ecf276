#ifndef WAVELARKCTL_CLIENT_OPTION_H_
#define WAVELARKCTL_CLIENT_OPTION_H_

#include <string>

#include "common/mac_address.h"
#include "platform/files.h"

namespace orvane::wavelarkctl {

// Returns the hardware address of a client, which is written with ":" or "-". Throws a Failure
// (kUsage) for any other text.
ap::MacAddress ClientAddress(const std::string& text);

// Returns the identifier of a client, or its first digits, in upper case. `text` is that
// identifier, or a hardware address with ":" or "-", which is hashed with the daemon's salt. Throws
// a Failure: kUsage for any other text, kUnavailable if the salt can't be read.
std::string ClientIdentifier(const std::string& text, const platform::FilePath& salt_file);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_CLIENT_OPTION_H_
