// The manager of a daemon that was built with WAVELARK_SKIP_INCOMPLETE_STATIONS.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "optimizer/nl80211_manager.h"
#include "testbed/steering_world.h"

namespace orvane::ap {
namespace {

using testbed::SteeringWorld;
using testing::ElementsAre;

TEST(Nl80211ManagerSkipTest, SkipsAnIncompleteStationWithAVerboseLine) {
  SteeringWorld world;
  world.Join(SteeringWorld::k2400, 1, -60).has_rx_rate = false;
  world.Join(SteeringWorld::k2400, 2, -70);
  std::vector<std::string> events;
  std::vector<platform::Severity> severities;
  const platform::LogListener listener([&](platform::Severity severity, std::string_view /*text*/) {
    severities.push_back(severity);
  });
  ASSERT_TRUE(Nl80211Manager().GetStations(
      SteeringWorld::k2400, &world.netlink,
      [&](const Nl80211Station& station) { events.push_back(station.GetMacAddress().ToString()); },
      [&](const Nl80211Error* error) {
        events.emplace_back(error == nullptr ? "complete" : error->message);
      }));
  world.loop.RunUntilIdle();
  EXPECT_THAT(events, ElementsAre(SteeringWorld::Mac(2), "complete"));
  EXPECT_THAT(world.TakeLog(), ElementsAre("Skip incomplete station " + SteeringWorld::Mac(1)));
  EXPECT_THAT(severities, ElementsAre(platform::Severity::kVerbose));
}

}  // namespace
}  // namespace orvane::ap
