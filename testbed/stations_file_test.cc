#include "testbed/stations_file.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace orvane::testbed {
namespace {

using simulation::FakeKernel;

StationsFile ParseFile(std::string_view text) {
  StationsFile file;
  EXPECT_EQ(ParseStationsFile(text, &file), std::nullopt);
  return file;
}

StationTable Parse(std::string_view text) { return ParseFile(text).stations; }

std::string FailureOf(std::string_view text) {
  StationsFile file;
  return ParseStationsFile(text, &file).value_or("none");
}

TEST(StationsFileTest, StationsKeepTheirOrder) {
  const StationTable table = Parse(
      "wlan-a 02:00:00:00:00:ff -82\n"
      "\n# a comment\n"
      "wlan-b\n"
      "  wlan-a  02:00:00:0A:00:01  7 ");
  ASSERT_EQ(table.size(), 2U);
  EXPECT_TRUE(table.at("wlan-b").empty());
  const std::vector<FakeKernel::Station>& stations = table.at("wlan-a");
  ASSERT_EQ(stations.size(), 2U);
  EXPECT_EQ(stations[0].address, (FakeKernel::Address{2, 0, 0, 0, 0, 0xff}));
  EXPECT_EQ(stations[0].signal, -82);
  EXPECT_EQ(stations[0].signal_average, -82);
  EXPECT_EQ(stations[1].address, (FakeKernel::Address{2, 0, 0, 0x0a, 0, 1}));
  EXPECT_EQ(stations[1].signal_average, 7);
}

TEST(StationsFileTest, Marks) {
  const StationTable table = Parse(
      "a 02:00:00:00:00:01 -50\n"
      "a 02:00:00:00:00:01 -50 unauthorized\n"
      "a 02:00:00:00:00:01 -50 no-signal-average no-rx-bitrate\n");
  const std::vector<FakeKernel::Station>& stations = table.at("a");
  ASSERT_EQ(stations.size(), 3U);
  EXPECT_EQ(stations[0].flags, FakeKernel::Station().flags);
  EXPECT_TRUE(stations[0].has_rx_rate);
  EXPECT_EQ(stations[1].flags, 0U);
  EXPECT_EQ(stations[2].signal_average, std::nullopt);
  EXPECT_FALSE(stations[2].has_rx_rate);
}

TEST(StationsFileTest, Faults) {
  EXPECT_EQ(ParseFile("a\n").faults, KernelFaults());
  const StationsFile file = ParseFile("!silent\n! interrupted\n ! losing\na\n! failing 2 19\n");
  EXPECT_TRUE(file.faults.is_silent);
  EXPECT_TRUE(file.faults.interrupts_dumps);
  EXPECT_TRUE(file.faults.loses_parts);
  EXPECT_EQ(file.faults.failed_dump, (KernelFaults::FailedDump{2, 19}));
  EXPECT_EQ(file.stations.size(), 1U);
  EXPECT_EQ(ParseFile("! reusing a  b").faults.reused_indexes.at("a"), "b");
}

TEST(StationsFileTest, BadLinesAreReportedWithTheirNumber) {
  EXPECT_EQ(FailureOf("a\na 02:00:00:00:00 -50"), "line 2: no address: \"02:00:00:00:00\"");
  EXPECT_EQ(FailureOf("a 02:00:00:00:00:0g -50"), "line 1: no address: \"02:00:00:00:00:0g\"");
  EXPECT_EQ(FailureOf("\na 02:00:00:00:00:01"), "line 2: no signal: \"\"");
  EXPECT_EQ(FailureOf("a 02:00:00:00:00:01 -129"), "line 1: no signal: \"-129\"");
  EXPECT_EQ(FailureOf("a 02:00:00:00:00:01 -50dBm"), "line 1: no signal: \"-50dBm\"");
  EXPECT_EQ(FailureOf("a 02:00:00:00:00:01 -50 weak"), "line 1: no mark is called \"weak\"");
  EXPECT_EQ(FailureOf("! loud"), "line 1: no fault is written \"loud \"");
  EXPECT_EQ(FailureOf("! silent 1"), "line 1: no fault is written \"silent 1\"");
  EXPECT_EQ(FailureOf("! failing 1"), "line 1: no fault is written \"failing 1\"");
  EXPECT_EQ(FailureOf("! reusing a"), "line 1: no fault is written \"reusing a\"");
}

}  // namespace
}  // namespace orvane::testbed
