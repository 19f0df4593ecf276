#include "wavelarkctl/steer_settings.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "flags/flags_directories.h"
#include "flags/flags_text.h"
#include "platform/logging.h"
#include "platform/parse_number.h"
#include "platform/time.h"
#include "wavelarkctl/command.h"

namespace orvane::wavelarkctl {
namespace {

constexpr std::string_view kIsRootFlag = "is_root";

struct Assignment {
  std::string_view name;
  std::string_view value;
};

[[noreturn]] void Refuse(const std::string& problem) {
  throw Failure(ExitStatus::kUsage, "--set: " + problem);
}

Assignment SplitAssignment(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) Refuse(fmt::format("{} has no value", text));
  return {text.substr(0, equals), text.substr(equals + 1)};
}

std::optional<bool> ParseBool(std::string_view text) {
  if (text == "true" || text == "1" || text == "yes" || text == "on") return true;
  if (text == "false" || text == "0" || text == "no" || text == "off") return false;
  return std::nullopt;
}

// Refuses the same size as the flags service.
std::string ReadFlagsFile(const platform::FilePath& path) {
  const platform::ScopedFd file(
      platform::RetryOnEintr([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
  auto text = file.is_valid() ? platform::ReadUpTo(file.get(), flags::kMaxFileSize + 1)
                              : std::optional<std::string>();
  if (!text) {
    throw Failure(ExitStatus::kUnavailable,
                  path.native() + ": " + platform::SystemErrorText(errno));
  }
  if (text->size() <= flags::kMaxFileSize) return *std::move(text);
  throw Failure(ExitStatus::kData,
                fmt::format("{}: over {} bytes", path.native(), flags::kMaxFileSize));
}

[[noreturn]] void RefuseName(std::string_view name) {
  std::string known;
  for (const SteerFlag& flag : kSteerFlags) {
    known += fmt::format("{}{}", known.empty() ? "" : ", ", flag.name);
  }
  Refuse(fmt::format("{} is not a numeric steering flag: {}", name, known));
}

}  // namespace

SteerAssignment ParseSteerAssignment(std::string_view text) {
  const auto [name, value] = SplitAssignment(text);
  const auto* const flag = std::ranges::find_if(kSteerFlags, [name = name](const SteerFlag& row) {
    return row.name == name || row.key == name;
  });
  if (flag == kSteerFlags.end()) RefuseName(name);
  const std::optional<std::int32_t> number = platform::ParseNumber<std::int32_t>(value);
  if (!number) Refuse(fmt::format("{}: '{}' is not an integer of 32 bits", name, value));
  return {flag, *number};
}

ap::OptimizerFlags DefaultSteerSettings() { return {.enable_client_steering = true}; }

void ApplyFlag(std::string_view text, ap::OptimizerFlags* settings) {
  const auto [name, value] = SplitAssignment(text);
  if (name == kIsRootFlag) {
    const std::optional<bool> is_root = ParseBool(value);
    if (!is_root) Refuse(fmt::format("{}: '{}' is neither true nor false", name, value));
    settings->is_root = *is_root;
    return;
  }
  const SteerAssignment assignment = ParseSteerAssignment(text);
  settings->*assignment.flag->field = assignment.value;
}

std::vector<std::string> ApplyFlagsFile(const platform::FilePath& file,
                                        ap::OptimizerFlags* settings) {
  flags::Reading reading;
  flags::ReadFlags(file.native(), ReadFlagsFile(file), &reading);
  if (!reading.errors.empty()) throw Failure(ExitStatus::kData, reading.errors.front());
  for (const SteerFlag& flag : kSteerFlags) {
    const auto found = reading.flags.find(std::string(flag.key));
    if (found == reading.flags.end()) continue;
    // ReadFlags has checked the number.
    settings->*flag.field = *platform::ParseNumber<std::int32_t>(found->second);
  }
  const auto found = reading.flags.find(ap::kClientSteeringFlag);
  if (found != reading.flags.end()) {
    settings->enable_client_steering = found->second == ap::kEnabledValue;
  }
  return reading.warnings;
}

ap::ClientSteerSettings PolicyOf(const ap::OptimizerFlags& settings) {
  return {
      .steer_interval = platform::SecondsToTimeSpan(settings.client_steering_interval),
      .poll_interval = platform::SecondsToTimeSpan(settings.client_steering_poll_interval),
      .lqm_hysteresis = static_cast<std::uint8_t>(settings.client_steering_lqm_hysteresis),
      .is_root = settings.is_root,
      .root_lqm_floor = static_cast<std::uint8_t>(settings.client_steering_root_lqm_floor),
      .child_lqm_floor = static_cast<std::uint8_t>(settings.client_steering_child_lqm_floor),
  };
}

SteerLimits LimitsOf(const ap::ClientSteerSettings& policy) {
  return {.lqm_floor = policy.is_root ? policy.root_lqm_floor : policy.child_lqm_floor,
          .lqm_hysteresis = policy.lqm_hysteresis,
          .steer_interval = policy.steer_interval};
}

}  // namespace orvane::wavelarkctl
