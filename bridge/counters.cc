#include "bridge/counters.h"

#include <fmt/format.h>

#include <functional>
#include <iterator>
#include <numeric>

namespace orvane::bridge {
namespace {

constexpr std::array<std::string_view, kEventKinds> kEventKindNames = {
    "other",     "malformed",    "frame",        "probe_request",
    "connected", "disconnected", "psk_mismatch", "transition_answer"};

constexpr std::array<std::string_view, kLineKinds> kLineKindNames = {
    "auth", "assoc", "connect", "disconnect", "probe_request", "passed_on"};

constexpr std::string_view kPrefix = "ap_wavelark_bridge_";

template <std::size_t size>
std::uint64_t Sum(const std::array<std::uint64_t, size>& counts) {
  return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

// One metric with a value per interface.
struct InterfaceMetric {
  std::string_view name;
  std::string_view type;
  std::string_view help;
  std::uint64_t (*value)(const InterfaceCounters&);
};

constexpr InterfaceMetric kInterfaceMetrics[] = {
    {"dropped_lines", "counter", "Lines lost because a queue was full.",
     [](const InterfaceCounters& c) { return c.dropped_lines; }},
    {"expired_lines", "counter", "Lines lost because no daemon attached in time.",
     [](const InterfaceCounters& c) { return c.expired_lines; }},
    {"ignored_events", "counter", "Events of stations beyond the limit.",
     [](const InterfaceCounters& c) { return c.ignored_events; }},
    {"stray_answers", "counter", "Answers of hostapd to no command.",
     [](const InterfaceCounters& c) { return c.stray_answers; }},
    {"commands", "counter", "Commands passed on to hostapd.",
     [](const InterfaceCounters& c) { return c.commands; }},
    {"refused_commands", "counter", "Commands that were too long or too many.",
     [](const InterfaceCounters& c) { return c.refused_commands; }},
    {"lost_answers", "counter", "Answers that a client did not take.",
     [](const InterfaceCounters& c) { return c.lost_answers; }},
    {"attaches", "counter", "Times of attaching to hostapd.",
     [](const InterfaceCounters& c) { return c.attaches; }},
    {"attached", "gauge", "Whether hostapd answers.",
     [](const InterfaceCounters& c) { return std::uint64_t{c.is_attached}; }},
    {"waiting_lines", "gauge", "Lines in queues.",
     [](const InterfaceCounters& c) { return std::uint64_t{c.waiting_lines}; }},
    {"monitors", "gauge", "Clients that are attached.",
     [](const InterfaceCounters& c) { return std::uint64_t{c.monitors}; }},
    {"stations", "gauge", "Stations of which something is remembered.",
     [](const InterfaceCounters& c) { return std::uint64_t{c.stations}; }},
};

// Builds the text of a metrics file, metric by metric.
class MetricsText {
 public:
  void Begin(std::string_view name, std::string_view type, std::string_view help) {
    name_ = fmt::format("{}{}", kPrefix, name);
    fmt::format_to(std::back_inserter(text_), "# TYPE {} {}\n# HELP {} {}\n", name_, type, name_,
                   help);
    if (type == "counter") name_ += "_total";
  }
  void Add(std::string_view labels, std::uint64_t value) {
    fmt::format_to(std::back_inserter(text_), "{}{} {}\n", name_, labels, value);
  }
  std::string Finish() { return std::move(text_) + "# EOF\n"; }

 private:
  std::string name_;
  std::string text_;
};

std::string Labels(const InterfaceCounters& interface) {
  return fmt::format(R"({{interface="{}"}})", interface.interface);
}

std::string Labels(const InterfaceCounters& interface, std::string_view kind) {
  return fmt::format(R"({{interface="{}",kind="{}"}})", interface.interface, kind);
}

template <std::size_t size>
void AddKinds(const InterfaceCounters& interface,
              const std::array<std::uint64_t, size> InterfaceCounters::*counts,
              const std::array<std::string_view, size>& names, MetricsText* text) {
  for (std::size_t i = 0; i < size; ++i) {
    text->Add(Labels(interface, names[i]), (interface.*counts)[i]);
  }
}

}  // namespace

std::string_view EventKindName(std::size_t index) { return kEventKindNames.at(index); }
std::string_view LineKindName(std::size_t index) { return kLineKindNames.at(index); }

std::vector<std::string> FormatForLog(const Counters& counters) {
  std::vector<std::string> lines;
  for (const InterfaceCounters& c : counters.interfaces) {
    std::string line =
        fmt::format("{}: {} events in, {} lines out", c.interface, Sum(c.events), Sum(c.lines));
    for (std::size_t i = 0; i < kLineKinds; ++i) {
      fmt::format_to(std::back_inserter(line), "{}{} {}", i == 0 ? " (" : ", ", kLineKindNames[i],
                     c.lines[i]);
    }
    line += ')';
    for (const InterfaceMetric& metric : kInterfaceMetrics) {
      fmt::format_to(std::back_inserter(line), ", {} {}", metric.name, metric.value(c));
    }
    lines.push_back(std::move(line));
  }
  lines.push_back(fmt::format("nl80211: {} messages, {} losses", counters.netlink_messages,
                              counters.netlink_losses));
  return lines;
}

std::string FormatOpenMetrics(const Counters& counters) {
  MetricsText text;
  text.Begin("events", "counter", "Events of hostapd.");
  for (const auto& interface : counters.interfaces) {
    AddKinds(interface, &InterfaceCounters::events, kEventKindNames, &text);
  }
  text.Begin("lines", "counter", "Lines written or passed on.");
  for (const auto& interface : counters.interfaces) {
    AddKinds(interface, &InterfaceCounters::lines, kLineKindNames, &text);
  }
  for (const InterfaceMetric& metric : kInterfaceMetrics) {
    text.Begin(metric.name, metric.type, metric.help);
    for (const auto& interface : counters.interfaces) {
      text.Add(Labels(interface), metric.value(interface));
    }
  }
  text.Begin("netlink_messages", "counter", "Messages of nl80211's multicast groups.");
  text.Add("", counters.netlink_messages);
  text.Begin("netlink_losses", "counter", "Times that the kernel dropped messages.");
  text.Add("", counters.netlink_losses);
  return text.Finish();
}

}  // namespace orvane::bridge
