#include "wavelarkctl/explain/explain_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "wavelarkctl/events/event_words.h"
#include "wavelarkctl/human_text.h"
#include "wavelarkctl/time_text.h"

namespace orvane::wavelarkctl {
namespace {

using ap::MacAddress;
using ap::SteerVerdict;
using platform::TimeSpan;
using Rows = std::vector<std::vector<std::string>>;
using ClientEntry = std::pair<const MacAddress, ClientHistory>;

constexpr std::size_t kMostClients = 20;
constexpr int kSignalOfMetric0 = -100;

// In dBm. The ends of the range also stand for signals beyond them.
std::string SignalText(std::uint8_t metric) { return std::to_string(metric + kSignalOfMetric0); }

std::string RangeText(std::uint8_t lowest, std::uint8_t highest) {
  if (lowest == highest) return SignalText(lowest);
  return fmt::format("{}..{}", SignalText(lowest), SignalText(highest));
}

constexpr char kUnknownInterface[] = "?";

std::string InterfaceText(const std::string& interface) {
  return interface.empty() ? kUnknownInterface : Printable(interface);
}

bool HasUnknownInterface(const ClientHistory& history) {
  return history.interface.empty() ||
         std::ranges::any_of(history.steers,
                             [](const SteerRecord& steer) { return steer.interface.empty(); }) ||
         std::ranges::any_of(history.runs, [](const PollRun& run) {
           return run.closest.decision.interface.empty();
         });
}

// Clients

// Clients with the most steers come first, then those that were closest to a steer.
bool ComesFirst(const ClientEntry* a, const ClientEntry* b) {
  if (a->second.steers.size() != b->second.steers.size()) {
    return a->second.steers.size() > b->second.steers.size();
  }
  if (!a->second.closest || !b->second.closest) return a->second.closest.has_value();
  const ExplainedDecision& of_a = *a->second.closest;
  const ExplainedDecision& of_b = *b->second.closest;
  if (of_a.decision.why != of_b.decision.why) return of_a.decision.why > of_b.decision.why;
  return DistanceOf(of_a) < DistanceOf(of_b);
}

// Leaves out the date if the period is within one day.
std::string TimeWithin(platform::WallTime begin, platform::WallTime end, platform::WallTime time) {
  constexpr std::size_t kDate = 10;  // the length of "2026-02-01"
  const bool is_one_day =
      FormatLocalSeconds(begin).substr(0, kDate) == FormatLocalSeconds(end).substr(0, kDate);
  return is_one_day ? FormatClock(time) : FormatLocalSeconds(time);
}

std::string ClosestText(const ClientHistory& history, const LogSummary& log) {
  if (!history.steers.empty()) {
    return history.steers.size() == 1 ? "steered once"
                                      : fmt::format("steered {} times", history.steers.size());
  }
  if (!history.closest) return "not judged yet: new on the interface";
  return fmt::format(
      "{} ({})", ReasonText(*history.closest),
      TimeWithin(log.first.value_or(log.last), log.last, history.closest->decision.time));
}

std::vector<std::string> ClientRow(const MacAddress& address, const ClientHistory& history,
                                   const LogSummary& log) {
  return {address.ToString(), InterfaceText(history.interface), std::to_string(history.polls),
          history.polls == 0 ? "" : RangeText(history.lowest, history.highest),
          ClosestText(history, log)};
}

std::string ClientsText(const Explainer& explainer) {
  std::vector<const ClientEntry*> entries;
  for (const ClientEntry& entry : explainer.clients()) entries.push_back(&entry);
  std::ranges::stable_sort(entries, ComesFirst);
  Rows rows = {{"CLIENT", "INTERFACE", "POLLS", "SIGNAL (dBm)", "CLOSEST TO A STEER"}};
  for (const ClientEntry* entry : entries) {
    if (rows.size() > kMostClients) break;
    rows.push_back(ClientRow(entry->first, entry->second, explainer.summary()));
  }
  std::string text = FormatTable(rows, {2});
  if (entries.size() >= rows.size()) {
    text += fmt::format("  and {} further from a steer (--client shows one)\n",
                        Count(entries.size() + 1 - rows.size(), "client"));
  }
  return text;
}

// Runs of polls

std::string YesOrNo(bool condition) { return condition ? "yes" : "no"; }

std::string ResultText(const PollRun& run) {
  const ExplainedDecision& closest = run.closest;
  if (closest.decision.why == SteerVerdict::kNew) return "new on the interface";
  return ReasonText(closest);
}

std::vector<std::string> RunRow(const PollRun& run) {
  const Decision& closest = run.closest.decision;
  const SteerLimits& limits = run.closest.limits;
  const platform::WallTime begin = run.first.decision.time;
  const platform::WallTime end = run.last.decision.time;
  std::string time = FormatLocalSeconds(begin);
  if (run.polls > 1) time += " - " + TimeWithin(begin, end, end);
  std::vector<std::string> row = {time, std::to_string(run.polls),
                                  InterfaceText(closest.interface)};
  if (closest.why == SteerVerdict::kNew) {
    row.insert(row.end(), {"", "", "", ""});
  } else {
    const int change = std::abs(closest.metric - closest.last_metric);
    row.insert(
        row.end(),
        {RangeText(run.lowest, run.highest), YesOrNo(closest.metric < limits.lqm_floor),
         YesOrNo(change > limits.lqm_hysteresis),
         closest.since_last_steer ? YesOrNo(*closest.since_last_steer > limits.steer_interval)
                                  : ""});
  }
  row.push_back(ResultText(run));
  return row;
}

std::string RunsText(const ClientHistory& history) {
  Rows rows = {{"TIME", "POLLS", "INTERFACE", "SIGNAL (dBm)", "BELOW FLOOR", "CHANGED",
                "LONG ENOUGH", "CLOSEST TO A STEER"}};
  for (const PollRun& run : history.runs) rows.push_back(RunRow(run));
  return FormatTable(rows, {1});
}

// Steers

std::string AwayText(const SteerRecord& steer) {
  const TimeSpan away = *steer.back - steer.time;
  if (away < TimeSpan::zero()) return "after an unknown time";
  return (steer.is_back_by_event ? "after " : "within ") + FormatShortSpan(away);
}

std::string OutcomeText(const SteerRecord& steer) {
  switch (OutcomeOf(steer)) {
    case SteerOutcome::kMoved:
      return fmt::format("went to {} {}", InterfaceText(steer.back_interface), AwayText(steer));
    case SteerOutcome::kReturned:
      return "came back " + AwayText(steer);
    case SteerOutcome::kReturnedOrStayed:
      return "there again or still there " + AwayText(steer);
    case SteerOutcome::kStayed:
      return "no effect: it did not leave";
    case SteerOutcome::kLost:
      return "no effect: the command could not be sent";
    case SteerOutcome::kNotSeenAgain:
      return steer.has_left ? "left, not seen again" : "not seen again";
    case SteerOutcome::kUnknown:
      return "unknown: steering was restarted";
  }
  return "";
}

// The signal before and after.
std::string ChangeText(const SteerRecord& steer) {
  if (!steer.metric_after) return SignalText(steer.metric);
  return fmt::format("{} -> {} ({:+} dB)", SignalText(steer.metric),
                     SignalText(*steer.metric_after), *steer.metric_after - steer.metric);
}

std::string SteersText(const Explainer& explainer) {
  std::vector<std::pair<const MacAddress*, const SteerRecord*>> steers;
  for (const auto& [address, history] : explainer.clients()) {
    for (const SteerRecord& steer : history.steers) steers.emplace_back(&address, &steer);
  }
  std::ranges::stable_sort(steers, {}, [](const auto& entry) { return entry.second->time; });
  Rows rows = {{"TIME", "CLIENT", "FROM", "SIGNAL (dBm)", "OUTCOME"}};
  for (const auto& [address, steer] : steers) {
    rows.push_back({FormatLocalSeconds(steer->time), address->ToString(),
                    InterfaceText(steer->interface), ChangeText(*steer), OutcomeText(*steer)});
  }
  return FormatTable(rows);
}

// What needs attention

bool HadNoEffect(const SteerRecord& steer) {
  const SteerOutcome outcome = OutcomeOf(steer);
  return outcome == SteerOutcome::kStayed || outcome == SteerOutcome::kLost;
}

// Returns the length of the longest chain: steers that each follow the previous one within two
// steer intervals.
std::size_t LongestChain(const std::vector<SteerRecord>& steers) {
  std::size_t longest = 0;
  std::size_t chain = 0;
  for (std::size_t i = 0; i < steers.size(); ++i) {
    const bool follows =
        i > 0 && steers[i].time - steers[i - 1].time <= 2 * steers[i].steer_interval;
    chain = follows ? chain + 1 : 1;
    longest = std::max(longest, chain);
  }
  return longest;
}

void FindInClient(const MacAddress& address, const ClientHistory& history,
                  std::vector<std::string>* found) {
  if (const std::size_t chain = LongestChain(history.steers); chain > 1) {
    found->push_back(
        fmt::format("{} was steered {} times in a row, each time within two steer intervals of the "
                    "previous steer. Raise the hysteresis or the steer interval, or lower the "
                    "floor.",
                    address.ToString(), chain));
  }
  const auto lost = std::ranges::count_if(history.steers, HadNoEffect);
  if (lost == 0) return;
  const auto first = std::ranges::find_if(history.steers, HadNoEffect);
  // Without --v=1 the log does not show the interface of a steer.
  const std::string option =
      first->interface.empty() ? "" : fmt::format(" -i {}", Printable(first->interface));
  found->push_back(fmt::format(
      "{}: {} had no effect, the first at {}. Check whether hostapd accepts DISASSOCIATE: "
      "hostapd_cli{} status",
      address.ToString(), Count(static_cast<std::size_t>(lost), "command"),
      FormatLocalSeconds(first->time), option));
}

std::string ContradictionText(const LogSummary& summary) {
  const ExplainedDecision& first = *summary.first_contradiction;
  return fmt::format(
      "{} the assumed settings, the first at {}: {} {}. The settings were changed "
      "at run time: pass the settings of that time with --set.",
      summary.contradictions == 1 ? "1 decision contradicts"
                                  : fmt::format("{} decisions contradict", summary.contradictions),
      FormatLocalSeconds(first.decision.time), first.decision.address,
      first.decision.steered ? "was steered" : "was not steered");
}

std::string Heading(std::string_view text, Colour colour, bool is_colour_wanted) {
  return "\n" + Paint(text, colour, is_colour_wanted) + "\n";
}

std::string SummaryText(const Explainer& explainer) {
  const LogSummary& summary = explainer.summary();
  std::size_t steers = 0;
  for (const auto& [address, history] : explainer.clients()) steers += history.steers.size();
  return fmt::format("{} to {}: {}, {}\n", FormatLocalSeconds(summary.first.value_or(summary.last)),
                     FormatLocalSeconds(summary.last), Count(explainer.clients().size(), "client"),
                     Count(steers, "steer"));
}

std::string SettingsText(const Explainer& explainer) {
  Rows rows;
  for (const auto& [name, value, origin] : explainer.settings().Describe()) {
    rows.push_back({name, value, "from " + origin});
  }
  return FormatTable(rows);
}

}  // namespace

std::string ReasonText(const ExplainedDecision& explained) {
  const Decision& decision = explained.decision;
  const SteerLimits& limits = explained.limits;
  if (explained.is_contradiction) {
    return fmt::format("{}, against the assumed settings",
                       decision.steered ? "STEERED" : "not steered");
  }
  switch (decision.why) {
    case SteerVerdict::kNew:
      return "new";
    case SteerVerdict::kSteered:
      return "STEERED";
    case SteerVerdict::kNotBelowFloor:
      if (decision.metric == limits.lqm_floor) return "at the floor, not below it";
      return fmt::format("{} dB above the floor", decision.metric - limits.lqm_floor);
    case SteerVerdict::kTooEarly:
      return "too early by " + FormatShortSpan(limits.steer_interval - *decision.since_last_steer);
    case SteerVerdict::kWithinHysteresis:
      break;
  }
  if (decision.last_metric == 0) {
    return fmt::format("too weak for a first steer: metric {}, not above {}", decision.metric,
                       limits.lqm_hysteresis);
  }
  return fmt::format("changed by {} dB since its last steer, not by more than {}",
                     std::abs(decision.metric - decision.last_metric), limits.lqm_hysteresis);
}

std::vector<std::string> FindAttention(const Explainer& explainer) {
  const LogSummary& summary = explainer.summary();
  std::vector<std::string> found;
  if (summary.first_contradiction) found.push_back(ContradictionText(summary));
  for (const auto& [address, history] : explainer.clients()) {
    FindInClient(address, history, &found);
  }
  if (summary.failed_polls > 0) {
    found.push_back(
        fmt::format("{} of an interface failed. Look for \"Unable to get stations\" "
                    "and \"Netlink error\" in the log.",
                    Count(summary.failed_polls, "poll")));
  }
  if (summary.early_files > 0) {
    found.push_back(fmt::format("{} before the previous one ends. Name the oldest file first.",
                                summary.early_files == 1
                                    ? "1 file begins"
                                    : fmt::format("{} files begin", summary.early_files)));
  }
  if (summary.clock_setbacks > 0) {
    found.push_back(fmt::format(
        "The clock was set back {}, first at {}. The times around then are "
        "wrong, in the daemon, too.",
        Count(summary.clock_setbacks, "time"), FormatLocalSeconds(summary.first_setback)));
  }
  return found;
}

std::string ExplainText(const Explainer& explainer, bool has_runs, bool is_colour_wanted) {
  std::string text = SummaryText(explainer);
  text += Heading("Assumed settings", Colour::kBold, is_colour_wanted) + SettingsText(explainer);
  bool has_steers = false;
  bool has_unknown_interface = false;
  for (const auto& [address, history] : explainer.clients()) {
    has_steers = has_steers || !history.steers.empty();
    has_unknown_interface = has_unknown_interface || HasUnknownInterface(history);
    if (has_runs) {
      text += Heading(address.ToString(), Colour::kBold, is_colour_wanted) + RunsText(history);
    }
  }
  if (!has_runs && !explainer.clients().empty()) {
    text += Heading("Clients", Colour::kBold, is_colour_wanted) + ClientsText(explainer);
  }
  if (has_steers) {
    text += Heading("Steers", Colour::kBold, is_colour_wanted) + SteersText(explainer);
  }
  if (has_unknown_interface) {
    text += fmt::format(
        "\n  {}: no earlier line names the interface. A steer or an event of hostapd names it, "
        "the\n"
        "  line of a poll does not.\n",
        kUnknownInterface);
  }
  const std::vector<std::string> attention = FindAttention(explainer);
  if (attention.empty()) return text;
  text += Heading("Needs attention", Colour::kYellow, is_colour_wanted);
  for (const std::string& sentence : attention) text += "  " + sentence + "\n";
  return text;
}

}  // namespace orvane::wavelarkctl
