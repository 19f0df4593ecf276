#include "wavelarkctl/trace/trace_row.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <string>

namespace orvane::wavelarkctl {
namespace {

using namespace std::chrono_literals;

using ::testing::HasSubstr;

TEST(TraceRowTest, EachFieldIsRead) {
  TraceRow row;
  ASSERT_EQ(ParseTraceRow("1700000000.25,wlan-2400mhz,02:00:00:00:0A:ff,-71,1", &row), "");
  EXPECT_EQ(row.time, platform::WallTime(1'700'000'000s + 250ms));
  EXPECT_EQ(row.interface, "wlan-2400mhz");
  EXPECT_EQ(row.address, (Address{2, 0, 0, 0, 10, 255}));
  EXPECT_EQ(row.signal, -71);
  EXPECT_TRUE(row.is_authorized);
}

TEST(TraceRowTest, AFormattedRowIsReadBack) {
  for (const std::string line :
       {"1700000000.25,wlan-2400mhz,02:00:00:00:0a:ff,-71,1", "0,a,00:00:00:00:00:00,,0",
        "253402300799.999999,123456789012345,ff:ff:ff:ff:ff:ff,127,1",
        "1,w`'$,02:00:00:00:00:00,-128,0"}) {
    TraceRow row;
    ASSERT_EQ(ParseTraceRow(line, &row), "") << line;
    EXPECT_EQ(FormatTraceRow(row), line + "\n");
  }
}

TEST(TraceRowTest, ASignalOfAnEarlierRowIsCleared) {
  TraceRow row;
  row.signal = -50;
  ASSERT_EQ(ParseTraceRow("0,a,00:00:00:00:00:00,,0", &row), "");
  EXPECT_EQ(row.signal, std::nullopt);
}

TEST(TraceRowTest, AWrongRowIsRefused) {
  struct Case {
    const char* line;
    const char* problem;
  };
  for (const auto& [line, problem] : std::to_array<Case>({
           {"", "five fields"},
           {"1,a,02:00:00:00:00:01,-71", "five fields"},
           {"1,a,02:00:00:00:00:01,-71,1,", "five fields"},
           {"x,a,02:00:00:00:00:01,-71,1", "time"},
           {"-1,a,02:00:00:00:00:01,-71,1", "time"},
           {"253402300800,a,02:00:00:00:00:01,-71,1", "time"},
           {",a,02:00:00:00:00:01,-71,1", "time"},
           {"1,,02:00:00:00:00:01,-71,1", "interface"},
           {"1,1234567890123456,02:00:00:00:00:01,-71,1", "interface"},
           {"1,a b,02:00:00:00:00:01,-71,1", "interface"},
           {"1,a\"b,02:00:00:00:00:01,-71,1", "interface"},
           {"1,a/b,02:00:00:00:00:01,-71,1", "interface"},
           {"1,\xc3\xa4,02:00:00:00:00:01,-71,1", "interface"},
           {"1,a,02:00:00:00:00:1,-71,1", "address"},
           {"1,a,02:00:00:00:00:0g,-71,1", "address"},
           {"1,a,02-00-00-00-00-01,-71,1", "address"},
           {"1,a,-2:00:00:00:00:01,-71,1", "address"},
           {"1,a,02:00:00:00:00:01,-129,1", "signal"},
           {"1,a,02:00:00:00:00:01,128,1", "signal"},
           {"1,a,02:00:00:00:00:01,-71.5,1", "signal"},
           {"1,a,02:00:00:00:00:01, -71,1", "signal"},
           {"1,a,02:00:00:00:00:01,-71,2", "authorized"},
           {"1,a,02:00:00:00:00:01,-71,", "authorized"},
           {"1,a,02:00:00:00:00:01,-71,1 ", "authorized"},
       })) {
    SCOPED_TRACE(line);
    TraceRow row;
    EXPECT_THAT(std::string(ParseTraceRow(line, &row)), HasSubstr(problem));
  }
}

}  // namespace
}  // namespace orvane::wavelarkctl
