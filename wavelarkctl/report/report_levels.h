#ifndef WAVELARKCTL_REPORT_REPORT_LEVELS_H_
#define WAVELARKCTL_REPORT_REPORT_LEVELS_H_

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wavelarkctl/report/report_events.h"

namespace orvane::wavelarkctl {

// The service levels, in the order in which a report shows them; docs/wavelarkctl.md defines them.
enum class ServiceLevel : std::uint8_t { kConnects, kTime, kCoverage, kSteering, kStability };

struct LevelRow {
  std::string_view key;  // on the command line
  std::string_view title;
  double goal;  // percent; the default of --goal
};

inline constexpr std::size_t kLevels = 5;
inline constexpr std::array<LevelRow, kLevels> kLevelRows = {
    {{"connects", "Successful connects", 95},
     {"time", "Time to connect", 90},
     {"coverage", "Coverage", 90},
     {"steering", "Steering", 70},
     {"stability", "Stability", 90}}};

// The number of good ones among all.
struct Share {
  std::int64_t good = 0;
  std::int64_t all = 0;

  void Add(bool is_good) {
    ++all;
    if (is_good) ++good;
  }
};

// The counts of a service level.
struct LevelTally {
  LevelTally(std::size_t steps, std::size_t client_count) : trend(steps), clients(client_count) {}

  // `cause` returns the reason if the event is not good.
  void Add(const ReportEvent& event, bool is_good, const std::function<std::string()>& cause);

  Share now;
  Share before;
  std::vector<Share> trend;
  std::vector<Share> clients;  // by number, of this period
  std::map<std::string, std::int64_t> causes;
  std::int64_t unmeasured = 0;  // events that lack a field that the level needs
};

// A successful connect. If the client is unknown, the other pointers are null.
struct Join {
  const ReportEvent* connect = nullptr;
  const ReportEvent* previous = nullptr;  // the client's previous successful connect; may be null
  const ReportEvent* start = nullptr;     // its first authentication; null if there is none

  [[nodiscard]] std::int64_t duration_ms() const { return connect->t - start->t; }
  // Whether it came within five minutes of the previous one.
  [[nodiscard]] bool is_bounce() const;
};

enum class SteerResult : std::uint8_t {
  kBetter,   // back within a minute with a stronger signal
  kSame,     // back within a minute on the same interface, not stronger
  kOther,    // back within a minute on another interface, not stronger
  kLate,     // back after more than a minute
  kGone,     // not back
  kUnknown,  // a signal or the client is unknown
};

struct RecordedSteer {
  const ReportEvent* disconnect = nullptr;
  const ReportEvent* next = nullptr;  // the client's next successful connect; may be null
  SteerResult outcome = SteerResult::kUnknown;
};

// "better", "same", "other", "late", "gone" or "unknown".
std::string_view ResultName(SteerResult outcome);

bool IsConnected(const ReportEvent& event);
bool IsFailedJoin(const ReportEvent& event);
bool IsDisconnect(const ReportEvent& event);
bool IsSteered(const ReportEvent& event);  // of a disconnect
// Whether the client or the operator wanted it. Returns nothing if the reason does not show that.
std::optional<bool> IsWanted(const ReportEvent& disconnect);

// "association: access point could not add the client", for a failed join.
std::string WordsOfFailure(const ReportEvent& event, const ReportEvents& report);
// "client was silent"
std::string WordsOfDisconnect(const ReportEvent& event, const ReportEvents& report);

// What a report shows apart from its events. Refers to its events.
struct Judgement {
  std::vector<Join> joins;            // of both periods, by client, then by time
  std::vector<RecordedSteer> steers;  // the same
  std::vector<LevelTally> levels;
};

Judgement Judge(const ReportEvents& report);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPORT_REPORT_LEVELS_H_
