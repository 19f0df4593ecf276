// The subcommand "report": its options, and the page or its data.

#include <fmt/format.h>
#include <time.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "optimizer/station_id_generator.h"
#include "platform/files.h"
#include "platform/parse_number.h"
#include "recorder/schema.h"
#include "wavelarkctl/commands.h"
#include "wavelarkctl/common_options.h"
#include "wavelarkctl/events/records.h"
#include "wavelarkctl/json_text.h"
#include "wavelarkctl/output_file.h"
#include "wavelarkctl/report/report_data.h"
#include "wavelarkctl/report/report_events.h"
#include "wavelarkctl/report/report_levels.h"
#include "wavelarkctl/report/report_log.h"
#include "wavelarkctl/report/report_page.h"
#include "wavelarkctl/seconds.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using nlohmann::json;
using platform::FilePath;
using platform::WallTime;

constexpr char kDescription[] = "Write a page about service levels, joins, signals and steering";

constexpr char kExamples[] = R"(Examples:
  wavelarkctl report
      the last 7 days, in report.html
  wavelarkctl report --since 30d -o /srv/www/wifi.html --goal connects=98 --signal-limit -67
      the last 30 days, with other goals and limits
  journalctl -u ap-wavelark --since -7d | wavelarkctl report --log -
      with the steers of the daemon's log
  wavelarkctl report --since 2026-11-02 --until 2026-11-09 --json | jq .levels
      the service levels of one week, for a script

The page is one file that a browser shows without a network. It compares the period with the
previous one of the same length. Exit status: 0; 1 if a service level misses its goal; 64 for a
wrong command line; 65 for a wrong database or log; 69 if a file can't be read or written.)";

// Trends have a step for each hour of up to three days, else for each day.
constexpr std::int64_t kQuarterMs = 900'000;
constexpr std::int64_t kHourMs = 4 * kQuarterMs;
constexpr std::int64_t kDayMs = 24 * kHourMs;
constexpr std::int64_t kLongestByHour = 3 * kDayMs;

// The longest period.
constexpr std::int64_t kLongestMs = 400 * kDayMs;

constexpr platform::TimeSpan kMaxTimeLimit = std::chrono::seconds(60);

struct Options {
  FilePath database = recorder::DatabaseOptions().path;
  FilePath output = "report.html";
  std::string since = "7d";
  std::string until = "now";
  std::vector<std::string> goals;
  std::vector<std::string> logs;
  FilePath salt = ap::StationIdGenerator::kSaltFile;
  std::string time_limit = "2";  // seconds
  int signal_limit = -70;        // dBm
  bool is_json = false;
};

std::int64_t Milliseconds(WallTime time) {
  return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

tm LocalFields(std::int64_t time_ms) {
  const time_t seconds = time_ms / 1000;
  tm fields = {};
  localtime_r(&seconds, &fields);
  return fields;
}

// The next full hour or midnight of local time.
std::int64_t NextStep(std::int64_t time_ms, bool is_by_hour) {
  tm fields = LocalFields(time_ms);
  if (is_by_hour) {
    const std::int64_t offset_ms = fields.tm_gmtoff * 1000;
    return ((time_ms + offset_ms) / kHourMs + 1) * kHourMs - offset_ms;
  }
  fields.tm_sec = fields.tm_min = fields.tm_hour = 0;
  ++fields.tm_mday;
  return Milliseconds(TimesOf(fields).first);
}

// The labels of steps in periods up to a length. They must not repeat within a period: a weekday
// and a day of the month may meet again after four weeks.
struct LabelForm {
  std::int64_t longest_ms;
  const char* format;
};
constexpr std::array<LabelForm, 4> kLabelForms = {{{kLongestByHour, "%a %H:%M"},
                                                   {27 * kDayMs, "%a %-d"},
                                                   {364 * kDayMs, "%-d %b"},
                                                   {kLongestMs, "%-d %b %Y"}}};

std::string StepLabel(std::int64_t time_ms, const char* format) {
  const tm fields = LocalFields(time_ms);
  std::array<char, 64> text = {};
  const std::size_t size = strftime(text.data(), text.size(), format, &fields);
  return {text.data(), size};
}

std::int64_t TimeLimitOf(const std::string& text) {
  const std::optional<platform::TimeSpan> limit = ParseSeconds(text);
  if (!limit || *limit < platform::TimeSpan::zero() || *limit > kMaxTimeLimit) {
    throw Failure(ExitStatus::kUsage,
                  fmt::format("--time-limit: '{}' is not 0 to 60 seconds", text));
  }
  return std::chrono::floor<std::chrono::milliseconds>(*limit).count();
}

ReportScope ScopeOf(const Options& options) {
  ReportScope scope;
  const WallTime now = Now();
  scope.since_ms = Milliseconds(ParseTimeOption("--since", options.since, now));
  scope.until_ms = Milliseconds(ParseTimeOption("--until", options.until, now));
  if (scope.since_ms >= scope.until_ms) {
    throw Failure(ExitStatus::kUsage, "--since must be before --until");
  }
  if (scope.until_ms - scope.since_ms > kLongestMs) {
    throw Failure(ExitStatus::kUsage, "a report covers at most 400 days");
  }
  const bool is_by_hour = scope.until_ms - scope.since_ms <= kLongestByHour;
  for (std::int64_t step = scope.since_ms; step < scope.until_ms;
       step = NextStep(step, is_by_hour)) {
    scope.steps.push_back(step);
  }
  scope.time_limit_ms = TimeLimitOf(options.time_limit);
  scope.signal_limit_dbm = options.signal_limit;
  return scope;
}

[[noreturn]] void RefuseGoal(const std::string& text) {
  std::string names;
  for (const LevelRow& level : kLevelRows) names += fmt::format(" {}", level.key);
  throw Failure(ExitStatus::kUsage,
                fmt::format("--goal: '{}' is not LEVEL=PERCENT; the levels are{}", text, names));
}

std::array<double, kLevels> GoalsOf(const std::vector<std::string>& texts) {
  std::array<double, kLevels> goals = {};
  std::ranges::transform(kLevelRows, goals.begin(), &LevelRow::goal);
  for (const std::string& text : texts) {
    const std::size_t equals = text.find('=');
    const auto level = std::ranges::find(kLevelRows, text.substr(0, equals), &LevelRow::key);
    if (equals == std::string::npos || level == kLevelRows.end()) RefuseGoal(text);
    const auto percent = platform::ParseNumber<double>(std::string_view(text).substr(equals + 1));
    if (!percent || !(*percent >= 0 && *percent <= 100)) RefuseGoal(text);
    goals[static_cast<std::size_t>(level - kLevelRows.begin())] = *percent;
  }
  return goals;
}

json LabelsOf(const std::vector<std::int64_t>& steps, const std::string& format) {
  json labels = json::array();
  for (const std::int64_t step : steps) labels.push_back(StepLabel(step, format.c_str()));
  return labels;
}

void AddLabels(const ReportScope& scope, json* data) {
  const std::int64_t length_ms = scope.until_ms - scope.since_ms;
  const std::string format =
      std::ranges::lower_bound(kLabelForms, length_ms, {}, &LabelForm::longest_ms)->format;
  json labels = LabelsOf(scope.steps, format);
  // Clocks that are set back show an hour twice. The zone distinguishes the two.
  if (std::adjacent_find(labels.begin(), labels.end()) != labels.end()) {
    labels = LabelsOf(scope.steps, format + " %Z");
  }
  json& period = (*data)["period"];
  period["labels"] = std::move(labels);
  period["steps"] = scope.steps;
  period["step"] = length_ms <= kLongestByHour ? "hour" : "day";
}

// The page shows the access point's local time in every time zone: rows of a time and the offset of
// local time from then on, in seconds. They apply to both periods, the first record and `now_ms`.
json OffsetsOf(const ReportScope& scope, std::int64_t first_ms, std::int64_t now_ms) {
  std::vector<std::int64_t> times;
  if (first_ms < scope.before_ms()) times.push_back(first_ms);
  // Zones change their offset at a quarter of an hour.
  for (std::int64_t t = scope.before_ms(); t < scope.until_ms; t += kQuarterMs - t % kQuarterMs) {
    times.push_back(t);
  }
  if (now_ms >= scope.until_ms) times.push_back(now_ms);
  json rows = json::array();
  for (const std::int64_t t : times) {
    const std::int64_t offset = LocalFields(t).tm_gmtoff;
    if (rows.empty() || rows.back()[1] != offset) rows.push_back({t, offset});
  }
  return rows;
}

json Collect(const Options& options, const ReportScope& scope) {
  const std::array<double, kLevels> goals = GoalsOf(options.goals);
  const std::vector<LoggedSteer> steers = ReadLoggedSteers(options.logs, options.salt);
  ReportEvents events;
  ReadRecords(options.database,
              [&](SQLite::Database& database) { events = ReadReportEvents(database, scope); });
  const LoggedSteerCounts counts = MarkLoggedSteers(steers, &events);
  json data = ReportData(events, goals);
  if (!options.logs.empty()) {
    data["log"] = {{"steers", counts.steers}, {"without_disconnect", counts.without_disconnect}};
  }
  AddLabels(scope, &data);
  const std::int64_t now_ms = Milliseconds(Now());
  data["period"]["offsets"] = OffsetsOf(scope, events.first_ms, now_ms);
  data["made"] = now_ms;
  data["database"] = options.database.native();
  return data;
}

// Bytes that are not UTF-8 become U+FFFD. "<" is escaped, so that no text can end its element.
std::string TextForPage(const json& data) {
  std::string text;
  for (const char character : data.dump(-1, ' ', false, json::error_handler_t::replace)) {
    if (character == '<') {
      text += "\\u003c";
    } else {
      text += character;
    }
  }
  return text;
}

std::string PageOf(const json& data) {
  std::string page(kReportPage);
  return page.replace(page.find(kReportDataMark), kReportDataMark.size(), TextForPage(data));
}

void PrintSummary(const json& data) {
  for (const json& level : data["levels"]) {
    const json& share = level["share"];
    std::cout << fmt::format("{:<20} {:>7}  goal {:g} %{}\n", level["title"].get<std::string>(),
                             share.is_null() ? "no data" : share.get<std::string>(),
                             level["goal"].get<double>(),
                             level["missed"].get<bool>() ? ", missed" : "");
  }
}

ExitStatus Run(const Options& options) {
  const json data = Collect(options, ScopeOf(options));
  if (options.is_json) {
    std::cout << JsonText(data, 2) << '\n';
  } else {
    WriteOutputFile(options.output, PageOf(data));
  }
  if (!options.is_json && options.output != kStandardOutput) {
    PrintSummary(data);
    std::cout << fmt::format("{}: {} events of {} clients\n", options.output.native(),
                             data["counts"]["events"].get<std::int64_t>(),
                             data["counts"]["clients"].get<std::int64_t>());
  }
  const bool is_missed = std::ranges::any_of(
      data["levels"], [](const json& level) { return level["missed"].get<bool>(); });
  return is_missed ? ExitStatus::kFound : ExitStatus::kOk;
}

std::string DefaultGoals() {
  std::string goals;
  for (const LevelRow& level : kLevelRows) {
    goals += fmt::format("{}{}={:g}", goals.empty() ? "" : " ", level.key, level.goal);
  }
  return goals;
}

void AddLimits(CLI::App& command, Options* options) {
  AddRepeatedOption(command, "--goal", &options->goals,
                    WithDefault("The goal of a service level", DefaultGoals()), "LEVEL=PERCENT");
  command
      .add_option("--time-limit", options->time_limit,
                  WithDefault("A connect that takes longer is slow", options->time_limit))
      ->option_text("SECONDS");
  command
      .add_option("--signal-limit", options->signal_limit,
                  WithDefault("A weaker signal misses the coverage level", options->signal_limit))
      ->option_text("DBM")
      ->check(CLI::Range(-100, 0).description(""));
}

}  // namespace

void AddReport(CLI::App& app, Action* action) {
  CLI::App* command = app.add_subcommand("report", kDescription);
  command->footer(kExamples);
  const auto options = std::make_shared<Options>();
  command
      ->add_option(
          "--since", options->since,
          WithDefault(fmt::format("The start of the period{}", kTimeForms), options->since))
      ->option_text("TIME");
  command
      ->add_option("--until", options->until, WithDefault("The end of the period", options->until))
      ->option_text("TIME");
  RefuseEmpty(command
                  ->add_option("-o,--output", options->output,
                               WithDefault("Write the page to this file; - is standard output",
                                           options->output.native()))
                  ->option_text("FILE"));
  command->add_flag("--json", options->is_json,
                    "Print the data of the page as JSON, write no page");
  AddRepeatedOption(*command, "--log", &options->logs,
                    "A log of the daemon, for steers that the database lacks; - is standard input",
                    "FILE");
  AddLimits(*command, options.get());
  AddDatabaseOption(*command, &options->database);
  AddSaltOption(*command, &options->salt);
  command->callback([action, options] { *action = [options] { return Run(*options); }; });
}

}  // namespace orvane::wavelarkctl
