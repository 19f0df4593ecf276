#include "recorder/command_line.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <limits>
#include <span>
#include <string>
#include <system_error>

#include "platform/command_line.h"
#include "platform/logging.h"

namespace orvane::recorder {
namespace {

struct Unit {
  std::string_view suffix;
  std::int64_t factor;
};

// In bytes.
constexpr auto kSizeUnits =
    std::to_array<Unit>({{"", 1}, {"K", 1 << 10}, {"M", 1 << 20}, {"G", 1 << 30}});
// In microseconds.
constexpr auto kTimeUnits = std::to_array<Unit>(
    {{"s", 1'000'000}, {"m", 60'000'000}, {"h", 3'600'000'000}, {"d", 86'400'000'000}});

// A database without records already has some pages.
constexpr std::int64_t kLeastSize = 1 << 20;

// Parses a whole number and one of the units.
std::optional<std::int64_t> ParseWithUnit(std::string_view text, std::span<const Unit> units) {
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc()) return std::nullopt;
  const auto unit = std::ranges::find(units, std::string_view(stop, end), &Unit::suffix);
  if (unit == units.end() || number < 0) return std::nullopt;
  if (number > std::numeric_limits<std::int64_t>::max() / unit->factor) return std::nullopt;
  return number * unit->factor;
}

std::string ParseSize(const std::string& text, std::int64_t* size) {
  const auto parsed = ParseWithUnit(text, kSizeUnits);
  if (!parsed) return "is not a size, as 64M";
  if (*parsed < kLeastSize) return "is less than 1M";
  *size = *parsed;
  return "";
}

std::string ParseAge(const std::string& text, platform::TimeSpan* age) {
  const auto parsed = ParseWithUnit(text, kTimeUnits);
  if (!parsed || *parsed == 0) return "is not a time, as 30d, 12h, 90m or 3600s";
  *age = platform::TimeSpan(*parsed);
  return "";
}

std::string ParseSynchronous(const std::string& text, bool* is_full) {
  if (text != "normal" && text != "full") return "is neither normal nor full";
  *is_full = text == "full";
  return "";
}

}  // namespace

std::optional<int> ParseCommandLine(int argc, const char* const* argv, RecorderOptions* options) {
  platform::CommandLine command_line(
      "Stores the records that the access point hands to it on the system bus.",
      "ap-wavelark-recorder " WAVELARK_VERSION);
  DatabaseOptions& database = options->database;
  command_line.AddText("database", "FILE (default: " + database.path.native() + ")",
                       "The SQLite database of the records", [&](const std::string& text) {
                         database.path = text;
                         return "";
                       });
  command_line.AddText("metrics-file", "FILE (default: none)",
                       "Write metrics for node_exporter's textfile collector",
                       [&](const std::string& text) {
                         options->metrics_file = text;
                         return "";
                       });
  command_line.AddText(
      "max-size", "SIZE (default: 64M)", "Delete the oldest records beyond this size; K, M, G",
      [&](const std::string& text) { return ParseSize(text, &database.max_size); });
  command_line.AddText("max-age", "TIME (default: 30d)",
                       "Delete records that are older; s, m, h, d",
                       [&](const std::string& text) { return ParseAge(text, &options->max_age); });
  command_line.AddText("synchronous", "normal|full (default: normal)",
                       "Whether accepted records survive a power cut (full)",
                       [&](const std::string& text) {
                         return ParseSynchronous(text, &database.is_synchronous_full);
                       });
  std::int32_t verbose_level = 0;
  command_line.AddInt32("v", "Verbose level; 1 logs each record", &verbose_level);

  const std::optional<int> exit_code = command_line.Parse(argc, argv);
  if (!exit_code.has_value()) platform::SetVerboseLevel(verbose_level);
  return exit_code;
}

}  // namespace orvane::recorder
