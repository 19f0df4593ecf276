#include "bridge/tracked_stations.h"

#include <gtest/gtest.h>

namespace orvane::bridge {
namespace {

TEST(TrackedStationsTest, ReadsRecentlyReceivedStations) {
  const auto stations = ParseTrackedStations(
      "02:00:00:00:03:00 0 -50\n02:00:00:00:02:00 1 -81\n02:00:00:00:04:00 2 -60\n");
  ASSERT_EQ(stations.size(), 2U);
  EXPECT_EQ(stations[0].station.ToString(), "02:00:00:00:03:00");
  EXPECT_EQ(stations[0].signal, -50);
  EXPECT_EQ(stations[1].station.ToString(), "02:00:00:00:02:00");
  EXPECT_EQ(stations[1].signal, -81);
}

TEST(TrackedStationsTest, AcceptsALastLineWithoutLineFeed) {
  EXPECT_EQ(ParseTrackedStations("02:00:00:00:03:00 0 -50").size(), 1U);
}

TEST(TrackedStationsTest, SkipsInvalidLines) {
  EXPECT_TRUE(ParseTrackedStations("").empty());
  EXPECT_TRUE(ParseTrackedStations("FAIL\n").empty());
  EXPECT_TRUE(ParseTrackedStations("UNKNOWN COMMAND\n").empty());
  EXPECT_TRUE(ParseTrackedStations("02:00:00:00:03:00\n").empty());
  EXPECT_TRUE(ParseTrackedStations("02:00:00:00:03:00 0\n").empty());
  EXPECT_TRUE(ParseTrackedStations("02:00:00:00:03:00 0 0\n").empty());
  EXPECT_TRUE(ParseTrackedStations("02:00:00:00:03:00 -1 -50\n").empty());
  EXPECT_TRUE(ParseTrackedStations("02:00:00:00:03:00 0 -50 more\n").empty());
  EXPECT_TRUE(ParseTrackedStations("02:00:00:00:03 0 -50\n").empty());
  EXPECT_EQ(ParseTrackedStations("x\n02:00:00:00:03:00 0 -50\n").size(), 1U);
}

}  // namespace
}  // namespace orvane::bridge
