#include "wavelarkctl/replay/replay_text.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <functional>

#include "wavelarkctl/decision.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using ap::SteerVerdict;
using platform::TimeSpan;
using Rows = std::vector<std::vector<std::string>>;

constexpr std::size_t kMostClients = 10;

constexpr std::array<SteerVerdict, ReplaySummary::kVerdicts> kVerdicts = {
    SteerVerdict::kNew, SteerVerdict::kNotBelowFloor, SteerVerdict::kWithinHysteresis,
    SteerVerdict::kTooEarly, SteerVerdict::kSteered};

// "1h30m (12.5 %)".
std::string ShareText(TimeSpan part, TimeSpan whole) {
  if (whole == TimeSpan::zero()) return "0s";
  const double share = 100 * (std::chrono::duration<double>(part) / whole);
  return fmt::format("{} ({:.1f} %)", FormatShortSpan(part), share);
}

std::string RateText(const ClientSummary& client) {
  const auto rate = client.SteersPerHour();
  return rate ? fmt::format("{:.3g}", *rate) : "-";
}

// One line of the comparison.
struct Line {
  std::string name;
  std::function<std::string(const ReplayRun& run)> text;
};

const std::vector<Line>& SettingLines() {
  static const std::vector<Line> lines = {
      {"steering",
       [](const ReplayRun& run) {
         return std::string(run.options.settings.enable_client_steering ? "enabled" : "disabled");
       }},
      {"floor",
       [](const ReplayRun& run) {
         return fmt::to_string(LimitsOf(PolicyOf(run.options.settings)).lqm_floor);
       }},
      {"hysteresis",
       [](const ReplayRun& run) {
         return fmt::to_string(PolicyOf(run.options.settings).lqm_hysteresis);
       }},
      {"steer interval",
       [](const ReplayRun& run) {
         return platform::FormatTimeSpan(PolicyOf(run.options.settings).steer_interval);
       }},
      {"poll interval",
       [](const ReplayRun& run) {
         return platform::FormatTimeSpan(PolicyOf(run.options.settings).poll_interval);
       }},
      {"returns",
       [](const ReplayRun& run) { return std::string(ReturnsText(run.options.returns)); }},
  };
  return lines;
}

std::vector<Line> OutcomeLines() {
  std::vector<Line> lines = {
      {"polls", [](const ReplayRun& run) { return fmt::to_string(run.polls); }},
      {"decisions", [](const ReplayRun& run) { return fmt::to_string(run.summary->judgements()); }},
  };
  for (const SteerVerdict verdict : kVerdicts) {
    lines.push_back({fmt::format("  {}", WhyText(verdict)), [verdict](const ReplayRun& run) {
                       return fmt::to_string(run.summary->CountOf(verdict));
                     }});
  }
  lines.insert(
      lines.end(),
      {{"clients steered",
        [](const ReplayRun& run) { return fmt::to_string(run.summary->SteeredClients()); }},
       {"steers per client and hour",
        [](const ReplayRun& run) { return RateText(run.summary->Total()); }},
       {"time below the floor",
        [](const ReplayRun& run) {
          const ClientSummary total = run.summary->Total();
          return ShareText(total.below_floor, total.present);
        }},
       {"longest chain of steers",
        [](const ReplayRun& run) { return fmt::to_string(run.summary->Total().longest_chain); }}});
  return lines;
}

std::string ComparisonText(const std::vector<ReplayRun>& runs) {
  Rows rows = {{"SETTINGS"}};
  std::vector<std::size_t> right;
  for (const ReplayRun& run : runs) {
    right.push_back(rows.front().size());
    rows.front().push_back(run.name);
  }
  const auto add = [&](const Line& line) {
    rows.push_back({line.name});
    for (const ReplayRun& run : runs) rows.back().push_back(line.text(run));
  };
  for (const Line& line : SettingLines()) add(line);
  rows.push_back({"OUTCOME"});
  for (const Line& line : OutcomeLines()) add(line);
  return FormatTable(rows, right);
}

std::string ClientsText(const ReplaySummary& summary, const Roster& roster) {
  Rows rows = {{"CLIENT", "STEERS", "PER HOUR", "BELOW THE FLOOR", "LONGEST CHAIN"}};
  for (const std::uint32_t number : summary.MostSteered(kMostClients)) {
    const ClientSummary& client = summary.clients()[number];
    rows.push_back({FormatAddress(roster.clients()[number]), fmt::to_string(client.steers),
                    RateText(client), ShareText(client.below_floor, client.present),
                    fmt::to_string(client.longest_chain)});
  }
  std::string text = FormatTable(rows, {1, 2, 3, 4});
  const std::size_t others = summary.SteeredClients() + 1 - rows.size();
  if (others > 0) text += fmt::format("  and {}\n", Count(others, "steered client"));
  return text;
}

std::string SteersText(const ReplaySummary& summary, const Roster& roster) {
  Rows rows = {{"TIME", "CLIENT", "INTERFACE", "METRIC", "LAST", "SINCE"}};
  for (const Steer& steer : summary.first_steers()) {
    rows.push_back({FormatLocalSeconds(steer.time), FormatAddress(roster.clients()[steer.client]),
                    steer.interface, fmt::to_string(steer.metric),
                    fmt::to_string(steer.last_metric), FormatShortSpan(steer.since_last_steer)});
  }
  std::string text = FormatTable(rows, {3, 4, 5});
  const std::uint64_t others =
      summary.CountOf(SteerVerdict::kSteered) - summary.first_steers().size();
  if (others > 0) text += fmt::format("  and {} (--json prints all)\n", Count(others, "steer"));
  return text;
}

}  // namespace

std::string ReplayText(const std::string& trace_name, const TraceSurvey& survey,
                       const Roster& roster, const std::vector<ReplayRun>& runs) {
  std::string text =
      fmt::format("{}: {} of {}, {} to {}\n\n{}", trace_name, Count(survey.rows, "row"),
                  Count(survey.clients, "client"), FormatLocalSeconds(survey.begin),
                  FormatLocalSeconds(survey.end), ComparisonText(runs));
  const ReplaySummary& first = *runs.front().summary;
  if (first.CountOf(SteerVerdict::kSteered) == 0) return text;
  if (runs.size() > 1) text += fmt::format("\nWith {}:\n", runs.front().name);
  text += fmt::format("\n{}\n{}", ClientsText(first, roster), SteersText(first, roster));
  return text;
}

}  // namespace orvane::wavelarkctl
