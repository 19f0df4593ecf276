#ifndef WAVELARKCTL_REPORT_LEVELS_H_
#define WAVELARKCTL_REPORT_LEVELS_H_

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wavelarkctl/report_events.h"

namespace orvane::wavelarkctl {

// The service levels, in the order in which a report shows them; docs/wavelarkctl.md defines them.
enum class Level : std::uint8_t { kConnects, kTime, kCoverage, kSteering, kStability };

struct LevelRow {
  std::string_view key;  // on the command line
  std::string_view title;
  double goal;  // percent, if nobody says otherwise
};

inline constexpr std::size_t kLevels = 5;
inline constexpr std::array<LevelRow, kLevels> kLevelRows = {
    {{"connects", "Successful connects", 95},
     {"time", "Time to connect", 90},
     {"coverage", "Coverage", 90},
     {"steering", "Steering", 70},
     {"stability", "Stability", 90}}};

// How many of all were good.
struct Share {
  std::int64_t good = 0;
  std::int64_t all = 0;

  void Add(bool is_good) {
    ++all;
    if (is_good) ++good;
  }
};

// What a service level counts.
struct LevelTally {
  LevelTally(std::size_t steps, std::size_t client_count) : trend(steps), clients(client_count) {}

  // `cause` puts into words why it was not good.
  void Add(const ReportEvent& event, bool is_good, const std::function<std::string()>& cause);

  Share now;
  Share before;
  std::vector<Share> trend;
  std::vector<Share> clients;  // by number, of this period
  std::map<std::string, std::int64_t> causes;
  std::int64_t unmeasured = 0;  // what could not be counted for want of a field
};

// A successful connect of a known client.
struct Join {
  const ReportEvent* connect = nullptr;
  const ReportEvent* previous = nullptr;  // the client's successful connect before; may be null
  const ReportEvent* start = nullptr;     // its first authentication; null if there is none

  [[nodiscard]] std::int64_t duration_ms() const { return connect->t - start->t; }
  // Whether it came within five minutes of the previous one.
  [[nodiscard]] bool is_bounce() const;
};

enum class SteerResult : std::uint8_t {
  kBetter,   // came back within a minute, and is heard better
  kSame,     // came back to the same interface and is not
  kOther,    // joined the other interface and is not
  kLate,     // was away for longer than a minute
  kGone,     // has not come back here
  kUnknown,  // a signal or the client is not known
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
// Nothing if the reason does not say who wanted it.
std::optional<bool> IsAskedFor(const ReportEvent& disconnect);

// "association: access point could not add the client", for a failed join.
std::string WordsOfFailure(const ReportEvent& event, const ReportEvents& report);
// "client was silent"
std::string WordsOfDisconnect(const ReportEvent& event, const ReportEvents& report);

// What a report counts. It refers to the events.
struct Findings {
  std::vector<Join> joins;            // of both periods, by client, then by time
  std::vector<RecordedSteer> steers;  // the same
  std::vector<LevelTally> levels;
};

Findings Judge(const ReportEvents& report);

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPORT_LEVELS_H_
