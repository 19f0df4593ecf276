#include "testbed/stations_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <optional>

#include "common/mac_address.h"
#include "platform/byte_string.h"
#include "platform/parse_number.h"
#include "platform/text.h"
#include "testbed/text.h"

namespace orvane::testbed {
namespace {

using simulation::FakeKernel;
using Station = FakeKernel::Station;

struct Mark {
  std::string_view name;
  void (*apply)(Station& station);
};
constexpr Mark kMarks[] = {
    {"unauthorized", [](Station& station) { station.flags = 0; }},
    {"no-signal-average", [](Station& station) { station.signal_average.reset(); }},
    {"no-rx-bitrate", [](Station& station) { station.has_rx_rate = false; }},
};

bool TakeAddress(std::string_view text, FakeKernel::Address* address) {
  platform::ByteString bytes;
  if (!ap::MacAddress::ConvertHexStringToByteString(text, &bytes)) return false;
  std::ranges::copy(bytes.AsSpan(), address->begin());
  return true;
}

template <typename Number>
bool TakeNumber(std::string_view text, Number* number) {
  const std::optional<Number> parsed = platform::ParseNumber<Number>(text);
  if (parsed) *number = *parsed;
  return parsed.has_value();
}

Failure TakeMark(std::string_view name, Station* station) {
  for (const Mark& mark : kMarks) {
    if (mark.name != name) continue;
    mark.apply(*station);
    return std::nullopt;
  }
  return fmt::format("no mark is called \"{}\"", name);
}

// `text` is the rest of the line behind the interface.
Failure TakeStation(std::string_view text, Station* station) {
  const std::string_view address = TakeWord(&text);
  if (!TakeAddress(address, &station->address)) return fmt::format("no address: \"{}\"", address);
  const std::string_view signal = TakeWord(&text);
  if (!TakeNumber(signal, &station->signal)) return fmt::format("no signal: \"{}\"", signal);
  station->signal_average = station->signal;
  while (!text.empty()) {
    if (Failure failure = TakeMark(TakeWord(&text), station)) return failure;
  }
  return std::nullopt;
}

// Sets a fault that has no arguments.
template <auto kFault>
bool Begin(std::string_view rest, KernelFaults* faults) {
  faults->*kFault = true;
  return rest.empty();
}

struct Fault {
  std::string_view name;
  // Returns whether the rest of the line is valid.
  bool (*apply)(std::string_view rest, KernelFaults* faults);
};
constexpr Fault kFaults[] = {
    {"silent", &Begin<&KernelFaults::is_silent>},
    {"interrupted", &Begin<&KernelFaults::interrupts_dumps>},
    {"losing", &Begin<&KernelFaults::loses_parts>},
    {"failing",
     [](std::string_view rest, KernelFaults* faults) {
       KernelFaults::FailedDump& dump = faults->failed_dump.emplace();
       return TakeNumber(TakeWord(&rest), &dump.records) && TakeNumber(rest, &dump.error_number);
     }},
    {"reusing",
     [](std::string_view rest, KernelFaults* faults) {
       const std::string_view interface = TakeWord(&rest);
       faults->reused_indexes.emplace(interface, rest);
       return !rest.empty();
     }},
};

// `text` is the rest of the line behind the "!".
Failure TakeFault(std::string_view text, KernelFaults* faults) {
  text = platform::TrimWhitespace(text);
  const std::string_view name = TakeWord(&text);
  for (const Fault& fault : kFaults) {
    if (fault.name == name && fault.apply(text, faults)) return std::nullopt;
  }
  return fmt::format("no fault is written \"{} {}\"", name, text);
}

Failure TakeInterface(std::string_view line, StationTable* table) {
  std::vector<Station>& stations = (*table)[std::string(TakeWord(&line))];
  return line.empty() ? Failure() : TakeStation(line, &stations.emplace_back());
}

}  // namespace

Failure ParseStationsFile(std::string_view text, StationsFile* file) {
  int number = 0;
  for (const std::string_view untrimmed : SplitLines(text)) {
    ++number;
    const std::string_view line = platform::TrimWhitespace(untrimmed);
    if (line.empty() || line.front() == '#') continue;
    const Failure failure = line.front() == '!' ? TakeFault(line.substr(1), &file->faults)
                                                : TakeInterface(line, &file->stations);
    if (failure) return fmt::format("line {}: {}", number, *failure);
  }
  return std::nullopt;
}

}  // namespace orvane::testbed
