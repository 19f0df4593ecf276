// Compares the replay of random traces with two independent implementations: the service on the
// simulated kernel, with stations that are set before each poll, and a model of the policy.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "testbed/steering_world.h"
#include "wavelarkctl/decision.h"
#include "wavelarkctl/replay/replayer.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ap::SteerVerdict;
using platform::TimeSpan;
using platform::WallTime;
using testbed::SteeringWorld;

// Sanitizers take their time.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kTraces = 200;
#else
constexpr int kTraces = 1000;
#endif

constexpr WallTime kStart{1'700'000'000s};
const std::vector<std::string> kInterfaces = {SteeringWorld::k2400, SteeringWorld::k5000};

// The decisions or commands of a replay. Within a poll their order is that of the kernel's list,
// which does not matter.
using Lines = std::vector<std::string>;

std::string DecisionLine(WallTime time, const std::string& interface, const std::string& address,
                         const ap::SteerInputs& inputs, SteerVerdict verdict) {
  return fmt::format("{} {} {} {} {} {} {}", (time - kStart).count(), interface, address,
                     inputs.link_quality_metric, inputs.last_steer_link_quality_metric,
                     inputs.since_last_steer.count(), WhyText(verdict));
}

// Sorts the lines of each time, whose order stays.
void SortPolls(Lines& lines) {
  const auto time_of = [](const std::string& line) { return line.substr(0, line.find(' ')); };
  for (auto begin = lines.begin(); begin != lines.end();) {
    const auto end = std::find_if(begin, lines.end(), [&](const std::string& line) {
      return time_of(line) != time_of(*begin);
    });
    std::sort(begin, end);
    begin = end;
  }
}

struct Row : Sighting {
  WallTime time;
};

struct Trace {
  ReplayOptions options;
  std::vector<Row> rows;
};

class TraceMaker {
 public:
  explicit TraceMaker(std::uint32_t seed) : random_(seed) {}

  Trace Make() {
    Trace trace;
    MakeOptions(&trace.options);
    TimeSpan time{};
    const int rows = Roll(20, 400);
    for (int i = 0; i < rows; ++i) {
      trace.rows.push_back(MakeRow(kStart + time));
      time += NextStep(trace.options);
    }
    return trace;
  }

 private:
  int Roll(int least, int greatest) {
    return std::uniform_int_distribution<int>(least, greatest)(random_);
  }

  void MakeOptions(ReplayOptions* options) {
    ap::OptimizerFlags& settings = options->settings;
    settings.client_steering_poll_interval = Roll(1, 20);
    settings.client_steering_interval = Roll(-5, 60);
    settings.client_steering_lqm_hysteresis = Roll(0, 25);
    settings.client_steering_root_lqm_floor = Roll(10, 70);
    options->stale = std::chrono::seconds(Roll(0, 30));
  }

  // Often zero. Rarely negative, and then by a time that never coincides with a poll.
  TimeSpan NextStep(const ReplayOptions& options) {
    switch (Roll(0, 20)) {
      case 0:
        return -std::chrono::milliseconds(Roll(1, 200'000)) - 13us;
      case 1:
        return PolicyOf(options.settings).poll_interval * Roll(1, 30);
      case 2:
      case 3:
        return std::chrono::microseconds(Roll(1, 3'000'000));
      case 4:
      case 5:
      case 6:
      case 7:
        return std::chrono::seconds(Roll(1, 4));
      default:
        return {};
    }
  }

  Row MakeRow(WallTime time) {
    Row row;
    row.time = time;
    row.interface = static_cast<std::uint32_t>(Roll(0, 9) / 6);
    row.client = static_cast<std::uint32_t>(Roll(0, 5));
    row.signal = static_cast<std::int8_t>(Roll(-110, -20));
    row.is_authorized = Roll(0, 9) > 0;
    if (Roll(0, 30) == 0) row.signal.reset();
    return row;
  }

  std::mt19937 random_;
};

// Shows what each poll sees, in the simplest way: searches all rows for each poll.
class Viewer {
 public:
  explicit Viewer(const Trace& trace) : trace_(trace) {
    TimeSpan elapsed{};
    int sample = 0;
    for (std::size_t i = 0; i < trace.rows.size(); ++i) {
      const TimeSpan step = i == 0 ? TimeSpan() : trace.rows[i].time - trace.rows[i - 1].time;
      elapsed += std::max(step, TimeSpan());
      comes_after_poll_.push_back(step < TimeSpan() ||
                                  (step == TimeSpan() && i > 0 && comes_after_poll_.back()));
      sample += step != TimeSpan();
      elapsed_.push_back(elapsed);
      samples_.push_back(sample);
    }
  }

  TimeSpan length() const { return elapsed_.back(); }

  // The wall clock so long after the start.
  WallTime WallAt(TimeSpan at) const {
    std::size_t last = 0;
    for (std::size_t i = 0; i < elapsed_.size(); ++i) {
      if (IsBefore(i, at)) last = i;
    }
    return trace_.rows[last].time + (at - elapsed_[last]);
  }

  // The rows that a poll sees, at most one for each client and interface.
  std::vector<Sighting> SeenAt(TimeSpan at) const {
    std::map<std::uint32_t, int> last_sample;
    for (std::size_t i = 0; i < elapsed_.size() && IsBefore(i, at); ++i) {
      last_sample[trace_.rows[i].client] = samples_[i];
    }
    std::map<std::pair<std::uint32_t, std::uint32_t>, Sighting> seen;
    for (std::size_t i = 0; i < elapsed_.size() && IsBefore(i, at); ++i) {
      const Sighting& row = trace_.rows[i];
      if (samples_[i] != last_sample[row.client]) continue;
      if (at - elapsed_[i] <= trace_.options.stale) seen[{row.interface, row.client}] = row;
    }
    std::vector<Sighting> rows;
    for (const auto& [key, row] : seen) rows.push_back(row);
    return rows;
  }

 private:
  // Whether a row comes before a poll. At the same time it does, unless the clock was set back
  // between them.
  bool IsBefore(std::size_t row, TimeSpan poll) const {
    return elapsed_[row] < poll || (elapsed_[row] == poll && !comes_after_poll_[row]);
  }

  const Trace& trace_;
  std::vector<TimeSpan> elapsed_;
  std::vector<bool> comes_after_poll_;
  std::vector<int> samples_;
};

struct Outcome {
  Lines decisions;
  Lines commands;  // each with its time
};

std::string CommandLine(WallTime time, const std::string& interface, std::uint32_t client) {
  return fmt::format("{} {}", (time - kStart).count(),
                     SteeringWorld::Steered(interface, static_cast<int>(client)));
}

class Journal : public ReplayListener {
 public:
  void OnJudgement(WallTime time, std::uint32_t client,
                   const ap::StationJudgement& judgement) override {
    outcome.decisions.push_back(DecisionLine(time, judgement.interface,
                                             judgement.mac_address.ToString(), judgement.inputs,
                                             judgement.verdict));
    if (judgement.verdict == SteerVerdict::kSteered) {
      outcome.commands.push_back(CommandLine(time, judgement.interface, client));
    }
  }
  void OnStay(const Stay& /*stay*/) override {}

  Outcome outcome;
};

Outcome Replay(const Trace& trace) {
  Roster roster;
  for (const std::string& interface : kInterfaces) roster.InterfaceNumber(interface);
  for (std::uint8_t number = 0; number < 6; ++number) roster.ClientNumber({2, 0, 0, 0, 0, number});
  Journal journal;
  Replayer replayer(trace.options, roster, trace.rows.front().time, &journal);
  for (const Row& row : trace.rows) {
    replayer.MoveTo(row.time);
    replayer.Feed(row);
  }
  replayer.Finish();
  return journal.outcome;
}

// Runs the service on the simulated kernel. Its decisions come from its log.
Outcome RunService(const Trace& trace) {
  const Viewer viewer(trace);
  const TimeSpan poll_interval = PolicyOf(trace.options.settings).poll_interval;
  SteeringWorld world(PolicyOf(trace.options.settings));
  Outcome outcome;
  world.loop.SetWallTime(kStart);
  world.steer->Enable();
  for (TimeSpan at = poll_interval; at <= viewer.length(); at += poll_interval) {
    const WallTime now = viewer.WallAt(at);
    for (const std::string& interface : kInterfaces) world.kernel.Stations(interface).clear();
    for (const Sighting& row : viewer.SeenAt(at)) {
      auto& station = world.Join(kInterfaces[row.interface], static_cast<int>(row.client), 0);
      station.signal_average = row.signal;
      if (!row.is_authorized) station.flags = 0;
    }
    world.loop.SetWallTime(now - poll_interval);
    world.TakeLog();
    world.Pass(poll_interval);
    for (const std::string& command : world.TakeCommands()) {
      outcome.commands.push_back(fmt::format("{} {}", (now - kStart).count(), command));
    }
    for (const std::string& line : world.TakeLog(" time since last steer ")) {
      outcome.decisions.push_back(fmt::format("{} {}", (now - kStart).count(), line));
    }
  }
  return outcome;
}

// The policy, written from its documentation.
class Model {
 public:
  explicit Model(const ap::ClientSteerSettings& policy) : policy_(policy) {}

  void Poll(WallTime now, const std::vector<Sighting>& seen, Outcome* outcome) {
    for (const Sighting& row : seen) {
      if (row.is_authorized) See(now, row, outcome);
    }
    std::erase_if(memory_, [&](const auto& entry) {
      return now - entry.second.seen > 2 * policy_.steer_interval;
    });
  }

 private:
  struct Memory {
    std::optional<std::uint32_t> interface;
    WallTime steered;
    WallTime seen;
    std::map<std::uint32_t, int> metric;  // at the last steer from each interface
  };

  void See(WallTime now, const Sighting& row, Outcome* outcome) {
    Memory& memory = memory_[row.client];
    memory.seen = now;
    const int metric = std::clamp(row.signal.value_or(0) + 100, 0, 100);
    const int last = memory.metric[row.interface];
    const bool is_new = memory.interface != row.interface;
    if (is_new) memory.steered = now;
    memory.interface = row.interface;
    const TimeSpan since = now - memory.steered;
    const std::string why = is_new                             ? "new"
                            : metric >= policy_.root_lqm_floor ? "not-below-floor"
                            : std::abs(metric - last) <= policy_.lqm_hysteresis
                                ? "within-hysteresis"
                            : since <= policy_.steer_interval ? "too-early"
                                                              : "steered";
    const std::string& interface = kInterfaces[row.interface];
    outcome->decisions.push_back(fmt::format(
        "{} {} {} {} {} {} {}", (now - kStart).count(), interface,
        SteeringWorld::Mac(static_cast<int>(row.client)), metric, last, since.count(), why));
    if (why != "steered") return;
    memory.steered = now;
    memory.metric[row.interface] = metric;
    outcome->commands.push_back(CommandLine(now, interface, row.client));
  }

  ap::ClientSteerSettings policy_;
  std::map<std::uint32_t, Memory> memory_;
};

Outcome RunModel(const Trace& trace) {
  const Viewer viewer(trace);
  const TimeSpan poll_interval = PolicyOf(trace.options.settings).poll_interval;
  Model model(PolicyOf(trace.options.settings));
  Outcome outcome;
  for (TimeSpan at = poll_interval; at <= viewer.length(); at += poll_interval) {
    model.Poll(viewer.WallAt(at), viewer.SeenAt(at), &outcome);
  }
  return outcome;
}

// The daemon's verbose lines of decisions. A new client has none.
Lines LogLinesOf(const Lines& decisions) {
  Lines lines;
  for (const std::string& line : decisions) {
    if (line.ends_with(" new")) continue;
    std::vector<std::string> words;
    for (std::size_t begin = 0; begin < line.size();) {
      const std::size_t end = std::min(line.find(' ', begin), line.size());
      words.push_back(line.substr(begin, end - begin));
      begin = end + 1;
    }
    const std::string since = platform::FormatTimeSpan(TimeSpan(std::stoll(words[5])));
    lines.push_back(
        fmt::format("{} {} link_quality_metric {} last_steer_link_quality_metric {} "
                    "time since last steer {}",
                    words[0], words[2], words[3], words[4], since));
  }
  return lines;
}

TEST(ReplayModelTest, RandomTracesAgreeWithTheDaemonAndTheModel) {
  int steers = 0;
  std::map<std::string, int> reasons;
  for (std::uint32_t seed = 1; seed <= kTraces; ++seed) {
    SCOPED_TRACE(seed);
    const Trace trace = TraceMaker(seed).Make();
    Outcome replay = Replay(trace);
    Outcome service = RunService(trace);
    Outcome model = RunModel(trace);
    Lines log_lines = LogLinesOf(replay.decisions);
    for (Lines* lines : {&replay.decisions, &replay.commands, &service.decisions, &service.commands,
                         &model.decisions, &model.commands, &log_lines}) {
      SortPolls(*lines);
    }
    ASSERT_EQ(replay.commands, service.commands);
    ASSERT_EQ(log_lines, service.decisions);
    ASSERT_EQ(replay.decisions, model.decisions);
    ASSERT_EQ(replay.commands, model.commands);
    steers += static_cast<int>(replay.commands.size());
    for (const std::string& line : replay.decisions) ++reasons[line.substr(line.rfind(' ') + 1)];
  }
  // Otherwise the traces would test little.
  EXPECT_GT(steers, kTraces);
  EXPECT_EQ(reasons.size(), 5U);
  for (const auto& [reason, count] : reasons) EXPECT_GT(count, kTraces) << reason;
}

}  // namespace
}  // namespace orvane::wavelarkctl
