#include "wavelarkctl/log/log_time.h"

#include <gtest/gtest.h>

#include <chrono>

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

TEST(ParseTimeSpanTest, AFormattedTimeSpanIsReadBack) {
  for (const platform::TimeSpan span :
       {platform::TimeSpan(0), platform::TimeSpan(1), platform::TimeSpan(-1),
        platform::TimeSpan(1h), platform::TimeSpan(-1h), platform::TimeSpan(59s),
        platform::TimeSpan(1h + 1us), platform::TimeSpan(25h + 59min + 59'999'999us),
        platform::SecondsToTimeSpan(2'147'483'647), platform::SecondsToTimeSpan(-2'147'483'648)}) {
    EXPECT_EQ(ParseTimeSpan(platform::FormatTimeSpan(span)), span);
  }
}

TEST(ParseTimeSpanTest, OtherTextsAreNotTimeSpans) {
  for (const char* text :
       {"",         "-",     "s",      "1",   "h",    "60m",  "60s",
        "--1s",     "1m-1s", "-1m-1s", "1h1", "1s1s", "1m1h", "99999999999999999999h",
        "1000001h", "+1s",   " 1s",    "1 s", "1.s",  ".5s",  "1e3s"}) {
    EXPECT_EQ(ParseTimeSpan(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace orvane::wavelarkctl
