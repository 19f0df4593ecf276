#include "wavelarkctl/seconds.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <string>

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

TEST(FormatSecondsTest, HasAsManyDecimalsAsNeeded) {
  EXPECT_EQ(FormatSeconds(0s), "0");
  EXPECT_EQ(FormatSeconds(90s), "90");
  EXPECT_EQ(FormatSeconds(1500ms), "1.5");
  EXPECT_EQ(FormatSeconds(-500ms), "-0.5");
  EXPECT_EQ(FormatSeconds(1'700'000'000s + 1us), "1700000000.000001");
  EXPECT_EQ(FormatSeconds(platform::TimeSpan::min()), "-9223372036854.775808");
}

TEST(ParseSecondsTest, ReadsWhatIsWritten) {
  for (const platform::TimeSpan span :
       {platform::TimeSpan(0s), platform::TimeSpan(-500ms), platform::TimeSpan(1us),
        platform::TimeSpan(1'700'000'000s + 123'456us)}) {
    EXPECT_EQ(ParseSeconds(FormatSeconds(span)), span);
  }
  EXPECT_EQ(ParseSeconds("0001.50"), 1500ms);
  EXPECT_EQ(ParseSeconds("1.0000019"), 1s + 1us);
  EXPECT_EQ(ParseSeconds("999999999999"), platform::TimeSpan(999'999'999'999s));
}

TEST(ParseSecondsTest, TakesNothingElse) {
  for (const char* text : {"", "-", ".5", "5.", "-.5", " 1", "1 ", "+1", "1e3", "1.5.2", "0x1",
                           "nan", "--1", "1,5", "1000000000000"}) {
    EXPECT_EQ(ParseSeconds(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace orvane::wavelarkctl
