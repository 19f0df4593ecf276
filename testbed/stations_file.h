#ifndef TESTBED_STATIONS_FILE_H_
#define TESTBED_STATIONS_FILE_H_

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/fake_kernel.h"
#include "testbed/failure.h"

namespace orvane::testbed {

// The stations of each interface, in the order in which the kernel tells them.
using StationTable = std::map<std::string, std::vector<simulation::FakeKernel::Station>>;

// What goes wrong in the kernel, at every request for as long as the file tells so.
struct KernelFaults {
  struct FailedDump {
    std::size_t records;  // that come before it fails
    int error_number;

    friend bool operator==(const FailedDump&, const FailedDump&) = default;
  };

  bool is_silent = false;
  bool interrupts_dumps = false;
  bool loses_parts = false;
  std::optional<FailedDump> failed_dump;
  // The index of the first is looked up, and that of the second is found.
  std::map<std::string, std::string> reused_indexes;

  friend bool operator==(const KernelFaults&, const KernelFaults&) = default;
};

struct StationsFile {
  StationTable stations;
  KernelFaults faults;
};

// Reads lines "INTERFACE [ADDRESS SIGNAL [MARK...]]": a station, with its average signal in dBm, or
// only that there is such an interface. Marks are "unauthorized", "no-signal-average" and
// "no-rx-bitrate". Lines "! FAULT [ARGUMENT...]" are about the kernel: "silent", "interrupted",
// "losing", "failing RECORDS ERROR", "reusing INTERFACE OTHER". Empty lines, and those that begin
// with "#", say nothing. The first bad line is a failure that tells its number.
[[nodiscard]] Failure ParseStationsFile(std::string_view text, StationsFile* file);

}  // namespace orvane::testbed

#endif  // TESTBED_STATIONS_FILE_H_
