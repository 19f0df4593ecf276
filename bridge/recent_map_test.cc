#include "bridge/recent_map.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

namespace orvane::bridge {
namespace {

using platform::MonotonicTime;
using testing::IsNull;

using Map = RecentMap<int, int>;

constexpr platform::TimeSpan kLife = std::chrono::seconds(10);

MonotonicTime At(int seconds) { return MonotonicTime(std::chrono::seconds(seconds)); }

auto HasValue(int value) { return testing::Pointee(testing::Field(&Map::Entry::value, value)); }

TEST(RecentMapTest, FindsEntries) {
  Map map(3, kLife);
  map.Put(1, At(0), 10);
  map.Put(1, At(1), 11);
  EXPECT_THAT(map.Find(1, At(1)), HasValue(11));
  EXPECT_EQ(map.Find(1, At(2))->at, At(1));
  EXPECT_THAT(map.Find(2, At(1)), IsNull());
  EXPECT_EQ(map.size(), 1U);
}

TEST(RecentMapTest, RemovesExpiredEntries) {
  Map map(3, kLife);
  map.Put(1, At(0), 10);
  map.Put(2, At(5), 20);
  EXPECT_THAT(map.Find(1, At(10)), HasValue(10));
  EXPECT_THAT(map.Find(1, At(11)), IsNull());
  map.Put(3, At(11), 30);
  EXPECT_EQ(map.size(), 2U);
}

TEST(RecentMapTest, RenewsAReplacedEntry) {
  Map map(2, kLife);
  map.Put(1, At(0), 10);
  map.Put(2, At(1), 20);
  map.Put(1, At(2), 11);
  map.Put(3, At(3), 30);
  EXPECT_THAT(map.Find(1, At(12)), HasValue(11));
  EXPECT_THAT(map.Find(2, At(3)), IsNull());
  EXPECT_EQ(map.size(), 2U);
}

TEST(RecentMapTest, ForgetsErasedEntries) {
  Map map(2, kLife);
  map.Put(1, At(0), 10);
  map.Erase(1);
  map.Erase(2);
  EXPECT_THAT(map.Find(1, At(0)), IsNull());
  EXPECT_EQ(map.size(), 0U);
}

}  // namespace
}  // namespace orvane::bridge
