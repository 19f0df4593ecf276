#include "platform/parse_number.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>

namespace orvane::platform {
namespace {

TEST(ParseNumberTest, TakesWholeNumbersOfTheType) {
  EXPECT_EQ(ParseNumber<int>("0"), 0);
  EXPECT_EQ(ParseNumber<int>("-70"), -70);
  EXPECT_EQ(ParseNumber<std::int8_t>("-128"), -128);
  EXPECT_EQ(ParseNumber<std::uint8_t>("255"), 255);
  EXPECT_EQ(ParseNumber<double>("99.5"), 99.5);
}

TEST(ParseNumberTest, RefusesOtherText) {
  for (const char* text : {"", " 1", "1 ", "+1", "1x", "0x1", "x"}) {
    EXPECT_EQ(ParseNumber<int>(text), std::nullopt) << text;
  }
  EXPECT_EQ(ParseNumber<std::int8_t>("128"), std::nullopt);
  EXPECT_EQ(ParseNumber<std::uint8_t>("-1"), std::nullopt);
}

constexpr auto kUnits = std::to_array<NumberUnit>({{"", 1}, {"K", 1024}});

TEST(ParseNumberTest, MultipliesByTheUnit) {
  EXPECT_EQ(ParseNumberWithUnit("0", kUnits), 0);
  EXPECT_EQ(ParseNumberWithUnit("3", kUnits), 3);
  EXPECT_EQ(ParseNumberWithUnit("3K", kUnits), 3072);
}

TEST(ParseNumberTest, RefusesUnknownUnitsAndNegativeNumbers) {
  for (const char* text : {"", "K", "3k", "3KK", "3 K", "-1", "-1K", "1.5K"}) {
    EXPECT_EQ(ParseNumberWithUnit(text, kUnits), std::nullopt) << text;
  }
}

TEST(ParseNumberTest, RefusesAProductAbove64Bits) {
  const std::int64_t most = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(ParseNumberWithUnit(std::to_string(most), kUnits), most);
  EXPECT_EQ(ParseNumberWithUnit(std::to_string(most / 1024) + "K", kUnits), most / 1024 * 1024);
  EXPECT_EQ(ParseNumberWithUnit(std::to_string(most / 1024 + 1) + "K", kUnits), std::nullopt);
  EXPECT_EQ(ParseNumberWithUnit("9223372036854775808", kUnits), std::nullopt);
}

}  // namespace
}  // namespace orvane::platform
