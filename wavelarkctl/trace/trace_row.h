#ifndef WAVELARKCTL_TRACE_TRACE_ROW_H_
#define WAVELARKCTL_TRACE_TRACE_ROW_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/time.h"

namespace orvane::wavelarkctl {

// A trace is a CSV file: this header, then one row for each station that an interface lists at a
// time. All rows of one sample have the same time.
inline constexpr std::string_view kTraceHeader = "time,interface,address,signal,authorized";

// The longest line of a trace, without its end.
inline constexpr std::size_t kMaxTraceLine = 256;

using Address = std::array<std::uint8_t, 6>;

// Parses "02:00:00:00:00:01", with digits of either case. Returns nothing for any other text.
std::optional<Address> ParseAddress(std::string_view text);
std::string FormatAddress(const Address& address);

// Whether a trace can have an interface of this name. Stricter than the kernel, so that a name
// needs no quotes: 1 to 15 printable characters other than ' ', ',', '"', '/' and ':'.
bool IsInterfaceName(std::string_view text);

struct TraceRow {
  platform::WallTime time;     // Unix seconds, up to six decimals
  std::string_view interface;  // see IsInterfaceName
  Address address = {};
  std::optional<std::int8_t> signal;  // average in dBm; the field is empty if it is unknown
  bool is_authorized = false;         // 1 or 0
};

// Reads a line without its end; the row's views are into `line`. Returns what is wrong, or an empty
// text.
std::string_view ParseTraceRow(std::string_view line, TraceRow* row);

// A line with its end. The inverse of ParseTraceRow.
std::string FormatTraceRow(const TraceRow& row);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_TRACE_TRACE_ROW_H_
