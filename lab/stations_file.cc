#include "lab/stations_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "common/mac_address.h"
#include "lab/text.h"
#include "platform/byte_string.h"

namespace orvane::lab {
namespace {

using platform::FakeKernel;
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

bool TakeSignal(std::string_view text, std::int8_t* signal) {
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, *signal);
  return result.ec == std::errc() && result.ptr == end;
}

Failure TakeMark(std::string_view name, Station* station) {
  for (const Mark& mark : kMarks) {
    if (mark.name != name) continue;
    mark.apply(*station);
    return std::nullopt;
  }
  return fmt::format("no mark is called \"{}\"", name);
}

// `text` is what stands behind the interface.
Failure TakeStation(std::string_view text, Station* station) {
  const std::string_view address = TakeWord(&text);
  if (!TakeAddress(address, &station->address)) return fmt::format("no address: \"{}\"", address);
  const std::string_view signal = TakeWord(&text);
  if (!TakeSignal(signal, &station->signal)) return fmt::format("no signal: \"{}\"", signal);
  station->signal_average = station->signal;
  while (!text.empty()) {
    if (Failure failure = TakeMark(TakeWord(&text), station)) return failure;
  }
  return std::nullopt;
}

}  // namespace

Failure ParseStationsFile(std::string_view text, StationTable* table) {
  int number = 0;
  for (const std::string_view untrimmed : SplitLines(text)) {
    ++number;
    std::string_view line = TrimBlanks(untrimmed);
    if (line.empty() || line.front() == '#') continue;
    std::vector<Station>& stations = (*table)[std::string(TakeWord(&line))];
    if (line.empty()) continue;
    if (const Failure failure = TakeStation(line, &stations.emplace_back())) {
      return fmt::format("line {}: {}", number, *failure);
    }
  }
  return std::nullopt;
}

}  // namespace orvane::lab
