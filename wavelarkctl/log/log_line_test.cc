#include "wavelarkctl/log/log_line.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "testbed/time_zone.h"

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using platform::WallTime;

class LogLineTest : public testing::Test {
 protected:
  LogLineTest() { testbed::SetTimeZone("UTC"); }

  LogLineReader reader_;
};

constexpr WallTime kTime(1'769'904'000s + 1us);  // 2026-02-01 00:00:00.000001 UTC
constexpr char kHeader[] = "2026-02-01 00:00:00.000001 INFO optimizer/client_steer.cc:12] ";

TEST_F(LogLineTest, TimeSeverityAndMessageAreRead) {
  const std::string line = fmt::format("{} Client Steer Stopped ", kHeader);
  const auto read = reader_.Read(line);
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->time, kTime);
  EXPECT_EQ(read->severity, "INFO");
  EXPECT_EQ(read->message, "Client Steer Stopped");
}

TEST_F(LogLineTest, APrefixOfTheJournalOrASyslogIsSkipped) {
  for (const char* prefix : {"", "<6>", "Feb  1 00:00:00 ap ap-wavelark[123]: ",
                             "2026-02-01T00:00:00.000001+00:00 ap ap-wavelark[123]: ",
                             "Feb 01 00:00:00 ap ap-wavelark[1]: "}) {
    const std::string line = fmt::format("{}{}text ]: of it", prefix, kHeader);
    const auto read = LogLineReader().Read(line);
    ASSERT_TRUE(read.has_value()) << line;
    EXPECT_EQ(read->time, kTime) << line;
    EXPECT_EQ(read->message, "text ]: of it") << line;
  }
}

TEST_F(LogLineTest, OtherLinesAreIgnored) {
  for (const char* line : {"",
                           "<",
                           "<6>",
                           "]: ",
                           "a line of another program",
                           "Feb  1 00:00:00 ap hostapd[1]: text",
                           "2026-02-01 00:00:00.000001",
                           "2026-02-01 00:00:00.000001 INFO",
                           "2026-02-01 00:00:00.000001 INFO optimizer/client_steer.cc:12]",
                           "2026-02-01 00:00:00.000001 NOTICE optimizer/client_steer.cc:12] text",
                           "2026-02-01 00:00:00.000001 INFO no place] text",
                           "2026-02-01 00:00:00.00000x INFO optimizer/client_steer.cc:12] text",
                           "2026-02-01 00:00:0x.000001 INFO optimizer/client_steer.cc:12] text",
                           "2026-02-01 24:00:00.000001 INFO optimizer/client_steer.cc:12] text",
                           "2026-13-01 00:00:00.000001 INFO optimizer/client_steer.cc:12] text",
                           "2026-02-00 00:00:00.000001 INFO optimizer/client_steer.cc:12] text",
                           "2026/02/01 00:00:00.000001 INFO optimizer/client_steer.cc:12] text",
                           "2026-02-01 00:00 00.000001 INFO optimizer/client_steer.cc:12] text",
                           "2026-02-01 00:00:00,000001 INFO optimizer/client_steer.cc:12] text",
                           "-026-02-01 00:00:00.000001 INFO optimizer/client_steer.cc:12] text"}) {
    EXPECT_FALSE(reader_.Read(line).has_value()) << line;
  }
}

TEST_F(LogLineTest, ALineThatComesAgainIsIgnored) {
  const std::string first = "2026-02-01 00:00:00.000000 INFO a.cc:1] a";
  const std::string other_text = "2026-02-01 00:00:00.000000 INFO a.cc:1] b";
  const std::string other_time = "2026-02-01 00:00:01.900000 INFO a.cc:1] a";
  const std::string next_period = "2026-02-01 00:00:02.100000 INFO a.cc:1] a";
  for (const std::string& line : {first, other_text, other_time}) EXPECT_TRUE(reader_.Read(line));
  for (const std::string& line : {first, other_text}) EXPECT_FALSE(reader_.Read("<6>" + line));
  EXPECT_TRUE(reader_.Read(next_period));
  for (const std::string& line : {other_time, next_period}) EXPECT_FALSE(reader_.Read(line));
}

TEST_F(LogLineTest, TimesAreLocal) {
  testbed::SetTimeZone("Europe/Berlin");
  const auto read = reader_.Read("2026-02-01 01:00:00.000001 INFO a.cc:1] text");
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->time, kTime);
}

// In Berlin the clock shows the hour from 02:00 to 03:00 twice on 2026-10-25, and never on
// 2026-03-29.
TEST_F(LogLineTest, ARepeatedHourIsReadInOrder) {
  testbed::SetTimeZone("Europe/Berlin");
  constexpr WallTime kFirst(1'792'889'940s);  // 00:59:00 UTC, 02:59:00 summer time
  EXPECT_EQ(reader_.Read("2026-10-25 02:59:00.000000 INFO a.cc:1] text")->time, kFirst);
  EXPECT_EQ(reader_.Read("2026-10-25 02:59:59.000000 INFO a.cc:1] text")->time, kFirst + 59s);
  EXPECT_EQ(reader_.Read("2026-10-25 02:00:00.000000 INFO a.cc:1] text")->time, kFirst + 60s);
  EXPECT_EQ(reader_.Read("2026-10-25 02:59:00.000000 INFO a.cc:1] text")->time, kFirst + 3600s);
  EXPECT_EQ(reader_.Read("2026-10-25 03:00:00.000000 INFO a.cc:1] text")->time, kFirst + 3660s);
}

// In Ireland, the C library regards winter time as the one with an offset.
TEST_F(LogLineTest, ARepeatedHourIsReadInOrderInIreland) {
  testbed::SetTimeZone("IST-1GMT0,M10.5.0,M3.5.0/1");
  constexpr WallTime kFirst(1'792'889'940s);  // 00:59:00 UTC, 01:59:00 there
  EXPECT_EQ(reader_.Read("2026-10-25 01:59:00.000000 INFO a.cc:1] text")->time, kFirst);
  EXPECT_EQ(reader_.Read("2026-10-25 01:00:00.000000 INFO a.cc:1] text")->time, kFirst + 60s);
}

TEST_F(LogLineTest, ASkippedHourIsNotAnError) {
  testbed::SetTimeZone("Europe/Berlin");
  EXPECT_TRUE(reader_.Read("2026-03-29 02:30:00.000000 INFO a.cc:1] text").has_value());
}

}  // namespace
}  // namespace orvane::wavelarkctl
