#ifndef WAVELARKCTL_REPLAY_TEST_JUDGEMENT_H_
#define WAVELARKCTL_REPLAY_TEST_JUDGEMENT_H_

#include <chrono>
#include <cstdint>
#include <string>

#include "common/mac_address.h"
#include "optimizer/steer_policy.h"
#include "platform/time.h"
#include "wavelarkctl/replay/replayer.h"

namespace orvane::wavelarkctl {

// For tests: notifies a listener of a judgement with the daemon's default limits.
inline void Judge(ReplayListener& listener, platform::TimeSpan since_epoch, std::uint32_t client,
                  std::uint8_t metric, std::uint8_t last_metric, ap::SteerVerdict verdict) {
  const std::string interface = "a";
  const ap::MacAddress address(std::string_view("02:00:00:00:00:01"));
  const ap::SteerInputs inputs = {.link_quality_metric = metric,
                                  .last_steer_link_quality_metric = last_metric,
                                  .since_last_steer = std::chrono::seconds(7),
                                  .lqm_floor = 30,
                                  .lqm_hysteresis = 15,
                                  .steer_interval = std::chrono::minutes(10)};
  listener.OnJudgement(platform::WallTime(since_epoch), client,
                       {interface, address, inputs, verdict});
}

}  // namespace orvane::wavelarkctl

#endif  // WAVELARKCTL_REPLAY_TEST_JUDGEMENT_H_
