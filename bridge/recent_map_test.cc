#include "bridge/recent_map.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

namespace orvane::bridge {
namespace {

using platform::MonotonicTime;
using testing::IsNull;
using testing::Pointee;

constexpr platform::TimeSpan kLife = std::chrono::seconds(10);

MonotonicTime At(int seconds) { return MonotonicTime(std::chrono::seconds(seconds)); }

TEST(RecentMapTest, FindsEntries) {
  RecentMap<int, int> map(3, kLife);
  map.Put(1, 10, At(0));
  map.Put(1, 11, At(1));
  EXPECT_THAT(map.Find(1, At(1)), Pointee(11));
  EXPECT_THAT(map.Find(2, At(1)), IsNull());
  EXPECT_EQ(map.size(), 1U);
}

TEST(RecentMapTest, RemovesExpiredEntries) {
  RecentMap<int, int> map(3, kLife);
  map.Put(1, 10, At(0));
  map.Put(2, 20, At(5));
  EXPECT_THAT(map.Find(1, At(10)), Pointee(10));
  EXPECT_THAT(map.Find(1, At(11)), IsNull());
  map.Put(3, 30, At(11));
  EXPECT_EQ(map.size(), 2U);
}

TEST(RecentMapTest, RenewsAReplacedEntry) {
  RecentMap<int, int> map(2, kLife);
  map.Put(1, 10, At(0));
  map.Put(2, 20, At(1));
  map.Put(1, 11, At(2));
  map.Put(3, 30, At(3));
  EXPECT_THAT(map.Find(1, At(12)), Pointee(11));
  EXPECT_THAT(map.Find(2, At(3)), IsNull());
  EXPECT_EQ(map.size(), 2U);
}

TEST(RecentMapTest, ForgetsErasedEntries) {
  RecentMap<int, int> map(2, kLife);
  map.Put(1, 10, At(0));
  map.Erase(1);
  map.Erase(2);
  EXPECT_THAT(map.Find(1, At(0)), IsNull());
  EXPECT_EQ(map.size(), 0U);
}

}  // namespace
}  // namespace orvane::bridge
