#ifndef COMMON_RUN_TIME_FLAGS_H_
#define COMMON_RUN_TIME_FLAGS_H_

#include <array>
#include <cstdint>
#include <limits>
#include <string_view>

namespace orvane::ap {

// The keys of the flags service's map that the daemon reads.
inline constexpr char kClientSteeringFlag[] = "clientSteering";
inline constexpr char kClientSteeringIntervalFlag[] = "clientSteeringInterval";
inline constexpr char kClientSteeringPollIntervalFlag[] = "clientSteeringPollInterval";
inline constexpr char kClientSteeringRootLqmFloorFlag[] = "clientSteeringRootLqmFloor";
inline constexpr char kClientSteeringChildLqmFloorFlag[] = "clientSteeringChildLqmFloor";
inline constexpr char kClientSteeringLqmHysteresisFlag[] = "clientSteeringLqmHysteresis";
inline constexpr char kConnectionEventsFlag[] = "connectionEvents";
inline constexpr char kConnectionEventsUploadFlag[] = "connectionEventsUpload";
inline constexpr char kConnectionEventsProbeReqUploadFlag[] = "connectionEventsProbeReqUpload";

// The values that switch a service on and off. The daemon ignores any other value.
inline constexpr char kEnabledValue[] = "enabled";
inline constexpr char kDisabledValue[] = "disabled";

// One flag and the values that the flags service accepts. The daemon itself does not check these
// bounds: it truncates a metric to 8 bits. It aborts if a number is missing or exceeds 32 bits.
struct RunTimeFlag {
  enum class Kind : std::uint8_t {
    kSwitch,  // kEnabledValue or kDisabledValue
    kNumber,  // decimal
  };

  std::string_view key;
  Kind kind = Kind::kSwitch;
  // Bounds of a number, inclusive.
  std::int32_t least = 0;
  std::int32_t greatest = 0;
  std::string_view unit{};
};

namespace internal {

constexpr RunTimeFlag Seconds(std::string_view key) {
  return {key, RunTimeFlag::Kind::kNumber, 1, std::numeric_limits<std::int32_t>::max(), "seconds"};
}

constexpr RunTimeFlag Metric(std::string_view key) {
  return {key, RunTimeFlag::Kind::kNumber, 0, std::numeric_limits<std::uint8_t>::max(),
          "link quality metric"};
}

// 0 means no, any other number means yes.
constexpr RunTimeFlag YesOrNo(std::string_view key) {
  return {key, RunTimeFlag::Kind::kNumber, std::numeric_limits<std::int32_t>::min(),
          std::numeric_limits<std::int32_t>::max(), "0 for no"};
}

}  // namespace internal

inline constexpr auto kRunTimeFlags = std::to_array<RunTimeFlag>({
    {kClientSteeringFlag},
    internal::Seconds(kClientSteeringIntervalFlag),
    internal::Seconds(kClientSteeringPollIntervalFlag),
    internal::Metric(kClientSteeringRootLqmFloorFlag),
    internal::Metric(kClientSteeringChildLqmFloorFlag),
    internal::Metric(kClientSteeringLqmHysteresisFlag),
    {kConnectionEventsFlag},
    internal::YesOrNo(kConnectionEventsUploadFlag),
    internal::YesOrNo(kConnectionEventsProbeReqUploadFlag),
});

}  // namespace orvane::ap

#endif  // COMMON_RUN_TIME_FLAGS_H_
