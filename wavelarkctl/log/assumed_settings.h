#ifndef WAVELARKCTL_LOG_ASSUMED_SETTINGS_H_
#define WAVELARKCTL_LOG_ASSUMED_SETTINGS_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "flags/flags_text.h"
#include "optimizer/optimizer_flags.h"
#include "platform/time.h"
#include "wavelarkctl/decision.h"
#include "wavelarkctl/log/log_event.h"
#include "wavelarkctl/steer_settings.h"

namespace orvane::wavelarkctl {

// The steering settings that explain a log. The daemon logs its settings only when steering starts,
// so each setting is assumed and has an origin. A later origin in this list overrides an earlier
// one: the daemon's defaults, its command line, its log, the flags files, the user.
class AssumedSettings {
 public:
  // The daemon's defaults.
  AssumedSettings();

  void TakeCommandLine(const ap::OptimizerFlags& flags, const std::string& origin);
  void TakeLog(const SteeringStarted& started, platform::WallTime time);
  // Ignores missing keys and non-numeric values. `is_root` chooses the floor.
  void TakeFlags(const flags::FlagMap& flags, bool is_root, const std::string& origin);

  // Takes "FLAG=NUMBER", see ParseSteerAssignment. Either floor sets the floor in force.
  void TakeUser(std::string_view assignment);

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
  static constexpr std::size_t kSettings = 4;

  // Metrics as numbers, spans in microseconds.
  struct Value {
    std::int64_t value = 0;
    Origin rank = Origin::kDefault;
    std::string origin;
  };
  const Value& Of(SteerSetting setting) const { return values_[static_cast<std::size_t>(setting)]; }
  void Set(SteerSetting setting, std::int64_t value, Origin rank, const std::string& origin);
  void SetNumber(const SteerFlag& flag, std::int32_t number, Origin rank,
                 const std::string& origin);

  std::array<Value, kSettings> values_;  // by SteerSetting
};

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_LOG_ASSUMED_SETTINGS_H_
