#ifndef LAB_STATIONS_FILE_H_
#define LAB_STATIONS_FILE_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "lab/failure.h"
#include "platform/netlink/testing/fake_kernel.h"

namespace orvane::lab {

// The stations of each interface, in the order in which the kernel tells them.
using StationTable = std::map<std::string, std::vector<platform::FakeKernel::Station>>;

// Reads lines "INTERFACE [ADDRESS SIGNAL [MARK...]]": a station, with its average signal in dBm, or
// only that there is such an interface. Marks are "unauthorized", "no-signal-average" and
// "no-rx-bitrate". Empty lines, and those that begin with "#", say nothing. The first bad line is a
// failure that tells its number.
[[nodiscard]] Failure ParseStationsFile(std::string_view text, StationTable* table);

}  // namespace orvane::lab

#endif  // LAB_STATIONS_FILE_H_
