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

TEST(ParseTimeSpanTest, TakesANumberWithOneUnit) {
  EXPECT_EQ(ParseTimeSpan("0s"), TimeSpan::zero());
  EXPECT_EQ(ParseTimeSpan("30s"), std::chrono::seconds(30));
  EXPECT_EQ(ParseTimeSpan("90m"), std::chrono::minutes(90));
  EXPECT_EQ(ParseTimeSpan("12h"), std::chrono::hours(12));
  EXPECT_EQ(ParseTimeSpan("7d"), std::chrono::hours(7 * 24));
  EXPECT_EQ(ParseTimeSpan("106751991d"), std::chrono::hours(106'751'991 * 24LL));
}

TEST(ParseTimeSpanTest, RefusesOtherText) {
  for (const char* text : {"", "30", "s", "-1s", "1.5h", "1h30m", "1 h", "1w", "106751992d"}) {
    EXPECT_EQ(ParseTimeSpan(text), std::nullopt) << text;
  }
}

TEST(FormatTimeSpanTest, ShowsHoursMinutesAndSecondsThatAreNotZero) {
  const struct {
    std::int64_t usec;
    const char* text;
  } kRows[] = {
      {0, "0s"},
      {1, "0.000001s"},
      {250'000, "0.25s"},
      {1'500'000, "1.5s"},
      {10'000'000, "10s"},
      {60'000'000, "1m"},
      {150'000'000, "2m30s"},
      {600'000'000, "10m"},
      {3'600'000'000, "1h"},
      {3'600'000'001, "1h0.000001s"},
      {90'061'000'000, "25h1m1s"},
      {-5'000'000, "-5s"},
      {-150'000'000, "-2m30s"},
      {std::numeric_limits<std::int64_t>::max(), "2562047788h54.775807s"},
      {std::numeric_limits<std::int64_t>::min(), "-2562047788h54.775808s"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(FormatTimeSpan(TimeSpan(row.usec)), row.text) << row.usec;
  }
}

}  // namespace
}  // namespace orvane::platform
