#include "wavelarkctl/time_text.h"

#include <gtest/gtest.h>

#include <chrono>

#include "testbed/time_zone.h"

namespace orvane::wavelarkctl {
namespace {

using platform::WallTime;
using std::chrono::hours;
using std::chrono::seconds;

class TimeTextTest : public testing::Test {
 protected:
  void SetUp() override { testbed::SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3"); }
  void TearDown() override { testbed::SetTimeZone("UTC"); }

  static constexpr WallTime kNow{seconds(1'700'000'000)};  // 2023-11-14 22:13:20 UTC
};

TEST_F(TimeTextTest, ReadsHowLongAgo) {
  EXPECT_EQ(ParseTime("7d", kNow), kNow - hours(7 * 24));
  EXPECT_EQ(ParseTime("12h", kNow), kNow - hours(12));
  EXPECT_EQ(ParseTime("90m", kNow), kNow - seconds(5400));
  EXPECT_EQ(ParseTime("0s", kNow), kNow);
  EXPECT_EQ(ParseTime("now", kNow), kNow);
}

TEST_F(TimeTextTest, ReadsDates) {
  EXPECT_EQ(ParseTime("2023-11-14 23:13:20", kNow), kNow);
  EXPECT_EQ(ParseTime("2023-11-14T22:13:20Z", kNow), kNow);
  EXPECT_EQ(ParseTime("2023-11-14 23:13", kNow), kNow - seconds(20));
  EXPECT_EQ(ParseTime("2023-07-01", kNow), WallTime(seconds(1'688'162'400))) << "summer time";
  EXPECT_EQ(ParseTime("2023-07-01Z", kNow), WallTime(seconds(1'688'169'600)));
}

// The C library's choice depends on the time that it converted before.
TEST_F(TimeTextTest, OfTwoPossibleTimesTheFirstIsRead) {
  constexpr WallTime kFirst{seconds(1'698'539'400)};  // 2023-10-29 00:30 UTC, 02:30 summer time
  for (const char* other : {"2023-07-01", "2023-12-01"}) {
    EXPECT_TRUE(ParseTime(other, kNow).has_value());
    EXPECT_EQ(ParseTime("2023-10-29 02:30", kNow), kFirst) << other;
  }
  EXPECT_EQ(ParseTime("2023-10-29 03:00", kNow), kFirst + seconds(5400));
}

TEST_F(TimeTextTest, TheFirstTimeMayBeStandardTime) {
  testbed::SetTimeZone("IST-1GMT0,M10.5.0,M3.5.0/1");  // Ireland
  constexpr WallTime kFirst{seconds(1'698'539'400)};   // 2023-10-29 00:30 UTC, 01:30 there
  for (const char* other : {"2023-07-01", "2023-12-01"}) {
    EXPECT_TRUE(ParseTime(other, kNow).has_value());
    EXPECT_EQ(ParseTime("2023-10-29 01:30", kNow), kFirst) << other;
  }
}

// North Korea set its clocks back without an end of summer time.
TEST_F(TimeTextTest, BothTimesMayBeStandardTime) {
  testbed::SetTimeZone("Asia/Pyongyang");
  for (const char* other : {"2015-07-01", "2015-12-01"}) {
    EXPECT_TRUE(ParseTime(other, kNow).has_value());
    EXPECT_EQ(ParseTime("2015-08-14 23:45", kNow), WallTime(seconds(1'439'563'500))) << other;
  }
}

TEST_F(TimeTextTest, ASkippedTimeIsRead) {
  EXPECT_TRUE(ParseTime("2023-03-26 02:30", kNow).has_value());
  testbed::SetTimeZone("America/Nuuk");
  EXPECT_EQ(ParseTime("2023-03-25 22:30", kNow), ParseTime("2023-03-25 23:30", kNow));
  testbed::SetTimeZone("CST5CDT,M3.2.0/0,M11.1.0/1");  // Cuba, where clocks skip midnight
  EXPECT_EQ(ParseTime("2023-03-12", kNow), ParseTime("2023-03-12 01:00", kNow));
}

TEST_F(TimeTextTest, OptionsAreRelativeToTheGivenTime) {
  EXPECT_EQ(ParseTimeOption("--since", "3d", kNow), kNow - hours(3 * 24));
  EXPECT_EQ(ParseTimeOption("--until", "now", kNow), kNow);
}

TEST_F(TimeTextTest, RefusesOtherTexts) {
  for (const char* text :
       {"", "7", "d", "-7d", "7 d", "7w", "1.5h", "9223372036854775807d", "36601d", "2023-02-30",
        "2023-11-14 25:00", "2023-11-14 ", "yesterday", "1969-12-31Z", "9999-01-01"}) {
    EXPECT_EQ(ParseTime(text, kNow), std::nullopt) << text;
  }
}

TEST_F(TimeTextTest, WritesTimes) {
  EXPECT_EQ(FormatTime(kNow + std::chrono::microseconds(1'999)), "2023-11-14 23:13:20.001");
  EXPECT_EQ(FormatLocalSeconds(kNow), "2023-11-14 23:13:20");
  EXPECT_EQ(FormatClock(kNow), "23:13:20");
  EXPECT_EQ(FormatUtcTime(kNow), "2023-11-14T22:13:20.000Z");
  EXPECT_EQ(FormatUtcTime(WallTime(std::chrono::milliseconds(-1))), "1969-12-31T23:59:59.999Z");
  EXPECT_EQ(FormatUtcTime(WallTime::max()), "294247-01-10T04:00:54.775Z");
}

TEST(FormatShortSpanTest, HasTheTwoLargestUnits) {
  EXPECT_EQ(FormatShortSpan(std::chrono::milliseconds(300)), "0.3s");
  EXPECT_EQ(FormatShortSpan(seconds(42)), "42s");
  EXPECT_EQ(FormatShortSpan(seconds(330)), "5m30s");
  EXPECT_EQ(FormatShortSpan(seconds(7805)), "2h10m");
  EXPECT_EQ(FormatShortSpan(hours(76)), "3d4h");
  EXPECT_EQ(FormatShortSpan(hours(72)), "3d");
  EXPECT_EQ(FormatShortSpan(-seconds(60)), "-1m");
}

}  // namespace
}  // namespace orvane::wavelarkctl
