#ifndef WAVELARKCTL_CHECK_UNIT_FILES_H_
#define WAVELARKCTL_CHECK_UNIT_FILES_H_

#include <map>
#include <string>
#include <string_view>

#include "wavelarkctl/check/machine.h"

namespace orvane::wavelarkctl {

// Reads the settings of a unit, by key, from its file and the drop-ins in all directories, where
// systemd does not answer. A later value replaces an earlier one; RestrictAddressFamilies is merged
// as systemd does.
std::map<std::string, std::string> ReadUnitFiles(const Machine& machine, std::string_view unit);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_CHECK_UNIT_FILES_H_
