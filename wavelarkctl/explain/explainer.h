#ifndef WAVELARKCTL_EXPLAIN_EXPLAINER_H_
#define WAVELARKCTL_EXPLAIN_EXPLAINER_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/mac_address.h"
#include "platform/time.h"
#include "wavelarkctl/decision.h"
#include "wavelarkctl/explain/steer_record.h"
#include "wavelarkctl/log/assumed_settings.h"
#include "wavelarkctl/log/log_event.h"
#include "wavelarkctl/log/log_line.h"

namespace orvane::wavelarkctl {

// A decision and the limits that explain it.
struct ExplainedDecision {
  Decision decision;
  SteerLimits limits{};
  // The limits lead to another decision, so the daemon had other settings.
  bool is_contradiction = false;
};

// Consecutive polls of a client with the same verdict on the same interface.
struct PollRun {
  ExplainedDecision first;
  ExplainedDecision closest;  // to a steer
  ExplainedDecision last;
  std::size_t polls = 0;
  std::uint8_t lowest = 0;
  std::uint8_t highest = 0;
};

struct ClientHistory {
  std::string interface;  // the last one; empty if the log does not show it
  std::size_t polls = 0;  // without those that found it new
  std::uint8_t lowest = 0;
  std::uint8_t highest = 0;
  std::optional<ExplainedDecision> closest;  // the closest one to a steer that did not steer
  std::vector<SteerRecord> steers;
  std::vector<PollRun> runs;  // see ExplainFilter::keep_runs
};

// What a log contains besides decisions.
struct LogSummary {
  std::size_t lines = 0;
  std::size_t daemon_lines = 0;
  bool is_verbose = false;                  // there are lines of --v=1
  std::optional<platform::WallTime> first;  // of the lines since ExplainFilter::since
  platform::WallTime last;
  std::size_t failed_polls = 0;
  std::size_t early_files = 0;  // that begin before the previous one ends
  std::size_t clock_setbacks = 0;
  platform::WallTime first_setback;
  std::size_t contradictions = 0;
  std::optional<ExplainedDecision> first_contradiction;
};

// Which decisions to collect.
struct ExplainFilter {
  std::optional<ap::MacAddress> client;  // all others are ignored
  platform::WallTime since = platform::WallTime::min();
  bool keep_runs = false;
};

// Follows the daemon's log, line by line, and explains each decision. Memory grows with clients and
// steers, not with lines, unless runs are kept.
//
// The daemon logs nothing when a poll finds a client new on an interface. The client's next line
// shows how long ago that was. The decision is reported then, with a metric of 0.
class Explainer {
 public:
  // Called with each decision in the order of the log.
  using Sink = std::function<void(const ExplainedDecision&)>;

  Explainer(AssumedSettings settings, ExplainFilter filter, Sink sink);

  // To be called before the first line of each file.
  void BeginFile() { is_file_begin_ = true; }
  // A line without its line end.
  void AddLine(std::string_view line);
  // To be called once, after the last line.
  void Finish();

  const LogSummary& summary() const { return summary_; }
  const AssumedSettings& settings() const { return settings_; }
  const std::map<ap::MacAddress, ClientHistory>& clients() const { return histories_; }

 private:
  // What the daemon knows of a client, as far as the log shows it.
  struct Tracked {
    // When it came to its interface, or was last steered from there.
    std::optional<platform::WallTime> base;
    std::string interface;
    std::string came_to;  // in an event of hostapd, not yet in a poll
    bool has_open_steer = false;
  };

  void NoteTime(platform::WallTime time);
  void Handle(platform::WallTime time, const LogEvent& event);
  void On(platform::WallTime time, const DaemonStarted& event);
  void On(platform::WallTime time, const SteeringStarted& event);
  void On(platform::WallTime time, const SteeringStopped& event);
  void On(platform::WallTime time, const ClientJudged& event);
  void On(platform::WallTime time, const ClientSteered& event);
  void On(platform::WallTime time, const DisassociateSent& event);
  void On(platform::WallTime time, const CommandLost& event);
  void On(platform::WallTime time, const ClientCame& event);
  void On(platform::WallTime time, const ClientLeft& event);
  void On(platform::WallTime time, const ClientPruned& event);
  void On(platform::WallTime time, const PollFailed& event);

  bool IsWanted(const ap::MacAddress& address) const;
  void ForgetClients();
  void Place(const ap::MacAddress& address, Tracked& tracked, platform::WallTime time);
  void SeeAgain(const ap::MacAddress& address, Tracked& tracked, const ClientJudged& event,
                platform::WallTime time);
  void SeeAgainByNextSteer(const ClientSteered& event, platform::WallTime time);
  // The open steer of a client, if any.
  SteerRecord* OpenSteer(const ap::MacAddress& address);
  void BeginSteer(const ap::MacAddress& address, const Decision& decision);
  void TrimRecentSteers(platform::WallTime time);
  void FlushPending();
  void ReportNew(const ap::MacAddress& address, const std::string& interface,
                 platform::WallTime time);
  void Report(const ap::MacAddress& address, Decision decision);
  void Count(ClientHistory& history, const ExplainedDecision& explained);

  AssumedSettings settings_;
  ExplainFilter filter_;
  Sink sink_;
  LogLineReader reader_;
  LogSummary summary_;
  platform::WallTime begin_;  // of the log
  bool is_file_begin_ = true;
  std::map<ap::MacAddress, Tracked> tracked_;
  std::map<ap::MacAddress, ClientHistory> histories_;
  std::set<std::string, std::less<>> event_interfaces_;  // with events of hostapd
  // The last decision, until the next line shows whether it was a steer.
  ap::MacAddress pending_address_;
  std::optional<Decision> pending_;
  // Recent steers, whose commands may still fail.
  std::deque<std::pair<platform::WallTime, ap::MacAddress>> recent_steers_;
};

// How far a decision was from a steer: in dB, or in microseconds for kTooEarly. 0 for a steer.
std::int64_t DistanceOf(const ExplainedDecision& explained);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_EXPLAIN_EXPLAINER_H_
