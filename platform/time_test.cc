#include "platform/time.h"

#include <gtest/gtest.h>

#include <limits>

namespace orvane::platform {
namespace {

TEST(TimeTest, EveryNumberOfSecondsHasATimeSpan) {
  EXPECT_EQ(SecondsToTimeSpan(0).count(), 0);
  EXPECT_EQ(SecondsToTimeSpan(600).count(), 600'000'000);
  EXPECT_EQ(SecondsToTimeSpan(-1).count(), -1'000'000);
  EXPECT_EQ(SecondsToTimeSpan(std::numeric_limits<std::int32_t>::max()).count(),
            2'147'483'647'000'000);
  EXPECT_EQ(SecondsToTimeSpan(std::numeric_limits<std::int32_t>::min()).count(),
            -2'147'483'648'000'000);
}

}  // namespace
}  // namespace orvane::platform
