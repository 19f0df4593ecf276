#ifndef WAVELARKCTL_ASSUMED_SETTINGS_H_
#define WAVELARKCTL_ASSUMED_SETTINGS_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "flags/flags_text.h"
#include "optimizer/optimizer_flags.h"
#include "platform/time.h"
#include "wavelarkctl/decision.h"
#include "wavelarkctl/log_event.h"

namespace orvane::wavelarkctl {

// The steering settings by which a log is explained. The daemon logs them only when steering
// starts, so each of them is assumed, and has an origin. Of several origins the one latest in the
// list counts: the daemon's defaults, its command line, its log, the flags files, the user.
class AssumedSettings {
 public:
  // The daemon's defaults.
  AssumedSettings();

  void TakeCommandLine(const ap::OptimizerFlags& flags, const std::string& origin);
  void TakeLog(const SteeringStarted& started, platform::WallTime time);
  // Keys that are missing, and values that the daemon could not read, set nothing. `is_root`
  // chooses the floor.
  void TakeFlags(const flags::FlagMap& flags, bool is_root, const std::string& origin);

  // "FLAG=VALUE" by the daemon's flag or key of the flags service. Both floors set the one in
  // force. Returns what is wrong, or an empty text.
  std::string TakeUser(std::string_view assignment);

  SteerLimits limits() const;
  platform::TimeSpan poll_interval() const;

  struct Row {
    std::string name;
    std::string value;
    std::string origin;
  };
  std::vector<Row> Describe() const;

 private:
  enum class Origin : std::uint8_t { kDefault, kCommandLine, kLog, kFlags, kUser };
  enum Index : std::uint8_t { kFloor, kHysteresis, kSteerInterval, kPollInterval, kCount };

  // Metrics as numbers, spans in microseconds.
  struct Value {
    std::int64_t value = 0;
    Origin rank = Origin::kDefault;
    std::string origin;
  };
  struct NameRow;
  static const std::array<NameRow, 5> kNames;

  void Set(Index index, std::int64_t value, Origin rank, const std::string& origin);
  // A number as a flag has it: seconds, or a metric of which the low 8 bits count.
  void SetNumber(Index index, std::int32_t number, Origin rank, const std::string& origin);

  std::array<Value, kCount> values_;
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_ASSUMED_SETTINGS_H_
