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

// The stations of each interface, in the order of a dump.
using StationTable = std::map<std::string, std::vector<simulation::FakeKernel::Station>>;

// Faults of the simulated kernel, at every request while the file contains them.
struct KernelFaults {
  struct FailedDump {
    std::size_t records;  // number of records before the failure
    int error_number;

    friend bool operator==(const FailedDump&, const FailedDump&) = default;
  };

  bool is_silent = false;
  bool interrupts_dumps = false;
  bool loses_parts = false;
  std::optional<FailedDump> failed_dump;
  // A look-up of the first name returns the index of the second.
  std::map<std::string, std::string> reused_indexes;

  friend bool operator==(const KernelFaults&, const KernelFaults&) = default;
};

struct StationsFile {
  StationTable stations;
  KernelFaults faults;
};

// Parses lines "INTERFACE [ADDRESS SIGNAL [MARK...]]": a station with its average signal in dBm, or
// only an interface. Marks are "unauthorized", "no-signal-average" and "no-rx-bitrate". Lines "!
// FAULT [ARGUMENT...]" set faults of the kernel: "silent", "interrupted", "losing", "failing
// RECORDS ERROR", "reusing INTERFACE OTHER". Empty lines and lines that begin with "#" are ignored.
// Fails at the first invalid line, with its number.
[[nodiscard]] Failure ParseStationsFile(std::string_view text, StationsFile* file);

}  // namespace orvane::testbed

#endif  // TESTBED_STATIONS_FILE_H_
