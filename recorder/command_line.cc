#include "recorder/command_line.h"

#include <array>
#include <string>

#include "platform/command_line.h"
#include "platform/logging.h"
#include "platform/parse_number.h"
#include "platform/time.h"

namespace orvane::recorder {
namespace {

// In bytes.
constexpr auto kSizeUnits =
    std::to_array<platform::NumberUnit>({{"", 1}, {"K", 1 << 10}, {"M", 1 << 20}, {"G", 1 << 30}});

// A database without records already has some pages.
constexpr std::int64_t kLeastSize = 1 << 20;

std::string ParseSize(const std::string& text, std::int64_t* size) {
  const auto parsed = platform::ParseNumberWithUnit(text, kSizeUnits);
  if (!parsed) return "is not a size, as 64M";
  if (*parsed < kLeastSize) return "is less than 1M";
  *size = *parsed;
  return "";
}

std::string ParseAge(const std::string& text, platform::TimeSpan* age) {
  const auto parsed = platform::ParseTimeSpan(text);
  if (!parsed || *parsed == platform::TimeSpan::zero()) {
    return "is not a time, as 30d, 12h, 90m or 3600s";
  }
  *age = *parsed;
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
