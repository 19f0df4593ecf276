#include "wavelarkctl/trace/trace_row.h"

#include <fmt/format.h>
#include <net/if.h>

#include <algorithm>
#include <charconv>
#include <chrono>

#include "platform/parse_number.h"
#include "wavelarkctl/seconds.h"

namespace orvane::wavelarkctl {
namespace {

constexpr int kHexadecimal = 16;
constexpr std::size_t kAddressLength = 17;
constexpr auto kLastTime = std::chrono::sys_days(std::chrono::year(10'000) / 1 / 1);

// Removes and returns the text up to the next comma, or all of it.
std::string_view TakeField(std::string_view* line) {
  const std::size_t end = std::min(line->find(','), line->size());
  const std::string_view field = line->substr(0, end);
  line->remove_prefix(std::min(end + 1, line->size()));
  return field;
}

bool ParseTime(std::string_view text, platform::WallTime* time) {
  const std::optional<platform::TimeSpan> since_epoch = ParseSeconds(text);
  if (!since_epoch) return false;
  *time = platform::WallTime(*since_epoch);
  return since_epoch->count() >= 0 && *time < kLastTime;
}

bool ParseSignal(std::string_view text, std::optional<std::int8_t>* signal) {
  signal->reset();
  if (text.empty()) return true;
  *signal = platform::ParseNumber<std::int8_t>(text);
  return signal->has_value();
}

}  // namespace

bool IsInterfaceName(std::string_view text) {
  constexpr std::string_view kSeparators = ",\"/:";
  return !text.empty() && text.size() < IFNAMSIZ && std::ranges::all_of(text, [&](char character) {
    return character > ' ' && character <= '~' &&
           kSeparators.find(character) == std::string_view::npos;
  });
}

std::optional<Address> ParseAddress(std::string_view text) {
  if (text.size() != kAddressLength) return std::nullopt;
  Address address;
  for (std::size_t i = 0; i < address.size(); ++i) {
    const char* digits = text.data() + 3 * i;
    const auto [stop, error] = std::from_chars(digits, digits + 2, address[i], kHexadecimal);
    if (error != std::errc() || stop != digits + 2) return std::nullopt;
    if (i + 1 < address.size() && *stop != ':') return std::nullopt;
  }
  return address;
}

std::string FormatAddress(const Address& address) {
  return fmt::format("{:02x}", fmt::join(address, ":"));
}

std::string_view ParseTraceRow(std::string_view line, TraceRow* row) {
  if (std::ranges::count(line, ',') != std::ranges::count(kTraceHeader, ',')) {
    return "not five fields";
  }
  if (!ParseTime(TakeField(&line), &row->time)) return "the time is not in Unix seconds";
  row->interface = TakeField(&line);
  if (!IsInterfaceName(row->interface)) return "the interface is not a name";
  const std::optional<Address> address = ParseAddress(TakeField(&line));
  if (!address) return "the address is not six bytes with colons";
  row->address = *address;
  if (!ParseSignal(TakeField(&line), &row->signal)) return "the signal is not -128 to 127 dBm";
  if (line != "0" && line != "1") return "authorized is neither 0 nor 1";
  row->is_authorized = line == "1";
  return "";
}

std::string FormatTraceRow(const TraceRow& row) {
  return fmt::format("{},{},{},{},{:d}\n", FormatSeconds(row.time.time_since_epoch()),
                     row.interface, FormatAddress(row.address),
                     row.signal ? fmt::to_string(*row.signal) : "", row.is_authorized);
}

}  // namespace orvane::wavelarkctl
