#include "bridge/counters.h"

#include <fmt/format.h>

#include <functional>
#include <iterator>
#include <numeric>
#include <string_view>

#include "platform/metrics_text.h"

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
    {"ignored_events", "counter", "Events of stations beyond the maximum number.",
     [](const InterfaceCounters& c) { return c.ignored_events; }},
    {"stray_answers", "counter", "Answers of hostapd without a command.",
     [](const InterfaceCounters& c) { return c.stray_answers; }},
    {"commands", "counter", "Commands forwarded to hostapd.",
     [](const InterfaceCounters& c) { return c.commands; }},
    {"refused_commands", "counter", "Commands that were too long or too many.",
     [](const InterfaceCounters& c) { return c.refused_commands; }},
    {"lost_answers", "counter", "Answers that a client did not read.",
     [](const InterfaceCounters& c) { return c.lost_answers; }},
    {"attaches", "counter", "Attachments to hostapd.",
     [](const InterfaceCounters& c) { return c.attaches; }},
    {"attached", "gauge", "Whether hostapd answers.",
     [](const InterfaceCounters& c) { return std::uint64_t{c.is_attached}; }},
    {"waiting_lines", "gauge", "Lines in queues.",
     [](const InterfaceCounters& c) { return std::uint64_t{c.waiting_lines}; }},
    {"monitors", "gauge", "Clients that are attached.",
     [](const InterfaceCounters& c) { return std::uint64_t{c.monitors}; }},
    {"stations", "gauge", "Stations with state.",
     [](const InterfaceCounters& c) { return std::uint64_t{c.stations}; }},
};

// Builds the metrics file. Names are without kPrefix and without a counter's "_total".
class BridgeMetrics {
 public:
  void Begin(std::string_view name, std::string_view type, std::string_view help) {
    name_ = fmt::format("{}{}{}", kPrefix, name, type == "counter" ? "_total" : "");
    text_.AddFamily({name_, type, help});
  }
  void Add(std::string_view labels, std::uint64_t value) { text_.AddSample(name_, labels, value); }
  std::string Take() { return text_.Take(); }

 private:
  std::string name_;
  platform::MetricsText text_;
};

std::string Labels(const InterfaceCounters& interface) {
  return platform::MetricLabel("interface", interface.interface);
}

std::string Labels(const InterfaceCounters& interface, std::string_view kind) {
  return Labels(interface) + ',' + platform::MetricLabel("kind", kind);
}

template <std::size_t size>
void AddKinds(const InterfaceCounters& interface,
              const std::array<std::uint64_t, size> InterfaceCounters::*counts,
              const std::array<std::string_view, size>& names, BridgeMetrics* metrics) {
  for (std::size_t i = 0; i < size; ++i) {
    metrics->Add(Labels(interface, names[i]), (interface.*counts)[i]);
  }
}

// Returns "4 events in (other 0, malformed 1)".
template <std::size_t size>
std::string SumOfKinds(std::string_view what, const std::array<std::uint64_t, size>& counts,
                       const std::array<std::string_view, size>& names) {
  std::string text = fmt::format("{} {} (", Sum(counts), what);
  for (std::size_t i = 0; i < size; ++i) {
    fmt::format_to(std::back_inserter(text), "{}{} {}", i == 0 ? "" : ", ", names[i], counts[i]);
  }
  return text + ')';
}

}  // namespace

std::vector<std::string> FormatForLog(const Counters& counters) {
  std::vector<std::string> lines;
  for (const InterfaceCounters& c : counters.interfaces) {
    std::string line =
        fmt::format("{}: {}, {}", c.interface, SumOfKinds("events in", c.events, kEventKindNames),
                    SumOfKinds("lines out", c.lines, kLineKindNames));
    for (const InterfaceMetric& metric : kInterfaceMetrics) {
      fmt::format_to(std::back_inserter(line), ", {} {}", metric.name, metric.value(c));
    }
    lines.push_back(std::move(line));
  }
  lines.push_back(fmt::format("nl80211: {} messages, {} losses", counters.netlink_messages,
                              counters.netlink_losses));
  return lines;
}

std::string FormatMetrics(const Counters& counters) {
  BridgeMetrics metrics;
  metrics.Begin("events", "counter", "Events of hostapd.");
  for (const auto& interface : counters.interfaces) {
    AddKinds(interface, &InterfaceCounters::events, kEventKindNames, &metrics);
  }
  metrics.Begin("lines", "counter", "Lines written or forwarded.");
  for (const auto& interface : counters.interfaces) {
    AddKinds(interface, &InterfaceCounters::lines, kLineKindNames, &metrics);
  }
  for (const InterfaceMetric& metric : kInterfaceMetrics) {
    metrics.Begin(metric.name, metric.type, metric.help);
    for (const auto& interface : counters.interfaces) {
      metrics.Add(Labels(interface), metric.value(interface));
    }
  }
  metrics.Begin("netlink_messages", "counter", "Messages of nl80211's multicast groups.");
  metrics.Add("", counters.netlink_messages);
  metrics.Begin("netlink_losses", "counter", "Times that the kernel dropped messages.");
  metrics.Add("", counters.netlink_losses);
  return metrics.Take();
}

}  // namespace orvane::bridge
